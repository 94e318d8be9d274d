#include "summary.h"

#include <cinttypes>
#include <cstdio>
#include <memory>
#include <vector>

#include "common_log_settings.h"
#include "counted_log.h"
#include "mem_malloc.h"
#include "oxa_file.h"
#include "oxavar.h"

namespace scanner {

COMMON_LOG_MODULE(zones().scanner);

namespace {

struct FreeVariant {
    void operator()(COMMON_OXAVar* variant) const noexcept { COMMON_OXAVarFree(variant); }
};
using Variant = std::unique_ptr<COMMON_OXAVar, FreeVariant>;

struct FreeText {
    void operator()(char* text) const noexcept { MEM_Free(text); }
};
using Text = std::unique_ptr<char, FreeText>;

/// Makes a variant an array of a name and a number, which fits when it is a count.
void set_pair(COMMON_OXAVar* variant, const char* name, std::uint64_t number)
{
    COMMON_OXAVarArrayAllocAt(variant, 2);
    COMMON_OXAVarSetString(&variant->value.elements[0], name);
    COMMON_OXAVarSetInt(&variant->value.elements[1], static_cast<std::int32_t>(number));
}

/// {folder, {"folders", 4}, {"files", 3}, ..., {{"mp3", 2}, ...}}
Variant as_variant(const std::string& folder, const Totals& totals, const std::vector<Kind>& kinds)
{
    Variant all{COMMON_OXAVarArrayAlloc(6)};
    COMMON_OXAVar* const elements = all->value.elements;
    COMMON_OXAVarSetString(&elements[0], folder.c_str());
    set_pair(&elements[1], "folders", totals.folders.load());
    set_pair(&elements[2], "files", totals.files.load());
    set_pair(&elements[3], "links", totals.links.load());
    set_pair(&elements[4], "unreadable", totals.unreadable.load());
    COMMON_OXAVarArrayAllocAt(&elements[5], static_cast<std::uint32_t>(kinds.size()));
    COMMON_OXAVar* element = elements[5].value.elements;
    for (const Kind& kind : kinds) {
        set_pair(element++, kind.ending.c_str(), kind.files);
    }
    return all;
}

/// Writes the serialised form, which another process reads back. What fails is logged.
bool write_report(const char* path, const COMMON_OXAVar* variant)
{
    std::vector<char> bytes(COMMON_OXAVarGetSerializedSize(variant));
    const auto count = static_cast<std::int32_t>(
        COMMON_OXAVarSerialize(bytes.data(), variant, static_cast<std::uint32_t>(bytes.size())));
    return FILE_OpenAndWrite(bytes.data(), 1, count, path) == count;
}

}  // namespace

bool print_summary(const Options& options, const Totals& totals, const MediaKinds& kinds,
                   double seconds)
{
    const std::string& folder = options.folder;
    std::printf("Scanned %s in %.3f s\n", folder.c_str(), seconds);
    std::printf("folders    %12" PRIu64 "\n", totals.folders.load());
    std::printf("files      %12" PRIu64 "\n", totals.files.load());
    std::printf("links      %12" PRIu64 "\n", totals.links.load());
    std::printf("bytes      %12" PRIu64 "\n", totals.bytes.load());
    std::printf("unreadable %12" PRIu64 "\n", totals.unreadable.load());
    std::printf("\nrecords        accepted     rejected\n");
    COMMON_LogLevel_t level = 0;
    for (const LevelCount& count : level_counts()) {
        std::printf("%-10s %12" PRIu64 " %12" PRIu64 "\n", COMMON_LogLevel_ToString(level++),
                    count.accepted.load(), count.rejected.load());
    }
    const std::vector<Kind> media = kinds.most_first();
    std::printf("\nmedia             files        bytes\n");
    for (const Kind& kind : media) {
        std::printf("%-10s %12" PRIu64 " %12" PRIu64 "\n", kind.ending.c_str(), kind.files,
                    kind.bytes);
    }
    const Variant summary = as_variant(folder, totals, media);
    const Text text{COMMON_OXAVarToString(summary.get())};
    std::printf("\n%s\n", text.get());
    return !options.report || write_report(options.report->c_str(), summary.get());
}

void log_totals(const Options& options, const Totals& totals, const char* how_it_went)
{
    const COMMON_LogFormat_t layout = COMMON_Log_FormatGet();
    COMMON_Log_FormatSet(options.layout.value_or(COMMON_LogFormatLegacy));
    COMMON_LOG_AT(counted(COMMON_LogLevelNote),
                  "Scan of %s %s: %" PRIu64 " folders, %" PRIu64 " files, %" PRIu64 " unreadable",
                  options.folder.c_str(), how_it_went, totals.folders.load(), totals.files.load(),
                  totals.unreadable.load());
    COMMON_Log_FormatSet(layout);
}

}  // namespace scanner
