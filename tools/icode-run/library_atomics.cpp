// Atomic operations of the compiler's library: `__sync_<what>_<size>` and `__atomic_<what>_<size>`. The
// machine runs one thread, so that each of them is a plain one, and the memory orders say nothing.
#include <string>

#include "library_call.h"

namespace pelorus {

namespace {

enum class CHANGE : uint8_t { ADD, SUBTRACT, OR, AND, XOR, NAND };
enum class WANTED : uint8_t { OLD, NEW };

template <typename T>
T changed(CHANGE change, T old, T operand) {
    switch (change) {
    case CHANGE::ADD: return static_cast<T>(old + operand);
    case CHANGE::SUBTRACT: return static_cast<T>(old - operand);
    case CHANGE::OR: return static_cast<T>(old | operand);
    case CHANGE::AND: return static_cast<T>(old & operand);
    case CHANGE::XOR: return static_cast<T>(old ^ operand);
    case CHANGE::NAND: return static_cast<T>(~(old & operand));
    }
    return old;
}

// The object of an operation, which must be aligned as its size asks for.
template <typename T>
ADDRESS place_of(GUEST_CALL& call) {
    const ADDRESS place = word_argument(call, 0);
    if (place % sizeof(T) != 0)
        trap(call.machine, "the object is not aligned to %u bytes: %s", static_cast<unsigned>(sizeof(T)),
             describe_address(memory_of(call.machine), place).c_str());
    return place;
}

template <typename T, CHANGE HOW, WANTED WHICH>
void call_change(GUEST_CALL& call) {
    const ADDRESS place = place_of<T>(call);
    const T old = load<T>(call.machine, place);
    const T made = changed(HOW, old, static_cast<T>(wide_argument(call, 1)));
    store(call.machine, place, made);
    give_as(call, WHICH == WANTED::OLD ? old : made);
}

template <typename T>
void call_exchange(GUEST_CALL& call) {
    const ADDRESS place = place_of<T>(call);
    const T old = load<T>(call.machine, place);
    store(call.machine, place, static_cast<T>(wide_argument(call, 1)));
    give_as(call, old);
}

template <typename T>
void call_load(GUEST_CALL& call) {
    give_as(call, load<T>(call.machine, place_of<T>(call)));
}

template <typename T>
void call_store(GUEST_CALL& call) {
    store(call.machine, place_of<T>(call), static_cast<T>(wide_argument(call, 1)));
}

template <typename T>
void call_release(GUEST_CALL& call) {
    store(call.machine, place_of<T>(call), T{0});
}

// Stores `wanted` when the object holds `expected`; gives what it held.
template <typename T>
T swapped(GUEST_CALL& call, T expected, T wanted) {
    const ADDRESS place = place_of<T>(call);
    const T old = load<T>(call.machine, place);
    if (old == expected) store(call.machine, place, wanted);
    return old;
}

template <typename T>
void call_swap_value(GUEST_CALL& call) {
    give_as(call,
            swapped(call, static_cast<T>(wide_argument(call, 1)), static_cast<T>(wide_argument(call, 2))));
}

template <typename T>
void call_swap_bool(GUEST_CALL& call) {
    const T expected = static_cast<T>(wide_argument(call, 1));
    give(call, swapped(call, expected, static_cast<T>(wide_argument(call, 2))) == expected);
}

template <typename T>
void call_swap_expected(GUEST_CALL& call) {
    const ADDRESS expected_at = word_argument(call, 1);
    const T expected = load<T>(call.machine, expected_at);
    const T old = swapped(call, expected, static_cast<T>(wide_argument(call, 2)));
    if (old != expected) store(call.machine, expected_at, old);
    give(call, old == expected);
}

void call_barrier(GUEST_CALL&) {}

// Objects of any size: the size comes first, values are handed over by their addresses.
void copy_object(GUEST_CALL& call, uint32_t to, uint32_t from) {
    const uint32_t size = word_argument(call, 0);
    if (size == 0) return;
    const uint8_t* source = read_place(call.machine, word_argument(call, from), size);
    std::memmove(write_place(call.machine, word_argument(call, to), size), source, size);
}

void call_generic_load(GUEST_CALL& call) { copy_object(call, 2, 1); }
void call_generic_store(GUEST_CALL& call) { copy_object(call, 1, 2); }

void call_generic_exchange(GUEST_CALL& call) {
    copy_object(call, 3, 1);
    copy_object(call, 1, 2);
}

void call_generic_compare(GUEST_CALL& call) {
    const uint32_t size = word_argument(call, 0);
    const uint8_t* object = read_place(call.machine, word_argument(call, 1), size);
    const uint8_t* expected = read_place(call.machine, word_argument(call, 2), size);
    const bool equal = std::memcmp(object, expected, size) == 0;
    if (equal)
        copy_object(call, 1, 3);
    else
        copy_object(call, 2, 1);
    give(call, equal);
}

void call_is_lock_free(GUEST_CALL& call) {
    const uint32_t size = word_argument(call, 0);
    give(call, size == 1 || size == 2 || size == 4 || size == 8);
}

#define ROWS_OF_SIZES(NAME, FORM, ...)                                                                       \
    {NAME "_1", FORM<uint8_t __VA_OPT__(, ) __VA_ARGS__>, CALL_EFFECT::INSIDE},                              \
        {NAME "_2", FORM<uint16_t __VA_OPT__(, ) __VA_ARGS__>, CALL_EFFECT::INSIDE},                         \
        {NAME "_4", FORM<uint32_t __VA_OPT__(, ) __VA_ARGS__>, CALL_EFFECT::INSIDE}, {                       \
        NAME "_8", FORM<uint64_t __VA_OPT__(, ) __VA_ARGS__>, CALL_EFFECT::INSIDE                            \
    }
#define ROWS_OF_CHANGE(NAME, HOW)                                                                            \
    ROWS_OF_SIZES("___sync_fetch_and_" NAME, call_change, CHANGE::HOW, WANTED::OLD),                         \
        ROWS_OF_SIZES("___sync_" NAME "_and_fetch", call_change, CHANGE::HOW, WANTED::NEW),                  \
        ROWS_OF_SIZES("___atomic_fetch_" NAME, call_change, CHANGE::HOW, WANTED::OLD),                       \
        ROWS_OF_SIZES("___atomic_" NAME "_fetch", call_change, CHANGE::HOW, WANTED::NEW)

const LIBRARY_ROW ATOMIC_ROWS[] = {
    ROWS_OF_CHANGE("add", ADD),
    ROWS_OF_CHANGE("sub", SUBTRACT),
    ROWS_OF_CHANGE("or", OR),
    ROWS_OF_CHANGE("and", AND),
    ROWS_OF_CHANGE("xor", XOR),
    ROWS_OF_CHANGE("nand", NAND),
    ROWS_OF_SIZES("___sync_val_compare_and_swap", call_swap_value),
    ROWS_OF_SIZES("___sync_bool_compare_and_swap", call_swap_bool),
    ROWS_OF_SIZES("___sync_lock_test_and_set", call_exchange),
    ROWS_OF_SIZES("___sync_lock_release", call_release),
    ROWS_OF_SIZES("___atomic_load", call_load),
    ROWS_OF_SIZES("___atomic_store", call_store),
    ROWS_OF_SIZES("___atomic_exchange", call_exchange),
    ROWS_OF_SIZES("___atomic_compare_exchange", call_swap_expected),
    {"___sync_synchronize", call_barrier, CALL_EFFECT::INSIDE},
    {"___atomic_thread_fence", call_barrier, CALL_EFFECT::INSIDE},
    {"___atomic_load", call_generic_load, CALL_EFFECT::INSIDE},
    {"___atomic_store", call_generic_store, CALL_EFFECT::INSIDE},
    {"___atomic_exchange", call_generic_exchange, CALL_EFFECT::INSIDE},
    {"___atomic_compare_exchange", call_generic_compare, CALL_EFFECT::INSIDE},
    {"___atomic_is_lock_free", call_is_lock_free, CALL_EFFECT::NONE},
    {"___builtin_atomic_load_8", call_load<uint64_t>, CALL_EFFECT::INSIDE},
};

} // namespace

std::span<const LIBRARY_ROW> atomic_functions() { return ATOMIC_ROWS; }

} // namespace pelorus
