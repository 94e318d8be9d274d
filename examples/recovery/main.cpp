// Checks the flash partitions and repairs those that are corrupt, as a platform's recovery process
// does at start-up: a tour of flash safety. Without a flash device at hand play it on the simulated
// one, with "./dev target".
//
// Exits with 0 when all partitions are sound in the end, 1 when not, and 2 when it was called in
// another way than its usage says.
#include <cstdio>
#include <cstring>

#include "recovery.h"

namespace {

constexpr char kUsage[] = "usage: recovery [--check]\n"
                          "Checks the flash partitions and formats those that are corrupt.\n"
                          "\n"
                          "  --check  leave corrupt partitions alone\n";

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    const bool only_check = argc == 2 && std::strcmp(argv[1], "--check") == 0;
    if (argc != 1 && !only_check) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    return recovery::recover(only_check);
}
