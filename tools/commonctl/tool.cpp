#include <algorithm>
#include <iterator>

#include <common/common_version.h>

#include "subcommand.h"

namespace commonctl {
namespace {

/// What CLI11 found wrong, in one line.
std::string text_of(const CLI::ParseError& error)
{
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

/// Help in the usual order: how to call it, what it does, its options, examples.
class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter(const std::map<std::string, std::string>& abouts,
                  const std::map<std::string, Arguments*>& commands)
        : abouts_(abouts), commands_(commands)
    {
        label("OPTIONS", "OPTION...");
        label("SUBCOMMAND", "SUB-COMMAND");
        column_width(26);
    }

    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override
    {
        return make_usage(app, name) + "\n" + about(*app) + "\n" + make_positionals(app) +
               make_groups(app, mode) + make_subcommands(app, mode) + "\n" + make_footer(app);
    }

    std::string make_usage(const CLI::App* app, std::string name) const override
    {
        std::string usage = Formatter::make_usage(app, name);
        if (commands_.contains(app->get_name())) {
            usage.insert(usage.find('\n'), " [-- COMMAND [ARGUMENT...]]");
        }
        return usage;
    }

    /// "-f, --follow", as other programs have it.
    std::string make_option_name(const CLI::Option* option, bool is_positional) const override
    {
        std::string name = Formatter::make_option_name(option, is_positional);
        if (const auto comma = name.find(",--"); name.starts_with('-') && comma == 2) {
            name.insert(comma + 1, " ");
        }
        return name;
    }

private:
    std::string about(const CLI::App& app) const
    {
        const auto found = abouts_.find(app.get_name());
        return found != abouts_.end() ? found->second : app.get_description();
    }

    const std::map<std::string, std::string>& abouts_;
    const std::map<std::string, Arguments*>& commands_;
};

}  // namespace

Tool::Tool() : app_("See and steer the processes that use the Common library.", "commonctl")
{
    app_.set_version_flag("--version", std::string("commonctl ") + COMMON_VERSION);
    app_.require_subcommand(1);
    app_.formatter(std::make_shared<HelpFormatter>(abouts_, commands_));
    app_.footer("\"commonctl SUB-COMMAND --help\" tells the options of one, with examples.");
}

void Tool::take_command(const std::string& name, Arguments& command)
{
    commands_[name] = &command;
}

int Tool::run(Arguments line)
{
    // "help" and "help NAME" are "--help" and "NAME --help".
    if (!line.empty() && line.front() == "help") {
        if (line.size() > 2) {
            throw UsageError("help takes one sub-command");
        }
        line.erase(line.begin());
        line.emplace_back("--help");
    }
    if (!line.empty() && !line.front().starts_with('-') && !abouts_.contains(line.front())) {
        throw UsageError("there is no sub-command \"" + line.front() + "\"");
    }
    if (const auto taken = line.empty() ? commands_.end() : commands_.find(line.front());
        taken != commands_.end()) {
        const auto behind = std::find(line.begin(), line.end(), "--");
        if (behind != line.end()) {
            taken->second->assign(std::next(behind), line.end());
            if (taken->second->empty() || taken->second->front().empty()) {
                throw UsageError("a command is missing behind \"--\"");
            }
            line.erase(behind, line.end());
        }
    }
    std::reverse(line.begin(), line.end());  // the order that CLI11 takes words in
    try {
        app_.parse(line);
    } catch (const CLI::Success& asked_for) {
        return app_.exit(asked_for);
    } catch (const CLI::ParseError& error) {
        throw UsageError(text_of(error));
    }
    return chosen_();
}

void add_color_option(CLI::App& app, Color& color)
{
    add_word_option(app, "--color", "WHEN", color,
                    "Color records: auto (on a terminal), always or never",
                    {{"auto", Color::Auto}, {"always", Color::Always}, {"never", Color::Never}});
}

}  // namespace commonctl
