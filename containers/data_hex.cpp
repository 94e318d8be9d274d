// Each conversion goes in steps of 32 characters or more where the processor turns out to have AVX2
// and there is enough to do, in steps of 16 where the processor always has vectors, and by a table
// for what is less than a step or on other processors.
#include "containers/data_hex.h"

#include <algorithm>
#include <cstring>

#include "containers/data_hex_avx2.h"
#include "containers/data_hex_steps.h"
#include "foundation/hex_text.h"

namespace common::data {
namespace {

std::uint8_t value_of(char digit) noexcept
{
    return hex_digit_value[static_cast<unsigned char>(digit)];
}

#if COMMON_HEX_BY_STEPS

/// Calls for the place of each step of 16, from `done` on. The last one takes again what the one
/// before has done, so that no rest remains.
/// @return what is done then: nothing more when there is less than a step.
template <class Function>
[[gnu::always_inline]] inline std::size_t for_each_step(std::size_t count, std::size_t done,
                                                        Function function) noexcept
{
    if (count < kStep) {
        return done;
    }
    for (; done < count; done += kStep) {
        done = std::min(done, count - kStep);
        function(done);
    }
    return done;
}

#endif

}  // namespace

namespace rest {

void encode(const std::uint8_t* bytes, std::size_t count, char* digits, std::size_t done) noexcept
{
#if COMMON_HEX_BY_STEPS
    done = for_each_step(count, done, [=](std::size_t place) {
        const Digits pair = digits_of_16(bytes + place);
        store(digits + 2 * place, pair.first);
        store(digits + 2 * place + kStep, pair.second);
    });
#endif
    for (; done < count; ++done) {
        std::memcpy(digits + 2 * done, hex_pair[bytes[done]].data(), 2);
    }
}

void dump(const std::uint8_t* bytes, std::size_t count, char* text, std::size_t done) noexcept
{
#if COMMON_HEX_BY_STEPS && defined(__ARM_NEON)
    done = for_each_step(count, done, [=](std::size_t place) {
        write_dump_of_16(digits_of_16(bytes + place), text + 3 * place);
    });
#endif
    for (; done < count; ++done) {
        std::memcpy(text + 3 * done, hex_pair[bytes[done]].data(), 2);
        text[3 * done + 2] = ' ';
    }
}

bool is_valid(const char* text, std::size_t count, std::size_t done) noexcept
{
#if COMMON_HEX_BY_STEPS
    Characters places = Characters{} - 1;
    done = for_each_step(count, done,
                         [&](std::size_t place) { places &= valid_places(text + place); });
    if (!is_set(places)) {
        return false;
    }
#endif
    std::uint8_t seen = 0;
    for (; done < count; ++done) {
        seen |= value_of(text[done]);
    }
    return seen <= 15;
}

void decode(const char* digits, std::size_t count, std::uint8_t* bytes, std::size_t done) noexcept
{
#if COMMON_HEX_BY_STEPS
    done = for_each_step(count, done, [=](std::size_t place) {
        store(bytes + place, bytes_of_32(digits + 2 * place));
    });
#endif
    for (; done < count; ++done) {
        bytes[done] = static_cast<std::uint8_t>(value_of(digits[2 * done]) << 4 |
                                                value_of(digits[2 * done + 1]));
    }
}

}  // namespace rest

#if COMMON_HEX_BY_AVX2
#define WITH_AVX2(characters, done) (uses_avx2(characters) ? (done) : 0)
#else
#define WITH_AVX2(characters, done) 0
#endif

void hex_encode(const std::uint8_t* bytes, std::size_t count, char* digits) noexcept
{
    rest::encode(bytes, count, digits, WITH_AVX2(2 * count, avx2::encode(bytes, count, digits)));
}

void hex_dump(const std::uint8_t* bytes, std::size_t count, char* text) noexcept
{
    rest::dump(bytes, count, text, WITH_AVX2(3 * count, avx2::dump(bytes, count, text)));
}

bool hex_is_valid(const char* text, std::size_t count) noexcept
{
    return rest::is_valid(text, count, WITH_AVX2(count, avx2::valid(text, count)));
}

void hex_decode(const char* digits, std::size_t count, std::uint8_t* bytes) noexcept
{
    rest::decode(digits, count, bytes, WITH_AVX2(2 * count, avx2::decode(digits, count, bytes)));
}

}  // namespace common::data
