// What the record layouts are composed with: a Composer writes the text, a Counter tells the
// compiler how long it can become. They have the same members.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace common::log {

/// Appends to a text that has room for everything.
class Composer {
public:
    explicit Composer(char* text) noexcept : end_(text) {}

    Composer& operator<<(std::string_view part) noexcept
    {
        std::memcpy(end_, part.data(), part.size());
        end_ += part.size();
        return *this;
    }

    /// A literal, whose size the compiler knows.
    template <std::size_t Size>
    Composer& operator<<(const char (&part)[Size]) noexcept
    {
        std::memcpy(end_, part, Size - 1);
        end_ += Size - 1;
        return *this;
    }

    /// As "%-*s".
    Composer& column(std::string_view part, std::size_t width) noexcept
    {
        *this << part;
        return part.size() < width ? fill(' ', width - part.size()) : *this;
    }

    /// As "%*u", or "%0*u" with the filler '0'.
    Composer& number(std::uint32_t value, std::size_t width = 1, char filler = ' ') noexcept
    {
        char digits[10];
        std::size_t first = sizeof digits;
        do {
            digits[--first] = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0);
        const std::size_t count = sizeof digits - first;
        if (count < width) {
            fill(filler, width - count);
        }
        return *this << std::string_view(digits + first, count);
    }

    /// As "%d".
    Composer& signed_number(std::int32_t value) noexcept
    {
        const auto bits = static_cast<std::uint32_t>(value);
        return value < 0 ? (*this << "-").number(0U - bits) : number(bits);
    }

    /// As "%09u", for a number below 1,000,000,000.
    Composer& nine_digits(std::uint32_t value) noexcept
    {
        // Three groups that do not wait for one another.
        three_digits(end_, value / 1'000'000);
        three_digits(end_ + 3, value / 1'000 % 1'000);
        three_digits(end_ + 6, value % 1'000);
        end_ += 9;
        return *this;
    }

    Composer& own_process_id() noexcept { return signed_number(getpid()); }

    void terminate() noexcept { *end_ = '\0'; }

private:
    static void three_digits(char* text, std::uint32_t value) noexcept
    {
        text[0] = static_cast<char>('0' + value / 100);
        text[1] = static_cast<char>('0' + value / 10 % 10);
        text[2] = static_cast<char>('0' + value % 10);
    }

    Composer& fill(char filler, std::size_t count) noexcept
    {
        std::memset(end_, filler, count);
        end_ += count;
        return *this;
    }

    char* end_;
};

/// Counts what a Composer writes at most.
class Counter {
public:
    constexpr Counter& operator<<(std::string_view part) noexcept { return add(part.size()); }

    template <std::size_t Size>
    constexpr Counter& operator<<(const char (&)[Size]) noexcept
    {
        return add(Size - 1);
    }

    constexpr Counter& column(std::string_view part, std::size_t width) noexcept
    {
        return add(part.size() + width);
    }

    constexpr Counter& number(std::uint32_t, std::size_t width = 0, char = ' ') noexcept
    {
        return add(kLongestNumber + width);
    }

    constexpr Counter& signed_number(std::int32_t) noexcept { return add(kLongestNumber); }
    constexpr Counter& nine_digits(std::uint32_t) noexcept { return add(9); }
    constexpr Counter& own_process_id() noexcept { return add(kLongestNumber); }

    constexpr std::size_t with_terminator() const noexcept { return count_ + 1; }

private:
    static constexpr std::size_t kLongestNumber = sizeof "-2147483648" - 1;

    constexpr Counter& add(std::size_t bytes) noexcept
    {
        count_ += bytes;
        return *this;
    }

    std::size_t count_ = 0;
};

}  // namespace common::log
