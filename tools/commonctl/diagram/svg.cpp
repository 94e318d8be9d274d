#include <algorithm>

#include "codes/utf8.h"
#include "diagram/recording.h"
#include "diagram/svg_layout.h"
#include "diagram/svg_names.h"
#include "markup.h"

namespace commonctl {
namespace {

constexpr int kCorner = 6;
constexpr int kArrowHead = 8;

std::string number(int value)
{
    return std::to_string(value);
}

/// An element without content; attributes come as "x", 1, "y", 2.
template <typename... Rest>
std::string attributes(const char* name, int value, Rest... rest)
{
    std::string text = std::string(" ") + name + "=\"" + number(value) + "\"";
    if constexpr (sizeof...(rest) > 0) {
        text += attributes(rest...);
    }
    return text;
}

std::string text_at(int x, int y, std::string_view text)
{
    // In the middle of its row.
    return "<text" + attributes("x", x, "y", y + kFontSize / 3) + ">" + markup_of(text) +
           "</text>\n";
}

std::string path(const std::string& steps)
{
    return "<path d=\"" + steps + "\"/>\n";
}

/// A head whose tip is at a point.
/// @param back where the line comes from: 1 from the right, -1 from the left.
std::string head_at(int x, int y, int back)
{
    return "<path fill=\"currentColor\" d=\"M" + number(x) + " " + number(y) + "l" +
           number(back * kArrowHead) + " -4v8z\"/>\n";
}

std::string title(const std::string& text)
{
    return "<title>" + markup_of(text) + "</title>\n";
}

void draw_state(std::string& svg, const StateBox& box)
{
    svg += "<rect" +
           attributes("x", box.x, "y", box.y, "width", box.width, "height", box.height, "rx", 8) +
           "/>\n";
    if (box.has_start) {
        const Dot dot = dot_of(box);
        svg +=
            "<circle fill=\"currentColor\"" + attributes("cx", dot.x, "cy", dot.y, "r", 4) + "/>\n";
    }
}

void draw_name(std::string& svg, const StateBox& box)
{
    // Above the dot, if there is one.
    const int y = box.has_start ? box.y + (box.head - kDotFromHead) / 2 : box.middle();
    svg += text_at(box.x + 12, y, box.name);
}

void draw_initial(std::string& svg, const SvgLayout& layout, const InitialArrow& arrow)
{
    const Dot dot = dot_of(layout.states[arrow.from]);
    const StateBox& to = layout.states[arrow.to];
    svg += path("M" + number(dot.x) + " " + number(dot.y) + "V" + number(to.middle() - kCorner) +
                "q0 " + number(kCorner) + " " + number(kCorner) + " " + number(kCorner) + "H" +
                number(to.x - kArrowHead)) +
           head_at(to.x, to.middle(), -1);
}

void draw_arrow(std::string& svg, const SvgLayout& layout, const Arrow& arrow)
{
    const StateBox& from = layout.states[arrow.from];
    const StateBox& to = layout.states[arrow.to];
    const int to_x = to.x + to.width;
    const int down = arrow.to_y > arrow.from_y ? kCorner : -kCorner;
    const int text_end = layout.label_x + text_width(arrow.label) + 4;
    std::string steps = "M" + number(from.x + from.width) + " " + number(arrow.from_y);
    if (!arrow.label.empty()) {
        steps +=
            "H" + number(layout.label_x - 4) + "M" + number(text_end) + " " + number(arrow.from_y);
    }
    steps += "H" + number(arrow.lane_x - kCorner) + "q" + number(kCorner) + " 0 " +
             number(kCorner) + " " + number(down) + "V" + number(arrow.to_y - down) + "q0 " +
             number(down) + " " + number(-kCorner) + " " + number(down) + "H" +
             number(to_x + kArrowHead);
    svg += "<g class=\"transition\">\n" + title(from.name + " to " + to.name + ": " + arrow.label) +
           path(steps) + head_at(to_x, arrow.to_y, 1) +
           "<g fill=\"currentColor\" stroke=\"none\">\n" +
           text_at(layout.label_x, arrow.from_y, arrow.label) + "</g>\n</g>\n";
}

}  // namespace

std::string shown(const char* text)
{
    std::string result;
    for (std::string_view rest = text != nullptr ? text : ""; !rest.empty();) {
        const std::size_t length = std::max<std::size_t>(1, utf8_length(rest));
        const std::string_view character = rest.substr(0, length);
        const bool is_known = utf8_length(rest) != 0 &&
                              static_cast<unsigned char>(rest[0]) >= ' ' &&
                              character != "\xef\xbf\xbe" && character != "\xef\xbf\xbf";
        result += is_known ? character : "?";
        rest.remove_prefix(length);
    }
    return result;
}

std::string label_of(const HsmSeenTransition& transition)
{
    if (transition.cause == HsmCauseStart) {
        return "start";
    }
    return transition.eventName != nullptr ? shown(transition.eventName)
                                           : std::to_string(transition.event);
}

bool is_initial(const HsmRecorder& recorder, const HsmSeenTransition& transition)
{
    std::uint32_t above = transition.to;
    while (above != HsmRecorderNone && above != transition.from) {
        above = recorder.states[above].parent;
    }
    return transition.cause == HsmCauseStart && transition.from != transition.to &&
           above == transition.from;
}

std::string svg_text(const HsmRecorder& recorder)
{
    SvgLayout layout = lay_out(recorder);
    const std::string name = shown(recorder.machineName);
    std::string notes;
    if (recorder.dropped != 0) {
        const std::string note =
            std::to_string(recorder.dropped) + " transitions that there was no room for";
        layout.width = std::max(layout.width, text_width(note) + 24);
        notes = text_at(12, layout.height + 8, note);
        layout.height += 24;
    }
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" role=\"img\"" +
                      attributes("width", layout.width, "height", layout.height) +
                      " viewBox=\"0 0 " + number(layout.width) + " " + number(layout.height) +
                      "\" font-family=\"monospace\"" + attributes("font-size", kFontSize) + ">\n" +
                      title(name.empty() ? "State machine" : name) +
                      "<g fill=\"none\" stroke=\"currentColor\" stroke-opacity=\"0.6\">\n";
    for (const StateBox& box : layout.states) {
        draw_state(svg, box);
    }
    svg += "</g>\n<g fill=\"currentColor\">\n";
    for (const StateBox& box : layout.states) {
        draw_name(svg, box);
    }
    svg += notes + "</g>\n<g fill=\"none\" stroke=\"currentColor\">\n";
    for (const InitialArrow& arrow : layout.initial) {
        draw_initial(svg, layout, arrow);
    }
    for (const Arrow& arrow : layout.arrows) {
        draw_arrow(svg, layout, arrow);
    }
    return svg + "</g>\n</svg>\n";
}

}  // namespace commonctl
