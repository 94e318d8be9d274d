// What the tests of the light list and the map share.
#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <vector>

#include <gmock/gmock.h>

#include "list_light.h"

/// Addresses to store.
inline std::array<char, 4096> word_storage;

inline void* word(std::size_t number)
{
    return &word_storage.at(number);
}

inline std::vector<void*> words(std::initializer_list<std::size_t> numbers)
{
    std::vector<void*> all;
    for (const std::size_t number : numbers) {
        all.push_back(word(number));
    }
    return all;
}

/// Data of a list, read from its nodes; fails a check when head and tail are wrong.
inline std::vector<void*> data_of(const ListLight& list)
{
    std::vector<void*> all;
    const ListLight_Node* last = nullptr;
    for (const ListLight_Node* node = list.head; node != nullptr; node = node->next) {
        all.push_back(node->data);
        last = node;
    }
    EXPECT_EQ(list.tail, last);
    return all;
}

/// A list, ended with the object; data is not released.
class LightList {
public:
    LightList(std::initializer_list<std::size_t> numbers = {}) : list_(ListLight_New())
    {
        for (const std::size_t number : numbers) {
            ListLight_PushBack(list_, word(number));
        }
    }
    LightList(const LightList&) = delete;
    LightList& operator=(const LightList&) = delete;
    ~LightList() { ListLight_Delete(list_, nullptr); }

    operator ListLight*() const { return list_; }
    ListLight* operator->() const { return list_; }

    std::vector<void*> data() const { return data_of(*list_); }

    /// An iterator on an index; at the end for the size.
    ListLight_Iterator at(std::size_t index) const
    {
        ListLight_Iterator it{};
        ListLight_Begin(list_, &it);
        for (; index != 0; --index) {
            ListLight_Next(list_, &it);
        }
        return it;
    }

private:
    ListLight* list_;
};

inline int by_address(const void* first, const void* second)
{
    const char* const a = *static_cast<char* const*>(first);
    const char* const b = *static_cast<char* const*>(second);
    return a < b ? -1 : (a > b ? 1 : 0);
}
