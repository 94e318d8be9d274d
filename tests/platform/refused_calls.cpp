#include "refused_calls.h"

#include <cerrno>
#include <cstddef>
#include <initializer_list>
#include <linux/filter.h>
#include <linux/futex.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <system_error>

namespace harness {
namespace {

using Program = std::vector<sock_filter>;

void add(Program& program, std::initializer_list<sock_filter> instructions)
{
    program.insert(program.end(), instructions);
}

/// Loads a word of what the kernel tells of a call.
sock_filter load_word(std::size_t offset)
{
    return BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset));
}

sock_filter give_back(std::uint32_t action)
{
    return BPF_STMT(BPF_RET | BPF_K, action);
}

/// Goes on with the next instruction when the word is this one, else leaves out some.
sock_filter unless_equal_skip(long value, std::uint8_t instructions)
{
    return BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(value), 0, instructions);
}

constexpr std::size_t argument(int number)
{
    // Its low half; machines of this library have it first.
    return offsetof(seccomp_data, args) + sizeof(std::uint64_t) * static_cast<std::size_t>(number);
}

std::uint32_t refused_with(int error)
{
    return SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error);
}

void install(Program program)
{
    const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot refuse system calls");
    }
}

void install(const std::vector<long>& numbers, std::uint32_t these, std::uint32_t others)
{
    Program program{load_word(offsetof(seccomp_data, nr))};
    for (const long number : numbers) {
        add(program, {unless_equal_skip(number, 1), give_back(these)});
    }
    program.push_back(give_back(others));
    install(std::move(program));
}

}  // namespace

void refuse(const std::vector<long>& numbers, int error)
{
    install(numbers, refused_with(error), SECCOMP_RET_ALLOW);
}

void refuse_all_but(const std::vector<long>& numbers, int error)
{
    install(numbers, SECCOMP_RET_ALLOW, refused_with(error));
}

void refuse_own_waits(int error)
{
#ifdef SYS_futex
    constexpr long kFutex = SYS_futex;
#else
    constexpr long kFutex = SYS_futex_time64;
#endif
    Program program;
    add(program, {load_word(offsetof(seccomp_data, nr)), unless_equal_skip(kFutex, 5)});
    add(program, {load_word(argument(1)), unless_equal_skip(FUTEX_WAIT_PRIVATE, 3)});
    add(program, {load_word(argument(3)), BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0, 1, 0)});
    add(program, {give_back(refused_with(error)), give_back(SECCOMP_RET_ALLOW)});
    install(std::move(program));
}

}  // namespace harness
