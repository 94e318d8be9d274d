#include "program.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <unistd.h>

#include "target_files.h"

namespace support::target {
namespace {

std::string as_word(const std::string& argument)
{
    constexpr const char* kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                   "-_=+,./:@%";
    if (!argument.empty() && argument.find_first_not_of(kPlain) == std::string::npos) {
        return argument;
    }
    std::string word = "'";
    for (const char c : argument) {
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return word + "'";
}

/// In one piece, so that programs that run side by side do not mix their lines.
void append_to_journal(const std::string& line)
{
    const int fd = open(kJournal, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0 || write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        _exit(EXIT_FAILURE);
    }
    close(fd);
}

}  // namespace

Program::Program(int argc, char** argv)
    : name_(argc > 0 ? std::filesystem::path(argv[0]).filename().string() : "?"),
      arguments_(argv + (argc > 0 ? 1 : 0), argv + argc)
{
    std::string line = name_;
    for (const std::string& argument : arguments_) {
        line += " " + as_word(argument);
    }
    append_to_journal(line + "\n");

    std::ifstream words(std::string(kFolder) + "/" + name_);
    for (std::string word; words >> word;) {
        words_.push_back(word);
    }
    if (const auto status = told_number("exit=")) {
        std::exit(*status);
    }
    if (const auto number = told_number("signal=")) {
        raise(*number);
    }
}

std::optional<std::string> Program::value_of(const std::string& flag) const
{
    for (const std::string& argument : arguments_) {
        if (argument.starts_with(flag)) {
            return argument.substr(flag.size());
        }
    }
    return std::nullopt;
}

bool Program::has(const std::string& argument) const
{
    return std::find(arguments_.begin(), arguments_.end(), argument) != arguments_.end();
}

bool Program::is_told(const std::string& word) const
{
    return std::find(words_.begin(), words_.end(), word) != words_.end();
}

std::optional<int> Program::told_number(const std::string& word) const
{
    for (const std::string& told : words_) {
        if (told.starts_with(word)) {
            return std::atoi(told.c_str() + word.size());
        }
    }
    return std::nullopt;
}

bool nor_device_is_there()
{
    return std::filesystem::exists("/dev/fs0");
}

}  // namespace support::target
