#!/usr/bin/env bash
# Installs the build tree into a scratch prefix and uses the Python package from there:
# import, the package's documented example with a frame and a pick, and stubs that
# match the installed module.
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
import sys, textwrap
import lumox
work = sys.argv[1]
assert lumox.__file__.startswith(work), lumox.__file__
# The package's own example (its indented block), with checks at the end of its with block.
example = []
for line in lumox.__doc__.split("::\n", 1)[1].splitlines():
    if line and not line.startswith("    "):
        break
    example.append(line)
exec(textwrap.dedent("\n".join(example)) + """
    assert image.shape == (300, 400, 4), image.shape
    assert image[150, 200, 0] > 100, image[150, 200]
    assert view.pick(200, 150).object is ball
""", {})
print("installed lumox", lumox.__version__, "works")
PY
# The installed stubs are those of the installed module.
env -u LD_LIBRARY_PATH PYTHONPATH="$WORK/prefix/$SITE" "$PYTHON" "$SRC/tools/genstubs.py" "$WORK/fresh.pyi"
cmp "$WORK/fresh.pyi" "$PACKAGE/__init__.pyi"
