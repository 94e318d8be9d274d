// The sub-commands: each adds itself to the command line, in a source file of its name.
#pragma once

namespace commonctl {

class Tool;

void add_listen(Tool& tool);
void add_log(Tool& tool);
void add_serve(Tool& tool);

}  // namespace commonctl
