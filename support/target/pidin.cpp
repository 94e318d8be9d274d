// The command pidin of a simulated target: lists its processes.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "program.h"

int main(int argc, char** argv)
{
    const support::target::Program program(argc, argv);
    std::vector<int> ids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        if (const int id = std::atoi(entry.path().filename().c_str()); id > 0) {
            ids.push_back(id);
        }
    }
    std::sort(ids.begin(), ids.end());
    std::puts("     pid name");
    for (const int id : ids) {
        std::string name;
        if (std::getline(std::ifstream("/proc/" + std::to_string(id) + "/comm"), name)) {
            std::printf("%8d %s\n", id, name.c_str());
        }
    }
    return 0;
}
