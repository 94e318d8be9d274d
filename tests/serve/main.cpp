// "serve" over parts whose answers are known.
#include <cstdio>
#include <exception>

#include "command_line.h"
#include "subcommands.h"

int main(int argc, char** argv)
{
    try {
        commonctl::Tool tool;
        commonctl::add_serve(tool);
        return tool.run(commonctl::Arguments(argv + 1, argv + argc));
    } catch (const commonctl::UsageError& error) {
        std::fprintf(stderr, "commonctl: %s\n", error.what());
        return commonctl::kUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "commonctl: %s\n", error.what());
        return commonctl::kFailure;
    }
}
