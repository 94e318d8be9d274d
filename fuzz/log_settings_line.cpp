// The log facility's reader of settings with any line: whatever it takes in is a valid setting.
#include "log/logger.h"
#include "support/input.h"

using common::log::logger;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const fuzz::Text line(data, size);
    for (const bool at_initialisation : {true, false}) {
        const COMMON_LogFormat_t format = logger.format;
        const std::uint32_t legacy = logger.legacy;
        common::log::parseVariable(line.get(), at_initialisation);
        FUZZ_CHECK(at_initialisation || (logger.format == format && logger.legacy == legacy));
        FUZZ_CHECK(logger.cache <= 1 && logger.color <= 1 && logger.enable <= 1);
        FUZZ_CHECK(logger.strip <= 1 && logger.legacy <= 1);
        FUZZ_CHECK(logger.format <= COMMON_LogFormatSyslogngext);
        FUZZ_CHECK(logger.peakloadControl <= COMMON_LogPeakloadControlOn);
        FUZZ_CHECK(logger.level <= COMMON_LogLevelVerbose);
        FUZZ_CHECK(logger.levelAtPeakloadOff <= COMMON_LogLevelVerbose);
        FUZZ_CHECK(logger.levelAtPeakloadOn <= COMMON_LogLevelVerbose);
        FUZZ_CHECK(logger.granularityPeakloadProcessing >= 0);
    }
    return 0;
}
