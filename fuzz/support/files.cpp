#include "support/files.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "support/input.h"

namespace fuzz {
namespace {

std::vector<File*> files;

}  // namespace

File::File(std::string path)
    : path_(std::move(path)), descriptor_(memfd_create("fuzz", MFD_CLOEXEC))
{
    FUZZ_CHECK(descriptor_ >= 0);
    files.push_back(this);
}

File::~File()
{
    std::erase(files, this);
    close(descriptor_);
}

void File::write(std::string_view content)
{
    const auto size = static_cast<off_t>(content.size());
    FUZZ_CHECK(ftruncate(descriptor_, 0) == 0);
    FUZZ_CHECK(pwrite(descriptor_, content.data(), content.size(), 0) == size);
}

void File::show(bool there)
{
    there_ = there;
}

/// The descriptor of a file that is there; -1 with errno when it is one of these but not there, -2
/// when it is none of them.
int descriptor_of(const char* path)
{
    const auto file =
        std::find_if(files.begin(), files.end(), [=](const File* it) { return it->path_ == path; });
    if (file == files.end()) {
        return -2;
    }
    errno = ENOENT;
    return (*file)->there_ ? (*file)->descriptor_ : -1;
}

}  // namespace fuzz

// What the linker's --wrap makes of the calls (fuzz/CMakeLists.txt).
extern "C" {

int real_open(const char* path, int flags, ...) __asm__("__real_open64");
int wrap_open(const char* path, int flags, ...) __asm__("__wrap_open64");
int wrap_open(const char* path, int flags, ...)
{
    const int descriptor = fuzz::descriptor_of(path);
    if (descriptor == -2) {
        va_list arguments;
        va_start(arguments, flags);
        const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
        va_end(arguments);
        return real_open(path, flags, mode);
    }
    if (descriptor >= 0) {
        lseek(descriptor, 0, SEEK_SET);
    }
    return descriptor < 0 ? -1 : fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

int real_stat(const char* path,
              struct stat* status) __asm__("__real_" FUZZ_SYMBOL("stat64", "__stat64_time64"));
int wrap_stat(const char* path,
              struct stat* status) __asm__("__wrap_" FUZZ_SYMBOL("stat64", "__stat64_time64"));
int wrap_stat(const char* path, struct stat* status)
{
    const int descriptor = fuzz::descriptor_of(path);
    return descriptor == -2 ? real_stat(path, status)
           : descriptor < 0 ? -1
                            : fstat(descriptor, status);
}

}  // extern "C"
