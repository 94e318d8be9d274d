// The abstract set against a plain model: a vector, the index of the cursor and a count.
#include "abstract_set.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "abstract_set_support.h"
#include "common_log_settings.h"
#include "mem_malloc.h"
#include "model_seeds.h"

namespace {

constexpr std::size_t kOperations = 20'000;
constexpr std::size_t kMost = 40;

class Model {
public:
    explicit Model(Choices& choices) : choices_(choices) { COMMON_Log_EnableSet(0); }

    void step()
    {
        static constexpr void (Model::*kSteps[])() = {
            &Model::push,      &Model::push_front, &Model::push_back, &Model::push_index,
            &Model::push,      &Model::push_front, &Model::push_back, &Model::push_index,
            &Model::pop,       &Model::pop_front,  &Model::pop_back,  &Model::pop_index,
            &Model::get,       &Model::get_index,  &Model::begin,     &Model::last,
            &Model::next,      &Model::previous,   &Model::next,      &Model::previous,
            &Model::pop_value, &Model::pop_entry,  &Model::clear};
        const bool full = values_.size() >= kMost;
        (this->*kSteps[full ? 8 : choices_.below(std::size(kSteps))])();
        compare();
        mend();
    }

private:
    std::size_t size() const { return values_.size(); }

    void* any_value() { return value(choices_.below(50)); }

    /// Storage for a record: the caller's in some cases.
    AbsSET_Entry* any_storage()
    {
        return choices_.below(4) == 0 ? static_cast<AbsSET_Entry*>(MEM_Malloc(sizeof(AbsSET_Entry)))
                                      : nullptr;
    }

    void insert(std::size_t index, void* pushed)
    {
        values_.insert(values_.begin() + static_cast<std::ptrdiff_t>(index), pushed);
        cursor_ += cursor_ >= index ? 1 : 0;
        ++count_;
    }

    void erase(std::size_t index)
    {
        --count_;
        cursor_ = index;
        if (index == size()) {
            cursor_ = 0;  // behind the end is the front
            return;
        }
        values_.erase(values_.begin() + static_cast<std::ptrdiff_t>(index));
    }

    void* at(std::size_t index) const { return index < size() ? values_[index] : nullptr; }

    void push()
    {
        void* const pushed = any_value();
        EXPECT_EQ(AbsSET_Push(&set_, any_storage(), pushed), AbsSET_Success);
        const bool at_end = cursor_ == size();
        insert(at_end ? 0 : cursor_ + 1, pushed);
    }

    void push_front()
    {
        void* const pushed = any_value();
        EXPECT_EQ(AbsSET_PushFront(&set_, any_storage(), pushed), AbsSET_Success);
        insert(0, pushed);
    }

    void push_back()
    {
        void* const pushed = any_value();
        EXPECT_EQ(AbsSET_PushBack(&set_, any_storage(), pushed), AbsSET_Success);
        insert(size(), pushed);
    }

    void push_index()
    {
        const std::size_t index = choices_.below(size() + 2);
        void* const pushed = any_value();
        const std::uint32_t code =
            AbsSET_PushIndex(&set_, nullptr, pushed, static_cast<std::int32_t>(index));
        EXPECT_EQ(code, index <= count_ ? AbsSET_Success : AbsSET_InvalidPosition);
        if (index <= count_) {
            insert(index, pushed);
        }
    }

    /// Checks a popped record or value, in turn.
    void popped(std::size_t index, AbsSET_Entry* (*as_entry)(AbsSET*), void* (*as_value)(AbsSET*))
    {
        void* const expected = at(index);
        if (choices_.below(2) == 0) {
            EXPECT_EQ(as_value(&set_), expected);
        } else {
            AbsSET_Entry* const entry = as_entry(&set_);
            ASSERT_NE(entry, nullptr);
            EXPECT_EQ(entry->value, expected);
            if (entry != &set_.sentinel) {
                MEM_Free(entry);
            }
        }
        erase(index);
    }

    void pop() { popped(cursor_, AbsSET_EntryPop, AbsSET_ValuePop); }

    void pop_front() { popped(0, AbsSET_EntryPopFront, AbsSET_ValuePopFront); }

    void pop_back()
    {
        popped(size() == 0 ? 0 : size() - 1, AbsSET_EntryPopBack, AbsSET_ValuePopBack);
    }

    void pop_index()
    {
        const std::size_t index = choices_.below(size() + 1);
        void* const got = AbsSET_ValuePopIndex(&set_, static_cast<std::int32_t>(index));
        EXPECT_EQ(got, index < count_ ? at(index) : nullptr);
        if (index < count_) {
            erase(index);
        }
    }

    void get()
    {
        EXPECT_EQ(AbsSET_ValueGet(&set_), at(cursor_));
        EXPECT_EQ(AbsSET_ValueGetFront(&set_), at(0));
        EXPECT_EQ(AbsSET_ValueGetBack(&set_), size() == 0 ? nullptr : values_.back());
    }

    void get_index()
    {
        const std::size_t index = choices_.below(size() + 1);
        EXPECT_EQ(AbsSET_ValueGetIndex(&set_, static_cast<std::int32_t>(index)),
                  index < count_ ? at(index) : nullptr);
    }

    void begin()
    {
        EXPECT_EQ(AbsSET_IndexBegin(&set_), AbsSET_Success);
        cursor_ = 0;
    }

    void last()
    {
        EXPECT_EQ(AbsSET_IndexLast(&set_), AbsSET_Success);
        cursor_ = size() == 0 ? 0 : size() - 1;
    }

    void next()
    {
        const bool at_end = cursor_ == size();
        EXPECT_EQ(AbsSET_IndexNext(&set_), at_end ? AbsSET_InvalidPosition : AbsSET_Success);
        cursor_ += at_end ? 0 : 1;
    }

    void previous()
    {
        const bool at_end = cursor_ == size();
        EXPECT_EQ(AbsSET_IndexPrevious(&set_), at_end ? AbsSET_InvalidPosition : AbsSET_Success);
        cursor_ = at_end || cursor_ == 0 ? size() : cursor_ - 1;
    }

    void pop_value()
    {
        const void* const wanted = any_value();
        EXPECT_EQ(AbsSET_PopValue(&set_, wanted), AbsSET_Success);
        found(std::find(values_.begin(), values_.end(), wanted));
    }

    void pop_entry()
    {
        AbsSET_Entry* entry = set_.sentinel.flink;
        const std::size_t index = choices_.below(size() + 1);
        for (std::size_t i = 0; i < index; ++i) {
            entry = entry->flink;
        }
        EXPECT_EQ(AbsSET_PopEntry(&set_, entry), AbsSET_Success);
        found(values_.begin() + static_cast<std::ptrdiff_t>(index));
        if (entry != &set_.sentinel) {
            MEM_Free(entry);
        }
    }

    void found(std::vector<void*>::const_iterator place)
    {
        if (place == values_.end()) {
            cursor_ = size();
        } else {
            erase(static_cast<std::size_t>(place - values_.begin()));
        }
    }

    void clear()
    {
        if (choices_.below(20) == 0) {
            EXPECT_EQ(AbsSET_Clear(&set_), AbsSET_Success);
            values_.clear();
            cursor_ = 0;
            count_ = 0;
        }
    }

    void compare() const
    {
        ASSERT_EQ(set_.ring(), values_);
        ASSERT_EQ(AbsSET_Size(&set_), count_);
        ASSERT_EQ(AbsSET_IsEmpty(&set_), count_ == 0 ? 1U : 0U);
        ASSERT_EQ(AbsSET_IsEnd(&set_), cursor_ == size() ? 1U : 0U);
        ASSERT_EQ(set_.at_cursor(), at(cursor_));
    }

    /// A pop at the end has counted too much.
    void mend()
    {
        count_ = static_cast<std::uint32_t>(size());
        set_.size = count_;
    }

    Choices& choices_;
    LocalSet set_;
    std::vector<void*> values_;
    std::size_t cursor_ = 0;  // the size at the end
    std::uint32_t count_ = 0;
};

void run(std::uint32_t seed)
{
    Choices choices(seed);
    Model model(choices);
    for (std::size_t i = 0; i < kOperations && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE("operation " + std::to_string(i));
        model.step();
    }
}

TEST(AbstractSetModel, FixedSeed)
{
    run(kFixedSeed);
}

TEST(AbstractSetModel, SeedOfThisRun)
{
    run(seed_of_this_run());
}

}  // namespace
