/* log_sender PRIORITY TEXT [COUNT]: sends a record to the system log, COUNT times with a number. */
#include <stdlib.h>
#include <syslog.h>

int main(int argc, char** argv)
{
    if (argc < 3) {
        return 2;
    }
    const int priority = atoi(argv[1]);
    openlog("sender", 0, LOG_USER);
    if (argc == 3) {
        syslog(priority, "%s", argv[2]);
    }
    for (int i = 0; argc > 3 && i < atoi(argv[3]); ++i) {
        syslog(priority, "%s %d", argv[2], i);
    }
    return 0;
}
