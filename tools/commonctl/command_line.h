// What a sub-command of commonctl adds to its command line. Only command_line.cpp knows the library
// that reads it, whose header takes longer to compile than everything else of a sub-command.
#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "terminal.h"
#include "usage.h"

namespace CLI {
class App;
}

namespace commonctl {

/// The command line of one sub-command. Of its options and operands:
/// - `names` are such as "-o,--output", or "FILE" for an operand;
/// - `shown` is what the help shows for the value, such as "WHEN"; "" for nothing;
/// - the value is a variable that lives as long as the tool. What it holds is the default.
class CommandLine {
public:
    explicit CommandLine(CLI::App& app) : app_(&app) {}

    /// Finds what is wrong with a value: a text that can follow the option's name, "" for nothing.
    using Check = std::string (*)(const std::string& value);

    void flag(const char* names, bool& value, const std::string& description);
    void option(const char* names, const char* shown, std::string& value,
                const std::string& description, Check check = nullptr);
    /// An option that may be repeated, or all further operands.
    void option(const char* names, const char* shown, Arguments& values,
                const std::string& description);
    void option(const char* names, const char* shown, std::optional<double>& value,
                const std::string& description);
    void option(const char* names, const char* shown, double& value,
                const std::string& description);
    /// A number from `least` to `most`.
    void option(const char* names, const char* shown, int& value, int least, int most,
                const std::string& description);

    /// An option whose value is one of some words.
    template <typename Value>
    void word(const char* names, const char* shown, Value& value, const std::string& description,
              std::initializer_list<std::pair<const char*, Value>> words)
    {
        std::vector<std::string> known;
        std::vector<Value> values;
        for (const auto& [name, meaning] : words) {
            known.emplace_back(name);
            values.push_back(meaning);
        }
        word(names, shown, description, known,
             [values, &value](std::size_t index) { value = values[index]; });
    }

    /// The option --color=WHEN: auto (the default), always or never.
    void color(Color& color);

    void require(const char* name);
    /// At most one of these is given.
    void alternatives(std::initializer_list<const char*> names);
    /// Whatever else is given is left alone.
    void allow_anything();
    /// What the help ends with.
    void examples(const std::string& lines);

private:
    void word(const char* names, const char* shown, const std::string& description,
              const std::vector<std::string>& known, std::function<void(std::size_t)> take);

    CLI::App* app_;
};

/// The command line of the tool: its sub-commands, and what they do.
class Tool {
public:
    Tool();
    Tool(const Tool&) = delete;
    Tool& operator=(const Tool&) = delete;
    ~Tool();

    /// Adds a sub-command: a command line to give options to, and the record that the options fill;
    /// it lives as long as the tool. `action` gets the record when the whole line is read. It
    /// returns the exit status or throws: UsageError, or any other exception, whose text is printed
    /// before kFailure.
    /// @param summary a line for the list of sub-commands.
    /// @param about what the help tells: lines of at most 88 characters.
    template <typename Options>
    std::pair<CommandLine, Options&> add(const std::string& name, const std::string& summary,
                                         const std::string& about, int (*action)(const Options&))
    {
        const auto options = std::make_shared<Options>();
        return {add_action(name, summary, about, [options, action] { return action(*options); }),
                *options};
    }

    /// The sub-command takes a command line of its own behind "--", which goes to `command`: empty
    /// when there is no "--".
    void take_command(const std::string& name, Arguments& command);

    /// Reads what stands behind the tool's name, and does what it says. @return the exit status.
    int run(Arguments line);

private:
    CommandLine add_action(const std::string& name, const std::string& summary,
                           const std::string& about, std::function<int()> action);

    std::map<std::string, std::string> abouts_;
    std::map<std::string, Arguments*> commands_;
    std::function<int()> chosen_;
    std::unique_ptr<CLI::App> app_;
};

}  // namespace commonctl
