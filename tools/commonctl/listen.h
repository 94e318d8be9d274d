// The sub-command "listen": a log daemon for the time of a look.
#pragma once

#include "subcommand.h"

namespace commonctl {

extern const Subcommand kListen;

}  // namespace commonctl
