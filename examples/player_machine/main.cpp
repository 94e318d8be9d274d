// Drives the player's state machine through everything that it can do, records it, and writes the
// diagram that docs/state_machines.md shows:
//
//     player_machine dot | dot -Tsvg >docs/player_machine.svg
//
// Exits with 0; with 2 when it was called in another way than its usage says.
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>

#include "hsm_trace.h"
#include "player.h"

namespace {

using namespace player;

constexpr char kUsage[] = "usage: player_machine dot|mermaid\n"
                          "Writes the diagram of the player's state machine.\n";

HsmRecorder recorder;

/// Takes every transition there is.
void record_everything()
{
    Player player([](void*, const char*) {}, nullptr);
    HsmRecorderInit(&recorder, player.hsm(), event_name);
    HsmTraceSet(&recorder.trace);
    for (const auto& events : {std::initializer_list<Event>{kStart, kInterrupt, kResume, kFinished},
                               {kStart, kInterrupt, kInterrupt},
                               {kInterrupt}}) {
        player.start();
        for (const Event event : events) {
            player.handle(event);
        }
    }
    HsmTraceSet(nullptr);
}

}  // namespace

int main(int argc, char** argv)
{
    const bool dot = argc == 2 && std::strcmp(argv[1], "dot") == 0;
    if (!dot && (argc != 2 || std::strcmp(argv[1], "mermaid") != 0)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    record_everything();
    const auto write = dot ? HsmRecorderToDot : HsmRecorderToMermaid;
    std::string text(write(&recorder, nullptr, 0) + 1, '\0');
    write(&recorder, text.data(), static_cast<std::uint32_t>(text.size()));
    std::fputs(text.c_str(), stdout);
    return 0;
}
