// Each conversion is there twice: by a table of pairs, for every processor, and in steps of 32
// characters for those that have AVX2, which is found out at run time.
#include "containers/data_hex.h"

#include <cstring>

#include "foundation/hex_text.h"

#if defined(__x86_64__) || defined(__i386__)
#define COMMON_HEX_BY_VECTORS 1
#include <cpuid.h>
#include <immintrin.h>

#include <atomic>
#else
#define COMMON_HEX_BY_VECTORS 0
#endif

namespace common::data {
namespace {

std::uint8_t value_of(char digit) noexcept
{
    return hex_digit_value[static_cast<unsigned char>(digit)];
}

#if COMMON_HEX_BY_VECTORS

enum class Vectors : std::uint8_t { Unknown, Absent, Present };

/// Asked for once: the question takes longer than a conversion of some hundred bytes. Threads that
/// ask at the same time get the same answer.
constinit std::atomic<Vectors> vectors{Vectors::Unknown};

/// Below this many characters the table is as fast.
constexpr std::size_t kVectorMinimum = 64;

constexpr std::size_t kStep = 32;

/// The compiler's own way to ask brings a static constructor along.
bool processor_has_avx2() noexcept
{
    unsigned a = 0;
    unsigned b = 0;
    unsigned leaf_1c = 0;
    unsigned leaf_7b = 0;
    unsigned d = 0;
    if (__get_cpuid(1, &a, &b, &leaf_1c, &d) == 0 || (leaf_1c & bit_OSXSAVE) == 0) {
        return false;  // nor can XCR0 be read
    }
    unsigned xcr0 = 0;
    __asm__("xgetbv" : "=a"(xcr0), "=d"(d) : "c"(0));
    unsigned c = 0;
    return __get_cpuid_count(7, 0, &a, &leaf_7b, &c, &d) != 0 &&
           avx2_can_be_used(leaf_1c, xcr0, leaf_7b);
}

__attribute__((target("avx2"))) __m256i load(const void* address) noexcept
{
    return _mm256_loadu_si256(static_cast<const __m256i*>(address));
}

/// Encodes steps of 16 bytes: how many bytes that were.
__attribute__((target("avx2"))) std::size_t encode_steps(const std::uint8_t* bytes,
                                                         std::size_t count, char* digits) noexcept
{
    const __m256i table = _mm256_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A',
                                           'B', 'C', 'D', 'E', 'F', '0', '1', '2', '3', '4', '5',
                                           '6', '7', '8', '9', 'A', 'B', 'C', 'D', 'E', 'F');
    const __m256i low_nibbles = _mm256_set1_epi8(15);
    std::size_t done = 0;
    for (; count - done >= kStep / 2; done += kStep / 2) {
        const __m256i wide = _mm256_cvtepu8_epi16(
            _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(bytes + done))));
        const __m256i nibbles = _mm256_and_si256(
            _mm256_or_si256(_mm256_srli_epi16(wide, 4), _mm256_slli_epi16(wide, 8)), low_nibbles);
        _mm256_storeu_si256(static_cast<__m256i*>(static_cast<void*>(digits + 2 * done)),
                            _mm256_shuffle_epi8(table, nibbles));
    }
    return done;
}

/// Whether all characters of the whole steps are digits.
__attribute__((target("avx2"))) bool steps_are_valid(const char* text, std::size_t count) noexcept
{
    // A character is a digit when both its nibbles say so: bit 0 for decimal ones, which begin with
    // 3, bit 1 for letters, which begin with 4 or 6. A shuffle gives 0 for what is no ASCII.
    const __m256i by_high_nibble = _mm256_setr_epi8(0, 0, 0, 1, 2, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                                    0, 0, 0, 1, 2, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i by_low_nibble = _mm256_setr_epi8(1, 3, 3, 3, 3, 3, 3, 1, 1, 1, 0, 0, 0, 0, 0, 0,
                                                   1, 3, 3, 3, 3, 3, 3, 1, 1, 1, 0, 0, 0, 0, 0, 0);
    __m256i least = _mm256_set1_epi8(-1);
    for (std::size_t done = 0; count - done >= kStep; done += kStep) {
        const __m256i characters = load(text + done);
        const __m256i high =
            _mm256_and_si256(_mm256_srli_epi16(characters, 4), _mm256_set1_epi8(15));
        const __m256i kinds = _mm256_and_si256(_mm256_shuffle_epi8(by_high_nibble, high),
                                               _mm256_shuffle_epi8(by_low_nibble, characters));
        least = _mm256_min_epu8(least, kinds);
    }
    return _mm256_movemask_epi8(_mm256_cmpeq_epi8(least, _mm256_setzero_si256())) == 0;
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

/// Decodes steps of 32 bytes: how many bytes that were.
__attribute__((target("avx2"))) std::size_t decode_steps(const char* digits, std::size_t count,
                                                         std::uint8_t* bytes) noexcept
{
    std::size_t done = 0;
    for (; count - done >= kStep; done += kStep) {
        const __m256i first = decode_step(digits + 2 * done);
        const __m256i second = decode_step(digits + 2 * done + kStep);
        // Packing works on each half of a register by itself: put the quarters in order.
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(first, second), 0xD8);
        _mm256_storeu_si256(static_cast<__m256i*>(static_cast<void*>(bytes + done)), packed);
    }
    return done;
}

#endif

}  // namespace

bool hex_uses_vectors(std::size_t characters) noexcept
{
#if COMMON_HEX_BY_VECTORS
    if (characters < kVectorMinimum) {
        return false;
    }
    Vectors answer = vectors.load(std::memory_order_relaxed);
    if (answer == Vectors::Unknown) {
        answer = processor_has_avx2() ? Vectors::Present : Vectors::Absent;
        vectors.store(answer, std::memory_order_relaxed);
    }
    return answer == Vectors::Present;
#else
    static_cast<void>(characters);
    return false;
#endif
}

void hex_encode(const std::uint8_t* bytes, std::size_t count, char* digits) noexcept
{
    std::size_t done = 0;
#if COMMON_HEX_BY_VECTORS
    if (hex_uses_vectors(2 * count)) {
        done = encode_steps(bytes, count, digits);
    }
#endif
    for (; done < count; ++done) {
        std::memcpy(digits + 2 * done, hex_pair[bytes[done]].data(), 2);
    }
}

bool hex_is_valid(const char* text, std::size_t count) noexcept
{
    std::size_t done = 0;
#if COMMON_HEX_BY_VECTORS
    if (hex_uses_vectors(count)) {
        if (!steps_are_valid(text, count)) {
            return false;
        }
        done = count - count % kStep;
    }
#endif
    std::uint8_t seen = 0;
    for (; done < count; ++done) {
        seen |= value_of(text[done]);
    }
    return seen <= 15;
}

void hex_decode(const char* digits, std::size_t count, std::uint8_t* bytes) noexcept
{
    std::size_t done = 0;
#if COMMON_HEX_BY_VECTORS
    if (hex_uses_vectors(2 * count)) {
        done = decode_steps(digits, count, bytes);
    }
#endif
    for (; done < count; ++done) {
        bytes[done] = static_cast<std::uint8_t>(value_of(digits[2 * done]) << 4 |
                                                value_of(digits[2 * done + 1]));
    }
}

}  // namespace common::data
