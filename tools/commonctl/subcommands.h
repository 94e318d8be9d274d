// The sub-commands: each adds itself to the command line, in a source file of its name.
#pragma once

namespace commonctl {

class Tool;

void add_decode(Tool& tool);
void add_encode(Tool& tool);
void add_flash(Tool& tool);
void add_level(Tool& tool);
void add_listen(Tool& tool);
void add_log(Tool& tool);
void add_machine(Tool& tool);
/// status, service, transport, module, charset, level-name
void add_names(Tool& tool);
void add_serve(Tool& tool);
void add_settings(Tool& tool);
void add_top(Tool& tool);

}  // namespace commonctl
