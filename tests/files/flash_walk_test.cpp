// The deep check: what it takes for corruption, in which order it looks, and what it costs.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <linux/capability.h>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "common_log.h"
#include "fault.h"
#include "flash_safety.h"
#include "flash_support.h"

using namespace harness;
namespace fs = std::filesystem;
using fault::Call;
using testing::ElementsAreArray;

namespace {

constexpr std::uint32_t kConfig = 2;

/// Checks a partition deep. @return whether it is corrupt.
bool found_corrupt(std::uint32_t index = kConfig)
{
    std::uint32_t corrupt = 7;
    EXPECT_EQ(FLASHSAFE_CheckPartition(index, 1, 0, &corrupt), 1U);
    EXPECT_LE(corrupt, 1U);
    return corrupt == 1;
}

/// The records of a check, besides those of the parameters.
Reports reports_of(const std::function<void()>& body,
                   std::chrono::milliseconds time_limit = kTimeLimit)
{
    const Outcome outcome = with_parameters(body, time_limit);
    Reports found;
    for (const Report& report : flash_reports(outcome)) {
        if (report.function != "flashsafe_GetNorParams") {
            found.push_back(report);
        }
    }
    return found;
}

Reports sound(const std::string& mount_point = "/config")
{
    return {
        said(COMMON_LogLevelInfo, "FLASHSAFE_CheckPartition", mount_point + " partition is OK")};
}

Reports corrupt_because(const std::string& message, const std::string& mount_point = "/config")
{
    return {said(COMMON_LogLevelWarn, "flashsafe_DoRecursiveCheck", message),
            said(COMMON_LogLevelWarn, "FLASHSAFE_CheckPartition",
                 mount_point + " partition is corrupt"),
            said(COMMON_LogLevelWarn, "FLASHSAFE_CheckPartition",
                 "skipping recovery of flash partition " + mount_point)};
}

Reports corrupt_at(const std::string& path, const std::string& mount_point = "/config")
{
    return corrupt_because("Detected corruption in file/dir: " + path, mount_point);
}

Reports too_deep()
{
    return corrupt_because("Too many directory levels (99), assuming corruption");
}

void expect_sound(const std::function<void()>& prepare)
{
    EXPECT_THAT(reports_of([&] {
                    prepare();
                    EXPECT_FALSE(found_corrupt());
                }),
                ElementsAreArray(sound()));
}

void expect_corrupt(const Reports& expected, const std::function<void()>& prepare)
{
    EXPECT_THAT(reports_of([&] {
                    prepare();
                    EXPECT_TRUE(found_corrupt());
                }),
                ElementsAreArray(expected));
}

void write(const std::string& path)
{
    std::ofstream(path) << "x";
}

/// Makes folders of one name inside each other, for paths of any length. @return the path.
std::string nest(const std::string& top, int levels, const std::string& name)
{
    int folder = open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    std::string path = top;
    for (int i = 0; i < levels; ++i) {
        EXPECT_EQ(mkdirat(folder, name.c_str(), 0755), 0);
        const int next = openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        EXPECT_GE(next, 0);
        close(folder);
        folder = next;
        path += "/" + name;
    }
    close(folder);
    return path;
}

// ------------------------------------------------------------------------------ what is corruption

TEST(FlashWalk, EveryKindOfEntryIsSound)
{
    expect_sound([] {});
    expect_sound([] {
        fs::create_directories("/config/folder/empty");
        write("/config/file");
        write("/config/folder/.hidden");
        write("/config/...");
        write("/config/..x");
        write("/config/.x");
        write("/config/a name\nwith % and \xff");
        EXPECT_EQ(mkfifo("/config/fifo", 0600), 0);
        fs::create_symlink("file", "/config/link");
        fs::create_symlink("folder", "/config/folder link");
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{AF_UNIX, "/config/socket"};
        EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        close(fd);
    });
}

TEST(FlashWalk, AFileThatNobodyMayReadIsSound)
{
    expect_sound([] {
        write("/config/file");
        fs::permissions("/config/file", fs::perms::none);
    });
}

TEST(FlashWalk, AnEntryThatCannotBeExaminedIsCorrupt)
{
    expect_corrupt(corrupt_at("/config/lost"), [] { corrupt("/config"); });
    expect_corrupt(corrupt_at("/config/a/b/lost"), [] { corrupt("/config/a/b"); });
    expect_corrupt(corrupt_at("/config/...x"),
                   [] { fs::create_symlink("nowhere", "/config/...x"); });
    // A link to itself is one too many.
    expect_corrupt(corrupt_at("/config/self"), [] { fs::create_symlink("self", "/config/self"); });
}

/// Takes the right to read everything from the calling thread.
void give_up_reading_everything()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    ASSERT_EQ(syscall(SYS_capget, &header, data), 0);
    const auto rights = (1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH);
    data[0].effective &= ~rights;
    ASSERT_EQ(syscall(SYS_capset, &header, data), 0);
}

TEST(FlashWalk, AFolderThatCannotBeOpenedIsCorrupt)
{
    expect_corrupt(corrupt_at("/config/a/locked"), [] {
        fs::create_directories("/config/a/locked");
        fs::permissions("/config/a/locked", fs::perms::none);
        give_up_reading_everything();
    });
    expect_corrupt(corrupt_at("/config"), [] { fs::remove("/config"); });
    // It opens, but nothing in it can be examined.
    expect_corrupt(corrupt_at("/config/a/file"), [] {
        fs::create_directories("/config/a");
        write("/config/a/file");
        fs::permissions("/config/a", fs::perms::owner_read);
        give_up_reading_everything();
    });
}

TEST(FlashWalk, AMountPointThatIsNoFolderIsCorrupt)
{
    expect_corrupt(corrupt_at("/config"), [] {
        fs::remove("/config");
        write("/config");
    });
}

TEST(FlashWalk, NinetyEightLevelsPass)
{
    expect_sound([] { write(nest("/config", 98, "d") + "/file"); });
    expect_corrupt(too_deep(), [] { nest("/config", 99, "d"); });
    expect_corrupt(too_deep(), [] { nest("/config", 300, "d"); });
}

TEST(FlashWalk, TheFirstFindingIsTheLast)
{
    const Reports found = reports_of([] {
        for (const char* name : {"a", "b", "c"}) {
            corrupt(std::string("/config/") + name);
        }
        EXPECT_TRUE(found_corrupt());
    });
    EXPECT_THAT(found, testing::AnyOf(corrupt_at("/config/a/lost"), corrupt_at("/config/b/lost"),
                                      corrupt_at("/config/c/lost")));
}

TEST(FlashWalk, EntriesComeInTheOrderOfTheFolder)
{
    const Outcome outcome = with_parameters([] {
        for (int i = 0; i < 50; ++i) {
            fs::create_symlink("nowhere", "/config/" + std::to_string(i * 7919 % 50));
        }
        std::puts(fs::directory_iterator("/config")->path().c_str());
        EXPECT_TRUE(found_corrupt());
    });
    ASSERT_EQ(flash_reports(outcome).size(), 5U);
    EXPECT_EQ("Detected corruption in file/dir: " + outcome.out,
              flash_reports(outcome)[2].message + "\n");
}

// -------------------------------------------------------------------------------- symbolic links

TEST(FlashWalk, ALinkLeadsOutOfTheMountPoint)
{
    expect_sound([] {
        fs::create_directories("/tmp/outside/folder");
        fs::create_symlink("/tmp/outside", "/config/out");
    });
    expect_corrupt(corrupt_at("/config/out/folder/lost"), [] {
        corrupt("/tmp/outside/folder");
        fs::create_symlink("/tmp/outside", "/config/out");
    });
}

TEST(FlashWalk, ACircleOfLinksEndsAtTheDepthRule)
{
    expect_corrupt(too_deep(), [] { fs::create_symlink(".", "/config/here"); });
    expect_corrupt(too_deep(), [] {
        fs::create_directories("/config/a/b");
        fs::create_symlink("../..", "/config/a/b/up");
    });
    // With two ways on at each level it ends no later: the first one decides.
    EXPECT_THAT(reports_of([] {
                    fs::create_symlink(".", "/config/one");
                    fs::create_symlink("/config", "/config/two");
                    EXPECT_TRUE(found_corrupt());
                    EXPECT_EQ(fault::calls(Call::opendir), 99);
                }),
                ElementsAreArray(too_deep()));
}

TEST(FlashWalk, ALineOfLinksIsNoCircle)
{
    // Longer than the kernel follows in one path.
    expect_sound([] {
        for (int i = 0; i < 60; ++i) {
            const std::string folder = "/tmp/chain" + std::to_string(i);
            fs::create_directory(folder);
            fs::create_symlink("/tmp/chain" + std::to_string(i + 1), folder + "/next");
        }
        fs::create_directory("/tmp/chain60");
        fs::create_symlink("/tmp/chain0", "/config/first");
    });
}

/// A tree in the place of "/", for the rest of the process. Its log must be open by then.
void take_as_root(const std::string& folder)
{
    COMMON_Log_Write(COMMON_LogLevelInfo, 4095, "", "common_log", "", 1, "opens the log");
    ASSERT_EQ(chdir(folder.c_str()), 0);
    ASSERT_EQ(chroot("."), 0);
}

TEST(FlashWalk, PathsInTheRootHaveTwoSlashes)
{
    EXPECT_THAT(reports_of([] {
                    fs::create_directories("/tmp/root/etc");
                    take_as_root("/tmp/root");
                    EXPECT_FALSE(found_corrupt(0));
                    corrupt("/etc");
                    EXPECT_TRUE(found_corrupt(0));
                    std::_Exit(EXIT_SUCCESS);  // nothing can be looked up in /proc from here
                }),
                ElementsAreArray(joined({sound("/"), corrupt_at("//etc/lost", "/")})));
}

constexpr std::size_t kMostCharacters = 4095;

/// Makes folders in /config until the path of the deepest one has a length. @return the path.
std::string folder_of_length(std::size_t length)
{
    std::string path = "/config";
    while (path.size() + 1 + 200 + 2 < length) {
        path = nest(path, 1, std::string(200, 'd'));
    }
    return nest(path, 1, std::string(length - path.size() - 1, 'e'));
}

/// Makes a file in a folder, where the path of the file may be too long for the kernel.
void write_in(const std::string& folder, const std::string& name)
{
    const int parent = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const int fd = openat(parent, name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_GE(fd, 0);
    close(fd);
    close(parent);
}

TEST(FlashWalk, APathThatJustFitsIsNotCut)
{
    expect_sound([] { write_in(folder_of_length(kMostCharacters - 11), "1234567890"); });
}

/// The path of an entry of the folder, cut where the buffer ends.
std::string cut_path(const std::string& folder, const std::string& name)
{
    return (folder + "/" + name).substr(0, kMostCharacters);
}

TEST(FlashWalk, APathThatIsTooLongIsExaminedAsCut)
{
    // There is nothing of the cut name.
    const Outcome outcome = with_parameters([] {
        const std::string folder = folder_of_length(kMostCharacters - 10);
        write_in(folder, "1234567890");
        std::fputs(cut_path(folder, "1234567890").c_str(), stdout);
        EXPECT_TRUE(found_corrupt());
    });
    EXPECT_EQ(outcome.out.size(), kMostCharacters);
    EXPECT_TRUE(outcome.out.ends_with("/123456789"));
    ASSERT_EQ(flash_reports(outcome).size(), 5U);
    // The record itself is cut as every long record.
    const std::string message = flash_reports(outcome)[2].message;
    EXPECT_THAT("Detected corruption in file/dir: " + outcome.out, testing::StartsWith(message));
    EXPECT_GT(message.size(), 500U);
}

TEST(FlashWalk, TheCutPathMayBeThatOfAnotherEntry)
{
    expect_sound([] {
        const std::string folder = folder_of_length(kMostCharacters - 10);
        write_in(folder, "1234567890");
        write_in(folder, "123456789");
    });
    // Of a folder: it is walked through twice.
    EXPECT_THAT(reports_of([] {
                    const std::string folder = folder_of_length(kMostCharacters - 10);
                    write_in(folder, "1234567890");
                    nest(folder, 1, "123456789");
                    EXPECT_FALSE(found_corrupt());
                    const int levels_above =
                        static_cast<int>(std::count(folder.begin(), folder.end(), '/'));
                    EXPECT_EQ(fault::calls(Call::opendir), levels_above + 2);
                }),
                ElementsAreArray(sound()));
}

TEST(FlashWalk, APathWithoutRoomForANameIsThatOfTheFolder)
{
    for (const std::size_t length : {kMostCharacters - 1, kMostCharacters}) {
        expect_sound([&] { folder_of_length(length); });
        expect_corrupt(too_deep(), [&] { write_in(folder_of_length(length), "file"); });
    }
}

TEST(FlashWalk, LevelsAreCountedBelowALongPathToo)
{
    // A tree that goes on below the longest path: it never comes to its end.
    expect_corrupt(too_deep(), [] { nest(folder_of_length(kMostCharacters), 3, "deeper"); });
}

// --------------------------------------------------------------------------------- what it costs

TEST(FlashWalk, ExaminesEachOf100000FilesOnce)
{
    // On a busy machine it takes its time to make them.
    constexpr std::chrono::seconds kTimeToMakeThem{100};
    EXPECT_THAT(reports_of(
                    [] {
                        for (int folder = 0; folder < 100; ++folder) {
                            const std::string path = "/config/" + std::to_string(folder);
                            fs::create_directory(path);
                            for (int file = 0; file < 1000; ++file) {
                                const std::string name = path + "/" + std::to_string(file);
                                EXPECT_EQ(mknod(name.c_str(), S_IFREG | 0600, 0), 0);
                            }
                        }
                        EXPECT_FALSE(found_corrupt());
                        EXPECT_EQ(fault::calls(Call::fstatat), 100 * 1000 + 100);
                        EXPECT_EQ(fault::calls(Call::opendir), 101);
                        EXPECT_EQ(fault::calls(Call::openat), 0);
                    },
                    kTimeToMakeThem),
                ElementsAreArray(sound()));
}

/// Lets the process have so many descriptors more than it has.
void allow_descriptors(int more)
{
    std::vector<int> copies;
    for (int i = 0; i < more; ++i) {
        copies.push_back(dup(STDIN_FILENO));
    }
    const auto limit = static_cast<rlim_t>(*std::max_element(copies.begin(), copies.end())) + 1;
    for (const int copy : copies) {
        close(copy);
    }
    rlimit limits{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limits), 0);
    limits.rlim_cur = limit;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limits), 0);
}

TEST(FlashWalk, HasOneFolderOpenForEachLevel)
{
    EXPECT_THAT(reports_of([] {
                    const std::string deepest = nest("/config", 98, "d");
                    EXPECT_FALSE(found_corrupt());  // opens the log, too
                    allow_descriptors(99);
                    EXPECT_FALSE(found_corrupt());
                    allow_descriptors(98);
                    EXPECT_TRUE(found_corrupt());
                }),
                ElementsAreArray(joined({sound(), sound(), corrupt_at([] {
                                             std::string path = "/config";
                                             for (int i = 0; i < 98; ++i) {
                                                 path += "/d";
                                             }
                                             return path;
                                         }())})));
}

void* check_in_thread(void* /*unused*/)
{
    EXPECT_FALSE(found_corrupt());
    pthread_testcancel();
    return nullptr;
}

TEST(FlashWalk, NeedsLittleStack)
{
    EXPECT_THAT(reports_of([] {
                    nest("/config", 98, "d");
                    pthread_attr_t attributes;
                    pthread_attr_init(&attributes);
                    // A path of its own for each level would not fit.
                    EXPECT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{192} * 1024), 0);
                    pthread_t thread;
                    EXPECT_EQ(pthread_create(&thread, &attributes, check_in_thread, nullptr), 0);
                    EXPECT_EQ(pthread_join(thread, nullptr), 0);
                    pthread_attr_destroy(&attributes);
                }),
                ElementsAreArray(sound()));
}

TEST(FlashWalk, CancellationLeavesNothingOpen)
{
    with_parameters([] {
        fs::create_directories("/config/a/b");
        fault::on_call(Call::fstatat, 1, [] { pthread_cancel(pthread_self()); });
        fault::fail(Call::opendir, 2, ELOOP);  // openat() then, where threads can be cancelled
        pthread_t thread;
        EXPECT_EQ(pthread_create(&thread, nullptr, check_in_thread, nullptr), 0);
        void* result = nullptr;
        EXPECT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        EXPECT_EQ(fault::calls(Call::openat), 1);
        EXPECT_EQ(fault::calls(Call::fstatat), 2) << "the walk came to its end first";
    });
}

// ------------------------------------------------------------------------------------- failures

/// A folder in the mount point, with one file.
void make_small_tree()
{
    fs::create_directory("/config/a");
    write("/config/a/file");
}

TEST(FlashWalk, AFolderThatDoesNotOpenIsCorruptWhateverTheReason)
{
    for (const int error : {EACCES, EIO, EMFILE, ENOMEM}) {
        expect_corrupt(corrupt_at("/config"), [&] {
            make_small_tree();
            fault::fail(Call::opendir, 1, error);
        });
        expect_corrupt(corrupt_at("/config/a"), [&] {
            make_small_tree();
            fault::fail(Call::opendir, 2, error);
        });
    }
}

// A path over too many links is opened by its last name; that may fail as well.
TEST(FlashWalk, AFolderBehindManyLinksIsOpenedByItsName)
{
    with_parameters([] {
        make_small_tree();
        fault::fail_always(Call::opendir, ELOOP);
        fault::on_call(Call::openat, 1, [] { close(STDIN_FILENO); });  // whose number it gets
        EXPECT_FALSE(found_corrupt());
        const int reopened = open("/dev/null", O_RDONLY);
        EXPECT_EQ(reopened, STDIN_FILENO);
    });
    for (const Call call : {Call::openat, Call::fdopendir}) {
        for (const int error : {EACCES, ELOOP, EMFILE, ENOMEM}) {
            expect_corrupt(corrupt_at("/config/a"), [&] {
                make_small_tree();
                fault::fail(Call::opendir, 2, ELOOP);
                fault::fail(call, 1, error);
            });
        }
    }
}

/// The descriptors that programs get that are run now.
std::vector<int> inherited()
{
    std::vector<int> found;
    for (int fd = 0; fd < 100; ++fd) {
        if (const int flags = fcntl(fd, F_GETFD); flags >= 0 && (flags & FD_CLOEXEC) == 0) {
            found.push_back(fd);
        }
    }
    return found;
}

TEST(FlashWalk, ProgramsThatAreRunMeanwhileGetNoFolder)
{
    for (const int error : {0, ELOOP}) {
        expect_sound([=] {
            make_small_tree();
            if (error != 0) {
                fault::fail_always(Call::opendir, error);
            }
            fault::on_call(Call::readdir, 3,
                           [before = inherited()] { EXPECT_EQ(inherited(), before); });
        });
    }
}

TEST(FlashWalk, AnEntryThatIsNotKnownIsCorruptWhateverTheReason)
{
    for (const int error : {EACCES, EIO, ENOENT, ELOOP, EOVERFLOW}) {
        expect_corrupt(corrupt_at("/config/a"), [&] {
            make_small_tree();
            fault::fail(Call::fstatat, 1, error);
        });
        expect_corrupt(corrupt_at("/config/a/file"), [&] {
            make_small_tree();
            fault::fail(Call::fstatat, 2, error);
        });
    }
}

TEST(FlashWalk, WhatReaddirDoesNotGiveIsNotExamined)
{
    expect_sound([] {
        corrupt("/config");
        fault::fail(Call::readdir, 1, EIO);
    });
    // Nor is it the end of the walk: what comes behind a folder that gives nothing is examined.
    EXPECT_THAT(reports_of([] {
                    fs::create_directory("/config/a");
                    corrupt("/config");
                    fs::create_directory("/config/z");
                    fault::on_call(Call::opendir, 2, [] { fault::fail(Call::readdir, 1, EIO); });
                    EXPECT_TRUE(found_corrupt());
                    EXPECT_EQ(fault::fired(), 1);
                }),
                ElementsAreArray(corrupt_at("/config/lost")));
}

TEST(FlashWalk, TheLibraryAllocatesNothingForIt)
{
    expect_sound([] {
        nest("/config", 98, "d");
        COMMON_Log_Acceptable(COMMON_LogLevelInfo);
        fault::fail_always(Call::malloc);
        fault::fail_always(Call::realloc);
    });
}

}  // namespace
