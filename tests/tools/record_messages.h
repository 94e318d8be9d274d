// What a source of records gives, as the messages of its records.
#pragma once

#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "records/source.h"
#include "wait_until.h"

namespace harness {

using commonctl::open_source;
using commonctl::Record;
using commonctl::RecordSource;
using commonctl::SourceOptions;
using Next = RecordSource::Next;
using Messages = std::vector<std::string>;

inline constexpr const char* kLog = "/tmp/log";

inline void write_file(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

inline void append(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary | std::ios::app) << content;
}

/// Takes what is there until the source has no more for now. @return the result that said so.
inline Next take(RecordSource& source, Messages& messages)
{
    Record record;
    for (;;) {
        const Next next = source.next(record);
        if (next != Next::Record) {
            return next;
        }
        messages.emplace_back(record.message);
    }
}

/// What is there now.
inline Messages now(RecordSource& source, Next expected = Next::Later)
{
    Messages messages;
    EXPECT_EQ(take(source, messages), expected);
    return messages;
}

/// All of a source that ends.
inline Messages all(const SourceOptions& options)
{
    const auto source = open_source(options);
    Messages messages;
    EXPECT_TRUE(wait_until([&] { return take(*source, messages) == Next::End; }));
    return messages;
}

inline Messages lines(int first, int last)
{
    Messages expected;
    for (int i = first; i <= last; ++i) {
        expected.push_back("line " + std::to_string(i));
    }
    return expected;
}

inline std::string text_of(const Messages& messages)
{
    std::string text;
    for (const auto& message : messages) {
        text += message + "\n";
    }
    return text;
}

}  // namespace harness
