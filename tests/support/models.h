// Models of the algorithm families (LU and QR decompositions and solves, Det, Invert),
// written independently of the library, object by object, with the element type's
// rounding; and one driver that runs any call of these families against them.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "calls.h"

namespace olvmtest {

// A dense matrix, row-major (a vector is one row).
struct Mat {
    unsigned h = 0, w = 0;
    std::vector<double> v;
    Mat(unsigned rows = 0, unsigned cols = 0, std::vector<double> values = {})
        : h(rows), w(cols), v(values.empty() ? std::vector<double>(std::size_t(rows) * cols) : std::move(values)) {}
    double& operator()(unsigned i, unsigned j) { return v[std::size_t(i) * w + j]; }
    double operator()(unsigned i, unsigned j) const { return v[std::size_t(i) * w + j]; }
};

// Object n of operand `role` as the call uses it (index vectors as integers): its top-left
// `rows` x `cols`, or the whole placed object. An operand with one object serves them all.
Mat read(const Call& c, const std::string& role, unsigned n = 0, unsigned rows = 0, unsigned cols = 0);
void place(Call& c, const std::string& role, unsigned n, const Mat& m);

// Whether `got` holds the row-major values `want` bit for bit in the element type, or
// (scale >= 0) within a few roundings of them or of the largest intermediate `scale` they
// cancelled from (exact zeros exactly). An empty `want` is not checked.
::testing::AssertionResult holds(const Mat& got, const std::vector<double>& want, std::size_t esize,
                                 double scale = -1);

// Runs the call on its operands as they stand and checks it against its family's model:
// the result code; each object's written operands, up to and including the first failing
// object (as far as it got), bit for bit or within the model's tolerance; every other
// element of a destination untouched (later objects, room beyond an object); sources
// unchanged; nothing written outside elements. Returns the call's result.
OlvResult check_call(Call& c, const std::string& what);

// Every member of `family` through check_call: random operands in both stride
// directions, then (decompositions, Det and the exactly modelled Invert orders) arrays
// whose objects take turns at pivot ties in column 0, a zero last column and a zero
// first column. Returns the number of members.
int sweep(const std::string& family);

// A call of `m` with each given operand (role, dense value) placed in every object and
// its sizes from "src". Unless `prepare` changes it by hand first (null entries, in
// place), it is checked by check_call; either way it has run, with result `code`.
struct Worked {
    Call c;
    OlvResult code;
};
Worked run_on(const MemberInfo& m, const std::vector<std::pair<std::string, Mat>>& in, unsigned count = 1,
              const std::function<void(Call&)>& prepare = nullptr);

}  // namespace olvmtest
