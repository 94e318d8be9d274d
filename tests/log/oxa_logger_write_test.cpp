// The older interface for writing records: by module id.
#include "oxa_logger.h"

#include <cerrno>

#include "common_log_settings.h"
#include "log_calls.h"

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(OxaLoggerWrite, TheZoneIsTheNameOfTheModule)
{
    const Outcome outcome = well([] {
        for (const std::uint32_t id : {0u, 15u, 26u, 219u, UINT32_MAX}) {
            EXPECT_EQ(LOG_Write(id, kError, "dir/file.c", "function", 42, "%s %u", "module", id),
                      1u);
        }
        EXPECT_EQ(LOG_ModuleIdAssignDynamic("MINE"), 219u);
        EXPECT_EQ(LOG_Write(219, kInfo, "f", "g", 1, "registered"), 1u);
    });
    const auto error = [](const char* zone, const char* message) {
        return said(kError, zone, "file.c", "function", message);
    };
    EXPECT_THAT(outcome.log,
                ElementsAre(error("Generic", "module 0"), error("TIMER", "module 15"),
                            error("COMMON", "module 26"), error("Invalid", "module 219"),
                            error("Invalid", "module 4294967295"),
                            said(kInfo, "MINE", "f", "g", "registered")));
    EXPECT_EQ(fields_of(outcome.log[0]).line, 42);
}

TEST(OxaLoggerWrite, GivesWhetherTheLevelWasAccepted)
{
    const Outcome outcome = well([] {
        for (COMMON_LogLevel_t level = 0; level <= 8; ++level) {
            EXPECT_EQ(LOG_Write(26, level, "f", "g", 1, "level"), level <= 5 ? 1u : 0u) << level;
        }
        COMMON_Log_EnableSet(0);
        EXPECT_EQ(LOG_Write(26, kFatal, "f", "g", 1, "disabled"), 0u);
    });
    std::vector<Report> expected;
    for (COMMON_LogLevel_t level = 0; level <= 5; ++level) {
        expected.push_back(said(level, "COMMON", "f", "g", "level"));
    }
    EXPECT_THAT(outcome.log, testing::ElementsAreArray(expected));
}

TEST(OxaLoggerWrite, NullTextsAreEmptyFields)
{
    const Outcome outcome =
        well([] { EXPECT_EQ(LOG_Write(0, kError, nullptr, nullptr, 3, "message"), 1u); });
    EXPECT_THAT(outcome.log, ElementsAre(said(kError, "Generic", "", "", "message")));
}

TEST(OxaLoggerWrite, FatalErrorIsCriticalAndNotEchoed)
{
    const Outcome outcome = well({.env = kDebugOn}, [] {
        for (const std::uint32_t ignored : {0u, 7u, UINT32_MAX}) {
            LOG_FatalError(16, ignored, "dir/file.c", "function", 5, "%d of %s", 1, "these");
        }
    });
    const Report critical = said(kCritical, "MALLOC", "file.c", "function", "1 of these");
    EXPECT_THAT(outcome.log, ElementsAre(critical, critical, critical));
    EXPECT_EQ(fields_of(outcome.log[0]).line, 5);
    for (const RowText& row : row_texts(outcome.err)) {
        EXPECT_EQ(row.function, "threadOnce") << row;
    }
}

TEST(OxaLoggerWrite, FatalErrorObeysTheLevelOfTheHandler)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelSet(kFatal);
        LOG_FatalError(16, 0, "f", "g", 5, "below the level");
        COMMON_Log_LevelSet(kCritical);
        LOG_FatalError(999, 0, "f", "g", 5, "at the level");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kCritical, "Invalid", "f", "g", "at the level")));
}

TEST(OxaLoggerWrite, PrintTimeTakesTheFunctionBeforeTheFile)
{
    const Outcome outcome = well([] {
        LOG_PrintTime(99, "ZONE", "Start-up", "function", "dir/file.c", 321);
        LOG_PrintTime(0, nullptr, "", nullptr, nullptr, -1);
        LOG_PrintTime(0, "ZONE", "%s%n", "function", "file.c", 1);
        COMMON_Log_LevelSet(kNote);
        LOG_PrintTime(0, "ZONE", "dropped", "function", "file.c", 1);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "ZONE", "file.c", "function", "Start-up Time"),
                                         said(kInfo, "", "", "", " Time"),
                                         said(kInfo, "ZONE", "file.c", "function", "%s%n Time")));
    EXPECT_EQ(fields_of(outcome.log[0]).line, 321);
    EXPECT_EQ(fields_of(outcome.log[1]).line, -1);
}

TEST(OxaLoggerWrite, PreFilterLevelIsTheCurrentLevel)
{
    const Outcome outcome = well([] {
        EXPECT_EQ(LOG_GetPreFilterLevel(), 5u);
        for (const COMMON_LogLevel_t level : {0u, 7u, 8u, UINT32_MAX}) {
            EXPECT_EQ(LOG_SetPreFilterLevel(level), 5u);
            EXPECT_EQ(COMMON_Log_LevelGet(), kInfo);
        }
        COMMON_Log_LevelSet(kError);
        EXPECT_EQ(LOG_GetPreFilterLevel(), 2u);
        EXPECT_EQ(LOG_SetPreFilterLevel(6), 2u);
        EXPECT_EQ(COMMON_Log_LevelGet(), kError);
    });
    EXPECT_THAT(outcome.log, IsEmpty());
}

FRESH_TEST(OxaLoggerWrite, BuffersAreAPlaceholder)
{
    void* const buffer = LOG_BufferCreate();
    EXPECT_NE(buffer, nullptr);
    EXPECT_EQ(LOG_BufferCreate(), buffer);
    EXPECT_EQ(LOG_BufferDestroy(buffer), buffer);
    EXPECT_EQ(LOG_BufferDestroy(nullptr), nullptr);
    int other = 0;
    EXPECT_EQ(LOG_BufferDestroy(&other), &other);
    EXPECT_EQ(LOG_BufferCreate(), buffer);
    LOG_BufferFlush(buffer);
    LOG_BufferFlush(nullptr);
}

TEST(OxaLoggerWrite, BufferWriteWritesAnEmptyMessageAtVerbose)
{
    const Outcome outcome = well([] {
        LOG_BufferWrite(LOG_BufferCreate(), "not accepted");
        COMMON_Log_LevelSet(kDebug);
        LOG_BufferWrite(LOG_BufferCreate(), "not accepted");
        COMMON_Log_LevelSet(kVerbose);
        LOG_BufferWrite(LOG_BufferCreate(), "%s", "ignored");
        LOG_BufferWrite(nullptr);
        COMMON_Log_EnableSet(0);
        LOG_BufferWrite(nullptr);
    });
    const Report empty = said(kVerbose, "", "oxa_logger", "LOG_BufferWrite", "");
    EXPECT_THAT(outcome.log, ElementsAre(empty, empty));
}

TEST(OxaLoggerWrite, ErrnoIsTheCallers)
{
    const Outcome outcome = well([] {
        std::uint32_t (*const write)(std::uint32_t, COMMON_LogLevel_t, const char*, const char*,
                                     std::int32_t, const char*, ...) = LOG_Write;
        errno = ENOTDIR;
        write(0, kError, "f", "g", 1, "%m");
        EXPECT_EQ(errno, ENOTDIR);
        write(0, kVerbose, "f", "g", 1, "%m");
        EXPECT_EQ(errno, ENOTDIR);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kError, "Generic", "f", "g", "Not a directory")));
}

}  // namespace
