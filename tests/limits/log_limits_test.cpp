// Many threads that log, and a daemon that is slow, hangs, or dies and comes back.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <deque>
#include <fstream>
#include <memory>
#include <numeric>
#include <poll.h>
#include <set>
#include <thread>
#include <unistd.h>
#include <vector>

#include "../harness/forked.h"
#include "../log/hanging_daemon.h"
#include "common_log_macros.h"
#include "common_thread.h"
#include "limits.h"

using namespace harness;
using std::chrono::steady_clock;

COMMON_LOG_ZONE("LIMITS");

namespace {

/// A body has the daemon, and a network of its own, whose sockets queue what the kernel lets them.
FreshSetup daemon_setup()
{
    FreshSetup setup = load_setup();
    setup.open_log_socket = false;
    setup.prepare = enter_private_network;
    return setup;
}

/// Records that a daemon's socket holds when senders begin to wait.
int queued_at_most()
{
    int length = 0;
    std::ifstream("/proc/sys/net/unix/max_dgram_qlen") >> length;
    return length + 1;
}

/// A record of a thread: "<thread> <number> <filler>", as long as a message may be or shorter.
std::string message_of(int thread, int number)
{
    const std::string head = std::to_string(thread) + " " + std::to_string(number) + " ";
    const auto length = static_cast<std::size_t>(37 * thread + 101 * number) % (1024 - head.size());
    return head + std::string(length, static_cast<char>('a' + number % 26));
}

/// Whose record it is, and which of that thread's; -1 for what is none of these.
std::pair<int, int> sender_of(const LogRecord& record)
{
    const auto fields = parse_syslogngext(record.text);
    int thread = -1;
    int number = -1;
    if (!fields || std::sscanf(fields->message.c_str(), "%d %d ", &thread, &number) != 2 ||
        fields->message != message_of(thread, number)) {
        return {-1, -1};
    }
    return {thread, number};
}

void write_record(int thread, int number)
{
    COMMON_LOG_INFO("%s", message_of(thread, number).c_str());
}

std::vector<std::thread> start(int threads, const std::function<void(int)>& run)
{
    std::vector<std::thread> all;
    for (int thread = 0; thread < threads; ++thread) {
        all.emplace_back(run, thread);
    }
    return all;
}

void join(std::vector<std::thread>& threads)
{
    for (auto& thread : threads) {
        thread.join();
    }
}

/// The records of each thread, as they arrive.
class Arrivals {
public:
    explicit Arrivals(int threads) : numbers_(static_cast<std::size_t>(threads)) {}

    void take(const LogRecord& record)
    {
        const auto [thread, number] = sender_of(record);
        if (thread < 0 || thread >= static_cast<int>(numbers_.size())) {
            ++torn;
            return;
        }
        auto& numbers = numbers_[static_cast<std::size_t>(thread)];
        disordered += numbers.empty() || numbers.back() < number ? 0 : 1;
        numbers.push_back(number);
        ++whole;
    }

    const std::vector<int>& of(std::size_t thread) const { return numbers_[thread]; }

    int whole = 0;
    int torn = 0;
    int disordered = 0;

private:
    std::vector<std::vector<int>> numbers_;
};

TEST(LogLimits, ThreadsWaitForASlowDaemonAndLoseNothing)
{
    const int threads = load(20, 200);
    const int records = load(20, 100);
    constexpr std::chrono::microseconds kRest(200);
    well(daemon_setup(), [=] {
        const std::string loaded = number(threads) + " threads, " + number(records) +
                                   " records each, a daemon that rests 0.2 ms after each";
        const int expected = threads * records;
        LogSocket daemon;
        daemon.bind_at();
        std::atomic<int> returned{0};
        auto writers = start(threads, [&](int thread) {
            for (int i = 0; i < records; ++i) {
                write_record(thread, i);
                ++returned;
            }
        });
        Arrivals arrivals(threads);
        int taken = 0;
        int most_ahead = 0;
        pollfd readable{daemon.fd(), POLLIN, 0};
        while (taken < expected &&
               poll(&readable, 1, static_cast<int>(stretched(kPatience).count())) == 1) {
            most_ahead = std::max(most_ahead, returned - taken);
            if (const auto record = daemon.receive()) {
                ++taken;
                arrivals.take(*record);
            }
            std::this_thread::sleep_for(kRest);
        }
        if (taken < expected) {
            daemon.close();  // or they would wait for ever
        }
        join(writers);
        promise(loaded, "nothing is lost while a daemon listens",
                counted(taken, expected) + " records", taken == expected);
        promise(loaded, "records are never torn or mixed",
                counted(arrivals.whole, expected) + " whole, " + number(arrivals.disordered) +
                    " out of their thread's order",
                arrivals.whole == expected && arrivals.torn == 0 && arrivals.disordered == 0);
        promise(loaded, "a call waits while the daemon's socket is full",
                "at most " + number(most_ahead) +
                    " calls ahead of the daemon, whose socket holds " + number(queued_at_most()),
                most_ahead <= queued_at_most());
    });
}

constexpr char kOfChild[] = "of a child";

/// What a fork takes while every thread of the process waits for the daemon, and its child's
/// record.
std::chrono::milliseconds time_of_fork()
{
    const auto before = steady_clock::now();
    in_child([] { COMMON_LOG_INFO("%s", kOfChild); });
    return std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - before);
}

TEST(LogLimits, ForksWaitTwoSecondsForADaemonThatHangs)
{
    const int threads = load(20, 200);
    const int forks = load(1, 10);
    well(daemon_setup(), [=] {
        const std::string loaded = number(threads) +
                                   " threads that wait for a daemon that hangs, " + number(forks) +
                                   " forks";
        LogSocket daemon;
        daemon.bind_at();
        std::deque<std::atomic<int>> ids(static_cast<std::size_t>(threads));
        const int records = queued_at_most() + 1;
        auto writers = start(threads, [&](int thread) {
            ids[static_cast<std::size_t>(thread)] = gettid();
            for (int i = 0; i < records; ++i) {
                write_record(thread, i);
            }
        });
        ASSERT_TRUE(wait_until([&] {
            return HangingDaemon::is_full() &&
                   std::all_of(ids.begin(), ids.end(),
                               [](const auto& id) { return id != 0 && is_blocked(id); });
        }));
        std::chrono::milliseconds longest{0};
        for (int i = 0; i < forks; ++i) {
            longest = std::max(longest, time_of_fork());
        }
        promise(loaded, "a fork waits for two seconds at most",
                times(static_cast<double>(longest.count()) / 2000) + " two seconds, at most",
                longest <
                    load<std::chrono::milliseconds>(stretched(kPatience), std::chrono::seconds(4)));
        Arrivals arrivals(threads);
        int of_children = 0;
        const int expected = threads * records;
        EXPECT_TRUE(wait_until([&] {
            while (const auto record = daemon.receive()) {
                of_children += record->text.ends_with(kOfChild) ? 1 : 0;
                arrivals.take(*record);
            }
            return arrivals.whole == expected;
        }));
        join(writers);
        promise(loaded, "nothing is lost once it reads on",
                counted(arrivals.whole, expected) + " records", arrivals.whole == expected);
        promise(loaded, "the children drop their records and do not hang",
                counted(forks - of_children, forks) + " dropped", of_children == 0);
    });
}

/// Writers beside a daemon that dies again and again.
class MortalDaemon {
public:
    explicit MortalDaemon(int threads)
        : arrivals(threads), written_(static_cast<std::size_t>(threads))
    {
        come();
        writers_ = start(threads, [this](int thread) {
            write(written_[static_cast<std::size_t>(thread)], thread);
        });
    }

    void come()
    {
        unlink("/dev/log");
        daemon_.emplace();
        daemon_->bind_at();
        ++phase_;
    }

    /// Dies with what is in its socket.
    void die(bool leaves_its_file)
    {
        ++phase_;
        daemon_->close();
        if (!leaves_its_file) {
            unlink("/dev/log");
        }
    }

    /// Waits until every thread has written some records more; a daemon that listens reads.
    bool outlast(int records)
    {
        std::vector<int> goals;
        for (const Written& written : written_) {
            goals.push_back(written.count + records);
        }
        return wait_until([&] {
            read();
            return std::equal(
                goals.begin(), goals.end(), written_.begin(),
                [](int goal, const Written& written) { return written.count >= goal; });
        });
    }

    void end()
    {
        stop_ = true;
        std::atomic<bool> joined{false};
        std::thread waiting([&] {
            join(writers_);
            joined = true;
        });
        EXPECT_TRUE(wait_until([&] {
            read();
            return joined.load();
        }));
        waiting.join();
        read();
    }

    /// Records whose call began and ended while the same daemon listened, and that did not arrive.
    int lost_beside_a_daemon() const
    {
        int lost = 0;
        for (std::size_t thread = 0; thread < written_.size(); ++thread) {
            const std::set<int> arrived(arrivals.of(thread).begin(), arrivals.of(thread).end());
            for (const int number : written_[thread].while_listening) {
                lost += arrived.contains(number) ? 0 : 1;
            }
        }
        return lost;
    }

    int written() const
    {
        return std::accumulate(written_.begin(), written_.end(), 0,
                               [](int sum, const Written& written) { return sum + written.count; });
    }

    Arrivals arrivals;

private:
    struct Written {
        std::atomic<int> count{0};
        std::vector<int> while_listening{};
    };

    void write(Written& written, int thread)
    {
        while (!stop_) {
            const int before = phase_;
            write_record(thread, written.count);
            if (before % 2 == 1 && before == phase_) {
                written.while_listening.push_back(written.count);
            }
            ++written.count;
        }
    }

    void read()
    {
        while (const auto record = phase_ % 2 == 1 ? daemon_->receive() : std::nullopt) {
            arrivals.take(*record);
        }
    }

    std::deque<Written> written_;
    std::optional<LogSocket> daemon_;
    std::atomic<int> phase_{0};  ///< odd while a daemon listens
    std::atomic<bool> stop_{false};
    std::vector<std::thread> writers_;
};

TEST(LogLimits, DaemonThatDiesAndComesBackGetsTheNextRecord)
{
    const int threads = load(10, 200);
    const int deaths = load(2, 10);
    const Outcome outcome = well(daemon_setup(), [=] {
        const std::string loaded =
            number(threads) + " threads that log, a daemon that dies " + number(deaths) + " times";
        MortalDaemon daemon(threads);
        bool goes_on = daemon.outlast(20);
        for (int i = 0; i < deaths; ++i) {
            daemon.die(i % 2 == 0);
            goes_on = daemon.outlast(20) && goes_on;
            daemon.come();
            goes_on = daemon.outlast(20) && goes_on;
        }
        daemon.end();
        promise(loaded, "without a daemon, records are dropped and nobody waits",
                goes_on ? "every thread went on" : "a thread stood still", goes_on);
        const int in_sockets = deaths * queued_at_most();
        const int lost = daemon.lost_beside_a_daemon();
        promise(loaded,
                "nothing is lost while a daemon listens, but what is in its socket when it dies",
                lost <= in_sockets ? "no other of " + number(daemon.written()) + " records"
                                   : number(lost) + " records, sockets hold " + number(in_sockets),
                lost <= in_sockets);
        promise(loaded, "records are never torn or mixed",
                number(daemon.arrivals.torn) + " torn, " + number(daemon.arrivals.disordered) +
                    " out of their thread's order",
                daemon.arrivals.torn == 0 && daemon.arrivals.disordered == 0);
    });
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST(LogLimits, ThreadsThatEndGiveTheirRecordsBack)
{
    const int threads = load(100, 10'000);
    well(load_setup(), [=] {
        std::int64_t in_thread = 0;
        const auto log_once = [&] {
            std::thread([&] {
                COMMON_LOG_INFO("once");
                in_thread = heap_bytes();
            }).join();
        };
        log_once();
        const std::int64_t before = heap_bytes();
        log_once();
        const std::int64_t each = in_thread - before;
        for (int i = 0; i < threads; ++i) {
            log_once();
        }
        promise_given_back(number(threads) + " threads that log, one after the other",
                           "a thread keeps its record, and no longer than it lives", before,
                           before + threads * each);
    });
}

TEST(LogLimits, LimitedPlacesCountForAllThreads)
{
    const int threads = load(8, 64);
    const int calls = load(1'000, 20'000);
    const std::string loaded = number(threads) + " threads, " + number(calls) + " calls each";
    const Outcome outcome = well(load_setup(), [=] {
        auto all = start(threads, [=](int) {
            for (int i = 0; i < calls; ++i) {
                COMMON_LOG_ONCE(INFO, "once");
                COMMON_LOG_EVERY_N(INFO, 1'000, "every n");
            }
        });
        join(all);
    });
    int once = 0;
    int every_n = 0;
    for (const LogRecord& record : outcome.log) {
        once += record.text.ends_with(", once") ? 1 : 0;
        every_n += record.text.ends_with(", every n") ? 1 : 0;
    }
    promise(loaded, "COMMON_LOG_ONCE writes the first record and no other",
            number(once) + " record", once == 1);
    promise(loaded, "COMMON_LOG_EVERY_N writes each 1,000th",
            counted(every_n, threads * calls / 1'000) + " records",
            every_n == threads * calls / 1'000);
}

}  // namespace
