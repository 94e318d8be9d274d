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
        return part.size() < width ? fill(width - part.size()) : *this;
    }

    /// As "%*u".
    Composer& number(std::uint32_t value, std::size_t width = 1) noexcept
    {
        const std::size_t count = digits_of(value);
        if (count < width) {
            fill(width - count);
        }
        end_ = write_digits(end_, value, count);
        return *this;
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
        end_ = write_nine_digits(end_, value);
        return *this;
    }

    Composer& own_process_id() noexcept { return signed_number(getpid()); }

    char* end() const noexcept { return end_; }

private:
    static void three_digits(char* text, std::uint32_t value) noexcept
    {
        text[0] = static_cast<char>('0' + value / 100);
        text[1] = static_cast<char>('0' + value / 10 % 10);
        text[2] = static_cast<char>('0' + value % 10);
    }

    // The numbers are apart from the layouts, which would have a copy of them for each field.

    __attribute__((noinline)) static char* write_nine_digits(char* text,
                                                             std::uint32_t value) noexcept
    {
        // Three groups that do not wait for one another.
        three_digits(text, value / 1'000'000);
        three_digits(text + 3, value / 1'000 % 1'000);
        three_digits(text + 6, value % 1'000);
        return text + 9;
    }

    __attribute__((noinline)) static std::size_t digits_of(std::uint32_t value) noexcept
    {
        std::size_t count = 1;
        for (; value >= 10; value /= 10) {
            ++count;
        }
        return count;
    }

    /// Gives the end of the digits.
    __attribute__((noinline)) static char* write_digits(char* text, std::uint32_t value,
                                                        std::size_t count) noexcept
    {
        for (char* digit = text + count; digit != text; value /= 10) {
            *--digit = static_cast<char>('0' + value % 10);
        }
        return text + count;
    }

    Composer& fill(std::size_t count) noexcept
    {
        std::memset(end_, ' ', count);
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

    constexpr Counter& number(std::uint32_t, std::size_t width = 0) noexcept
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
