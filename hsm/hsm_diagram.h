// What all diagrams of a recorder have in common: their text, the states as a tree, how ids and
// labels are made. A language adds its syntax.
#pragma once

#include <cstdint>
#include <span>

#include "hsm_trace.h"

namespace common::hsm {

/// A text that grows in the caller's buffer as far as there is room, and is counted beyond.
class Text {
public:
    Text(char* buffer, std::uint32_t size) noexcept : buffer_(buffer), size_(size) {}

    Text& operator<<(char byte) noexcept;
    Text& operator<<(const char* text) noexcept;
    Text& operator<<(std::uintptr_t number) noexcept;
    void indent(unsigned levels) noexcept;

    /// Ends the text. @return its length.
    std::uint32_t finish() noexcept;

private:
    char* buffer_;
    std::uint32_t size_;
    std::uint32_t length_ = 0;
};

/// How a language writes a character of a name, which is no control character.
using Escape = void (*)(Text& text, char character) noexcept;

class Diagram {
protected:
    Diagram(const HsmRecorder& recorder, char* buffer, std::uint32_t size, Escape escape) noexcept
        : recorder_(recorder), text_(buffer, size), escape_(escape)
    {
    }

    std::span<const HsmSeenTransition> transitions() const noexcept
    {
        return {recorder_.transitions, recorder_.transitionCount};
    }

    /// Calls a function with the place of each state right below one, or of each outermost state.
    template <typename Function>
    void for_each_child(std::uint32_t parent, Function function) const noexcept
    {
        for (std::uint32_t place = 0; place < recorder_.stateCount; ++place) {
            if (recorder_.states[place].parent == parent) {
                function(place);
            }
        }
    }

    bool has_substates(std::uint32_t place) const noexcept;

    /// Whether a state is the other one or one of its superstates.
    bool contains(std::uint32_t place, std::uint32_t other) const noexcept;

    /// A transition between a composite state and one inside it, or itself, has no end on the
    /// border of that state: it is drawn to or from a point inside.
    bool ends_inside(std::uint32_t place, std::uint32_t other) const noexcept;

    /// Initial transitions are drawn from a dot in the composite state that they start from. One
    /// that leaves its state is drawn like any other.
    bool is_initial(const HsmSeenTransition& transition) const noexcept;

    /// Whether a point inside the state is needed that can be seen.
    bool needs_point(std::uint32_t place) const noexcept;

    /// A word for a state, or for a point that belongs to it.
    void write_id(std::uint32_t place, const char* point = "") noexcept;
    void write_escaped(const char* name) noexcept;
    void write_name(std::uint32_t place) noexcept;

    /// What a transition was made for. An initial one says nothing.
    void write_label(const HsmSeenTransition& transition) noexcept;

    /// A comment about transitions that there was no room for.
    void write_dropped(const char* comment) noexcept;

    const HsmRecorder& recorder_;
    Text text_;

private:
    Escape escape_;
};

}  // namespace common::hsm
