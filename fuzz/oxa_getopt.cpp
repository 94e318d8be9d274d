// Any command line by any of the functions: it comes to an end, no word is lost, and arguments are
// inside of words. The input: a byte that chooses the function, the option string and the words,
// each up to a zero byte.
#include <algorithm>
#include <iterator>
#include <vector>

#include "oxa_getopt.h"
#include "support/input.h"

namespace {

int flag = 0;

constexpr option kOptions[] = {
    {"verbose", no_argument, nullptr, 'v'},     {"version", no_argument, &flag, 1},
    {"level", required_argument, nullptr, 256}, {"colour", optional_argument, nullptr, 'c'},
    {"x", required_argument, &flag, 2},         {nullptr, 0, nullptr, 0}};

/// The command line, each word in a block of its own.
class Words {
public:
    Words(const std::uint8_t* data, std::size_t size)
    {
        while (size != 0) {
            const auto* const end = std::find(data, data + size, 0);
            const auto length = static_cast<std::size_t>(end - data);
            texts_.emplace_back(data, length);
            const std::size_t used = std::min(length + 1, size);
            data += used;
            size -= used;
        }
        for (const fuzz::Text& text : texts_) {
            pointers_.push_back(const_cast<char*>(text.get()));
        }
        sorted_ = sorted();
    }

    int count() const { return static_cast<int>(pointers_.size()); }
    char* const* argv() const { return pointers_.data(); }

    bool are_all_there() const { return sorted() == sorted_; }

    bool have(const char* argument) const
    {
        return std::any_of(pointers_.begin(), pointers_.end(), [argument](const char* word) {
            return argument >= word && argument <= word + std::strlen(word);
        });
    }

    /// As many calls as there can be before the end, if each gives something.
    std::size_t most_calls() const
    {
        std::size_t most = 0;
        for (const char* const word : pointers_) {
            most += 1 + std::strlen(word);
        }
        return most;
    }

private:
    std::vector<const char*> sorted() const
    {
        std::vector<const char*> all(pointers_.begin(), pointers_.end());
        std::sort(all.begin(), all.end());
        return all;
    }

    std::vector<fuzz::Text> texts_;
    std::vector<char*> pointers_;
    std::vector<const char*> sorted_;
};

int call(unsigned choice, const Words& words, const char* optstring, int* index)
{
    switch (choice % 4) {
    case 0:
        return OXA_getopt(words.count(), words.argv(), optstring);
    case 1:
        return OXA_getopt_long(words.count(), words.argv(), optstring, kOptions, index);
    case 2:
        return OXA_getopt_long_only(words.count(), words.argv(), optstring, kOptions, index);
    default:
        return OXA_getopt_long(words.count(), words.argv(), optstring, nullptr, index);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const unsigned choice = *data;
    const auto* const end = std::find(data + 1, data + size, 0);
    const fuzz::Text optstring(data + 1, static_cast<std::size_t>(end - data) - 1);
    const auto* const rest = end == data + size ? end : end + 1;
    const Words words(rest, static_cast<std::size_t>(data + size - rest));
    if (words.count() == 0) {
        return 0;
    }

    opterr = 0;
    optind = 0;
    std::size_t calls = 0;
    int index = -1;
    // A character or a value may be -1, too, which is the end for any caller.
    while (call(choice, words, optstring.get(), &index) != -1) {
        FUZZ_CHECK(++calls <= words.most_calls());
        FUZZ_CHECK(optind >= 1 && optind <= words.count());
        FUZZ_CHECK(optarg == nullptr || words.have(optarg));
        FUZZ_CHECK(index >= -1 && index < static_cast<int>(std::size(kOptions)) - 1);
        FUZZ_CHECK(words.are_all_there());
    }
    FUZZ_CHECK(optind >= 1 && optind <= words.count());
    FUZZ_CHECK(words.are_all_there());
    return 0;
}
