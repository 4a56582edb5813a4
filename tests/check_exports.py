"""Checks that a shared library's dynamic symbol table exports exactly the expected names."""
import argparse
import subprocess
import sys


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--library", required=True)
    ap.add_argument("--expected", required=True)
    opts = ap.parse_args()
    out = subprocess.run(["nm", "-D", "--defined-only", "--format=posix", opts.library],
                         check=True, capture_output=True, text=True).stdout
    exported = {line.split()[0] for line in out.splitlines() if line.strip()}
    with open(opts.expected, encoding="utf-8") as f:
        expected = {line.strip() for line in f if line.strip()}
    missing, extra = sorted(expected - exported), sorted(exported - expected)
    print(f"{len(exported)} exported, {len(expected)} in the catalogue")
    for name in missing[:20]:
        print("missing:", name)
    for name in extra[:20]:
        print("unexpected:", name)
    return 1 if missing or extra else 0


if __name__ == "__main__":
    sys.exit(main())
