#include "diagram/diagram.h"

#include "diagram/recording.h"

namespace commonctl {

std::string svg_of_recording(const std::string& text)
{
    return svg_text(read_recording(text).recorder);
}

}  // namespace commonctl
