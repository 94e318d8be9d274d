// Serialised variants for tests, put together by hand.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

namespace harness {

inline std::string word(std::uint32_t value)
{
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    return {bytes, sizeof bytes};
}

inline std::string integer(std::uint32_t bits)
{
    return word(1) + word(bits);
}

inline std::string real(std::uint32_t bits)
{
    return word(2) + word(bits);
}

/// @param padding what there is of it in front of the zeroes.
inline std::string text(const std::string& bytes, std::string padding = "")
{
    padding.resize((4 - bytes.size() % 4) % 4);
    return word(3) + word(static_cast<std::uint32_t>(bytes.size())) + bytes + padding;
}

inline std::string pointer(std::uint32_t bits)
{
    return word(4) + word(bits);
}

inline std::string array(std::uint32_t count, const std::string& elements)
{
    return word(5) + word(count) + elements;
}

/// Arrays inside one another, around an empty variant.
inline std::string arrays(unsigned depth)
{
    return depth == 0 ? word(0) : array(1, arrays(depth - 1));
}

}  // namespace harness
