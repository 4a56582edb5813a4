"""Matrix inversion: olvmInvert.

Generic members pass `size` and the scratch buffer `pBuffer` between the source and the
destination description; fixed-size members (3x3 .. 6x6) pass no size and no buffer.
`count` comes last in the array members. Generic P members test their table entries
while they work (destination first, source entries while copying); every other member
with tables tests all entries first.
"""
from ..grammar import (LAYOUTS, MATRIX_SIZES, SINGLE_LAYOUTS, TYPES, Arg, Member, Operand,
                       count_mode, group, member_name, operand_layout, size_text)


def _invert(codes, type_, size, layout):
    lay = operand_layout(layout, codes)
    src_args, src = group("src", codes, lay, type_)
    dst_args, dst = group("dst", codes, lay, type_, writable=True)
    tail, mode = count_mode(codes == "ma")
    operands = [Operand("src", codes, lay)]
    if size is None:
        middle = [Arg("size", "unsigned int"), Arg("pBuffer", f"{TYPES[type_]}*")]
        # P members test the source entries while copying each matrix into the buffer.
        flag = "true" if layout == "P" else "false"
        call = (f"invert<{flag}>(\n        {mode}, size,\n        {src},\n        pBuffer,\n"
                f"        {dst});")
        operands.append(Operand("buffer", "buffer", ""))
    else:
        middle = []
        call = f"invert<{size}>(\n        {mode},\n        {src},\n        {dst});"
    operands.append(Operand("dst", codes, lay))
    name = member_name("Invert", codes, type_, size_text(size, False), layout)
    return Member(name, "Invert", codes, type_, size, layout,
                  src_args + middle + dst_args + tail,
                  "return olvm::characteristics::" + call, operands)


def members():
    for codes in ("m", "ma"):
        for type_ in TYPES:
            for size in MATRIX_SIZES:
                for layout in (SINGLE_LAYOUTS if codes == "m" else LAYOUTS):
                    yield _invert(codes, type_, size, layout)
