// How the library reports: a record in the name of the function that a failure concerns, and the
// text that tells an error number.
#include <cerrno>
#include <string>

#include "common_log_settings.h"
#include "log/report.h"
#include "log_calls.h"

namespace {

using namespace harness;
using common::failed;
using common::Here;
using common::report_failure;
using testing::ElementsAre;

constexpr common::Source kSource{"source", common::Module::Timer};
constexpr common::Source kWithoutModule{"source"};

constexpr char kNoFile[] = " with error: No such file or directory (2)";

/// A function that calls something which fails.
bool opens(int error, const char* what = "Could not open")
{
    return failed(kSource, kError, error, what);
}

/// Reports in the name of its caller.
bool helper(int error, Here here = Here::now())
{
    return failed(kSource, kError, error, "Could not help", here);
}

constexpr std::int32_t kLineOfTheCall = __LINE__ + 3;
bool asks_a_helper(int error)
{
    return helper(error);
}

TEST(Failed, SaysWhatFailedInTheFunctionThatAsks)
{
    const Outcome outcome = well([] { EXPECT_TRUE(opens(ENOENT)); });
    EXPECT_THAT(outcome.log, ElementsAre(said(kError, "TIMER", "source", "opens",
                                              "Could not open" + std::string(kNoFile))));
}

FRESH_TEST(Failed, IsNotTheCaseForErrorZeroAndNothingIsSaid)
{
    EXPECT_FALSE(opens(0));
    EXPECT_FALSE(asks_a_helper(0));
}

TEST(Failed, NamesTheCallerOfAHelperAndItsLine)
{
    const Outcome outcome = well([] {
        EXPECT_TRUE(asks_a_helper(ENOENT));
        EXPECT_TRUE(failed(kSource, kError, ENOENT, "m", {"another_function", -5}));
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kError, "TIMER", "source", "asks_a_helper",
                                              "Could not help" + std::string(kNoFile)),
                                         said(kError, "TIMER", "source", "another_function",
                                              "m" + std::string(kNoFile))));
    EXPECT_EQ(fields_of(outcome.log[0]).line, kLineOfTheCall);
    EXPECT_EQ(fields_of(outcome.log[1]).line, -5);
}

TEST(Failed, HasTheZoneOfItsModuleOrNone)
{
    const Outcome outcome = well([] {
        failed(kWithoutModule, kError, ENOENT, "m", {"function", 1});
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(kError, "", "source", "function", "m" + std::string(kNoFile))));
}

TEST(Failed, IsReportedAtItsLevelAndOnlyWhereThatIsAcceptable)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelSet(kWarn);
        for (COMMON_LogLevel_t level = 0; level <= kVerbose; ++level) {
            EXPECT_TRUE(failed(kSource, level, ENOENT, "m", {"function", 1}));
        }
    });
    const auto at = [](COMMON_LogLevel_t level) {
        return said(level, "TIMER", "source", "function", "m" + std::string(kNoFile));
    };
    EXPECT_THAT(outcome.log, ElementsAre(at(kFatal), at(kCritical), at(kError), at(kWarn)));
}

TEST(Failed, TakesWhatFailedForNoFormat)
{
    const Outcome outcome = well([] { opens(ENOENT, "100% of %s %n"); });
    EXPECT_THAT(outcome.log, ElementsAre(said(kError, "TIMER", "source", "opens",
                                              "100% of %s %n" + std::string(kNoFile))));
}

TEST(Failed, ShowsANumberThatIsNoError)
{
    const Outcome outcome = well([] {
        opens(12345);
        opens(-1);
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(kError, "TIMER", "source", "opens",
                                 "Could not open with error: Unknown error 12345 (12345)"),
                            said(kError, "TIMER", "source", "opens",
                                 "Could not open with error: Unknown error -1 (-1)")));
}

TEST(Failed, KeepsErrno)
{
    well([] {
        for (const int error : {0, ENOENT, 12345, -1}) {
            errno = EINTR;
            opens(error);
            EXPECT_EQ(errno, EINTR) << error;
        }
        COMMON_Log_LevelSet(kFatal);
        errno = EINTR;
        opens(ENOENT);
        EXPECT_EQ(errno, EINTR);
    });
}

TEST(ReportFailure, FormatsItsBeginning)
{
    const Outcome outcome = well([] {
        report_failure(kSource, kWarn, {"function", 1}, ENOENT, "%s no. %d", "File", 7);
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kWarn, "TIMER", "source", "function",
                                              "File no. 7" + std::string(kNoFile))));
}

TEST(ReportFailure, OfErrorZeroIsReportedAllTheSame)
{
    const Outcome outcome = well([] {
        report_failure(kSource, kError, {"function", 1}, 0, "Nothing failed");
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kError, "TIMER", "source", "function",
                                              "Nothing failed with error: Success (0)")));
}

TEST(ReportFailure, IsCutWhereARecordIs)
{
    constexpr std::size_t kLongest = 1023;
    for (const std::size_t length : {900u, 1000u, 1022u, 1023u, 1024u, 5000u}) {
        SCOPED_TRACE(length);
        const std::string beginning(length, 'x');
        const Outcome outcome = well([&] {
            report_failure(kSource, kError, {"function", 1}, ENOENT, "%s", beginning.c_str());
        });
        EXPECT_THAT(outcome.log, ElementsAre(said(kError, "TIMER", "source", "function",
                                                  (beginning + kNoFile).substr(0, kLongest))));
    }
}

}  // namespace
