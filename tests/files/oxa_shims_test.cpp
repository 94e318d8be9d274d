// Byte order, times, starting programs, links, and what is only stood for.
#include "oxa_shims.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fault.h"
#include "forked.h"
#include "fresh_process.h"
#include "wait_until.h"

namespace {

using namespace harness;
using fault::Call;

TEST(OxaEndian, LittleEndianIsThisMachinesOrder)
{
    EXPECT_EQ(OXA_ENDIAN_LE32(0x12345678), 0x12345678U);
    EXPECT_EQ(OXA_ENDIAN_LE32(UINT32_MAX), UINT32_MAX);
    EXPECT_EQ(OXA_ENDIAN_LE16(0x1234), 0x1234U);
}

TEST(OxaEndian, BigEndianIsReversed)
{
    EXPECT_EQ(OXA_ENDIAN_BE32(0x12345678), 0x78563412U);
    EXPECT_EQ(OXA_ENDIAN_BE32(0xFF), 0xFF000000U);
    EXPECT_EQ(OXA_ENDIAN_BE32(0), 0U);
    EXPECT_EQ(OXA_ENDIAN_BE16(0x1234), 0x3412U);
    EXPECT_EQ(OXA_ENDIAN_BE16(0xFF), 0xFF00U);
    EXPECT_EQ(OXA_ENDIAN_BE16(0xFF00), 0xFFU);
}

TEST(OxaEndian, SwapsInPlace)
{
    std::uint32_t wide[3] = {1, 0x12345678, 2};
    OXA_ENDIAN_SWAP32(&wide[1]);
    EXPECT_THAT(wide, testing::ElementsAre(1, 0x78563412, 2));
    std::uint16_t narrow[3] = {1, 0x1234, 2};
    OXA_ENDIAN_SWAP16(&narrow[1]);
    EXPECT_THAT(narrow, testing::ElementsAre(1, 0x3412, 2));
}

TEST(OxaEndian, NullIsIgnored)
{
    OXA_ENDIAN_SWAP32(nullptr);
    OXA_ENDIAN_SWAP16(nullptr);
}

struct Time {
    std::uint64_t nsec;
    std::int64_t seconds;
    long rest;
};

constexpr Time kTimes[] = {
    {0, 0, 0},
    {999'999'999, 0, 999'999'999},
    {1'000'000'000, 1, 0},
    {1'500'000'000, 1, 500'000'000},
    {4'294'967'296'000'000'001, 4'294'967'296, 1},
    {INT64_MAX, 9'223'372'036, 854'775'807},
    {UINT64_MAX, 18'446'744'073, 709'551'615},
};

TEST(OxaTime, NanosecondsAreSplitAndJoined)
{
    for (const Time& each : kTimes) {
        timespec ts{-1, -1};
        OXA_nsec2timespec(&ts, each.nsec);
        EXPECT_EQ(ts.tv_sec, each.seconds) << each.nsec;
        EXPECT_EQ(ts.tv_nsec, each.rest) << each.nsec;
        EXPECT_EQ(OXA_timespec2nsec(&ts), static_cast<std::int64_t>(each.nsec));
    }
}

TEST(OxaTime, SecondsAndNanosecondsHaveASign)
{
    const struct {
        timespec ts;
        std::int64_t nsec;
    } kCases[] = {
        {{-1, 0}, -1'000'000'000},
        {{-1, 999'999'999}, -1},
        {{-2, 500'000'000}, -1'500'000'000},
        {{0, -1}, -1},
        {{1, 1'000'000'000}, 2'000'000'000},
        {{-9'223'372'037, 145'224'192}, INT64_MIN},
        {{9'223'372'036, 854'775'808}, INT64_MIN},
    };
    for (const auto& each : kCases) {
        EXPECT_EQ(OXA_timespec2nsec(&each.ts), each.nsec) << each.ts.tv_sec;
    }
}

TEST(OxaTime, NullIsIgnored)
{
    OXA_nsec2timespec(nullptr, 1);
    EXPECT_EQ(OXA_timespec2nsec(nullptr), 0);
}

/// Tells what it was started with, with what the shell itself can do.
constexpr char kWitness[] = "#!/bin/sh\n"
                            "{ echo \"$0\"; for word; do echo \"$word\"; done; } > /tmp/seen\n";

/// A program that tells its environment.
constexpr char kEnvironmentWitness[] = "#!/bin/sh\nexec /usr/bin/env > /tmp/seen\n";

std::string seen()
{
    std::ifstream file("/tmp/seen");
    std::ostringstream all;
    all << file.rdbuf();
    return all.str();
}

TEST(OxaSpawn, StartsAProgramAndWaitsForItsEnd)
{
    run_silently({.programs = {{"/tmp/witness", kWitness}}}, [] {
        EXPECT_EQ(OXA_posix_spawnp(0, "/tmp/witness", "witness", "one", "two words", "", nullptr),
                  0);
        EXPECT_EQ(seen(), "/tmp/witness\none\ntwo words\n\n");
        // The harness tells of a child that is left, running or not.
    });
}

// Until it has ended, not only until it is started: the program cannot go on before somebody else,
// a moment later, lets it.
TEST(OxaSpawn, ModeZeroBlocksAsLongAsTheProgramRuns)
{
    run_silently({.programs = {{"/tmp/waits", "#!/bin/sh\nread -r line < /tmp/pipe\n"}}}, [] {
        ASSERT_EQ(mkfifo("/tmp/pipe", 0600), 0);
        Event lets_it;
        const pid_t other = start_child([&lets_it] {
            std::ofstream pipe("/tmp/pipe");  // opened when the program has opened its end
            lets_it.set();
            pipe << "go\n";
        });
        EXPECT_EQ(OXA_posix_spawnp(0, "/tmp/waits", "waits", nullptr), 0);
        EXPECT_TRUE(lets_it.is_set());
        await_child(other);
    });
}

TEST(OxaSpawn, HowTheProgramEndsIsNotTold)
{
    run_silently({.programs = {{"/tmp/fails", "#!/bin/sh\nexit 3\n"},
                               {"/tmp/dies", "#!/bin/sh\nkill -9 $$\n"}}},
                 [] {
                     EXPECT_EQ(OXA_posix_spawnp(0, "/tmp/fails", "fails", nullptr), 0);
                     EXPECT_EQ(OXA_posix_spawnp(0, "/tmp/dies", "dies", nullptr), 0);
                 });
}

TEST(OxaSpawn, LooksInTheCallersPath)
{
    run_silently({.env = {{"PATH", "/tmp/none:/tmp/bin:/usr/bin:/bin"}},
                  .programs = {{"/tmp/bin/witness", kWitness}}},
                 [] {
                     EXPECT_EQ(OXA_posix_spawnp(0, "witness", "any name", "x", nullptr), 0);
                     EXPECT_EQ(seen(), "/tmp/bin/witness\nx\n");
                 });
}

TEST(OxaSpawn, TheProgramsEnvironmentIsEmpty)
{
    run_silently({.env = {{"HOME", "/tmp"}, {"WITNESS", "1"}},
                  .programs = {{"/tmp/witness", kEnvironmentWitness}}},
                 [] {
                     EXPECT_EQ(OXA_posix_spawnp(0, "/tmp/witness", "witness", nullptr), 0);
                     // The shell adds a few of its own.
                     EXPECT_THAT(seen(), testing::HasSubstr("PWD="));
                     EXPECT_THAT(seen(), testing::Not(testing::HasSubstr("WITNESS=")));
                     EXPECT_THAT(seen(), testing::Not(testing::HasSubstr("HOME=")));
                     EXPECT_THAT(seen(), testing::Not(testing::HasSubstr("TZ=")));
                 });
}

TEST(OxaSpawn, AnyOtherModeStartsTheProgramAndFails)
{
    for (const int mode : {1, 2, -1, INT32_MAX}) {
        run_silently({.programs = {{"/tmp/witness", kWitness}}}, [mode] {
            EXPECT_EQ(OXA_posix_spawnp(mode, "/tmp/witness", "witness", "x", nullptr), -1);
            EXPECT_EQ(fault::calls(Call::waitpid), 0);
            // It is the caller's child still, who has to wait for it.
            int status = -1;
            EXPECT_GT(wait(&status), 0);
            EXPECT_EQ(status, 0);
            EXPECT_EQ(seen(), "/tmp/witness\nx\n");
        });
    }
}

FRESH_TEST(OxaSpawn, NothingIsStartedWithoutAName)
{
    EXPECT_EQ(OXA_posix_spawnp(0, nullptr, nullptr), -1);
    EXPECT_EQ(OXA_posix_spawnp(0, nullptr, "name", nullptr), -1);
    EXPECT_EQ(fault::calls(Call::posix_spawnp), 0);
}

TEST(OxaSpawn, NoArgumentIsNeeded)
{
    run_silently({.programs = {{"/tmp/witness", kWitness}}}, [] {
        EXPECT_EQ(OXA_posix_spawnp(0, "/tmp/witness", nullptr), 0);
        EXPECT_EQ(seen(), "/tmp/witness\n");
    });
}

#define TEN "x", "x", "x", "x", "x", "x", "x", "x", "x", "x"

TEST(OxaSpawn, ThirtyOneTextsAreTheMost)
{
    run_silently({.programs = {{"/tmp/witness", kWitness}}}, [] {
        EXPECT_EQ(OXA_posix_spawnp(0, "/tmp/witness", TEN, TEN, TEN, "last", nullptr), 0);
        std::string expected = "/tmp/witness\n";
        for (int word = 1; word < 30; ++word) {
            expected += "x\n";
        }
        EXPECT_EQ(seen(), expected + "last\n");
        EXPECT_EQ(fault::calls(Call::posix_spawnp), 1);
        EXPECT_EQ(OXA_posix_spawnp(0, "/tmp/witness", TEN, TEN, TEN, "x", "x", nullptr), -1);
        EXPECT_EQ(OXA_posix_spawnp(0, "/tmp/witness", TEN, TEN, TEN, TEN, nullptr), -1);
        EXPECT_EQ(fault::calls(Call::posix_spawnp), 1);
    });
}

FRESH_TEST(OxaSpawn, WhatCannotBeStartedFails)
{
    errno = 4711;
    EXPECT_EQ(OXA_posix_spawnp(0, "/tmp/none", "none", nullptr), -1);
    EXPECT_EQ(errno, 4711);
    fault::fail(Call::posix_spawnp, 1, EAGAIN);
    EXPECT_EQ(OXA_posix_spawnp(0, "/bin/sh", "sh", "-c", ":", nullptr), -1);
    EXPECT_EQ(fault::fired(), 1);
    EXPECT_EQ(fault::calls(Call::waitpid), 0);
}

TEST(OxaSpawn, AnInterruptedWaitGoesOn)
{
    run_silently([] {
        errno = 4711;
        fault::fail(Call::waitpid, 1, EINTR);
        EXPECT_EQ(OXA_posix_spawnp(0, "/bin/sh", "sh", "-c", ":", nullptr), 0);
        // Then refused for its option, then without it.
        EXPECT_EQ(fault::calls(Call::waitpid), 3);
        EXPECT_EQ(errno, 4711);
    });
    run_silently([] {
        fault::fail(Call::waitpid, 2, EINTR);
        EXPECT_EQ(OXA_posix_spawnp(0, "/bin/sh", "sh", "-c", ":", nullptr), 0);
        EXPECT_EQ(fault::calls(Call::waitpid), 3);
    });
}

TEST(OxaSpawn, NobodyToWaitForIsNoFailure)
{
    run_silently([] {
        std::signal(SIGCHLD, SIG_IGN);
        errno = 4711;
        EXPECT_EQ(OXA_posix_spawnp(0, "/bin/sh", "sh", "-c", ":", nullptr), 0);
        EXPECT_EQ(errno, 4711);
    });
    for (const int error : {ECHILD, EINVAL}) {
        run_silently([error] {
            fault::fail_from(Call::waitpid, 2, error);
            EXPECT_EQ(OXA_posix_spawnp(0, "/bin/sh", "sh", "-c", ":", nullptr), 0);
            EXPECT_EQ(fault::calls(Call::waitpid), 2);
            EXPECT_EQ(wait(nullptr) > 0, error == EINVAL) << "somebody else has waited, or nobody";
        });
    }
}

FRESH_TEST(OxaLinks, SymlinksArgumentsAreReversed)
{
    EXPECT_EQ(OXA_symlink("/tmp/link", "target/that is not there"), 0);
    EXPECT_EQ(std::filesystem::read_symlink("/tmp/link"), "target/that is not there");
    errno = 0;
    EXPECT_EQ(OXA_symlink("/tmp/link", "other"), -1);
    EXPECT_EQ(errno, EEXIST);
    fault::fail(Call::symlink, 1, ENOSPC);
    EXPECT_EQ(OXA_symlink("/tmp/second", "other"), -1);
    EXPECT_EQ(errno, ENOSPC);
}

TEST(OxaLinks, UnlinkRemovesAName)
{
    run_silently({.files = {{"/tmp/file", "x"}}}, [] {
        EXPECT_EQ(OXA_unlink("/tmp/file"), 0);
        EXPECT_FALSE(std::filesystem::exists("/tmp/file"));
        errno = 0;
        EXPECT_EQ(OXA_unlink("/tmp/file"), -1);
        EXPECT_EQ(errno, ENOENT);
        fault::fail(Call::unlink, 1, EROFS);
        EXPECT_EQ(OXA_unlink("/tmp"), -1);
        EXPECT_EQ(errno, EROFS);
    });
}

FRESH_TEST(OxaStandIns, DoNothing)
{
    const pid_t self = getpid();
    EXPECT_EQ(OXA_procmgr_daemon(EXIT_SUCCESS, 0U), 1);
    EXPECT_EQ(OXA_procmgr_daemon(), 1);
    EXPECT_EQ(getpid(), self);
    EXPECT_EQ(OXA_mmap_device_io(std::size_t{4096}, std::uint64_t{0xFED00000}), 0U);
    EXPECT_EQ(OXA_mmap_device_io(), 0U);
}

}  // namespace
