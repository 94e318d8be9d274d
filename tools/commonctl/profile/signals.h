// Signals that a loop looks at when it has time.
#pragma once

#include <initializer_list>
#include <optional>
#include <vector>

namespace commonctl::profile {

/// From its construction on, some signals only arrive at a descriptor. They are handled, not
/// blocked, so that programs that are started meanwhile find them as usual. One at a time.
class Signals {
public:
    /// @throws std::system_error
    explicit Signals(std::initializer_list<int> signals);
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    /// Gives the next signal that has arrived; does not wait.
    std::optional<int> next();

    /// Readable when there is one.
    int fd() const { return fd_; }

    /// Does what a signal of them does to a program that does not handle it, then goes on handling
    /// it.
    void let_happen(int signal);

private:
    std::vector<int> signals_;
    int fd_;
};

}  // namespace commonctl::profile
