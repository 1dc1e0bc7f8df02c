// malloc and its kin. Every block is an object of its own, so that an access beside it or after free is
// found, and so are blocks freed twice and addresses that are no block's.
#include <algorithm>
#include <cerrno>
#include <string>

#include "library_call.h"

namespace pelorus {

namespace {

std::string place_text(MACHINE& machine, ADDRESS address) {
    return describe_address(memory_of(machine), address);
}

// The block that begins at the address. `name` is the function that it was given to.
const OBJECT& need_block(MACHINE& machine, const char* name, ADDRESS address) {
    const OBJECT* object = object_at(memory_of(machine), address);
    if (!object || object->kind != OBJECT_KIND::HEAP || object->first != address)
        trap(machine, "%s: not the beginning of a block of malloc: %s", name,
             place_text(machine, address).c_str());
    if (!object->live)
        trap(machine, "%s: the block was freed before: %s", name, place_text(machine, address).c_str());
    return *object;
}

void call_malloc(GUEST_CALL& call) { give(call, allocate(call.library, word_argument(call, 0), 8)); }

void give_product(GUEST_CALL& call, uint64_t count, uint64_t size) {
    if (count * size <= UINT32_MAX) // neither has more than 32 bits
        return give(call, allocate(call.library, static_cast<uint32_t>(count * size), 8));
    set_errno(call.library, ENOMEM);
    give(call, 0);
}

void call_calloc(GUEST_CALL& call) { give_product(call, word_argument(call, 0), word_argument(call, 1)); }

void call_free(GUEST_CALL& call) { free_block(call.machine, "free", word_argument(call, 0)); }

// The block always moves: what still points to the old one is wrong.
ADDRESS moved_block(LIBRARY& library, ADDRESS old, uint32_t size) {
    if (!old) return allocate(library, size, 8);
    MACHINE& machine = library.machine;
    const uint32_t kept = std::min(need_block(machine, "realloc", old).size, size);
    if (size == 0) {
        free_block(machine, "realloc", old);
        return 0;
    }
    const ADDRESS block = allocate(library, size, 8);
    if (!block) return 0;
    if (kept) std::memcpy(write_place(machine, block, kept), read_place(machine, old, kept), kept);
    free_block(machine, "realloc", old);
    return block;
}

void call_realloc(GUEST_CALL& call) {
    give(call, moved_block(call.library, word_argument(call, 0), word_argument(call, 1)));
}

void call_reallocarray(GUEST_CALL& call) {
    const uint64_t size = uint64_t{word_argument(call, 1)} * word_argument(call, 2);
    if (size > UINT32_MAX) {
        set_errno(call.library, ENOMEM);
        return give(call, 0);
    }
    give(call, moved_block(call.library, word_argument(call, 0), static_cast<uint32_t>(size)));
}

bool is_power_of_two(uint32_t number) { return number && (number & (number - 1)) == 0; }

void call_aligned_alloc(GUEST_CALL& call) {
    const uint32_t alignment = word_argument(call, 0);
    if (is_power_of_two(alignment))
        return give(call, allocate(call.library, word_argument(call, 1), alignment));
    set_errno(call.library, EINVAL);
    give(call, 0);
}

void call_posix_memalign(GUEST_CALL& call) {
    const uint32_t alignment = word_argument(call, 1);
    if (!is_power_of_two(alignment) || alignment % 4 != 0) return give(call, EINVAL);
    const ADDRESS block = allocate(call.library, word_argument(call, 2), alignment);
    if (!block) return give(call, ENOMEM);
    store(call.machine, word_argument(call, 0), block);
    give(call, 0);
}

void call_valloc(GUEST_CALL& call) { give(call, allocate(call.library, word_argument(call, 0), 4096)); }

void call_malloc_usable_size(GUEST_CALL& call) {
    const ADDRESS block = word_argument(call, 0);
    give(call, block ? need_block(call.machine, "malloc_usable_size", block).size : 0);
}

const LIBRARY_ROW ALLOCATION_ROWS[] = {
    {"_malloc", call_malloc, CALL_EFFECT::INSIDE},
    {"_calloc", call_calloc, CALL_EFFECT::INSIDE},
    {"_realloc", call_realloc, CALL_EFFECT::INSIDE},
    {"_reallocarray", call_reallocarray, CALL_EFFECT::INSIDE},
    {"_free", call_free, CALL_EFFECT::INSIDE},
    {"_cfree", call_free, CALL_EFFECT::INSIDE},
    {"_aligned_alloc", call_aligned_alloc, CALL_EFFECT::INSIDE},
    {"_memalign", call_aligned_alloc, CALL_EFFECT::INSIDE},
    {"_posix_memalign", call_posix_memalign, CALL_EFFECT::INSIDE},
    {"_valloc", call_valloc, CALL_EFFECT::INSIDE},
    {"_malloc_usable_size", call_malloc_usable_size, CALL_EFFECT::NONE},
};

} // namespace

void free_block(MACHINE& machine, const char* name, ADDRESS address) {
    if (!address) return;
    need_block(machine, name, address);
    end_object(memory_of(machine), address);
}

std::span<const LIBRARY_ROW> allocation_functions() { return ALLOCATION_ROWS; }

} // namespace pelorus
