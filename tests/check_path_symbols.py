"""Checks the objects of one instruction-set path:
- they define no global or weak symbol outside that path's namespaces: code built for a
  wider instruction set that shares a name with another path's (an inline function, a
  template instantiation) may be merged by the linker, and the baseline path would then
  run the wider instructions;
- they have no static initialisers, which would run on every processor (sanitizer builds
  add their own module constructors, allowed with --sanitized)."""
import argparse
import subprocess
import sys


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--path", required=True)
    ap.add_argument("--sanitized", action="store_true")
    ap.add_argument("objects", nargs="+")
    opts = ap.parse_args()
    shared, initialisers, seen = [], [], 0
    for obj in opts.objects:
        out = subprocess.run(["nm", "-C", "--defined-only", obj], check=True,
                             capture_output=True, text=True).stdout
        for line in out.splitlines():
            parts = line.split(" ", 2)
            if len(parts) < 3:
                continue
            kind, name = parts[1], parts[2]
            seen += 1
            if "sub_I_" in name or name.startswith("_GLOBAL__"):
                if not (opts.sanitized and name.startswith("_sub_")):
                    initialisers.append(name)
            elif name.startswith("DW.ref."):
                continue  # a pointer to the C++ runtime's unwinding routine, the same in every object
            elif (kind.isupper() or kind in "uviw") and f"::{opts.path}::" not in name:
                shared.append(name)
    print(f"{opts.path}: {seen} symbols, {len(shared)} global outside the path's namespaces, "
          f"{len(initialisers)} static initialisers")
    for name in (shared + initialisers)[:20]:
        print("  ", name)
    return 1 if shared or initialisers else 0


if __name__ == "__main__":
    sys.exit(main())
