// How the lock of a sync object is looked at before it is waited for.
#include "common_sync.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/mount.h>

#include <gmock/gmock.h>

#include "fault.h"
#include "faulty_sync.h"
#include "fresh_process.h"

using namespace harness;
using fault::Call;

namespace {

/// Sets the processors of the machine, as the C library counts them.
void set_processors(const char* processors)
{
    std::ofstream("/sys/devices/system/cpu/online") << processors << '\n';
}

/// Runs a body on a machine with some processors.
void with_processors(const char* processors, const Body& body)
{
    const auto prepare = [=] {
        ASSERT_EQ(mount("tmpfs", "/sys", "tmpfs", MS_NOSUID, nullptr), 0) << std::strerror(errno);
        std::filesystem::create_directories("/sys/devices/system/cpu");
        set_processors(processors);
    };
    run_silently({.prepare = prepare}, body);
}

std::chrono::nanoseconds now()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

/// Locks an object that is taken until it is waited for: how often it was looked at.
int looks_of_a_lock(Sync& sync)
{
    const int before = fault::calls(Call::sem_getvalue);
    int looks = 0;
    sync.take_away();
    fault::on_call(Call::sem_wait, 1, [&] {
        looks = fault::calls(Call::sem_getvalue) - before;
        sync.give_back();
    });
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
    return looks;
}

TEST(CommonSyncLook, LockThatIsTakenIsLookedAtForSomeTimeAndThenWaitedFor)
{
    with_processors("0-1", [] {
        Sync sync;
        looks_of_a_lock(sync);  // counts the processors, which is not to be timed
        sync.take_away();
        fault::reset();
        int looks = 0;
        const auto start = now();
        std::chrono::nanoseconds waits{};
        fault::on_call(Call::sem_wait, 1, [&] {
            waits = now();
            looks = fault::calls(Call::sem_getvalue);
            sync.give_back();
        });
        EXPECT_EQ(COMMON_sync_lock(&sync), 0);
        EXPECT_GT(looks, 1);
        EXPECT_LE(looks, 100) << "whatever the length of a pause";
        EXPECT_GE((waits - start).count(), 20'000);
        EXPECT_TRUE(sync.is_locked());
    });
}

TEST(CommonSyncLook, LockThatIsGivenBackDuringTheLookIsNotWaitedFor)
{
    with_processors("0-1", [] {
        Sync sync;
        sync.take_away();
        fault::on_call(Call::sem_getvalue, 2, [&] { sync.give_back(); });
        EXPECT_EQ(COMMON_sync_lock(&sync), 0);
        EXPECT_EQ(fault::calls(Call::sem_wait), 0);
        EXPECT_TRUE(sync.is_locked());
    });
}

TEST(CommonSyncLook, LockThatIsSeenFreeAndLostIsLookedAtOn)
{
    with_processors("0-1", [] {
        Sync sync;
        fault::on_call(kTry, 1, [&] {
            sync.take_away();
            fault::on_call(Call::sem_getvalue, 1, [&] { sync.give_back(); });
        });
        EXPECT_EQ(COMMON_sync_lock(&sync), 0);
        EXPECT_EQ(fault::calls(kTry), 2);
        EXPECT_EQ(fault::calls(Call::sem_wait), 0);
        EXPECT_TRUE(sync.is_locked());
    });
}

// The thread that holds the lock does not run while this one looks.
TEST(CommonSyncLook, LockIsWaitedForAtOnceWhereThereIsOneProcessor)
{
    with_processors("0", [] {
        Sync sync;
        for (int round = 0; round < 300; ++round) {
            sync.take_away();
            fault::reset();
            fault::on_call(Call::sem_wait, 1, [&] { sync.give_back(); });
            EXPECT_EQ(COMMON_sync_lock(&sync), 0);
            EXPECT_EQ(fault::calls(Call::sem_getvalue), 1);
            EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
        }
    });
}

TEST(CommonSyncLook, ProcessorsThatCannotBeCountedAreSeveral)
{
    with_processors("0", [] {
        Sync sync;
        fault::fail(Call::sysconf);
        EXPECT_GT(looks_of_a_lock(sync), 1);
    });
}

// Where they are switched on late, to start faster.
TEST(CommonSyncLook, ProcessorsThatComeLaterAreCounted)
{
    with_processors("0", [] {
        Sync sync;
        EXPECT_EQ(looks_of_a_lock(sync), 1);
        set_processors("0-1");
        int locks = 1;
        while (looks_of_a_lock(sync) == 1 && locks < 1'000) {
            ++locks;
        }
        EXPECT_EQ(locks, 101) << "and not each time, as that takes longer than a look";
    });
}

// Counting reads a file.
TEST(CommonSyncLook, SeveralProcessorsAreCountedOnce)
{
    with_processors("0-1", [] {
        Sync sync;
        EXPECT_GT(looks_of_a_lock(sync), 1);
        EXPECT_GT(looks_of_a_lock(sync), 1);
        EXPECT_EQ(fault::calls(Call::sysconf), 1);
    });
}

// A clock that fails ends the look.
TEST(CommonSyncLook, LookWithoutAClockIsShort)
{
    with_processors("0-1", [] {
        Sync sync;
        sync.take_away();
        fault::fail_always(Call::clock_gettime);
        fault::on_call(Call::sem_wait, 1, [&] { sync.give_back(); });
        EXPECT_EQ(COMMON_sync_lock(&sync), 0);
        EXPECT_LE(fault::calls(Call::sem_getvalue), 2);
    });
}

// What the caller is about to report is not lost by locking before that.
TEST(CommonSyncLook, LockThatIsHadKeepsErrno)
{
    with_processors("0-1", [] {
        Sync sync;
        errno = EXDEV;
        fault::on_call(kTry, 1, [&] {
            sync.take_away();
            fault::on_call(Call::sem_wait, 1, [&] { sync.give_back(); });
        });
        EXPECT_EQ(COMMON_sync_lock(&sync), 0);
        EXPECT_EQ(errno, EXDEV) << "lost and waited for";
        EXPECT_EQ(COMMON_sync_unlock(&sync), 0);
        fault::on_call(kTry, 1, [&] {
            sync.take_away();
            fault::on_call(Call::sem_getvalue, 1, [&] { sync.give_back(); });
        });
        EXPECT_EQ(COMMON_sync_lock(&sync), 0);
        EXPECT_EQ(errno, EXDEV) << "lost and had at a look";
        EXPECT_EQ(COMMON_sync_signal(&sync), 0);
        fault::on_call(kTry, 1, [&] { sync.take_away(); });
        fault::on_call(Call::sem_wait, 1, [&] { sync.give_back(); });
        EXPECT_EQ(COMMON_sync_wait(&sync), 0);
        EXPECT_EQ(errno, EXDEV) << "locked again";
        EXPECT_EQ(sync.pending(), 0) << "with the only signal";
    });
}

FRESH_TEST(CommonSyncLook, LockThatCannotBeLookedAtIsWaitedForAtOnce)
{
    Sync sync;
    fault::fail_always(Call::sem_getvalue, EINVAL);
    EXPECT_EQ(COMMON_sync_lock(&sync), 0);
    EXPECT_EQ(fault::calls(Call::sem_getvalue), 1);
    EXPECT_EQ(fault::calls(Call::sem_wait), 1);
}

}  // namespace
