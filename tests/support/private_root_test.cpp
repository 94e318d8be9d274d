// A private root is private, complete enough to work in, and open to users without any rights.
#include "private_root.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "sanitizer.h"

using namespace harness;
using testing::IsEmpty;

namespace {

constexpr uid_t kNobody = 65534;

std::vector<std::string> names_in(const std::string& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

ssize_t read_byte(const char* path)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    char byte = 0;
    const ssize_t length = read(fd, &byte, 1);
    close(fd);
    return length;
}

/// What every private root must be, whoever entered it.
void check_root()
{
    for (const char* folder : {"/config", "/config-mfg", "/log", "/oxa", "/dev/shm"}) {
        EXPECT_THAT(names_in(folder), IsEmpty()) << folder;
    }
    EXPECT_NE(access("/dev/log", F_OK), 0);

    EXPECT_EQ(read_byte("/dev/null"), 0);
    EXPECT_EQ(read_byte("/dev/zero"), 1);
    EXPECT_EQ(read_byte("/dev/urandom"), 1);
    std::ofstream null("/dev/null");
    null << "gone" << std::flush;
    EXPECT_TRUE(null.good());
    EXPECT_EQ(access("/dev/fd/0", F_OK), 0);

    EXPECT_EQ(std::system("echo text > /tmp/file && grep -q text /tmp/file"), 0);
    EXPECT_EQ(std::system("mkdir -p /config/a /oxa/b /dev/shm/c"), 0);
    EXPECT_EQ(access("/proc/self/status", R_OK), 0);
    EXPECT_EQ(access(HARNESS_TEST_BUILD_FOLDER, F_OK), 0);
}

TEST(PrivateRoot, HasWhatAProcessNeeds)
{
    well({.open_log_socket = false}, [] { check_root(); });
}

TEST(PrivateRoot, NothingIsSeenOutside)
{
    const std::string name = "private-root-" + std::to_string(getpid());
    well([&] {
        for (const std::string folder :
             {"/tmp/", "/config/", "/config-mfg/", "/log/", "/oxa/", "/dev/", "/"}) {
            std::ofstream(folder + name) << "x";
            EXPECT_EQ(access((folder + name).c_str(), F_OK), 0) << folder;
        }
    });
    for (const std::string folder :
         {"/tmp/", "/config/", "/config-mfg/", "/log/", "/oxa/", "/dev/", "/"}) {
        EXPECT_NE(access((folder + name).c_str(), F_OK), 0) << folder;
    }
}

TEST(PrivateRoot, NothingOfTheMachineIsSeenInTheFreshFolders)
{
    const std::string path = "/tmp/root-of-the-machine-" + std::to_string(getpid());
    std::ofstream(path) << "x";
    well([&] { EXPECT_NE(access(path.c_str(), F_OK), 0); });
    std::filesystem::remove(path);
}

FRESH_TEST(PrivateRoot, TwoRootsAreApart)
{
    std::ofstream("/tmp/outer") << "x";
    enter_private_root();
    EXPECT_NE(access("/tmp/outer", F_OK), 0);
}

FRESH_TEST(PrivateRoot, KeptFoldersStayReachable)
{
    std::filesystem::create_directories("/tmp/kept/inner");
    std::filesystem::create_directories("/tmp/lost");
    std::ofstream("/tmp/kept/inner/file") << "x";
    enter_private_root({"/tmp/kept/inner", "/tmp/kept", "/tmp/missing", "/tmp", "relative"});
    EXPECT_EQ(access("/tmp/kept/inner/file", F_OK), 0);
    EXPECT_NE(access("/tmp/lost", F_OK), 0);
    EXPECT_NE(access("/tmp/missing", F_OK), 0);
}

TEST(PrivateRoot, CurrentFolderIsKeptIfItExists)
{
    well([] {
        std::filesystem::current_path("/usr");
        enter_private_root();
        EXPECT_EQ(std::filesystem::current_path(), "/usr");
    });
    well([] {
        std::filesystem::create_directory("/tmp/gone");
        std::filesystem::current_path("/tmp/gone");
        enter_private_root();
        EXPECT_EQ(std::filesystem::current_path(), "/");
    });
}

FRESH_TEST(PrivateRoot, FileModeMaskIsKept)
{
    umask(027);
    enter_private_root();
    EXPECT_EQ(umask(0), 027u);
}

FRESH_TEST(PrivateRoot, KnowsWhatIsPrivate)
{
    EXPECT_TRUE(is_private("/config/a/b/c"));
    EXPECT_TRUE(is_private("/tmp"));
    EXPECT_TRUE(is_private("/new"));
    EXPECT_FALSE(is_private("/usr/lib"));
    EXPECT_FALSE(is_private("/usr/new/file"));
    EXPECT_FALSE(is_private("/etc/../usr/new"));
}

TEST(PrivateNetwork, IsNotTheMachines)
{
    const auto network = [] { return std::filesystem::read_symlink("/proc/self/ns/net"); };
    const auto machines = network();
    well([&] { EXPECT_EQ(network(), machines); });
    well(FreshSetup{.prepare = enter_private_network}, [&] { EXPECT_NE(network(), machines); });
}

// A user namespace takes no process with two threads, and one of them is ThreadSanitizer's.
#if !defined(HARNESS_THREAD_SANITIZER)

/// Becomes a user without any rights; one who has none already stays who they are.
void give_up_rights()
{
    if (geteuid() != 0) {
        return;
    }
    ASSERT_EQ(setgroups(0, nullptr), 0);
    ASSERT_EQ(setresgid(kNobody, kNobody, kNobody), 0);
    ASSERT_EQ(setresuid(kNobody, kNobody, kNobody), 0);
    // Changing the user took the process's own files in /proc away from it, as for a set-uid
    // program.
    ASSERT_EQ(prctl(PR_SET_DUMPABLE, 1), 0);
}

FRESH_TEST(PrivateRoot, IsOpenToUsersWithoutRights)
{
    give_up_rights();
    const uid_t user = geteuid();
    const gid_t group = getegid();
    ASSERT_NE(user, 0u);
    enter_private_root();
    EXPECT_EQ(geteuid(), user);
    EXPECT_EQ(getegid(), group);
    check_root();
}

FRESH_TEST(PrivateRoot, FailureTellsWhatTheMachineMustAllow)
{
    // A limit of 0 forbids both kinds of namespace to this process's user namespace only.
    give_up_rights();
    enter_private_root();
    std::ofstream("/proc/sys/user/max_mnt_namespaces") << "0";
    std::ofstream("/proc/sys/user/max_user_namespaces") << "0";
    try {
        enter_private_root();
        ADD_FAILURE() << "entered";
    } catch (const PrivateRootError& error) {
        EXPECT_THAT(error.what(), testing::HasSubstr("user.max_user_namespaces"));
    }
}

#endif

}  // namespace
