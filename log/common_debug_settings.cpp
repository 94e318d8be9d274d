// The settings of the debug output from a file and the environment.
#include "log/debug_settings.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "foundation/settings_text.h"

namespace common::debug {

constinit Settings settings{0, kDefaultRowLength};

namespace {

constexpr char kPrefix[] = "COMMON_DEBUG_";
constexpr char kEnableName[] = "COMMON_DEBUG_ENABLE";
constexpr char kRowLengthName[] = "COMMON_DEBUG_ROW_LENGTH";

bool is_decimal(const char* text) noexcept
{
    text += *text == '-' ? 1 : 0;
    return text[std::strspn(text, "0123456789")] == '\0';
}

void set_row_length(const char* text) noexcept
{
    if (!is_decimal(text)) {
        std::printf("Invalid COMMON_DEBUG_ROW_LENGTH value: %s\n", text);
        std::fflush(stdout);
        return;
    }
    const long number = std::clamp<long>(std::strtol(text, nullptr, 10), INT32_MIN, INT32_MAX);
    const auto value = static_cast<std::int32_t>(number);
    const auto bits = static_cast<std::uint32_t>(value);
    // Oddity: the lower bound is tested unsigned and the upper one signed, so negative numbers pass
    // both; dumps then have the default length.
    // Test: CommonDebugSettings.RowLengths.
    if (bits < kMinimumRowLength) {
        settings.rowLength = kMinimumRowLength;
        std::printf("Using minimum row length '%u' due to invalid value: %d\n", settings.rowLength,
                    value);
    } else if (value > static_cast<std::int32_t>(kMaximumRowLength)) {
        settings.rowLength = kMaximumRowLength;
        std::printf("Using maximum row length '%u' due to invalid value: %d\n", settings.rowLength,
                    value);
    } else if (bits % 4 == 0) {
        settings.rowLength = bits;
        return;
    } else {
        settings.rowLength = bits + 4 - bits % 4;
        std::printf("Using address aligned row length '%u' due to invalid value: %d\n",
                    settings.rowLength, value);
    }
    std::fflush(stdout);
}

}  // namespace

void parse_variable(const char* variable) noexcept
{
    const char* const equals = std::strchr(variable, '=');
    if (equals == nullptr || std::strncmp(variable, kPrefix, sizeof kPrefix - 1) != 0) {
        return;
    }
    const auto length = static_cast<std::size_t>(equals - variable);
    const char* const value = equals + 1;
    if (abbreviates(variable, length, kEnableName)) {
        bool enable = false;
        if (parse_boolean(value, enable)) {
            settings.enable = enable ? 1 : 0;
        } else {
            // Oddity: the message has another name than the setting, the one that integrators know.
            // Test: CommonDebugSettings.OtherValuesOfEnableAreToldUnderTheNameThatIntegratorsKnow.
            std::printf("Invalid COMMON_LOG_ENABLED: %s\n", value);
        }
    } else if (abbreviates(variable, length, kRowLengthName)) {
        set_row_length(value);
    }
}

}  // namespace common::debug
