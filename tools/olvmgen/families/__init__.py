"""The catalogue: every family of primitives, each with the kernel header it is built on.

Adding a family means adding its module here and writing its kernel once.
"""
from . import characteristics, decomp, elementwise, products

# (name of the generated translation-unit group, member generator, kernel header)
FAMILIES = [
    ("elementwise", elementwise.members, "elementwise/combine.h"),
    ("products", products.members, "products/matmul.h"),
    ("decomp", decomp.lu_decomp_members, "decomp/lu.h"),
    ("decomp", decomp.lu_back_subst_members, "decomp/lu_solve.h"),
    ("characteristics", characteristics.trace_members, "characteristics/trace.h"),
    ("characteristics", characteristics.frob_norm_members, "characteristics/frobnorm.h"),
    ("characteristics", characteristics.det_members, "characteristics/det.h"),
]


def all_members():
    for _, gen, header in FAMILIES:
        for m in gen():
            m.header = header
            yield m
