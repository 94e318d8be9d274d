// What flash safety has the shell do, with any text in the variables that tell the devices, and any
// outcome of each command: every command, look at a device, search for a driver, end of one and
// sleep is the one that a plain model makes. The input: the variables, each up to a zero byte, and
// the calls with what comes of them.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <glob.h>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

#include "common.h"
#include "common_system.h"
#include "files/flash_device.h"
#include "flash_safety.h"
#include "support/choices.h"
#include "support/files.h"
#include "support/input.h"

namespace {

using Trace = std::vector<std::string>;

constexpr const char* kVariables[] = {"FLASH_START_DRIVER_NAME",     "FLASH_START_DRIVER_OPTIONS",
                                      "FLASH_START_BOOT_SIZE",       "FLASH_START_ROOT_SIZE",
                                      "FLASH_START_CONFIG_MFG_SIZE", "FLASH_START_CONFIG_SIZE",
                                      "FLASH_START_LOG_SIZE",        "NAND_DRIVER_NAME",
                                      "NAND_DRIVER_OPTIONS"};
constexpr std::size_t kCount = std::size(kVariables);
constexpr std::size_t kNandName = 7;
constexpr std::array<const char*, 4> kMountPoints{"/", "/config-mfg", "/config", "/log"};
constexpr std::uint32_t kPid = 4711;

/// What comes of commands, and a note of each.
struct World {
    fuzz::Choices choices;
    Trace trace{};

    int execute(const std::string& command)
    {
        trace.push_back("execute " + command);
        constexpr int kResults[] = {0, 0x100, -1, 9};  // good, status 1, none, killed by a signal
        return kResults[choices.below(4)];
    }
    bool is_up(const std::string& devices)
    {
        trace.push_back("look at " + devices);
        return choices.below(2) == 0;
    }
    bool find(const std::string& name)
    {
        trace.push_back("find " + name);
        return choices.below(4) != 1;
    }
    bool terminate(std::uint32_t pid, std::uint32_t timeout_ms, std::uint32_t force)
    {
        trace.push_back("end " + std::to_string(pid) + ", " + std::to_string(timeout_ms) + ", " +
                        std::to_string(force));
        return choices.below(2) == 0;
    }
    void sleep(std::int32_t milliseconds)
    {
        trace.push_back("sleep " + std::to_string(milliseconds));
    }
};

/// That of the library, for the calls that come here.
World* world = nullptr;

struct Variables {
    std::array<std::string, kCount> lines;  // NAME=value
    std::array<bool, kCount> are_there{};

    const char* value(std::size_t place) const
    {
        return lines[place].c_str() + lines[place].find('=') + 1;
    }
};

/// A call, as both sides make it.
struct Call {
    unsigned what;
    std::uint32_t index;
    std::uint32_t timeout_ms;
    std::uint32_t flag;
    bool is_sound;
};

class Model {
public:
    Model(const Variables& variables, World& its_world) : variables_(variables), world_(its_world)
    {
    }

    std::uint32_t check(const Call& call, std::uint32_t& corrupt)
    {
        if (call.index > 3) {
            return 0;
        }
        corrupt = 0;
        if (!knows_nor()) {
            return 0;
        }
        corrupt = call.is_sound ? 0 : 1;
        if (call.is_sound || call.flag != 1) {
            return 1;
        }
        const std::string place = "flashctl -o" + std::to_string(offsets_[call.index]) + "K -l" +
                                  std::to_string(static_cast<std::int32_t>(size_of(call.index))) +
                                  "K -p/dev/fs0";
        world_.execute(place + " -vv -e");
        world_.execute(place + "p0 -f -n" + kMountPoints[call.index] + " -F");
        return shut_down(10'000, 1) ? start(10'000) : false;
    }

    bool mount(std::uint32_t index, char how)
    {
        return index <= 3 && knows_nor() &&
               succeeds(std::string("mount -u -") + how + " " + kMountPoints[index]);
    }

    bool shut_down(std::uint32_t timeout_ms, std::uint32_t force)
    {
        bool nor = true;
        if (knows_nor() && has_work(0, "/dev/fs0*", true)) {
            nor =
                world_.find(variables_.value(0)) && (world_.terminate(kPid, timeout_ms, 0) ||
                                                     (force == 1 && world_.terminate(kPid, 0, 1)));
        }
        if (!knows_nand() || !has_work(kNandName, "/dev/etfs*", true)) {
            return nor;
        }
        return world_.find(variables_.value(kNandName)) &&
               world_.terminate(kPid, std::min(timeout_ms, 200U), 0) && nor;
    }

    bool start(std::uint32_t timeout_ms)
    {
        bool nor = true;
        if (knows_nor() && has_work(0, "/dev/fs0*", false)) {
            nor = comes_up(0, "/dev/fs0*", timeout_ms);
            for (std::uint32_t index = 0; nor && index < kMountPoints.size(); ++index) {
                mount(index, index < 2 ? 'r' : 'w');
            }
        }
        if (!knows_nand() || !has_work(kNandName, "/dev/etfs*", false)) {
            return nor;
        }
        return comes_up(kNandName, "/dev/etfs*", timeout_ms) && nor;
    }

private:
    std::uint32_t size_of(std::size_t partition) const
    {
        return static_cast<std::uint32_t>(std::strtol(variables_.value(3 + partition), nullptr, 0));
    }

    bool knows_nor()
    {
        if (!knows_nor_ && std::all_of(variables_.are_there.begin(),
                                       variables_.are_there.begin() + kNandName, std::identity())) {
            knows_nor_ = true;
            auto offset = static_cast<std::uint32_t>(std::strtol(variables_.value(2), nullptr, 0));
            for (std::size_t partition = 0; partition < offsets_.size(); ++partition) {
                offsets_[partition] = static_cast<std::int32_t>(offset);
                offset += size_of(partition);
            }
        }
        return knows_nor_;
    }

    bool knows_nand()
    {
        knows_nand_ =
            knows_nand_ || (variables_.are_there[kNandName] && variables_.are_there[kNandName + 1]);
        return knows_nand_;
    }

    bool has_work(std::size_t name, const char* devices, bool if_up)
    {
        return *variables_.value(name) != '\0' && world_.is_up(devices) == if_up;
    }

    bool succeeds(const std::string& command)
    {
        const int result = world_.execute(command.substr(0, 255));
        return result == 0 || result == 9;
    }

    bool comes_up(std::size_t name, const char* devices, std::uint32_t timeout_ms)
    {
        if (!succeeds(variables_.value(name) + std::string(" ") + variables_.value(name + 1))) {
            return false;
        }
        for (std::uint32_t slept_ms = 0; !world_.is_up(devices); slept_ms += 100) {
            if (slept_ms >= timeout_ms) {
                return false;
            }
            world_.sleep(100);
        }
        return true;
    }

    const Variables& variables_;
    World& world_;
    bool knows_nor_ = false;
    bool knows_nand_ = false;
    std::array<std::int32_t, 4> offsets_{};
};

void forget_parameters()
{
    for (auto* const driver : {&common::flash::nor_driver, &common::flash::nand_driver}) {
        driver->is_known = false;
        driver->name = driver->options = nullptr;
    }
}

/// Makes the call with these variables in the environment.
std::uint32_t call_library(const Call& call, Variables& variables, std::uint32_t& corrupt)
{
    std::array<char*, kCount + 1> pointers{};
    auto next = pointers.begin();
    for (std::size_t place = 0; place < kCount; ++place) {
        if (variables.are_there[place]) {
            *next++ = variables.lines[place].data();
        }
    }
    char** const own = std::exchange(environ, pointers.data());
    std::uint32_t result = 0;
    switch (call.what) {
    case 0:
        result = FLASHSAFE_CheckPartition(call.index, 0, call.flag, &corrupt);
        break;
    case 1:
        result = FLASHSAFE_MountWritable(call.index);
        break;
    case 2:
        result = FLASHSAFE_MountReadOnly(call.index);
        break;
    case 3:
        result = FLASHSAFE_ShutdownDriver(call.timeout_ms, call.flag);
        break;
    default:
        result = FLASHSAFE_StartDriver(call.timeout_ms);
    }
    environ = own;
    return result;
}

std::uint32_t call_model(const Call& call, Model& model, std::uint32_t& corrupt)
{
    switch (call.what) {
    case 0:
        return model.check(call, corrupt);
    case 1:
        return model.mount(call.index, 'w') ? 1 : 0;
    case 2:
        return model.mount(call.index, 'r') ? 1 : 0;
    case 3:
        return model.shut_down(call.timeout_ms, call.flag) ? 1 : 0;
    default:
        return model.start(call.timeout_ms) ? 1 : 0;
    }
}

Variables chosen_variables(fuzz::Choices& choices)
{
    Variables variables;
    for (std::size_t place = 0; place < kCount; ++place) {
        variables.lines[place] = std::string(kVariables[place]) + "=";
        while (const unsigned byte = choices.byte()) {
            variables.lines[place] += static_cast<char>(byte);
        }
    }
    variables.are_there.fill(true);
    return variables;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static std::array<fuzz::File, 4> mount_points{
        fuzz::File(kMountPoints[0]), fuzz::File(kMountPoints[1]), fuzz::File(kMountPoints[2]),
        fuzz::File(kMountPoints[3])};
    fuzz::Choices choices(data, std::min<std::size_t>(size, 2048));
    Variables variables = chosen_variables(choices);
    World library{choices};
    World modelled{choices};
    Model model(variables, modelled);
    world = &library;
    forget_parameters();

    while (!library.choices.are_used_up()) {
        const unsigned changed = library.choices.below(32);
        if (changed < kCount) {
            variables.are_there[changed] = !variables.are_there[changed];
        }
        Call call{.what = library.choices.below(5),
                  .index = library.choices.below(6),
                  .timeout_ms = library.choices.byte() * 5,
                  .flag = library.choices.below(3),
                  .is_sound = library.choices.below(2) == 1};
        for (std::size_t place = 0; place < mount_points.size(); ++place) {
            mount_points[place].show(call.is_sound);
        }
        modelled.choices = library.choices;
        std::uint32_t corrupt = 77;
        std::uint32_t expected_corrupt = 77;
        const std::uint32_t result = call_library(call, variables, corrupt);
        FUZZ_CHECK(result == call_model(call, model, expected_corrupt));
        FUZZ_CHECK(corrupt == expected_corrupt);
        FUZZ_CHECK(library.trace == modelled.trace);
    }
    world = nullptr;
    return 0;
}

// What the linker's --wrap makes of the calls (fuzz/CMakeLists.txt).
extern "C" {

std::int32_t wrap_exec(const char* command) __asm__("__wrap_COMMON_System_Exec");
std::int32_t wrap_exec(const char* command)
{
    return world->execute(command);
}

int wrap_glob(const char* pattern, int flags, int (*on_error)(const char*, int),
              glob_t* paths) __asm__("__wrap_" FUZZ_SYMBOL("glob64", "__glob64_time64"));
int wrap_glob(const char* pattern, int /*flags*/, int (* /*on_error*/)(const char*, int),
              glob_t* /*paths*/)
{
    return world->is_up(pattern) ? 0 : GLOB_NOMATCH;
}

void wrap_globfree(glob_t* paths) __asm__("__wrap_" FUZZ_SYMBOL("globfree64",
                                                                "__globfree64_time64"));
void wrap_globfree(glob_t* /*paths*/) {}

std::uint32_t wrap_find(const char* name,
                        std::uint32_t* pid) __asm__("__wrap_UTIL_GetPidFromProcessName");
std::uint32_t wrap_find(const char* name, std::uint32_t* pid)
{
    *pid = kPid;
    return world->find(name) ? 1 : 0;
}

std::uint32_t wrap_terminate(std::uint32_t pid, std::uint32_t timeout_ms,
                             std::uint32_t force) __asm__("__wrap_UTIL_TerminatePid");
std::uint32_t wrap_terminate(std::uint32_t pid, std::uint32_t timeout_ms, std::uint32_t force)
{
    return world->terminate(pid, timeout_ms, force) ? 1 : 0;
}

void wrap_sleep(std::int32_t milliseconds) __asm__("__wrap_OS_Sleep");
void wrap_sleep(std::int32_t milliseconds)
{
    world->sleep(milliseconds);
}

}  // extern "C"
