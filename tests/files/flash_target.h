// What the tests share that run flash safety on a simulated target, with real commands and drivers.
// They are built with FAULTY.
#pragma once

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "common.h"
#include "fault.h"
#include "flash_support.h"
#include "wait_until.h"

namespace harness {

inline constexpr char kNor[] = "nor-driver";
inline constexpr char kNand[] = "nand-driver";

inline const char* const kCheck = "FLASHSAFE_CheckPartition";

using Lines = std::vector<std::string>;

inline Lines joined_lines(const std::vector<Lines>& lists)
{
    Lines all;
    for (const Lines& list : lists) {
        all.insert(all.end(), list.begin(), list.end());
    }
    return all;
}

inline bool is_up(const char* device)
{
    return std::filesystem::exists(device);
}

/// The id of a driver; 0 when it does not run.
inline std::uint32_t pid_of(const char* driver)
{
    std::uint32_t pid = 0;
    (void)UTIL_GetPidFromProcessName(driver, &pid);
    return pid;
}

/// Prints the id of a driver, for the records of it.
inline std::uint32_t tell_pid(const char* driver)
{
    const std::uint32_t pid = pid_of(driver);
    EXPECT_NE(pid, 0U) << driver;
    std::printf("%u\n", pid);
    return pid;
}

/// Lets the library's first look at a process after each signal that it sends find that the process
/// is gone, in the order of the signals: how long a process takes to end is up to the machine. No
/// wait for an id of 0.
inline void await_ends(const std::vector<std::uint32_t>& pids, std::size_t signal = 0)
{
    fault::on_call(fault::Call::kill, 1, [=] {
        fault::on_call(fault::Call::open, 1, [=] {
            EXPECT_TRUE(pids[signal] == 0 || wait_until([&] {
                            return kill(static_cast<pid_t>(pids[signal]), 0) != 0 && errno == ESRCH;
                        }));
            if (signal + 1 < pids.size()) {
                await_ends(pids, signal + 1);
            }
        });
    });
}

/// The lines that a body printed.
inline Lines printed(const Outcome& outcome)
{
    Lines lines;
    std::string line;
    for (const char c : outcome.out) {
        if (c == '\n') {
            lines.push_back(line);
            line.clear();
        } else {
            line += c;
        }
    }
    return lines;
}

inline Reports stopping_nor(const std::string& pid)
{
    return {kGettingNor, terminating_nor(pid)};
}

inline Reports stopping_nand(const std::string& pid)
{
    return {kGettingNand, terminating_nand(pid)};
}

}  // namespace harness
