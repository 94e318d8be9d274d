// A race of forks: one thread forks while eight others use every family of the library, and so does
// each child in a build without sanitizers.
#include <chrono>
#include <csignal>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "client_descriptor.h"
#include "common_log.h"
#include "every_family.h"
#include "log_layout.h"
#include "log_reader.h"
#include "sanitizer.h"
#include "simulated_target.h"
#include "soak.h"
#include "wait_until.h"

using namespace harness;

namespace {

constexpr unsigned kThreads = 8;

/// The user that is the child.
constexpr unsigned kChild = kThreads;

/// Sanitizers' run-time libraries keep locks of their own over a fork, so that a child of several
/// threads may hang in any allocation: there it only ends.
#if defined(HARNESS_THREAD_SANITIZER) || defined(HARNESS_ADDRESS_SANITIZER)
constexpr bool kChildUsesLibrary = false;
#else
constexpr bool kChildUsesLibrary = true;
#endif

/// What the child says last.
constexpr char kLastWords[] = "the child has used everything";

/// Each child comes to its end, or is ended by this.
constexpr std::chrono::seconds kChildPatience{60};

void use_everything_in_child()
{
    const auto patience = std::chrono::ceil<std::chrono::seconds>(stretched(kChildPatience));
    alarm(static_cast<unsigned>(patience.count()));
    for (const FamilyUse& family : kEveryFamily) {
        if (family.in_child) {
            family.use(kChild);
        }
    }
    COMMON_Log_Write(COMMON_LogLevelCritical, 0, "CHILD", "fork_soak_test.cpp", __func__, 1, "%s",
                     kLastWords);
    _exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
}

void fork_once(std::uint64_t& children)
{
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (kChildUsesLibrary) {
            use_everything_in_child();
        }
        _exit(EXIT_SUCCESS);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS)
        << "status " << status << ", signal " << WTERMSIG(status);
    ++children;
}

/// Compares each record's form.
class Judge {
public:
    void take(const LogRecord& record)
    {
        const auto fields = parse_syslogngext(record.text);
        ASSERT_TRUE(fields.has_value()) << record;
        ASSERT_EQ(fields->level, "Critical") << record;
        children_ += fields->message == kLastWords ? 1 : 0;
    }

    std::uint64_t children() const { return children_; }

private:
    std::uint64_t children_ = 0;
};

FreshSetup setup_of_race()
{
    FreshSetup setup{.env = usual_target_environment(), .open_log_socket = false};
    setup.env["COMMON_LOG_LEVEL"] = "Critical";
    // For the error counter.
    setup.files["/dev/shmem/kept"] = "";
    return setup;
}

TEST(ForkSoak, OneThreadForksWhileEightUseEverything)
{
    run_race(setup_of_race(), [](std::chrono::milliseconds time) {
        Judge judge;
        LogReader reader([&](const LogRecord& record) { judge.take(record); });
        std::uint64_t children = 0;
        std::vector<std::function<void()>> steps{[&] { fork_once(children); }};
        for (unsigned user = 0; user < kThreads; ++user) {
            steps.emplace_back([user, random = std::mt19937(user)]() mutable {
                const FamilyUse& family = kEveryFamily[random() % kEveryFamily.size()];
                if (user == 0 || family.by_many) {
                    family.use(user);
                }
            });
        }
        race(time, steps);
        reader.stop();
        EXPECT_GT(children, 0U);
        EXPECT_EQ(judge.children(), kChildUsesLibrary ? children : 0);
        EXPECT_EQ(Allocate_Descriptor(), 1) << "descriptors are lost";
        Deallocate_Descriptor(1);
        closelog();
    });
}

}  // namespace
