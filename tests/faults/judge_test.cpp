// The judge of the scenarios complains of each thing that a run does otherwise than promised.
#include "judge.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <gtest/gtest-spi.h>

#include "scenario_run.h"

using namespace faults;
using harness::Outcome;
using harness::Report;
using testing::HasSubstr;

namespace {

/// The process of all runs here: a number that results may be, too.
constexpr pid_t kProcess = 768;

Report record(const std::string& message)
{
    return said(COMMON_LogLevelError, "ZONE", "file", "function", message);
}

harness::LogRecord sent(const std::string& file, const std::string& message)
{
    return support::parse_datagram("<" + std::to_string(LOG_USER | LOG_ERR) +
                                   ">Jan  2 03:04:05 program: [123.03:04:05.000000007], ZONE, 1, "
                                   "program, 2, Error, " +
                                   file + ", function 3, " + message);
}

/// What one run did.
struct Run {
    std::string results = "1";
    std::vector<std::string> messages{"message"};
    std::string printed = "text";
    long kept_blocks = 0;
    Outcome::End end = Outcome::End::Exited;
    int number = 0;
    bool logs_before = true;
    bool logs_after = true;
};

/// A judge with the runs that it is told of.
class Court {
public:
    explicit Court(std::vector<Promise> promises, std::vector<Flag> flags = {Flag::Talks})
    {
        scenario_.promises = std::move(promises);
        scenario_.flags = std::move(flags);
    }

    void look_at_undisturbed(const Run& run = {}) { judge_.look_at_undisturbed(tell(run)); }

    /// What it says of a run in which a call failed; empty when nothing is wrong.
    std::string complaint(const Run& run, Call call = Call::open, int error = ENOENT)
    {
        return judge_.verdict({1, call, 1, error, 0}, tell(run)).message();
    }

    void expect_that_all_were_met() const { judge_.expect_that_all_were_met(false); }

private:
    Outcome tell(const Run& run)
    {
        told_ = {};
        told_.process = kProcess;
        told_.kept_blocks = run.kept_blocks;
        std::strcpy(told_.results, run.results.c_str());
        Outcome outcome;
        outcome.end = run.end;
        outcome.number = run.number;
        outcome.out = run.printed;
        if (run.logs_before) {
            outcome.log.push_back(sent(kMarkFile, kBefore));
        }
        for (const std::string& message : run.messages) {
            outcome.log.push_back(sent("file", message));
        }
        if (run.logs_after) {
            outcome.log.push_back(sent(kMarkFile, kAfter));
        }
        return outcome;
    }

    Scenario scenario_{"made up", nullptr};
    Told told_{};
    Judge judge_{scenario_, told_};
};

/// A judge that has seen the first run.
class JudgeTest : public testing::Test {
protected:
    void SetUp() override { court.look_at_undisturbed(); }

    Court court{{on(Call::close)
                     .gives("0")
                     .logs({record("{errno} of / ({pid})")})
                     .prints("no text {error}"),
                 on(Call::read).adds({record("{text}")}), on(Call::vsnprintf).empties_a_message(),
                 on(Call::realloc).exits(1), on(Call::malloc).dies_of(SIGABRT)}};
};

TEST_F(JudgeTest, IsContentWithTheSameAsBefore)
{
    EXPECT_EQ(court.complaint({}), "");
}

TEST_F(JudgeTest, IsContentWithWhatIsPromised)
{
    EXPECT_EQ(court.complaint({.results = "0",
                               .messages = {"5 of / (768)"},
                               .printed = "no text Input/output error (5)"},
                              Call::close, EIO),
              "");
    EXPECT_EQ(court.complaint({.messages = {"message", "Input/output error"}}, Call::read, EIO),
              "");
    EXPECT_EQ(court.complaint({.messages = {""}}, Call::vsnprintf), "");
    EXPECT_EQ(court.complaint({.number = 1, .logs_after = false}, Call::realloc), "");
    EXPECT_EQ(court.complaint({.end = Outcome::End::Killed, .number = SIGABRT, .logs_after = false},
                              Call::malloc),
              "");
}

TEST_F(JudgeTest, NoticesAWrongResult)
{
    EXPECT_THAT(court.complaint({.results = "0"}), HasSubstr("promised no difference"));
    EXPECT_THAT(court.complaint({}, Call::close), HasSubstr("promised: gives 0"));
}

TEST_F(JudgeTest, NoticesAMissingRecord)
{
    EXPECT_THAT(court.complaint({.messages = {}}), HasSubstr("promised no difference"));
    EXPECT_THAT(court.complaint({}, Call::read), HasSubstr("a record is missing"));
}

TEST_F(JudgeTest, NoticesAnExtraRecord)
{
    EXPECT_THAT(court.complaint({.messages = {"message", "another"}}),
                HasSubstr("promised no difference"));
    EXPECT_THAT(court.complaint({.messages = {"message", "Input/output error", "another"}},
                                Call::read, EIO),
                HasSubstr("promised: "));
}

TEST_F(JudgeTest, NoticesAWrongPrint)
{
    EXPECT_THAT(court.complaint({.printed = "other"}), HasSubstr("promised no difference"));
}

TEST_F(JudgeTest, NoticesAMessageThatIsNotEmpty)
{
    EXPECT_THAT(court.complaint({}, Call::vsnprintf), HasSubstr("no message is empty"));
}

TEST_F(JudgeTest, NoticesAWrongEnd)
{
    EXPECT_THAT(court.complaint({.number = 1}), HasSubstr("another end than promised"));
    EXPECT_THAT(court.complaint({.end = Outcome::End::Killed, .number = SIGABRT}),
                HasSubstr("another end than promised"));
    EXPECT_THAT(court.complaint({}, Call::realloc), HasSubstr("another end than promised"));
    EXPECT_THAT(court.complaint({.number = 1}, Call::malloc),
                HasSubstr("another end than promised"));
}

TEST_F(JudgeTest, NoticesAKeptBlock)
{
    EXPECT_THAT(court.complaint({.kept_blocks = 2}), HasSubstr("2 blocks were not freed"));
}

TEST_F(JudgeTest, NoticesThatTheLogDoesNotWorkBeforeOrAfter)
{
    EXPECT_THAT(court.complaint({.logs_before = false}), HasSubstr("does not work before"));
    EXPECT_THAT(court.complaint({.logs_after = false}), HasSubstr("does not work after"));
}

TEST_F(JudgeTest, NoticesAnUndisturbedRunThatDiffersFromTheFirst)
{
    EXPECT_NONFATAL_FAILURE(court.look_at_undisturbed({.results = "2"}),
                            "other than the first time");
}

TEST(Judge, NoticesWhatAnUndisturbedRunDoesOtherwiseThanPromised)
{
    Court gives_two({gives("2")});
    EXPECT_NONFATAL_FAILURE(gives_two.look_at_undisturbed(), "without a forced failure");
    Court silent({}, {});
    EXPECT_NONFATAL_FAILURE(silent.look_at_undisturbed({.printed = ""}),
                            "without a forced failure");
    EXPECT_NONFATAL_FAILURE(Court({}, {}).look_at_undisturbed({.messages = {}}),
                            "without a forced failure");
    EXPECT_NONFATAL_FAILURE(Court({}).look_at_undisturbed({.kept_blocks = 1}),
                            "1 blocks were not freed");
}

TEST(Judge, NoticesAnUnmetPromise)
{
    Court court({on(Call::open).gives("0"), on(Call::close).gives("0")});
    court.look_at_undisturbed();
    EXPECT_EQ(court.complaint({.results = "0"}, Call::open), "");
    EXPECT_NONFATAL_FAILURE(court.expect_that_all_were_met(), "no run meets the promise for close");
}

TEST(Judge, NoticesWhatIsNotToldAmongRows)
{
    Court court({on(Call::open).tells("a row of {errno}")}, {Flag::Rows, Flag::Talks});
    court.look_at_undisturbed();
    EXPECT_EQ(court.complaint({.printed = "rows, a row of 5, rows"}, Call::open, EIO), "");
    EXPECT_THAT(court.complaint({.printed = "rows"}, Call::open, EIO),
                HasSubstr("it does not tell: a row of 5"));
}

TEST(Judge, TakesANumberForTheProcessOnlyWhereAProcessIsNamed)
{
    Court court({gives("768"), on(Call::close).gives("{errno} 768")});
    court.look_at_undisturbed({.results = "768", .messages = {"/proc/768/status, 768 / (768)"}});
    EXPECT_EQ(court.complaint({.results = "768", .messages = {"/proc/768/status, 768 / (768)"}}),
              "");
}

// What the run itself looks at.

char* copy_of_text()
{
    return CALL(MEM_StrDup, "text");
}

/// What a sweep over a body complains of.
std::string complaints(void (*body)())
{
    const Outcome outcome = harness::run_fresh({}, [&] {
        sweep({"made up", body, {on(Call::strdup).gives("null"), gives("\"text\"")}});
    });
    return outcome.failed_checks == 0 ? "" : outcome.out;
}

TEST(JudgedRun, IsContentWithOneThatKeepsNothing)
{
    EXPECT_EQ(complaints([] { MEM_Free(copy_of_text()); }), "");
}

TEST(JudgedRun, NoticesAKeptBlock)
{
    EXPECT_THAT(complaints([] {
                    MEM_Free(copy_of_text());
                    [[maybe_unused]] static char* volatile kept;
                    kept = failed() ? MEM_StrDup("kept") : nullptr;
                }),
                HasSubstr("1 blocks were not freed"));
}

TEST(JudgedRun, NoticesADescriptorLeftOpen)
{
    EXPECT_THAT(complaints([] {
                    MEM_Free(copy_of_text());
                    [[maybe_unused]] const int left = failed() ? open("/dev/null", O_RDONLY) : -1;
                }),
                HasSubstr("is left open: /dev/null"));
}

TEST(JudgedRun, NoticesAThreadThatIsLeft)
{
    EXPECT_THAT(complaints([] {
                    MEM_Free(copy_of_text());
                    pthread_t thread;
                    const auto stay = [](void*) -> void* {
                        for (;;) {
                            pause();
                        }
                    };
                    if (failed()) {
                        EXPECT_EQ(pthread_create(&thread, nullptr, stay, nullptr), 0);
                    }
                }),
                HasSubstr("threads: "));
}

TEST(JudgedRun, NoticesALogThatDoesNotWorkAfterwards)
{
    EXPECT_THAT(complaints([] {
                    MEM_Free(copy_of_text());
                    COMMON_Log_EnableSet(failed() ? 0 : 1);
                }),
                HasSubstr("the log does not work after"));
}

}  // namespace
