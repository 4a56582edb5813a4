#include "harness.h"
#include "stack_entry.h"

#if defined(_WIN32)
#ifndef NOMINMAX
#define NOMINMAX
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <numeric>
#include <sstream>
#include <stdexcept>

namespace olvmtest {

std::vector<OperandInfo> MemberInfo::operand_list() const {
    std::vector<OperandInfo> out;
    std::stringstream all(operands);
    std::string item;
    while (std::getline(all, item, ',')) {
        std::stringstream parts(item);
        OperandInfo o;
        std::getline(parts, o.role, ':');
        std::getline(parts, o.kind, ':');
        std::getline(parts, o.layout, ':');
        std::string access;
        std::getline(parts, access, ':');
        o.access = access.empty() ? 'r' : access[0];
        out.push_back(o);
    }
    return out;
}

std::vector<std::string> MemberInfo::size_args() const {
    std::vector<std::string> out;
    std::stringstream all(args);
    std::string arg;
    Args probe;
    while (std::getline(all, arg, ','))
        if (arg != "count" && probe.unsigned_field(arg)) out.push_back(arg);
    return out;
}

const MemberInfo& member(const std::string& name) {
    static const std::map<std::string, const MemberInfo*> index = [] {
        std::map<std::string, const MemberInfo*> m;
        for (const auto& x : members()) m[x.name] = &x;
        return m;
    }();
    auto it = index.find(name);
    if (it == index.end()) throw std::runtime_error("no such member: " + name);
    return *it->second;
}

// The one platform seam: the shared library is opened and searched by the system's own
// loader, so every primitive is reached by the name the library really exports.
#if defined(_WIN32)
void* symbol(const std::string& name) {
    static HMODULE lib = [] {
        HMODULE h = LoadLibraryA(OLVM_LIBRARY_PATH);
        if (!h)
            throw std::runtime_error("cannot open library " OLVM_LIBRARY_PATH ": error " +
                                     std::to_string(GetLastError()));
        return h;
    }();
    return reinterpret_cast<void*>(GetProcAddress(lib, name.c_str()));
}
#else
void* symbol(const std::string& name) {
    static void* lib = [] {
        void* h = dlopen(OLVM_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
        if (!h) throw std::runtime_error(std::string("cannot open library: ") + dlerror());
        return h;
    }();
    return dlsym(lib, name.c_str());
}
#endif

void null_base(Args& a, const std::string& role) {
    RoleFields f = a.role(role);
    if (f.p) *f.p = nullptr;
    if (f.pp) *f.pp = nullptr;
}

OlvResult call(const MemberInfo& m, const Args& a) {
    void* fn = symbol(m.name);
    if (!fn) throw std::runtime_error(std::string("not exported: ") + m.name);
    // Successive calls enter at each 4-byte offset from the usual stack alignment in turn.
    static thread_local unsigned calls = 0;
    return call_with_entry_shift(m.thunk, fn, a, 4 * (calls++ % 4));
}

namespace {

int pick(Rng& rng, int lo, int hi) {
    return std::uniform_int_distribution<int>(lo, hi)(rng);
}

// Lays out blocks (each given by the lowest and highest byte offset it uses relative to
// its origin) one after another in random order with random gaps; returns the origins.
std::vector<std::size_t> lay_blocks(const std::vector<std::pair<long, long>>& extents,
                                    std::size_t align, bool gaps, Rng& rng, std::size_t& total) {
    std::vector<std::size_t> order(extents.size());
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), rng);
    std::vector<std::size_t> origin(extents.size());
    std::size_t pos = 4 * align;  // margin before the first block
    for (std::size_t b : order) {
        pos += gaps ? align * static_cast<std::size_t>(pick(rng, 0, 3)) : 0;
        origin[b] = pos - static_cast<std::size_t>(extents[b].first);
        pos += static_cast<std::size_t>(extents[b].second - extents[b].first) + align;
    }
    total = pos + 4 * align;  // margin after the last block
    return origin;
}

std::pair<long, long> extent(long a, long b) { return {std::min(a, b), std::max(a, b)}; }

}  // namespace

Placed::Placed(std::size_t esize_, const std::string& layout_, bool array_, unsigned rows,
               unsigned cols, unsigned count, Rng& rng, Placement how)
    : esize(esize_), layout(layout_), array(array_), rows_(rows), cols_(cols),
      count_(array_ ? count : 1) {
    const long es = static_cast<long>(esize);
    const long sign = how.negative ? -1 : 1;
    const bool s2 = layout == "S2" || layout == "LS2";
    auto gap = [&] { return how.gaps ? es * pick(rng, 0, 2) : 0; };

    const long elem_abs = s2 ? es * pick(rng, 1, 3) : es;
    const long row_abs = static_cast<long>(cols_) * elem_abs + gap();
    elem = static_cast<int>(s2 ? sign * elem_abs : es);
    row = static_cast<int>(sign * row_abs);
    const long last_n = static_cast<long>(count_) - 1;

    std::vector<std::pair<long, long>> extents;
    const long span_r = static_cast<long>(rows_ - 1) * row;
    const long span_c = static_cast<long>(cols_ - 1) * elem;
    const auto object = extent(std::min(0L, span_r) + std::min(0L, span_c),
                               std::max(0L, span_r) + std::max(0L, span_c));
    if (layout == "" || layout == "S2") {
        obj = static_cast<int>(sign * (static_cast<long>(rows_) * row_abs + gap()));
        const long span_n = last_n * obj;
        extents.push_back({object.first + std::min(0L, span_n), object.second + std::max(0L, span_n)});
    } else if (layout == "P" || layout == "PS2") {
        obj = layout == "P" ? static_cast<int>(es) : static_cast<int>(sign * es * pick(rng, 1, 3));
        if (!array) obj = 0;
        offset = static_cast<int>(es * pick(rng, -3, 3));
        extents.assign(static_cast<std::size_t>(rows_) * cols_, extent(0, last_n * obj));
    } else {
        offset = static_cast<int>(es * pick(rng, -3, 3));
        extents.assign(count_, object);
    }
    std::size_t total = 0;
    slots_ = lay_blocks(extents, esize, how.gaps, rng, total);
    arena_.assign(total, 0xA5);  // sentinel: any stray write shows up
    auto entry = [&](std::size_t origin) {
        return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(arena_.data()) + origin -
                                       static_cast<std::uintptr_t>(static_cast<long>(offset)));
    };
    if (layout == "" || layout == "S2") {
        base = arena_.data() + slots_[0];
    } else {
        for (std::size_t s : slots_) table_.push_back(entry(s));
        // Spare non-null entries past the end: single-object table primitives test the
        // entry of a transposed operand at the index of the element as used, which can
        // lie past the table when the stored matrix is wider than it is tall.
        table_.resize(table_.size() + rows_ * rows_ + cols_ * cols_, table_.front());
    }
}

std::size_t Placed::offset_of(unsigned n, unsigned r, unsigned c) const {
    const long in_object = static_cast<long>(r) * row + static_cast<long>(c) * elem;
    if (layout == "" || layout == "S2")
        return static_cast<std::size_t>(static_cast<long>(slots_[0]) + static_cast<long>(n) * obj + in_object);
    if (layout == "P" || layout == "PS2")
        return static_cast<std::size_t>(static_cast<long>(slots_[r * cols_ + c]) + static_cast<long>(n) * obj);
    return static_cast<std::size_t>(static_cast<long>(slots_[n]) + in_object);
}

unsigned char* Placed::address(unsigned n, unsigned r, unsigned c) const {
    return const_cast<unsigned char*>(arena_.data()) + offset_of(n, r, c);
}

double Placed::get(unsigned n, unsigned r, unsigned c) const {
    return load_element(address(n, r, c), esize);
}

void Placed::set(unsigned n, unsigned r, unsigned c, double v) {
    store_element(address(n, r, c), v, esize);
}

double load_element(const unsigned char* p, std::size_t esize) {
    if (esize == 4) {
        float f;
        std::memcpy(&f, p, 4);
        return f;
    }
    double d;
    std::memcpy(&d, p, 8);
    return d;
}

void store_element(unsigned char* p, double v, std::size_t esize) {
    if (esize == 4) {
        const float f = static_cast<float>(v);
        std::memcpy(p, &f, 4);
    } else {
        std::memcpy(p, &v, 8);
    }
}

void Placed::randomize(Rng& rng) {
    for (unsigned n = 0; n < count_; ++n)
        for (unsigned r = 0; r < rows_; ++r)
            for (unsigned c = 0; c < cols_; ++c) set(n, r, c, random_value(rng, esize));
}

void Placed::describe(Args& a, const std::string& role) {
    RoleFields f = a.role(role);
    if (f.p) *f.p = base;
    if (f.pp) *f.pp = table_.empty() ? nullptr : table_.data();
    if (f.obj) *f.obj = obj;
    if (f.row) *f.row = row;
    if (f.elem) *f.elem = elem;
    if (f.offset) *f.offset = offset;
}

void Placed::snapshot() { saved_ = arena_; }

bool Placed::element_changed(unsigned n, unsigned r, unsigned c) const {
    const std::size_t o = offset_of(n, r, c);
    return std::memcmp(arena_.data() + o, saved_.data() + o, esize) != 0;
}

bool Placed::any_changed() const { return arena_ != saved_; }

bool Placed::changed_outside_elements() const {
    std::vector<bool> is_element(arena_.size(), false);
    for (unsigned n = 0; n < count_; ++n)
        for (unsigned r = 0; r < rows_; ++r)
            for (unsigned c = 0; c < cols_; ++c) {
                const std::size_t o = offset_of(n, r, c);
                for (std::size_t b = 0; b < esize; ++b) is_element[o + b] = true;
            }
    for (std::size_t i = 0; i < arena_.size(); ++i)
        if (!is_element[i] && arena_[i] != saved_[i]) return true;
    return false;
}

double random_value(Rng& rng, std::size_t esize) {
    // A full-precision significand in [0.5, 1), scaled by a power of two.
    const int bits = esize == 4 ? 24 : 53;
    const double k = static_cast<double>(rng() >> (64 - (bits - 1)));
    const double v = std::ldexp((std::ldexp(1.0, bits - 1) + k) / std::ldexp(1.0, bits), pick(rng, -6, 6));
    return (rng() & 1) ? -v : v;
}

double round_to(double v, std::size_t esize) {
    return esize == 4 ? static_cast<double>(static_cast<float>(v)) : v;
}

bool same_bits(double a, double b, std::size_t esize) {
    if (esize == 4) {
        const float fa = static_cast<float>(a), fb = static_cast<float>(b);
        return std::memcmp(&fa, &fb, 4) == 0;
    }
    return std::memcmp(&a, &b, 8) == 0;
}

}  // namespace olvmtest
