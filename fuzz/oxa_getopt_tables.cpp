// Any command line with any option string and any table of long options: each result, with what
// comes with it and what the user is told, is that of a plain model, which knows nothing of how
// words are moved: at the end, those that belong to options are in front of the others. The input:
// a byte that chooses the function and whether the user is told, how many long options there are,
// each with three bytes and its name, the option string and the words; texts end in a zero byte.
#include <algorithm>
#include <array>
#include <cstdarg>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "oxa_getopt.h"
#include "support/choices.h"
#include "support/input.h"

namespace {

constexpr unsigned kMostOptions = 8;

/// What the user was told, one line each.
std::string told;

/// A long option of the table.
struct Long {
    std::string name;
    int has_arg;
    bool has_flag;
    int val;
};

struct Input {
    unsigned function;
    bool tells;
    bool has_table;
    std::vector<Long> table;
    std::string letters;
    std::vector<std::string> words;
};

std::string chosen_text(fuzz::Choices& choices)
{
    std::string text;
    while (const unsigned byte = choices.byte()) {
        text += static_cast<char>(byte);
    }
    return text;
}

Input input_of(fuzz::Choices choices)
{
    const unsigned choice = choices.byte();
    Input input{.function = choice % 3,
                .tells = (choice & 0x10U) != 0,
                .has_table = (choice & 0x20U) == 0,
                .table{},
                .letters{},
                .words{}};
    for (unsigned count = choices.below(kMostOptions + 1); count != 0; --count) {
        const int has_arg = static_cast<int>(choices.below(3));
        const bool has_flag = choices.below(4) == 1;
        const int val = static_cast<int>(choices.byte()) - 1;
        input.table.push_back({chosen_text(choices), has_arg, has_flag, val});
    }
    input.letters = chosen_text(choices);
    while (!choices.are_used_up()) {
        input.words.push_back(chosen_text(choices));
    }
    return input;
}

/// What a call gives. Places are those of a word, as they were in the beginning, and in it.
struct Result {
    int code = -1;
    int optind = 0;
    int optopt = 0;
    int index = -1;
    int flag = -1;  // of the option with that index
    std::optional<std::string> argument{};
    std::string told{};

    bool operator==(const Result&) const = default;
};

class Model {
public:
    explicit Model(const Input& input) : input_(input), letters_(input.letters)
    {
        permutes_ = input.function != 0;
        if (letters_.starts_with('+')) {
            permutes_ = false;
        } else if (letters_.starts_with('-')) {
            gives_all_ = true;
        }
        if (letters_.starts_with('+') || letters_.starts_with('-')) {
            letters_.erase(0, 1);
        }
    }

    Result next()
    {
        is_ = {.code = 0, .optopt = is_.optopt};
        is_.code = find();
        is_.optind = static_cast<int>(ended_ ? order_.size() : at_);
        if (ended_) {
            order_.insert(order_.end(), passed_.begin(), passed_.end());
            while (at_ < input_.words.size()) {
                order_.push_back(at_++);
            }
        }
        return is_;
    }

    /// Whether there are no options any more, and then the order of the words.
    bool has_ended() const { return ended_; }
    const std::vector<std::size_t>& order() const { return order_; }

private:
    bool is_at_end() const { return at_ == input_.words.size(); }
    const std::string& word() const { return input_.words[at_]; }
    bool has_long() const { return input_.function != 0 && input_.has_table; }
    int bad() const { return letters_.starts_with(':') ? ':' : '?'; }
    char letter_behind(std::size_t place) const
    {
        return place < letters_.size() ? letters_[place] : '\0';
    }
    std::size_t place_of(char letter) const
    {
        return letter == ':' ? std::string::npos : letters_.find(letter);
    }

    void tell(const std::string& text)
    {
        if (input_.tells && !letters_.starts_with(':')) {
            is_.told += text + "\n";
        }
    }

    std::string take_word()
    {
        order_.push_back(at_);
        return input_.words[at_++];
    }

    int find()
    {
        if (!rest_.empty()) {
            return short_option();
        }
        for (;; ++at_) {
            if (is_at_end()) {
                ended_ = true;
                return -1;
            }
            if (word().size() > 1 && word()[0] == '-') {
                break;
            }
            if (gives_all_) {
                is_.argument = take_word();
                return 1;
            }
            if (!permutes_) {
                ended_ = true;
                return -1;
            }
            passed_.push_back(at_);
        }
        if (word() == "--") {
            take_word();
            ended_ = true;
            return -1;
        }
        rest_ = word().substr(1);
        const bool two_dashes = rest_[0] == '-';
        if (has_long() && (two_dashes || input_.function == 2)) {
            const bool may_be_short = !two_dashes && place_of(rest_[0]) != std::string::npos;
            const std::string text = two_dashes ? rest_.substr(1) : rest_;
            if (!may_be_short || matches(text, true) != 0) {
                rest_.clear();
                take_word();
                return long_option(text, may_be_short);
            }
        }
        return short_option();
    }

    static std::string name_of(const std::string& text) { return text.substr(0, text.find('=')); }

    bool is_exact(const Long& option, const std::string& text) const
    {
        return option.name == name_of(text);
    }

    /// How many long options a name means. One letter that may be a short option means no other
    /// than the one of that name.
    long matches(const std::string& text, bool may_be_short) const
    {
        const auto& table = input_.table;
        const std::string name = name_of(text);
        if (std::any_of(table.begin(), table.end(),
                        [&](const Long& option) { return is_exact(option, text); })) {
            return 1;
        }
        return may_be_short && name.size() == 1
                   ? 0
                   : std::count_if(table.begin(), table.end(), [&](const Long& option) {
                         return option.name.starts_with(name);
                     });
    }

    int long_option(const std::string& text, bool may_be_short)
    {
        const std::string name = name_of(text);
        const long count = matches(text, may_be_short);
        if (count != 1) {
            tell(count == 0 ? "unknown option -- " + text : "ambiguous option -- " + name);
            is_.optopt = 0;
            return '?';
        }
        const auto& table = input_.table;
        auto found = std::find_if(table.begin(), table.end(),
                                  [&](const Long& option) { return is_exact(option, text); });
        if (found == table.end()) {
            found = std::find_if(table.begin(), table.end(),
                                 [&](const Long& option) { return option.name.starts_with(name); });
        }
        const bool has_value = name.size() < text.size();
        const bool needs_word = found->has_arg == required_argument && !has_value;
        if ((has_value && found->has_arg == no_argument) || (needs_word && is_at_end())) {
            tell(has_value ? "option does not take an argument -- " + name
                           : "option requires an argument -- " + text);
            is_.optopt = found->has_flag ? 0 : found->val;
            return bad();
        }
        if (has_value) {
            is_.argument = text.substr(name.size() + 1);
        } else if (needs_word) {
            is_.argument = take_word();
        }
        is_.index = static_cast<int>(found - table.begin());
        is_.flag = found->has_flag ? found->val : is_.flag;
        return found->has_flag ? 0 : found->val;
    }

    int short_option()
    {
        const char letter = rest_[0];
        rest_.erase(0, 1);
        const std::size_t place = place_of(letter);
        const char behind = place == std::string::npos ? '\0' : letter_behind(place + 1);
        if (letter == 'W' && behind == ';' && has_long()) {
            return long_option_of_w();
        }
        const std::string value = behind == ':' ? std::exchange(rest_, "") : "";
        if (rest_.empty()) {
            take_word();
        }
        if (place == std::string::npos) {
            tell(std::string("unknown option -- ") + letter);
            is_.optopt = int{letter};
            return '?';
        }
        if (behind == ':' && (!value.empty() || letter_behind(place + 2) != ':')) {
            if (value.empty() && is_at_end()) {
                return missing(letter);
            }
            is_.argument = value.empty() ? take_word() : value;
        }
        return int{letter};
    }

    int missing(char letter)
    {
        tell(std::string("option requires an argument -- ") + letter);
        is_.optopt = int{letter};
        return bad();
    }

    int long_option_of_w()
    {
        std::string text = std::exchange(rest_, "");
        take_word();
        if (text.empty()) {
            if (is_at_end()) {
                return missing('W');
            }
            text = take_word();
        }
        return long_option(text, false);
    }

    const Input& input_;
    std::string letters_;
    bool permutes_ = false;
    bool gives_all_ = false;
    bool ended_ = false;
    std::size_t at_ = 0;
    std::string rest_;  // of a word of short options
    std::vector<std::size_t> order_;
    std::vector<std::size_t> passed_;
    Result is_;
};

/// The input as the library gets it, each text in a block of its own.
class Call {
public:
    explicit Call(const Input& input) : input_(input), letters_(text(input.letters))
    {
        for (const std::string& word : input.words) {
            words_.push_back(text(word));
            argv_.push_back(const_cast<char*>(words_.back().get()));
        }
        begin_ = argv_;
        argv_.push_back(nullptr);
        for (const Long& its : input.table) {
            names_.push_back(text(its.name));
            table_.push_back({names_.back().get(), its.has_arg,
                              its.has_flag ? &flags_[table_.size()] : nullptr, its.val});
        }
        table_.push_back({nullptr, 0, nullptr, 0});
    }

    Result next()
    {
        told.clear();
        flags_.fill(-1);
        Result result;
        const int count = static_cast<int>(input_.words.size());
        const option* const table = input_.has_table ? table_.data() : nullptr;
        switch (input_.function) {
        case 0:
            result.code = OXA_getopt(count, argv_.data(), letters_.get());
            break;
        case 1:
            result.code =
                OXA_getopt_long(count, argv_.data(), letters_.get(), table, &result.index);
            break;
        default:
            result.code =
                OXA_getopt_long_only(count, argv_.data(), letters_.get(), table, &result.index);
        }
        result.optind = optind;
        result.optopt = optopt;
        result.flag = result.index < 0 ? -1 : flags_[static_cast<unsigned>(result.index)];
        if (optarg != nullptr) {
            result.argument = optarg;
        }
        result.told = told;
        return result;
    }

    /// Where the words that are there now were in the beginning.
    std::vector<std::size_t> order() const
    {
        std::vector<std::size_t> order;
        for (std::size_t i = 0; i < begin_.size(); ++i) {
            order.push_back(static_cast<std::size_t>(
                std::find(begin_.begin(), begin_.end(), argv_[i]) - begin_.begin()));
        }
        return order;
    }

private:
    static fuzz::Text text(const std::string& text)
    {
        return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
    }

    const Input& input_;
    fuzz::Text letters_;
    std::vector<fuzz::Text> words_;
    std::vector<fuzz::Text> names_;
    std::vector<char*> begin_;
    std::vector<char*> argv_;
    std::array<int, kMostOptions> flags_{};
    std::vector<option> table_;
};

}  // namespace

// What the linker's --wrap makes of the calls.
extern "C" void wrap_warnx(const char* format, ...) __asm__("__wrap_warnx")
    __attribute__((format(printf, 1, 2)));
extern "C" void wrap_warnx(const char* format, ...)
{
    char line[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    (told += line) += '\n';
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool is_free = unsetenv("POSIXLY_CORRECT") == 0;  // read at the first call
    FUZZ_CHECK(is_free);
    const Input input = input_of(fuzz::Choices(data, std::min<std::size_t>(size, 1024)));
    if (input.words.empty()) {
        return 0;
    }
    // The first word is that of the program.
    Input options = input;
    options.words.erase(options.words.begin());
    Call call(input);
    Model model(options);
    opterr = input.tells ? 1 : 0;
    optind = 0;
    optopt = 0;
    Result expected;
    do {
        expected = model.next();
        ++expected.optind;
        FUZZ_CHECK(call.next() == expected);
    } while (expected.code != -1);
    if (model.has_ended()) {
        std::vector<std::size_t> order{0};
        for (const std::size_t place : model.order()) {
            order.push_back(place + 1);
        }
        FUZZ_CHECK(call.order() == order);
    }
    return 0;
}
