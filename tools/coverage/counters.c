// Part of every program and shared object of the coverage build: makes its counters a file that all
// processes share, from their first moment on. So there is nothing to write when a process ends,
// which may be by _exit(), abort() or kill(), and no file to be found in a private root. For a
// process that starts with COVERAGE_WRITE=<target> in its environment, gcov's own library instead
// writes the files that gcov reads, and the process ends.
#include <fcntl.h>
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#define HIDDEN __attribute__((visibility("hidden")))

struct gcov_info;

// Of tools/coverage/counters.ld, of the linker, and of gcov's library. What counts nothing has
// none.
extern char coverage_counters_begin[] HIDDEN;
extern char coverage_counters_end[] HIDDEN;
extern struct gcov_info* __start_coverage_objects[] HIDDEN __attribute__((weak));
extern struct gcov_info* __stop_coverage_objects[] HIDDEN __attribute__((weak));
extern void __gcov_init(struct gcov_info* object);
extern void __gcov_dump(void);

// Other names of open() and close(), in front of which no forced failure stands.
extern int __open64(const char* path, int flags, ...);
extern int __close(int fd);

// A process that does not reach the file, as where a root has no build tree, is not counted.
static void map_counters(const char* path)
{
    const size_t size = (size_t)(coverage_counters_end - coverage_counters_begin);
    const int fd = __open64(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) {
        return;
    }
    if (lseek(fd, 0, SEEK_END) >= (off_t)size || posix_fallocate(fd, 0, (off_t)size) == 0) {
        mmap(coverage_counters_begin, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, fd, 0);
    }
    __close(fd);
}

// Before all other constructors, which are counted, too.
static __attribute__((constructor(101))) void start_counting(void)
{
    const ptrdiff_t objects = __stop_coverage_objects - __start_coverage_objects;
    if (objects == 0) {
        return;
    }
    map_counters(COVERAGE_FOLDER "/" COVERAGE_TARGET);
    const char* wanted = getenv("COVERAGE_WRITE");
    if (wanted != NULL && strcmp(wanted, COVERAGE_TARGET) == 0) {
        for (ptrdiff_t object = 0; object != objects; ++object) {
            __gcov_init(__start_coverage_objects[object]);
        }
        __gcov_dump();
        _exit(0);
    }
}
