"""Checks that the objects of one instruction-set path define nothing outside that path's
namespaces. Code built for a wider instruction set that shares a symbol name with
another path's (an inline function or a template instantiation) may be merged by the
linker, and the baseline path would then run wider instructions."""
import argparse
import subprocess
import sys


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--path", required=True)
    ap.add_argument("objects", nargs="+")
    opts = ap.parse_args()
    bad = []
    for obj in opts.objects:
        out = subprocess.run(["nm", "-C", "--defined-only", obj], check=True,
                             capture_output=True, text=True).stdout
        for line in out.splitlines():
            parts = line.split(" ", 2)
            if len(parts) < 3 or parts[1] in ("b", "d", "r", "n", "N"):
                continue  # local data and debug symbols are private to the object
            if f"::{opts.path}::" not in parts[2]:
                bad.append(parts[2])
    print(f"{opts.path}: {len(bad)} symbols outside the path's namespaces")
    for name in bad[:20]:
        print("  ", name)
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
