// The settings files of the log facility, as the calling process finds them.
#pragma once

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace harness {

inline const std::string kConfiguredFile = "/config/common/log/settings.txt";
inline const std::string kSharedFile = "/tmp/common/log/settings.txt";

/// The file of the calling process.
inline std::string own_file()
{
    return "/tmp/common/log/settings_" + std::to_string(getpid()) + ".txt";
}

/// Sets when a file was modified.
inline void touch(const std::string& path, std::int64_t seconds, long nanoseconds = 0)
{
    timespec times[2]{};
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = seconds;
    times[1].tv_nsec = static_cast<decltype(times[1].tv_nsec)>(nanoseconds);
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0) << path;
}

/// Writes a file anew that was modified then.
inline void put_file(const std::string& path, const std::string& content, std::int64_t seconds)
{
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << content;
    touch(path, seconds);
}

inline void remove_file(const std::string& path)
{
    ASSERT_EQ(unlink(path.c_str()), 0) << path;
}

}  // namespace harness
