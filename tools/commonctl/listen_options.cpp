#include "listen_options.h"

#include <optional>

namespace commonctl {
namespace {

/// Walks over the arguments; an option's value is behind its '=' or is the next argument.
class OptionReader {
public:
    explicit OptionReader(const Arguments& arguments) : arguments_(arguments) {}

    bool at_end() const { return position_ == arguments_.size(); }

    bool take(const std::string& flag)
    {
        if (arguments_[position_] != flag) {
            return false;
        }
        ++position_;
        return true;
    }

    std::optional<std::string> take_value(const std::string& option)
    {
        const std::string& argument = arguments_[position_];
        if (argument.starts_with(option + "=")) {
            ++position_;
            return argument.substr(option.size() + 1);
        }
        if (argument != option) {
            return std::nullopt;
        }
        if (position_ + 1 == arguments_.size()) {
            throw UsageError(option + " needs a value");
        }
        position_ += 2;
        return arguments_[position_ - 1];
    }

    const std::string& current() const { return arguments_[position_]; }

    Arguments rest() const
    {
        return {arguments_.begin() + static_cast<std::ptrdiff_t>(position_), arguments_.end()};
    }

private:
    const Arguments& arguments_;
    std::size_t position_ = 0;
};

Color parse_color(const std::string& text)
{
    if (text == "auto") {
        return Color::Auto;
    }
    if (text == "always") {
        return Color::Always;
    }
    if (text == "never") {
        return Color::Never;
    }
    throw UsageError("--color is auto, always or never, not \"" + text + "\"");
}

std::string parse_path(const std::string& option, const std::string& text)
{
    if (text.empty()) {
        throw UsageError(option + " needs a path");
    }
    return text;
}

}  // namespace

ListenOptions parse_listen_options(const Arguments& arguments)
{
    ListenOptions options;
    OptionReader reader(arguments);
    while (!reader.at_end()) {
        if (reader.take("--")) {
            options.command = reader.rest();
            if (options.command.empty() || options.command[0].empty()) {
                throw UsageError("a command is missing behind \"--\"");
            }
            break;
        }
        if (reader.take("--private-root")) {
            options.private_root = true;
        } else if (const auto color = reader.take_value("--color")) {
            options.color = parse_color(*color);
        } else if (const auto socket = reader.take_value("--socket")) {
            options.socket = parse_path("--socket", *socket);
        } else if (const auto output = reader.take_value("--output")) {
            options.output = parse_path("--output", *output);
        } else {
            throw UsageError("listen does not know \"" + reader.current() +
                             "\"; a command comes behind \"--\"");
        }
    }
    return options;
}

}  // namespace commonctl
