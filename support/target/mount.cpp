// The command mount of a simulated target: remounts what a flash driver serves.
#include <cstdio>
#include <filesystem>

#include "program.h"

int main(int argc, char** argv)
{
    const support::target::Program program(argc, argv);
    const auto& arguments = program.arguments();
    if (arguments.size() != 3 || arguments[0] != "-u" ||
        (arguments[1] != "-w" && arguments[1] != "-r")) {
        std::fprintf(stderr, "usage: mount -u -w|-r FOLDER\n");
        return 2;
    }
    if (!support::target::nor_device_is_there() || !std::filesystem::is_directory(arguments[2])) {
        std::fprintf(stderr, "mount: %s is not mounted\n", arguments[2].c_str());
        return 1;
    }
    return 0;
}
