"""The calling convention shared by every primitive: element types, layouts, operand
description groups, and how each group maps onto a frame descriptor in C++.

Families describe their members in terms of this grammar; nothing here knows any family.
"""
from dataclasses import dataclass, field

TYPES = {"32f": "Olv32f", "64f": "Olv64f"}
LAYOUTS = ["", "S2", "P", "PS2", "L", "LS2"]
SINGLE_LAYOUTS = ["", "S2", "P"]
MATRIX_SIZES = [None, 3, 4, 5, 6]


@dataclass(frozen=True)
class Arg:
    """One C argument: its name, its C type and its width in 4-byte words on 32-bit x86."""
    name: str
    ctype: str
    words: int = 1


@dataclass(frozen=True)
class Operand:
    """One operand of a primitive as the test harness needs to know it.

    role: the argument prefix ('src', 'src1', 'src2', 'dst', ...); auxiliary pointers
          take their argument's name without the 'p' ('index', 'buffer', 'dstVal').
    kind: 'm', 'mT', 'ma', 'maT', 'v', 'va', or for auxiliary pointers 'index', 'buffer',
          'scalar' (one result) or 'scalars' (one result per object).
    layout: the description actually used for this operand ('', 'S2', 'P', 'PS2', 'L', 'LS2').
    access: 'r' read, 'w' written, 's' scratch; by default 'w' for the destination roles
          ('dst...'), 's' for a buffer and 'r' otherwise.
    """
    role: str
    kind: str
    layout: str
    access: str = ""

    @property
    def mode(self):
        if self.access:
            return self.access
        if self.role.startswith("dst"):
            return "w"
        return "s" if self.kind == "buffer" else "r"


@dataclass
class Member:
    name: str
    family: str          # 'Add', 'Sub', ...
    codes: str           # operand codes as in the name
    type: str            # '32f' or '64f'
    size: int | None     # None: generic
    layout: str          # layout suffix of the name, '' for standard
    args: list           # [Arg]
    body: str            # C++ statement list of the definition (returns OlvResult)
    operands: list = field(default_factory=list)  # [Operand], sources then destination
    # The name of another member whose routine this name exports a second time (same
    # arguments, same address); its own body is then unused.
    alias_of: str | None = None

    @property
    def words(self):
        return sum(a.words for a in self.args)


def member_name(op, codes, type_, size_text, layout):
    name = f"olvm{op}_{codes}_{type_}"
    if size_text:
        name += "_" + size_text
    if layout:
        name += "_" + layout
    return name


def is_array(kind):
    return kind in ("ma", "maT", "va")


def is_matrix(kind):
    return kind in ("m", "mT", "ma", "maT")


def operand_layout(layout, kind):
    """The description a single (non-array) operand takes inside a primitive of `layout`."""
    if is_array(kind):
        return layout
    return {"": "", "S2": "S2", "P": "P", "PS2": "P", "L": "", "LS2": "S2"}[layout]


def _cap(role):
    return role[0].upper() + role[1:]


# The description groups: which strides follow the base pointer or table, per layout of
# the operand, for single objects and arrays. Vectors drop the row stride.
_GROUPS = {
    (False, ""): ("p", ["RowStride"]),
    (False, "S2"): ("p", ["RowStride", "ElemStride"]),
    (False, "P"): ("pp", ["Offset"]),
    (True, ""): ("p", ["ObjStride", "RowStride"]),
    (True, "S2"): ("p", ["ObjStride", "RowStride", "ElemStride"]),
    (True, "P"): ("pp", ["Offset"]),
    (True, "PS2"): ("pp", ["Offset", "ObjStride"]),
    (True, "L"): ("pp", ["Offset", "RowStride"]),
    (True, "LS2"): ("pp", ["Offset", "RowStride", "ElemStride"]),
}


def group(role, kind, layout, type_, writable=False):
    """Arguments and C++ frame descriptor for one matrix or vector operand.

    `layout` is the operand's own description (see operand_layout).
    Returns (args, cpp_expression).
    """
    arr = is_array(kind)
    mat = is_matrix(kind)
    ptr_kind, strides = _GROUPS[(arr, layout)]
    if not mat:
        strides = [s for s in strides if s != "RowStride"]
    elem = TYPES[type_]
    cap = _cap(role)
    if ptr_kind == "p":
        ptr = Arg(f"p{cap}", f"{elem}*" if writable else f"const {elem}*")
    else:
        ptr = Arg(f"pp{cap}", f"{elem}* const*")
    args = [ptr] + [Arg(f"{role}{s}", "int") for s in strides]

    names = {s: f"{role}{s}" for s in strides}
    ctype = elem if writable else f"const {elem}"
    esize = f"int(sizeof({elem}))"
    row = names.get("RowStride", "0") if mat else "0"
    elem_stride = names.get("ElemStride", esize)
    obj = names.get("ObjStride", "0")
    if ptr_kind == "p":
        desc = f"olvm::frame::Strided<{ctype}>{{{ptr.name}, {obj}, {row}, {elem_stride}}}"
    elif layout in ("L", "LS2"):
        desc = f"olvm::frame::Listed<{ctype}>{{{ptr.name}, {names['Offset']}, {row}, {elem_stride}}}"
    else:
        obj = names.get("ObjStride", esize if arr else "0")
        desc = f"olvm::frame::Table<{ctype}>{{{ptr.name}, {names['Offset']}, {obj}}}"
    transposed = kind in ("mT", "maT")
    return args, f"olvm::frame::operand<{'true' if transposed else 'false'}>({desc})"


def count_mode(array):
    """The trailing `count` argument of a primitive with an array operand (none otherwise)
    and the C++ mode value its kernel takes: (args, cpp_expression)."""
    if array:
        return [Arg("count", "unsigned int")], "olvm::frame::Array{count}"
    return [], "olvm::frame::Single{}"


def constant(name, type_):
    """A scalar constant passed by value: one word for 32f, two for 64f."""
    elem = TYPES[type_]
    return Arg(name, elem, 2 if type_ == "64f" else 1), f"olvm::frame::Const{{double({name})}}"


def split_codes(codes):
    """'maTmaT' -> ['maT', 'maT']; 'cva' -> ['c', 'va']."""
    out, i = [], 0
    while i < len(codes):
        c = codes[i]
        j = i + 1
        if c in "mv" and j < len(codes) and codes[j] == "a":
            j += 1
        if c == "m" and j < len(codes) and codes[j] == "T":
            j += 1
        out.append(codes[i:j])
        i = j
    return out


def size_text(size, vector):
    if size is None:
        return ""
    return f"{size}x1" if vector else f"{size}x{size}"
