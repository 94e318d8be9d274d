// Both blocking queues under one form, for the tests of what they have in common.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "blockq.h"
#include "common_blockQEx.h"

struct BlockQKind {
    using Record = BlockQ;
    static constexpr auto init = BlockQ_Init;
    static constexpr auto destroy = BlockQ_Destroy;
    static constexpr auto add = BlockQ_Add;
    static constexpr auto remove = BlockQ_Remove;
    static constexpr auto peek = BlockQ_Peek;
    static constexpr auto size = BlockQ_Size;
    static constexpr auto free_space = BlockQ_FreeSpace;
    static constexpr auto len = BlockQ_Len;
    static void flush(Record* queue) { EXPECT_EQ(BlockQ_Flush(queue), 0); }
    static constexpr const char* kName = "BlockQ";
};

struct BlockQExKind {
    using Record = COMMON_BlockQEx;
    static constexpr auto init = COMMON_BlockQEx_Init;
    static constexpr auto destroy = COMMON_BlockQEx_Destroy;
    static constexpr auto add = COMMON_BlockQEx_Add;
    static constexpr auto remove = COMMON_BlockQEx_Remove;
    static constexpr auto size = COMMON_BlockQEx_Size;
    static constexpr auto free_space = COMMON_BlockQEx_FreeSpace;
    static constexpr auto len = COMMON_BlockQEx_Len;
    static void flush(Record* queue) { COMMON_BlockQEx_Flush(queue); }
    static constexpr const char* kName = "BlockQEx";
};

using QueueKinds = testing::Types<BlockQKind, BlockQExKind>;

/// Names the typed tests.
struct QueueName {
    template <class Kind>
    static std::string GetName(int)
    {
        return Kind::kName;
    }
};

/// A queue with its storage.
template <class Kind>
class Queue {
public:
    explicit Queue(std::uint32_t capacity) : storage_(capacity)
    {
        EXPECT_EQ(Kind::init(&record, storage_.data(), capacity), 0);
    }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;
    ~Queue() { EXPECT_EQ(Kind::destroy(&record), 0); }

    std::uint32_t add(std::string_view text)
    {
        return Kind::add(&record, text.data(), static_cast<std::uint32_t>(text.size()));
    }

    std::string remove(std::uint32_t length)
    {
        std::string text(length, '?');
        text.resize(Kind::remove(&record, text.data(), length));
        return text;
    }

    std::uint32_t len() { return Kind::len(&record); }

    typename Kind::Record record;

private:
    std::vector<std::uint8_t> storage_;
};
