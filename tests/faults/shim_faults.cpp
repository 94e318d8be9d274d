// Scenarios of the fault sweep: what differs between systems, and command lines.
#include <cerrno>
#include <ctime>
#include <sys/wait.h>
#include <unistd.h>

#include "scenario.h"

using namespace faults;

namespace {

/// A wait that fails is not told: nobody asks how the program ended.
SCENARIO(OXA_posix_spawnp, gives("0"), on(Call::posix_spawnp).gives("-1"),
         on(Call::waitpid).with({EINTR, ECHILD}))
{
    errno = EDOM;
    CALL(OXA_posix_spawnp, 0, "/bin/true", "true", nullptr);
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(OXA_posix_spawnp(0, "/bin/true", "true", nullptr), 0);
}

SCENARIO(OXA_symlink, gives("0"), on(Call::symlink).gives("-1"))
{
    unlink("/tmp/link");
    errno = 0;
    CALL(OXA_symlink, "/tmp/link", "target");
    EXPECT_EQ(errno, harness::fault::last_error());
    unlink("/tmp/link");
}

SCENARIO(OXA_unlink, gives("0"), on(Call::unlink).gives("-1"))
{
    unlink("/tmp/link");
    EXPECT_EQ(OXA_symlink("/tmp/link", "target"), 0);
    errno = 0;
    CALL(OXA_unlink, "/tmp/link");
    EXPECT_EQ(errno, harness::fault::last_error());
    unlink("/tmp/link");
}

SCENARIO(ShimsAreNoMoreThanNumbers)
{
    EXPECT_EQ(CALL(OXA_ENDIAN_LE32, 1), 1U);
    EXPECT_EQ(CALL(OXA_ENDIAN_LE16, 1), 1U);
    EXPECT_EQ(CALL(OXA_ENDIAN_BE32, 1), 0x0100'0000U);
    EXPECT_EQ(CALL(OXA_ENDIAN_BE16, 1), 0x0100U);
    std::uint32_t word = 1;
    CALL(OXA_ENDIAN_SWAP32, &word);
    EXPECT_EQ(word, 0x0100'0000U);
    std::uint16_t half = 1;
    CALL(OXA_ENDIAN_SWAP16, &half);
    EXPECT_EQ(half, 0x0100U);
    timespec time{};
    CALL(OXA_nsec2timespec, &time, 1'000'000'002);
    EXPECT_EQ(CALL(OXA_timespec2nsec, &time), 1'000'000'002);
    EXPECT_EQ(CALL(OXA_procmgr_daemon, 0), 1);
    EXPECT_EQ(CALL(OXA_mmap_device_io, std::size_t{1}), 0U);
}

SCENARIO(CommandLineIsParsed, Flag::Talks)
{
    char program[] = "program";
    char short_option[] = "-a";
    char long_option[] = "--all";
    char unknown[] = "-x";
    char* words[] = {program, short_option, long_option, long_option, unknown, nullptr};
    const option options[] = {{"all", no_argument, nullptr, 'a'}, {nullptr, 0, nullptr, 0}};
    optind = 1;
    EXPECT_EQ(CALL(OXA_getopt, 5, words, "a"), 'a');
    EXPECT_EQ(CALL(OXA_getopt_long, 5, words, "a", options, nullptr), 'a');
    EXPECT_EQ(CALL(OXA_getopt_long_only, 5, words, "a", options, nullptr), 'a');
    EXPECT_EQ(OXA_getopt(5, words, "a"), '?') << "which is told";
}

}  // namespace
