/* Loads the library late, in a thread that logs, lets it go again and ends: what the library left
 * to be done at the end of the thread happens after the dlclose(). With a second argument it then
 * forks, with handlers that were there before the library and log. */
#include <dlfcn.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

typedef void Write(uint32_t level, uint32_t zone, const char* zone_name, const char* file,
                   const char* function, int32_t line, const char* format, ...);

static Write* write_in_handlers = NULL;

static void log_in_handler(const char* name)
{
    if (write_in_handlers != NULL) {
        write_in_handlers(3, 4095, "zone", "late_loader", name, 1, "from a handler");
    }
}

static void prepare(void)
{
    log_in_handler(__func__);
}

static void parent(void)
{
    log_in_handler(__func__);
}

static void child(void)
{
    log_in_handler(__func__);
}

static int fork_a_child(void)
{
    int status = -1;
    const pid_t pid = fork();
    if (pid == 0) {
        _exit(0);
    }
    return pid > 0 && waitpid(pid, &status, 0) == pid ? status : -1;
}

static void* log_and_let_go(void* path)
{
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    Write* write = NULL;

    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return NULL;
    }
    *(void**)&write = dlsym(library, "COMMON_Log_Write");
    if (write == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        dlclose(library);
        return NULL;
    }
    write(3, 4095, "zone", "late_loader", "log_and_let_go", 1, "from a late thread");
    return dlclose(library) == 0 ? path : NULL;
}

int main(int count, char** arguments)
{
    int round;
    if (count < 2 || pthread_atfork(prepare, parent, child) != 0) {
        return 2;
    }
    for (round = 0; round < 2; ++round) {
        pthread_t thread;
        void* result = NULL;
        if (pthread_create(&thread, NULL, log_and_let_go, arguments[1]) != 0 ||
            pthread_join(thread, &result) != 0 || result == NULL) {
            return 3;
        }
    }
    if (count == 3) {
        *(void**)&write_in_handlers =
            dlsym(dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL), "COMMON_Log_Write");
        return fork_a_child() == 0 ? 0 : 4;
    }
    return 0;
}
