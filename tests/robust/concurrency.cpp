// Reentrancy: every member runs on several threads at once, each call on operands of its
// own, and must leave its outputs bit for bit as the same call leaves them when it runs
// alone, its sources untouched.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "calls.h"
#include "validation_model.h"

namespace olvmtest {
namespace {

constexpr unsigned threads = 4;

Call twin(std::size_t i) {
    Rng rng(i);
    return make_call(members()[i], rng, 3);
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
                c.snapshot_all();
                const OlvResult r = c.run();
                Verdict done;  // every object written as alone, sources untouched
                done.objects = unsigned(-1), done.scratch = true;
                const std::string where = r == results[i] ? audit(c, done, &alone[i]) : "result";
                if (!where.empty()) faults[t].push_back(std::string(members()[i].name) + ": " + where);
            }
        });
    for (auto& t : pool) t.join();
    for (const auto& f : faults) EXPECT_TRUE(f.empty()) << f.size() << " differences, first " << f.front();
}

}  // namespace
}  // namespace olvmtest
