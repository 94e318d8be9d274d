// A terminal that shows a page which changes, and tells single keys.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace commonctl::profile {

/// The terminal of standard output, between its construction and its end on a page of its own. The
/// terminal is as before afterwards, also when a fatal signal ends the process. One at a time.
class Screen {
public:
    /// Whether standard output is a terminal that can do it.
    static bool is_possible();

    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Gives the terminal back for a while, and takes it again.
    void leave();
    void enter();

    /// Shows lines from the top on; the rest is empty.
    /// @throws std::system_error when the terminal takes nothing any more.
    void show(const std::vector<std::string>& lines);

    struct Size {
        std::size_t rows;
        std::size_t columns;
    };

    /// The size now; 24 by 80 when the terminal does not know.
    static Size size();

    /// Readable when a key was hit; -1 when there are no keys to be had.
    int keys_fd() const { return keys_fd_; }

    /// The next byte that was typed; does not wait. Without keys from now on, there is none.
    std::optional<char> key();

private:
    int keys_fd_;
};

}  // namespace commonctl::profile
