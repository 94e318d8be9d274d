// A file system of one's own, so that what a process finds in /config, /config-mfg, /log, /tmp,
// /oxa and /dev is what was put there for it, and what it leaves there is gone with it.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace support {

/// The private root could not be made; the text says what failed and what the machine must allow.
class PrivateRootError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Moves the calling process, which has one thread, into a new private root. There
/// - /config, /config-mfg, /log, /oxa, /tmp and /dev are new and empty, but for the usual few
/// devices and links in /dev; there is no /dev/log;
/// - every other top-level folder is the machine's own: writing there changes the machine;
/// - the folder of the running program and the folders of `keep` stay reachable under the same
/// path,
///   also below /tmp;
/// - the current folder is kept if it still exists, else it is "/".
/// Children inherit the root; the memory is released with the last process in it. Without the
/// capability to make a mount namespace the process also moves to a user namespace of its own, in
/// which its user and group keep their numbers.
/// @param keep absolute paths of folders; one that does not exist is ignored.
/// @throws PrivateRootError; the process should end then, it may be half way in.
void enter_private_root(const std::vector<std::string>& keep = {});

/// Moves the calling process, which is in a private root, into a network namespace of its own. Its
/// sockets have the kernel's own queue lengths, whatever the machine was set to.
/// @throws PrivateRootError
void enter_private_network();

/// Tells whether a path, after entering a private root, is or would be inside its own memory rather
/// than on the machine's disk.
bool is_private(const std::string& path);

}  // namespace support
