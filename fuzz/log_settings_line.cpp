// The log facility's reader of settings with any line: whatever it takes in is a valid setting.
#include <iterator>

#include "log/common_log_layout.h"
#include "log/levels.h"
#include "log/logger.h"
#include "support/input.h"

using namespace common::log;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzz::Text line(data, size);
    for (const bool at_initialisation : {true, false}) {
        const COMMON_LogFormat_t format = logger.format;
        const std::uint32_t legacy = logger.legacy;
        parseVariable(line.get(), at_initialisation);
        FUZZ_CHECK(at_initialisation || (logger.format == format && logger.legacy == legacy));
        FUZZ_CHECK(logger.cache <= 1 && logger.color <= 1 && logger.enable <= 1);
        FUZZ_CHECK(logger.strip <= 1 && logger.legacy <= 1);
        FUZZ_CHECK(logger.format < std::size(kLayouts));
        FUZZ_CHECK(logger.peakloadControl <= COMMON_LogPeakloadControlOn);
        FUZZ_CHECK(is_level(logger.level));
        FUZZ_CHECK(is_level(logger.levelAtPeakloadOff));
        FUZZ_CHECK(is_level(logger.levelAtPeakloadOn));
        FUZZ_CHECK(logger.granularityPeakloadProcessing >= 0);
    }
    return 0;
}
