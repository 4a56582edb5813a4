"""LU decomposition with partial pivoting and its back substitution:
olvmLUDecomp and olvmLUBackSubst.

Both families place the index vector `pIndex` between the matrix and the next operand,
and pass `size` (generic members only) and then `count` last.
"""
from ..grammar import (LAYOUTS, MATRIX_SIZES, SINGLE_LAYOUTS, TYPES, Arg, Member, Operand,
                       group, member_name, operand_layout, size_text)

def _sizes(size, array):
    args = [] if size is not None else [Arg("size", "unsigned int")]
    if array:
        args.append(Arg("count", "unsigned int"))
    mode = "olvm::frame::Array{count}" if array else "olvm::frame::Single{}"
    shape = f"olvm::frame::Fixed<{size}, {size}>{{}}" if size else "olvm::frame::Dims{size, size}"
    return args, mode, shape


def _decomp(codes, type_, size, layout):
    array = codes == "ma"
    lay = operand_layout(layout, codes)
    src_args, src = group("src", codes, lay, type_)
    dst_args, dst = group("dst", codes, lay, type_, writable=True)
    index = Arg("pIndex", "unsigned int*")
    tail, mode, shape = _sizes(size, array)
    body = (f"return olvm::decomp::lu_decomp(\n        {mode}, {shape},\n        {src},\n"
            f"        pIndex,\n        {dst});")
    name = member_name("LUDecomp", codes, type_, size_text(size, False), layout)
    return Member(name, "LUDecomp", codes, type_, size, layout,
                  src_args + [index] + dst_args + tail, body,
                  [Operand("src", codes, lay), Operand("dst", codes, lay),
                   Operand("index", "index", "", "w")])


def solver_operands(codes, type_, layout):
    """The matrix, right-hand side and destination of a back substitution (`mv`, `mva`,
    `mava`): their kinds and layouts, argument groups and descriptors, and a statement
    list to put before the kernel call.

    The single factor matrix of `mva` publishes the argument group of an array matrix in
    the standard and S2 description (object stride included) and the plain P group in the
    table layouts; its descriptor is that of one matrix, so the object stride is passed
    but never read."""
    array = codes != "mv"
    mat_kind = "ma" if codes == "mava" else "m"
    vec_kind = "va" if array else "v"
    mat_layout = operand_layout(layout, mat_kind)
    vec_layout = operand_layout(layout, vec_kind)
    prelude = ""
    if codes == "mva":
        mat_args, _ = group("src", "ma", mat_layout, type_)
        _, mat = group("src", "m", mat_layout, type_)
        if any(a.name == "srcObjStride" for a in mat_args):
            prelude = "(void)srcObjStride;\n    "
    else:
        mat_args, mat = group("src", mat_kind, mat_layout, type_)
    rhs_args, rhs = group("src2", vec_kind, vec_layout, type_)
    dst_args, dst = group("dst", vec_kind, vec_layout, type_, writable=True)
    return dict(array=array, mat_kind=mat_kind, vec_kind=vec_kind, mat_layout=mat_layout,
                vec_layout=vec_layout, prelude=prelude, mat_args=mat_args, mat=mat,
                rhs_args=rhs_args, rhs=rhs, dst_args=dst_args, dst=dst)


def _backsubst(codes, type_, size, layout):
    o = solver_operands(codes, type_, layout)
    array, mat_kind, vec_kind = o["array"], o["mat_kind"], o["vec_kind"]
    mat_layout, vec_layout, prelude = o["mat_layout"], o["vec_layout"], o["prelude"]
    mat_args, mat, rhs_args, rhs = o["mat_args"], o["mat"], o["rhs_args"], o["rhs"]
    dst_args, dst = o["dst_args"], o["dst"]
    index = Arg("pIndex", "const unsigned int*")
    tail, mode, shape = _sizes(size, array)
    per_object = "true" if codes == "mava" else "false"
    body = (f"{prelude}return olvm::decomp::lu_back_subst<{per_object}>(\n"
            f"        {mode}, {shape},\n        {mat},\n        pIndex,\n        {rhs},\n"
            f"        {dst});")
    name = member_name("LUBackSubst", codes, type_, size_text(size, False), layout)
    return Member(name, "LUBackSubst", codes, type_, size, layout,
                  mat_args + [index] + rhs_args + dst_args + tail, body,
                  [Operand("src", mat_kind, mat_layout), Operand("src2", vec_kind, vec_layout),
                   Operand("dst", vec_kind, vec_layout), Operand("index", "index", "")])


def each_member(codes_list, build):
    for codes in codes_list:
        single = codes in ("m", "mv")
        for type_ in TYPES:
            for size in MATRIX_SIZES:
                for layout in (SINGLE_LAYOUTS if single else LAYOUTS):
                    yield build(codes, type_, size, layout)


def lu_decomp_members():
    yield from each_member(["m", "ma"], _decomp)


def lu_back_subst_members():
    yield from each_member(["mv", "mva", "mava"], _backsubst)
