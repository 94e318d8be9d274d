#include "support/log_drain.h"

#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <fstream>
#include <system_error>

#include "build_tree.h"
#include "log_socket.h"
#include "private_root.h"

namespace bench {
namespace {

[[noreturn]] void receive_for_ever(int socket, volatile std::uint64_t* count)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    constexpr std::size_t kBatch = 64;
    static std::array<std::array<char, 4096>, kBatch> buffers;
    static std::array<iovec, kBatch> vectors;
    static std::array<mmsghdr, kBatch> messages;
    for (std::size_t i = 0; i < kBatch; ++i) {
        vectors[i] = {buffers[i].data(), buffers[i].size()};
        messages[i].msg_hdr.msg_iov = &vectors[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
    // Nobody waits at the socket, so that no sender pays for waking; what comes meanwhile is
    // queued.
    constexpr timespec kPause{0, 50'000};
    for (;;) {
        const int received = recvmmsg(socket, messages.data(), kBatch, MSG_DONTWAIT, nullptr);
        if (received > 0) {
            *count = *count + static_cast<std::uint64_t>(received);
        } else {
            nanosleep(&kPause, nullptr);
        }
    }
}

/// Lets a socket queue more than the usual ten datagrams, in a network of this process's own.
void lengthen_queue()
{
    if (unshare(CLONE_NEWNET) != 0) {
        throw std::system_error(errno, std::generic_category(), "unshare the network");
    }
    std::ofstream setting("/proc/sys/net/unix/max_dgram_qlen");
    setting << 1000 << std::flush;
    if (!setting) {
        throw std::system_error(errno, std::generic_category(), "net.unix.max_dgram_qlen");
    }
}

}  // namespace

LogDrain::LogDrain()
{
    support::enter_private_root(support::build_tree());
    lengthen_queue();
    support::LogSocket socket;
    socket.bind_at();
    void* const shared = mmap(nullptr, sizeof(std::uint64_t), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "mmap");
    }
    count_ = static_cast<volatile std::uint64_t*>(shared);
    receiver_ = fork();
    if (receiver_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    if (receiver_ == 0) {
        receive_for_ever(socket.fd(), count_);
    }
}

LogDrain::~LogDrain()
{
    kill(receiver_, SIGKILL);
    waitpid(receiver_, nullptr, 0);
    munmap(const_cast<std::uint64_t*>(count_), sizeof(std::uint64_t));
}

std::uint64_t LogDrain::received() const
{
    return *count_;
}

}  // namespace bench
