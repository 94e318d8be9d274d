#include "finds.h"

#include "common_system.h"

namespace scanner {

FindQueue::FindQueue()
{
    COMMON_BlockQEx_Init(&queue_, storage_.data(), sizeof storage_);
}

FindQueue::~FindQueue()
{
    COMMON_BlockQEx_Destroy(&queue_);
}

void FindQueue::add(const Find& find)
{
    // The queue never waits for room: it takes what fits, here all or nothing.
    while (COMMON_BlockQEx_Add(&queue_, &find, sizeof find) == 0) {
        OS_Sleep(1);
    }
}

std::span<const Find> FindQueue::take(std::span<Find> finds)
{
    const std::uint32_t size_bytes = COMMON_BlockQEx_Remove(
        &queue_, finds.data(), static_cast<std::uint32_t>(finds.size_bytes()));
    return finds.first(size_bytes / sizeof(Find));
}

}  // namespace scanner
