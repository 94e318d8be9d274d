// What dispatching an event costs: both engines, the same callbacks called by hand in the right
// order, and other libraries' machines of the same states. The callbacks do next to nothing, so
// that the ratios show the engines only.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "hsm_calls.h"
#include "support/ratio_report.h"

#if HAVE_BOOST
#include "hsm_peers.h"
#endif

namespace {

using namespace bench;

/// Runs a load, and checks that it calls as many callbacks as it should.
template <typename Machine, auto load>
void run(benchmark::State& state, std::uint64_t calls)
{
    Machine machine;
    const std::uint64_t before = callback_count;
    for (auto _ : state) {
        (machine.*load)();
        benchmark::ClobberMemory();
    }
    const std::uint64_t called = callback_count - before;
    if (called != calls * static_cast<std::uint64_t>(state.iterations())) {
        state.SkipWithError("wrong number of callbacks");
    }
}

#define LOAD(Machine, prefix, load, calls)          \
    void prefix##_##load(benchmark::State& state)   \
    {                                               \
        run<Machine, &Machine::load>(state, calls); \
    }                                               \
    BENCHMARK(prefix##_##load);
#define LOADS(Machine, prefix)                             \
    LOAD(Machine, prefix, internal, 1)                     \
    LOAD(Machine, prefix, bubble, Machine::kBubbleCalls)   \
    LOAD(Machine, prefix, sibling, Machine::kSiblingCalls) \
    LOAD(Machine, prefix, deep, Machine::kDeepCalls)

LOADS(HsmMachine, hsm)
LOADS(HsmByHand, hsm_by_hand)
LOAD(HsmInLoop, hsm_in_loop, sibling, HsmInLoop::kSiblingCalls)
LOAD(HsmInLoop, hsm_in_loop, deep, HsmInLoop::kDeepCalls)
LOADS(LsMachine, ls_hsm)
LOADS(LsByHand, ls_hsm_by_hand)
#if HAVE_BOOST
LOADS(MsmMachine, boost_msm)
LOADS(StatechartMachine, boost_statechart)
#endif

/// The four loads of one engine against one peer.
void compare(std::vector<Ratio>& ratios, const std::string& ours, const std::string& peer,
             double goal)
{
    for (const char* const load : {"_internal", "_bubble", "_sibling", "_deep"}) {
        ratios.push_back({ours + load + " / " + peer, ours + load, peer + load, goal});
    }
}

}  // namespace

int main(int argc, char** argv)
{
    std::vector<Ratio> ratios;
    compare(ratios, "hsm", "hsm_by_hand", 2.0);
    ratios.push_back(
        {"hsm_deep / the same calls by pointer in a loop", "hsm_deep", "hsm_in_loop_deep", 1.5});
    ratios.push_back({"hsm_sibling / the same calls by pointer in a loop", "hsm_sibling",
                      "hsm_in_loop_sibling", 0});
    compare(ratios, "ls_hsm", "ls_hsm_by_hand", 2.0);
    for (const char* const peer : {"boost_msm", "boost_statechart"}) {
        compare(ratios, "hsm", peer, 1.0);
        compare(ratios, "ls_hsm", peer, 1.0);
    }
    return run_and_compare(argc, argv, ratios);
}
