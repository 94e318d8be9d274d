// The deep check of a flash partition, against the same walk by hand and against nftw(3), over
// 100,000 files in 1,000 folders in memory, where the kernel's own part is the smallest.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "build_tree.h"
#include "flash_safety.h"
#include "private_root.h"
#include "simulated_target.h"
#include "support/ratio_report.h"

namespace {

constexpr char kMountPoint[] = "/config";
constexpr std::uint32_t kPartition = 2;
constexpr int kFolders = 1000;
constexpr int kFilesEach = 100;
constexpr long kEntries = kFolders + long{kFolders} * kFilesEach;

void make_tree()
{
    for (int folder = 0; folder < kFolders; ++folder) {
        const std::string path = std::string(kMountPoint) + "/folder" + std::to_string(folder);
        mkdir(path.c_str(), 0755);
        for (int file = 0; file < kFilesEach; ++file) {
            const std::string name = path + "/some file " + std::to_string(file) + ".dat";
            close(open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        }
    }
}

void deep_check(benchmark::State& state)
{
    for (auto _ : state) {
        std::uint32_t corrupt = 1;
        if (FLASHSAFE_CheckPartition(kPartition, 1, 0, &corrupt) != 1 || corrupt != 0) {
            state.SkipWithError("the tree is not sound");
            break;
        }
    }
}
BENCHMARK(deep_check)->Unit(benchmark::kMillisecond);

// ----------------------------------------------------------------------------------------- peers

struct Entry {
    std::uint64_t inode;
    std::int64_t offset;
    unsigned short length;
    unsigned char type;
    char name[1];
};

/// No more than the kernel is asked for: openat, getdents, fstatat. Counts the entries.
long walk_by_hand(int parent, const char* name)
{
    const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        return -1;
    }
    long count = 0;
    alignas(Entry) char buffer[32 * 1024];
    long length = 0;
    while ((length = syscall(SYS_getdents64, folder, buffer, sizeof buffer)) > 0) {
        for (long position = 0; position < length;) {
            const auto* const entry = reinterpret_cast<const Entry*>(buffer + position);
            const char* const entry_name = &entry->name[0];
            position += entry->length;
            if (std::strcmp(entry_name, ".") == 0 || std::strcmp(entry_name, "..") == 0) {
                continue;
            }
            struct stat status;
            if (fstatat(folder, entry_name, &status, 0) != 0) {
                close(folder);
                return -1;
            }
            ++count;
            if (S_ISDIR(status.st_mode)) {
                count += walk_by_hand(folder, entry_name);
            }
        }
    }
    close(folder);
    return count;
}

void by_hand(benchmark::State& state)
{
    for (auto _ : state) {
        if (walk_by_hand(AT_FDCWD, kMountPoint) != kEntries) {
            state.SkipWithError("other entries than were made");
            break;
        }
    }
}
BENCHMARK(by_hand)->Unit(benchmark::kMillisecond);

long nftw_count = 0;

int count_entry(const char* /*path*/, const struct stat* /*status*/, int type, FTW* /*place*/)
{
    ++nftw_count;
    return type == FTW_NS || type == FTW_DNR ? 1 : 0;
}

/// With as many folders open as ours may have.
template <int Flags>
void with_nftw(benchmark::State& state)
{
    for (auto _ : state) {
        nftw_count = -1;  // for the mount point itself
        if (nftw(kMountPoint, count_entry, 99, Flags) != 0 || nftw_count != kEntries) {
            state.SkipWithError("other entries than were made");
            break;
        }
    }
}
BENCHMARK(with_nftw<0>)->Name("with_nftw")->Unit(benchmark::kMillisecond);
// Does less: it asks for symbolic links, not for what they lead to.
BENCHMARK(with_nftw<FTW_PHYS>)->Name("with_nftw_physical")->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv)
{
    try {
        support::enter_private_root(support::build_tree());
    } catch (const std::exception& error) {
        std::fprintf(stderr, "flash_bench: %s\n", error.what());
        return 1;
    }
    for (const auto& [name, value] : support::usual_target_environment()) {
        setenv(name.c_str(), value.c_str(), 1);
    }
    setenv("COMMON_LOG_LEVEL", "Error", 1);
    make_tree();
    return bench::run_and_compare(
        argc, argv,
        {{"deep check / openat, getdents and fstatat", "deep_check", "by_hand", 1.05},
         {"deep check / nftw", "deep_check", "with_nftw", 1.0},
         {"deep check / nftw that follows no links", "deep_check", "with_nftw_physical", 1.0}});
}
