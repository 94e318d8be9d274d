// A settings file that is changed, and what was there before, which is kept beside it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "processes/before.h"
#include "processes/settings_files.h"

namespace commonctl {

/// One file of kSettingsFolder.
class ChangedFile {
public:
    /// @param name of the file in its folder.
    /// @param oldest_s what was kept before this time is another process's.
    ChangedFile(const SettingsFolder& folder, std::string name, std::int64_t oldest_s);

    std::string path() const;

    /// Puts lines in the place of those that set the same.
    /// @param first the content that a file has that is made now.
    /// @param now the settings as they are, of which those that change are kept.
    void change(const std::string& lines, const std::string& first, const LogSettings& now) const;

    /// Puts a file in place that brings the settings back: false when nothing was changed.
    bool restore() const;

    /// When that file has been read: puts back the file that was there, or none.
    void finish_restoring() const;

    /// Removes what change() made; nobody is there to read it.
    void forget() const;

private:
    std::optional<Before> before() const;

    const SettingsFolder& folder_;
    std::string name_;
    std::string before_name_;
    std::int64_t oldest_s_;
};

}  // namespace commonctl
