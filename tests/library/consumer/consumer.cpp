// The same program in C++, which also says what it had from the layer: what the bytes of a variant
// became, and whether two levels of a zone are wanted.
#include <commonpp/commonpp.hpp>
#include <cstdio>

#include "map.h"

namespace {

constexpr commonpp::zone kZone{"ROADS"};

void use_layer()
{
    const commonpp::variant sent{"Elm Street", ROADS};
    const auto bytes = sent.bytes();
    const auto received = commonpp::variant::from_bytes(bytes.data(), bytes.size());
    const bool info = static_cast<bool>(kZone.info());
    const bool debug = static_cast<bool>(kZone.debug());
    std::printf("%s %d %d\n", received ? received->text().c_str() : "nothing", info, debug);
    kZone.debug()("%d roads", ROADS);
}

}  // namespace

#include "consumer.c"
