// Test harness: places operands in memory in any of the six layouts (with its own
// addressing, independent of the library's), calls primitives through the symbols that
// the shared library really exports, and reads results back densely.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "olvm.h"

namespace olvmtest {

struct RoleFields {
    void** p = nullptr;    // base pointer
    void** pp = nullptr;   // pointer table
    int* obj = nullptr;
    int* row = nullptr;
    int* elem = nullptr;
    int* offset = nullptr;
};

// Every argument any primitive takes, by name; each member's thunk picks its own.
struct Args {
#include "args.inc"
};

using Thunk = OlvResult (*)(void* fn, const Args& a);

// Sets the base pointer and the pointer table of operand `role` to null.
void null_base(Args& a, const std::string& role);

struct OperandInfo {
    std::string role, kind, layout;
    char access = 'r';  // 'r' read, 'w' written, 's' scratch
};

struct MemberInfo {
    const char* name;
    const char* family;
    const char* codes;
    const char* type;
    int size;  // 0: generic
    const char* layout;
    const char* operands;  // "role:kind:layout:access,..."
    const char* args;      // argument names in order, comma-separated
    const char* alias_of;  // the member whose routine this name also exports ("" if none)
    Thunk thunk;

    std::vector<OperandInfo> operand_list() const;
    // The size arguments of a generic member (width, height, len, size, src1Width, ...).
    std::vector<std::string> size_args() const;
    std::size_t elem_size() const { return std::string(type) == "32f" ? 4 : 8; }
    bool is(const char* f) const { return std::string(family) == f; }
};

const std::vector<MemberInfo>& members();
const MemberInfo& member(const std::string& name);
// The members of `family`: only generic ones if asked, with operand codes `codes` and
// layout `layout` unless those are "*".
std::vector<const MemberInfo*> members_of(const std::string& family, bool generic_only = false,
                                          const std::string& codes = "*", const std::string& layout = "*");

// The shared library, opened once; `symbol` looks up an exported name (null if absent).
void* symbol(const std::string& name);

// Calls a member through its exported symbol.
OlvResult call(const MemberInfo& m, const Args& a);

using Rng = std::mt19937_64;

// How the harness chooses strides for an operand.
struct Placement {
    bool negative = false;  // step backwards through memory
    bool gaps = true;       // padding between rows, objects and table runs
};

// One operand (matrix, vector, or array of them) placed in memory. Coordinates are
// those of the matrix as stored: `rows` x `cols` (a vector is one row).
class Placed {
public:
    Placed(std::size_t esize, const std::string& layout, bool array, unsigned rows, unsigned cols,
           unsigned count, Rng& rng, Placement how = {});

    unsigned rows() const { return rows_; }
    unsigned cols() const { return cols_; }
    unsigned count() const { return count_; }

    double get(unsigned n, unsigned r, unsigned c) const;
    void set(unsigned n, unsigned r, unsigned c, double v);
    unsigned char* address(unsigned n, unsigned r, unsigned c) const;

    // Fills every element with random values of the element type.
    void randomize(Rng& rng);
    // Writes this operand's description into the argument record under `role`.
    void describe(Args& a, const std::string& role);

    // Snapshot of all bytes; `changed_outside_elements` reports bytes that differ from the
    // snapshot but belong to no element, `changed_elements` the elements that differ.
    void snapshot();
    bool changed_outside_elements() const;
    bool element_changed(unsigned n, unsigned r, unsigned c) const;
    bool any_changed() const;

    // The bytes the operand lies in: elements, the gaps between them and the margins.
    const std::vector<unsigned char>& arena() const { return arena_; }

    // Pointer table access (P, PS2: one entry per element; L, LS2: one per object).
    std::vector<void*>& table() { return table_; }

    std::size_t esize;
    std::string layout;
    bool array;
    int obj = 0, row = 0, elem = 0, offset = 0;
    unsigned char* base = nullptr;

private:
    std::size_t offset_of(unsigned n, unsigned r, unsigned c) const;
    unsigned rows_, cols_, count_;
    std::vector<unsigned char> arena_, saved_;
    std::vector<void*> table_;
    std::vector<std::size_t> slots_;  // P/PS2: run start per entry; L/LS2: object start
};

// An element of `esize` bytes (4: float, 8: double) at `p`, as a double.
double load_element(const unsigned char* p, std::size_t esize);
void store_element(unsigned char* p, double v, std::size_t esize);

// Random value of the element type with a spread of magnitudes (exactly representable).
double random_value(Rng& rng, std::size_t esize);

// Rounds a double result to the element type (identity for 64f).
double round_to(double v, std::size_t esize);

// Unit roundoff of the element type.
inline double unit_roundoff(std::size_t esize) { return esize == 4 ? 0x1p-24 : 0x1p-53; }

// Bitwise equality of two values of the element type (NaNs with equal payloads match).
bool same_bits(double a, double b, std::size_t esize);

}  // namespace olvmtest
