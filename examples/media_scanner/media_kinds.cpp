#include "media_kinds.h"

#include <algorithm>
#include <memory>
#include <strings.h>

namespace scanner {

namespace {

constexpr char kMediaName[] =
    "\\.(aac|avi|flac|gif|jpe?g|m4a|mkv|mp3|mp4|og[agv]|png|svg|wav|webm)$";

int compare_endings(const void* ending, const void* stored)
{
    return strcasecmp(static_cast<const char*>(ending), static_cast<const char*>(stored));
}

struct DeleteIterator {
    void operator()(Map_Iterator* it) const noexcept { Map_DeleteIterator(it); }
};

/// Calls a function with each kind in a map, in the order in which they were added.
template <typename Function>
void for_each(const Map* kinds, Function function)
{
    const std::unique_ptr<Map_Iterator, DeleteIterator> it{Map_NewIterator()};
    for (Map_Begin(kinds, it.get()); Map_End(kinds, it.get()) == 0; Map_Next(kinds, it.get())) {
        function(static_cast<Kind*>(Map_GetValue(kinds, it.get())));
    }
}

std::string lower_case(const char* text)
{
    std::string lower{text};
    // Endings are ASCII letters and digits, as the expression says.
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return lower;
}

}  // namespace

MediaNames::MediaNames() : expression_{RegExp_New(kMediaName, 0)} {}

const char* MediaNames::ending(const char* name)
{
    const SubExps* const texts = RegExp_MatchSubExp(expression_.get(), name, 0);
    return texts == nullptr ? nullptr : SubExps_GetIndex(texts, 1);
}

MediaKinds::MediaKinds() : kinds_{Map_New(compare_endings)} {}

MediaKinds::~MediaKinds()
{
    for_each(kinds_, [](Kind* kind) { delete kind; });
    Map_Delete(kinds_);
}

void MediaKinds::count(const char* ending, std::uint64_t bytes)
{
    Kind& kind = of(ending);
    ++kind.files;
    kind.bytes += bytes;
}

Kind& MediaKinds::of(const char* ending)
{
    if (void* const known = Map_Find(kinds_, ending); known != nullptr) {
        return *static_cast<Kind*>(known);
    }
    auto* const kind = new Kind;
    kind->ending = lower_case(ending);
    Map_Add(kinds_, kind->ending.c_str(), kind);
    return *kind;
}

std::vector<Kind> MediaKinds::most_first() const
{
    std::vector<Kind> sorted;
    for_each(kinds_, [&sorted](const Kind* kind) { sorted.push_back(*kind); });
    std::sort(sorted.begin(), sorted.end(), [](const Kind& first, const Kind& second) {
        return first.files != second.files ? first.files > second.files
                                           : first.ending < second.ending;
    });
    return sorted;
}

}  // namespace scanner
