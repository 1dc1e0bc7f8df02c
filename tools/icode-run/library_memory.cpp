// The library's functions on memory: string.h's mem..., their old names, and the forms that compilers call.
#include <algorithm>
#include <string>

#include "library_call.h"

namespace pelorus {

namespace {

// Copies between places that must not overlap. One and the same place is let through: compilers copy a
// structure onto itself with it, and no library does harm then.
void copy_apart(MACHINE& machine, const char* name, ADDRESS to, ADDRESS from, uint32_t size) {
    if (size == 0) return;
    if (to != from) need_apart(machine, name, to, size, from, size);
    const uint8_t* source = read_place(machine, from, size);
    std::memmove(write_place(machine, to, size), source, size);
}

void copy_any(MACHINE& machine, ADDRESS to, ADDRESS from, uint32_t size) {
    if (size == 0) return;
    const uint8_t* source = read_place(machine, from, size);
    std::memmove(write_place(machine, to, size), source, size);
}

void fill(MACHINE& machine, ADDRESS to, int value, uint32_t size) {
    if (size) std::memset(write_place(machine, to, size), value, size);
}

// The checked forms have the size of the object that they write to as a further argument.
void check_room(GUEST_CALL& call, const char* name, uint32_t index, uint32_t size) {
    const uint32_t room = word_argument(call, index);
    if (size > room) trap(call.machine, "%s: %u bytes do not fit into %u", name, size, room);
}

void call_memcpy(GUEST_CALL& call) {
    const ADDRESS to = word_argument(call, 0);
    copy_apart(call.machine, "memcpy", to, word_argument(call, 1), word_argument(call, 2));
    give(call, to);
}

void call_memcpy_chk(GUEST_CALL& call) {
    check_room(call, "memcpy", 3, word_argument(call, 2));
    call_memcpy(call);
}

void call_mempcpy(GUEST_CALL& call) {
    const ADDRESS to = word_argument(call, 0);
    const uint32_t size = word_argument(call, 2);
    copy_apart(call.machine, "mempcpy", to, word_argument(call, 1), size);
    give(call, to + size);
}

void call_mempcpy_chk(GUEST_CALL& call) {
    check_room(call, "mempcpy", 3, word_argument(call, 2));
    call_mempcpy(call);
}

void call_memmove(GUEST_CALL& call) {
    const ADDRESS to = word_argument(call, 0);
    copy_any(call.machine, to, word_argument(call, 1), word_argument(call, 2));
    give(call, to);
}

void call_memmove_chk(GUEST_CALL& call) {
    check_room(call, "memmove", 3, word_argument(call, 2));
    call_memmove(call);
}

void call_bcopy(GUEST_CALL& call) {
    copy_any(call.machine, word_argument(call, 1), word_argument(call, 0), word_argument(call, 2));
}

void call_memset(GUEST_CALL& call) {
    const ADDRESS to = word_argument(call, 0);
    fill(call.machine, to, int_argument(call, 1), word_argument(call, 2));
    give(call, to);
}

void call_memset_chk(GUEST_CALL& call) {
    check_room(call, "memset", 3, word_argument(call, 2));
    call_memset(call);
}

// The EABI's own form has the size before the value.
void call_aeabi_memset(GUEST_CALL& call) {
    fill(call.machine, word_argument(call, 0), int_argument(call, 2), word_argument(call, 1));
}

void call_bzero(GUEST_CALL& call) { fill(call.machine, word_argument(call, 0), 0, word_argument(call, 1)); }

void call_memcmp(GUEST_CALL& call) {
    const ADDRESS a = word_argument(call, 0), b = word_argument(call, 1);
    const uint32_t size = word_argument(call, 2);
    if (size == 0) return give(call, 0);
    const uint8_t* left = read_place(call.machine, a, size);
    const uint8_t* right = read_place(call.machine, b, size);
    const auto [x, y] = std::mismatch(left, left + size, right);
    give(call, x == left + size ? 0 : *x - *y);
}

// The byte is looked for one after another, since the bytes behind it need not be there.
ADDRESS find_byte(MACHINE& machine, ADDRESS place, uint8_t byte, uint32_t size) {
    for (uint32_t i = 0; i < size; ++i)
        if (load_byte(machine, place + i) == byte) return place + i;
    return 0;
}

void call_memchr(GUEST_CALL& call) {
    const auto byte = static_cast<uint8_t>(int_argument(call, 1));
    give(call, find_byte(call.machine, word_argument(call, 0), byte, word_argument(call, 2)));
}

void call_rawmemchr(GUEST_CALL& call) {
    const auto byte = static_cast<uint8_t>(int_argument(call, 1));
    give(call, find_byte(call.machine, word_argument(call, 0), byte, UINT32_MAX));
}

void call_memrchr(GUEST_CALL& call) {
    const ADDRESS place = word_argument(call, 0);
    const auto byte = static_cast<uint8_t>(int_argument(call, 1));
    uint32_t size = word_argument(call, 2);
    while (size > 0 && load_byte(call.machine, place + size - 1) != byte) --size;
    give(call, size ? place + size - 1 : 0);
}

void call_memccpy(GUEST_CALL& call) {
    const ADDRESS to = word_argument(call, 0), from = word_argument(call, 1);
    const uint32_t size = word_argument(call, 3);
    const ADDRESS found = find_byte(call.machine, from, static_cast<uint8_t>(int_argument(call, 2)), size);
    const uint32_t copied = found ? found - from + 1 : size;
    copy_apart(call.machine, "memccpy", to, from, copied);
    give(call, found ? to + copied : 0);
}

void call_memmem(GUEST_CALL& call) {
    const ADDRESS place = word_argument(call, 0), wanted = word_argument(call, 2);
    const uint32_t size = word_argument(call, 1), wanted_size = word_argument(call, 3);
    if (wanted_size == 0) return give(call, place);
    if (wanted_size > size) return give(call, 0);
    const uint8_t* bytes = read_place(call.machine, place, size);
    const uint8_t* key = read_place(call.machine, wanted, wanted_size);
    const uint8_t* found = std::search(bytes, bytes + size, key, key + wanted_size);
    give(call, found == bytes + size ? 0 : place + (found - bytes));
}

void call_swab(GUEST_CALL& call) {
    const auto size = static_cast<uint32_t>(std::max(int_argument(call, 2), 0)) & ~1u;
    for (uint32_t i = 0; i < size; i += 2) {
        const auto pair = load<uint16_t>(call.machine, word_argument(call, 0) + i);
        store(call.machine, word_argument(call, 1) + i, static_cast<uint16_t>(pair << 8 | pair >> 8));
    }
}

const LIBRARY_ROW MEMORY_ROWS[] = {
    {"_memcpy", call_memcpy, CALL_EFFECT::INSIDE},
    {"_memmove", call_memmove, CALL_EFFECT::INSIDE},
    {"_memset", call_memset, CALL_EFFECT::INSIDE},
    {"_memcmp", call_memcmp, CALL_EFFECT::NONE},
    {"_memchr", call_memchr, CALL_EFFECT::NONE},
    {"_memrchr", call_memrchr, CALL_EFFECT::NONE},
    {"_rawmemchr", call_rawmemchr, CALL_EFFECT::NONE},
    {"_memmem", call_memmem, CALL_EFFECT::NONE},
    {"_mempcpy", call_mempcpy, CALL_EFFECT::INSIDE},
    {"___mempcpy", call_mempcpy, CALL_EFFECT::INSIDE},
    {"_memccpy", call_memccpy, CALL_EFFECT::INSIDE},
    {"_bcopy", call_bcopy, CALL_EFFECT::INSIDE},
    {"_bzero", call_bzero, CALL_EFFECT::INSIDE},
    {"_explicit_bzero", call_bzero, CALL_EFFECT::INSIDE},
    {"_bcmp", call_memcmp, CALL_EFFECT::NONE},
    {"_swab", call_swab, CALL_EFFECT::INSIDE},
    {"___memcpy_chk", call_memcpy_chk, CALL_EFFECT::INSIDE},
    {"___mempcpy_chk", call_mempcpy_chk, CALL_EFFECT::INSIDE},
    {"___memmove_chk", call_memmove_chk, CALL_EFFECT::INSIDE},
    {"___memset_chk", call_memset_chk, CALL_EFFECT::INSIDE},
    {"___aeabi_memcpy", call_memcpy, CALL_EFFECT::INSIDE},
    {"___aeabi_memcpy4", call_memcpy, CALL_EFFECT::INSIDE},
    {"___aeabi_memcpy8", call_memcpy, CALL_EFFECT::INSIDE},
    {"___aeabi_memmove", call_memmove, CALL_EFFECT::INSIDE},
    {"___aeabi_memmove4", call_memmove, CALL_EFFECT::INSIDE},
    {"___aeabi_memmove8", call_memmove, CALL_EFFECT::INSIDE},
    {"___aeabi_memset", call_aeabi_memset, CALL_EFFECT::INSIDE},
    {"___aeabi_memset4", call_aeabi_memset, CALL_EFFECT::INSIDE},
    {"___aeabi_memset8", call_aeabi_memset, CALL_EFFECT::INSIDE},
    {"___aeabi_memclr", call_bzero, CALL_EFFECT::INSIDE},
    {"___aeabi_memclr4", call_bzero, CALL_EFFECT::INSIDE},
    {"___aeabi_memclr8", call_bzero, CALL_EFFECT::INSIDE},
};

} // namespace

std::span<const LIBRARY_ROW> memory_functions() { return MEMORY_ROWS; }

} // namespace pelorus
