// Mermaid text, as HsmRecorderToMermaid() writes it.
#include "diagram/recording_builder.h"

namespace commonctl {
namespace {

/// A text in which some characters are "#NN;", by their numbers.
std::string unescaped(const DiagramLine& line, std::string_view rest)
{
    std::string text;
    while (!rest.empty()) {
        if (rest[0] != '#') {
            text += rest[0];
            rest.remove_prefix(1);
            continue;
        }
        const std::size_t end = rest.find(';');
        if (end == std::string_view::npos) {
            line.refuse("a character's number has no \";\"");
        }
        DiagramLine digits = line;
        digits.set_rest(rest.substr(1, end - 1));
        const std::uint32_t number = digits.number();
        digits.expect_end();
        if (number < ' ' || number > '~') {
            line.refuse("a character has another number");
        }
        text += static_cast<char>(number);
        rest.remove_prefix(end + 1);
    }
    return text;
}

void read_state(DiagramLine& line, RecordingBuilder& builder)
{
    const std::string_view rest = line.rest();
    const std::size_t end = rest.find('"');
    if (end == std::string_view::npos) {
        line.refuse("a text has no end");
    }
    const std::string name = unescaped(line, rest.substr(0, end));
    line.set_rest(rest.substr(end));
    line.expect("\" as s");
    const std::uint32_t place = line.place();
    const bool open = line.take(" {");
    line.expect_end();
    builder.add_state(line, place, name, open);
}

void read_transition(DiagramLine& line, RecordingBuilder& builder)
{
    const std::uint32_t from = line.place();
    line.take("_point");
    line.expect(" --> s");
    const std::uint32_t to = line.place();
    line.take("_point");
    line.expect(" :");
    line.take(" ");
    builder.add_transition(line, from, to, unescaped(line, line.rest()));
}

}  // namespace

bool is_mermaid(std::string_view first_line)
{
    return first_line.starts_with("stateDiagram-v2");
}

bool read_mermaid_line(DiagramLine line, RecordingBuilder& builder)
{
    if (line.take("stateDiagram-v2")) {
        line.expect_end();
    } else if (line.take("%% not shown: ")) {
        builder.set_dropped(line.number());
    } else if (line.take("state \"")) {
        read_state(line, builder);
    } else if (line.take("state s")) {
        line.place();
        line.expect("_point <<choice>>");
    } else if (line.take("[*] --> s")) {
        const std::uint32_t to = line.place();
        builder.add_initial(line, builder.open_state(line), to);
    } else if (line.take("}")) {
        line.expect_end();
        if (!builder.close_state()) {
            line.refuse("no state is open");
        }
    } else if (line.take("s")) {
        read_transition(line, builder);
    } else {
        line.expect("a state or a transition");
    }
    return true;
}

}  // namespace commonctl
