"""Vector algebra: olvmDotProduct, olvmL2Norm, olvmCrossProduct, olvmSaxpy and olvmLComb.

Dot products and norms produce one scalar per object: a single-vector member writes it
through `pDstVal`, an array member writes its `count` results next to each other from
`pDst` (no stride, table or offset in any layout). Cross products exist only for
3-element vectors. Saxpy and LComb pass each constant right after the description group
of the source it scales.
"""
from ..grammar import (LAYOUTS, MATRIX_SIZES, SINGLE_LAYOUTS, TYPES, Arg, Member, Operand,
                       constant, count_mode, group, is_array, member_name, operand_layout,
                       size_text, split_codes)

_KERNEL = "olvm::vector"


def _sources(codes, type_, layout, scales=()):
    """Argument groups, descriptor expressions and operands of the vector sources, each
    followed by its constant where `scales` names one."""
    args, exprs, operands = [], [], []
    kinds = split_codes(codes)
    for i, kind in enumerate(kinds):
        role = f"src{i + 1}" if len(kinds) > 1 else "src"
        lay = operand_layout(layout, kind)
        group_args, expr = group(role, kind, lay, type_)
        args += group_args
        if i < len(scales) and scales[i]:
            args.append(constant(scales[i], type_)[0])
        exprs.append(expr)
        operands.append(Operand(role, kind, lay))
    return args, exprs, operands


def _shape(size):
    if size is None:
        return [Arg("len", "unsigned int")], "olvm::frame::Dims{len, 1u}"
    return [], f"olvm::frame::Fixed<{size}, 1>{{}}"


def _vector_dst(array, layout, type_):
    kind = "va" if array else "v"
    lay = operand_layout(layout, kind)
    args, expr = group("dst", kind, lay, type_, writable=True)
    return args, expr, Operand("dst", kind, lay)


def _scalar_dst(array, type_):
    """One result through pDstVal, or `count` contiguous results from pDst."""
    if array:
        return Arg("pDst", f"{TYPES[type_]}*"), "pDst", Operand("dst", "scalars", "")
    return Arg("pDstVal", f"{TYPES[type_]}*"), "pDstVal", Operand("dstVal", "scalar", "")


def _member(op, codes, type_, size, layout, kernel, scales=(), extra="", vector_result=True):
    array = any(is_array(k) for k in split_codes(codes))
    args, exprs, operands = _sources(codes, type_, layout, scales)
    if vector_result:
        dst_args, dst, dst_op = _vector_dst(array, layout, type_)
    else:
        dst_arg, dst, dst_op = _scalar_dst(array, type_)
        dst_args = [dst_arg]
    size_args, shape = _shape(size)
    count_args, mode = count_mode(array)
    call_args = [mode, shape, dst] + exprs + ([extra] if extra else [])
    body = f"return {_KERNEL}::{kernel}(\n        " + ",\n        ".join(call_args) + ");"
    name = member_name(op, codes, type_, size_text(size, True), layout)
    return Member(name, op, codes, type_, size, layout,
                  args + dst_args + size_args + count_args, body, operands + [dst_op])


def _each(codes_list, sizes=MATRIX_SIZES):
    for codes in codes_list:
        array = any(is_array(k) for k in split_codes(codes))
        for type_ in TYPES:
            for size in sizes:
                for layout in (LAYOUTS if array else SINGLE_LAYOUTS):
                    yield codes, type_, size, layout


def dot_product_members():
    for codes, type_, size, layout in _each(["vv", "vav", "vava"]):
        yield _member("DotProduct", codes, type_, size, layout, "dot", vector_result=False)


def l2_norm_members():
    for codes, type_, size, layout in _each(["v", "va"]):
        yield _member("L2Norm", codes, type_, size, layout, "l2_norm", vector_result=False)


def cross_product_members():
    # Only 3-element vectors; no size argument, so no size test.
    for codes, type_, size, layout in _each(["vv", "vav", "vva", "vava"], sizes=[3]):
        yield _member("CrossProduct", codes, type_, size, layout, "cross")


def saxpy_members():
    for codes, type_, size, layout in _each(["vv", "vav", "vva", "vava"]):
        yield _member("Saxpy", codes, type_, size, layout, "scaled_sum", scales=("val",),
                      extra=f"{_KERNEL}::Saxpy{{double(val)}}")


def lcomb_members():
    for codes, type_, size, layout in _each(["vv", "vav", "vava"]):
        yield _member("LComb", codes, type_, size, layout, "scaled_sum", scales=("val1", "val2"),
                      extra=f"{_KERNEL}::LComb{{double(val1), double(val2)}}")
