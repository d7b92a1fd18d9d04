#!/usr/bin/python3
"""Runs a command and prints its wall time and the peak of the resident memory of the
process and all its descendants together, sampled from /proc every 10 ms (shared pages
are counted in each process, as the kernel counts them).

    /usr/bin/python3 bench/peak_memory.py COMMAND [ARGS...]
"""
import os
import subprocess
import sys
import time

PAGE = os.sysconf("SC_PAGE_SIZE")


def tree(root):
    """The process root and its descendants (by the parent numbers of /proc)."""
    parents = {}
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                with open("/proc/%s/stat" % entry) as f:
                    stat = f.read()
                parents.setdefault(int(stat[stat.rindex(")") + 2:].split()[1]), []).append(
                    int(entry))
            except (OSError, ValueError):
                pass
    out, todo = [], [root]
    while todo:
        pid = todo.pop()
        out.append(pid)
        todo.extend(parents.get(pid, []))
    return out


def resident(pids):
    total = 0
    for pid in pids:
        try:
            with open("/proc/%d/statm" % pid) as f:
                total += int(f.read().split()[1]) * PAGE
        except (OSError, ValueError, IndexError):
            pass
    return total


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__.strip())
    start = time.monotonic()
    child = subprocess.Popen(sys.argv[1:])
    peak = 0
    while child.poll() is None:
        peak = max(peak, resident(tree(child.pid)))
        time.sleep(0.01)
    wall = time.monotonic() - start
    print("wall s: %.2f" % wall, file=sys.stderr)
    print("peak resident MB: %.1f (the process and its children)" % (peak / 1e6), file=sys.stderr)
    sys.exit(child.returncode)


if __name__ == "__main__":
    main()
