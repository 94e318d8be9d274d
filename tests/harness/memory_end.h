// Memory that ends behind the last byte of what is put there: who reads or writes one byte too far
// ends the process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>
#include <sys/mman.h>

namespace harness {

class MemoryEnd {
public:
    /// @param capacity bytes that can be put at the end.
    explicit MemoryEnd(std::size_t capacity = kPage)
        : size_((capacity + kPage - 1) / kPage * kPage + kPage)
    {
        void* const memory =
            mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED || close_end(memory) != 0) {
            throw std::bad_alloc();
        }
        memory_ = static_cast<std::uint8_t*>(memory);
    }
    ~MemoryEnd() { munmap(memory_, size_); }
    MemoryEnd(const MemoryEnd&) = delete;
    MemoryEnd& operator=(const MemoryEnd&) = delete;

    /// Copies bytes to the end, over what was there. @return where they are.
    std::uint8_t* put(const void* bytes, std::size_t count)
    {
        std::uint8_t* const place = memory_ + size_ - kPage - count;
        std::memcpy(place, bytes, count);
        return place;
    }

    /// Copies a text with its terminator.
    char* put(std::string_view text)
    {
        auto* const place = static_cast<char*>(static_cast<void*>(put("", 0) - text.size() - 1));
        std::memcpy(place, text.data(), text.size());
        place[text.size()] = '\0';
        return place;
    }

private:
    static constexpr std::size_t kPage = 65'536;  // the largest of any machine

    int close_end(void* memory) const
    {
        return mprotect(static_cast<std::uint8_t*>(memory) + size_ - kPage, kPage, PROT_NONE);
    }

    std::size_t size_;
    std::uint8_t* memory_ = nullptr;
};

}  // namespace harness
