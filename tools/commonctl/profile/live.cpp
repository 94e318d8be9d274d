#include "profile/live.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <optional>
#include <poll.h>
#include <system_error>

#include "profile/screen.h"
#include "profile/signals.h"

namespace commonctl::profile {
namespace {

using Clock = std::chrono::steady_clock;

/// Records that are taken in between two looks at clock, keys and signals.
constexpr int kBatch = 1000;

/// What a page on a terminal has above its table, and the head of that.
constexpr std::size_t kHeadLines = 3;

/// A source says by no descriptor that a file is replaced.
constexpr std::chrono::milliseconds kLookAgain{100};

std::int64_t now_ns()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

Clock::duration seconds(double count)
{
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(count));
}

double seconds_since(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

/// Takes records from a source into a profile, for as long as the caller likes.
class Intake {
public:
    /// @param live the time when a record arrives is its time, should it not tell one.
    Intake(RecordSource& source, Profile& profile, bool live)
        : source_(source), profile_(profile), live_(live)
    {
    }

    bool ended() const { return ended_; }

    /// Takes what is there, and waits for something until a point in time; behind the end of the
    /// records, which ends the wait when it comes, for the others only.
    /// @param others descriptors that end the wait, too.
    void step(Clock::time_point until, std::initializer_list<int> others)
    {
        const bool had_ended = ended_;
        const bool drained = take_batch();
        if (ended_ && !had_ended) {
            return;
        }
        std::vector<pollfd> wanted;
        for (const int fd : others) {
            wanted.push_back({fd, POLLIN, 0});  // poll(2) passes over -1
        }
        auto wait = until - Clock::now();
        if (!drained) {
            wait = {};
        } else if (!ended_) {
            for (const int fd : source_.descriptors()) {
                wanted.push_back({fd, POLLIN, 0});
            }
            wait = std::min<Clock::duration>(wait, kLookAgain);
        }
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
        poll(wanted.data(), wanted.size(),
             static_cast<int>(std::clamp<long long>(rest, 0, 60'000)));
    }

private:
    /// @return false when there may be more at once.
    bool take_batch()
    {
        const std::int64_t arrived = live_ ? now_ns() : kNoTime;
        Record record;
        for (int i = 0; i < kBatch && !ended_; ++i) {
            record = {};
            const auto next = source_.next(record);
            if (next == RecordSource::Next::Later) {
                return true;
            }
            ended_ = next == RecordSource::Next::End;
            if (!ended_) {
                profile_.add(record, arrived);
            }
        }
        return ended_;
    }

    RecordSource& source_;
    Profile& profile_;
    bool live_;
    bool ended_ = false;
};

Clock::time_point end_after(double duration)
{
    return duration > 0 ? Clock::now() + seconds(duration) : Clock::time_point::max();
}

/// A view that is drawn again and again.
class LiveView {
public:
    LiveView(RecordSource& source, const LiveOptions& options)
        : options_(options), intake_(source, profile_, true)
    {
        view_.by = options.by;
        view_.colored = options.colored;
        view_.has_keys = Screen::is_possible();
        if (view_.has_keys) {
            screen_.emplace();
        }
    }

    void run()
    {
        const auto end = end_after(options_.duration);
        next_ = begin_ + seconds(options_.interval);
        if (screen_) {
            draw();
        }
        while (!quits_) {
            intake_.step(std::min(next_, end), {signals_.fd(), screen_ ? screen_->keys_fd() : -1});
            look_at_signals();
            look_at_keys();
            const auto now = Clock::now();
            const bool over = now >= end || (intake_.ended() && !screen_);
            if (!quits_ && (now >= next_ || over)) {
                finish_period();
                draw();
            }
            quits_ = quits_ || over;
        }
    }

private:
    void look_at_signals()
    {
        while (const auto signal = signals_.next()) {
            switch (*signal) {
            case SIGTSTP:
                leave();
                signals_.let_happen(SIGTSTP);
                enter();
                break;
            case SIGCONT:  // who stopped it may have changed the terminal
                leave();
                enter();
                break;
            case SIGWINCH:
                redraw();
                break;
            default:
                quits_ = true;
            }
        }
    }

    void leave()
    {
        if (screen_) {
            screen_->leave();
        }
    }

    void enter()
    {
        if (screen_) {
            screen_->enter();
            draw();
        }
    }

    void look_at_keys()
    {
        while (const auto key = screen_ ? screen_->key() : std::nullopt) {
            static constexpr std::pair<char, By> kKeys[] = {
                {'p', By::Process}, {'z', By::Zone}, {'l', By::Level}, {'s', By::Site}};
            for (const auto& [letter, by] : kKeys) {
                if (*key == letter) {
                    view_.by = by;
                    redraw();
                }
            }
            quits_ = quits_ || *key == 'q';
        }
    }

    /// What the last whole period had stays to be seen until the next one is over.
    void finish_period()
    {
        const auto now = Clock::now();
        profile_.end_period();
        view_.period = std::max(seconds_since(period_begin_), 0.001);
        view_.now = now_ns() / 1'000'000'000;
        view_.running = static_cast<std::int64_t>(seconds_since(begin_));
        view_.ended = intake_.ended();
        period_begin_ = now;
        next_ = std::max(next_ + seconds(options_.interval), now);
    }

    void redraw()
    {
        if (screen_) {
            draw();
        }
    }

    void draw()
    {
        view_.lines = options_.limit;
        if (!screen_) {
            for (const std::string& line : lines_of(profile_, view_)) {
                std::printf("%s\n", line.c_str());
            }
            std::printf("\n");
            if (std::fflush(stdout) != 0) {
                throw std::system_error(errno, std::generic_category(), "cannot write");
            }
            return;
        }
        const auto [rows, columns] = Screen::size();
        view_.columns = columns;
        view_.lines = std::min(options_.limit, rows - std::min(rows, kHeadLines));
        auto lines = lines_of(profile_, view_);
        lines.resize(std::min(lines.size(), rows));
        screen_->show(lines);
    }

    LiveOptions options_;
    Profile profile_{};
    Intake intake_;
    View view_{};
    Signals signals_{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT, SIGWINCH};
    std::optional<Screen> screen_{};
    Clock::time_point begin_ = Clock::now();
    Clock::time_point period_begin_ = begin_;
    Clock::time_point next_{};
    bool quits_ = false;
};

}  // namespace

void show_live(RecordSource& source, const LiveOptions& options)
{
    LiveView(source, options).run();
}

void take_in(RecordSource& source, Profile& profile, double duration)
{
    Signals signals{SIGINT, SIGTERM, SIGHUP};
    Intake intake(source, profile, true);
    const auto end = end_after(duration);
    profile.cover(now_ns());
    while (!intake.ended() && Clock::now() < end && !signals.next()) {
        intake.step(end, {signals.fd()});
    }
    profile.cover(now_ns());
}

void take_all(RecordSource& source, Profile& profile)
{
    Intake intake(source, profile, false);
    while (!intake.ended()) {
        intake.step(Clock::time_point::max(), {});
    }
}

}  // namespace commonctl::profile
