// Checks that a program makes itself of what was found out about its loops: `--debug=check_trips`.
//
//     preheader:  n = 0; expected = trips            a tree, evaluated there
//     tail:       n = n + 1
//     exit:       (n != expected) && *(volatile int *)0;  and so on for the bounds and the final values
//
// Whatever runs the program then finds a wrong claim. Only exits to which the test of the loop alone leads
// are checked, since the claims are about them.
#include "cfg/graph_edit.h"
#include "cfg/statement_edit.h"
#include "ir/symbol.h"
#include "loops/transforms.h"
#include "support/decision.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

struct CHECKED {
    const LOOPREC* loop;
    BB* exit;
    SYMBOL* trips; // counted while the program runs
};

NODE* use(SYMBOL* symbol) { return new_name(symbol, symbol->type); }

void assign(BB* block, SYMBOL* symbol, NODE* value) {
    insert_before_ending(block, new_binary(OP_ASG, symbol->type, use(symbol), value));
}

// The program goes wrong at the exit unless the two are equal under the relation.
void demand(const CHECKED& checked, int32_t relation, NODE* left, NODE* right) {
    TYPE* const int_type = type_package()->int_type();
    TYPE* const unreadable = type_package()->make_qualified(int_type, Q_VOLATILE);
    NODE* nowhere =
        new_unary(OP_PCONV, type_package()->make_pointer(unreadable), new_icon(int_type, int96_signed(0)));
    NODE* fails = new_binary(opcode_fact(relation).complement, int_type, left, right);
    NODE* statement = new_binary(OP_ANDAND, int_type, fails, new_unary(OP_UMULT, unreadable, nowhere));
    insert_before(checked.exit, checked.exit->stmts, statement, checked.exit->stmts->position);
}

// The block that the loop's test leads to, and nothing else; null when there is none.
BB* own_exit(const LOOPREC* loop) {
    BB* test = ending_tree(loop->tail)->op == OP_IF ? loop->tail : loop->head;
    for (const BB_LIST* cell = test->succs; cell; cell = cell->next)
        if (!loop_contains(loop, cell->block)) return has_one(cell->block->preds) ? cell->block : nullptr;
    return nullptr;
}

// Bounds are those of 64-bit numbers; the count is compared where it cannot have wrapped.
void demand_bounds(const CHECKED& checked) {
    const LOOPREC* loop = checked.loop;
    TYPE* const type = checked.trips->type;
    const uint64_t most = (uint64_t{1} << (type_bits(type) - 1)) - 1;
    if (loop->trips_min && loop->trips_min < most)
        demand(checked, OP_UGE, use(checked.trips), new_wrapped_icon(type, loop->trips_min));
    if (loop->trips_max < most)
        demand(checked, OP_ULE, use(checked.trips), new_wrapped_icon(type, loop->trips_max));
    if (loop->trip_factor > 1 && loop->trips_max < most) {
        NODE* rest = new_binary(OP_MOD, type, use(checked.trips),
                                new_wrapped_icon(type, static_cast<uint64_t>(loop->trip_factor)));
        demand(checked, OP_EQ, rest, new_wrapped_icon(type, uint64_t{0}));
    }
}

void demand_final_values(const CHECKED& checked) {
    for (const INDUCTION* induction = checked.loop->inductions; induction; induction = induction->next)
        if (induction->final && induction->final->type == induction->symbol->type)
            demand(checked, OP_EQ, use(induction->symbol), copy_tree(induction->final));
}

bool add_check(const LOOPREC* loop) {
    BB* exit = loop->LCV ? own_exit(loop) : nullptr;
    const bool claims = loop->trips || loop->trips_min || loop->trips_max != UINT64_MAX;
    if (!exit || !claims) return false;
    stand_at(exit);
    if (!change(SITE_check_trips, "loop #{}", loop->number)) return false;
    TYPE* const type = loop->trips ? loop->trips->type : type_package()->int_type();
    const CHECKED checked{loop, exit, new_temporary('V', type, -1)};
    demand_bounds(checked);
    demand_final_values(checked);
    if (loop->trips) {
        SYMBOL* expected = new_temporary('V', type, -1);
        assign(loop->preheader, expected, copy_tree(loop->trips));
        demand(checked, OP_EQ, use(checked.trips), use(expected));
    }
    assign(loop->preheader, checked.trips, new_wrapped_icon(type, uint64_t{0}));
    assign(loop->tail, checked.trips,
           new_binary(OP_PLUS, type, use(checked.trips), new_wrapped_icon(type, uint64_t{1})));
    return true;
}

} // namespace

bool check_trips(LOOPREC* root) {
    bool changed = false;
    for_each_loop(root, [&](const LOOPREC* loop) {
        if (loop != root) changed |= add_check(loop);
    });
    if (changed) symbols_changed();
    return changed;
}

} // namespace pelorus
