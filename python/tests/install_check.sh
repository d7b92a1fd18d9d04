#!/usr/bin/env bash
# Installs the build tree into a scratch prefix and uses the Python package from there:
# import, a frame, a pick, and stubs that match the installed module.
#   install_check.sh BUILD_DIR PYTHON PACKAGE_DIR (relative to the prefix)
set -euo pipefail
BUILD="$1"
PYTHON="$2"
SITE="$3"
SRC="$(cd "$(dirname "$0")/.." && pwd)"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT
cmake --install "$BUILD" --prefix "$WORK/prefix" >/dev/null
PACKAGE="$WORK/prefix/$SITE/lumox"
test -f "$PACKAGE/__init__.pyi"
test -f "$PACKAGE/py.typed"
# Nothing of the build tree on the paths: the extension finds the library by its run path.
cd "$WORK"
env -u LD_LIBRARY_PATH PYTHONPATH="$WORK/prefix/$SITE" PYTHONDONTWRITEBYTECODE=1 "$PYTHON" - "$WORK" <<'PY'
import os, sys
import lumox
work = sys.argv[1]
assert lumox.__file__.startswith(work), lumox.__file__
with lumox.Owner() as form:
    root = lumox.Node(form)
    ball = lumox.Sphere(form, radius=0.5)
    ball.color.rgb = (1, 0, 0)
    root.add(ball)
    view = lumox.View(form, width=40, height=30)
    view.camera = lumox.PerspectiveCamera(form)
    view.camera.transformation.translation.z = -3
    view.on_render = lambda v: root.render(v)
    image = view.image()
    assert image.shape == (30, 40, 4), image.shape
    assert image[15, 20, 0] > 100, image[15, 20]
    assert view.pick(20, 15).object is ball
print("installed lumox", lumox.__version__, "works")
PY
# The installed stubs are those of the installed module.
env -u LD_LIBRARY_PATH PYTHONPATH="$WORK/prefix/$SITE" "$PYTHON" "$SRC/tools/genstubs.py" "$WORK/fresh.pyi"
cmp "$WORK/fresh.pyi" "$PACKAGE/__init__.pyi"
