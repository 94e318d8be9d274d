// Hexadecimal text, conversions, names of character sets and client descriptors, against peers.
#include <benchmark/benchmark.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "charset.h"
#include "client_descriptor.h"
#include "convert.h"
#include "data.h"
#include "hex_peers.h"
#include "mem_malloc.h"
#include "support/ratio_report.h"

#if HAVE_SODIUM
#include <sodium.h>
#endif

namespace {

constexpr std::uint32_t kSize = 64 * 1024;
constexpr std::uint32_t kShortSize = 16;

std::vector<std::uint8_t> some_bytes(std::size_t count)
{
    std::vector<std::uint8_t> bytes(count);
    std::uint32_t random = 4711;
    for (auto& byte : bytes) {
        random = random * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(random >> 24);
    }
    return bytes;
}

const std::uint8_t* bytes()
{
    static const std::vector<std::uint8_t> all = some_bytes(kSize);
    return all.data();
}

/// 64 KiB of digits.
const char* digits()
{
    static char* const all = DATA_HexToAscii(bytes(), kSize / 2);
    return all;
}

// ------------------------------------------------------------------------------ hexadecimal text

/// Allocates what the conversion of 64 KiB needs and copies as many bytes into it: the least that
/// a conversion can cost. Its argument is the size.
void allocate_and_copy(benchmark::State& state)
{
    const auto size = static_cast<std::size_t>(state.range(0));
    const std::vector<std::uint8_t> source = some_bytes(size);
    for (auto _ : state) {
        void* const block = std::malloc(size);
        std::memcpy(block, source.data(), size);
        benchmark::DoNotOptimize(block);
        benchmark::ClobberMemory();
        std::free(block);
    }
}
BENCHMARK(allocate_and_copy)->Arg(kSize / 2)->Arg(kSize)->Arg(std::int64_t{2} * kSize);

void hex_to_ascii(benchmark::State& state)
{
    for (auto _ : state) {
        char* const text = DATA_HexToAscii(bytes(), kSize);
        benchmark::DoNotOptimize(text);
        MEM_Free(text);
    }
}
BENCHMARK(hex_to_ascii);

void ascii_to_hex(benchmark::State& state)
{
    for (auto _ : state) {
        DATA_Array* const array = DATA_AsciiToHex(digits());
        benchmark::DoNotOptimize(array);
        DATA_ArrayDelete(array);
    }
}
BENCHMARK(ascii_to_hex);

void hex_dump(benchmark::State& state)
{
    for (auto _ : state) {
        char* const text = DATA_HexDump(bytes(), kSize);
        benchmark::DoNotOptimize(text);
        MEM_Free(text);
    }
}
BENCHMARK(hex_dump);

/// The two digits of each byte.
const char (*pairs())[2]
{
    static const auto all = [] {
        std::array<char[2], 256> made{};
        for (unsigned byte = 0; byte != 256; ++byte) {
            made[byte][0] = "0123456789ABCDEF"[byte >> 4];
            made[byte][1] = "0123456789ABCDEF"[byte & 15];
        }
        return made;
    }();
    return all.data();
}

void hex_dump_pairs(benchmark::State& state)
{
    for (auto _ : state) {
        char* const text = dump_by_pairs(bytes(), kSize, pairs());
        benchmark::DoNotOptimize(text);
        give_back(text);
    }
}
BENCHMARK(hex_dump_pairs);

void hex_to_ascii_short(benchmark::State& state)
{
    for (auto _ : state) {
        char* const text = DATA_HexToAscii(bytes(), kShortSize);
        benchmark::DoNotOptimize(text);
        MEM_Free(text);
    }
}
BENCHMARK(hex_to_ascii_short);

void hex_to_ascii_short_copied(benchmark::State& state)
{
    for (auto _ : state) {
        char* const text = text_copied(bytes(), kShortSize);
        benchmark::DoNotOptimize(text);
        give_back(text);
    }
}
BENCHMARK(hex_to_ascii_short_copied);

/// The digits of 16 bytes.
constexpr char kShortText[] = "00112233445566778899AABBccddeeff";

void ascii_to_hex_short(benchmark::State& state)
{
    for (auto _ : state) {
        DATA_Array* const array = DATA_AsciiToHex(kShortText);
        benchmark::DoNotOptimize(array);
        DATA_ArrayDelete(array);
    }
}
BENCHMARK(ascii_to_hex_short);

void ascii_to_hex_short_copied(benchmark::State& state)
{
    for (auto _ : state) {
        counted_bytes* const array = bytes_copied(kShortText);
        benchmark::DoNotOptimize(array);
        give_back_bytes(array);
    }
}
BENCHMARK(ascii_to_hex_short_copied);

void hex_dump_snprintf(benchmark::State& state)
{
    for (auto _ : state) {
        auto* const text = static_cast<char*>(std::malloc(3 * kSize + 1));
        for (std::size_t i = 0; i < kSize; ++i) {
            std::snprintf(text + 3 * i, 4, "%02X ", bytes()[i]);
        }
        benchmark::DoNotOptimize(text);
        std::free(text);
    }
}
BENCHMARK(hex_dump_snprintf);

#if HAVE_SODIUM
void hex_to_ascii_sodium(benchmark::State& state)
{
    for (auto _ : state) {
        auto* const text = static_cast<char*>(std::malloc(2 * kSize + 1));
        sodium_bin2hex(text, 2 * kSize + 1, bytes(), kSize);
        benchmark::DoNotOptimize(text);
        std::free(text);
    }
}
BENCHMARK(hex_to_ascii_sodium);

void ascii_to_hex_sodium(benchmark::State& state)
{
    for (auto _ : state) {
        auto* const block = static_cast<unsigned char*>(std::malloc(kSize / 2));
        std::size_t length = 0;
        const int status = sodium_hex2bin(block, kSize / 2, digits(), std::strlen(digits()),
                                          nullptr, &length, nullptr);
        benchmark::DoNotOptimize(status);
        benchmark::DoNotOptimize(block);
        std::free(block);
    }
}
BENCHMARK(ascii_to_hex_sodium);
#endif

// ----------------------------------------------------------------------------------- conversions

/// Words of 32 bits as devices print them, and short numbers.
constexpr const char* kWords[] = {"DEADBEEF", "7fffffff", "00c0ffee", "12345678",
                                  "FFFFFFFF", "0000A5A5", "80000000", "9abcdef0"};
constexpr const char* kShort[] = {"1A", "7", "0", "dead", "100", "c0de", "9", "FF"};

template <const char* const (&Numbers)[8]>
void convert(benchmark::State& state)
{
    errno = 0;
    for (auto _ : state) {
        for (const char* text : Numbers) {
            benchmark::DoNotOptimize(text);
            std::uint32_t value = 0;
            benchmark::DoNotOptimize(CONVERT_HexStrToU32(text, &value));
            benchmark::DoNotOptimize(value);
        }
    }
}
BENCHMARK(convert<kWords>)->Name("convert_words");
BENCHMARK(convert<kShort>)->Name("convert_short");

template <const char* const (&Numbers)[8]>
void convert_strtoul(benchmark::State& state)
{
    for (auto _ : state) {
        for (const char* text : Numbers) {
            benchmark::DoNotOptimize(text);
            benchmark::DoNotOptimize(std::strtoul(text, nullptr, 16));
        }
    }
}
BENCHMARK(convert_strtoul<kWords>)->Name("convert_words_strtoul");
BENCHMARK(convert_strtoul<kShort>)->Name("convert_short_strtoul");

void charset_name(benchmark::State& state)
{
    auto number = static_cast<std::uint32_t>(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(number);
        benchmark::DoNotOptimize(CHARSET_GetName(number));
    }
}
BENCHMARK(charset_name)->Arg(3)->Arg(2259)->Arg(UINT32_MAX);

// ----------------------------------------------------------------------------------- descriptors

/// Brings the number of descriptors in use, 1 to count, to a count.
void use_descriptors(std::int32_t count)
{
    static std::int32_t in_use = 0;
    for (; in_use < count; ++in_use) {
        (void)Allocate_Descriptor();
    }
    for (; in_use > count; --in_use) {
        Deallocate_Descriptor(in_use);
    }
}

/// Gives back and takes the first, the middle or the last of the descriptors in use.
template <int Place>
void descriptor(benchmark::State& state)
{
    const auto count = static_cast<std::int32_t>(state.range(0));
    const std::int32_t number = Place == 0 ? 1 : Place == 1 ? count / 2 : count;
    use_descriptors(count);
    for (auto _ : state) {
        Deallocate_Descriptor(number);
        benchmark::DoNotOptimize(Allocate_Descriptor());
    }
    state.SetItemsProcessed(2 * state.iterations());  // calls
}

/// What the same table costs when the gap is looked for place by place and each change sorts.
void descriptor_scan_and_sort(benchmark::State& state)
{
    const auto count = static_cast<std::size_t>(state.range(0));
    std::vector<std::int32_t> table(count);
    for (std::size_t i = 0; i < count; ++i) {
        table[i] = static_cast<std::int32_t>(i + 1);
    }
    const auto compare = [](const void* a, const void* b) {
        return *static_cast<const std::int32_t*>(a) - *static_cast<const std::int32_t*>(b);
    };
    const auto number = static_cast<std::int32_t>(count / 2);
    for (auto _ : state) {
        *static_cast<std::int32_t*>(std::bsearch(&number, table.data(), count, 4, compare)) =
            INT32_MAX;
        std::qsort(table.data(), count, 4, compare);
        std::size_t place = 0;
        while (table[place] == static_cast<std::int32_t>(place + 1)) {
            ++place;
        }
        table[count - 1] = static_cast<std::int32_t>(place + 1);
        std::qsort(table.data(), count, 4, compare);
        benchmark::DoNotOptimize(table.data());
    }
}

#define COUNTS ->Arg(10)->Arg(1'000)->Arg(100'000)
BENCHMARK_TEMPLATE(descriptor, 0) COUNTS;
BENCHMARK_TEMPLATE(descriptor, 1) COUNTS;
BENCHMARK_TEMPLATE(descriptor, 2) COUNTS;
BENCHMARK(descriptor_scan_and_sort) COUNTS;

/// Whether what is measured is right.
bool results_are_right()
{
    char* const text = DATA_HexToAscii(bytes(), kSize);
    DATA_Array* const back = DATA_AsciiToHex(text);
    char* const dump = DATA_HexDump(bytes(), 1);
    char expected[4];
    std::snprintf(expected, sizeof expected, "%02X ", bytes()[0]);
    const bool right =
        back != nullptr && back->length == kSize && std::memcmp(back->data, bytes(), kSize) == 0 &&
        std::strcmp(dump, expected) == 0 && std::strcmp(CHARSET_GetName(2259), "TIS-620") == 0;
    char* const whole = DATA_HexDump(bytes(), kSize);
    char* const by_pairs = dump_by_pairs(bytes(), kSize, pairs());
    const bool same = std::strcmp(whole, by_pairs) == 0;
    MEM_Free(whole);
    give_back(by_pairs);
    MEM_Free(text);
    MEM_Free(dump);
    DATA_ArrayDelete(back);
    errno = 0;
    for (const auto& numbers : {kWords, kShort}) {
        for (std::size_t i = 0; i < 8; ++i) {
            std::uint32_t value = 0;
            if (CONVERT_HexStrToU32(numbers[i], &value) != STATUS_SUCCESS ||
                value != std::strtoul(numbers[i], nullptr, 16)) {
                return false;
            }
        }
    }
    return right && same;
}

}  // namespace

int main(int argc, char** argv)
{
    if (!results_are_right()) {
        std::fputs("data_bench: a result is wrong\n", stderr);
        return 1;
    }
    return bench::run_and_compare(
        argc, argv,
        {
            {"64 KiB to text / allocate and copy its 128 KiB", "hex_to_ascii",
             "allocate_and_copy/131072", 1.6},
            {"64 KiB to text / allocate and copy 64 KiB", "hex_to_ascii", "allocate_and_copy/65536",
             0},
            {"64 KiB of text / allocate and copy its 32 KiB", "ascii_to_hex",
             "allocate_and_copy/32768", 0},
            {"64 KiB of text / allocate and copy 64 KiB", "ascii_to_hex", "allocate_and_copy/65536",
             3.5},
            {"64 KiB to text / sodium_bin2hex", "hex_to_ascii", "hex_to_ascii_sodium", 1.0},
            {"64 KiB of text / sodium_hex2bin", "ascii_to_hex", "ascii_to_hex_sodium", 1.0},
            {"16 bytes to text / malloc and memcpy", "hex_to_ascii_short",
             "hex_to_ascii_short_copied", 1.25},
            {"text of 16 bytes / twice malloc, and memcpy", "ascii_to_hex_short",
             "ascii_to_hex_short_copied", 1.35},
            {"dump of 64 KiB / table of pairs", "hex_dump", "hex_dump_pairs", 0.4},
            {"hex dump / snprintf per byte", "hex_dump", "hex_dump_snprintf", 0.3},
            {"8 words of 8 digits / strtoul", "convert_words", "convert_words_strtoul", 0.5},
            {"8 short numbers / strtoul", "convert_short", "convert_short_strtoul", 0.5},
            {"name of a character set, last / first", "charset_name/2259", "charset_name/3", 0},
            {"descriptor in the middle of 10 / scan and sort", "descriptor<1>/10",
             "descriptor_scan_and_sort/10", 1.0},
            {"descriptor in the middle of 1,000 / scan and sort", "descriptor<1>/1000",
             "descriptor_scan_and_sort/1000", 1.0},
            {"descriptor in the middle of 100,000 / scan and sort", "descriptor<1>/100000",
             "descriptor_scan_and_sort/100000", 1.0},
        });
}
