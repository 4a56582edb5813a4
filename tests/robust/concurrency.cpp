// Reentrancy: every member runs on several threads at once, each call on operands of its
// own, and must leave bit for bit what the same call leaves when it runs alone.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "calls.h"

namespace olvmtest {
namespace {

constexpr unsigned threads = 4;

Call twin(std::size_t i) {
    Rng rng(i);
    return make_call(members()[i], rng, 3);
}

// The first operand element of `c` whose bytes differ from those of `want` (empty if none).
std::string first_difference(Call& c, Call& want) {
    for (auto& [role, p] : c.ops) {
        const Placed& q = want.op(role);
        for (unsigned n = 0; n < p->count(); ++n)
            for (unsigned i = 0; i < p->rows(); ++i)
                for (unsigned j = 0; j < p->cols(); ++j)
                    if (std::memcmp(p->address(n, i, j), q.address(n, i, j), p->esize) != 0)
                        return role + " object " + std::to_string(n);
    }
    return "";
}

TEST(Concurrency, EveryMemberOnFourThreadsLeavesWhatItLeavesAlone) {
    const std::size_t count = members().size();
    std::vector<Call> alone;
    std::vector<OlvResult> results;
    for (std::size_t i = 0; i < count; ++i) {
        alone.push_back(twin(i));
        results.push_back(alone.back().run());
    }
    // Each thread runs every member, starting at its own quarter of the catalogue, so
    // different members and the same member overlap in time.
    std::vector<std::vector<std::string>> faults(threads);
    std::vector<std::thread> pool;
    for (unsigned t = 0; t < threads; ++t)
        pool.emplace_back([&, t] {
            for (std::size_t k = 0; k < count; ++k) {
                const std::size_t i = (k + t * count / threads) % count;
                Call c = twin(i);
                const OlvResult r = c.run();
                const std::string where = r == results[i] ? first_difference(c, alone[i]) : "result";
                if (!where.empty()) faults[t].push_back(std::string(members()[i].name) + ": " + where);
            }
        });
    for (auto& t : pool) t.join();
    for (const auto& f : faults) EXPECT_TRUE(f.empty()) << f.size() << " differences, first " << f.front();
}

}  // namespace
}  // namespace olvmtest
