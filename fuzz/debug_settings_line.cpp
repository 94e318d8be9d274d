// The debug output's reader of settings with any line. It says on standard output what it does not
// like. Negative row lengths are let in, and those from -3 on are aligned to 0: a dump passes over
// what it cannot use.
#include "log/debug_settings.h"
#include "support/input.h"

using common::debug::settings;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzz::Text line(data, size);
    settings = {0, common::debug::kDefaultRowLength};
    common::debug::parse_variable(line.get());
    FUZZ_CHECK(settings.enable <= 1);
    const auto length = static_cast<std::int32_t>(settings.rowLength);
    FUZZ_CHECK(length % 4 == 0);
    FUZZ_CHECK(length <= 0 || settings.rowLength >= common::debug::kMinimumRowLength);
    FUZZ_CHECK(length <= static_cast<std::int32_t>(common::debug::kMaximumRowLength));
    return 0;
}
