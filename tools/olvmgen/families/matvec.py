"""Products with a vector or a constant: the matrix-vector and constant members of olvmMul,
and olvmGaxpy (dst = A*x + y).

A matrix-vector member passes src1Width and src1Height right after the matrix's group and
src2Len right after the vector's; a constant member passes `val` after its source's group
and the sizes of the result after the destination; Gaxpy passes width and height after
the destination. A single operand inside an array member keeps the standard/S2 group in
L/LS2 members and the P group in P/PS2 members (grammar.operand_layout).
"""
from ..grammar import (LAYOUTS, MATRIX_SIZES, SINGLE_LAYOUTS, TYPES, Arg, Member, Operand,
                       constant, count_mode, group, is_array, member_name, operand_layout,
                       size_text, split_codes)

MATRIX_VECTOR = ["mv", "mTv", "mva", "mTva", "mav", "maTv", "mava", "maTva"]
CONSTANT = ["mc", "mTc", "mac", "maTc", "vc", "vac"]
_KERNEL = "olvm::products"
_UNSIGNED = "unsigned int"


def _layouts(array):
    return LAYOUTS if array else SINGLE_LAYOUTS


def _described(role, kind, layout, type_, writable=False):
    """(args, expr, Operand) of one matrix or vector operand inside a `layout` member."""
    lay = operand_layout(layout, kind)
    args, expr = group(role, kind, lay, type_, writable)
    return args, expr, Operand(role, kind, lay)


def _matrix_vector(codes, type_, size, layout):
    mat, vec = split_codes(codes)
    array = is_array(mat) or is_array(vec)
    a_args, a_expr, a_op = _described("src1", mat, layout, type_)
    x_args, x_expr, x_op = _described("src2", vec, layout, type_)
    dst_kind = "va" if array else "v"
    d_args, d_expr, d_op = _described("dst", dst_kind, layout, type_, writable=True)
    if size is None:
        a_args = a_args + [Arg("src1Width", _UNSIGNED), Arg("src1Height", _UNSIGNED)]
        x_args = x_args + [Arg("src2Len", _UNSIGNED)]
        sizes = f"{_KERNEL}::VectorSizes{{src1Width, src1Height, src2Len}}"
    else:
        sizes = f"{_KERNEL}::SquareVector<{size}>{{}}"
    count_args, mode = count_mode(array)
    body = (f"return {_KERNEL}::matvec(\n        {mode}, {sizes},\n        {d_expr},\n        "
            f"{a_expr},\n        {x_expr});")
    name = member_name("Mul", codes, type_, size_text(size, False), layout)
    return Member(name, "Mul", codes, type_, size, layout, a_args + x_args + d_args + count_args,
                  body, [a_op, x_op, d_op])


def _constant(codes, type_, size, layout):
    kind = split_codes(codes)[0]
    array = is_array(kind)
    vector = kind.startswith("v")
    s_args, s_expr, s_op = _described("src", kind, layout, type_)
    val_arg, val_expr = constant("val", type_)
    dst_kind = ("va" if array else "v") if vector else ("ma" if array else "m")
    d_args, d_expr, d_op = _described("dst", dst_kind, layout, type_, writable=True)
    if size is None:
        size_args = ([Arg("len", _UNSIGNED)] if vector
                     else [Arg("width", _UNSIGNED), Arg("height", _UNSIGNED)])
        shape = "olvm::frame::Dims{len, 1u}" if vector else "olvm::frame::Dims{width, height}"
    else:
        size_args = []
        shape = f"olvm::frame::Fixed<{size}, {1 if vector else size}>{{}}"
    count_args, mode = count_mode(array)
    body = (f"return {_KERNEL}::scale(\n        {mode}, {shape},\n        {d_expr},\n        "
            f"{s_expr}, {val_expr});")
    name = member_name("Mul", codes, type_, size_text(size, vector), layout)
    return Member(name, "Mul", codes, type_, size, layout,
                  s_args + [val_arg] + d_args + size_args + count_args, body, [s_op, d_op])


def _gaxpy(codes, type_, size, layout):
    array = codes == "va"
    vec = "va" if array else "v"
    args, exprs, operands = [], [], []
    for role, kind in (("src1", "m"), ("src2", vec), ("src3", vec), ("dst", vec)):
        g_args, g_expr, g_op = _described(role, kind, layout, type_, writable=role == "dst")
        args += g_args
        exprs.append(g_expr)
        operands.append(g_op)
    if size is None:
        args += [Arg("width", _UNSIGNED), Arg("height", _UNSIGNED)]
        shape = "olvm::frame::Dims{width, height}"
    else:
        shape = f"olvm::frame::Fixed<{size}, {size}>{{}}"
    count_args, mode = count_mode(array)
    a, x, y, d = exprs
    body = (f"return {_KERNEL}::gaxpy(\n        {mode}, {shape},\n        {d},\n        "
            f"{a},\n        {x},\n        {y});")
    name = member_name("Gaxpy", codes, type_, size_text(size, False), layout)
    return Member(name, "Gaxpy", codes, type_, size, layout, args + count_args, body, operands)


def _each(codes_list, build):
    for codes in codes_list:
        array = any(is_array(k) for k in split_codes(codes))
        for type_ in TYPES:
            for size in MATRIX_SIZES:
                for layout in _layouts(array):
                    yield build(codes, type_, size, layout)


def matrix_vector_members():
    yield from _each(MATRIX_VECTOR, _matrix_vector)


def constant_members():
    yield from _each(CONSTANT, _constant)


def gaxpy_members():
    yield from _each(["v", "va"], _gaxpy)
