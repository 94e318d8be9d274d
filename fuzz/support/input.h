// What fuzz targets share: the input as text, and the check that survives every build type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" int LLVMFuzzerInitialize(int* count, char*** arguments);

namespace fuzz {

/// The input as a text in a block of its own, so that AddressSanitizer sees each byte read past it.
class Text {
public:
    Text(const std::uint8_t* data, std::size_t size) : text_(new char[size + 1])
    {
        if (size != 0) {
            std::memcpy(text_.get(), data, size);
        }
        text_[size] = '\0';
    }

    const char* get() const { return text_.get(); }
    /// Up to the first zero, as whoever reads the text sees it.
    std::size_t length() const { return std::strlen(text_.get()); }

private:
    std::unique_ptr<char[]> text_;
};

/// Stops with the condition's text when something that must hold does not.
inline void check(bool holds, const char* condition)
{
    if (!holds) {
        std::fprintf(stderr, "fuzz: does not hold: %s\n", condition);
        std::abort();
    }
}

}  // namespace fuzz

/// What a call of the C library is for the linker, with 64-bit and with 32-bit longs, as files and
/// times always have 64 bits.
#if defined(__LP64__)
#define FUZZ_SYMBOL(with_64_bits, with_32_bits) with_64_bits
#else
#define FUZZ_SYMBOL(with_64_bits, with_32_bits) with_32_bits
#endif

#define FUZZ_CHECK(condition) ::fuzz::check(static_cast<bool>(condition), #condition)
