"""What the Python bindings cost, as ratios against the same work driven from C++ in the
same process (and, for the frame, C++ over C++: the noise floor of the method):

  frame   a frame of a reference scene (S4 by default) whose on_render is a Python
          callable calling root.render, over the same frame with a C++ handler;
  points  PointSet.set_points of 10^6 points from a NumPy array, over SetPointData of
          the same array called from C++.

Runs alternate between the two sides (the order inside each pair alternating) after
warm-up runs; the ratio is of the medians. Needs the benchmark build (tools/bootstrap
--bench):

  LP_NUM_THREADS=0 GLIBC_TUNABLES=glibc.malloc.trim_threshold=1073741824 \\
    PYTHONPATH=build/python /usr/bin/python3 bench/python_bench.py
"""

import argparse
import gc
import os
import statistics
import time

import numpy as np

import lumox
import _lumoxbench as cpp


def paired(first, second, runs, warmup):
    """Interleaved timings of two callables returning milliseconds: two lists."""
    a, b = [], []
    for i in range(warmup + runs):
        pair = ((first, a), (second, b)) if i % 2 == 0 else ((second, b), (first, a))
        for fn, out in pair:
            ms = fn()
            if i >= warmup:
                out.append(ms)
    return a, b


def frame_ratio(scene, size, runs):
    with lumox.Owner() as form:
        root = lumox.Node(form)
        camera = lumox.PerspectiveCamera(form)
        cpp.build_scene(scene, form, root, camera)
        view = lumox.View(form, width=size, height=size, camera=camera)
        renderer = cpp.renderer(view)

        def from_python():
            view.on_render = lambda v: root.render(v)
            return cpp.timed_paint(view)

        def from_cpp():
            cpp.set_cpp_render(view, root)
            return cpp.timed_paint(view)

        py_ms, cpp_ms = paired(from_python, from_cpp, runs, warmup=3)
        same_a, same_b = paired(from_cpp, from_cpp, runs, warmup=0)
        view.on_render = None
    return renderer, py_ms, cpp_ms, statistics.median(same_a) / statistics.median(same_b)


def points_ratio(count, runs):
    xyz = np.random.default_rng(7).uniform(-1, 1, (count, 3))

    def from_python():
        target = lumox.PointSet()
        t0 = time.perf_counter()
        target.set_points(xyz)
        ms = (time.perf_counter() - t0) * 1000
        assert target.point_count == count
        return ms

    def from_cpp():
        return cpp.timed_set_point_data(lumox.PointSet(), xyz)

    gc.collect()
    return paired(from_python, from_cpp, runs, warmup=3)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--scene", default="s4", choices=["s1", "s4"])
    parser.add_argument("--size", type=int, default=256)
    parser.add_argument("--frames", type=int, default=41, help="frame pairs measured")
    parser.add_argument("--points", type=int, default=1_000_000)
    parser.add_argument("--point-runs", type=int, default=101, help="set_points pairs measured")
    args = parser.parse_args()
    print("load average: %.2f %.2f %.2f" % os.getloadavg())
    print("LP_NUM_THREADS:", os.environ.get("LP_NUM_THREADS", "(unset)"))
    renderer, py_ms, cpp_ms, floor = frame_ratio(args.scene, args.size, args.frames)
    print("renderer:", renderer)
    f_py, f_cpp = statistics.median(py_ms), statistics.median(cpp_ms)
    print(f"frame {args.scene} {args.size}x{args.size}: Python {f_py:.2f} ms, C++ {f_cpp:.2f} ms "
          f"(medians of {args.frames}), ratio {f_py / f_cpp:.3f} (C++ over C++: {floor:.3f})")
    py_ms, cpp_ms = points_ratio(args.points, args.point_runs)
    p_py, p_cpp = statistics.median(py_ms), statistics.median(cpp_ms)
    print(f"set_points {args.points}: Python {p_py:.2f} ms, C++ SetPointData {p_cpp:.2f} ms "
          f"(medians of {args.point_runs}), ratio {p_py / p_cpp:.3f}")
    print("load average: %.2f %.2f %.2f" % os.getloadavg())


if __name__ == "__main__":
    main()
