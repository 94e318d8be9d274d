#include "codes/streams.h"
#include "command_line.h"
#include "diagram/recording.h"
#include "subcommands.h"

namespace commonctl {
namespace {

enum class Form { Svg, Dot, Mermaid };

struct MachineOptions {
    Form form = Form::Svg;
    std::string file = "-";
};

int draw_machine(const MachineOptions& options)
{
    const Recording recording = read_recording(read_input(options.file, kMostDiagramBytes));
    const HsmRecorder& recorder = recording.recorder;
    write_output(options.form == Form::Svg   ? svg_text(recorder)
                 : options.form == Form::Dot ? dot_text(recorder)
                                             : mermaid_text(recorder));
    flush_output();
    return kSuccess;
}

}  // namespace

void add_machine(Tool& tool)
{
    auto [line, options] = tool.add<MachineOptions>(
        "machine", "draw a recorded state machine",
        "Draws what a recorder of a state machine has seen (hsm_trace.h). A process hands it out\n"
        "as text, as HsmRecorderToDot() or HsmRecorderToMermaid() writes it, to a file or to\n"
        "standard output; FILE has that text, \"-\" is standard input. Either is turned into any\n"
        "form.\n"
        "\n"
        "The SVG picture needs no other program: states from top to bottom, one inside the other\n"
        "as they are nested; initial transitions from a dot on their left, all others on their\n"
        "right, each on a line of its own with its event. Where Graphviz is installed, \"dot\"\n"
        "makes a denser picture of -o dot.\n"
        "\n"
        "Reads 1 MiB at most, with as many states (64) and transitions (256) as a recorder holds.",
        draw_machine);
    line.word("-o,--output", "FORM", options.form,
              "Write svg (the default), dot (Graphviz) or mermaid",
              {{"svg", Form::Svg}, {"dot", Form::Dot}, {"mermaid", Form::Mermaid}});
    line.option("FILE", "", options.file, "The recording");
    line.examples("  commonctl machine player.dot > player.svg\n"
                  "  player_machine mermaid | commonctl machine > player.svg\n"
                  "  commonctl machine player.mmd -o dot | dot -Tsvg > player.svg");
}

}  // namespace commonctl
