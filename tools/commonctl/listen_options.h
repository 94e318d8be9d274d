// The command line of the sub-command "listen".
#pragma once

#include <string>

#include "subcommand.h"

namespace commonctl {

enum class Color { Auto, Always, Never };

struct ListenOptions {
    Color color = Color::Auto;
    std::string socket = "/dev/log";
    std::string output;  ///< file for the records; empty for standard output
    bool private_root = false;
    Arguments command;  ///< empty: listen until a signal
};

/// @throws UsageError
ListenOptions parse_listen_options(const Arguments& arguments);

}  // namespace commonctl
