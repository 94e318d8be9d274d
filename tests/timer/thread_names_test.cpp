// The names of the library's threads, and who does not get them: callers' threads, and children.
#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "common.h"
#include "common_log.h"
#include "common_process.h"
#include "common_thread.h"
#include "forked.h"
#include "fresh_process.h"
#include "watched.h"

using namespace harness;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// As long as a name can be, and two words.
constexpr char kProgram[] = "radio and tuner";
constexpr char kTimer[] = "common-timer";
constexpr char kWatchdog[] = "common-wdm";

std::string own_name()
{
    std::array<char, 16> name{};
    prctl(PR_GET_NAME, name.data());
    return name.data();
}

std::string process_name()
{
    std::ifstream file("/proc/self/comm");
    std::string name;
    std::getline(file, name);
    return name;
}

/// How many threads of the calling process have a name.
long threads_named(const std::string& name)
{
    long count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(task.path() / "comm");
        std::string found;
        count += std::getline(file, found) && found == name ? 1 : 0;
    }
    return count;
}

/// Runs a body in a process of which all threads have a name of their own.
Outcome as_program(const Body& body)
{
    return well({.prepare = [] { prctl(PR_SET_NAME, kProgram); }}, body);
}

/// Runs a function in a callback of a timer.
void in_callback(const std::function<void()>& function)
{
    struct Call {
        const std::function<void()>& function;
        Event done{};
    } call{function};
    TMR* const timer = TMR_New();
    const auto callback = [](void* argument) {
        auto* const self = static_cast<Call*>(argument);
        self->function();
        self->done.set();
    };
    EXPECT_EQ(TMR_Start(timer, callback, &call, 1), 1U);
    EXPECT_TRUE(call.done.wait());
    TMR_Delete(timer);
}

/// Runs a function in a handler of a watchdog.
void in_handler(const std::function<void()>& function)
{
    struct Call {
        const std::function<void()>& function;
        Event done{};
    } call{function};
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    const int threads = thread_count();
    auto* const subscriber = COMMON_wdm_Create_Subscriber(
        [](void* argument) -> void* {
            auto* const self = static_cast<Call*>(argument);
            self->function();
            self->done.set();
            return nullptr;
        },
        &call);
    COMMON_wdm_Subscribe(watchdog, subscriber, 0);
    EXPECT_TRUE(wait_for_deadline(*subscriber, [&] { return call.done.is_set(); }));
    EXPECT_TRUE(wait_until([&] { return thread_count() <= threads; }));
    COMMON_wdm_Destroy(watchdog);
    COMMON_wdm_Unsubscribe(subscriber);
}

void* run(void* function)
{
    (*static_cast<const std::function<void()>*>(function))();
    return nullptr;
}

/// Runs a function in a thread that the caller makes itself.
void in_new_thread(const std::function<void()>& function)
{
    pthread_t thread{};
    ASSERT_EQ(pthread_create(&thread, nullptr, run, const_cast<std::function<void()>*>(&function)),
              0);
    pthread_join(thread, nullptr);
}

TEST(ThreadNames, TimersThreadHasItsNameWhileItWaitsAndCallsBack)
{
    as_program([] {
        TMR* const timer = TMR_New();
        BlockingShot shot;
        EXPECT_EQ(TMR_Start(timer, BlockingShot::call, &shot, 1), 1U);
        ASSERT_TRUE(shot.called.wait());
        EXPECT_EQ(threads_named(kTimer), 1) << "it calls back";
        EXPECT_EQ(TMR_Start(timer, BlockingShot::call, &shot, kLong_ms), 1U);
        EXPECT_EQ(threads_named(kTimer), 2) << "one more waits";
        EXPECT_EQ(TMR_Stop(timer), TMR_ReturnSuccess);
        shot.go.set();
        ASSERT_TRUE(shot.left.wait());
        TMR_Delete(timer);
    });
}

TEST(ThreadNames, MonitorAndHandlersHaveTheWatchdogsName)
{
    as_program([] {
        std::string handler;
        long threads = 0;
        in_handler([&] {
            handler = own_name();
            threads = threads_named(kWatchdog);
        });
        EXPECT_EQ(handler, kWatchdog);
        EXPECT_EQ(threads, 2) << "the monitor and the handler";
    });
}

TEST(ThreadNames, CallersThreadsKeepTheirNames)
{
    as_program([] {
        in_callback([] {});
        in_handler([] {});
        EXPECT_EQ(own_name(), kProgram);
        in_new_thread([] { EXPECT_EQ(own_name(), kProgram); });
        COMMON_Thread thread{};
        std::string seen;
        std::function<void()> look = [&seen] { seen = own_name(); };
        EXPECT_EQ(COMMON_Thread_Initialize(&thread, run, &look), STATUS_SUCCESS);
        EXPECT_EQ(COMMON_Thread_SetName(&thread, "tuner"), STATUS_SUCCESS);
        EXPECT_EQ(COMMON_Thread_Start(&thread), STATUS_SUCCESS);
        EXPECT_EQ(COMMON_Thread_Join(&thread), STATUS_SUCCESS);
        EXPECT_TRUE(wait_until([&] { return COMMON_Thread_GetId(&thread) == 0; }));
        EXPECT_EQ(seen, kProgram);
    });
}

/// A child of the calling thread is the program by its name, also for the library.
void expect_child_is_the_program()
{
    in_child([] {
        EXPECT_EQ(process_name(), kProgram);
        COMMON_Process process{};
        EXPECT_EQ(COMMON_Process_GetById(static_cast<std::uint32_t>(getpid()), &process),
                  STATUS_SUCCESS);
        EXPECT_STREQ(process.name, kProgram);
        COMMON_Log_Write(COMMON_LogLevelError, 4095, "NAMES", "file", "function", 1, "here I am");
        _exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    });
}

TEST(ThreadNames, ChildThatACallbackForksIsKnownByTheProcessName)
{
    const Outcome outcome = as_program([] { in_callback(expect_child_is_the_program); });
    EXPECT_THAT(outcome.log_texts(), ElementsAre(HasSubstr(std::string(", ") + kProgram + ", ")));
}

TEST(ThreadNames, ChildThatAHandlerForksIsKnownByTheProcessName)
{
    const Outcome outcome = as_program([] { in_handler(expect_child_is_the_program); });
    EXPECT_THAT(outcome.log_texts(), ElementsAre(HasSubstr(std::string(", ") + kProgram + ", ")));
}

TEST(ThreadNames, ChildOfAThreadThatInheritedTheNameIsKnownByTheProcessName)
{
    as_program([] {
        in_callback([] {
            in_new_thread([] {
                EXPECT_EQ(own_name(), kTimer);
                in_child([] { _exit(process_name() == kProgram ? 0 : 1); });
                EXPECT_EQ(own_name(), kTimer) << "in the parent it stays";
            });
        });
    });
}

TEST(ThreadNames, ChildIsKnownByTheNameThatTheProcessHasNow)
{
    as_program([] {
        prctl(PR_SET_NAME, "tv");
        in_callback([] { in_child([] { _exit(own_name() == "tv" ? 0 : 1); }); });
    });
}

TEST(ThreadNames, ChildOfANamedThreadKeepsThatName)
{
    as_program([] {
        // What an earlier fork of this thread had in mind is forgotten.
        in_callback([] {
            in_child([] { _exit(process_name() == kProgram ? 0 : 1); });
            prctl(PR_SET_NAME, "painter");
            in_child([] { _exit(process_name() == "painter" ? 0 : 1); });
            prctl(PR_SET_NAME, kTimer);
        });
    });
}

TEST(ThreadNames, CapturedNameIsNotThatOfAChildWhileTheProcessCanBeAsked)
{
    as_program([] {
        EXPECT_EQ(COMMON_Log_Acceptable(COMMON_LogLevelError), 1U) << "the name is captured";
        prctl(PR_SET_NAME, "now");
        in_new_thread([] {
            prctl(PR_SET_NAME, "painter");
            in_child([] { _exit(own_name() == "painter" ? 0 : 1); });
            prctl(PR_SET_NAME, kWatchdog);
            in_child([] { _exit(own_name() == "now" ? 0 : 1); });
        });
    });
}

TEST(ThreadNames, ChildIsKnownByTheCapturedNameWhenNoDescriptorIsLeft)
{
    as_program([] {
        EXPECT_EQ(COMMON_Log_Acceptable(COMMON_LogLevelError), 1U);
        in_callback([] {
            rlimit before{};
            getrlimit(RLIMIT_NOFILE, &before);
            const rlimit none{0, before.rlim_max};
            EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
            errno = EBADMSG;
            const pid_t child = start_child([] { _exit(own_name() == kProgram ? 0 : 1); });
            EXPECT_EQ(errno, EBADMSG);
            EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
            await_child(child);
        });
    });
}

/// From now on the process may not name threads: the call fails with EPERM.
void refuse_names()
{
    std::array<sock_filter, 4> filter{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_prctl, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog program{filter.size(), filter.data()};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

TEST(ThreadNames, NameThatIsRefusedChangesNothingElse)
{
    as_program([] {
        refuse_names();
        int error = -1;
        in_callback([&] { error = errno; });
        EXPECT_EQ(error, 0);
        errno = EBADMSG;
        in_child([] { _exit(errno == EBADMSG ? 0 : 1); });
        in_handler([] { EXPECT_EQ(threads_named(kWatchdog), 0); });
    });
}

}  // namespace
