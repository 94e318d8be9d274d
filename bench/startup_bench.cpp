// What loading the library costs a process: dlopen and the first record, relocations, dirty pages.
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "common_log.h"
#include "support/log_drain.h"

namespace {

constexpr int kRuns = 51;

/// What one fresh process saw.
struct Start {
    double load_us;
    double first_record_us;
    double relocations;
    double private_dirty_kib;
};

double us_since(std::chrono::steady_clock::time_point begin)
{
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - begin)
        .count();
}

double relocations_of(void* library)
{
    const auto* const map = static_cast<const link_map*>(library);
    double bytes = 0;
    double entry = sizeof(ElfW(Rela));
    for (const ElfW(Dyn)* dynamic = map->l_ld; dynamic->d_tag != DT_NULL; ++dynamic) {
        switch (dynamic->d_tag) {
        case DT_RELASZ:
        case DT_RELSZ:
        case DT_PLTRELSZ:
            bytes += static_cast<double>(dynamic->d_un.d_val);
            break;
        case DT_RELENT:
            entry = static_cast<double>(dynamic->d_un.d_val);
            break;
        default:
            break;
        }
    }
    return bytes / entry;
}

/// The pages of a file that this process has changed for itself.
double private_dirty_kib(const std::string& file)
{
    std::ifstream smaps("/proc/self/smaps");
    double kib = 0;
    bool inside = false;
    for (std::string line; std::getline(smaps, line);) {
        if (line.find('-') < line.find(' ')) {
            inside = line.find(file) != std::string::npos;
        } else if (inside && line.rfind("Private_Dirty:", 0) == 0) {
            double pages = 0;
            std::istringstream(line.substr(14)) >> pages;
            kib += pages;
        }
    }
    return kib;
}

Start start_once(const char* path, bool log)
{
    std::array<int, 2> ends{};
    if (pipe(ends.data()) != 0) {
        return {};
    }
    const pid_t child = fork();
    if (child == 0) {
        Start start{};
        auto begin = std::chrono::steady_clock::now();
        void* const library = dlopen(path, RTLD_LAZY | RTLD_LOCAL);
        start.load_us = us_since(begin);
        if (library == nullptr) {
            _exit(1);
        }
        if (log) {
            const auto write_record =
                reinterpret_cast<decltype(&COMMON_Log_Write)>(dlsym(library, "COMMON_Log_Write"));
            begin = std::chrono::steady_clock::now();
            write_record(COMMON_LogLevelInfo, 4095, "BENCH", "startup_bench.cpp", "start_once", 1,
                         "first record");
            start.first_record_us = us_since(begin);
        }
        start.relocations = relocations_of(library);
        const std::string name(path);
        start.private_dirty_kib = private_dirty_kib(name.substr(name.rfind('/') + 1));
        const bool written = write(ends[1], &start, sizeof start) == sizeof start;
        _exit(written ? 0 : 1);
    }
    close(ends[1]);
    Start start{};
    const bool complete = read(ends[0], &start, sizeof start) == sizeof start;
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return complete ? start : Start{};
}

double median(const std::vector<Start>& starts, double Start::*figure)
{
    std::vector<double> values;
    for (const Start& start : starts) {
        values.push_back(start.*figure);
    }
    std::nth_element(values.begin(), values.begin() + kRuns / 2, values.end());
    return values[kRuns / 2];
}

/// A file that was just built counts as dirty until it is on the disk.
void write_back(const char* path)
{
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        std::perror(path);
        return;
    }
    if (fsync(file) != 0) {
        std::perror(path);
    }
    close(file);
}

}  // namespace

int main()
{
    const bench::LogDrain drain;
    write_back(LIBCOMMON_PATH);
    const char* const peer = "libspdlog.so.1.10";
    std::vector<Start> ours;
    std::vector<Start> peers;
    for (int run = 0; run < kRuns; ++run) {
        ours.push_back(start_once(LIBCOMMON_PATH, true));
        peers.push_back(start_once(peer, false));
    }
    const double load = median(ours, &Start::load_us);
    const double first = median(ours, &Start::first_record_us);
    if (load == 0 || drain.received() == 0) {
        std::fputs("startup_bench: the library did not load or did not log\n", stderr);
        return 1;
    }
    std::printf("medians of %d fresh processes\n", kRuns);
    std::printf("dlopen of libcommon           %9.1f us\n", load);
    std::printf("first record                  %9.1f us\n", first);
    std::printf("relocations                   %9.0f\n", median(ours, &Start::relocations));
    std::printf("private dirty pages           %9.0f KiB\n",
                median(ours, &Start::private_dirty_kib));
    if (const double peer_load = median(peers, &Start::load_us); peer_load > 0) {
        std::printf("dlopen of %-17s   %9.1f us, %.0f relocations\n", peer, peer_load,
                    median(peers, &Start::relocations));
        std::printf("ratio dlopen + first record / dlopen of %s %.3f\n", peer,
                    (load + first) / peer_load);
    }
    return 0;
}
