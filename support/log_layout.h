// Takes the text of a log record apart, for each of the five layouts of common_log.h.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace support {

/// The layouts, in the order of their public constants.
enum class LogLayout : std::uint8_t { Legacy, All, Columns, Syslogng, Syslogngext };

/// The fields of a record, by a type of text. What its layout does not have is -1 or empty.
template <typename Text>
struct BasicLayoutFields {
    std::int64_t day = -1;
    Text time{};  ///< as written, such as "03:04:05"
    std::int64_t nanoseconds = -1;
    std::int64_t pid = -1;
    std::int64_t tid = -1;
    Text process{};
    Text level{};
    Text zone{};
    Text file{};
    Text function{};
    std::int64_t line = -1;
    Text message{};

    bool operator==(const BasicLayoutFields&) const = default;
};

/// Parts of the text that was taken apart: nothing is copied or allocated.
using LayoutParts = BasicLayoutFields<std::string_view>;

/// Copies of their own.
using LayoutFields = BasicLayoutFields<std::string>;

/// Takes a text apart that was written in a layout. It accepts exactly what the layout can give, to
/// the width of each number and the last blank; a zone or file that contains a separator of the
/// layout cannot be told from two fields.
/// @param parts what the layout has is set, and nothing else, so begin with fresh ones.
/// @return whether the text is in that layout. If not, some of the parts may be set.
bool take_apart(LogLayout layout, std::string_view text, LayoutParts& parts);

/// Gives the only layout that a text can be in, by how it begins; take_apart() tells whether it is.
/// @return nothing when it is in none.
std::optional<LogLayout> possible_layout(std::string_view text);

/// take_apart() with copies. @return nothing when the text is not in that layout.
std::optional<LayoutFields> parse_legacy(std::string_view text);
std::optional<LayoutFields> parse_all(std::string_view text);
std::optional<LayoutFields> parse_columns(std::string_view text);
std::optional<LayoutFields> parse_syslogng(std::string_view text);
std::optional<LayoutFields> parse_syslogngext(std::string_view text);

std::ostream& operator<<(std::ostream& stream, const LayoutFields& fields);

}  // namespace support
