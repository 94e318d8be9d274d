#include "control.h"

#include <csignal>
#include <cstring>
#include <ctime>

#include "counted_log.h"

namespace scanner {

COMMON_LOG_MODULE(zones().scanner);

namespace {

sigset_t awaited_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGCONT, SIGUSR1}) {
        sigaddset(&signals, signal);
    }
    return signals;
}

}  // namespace

void block_signals()
{
    const sigset_t signals = awaited_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

Control::Control(Scan& scan, std::uint32_t interval_ms)
    : scan_{scan}, progress_{scan.totals(), interval_ms}, player_{entered, this}
{
}

bool Control::run()
{
    const sigset_t signals = awaited_signals();
    player_.start();
    player_.handle(player::kStart);
    // Signals that came first are obeyed first: a scan may start paused.
    const timespec now{};
    for (int signal = 0; (signal = sigtimedwait(&signals, nullptr, &now)) > 0;) {
        handle(signal);
    }
    const bool started = scan_.start();
    while (started && !is_done()) {
        int signal = 0;
        if (sigwait(&signals, &signal) == 0) {
            handle(signal);
        }
    }
    progress_.stop();
    scan_.wait();
    return started;
}

bool Control::is_done() const
{
    return std::strcmp(player_.state(), "done") == 0;
}

void Control::handle(int signal)
{
    switch (signal) {
    case SIGINT:
        given_up_ = paused_;
        player_.handle(player::kInterrupt);
        break;
    case SIGCONT:
        player_.handle(player::kResume);
        break;
    default:
        player_.handle(player::kFinished);
        break;
    }
}

void Control::entered(void* control, const char* state)
{
    static_cast<Control*>(control)->on_entry(state);
}

void Control::on_entry(const char* state)
{
    if (std::strcmp(state, "scanning") == 0) {
        if (paused_) {
            COMMON_LOG_AT(counted(COMMON_LogLevelNote), "Scan goes on");
        }
        paused_ = false;
        scan_.set_gate(true);
        progress_.start();
    } else if (std::strcmp(state, "paused") == 0) {
        paused_ = true;
        progress_.stop();
        scan_.set_gate(false);
        COMMON_LOG_AT(counted(COMMON_LogLevelNote),
                      "Scan paused: SIGCONT goes on, another interrupt ends it");
    } else if (given_up_) {
        scan_.give_up();
    }
}

}  // namespace scanner
