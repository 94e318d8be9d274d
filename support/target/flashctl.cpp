// The command flashctl of a simulated target: erasing does nothing that can be seen, formatting
// empties the mount point of the partition.
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "program.h"

namespace {

namespace fs = std::filesystem;

/// Only these: the root of a target shows folders of the machine.
bool may_be_emptied(const std::string& mount_point)
{
    return mount_point == "/config-mfg" || mount_point == "/config" || mount_point == "/log";
}

/// Opens all folders first, as a format does not ask who may read them.
void make_empty(const fs::path& folder)
{
    std::error_code ignored;
    fs::permissions(folder, fs::perms::owner_all, fs::perm_options::add, ignored);
    std::vector<fs::path> entries;
    for (const auto& entry : fs::directory_iterator(folder)) {
        entries.push_back(entry.path());
    }
    for (const fs::path& entry : entries) {
        if (fs::is_directory(fs::symlink_status(entry))) {
            make_empty(entry);
        }
        fs::remove(entry);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    const support::target::Program program(argc, argv);
    if (!support::target::nor_device_is_there()) {
        std::fprintf(stderr, "flashctl: there is no /dev/fs0\n");
        return 1;
    }
    if (!program.value_of("-o") || !program.value_of("-l") || !program.value_of("-p") ||
        program.has("-e") == program.has("-F")) {
        std::fprintf(stderr,
                     "usage: flashctl -oOFFSET -lSIZE -pDEVICE [-f] [-vv] [-nNAME] -e|-F\n");
        return 2;
    }
    const auto mount_point = program.value_of("-n");
    if (program.has("-F") && mount_point && may_be_emptied(*mount_point)) {
        make_empty(*mount_point);
    }
    return 0;
}
