// What was there before a change of settings, kept beside the file for "--restore".
#pragma once

#include <optional>
#include <set>
#include <string>

#include "processes/settings_model.h"

namespace commonctl {

/// The state before the first of some changes. As text it is itself a settings file that brings the
/// state back: a process does not forget a setting when its line is gone.
struct Before {
    std::string settings{};                ///< lines of the settings that were changed since
    std::optional<std::string> content{};  ///< of the file; nothing when there was none

    std::string text() const;
    /// Nothing when the text is not of this form.
    static std::optional<Before> parse(const std::string& text);

    /// Keeps the values of settings that are to be changed, unless they are kept already.
    void keep(const std::set<Setting>& touched, const LogSettings& now);
};

/// The settings that lines change.
std::set<Setting> touched_by(const std::string& lines);

/// The content of a file with other values for some settings: other lines stay.
std::string with_lines(const std::string& content, const std::string& lines);

}  // namespace commonctl
