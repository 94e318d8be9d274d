// A process with an armed timer and a watchdog forks, and gets a signal.
#include <semaphore.h>
#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <common/common_log_macros.h>
#include <common/common_process.h>
#include <common/common_wdm.h>
#include <common/timer.h>

COMMON_LOG_ZONE("FORK");

static TMR* timer;
static COMMON_wdm_Subscriber* watch;
static sem_t rung;

static void ring(void* unused)
{
    (void)unused;
    sem_post(&rung);
}

/** May call what says that it is for signal handlers, too: of the library, very little. */
static void on_signal(int number)
{
    (void)number;
    COMMON_wdm_Tickle(watch, 60);
}

static int child(void)
{
    COMMON_LOG_NOTE("a child logs at once");
    printf("child: the timer is armed: %u\n", TMR_InUse(timer));
    printf("child: COMMON_Process_Id() is its own: %d\n",
           COMMON_Process_Id() == (uint32_t)getpid());
    TMR_Start(timer, ring, NULL, 1);
    while (sem_wait(&rung) != 0) {
        // interrupted
    }
    printf("child: the timer has called back\n");
    return fflush(stdout);
}

int main(void)
{
    sem_init(&rung, 0, 0);
    timer = TMR_New();
    COMMON_wdm* const watchdog = COMMON_wdm_Init();
    watch = COMMON_wdm_Create_Subscriber(NULL, NULL);
    COMMON_wdm_Subscribe(watchdog, watch, 60);
    signal(SIGUSR1, on_signal);
    TMR_Start(timer, ring, NULL, 60000);

    COMMON_LOG_NOTE("forks");
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(child());  // not exit(): its handlers and buffers are the parent's
    }
    waitpid(pid, NULL, 0);
    raise(SIGUSR1);
    printf("parent: the timer is armed: %u\n", TMR_InUse(timer));
    printf("parent: stop: %s\n", TMR_ReturnToStr(TMR_Stop(timer)));
    COMMON_LOG_NOTE("the parent goes on");

    TMR_Delete(timer);
    COMMON_wdm_Unsubscribe(watch);
    COMMON_wdm_Destroy(watchdog);
    return 0;
}
