// Runs a target over each file of a folder, for builds without libFuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "support/input.h"

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    LLVMFuzzerInitialize(&argc, &argv);
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::vector<char> input{std::istreambuf_iterator<char>(file), {}};
        if (!file) {
            std::fprintf(stderr, "cannot read %s\n", entry.path().c_str());
            return 1;
        }
        std::fprintf(stderr, "%s\n", entry.path().filename().c_str());
        const std::vector<std::uint8_t> bytes(input.begin(), input.end());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        ++count;
    }
    std::fprintf(stderr, "%d inputs\n", count);
    return count == 0 ? 1 : 0;
}
