// What the user of a scan does with signals: a state machine decides what they mean.
#pragma once

#include "player.h"
#include "progress.h"
#include "scan.h"

namespace scanner {

/// Holds back the signals that Control waits for, in this thread and in all that it starts later.
void block_signals();

/// Runs a scan. SIGINT pauses it and, when it is paused, gives it up; SIGCONT has it go on.
class Control {
public:
    /// @param interval_ms of progress, 0 for none.
    Control(Scan& scan, std::uint32_t interval_ms);

    /// Runs the scan until it has ended or was given up. The signals are blocked.
    /// @return false when its threads could not be started.
    bool run();

    bool given_up() const { return given_up_; }

private:
    static void entered(void* control, const char* state);
    void on_entry(const char* state);
    void handle(int signal);
    bool is_done() const;

    Scan& scan_;
    Progress progress_;
    player::Player player_;
    bool paused_ = false;
    bool given_up_ = false;
};

}  // namespace scanner
