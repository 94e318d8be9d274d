// What OXA_posix_spawnp() asks of the C library, which it does not get here.
#include "oxa_shims.h"

#include <cerrno>
#include <spawn.h>
#include <string>
#include <sys/types.h>
#include <vector>

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct Started {
    std::string file;
    std::vector<std::string> arguments;
    bool has_actions;
    bool has_attributes;
    bool has_environment;
};

struct Waited {
    pid_t child;
    bool asks_status;
    int options;

    bool operator==(const Waited&) const = default;
};

std::vector<Started> starts;
std::vector<Waited> waits;
pid_t next_child;
bool takes_option;

}  // namespace

extern "C" {

int spawn_stand_in(pid_t* child, const char* file, const posix_spawn_file_actions_t* actions,
                   const posix_spawnattr_t* attributes, char* const* arguments,
                   char* const* environment) __asm__("__wrap_posix_spawnp");
pid_t wait_stand_in(pid_t child, const int* status, int options) __asm__("__wrap_waitpid");

int spawn_stand_in(pid_t* child, const char* file, const posix_spawn_file_actions_t* actions,
                   const posix_spawnattr_t* attributes, char* const* arguments,
                   char* const* environment)
{
    Started started{file, {}, actions != nullptr, attributes != nullptr, environment != nullptr};
    for (; *arguments != nullptr; ++arguments) {
        started.arguments.emplace_back(*arguments);
    }
    starts.push_back(started);
    *child = next_child;
    return 0;
}

pid_t wait_stand_in(pid_t child, const int* status, int options)
{
    waits.push_back({child, status != nullptr, options});
    if (options != 0 && !takes_option) {
        errno = EINVAL;
        return -1;
    }
    return child;
}
}

namespace {

class OxaSpawnCalls : public testing::Test {
protected:
    OxaSpawnCalls()
    {
        starts.clear();
        waits.clear();
        next_child = 4711;
        takes_option = false;
    }
};

TEST_F(OxaSpawnCalls, NothingButNameAndArgumentsIsGiven)
{
    EXPECT_EQ(OXA_posix_spawnp(0, "program", "zero", "one", nullptr), 0);
    ASSERT_EQ(starts.size(), 1U);
    EXPECT_EQ(starts[0].file, "program");
    EXPECT_THAT(starts[0].arguments, ElementsAre("zero", "one"));
    EXPECT_FALSE(starts[0].has_actions);
    EXPECT_FALSE(starts[0].has_attributes);
    EXPECT_FALSE(starts[0].has_environment);
}

TEST_F(OxaSpawnCalls, WaitsWithTheOptionAndWhereThatIsRefusedWithout)
{
    EXPECT_EQ(OXA_posix_spawnp(0, "program", "zero", nullptr), 0);
    EXPECT_THAT(waits, ElementsAre(Waited{4711, false, 4}, Waited{4711, false, 0}));
}

TEST_F(OxaSpawnCalls, WaitsOnceWhereTheOptionIsTaken)
{
    takes_option = true;
    EXPECT_EQ(OXA_posix_spawnp(0, "program", "zero", nullptr), 0);
    EXPECT_THAT(waits, ElementsAre(Waited{4711, false, 4}));
}

TEST_F(OxaSpawnCalls, AChildWithoutAnIdIsAFailure)
{
    next_child = 0;
    EXPECT_EQ(OXA_posix_spawnp(0, "program", "zero", nullptr), -1);
    EXPECT_EQ(starts.size(), 1U);
    EXPECT_THAT(waits, IsEmpty());
}

TEST_F(OxaSpawnCalls, NobodyWaitsInAnyOtherMode)
{
    EXPECT_EQ(OXA_posix_spawnp(1, "program", "zero", nullptr), -1);
    EXPECT_EQ(starts.size(), 1U);
    EXPECT_THAT(waits, IsEmpty());
}

}  // namespace
