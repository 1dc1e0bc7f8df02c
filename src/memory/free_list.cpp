// Generic and typed free lists; see free_list.h.
#include "memory/free_list.h"

#include <cstring>

#include "support/fatal.h"
#include "support/run.h"
#include "support/trace.h"

namespace pelorus {

#define TYPED_FREE_LIST_ROW(record)                                                                          \
    TYPED_FREE_LIST free_##record##_list{"free_" #record "_list", nullptr, 0, 0};
#include "memory/typed_free_lists.def"
#undef TYPED_FREE_LIST_ROW

namespace {

TYPED_FREE_LIST* const typed_lists[] = {
#define TYPED_FREE_LIST_ROW(record) &free_##record##_list,
#include "memory/typed_free_lists.def"
#undef TYPED_FREE_LIST_ROW
};

constexpr size_t SMALLEST = 4;               // below this an object is none of ours
constexpr size_t LINKED = 2 * sizeof(void*); // from this size on an object has a second word

struct GENERIC_LISTS {
    void** heads = nullptr;        // by size; the heap's; null means empty
    size_t length = 0;             // entries of `heads`
    POINTER_STACK small[LINKED]{}; // by size; the objects that hold no link
};

GENERIC_LISTS lists;

// The link is copied, since an object put back need not be aligned.
void* second_word(const void* object) {
    void* word;
    memcpy(&word, static_cast<const char*>(object) + sizeof(void*), sizeof word);
    return word;
}

void set_second_word(void* object, void* word) {
    memcpy(static_cast<char*>(object) + sizeof(void*), &word, sizeof word);
}

void grow_table(size_t length) {
    void** heads = static_cast<void**>(heap_block("ZALLOC", length * sizeof(void*)));
    if (lists.length) memcpy(heads, lists.heads, lists.length * sizeof(void*));
    memset(heads + lists.length, 0, (length - lists.length) * sizeof(void*));
    if (lists.heads) zone_heap_free(lists.heads);
    lists.heads = heads;
    lists.length = length;
}

long count_objects(size_t size) {
    if (size < LINKED) return long(lists.small[size].count);
    long count = 0;
    for (const void* object = lists.heads[size]; object; object = second_word(object)) count++;
    return count;
}

void trace_heading(const char* heading) {
    trace("\n ==== %s ====\t\t", heading);
    if (run.current_function_name)
        trace("%s()\n", run.current_function_name);
    else
        trace("Intermission\n");
}

} // namespace

void put_free(void* object, size_t size) {
    if (size < SMALLEST) fatal_exit();
    if (size >= lists.length) grow_table(size + 1);
    if (size < LINKED) {
        if (!push_pointer(lists.small[size], object)) out_of_memory("ZALLOC", size);
        return;
    }
    set_second_word(object, lists.heads[size]);
    lists.heads[size] = object;
}

void* get_free(size_t size) {
    if (size < SMALLEST) fatal_exit();
    if (size >= lists.length) return nullptr;
    if (size < LINKED) {
        POINTER_STACK& stack = lists.small[size];
        return stack.count ? stack.items[--stack.count] : nullptr;
    }
    void* object = lists.heads[size];
    if (object) lists.heads[size] = second_word(object);
    return object;
}

size_t free_list_table_length() { return lists.length; }

void empty_free_lists() {
    for (TYPED_FREE_LIST* list : typed_lists) {
        list->head = nullptr;
        list->count = 0;
    }
    if (lists.length) memset(lists.heads, 0, lists.length * sizeof(void*));
    for (POINTER_STACK& stack : lists.small) stack.count = 0;
}

void report_typed_free_lists() {
    if (!debug_on()) return;
    trace_heading("CURRENT FREE LIST STORAGE CAPACITY");
    int32_t objects = 0;
    long bytes = 0;
    for (const TYPED_FREE_LIST* list : typed_lists) {
        long list_bytes = long(list->count) * long(list->record_size);
        trace("   %s:\t%6d objects, %8ld bytes\n", list->name, list->count, list_bytes);
        objects += list->count;
        bytes += list_bytes;
    }
    trace(" ==== TOTAL:\t\t%6d objects, %8ld bytes\n\n", objects, bytes);
}

void report_generic_free_lists() {
    if (!debug_on()) return;
    trace_heading("CURRENT GENERIC FREE LIST STORAGE CAPACITY");
    long objects = 0;
    long bytes = 0;
    for (size_t size = SMALLEST; size < lists.length; size++) {
        long count = count_objects(size);
        if (!count) continue;
        trace("   %3d-byte free list:\t%6ld objects, %8ld bytes\n", int(size), count, count * long(size));
        objects += count;
        bytes += count * long(size);
    }
    trace(" ==== TOTAL:\t\t%6ld objects, %8ld bytes\n\n", objects, bytes);
}

} // namespace pelorus
