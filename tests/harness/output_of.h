// What a command prints.
#pragma once

#include <array>
#include <cstdio>
#include <memory>
#include <string>

namespace harness {

/// Runs a command of the shell and gives its standard output.
inline std::string output_of(const std::string& command)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "re"), pclose);
    std::string output;
    std::array<char, 4096> buffer{};
    while (const auto length = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) {
        output.append(buffer.data(), length);
    }
    return output;
}

}  // namespace harness
