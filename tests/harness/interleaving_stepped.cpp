#include "interleaving_stepped.h"

namespace harness {

void clear(std::atomic<int*>& place)
{
    place.store(nullptr);
}

int number_at(std::atomic<int*>& place)
{
    if (place.load() == nullptr) {
        return 0;
    }
    const int* const number = place.load();
    return number != nullptr ? *number : -1;
}

int looks_until_clear(std::atomic<int*>& place, int at_most)
{
    int looks = 0;
    while (looks < at_most && place.load() != nullptr) {
        ++looks;
    }
    return looks;
}

int plain_read(const int* number)
{
    return *number;
}

}  // namespace harness
