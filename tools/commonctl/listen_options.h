/**
 * @file listen_options.h
 * The command line of the sub-command "listen".
 */
#ifndef COMMONCTL_LISTEN_OPTIONS_H
#define COMMONCTL_LISTEN_OPTIONS_H

#include <string>

#include "subcommand.h"

namespace commonctl {

enum class Color { Auto, Always, Never };

struct ListenOptions {
    Color color = Color::Auto;
    std::string socket = "/dev/log";
    std::string output; /**< file for the records; empty for standard output */
    bool private_root = false;
    Arguments command; /**< empty: listen until a signal */
};

/** @throws UsageError */
ListenOptions parse_listen_options(const Arguments& arguments);

}  // namespace commonctl

#endif
