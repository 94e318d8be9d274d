// The logging macros: what their records say, and what they leave alone.
#include "common_log_macros.h"

#include <cerrno>
#include <cstring>

#include "common_log_macros_calls.h"
#include "log_calls.h"

COMMON_LOG_ZONE("TUNER");

namespace {

using namespace harness;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr char kFile[] = "common_log_macros_test.cpp";

Report tuner_said(COMMON_LogLevel_t level, const std::string& function, const std::string& message)
{
    return said(level, "TUNER", kFile, function, message);
}

void each_level()
{
    COMMON_LOG_FATAL("level %d", 0);
    COMMON_LOG_CRITICAL("level %d", 1);
    COMMON_LOG_ERROR("level %d", 2);
    COMMON_LOG_WARN("level %d", 3);
    COMMON_LOG_NOTE("level %d", 4);
    COMMON_LOG_INFO("level %d", 5);
    COMMON_LOG_DEBUG("level %d", 6);
    COMMON_LOG_VERBOSE("level %d", 7);
}

void each_limited_level()
{
    COMMON_LOG_ONCE(FATAL, "level 0");
    COMMON_LOG_ONCE(CRITICAL, "level 1");
    COMMON_LOG_ONCE(ERROR, "level 2");
    COMMON_LOG_ONCE(WARN, "level 3");
    COMMON_LOG_ONCE(NOTE, "level 4");
    COMMON_LOG_ONCE(INFO, "level 5");
    COMMON_LOG_ONCE(DEBUG, "level 6");
    COMMON_LOG_ONCE(VERBOSE, "level 7");
}

/// A record of every level up to one, from a function.
std::vector<Report> levels_up_to(COMMON_LogLevel_t last, const std::string& function)
{
    std::vector<Report> expected;
    for (COMMON_LogLevel_t level = 0; level <= last; ++level) {
        expected.push_back(tuner_said(level, function, "level " + std::to_string(level)));
    }
    return expected;
}

TEST(CommonLogMacros, EveryLevelHasItsMacro)
{
    EXPECT_STREQ(COMMON_LogLevel_ToString(kVerbose + 1), "Invalid") << "a level without a macro";
    const Outcome outcome = well([] {
        COMMON_Log_LevelSet(kVerbose);
        each_level();
        each_limited_level();
    });
    std::vector<Report> expected = levels_up_to(kVerbose, "each_level");
    const std::vector<Report> limited = levels_up_to(kVerbose, "each_limited_level");
    expected.insert(expected.end(), limited.begin(), limited.end());
    EXPECT_THAT(outcome.log, ElementsAreArray(expected));
}

TEST(CommonLogMacros, WriteWhatTheLevelAccepts)
{
    for (COMMON_LogLevel_t current = 0; current <= kVerbose; ++current) {
        const Outcome outcome = well([=] {
            COMMON_Log_LevelSet(current);
            each_level();
        });
        EXPECT_THAT(outcome.log, ElementsAreArray(levels_up_to(current, "each_level")));
    }
    const Outcome outcome = well({.env = {{"COMMON_LOG_ENABLE", "False"}}}, each_level);
    EXPECT_THAT(outcome.log, IsEmpty());
}

// clang-format off
void plain_here() { COMMON_LOG_WARN("plain"); }  constexpr int kPlainLine = __LINE__;
void at_here() { COMMON_LOG_AT(COMMON_LogLevelError, "at %s", "run time"); }  constexpr int kAtLine = __LINE__;
// clang-format on

TEST(CommonLogMacros, RecordsNameThePlaceThatTheyStandIn)
{
    const Single plain = single_record(plain_here);
    EXPECT_EQ(plain.report, tuner_said(kWarn, "plain_here", "plain"));
    EXPECT_EQ(plain.fields.line, kPlainLine);
    const Single at = single_record(at_here);
    EXPECT_EQ(at.report, tuner_said(kError, "at_here", "at run time"));
    EXPECT_EQ(at.fields.line, kAtLine);
}

TEST(CommonLogMacros, ShowTheWholeFileWhenNothingIsStripped)
{
    const Single whole = single_record({.env = {{"COMMON_LOG_STRIP", "False"}}}, plain_here);
    EXPECT_EQ(whole.fields.file, __FILE__);
    EXPECT_NE(whole.fields.file, kFile);
}

template <typename Value>
void in_template(Value value)
{
    COMMON_LOG_INFO("%d", static_cast<int>(value));
}

struct Member {
    static void in_static_member() { COMMON_LOG_INFO("static"); }
    void in_member() const { COMMON_LOG_INFO("member"); }
};

TEST(CommonLogMacros, StandInFunctionsOfEveryKind)
{
    const Outcome outcome = well([] {
        in_template(1);
        in_template(2L);
        Member::in_static_member();
        Member{}.in_member();
        COMMON_LOG_INFO("lambda");
        [](auto value) { COMMON_LOG_INFO("%s", value); }("generic lambda");
    });
    EXPECT_THAT(outcome.log, ElementsAre(tuner_said(kInfo, "in_template", "1"),
                                         tuner_said(kInfo, "in_template", "2"),
                                         tuner_said(kInfo, "in_static_member", "static"),
                                         tuner_said(kInfo, "in_member", "member"),
                                         tuner_said(kInfo, "operator()", "lambda"),
                                         tuner_said(kInfo, "operator()", "generic lambda")));
}

TEST(CommonLogMacros, ValuesAreEvaluatedOnceForARecordAndNeverWithout)
{
    well({.env = {{"COMMON_LOG_LEVEL", "Warn"}}}, [] {
        int values = 0;
        int levels = 0;
        int zones = 0;
        const auto level = [&](COMMON_LogLevel_t chosen) {
            ++levels;
            return chosen;
        };
        COMMON_LOG_INFO("%d", ++values);
        COMMON_LOG_AT(level(kDebug), "%d", ++values);
        COMMON_LOG_IN((++zones, "ZONE"), level(kDebug), "%d", ++values);
        COMMON_LOG_ONCE(NOTE, "%d", ++values);
        COMMON_LOG_EVERY_N(NOTE, (++values, 1U), "%d", ++values);
        // NOLINTNEXTLINE(bugprone-lambda-function-name): records of a lambda say operator().
        COMMON_LOG_PER_SECOND(NOTE, (++values, 1U), "%d", ++values);
        EXPECT_EQ(values, 0);
        EXPECT_EQ(zones, 0);
        EXPECT_EQ(levels, 2);
        COMMON_LOG_WARN("%d", ++values);
        COMMON_LOG_AT(level(kWarn), "%d", ++values);
        COMMON_LOG_IN((++zones, "ZONE"), level(kWarn), "%d", ++values);
        COMMON_LOG_ONCE(WARN, "%d", ++values);
        COMMON_LOG_EVERY_N(WARN, 1, "%d", ++values);
        // NOLINTNEXTLINE(bugprone-lambda-function-name): records of a lambda say operator().
        COMMON_LOG_PER_SECOND(WARN, 1, "%d", ++values);
        EXPECT_EQ(values, 6);
        EXPECT_EQ(zones, 1);
        EXPECT_EQ(levels, 4);
    });
}

TEST(CommonLogMacros, KeepErrnoAndShowItAlsoInTheFirstRecord)
{
    const Outcome outcome = well([] {
        errno = ENOENT;
        COMMON_LOG_WARN("cannot read %s: %m", "x");
        EXPECT_EQ(errno, ENOENT);
        COMMON_LOG_DEBUG("%m");
        COMMON_LOG_ONCE(WARN, "%m");
        COMMON_LOG_EVERY_N(WARN, 2, "%m");
        // NOLINTNEXTLINE(bugprone-lambda-function-name): records of a lambda say operator().
        COMMON_LOG_PER_SECOND(WARN, 2, "%m");
        COMMON_LOG_IN("TUNER", kWarn, "%m");
        EXPECT_EQ(errno, ENOENT);
    });
    const std::string text = std::strerror(ENOENT);
    const Report again = tuner_said(kWarn, "operator()", text);
    EXPECT_THAT(outcome.log, ElementsAre(tuner_said(kWarn, "operator()", "cannot read x: " + text),
                                         again, again, again, again));
}

/// Each of them behind an if and behind an else, without braces.
void choose(bool first)
{
    if (first)
        COMMON_LOG_WARN("first");
    else
        COMMON_LOG_NOTE("second");
    if (first)
        COMMON_LOG_AT(kWarn, "first");
    else
        COMMON_LOG_IN("TUNER", kNote, "second");
    if (first)
        COMMON_LOG_ONCE(WARN, "first");
    else
        COMMON_LOG_EVERY_N(NOTE, 1, "second");
    if (!first)
        // NOLINTNEXTLINE(bugprone-lambda-function-name): records of a lambda say operator().
        COMMON_LOG_PER_SECOND(NOTE, 1, "second");
    else
        COMMON_LOG_WARN("first");
}

TEST(CommonLogMacros, AreOneStatement)
{
    const Outcome outcome = well([] {
        choose(true);
        choose(false);
    });
    const Report first = tuner_said(kWarn, "choose", "first");
    const Report second = tuner_said(kNote, "choose", "second");
    EXPECT_THAT(outcome.log,
                ElementsAre(first, first, first, first, second, second, second, second));
}

TEST(CommonLogMacros, AZoneMayBeNamedAtTheRecord)
{
    const Single single =
        single_record([] { COMMON_LOG_IN(LOG_GetModuleName(LOG_MODULE_TIMER), kWarn, "in"); });
    EXPECT_EQ(single.report, said(kWarn, "TIMER", kFile, "operator()", "in"));
}

namespace inner {

COMMON_LOG_ZONE("INNER");

void say()
{
    COMMON_LOG_WARN("from the namespace");
    COMMON_LOG_ONCE(WARN, "once");
}

}  // namespace inner

TEST(CommonLogMacros, ANamespaceMayHaveAZoneOfItsOwn)
{
    const Outcome outcome = well(inner::say);
    EXPECT_THAT(outcome.log, ElementsAre(said(kWarn, "INNER", kFile, "say", "from the namespace"),
                                         said(kWarn, "INNER", kFile, "say", "once")));
}

namespace by_module {

int evaluated = 0;

/// Gives a module's id and does what must not show.
std::uint32_t module_id()
{
    static const std::uint32_t id = LOG_ModuleIdAssignDynamic("ASSIGNED");
    ++evaluated;
    errno = EIO;
    return id;
}

COMMON_LOG_MODULE(module_id());

void say()
{
    COMMON_LOG_DEBUG("rejected");
    EXPECT_EQ(evaluated, 0);
    errno = ENOENT;
    COMMON_LOG_WARN("%m");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(evaluated, 1);
}

}  // namespace by_module

TEST(CommonLogMacros, AModulesZoneIsItsName)
{
    const Single single = single_record(by_module::say);
    EXPECT_EQ(single.report, said(kWarn, "ASSIGNED", kFile, "say", "No such file or directory"));
}

TEST(CommonLogMacros, AreTheSameInC)
{
    const Outcome outcome = well([] {
        COMMON_Log_LevelSet(kVerbose);
        macros_in_c();
    });
    std::vector<Report> expected;
    const auto c_said = [&](COMMON_LogLevel_t level, const std::string& message) {
        expected.push_back(
            said(level, "C_FILE", "common_log_macros_in_c.c", "macros_in_c", message));
    };
    for (COMMON_LogLevel_t level = 0; level <= kVerbose; ++level) {
        c_said(level, "level " + std::to_string(level));
    }
    c_said(kWarn, "No such file or directory");
    c_said(kNote, "at run time");
    c_said(kWarn, "once");
    c_said(kWarn, "every 0");
    c_said(kWarn, "every 2");
    c_said(kWarn, "per second");
    EXPECT_THAT(outcome.log, ElementsAreArray(expected));
}

}  // namespace
