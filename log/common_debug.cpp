#include "common_debug.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>

#include "common_process.h"
#include "common_system.h"
#include "common_thread.h"
#include "foundation/hex_text.h"
#include "foundation/initialisation.h"
#include "foundation/settings_text.h"
#include "foundation/source.h"
#include "log/debug_settings.h"
#include "mem_malloc.h"
#include "platform/assertion.h"
#include "platform/errno_keeper.h"
#include "thread/clock.h"

using common::debug::settings;

namespace {

constexpr common::Source kSource{"common_debug"};
constexpr char kSettingsFile[] = "/config/common/debug/settings.txt";

constinit pthread_once_t debug_once = PTHREAD_ONCE_INIT;
constinit bool once_called = false;

constinit std::atomic<std::uint32_t> write_counter{0};
constinit std::atomic<bool> header_written{false};
constinit std::atomic<bool> process_id_wanted{true};
constinit std::atomic<std::uint32_t> process_id{0};

void threadOnce() noexcept
{
    if (once_called) {
        return;  // again, in a child forked from within
    }
    once_called = true;
    const common::InitScope scope(common::InitRank::Debug);
    common::read_settings(kSettingsFile, common::debug::parse_variable, kSource.name,
                          kSettingsFile);
    common::read_environment(common::debug::parse_variable);
}

void initialise() noexcept
{
    if (common::may_initialise(common::InitRank::Debug)) {
        COMMON_Thread_Once(&debug_once, threadOnce);
    }
}

const char* stream_name(const FILE* stream) noexcept
{
    if (stream == stdout) {
        return "stdout";
    }
    return stream == stderr ? "stderr" : "file";
}

void write_header(FILE* stream) noexcept
{
    static constexpr char kDashes[] =
        "------  ------:--:--.---------  ---  --------  ---------------  "
        "------------------------------  ------------------------------  ----  -------\n";
    std::fputc('\n', stream);
    std::fputs(kDashes, stream);
    std::fputs("   FID  Day.HH:MM:SS.mmmuuunnn  TID  Level     Zone             "
               "File                            Function/Method                 Line  Message\n",
               stream);
    std::fputs(kDashes, stream);
}

void unlock_stream(void* stream) noexcept
{
    funlockfile(static_cast<FILE*>(stream));
}

COMMON_PRINTF(5, 0)
void debugWriteV(FILE* stream, const char* file, const char* function, std::int32_t line,
                 const char* format, va_list args) noexcept
{
    const common::ErrnoKeeper callers_errno;
    initialise();
    if (settings.enable != 1) {
        return;
    }
    COMMON_ASSERT(kSource, stream != nullptr, "((void *)0) != std");
    COMMON_ASSERT(kSource, file != nullptr, "((void *)0) != file");
    COMMON_ASSERT(kSource, function != nullptr, "((void *)0) != function");
    COMMON_ASSERT(kSource, format != nullptr, "((void *)0) != format");
    if (process_id_wanted.exchange(false)) {
        process_id.store(COMMON_Process_Id());
    }
    const std::uint64_t time = COMMON_System_Time();
    const std::uint64_t seconds = time / common::kNanosecondsPerSecond;
    char ptm[common::kLocalTimeCapacity];
    COMMON_ASSERT(kSource, common::local_time_text(seconds, ptm), "((void *)0) != ptm");

    flockfile(stream);
    pthread_cleanup_push(unlock_stream, stream);
    if (!header_written.exchange(true)) {
        write_header(stream);
    }
    std::fprintf(stream, "%6u  %03u.%s.%09u   %2u  %-8s  %-15s  %-30s  %-30s  %4u  ",
                 write_counter.fetch_add(1) + 1,
                 static_cast<unsigned>(seconds / common::kSecondsPerDay), ptm,
                 static_cast<unsigned>(time % common::kNanosecondsPerSecond),
                 static_cast<unsigned>(COMMON_Thread_Self()), stream_name(stream), "", file,
                 function, static_cast<unsigned>(line));
    callers_errno.restore();
    std::vfprintf(stream, format, args);
    std::fputc('\n', stream);
    std::fflush(stream);
    pthread_cleanup_pop(1);
}

COMMON_PRINTF(5, 6)
void debugWrite(FILE* stream, const char* file, const char* function, std::int32_t line,
                const char* format, ...) noexcept
{
    va_list args;
    va_start(args, format);
    debugWriteV(stream, file, function, line, format, args);
    va_end(args);
}

/// How a dump is cut into rows.
struct DumpShape {
    std::uint32_t row_length;
    std::uint32_t rows;

    std::uint32_t row_width() const noexcept { return common::dump_row_width(row_length); }
    std::uint32_t text_size() const noexcept { return row_width() * rows + 1; }
};

DumpShape dump_shape(std::uint32_t length) noexcept
{
    const bool usable = settings.rowLength >= common::debug::kMinimumRowLength &&
                        settings.rowLength <= common::debug::kMaximumRowLength;
    DumpShape shape{usable ? settings.rowLength : common::debug::kDefaultRowLength, 0};
    const std::uint32_t rows = length / shape.row_length + (length % shape.row_length != 0 ? 1 : 0);
    shape.rows = std::min(rows, (UINT32_MAX - 1) / shape.row_width());
    return shape;
}

}  // namespace

extern "C" {

uint32_t COMMON_Debug_GetEnable(void)
{
    initialise();
    return settings.enable;
}

void COMMON_Debug_Write(FILE* stream, const char* file, const char* function, int32_t line,
                        const char* format, ...)
{
    va_list args;
    va_start(args, format);
    debugWriteV(stream, file, function, line, format, args);
    va_end(args);
}

void COMMON_Debug_WriteV(FILE* stream, const char* file, const char* function, int32_t line,
                         const char* format, va_list args)
{
    debugWriteV(stream, file, function, line, format, args);
}

void COMMON_Debug_HexDump(const char* file, const char* function, int32_t line,
                          const char* variableName, const void* address, uint32_t length)
{
    const common::ErrnoKeeper keep;
    initialise();
    COMMON_ASSERT(kSource, file != nullptr, "((void *)0) != file");
    COMMON_ASSERT(kSource, function != nullptr, "((void *)0) != function");
    COMMON_ASSERT(kSource, variableName != nullptr, "((void *)0) != variable");
    if (settings.enable != 1) {
        return;
    }
    if (address == nullptr) {
        debugWrite(stdout, file, function, line, "%s is NULL", variableName);
    }
    if (length == 0) {
        debugWrite(stdout, file, function, line, "%s has zero length", variableName);
    }
    if (address == nullptr || length == 0) {
        return;
    }
    const DumpShape shape = dump_shape(length);
    auto* const text = static_cast<char*>(MEM_Salloc(shape.text_size()));
    const auto* const bytes = static_cast<const std::uint8_t*>(address);
    for (std::uint32_t row = 0; row < shape.rows; ++row) {
        const std::uint32_t offset = row * shape.row_length;
        common::write_dump_row(text + std::size_t{row} * shape.row_width(), shape.row_length,
                               bytes + offset, std::min(shape.row_length, length - offset));
    }
    pthread_cleanup_push(MEM_Free, text);
    debugWrite(stdout, file, function, line, "%u byte(s) at: \"%s\"\n%s", length, variableName,
               text);
    pthread_cleanup_pop(1);
}

void COMMON_Debug_Panic(void)
{
    COMMON_System_Exec("pidin");
    COMMON_System_Exit(1);
}

}  // extern "C"
