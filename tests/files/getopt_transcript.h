// A command line worked off by one of the functions, and all that a caller sees of it as one text.
#pragma once

#include <algorithm>
#include <cstdio>
#include <getopt.h>
#include <ostream>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "oxa_getopt.h"

namespace getopt_test {

enum class Function {
    Short,     // OXA_getopt()
    Long,      // OXA_getopt_long()
    LongOnly,  // OXA_getopt_long_only()
    NoLong     // OXA_getopt_long() without long options
};

/// The option with a flag stores its value here.
inline int flag_of_options;

/// The long options of the tables, with what a letter or a number stands for in the transcripts.
inline const option kLongOptions[] = {
    {"verbose", no_argument, nullptr, 'v'},            // 0
    {"version", no_argument, nullptr, 'V'},            // 1
    {"level", required_argument, nullptr, 'l'},        // 2
    {"colour", optional_argument, nullptr, 'c'},       // 3
    {"quiet", no_argument, &flag_of_options, 7},       // 4
    {"file", required_argument, &flag_of_options, 8},  // 5
    {"tag", optional_argument, &flag_of_options, 9},   // 6
    {"list", no_argument, nullptr, 'L'},               // 7
    {"lists", no_argument, nullptr, 'S'},              // 8
    {"sizes", required_argument, nullptr, 'Z'},        // 9
    {"sized", no_argument, nullptr, 'D'},              // 10
    {"size", required_argument, nullptr, 'z'},         // 11, behind those that begin with it
    {"x", no_argument, nullptr, 256},                  // 12
    {nullptr, 0, nullptr, 0}};

/// A row of a table.
///
/// The words of the command line stand without the program's name, with a blank between them; '' is
/// an empty one. What is expected begins with what the calls gave: the option's character or
/// number; for a long one "#" and its index, and "!" and the flag's value when that was stored; "="
/// and the argument, also when it is empty. Behind '?' and ':' stands what `optopt` was set to.
/// Behind "|" stand the words in their last order, with "^" where `optind` is.
struct Row {
    Function function;
    const char* optstring;
    const char* words;
    const char* expected;
    const char* diagnostics = "";  // without the program's name, "; " between them
};

inline std::ostream& operator<<(std::ostream& stream, const Row& row)
{
    static constexpr const char* kNames[] = {"getopt", "getopt_long", "getopt_long_only",
                                             "getopt_long without long options"};
    return stream << kNames[static_cast<int>(row.function)] << " \"" << row.optstring << "\" ["
                  << row.words << "]";
}

/// The words of a row, the program's name in front, and a null pointer behind argv.
class CommandLine {
public:
    explicit CommandLine(const std::string& words)
    {
        texts_.emplace_back("program");
        std::istringstream stream(words);
        for (std::string word; stream >> word;) {
            texts_.push_back(word == "''" ? "" : word);
        }
        for (std::string& text : texts_) {
            argv_.push_back(text.data());
        }
        argv_.push_back(nullptr);
    }

    int argc() const { return static_cast<int>(texts_.size()); }
    char* const* argv() const { return argv_.data(); }

    /// The words in their order now, with "^" at optind.
    std::string order() const
    {
        std::string text = "|";
        for (int index = 1; index < argc(); ++index) {
            const char* const word = argv_[static_cast<std::size_t>(index)];
            text += index == optind ? " ^" : " ";
            text += *word == '\0' ? "''" : word;
        }
        return optind == argc() ? text + " ^" : text;
    }

private:
    std::vector<std::string> texts_;
    std::vector<char*> argv_;
};

inline int call(Function function, const CommandLine& line, const char* optstring, int* longindex)
{
    switch (function) {
    case Function::Short:
        return OXA_getopt(line.argc(), line.argv(), optstring);
    case Function::Long:
        return OXA_getopt_long(line.argc(), line.argv(), optstring, kLongOptions, longindex);
    case Function::LongOnly:
        return OXA_getopt_long_only(line.argc(), line.argv(), optstring, kLongOptions, longindex);
    case Function::NoLong:
        return OXA_getopt_long(line.argc(), line.argv(), optstring, nullptr, longindex);
    }
    return -1;
}

/// A code or an option as a character, when it has a visible one.
inline std::string as_text(int code)
{
    return code > ' ' && code <= '~' ? std::string(1, static_cast<char>(code))
                                     : std::to_string(code);
}

constexpr int kUntouched = -4711;

/// Makes one call and tells what it gave; an empty text at the end.
inline std::string step(Function function, const CommandLine& line, const char* optstring)
{
    static char stale[] = "stale";
    optarg = stale;
    optopt = kUntouched;
    flag_of_options = kUntouched;
    int longindex = kUntouched;
    const int code = call(function, line, optstring, &longindex);
    if (code == -1) {
        EXPECT_EQ(optarg, nullptr);
        EXPECT_EQ(optopt, kUntouched);
        EXPECT_EQ(longindex, kUntouched);
        return "";
    }
    std::string text = as_text(code);
    text += optopt != kUntouched ? as_text(optopt) : "";
    text += longindex != kUntouched ? "#" + std::to_string(longindex) : "";
    text += flag_of_options != kUntouched ? "!" + std::to_string(flag_of_options) : "";
    text += optarg != nullptr ? "=" + std::string(optarg) : "";
    return text;
}

/// Works off a command line, from its beginning on.
inline std::string transcript(Function function, const char* optstring, const CommandLine& line)
{
    constexpr int kEnough = 100;
    optind = 0;
    std::string text;
    for (int calls = 0; calls < kEnough; ++calls) {
        const std::string event = step(function, line, optstring);
        if (event.empty()) {
            return text + line.order();
        }
        text += event + " ";
    }
    return text + "without an end";
}

/// Takes what is written to standard error while it exists.
class StandardError {
public:
    StandardError() : file_(memfd_create("stderr", MFD_CLOEXEC)), kept_(dup(STDERR_FILENO))
    {
        dup2(file_, STDERR_FILENO);
    }
    StandardError(const StandardError&) = delete;
    StandardError& operator=(const StandardError&) = delete;
    ~StandardError()
    {
        dup2(kept_, STDERR_FILENO);
        close(kept_);
        close(file_);
    }

    std::string text() const
    {
        std::fflush(stderr);
        std::string all(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
        EXPECT_EQ(pread(file_, all.data(), all.size(), 0), static_cast<ssize_t>(all.size()));
        return all;
    }

private:
    int file_;
    int kept_;
};

/// The diagnostics in what was printed: lines, each with the program's name in front.
inline std::string without_program_name(const std::string& printed)
{
    const std::string name = std::string(program_invocation_short_name) + ": ";
    std::istringstream stream(printed);
    std::string all;
    for (std::string text; std::getline(stream, text);) {
        EXPECT_EQ(text.compare(0, name.size(), name), 0) << text;
        EXPECT_FALSE(stream.eof()) << "no newline behind " << text;
        all += (all.empty() ? "" : "; ") + text.substr(std::min(name.size(), text.size()));
    }
    return all;
}

/// Checks the rows of a table in turn.
template <std::size_t count>
void check(const Row (&rows)[count])
{
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row);
        const CommandLine line(row.words);
        std::string printed;
        {
            const StandardError standard_error;
            EXPECT_EQ(transcript(row.function, row.optstring, line), row.expected);
            printed = standard_error.text();
        }
        EXPECT_EQ(without_program_name(printed), row.diagnostics);
    }
}

/// Checks the rows of a table in a process that has not parsed yet. So do all tests of the parser:
/// what its first call decides holds for the process and all that it forks.
template <std::size_t count>
void check_fresh(const Row (&rows)[count], const harness::FreshSetup& setup = {})
{
    const harness::Outcome outcome = harness::well(setup, [&rows] { check(rows); });
    EXPECT_THAT(outcome.log, testing::IsEmpty());
}

}  // namespace getopt_test
