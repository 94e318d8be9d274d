#include "flash_script.h"

#include <cerrno>
#include <cstdlib>
#include <fstream>

#include "common.h"
#include "common_log.h"
#include "common_system.h"
#include "replaced.h"

namespace harness {

Script script;

namespace {

void tell(const char* function, const std::string& message)
{
    COMMON_Log_Write(COMMON_LogLevelInfo, 4095, "STEPS", "steps", function, 1, "%s",
                     message.c_str());
}

template <class Type>
Type next(std::deque<Type>& results, Type last)
{
    if (results.empty()) {
        return last;
    }
    const Type result = results.front();
    results.pop_front();
    return result;
}

}  // namespace

void make(const char* device)
{
    std::ofstream(device) << std::flush;
}

Reports steps_of(const std::function<void()>& body, const std::vector<const char*>& devices)
{
    const Outcome outcome = with_parameters([&] {
        for (const char* device : devices) {
            make(device);
        }
        body();
    });
    Reports found;
    for (const Report& report : flash_reports(outcome)) {
        if (report.function != "flashsafe_GetNorParams" &&
            report.function != "flashsafe_GetNandParams") {
            found.push_back(report);
        }
    }
    return found;
}

void without_nand()
{
    setenv("NAND_DRIVER_NAME", "", 1);
}

}  // namespace harness

using namespace harness;

REPLACED(int, system, (const char* command));
REPLACED(uint32_t, UTIL_GetPidFromProcessName, (const char* name, uint32_t* pid));
REPLACED(uint32_t, UTIL_TerminatePid, (uint32_t pid, uint32_t timeout_ms, uint32_t force));
REPLACED(void, OS_Sleep, (int32_t milliseconds));

int wrap_system(const char* command)
{
    tell("system", command);
    script.on_system(command);
    errno = script.system_errno;
    return next(script.system_results, 0);
}

uint32_t wrap_UTIL_GetPidFromProcessName(const char* name, uint32_t* pid)
{
    tell("find", name);
    if (script.pid != 0) {
        *pid = script.pid;
    }
    errno = script.find_errno;
    return script.pid != 0 ? 1 : 0;
}

uint32_t wrap_UTIL_TerminatePid(uint32_t pid, uint32_t timeout_ms, uint32_t force)
{
    tell("terminate",
         std::to_string(pid) + " " + std::to_string(timeout_ms) + " " + std::to_string(force));
    return next<std::uint32_t>(script.terminate_results, 1);
}

void wrap_OS_Sleep(int32_t milliseconds)
{
    tell("sleep", std::to_string(milliseconds));
    static int sleeps = 0;
    script.on_sleep(++sleeps);
}
