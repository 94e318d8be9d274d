// DOT text, as HsmRecorderToDot() writes it.
#include "diagram/recording_builder.h"

namespace commonctl {
namespace {

/// A text in quotes. Only quotes and backslashes are escaped.
std::string quoted(DiagramLine& line)
{
    line.expect("\"");
    std::string text;
    std::string_view rest = line.rest();
    for (; !rest.empty() && rest[0] != '"'; rest.remove_prefix(1)) {
        if (rest[0] == '\\') {
            rest.remove_prefix(1);
        }
        if (rest.empty()) {
            break;
        }
        text += rest[0];
    }
    if (rest.empty()) {
        line.refuse("a text has no end");
    }
    rest.remove_prefix(1);
    line.set_rest(rest);
    return text;
}

/// What follows tells how it looks.
bool is_point(DiagramLine& line)
{
    return line.take("_start [") || line.take("_point [");
}

void read_state_or_transition(DiagramLine& line, RecordingBuilder& builder)
{
    const std::uint32_t place = line.place();
    if (is_point(line)) {
        return;
    }
    if (line.take(" [label=")) {
        const std::string name = quoted(line);
        line.expect("];");
        line.expect_end();
        builder.add_state(line, place, name, false);
        return;
    }
    const bool starts = line.take("_start");
    if (!starts) {
        line.take("_point");
    }
    line.expect(" -> s");
    const std::uint32_t to = line.place();
    line.take("_point");
    line.expect(" [label=");
    const std::string label = quoted(line);
    if (!line.take("];")) {
        line.expect(", l");  // where the line is cut
    }
    if (starts) {
        builder.add_initial(line, place, to);
    } else {
        builder.add_transition(line, place, to, label);
    }
}

}  // namespace

bool is_dot(std::string_view first_line)
{
    return first_line.starts_with("digraph ");
}

bool read_dot_line(DiagramLine line, RecordingBuilder& builder)
{
    if (line.take("digraph ")) {
        builder.set_name(quoted(line));
        line.expect(" {");
    } else if (line.take("// not shown: ")) {
        builder.set_dropped(line.number());
    } else if (line.take("subgraph cluster_s")) {
        const std::uint32_t place = line.place();
        line.expect(" {");
        builder.add_state(line, place, "", true);
    } else if (line.take("label=")) {
        builder.name_open_state(line, quoted(line));
        line.expect("; ");
    } else if (line.take("}")) {
        line.expect_end();
        return builder.close_state();
    } else if (line.take("s")) {
        read_state_or_transition(line, builder);
    } else if (!line.take("compound=") && !line.take("fontname=") && !line.take("node [") &&
               !line.take("edge [")) {
        line.expect("a state or a transition");
    }
    return true;
}

}  // namespace commonctl
