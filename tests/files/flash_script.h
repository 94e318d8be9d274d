// The steps of flash safety, one by one: in a program that has flash_script.cpp, commands, lookups,
// signals and sleeps do nothing but what a script says. Each of them writes a record, so that one
// list has steps and reports in order.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "flash_support.h"

namespace harness {

/// What the replaced functions do in this process.
struct Script {
    std::deque<int> system_results{};  ///< then 0
    int system_errno = 0;
    std::function<void(const std::string&)> on_system = [](const std::string&) {};
    std::uint32_t pid = 4711;  ///< 0: there is no such process
    int find_errno = 0;
    std::deque<std::uint32_t> terminate_results{};  ///< then 1
    std::function<void(int)> on_sleep = [](int) {
    };  ///< is given the number of the sleep, from 1 on
};

extern Script script;

/// The record of a step: "system", "find", "terminate" or "sleep" with its arguments.
inline Report step(const char* function, const std::string& message)
{
    return said(COMMON_LogLevelInfo, "STEPS", "steps", function, message);
}

inline Reports repeated(int count, const Report& report)
{
    return Reports(static_cast<std::size_t>(count), report);
}

/// Makes a device, so that its driver is up.
void make(const char* device);

/// The steps and records of a body that runs with the usual parameters, without the records of the
/// parameters themselves, and the devices that are there at its start.
Reports steps_of(const std::function<void()>& body, const std::vector<const char*>& devices = {});

/// Its driver is not named: there is nothing to do for a NAND device.
void without_nand();

inline const Report kFindNor = step("find", "nor-driver");
inline const Report kStoppingNor = terminating_nor("4711");
inline const Report kStartNor = step("system", "nor-driver -s0x40000000,12M");
inline const Reports kRemountAll = [] {
    Reports steps;
    for (const std::string& command : kRemounts) {
        steps.push_back(step("system", command));
    }
    return steps;
}();

}  // namespace harness
