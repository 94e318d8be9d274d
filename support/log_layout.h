// Takes the text of a log record apart, for each of the five layouts of common_log.h.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace support {

/// The fields of a record. What its layout does not have is -1 or empty.
struct LayoutFields {
    std::int64_t day = -1;
    std::string time{};  ///< as written, such as "03:04:05"
    std::int64_t nanoseconds = -1;
    std::int64_t pid = -1;
    std::int64_t tid = -1;
    std::string process{};
    std::string level{};
    std::string zone{};
    std::string file{};
    std::string function{};
    std::int64_t line = -1;
    std::string message{};

    bool operator==(const LayoutFields&) const = default;
};

/// Take a text apart that was written in the layout of that name. They accept exactly what the
/// layout can give, to the width of each number and the last blank; a zone or file that contains a
/// separator of the layout cannot be told from two fields. @return nothing when the text differs.
std::optional<LayoutFields> parse_legacy(std::string_view text);
std::optional<LayoutFields> parse_all(std::string_view text);
std::optional<LayoutFields> parse_columns(std::string_view text);
std::optional<LayoutFields> parse_syslogng(std::string_view text);
std::optional<LayoutFields> parse_syslogngext(std::string_view text);

std::ostream& operator<<(std::ostream& stream, const LayoutFields& fields);

}  // namespace support
