// Recorded state machines as pictures.
#pragma once

#include <string>

namespace commonctl {

/// @param text a machine as hsm_trace.h records it, in Mermaid or DOT.
/// @return an SVG document. @throws std::runtime_error when the text is no such machine.
std::string svg_of_recording(const std::string& text);

}  // namespace commonctl
