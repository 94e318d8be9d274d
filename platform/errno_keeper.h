// Keeps the caller's errno over a scope.
#pragma once

#include <cerrno>

namespace common {

class ErrnoKeeper {
public:
    ErrnoKeeper() noexcept = default;
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;
    ~ErrnoKeeper() { restore(); }

    void restore() const noexcept { errno = value_; }

private:
    const int value_ = errno;
};

}  // namespace common
