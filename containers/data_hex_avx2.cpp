#include "containers/data_hex_avx2.h"

#if COMMON_HEX_BY_AVX2
#include <cpuid.h>
#include <immintrin.h>

#include <atomic>

namespace common::data {
namespace {

enum class Vectors : std::uint8_t { Unknown, Absent, Present };

/// Asked for once: the question takes longer than a conversion of some hundred bytes. Threads that
/// ask at the same time get the same answer.
constinit std::atomic<Vectors> vectors{Vectors::Unknown};

constexpr std::size_t kWideStep = 32;

/// The compiler's own way to ask brings a static constructor along.
bool processor_has_avx2() noexcept
{
    unsigned a = 0;
    unsigned b = 0;
    unsigned leaf_1c = 0;
    unsigned leaf_7b = 0;
    unsigned d = 0;
    // GCOVR_EXCL_START platform: a processor always says the same
    if (__get_cpuid(1, &a, &b, &leaf_1c, &d) == 0 || (leaf_1c & bit_OSXSAVE) == 0) {
        return false;  // nor can XCR0 be read
    }
    unsigned xcr0 = 0;
    __asm__("xgetbv" : "=a"(xcr0), "=d"(d) : "c"(0));
    unsigned c = 0;
    return __get_cpuid_count(7, 0, &a, &leaf_7b, &c, &d) != 0 &&
           avx2_can_be_used(leaf_1c, xcr0, leaf_7b);
    // GCOVR_EXCL_STOP
}

__attribute__((target("avx2"))) __m256i load(const void* address) noexcept
{
    return _mm256_loadu_si256(static_cast<const __m256i*>(address));
}

__attribute__((target("avx2"))) void store(void* address, __m128i vector) noexcept
{
    _mm_storeu_si128(static_cast<__m128i*>(address), vector);
}

/// The 32 digits of 16 bytes.
__attribute__((target("avx2"))) __m256i digits_of_16(const std::uint8_t* bytes) noexcept
{
    const __m256i table = _mm256_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A',
                                           'B', 'C', 'D', 'E', 'F', '0', '1', '2', '3', '4', '5',
                                           '6', '7', '8', '9', 'A', 'B', 'C', 'D', 'E', 'F');
    const __m256i wide = _mm256_cvtepu8_epi16(
        _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(bytes))));
    const __m256i nibbles =
        _mm256_and_si256(_mm256_or_si256(_mm256_srli_epi16(wide, 4), _mm256_slli_epi16(wide, 8)),
                         _mm256_set1_epi8(15));
    return _mm256_shuffle_epi8(table, nibbles);
}

/// Decodes 32 digits: each 16 bits of the result have a byte.
__attribute__((target("avx2"))) __m256i decode_step(const char* digits) noexcept
{
    const __m256i characters = load(digits);
    // The low nibble of a letter lacks 9.
    const __m256i nine =
        _mm256_and_si256(_mm256_cmpgt_epi8(characters, _mm256_set1_epi8('9')), _mm256_set1_epi8(9));
    const __m256i values =
        _mm256_and_si256(_mm256_add_epi8(characters, nine), _mm256_set1_epi8(15));
    // 16 times the first of each pair and the second.
    return _mm256_maddubs_epi16(values, _mm256_set1_epi16(0x0110));
}

}  // namespace

bool has_avx2() noexcept
{
    Vectors answer = vectors.load(std::memory_order_relaxed);
    if (answer == Vectors::Unknown) {
        answer = processor_has_avx2() ? Vectors::Present : Vectors::Absent;
        vectors.store(answer, std::memory_order_relaxed);
    }
    return answer == Vectors::Present;
}

namespace avx2 {

__attribute__((target("avx2"))) std::size_t encode(const std::uint8_t* bytes, std::size_t count,
                                                   char* digits) noexcept
{
    std::size_t done = 0;
    for (; count - done >= kWideStep / 2; done += kWideStep / 2) {
        _mm256_storeu_si256(static_cast<__m256i*>(static_cast<void*>(digits + 2 * done)),
                            digits_of_16(bytes + done));
    }
    return done;
}

__attribute__((target("avx2"))) std::size_t dump(const std::uint8_t* bytes, std::size_t count,
                                                 char* text) noexcept
{
    // From which digit of the first half, the middle and the second half each character comes. A
    // shuffle gives 0 for -1, and the blank comes from the other operand.
    const __m128i first = _mm_setr_epi8(0, 1, -1, 2, 3, -1, 4, 5, -1, 6, 7, -1, 8, 9, -1, 10);
    const __m128i middle = _mm_setr_epi8(3, -1, 4, 5, -1, 6, 7, -1, 8, 9, -1, 10, 11, -1, 12, 13);
    const __m128i last = _mm_setr_epi8(-1, 6, 7, -1, 8, 9, -1, 10, 11, -1, 12, 13, -1, 14, 15, -1);
    const __m128i first_blanks =
        _mm_setr_epi8(0, 0, ' ', 0, 0, ' ', 0, 0, ' ', 0, 0, ' ', 0, 0, ' ', 0);
    const __m128i middle_blanks =
        _mm_setr_epi8(0, ' ', 0, 0, ' ', 0, 0, ' ', 0, 0, ' ', 0, 0, ' ', 0, 0);
    const __m128i last_blanks =
        _mm_setr_epi8(' ', 0, 0, ' ', 0, 0, ' ', 0, 0, ' ', 0, 0, ' ', 0, 0, ' ');
    std::size_t done = 0;
    for (; count - done >= kWideStep / 2; done += kWideStep / 2) {
        const __m256i digits = digits_of_16(bytes + done);
        const __m128i low = _mm256_castsi256_si128(digits);
        const __m128i high = _mm256_extracti128_si256(digits, 1);
        char* const to = text + 3 * done;
        store(to, _mm_or_si128(_mm_shuffle_epi8(low, first), first_blanks));
        store(to + 16,
              _mm_or_si128(_mm_shuffle_epi8(_mm_alignr_epi8(high, low, 8), middle), middle_blanks));
        store(to + 32, _mm_or_si128(_mm_shuffle_epi8(high, last), last_blanks));
    }
    return done;
}

__attribute__((target("avx2"))) std::size_t valid(const char* text, std::size_t count) noexcept
{
    // A character is a digit when both its nibbles say so: bit 0 for decimal ones, which begin with
    // 3, bit 1 for letters, which begin with 4 or 6. A shuffle gives 0 for what is no ASCII.
    const __m256i by_high_nibble = _mm256_setr_epi8(0, 0, 0, 1, 2, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                                    0, 0, 0, 1, 2, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i by_low_nibble = _mm256_setr_epi8(1, 3, 3, 3, 3, 3, 3, 1, 1, 1, 0, 0, 0, 0, 0, 0,
                                                   1, 3, 3, 3, 3, 3, 3, 1, 1, 1, 0, 0, 0, 0, 0, 0);
    __m256i least = _mm256_set1_epi8(-1);
    std::size_t done = 0;
    for (; count - done >= kWideStep; done += kWideStep) {
        const __m256i characters = load(text + done);
        const __m256i high =
            _mm256_and_si256(_mm256_srli_epi16(characters, 4), _mm256_set1_epi8(15));
        const __m256i kinds = _mm256_and_si256(_mm256_shuffle_epi8(by_high_nibble, high),
                                               _mm256_shuffle_epi8(by_low_nibble, characters));
        least = _mm256_min_epu8(least, kinds);
    }
    const __m256i invalid = _mm256_cmpeq_epi8(least, _mm256_setzero_si256());
    return _mm256_movemask_epi8(invalid) == 0 ? done : 0;
}

__attribute__((target("avx2"))) std::size_t decode(const char* digits, std::size_t count,
                                                   std::uint8_t* bytes) noexcept
{
    std::size_t done = 0;
    for (; count - done >= kWideStep; done += kWideStep) {
        const __m256i first = decode_step(digits + 2 * done);
        const __m256i second = decode_step(digits + 2 * done + kWideStep);
        // Packing works on each half of a register by itself: put the quarters in order.
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), 0xD8);
        _mm256_storeu_si256(static_cast<__m256i*>(static_cast<void*>(bytes + done)), packed);
    }
    return done;
}

}  // namespace avx2
}  // namespace common::data
#endif
