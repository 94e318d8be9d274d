// Media files by the ending of their names.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "map.h"
#include "regexp.h"

namespace scanner {

struct DeleteRegExp {
    void operator()(RegExp* expression) const noexcept { RegExp_Delete(expression); }
};
using Expression = std::unique_ptr<RegExp, DeleteRegExp>;

/// Knows media files by their names. For one thread, as the expression in it is.
class MediaNames {
public:
    MediaNames();

    /// @return the ending of a media file's name, valid until the next call; null for other names.
    const char* ending(const char* name);

private:
    Expression expression_;
};

/// How many files of a kind there are.
struct Kind {
    std::string ending;  // in lower case, without the dot
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
};

/// Counts the files of each kind. For one thread at a time, as the map in it is.
class MediaKinds {
public:
    MediaKinds();
    ~MediaKinds();
    MediaKinds(const MediaKinds&) = delete;
    MediaKinds& operator=(const MediaKinds&) = delete;

    /// Counts a file. @param ending in upper or lower case.
    void count(const char* ending, std::uint64_t bytes);

    /// @return the kinds of which there are files, those with the most first.
    std::vector<Kind> most_first() const;

private:
    Kind& of(const char* ending);

    Map* kinds_;  // from the ending to a Kind, both owned
};

}  // namespace scanner
