#include "diagram/recording_builder.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "terminal.h"

namespace commonctl {
namespace {

constexpr std::string_view kBlanks = " \t";

std::string_view without_indentation(std::string_view line)
{
    line.remove_prefix(std::min(line.find_first_not_of(kBlanks), line.size()));
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

}  // namespace

bool DiagramLine::take(std::string_view word)
{
    const bool taken = rest_.starts_with(word);
    rest_.remove_prefix(taken ? word.size() : 0);
    return taken;
}

void DiagramLine::expect(std::string_view word)
{
    if (!take(word)) {
        refuse("\"" + std::string(word) + "\" is missing in front of \"" +
               printable(rest_.substr(0, 40)) + "\"");
    }
}

std::uint32_t DiagramLine::number()
{
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    if (error != std::errc()) {
        refuse("a number is missing in front of \"" + printable(rest_.substr(0, 40)) + "\"");
    }
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return number;
}

std::uint32_t DiagramLine::place()
{
    const std::uint32_t place = number();
    if (place >= HsmRecorderStates) {
        refuse("a recorder has states s0 to s" + std::to_string(HsmRecorderStates - 1));
    }
    return place;
}

std::string_view DiagramLine::rest()
{
    return std::exchange(rest_, {});
}

void DiagramLine::expect_end()
{
    if (rest_.find_first_not_of(kBlanks) != std::string_view::npos) {
        refuse("nothing may follow in front of \"" + printable(rest_.substr(0, 40)) + "\"");
    }
}

void DiagramLine::refuse(const std::string& why) const
{
    throw std::runtime_error("line " + std::to_string(number_) +
                             " is not as a recorder writes it: " + why);
}

const char* RecordingBuilder::keep(const std::string& text)
{
    return recording_.texts.emplace_back(text).c_str();
}

void RecordingBuilder::set_name(const std::string& name)
{
    recording_.recorder.machineName = keep(name);
}

void RecordingBuilder::add_state(const DiagramLine& line, std::uint32_t place,
                                 const std::string& name, bool open)
{
    const std::uint32_t parent = open_.empty() ? std::uint32_t{HsmRecorderNone} : open_.back();
    if (known_[place]) {
        line.refuse("there is a state s" + std::to_string(place) + " already");
    }
    if (!open_.empty() && parent > place) {
        line.refuse("a state has a higher number than the one that it is in");
    }
    known_[place] = true;
    recording_.recorder.states[place] = {nullptr, keep(name), parent};
    ++recording_.recorder.stateCount;
    if (open) {
        open_.push_back(place);
    }
}

void RecordingBuilder::name_open_state(const DiagramLine& line, const std::string& name)
{
    recording_.recorder.states[open_state(line)].name = keep(name);
}

bool RecordingBuilder::close_state()
{
    if (open_.empty()) {
        return false;
    }
    open_.pop_back();
    return true;
}

std::uint32_t RecordingBuilder::open_state(const DiagramLine& line) const
{
    if (open_.empty()) {
        line.refuse("it belongs into a state");
    }
    return open_.back();
}

void RecordingBuilder::add_transition(const DiagramLine& line, std::uint32_t from, std::uint32_t to,
                                      const std::string& label)
{
    add(line, {from, to, HsmCauseEvent, 1, 0, keep(label)});
}

void RecordingBuilder::add_initial(const DiagramLine& line, std::uint32_t from, std::uint32_t to)
{
    add(line, {from, to, HsmCauseStart, 1, 0, nullptr});
}

void RecordingBuilder::add(const DiagramLine& line, const HsmSeenTransition& transition)
{
    HsmRecorder& recorder = recording_.recorder;
    if (recorder.transitionCount == HsmRecorderTransitions) {
        line.refuse("a recorder has " + std::to_string(HsmRecorderTransitions) +
                    " transitions at most");
    }
    recorder.transitions[recorder.transitionCount++] = transition;
    lines_.push_back(line);
}

void RecordingBuilder::check(const DiagramLine& line, const HsmSeenTransition& transition) const
{
    for (const std::uint32_t place : {transition.from, transition.to}) {
        if (!known_[place]) {
            line.refuse("there is no state s" + std::to_string(place));
        }
    }
    if (transition.cause == HsmCauseStart) {
        std::uint32_t above = transition.to;
        do {
            above = recording_.recorder.states[above].parent;
        } while (above != transition.from && above != HsmRecorderNone);
        if (above == HsmRecorderNone) {
            line.refuse("a state starts with one inside it");
        }
    }
}

Recording RecordingBuilder::finish(const DiagramLine& last)
{
    const HsmRecorder& recorder = recording_.recorder;
    if (!open_.empty()) {
        last.refuse("a \"}\" is missing behind it");
    }
    for (std::uint32_t place = 0; place < recorder.stateCount; ++place) {
        if (!known_[place]) {
            last.refuse("there is no state s" + std::to_string(place));
        }
    }
    for (std::uint32_t i = 0; i < recorder.transitionCount; ++i) {
        check(lines_[i], recorder.transitions[i]);
    }
    return std::move(recording_);
}

Recording read_recording(std::string_view diagram)
{
    RecordingBuilder builder;
    bool (*read)(DiagramLine, RecordingBuilder&) = nullptr;
    bool ended = false;
    std::size_t number = 0;
    DiagramLine last("", 1);
    while (!diagram.empty()) {
        const std::size_t end = std::min(diagram.find('\n'), diagram.size());
        const std::string_view text = without_indentation(diagram.substr(0, end));
        const DiagramLine line(text, ++number);
        diagram.remove_prefix(std::min(end + 1, diagram.size()));
        if (text.empty()) {
            continue;
        }
        if (read == nullptr) {
            read = is_dot(text) ? read_dot_line : is_mermaid(text) ? read_mermaid_line : nullptr;
        }
        if (read == nullptr) {
            line.refuse("it begins with \"digraph\" or \"stateDiagram-v2\"");
        }
        if (ended) {
            line.refuse("the diagram has ended");
        }
        ended = !read(line, builder);
        last = line;
    }
    if (read == nullptr || (read == read_dot_line && !ended)) {
        last.refuse("the diagram has no end");
    }
    return builder.finish(last);
}

}  // namespace commonctl
