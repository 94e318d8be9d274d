// Records that are longer than the buffer they are usually made in: the memory that they take, and
// what becomes of them without it.
#include <cerrno>
#include <string>

#include "fault.h"
#include "log_calls.h"

namespace {

using namespace harness;
using fault::Call;
using testing::ElementsAre;
using testing::SizeIs;

TEST(CommonLogLongRecord, WithoutMemoryIsCutButSent)
{
    const std::string zone(5000, 'z');
    const std::string file(5000, 'f');
    const std::string function(5000, 'g');
    const std::string message(1023, 'm');
    const Outcome outcome = well([&] {
        log_message(kInfo, "has its own record now");
        fault::fail_always(Call::malloc);
        COMMON_Log_Write(kInfo, kZoneNumber, zone.c_str(), file.c_str(), function.c_str(), 12, "%s",
                         message.c_str());
        EXPECT_EQ(fault::fired(), 1);
    });
    ASSERT_THAT(outcome.log, SizeIs(2));
    const LayoutFields fields = fields_of(outcome.log[1]);
    EXPECT_EQ(fields.zone, zone.substr(0, 120));
    EXPECT_EQ(fields.file, file.substr(0, 120));
    EXPECT_EQ(fields.function, function.substr(0, 120));
    EXPECT_EQ(fields.line, 12);
    EXPECT_EQ(fields.message, message);
}

TEST(CommonLogLongRecord, IsWhatTakesMemory)
{
    // The sizes around which a record is formatted where it is sent from, formatted apart from it,
    // and sent from a block of its own, with messages of all lengths.
    constexpr struct {
        unsigned texts;
        unsigned message;
        int blocks;
    } kCases[] = {
        {3, 1023, 0},    {100, 1023, 0}, {385, 1023, 0}, {386, 1023, 0},  {500, 1023, 0},
        {1500, 0, 0},    {1500, 1, 0},   {1500, 300, 0}, {1500, 1023, 1}, {3000, 0, 1},
        {3000, 1023, 1}, {9000, 10, 1},  {3, 0, 0},
    };
    for (const auto& [texts, length, blocks] : kCases) {
        const std::string zone(texts - 2, 'z');
        const std::string message(length, 'm');
        const Outcome outcome = well([&, blocks = blocks] {
            log_message(kInfo, "has its own record now");
            const long held = fault::outstanding_blocks();
            const int before = fault::calls(Call::malloc);
            COMMON_Log_Write(kInfo, kZoneNumber, zone.c_str(), "f", "g", 12, "%s", message.c_str());
            EXPECT_EQ(fault::calls(Call::malloc) - before, blocks);
            EXPECT_EQ(fault::outstanding_blocks(), held);
            log_message(kInfo, "next");
        });
        EXPECT_THAT(outcome.log,
                    ElementsAre(said(kInfo, "has its own record now"),
                                said(kInfo, zone, "f", "g", message), said(kInfo, "next")))
            << texts << " and " << length;
    }
}

TEST(CommonLogLongRecord, AnyOfItsTextsMayBeLong)
{
    const std::string zone(1500, 'z');
    const std::string file(1500, 'f');
    const std::string function(1500, 'g');
    const std::string message(1023, 'm');
    const struct {
        const char* zone;
        const char* file;
        const char* function;
    } kCases[] = {{zone.c_str(), file.c_str(), "g"},
                  {zone.c_str(), "f", function.c_str()},
                  {"z", file.c_str(), function.c_str()}};
    for (const auto& each : kCases) {
        const Outcome outcome = well([&] {
            COMMON_Log_Write(kInfo, kZoneNumber, each.zone, each.file, each.function, 12, "%s",
                             message.c_str());
            log_message(kInfo, "next");
        });
        EXPECT_THAT(outcome.log,
                    ElementsAre(said(kInfo, each.zone, each.file, each.function, message),
                                said(kInfo, "next")));
    }
}

TEST(CommonLogLongRecord, EndsWhereItEndsBehindALongerOne)
{
    const std::string zone(1500, 'z');
    const std::string message(300, 'm');
    const Outcome outcome = well([&] {
        for (const std::string& each : {message, std::string("n")}) {
            COMMON_Log_Write(kInfo, kZoneNumber, zone.c_str(), "f", "g", 12, "%s", each.c_str());
        }
    });
    EXPECT_THAT(outcome.log, ElementsAre(said(kInfo, zone, "f", "g", message),
                                         said(kInfo, zone, "f", "g", "n")));
}

TEST(CommonLogLongRecord, ShowsTheErrnoOfTheCaller)
{
    const std::string zone(5000, 'z');
    const Outcome outcome = well([&] {
        const UncheckedWrite log_write = COMMON_Log_Write;
        for (const int error : {ENOENT, EXDEV}) {
            errno = error;
            log_write(kInfo, kZoneNumber, zone.c_str(), "file.c", "function", 7, "%m");
        }
    });
    EXPECT_THAT(outcome.log,
                ElementsAre(said(kInfo, zone, "file.c", "function", "No such file or directory"),
                            said(kInfo, zone, "file.c", "function", "Invalid cross-device link")));
}

}  // namespace
