/* Says something all the time, and more when its level is Debug, until its standard input ends. */
#include <poll.h>
#include <unistd.h>

#include <common/common_log_macros.h>

COMMON_LOG_ZONE("SPEAKER");

int main(void)
{
    struct pollfd input = {STDIN_FILENO, POLLIN, 0};
    while (poll(&input, 1, 20) == 0) {
        COMMON_LOG_INFO("spoken");
        COMMON_LOG_DEBUG("whispered");
    }
    return 0;
}
