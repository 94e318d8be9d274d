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
#include "list_light.h"
#include "mem_malloc.h"
#include "memory_peers.h"
#include "oxavar.h"
#include "plain_expression.h"
#include "plain_record.h"
#include "regexp.h"
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

void zeroed_ours()
{
    MEM_Free(MEM_Salloc(128));
}

void zeroed_plain()
{
    plain_free(plain_zeroed(128));
}

void light_list_ours()
{
    static ListLight list;
    ListLight_PushBack(&list, &list);
    ListLight_PopFront(&list);
}

void light_list_chain()
{
    static plain_list list;
    plain_push(&list, &list);
    plain_pop(&list);
}

/// Built, serialised, read back and released: an integer, a text and an array of four integers.
void variant()
{
    COMMON_OXAVar var{};
    COMMON_OXAVarArrayAllocAt(&var, 3);
    COMMON_OXAVar* const elements = var.value.elements;
    COMMON_OXAVarSetInt(&elements[0], 4711);
    COMMON_OXAVarSetString(&elements[1], "a title");
    COMMON_OXAVarArrayAllocAt(&elements[2], 4);
    for (std::int32_t index = 0; index < 4; ++index) {
        COMMON_OXAVarSetInt(&elements[2].value.elements[index], index);
    }
    char buffer[128];
    sink = COMMON_OXAVarSerialize(buffer, &var, sizeof buffer);
    sink = COMMON_OXAVarDeserialize(buffer, &var);
    COMMON_OXAVarClear(&var);
}

constexpr char kArrayBytes[48] = {'a', 'b', 'c'};

void array_ours()
{
    DATA_ArrayDelete(DATA_ArrayNewWithDataLength(64, kArrayBytes, 48));
}

void array_plain()
{
    plain_array_delete(plain_array_new(64, kArrayBytes, 48));
}

void record_syslog_finished()
{
    static const char* const text = bench::finished_record();
    syslog(LOG_USER | LOG_INFO, "%s", text);
}

constexpr const char* kArtist = "an (artist)/(an album)";
constexpr const char* kName = "/media/music/an artist/an album/01 a title.flac";
constexpr const char* kComposer = "a composer";

void replace_first_ours()
{
    static RegExp* const regexp = RegExp_New(kArtist, 1);
    sink = static_cast<unsigned char>(*RegExp_Replace(regexp, kName, kComposer, 0));
}

void replace_first_by_hand()
{
    static bench::Expression expression(kArtist);
    sink = static_cast<unsigned char>(*expression.replace_first(kName, kComposer));
}

void groups_ours()
{
    static RegExp* const regexp = RegExp_New(kArtist, 1);
    sink = RegExp_MatchSubExp(regexp, kName, 0) != nullptr ? 1 : 0;
}

void groups_by_hand()
{
    static bench::Expression expression(kArtist);
    sink = expression.groups(kName) != nullptr ? 1 : 0;
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
    {"zeroed_ours", zeroed_ours},
    {"zeroed_plain", zeroed_plain},
    {"light_list_ours", light_list_ours},
    {"light_list_chain", light_list_chain},
    {"array_ours", array_ours},
    {"array_plain", array_plain},
    {"variant", variant},
    {"record_syslog_finished", record_syslog_finished},
    {"replace_first_ours", replace_first_ours},
    {"replace_first_by_hand", replace_first_by_hand},
    {"groups_ours", groups_ours},
    {"groups_by_hand", groups_by_hand},
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
