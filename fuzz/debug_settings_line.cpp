// The debug output's reader of settings with any line. It says on standard output what it does not
// like. Negative row lengths are let in, and those from -3 on are aligned to 0: a dump passes over
// what it cannot use.
#include "log/debug_settings.h"
#include "support/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzz::Text line(data, size);
    common::debug = {0, common::kDefaultRowLength};
    common::parse_debug_variable(line.get());
    FUZZ_CHECK(common::debug.enable <= 1);
    const auto length = static_cast<std::int32_t>(common::debug.rowLength);
    FUZZ_CHECK(length % 4 == 0);
    FUZZ_CHECK(length <= 0 || common::debug.rowLength >= common::kMinimumRowLength);
    FUZZ_CHECK(length <= static_cast<std::int32_t>(common::kMaximumRowLength));
    return 0;
}
