// What "commonctl machine" reads: what is accepted can be drawn in each form, and comes back from
// the two that can be read as it is.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "codes/utf8.h"
#include "diagram/recording.h"
#include "support/input.h"

namespace {

std::optional<commonctl::Recording> read(const std::string& diagram)
{
    try {
        return commonctl::read_recording(diagram);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto recording = read({reinterpret_cast<const char*>(data), size});
    if (!recording) {
        return 0;
    }
    const std::string dot = commonctl::dot_text(recording->recorder);
    const auto from_dot = read(dot);
    FUZZ_CHECK(from_dot && commonctl::dot_text(from_dot->recorder) == dot);
    const std::string mermaid = commonctl::mermaid_text(recording->recorder);
    const auto from_mermaid = read(mermaid);
    FUZZ_CHECK(from_mermaid && commonctl::mermaid_text(from_mermaid->recorder) == mermaid);
    const std::string svg = commonctl::svg_text(recording->recorder);
    FUZZ_CHECK(commonctl::is_utf8(svg) && svg.ends_with("</svg>\n"));
    FUZZ_CHECK(std::count(svg.begin(), svg.end(), '<') == std::count(svg.begin(), svg.end(), '>'));
    return 0;
}
