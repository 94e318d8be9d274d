// Handles: the size of a pointer, ended by the right function.
#include <cstring>
#include <utility>

#include "bodies.h"

namespace {

static_assert(sizeof(commonpp::list) == sizeof(void*));
static_assert(sizeof(commonpp::mem<char>) == sizeof(void*));
static_assert(sizeof(commonpp::watchdog_client) == sizeof(void*));

int released = 0;
void count_release(void*)
{
    ++released;
}

BODY(CommonppHandles, EndWhatTheyOwn)
{
    int value = 0;
    released = 0;
    {
        const commonpp::list values{LIST_NewEx(count_release)};
        LIST_PushBack(values.get(), &value);
        const commonpp::abstract_set set{AbsSET_New()};
        AbsSET_PushBack(set.get(), nullptr, MEM_Malloc(1));
        const commonpp::light_list light{ListLight_New()};
        ListLight_PushBack(light.get(), &value);
        const commonpp::owning_light_list owning{ListLight_New()};
        ListLight_PushBack(owning.get(), MEM_Malloc(1));
        const commonpp::map map{Map_New(nullptr)};
        Map_Add(map.get(), &value, &value);
        const commonpp::byte_array bytes{DATA_ArrayNew(16)};
        CHECK_EQ(bytes->capacity, 16U);
        CHECK_EQ(released, 0);
    }
    CHECK_EQ(released, 1);
}

BODY(CommonppHandles, EmptyOnesEndNothing)
{
    const commonpp::list none;
    const commonpp::watchdog no_watchdog;
    commonpp::map first{Map_New(nullptr)};
    const commonpp::map second = std::move(first);
    CHECK(first == nullptr);
    CHECK(second != nullptr);
}

void* fire(void* flag)
{
    static_cast<Flag*>(flag)->set();
    return nullptr;
}

BODY(CommonppHandles, WatchdogWatchesItsClient)
{
    Flag fired;
    Flag not_fired;
    const commonpp::watchdog watchdog{COMMON_wdm_Init()};
    const commonpp::watchdog_client late{COMMON_wdm_Create_Subscriber(fire, &fired)};
    {
        const commonpp::watchdog_client gone{COMMON_wdm_Create_Subscriber(fire, &not_fired)};
        COMMON_wdm_Subscribe(watchdog.get(), gone.get(), 3600);
    }
    COMMON_wdm_Subscribe(watchdog.get(), late.get(), 0);
    fired.wait();
    CHECK(!not_fired.is_set());
}

BODY(CommonppHandles, MemoryIsZeroAndOfTheSize)
{
    const auto numbers = commonpp::make_mem<std::uint32_t>(100);
    for (std::size_t index = 0; index < 100; ++index) {
        CHECK_EQ(numbers[index], 0U);
    }
    CHECK(commonpp::make_mem<std::uint32_t>(0x40000000) == nullptr);
    const commonpp::mem<char> text(MEM_StrDup("text"));
    CHECK_EQ(std::strcmp(text.get(), "text"), 0);
}

BODY(CommonppRing, KeepsBytesInOrder)
{
    commonpp::ring<4> ring;
    char out[4] = {};
    CHECK_EQ(ring.write("abcdef", 6), 4U);
    CHECK_EQ(ring.size(), 4U);
    CHECK_EQ(ring.read(out, 3), 3U);
    CHECK_EQ(std::memcmp(out, "abc", 3), 0);
    CHECK_EQ(ring.write("gh", 2), 2U);
    CHECK_EQ(ring.read(out, 4), 3U);
    CHECK_EQ(std::memcmp(out, "dgh", 3), 0);
    CHECK_EQ(ring.native()->count, 0U);
}

}  // namespace
