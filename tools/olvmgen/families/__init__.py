"""The catalogue: every family of primitives, each with the kernel header it is built on.

Adding a family means adding its module here and writing its kernel once.
"""
from . import decomp, elementwise, products, qr

# (name of the generated translation-unit group, member generator, kernel header)
FAMILIES = [
    ("elementwise", elementwise.members, "elementwise/combine.h"),
    ("products", products.members, "products/matmul.h"),
    ("decomp", decomp.lu_decomp_members, "decomp/lu.h"),
    ("decomp", decomp.lu_back_subst_members, "decomp/lu_solve.h"),
    ("decomp", qr.qr_decomp_members, "decomp/qr.h"),
    ("decomp", qr.qr_back_subst_members, "decomp/qr_solve.h"),
]


def all_members():
    for _, gen, header in FAMILIES:
        for m in gen():
            m.header = header
            yield m
