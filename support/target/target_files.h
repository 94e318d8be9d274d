// Where a simulated target keeps what its programs and its first process share.
#pragma once

#include <string>
#include <sys/types.h>

namespace support::target {

/// Has the words for each program, in a file of its name.
inline constexpr const char* kFolder = "/oxa/target";

inline constexpr const char* kJournal = "/oxa/target/journal";

/// Has a file for each driver that runs, with the devices that it made.
inline constexpr const char* kDeviceFolder = "/oxa/target/devices";

inline std::string device_list(pid_t driver)
{
    return std::string(kDeviceFolder) + "/" + std::to_string(driver);
}

}  // namespace support::target
