// Records for tests of the profile.
#pragma once

#include <cstdint>
#include <string>

#include "profile/profile.h"

namespace commonctl::profile {

/// What is told of a record, and the bytes that it has in the log.
struct Told {
    std::int64_t second = 1'000'000'000;
    const char* process = "player";
    int pid = 12;
    const char* zone = "TUNER";
    int level = 5;
    const char* file = "main.cpp";
    int line = 7;
    const char* function = "run";
    std::size_t bytes = 100;
};

inline void count(Profile& profile, const Told& told)
{
    static const std::string raw(100'000, 'x');
    Record record;
    record.time_ns = told.second * 1'000'000'000;
    record.process = told.process;
    record.pid = told.pid;
    record.zone = told.zone;
    record.level = told.level;
    record.file = told.file;
    record.line = told.line;
    record.function = told.function;
    record.raw = std::string_view(raw).substr(0, told.bytes);
    profile.add(record);
}

}  // namespace commonctl::profile
