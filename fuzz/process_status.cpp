// The status file of a process with any text: both readers of the name in it, and what reads its
// lines, give what a plain model of them does. The input: two bytes for sizes, and the file.
#include <array>
#include <cstring>
#include <string>

#include "common.h"
#include "common_process.h"
#include "platform/line_reader.h"
#include "support/choices.h"
#include "support/files.h"
#include "support/input.h"
#include "support/lines.h"

namespace {

constexpr std::uint32_t kPid = 4'000'000'000;  // of no process
constexpr std::size_t kMostRoom = 64;

/// The name that COMMON_Process_GetById() finds: all that stands behind the key.
std::string whole_name(std::string_view text)
{
    constexpr std::string_view kKey = "Name:\t";
    for (const std::string& piece : fuzz::pieces_of(text, 256)) {
        if (piece.starts_with(kKey)) {
            return fuzz::seen_of(piece.substr(kKey.size()));
        }
    }
    return "";
}

/// The name that UTIL_GetProcessName() finds: the second word of a line whose first is the key.
/// @return whether there is one.
bool first_word(std::string_view text, std::string& name)
{
    constexpr std::string_view kBlanks = " \t\n\v\f\r";
    for (const std::string& piece : fuzz::pieces_of(text, 255)) {
        const std::string line = piece.substr(0, piece.find('\0'));
        const auto key = line.find_first_not_of(kBlanks);
        const auto key_end = line.find_first_of(kBlanks, key);
        const auto value = line.find_first_not_of(kBlanks, key_end);
        if (value != std::string::npos && line.substr(key, key_end - key) == "Name:") {
            name = line.substr(value, line.find_first_of(kBlanks, value) - value);
            return true;
        }
    }
    return false;
}

void check_record(std::string_view text)
{
    COMMON_Process record;
    std::memset(&record, 0xa5, sizeof record);
    FUZZ_CHECK(COMMON_Process_GetById(kPid, &record) == STATUS_SUCCESS);
    const std::string name = whole_name(text);
    FUZZ_CHECK(record.name == record.buffer && record.name == name);
    FUZZ_CHECK(record.nameLength == name.size() && record.bufferLength == name.size());
    FUZZ_CHECK(record.id == kPid && record.loaded == 1);
    FUZZ_CHECK(std::strcmp(record.path, "/proc/4000000000/status") == 0);
}

/// As strncpy(3) copies, and not a byte more.
void check_copy(std::string_view text, std::uint32_t size)
{
    std::array<char, kMostRoom + 1> got;
    got.fill('?');
    std::array<char, kMostRoom + 1> expected = got;
    std::string name;
    const bool found = first_word(text, name);
    for (std::size_t i = 0; found && i < size; ++i) {
        expected[i] = i < name.size() ? name[i] : '\0';
    }
    FUZZ_CHECK(UTIL_GetProcessName(kPid, got.data(), size) == (found ? 1U : 0U));
    FUZZ_CHECK(got == expected);
}

void check_lines(const std::string& path, std::string_view text, std::size_t capacity)
{
    common::LineReader reader;
    FUZZ_CHECK(reader.open(path.c_str()));
    const std::unique_ptr<char[]> line(new char[capacity]);
    for (const std::string& piece : fuzz::pieces_of(text, capacity)) {
        FUZZ_CHECK(reader.next(line.get(), capacity));
        FUZZ_CHECK(piece == std::string_view(line.get(), piece.size()));
        FUZZ_CHECK(line[piece.size()] == '\0');
    }
    FUZZ_CHECK(!reader.next(line.get(), capacity) && line[0] == '\0');
    FUZZ_CHECK(reader.close() == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static fuzz::File file("/proc/4000000000/status");
    fuzz::Choices choices(data, size);
    const unsigned room = choices.below(kMostRoom + 1);
    const std::size_t capacity = 2 + choices.byte() * std::size_t{4};
    const std::string_view text(reinterpret_cast<const char*>(choices.rest()), choices.left());

    file.write(text);
    check_record(text);
    check_copy(text, room);
    check_lines(file.path(), text, capacity);
    FUZZ_CHECK(UTIL_FindPid(kPid) == 1);
    return 0;
}
