// Runs one hot operation a number of times, for counting its instructions
// (bench/count_instructions).
#include <syslog.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common_log.h"
#include "data.h"
#include "hex_peers.h"
#include "hsm_calls.h"
#include "mem_malloc.h"
#include "plain_record.h"
#include "two_compares.h"

namespace {

volatile unsigned sink;

void check_level()
{
    sink = COMMON_Log_Acceptable(COMMON_LogLevelVerbose);
}

void check_two_compares()
{
    sink = static_cast<unsigned>(two_compares(COMMON_LogLevelVerbose));
}

void record_ours()
{
    COMMON_Log_Write(COMMON_LogLevelInfo, 4095, "MEDIA", "media_scanner.cpp", "scan_folder", 217,
                     MESSAGE_FORMAT, MESSAGE_VALUES);
}

void record_syslog_formatting()
{
    bench::write_plain_record("hot_loop");
}

constexpr char kDigits[] = "00112233445566778899AABBccddeeff";

void hex_to_text()
{
    MEM_Free(DATA_HexToAscii(kDigits, 16));
}

void hex_to_text_copied()
{
    give_back(text_copied(kDigits, 16));
}

void hex_from_text()
{
    DATA_ArrayDelete(DATA_AsciiToHex(kDigits));
}

void hex_from_text_copied()
{
    give_back_bytes(bytes_copied(kDigits));
}

void hex_dump()
{
    static char area[1024];
    MEM_Free(DATA_HexDump(area, sizeof area));
}

template <typename Machine, auto load>
void dispatch()
{
    static Machine machine;
    (machine.*load)();
}

#define DISPATCHES(name, Machine)                                \
    {name "_internal", dispatch<Machine, &Machine::internal>},   \
        {name "_bubble", dispatch<Machine, &Machine::bubble>},   \
        {name "_sibling", dispatch<Machine, &Machine::sibling>}, \
    {                                                            \
        name "_deep", dispatch<Machine, &Machine::deep>          \
    }

struct Operation {
    const char* name;
    void (*run)();
};

constexpr Operation kOperations[] = {
    {"check_level", check_level},
    {"check_two_compares", check_two_compares},
    {"record_ours", record_ours},
    {"record_syslog_formatting", record_syslog_formatting},
    {"hex_to_text", hex_to_text},
    {"hex_to_text_copied", hex_to_text_copied},
    {"hex_from_text", hex_from_text},
    {"hex_from_text_copied", hex_from_text_copied},
    {"hex_dump", hex_dump},
    DISPATCHES("hsm", bench::HsmMachine),
    DISPATCHES("hsm_by_hand", bench::HsmByHand),
    DISPATCHES("ls_hsm", bench::LsMachine),
    DISPATCHES("ls_hsm_by_hand", bench::LsByHand),
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 1) {
        for (const Operation& operation : kOperations) {
            std::puts(operation.name);
        }
        return 0;
    }
    for (const Operation& operation : kOperations) {
        if (argc == 3 && std::strcmp(argv[1], operation.name) == 0) {
            openlog(nullptr, LOG_NDELAY, LOG_USER);
            for (long count = std::strtol(argv[2], nullptr, 10); count > 0; --count) {
                operation.run();
            }
            return 0;
        }
    }
    std::fputs("usage: hot_loop [OPERATION COUNT]\n", stderr);
    return 2;
}
