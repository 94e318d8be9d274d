// What the readers of diagrams share: a line taken apart, and the recorder that they fill.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "diagram/recording.h"

namespace commonctl {

/// One line of a diagram, of which one thing after the other is taken.
class DiagramLine {
public:
    /// @param text without its indentation. @param number counted from 1.
    DiagramLine(std::string_view text, std::size_t number) : rest_(text), number_(number) {}

    /// Takes a word, if the rest begins with it.
    bool take(std::string_view word);
    /// The same, where nothing else may stand.
    void expect(std::string_view word);
    std::uint32_t number();
    /// A place in HsmRecorder::states.
    std::uint32_t place();
    /// Takes all that is left.
    std::string_view rest();
    void set_rest(std::string_view rest) { rest_ = rest; }
    void expect_end();

    [[noreturn]] void refuse(const std::string& why) const;

private:
    std::string_view rest_;
    std::size_t number_;
};

/// Fills a recorder, and sees to it that it is one that could have been.
class RecordingBuilder {
public:
    void set_name(const std::string& name);
    void set_dropped(std::uint32_t dropped) { recording_.recorder.dropped = dropped; }

    /// Adds a state inside the composite state that is open; with `open` it is open itself now.
    void add_state(const DiagramLine& line, std::uint32_t place, const std::string& name,
                   bool open);
    void name_open_state(const DiagramLine& line, const std::string& name);
    /// @return false when no composite state is open.
    bool close_state();
    /// The composite state that is open. Refuses the line when there is none.
    std::uint32_t open_state(const DiagramLine& line) const;

    void add_transition(const DiagramLine& line, std::uint32_t from, std::uint32_t to,
                        const std::string& label);
    void add_initial(const DiagramLine& line, std::uint32_t from, std::uint32_t to);

    /// Gives the recorder when the last line is read.
    Recording finish(const DiagramLine& last);

private:
    const char* keep(const std::string& text);
    void add(const DiagramLine& line, const HsmSeenTransition& transition);
    void check(const DiagramLine& line, const HsmSeenTransition& transition) const;

    Recording recording_;
    bool known_[HsmRecorderStates] = {};
    std::vector<std::uint32_t> open_;
    std::vector<DiagramLine> lines_;  ///< of the transitions
};

/// @param line the first one. @return whether the diagram is one of this language.
bool is_dot(std::string_view first_line);
bool is_mermaid(std::string_view first_line);

/// Read a line. @return false when it ends the diagram.
bool read_dot_line(DiagramLine line, RecordingBuilder& builder);
bool read_mermaid_line(DiagramLine line, RecordingBuilder& builder);

}  // namespace commonctl
