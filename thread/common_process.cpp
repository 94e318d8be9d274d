#include "common_process.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include "common_thread.h"
#include "foundation/initialisation.h"
#include "log/report.h"
#include "platform/assertion.h"
#include "platform/line_reader.h"
#include "thread/process_name.h"

static_assert(offsetof(COMMON_Process, id) == 0);
static_assert(offsetof(COMMON_Process, path) == 4);
static_assert(offsetof(COMMON_Process, buffer) == 261);
static_assert(offsetof(COMMON_Process, bufferLength) == 520);
static_assert(offsetof(COMMON_Process, name) == (sizeof(void*) == 4 ? 524 : 528));
static_assert(offsetof(COMMON_Process, nameLength) ==
              offsetof(COMMON_Process, name) + sizeof(void*));
static_assert(offsetof(COMMON_Process, loaded) == offsetof(COMMON_Process, nameLength) + 4);
static_assert(sizeof(COMMON_Process) == (sizeof(void*) == 4 ? 536 : 544));

namespace {

constexpr common::Source kSource{"common_process"};
constexpr char kNameKey[] = "Name:\t";

/// The calling process. Written once, under calling_process_once, and read only when it is whole. A
/// child forked while another thread was loading it loads it again: for its own id.
constinit COMMON_Process loaded_process{};
constinit std::atomic<bool> loaded_once{false};
constinit pthread_once_t calling_process_once = PTHREAD_ONCE_INIT;

/// Reads lines into the record's buffer up to the one with the name: the text after its key, or
/// null.
const char* find_name(common::LineReader& file, COMMON_Process& record) noexcept
{
    while (file.next(record.buffer, sizeof record.buffer)) {
        if (std::strncmp(record.buffer, kNameKey, sizeof kNameKey - 1) == 0) {
            char* const name = record.buffer + sizeof kNameKey - 1;
            common::cut_newline(name);
            return name;
        }
    }
    return nullptr;
}

STATUS load(std::uint32_t pid, COMMON_Process* copy) noexcept
{
    COMMON_ASSERT(kSource, copy != nullptr, "((void *)0) != copy");
    copy->id = pid;
    std::snprintf(copy->path, sizeof copy->path, "/proc/%u/status", pid);
    common::LineReader file;
    if (!file.open(copy->path)) {
        const int error = errno;
        COMMON_ROW(kSource, stderr, "Failed to fopen '%s' with error: %s (%d)", copy->path,
                   std::strerror(error), error);
        return STATUS_FAILED;
    }
    copy->name = nullptr;
    const char* const name = find_name(file, *copy);
    const std::size_t length = name == nullptr ? 0 : std::strlen(name);
    if (length != 0) {
        std::memmove(copy->buffer, name, length);
    }
    copy->buffer[length] = '\0';
    copy->name = copy->buffer;
    if (const int error = file.close(); error != 0) {
        COMMON_ROW(kSource, stderr, "Failed to fclose the file %s with error: %s (%d)", copy->path,
                   std::strerror(error), error);
    }
    copy->bufferLength = copy->nameLength = static_cast<std::uint32_t>(length);
    copy->loaded = 1;
    return STATUS_SUCCESS;
}

void load_calling_process() noexcept
{
    if (loaded_once.load()) {
        return;
    }
    const common::InitScope scope(common::InitRank::Process);
    const STATUS status = load(static_cast<std::uint32_t>(getpid()), &loaded_process);
    COMMON_ASSERT(kSource, status == STATUS_SUCCESS, "STATUS_SUCCESS == status");
    loaded_once.store(true, std::memory_order_release);
}

void initialise() noexcept
{
    if (common::may_initialise(common::InitRank::Process)) {
        COMMON_Thread_Once(&calling_process_once, load_calling_process);
    }
}

/// The calling process as far as it is known.
const COMMON_Process& calling_process() noexcept
{
    return loaded_once.load(std::memory_order_acquire) ? loaded_process : COMMON_Process_NULL;
}

constexpr bool is_blank(char byte) noexcept
{
    return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

/// Cuts the next word out of a line: null when there is none. `rest` is left behind it.
char* next_word(char*& rest) noexcept
{
    while (is_blank(*rest)) {
        ++rest;
    }
    char* const word = rest;
    while (*rest != '\0' && !is_blank(*rest)) {
        ++rest;
    }
    if (*rest != '\0') {
        *rest++ = '\0';
    }
    return *word == '\0' ? nullptr : word;
}

}  // namespace

namespace common::process {

bool copy_name(std::uint32_t pid, char* destination, std::size_t size) noexcept
{
    char path[32];
    std::snprintf(path, sizeof path, "/proc/%u/%s", pid, "status");
    return copy_name_from(path, destination, size);
}

bool copy_name_from(const char* status_path, char* destination, std::size_t size) noexcept
{
    LineReader file;
    if (!file.open(status_path)) {
        return false;
    }
    char line[255];
    while (file.next(line, sizeof line)) {
        char* rest = line;
        const char* const key = next_word(rest);
        const char* const value = next_word(rest);
        if (key != nullptr && value != nullptr && std::strcmp(key, "Name:") == 0) {
            std::strncpy(destination, value, size);
            return true;
        }
    }
    return false;
}

}  // namespace common::process

extern "C" {

constexpr COMMON_Process COMMON_Process_NULL{0, "/proc/0", "", 0, "", 0, 0};

void COMMON_Process_Get(COMMON_Process* copy)
{
    COMMON_ASSERT(kSource, copy != nullptr, "((void *)0) != copy");
    initialise();
    // Oddity: the name keeps pointing into the library's record: callers rely on its outliving the
    // copy. Test: CommonProcess.CallingProcessIsCopied.
    *copy = calling_process();
}

STATUS COMMON_Process_GetById(uint32_t pid, COMMON_Process* copy)
{
    COMMON_ASSERT(kSource, copy != nullptr, "((void *)0) != copy");
    initialise();
    return load(pid, copy);
}

uint32_t COMMON_Process_Id(void)
{
    initialise();
    return calling_process().id;
}

}  // extern "C"
