// qsort and its kin, which call functions of the program.
//
// Elements are sorted by merging halves, the left one the smaller when their number is odd, so that the
// comparisons come in the order in which the target's C library makes them, and equal elements stay in order.
#include <vector>

#include "library_call.h"

namespace pelorus {

namespace {

struct ORDER {
    GUEST_CALL& call;
    ADDRESS compare;
    const GUEST_VALUE* context; // what qsort_r hands on, or null
};

GUEST_VALUE pointer_value(ADDRESS address) {
    GUEST_VALUE value;
    value.kind = GUEST_VALUE::POINTER;
    value.size = 4;
    value.address = address;
    return value;
}

int32_t compare(const ORDER& order, ADDRESS a, ADDRESS b) {
    std::vector<GUEST_VALUE> arguments = {pointer_value(a), pointer_value(b)};
    if (order.context) arguments.push_back(*order.context);
    GUEST_VALUE wanted;
    wanted.kind = GUEST_VALUE::INTEGER;
    wanted.size = 4;
    return static_cast<int32_t>(call_guest(order.call.machine, order.compare, arguments, wanted).integer);
}

struct RUN_OF_ELEMENTS {
    ADDRESS first;
    uint32_t count;
};

void take(MACHINE& machine, RUN_OF_ELEMENTS& run, uint32_t count, uint32_t size,
          std::vector<uint8_t>& merged) {
    if (count == 0) return;
    const uint8_t* bytes = read_place(machine, run.first, count * size);
    merged.insert(merged.end(), bytes, bytes + size_t{count} * size);
    run.first += count * size;
    run.count -= count;
}

// `merged` is room that all levels share; it is empty between them.
void merge_sort(const ORDER& order, RUN_OF_ELEMENTS all, uint32_t size, std::vector<uint8_t>& merged) {
    if (all.count < 2) return;
    RUN_OF_ELEMENTS left{all.first, all.count / 2};
    RUN_OF_ELEMENTS right{all.first + left.count * size, all.count - left.count};
    merge_sort(order, left, size, merged);
    merge_sort(order, right, size, merged);
    MACHINE& machine = order.call.machine;
    merged.clear();
    while (left.count && right.count)
        take(machine, compare(order, left.first, right.first) <= 0 ? left : right, 1, size, merged);
    take(machine, left, left.count, size, merged); // what is left of the right half lies where it belongs
    if (!merged.empty())
        std::memcpy(write_place(machine, all.first, static_cast<uint32_t>(merged.size())), merged.data(),
                    merged.size());
}

void sort(GUEST_CALL& call, const GUEST_VALUE* context) {
    const RUN_OF_ELEMENTS all{word_argument(call, 0), word_argument(call, 1)};
    const uint32_t size = word_argument(call, 2);
    if (all.count == 0 || size == 0) return;
    if (uint64_t{all.count} * size > UINT32_MAX) trap(call.machine, "qsort: the array has more than 4 GB");
    write_place(call.machine, all.first, all.count * size); // before the first comparison
    std::vector<uint8_t> merged;
    merge_sort({call, word_argument(call, 3), context}, all, size, merged);
}

void call_qsort(GUEST_CALL& call) { sort(call, nullptr); }

void call_qsort_r(GUEST_CALL& call) {
    const GUEST_VALUE context = argument(call, 4);
    sort(call, &context);
}

void call_bsearch(GUEST_CALL& call) {
    const ORDER order{call, word_argument(call, 4), nullptr};
    const ADDRESS key = word_argument(call, 0), first = word_argument(call, 1);
    const uint32_t size = word_argument(call, 3);
    uint32_t low = 0, high = word_argument(call, 2);
    while (low < high) {
        const uint32_t middle = low + (high - low) / 2;
        const ADDRESS element = first + middle * size;
        const int32_t answer = compare(order, key, element);
        if (answer == 0) return give(call, element);
        if (answer < 0)
            high = middle;
        else
            low = middle + 1;
    }
    give(call, 0);
}

const LIBRARY_ROW SORTING_ROWS[] = {
    {"_qsort", call_qsort, CALL_EFFECT::INSIDE},
    {"_qsort_r", call_qsort_r, CALL_EFFECT::INSIDE},
    {"_bsearch", call_bsearch, CALL_EFFECT::INSIDE},
};

} // namespace

std::span<const LIBRARY_ROW> sorting_functions() { return SORTING_ROWS; }

} // namespace pelorus
