// The media scanner as its user sees it: exit status, summary, and the records that arrive.
#include <csignal>
#include <cstdint>
#include <fstream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media_scans.h"

namespace {

using namespace media_scans;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

TEST(MediaScanner, CountsWhatIsThere)
{
    const Outcome outcome = scan(known_tree());
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(found(outcome),
                UnorderedElementsAre(Pair("folders", 4), Pair("files", 3), Pair("links", 2),
                                     Pair("bytes", 15), Pair("unreadable", 2)));
}

TEST(MediaScanner, CountsTheMediaFilesOfEachKind)
{
    harness::Setup setup;
    setup.files = {{"/tmp/media/a.mp3", "123"},     {"/tmp/media/b.MP3", "4567"},
                   {"/tmp/media/deep/c.mp3", "89"}, {"/tmp/media/deep/d.Jpeg", "1"},
                   {"/tmp/media/e.txt", "12345"},   {"/tmp/media/f.mp3.part", "1"},
                   {"/tmp/media/mp3", "1"},         {"/tmp/media/g.ogg", ""}};
    const Outcome outcome = scan(setup);
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(section(outcome, 2), "media             files        bytes\n"
                                   "mp3                   3            9\n"
                                   "jpeg                  1            1\n"
                                   "ogg                   1            0");
    EXPECT_EQ(section(outcome, 3),
              "{\"/tmp/media\", {\"folders\", 2}, {\"files\", 8}, {\"links\", 0}, "
              "{\"unreadable\", 0}, {{\"mp3\", 3}, {\"jpeg\", 1}, {\"ogg\", 1}}}\n");
}

TEST(MediaScanner, WarnsOfWhatItCannotRead)
{
    EXPECT_THAT(
        messages(scan(known_tree()), "Warn"),
        UnorderedElementsAre("Cannot read /tmp/media/other/dangling: No such file or directory (2)",
                             "Cannot read /tmp/media/other/locked: Permission denied (13)"));
}

TEST(MediaScanner, EveryAcceptedRecordArrives)
{
    const Outcome outcome = scan(known_tree());
    EXPECT_EQ(arrived(outcome), level_counts(outcome, 0));
    EXPECT_THAT(level_counts(outcome, 0), UnorderedElementsAre(Pair("Warn", 2), Pair("Note", 4),
                                                               Pair("Info", 2), Pair("Debug", 4)));
    // The starts of the five threads come before the detailed stretch; four entries are readable.
    EXPECT_THAT(level_counts(outcome, 1),
                UnorderedElementsAre(Pair("Debug", 5), Pair("Verbose", 4)));
}

TEST(MediaScanner, ChangesLevelAndLayoutAtTheNotes)
{
    const Outcome outcome = scan(known_tree());
    EXPECT_THAT(messages(outcome, "Note"),
                ElementsAre("Scan of /tmp/media starts", "Level Debug and layout Columns from here",
                            "Level Info and the layout from before again",
                            "Scan of /tmp/media ended: 4 folders, 3 files, 2 unreadable"));
    EXPECT_THAT(layouts(outcome, "Note"),
                ElementsAre("Syslogngext", "Syslogngext", "Syslogngext", "Legacy"));
    EXPECT_THAT(layouts(outcome, "Debug"), Each("Columns"));
}

TEST(MediaScanner, ShowsTheLogSettingsOnce)
{
    const Outcome outcome = scan(known_tree());
    EXPECT_EQ(outcome.log.size(), records_of_scanner(outcome).size() + 11);
}

TEST(MediaScanner, LogsOnlyTheFirstThirtyFoldersOneByOne)
{
    harness::Setup setup;
    for (int folder = 0; folder < 100; ++folder) {
        setup.files["/tmp/media/" + std::to_string(folder) + "/file"] = "x";
    }
    const Outcome outcome = scan(setup);
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(found(outcome)["folders"], 101u);
    EXPECT_EQ(messages(outcome, "Debug").size(), 30u);
    EXPECT_EQ(messages(outcome, "Info").size(), 100u);
    EXPECT_EQ(arrived(outcome), level_counts(outcome, 0));
}

TEST(MediaScanner, KeepsTheLevelThatItsUserChose)
{
    harness::Setup setup = known_tree();
    setup.env["COMMON_LOG_LEVEL"] = "Warn";
    const Outcome outcome = scan(setup);
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(outcome.log.size(), 2u);
    EXPECT_THAT(level_counts(outcome, 0), UnorderedElementsAre(Pair("Warn", 2)));
}

TEST(MediaScanner, ReportsAFolderThatItCannotOpen)
{
    harness::Setup setup;
    setup.files["/tmp/media/file"] = "x";
    for (const auto& [folder, why] : {std::pair{"/tmp/media/none", "No such file or directory (2)"},
                                      std::pair{"/tmp/media/file", "Not a directory (20)"}}) {
        const Outcome outcome = scan(setup, folder);
        EXPECT_THAT(outcome, exited(1));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr(folder));
        EXPECT_THAT(
            records_of_scanner(outcome),
            ElementsAre(
                AllOf(Field(&Record::level, "Error"), Field(&Record::zone, "SCANNER"),
                      Field(&Record::message, std::string{"Cannot scan "} + folder + ": " + why))));
    }
}

TEST(MediaScanner, ExplainsItsUsage)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"/tmp", "/tmp"}, {"-x"}, {""}}) {
        std::vector<std::string> line{MEDIA_SCANNER};
        line.insert(line.end(), arguments.begin(), arguments.end());
        const Outcome outcome = run_program({}, line);
        EXPECT_THAT(outcome, exited(2));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr("usage: media_scanner FOLDER"));
        EXPECT_THAT(outcome.log, IsEmpty());
    }
    const Outcome help = run_program({}, {MEDIA_SCANNER, "--help"});
    EXPECT_THAT(help, exited(0));
    EXPECT_THAT(help.out, HasSubstr("usage: media_scanner FOLDER"));
}

/// Whether a signal is on its way to a process that holds it back.
bool is_pending(pid_t process, int signal)
{
    std::ifstream status{"/proc/" + std::to_string(process) + "/status"};
    for (std::string key; status >> key;) {
        if (key == "ShdPnd:") {
            std::uint64_t pending = 0;
            status >> std::hex >> pending;
            return (pending >> (signal - 1) & 1) != 0;
        }
    }
    return false;
}

/// The known tree, for a scanner that finds an interrupt when it starts, and gets another signal
/// when it has taken that.
Setup interrupted_tree(int next_signal)
{
    Setup setup = known_tree();
    setup.prepare = [make_tree = setup.prepare, next_signal] {
        make_tree();
        sigset_t interrupt;
        sigemptyset(&interrupt);
        sigaddset(&interrupt, SIGINT);
        sigprocmask(SIG_BLOCK, &interrupt, nullptr);
        const pid_t scanner = getpid();
        kill(scanner, SIGINT);
        if (fork() == 0) {
            while (is_pending(scanner, SIGINT)) {
                usleep(1000);
            }
            kill(scanner, next_signal);
            _exit(0);
        }
    };
    return setup;
}

TEST(MediaScannerControl, PausesAtAnInterruptAndGoesOn)
{
    const Outcome outcome = scan(interrupted_tree(SIGCONT));
    EXPECT_THAT(outcome, exited(0));
    EXPECT_THAT(messages(outcome, "Note"),
                ElementsAre("Scan of /tmp/media starts",
                            "Scan paused: SIGCONT goes on, another interrupt ends it",
                            "Scan goes on", "Level Debug and layout Columns from here",
                            "Level Info and the layout from before again",
                            "Scan of /tmp/media ended: 4 folders, 3 files, 2 unreadable"));
    EXPECT_EQ(found(outcome), found(scan(known_tree())));
}

TEST(MediaScannerControl, GivesUpAtASecondInterrupt)
{
    const Outcome outcome = scan(interrupted_tree(SIGINT));
    EXPECT_THAT(outcome, exited(128 + SIGINT));
    EXPECT_THAT(messages(outcome, "Note"),
                ElementsAre("Scan of /tmp/media starts",
                            "Scan paused: SIGCONT goes on, another interrupt ends it",
                            "Level Debug and layout Columns from here",
                            "Level Info and the layout from before again",
                            "Scan of /tmp/media was given up: 0 folders, 0 files, 0 unreadable"));
    EXPECT_THAT(found(outcome),
                UnorderedElementsAre(Pair("folders", 0), Pair("files", 0), Pair("links", 0),
                                     Pair("bytes", 0), Pair("unreadable", 0)));
}

TEST(MediaScannerControl, TellsOfItsProgress)
{
    harness::Setup setup;
    for (int folder = 0; folder < 3000; ++folder) {
        setup.files["/tmp/media/" + std::to_string(folder) + "/file"] = "x";
    }
    const Outcome outcome = run_program(setup, {MEDIA_SCANNER, kTree, "--interval", "1"});
    EXPECT_THAT(outcome, exited(0));
    EXPECT_EQ(found(outcome)["files"], 3000u);
    EXPECT_THAT(messages(outcome, "Info"),
                Contains(testing::MatchesRegex("Progress: [0-9]+ folders, [0-9]+ files")));
    // There is no terminal to show a line on.
    EXPECT_EQ(outcome.err, "");
}

}  // namespace
