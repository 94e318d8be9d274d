#include "processes/changed_file.h"

#include <algorithm>
#include <ctime>
#include <utility>

namespace commonctl {
namespace {

/// A process that has seen a file compares whole seconds with the next one: waits until now is
/// behind the file's time, so that a file made anew is seen. A time far ahead was set by a clock
/// that was wrong, and waiting for it would not end.
void wait_until_behind(std::int64_t file_time_s)
{
    constexpr std::int64_t kMost_s = 5;
    timespec now{};
    for (int i = 0; clock_gettime(CLOCK_REALTIME, &now), i < 100 * kMost_s; ++i) {
        if (now.tv_sec > file_time_s || file_time_s - now.tv_sec > kMost_s) {
            return;
        }
        const timespec pause{.tv_sec = 0, .tv_nsec = 10'000'000};
        nanosleep(&pause, nullptr);
    }
}

}  // namespace

ChangedFile::ChangedFile(const SettingsFolder& folder, std::string name, std::int64_t oldest_s)
    : folder_(folder), name_(std::move(name)), before_name_(name_ + ".before"), oldest_s_(oldest_s)
{
}

std::string ChangedFile::path() const
{
    return std::string(kSettingsFolder) + "/" + name_;
}

std::optional<Before> ChangedFile::before() const
{
    const auto status = folder_.status(before_name_);
    if (!status || status->st_ctim.tv_sec + 1 < oldest_s_) {
        return std::nullopt;
    }
    return Before::parse(folder_.read(before_name_).value_or(""));
}

void ChangedFile::change(const std::string& lines, const std::string& first,
                         const LogSettings& now) const
{
    const auto content = folder_.read(name_);
    const auto kept = before();
    Before state = kept.value_or(Before{.content = content});
    state.keep(touched_by(lines), now);
    folder_.replace(before_name_, state.text());
    try {
        folder_.replace(name_, with_lines(content.value_or(first), lines));
    } catch (...) {
        if (!kept) {
            folder_.remove(before_name_);
        }
        throw;
    }
}

bool ChangedFile::restore() const
{
    const auto state = before();
    if (state) {
        folder_.read(name_);  // refuses what is not this user's
        folder_.replace(name_, state->text());
    }
    return state.has_value();
}

void ChangedFile::finish_restoring() const
{
    const auto state = before();
    if (state && state->content) {
        folder_.replace(name_, *state->content);
    } else if (const auto status = folder_.status(name_)) {
        wait_until_behind(status->st_mtim.tv_sec);
        folder_.remove(name_);
    }
    folder_.remove(before_name_);
}

void ChangedFile::forget() const
{
    folder_.remove(name_);
    folder_.remove(before_name_);
}

}  // namespace commonctl
