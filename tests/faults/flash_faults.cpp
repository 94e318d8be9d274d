// Scenarios of the fault sweep: flash partitions and their drivers. The commands are scripts, a
// driver is what makes its device, and processes are few, as the machine may have thousands.
// Records below Warn are switched off, so that nothing is logged but what goes wrong.
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "fake_proc.h"
#include "scenario.h"
#include "simulated_target.h"
#include "sleeper.h"

using namespace faults;

namespace {

namespace fs = std::filesystem;

constexpr char kNorDevice[] = "/dev/fs0";
constexpr char kNandDevice[] = "/dev/etfs1";

const harness::FreshSetup kTarget{
    .env = {{"PATH", "/oxa/bin:/usr/bin:/bin"},
            {"COMMON_LOG_LEVEL", "Warn"},
            {"FLASH_START_DRIVER_NAME", "touch"},
            {"FLASH_START_DRIVER_OPTIONS", "/dev/fs0"},
            {"FLASH_START_BOOT_SIZE", "256"},
            {"FLASH_START_ROOT_SIZE", "8192"},
            {"FLASH_START_CONFIG_MFG_SIZE", "512"},
            {"FLASH_START_CONFIG_SIZE", "1024"},
            {"FLASH_START_LOG_SIZE", "2048"},
            {"NAND_DRIVER_NAME", "touch"},
            {"NAND_DRIVER_OPTIONS", "/dev/etfs1"}},
    .programs = {{"/oxa/bin/mount", "#!/bin/sh\n"}, {"/oxa/bin/flashctl", "#!/bin/sh\n"}}};

harness::Report record(COMMON_LogLevel_t level, const char* function, const std::string& message)
{
    return said(level, "COMMON", "flash_safety", function, message);
}

constexpr char kCheck[] = "FLASHSAFE_CheckPartition";
constexpr char kWalk[] = "flashsafe_DoRecursiveCheck";
constexpr std::uint32_t kConfig = 2;

/// What is there when a run begins, and gone when it has ended.
class Target {
public:
    Target()
    {
        remove();
        fs::create_directories("/config/a");
        std::ofstream("/config/a/file") << "x";
    }
    ~Target() { remove(); }
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

private:
    static void remove()
    {
        fs::remove(kNorDevice);
        fs::remove(kNandDevice);
        fs::remove_all("/config/a");
    }
};

Promise mount_fails(const char* function, const char* what)
{
    return on(Call::system)
        .gives("0")
        .logs(
            {record(COMMON_LogLevelError, function,
                    std::string("Cannot mount ") + what + ", cmdResult = -1, exit status = 255")});
}

SCENARIO(FLASHSAFE_MountReadOnly, kTarget, gives("1"),
         mount_fails("FLASHSAFE_MountReadOnly", "/config as read-only"))
{
    CALL(FLASHSAFE_MountReadOnly, kConfig);
    EXPECT_EQ(FLASHSAFE_MountReadOnly(kConfig), 1U);
}

SCENARIO(FLASHSAFE_MountWritable, kTarget, gives("1"),
         mount_fails("FLASHSAFE_MountWritable", "/config as writable"))
{
    CALL(FLASHSAFE_MountWritable, kConfig);
    EXPECT_EQ(FLASHSAFE_MountWritable(kConfig), 1U);
}

/// A partition that cannot be looked at counts as corrupt.
std::vector<harness::Report> skipped()
{
    return {record(COMMON_LogLevelWarn, kCheck, "/config partition is corrupt"),
            record(COMMON_LogLevelWarn, kCheck, "skipping recovery of flash partition /config")};
}

Promise is_corrupt(Call call, int nth, const char* path)
{
    std::vector<harness::Report> records = skipped();
    records.insert(records.begin(),
                   record(COMMON_LogLevelWarn, kWalk,
                          std::string("Detected corruption in file/dir: ") + path));
    return on(call).nth(nth).gives("1 1").logs(records);
}

void check(std::uint32_t mode)
{
    std::uint32_t corrupt = 7;
    CALL(FLASHSAFE_CheckPartition, kConfig, mode, 0, &corrupt);
    note_result(shown(corrupt));
    EXPECT_EQ(FLASHSAFE_CheckPartition(kConfig, mode, 0, &corrupt), 1U);
    EXPECT_EQ(corrupt, 0U);
}

SCENARIO(PartitionIsLookedAt, kTarget, gives("1 0"), on(Call::stat).gives("1 1").logs(skipped()))
{
    const Target target;
    check(0);
}

/// Of a folder that cannot be read on, nothing more is looked at. What is too many links for its
/// path is opened by its name.
SCENARIO(FLASHSAFE_CheckPartition, kTarget, gives("1 0"), on(Call::opendir).with({ELOOP}),
         is_corrupt(Call::opendir, 1, "/config"), is_corrupt(Call::opendir, 2, "/config/a"),
         is_corrupt(Call::fstatat, 1, "/config/a"), is_corrupt(Call::fstatat, 2, "/config/a/file"))
{
    const Target target;
    check(1);
}

/// A folder that is reached by too many links is opened by its name, in two steps. How many are too
/// many is left to the kernel, which counts those of a path again when it has to start anew.
SCENARIO(FolderBehindManyLinksIsChecked, kTarget, gives("1 0"), Denied{Call::opendir, ELOOP},
         Spared{Call::readdir}, Spared{Call::fstatat}, Spared{Call::closedir},
         is_corrupt(Call::openat, 1, "/config"), is_corrupt(Call::openat, 2, "/config/a"),
         is_corrupt(Call::fdopendir, 1, "/config"), is_corrupt(Call::fdopendir, 2, "/config/a"))
{
    const Target target;
    check(1);
}

/// What goes wrong while a driver is started. A device that cannot be looked for is absent; it is
/// looked for again.
Promise start_fails(int nth, const char* function, const char* command, const char* result)
{
    return on(Call::system)
        .nth(nth)
        .gives(result)
        .adds({record(COMMON_LogLevelError, function,
                      std::string("system(\"") + command + "\") failed errno={errno}: {text}")});
}

Promise remount_fails(int nth, const char* function, const char* what)
{
    return on(Call::system)
        .nth(nth)
        .adds(
            {record(COMMON_LogLevelError, function,
                    std::string("Cannot mount ") + what + ", cmdResult = -1, exit status = 255")});
}

/// @param before the commands that are run before.
/// @param failed what is given when a driver cannot be started.
std::vector<Promise> starting_fails(int before, const char* failed)
{
    return {start_fails(before + 1, "flashsafe_StartNorDriver", "touch /dev/fs0", failed),
            remount_fails(before + 2, "FLASHSAFE_MountReadOnly", "/ as read-only"),
            remount_fails(before + 3, "FLASHSAFE_MountReadOnly", "/config-mfg as read-only"),
            remount_fails(before + 4, "FLASHSAFE_MountWritable", "/config as writable"),
            remount_fails(before + 5, "FLASHSAFE_MountWritable", "/log as writable"),
            start_fails(before + 6, "flashsafe_StartNandDriver", "touch /dev/etfs1", failed)};
}

SCENARIO(FLASHSAFE_StartDriver, kTarget, gives("1"), starting_fails(0, "0"))
{
    const Target target;
    CALL(FLASHSAFE_StartDriver, 1'000);
    EXPECT_EQ(FLASHSAFE_StartDriver(1'000), 1U);
    EXPECT_TRUE(fs::exists(kNorDevice));
    EXPECT_TRUE(fs::exists(kNandDevice));
}

Promise is_found(Call call, int nth, const char* path)
{
    return on(call).nth(nth).logs(
        {record(COMMON_LogLevelWarn, kWalk,
                std::string("Detected corruption in file/dir: ") + path),
         record(COMMON_LogLevelWarn, kCheck, "/config partition is corrupt")});
}

/// Nobody looks at what became of the commands that erase and format.
SCENARIO(CorruptPartitionIsFormatted, kTarget, Flag::Talks, gives("1 1"), starting_fails(2, "0 1"),
         logging_goes_on(), on(Call::opendir).with({ELOOP}), is_found(Call::opendir, 1, "/config"),
         is_found(Call::opendir, 2, "/config/a"), is_found(Call::fstatat, 1, "/config/a"),
         // What readdir() does not give is not looked at.
         on(Call::readdir).gives("1 0").logs({}))
{
    const Target target;
    fs::remove("/config/a/file");
    support::corrupt("/config/a");
    std::uint32_t corrupt = 7;
    CALL(FLASHSAFE_CheckPartition, kConfig, 1, 1, &corrupt);
    note_result(shown(corrupt));
}

/// A driver that runs, by its name among the processes, and its device.
class Driver {
public:
    explicit Driver(const char* device)
    {
        std::ofstream(device) << "";
        const std::string entry = std::to_string(sleeper_.id());
        processes_.add(entry, "Name:\ttouch\n");
        // It is gone as soon as it gets a signal, whether that was sent by one call or the next.
        const auto vanish = [entry] { std::filesystem::remove_all("/proc/" + entry); };
        harness::fault::on_call(Call::kill, 1, vanish);
    }

private:
    Sleeper sleeper_;
    harness::FakeProcesses processes_;
};

/// A driver that cannot be found among the processes is not ended, which errno should tell.
std::vector<Promise> finding_fails(const char* function)
{
    const auto not_found = [&](const char* error) {
        return record(COMMON_LogLevelError, function,
                      std::string("UTIL_GetPidFromProcessName(\"touch\") failed ") + error);
    };
    // Who cannot be looked at again is gone.
    return {on(Call::open).nth(2), on({Call::open, Call::read}).with({EINTR}),
            on({Call::opendir, Call::readdir, Call::open, Call::read})
                .gives("0")
                .logs({not_found("errno={errno}: {text}")}),
            on(Call::fstat).gives("0").logs({not_found("errno=22: Invalid argument")})};
}

SCENARIO(FLASHSAFE_ShutdownDriver, kTarget, gives("1"),
         finding_fails("flashsafe_ShutdownNorDriver"),
         on(Call::kill)
             .logs({record(COMMON_LogLevelWarn, "flashsafe_ShutdownNorDriver",
                           "Forcing Kill of NOR flash driver \"touch\" ({child})")}))
{
    const Target target;
    const Driver driver(kNorDevice);
    CALL(FLASHSAFE_ShutdownDriver, 100, 1);
    fs::remove(kNorDevice);
    EXPECT_EQ(FLASHSAFE_ShutdownDriver(100, 1), 1U);
}

SCENARIO(NandDriverIsShutDown, kTarget, gives("1"), finding_fails("flashsafe_ShutdownNandDriver"),
         on(Call::kill).gives("0"))
{
    const Target target;
    const Driver driver(kNandDevice);
    CALL(FLASHSAFE_ShutdownDriver, 100, 1);
    fs::remove(kNandDevice);
    EXPECT_EQ(FLASHSAFE_ShutdownDriver(100, 1), 1U);
}

}  // namespace
