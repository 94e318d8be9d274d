// What a recorder has seen as a diagram of Mermaid.
#include <cstring>

#include "hsm/hsm_diagram.h"

namespace {

using common::hsm::Diagram;
using common::hsm::Text;

/// What could end or start something in the language goes as a character code.
void escape(Text& text, char character) noexcept
{
    if (std::strchr("\"#%&:;<>\\`{}", character) != nullptr) {
        text << '#' << std::uintptr_t{static_cast<unsigned char>(character)} << ';';
    } else {
        text << character;
    }
}

class Mermaid : Diagram {
public:
    Mermaid(const HsmRecorder& recorder, char* buffer, std::uint32_t size) noexcept
        : Diagram(recorder, buffer, size, escape)
    {
    }

    std::uint32_t write() noexcept
    {
        text_ << "stateDiagram-v2\n";
        write_dropped("%%");
        write_states(HsmRecorderNone, 1);
        // All of them outside the states: a state that is named inside another one would move
        // there.
        for (const HsmSeenTransition& transition : transitions()) {
            if (!is_initial(transition)) {
                write_transition(transition);
            }
        }
        return text_.finish();
    }

private:
    void write_states(std::uint32_t parent, unsigned level) noexcept
    {
        for_each_child(parent, [=, this](std::uint32_t place) {
            text_.indent(level);
            text_ << "state \"";
            write_name(place);
            text_ << "\" as ";
            write_id(place);
            if (has_substates(place)) {
                text_ << " {\n";
                write_inside(place, level + 1);
                text_.indent(level);
                text_ << '}';
            }
            text_ << '\n';
        });
    }

    void write_inside(std::uint32_t place, unsigned level) noexcept
    {
        for (const HsmSeenTransition& transition : transitions()) {
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
            write_id(place, "_point");
            text_ << " <<choice>>\n";
        }
        write_states(place, level);
    }

    void write_transition(const HsmSeenTransition& transition) noexcept
    {
        text_.indent(1);
        write_end(transition.from, transition.to);
        text_ << " --> ";
        write_end(transition.to, transition.from);
        text_ << " : ";
        write_label(transition);
        text_ << '\n';
    }

    void write_end(std::uint32_t place, std::uint32_t other) noexcept
    {
        write_id(place, ends_inside(place, other) ? "_point" : "");
    }
};

}  // namespace

extern "C" std::uint32_t HsmRecorderToMermaid(const HsmRecorder* recorder, char* text,
                                              std::uint32_t size)
{
    return Mermaid(*recorder, text, size).write();
}
