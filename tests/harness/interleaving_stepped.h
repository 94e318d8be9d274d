// Code under test of interleaving_test, compiled like such: each access to memory is told.
#pragma once

#include <atomic>

namespace harness {

void clear(std::atomic<int*>& place);

/// Loads twice, as one must not: the number, 0 if the place is empty, -1 if it only becomes so.
int number_at(std::atomic<int*>& place);

/// Looks so often at most, until the place is empty: how often it was not.
int looks_until_clear(std::atomic<int*>& place, int at_most);

int plain_read(const int* number);

}  // namespace harness
