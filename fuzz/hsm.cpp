// Machines of hsm.h with any chart and any handlers: each call that a handler gets is the one that
// a small model of such machines makes.
#include "tests/hsm/hsm_model.h"

#include <algorithm>

#include "support/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto [machine, model] =
        hsm_model::run(fuzz::Choices(data, std::min(size, chart::kLongestInput)));
    FUZZ_CHECK(machine == model);
    return 0;
}
