"""Data movement: olvmCopy, olvmExtract, olvmLoadIdentity and olvmTranspose.

These families pick their own layout sets and suffixes: Copy names the source and the
destination layout with one letter each (S, P, L meaning the S2, PS2 and LS2 groups),
Extract gathers one operand into a dense buffer, LoadIdentity has only a destination,
and Transpose passes its sizes between the source and the destination.
"""
from ..grammar import (LAYOUTS, MATRIX_SIZES, SINGLE_LAYOUTS, TYPES, Arg, Member, Operand,
                       count_mode, group, member_name, size_text)

_LETTER_LAYOUT = {"S": "S2", "P": "PS2", "L": "LS2"}
_NS = "olvm::elementwise"


def _sizes(vector):
    if vector:
        return [Arg("len", "unsigned int")], "olvm::frame::Dims{len, 1u}"
    return ([Arg("width", "unsigned int"), Arg("height", "unsigned int")],
            "olvm::frame::Dims{width, height}")


def _copy(kind, type_, letters):
    src_lay, dst_lay = (_LETTER_LAYOUT[x] for x in letters)
    vector = kind == "va"
    src_args, src = group("src", kind, src_lay, type_)
    dst_args, dst = group("dst", kind, dst_lay, type_, writable=True)
    size_args, shape = _sizes(vector)
    count_args, mode = count_mode(True)
    # Vector arrays test `len`; matrix arrays copy whatever width and height say.
    body = (f"return {_NS}::copy<{'true' if vector else 'false'}>(\n        {mode}, {shape},\n"
            f"        {dst},\n        {src});")
    return Member(member_name("Copy", kind, type_, "", letters), "Copy", kind, type_, None,
                  letters, src_args + dst_args + size_args + count_args, body,
                  [Operand("src", kind, src_lay), Operand("dst", kind, dst_lay)])


def copy_members():
    for kind in ("ma", "va"):
        for type_ in TYPES:
            for s in "SPL":
                for d in "SPL":
                    yield _copy(kind, type_, s + d)


# Extract: (operand code, layout suffix, types). The dense destination is an array when
# the source is one; a transposed source gives the transpose.
_EXTRACT = [("v", "S2"), ("v", "P"), ("m", "S2"), ("m", "P"), ("mT", "S2"), ("mT", "P"),
            ("ma", "S2"), ("ma", "PS2"), ("maT", "PS2"), ("ma", "LS2"), ("maT", "LS2"),
            ("va", "S2"), ("va", "PS2"), ("va", "LS2")]

# Names that are a second export of another member's routine.
_EXTRACT_ALIASES = {("va", "S2"): ("m", "S2"), ("maT", "PS2"): ("ma", "PS2")}


def _extract_validation(codes, type_, layout):
    """What the member validates before it reads: everything, or nothing but an empty
    size (the single-object table members other than olvmExtract_v_32f_P)."""
    if layout != "P" or (codes == "v" and type_ == "32f"):
        return f"{_NS}::Validate::All"
    return f"{_NS}::Validate::{'NoRows' if codes == 'mT' else 'Empty'}"


def _extract(codes, type_, layout):
    vector = codes in ("v", "va")
    array = codes in ("ma", "maT", "va")
    src_args, src = group("src", codes, layout, type_)
    elem = TYPES[type_]
    size_args, shape = _sizes(vector)
    count_args, mode = count_mode(array)
    dst_kind = ("va" if array else "v") if vector else ("ma" if array else "m")
    name = member_name("Extract", codes, type_, "", layout)
    alias = _EXTRACT_ALIASES.get((codes, layout))
    body = (f"return {_NS}::extract<{_extract_validation(codes, type_, layout)}>(\n"
            f"        {mode}, {shape},\n        {src},\n        pDst);")
    m = Member(name, "Extract", codes, type_, None, layout,
               src_args + [Arg("pDst", f"{elem}*")] + size_args + count_args, body,
               [Operand("src", codes, layout), Operand("dst", dst_kind, "")])
    if alias:
        m.alias_of = member_name("Extract", alias[0], type_, "", alias[1])
    return m


def extract_members():
    for type_ in TYPES:
        for codes, layout in _EXTRACT:
            if codes == "mT" and layout == "S2" and type_ == "64f":
                continue  # the transposed strided member exists for 32f only
            yield _extract(codes, type_, layout)


def _load_identity(type_, letter):
    lay = _LETTER_LAYOUT[letter]
    dst_args, dst = group("dst", "ma", lay, type_, writable=True)
    body = (f"return {_NS}::load_identity(\n        {dst},\n        width, height, count);")
    args = dst_args + [Arg("width", "int"), Arg("height", "int"), Arg("count", "unsigned int")]
    return Member(member_name("LoadIdentity", "ma", type_, "", letter), "LoadIdentity", "ma",
                  type_, None, letter, args, body, [Operand("dst", "ma", lay)])


def load_identity_members():
    for letter in "SLP":
        for type_ in TYPES:
            yield _load_identity(type_, letter)


def _transpose(codes, type_, size, layout):
    array = codes == "ma"
    src_args, src = group("src", codes, layout, type_)
    dst_args, dst = group("dst", codes, layout, type_, writable=True)
    if size is None:
        size_args, shape = _sizes(False)
    else:
        size_args, shape = [], f"olvm::frame::Fixed<{size}, {size}>{{}}"
    count_args, mode = count_mode(array)
    body = (f"return {_NS}::transpose(\n        {mode}, {shape},\n        {src},\n"
            f"        {dst});")
    return Member(member_name("Transpose", codes, type_, size_text(size, False), layout),
                  "Transpose", codes, type_, size, layout,
                  src_args + size_args + dst_args + count_args, body,
                  [Operand("src", codes, layout), Operand("dst", codes, layout)])


def transpose_members():
    for codes in ("m", "ma"):
        for type_ in TYPES:
            for size in MATRIX_SIZES:
                for layout in (LAYOUTS if codes == "ma" else SINGLE_LAYOUTS):
                    yield _transpose(codes, type_, size, layout)
