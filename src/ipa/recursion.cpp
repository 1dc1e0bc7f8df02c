// See recursion.h.
//
//   1. Each function's vector starts with the functions that it calls by name. Calls through pointers go to a
//      node that stands for all functions whose address is taken, calls out of the file to the
//      pseudo-function, which calls back what outside can call.
//   2. The vectors are closed under union, callees first, until nothing changes: one sweep and one that finds
//      nothing for a file without recursion.
//   3. A function that reaches itself is listed.
//
// A function of the C library may call whatever its caller's program holds, so that a caller of one reaches
// every function unless the file is the whole program.
#include "ipa/recursion.h"

#include <vector>

#include "cfg/bitvec.h"
#include "ipa/call_graph.h"
#include "ipa/file_level.h"
#include "ipa/reports.h"
#include "support/internal_error.h"

namespace pelorus {

namespace {

struct CLOSURE {
    std::vector<bitvec> rows;                 // by node
    std::vector<std::vector<uint32_t>> calls; // by node
    uint32_t by_pointer = 0;                  // the node of calls through pointers
    uint32_t outside = 0;                     // the node of the pseudo-function

    explicit CLOSURE(uint32_t functions)
        : rows(functions + 3), calls(rows.size()), by_pointer(functions + 1), outside(functions + 2) {
        for (bitvec& row : rows) bv_init(&row, static_cast<uint32_t>(rows.size()), nullptr, false);
    }
    CLOSURE(const CLOSURE&) = delete;
    CLOSURE& operator=(const CLOSURE&) = delete;
    ~CLOSURE() {
        for (bitvec& row : rows) bv_free(&row);
    }
};

void add_call(CLOSURE& closure, uint32_t caller, uint32_t callee) {
    bitvec& row = closure.rows[caller];
    if (callee >= row.n_bits) {
        internal_error("Index beyond size");
        bv_resize(&row, callee + 1);
    }
    bv_set(&row, callee);
    closure.calls[caller].push_back(callee);
}

void start_function(CLOSURE& closure, const FUNINFO& info) {
    const uint32_t node = info.number;
    for (const FUNCTION_REFERENCE* callee = info.callees; callee; callee = callee->next)
        if (callee->function->number != NO_CALL_GRAPH_NUMBER)
            add_call(closure, node, callee->function->number);
    if (info.flags & FUN_calls_anonymous) add_call(closure, node, closure.by_pointer);
    if (info.flags & FUN_is_anonymous) add_call(closure, closure.by_pointer, node);
    if (file_level.use_pseudo_function && (info.flags & FUN_calls_OUTSIDE))
        add_call(closure, node, closure.outside);
    if (!file_level.whole_program) {
        if (info.flags & FUN_is_extern) add_call(closure, closure.outside, node);
        if (info.flags & FUN_calls_SYSTEM) bv_fill(&closure.rows[node], true);
    }
}

void start(CLOSURE& closure) {
    for (const FUNINFO* info : file_level.functions) start_function(closure, *info);
    add_call(closure, closure.outside, closure.by_pointer); // outside has the addresses that it was given
    add_call(closure, closure.by_pointer, closure.outside); // and a pointer may lead out of the file
}

bool sweep(CLOSURE& closure) {
    bool changed = false;
    for (size_t node = closure.rows.size(); node-- > 0;)
        for (const uint32_t callee : closure.calls[node])
            if (callee != node) changed |= bv_union(&closure.rows[node], &closure.rows[callee]);
    return changed;
}

} // namespace

void report_recursion() {
    CLOSURE closure(file_level.node_count);
    start(closure);
    while (sweep(closure)) {
    }
    bool found = false;
    for (const FUNINFO* info : file_level.functions) {
        if (!bv_test(&closure.rows[info->number], info->number)) continue;
        if (!found) report("\nThese functions may be recursive:\n");
        found = true;
        report("\t%s()\n", info->name);
    }
}

} // namespace pelorus
