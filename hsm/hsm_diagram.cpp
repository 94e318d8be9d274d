// What a recorder has seen, as the text of a diagram.
#include <charconv>
#include <cstdint>
#include <cstring>

#include "hsm_trace.h"

namespace {

/// A text that grows in the caller's buffer as far as there is room, and is counted beyond.
class Text {
public:
    Text(char* buffer, std::uint32_t size) noexcept : buffer_(buffer), size_(size) {}

    Text& operator<<(char byte) noexcept
    {
        if (length_ + 1 < size_) {
            buffer_[length_] = byte;
        }
        ++length_;
        return *this;
    }

    Text& operator<<(const char* text) noexcept
    {
        while (*text != '\0') {
            *this << *text++;
        }
        return *this;
    }

    Text& operator<<(std::uintptr_t number) noexcept
    {
        char digits[20];
        const char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        for (const char* digit = digits; digit != end; ++digit) {
            *this << *digit;
        }
        return *this;
    }

    void indent(unsigned levels) noexcept
    {
        for (; levels != 0; --levels) {
            *this << "    ";
        }
    }

    /// Ends the text. @return its length.
    std::uint32_t finish() noexcept
    {
        if (size_ != 0) {
            buffer_[length_ < size_ ? length_ : size_ - 1] = '\0';
        }
        return length_;
    }

private:
    char* buffer_;
    std::uint32_t size_;
    std::uint32_t length_ = 0;
};

/// What the two kinds of diagram have in common: the states as a tree.
class Diagram {
public:
    Diagram(const HsmRecorder& recorder, char* buffer, std::uint32_t size) noexcept
        : recorder_(recorder), text_(buffer, size)
    {
    }

protected:
    bool has_substates(std::uint32_t place) const noexcept
    {
        for (std::uint32_t other = place + 1; other < recorder_.stateCount; ++other) {
            if (recorder_.states[other].parent == place) {
                return true;
            }
        }
        return false;
    }

    /// Whether a state is the other one or one of its superstates.
    bool contains(std::uint32_t place, std::uint32_t other) const noexcept
    {
        while (other != place && other != HsmRecorderNone) {
            other = recorder_.states[other].parent;
        }
        return other == place;
    }

    /// A transition between a composite state and one inside it, or itself, has no end on the
    /// border of that state: it is drawn to or from a point inside.
    bool ends_inside(std::uint32_t place, std::uint32_t other) const noexcept
    {
        return has_substates(place) && contains(place, other);
    }

    /// Initial transitions are drawn from a dot in the composite state that they start from. One
    /// that leaves its state is drawn like any other.
    bool is_initial(const HsmSeenTransition& transition) const noexcept
    {
        return transition.cause == HsmCauseStart && transition.from != transition.to &&
               contains(transition.from, transition.to);
    }

    /// Whether a point inside the state is needed that can be seen.
    bool needs_point(std::uint32_t place) const noexcept
    {
        for (std::uint32_t i = 0; i < recorder_.transitionCount; ++i) {
            const HsmSeenTransition& transition = recorder_.transitions[i];
            if (!is_initial(transition) &&
                ((transition.from == place && ends_inside(place, transition.to)) ||
                 (transition.to == place && ends_inside(place, transition.from)))) {
                return true;
            }
        }
        return false;
    }

    const HsmRecorder& recorder_;
    Text text_;
};

class Mermaid : Diagram {
public:
    using Diagram::Diagram;

    std::uint32_t write() noexcept
    {
        text_ << "stateDiagram-v2\n";
        write_dropped();
        write_states(HsmRecorderNone, 1);
        // All of them outside the states: a state that is named inside another one would move
        // there.
        for (std::uint32_t i = 0; i < recorder_.transitionCount; ++i) {
            const HsmSeenTransition& transition = recorder_.transitions[i];
            if (!is_initial(transition)) {
                write_transition(transition);
            }
        }
        return text_.finish();
    }

private:
    void write_dropped() noexcept
    {
        if (recorder_.dropped != 0) {
            text_ << "    %% not shown: " << std::uintptr_t{recorder_.dropped} << '\n';
        }
    }

    void write_states(std::uint32_t parent, unsigned level) noexcept
    {
        for (std::uint32_t place = 0; place < recorder_.stateCount; ++place) {
            if (recorder_.states[place].parent != parent) {
                continue;
            }
            text_.indent(level);
            text_ << "state \"";
            write_escaped(recorder_.states[place].name);
            text_ << "\" as ";
            write_id(place);
            if (has_substates(place)) {
                text_ << " {\n";
                write_inside(place, level + 1);
                text_.indent(level);
                text_ << '}';
            }
            text_ << '\n';
        }
    }

    void write_inside(std::uint32_t place, unsigned level) noexcept
    {
        for (std::uint32_t i = 0; i < recorder_.transitionCount; ++i) {
            const HsmSeenTransition& transition = recorder_.transitions[i];
            if (transition.from == place && is_initial(transition)) {
                text_.indent(level);
                text_ << "[*] --> ";
                write_id(transition.to);
                text_ << '\n';
            }
        }
        if (needs_point(place)) {
            text_.indent(level);
            text_ << "state ";
            write_id(place);
            text_ << "_point <<choice>>\n";
        }
        write_states(place, level);
    }

    void write_transition(const HsmSeenTransition& transition) noexcept
    {
        text_ << "    ";
        write_end(transition.from, transition.to);
        text_ << " --> ";
        write_end(transition.to, transition.from);
        text_ << " : ";
        if (transition.cause == HsmCauseStart) {
            text_ << "start";
        } else if (transition.eventName != nullptr) {
            write_escaped(transition.eventName);
        } else {
            text_ << transition.event;
        }
        text_ << '\n';
    }

    void write_end(std::uint32_t place, std::uint32_t other) noexcept
    {
        write_id(place);
        if (ends_inside(place, other)) {
            text_ << "_point";
        }
    }

    void write_id(std::uint32_t place) noexcept { text_ << 's' << std::uintptr_t{place}; }

    /// What could end or start something in the language goes as a character code.
    void write_escaped(const char* name) noexcept
    {
        for (; *name != '\0'; ++name) {
            if (static_cast<unsigned char>(*name) < ' ') {
                text_ << ' ';
            } else if (std::strchr("\"#%&:;<>\\`{}", *name) != nullptr) {
                text_ << '#' << std::uintptr_t{static_cast<unsigned char>(*name)} << ';';
            } else {
                text_ << *name;
            }
        }
    }
};

class Dot : Diagram {
public:
    using Diagram::Diagram;

    std::uint32_t write() noexcept
    {
        text_ << "digraph \"";
        write_escaped(recorder_.machineName != nullptr ? recorder_.machineName : "");
        text_ << "\" {\n"
                 "    compound=true;\n"
                 "    fontname=\"sans-serif\";\n"
                 "    node [fontname=\"sans-serif\", shape=box, style=rounded];\n"
                 "    edge [fontname=\"sans-serif\", fontsize=11];\n";
        if (recorder_.dropped != 0) {
            text_ << "    // not shown: " << std::uintptr_t{recorder_.dropped} << '\n';
        }
        write_states(HsmRecorderNone, 1);
        for (std::uint32_t i = 0; i < recorder_.transitionCount; ++i) {
            write_transition(recorder_.transitions[i]);
        }
        text_ << "}\n";
        return text_.finish();
    }

private:
    void write_states(std::uint32_t parent, unsigned level) noexcept
    {
        for (std::uint32_t place = 0; place < recorder_.stateCount; ++place) {
            if (recorder_.states[place].parent != parent) {
                continue;
            }
            text_.indent(level);
            if (has_substates(place)) {
                text_ << "subgraph ";
                write_cluster(place);
                text_ << " {\n";
                write_inside(place, level + 1);
                text_.indent(level);
                text_ << "}\n";
            } else {
                write_id(place);
                text_ << " [label=\"";
                write_escaped(recorder_.states[place].name);
                text_ << "\"];\n";
            }
        }
    }

    void write_inside(std::uint32_t place, unsigned level) noexcept
    {
        text_.indent(level);
        text_ << "label=\"";
        write_escaped(recorder_.states[place].name);
        text_ << "\"; style=rounded; margin=18;\n";
        if (starts_here(place)) {
            text_.indent(level);
            write_id(place);
            text_ << "_start [shape=circle, style=filled, fillcolor=black, width=0.15, "
                     "label=\"\"];\n";
        }
        // An edge to or from the cluster needs a node in it, even where it is cut at the border.
        if (needs_point(place) || is_end(place)) {
            text_.indent(level);
            write_id(place);
            text_ << (needs_point(place) ? "_point [shape=point, width=0.08];\n"
                                         : "_point [shape=point, style=invis];\n");
        }
        write_states(place, level);
    }

    bool starts_here(std::uint32_t place) const noexcept
    {
        for (std::uint32_t i = 0; i < recorder_.transitionCount; ++i) {
            const HsmSeenTransition& transition = recorder_.transitions[i];
            if (transition.from == place && is_initial(transition)) {
                return true;
            }
        }
        return false;
    }

    bool is_end(std::uint32_t place) const noexcept
    {
        for (std::uint32_t i = 0; i < recorder_.transitionCount; ++i) {
            const HsmSeenTransition& transition = recorder_.transitions[i];
            if (transition.to == place || (transition.from == place && !is_initial(transition))) {
                return true;
            }
        }
        return false;
    }

    void write_transition(const HsmSeenTransition& transition) noexcept
    {
        const bool initial = is_initial(transition);
        text_ << "    ";
        if (initial) {
            write_id(transition.from);
            text_ << "_start";
        } else {
            write_node(transition.from);
        }
        text_ << " -> ";
        write_node(transition.to);
        text_ << " [label=\"";
        if (transition.cause == HsmCauseStart) {
            text_ << (initial ? "" : "start");
        } else if (transition.eventName != nullptr) {
            write_escaped(transition.eventName);
        } else {
            text_ << transition.event;
        }
        text_ << '"';
        write_border(", ltail=", transition.from, transition.to);
        write_border(", lhead=", transition.to, transition.from);
        text_ << "];\n";
    }

    /// Cuts an edge at the border of a composite state, unless it ends inside.
    void write_border(const char* which, std::uint32_t place, std::uint32_t other) noexcept
    {
        if (has_substates(place) && !contains(place, other)) {
            text_ << which;
            write_cluster(place);
        }
    }

    void write_node(std::uint32_t place) noexcept
    {
        write_id(place);
        if (has_substates(place)) {
            text_ << "_point";
        }
    }

    void write_cluster(std::uint32_t place) noexcept
    {
        text_ << "cluster_";
        write_id(place);
    }

    void write_id(std::uint32_t place) noexcept { text_ << 's' << std::uintptr_t{place}; }

    void write_escaped(const char* name) noexcept
    {
        for (; *name != '\0'; ++name) {
            if (static_cast<unsigned char>(*name) < ' ') {
                text_ << ' ';
                continue;
            }
            if (*name == '"' || *name == '\\') {
                text_ << '\\';
            }
            text_ << *name;
        }
    }
};

}  // namespace

extern "C" {

std::uint32_t HsmRecorderToMermaid(const HsmRecorder* recorder, char* text, std::uint32_t size)
{
    return Mermaid(*recorder, text, size).write();
}

std::uint32_t HsmRecorderToDot(const HsmRecorder* recorder, char* text, std::uint32_t size)
{
    return Dot(*recorder, text, size).write();
}

}  // extern "C"
