"""Element-wise sums and differences: olvmAdd and olvmSub."""
from ..grammar import (LAYOUTS, MATRIX_SIZES, SINGLE_LAYOUTS, TYPES, Arg, Member, Operand,
                       constant, count_mode, group, is_array, is_matrix, member_name,
                       operand_layout, size_text, split_codes)

_MATRIX_SINGLE = ["mm", "mTm", "mmT", "mTmT"]
_MATRIX_ARRAY_FIRST = ["mam", "maTm", "mamT", "maTmT"]
_MATRIX_ARRAY_SECOND = ["mma", "mTma", "mmaT", "mTmaT"]
_MATRIX_BOTH = ["mama", "maTma", "mamaT", "maTmaT"]

# Addition commutes, so Add has no member whose single operand or constant comes first.
COMBINATIONS = {
    "Add": _MATRIX_SINGLE + _MATRIX_ARRAY_FIRST + _MATRIX_BOTH
    + ["vv", "vav", "vava", "vc", "vac"],
    "Sub": _MATRIX_SINGLE + _MATRIX_ARRAY_FIRST + _MATRIX_ARRAY_SECOND + _MATRIX_BOTH
    + ["vv", "vav", "vva", "vava", "vc", "vac", "cv", "cva"],
}


def _member(op, codes, type_, size, layout):
    kinds = split_codes(codes)
    array = any(is_array(k) for k in kinds)
    vector = not any(is_matrix(k) for k in kinds)
    # Semantic operands in the order of the name; arguments in passing order, where a
    # leading constant ('cv', 'cva') is passed after the vector it is combined with.
    roles = ["src"] if "c" in kinds else ["src1", "src2"]
    semantic, passed, operands = [], [], []
    role_iter = iter(roles)
    for kind in kinds:
        if kind == "c":
            arg, expr = constant("val", type_)
            semantic.append(expr)
            passed.append(("c", [arg]))
            continue
        role = next(role_iter)
        lay = operand_layout(layout, kind)
        args, expr = group(role, kind, lay, type_)
        semantic.append(expr)
        passed.append((kind, args))
        operands.append(Operand(role, kind, lay))
    if kinds[0] == "c":
        passed = [passed[1], passed[0]]

    dst_kind = ("ma" if array else "m") if not vector else ("va" if array else "v")
    dst_layout = operand_layout(layout, dst_kind)
    dst_args, dst_expr = group("dst", dst_kind, dst_layout, type_, writable=True)
    operands.append(Operand("dst", dst_kind, dst_layout))

    args = [a for _, group_args in passed for a in group_args] + dst_args
    if size is None:
        if vector:
            args.append(Arg("len", "unsigned int"))
            shape = "olvm::frame::Dims{len, 1u}"
        else:
            args += [Arg("width", "unsigned int"), Arg("height", "unsigned int")]
            shape = "olvm::frame::Dims{width, height}"
    else:
        shape = f"olvm::frame::Fixed<{size}, {1 if vector else size}>{{}}"
    count_args, mode = count_mode(array)
    args += count_args

    body = (f"return olvm::elementwise::combine<olvm::elementwise::{op}>(\n"
            f"        {mode}, {shape},\n        {dst_expr},\n        "
            + ",\n        ".join(semantic) + ");")
    name = member_name(op, codes, type_, size_text(size, vector), layout)
    return Member(name, op, codes, type_, size, layout, args, body, operands)


def members():
    for op in ("Add", "Sub"):
        for codes in COMBINATIONS[op]:
            array = any(is_array(k) for k in split_codes(codes))
            for type_ in TYPES:
                for size in MATRIX_SIZES:
                    for layout in (LAYOUTS if array else SINGLE_LAYOUTS):
                        yield _member(op, codes, type_, size, layout)
