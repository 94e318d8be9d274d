// A terminal for a program under test: what it shows, what is typed, its size and its modes.
#pragma once

#include <string>
#include <sys/types.h>
#include <termios.h>
#include <vector>

namespace harness {

/// Made outside of a private root, which has no such devices; used by a fresh process in one.
class PseudoTerminal {
public:
    PseudoTerminal(unsigned short rows, unsigned short columns);
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// Starts a program as the foreground job of a session that has this terminal.
    /// @return the program's process id.
    pid_t start(const std::vector<std::string>& words);

    /// The program was stopped, or runs on after that: what its session saw since.
    bool was_stopped() const;

    /// Waits for the end of the program. @return its exit status, 128 and the number of a signal.
    int wait();

    void type(const std::string& keys) const;
    void resize(unsigned short rows, unsigned short columns) const;
    termios modes() const;

    /// All that was written to it so far.
    const std::string& written();

    /// What was written since a page was begun (the cursor was put to its first place).
    std::string page();

    /// Waits until the page holds a text.
    bool shows(const std::string& text);

private:
    int master_;
    int slave_;
    pid_t session_ = -1;
    int told_ = -1;  // by the session: the program's id, and how it fares
    std::string written_{};
};

bool operator==(const termios& left, const termios& right);

}  // namespace harness
