// commonctl: reads the command line and runs its sub-command.
#include <cstdio>
#include <exception>

#include "command_line.h"
#include "subcommands.h"

int main(int argc, char** argv)
{
    try {
        commonctl::Tool tool;
        commonctl::add_log(tool);
        commonctl::add_listen(tool);
        commonctl::add_top(tool);
        commonctl::add_level(tool);
        commonctl::add_settings(tool);
        commonctl::add_serve(tool);
        commonctl::add_decode(tool);
        commonctl::add_encode(tool);
        commonctl::add_machine(tool);
        commonctl::add_flash(tool);
        commonctl::add_names(tool);
        return tool.run(commonctl::Arguments(argv + (argc > 0 ? 1 : 0), argv + argc));
    } catch (const commonctl::UsageError& error) {
        std::fprintf(stderr, "commonctl: %s (see \"commonctl help\")\n", error.what());
        return commonctl::kUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "commonctl: %s\n", error.what());
        return commonctl::kFailure;
    }
}
