// What loading the library costs a process: dlopen and the first record, relocations, dirty pages.
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "common_log.h"
#include "support/log_drain.h"
#include "support/ratio_report.h"

namespace {

constexpr int kRuns = 51;

// What every process that loads the library can be asked for.
constexpr double kMostDirty_kib = 8;
constexpr double kMostText_kib = 190;

/// What one fresh process saw.
struct Start {
    double load_us;
    double first_record_us;
    double relocations;
    double private_dirty_kib;
    double text_kib;
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

/// What is mapped and never written to: code, constants and what the loader reads.
double text_kib_of(void* library)
{
    const auto* const base =
        std::bit_cast<const char*>(static_cast<const link_map*>(library)->l_addr);
    const auto* const header = reinterpret_cast<const ElfW(Ehdr)*>(base);
    const auto* const segments = reinterpret_cast<const ElfW(Phdr)*>(base + header->e_phoff);
    double bytes = 0;
    for (unsigned i = 0; i < header->e_phnum; ++i) {
        const bool is_text = segments[i].p_type == PT_LOAD && (segments[i].p_flags & PF_W) == 0;
        bytes += is_text ? static_cast<double>(segments[i].p_filesz) : 0;
    }
    return bytes / 1024;
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
        start.text_kib = text_kib_of(library);
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
    std::printf(
        "medians of %d fresh processes: dlopen %.1f us, first record %.1f us, %.0f relocations\n",
        kRuns, load, first, median(ours, &Start::relocations));
    bench::print_head();
    bench::report({"private dirty memory / at most", median(ours, &Start::private_dirty_kib),
                   kMostDirty_kib, 1.0, "KiB"});
    bench::report({"text of the library / at most", median(ours, &Start::text_kib), kMostText_kib,
                   1.0, "KiB"});
    if (const double peer_load = median(peers, &Start::load_us); peer_load > 0) {
        bench::report({std::string("dlopen + first record / dlopen of ") + peer,
                       (load + first) * 1000, peer_load * 1000, 0});
    }
    return 0;
}
