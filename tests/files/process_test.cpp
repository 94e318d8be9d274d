// The short name of a process.
#include "common.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <unistd.h>

#include "fake_proc.h"
#include "fault.h"
#include "fresh_process.h"

using namespace harness;
using fault::Call;

namespace {

/// No process has this id.
constexpr std::uint32_t kNobody = 4'294'967'295;

/// With debug output on, so that whatever is told there is seen, too.
const FreshSetup kDebugOn{.env = {{"COMMON_DEBUG_ENABLE", "True"}}};

std::uint32_t own_id()
{
    return static_cast<std::uint32_t>(getpid());
}

TEST(Process, OwnNameIsThatOfTheKernel)
{
    run_silently(kDebugOn, [] {
        char name[64] = "";
        EXPECT_EQ(UTIL_GetProcessName(own_id(), name, sizeof name), 1U);
        EXPECT_EQ(name, kernel_name());
        set_kernel_name("fifteen-letters");
        EXPECT_EQ(UTIL_GetProcessName(own_id(), name, sizeof name), 1U);
        EXPECT_STREQ(name, "fifteen-letters");
    });
}

TEST(Process, NameFillsTheDestinationAsStrncpyDoes)
{
    run_silently(kDebugOn, [] {
        set_kernel_name("seven77");
        for (const std::uint32_t size : {0U, 1U, 6U, 7U, 8U, 9U, 32U}) {
            char expected[40];
            char name[40];
            std::memset(name, 0xEE, sizeof name);
            std::memset(expected, 0xEE, sizeof expected);
            const std::string padded = "seven77" + std::string(40, '\0');
            padded.copy(expected, size);
            EXPECT_EQ(UTIL_GetProcessName(own_id(), name, size), 1U);
            EXPECT_EQ(std::memcmp(name, expected, sizeof name), 0) << size;
        }
    });
}

TEST(Process, MissingProcessHasNoName)
{
    run_silently(kDebugOn, [] {
        char name[8] = "kept";
        EXPECT_EQ(UTIL_GetProcessName(kNobody, name, sizeof name), 0U);
        EXPECT_STREQ(name, "kept");
    });
}

TEST(Process, MissingFileSystemGivesNoName)
{
    run_silently(kDebugOn, [] {
        hide_proc();
        char name[8] = "kept";
        EXPECT_EQ(UTIL_GetProcessName(own_id(), name, sizeof name), 0U);
        EXPECT_STREQ(name, "kept");
        std::exit(0);
    });
}

TEST(Process, NullGetsNoName)
{
    run_silently(kDebugOn, [] {
        for (const std::uint32_t size : {0U, 1U, 64U}) {
            EXPECT_EQ(UTIL_GetProcessName(own_id(), nullptr, size), 0U);
        }
    });
}

struct StatusFile {
    const char* what;
    std::string content;
    std::uint32_t found;
    std::string name;
};

void PrintTo(const StatusFile& file, std::ostream* stream)
{
    *stream << file.what;
}

const StatusFile kStatusFiles[] = {
    {"Empty", "", 0, ""},
    {"NoNameLine", "State:\tR (running)\n", 0, ""},
    {"NameInALaterLine", "Umask:\t0022\nName:\tlater\n", 1, "later"},
    {"FirstNameLineCounts", "Name:\tfirst\nName:\tsecond\n", 1, "first"},
    {"CutAtABlank", "Name:\ttwo words\n", 1, "two"},
    {"SignsBelongToTheName", "Name:\t(!~?)/.a-~\n", 1, "(!~?)/.a-~"},
    {"AnyBlanksBetween", "Name: \t  apart\n", 1, "apart"},
    {"EveryBlank", " \t\n\v\f\rName:\r\f\v\t value\rmore\n", 1, "value"},
    {"OtherControlsBelongToTheName", "Name:\t\x08\x0E\n", 1, "\x08\x0E"},
    {"BlanksBefore", " \tName:\tindented\n", 1, "indented"},
    {"LineWithoutAValue", "Name:\t\nName:\tvalue\n", 1, "value"},
    {"OnlyALineWithoutAValue", "Name:\n", 0, ""},
    {"EmptyLine", "\nName:\tvalue\n", 1, "value"},
    {"KeyMustBeExact", "Names:\tnot\nName\tnot\nname:\tnot\nName:not\nName:\tthis\n", 1, "this"},
    {"NoNewlineAtTheEnd", "Name:\tlast", 1, "last"},
    {"LongestLine", "Name:\t" + std::string(248, 'n') + "\n", 1, std::string(248, 'n')},
    {"LineInPieces", "Name:\t" + std::string(300, 'n') + "\n", 1, std::string(248, 'n')},
    {"PieceOfALongLine", std::string(254, 'x') + "Name:\tpiece\nName:\tline\n", 1, "piece"},
};

class ProcessStatus : public testing::TestWithParam<StatusFile> {};

TEST_P(ProcessStatus, GivesTheName)
{
    run_silently(kDebugOn, [] {
        fake_status(GetParam().content);
        char name[300] = "";
        EXPECT_EQ(UTIL_GetProcessName(own_id(), name, sizeof name), GetParam().found);
        EXPECT_EQ(name, GetParam().name);
    });
}

INSTANTIATE_TEST_SUITE_P(Files, ProcessStatus, testing::ValuesIn(kStatusFiles),
                         [](const auto& test) { return std::string(test.param.what); });

TEST(Process, FileThatCannotBeOpenedOrReadHasNoName)
{
    for (const Call call : {Call::open, Call::read}) {
        run_silently(kDebugOn, [&] {
            char name[8] = "kept";
            fault::fail(call, 1, EACCES);
            EXPECT_EQ(UTIL_GetProcessName(own_id(), name, sizeof name), 0U);
            EXPECT_EQ(fault::fired(), 1);
            EXPECT_STREQ(name, "kept");
        });
    }
}

// It names the process that has run out of memory.
TEST(Process, NoMemoryIsNeeded)
{
    run_silently(kDebugOn, [] {
        char name[64] = "";
        fault::fail_always(Call::malloc);
        EXPECT_EQ(UTIL_GetProcessName(own_id(), name, sizeof name), 1U);
        EXPECT_EQ(name, kernel_name());
        EXPECT_EQ(fault::calls(Call::malloc), 0);
    });
}

}  // namespace
