// Runs a command on a simulated flash target (support/simulated_target.h).
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "build_tree.h"
#include "private_root.h"
#include "simulated_target.h"

namespace {

constexpr char kUsage[] =
    "usage: simulated_target [OPTION...] -- COMMAND [ARGUMENT...]\n"
    "\n"
    "Runs a command where there are flash partitions (/config-mfg, /config, /log), devices and\n"
    "drivers, and mount, flashctl and pidin for them, and ends with its exit status. Nothing of "
    "it\n"
    "reaches the machine, and all of it is gone afterwards. The environment names the drivers and\n"
    "their sizes; a variable that is set already (FLASH_START_LOG_SIZE, say) keeps its value.\n"
    "\n"
    "  --corrupt=FOLDER  put an entry that leads nowhere into FOLDER first, such as /log/journal\n"
    "  --down            do not start the drivers\n"
    "  --journal         show the commands that the target ran when the command has ended\n"
    "\n"
    "Words in a file of the name of a program in /oxa/target say how it behaves: exit=N, "
    "signal=N,\n"
    "and for the drivers late=MILLISECONDS, never, ignore-term, slow-term=MILLISECONDS.\n";

constexpr int kUsageError = 2;
constexpr int kNotRunnable = 126;
constexpr int kNotFound = 127;

struct Options {
    std::vector<std::string> corrupt;
    bool down = false;
    bool journal = false;
    std::vector<char*> command;  ///< ends with a null
};

bool parse(int argc, char** argv, Options& options)
{
    const std::string corrupt = "--corrupt=";
    int i = 1;
    for (; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
        const std::string argument = argv[i];
        if (argument == "--down") {
            options.down = true;
        } else if (argument == "--journal") {
            options.journal = true;
        } else if (argument.starts_with(corrupt + "/")) {
            options.corrupt.push_back(argument.substr(corrupt.size()));
        } else {
            std::fprintf(stderr, "simulated_target: it does not know \"%s\"\n", argument.c_str());
            return false;
        }
    }
    if (i + 1 >= argc) {
        std::fprintf(stderr, "simulated_target: a command is missing behind \"--\"\n");
        return false;
    }
    options.command.assign(argv + i + 1, argv + argc + 1);
    return true;
}

/// What somebody has set already is theirs.
support::TargetSetup setup_for(const Options& options)
{
    support::TargetSetup setup;
    setup.running = !options.down;
    for (const auto& [name, value] : support::usual_target_environment()) {
        if (const char* const own = std::getenv(name.c_str())) {
            setup.env[name] = own;
        }
    }
    return setup;
}

int execute(const Options& options)
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGQUIT, SIG_DFL);
    for (const std::string& folder : options.corrupt) {
        if (!support::is_private(folder)) {
            throw std::runtime_error("simulated_target: " + folder + " is the machine's own");
        }
        support::corrupt(folder);
    }
    execvp(options.command[0], options.command.data());
    const int error = errno;
    std::fprintf(stderr, "simulated_target: cannot run %s: %s\n", options.command[0],
                 std::strerror(error));
    return error == ENOENT ? kNotFound : kNotRunnable;
}

int run(const Options& options)
{
    std::error_code unknown_folder;
    auto keep = support::build_tree();
    keep.push_back(std::filesystem::current_path(unknown_folder));
    support::enter_private_root(keep);
    std::signal(SIGCHLD, SIG_DFL);  // ignored by the caller, it would leave nothing to wait for
    // A key pressed in the terminal is for the command; what ends it ends this.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGQUIT, SIG_IGN);
    const int status = support::run_on_target(setup_for(options), [&] { return execute(options); });
    if (options.journal) {
        std::printf("\nCommands that the target ran:\n");
        for (const std::string& line : support::target_journal()) {
            std::printf("  %s\n", line.c_str());
        }
    }
    return status;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    Options options;
    if (!parse(argc, argv, options)) {
        std::fputs(kUsage, stderr);
        return kUsageError;
    }
    try {
        return run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return support::kTargetFailed;
    }
}
