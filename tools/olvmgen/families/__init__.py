"""The catalogue: every family of primitives, each with the kernel header it is built on.

Adding a family means adding its module here and writing its kernel once.
"""
from . import characteristics, decomp, elementwise, invert, matvec, movement, products, qr, vector

# (name of the generated translation-unit group, member generator, kernel header)
FAMILIES = [
    ("elementwise", elementwise.members, "elementwise/combine.h"),
    ("elementwise", movement.copy_members, "elementwise/move.h"),
    ("elementwise", movement.extract_members, "elementwise/move.h"),
    ("elementwise", movement.load_identity_members, "elementwise/move.h"),
    ("elementwise", movement.transpose_members, "elementwise/transpose.h"),
    ("products", products.members, "products/matmul.h"),
    ("products", matvec.matrix_vector_members, "products/matvec.h"),
    ("products", matvec.constant_members, "products/scale.h"),
    ("products", matvec.gaxpy_members, "products/gaxpy.h"),
    ("decomp", decomp.lu_decomp_members, "decomp/lu.h"),
    ("decomp", decomp.lu_back_subst_members, "decomp/lu_solve.h"),
    ("vector", vector.dot_product_members, "vector/dot.h"),
    ("vector", vector.l2_norm_members, "vector/norm.h"),
    ("vector", vector.cross_product_members, "vector/cross.h"),
    ("vector", vector.saxpy_members, "vector/saxpy.h"),
    ("vector", vector.lcomb_members, "vector/saxpy.h"),
    ("decomp", qr.qr_decomp_members, "decomp/qr.h"),
    ("decomp", qr.qr_back_subst_members, "decomp/qr_solve.h"),
    ("characteristics", characteristics.trace_members, "characteristics/trace.h"),
    ("characteristics", characteristics.frob_norm_members, "characteristics/frobnorm.h"),
    ("characteristics", characteristics.det_members, "characteristics/det.h"),
    ("characteristics", invert.members, "characteristics/invert.h"),
]


def all_members():
    for _, gen, header in FAMILIES:
        for m in gen():
            m.header = header
            yield m
