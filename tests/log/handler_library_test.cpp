// The handler library "/oxa/lib/liboxa.so": how it is loaded, what it gets, and switching between
// it and the built-in handler.
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>

#include "common_log_settings.h"
#include "fault.h"
#include "log_calls.h"
#include "mem_malloc.h"
#include "oxa_logger.h"
#include "wait_until.h"

namespace {

using namespace harness;
using fault::Call;
using testing::AllOf;
using testing::Contains;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr const char* kLibraryPath = "/oxa/lib/liboxa.so";

const RowText kSetToLibrary = log_row("stderr", "legacySet", "The handler was set to liboxa.so");
const RowText kNotLoaded = log_row("stderr", "legacySet", "liboxa.so library was not loaded");
const RowText kLoaded = log_row("stdout", "threadOnce", "Loaded: /oxa/lib/liboxa.so");

std::string content_of(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A process that finds one of the libraries made for these tests, with debug output on.
FreshSetup with_library(const char* built, std::map<std::string, std::string> env = {})
{
    FreshSetup setup{.env = kDebugOn, .files = {{kLibraryPath, content_of(built)}}};
    setup.env.merge(env);
    return setup;
}

/// The same with nothing but the library's own output.
FreshSetup quiet(FreshSetup setup)
{
    setup.env["COMMON_DEBUG_ENABLE"] = "False";
    return setup;
}

const std::map<std::string, std::string> kNotLegacy{{"COMMON_LOG_LEGACY", "False"}};

bool is_mapped()
{
    return content_of("/proc/self/maps").find(kLibraryPath) != std::string::npos;
}

testing::Matcher<const RowText&> load_row(const testing::Matcher<const std::string&>& message)
{
    return AllOf(Field(&RowText::stream, "stderr"), Field(&RowText::file, "common_log"),
                 Field(&RowText::function, "threadOnce"), Field(&RowText::message, message));
}

TEST(HandlerLibrary, IsLoadedAndSeenByEveryone)
{
    const Outcome outcome = well(with_library(RECORDING_HANDLER), [] {
        EXPECT_EQ(dlsym(RTLD_DEFAULT, "COMMON_Log_writev"), nullptr);
        EXPECT_EQ(COMMON_Log_LegacyGet(), 1u);
        EXPECT_NE(dlsym(RTLD_DEFAULT, "COMMON_Log_writev"), nullptr);
        log_message(kInfo, "m");
    });
    EXPECT_THAT(row_texts(outcome.out), Contains(kLoaded).Times(1));
    EXPECT_THAT(row_texts(outcome.err), IsEmpty());
    EXPECT_THAT(outcome.out, Not(HasSubstr("handled")));
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m")));
}

TEST(HandlerLibrary, IsLoadedBetweenTheFirstTwoSteps)
{
    const Outcome outcome = well(with_library(RECORDING_HANDLER), [] { COMMON_Log_LevelGet(); });
    const auto rows = row_texts(outcome.out);
    ASSERT_GE(rows.size(), 3u);
    EXPECT_EQ(rows[0], log_row("stdout", "threadOnce", "Initializing"));
    EXPECT_EQ(rows[1], kLoaded);
    EXPECT_EQ(rows[2], log_row("stdout", "threadOnce", "cache:    True"));
}

TEST(HandlerLibrary, ThatCannotBeOpened)
{
    const struct {
        const char* name;
        FreshSetup setup;
        const char* error;
    } kCases[] = {
        {"missing",
         {.env = kDebugOn},
         "/oxa/lib/liboxa.so: cannot open shared object file: No such file or directory"},
        {"empty",
         {.env = kDebugOn, .files = {{kLibraryPath, ""}}},
         "/oxa/lib/liboxa.so: file too short"},
        {"text",
         {.env = kDebugOn, .files = {{kLibraryPath, std::string(4096, 'x')}}},
         "/oxa/lib/liboxa.so: invalid ELF header"},
    };
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.name);
        const Outcome outcome = well(test.setup, [] {
            EXPECT_EQ(COMMON_Log_LegacySet(0), 0);
            EXPECT_EQ(COMMON_Log_LegacyGet(), 1u);
            log_message(kInfo, "m");
        });
        EXPECT_THAT(row_texts(outcome.err),
                    ElementsAre(log_row("stderr", "threadOnce",
                                        std::string("Failed to load the library with error: ") +
                                            test.error),
                                kNotLoaded));
        EXPECT_THAT(outcome.out, Not(HasSubstr("Loaded:")));
        EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m")));
    }
}

TEST(HandlerLibrary, FailuresAreSilentWhileDebugOutputIsOff)
{
    for (const char* library : {RECORDING_HANDLER, WITHOUT_ENTRY_POINT}) {
        const Outcome outcome = well(quiet(with_library(library)), [] {
            log_message(kInfo, "m");
            COMMON_Log_LegacySet(0);
        });
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, "");
    }
}

TEST(HandlerLibrary, WithoutItsEntryPointIsClosedAgain)
{
    const Outcome outcome = well(with_library(WITHOUT_ENTRY_POINT, kNotLegacy), [] {
        EXPECT_EQ(COMMON_Log_LegacyGet(), 1u);
        EXPECT_FALSE(is_mapped());
        EXPECT_EQ(fault::calls(Call::dlclose), 1);
        log_message(kInfo, "m");
    });
    EXPECT_THAT(row_texts(outcome.err),
                ElementsAre(log_row("stderr", "threadOnce",
                                    "Failed to find the symbol with error: /oxa/lib/liboxa.so: "
                                    "undefined symbol: COMMON_Log_writev"),
                            kNotLoaded));
    EXPECT_THAT(outcome.out, Not(HasSubstr("Loaded:")));
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m")));
}

TEST(HandlerLibrary, ThatCannotBeClosedIsGivenUpAllTheSame)
{
    const Outcome outcome = well(with_library(WITHOUT_ENTRY_POINT), [] {
        fault::fail(Call::dlclose);
        EXPECT_EQ(COMMON_Log_LegacySet(0), 0);
        EXPECT_EQ(COMMON_Log_LegacyGet(), 1u);
    });
    EXPECT_THAT(row_texts(outcome.err),
                ElementsAre(load_row(StartsWith("Failed to find the symbol with error: ")),
                            load_row(MatchesRegex("Failed to unload 0x[0-9A-F]{8} with return "
                                                  "value -1 and error: forced failure of dlclose")),
                            kNotLoaded));
}

TEST(HandlerLibrary, SymbolThatCannotBeLookedUpIsAMissingOne)
{
    const Outcome outcome = well(with_library(RECORDING_HANDLER, kNotLegacy), [] {
        fault::fail(Call::dlsym);
        log_message(kInfo, "m");
        EXPECT_FALSE(is_mapped());
    });
    EXPECT_THAT(row_texts(outcome.err), ElementsAre(log_row("stderr", "threadOnce",
                                                            "Failed to find the symbol with error: "
                                                            "forced failure of dlsym"),
                                                    kNotLoaded));
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "m")));
}

TEST(HandlerLibrary, EntryPointOfTheValueZeroStopsTheProcess)
{
    const Outcome outcome =
        run_fresh(with_library(ENTRY_POINT_ZERO), [] { COMMON_Log_LevelGet(); });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(outcome.err, AllOf(ContainsRegex(": common_log:[0-9]+: threadOnce"),
                                   HasSubstr(": Assertion `0 != logger.handlerDynamic' failed.")));
    EXPECT_THAT(outcome.log, IsEmpty());
}

TEST(HandlerLibrary, GetsExactlyWhatTheCallerGave)
{
    const Outcome outcome = well(quiet(with_library(RECORDING_HANDLER, kNotLegacy)), [] {
        EXPECT_EQ(COMMON_Log_LegacyGet(), 0u);
        const UncheckedWrite log_write = COMMON_Log_Write;
        COMMON_Log_Write(kInfo, 123456789, "ZONE", "a/b/file.c", "function", 42, "%s %d", "text",
                         7);
        log_write(kError, 0, nullptr, nullptr, nullptr, -1, "m");
        log_write(kError, 0, "", "", "", 0, nullptr);
        COMMON_Log_Write(kFatal, 0, "Z", "f", "g", 1, "fatal");
        // No level test in front of it, whatever the settings are.
        COMMON_Log_Write(kVerbose, 0, "Z", "f", "g", 1, "verbose");
        COMMON_Log_Write(4711, 0, "Z", "f", "g", 1, "above");
        COMMON_Log_Write(~0u, 0, "Z", "f", "g", 1, "negative");
        COMMON_Log_EnableSet(0);
        COMMON_Log_Write(kInfo, 0, "Z", "f", "g", 1, "disabled");
        const std::string longer(2000, 'x');
        COMMON_Log_Write(kInfo, 0, "Z", "f", "g", 1, "%s", longer.c_str());
    });
    EXPECT_EQ(outcome.out, "handled 5|ZONE|a/b/file.c|function|42|%s %d|text 7\n"
                           "handled 2|NULL|NULL|NULL|-1|m|m\n"
                           "handled 2||||0||\n"
                           "handled 0|Z|f|g|1|fatal|fatal\n"
                           "handled 7|Z|f|g|1|verbose|verbose\n"
                           "handled 4711|Z|f|g|1|above|above\n"
                           "handled -1|Z|f|g|1|negative|negative\n"
                           "handled 5|Z|f|g|1|disabled|disabled\n"
                           "handled 5|Z|f|g|1|%s|" +
                               std::string(2000, 'x') + "\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(outcome.log, IsEmpty());
}

void write_list_null_format(int unused, ...)
{
    void (*const log_write_v)(COMMON_LogLevel_t, std::uint32_t, const char*, const char*,
                              const char*, std::int32_t, const char*, va_list) = COMMON_Log_WriteV;
    va_list args;
    va_start(args, unused);
    log_write_v(kInfo, kZoneNumber, "Z", "f", "g", 1, nullptr, args);
    va_end(args);
}

TEST(HandlerLibrary, GetsTheNullFormatOfTheListForm)
{
    const Outcome outcome =
        well(quiet(with_library(RECORDING_HANDLER, kNotLegacy)), [] { write_list_null_format(0); });
    EXPECT_EQ(outcome.out, "handled 5|Z|f|g|1|NULL|\n");
}

// The one text behind an empty format.
TEST(HandlerLibrary, GetsTheTextThatABufferIsWrittenWith)
{
    auto env = kNotLegacy;
    env["COMMON_LOG_LEVEL"] = "Verbose";
    const Outcome outcome = well(quiet(with_library(RECORDING_HANDLER, env)),
                                 [] { LOG_BufferWrite(nullptr, "ignored"); });
    EXPECT_THAT(outcome.out, AllOf(StartsWith("handled 7||oxa_logger|LOG_BufferWrite|"),
                                   testing::EndsWith("||Deprecated\n")));
}

TEST(HandlerLibrary, SeesTheCallersErrnoAndCannotChangeIt)
{
    const Outcome outcome = well(quiet(with_library(RECORDING_HANDLER, kNotLegacy)), [] {
        const UncheckedWrite log_write = COMMON_Log_Write;
        for (int i = 0; i < 2; ++i) {  // the first one initialises
            errno = ENOENT;
            log_write(kInfo, 0, "Z", "f", "g", i, "%m");
            EXPECT_EQ(errno, ENOENT);
        }
    });
    EXPECT_EQ(outcome.out, "handled 5|Z|f|g|0|%m|No such file or directory\n"
                           "handled 5|Z|f|g|1|%m|No such file or directory\n");
}

TEST(HandlerLibrary, DoesNotGetWhatTheFacilitySaysItself)
{
    const Outcome outcome = well(with_library(RECORDING_HANDLER, kNotLegacy), [] {
        COMMON_Log_LevelSet(8);
        log_message(kInfo, "m");
    });
    EXPECT_THAT(row_texts(outcome.err), ElementsAre(kSetToLibrary));
    EXPECT_THAT(outcome.out, HasSubstr("handled 5|ZONE|file.c|function|7|"));
    EXPECT_THAT(outcome.out, Not(HasSubstr("No change")));
    EXPECT_THAT(outcome.log, ElementsAre(said(kWarn, "COMMON_Log_LevelSet",
                                              "No change due to invalid level: Invalid (8)")));
}

TEST(HandlerLibrary, IsSwitchedToAndFrom)
{
    const Outcome outcome = well(with_library(RECORDING_HANDLER), [] {
        const auto set = [](std::uint32_t value, std::uint32_t legacy) {
            EXPECT_EQ(COMMON_Log_LegacySet(value), 0);
            EXPECT_EQ(COMMON_Log_LegacyGet(), legacy) << value;
            log_message(kInfo, "set %u", value);
        };
        set(0, 0);
        set(1, 1);
        set(0, 0);
        set(0, 0);
        set(2, 1);  // any other value is the built-in one
        set(~0u, 1);
    });
    EXPECT_THAT(row_texts(outcome.err), ElementsAre(kSetToLibrary, kSetToLibrary, kSetToLibrary));
    std::size_t handled = 0;
    for (const auto& row : row_texts(outcome.out)) {
        handled += row.message == "handled 5|ZONE|file.c|function|7|set %u|set 0" ? 1 : 0;
    }
    EXPECT_EQ(handled, 3u);
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "set 1"), said(kInfo, "set 2"),
                                         said(kInfo, "set 4294967295")));
}

TEST(HandlerLibrary, LoggingFromItsConstructorGoesToTheBuiltInHandler)
{
    for (const bool debug : {true, false}) {
        FreshSetup setup = with_library(LOGGING_CONSTRUCTOR, kNotLegacy);
        setup.env["COMMON_LOG_FORMAT"] = "Legacy";  // which counts only later
        const Outcome outcome = well(debug ? setup : quiet(setup), [] {
            EXPECT_EQ(COMMON_Log_Acceptable(kDebug), 1u) << "as the constructor set it";
            EXPECT_EQ(COMMON_Log_Acceptable(kVerbose), 0u);
            COMMON_Log_Write(kInfo, kZoneNumber, "Z", "f", "g", 1, "to the library");
        });
        EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, "LIBRARY", "liboxa.c", "constructor",
                                                  "from the constructor")));
        EXPECT_THAT(outcome.out, HasSubstr("to the library"));
        EXPECT_EQ(outcome.err.find("a row") != std::string::npos, debug);
    }
}

TEST(HandlerLibrary, IsNotLoadedWhereThereIsNoneAndNobodyIsTold)
{
    const auto loads = [](const FreshSetup& setup, int expected) {
        well(setup, [expected] {
            log_message(kInfo, "m");
            EXPECT_EQ(fault::calls(Call::dlopen), expected);
        });
    };
    loads({}, 0);
    loads({.env = kDebugOn}, 1);
    loads(quiet(with_library(RECORDING_HANDLER)), 1);
}

TEST(HandlerLibrary, ThatIsMissingDoesNotMakeTheFirstCallWaitForAPlugIn)
{
    const Outcome outcome = well([] {
        Event inside;
        Event go_on;
        fault::on_call(Call::pthread_once, 2, [&] {  // inside, before anything is loaded
            inside.set();
            EXPECT_TRUE(go_on.wait());
        });
        std::thread first([] { log_message(kInfo, "first"); });
        EXPECT_TRUE(inside.wait());
        std::atomic<int> loader{0};
        std::atomic<bool> loaded{false};
        std::thread loading([&] {
            loader = gettid();
            void* const plug_in = dlopen(LOGGING_CONSTRUCTOR, RTLD_NOW);
            EXPECT_NE(plug_in, nullptr);
            loaded = true;
            dlclose(plug_in);
        });
        EXPECT_TRUE(wait_until([&] { return is_blocked(loader) || loaded; }));
        go_on.set();
        first.join();
        loading.join();
    });
    EXPECT_THAT(outcome.log,
                testing::UnorderedElementsAre(
                    said(kInfo, "first"),
                    said(kInfo, "LIBRARY", "liboxa.c", "constructor", "from the constructor")));
}

TEST(HandlerLibrary, GetsNoReportOfTheLibraryThatIsNotAcceptable)
{
    const Outcome outcome = well(quiet(with_library(RECORDING_HANDLER, kNotLegacy)), [] {
        char byte = 0;
        MEM_Set(&byte, 0, 0);
        COMMON_Log_LevelSet(kError);
        MEM_Set(&byte, 0, 0);
        COMMON_Log_LevelSet(kWarn);
        COMMON_Log_EnableSet(0);
        MEM_Set(&byte, 0, 0);
    });
    EXPECT_THAT(outcome.out,
                testing::MatchesRegex("handled 3\\|COMMON\\|mem_malloc\\|MEM_Set\\|[0-9]+\\|"
                                      "length is zero\\|length is zero\n"));
}

/// The last line of a text: behind the debug rows, if there are any.
std::string last_line(const std::string& text)
{
    const std::size_t before = text.rfind('\n', text.size() - 2);
    return before == std::string::npos ? text : text.substr(before + 1);
}

class HandlerLock : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Debug, HandlerLock, testing::Bool(), testing::PrintToStringParamName());

TEST_P(HandlerLock, ThatCannotBeTakenStopsTheProcess)
{
    const FreshSetup setup = GetParam() ? FreshSetup{.env = kDebugOn} : FreshSetup{};
    const Outcome outcome = run_fresh(setup, [] {
        COMMON_Log_LevelGet();
        fault::fail(Call::pthread_mutex_lock, 1, EINVAL);
        COMMON_Log_LegacySet(1);
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(last_line(outcome.err), assertion_text("common_log", "legacySet", "0 == retval"));
    EXPECT_THAT(row_texts(outcome.err),
                Contains(log_row("stderr", "legacySet",
                                 "Failed to lock with retval: Invalid argument (22)"))
                    .Times(GetParam()));
}

TEST_P(HandlerLock, ThatCannotBeReleasedStopsTheProcess)
{
    const FreshSetup setup = GetParam() ? FreshSetup{.env = kDebugOn} : FreshSetup{};
    const Outcome outcome = run_fresh(setup, [] {
        COMMON_Log_LevelGet();
        fault::fail(Call::pthread_mutex_unlock, 1, EPERM);
        COMMON_Log_LegacySet(1);
    });
    EXPECT_THAT(outcome, killed_by(SIGABRT));
    EXPECT_THAT(last_line(outcome.err), assertion_text("common_log", "legacySet", "0 == retval"));
    EXPECT_THAT(row_texts(outcome.err),
                Contains(log_row("stderr", "legacySet",
                                 "Failed to unlock with retval: Operation not permitted (1)"))
                    .Times(GetParam()));
}

}  // namespace
