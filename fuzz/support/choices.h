// What an input decides, byte by byte: for targets that make calls of it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

/// The choices of an input. When it is used up, all that follow are 0, which should bring what is
/// driven by them to an end. Copies give the same choices, to the library and to a model of it.
class Choices {
public:
    Choices(const std::uint8_t* data, std::size_t size) : next_(data), end_(data + size) {}

    bool are_used_up() const { return next_ == end_; }
    std::size_t left() const { return static_cast<std::size_t>(end_ - next_); }
    const std::uint8_t* rest() const { return next_; }

    unsigned byte() { return next_ == end_ ? 0 : *next_++; }
    unsigned below(unsigned bound) { return byte() % bound; }

private:
    const std::uint8_t* next_;
    const std::uint8_t* end_;
};

}  // namespace fuzz
