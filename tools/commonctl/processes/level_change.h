// Changes the settings of running processes by their files, and takes changes back.
#pragma once

#include <string>
#include <vector>

#include "processes/processes.h"

namespace commonctl {

/// Lines of a settings file for what a command line says: a level, or NAME=VALUE with or without
/// the COMMON_LOG_ in front.
/// @param for_start whether settings that count at the start only are good, too.
/// @throws UsageError for what a process would not take.
std::string lines_for(const std::vector<std::string>& words, bool for_start);

/// The functions below throw std::runtime_error or std::system_error when a file cannot be written,
/// with a text that says what to do; then nothing has changed.

/// Changes a process by its own file. @param lines of a settings file.
LevelChange change_settings(const Process& process, const std::string& lines, Wait wait);

/// Brings back what there was before the changes of a process.
LevelChange restore_settings(const Process& process, Wait wait);

/// Changes all processes that look and have no file of their own, and those that start from now on.
LevelChange change_shared_settings(const std::string& lines, Wait wait);
LevelChange restore_shared_settings(Wait wait);

/// Removes the files of processes that have ended, or whose id another one has now.
/// @return what was done; not changed when a file could not be removed.
LevelChange clean_settings();

}  // namespace commonctl
