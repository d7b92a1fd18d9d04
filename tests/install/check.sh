#!/usr/bin/env bash
# Installs the build tree into a scratch prefix, runs the installed lumox command from
# there, then builds and runs a program outside the tree against it, through
# find_package and through pkg-config.
set -euo pipefail
BUILD="$1"
SRC="$(cd "$(dirname "$0")" && pwd)"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT
cmake --install "$BUILD" --prefix "$WORK/prefix" >/dev/null
# No library path: the command finds the library through its own run path.
env -u LD_LIBRARY_PATH "$WORK/prefix/bin/lumox" demo --size 40x30 -o "$WORK/demo.png"
test -s "$WORK/demo.png"
cmake -S "$SRC" -B "$WORK/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$WORK/prefix" >/dev/null
cmake --build "$WORK/consumer" >/dev/null
LD_LIBRARY_PATH="$WORK/prefix/lib:$WORK/prefix/lib/x86_64-linux-gnu" "$WORK/consumer/consumer"
export PKG_CONFIG_PATH="$WORK/prefix/lib/pkgconfig:$WORK/prefix/lib/x86_64-linux-gnu/pkgconfig"
c++ -std=c++20 "$SRC/consumer.cpp" -o "$WORK/pc-consumer" $(pkg-config --cflags --libs lumox)
LD_LIBRARY_PATH="$WORK/prefix/lib:$WORK/prefix/lib/x86_64-linux-gnu" "$WORK/pc-consumer"
