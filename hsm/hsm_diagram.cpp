#include "hsm/hsm_diagram.h"

#include <algorithm>
#include <charconv>

namespace common::hsm {

Text& Text::operator<<(char byte) noexcept
{
    if (length_ + 1 < size_) {
        buffer_[length_] = byte;
    }
    ++length_;
    return *this;
}

Text& Text::operator<<(const char* text) noexcept
{
    while (*text != '\0') {
        *this << *text++;
    }
    return *this;
}

Text& Text::operator<<(std::uintptr_t number) noexcept
{
    char digits[20];
    const char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    for (const char* digit = digits; digit != end; ++digit) {
        *this << *digit;
    }
    return *this;
}

void Text::indent(unsigned levels) noexcept
{
    for (; levels != 0; --levels) {
        *this << "    ";
    }
}

std::uint32_t Text::finish() noexcept
{
    if (size_ != 0) {
        buffer_[length_ < size_ ? length_ : size_ - 1] = '\0';
    }
    return length_;
}

bool Diagram::has_substates(std::uint32_t place) const noexcept
{
    bool has = false;
    for_each_child(place, [&has](std::uint32_t) { has = true; });
    return has;
}

bool Diagram::contains(std::uint32_t place, std::uint32_t other) const noexcept
{
    while (other != place && other != HsmRecorderNone) {
        other = recorder_.states[other].parent;
    }
    return other == place;
}

bool Diagram::ends_inside(std::uint32_t place, std::uint32_t other) const noexcept
{
    return has_substates(place) && contains(place, other);
}

bool Diagram::is_initial(const HsmSeenTransition& transition) const noexcept
{
    return transition.cause == HsmCauseStart && transition.from != transition.to &&
           contains(transition.from, transition.to);
}

bool Diagram::needs_point(std::uint32_t place) const noexcept
{
    return std::ranges::any_of(transitions(), [=, this](const HsmSeenTransition& transition) {
        return !is_initial(transition) &&
               ((transition.from == place && ends_inside(place, transition.to)) ||
                (transition.to == place && ends_inside(place, transition.from)));
    });
}

void Diagram::write_id(std::uint32_t place, const char* point) noexcept
{
    text_ << 's' << std::uintptr_t{place} << point;
}

void Diagram::write_escaped(const char* name) noexcept
{
    for (; *name != '\0'; ++name) {
        if (static_cast<unsigned char>(*name) < ' ') {
            text_ << ' ';
        } else {
            escape_(text_, *name);
        }
    }
}

void Diagram::write_name(std::uint32_t place) noexcept
{
    write_escaped(recorder_.states[place].name);
}

void Diagram::write_label(const HsmSeenTransition& transition) noexcept
{
    if (is_initial(transition)) {
        return;
    }
    if (transition.cause == HsmCauseStart) {
        text_ << "start";
    } else if (transition.eventName != nullptr) {
        write_escaped(transition.eventName);
    } else {
        text_ << transition.event;
    }
}

void Diagram::write_dropped(const char* comment) noexcept
{
    if (recorder_.dropped != 0) {
        text_.indent(1);
        text_ << comment << " not shown: " << std::uintptr_t{recorder_.dropped} << '\n';
    }
}

}  // namespace common::hsm
