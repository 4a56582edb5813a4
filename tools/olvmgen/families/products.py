"""Products: olvmMul.

The matrix-matrix members multiply source 1 (A) by source 2 (B), either possibly
transposed and either possibly an array. Each matrix source passes its own width and
height right after its description group; the destination passes no size.
"""
from ..grammar import (LAYOUTS, MATRIX_SIZES, SINGLE_LAYOUTS, TYPES, Arg, Member, Operand,
                       count_mode, group, is_array, member_name, operand_layout, size_text,
                       split_codes)

# Size tests of the generic members, per operand code: the three arguments tested for zero
# and the pair that must be equal. Three rows break the pattern on purpose: `mam` never
# tests src2Width, and `mma` and `mama` compare src1Height with src2Width instead of the
# inner dimensions.
SIZE_TESTS = {
    "mm": (("src1Height", "src1Width", "src2Width"), ("src1Width", "src2Height")),
    "mTm": (("src1Height", "src1Width", "src2Width"), ("src1Height", "src2Height")),
    "mmT": (("src1Height", "src1Width", "src2Height"), ("src1Width", "src2Width")),
    "mTmT": (("src1Height", "src1Width", "src2Height"), ("src1Height", "src2Width")),
    "mam": (("src1Height", "src1Width", "src2Height"), ("src2Height", "src1Width")),
    "mamT": (("src1Height", "src1Width", "src2Height"), ("src1Width", "src2Width")),
    "maTm": (("src1Height", "src1Width", "src2Width"), ("src1Height", "src2Height")),
    "maTmT": (("src1Height", "src1Width", "src2Height"), ("src1Height", "src2Width")),
    "mma": (("src1Height", "src1Width", "src2Height"), ("src1Height", "src2Width")),
    "mmaT": (("src1Height", "src1Width", "src2Height"), ("src1Width", "src2Width")),
    "mTma": (("src1Height", "src1Width", "src2Width"), ("src1Height", "src2Height")),
    "mTmaT": (("src1Height", "src1Width", "src2Height"), ("src1Height", "src2Width")),
    "mama": (("src1Height", "src1Width", "src2Height"), ("src1Height", "src2Width")),
    "mamaT": (("src1Height", "src1Width", "src2Height"), ("src1Width", "src2Width")),
    "maTma": (("src1Height", "src1Width", "src2Width"), ("src1Height", "src2Height")),
    "maTmaT": (("src1Height", "src1Width", "src2Height"), ("src1Height", "src2Width")),
}

_SIZE_ARGS = ["src1Width", "src1Height", "src2Width", "src2Height"]
_KERNEL = "olvm::products"


def _sizes(codes, size):
    """C++ expression for the sizes of a member: fixed order, or the four arguments with
    the member's size-test row as template arguments."""
    if size is not None:
        return f"{_KERNEL}::Square<{size}>{{}}"
    zero, equal = SIZE_TESTS[codes]
    rule = ", ".join(f"{_KERNEL}::Size::{name}" for name in zero + equal)
    return f"{_KERNEL}::Generic<{rule}>{{{', '.join(_SIZE_ARGS)}}}"


def _matrix_matrix(codes, type_, size, layout):
    kinds = split_codes(codes)
    array = any(is_array(k) for k in kinds)
    args, exprs, operands = [], [], []
    for role, kind in zip(("src1", "src2"), kinds):
        lay = operand_layout(layout, kind)
        group_args, expr = group(role, kind, lay, type_)
        args += group_args
        if size is None:
            args += [Arg(f"{role}Width", "unsigned int"), Arg(f"{role}Height", "unsigned int")]
        exprs.append(expr)
        operands.append(Operand(role, kind, lay))
    dst_kind = "ma" if array else "m"
    dst_layout = operand_layout(layout, dst_kind)
    dst_args, dst_expr = group("dst", dst_kind, dst_layout, type_, writable=True)
    args += dst_args
    operands.append(Operand("dst", dst_kind, dst_layout))
    count_args, mode = count_mode(array)
    args += count_args
    body = (f"return {_KERNEL}::matmul(\n        {mode}, {_sizes(codes, size)},\n        "
            f"{dst_expr},\n        " + ",\n        ".join(exprs) + ");")
    name = member_name("Mul", codes, type_, size_text(size, False), layout)
    return Member(name, "Mul", codes, type_, size, layout, args, body, operands)


def matrix_matrix_members():
    for codes in SIZE_TESTS:
        array = any(is_array(k) for k in split_codes(codes))
        for type_ in TYPES:
            for size in MATRIX_SIZES:
                for layout in (LAYOUTS if array else SINGLE_LAYOUTS):
                    yield _matrix_matrix(codes, type_, size, layout)


def members():
    yield from matrix_matrix_members()
