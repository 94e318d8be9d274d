#include "progress.h"

#include <unistd.h>

#include <cinttypes>
#include <cstdio>

#include "counted_log.h"

namespace scanner {

COMMON_LOG_MODULE(zones().scanner);

Progress::Progress(const Totals& totals, std::uint32_t interval_ms)
    : totals_{totals}, interval_ms_{interval_ms},
      on_terminal_{isatty(STDERR_FILENO) == 1}, timer_{TMR_New()}
{
}

Progress::~Progress()
{
    stop();
    TMR_Delete(timer_);
}

void Progress::start()
{
    running_ = true;
    TMR_Start(timer_, tell, this, interval_ms_);
}

void Progress::stop()
{
    running_ = false;
    TMR_Stop(timer_);
}

/// A timer runs once, so it is started again from here.
void Progress::tell(void* argument)
{
    auto* const progress = static_cast<Progress*>(argument);
    if (!progress->running_) {
        return;
    }
    const std::uint64_t folders = progress->totals_.folders.load();
    const std::uint64_t files = progress->totals_.files.load();
    COMMON_LOG_AT(counted(COMMON_LogLevelInfo), "Progress: %" PRIu64 " folders, %" PRIu64 " files",
                  folders, files);
    if (progress->on_terminal_) {
        std::fprintf(stderr, "\r%" PRIu64 " folders, %" PRIu64 " files ", folders, files);
    }
    TMR_Start(progress->timer_, tell, progress, progress->interval_ms_);
}

}  // namespace scanner
