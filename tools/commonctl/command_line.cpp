#include <algorithm>
#include <iterator>

#include <CLI/CLI.hpp>
#include <common/common_version.h>

#include "command_line.h"

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

void show(CLI::Option& option, const char* shown)
{
    if (shown[0] != '\0') {
        option.option_text(shown);
    }
}

}  // namespace

void CommandLine::flag(const char* names, bool& value, const std::string& description)
{
    app_->add_flag(names, value, description);
}

void CommandLine::option(const char* names, const char* shown, std::string& value,
                         const std::string& description, Check check)
{
    CLI::Option& option = *app_->add_option(names, value, description);
    show(option, shown);
    if (check != nullptr) {
        option.check(check);
    }
}

void CommandLine::option(const char* names, const char* shown, Arguments& values,
                         const std::string& description)
{
    CLI::Option& option = *app_->add_option(names, values, description);
    show(option, shown);
    if (names[0] == '-') {
        option.allow_extra_args(false);
    }
}

void CommandLine::option(const char* names, const char* shown, std::optional<double>& value,
                         const std::string& description)
{
    show(*app_->add_option(names, value, description), shown);
}

void CommandLine::option(const char* names, const char* shown, double& value,
                         const std::string& description)
{
    show(*app_->add_option(names, value, description), shown);
}

void CommandLine::option(const char* names, const char* shown, int& value, int least, int most,
                         const std::string& description)
{
    show(*app_->add_option(names, value, description)->check(CLI::Range(least, most)), shown);
}

void CommandLine::word(const char* names, const char* shown, const std::string& description,
                       const std::vector<std::string>& known, std::function<void(std::size_t)> take)
{
    const std::string name = std::string(names).substr(std::string_view(names).find("--"));
    const auto read = [name, known, take = std::move(take)](const std::string& word) {
        std::string list;
        for (std::size_t i = 0; i < known.size(); ++i) {
            if (known[i] == word) {
                take(i);
                return;
            }
            list += (i == 0 ? "" : i + 1 == known.size() ? " or " : ", ") + known[i];
        }
        throw CLI::ValidationError(name, "is " + list + ", not \"" + word + "\"");
    };
    show(*app_->add_option_function<std::string>(names, read, description), shown);
}

void CommandLine::color(Color& color)
{
    word("--color", "WHEN", color, "Color records: auto (on a terminal), always or never",
         {{"auto", Color::Auto}, {"always", Color::Always}, {"never", Color::Never}});
}

void CommandLine::require(const char* name)
{
    app_->get_option(name)->required();
}

void CommandLine::alternatives(std::initializer_list<const char*> names)
{
    for (const char* const* name = names.begin(); name != names.end(); ++name) {
        for (const char* const* other = names.begin(); other != name; ++other) {
            app_->get_option(*name)->excludes(app_->get_option(*other));
        }
    }
}

void CommandLine::allow_anything()
{
    app_->allow_extras();
}

void CommandLine::examples(const std::string& lines)
{
    app_->footer("Examples:\n" + lines);
}

Tool::Tool()
    : app_(std::make_unique<CLI::App>("See and steer the processes that use the Common library.",
                                      "commonctl"))
{
    app_->set_version_flag("--version", std::string("commonctl ") + COMMON_VERSION);
    app_->require_subcommand(1);
    app_->formatter(std::make_shared<HelpFormatter>(abouts_, commands_));
    app_->footer("\"commonctl SUB-COMMAND --help\" tells the options of one, with examples.");
}

Tool::~Tool() = default;

CommandLine Tool::add_action(const std::string& name, const std::string& summary,
                             const std::string& about, std::function<int()> action)
{
    CLI::App& app = *app_->add_subcommand(name, summary);
    abouts_[name] = about;
    app.final_callback([this, action = std::move(action)] { chosen_ = action; });
    return CommandLine(app);
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
        app_->parse(line);
    } catch (const CLI::Success& asked_for) {
        return app_->exit(asked_for);
    } catch (const CLI::ParseError& error) {
        throw UsageError(text_of(error));
    }
    return chosen_();
}

}  // namespace commonctl
