"""QR decomposition by Householder reflections and its back substitution:
olvmQRDecomp and olvmQRBackSubst.

Both families place the scratch buffer `pBuffer` between the matrix and the next
operand, and pass `width`, `height` (generic members only) and then `count` last.
Fixed-size members are square.
"""
from ..grammar import (LAYOUTS, MATRIX_SIZES, SINGLE_LAYOUTS, TYPES, Arg, Member, Operand,
                       group, member_name, operand_layout, size_text)


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
    array = codes != "mv"
    mat_kind = "ma" if codes == "mava" else "m"
    vec_kind = "va" if array else "v"
    mat_layout = operand_layout(layout, mat_kind)
    vec_layout = operand_layout(layout, vec_kind)
    prelude = ""
    if codes == "mva":
        # The one factor matrix keeps the argument group of an array matrix (object
        # stride included) in the standard and S2 descriptions; every vector uses the
        # same matrix, so the object stride is passed but never read.
        mat_args, _ = group("src", "ma", mat_layout, type_)
        _, mat = group("src", "m", mat_layout, type_)
        if any(a.name == "srcObjStride" for a in mat_args):
            prelude = "(void)srcObjStride;\n    "
    else:
        mat_args, mat = group("src", mat_kind, mat_layout, type_)
    rhs_args, rhs = group("src2", vec_kind, vec_layout, type_)
    dst_args, dst = group("dst", vec_kind, vec_layout, type_, writable=True)
    tail, mode, shape = _sizes(size, array)
    body = (f"{prelude}return olvm::decomp::qr_back_subst(\n"
            f"        {mode}, {shape},\n        {mat},\n        pBuffer,\n        {rhs},\n"
            f"        {dst});")
    name = member_name("QRBackSubst", codes, type_, size_text(size, False), layout)
    return Member(name, "QRBackSubst", codes, type_, size, layout,
                  mat_args + [_buffer(type_)] + rhs_args + dst_args + tail, body,
                  [Operand("src", mat_kind, mat_layout), Operand("buffer", "buffer", ""),
                   Operand("src2", vec_kind, vec_layout), Operand("dst", vec_kind, vec_layout)])


def _each(codes_list, build):
    for codes in codes_list:
        single = codes in ("m", "mv")
        for type_ in TYPES:
            for size in MATRIX_SIZES:
                for layout in (SINGLE_LAYOUTS if single else LAYOUTS):
                    yield build(codes, type_, size, layout)


def qr_decomp_members():
    yield from _each(["m", "ma"], _decomp)


def qr_back_subst_members():
    yield from _each(["mv", "mva", "mava"], _backsubst)
