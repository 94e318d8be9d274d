// What folders, processes and streams cost: folders listed and filtered, a process found among 500,
// streams through the wrappers, against peers.
#include <benchmark/benchmark.h>
#include <dirent.h>
#include <fcntl.h>
#include <regex.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "common.h"
#include "oxa_file.h"
#include "support/ratio_report.h"

namespace {

namespace fs = std::filesystem;

constexpr int kEntries = 10'000;
constexpr int kFolders = 1'000;
constexpr int kProcesses = 500;
constexpr char kPattern[] = "\\.(mp3|ogg)$";
constexpr char kWanted[] = "bench_wanted";

/// What there is to list, to read and to look for, until the end of the program.
class Scene {
public:
    Scene()
    {
        char path[] = "/tmp/files_bench_XXXXXX";
        root_ = mkdtemp(path) != nullptr ? path : "";
        fs::create_directory(folder());
        constexpr const char* kSuffixes[] = {"mp3", "ogg", "txt", "jpeg"};
        for (int i = 0; i < kEntries; ++i) {
            const std::string name = folder() + "/entry " + std::to_string(i);
            if (i % (kEntries / kFolders) == 0) {
                fs::create_directory(name);
            } else {
                std::ofstream(name + "." + kSuffixes[i % 4]);
            }
        }
        std::ofstream(file()) << std::string(65'536, 'x');
        start_processes();
    }
    ~Scene()
    {
        for (const pid_t process : processes_) {
            kill(process, SIGKILL);
            waitpid(process, nullptr, 0);
        }
        std::error_code ignored;
        fs::remove_all(root_, ignored);
    }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;

    std::string folder() const { return root_ + "/folder"; }
    std::string file() const { return root_ + "/file"; }

    /// The process to be found: the last one that was started.
    std::uint32_t wanted() const { return static_cast<std::uint32_t>(processes_.back()); }

private:
    void start_processes()
    {
        const std::string program = root_ + "/" + kWanted;
        fs::create_symlink("/bin/sleep", program);
        for (int i = 1; i <= kProcesses; ++i) {
            const pid_t process = fork();
            if (process == 0) {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                if (i == kProcesses) {
                    execl(program.c_str(), kWanted, "100000", nullptr);
                }
                for (;;) {
                    pause();
                }
            }
            processes_.push_back(process);
        }
        std::uint32_t pid = 0;
        while (UTIL_GetPidFromProcessName(kWanted, &pid) == 0) {
            usleep(1000);
        }
    }

    std::string root_;
    std::vector<pid_t> processes_;
};

Scene* scene = nullptr;

// ------------------------------------------------------------------------------------------ lists

void list_ours(benchmark::State& state, const char* regex, std::int32_t filter)
{
    const std::string folder = scene->folder();
    for (auto _ : state) {
        UTIL_FolderItems items;
        if (UTIL_GetFolderItems(folder.c_str(), regex, filter, &items) != STATUS_SUCCESS) {
            state.SkipWithError("the folder cannot be listed");
        }
        benchmark::DoNotOptimize(items.items);
        UTIL_ReleaseFolderItems(&items);
    }
}
BENCHMARK_CAPTURE(list_ours, all, nullptr, UTIL_FOLDER_ITEMS_ALL);
BENCHMARK_CAPTURE(list_ours, files, nullptr, UTIL_FOLDER_ITEMS_FILES);
BENCHMARK_CAPTURE(list_ours, folders, nullptr, UTIL_FOLDER_ITEMS_FOLDERS);
BENCHMARK_CAPTURE(list_ours, matching, kPattern, UTIL_FOLDER_ITEMS_ALL);

/// By readdir(3), with copies of the names that are kept.
template <class Keep>
std::vector<char*> read_names(const std::string& folder, const Keep& keep)
{
    std::vector<char*> names;
    DIR* const handle = opendir(folder.c_str());
    while (const dirent* entry = readdir(handle)) {
        if (keep(entry->d_name)) {
            names.push_back(strdup(entry->d_name));
        }
    }
    closedir(handle);
    return names;
}

template <class Keep>
void list_by_readdir(benchmark::State& state, const Keep& keep)
{
    const std::string folder = scene->folder();
    for (auto _ : state) {
        const std::vector<char*> names = read_names(folder, keep);
        benchmark::DoNotOptimize(names.data());
        for (char* const name : names) {
            std::free(name);
        }
    }
}

void list_readdir(benchmark::State& state)
{
    list_by_readdir(state, [](const char*) { return true; });
}
BENCHMARK(list_readdir);

void list_readdir_stat(benchmark::State& state, bool folders)
{
    const std::string folder = scene->folder();
    list_by_readdir(state, [&](const char* name) {
        char path[4097];
        struct stat status;
        std::snprintf(path, sizeof path, "%s/%s", folder.c_str(), name);
        return stat(path, &status) == 0 && S_ISDIR(status.st_mode) == folders;
    });
}
BENCHMARK_CAPTURE(list_readdir_stat, files, false);
BENCHMARK_CAPTURE(list_readdir_stat, folders, true);

void list_std_regex(benchmark::State& state)
{
    const std::string folder = scene->folder();
    for (auto _ : state) {
        const std::regex expression(kPattern);
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) {
            std::string name = entry.path().filename().string();
            if (std::regex_search(name, expression)) {
                names.push_back(std::move(name));
            }
        }
        benchmark::DoNotOptimize(names.data());
    }
}
BENCHMARK(list_std_regex);

regex_t scandir_expression;

void list_scandir(benchmark::State& state)
{
    const std::string folder = scene->folder();
    for (auto _ : state) {
        if (regcomp(&scandir_expression, kPattern, REG_EXTENDED | REG_NOSUB) != 0) {
            state.SkipWithError("the pattern does not compile");
        }
        dirent** entries = nullptr;
        const auto keep = [](const dirent* entry) {
            return regexec(&scandir_expression, entry->d_name, 0, nullptr, 0) == 0 ? 1 : 0;
        };
        const int count = scandir(folder.c_str(), &entries, keep, nullptr);
        for (int i = 0; i < count; ++i) {
            std::free(entries[i]);
        }
        std::free(entries);
        regfree(&scandir_expression);
    }
}
BENCHMARK(list_scandir);

// -------------------------------------------------------------------------------------- processes

void find_ours(benchmark::State& state)
{
    for (auto _ : state) {
        std::uint32_t pid = 0;
        if (UTIL_GetPidFromProcessName(kWanted, &pid) != 1 || pid != scene->wanted()) {
            state.SkipWithError("the process is not found");
        }
    }
}
BENCHMARK(find_ours);

/// By lines of each status file, as one would write it.
void find_by_lines(benchmark::State& state)
{
    for (auto _ : state) {
        DIR* const folder = opendir("/proc");
        bool found = false;
        for (const dirent* entry = readdir(folder); entry != nullptr && !found;
             entry = readdir(folder)) {
            char path[300];
            std::snprintf(path, sizeof path, "/proc/%s/status", entry->d_name);
            FILE* const file = entry->d_name[0] >= '0' && entry->d_name[0] <= '9'
                                   ? std::fopen(path, "r")
                                   : nullptr;
            if (file == nullptr) {
                continue;
            }
            char line[255];
            char key[255];
            char value[255];
            while (std::fgets(line, sizeof line, file) != nullptr) {
                if (std::sscanf(line, "%254s %254s", key, value) == 2 &&
                    std::strcmp(key, "Name:") == 0) {
                    found = std::strcmp(value, kWanted) == 0;
                    break;
                }
            }
            std::fclose(file);
        }
        closedir(folder);
        if (!found) {
            state.SkipWithError("the process is not found");
        }
    }
}
BENCHMARK(find_by_lines);

/// A program is started for it, as scripts do.
void find_pidof(benchmark::State& state)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    char program[] = "pidof";
    char once[] = "-s";
    char name[sizeof kWanted];
    std::memcpy(name, kWanted, sizeof name);
    char* arguments[] = {program, once, name, nullptr};
    for (auto _ : state) {
        pid_t process = 0;
        int status = -1;
        if (posix_spawnp(&process, program, &actions, nullptr, arguments, environ) != 0 ||
            waitpid(process, &status, 0) != process || status != 0) {
            state.SkipWithError("pidof does not find the process");
            break;
        }
    }
    posix_spawn_file_actions_destroy(&actions);
}
BENCHMARK(find_pidof)->UseRealTime();

// ---------------------------------------------------------------------------------------- streams

void characters_ours(benchmark::State& state)
{
    FILE* const stream = std::fopen("/dev/null", "w");
    for (auto _ : state) {
        benchmark::DoNotOptimize(FILE_PutChar('x', stream));
    }
    std::fclose(stream);
}
BENCHMARK(characters_ours);

void characters_fputc(benchmark::State& state)
{
    FILE* const stream = std::fopen("/dev/null", "w");
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::fputc('x', stream));
    }
    std::fclose(stream);
}
BENCHMARK(characters_fputc);

void whole_file_ours(benchmark::State& state)
{
    const std::string path = scene->file();
    std::vector<char> buffer(65'536);
    for (auto _ : state) {
        if (FILE_OpenAndRead(buffer.data(), 1, 65'536, path.c_str()) != 65'536) {
            state.SkipWithError("the file cannot be read");
        }
    }
}
BENCHMARK(whole_file_ours);

void whole_file_stdio(benchmark::State& state)
{
    const std::string path = scene->file();
    std::vector<char> buffer(65'536);
    for (auto _ : state) {
        FILE* const stream = std::fopen(path.c_str(), "rb");
        benchmark::DoNotOptimize(std::fread(buffer.data(), 1, 65'536, stream));
        std::fclose(stream);
    }
}
BENCHMARK(whole_file_stdio);

/// The figures are of no use if the work is not done.
bool checks_hold()
{
    const auto count = [](const char* regex, std::int32_t filter) {
        UTIL_FolderItems items{};
        (void)UTIL_GetFolderItems(scene->folder().c_str(), regex, filter, &items);
        const std::uint32_t names = items.count;
        UTIL_ReleaseFolderItems(&items);
        return names;
    };
    return count(nullptr, UTIL_FOLDER_ITEMS_ALL) == kEntries + 2 &&
           count(nullptr, UTIL_FOLDER_ITEMS_FILES) == kEntries - kFolders &&
           count(nullptr, UTIL_FOLDER_ITEMS_FOLDERS) == kFolders + 2 &&
           count(kPattern, UTIL_FOLDER_ITEMS_ALL) == kEntries / 2 - kFolders / 2;
}

}  // namespace

int main(int argc, char** argv)
{
    const auto everything = std::make_unique<Scene>();
    scene = everything.get();
    if (!checks_hold()) {
        std::fputs("files_bench: the library gives wrong results\n", stderr);
        return 1;
    }
    return bench::run_and_compare(
        argc, argv,
        {
            {"list 10,000 entries / readdir and copies", "list_ours/all", "list_readdir", 1.1},
            {"list files / readdir and stat", "list_ours/files", "list_readdir_stat/files", 1.0},
            {"list folders / readdir and stat", "list_ours/folders", "list_readdir_stat/folders",
             1.0},
            {"list by expression / filesystem and std::regex", "list_ours/matching",
             "list_std_regex", 1.0},
            {"list by expression / scandir and regexec", "list_ours/matching", "list_scandir", 1.0},
            {"find a process among 500 / pidof", "find_ours", "find_pidof/real_time", 1.0},
            {"find a process among 500 / lines by stdio", "find_ours", "find_by_lines", 1.0},
            {"put a character / fputc", "characters_ours", "characters_fputc", 0},
            {"read a file of 64 KiB / fopen, fread, fclose", "whole_file_ours", "whole_file_stdio",
             1.05},
        });
}
