// What the programs of a simulated target have in common (simulated_target.h).
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace support::target {

class Program {
public:
    /// Appends the command line to the journal, and ends the program here if it is told to.
    Program(int argc, char** argv);

    const std::string& name() const { return name_; }
    const std::vector<std::string>& arguments() const { return arguments_; }

    /// Gives what follows a flag in the same argument, such as "/log" in "-n/log".
    std::optional<std::string> value_of(const std::string& flag) const;

    bool has(const std::string& argument) const;

    /// Whether a word is among those that say how the program behaves.
    bool is_told(const std::string& word) const;

    /// Gives the number behind a word such as "late=".
    std::optional<int> told_number(const std::string& word) const;

private:
    std::string name_;
    std::vector<std::string> arguments_;
    std::vector<std::string> words_;
};

/// Whether the driver of the NOR device is up.
bool nor_device_is_there();

}  // namespace support::target
