// A text on the heap that grows at its end.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "foundation/source.h"
#include "mem_malloc.h"
#include "platform/assertion.h"

namespace common::regexp {

inline constexpr Source kSource{"regexp"};

/// Takes time in proportion to what is appended. Whoever makes one takes the block from it.
class GrowingText {
public:
    GrowingText() noexcept = default;

    /// With room for a text of that length, so that one which does not become longer takes one
    /// block.
    explicit GrowingText(std::size_t length) noexcept
        : room_(static_cast<std::uint32_t>(
              std::min<std::uint64_t>(std::uint64_t{length} + 1, UINT32_MAX))),
          text_(static_cast<char*>(MEM_Realloc(nullptr, room_)))
    {
    }

    void append(std::string_view piece) noexcept
    {
        const std::uint64_t size = std::uint64_t{length_} + piece.size() + 1;
        if (size > room_) {
            grow(size);
        }
        if (!piece.empty()) {
            std::memcpy(text_ + length_, piece.data(), piece.size());
        }
        length_ += static_cast<std::uint32_t>(piece.size());
    }

    /// Gives the block away, terminated. There must have been an append().
    char* take() noexcept
    {
        text_[length_] = '\0';
        return text_;
    }

private:
    void grow(std::uint64_t size) noexcept
    {
        COMMON_ASSERT(kSource, size <= UINT32_MAX, "size <= UINT32_MAX");
        const std::uint64_t doubled = std::min<std::uint64_t>(2 * std::uint64_t{room_}, UINT32_MAX);
        room_ = static_cast<std::uint32_t>(std::max(size, doubled));
        text_ = static_cast<char*>(MEM_Realloc(text_, room_));
    }

    std::uint32_t length_ = 0;
    std::uint32_t room_ = 0;
    char* text_ = nullptr;
};

}  // namespace common::regexp
