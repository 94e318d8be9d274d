/**
 * @file handles.hpp
 * Owners of what the C interface makes, each a std::unique_ptr that ends it by the right function
 * and is as large as the pointer:
 *
 *     const commonpp::map stations{Map_New(nullptr)};
 *     Map_Add(stations.get(), key, value);
 */
#pragma once

#include <memory>

#include <common/common.h>
#include <common/common_wdm.h>
#include <common/data.h>
#include <common/list_by_abstractset.h>
#include <common/list_light.h>
#include <common/map.h>
#include <common/mem_malloc.h>
#include <common/oxa_file.h>

namespace commonpp {

/** Ends what a pointer leads to by a function. */
template <auto function>
struct deleter {
    /** Ends it. */
    template <class Record>
    void operator()(Record* record) const noexcept
    {
        static_cast<void>(function(record));
    }
};

/** An owner of a record. */
template <class Record, auto function>
using handle = std::unique_ptr<Record, deleter<function>>;

namespace detail {

template <auto end_value>
void end_list(ListLight* list) noexcept
{
    ListLight_Delete(list, end_value);
}

}  // namespace detail

/** Of LIST_New() or LIST_NewEx(): ends the values, too. */
using list = handle<AbsSET, LIST_Delete>;
/** Of AbsSET_New(): ends the values, too. */
using abstract_set = handle<AbsSET, AbsSET_Delete>;
/** Of ListLight_New(), whose data are somebody else's. */
using light_list = handle<ListLight, detail::end_list<nullptr>>;
/** Of ListLight_New(), whose data are released with MEM_Free(). */
using owning_light_list =
    handle<ListLight, detail::end_list<ListLight_entry_data_memfree_callback>>;
/** Of Map_New(); keys and values are somebody else's. */
using map = handle<Map, Map_Delete>;
/** Of DATA_ArrayNew() and its like. */
using byte_array = handle<DATA_Array, DATA_ArrayDelete>;
/** Of FILE_Open(). Only FILE_Close(owner.release()) tells whether all that was written arrived. */
using stream = handle<FILE, FILE_Close>;
/** Of the caller's record that UTIL_GetFolderItems() fills, also when that fails: its names. */
using folder_items = handle<UTIL_FolderItems, UTIL_ReleaseFolderItems>;
/** Of COMMON_wdm_Init(). */
using watchdog = handle<COMMON_wdm, COMMON_wdm_Destroy>;
/** Of COMMON_wdm_Create_Subscriber(): ends the watch when it goes. */
using watchdog_client = handle<COMMON_wdm_Subscriber, COMMON_wdm_Unsubscribe>;

/** A block of MEM_Malloc() and its family, or a text of the library's that is released so. */
template <class Type>
using mem = handle<Type, MEM_Free>;

}  // namespace commonpp
