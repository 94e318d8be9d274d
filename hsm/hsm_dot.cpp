// What a recorder has seen as a diagram of Graphviz, in its language DOT.
#include <algorithm>

#include "hsm/hsm_diagram.h"

namespace {

using common::hsm::Diagram;
using common::hsm::Text;

void escape(Text& text, char character) noexcept
{
    if (character == '"' || character == '\\') {
        text << '\\';
    }
    text << character;
}

class Dot : Diagram {
public:
    Dot(const HsmRecorder& recorder, char* buffer, std::uint32_t size) noexcept
        : Diagram(recorder, buffer, size, escape)
    {
    }

    std::uint32_t write() noexcept
    {
        text_ << "digraph \"";
        write_escaped(recorder_.machineName != nullptr ? recorder_.machineName : "");
        text_ << "\" {\n"
                 "    compound=true;\n"
                 "    fontname=\"sans-serif\";\n"
                 "    node [fontname=\"sans-serif\", shape=box, style=rounded];\n"
                 "    edge [fontname=\"sans-serif\", fontsize=11];\n";
        write_dropped("//");
        write_states(HsmRecorderNone, 1);
        for (const HsmSeenTransition& transition : transitions()) {
            write_transition(transition);
        }
        text_ << "}\n";
        return text_.finish();
    }

private:
    void write_states(std::uint32_t parent, unsigned level) noexcept
    {
        for_each_child(parent, [=, this](std::uint32_t place) {
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
                write_name(place);
                text_ << "\"];\n";
            }
        });
    }

    void write_inside(std::uint32_t place, unsigned level) noexcept
    {
        text_.indent(level);
        text_ << "label=\"";
        write_name(place);
        text_ << "\"; style=rounded; margin=18;\n";
        if (starts_here(place)) {
            text_.indent(level);
            write_id(place, "_start");
            text_ << " [shape=circle, style=filled, fillcolor=black, width=0.15, label=\"\"];\n";
        }
        // An edge to or from the cluster needs a node in it, even where it is cut at the border.
        const bool seen = needs_point(place);
        if (seen || is_end(place)) {
            text_.indent(level);
            write_id(place, "_point");
            text_ << (seen ? " [shape=point, width=0.08];\n" : " [shape=point, style=invis];\n");
        }
        write_states(place, level);
    }

    bool starts_here(std::uint32_t place) const noexcept
    {
        return std::ranges::any_of(transitions(), [=, this](const HsmSeenTransition& transition) {
            return transition.from == place && is_initial(transition);
        });
    }

    bool is_end(std::uint32_t place) const noexcept
    {
        return std::ranges::any_of(transitions(), [=, this](const HsmSeenTransition& transition) {
            return transition.to == place || (transition.from == place && !is_initial(transition));
        });
    }

    void write_transition(const HsmSeenTransition& transition) noexcept
    {
        text_.indent(1);
        if (is_initial(transition)) {
            write_id(transition.from, "_start");
        } else {
            write_node(transition.from);
        }
        text_ << " -> ";
        write_node(transition.to);
        text_ << " [label=\"";
        write_label(transition);
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
        write_id(place, has_substates(place) ? "_point" : "");
    }

    void write_cluster(std::uint32_t place) noexcept
    {
        text_ << "cluster_";
        write_id(place);
    }
};

}  // namespace

extern "C" std::uint32_t HsmRecorderToDot(const HsmRecorder* recorder, char* text,
                                          std::uint32_t size)
{
    return Dot(*recorder, text, size).write();
}
