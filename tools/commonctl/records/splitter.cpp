#include "records/splitter.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace commonctl {
namespace {

constexpr std::string_view kJournalStart = "__CURSOR=";
constexpr std::string_view kOtherJournalStart = "__REALTIME_TIMESTAMP=";

class LineSplitter : public Splitter {
public:
    bool next(Buffer& buffer, bool at_end, Record& record) override
    {
        std::string_view line;
        do {
            if (!cutter_.next(buffer, at_end, line)) {
                return false;
            }
        } while (line.empty());
        parser_.parse_line(line, record);
        return true;
    }

    bool is_by_line() const override { return true; }

private:
    LineCutter cutter_;
    Parser parser_;
};

/// "NAME=value" lines and an empty one behind each entry. The value of "NAME" without "=" follows
/// in the next line: its length, in eight bytes from the lowest on, and as many bytes.
class EntrySplitter : public Splitter {
public:
    bool next(Buffer& buffer, bool at_end, Record& record) override
    {
        if (is_given_) {
            fields_.clear();
            is_given_ = is_begun_ = false;
        }
        while (state_ == State::Line ? take_line(buffer, at_end) : take_value(buffer)) {
            if (is_given_) {
                break;
            }
        }
        is_given_ = is_given_ || (at_end && is_begun_);
        if (is_given_) {
            parser_.parse_entry(fields_, record);
        }
        return is_given_;
    }

    bool is_by_line() const override { return false; }

private:
    enum class State : std::uint8_t { Line, Size, Value };

    bool take_line(Buffer& buffer, bool at_end)
    {
        std::string_view line;
        if (!cutter_.next(buffer, at_end, line)) {
            return false;
        }
        if (line.empty()) {
            is_given_ = is_begun_;
            return true;
        }
        is_begun_ = true;
        const auto equals = line.find('=');
        field_ = journal_field(line.substr(0, equals));
        if (equals == std::string_view::npos) {
            clear_field();
            state_ = State::Size;
        } else if (field_ != JournalField::Count) {
            fields_[field_] = line.substr(equals + 1);
        }
        return true;
    }

    bool take_value(Buffer& buffer)
    {
        const auto bytes = buffer.bytes();
        if (state_ == State::Size) {
            if (bytes.size() < sizeof left_) {
                return false;
            }
            left_ = 0;
            for (std::size_t i = sizeof left_; i-- > 0;) {
                left_ = left_ << 8 | static_cast<unsigned char>(bytes[i]);
            }
            buffer.consume(sizeof left_);
            state_ = State::Value;
            return true;
        }
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left_, bytes.size()));
        if (field_ != JournalField::Count) {
            auto& text = fields_[field_];
            text += bytes.substr(0, std::min(count, kLongestLine - text.size()));
        }
        buffer.consume(count);
        left_ -= count;
        if (left_ != 0 || buffer.bytes().empty()) {
            return false;
        }
        buffer.consume(1);  // the newline behind it
        state_ = State::Line;
        return true;
    }

    void clear_field()
    {
        if (field_ != JournalField::Count) {
            fields_[field_].clear();
        }
    }

    LineCutter cutter_;
    Parser parser_;
    JournalFields fields_;
    State state_ = State::Line;
    JournalField field_ = JournalField::Count;
    std::uint64_t left_ = 0;
    bool is_begun_ = false;
    bool is_given_ = false;
};

}  // namespace

bool LineCutter::skip(Buffer& buffer)
{
    const auto bytes = buffer.bytes();
    const auto end = bytes.find('\n');
    is_skipping_ = end == std::string_view::npos;
    buffer.consume(is_skipping_ ? bytes.size() : end + 1);
    return !is_skipping_;
}

bool LineCutter::next(Buffer& buffer, bool at_end, std::string_view& line)
{
    if (is_skipping_ && !skip(buffer)) {
        return false;
    }
    const auto bytes = buffer.bytes();
    const auto end = bytes.find('\n', searched_);
    if (std::min(end, bytes.size()) > kLongestLine) {
        static std::atomic<bool> is_said = false;
        if (!is_said.exchange(true)) {
            std::fprintf(stderr, "commonctl: lines of more than %zu KiB are cut\n",
                         kLongestLine / 1024);
        }
        line = bytes.substr(0, kLongestLine);
        buffer.consume(kLongestLine);
        is_skipping_ = true;
    } else if (end != std::string_view::npos) {
        line = bytes.substr(0, end);
        buffer.consume(end + 1);
    } else if (at_end && !bytes.empty()) {
        line = bytes;
        buffer.consume(bytes.size());
    } else {
        searched_ = bytes.size();
        return false;
    }
    searched_ = 0;
    return true;
}

std::unique_ptr<Splitter> splitter_for(std::string_view first_bytes, bool at_end)
{
    for (const auto start : {kJournalStart, kOtherJournalStart}) {
        if (first_bytes.starts_with(start)) {
            return std::make_unique<EntrySplitter>();
        }
        if (!at_end && start.starts_with(first_bytes)) {
            return nullptr;
        }
    }
    return std::make_unique<LineSplitter>();
}

}  // namespace commonctl
