// What a recorder of a state machine has seen (hsm_trace.h), read back from the diagrams that it
// writes, and drawn.
#pragma once

#include <cstddef>
#include <list>
#include <string>
#include <string_view>

#include <common/hsm_trace.h>

namespace commonctl {

/// Bytes of a diagram that are read at most.
inline constexpr std::size_t kMostDiagramBytes = 1 << 20;

/// A recorder as it was, but for the counts of its transitions, and the texts that it points to.
struct Recording {
    HsmRecorder recorder{};
    std::list<std::string> texts{};  ///< which stay where they are
};

/// Reads a diagram as HsmRecorderToDot() or HsmRecorderToMermaid() writes it: which of them, its
/// first line tells.
/// @throws std::runtime_error, whose text says at which line it is none of these.
Recording read_recording(std::string_view diagram);

/// Graphviz DOT text.
std::string dot_text(const HsmRecorder& recorder);

/// A Mermaid state diagram.
std::string mermaid_text(const HsmRecorder& recorder);

/// A picture that stands on its own, in the color of the text around it.
std::string svg_text(const HsmRecorder& recorder);

}  // namespace commonctl
