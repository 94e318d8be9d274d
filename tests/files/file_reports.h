// What the functions for streams (oxa_file.h) report, and files to try them on.
#pragma once

#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fresh_process.h"
#include "log_expect.h"

namespace harness {

inline Report said(COMMON_LogLevel_t level, const std::string& function, const std::string& message)
{
    return said(level, "COMMON", "oxa_file", function, message);
}

/// At the level of nearly all of them.
inline Report said(const std::string& function, const std::string& message)
{
    return said(COMMON_LogLevelCritical, function, message);
}

/// What a body that must return normally, and print nothing, logs.
inline std::vector<LogRecord> records_of(const std::function<void()>& body)
{
    const Outcome outcome = well(body);
    EXPECT_EQ(outcome.out + outcome.err, "");
    return outcome.log;
}

inline void make_content(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

inline std::string content_of(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

}  // namespace harness
