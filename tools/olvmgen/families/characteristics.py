"""Scalar characteristics of a matrix: olvmTrace, olvmFrobNorm and olvmDet.

Each member reads one matrix (`m`) or every matrix of an array (`ma`) and writes one
value of the element type per matrix: through `pDstVal` for a single matrix, or as
`count` values next to each other from `pDst` on for an array (no stride, whatever the
source's layout). The sizes (`size`, or FrobNorm's `width`, `height`) come right after the
source description; generic determinants then take their scratch buffer `pBuffer`.
"""
from ..grammar import (LAYOUTS, MATRIX_SIZES, SINGLE_LAYOUTS, TYPES, Arg, Member, Operand,
                       group, member_name, operand_layout, size_text)

_KERNEL = "olvm::characteristics"


def _member(op, kernel, codes, type_, size, layout):
    array = codes == "ma"
    lay = operand_layout(layout, codes)
    elem = TYPES[type_]
    args, src = group("src", codes, lay, type_)
    operands = [Operand("src", codes, lay)]
    if size is not None:
        shape = f"olvm::frame::Fixed<{size}, {size}>{{}}"
    elif op == "FrobNorm":
        args += [Arg("width", "unsigned int"), Arg("height", "unsigned int")]
        shape = "olvm::frame::Dims{width, height}"
    else:
        args.append(Arg("size", "unsigned int"))
        shape = "olvm::frame::Dims{size, size}"
    extra = ""
    if op == "Det" and size is None:
        args.append(Arg("pBuffer", f"{elem}*"))
        operands.append(Operand("buffer", "buffer", ""))
        extra = "pBuffer, "
    if array:
        args += [Arg("pDst", f"{elem}*"), Arg("count", "unsigned int")]
        operands.append(Operand("dst", "scalars", ""))
        mode, result = "olvm::frame::Array{count}", "pDst"
    else:
        args.append(Arg("pDstVal", f"{elem}*"))
        operands.append(Operand("dstVal", "scalar", ""))
        mode, result = "olvm::frame::Single{}", "pDstVal"
    # P members test the table entries they read as they read them (a generic determinant
    # while copying into its buffer); fixed-size determinants and the PS2 members test
    # every entry before anything else.
    while_reading = layout == "P" and (op != "Det" or size is None)
    flag = "true" if while_reading else "false"
    body = (f"return {_KERNEL}::{kernel}<{flag}>(\n        {mode}, {shape},\n        {src},\n"
            f"        {extra}{result});")
    name = member_name(op, codes, type_, size_text(size, False), layout)
    return Member(name, op, codes, type_, size, layout, args, body, operands)


def _each(op, kernel):
    for codes in ("m", "ma"):
        for type_ in TYPES:
            for size in MATRIX_SIZES:
                for layout in (SINGLE_LAYOUTS if codes == "m" else LAYOUTS):
                    yield _member(op, kernel, codes, type_, size, layout)


def trace_members():
    yield from _each("Trace", "trace")


def frob_norm_members():
    yield from _each("FrobNorm", "frob_norm")


def det_members():
    yield from _each("Det", "det")
