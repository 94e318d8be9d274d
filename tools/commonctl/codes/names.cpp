#include "codes/names.h"

#include <algorithm>
#include <charconv>

#include <common/charset.h>
#include <common/common_log.h>
#include <common/oxa_logger.h>
#include <common/status.h>

namespace commonctl {
namespace {

/// A number as source code calls it. Compilers write none of these names down.
struct Symbol {
    std::uint32_t number;
    const char* name;
};

#define SYMBOL(name) \
    Symbol           \
    {                \
        name, #name  \
    }

constexpr Symbol kStatuses[] = {SYMBOL(STATUS_SUCCESS),
                                SYMBOL(STATUS_BUSY),
                                SYMBOL(STATUS_COMMUNICATION_FAILURE),
                                SYMBOL(STATUS_DISCONNECTED),
                                SYMBOL(STATUS_FAILED),
                                SYMBOL(STATUS_PENDING),
                                SYMBOL(STATUS_NO_RESOURCES),
                                SYMBOL(STATUS_NOT_FOUND),
                                SYMBOL(STATUS_NOT_SUPPORTED),
                                SYMBOL(STATUS_IN_PROGRESS),
                                SYMBOL(STATUS_REJECTED),
                                SYMBOL(STATUS_USER_TERMINATED),
                                SYMBOL(STATUS_VERIFY_FAILED),
                                SYMBOL(STATUS_INVALID_HANDLE),
                                SYMBOL(STATUS_UNRECOGNISED),
                                SYMBOL(STATUS_AUTH_FAILED),
                                SYMBOL(STATUS_COMPLETE),
                                SYMBOL(STATUS_DISALLOWED),
                                SYMBOL(STATUS_INCOMPATIBLE_VERSION),
                                SYMBOL(STATUS_DEVICE_ERROR),
                                SYMBOL(STATUS_INVALID_PARAM),
                                SYMBOL(STATUS_TIMEOUT),
                                SYMBOL(STATUS_SECURITY_BLOCK),
                                SYMBOL(STATUS_NO_FIRST_VALUE)};

constexpr Symbol kServices[] = {SYMBOL(UNKNOWN_SERVICE),
                                SYMBOL(HANDS_FREE_SERVICE),
                                SYMBOL(VOICE_SERVICE),
                                SYMBOL(DATA_SERVICE),
                                SYMBOL(FILE_XFER_SERVICE),
                                SYMBOL(REMOTE_DATA_SERVICE),
                                SYMBOL(PHONEBOOK_SERVICE),
                                SYMBOL(PHONEBOOK_PBAP_SERVICE),
                                SYMBOL(PHONEBOOK_SYNCH_SERVICE),
                                SYMBOL(PHONEBOOK_SYNCH_ML_SERVICE),
                                SYMBOL(PHONEBOOK_FXFER_SERVICE),
                                SYMBOL(PHONEBOOK_OPUSH_SERVICE),
                                SYMBOL(PHONEBOOK_ATCMD_SERVICE),
                                SYMBOL(PAIR_SERVICE),
                                SYMBOL(MUSIC_SERVICE),
                                SYMBOL(AUDIO_VISUAL_SERVICE),
                                SYMBOL(ALL_SERVICE),
                                SYMBOL(DISCOVERY_SERVICE),
                                SYMBOL(MESSAGE_SERVICE),
                                SYMBOL(MESSAGE_ATCMD_SERVICE),
                                SYMBOL(MESSAGE_MAP_SERVICE),
                                SYMBOL(WIRELESS_IAP_SERVICE),
                                SYMBOL(PANDORA_SERVICE),
                                SYMBOL(PANDORA_IOS_SERVICE),
                                SYMBOL(CUSTOM_IR_SERVICE),
                                SYMBOL(CUSTOM_IR_IOS_SERVICE)};

constexpr Symbol kTransports[] = {SYMBOL(TRANSPORT_NONE),     SYMBOL(TRANSPORT_BLUETOOTH),
                                  SYMBOL(TRANSPORT_EMBEDDED), SYMBOL(TRANSPORT_CRADLE),
                                  SYMBOL(TRANSPORT_WDC),      SYMBOL(TRANSPORT_DDC)};

constexpr Symbol kLevels[] = {SYMBOL(COMMON_LogLevelFatal), SYMBOL(COMMON_LogLevelCritical),
                              SYMBOL(COMMON_LogLevelError), SYMBOL(COMMON_LogLevelWarn),
                              SYMBOL(COMMON_LogLevelNote),  SYMBOL(COMMON_LogLevelInfo),
                              SYMBOL(COMMON_LogLevelDebug), SYMBOL(COMMON_LogLevelVerbose)};

#undef SYMBOL

template <std::size_t kCount>
std::vector<Code> named(const Symbol (&symbols)[kCount], const char* (*text_of)(std::uint32_t))
{
    std::vector<Code> codes;
    for (const Symbol& symbol : symbols) {
        codes.push_back({symbol.number, text_of(symbol.number), symbol.name});
    }
    return codes;
}

std::vector<Code> statuses()
{
    return named(kStatuses, StatusToStr);
}

std::vector<Code> services()
{
    return named(kServices, ServiceToStr);
}

std::vector<Code> transports()
{
    return named(kTransports, TransportToStr);
}

std::vector<Code> levels()
{
    return named(kLevels, COMMON_LogLevel_ToString);
}

std::vector<Code> modules()
{
    (void)LOG_ModuleIdReadConfig();  // where there is none, there are the fixed ones
    std::vector<Code> codes;
    for (std::uint32_t id = 0; id < LOG_GetNumModules(); ++id) {
        codes.push_back({id, LOG_GetModuleName(id), ""});
    }
    return codes;
}

std::vector<Code> charsets()
{
    constexpr std::uint32_t kBeyondTheRegistry = 10'000;
    std::vector<Code> codes;
    for (std::uint32_t mib = 0; mib < kBeyondTheRegistry; ++mib) {
        const std::string_view name = CHARSET_GetName(mib);
        if (name != "Invalid") {
            codes.push_back({mib, std::string(name), ""});
        }
    }
    return codes;
}

std::optional<std::uint32_t> number_in(std::string_view text)
{
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(hexadecimal ? 2 : 0);
    std::uint32_t number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, hexadecimal ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool same(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char one, char other) { return lower(one) == lower(other); });
}

}  // namespace

const std::vector<CodeTable>& code_tables()
{
    static const std::vector<CodeTable> tables = {
        {"status", "tell a status by its number or name",
         "Tells results of operations (status.h): number, text, name in source code.",
         "\"time out\"", statuses},
        {"service", "tell a connectivity service by its number or name",
         "Tells connectivity services (status.h): number, text, name in source code.", "PBAP",
         services},
        {"transport", "tell a transport by its number or name",
         "Tells transports (status.h): number, text, name in source code.", "TRANSPORT_WDC",
         transports},
        {"module", "tell a module of the log by its id or name",
         "Tells modules of the log (oxa_logger.h): id and name, with those that this machine's\n"
         "/oxa/slog/oxa_logger.cfg adds. Ids that a process gives out itself are not known here.",
         "common", modules},
        {"charset", "tell a character set by its number or name",
         "Tells character sets (charset.h): number (MIBenum) and name, as the registry has them.",
         "utf-8", charsets},
        {"level-name", "tell a level of the log by its number or name",
         "Tells levels of the log (common_log.h): number, text, name in source code.", "warn",
         levels},
    };
    return tables;
}

std::vector<Code> find_codes(const std::vector<Code>& codes, std::string_view wanted)
{
    const auto number = number_in(wanted);
    std::vector<Code> found;
    for (const Code& code : codes) {
        if (number == code.number || same(wanted, code.text) ||
            (!code.symbol.empty() && same(wanted, code.symbol))) {
            found.push_back(code);
        }
    }
    return found;
}

}  // namespace commonctl
