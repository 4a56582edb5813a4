"""QR decomposition by Householder reflections and its back substitution:
olvmQRDecomp and olvmQRBackSubst.

Both families place the scratch buffer `pBuffer` between the matrix and the next
operand, and pass `width`, `height` (generic members only) and then `count` last.
Fixed-size members are square.
"""
from ..grammar import (TYPES, Arg, Member, Operand,
                       group, member_name, operand_layout, size_text)
from .decomp import each_member, solver_operands


def _sizes(size, array):
    args = [] if size is not None else [Arg("width", "unsigned int"), Arg("height", "unsigned int")]
    if array:
        args.append(Arg("count", "unsigned int"))
    mode = "olvm::frame::Array{count}" if array else "olvm::frame::Single{}"
    shape = f"olvm::frame::Fixed<{size}, {size}>{{}}" if size else "olvm::frame::Dims{width, height}"
    return args, mode, shape


def _buffer(type_):
    return Arg("pBuffer", f"{TYPES[type_]}*")


def _decomp(codes, type_, size, layout):
    array = codes == "ma"
    lay = operand_layout(layout, codes)
    src_args, src = group("src", codes, lay, type_)
    dst_args, dst = group("dst", codes, lay, type_, writable=True)
    tail, mode, shape = _sizes(size, array)
    body = (f"return olvm::decomp::qr_decomp(\n        {mode}, {shape},\n        {src},\n"
            f"        pBuffer,\n        {dst});")
    name = member_name("QRDecomp", codes, type_, size_text(size, False), layout)
    return Member(name, "QRDecomp", codes, type_, size, layout,
                  src_args + [_buffer(type_)] + dst_args + tail, body,
                  [Operand("src", codes, lay), Operand("buffer", "buffer", ""),
                   Operand("dst", codes, lay)])


def _backsubst(codes, type_, size, layout):
    o = solver_operands(codes, type_, layout)
    array, mat_kind, vec_kind = o["array"], o["mat_kind"], o["vec_kind"]
    mat_layout, vec_layout, prelude = o["mat_layout"], o["vec_layout"], o["prelude"]
    mat_args, mat, rhs_args, rhs = o["mat_args"], o["mat"], o["rhs_args"], o["rhs"]
    dst_args, dst = o["dst_args"], o["dst"]
    tail, mode, shape = _sizes(size, array)
    body = (f"{prelude}return olvm::decomp::qr_back_subst(\n"
            f"        {mode}, {shape},\n        {mat},\n        pBuffer,\n        {rhs},\n"
            f"        {dst});")
    name = member_name("QRBackSubst", codes, type_, size_text(size, False), layout)
    return Member(name, "QRBackSubst", codes, type_, size, layout,
                  mat_args + [_buffer(type_)] + rhs_args + dst_args + tail, body,
                  [Operand("src", mat_kind, mat_layout), Operand("buffer", "buffer", ""),
                   Operand("src2", vec_kind, vec_layout), Operand("dst", vec_kind, vec_layout)])


def qr_decomp_members():
    yield from each_member(["m", "ma"], _decomp)


def qr_back_subst_members():
    yield from each_member(["mv", "mva", "mava"], _backsubst)
