"""Checks the 32-bit x86 builds against the catalogue: exported names and callee-clean sizes.

Every primitive removes its own arguments from the stack: 4 bytes per argument word, a 64f
constant taking two words (members.tsv, column 2). Two ways to see what the build did:

  pe   the Windows DLL: its export table must hold exactly the catalogue's names, all
       undecorated; its import library must carry each name decorated as _name@N (the size
       the compiler derived from the declaration) with N = 4 * words; it may import only
       system DLLs; and a program linked against it must import only names it exports.
  elf  the i386 shared object: every `ret` of every exported function (of each path of a
       loader-chosen one) must pop 4 * words bytes (`ret $N`; plain `ret` for none).

Prints what it counted and exits non-zero on any mismatch.
"""
import argparse
import collections
import re
import subprocess
import sys

# DLLs every Windows installation has; anything else (the compiler's runtime) must be linked in.
SYSTEM_DLLS = re.compile(r"^(kernel32|msvcrt|ntdll|user32|advapi32|ucrtbase|api-ms-win-.*)\.dll$",
                         re.IGNORECASE)


def run(*cmd):
    return subprocess.run(cmd, check=True, capture_output=True, text=True).stdout


def read_catalogue(members_path, exports_path):
    """Argument words per name, the exported names, and {alias: name of its routine}."""
    words, aliases = {}, {}
    with open(members_path, encoding="utf-8") as f:
        for line in f:
            if line.strip():
                fields = line.rstrip("\n").split("\t")
                words[fields[0]] = int(fields[1])
                if len(fields) > 3 and fields[3]:
                    aliases[fields[0]] = fields[3]
    with open(exports_path, encoding="utf-8") as f:
        expected = [line.strip() for line in f if line.strip()]
    return words, expected, aliases


class Report:
    def __init__(self):
        self.failures = 0

    def check(self, ok, message, items=()):
        items = sorted(items)
        status = "ok  " if ok else "FAIL"
        print(f"{status} {message}")
        for item in items[:20]:
            print(f"       {item}")
        if len(items) > 20:
            print(f"       ... and {len(items) - 20} more")
        if not ok:
            self.failures += 1


def pe_exports(objdump_text):
    """Names of the export table ('[Ordinal/Name Pointer] Table' of objdump -p)."""
    names, inside = [], False
    for line in objdump_text.splitlines():
        if line.startswith("[Ordinal/Name Pointer] Table"):
            inside = True
            continue
        if inside:
            m = re.match(r"^\s+\[\s*\d+\]\s+(\S+)$", line)
            if not m:
                break
            names.append(m.group(1))
    return names


def pe_export_addresses(objdump_text):
    """{exported name: RVA}, joining the name table's ordinals to the address table."""
    rva = {int(m.group(1)): m.group(2) for m in re.finditer(
        r"^\s+\[\s*(\d+)\] \+base\[\s*\d+\]\s+([0-9a-f]+) Export RVA$", objdump_text, re.M)}
    names, inside = {}, False
    for line in objdump_text.splitlines():
        if line.startswith("[Ordinal/Name Pointer] Table"):
            inside = True
            continue
        if inside:
            m = re.match(r"^\s+\[\s*(\d+)\]\s+(\S+)$", line)
            if not m:
                break
            names[m.group(2)] = rva.get(int(m.group(1)))
    return names


def pe_imports(objdump_text):
    """{DLL name: [imported names]} from the import tables of objdump -p."""
    imports, current = {}, None
    for line in objdump_text.splitlines():
        m = re.match(r"^\s*DLL Name:\s*(\S+)", line)
        if m:
            current = imports.setdefault(m.group(1), [])
            continue
        if current is not None:
            m = re.match(r"^\s+[0-9a-f]+\s+\d+\s+(\S+)$", line)
            if m:
                current.append(m.group(1))
            elif not line.strip():
                current = None
    return imports


def check_pe(opts, words, expected, aliases, report):
    dll_text = run(opts.objdump, "-p", opts.dll)
    exported = pe_exports(dll_text)
    address = pe_export_addresses(dll_text)
    report.check(all(address.get(a) is not None and address.get(a) == address.get(t)
                     for a, t in aliases.items()),
                 f"each of the {len(aliases)} second names is exported at its routine's address",
                 [f"{a} {address.get(a)} != {t} {address.get(t)}" for a, t in aliases.items()
                  if address.get(a) is None or address.get(a) != address.get(t)])
    dupes = [n for n, c in collections.Counter(exported).items() if c > 1]
    want = set(expected)
    print(f"export table: {len(exported)} names; catalogue: {len(expected)} names")
    report.check(not dupes, "every export appears once", dupes)
    report.check(not any("@" in n for n in exported), "every export is undecorated",
                 [n for n in exported if "@" in n])
    report.check(not want - set(exported), "every catalogue name is exported",
                 want - set(exported))
    report.check(not set(exported) - want, "nothing else is exported", set(exported) - want)

    # __imp__name@N: the compiler's decoration of the definition, kept for callers.
    decorated = {}
    for line in run(opts.nm, opts.import_lib).splitlines():
        m = re.match(r"^[0-9a-f]*\s+I\s+__imp__(\w+)@(\d+)$", line)
        if m:
            decorated[m.group(1)] = int(m.group(2))
    wrong = [f"{n}: pops {decorated[n]} bytes, catalogue says {words[n]} words"
             for n in sorted(want & set(decorated)) if decorated[n] != 4 * words[n]]
    sizes = collections.Counter(decorated[n] for n in want & set(decorated))
    print(f"import library: {len(decorated)} decorated names; argument sizes in bytes: "
          + ", ".join(f"{b}:{c}" for b, c in sorted(sizes.items())))
    report.check(set(decorated) == want, "the import library decorates exactly the catalogue's names",
                 set(decorated) ^ want)
    report.check(not wrong, f"{len(want & set(decorated)) - len(wrong)} of "
                 f"{len(want & set(decorated))} decorations match 4 bytes per argument word", wrong)

    deps = sorted(pe_imports(dll_text))
    print("the DLL imports from: " + (", ".join(deps) or "nothing"))
    report.check(all(SYSTEM_DLLS.match(d) for d in deps), "only system DLLs are imported",
                 [d for d in deps if not SYSTEM_DLLS.match(d)])

    dll_name = opts.dll.replace("\\", "/").rsplit("/", 1)[-1].lower()
    for client in opts.client:
        imports = {d.lower(): names for d, names in pe_imports(run(opts.objdump, "-p", client)).items()}
        used = imports.get(dll_name, [])
        report.check(bool(used) and set(used) <= set(exported),
                     f"{client}: its {len(used)} imports from {dll_name} are exported names",
                     set(used) - set(exported))


def check_elf(opts, words, expected, aliases, report):
    text = run(opts.objdump, "-d", "--no-show-raw-insn", opts.library)
    pops, current = collections.defaultdict(list), None
    for line in text.splitlines():
        m = re.match(r"^[0-9a-f]+ <([^>]+)>:$", line)
        if m:
            if not m.group(1).startswith(".L"):  # jump-table labels inside a function
                current = m.group(1)
            continue
        m = re.search(r"\t(?:repz |bnd )?ret[lw]?\b\s*(?:\$0x([0-9a-f]+))?", line)
        if m and current is not None:
            pops[current].append(int(m.group(1) or "0", 16))
    # A name chosen by the loader (an indirect function, as target_clones makes) is checked
    # in each of its paths, name.<path>; its resolver is an ordinary function.
    dynamic = [line.split() for line in run(opts.nm, "-D", "--defined-only", opts.library).splitlines()]
    ifuncs = {d[2] for d in dynamic if len(d) == 3 and d[1] == "i"}
    # A name exported a second time for the same routine shares its address; the
    # disassembly labels the routine with one of its names.
    address = {d[2]: d[0] for d in dynamic if len(d) == 3}
    labelled = {address[f]: f for f in pops if f in address}
    report.check(all(a in address and address[a] == address.get(t) for a, t in aliases.items()),
                 f"each of the {len(aliases)} second names is exported at its routine's address",
                 [a for a, t in aliases.items() if a not in address or address[a] != address.get(t)])
    bodies = {}
    for n in expected:
        if n in ifuncs:
            bodies[n] = [f for f in pops if f.startswith(n + ".") and not f.endswith(".resolver")]
        elif n in pops:
            bodies[n] = [n]
        elif address.get(n) in labelled:
            bodies[n] = [labelled[address[n]]]
    missing = sorted(set(expected) - {n for n, fs in bodies.items() if fs})
    wrong = [f"{f}: pops {sorted(set(pops[f]))} bytes, catalogue says {words[n]} words"
             for n in sorted(bodies) for f in bodies[n] if set(pops[f]) != {4 * words[n]}]
    functions = sum(len(fs) for fs in bodies.values())
    total = sum(len(pops[f]) for fs in bodies.values() for f in fs)
    print(f"{len(bodies)} of {len(expected)} catalogue names disassembled "
          f"({len(ifuncs & set(expected))} with loader-chosen paths): {functions} functions, "
          f"{total} return instructions")
    report.check(not missing, "every catalogue name has a function with a return", missing)
    report.check(not wrong, f"{functions - len(wrong)} of {functions} functions pop exactly 4 bytes "
                 "per argument word on every return", wrong)


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("--members", required=True, help="members.tsv: name, argument words")
    ap.add_argument("--expected", required=True, help="exports.txt: every exported name")
    ap.add_argument("--objdump", default="objdump")
    sub = ap.add_subparsers(dest="mode", required=True)
    pe = sub.add_parser("pe")
    pe.add_argument("--dll", required=True)
    pe.add_argument("--import-lib", required=True)
    pe.add_argument("--nm", default="nm")
    pe.add_argument("--client", action="append", default=[],
                    help="a program linked against the import library")
    elf = sub.add_parser("elf")
    elf.add_argument("--library", required=True)
    elf.add_argument("--nm", default="nm")
    opts = ap.parse_args()

    words, expected, aliases = read_catalogue(opts.members, opts.expected)
    report = Report()
    report.check(set(words) == set(expected), f"members.tsv lists the {len(expected)} exported names",
                 set(words) ^ set(expected))
    words = collections.defaultdict(lambda: -1, words)
    (check_pe if opts.mode == "pe" else check_elf)(opts, words, expected, aliases, report)
    print(f"{report.failures} check(s) failed" if report.failures else "all checks passed")
    return 1 if report.failures else 0


if __name__ == "__main__":
    sys.exit(main())
