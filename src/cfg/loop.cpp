// See loop.h.
#include "cfg/loop.h"

#include <cstring>

#include "cfg/facts.h"
#include "memory/zone.h"
#include "support/checking.h"
#include "support/fatal.h"

namespace pelorus {

LOOPREC* new_loop(int16_t number, BB* head, BB* tail) {
    auto* loop = zone_new<LOOPREC>(true);
    loop->number = number;
    loop->head = head;
    loop->tail = tail;
    loop->level = NO_LEVEL_YET;
    loop->trip_factor = 1;
    loop->sibling_clone = NO_SIBLING_CLONE;
    loop->max_unroll = MOST_UNROLLING;
    loop->trips_max = UINT64_MAX;
    return loop;
}

namespace {

// A list of records that are chained by `next`, each made by `copy_cell`.
template <class T, class F>
T* copy_list(const T* list, F copy_cell) {
    T* first = nullptr;
    T** end = &first;
    for (; list; list = list->next) {
        T* cell = zone_new<T>(true);
        *cell = *list;
        copy_cell(cell);
        cell->next = nullptr;
        *end = cell;
        end = &cell->next;
    }
    return first;
}

template <class T>
T* copy_list(const T* list) {
    return copy_list(list, [](T*) {});
}

void copy_in_place(NODE*& tree) {
    if (tree) tree = copy_tree(tree);
}

void copy_trees(INDUCTION* induction) {
    for (NODE* INDUCTION::* const tree : {&INDUCTION::increment, &INDUCTION::scale, &INDUCTION::offset,
                                          &INDUCTION::initial, &INDUCTION::final})
        copy_in_place(induction->*tree);
}

} // namespace

LOOPREC* copy_loop(const LOOPREC* pattern, int16_t number, BB* head, BB* tail) {
    auto* loop = zone_new<LOOPREC>(true);
    *loop = *pattern;
    if (number) loop->number = number;
    if (head) loop->head = head;
    if (tail) loop->tail = tail;
    loop->first_inner = loop->next = nullptr;
    loop->contents = copy_list(pattern->contents);
    loop->exits = copy_list(pattern->exits);
    loop->inductions = copy_list(pattern->inductions, copy_trees);
    for (SYMBOL_CELL* LOOPREC::* const list :
         {&LOOPREC::region_constants, &LOOPREC::altered, &LOOPREC::variant_conditions})
        loop->*list = copy_list(pattern->*list);
    loop->advice = copy_list(pattern->advice);
    for (NODE* LOOPREC::* const tree : {&LOOPREC::LCV_test, &LOOPREC::LCV_increment, &LOOPREC::LCV_initial,
                                        &LOOPREC::LCV_last, &LOOPREC::trips})
        copy_in_place(loop->*tree);
    return loop;
}

LOOPREC* root_loop() {
    if (fact_is_valid(FACT_loops)) return flow_graph.root_loop;
    if (CHECKING_BUILD && flow_graph.root_loop)
        fatal_error("INTERNAL ERROR: a loop hierarchy is used that no longer holds\n");
    return nullptr;
}

// The root stays noted, so that a use of it is found out.
void forget_loops() {
    for (BB* block = flow_graph.all_blocks; block; block = block->all_link) {
        block->loop = nullptr;
        block->loop_depth = 0;
    }
}

bool is_around(const LOOPREC* loop, const LOOPREC* other) {
    while (other && other != loop) other = other->parent;
    return other != nullptr;
}

int compare_positions(const POSITION& a, const POSITION& b) {
    if (&a == &b || !a.present() || !b.present()) return 0;
    if (a.file != b.file)
        if (const int order = strcmp(position_file(a), position_file(b))) return order;
    const auto compare = [](uint32_t x, uint32_t y) { return x < y ? -1 : x > y ? 1 : 0; };
    const int lines = compare(a.line, b.line);
    return lines ? lines : compare(a.column, b.column);
}

} // namespace pelorus
