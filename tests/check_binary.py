# Checks of the built library's binaries against the catalogue, one subcommand each:
#
#   exports   the shared object's dynamic symbols are exactly the catalogue's names, the
#             aliases at their routines' addresses;
#   paths     the objects of one instruction-set path define nothing global outside that
#             path's namespaces (the linker could merge a wider path's copy into another
#             path) and have no static initialisers (they would run on every processor);
#   writable  the shared object keeps no writable data of its own: RELRO sections and the
#             lazy-binding slots hold no state, and in every other writable section each
#             symbol is one the toolchain adds (start-up objects, libgcc's processor
#             description filled once by the loader-time path resolvers);
#   pe        the Windows DLL exports exactly the catalogue's names (so none decorated),
#             the aliases at their routines' addresses; its import library decorates each
#             name _name@N with N = 4 * argument words (members.tsv, column 2); it imports
#             only system DLLs (the example programs, which link against it, run under
#             wine in the suite);
#   elf       every return of every exported function of the i386 shared object (of each
#             path of a loader-chosen one) pops 4 * argument words bytes.
#
# Prints what it counted and exits non-zero on any mismatch.
import argparse
import collections
import re
import subprocess
import sys

SYSTEM_DLLS = re.compile(r"^(kernel32|msvcrt|ntdll|user32|advapi32|ucrtbase|api-ms-win-.*)\.dll$", re.I)
TOOLCHAIN = re.compile(r"^(completed\.\d+|__dso_handle|__TMC_END__|__cpu_model|__cpu_features2|"
                       r"__bss_start|_edata|_end|__data_start|data_start)$")
failures = 0


def run(*cmd):
    return subprocess.run(cmd, check=True, capture_output=True, text=True).stdout


def check(bad, message):
    """Reports `message` as passed when `bad` (the offending items) is empty."""
    global failures
    bad = sorted(bad)
    print(("FAIL " if bad else "ok   ") + message)
    for item in bad[:20]:
        print("       ", item)
    failures += bool(bad)


def catalogue(opts):
    """Argument words per name, the exported names, and {alias: name of its routine}."""
    words, aliases = {}, {}
    for line in open(opts.members, encoding="utf-8"):
        f = line.rstrip("\n").split("\t")
        if f[0]:
            words[f[0]] = int(f[1])
            if len(f) > 3 and f[3]:
                aliases[f[0]] = f[3]
    return words, {l.strip() for l in open(opts.expected, encoding="utf-8") if l.strip()}, aliases


def same_address(aliases, address):
    return [a for a, t in aliases.items() if address.get(a) is None or address.get(a) != address.get(t)]


def exports(opts):
    address = {f[0]: f[2] for f in map(str.split, run(opts.nm, "-D", "--defined-only", "--format=posix",
                                                      opts.binary).splitlines())}
    names, (_, want, aliases) = set(address), catalogue(opts)
    print(f"{len(names)} exported, {len(want)} in the catalogue")
    check(same_address(aliases, address), f"each of the {len(aliases)} second names is at its routine's address")
    check(want - names, "every catalogue name is exported")
    check(names - want, "nothing else is exported")


def paths(opts):
    bad, seen = [], 0
    for obj in opts.binary:
        for line in run(opts.nm, "-C", "--defined-only", obj).splitlines():
            parts = line.split(" ", 2)
            if len(parts) < 3:
                continue
            kind, name = parts[1], parts[2]
            seen += 1
            if "sub_I_" in name or name.startswith("_GLOBAL__"):
                if not (opts.sanitized and name.startswith("_sub_")):  # sanitizers' module constructors
                    bad.append("initialiser " + name)
            elif not name.startswith("DW.ref.") and (kind.isupper() or kind in "uviw") \
                    and f"::{opts.path}::" not in name:  # (DW.ref.: the runtime's unwinder, in every object)
                bad.append(name)
    check(bad, f"{opts.path}: {seen} symbols, none global outside the path's namespaces, no initialisers")


def writable(opts):
    def readelf(option):
        return run(opts.readelf, option, "--wide", opts.binary)
    relro = [(int(m[1], 16), int(m[1], 16) + int(m[2], 16)) for m in re.finditer(
        r"GNU_RELRO\s+\S+\s+(0x[0-9a-f]+)\s+\S+\s+\S+\s+(0x[0-9a-f]+)", readelf("--program-headers"))]
    sections = {}
    for m in re.finditer(r"\[\s*(\d+)\]\s+(\S+)\s+\S+\s+([0-9a-f]+)\s+[0-9a-f]+\s+([0-9a-f]+)\s+\S+\s+(\S*W\S*)\s",
                         readelf("--section-headers")):
        addr, size = int(m[3], 16), int(m[4], 16)
        if m[2] != ".got.plt" and not any(lo <= addr and addr + size <= hi for lo, hi in relro):
            sections[int(m[1])] = m[2]
    symbols = readelf("--syms")
    if ".symtab" not in symbols:
        sys.exit(f"{opts.binary}: no symbol table, nothing can be checked")
    found = [(f[7], sections[int(f[6])]) for f in map(str.split, symbols.splitlines())
             if len(f) >= 8 and f[6].isdigit() and int(f[6]) in sections]
    print("writable sections:", ", ".join(sorted(set(sections.values()))) or "none")
    print("toolchain symbols in them:", ", ".join(sorted({n for n, _ in found if TOOLCHAIN.match(n)})) or "none")
    check({f"{n} ({s})" for n, s in found if not TOOLCHAIN.match(n)}, "no writable data of the library's own")


def pe_tables(text):
    """The export table [(name, RVA)] in order, and {DLL: [imported names]}, of objdump -p."""
    rva = {int(m[1]): m[2] for m in re.finditer(r"^\s+\[\s*(\d+)\] \+base\[\s*\d+\]\s+([0-9a-f]+) Export RVA$", text, re.M)}
    exported, imports, inside, dll = [], {}, False, None
    for line in text.splitlines():
        if line.startswith("[Ordinal/Name Pointer] Table"):
            inside = True
        elif inside and (m := re.match(r"^\s+\[\s*(\d+)\]\s+(\S+)$", line)):
            exported.append((m[2], rva.get(int(m[1]))))
        elif (m := re.match(r"^\s*DLL Name:\s*(\S+)", line)):
            inside, dll = False, imports.setdefault(m[1], [])
        else:
            inside = False
            if dll is not None and (m := re.match(r"^\s+[0-9a-f]+\s+\d+\s+(\S+)$", line)):
                dll.append(m[1])
            elif not line.strip():
                dll = None
    return exported, imports


def pe(opts):
    words, want, aliases = catalogue(opts)
    table, imports = pe_tables(run(opts.objdump, "-p", opts.binary))
    names = [n for n, _ in table]
    print(f"export table: {len(names)} names; catalogue: {len(want)} names")
    check(same_address(aliases, dict(table)), f"each of the {len(aliases)} second names is at its routine's address")
    check(want - set(names), "every catalogue name is exported")
    check(set(names) - want, "nothing else is exported")
    # __imp__name@N: the compiler's decoration of the definition, kept for callers.
    decorated = {m[1]: int(m[2]) for m in re.finditer(r"^[0-9a-f]*\s+I\s+__imp__(\w+)@(\d+)$",
                                                      run(opts.nm, opts.import_lib), re.M)}
    check(set(decorated) ^ want, f"the import library decorates exactly the catalogue's {len(want)} names")
    check([f"{n}: pops {decorated[n]}, {words[n]} words" for n in want & set(decorated) if decorated[n] != 4 * words[n]],
          "every decoration is 4 bytes per argument word")
    print("the DLL imports from:", ", ".join(sorted(imports)) or "nothing")
    check([d for d in imports if not SYSTEM_DLLS.match(d)], "only system DLLs are imported")


def elf(opts):
    words, want, aliases = catalogue(opts)
    pops, current = collections.defaultdict(list), None
    for line in run(opts.objdump, "-d", "--no-show-raw-insn", opts.binary).splitlines():
        if (m := re.match(r"^[0-9a-f]+ <([^>]+)>:$", line)):
            if not m[1].startswith(".L"):  # jump-table labels inside a function
                current = m[1]
        elif current and (m := re.search(r"\t(?:repz |bnd )?ret[lw]?\b\s*(?:\$0x([0-9a-f]+))?", line)):
            pops[current].append(int(m[1] or "0", 16))
    # A loader-chosen name (an indirect function) is checked in each of its paths,
    # name.<path>; a second name of a routine shares its address, and the disassembly
    # labels the routine with one of its names.
    dynamic = [d for d in map(str.split, run(opts.nm, "-D", "--defined-only", opts.binary).splitlines()) if len(d) == 3]
    ifuncs = {d[2] for d in dynamic if d[1] == "i"}
    address = {d[2]: d[0] for d in dynamic}
    labelled = {address[f]: f for f in pops if f in address}
    check(same_address(aliases, address), f"each of the {len(aliases)} second names is at its routine's address")
    bodies = {n: [f for f in pops if f.startswith(n + ".") and not f.endswith(".resolver")] if n in ifuncs
              else [n] if n in pops else [labelled[address[n]]] if address.get(n) in labelled else [] for n in want}
    functions = [(n, f) for n, fs in bodies.items() for f in fs]
    print(f"{len(functions)} functions for {len(want)} names ({len(ifuncs & want)} loader-chosen), "
          f"{sum(len(pops[f]) for _, f in functions)} return instructions")
    check([n for n, fs in bodies.items() if not fs], "every catalogue name has a function with a return")
    check([f"{f}: pops {sorted(set(pops[f]))}, {words[n]} words" for n, f in functions if set(pops[f]) != {4 * words[n]}],
          "every return pops exactly 4 bytes per argument word")


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("what", choices=["exports", "paths", "writable", "pe", "elf"])
    ap.add_argument("binary", nargs="+")
    for tool in ("nm", "objdump", "readelf"):
        ap.add_argument("--" + tool, default=tool)
    ap.add_argument("--members")
    ap.add_argument("--expected")
    ap.add_argument("--import-lib")
    ap.add_argument("--path")
    ap.add_argument("--sanitized", action="store_true")
    opts = ap.parse_args()
    if opts.what != "paths":
        opts.binary = opts.binary[0]
    globals()[opts.what](opts)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
