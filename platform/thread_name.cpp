#include "platform/thread_name.h"

#include <sys/prctl.h>

#include <cstring>

#include "platform/errno_keeper.h"
#include "platform/line_reader.h"

namespace common {

static_assert(sizeof kTimerThreadName <= kThreadNameSize);
static_assert(sizeof kWatchdogThreadName <= kThreadNameSize);

void name_own_thread(const char* name) noexcept
{
    const ErrnoKeeper keep;
    prctl(PR_SET_NAME, name);
}

bool has_library_name() noexcept
{
    const ErrnoKeeper keep;
    char name[kThreadNameSize]{};
    prctl(PR_GET_NAME, name);
    return std::strcmp(name, kTimerThreadName) == 0 || std::strcmp(name, kWatchdogThreadName) == 0;
}

bool read_process_name(char (&name)[kThreadNameSize]) noexcept
{
    const ErrnoKeeper keep;
    LineReader file;
    const bool read = file.open("/proc/self/comm") && file.next(name, sizeof name);
    cut_newline(name);
    return read;
}

}  // namespace common
