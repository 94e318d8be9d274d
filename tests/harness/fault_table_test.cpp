// The table of forced failures has every C library function that the library calls, and no other.
#include "fault_table.h"

#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

#include "output_of.h"

namespace {

/// The undefined symbols of the library, without the versions of their definitions.
std::set<std::string> called_symbols()
{
    std::set<std::string> symbols;
    std::istringstream lines(
        harness::output_of(HARNESS_NM " -D --undefined-only " HARNESS_LIBRARY));
    for (std::string type, name; lines >> type >> name;) {
        symbols.insert(name.substr(0, name.find('@')));
    }
    return symbols;
}

std::set<std::string> fallible_symbols()
{
#define HARNESS_SYMBOL_OF(name, symbol, ...) symbol,
    return {HARNESS_FALLIBLE_CALLS(HARNESS_SYMBOL_OF)};
}

std::set<std::string> known_symbols()
{
    std::set<std::string> symbols = fallible_symbols();
    symbols.merge(std::set<std::string>{HARNESS_COUNTED_CALLS(HARNESS_SYMBOL_OF)});
    symbols.merge(std::set<std::string>{HARNESS_INFALLIBLE_SYMBOLS});
    return symbols;
}

TEST(FaultTable, HasEveryFunctionThatTheLibraryCalls)
{
    auto called = called_symbols();
    // The compiler's library asks what an arm64 processor can do, before anything of ours runs.
    called.erase("__getauxval");
    ASSERT_TRUE(called.contains("malloc")) << "nm gives something else";
    const auto known = known_symbols();
    for (const auto& symbol : called) {
        EXPECT_TRUE(known.contains(symbol)) << symbol;
    }
}

TEST(FaultTable, HasNoFunctionThatTheLibraryDoesNotCall)
{
    auto called = called_symbols();
    // Which of those it calls for a constant text is the compiler's choice.
    called.insert({"fputs", "printf", "putchar", "puts"});
    // Its part in the static C library calls the other one.
    if (called.contains("__register_atfork")) {
        called.insert("pthread_atfork");
    }
    for (const auto& symbol : fallible_symbols()) {
        EXPECT_TRUE(called.contains(symbol)) << symbol;
    }
}

}  // namespace
