// The numbers that have names, by the library's own tables.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace commonctl {

/// A number with its names.
struct Code {
    std::uint32_t number;
    std::string text;    ///< as the library shows it
    std::string symbol;  ///< as source code calls it; empty when it has no name there
};

/// A table of them, and the sub-command that shows it.
struct CodeTable {
    const char* name;     ///< "status"
    const char* summary;  ///< a line for the list of sub-commands
    const char* about;    ///< for its help
    const char* example;  ///< a name to look up, as a shell takes it
    std::vector<Code> (*codes)();
};

/// All tables: status, service, transport, module, charset, level-name.
const std::vector<CodeTable>& code_tables();

/// Finds what is meant: by its number (decimal, or hexadecimal with "0x"), or by its text or
/// symbol as a whole, in whatever case. Several modules may have one name.
std::vector<Code> find_codes(const std::vector<Code>& codes, std::string_view wanted);

}  // namespace commonctl
