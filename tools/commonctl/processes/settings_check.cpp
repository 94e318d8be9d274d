#include "processes/settings_check.h"

#include <algorithm>
#include <cctype>

namespace commonctl {
namespace {

using Kind = Effect::Kind;

std::string name_of(const std::string& line)
{
    return line.substr(0, line.find('='));
}

bool has_blank_ends(const std::string& text)
{
    const auto is_blank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    return !text.empty() && (is_blank(text.front()) || is_blank(text.back()));
}

/// The usual reason why a line that looks right is not.
std::string hint(const std::string& line)
{
    const auto equals = line.find('=');
    const bool blanks = has_blank_ends(line.substr(0, equals)) ||
                        (equals != std::string::npos && has_blank_ends(line.substr(equals + 1)));
    return blanks ? " (blanks and carriage returns count)" : "";
}

std::string what_it_sets(const Effect& effect, const std::string& line)
{
    const std::string variable = common::log::variable_of(effect.setting);
    std::string says = "sets " + variable + " to " + effect.value;
    const std::string name = name_of(line);
    if (effect.setting == Setting::Level && name.size() > variable.size()) {
        says += ": COMMON_LOG_LEVEL_PEAKLOAD is meant by its full name only";
    } else if (name != variable) {
        says += ", the first name that begins with " + name;
    }
    if (effect.setting == Setting::PeakloadControl && effect.value == "None") {
        says += ", and the level at peak load to that of normal operation";
    }
    return says;
}

bool is_blank(const std::string& text)
{
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return std::isspace(c) != 0; });
}

/// Neither a setting nor meant as one.
bool is_remark(const CheckedLine& line)
{
    return is_blank(line.text) || line.text.starts_with('#');
}

class Checker {
public:
    Checker(std::string_view content, FileUse use) : use_(use)
    {
        for (const Piece& piece : pieces_of(content)) {
            LogSettings any;
            CheckedLine line{.line = piece.line, .column = piece.column, .text = piece.text};
            line.at_start = take_in(any, piece.text, Reading::AtStart);
            line.read_again = take_in(any, piece.text, Reading::Again);
            lines_.push_back(line);
        }
    }

    std::vector<CheckedLine> run()
    {
        bool remark = false;
        for (std::size_t i = 0; i < lines_.size(); ++i) {
            CheckedLine& line = lines_[i];
            const bool has_effect = sets(line, true) || sets(line, false);
            remark = is_remark(line) || (line.column > 1 && remark && !has_effect);
            // A part that a long line is cut into is never what was meant.
            line.wrong = !remark && (!has_effect || line.column > 1);
            line.says = remark ? (is_blank(line.text) ? "" : "a remark: ignored") : words(i);
            if (line.column > 1 && !remark) {
                line.says += " (a line is read in pieces of 255 characters, each as a line)";
            }
        }
        return lines_;
    }

private:
    bool reads(bool at_start) const
    {
        return use_ != (at_start ? FileUse::Again : FileUse::AtStart);
    }

    const Effect& effect(const CheckedLine& line, bool at_start) const
    {
        return at_start ? line.at_start : line.read_again;
    }

    bool sets(const CheckedLine& line, bool at_start) const
    {
        return reads(at_start) && effect(line, at_start).kind == Kind::Sets;
    }

    /// ", but line 7 sets it again".
    std::string overridden(std::size_t index, bool at_start) const
    {
        if (!sets(lines_[index], at_start)) {
            return "";
        }
        std::size_t last = 0;
        for (std::size_t i = index + 1; i < lines_.size(); ++i) {
            if (sets(lines_[i], at_start) &&
                effect(lines_[i], at_start).setting == effect(lines_[index], at_start).setting) {
                last = lines_[i].line;
            }
        }
        return last == 0 ? "" : ", but line " + std::to_string(last) + " sets it again";
    }

    std::string words(std::size_t index) const
    {
        const CheckedLine& line = lines_[index];
        const std::string start = words_for(line.at_start, line.text) + overridden(index, true);
        std::string again = words_for(line.read_again, line.text) + overridden(index, false);
        if (!reads(true) || start == again) {
            return again;
        }
        return reads(false) ? "at the start: " + start + "; read again: " + again : start;
    }

    FileUse use_;
    std::vector<CheckedLine> lines_{};
};

}  // namespace

std::string words_for(const Effect& effect, const std::string& line)
{
    switch (effect.kind) {
    case Kind::Sets:
        return what_it_sets(effect, line);
    case Kind::NoEquals:
        return "ignored: it has no '='";
    case Kind::NoPrefix:
        return "ignored: the name does not begin with COMMON_LOG_" + hint(line);
    case Kind::NoSetting:
        return "ignored: no setting's name begins with " + name_of(line) + hint(line);
    case Kind::AtStartOnly:
        return std::string("ignored: ") + common::log::variable_of(effect.setting) +
               " counts at the start of a process only";
    case Kind::BadValue:
        return std::string("changes nothing: ") + common::log::variable_of(effect.setting) +
               " takes " + effect.allowed + hint(line);
    }
    return "";
}

FileUse use_of(const std::string& path)
{
    if (path.ends_with("config/common/log/settings.txt")) {
        return FileUse::AtStart;
    }
    const std::string name = path.substr(path.rfind('/') + 1);
    constexpr std::string_view kFront = "settings_";
    constexpr std::string_view kBack = ".txt";
    const bool of_a_process = name.size() > kFront.size() + kBack.size() &&
                              name.starts_with(kFront) && name.ends_with(kBack) &&
                              std::all_of(name.begin() + kFront.size(), name.end() - kBack.size(),
                                          [](unsigned char c) { return std::isdigit(c) != 0; });
    return of_a_process ? FileUse::Again : FileUse::Both;
}

std::vector<CheckedLine> check_settings(std::string_view content, FileUse use)
{
    return Checker(content, use).run();
}

}  // namespace commonctl
