#include "processes/before.h"

namespace commonctl {
namespace {

constexpr std::string_view kHead = "# What \"commonctl level --restore\" puts back: settings\n";
constexpr std::string_view kThenFile = "# and this file:\n";
constexpr std::string_view kThenNone = "# and no file\n";

Effect effect_of(const std::string& line)
{
    LogSettings any;
    return take_in(any, line, Reading::Again);
}

/// Also what counts at the start only: the file for all processes is read then, too.
bool is_setting(const Effect& effect)
{
    return effect.kind == Effect::Kind::Sets || effect.kind == Effect::Kind::AtStartOnly;
}

}  // namespace

std::string Before::text() const
{
    return std::string(kHead) + settings + std::string(content ? kThenFile : kThenNone) +
           content.value_or("");
}

std::optional<Before> Before::parse(const std::string& text)
{
    if (!text.starts_with(kHead)) {
        return std::nullopt;
    }
    const std::string rest = text.substr(kHead.size());
    // No line of a setting has this character in front.
    const auto end = rest.find('#');
    const std::string behind = end == std::string::npos ? "" : rest.substr(end);
    if (behind == kThenNone) {
        return Before{.settings = rest.substr(0, end)};
    }
    if (behind.starts_with(kThenFile)) {
        return Before{.settings = rest.substr(0, end), .content = behind.substr(kThenFile.size())};
    }
    return std::nullopt;
}

void Before::keep(const std::set<Setting>& touched, const LogSettings& now)
{
    const std::set<Setting> kept = touched_by(settings);
    for (const Setting setting : touched) {
        const std::string line = line_for(now, setting) + "\n";
        if (!kept.contains(setting)) {
            // Peakload control None changes a level, so it comes before the levels.
            settings = setting == Setting::PeakloadControl ? line + settings : settings + line;
        }
    }
}

std::set<Setting> touched_by(const std::string& lines)
{
    std::set<Setting> touched;
    for (const Piece& piece : pieces_of(lines)) {
        if (const Effect effect = effect_of(piece.text); is_setting(effect)) {
            touched.insert(effect.setting);
            if (effect.setting == Setting::PeakloadControl) {
                touched.insert(Setting::LevelPeakload);
            }
        }
    }
    return touched;
}

std::string with_lines(const std::string& content, const std::string& lines)
{
    std::set<Setting> replaced;
    for (const Piece& piece : pieces_of(lines)) {
        replaced.insert(effect_of(piece.text).setting);
    }
    std::string result;
    for (const Piece& piece : pieces_of(content)) {
        // A part of a long line stays, as the other parts would be others without it.
        const Effect effect = effect_of(piece.text);
        const bool goes = piece.column == 1 && piece.last && is_setting(effect) &&
                          replaced.contains(effect.setting);
        result += goes ? "" : piece.raw;
    }
    if (!result.empty() && !result.ends_with('\n')) {
        result += '\n';
    }
    return result + lines;
}

}  // namespace commonctl
