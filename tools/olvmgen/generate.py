"""Writes everything that is derived from the catalogue of primitives.

    python3 -m tools.olvmgen.generate --template include/olvm.h.in --out BUILD/generated

Outputs (all under --out, rewritten only when their content changes):
    include/olvm.h        the public header: types from the template, every declaration
    olvm.map              linker version script exporting exactly the catalogue's names
    exports.txt           one exported name per line, sorted
    members.tsv           name, argument words on 32-bit x86, argument names, and the
                          member whose routine the name also exports (if any)
    src/<kernel>_<op>_<type>.cpp  the exported definitions, one file per kernel header,
                                  family and type
    tests/members.inc     test table: metadata and a typed thunk per member
    tests/args.inc        the fields of the test harness's argument record
"""
import argparse
import collections
import os
import sys

if __package__ in (None, ""):
    sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))))
    __package__ = "tools.olvmgen"  # noqa: A001

from .families import all_members  # noqa: E402

VERSION_FUNCTION = "olvmGetLibVersion"


def write_if_changed(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    try:
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return
    except FileNotFoundError:
        pass
    with open(path, "w", encoding="utf-8") as f:
        f.write(text)


def prototype(m):
    params = ", ".join(f"{a.ctype} {a.name}" for a in m.args)
    return f"OlvResult OLVM_CALL {m.name}({params})"


def header(template, members):
    decls = []
    family = None
    for m in members:
        if m.family != family:
            family = m.family
            decls.append(f"\n/* olvm{family} */")
        decls.append(f"OLVM_API {prototype(m)};")
    with open(template, encoding="utf-8") as f:
        text = f.read()
    marker = "@OLVM_DECLARATIONS@"
    if marker not in text:
        raise SystemExit(f"{template}: missing {marker}")
    return text.replace(marker, "\n".join(decls).lstrip("\n"))


# A second name for a routine is the same function at the same address. The target is
# named by its symbol, which on Windows carries the callee-clean argument size.
ALIAS_MACRO = """#if defined(_WIN32)
#define OLVM_SAME_ROUTINE_AS(target, bytes) __attribute__((alias(#target "@" #bytes)))
#else
#define OLVM_SAME_ROUTINE_AS(target, bytes) __attribute__((alias(#target)))
#endif
"""


def definitions(members, header_name):
    out = ["// Generated from the primitive catalogue; do not edit.",
           '#include "olvm.h"', f'#include "{header_name}"', ""]
    if any(m.alias_of for m in members):
        out.append(ALIAS_MACRO)
    for m in members:
        if m.alias_of:
            out.append(f"OLVM_API {prototype(m)}\n    OLVM_SAME_ROUTINE_AS({m.alias_of}, "
                       f"{4 * m.words});\n")
        else:
            out.append(f"OLVM_API {prototype(m)}\n{{\n    {m.body}\n}}\n")
    return "\n".join(out)


def check_aliases(members):
    """An alias names a member of the same family and type with the same C signature."""
    by_name = {m.name: m for m in members}
    for m in members:
        if not m.alias_of:
            continue
        t = by_name.get(m.alias_of)
        if t is None or t.alias_of or (t.family, t.type) != (m.family, m.type) \
                or [a.ctype for a in t.args] != [a.ctype for a in m.args]:
            raise SystemExit(f"{m.name}: bad alias of {m.alias_of}")


def test_table(members):
    out = ["// Generated from the primitive catalogue; do not edit."]
    for m in members:
        casts = []
        for a in m.args:
            if a.ctype.endswith("*"):
                casts.append(f"static_cast<{a.ctype}>(a.{a.name})")
            elif a.ctype in ("Olv32f", "Olv64f"):
                casts.append(f"static_cast<{a.ctype}>(a.{a.name})")
            else:
                casts.append(f"a.{a.name}")
        ops = ",".join(f"{o.role}:{o.kind}:{o.layout}:{o.mode}" for o in m.operands)
        size = m.size or 0
        call = f"reinterpret_cast<decltype(&{m.name})>(fn)({', '.join(casts)})"
        names = ",".join(a.name for a in m.args)
        out.append(f'OLVM_MEMBER("{m.name}", "{m.family}", "{m.codes}", "{m.type}", {size}, '
                   f'"{m.layout}", "{ops}", "{names}", "{m.alias_of or ""}", {call})')
    return "\n".join(out) + "\n"


def args_record(members):
    fields = {}
    for m in members:
        for a in m.args:
            if a.ctype.endswith("*"):
                t = "const void*" if a.ctype.startswith("const") else "void*"
                if a.name in fields and fields[a.name] != t:
                    t = "void*"
                fields[a.name] = t
            elif a.ctype in ("Olv32f", "Olv64f"):
                fields[a.name] = "double"
            elif fields.get(a.name) != "unsigned int":
                # A size that is signed in one family and unsigned in others is held
                # unsigned; the thunks convert it to each member's own type.
                fields[a.name] = a.ctype
    out = ["// Generated from the primitive catalogue; do not edit."]
    for name in sorted(fields):
        t = fields[name]
        init = "nullptr" if t.endswith("*") else "0"
        if t.endswith("*"):
            t = "void*"  # the harness passes its own buffers; thunks cast to the real type
        out.append(f"{t} {name} = {init};")
    # Access to one operand's description fields by its role prefix.
    roles = sorted({o.role for m in members for o in m.operands})
    out.append("RoleFields role(const std::string& r) {")
    for r in roles:
        cap = r[0].upper() + r[1:]
        refs = [f"p{cap}", f"pp{cap}", f"{r}ObjStride", f"{r}RowStride", f"{r}ElemStride",
                f"{r}Offset"]
        vals = ", ".join(f"&{n}" if n in fields else "nullptr" for n in refs)
        out.append(f'    if (r == "{r}") return RoleFields{{{vals}}};')
    out.append("    return RoleFields{};")
    out.append("}")
    # The unsigned arguments (sizes and count) by name.
    out.append("unsigned* unsigned_field(const std::string& n) {")
    for name in sorted(n for n, t in fields.items() if t == "unsigned int"):
        out.append(f'    if (n == "{name}") return &{name};')
    out.append("    return nullptr;")
    out.append("}")
    return "\n".join(out) + "\n"


def _source_name(header_name, family, type_):
    """One definition file per kernel header, family and type (a family such as Mul may be
    built on several kernel headers)."""
    kernel = os.path.splitext(os.path.basename(header_name))[0]
    return f"{kernel}_{family.lower()}_{type_}.cpp"


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--template", required=True)
    ap.add_argument("--out", required=True)
    opts = ap.parse_args()

    members = list(all_members())
    names = [m.name for m in members]
    dupes = [n for n, c in collections.Counter(names).items() if c > 1]
    if dupes:
        raise SystemExit(f"duplicate primitive names: {dupes[:5]}")
    check_aliases(members)

    out = opts.out
    write_if_changed(os.path.join(out, "include", "olvm.h"), header(opts.template, members))

    exported = sorted(names + [VERSION_FUNCTION])
    write_if_changed(os.path.join(out, "exports.txt"), "\n".join(exported) + "\n")
    write_if_changed(os.path.join(out, "olvm.map"),
                     "{\n  global:\n" + "".join(f"    {n};\n" for n in exported)
                     + "  local:\n    *;\n};\n")
    rows = [f"{VERSION_FUNCTION}\t0\t\t"] + [
        f"{m.name}\t{m.words}\t{','.join(a.name for a in m.args)}\t{m.alias_of or ''}"
        for m in members]
    write_if_changed(os.path.join(out, "members.tsv"), "\n".join(rows) + "\n")

    groups = collections.OrderedDict()
    for m in members:
        groups.setdefault((m.header, m.family, m.type), []).append(m)
    for (header_name, family, type_), ms in groups.items():
        path = os.path.join(out, "src", _source_name(header_name, family, type_))
        write_if_changed(path, definitions(ms, header_name))

    write_if_changed(os.path.join(out, "tests", "members.inc"), test_table(members))
    write_if_changed(os.path.join(out, "tests", "args.inc"), args_record(members))

    # The list of definition files, for the build system.
    files = sorted("src/" + _source_name(h, f, t) for (h, f, t) in groups)
    write_if_changed(os.path.join(out, "sources.txt"), "\n".join(files) + "\n")


if __name__ == "__main__":
    main()
