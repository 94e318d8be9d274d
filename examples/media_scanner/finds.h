// What the examiners find, on its way to the one thread that counts it.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "common_blockQEx.h"

namespace scanner {

/// One entry of a folder, or a mark.
struct Find {
    enum Type : std::uint32_t { File, Link, Unreadable, Folder, End };
    Type type = File;
    char ending[12] = {};     // of a media file's name, terminated; else empty
    std::uint64_t bytes = 0;  // of a file
};

/// A queue of finds. Its room is a multiple of a find's size and nothing but whole finds is added
/// and taken, so that it never holds a part of one.
class FindQueue {
public:
    FindQueue();
    ~FindQueue();
    FindQueue(const FindQueue&) = delete;
    FindQueue& operator=(const FindQueue&) = delete;

    /// Adds a find; waits for room. From any thread.
    void add(const Find& find);

    /// Takes up to all of `finds`; waits for one. @return those taken.
    std::span<const Find> take(std::span<Find> finds);

private:
    static constexpr std::size_t kRoom = 4096;

    std::array<Find, kRoom> storage_;
    COMMON_BlockQEx queue_;
};

}  // namespace scanner
