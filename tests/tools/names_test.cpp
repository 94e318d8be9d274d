// commonctl status, service, transport, module, charset and level-name.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <common/charset.h>
#include <common/common_log.h>
#include <common/oxa_logger.h>
#include <common/status.h>

#include "codes/names.h"
#include "fresh_process.h"

using namespace harness;
using commonctl::Code;
using commonctl::code_tables;
using commonctl::CodeTable;
using testing::HasSubstr;

namespace {

Outcome tell(const std::vector<std::string>& arguments, const FreshSetup& setup = {})
{
    std::vector<std::string> words{COMMONCTL};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run_program(setup, words);
}

std::vector<Code> codes_of(const std::string& name)
{
    for (const CodeTable& table : code_tables()) {
        if (table.name == name) {
            return table.codes();
        }
    }
    ADD_FAILURE() << name;
    return {};
}

TEST(CommonctlNames, TellBothWays)
{
    struct Case {
        const char* table;
        std::vector<const char*> wanted;
        const char* line;
    };
    const Case cases[] = {
        {"status",
         {"121", "0x79", "Time Out", "time out", "STATUS_TIMEOUT", "status_timeout"},
         "  121  Time Out  STATUS_TIMEOUT\n"},
        {"service",
         {"7", "pbap", "PHONEBOOK_PBAP_SERVICE"},
         "    7  PBAP  PHONEBOOK_PBAP_SERVICE\n"},
        {"service", {"HANDS_FREE_SERVICE"}, "    1  HandsFree  HANDS_FREE_SERVICE\n"},
        {"transport", {"0", "TransportNone"}, "    0  TransportNone  TRANSPORT_NONE\n"},
        {"module", {"26", "common"}, "   26  COMMON\n"},
        {"charset", {"106", "0X6A", "utf-8"}, "  106  UTF-8\n"},
        {"level-name", {"3", "warn"}, "    3  Warn  COMMON_LogLevelWarn\n"},
    };
    for (const Case& its : cases) {
        for (const char* const wanted : its.wanted) {
            const Outcome outcome = tell({its.table, wanted});
            EXPECT_THAT(outcome, exited(0));
            EXPECT_EQ(outcome.out, its.line) << wanted;
        }
    }
}

TEST(CommonctlNames, WhatIsInNoTableIsAFailure)
{
    for (const char* const wanted :
         {"99", "124", "Time", "0x", "4294967297", "121x", "12 1", "\x1b"}) {
        const Outcome outcome = tell({"status", wanted});
        EXPECT_THAT(outcome, exited(1));
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr("\"commonctl status\" lists all\n"));
    }
    EXPECT_EQ(tell({"charset", "invalid\n"}).err,
              "commonctl: there is no charset \"invalid\\x0a\"; \"commonctl charset\" lists all\n");
    EXPECT_THAT(tell({"status", "1", "2"}), exited(2));
}

TEST(CommonctlNames, JsonIsAnObjectALine)
{
    EXPECT_EQ(tell({"status", "-o", "json", "121"}).out,
              "{\"code\":121,\"text\":\"Time Out\",\"symbol\":\"STATUS_TIMEOUT\"}\n");
    EXPECT_EQ(tell({"charset", "-o", "json", "2"}).out, "{\"code\":2,\"text\":\"Reserved\"}\n");
}

TEST(CommonctlNames, WithoutACodeThereAreAll)
{
    EXPECT_EQ(tell({"transport"}).out, "    0  TransportNone       TRANSPORT_NONE\n"
                                       "    1  TransportBluetooth  TRANSPORT_BLUETOOTH\n"
                                       "    2  TransportEmbedded   TRANSPORT_EMBEDDED\n"
                                       "    3  TransportCradle     TRANSPORT_CRADLE\n"
                                       "    4  TransportWDC        TRANSPORT_WDC\n"
                                       "    5  TransportDDC        TRANSPORT_DDC\n");
}

TEST(CommonctlNames, OfAModuleThatIsThereTwiceAreBoth)
{
    EXPECT_EQ(commonctl::find_codes({{1, "A", ""}, {2, "B", ""}, {3, "a", ""}}, "a").size(), 2U);
    // What has no symbol is not found by none.
    EXPECT_EQ(commonctl::find_codes({{1, "A", ""}}, "").size(), 0U);
}

TEST(CommonctlNames, ModulesOfTheConfigurationAreTold)
{
    const FreshSetup setup{.files = {{"/oxa/slog/oxa_logger.cfg", "TUNER\nB\xffT\n"}}};
    EXPECT_EQ(tell({"module", "tuner"}, setup).out, "  219  TUNER\n");
    EXPECT_EQ(tell({"module", "220", "-o", "json"}, setup).out,
              "{\"code\":220,\"text\":\"B\xef\xbf\xbdT\"}\n");
    EXPECT_THAT(tell({"module", "219"}), exited(1));
}

// The tables have no number less or more than the library, and its names.
FRESH_TEST(CommonctlNames, AreTheLibrarysOwn)
{
    const std::vector<Code> statuses = codes_of("status");
    for (const Code& code : statuses) {
        EXPECT_EQ(code.text, StatusToStr(code.number));
        EXPECT_EQ(StatusStrToStatus(code.symbol.c_str()), code.number);
    }
    EXPECT_EQ(statuses.size(), 24U);
    for (STATUS status = 0; status < 1000; ++status) {
        const bool known = std::string(StatusToStr(status)) != "UNKNOWN";
        EXPECT_EQ(known, status != STATUS_UNRECOGNISED &&
                             std::ranges::count(statuses, status, &Code::number) == 1);
    }
    const std::vector<Code> services = codes_of("service");
    int known_symbols = 0;
    for (const Code& code : services) {
        EXPECT_EQ(code.text, ServiceToStr(code.number));
        const SERVICE service = ServiceStrToService(code.symbol.c_str());
        EXPECT_TRUE(service == UNKNOWN_SERVICE || service == code.number) << code.symbol;
        known_symbols += service != UNKNOWN_SERVICE ? 1 : 0;
    }
    EXPECT_EQ(known_symbols, 16);
    EXPECT_EQ(services.size(), 26U);
    EXPECT_EQ(codes_of("transport").size(), 6U);
    const std::vector<Code> levels = codes_of("level-name");
    EXPECT_EQ(levels.size(), 8U);
    for (const Code& code : levels) {
        EXPECT_EQ(code.symbol, "COMMON_LogLevel" + code.text);
    }
    const std::vector<Code> modules = codes_of("module");
    EXPECT_EQ(modules.size(), LOG_GetNumModules());
    for (const Code& code : modules) {
        EXPECT_EQ(code.text, LOG_GetModuleName(code.number));
    }
    const std::vector<Code> charsets = codes_of("charset");
    EXPECT_EQ(charsets.front().text, "Reserved");
    EXPECT_EQ(charsets.back().number, 2259U);
    for (const Code& code : charsets) {
        EXPECT_EQ(code.text, CHARSET_GetName(code.number));
    }
}

}  // namespace
