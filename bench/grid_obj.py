#!/usr/bin/python3
"""Writes a rippled square grid of N x N vertices as an OBJ file, two triangles a cell:
the large model of bench/README.md ("Opening a large model"). The default, 742, gives
550 564 vertices and 1 098 162 triangles in about 40 MB.

    /usr/bin/python3 bench/grid_obj.py model.obj [N]
"""
import math
import sys


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__.strip())
    out = sys.argv[1]
    n = int(sys.argv[2]) if len(sys.argv) == 3 else 742
    if n < 2:
        sys.exit("N must be 2 or more")
    step = 2.0 / (n - 1)
    with open(out, "w", encoding="ascii") as f:
        f.write("# %d x %d grid: %d vertices, %d triangles\n" % (n, n, n * n, 2 * (n - 1) ** 2))
        for j in range(n):
            y = -1.0 + j * step
            f.write("".join(
                "v %.6f %.6f %.6f\n" % (x, y, 0.08 * math.sin(6.0 * x) * math.cos(5.0 * y))
                for x in (-1.0 + i * step for i in range(n))))
        for j in range(n - 1):
            row = j * n + 1  # OBJ numbers vertices from 1
            f.write("".join(
                "f %d %d %d\nf %d %d %d\n" % (a, a + 1, a + n + 1, a, a + n + 1, a + n)
                for a in range(row, row + n - 1)))


if __name__ == "__main__":
    main()
