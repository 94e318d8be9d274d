#include "recovery.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "common_log_macros.h"
#include "common_log_settings.h"
#include "flash_safety.h"

namespace recovery {

namespace {

COMMON_LOG_ZONE("RECOVERY");

constexpr std::uint32_t kQuick = 0;
constexpr std::uint32_t kDeep = 1;

/// The repairs are noted down here, on a partition that is read-only otherwise.
constexpr std::uint32_t kNotesPartition = 1;
constexpr char kNotes[] = "/config-mfg/repairs.txt";

struct Partition {
    const char* mount_point;
    std::uint32_t check;
    /// The running system is on the root, which is no place to format, and too large to look
    /// through at each start.
    bool repairable;
};

constexpr Partition kPartitions[] = {{"/", kQuick, false},
                                     {"/config-mfg", kDeep, true},
                                     {"/config", kDeep, true},
                                     {"/log", kDeep, true}};
static_assert(std::size(kPartitions) == kPartitionCount);

enum class Verdict { Sound, Corrupt, Repaired, Failed, Unknown };

const char* text(Verdict verdict)
{
    switch (verdict) {
    case Verdict::Sound:
        return "sound";
    case Verdict::Corrupt:
        return "corrupt";
    case Verdict::Repaired:
        return "repaired";
    case Verdict::Failed:
        return "not repaired";
    case Verdict::Unknown:
        break;
    }
    return "not known";
}

Verdict check(std::uint32_t index)
{
    std::uint32_t corrupt = 0;
    if (FLASHSAFE_CheckPartition(index, kPartitions[index].check, 0, &corrupt) == 0) {
        return Verdict::Unknown;
    }
    return corrupt != 0 ? Verdict::Corrupt : Verdict::Sound;
}

/// Appends a line to the notes. @return 0 or the error number.
int append(const char* mount_point)
{
    std::FILE* const notes = std::fopen(kNotes, "a");
    if (notes == nullptr) {
        return errno;
    }
    int error = std::fprintf(notes, "formatted %s\n", mount_point) < 0 ? errno : 0;
    // What was printed is written here at the latest, where the device may have no room for it.
    if (std::fclose(notes) != 0 && error == 0) {
        error = errno;
    }
    return error;
}

/// A repair counts also without its note, whose loss is for whoever reads the log.
void note_down(const char* mount_point)
{
    if (FLASHSAFE_MountWritable(kNotesPartition) == 0) {
        COMMON_LOG_ERROR("Repair of %s is not noted: %s is not writable", mount_point,
                         kPartitions[kNotesPartition].mount_point);
        return;
    }
    if (const int error = append(mount_point); error != 0) {
        COMMON_LOG_ERROR("Repair of %s is not noted: cannot write %s: %s (%d)", mount_point, kNotes,
                         std::strerror(error), error);
    }
    if (FLASHSAFE_MountReadOnly(kNotesPartition) == 0) {
        COMMON_LOG_ERROR("%s stays writable", kPartitions[kNotesPartition].mount_point);
    }
}

/// Formats a corrupt partition. While that goes on, the drivers' stop and start is shown, too.
Verdict repair(std::uint32_t index)
{
    const char* const mount_point = kPartitions[index].mount_point;
    COMMON_LOG_NOTE("Repair of %s starts, and all files on it are lost", mount_point);
    const COMMON_LogLevel_t level = COMMON_Log_LevelGet();
    if (level < COMMON_LogLevelDebug) {
        COMMON_Log_LevelSet(COMMON_LogLevelDebug);
    }
    std::uint32_t corrupt = 0;
    const bool restarted = FLASHSAFE_CheckPartition(index, kDeep, 1, &corrupt) != 0;
    COMMON_Log_LevelSet(level);
    // It is looked at again before it is formatted, and may be found sound this time.
    if (restarted && corrupt == 0) {
        COMMON_LOG_NOTE("%s is sound at a second look and is not formatted", mount_point);
        return Verdict::Sound;
    }
    if (!restarted || check(index) != Verdict::Sound) {
        COMMON_LOG_CRITICAL("Repair of %s failed", mount_point);
        return Verdict::Failed;
    }
    COMMON_LOG_NOTE("Repair of %s ended", mount_point);
    note_down(mount_point);
    return Verdict::Repaired;
}

}  // namespace

int recover(bool only_check)
{
    bool sound = true;
    std::printf("%-12s %-12s %s\n", "partition", "found", "left");
    for (std::uint32_t index = 0; index < kPartitionCount; ++index) {
        const Verdict found = check(index);
        Verdict left = found;
        if (found == Verdict::Corrupt && kPartitions[index].repairable && !only_check) {
            left = repair(index);
        }
        sound = sound && (left == Verdict::Sound || left == Verdict::Repaired);
        std::printf("%-12s %-12s %s\n", kPartitions[index].mount_point, text(found), text(left));
    }
    return sound ? 0 : 1;
}

}  // namespace recovery
