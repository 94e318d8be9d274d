// The flash drivers of a simulated target: the NAND driver under the name that NAND_DRIVER_NAME
// gives it, the NOR driver under any other.
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "program.h"
#include "target_files.h"

namespace {

using support::target::Program;

std::vector<std::string> devices_of(const Program& program)
{
    const char* const nand = std::getenv("NAND_DRIVER_NAME");
    if (nand != nullptr && program.name() == nand) {
        return {"/dev/etfs1", "/dev/etfs2"};
    }
    return {"/dev/fs0", "/dev/fs0p0", "/dev/fs0p1", "/dev/fs0p2", "/dev/fs0p3"};
}

/// The list comes first: whoever sees a device can rely on its being taken away in the end.
void make_devices(const std::vector<std::string>& devices)
{
    std::ofstream list(support::target::device_list(getpid()));
    for (const std::string& device : devices) {
        list << device << '\n';
    }
    list.close();
    for (const std::string& device : devices) {
        std::ofstream(device) << std::flush;
    }
}

sigset_t term_only()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    return signals;
}

/// Waits for SIGTERM, which is blocked. @return whether it came in time.
bool term_comes_within(int milliseconds)
{
    const sigset_t signals = term_only();
    const timespec time{milliseconds / 1000, milliseconds % 1000 * 1'000'000L};
    return sigtimedwait(&signals, nullptr, &time) == SIGTERM;
}

void wait_for_term()
{
    const sigset_t signals = term_only();
    while (sigwaitinfo(&signals, nullptr) != SIGTERM) {
    }
}

[[noreturn]] void serve(const Program& program, int ready)
{
    setsid();
    const int null = open("/dev/null", O_RDWR);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(null, fd);
    }
    close(null);
    const int late_ms = program.told_number("late=").value_or(0);
    if (late_ms == 0 && !program.is_told("never")) {
        make_devices(devices_of(program));
    }
    close(ready);
    if (late_ms != 0) {
        if (term_comes_within(late_ms)) {
            _exit(EXIT_SUCCESS);
        }
        make_devices(devices_of(program));
    }
    wait_for_term();
    while (program.is_told("ignore-term")) {
        wait_for_term();
    }
    const int slow_ms = program.told_number("slow-term=").value_or(0);
    term_comes_within(slow_ms);
    _exit(EXIT_SUCCESS);
}

}  // namespace

int main(int argc, char** argv)
{
    Program program(argc, argv);
    const sigset_t signals = term_only();
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    int ready[2];
    if (pipe(ready) != 0) {
        return EXIT_FAILURE;
    }
    switch (fork()) {
    case -1:
        return EXIT_FAILURE;
    case 0:
        close(ready[0]);
        serve(program, ready[1]);
    default:
        break;
    }
    // The command returns when the driver works in the background.
    close(ready[1]);
    char byte = 0;
    while (read(ready[0], &byte, 1) > 0) {
    }
    return EXIT_SUCCESS;
}
