// The languages that the library itself writes.
#include "diagram/recording.h"

namespace commonctl {
namespace {

std::string written(const HsmRecorder& recorder,
                    std::uint32_t (*write)(const HsmRecorder*, char*, std::uint32_t))
{
    std::string text(write(&recorder, nullptr, 0) + 1U, '\0');
    text.resize(write(&recorder, text.data(), static_cast<std::uint32_t>(text.size())));
    return text;
}

}  // namespace

std::string dot_text(const HsmRecorder& recorder)
{
    return written(recorder, HsmRecorderToDot);
}

std::string mermaid_text(const HsmRecorder& recorder)
{
    return written(recorder, HsmRecorderToMermaid);
}

}  // namespace commonctl
