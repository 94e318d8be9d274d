// What a sub-command of commonctl adds to its command line.
#pragma once

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "terminal.h"
#include "usage.h"

namespace commonctl {

/// The command line of the tool: its sub-commands, and what they do.
class Tool {
public:
    Tool();

    /// Adds a sub-command: an app to give options to, and the record that the options fill; both
    /// live as long as the tool. `action` gets the record when the whole line is read. It returns
    /// the exit status or throws: UsageError, or any other exception, whose text is printed before
    /// kFailure.
    /// @param summary a line for the list of sub-commands.
    /// @param about what the help tells: lines of at most 88 characters.
    template <typename Options>
    std::pair<CLI::App&, Options&> add(const std::string& name, const std::string& summary,
                                       const std::string& about, int (*action)(const Options&))
    {
        CLI::App& app = *app_.add_subcommand(name, summary);
        abouts_[name] = about;
        const auto options = std::make_shared<Options>();
        app.final_callback(
            [this, options, action] { chosen_ = [options, action] { return action(*options); }; });
        return {app, *options};
    }

    /// The sub-command takes a command line of its own behind "--", which goes to `command`: empty
    /// when there is no "--".
    void take_command(const std::string& name, Arguments& command);

    /// Reads what stands behind the tool's name, and does what it says. @return the exit status.
    int run(Arguments line);

private:
    CLI::App app_;
    std::map<std::string, std::string> abouts_;
    std::map<std::string, Arguments*> commands_;
    std::function<int()> chosen_;
};

/// Adds an option whose value is one of some words.
/// @param name as CLI11 takes it, such as "-o,--output".
/// @param shown what the help shows for the value, such as "WHEN".
template <typename Value>
void add_word_option(CLI::App& app, const std::string& name, const char* shown, Value& value,
                     const std::string& description,
                     std::initializer_list<std::pair<const char*, Value>> words)
{
    const std::vector<std::pair<std::string, Value>> known(words.begin(), words.end());
    const auto read = [name, known, &value](const std::string& word) {
        std::string list;
        for (std::size_t i = 0; i < known.size(); ++i) {
            if (known[i].first == word) {
                value = known[i].second;
                return;
            }
            list += (i == 0 ? "" : i + 1 == known.size() ? " or " : ", ") + known[i].first;
        }
        throw CLI::ValidationError(name.substr(name.find("--")),
                                   "is " + list + ", not \"" + word + "\"");
    };
    app.add_option_function<std::string>(name, read, description)->option_text(shown);
}

/// The option --color=WHEN: auto (the default), always or never.
void add_color_option(CLI::App& app, Color& color);

}  // namespace commonctl
