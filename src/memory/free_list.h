// Free lists: records of the function zone that wait to be used again within the same function.
//
// The generic lists are a table indexed by the size of the objects. A free object is linked through its
// second word, so the first stays readable. An object too small to hold that link stands on a stack beside
// the table.
//
// The typed lists hold the free records of one kind each (typed_free_lists.def). They are kept here without
// their types, so that one release and one report serve all; the owner of a kind puts and gets through the
// templates.
//
// All lists are emptied by the release of the local zone, where their objects lived. Nothing of the file zone
// should be put on them: it would be lost there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "memory/zone.h"

namespace pelorus {

// Puts `object`, of `size` bytes, on the list of that size. A size below 4 ends the run.
void put_free(void* object, size_t size);

// Takes the object that was put last from the list of `size`; null when there is none. A size below 4 ends
// the run.
void* get_free(size_t size);

// The number of sizes that the table of generic lists knows.
size_t free_list_table_length();

// A zeroed record of the function's zone: a recycled one when there is one.
template <class T>
T* new_recycled() {
    static_assert(std::is_trivially_destructible_v<T> && alignof(T) <= ZONE_LIMIT.alignment);
    void* used = get_free(zone_rounded(sizeof(T)));
    return used ? ::new (used) T() : zone_new<T>(true);
}

// Gives back a record that `new_recycled` made.
template <class T>
void recycle(T* record) {
    put_free(record, zone_rounded(sizeof(T)));
}

struct TYPED_FREE_LIST {
    const char* name;     // "free_NODE_list"
    void* head;           // the record that was put last
    int32_t count;        // records on the list
    uint32_t record_size; // bytes of one record; 0 until one is put
};

#define TYPED_FREE_LIST_ROW(record) extern TYPED_FREE_LIST free_##record##_list;
#include "memory/typed_free_lists.def"
#undef TYPED_FREE_LIST_ROW

// Puts `record` on `list`, linked through its member `link`.
template <class T>
void put_typed(TYPED_FREE_LIST& list, T* record, T* T::* link) {
    record->*link = static_cast<T*>(list.head);
    list.head = record;
    list.count++;
    list.record_size = sizeof(T);
}

// Takes the record that was put last, with its link cleared; null when the list is empty.
template <class T>
T* get_typed(TYPED_FREE_LIST& list, T* T::* link) {
    T* record = static_cast<T*>(list.head);
    if (!record) return nullptr;
    list.head = record->*link;
    list.count--;
    record->*link = nullptr;
    return record;
}

// Empties all lists, generic and typed; the release of the local zone calls it.
void empty_free_lists();

// What the lists hold, on the debug stream; nothing when it is off.
void report_typed_free_lists();
void report_generic_free_lists();

} // namespace pelorus
