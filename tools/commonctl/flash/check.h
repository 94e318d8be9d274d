// A look at a flash partition, by the library's own check, that changes nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace commonctl {

enum class FlashState {
    Sound,
    Corrupt,
    Unknown  ///< something could not be examined, for a reason that is not the partition's
};

struct FlashFinding {
    FlashState state = FlashState::Sound;
    std::string path{};    ///< what is wrong; empty when nothing is, or nothing was told
    std::string reason{};  ///< why
};

/// The mount points of the partitions, by index.
inline constexpr std::string_view kFlashPartitions[] = {"/", "/config-mfg", "/config", "/log"};

/// Finds a partition by its index, mount point, or mount point without the slash ("root" for "/").
/// @return 0 to 3, or -1.
int find_partition(std::string_view wanted);

/// Checks a partition with FLASHSAFE_CheckPartition(), which is told not to repair, in a child
/// process, whose reports at Warn and above go to the system log as those of any program.
/// @param on_wait called now and then with the path of what is being looked at, which may be empty.
/// @throws std::runtime_error when there is nothing to go by.
FlashFinding check_partition(std::uint32_t index, bool deep,
                             const std::function<void(const std::string&)>& on_wait);

/// Gives the innermost folder at or below another one that a process has open; empty for none.
std::string open_folder_of(pid_t pid, std::string_view folder);

/// What the reports of a check say.
struct FlashReports {
    std::string path{};  ///< of what is corrupt; the reports cut it at some 990 bytes
    bool too_deep = false;
    std::vector<std::string> missing{};  ///< variables of the environment
};
FlashReports read_flash_reports(std::string_view reports);

/// What stands in front of each report.
inline constexpr std::string_view kFlashReport = "commonctl flash: ";

}  // namespace commonctl
