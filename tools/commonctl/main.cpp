// commonctl: finds the sub-command and runs it.
#include <cstdio>
#include <exception>
#include <string_view>

#include "listen.h"
#include "subcommand.h"

namespace commonctl {
namespace {

constexpr const Subcommand* kSubcommands[] = {&kListen};

const Subcommand* find(std::string_view name)
{
    for (const Subcommand* subcommand : kSubcommands) {
        if (name == subcommand->name) {
            return subcommand;
        }
    }
    return nullptr;
}

bool asks_for_help(std::string_view argument)
{
    return argument == "--help" || argument == "-h";
}

const Subcommand& find_or_throw(const std::string& name)
{
    const Subcommand* subcommand = find(name);
    if (subcommand == nullptr) {
        throw UsageError("there is no sub-command \"" + name + "\"");
    }
    return *subcommand;
}

void print_overview()
{
    std::puts("usage: commonctl SUB-COMMAND [ARGUMENT...]\n"
              "       commonctl help [SUB-COMMAND]\n");
    for (const Subcommand* subcommand : kSubcommands) {
        std::printf("  %-10s %s\n", subcommand->name, subcommand->summary);
    }
}

int help(const Arguments& arguments)
{
    if (arguments.size() > 1) {
        throw UsageError("help takes one sub-command");
    }
    if (arguments.empty()) {
        print_overview();
    } else {
        std::fputs(find_or_throw(arguments[0]).help, stdout);
    }
    return kSuccess;
}

int run(const Arguments& line)
{
    if (line.empty()) {
        throw UsageError("a sub-command is missing");
    }
    const Arguments rest(line.begin() + 1, line.end());
    if (line[0] == "help" || asks_for_help(line[0])) {
        return help(rest);
    }
    const Subcommand& subcommand = find_or_throw(line[0]);
    if (!rest.empty() && asks_for_help(rest[0])) {
        return help({subcommand.name});
    }
    return subcommand.run(rest);
}

}  // namespace
}  // namespace commonctl

int main(int argc, char** argv)
{
    try {
        return commonctl::run(commonctl::Arguments(argv + (argc > 0 ? 1 : 0), argv + argc));
    } catch (const commonctl::UsageError& error) {
        std::fprintf(stderr, "commonctl: %s (see \"commonctl help\")\n", error.what());
        return commonctl::kUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "commonctl: %s\n", error.what());
        return commonctl::kFailure;
    }
}
