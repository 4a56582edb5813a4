"""The catalogue: every family of primitives, each with the kernel header it is built on.

Adding a family means adding its module here and writing its kernel once.
"""
from . import elementwise, products

# (name of the generated translation-unit group, member generator, kernel header)
FAMILIES = [
    ("elementwise", elementwise.members, "elementwise/combine.h"),
    ("products", products.members, "products/matmul.h"),
]


def all_members():
    for _, gen, header in FAMILIES:
        for m in gen():
            m.header = header
            yield m
