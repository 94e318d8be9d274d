/**
 * @file listen.h
 * The sub-command "listen": a log daemon for the time of a look.
 */
#ifndef COMMONCTL_LISTEN_H
#define COMMONCTL_LISTEN_H

#include "subcommand.h"

namespace commonctl {

extern const Subcommand kListen;

}  // namespace commonctl

#endif
