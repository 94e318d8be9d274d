// Files that are only there for whoever opens them by the library's or the tool's code: a target
// that links common_fuzz_files needs none on a disk, and gets any path.
#pragma once

#include <string>
#include <string_view>

namespace fuzz {

/// A file in memory, there as long as the object. Its path is taken as it stands.
class File {
public:
    explicit File(std::string path);
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    void write(std::string_view content);
    /// Whether it is there.
    void show(bool there);

    const std::string& path() const { return path_; }

private:
    friend int descriptor_of(const char* path);

    std::string path_;
    int descriptor_;
    bool there_ = true;
};

}  // namespace fuzz
