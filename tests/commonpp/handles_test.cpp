// Handles: the size of a pointer, ended by the right function.
#include <cstdio>
#include <cstring>
#include <utility>

#include <fcntl.h>

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

BODY(CommonppHandles, StreamIsClosedAndNamesOfFoldersAreReleased)
{
    int descriptor = -1;
    {
        const commonpp::stream stream{FILE_Open("/proc/self/status", "r")};
        descriptor = fileno(stream.get());
        CHECK(fcntl(descriptor, F_GETFD) != -1);
    }
    CHECK_EQ(fcntl(descriptor, F_GETFD), -1);
    UTIL_FolderItems names{};
    {
        const commonpp::folder_items owner{&names};
        CHECK_EQ(UTIL_GetFolderItems("/", nullptr, UTIL_FOLDER_ITEMS_ALL, owner.get()),
                 STATUS_SUCCESS);
        CHECK(names.count != 0);
    }
    CHECK_EQ(names.count, 0U);
}

BODY(CommonppHandles, EmptyOnesEndNothing)
{
    const commonpp::list none;
    const commonpp::watchdog no_watchdog;
    const commonpp::stream no_stream;
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

BODY(CommonppHandles, MemoryIsReleased)
{
    const commonpp::mem<char> text(MEM_StrDup("text"));
    CHECK_EQ(std::strcmp(text.get(), "text"), 0);
}

}  // namespace
