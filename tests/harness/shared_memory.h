// A value in memory that stays shared after a fork.
#pragma once

#include <cerrno>
#include <new>
#include <sys/mman.h>
#include <system_error>

namespace harness {

template <class Value>
class SharedMemory {
public:
    SharedMemory()
    {
        void* memory =
            mmap(nullptr, sizeof(Value), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) {
            throw std::system_error(errno, std::generic_category(), "cannot map shared memory");
        }
        value_ = new (memory) Value{};
    }
    ~SharedMemory() { munmap(value_, sizeof *value_); }
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;

    Value* get() const { return value_; }
    Value* operator->() const { return value_; }

private:
    Value* value_;
};

}  // namespace harness
