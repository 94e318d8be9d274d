// A process as "commonctl level" shows it.
#pragma once

#include <string>

#include "processes/processes.h"

namespace commonctl {

/// The line above processes, without its newline.
std::string title_of_processes();

/// A line, and below it what is strange about the process and what it started with.
std::string text_of(const Process& process);

/// A JSON object on one line, without its newline.
std::string json_of(const Process& process);

}  // namespace commonctl
