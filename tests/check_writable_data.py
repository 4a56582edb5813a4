#!/usr/bin/env python3
"""Checks that a shared library keeps no writable data of its own.

Reads the section headers, the program headers and the full symbol table. Sections that
the loader makes read-only after relocation (RELRO) and the loader's own lazy-binding
slots (.got.plt) hold no state. In every other writable section (.data, .bss, thread-local
data, ...) each defined symbol must be one the toolchain adds: the C runtime's start-up
objects and libgcc's processor description, which the loader-time path resolvers fill
once (__cpu_model, __cpu_features2).
"""
import argparse
import re
import subprocess
import sys

TOOLCHAIN = re.compile(r"^(completed\.\d+|__dso_handle|__TMC_END__|__cpu_model|__cpu_features2|"
                       r"__bss_start|_edata|_end|__data_start|data_start)$")


def readelf(tool, option, path):
    return subprocess.run([tool, option, "--wide", path], check=True, capture_output=True,
                          text=True).stdout


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--readelf", default="readelf")
    ap.add_argument("library")
    args = ap.parse_args()

    relro = []
    for m in re.finditer(r"GNU_RELRO\s+\S+\s+(0x[0-9a-f]+)\s+\S+\s+\S+\s+(0x[0-9a-f]+)",
                         readelf(args.readelf, "--program-headers", args.library)):
        relro.append((int(m.group(1), 16), int(m.group(1), 16) + int(m.group(2), 16)))
    writable = {}  # section index -> name
    for m in re.finditer(r"\[\s*(\d+)\]\s+(\S+)\s+\S+\s+([0-9a-f]+)\s+[0-9a-f]+\s+([0-9a-f]+)\s+\S+\s+(\S*W\S*)\s",
                         readelf(args.readelf, "--section-headers", args.library)):
        index, name, addr, size = int(m.group(1)), m.group(2), int(m.group(3), 16), int(m.group(4), 16)
        if name == ".got.plt" or any(lo <= addr and addr + size <= hi for lo, hi in relro):
            continue
        writable[index] = name
    symbols = readelf(args.readelf, "--syms", args.library)
    if ".symtab" not in symbols:
        sys.exit(f"{args.library}: no symbol table, nothing can be checked")
    found, foreign = [], []
    for line in symbols.splitlines():
        f = line.split()
        if len(f) < 8 or not f[6].isdigit() or int(f[6]) not in writable:
            continue
        entry = f"{f[7]} ({writable[int(f[6])]}, {f[2]} bytes)"
        (found if TOOLCHAIN.match(f[7]) else foreign).append(entry)
    print("writable sections:", ", ".join(sorted(set(writable.values()))) or "none")
    print("toolchain symbols in them:", ", ".join(sorted(set(found))) or "none")
    if foreign:
        foreign = sorted(set(foreign))
        sys.exit(f"writable data of the library's own ({len(foreign)}): " + ", ".join(foreign[:20]))


if __name__ == "__main__":
    main()
