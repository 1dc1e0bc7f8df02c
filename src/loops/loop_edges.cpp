// The edges into and out of loops; see phases.h.
//
// A preheader is a block that enters a loop and does nothing else, so that what is put at its end happens
// once before the loop. An exit is a block that only its loop leads to, so that what is put at its start
// happens whenever the loop was left that way; a loop that is left together with one inside has the exit,
// too. Where there is no such block, one that only jumps is made; `simpcfg` removes it when the hierarchy is
// not wanted any more.
//
// Linear in the edges, and in the levels that an edge leaves.
#include <vector>

#include "cfg/graph_edit.h"
#include "loops/phases.h"
#include "memory/zone.h"
#include "support/decision.h"
#include "support/trace.h"

namespace pelorus {

namespace {

bool no_room() { return refuse(SITE_loop_hierarchy, "no further block can be numbered"); }

// --- Preheaders ---

std::vector<BB*> outside_predecessors(const LOOPREC* loop) {
    std::vector<BB*> outside;
    for (const BB_LIST* cell = loop->head->preds; cell; cell = cell->next)
        if (!loop_contains(loop, cell->block)) outside.push_back(cell->block);
    return outside;
}

BB* make_preheader(const LOOPREC* loop, const std::vector<BB*>& outside) {
    BB* const head = loop->head;
    trace("\t\tAdding preheader for loop #%d with header BB%d.\n", loop->number, head->dfn);
    BB* block = insert_jump_in_front(head);
    block->loop = loop->parent;
    add_to_contents(loop->parent, block);
    for (BB* source : outside)
        redirect_branch(source, [&](BB* target) { return target == head ? block : target; });
    return block;
}

bool add_preheader(LOOPREC* loop) {
    const std::vector<BB*> outside = outside_predecessors(loop);
    if (outside.size() == 1 && outside[0]->loop == loop->parent && has_one(outside[0]->succs)) {
        loop->preheader = outside[0];
        return true;
    }
    if (!has_room_for_block()) return no_room();
    loop->preheader = make_preheader(loop, outside);
    return true;
}

// --- Exits ---

// What is known of the blocks as exits, by creation number. Blocks that are made here get theirs behind.
struct EXIT_NOTES {
    struct NOTE {
        int16_t exit_of = 0;   // the last loop that the block was chosen for as an exit
        int16_t landed_by = 0; // the last loop that has an exit that only jumps to the block:
        BB* landing = nullptr; //   that exit
    };
    std::vector<NOTE> notes = std::vector<NOTE>(static_cast<size_t>(flow_graph.last_uon) + 1);

    NOTE& of(const BB* block) {
        if (block->uon >= notes.size()) notes.resize(size_t{block->uon} + 1);
        return notes[block->uon];
    }
};

bool begins_with_jump(const BB* block) { return block->stmts->tree->op == OP_BRANCH; }

void add_exit(LOOPREC* loop, BB* exit) {
    auto* cell = zone_new<BLOCK_CELL>(true);
    *cell = {exit, loop->exits};
    loop->exits = cell;
}

// Whatever else of the loop leads to where the exit only jumps to may use it as well. The first one found
// serves, since edges may lead there already.
void note_landing(EXIT_NOTES& notes, const LOOPREC* loop, BB* exit) {
    if (!begins_with_jump(exit)) return;
    EXIT_NOTES::NOTE& target = notes.of(only_of(exit->succs));
    if (target.landed_by == loop->number) return;
    target.landed_by = loop->number;
    target.landing = exit;
}

bool is_in_or_just_inside(const LOOPREC* loop, const BB* block) {
    return block->loop == loop || block->loop->parent == loop;
}

bool is_entered_from_loop_alone(const LOOPREC* loop, const BB* block) {
    for (const BB_LIST* cell = block->preds; cell; cell = cell->next)
        if (!is_in_or_just_inside(loop, cell->block)) return false;
    return true;
}

// A loop around that `target` heads and `block` closes gets the new block as its tail.
BB* make_landing(const BB* block, BB* target) {
    BB* landing = insert_jump_in_front(target);
    LOOPREC* loop = target->loop;
    landing->loop = loop;
    add_to_contents(loop, landing);
    if (loop->head == target && loop->tail == block) loop->tail = landing;
    return landing;
}

// The exit by which the edge from `block` leaves the loop for `target`; null when none can be made.
BB* exit_to(EXIT_NOTES& notes, const LOOPREC* loop, const BB* block, BB* target) {
    const EXIT_NOTES::NOTE& known = notes.of(target);
    if (known.exit_of == loop->number || is_entered_from_loop_alone(loop, target)) return target;
    if (known.landed_by == loop->number) return known.landing;
    return has_room_for_block() ? make_landing(block, target) : nullptr;
}

// The edge from `block` leaves the loop, and perhaps some around it. An exit of a loop inside stays that
// loop's alone, so that the jump in it serves no edge of those around.
void leave_loops(EXIT_NOTES& notes, LOOPREC* loop, const BB* block, BB* exit) {
    const bool is_known = notes.of(exit).exit_of == loop->number;
    for (LOOPREC* left = loop; !loop_contains(left, exit); left = left->parent) {
        if (!is_known) add_exit(left, exit);
        if (block != left->tail) left->flags |= LOOP_EARLY_EXIT;
    }
    if (is_known) return;
    notes.of(exit).exit_of = loop->number;
    note_landing(notes, loop, exit);
}

bool add_exits_of(EXIT_NOTES& notes, LOOPREC* loop, BB* block) {
    bool moves = false;
    for (const BB_LIST* cell = block->succs; cell; cell = cell->next) {
        BB* const target = cell->block;
        if (is_in_or_just_inside(loop, target)) continue;
        BB* const exit = exit_to(notes, loop, block, target);
        if (!exit) return no_room();
        leave_loops(notes, loop, block, exit);
        moves |= exit != target;
    }
    if (!moves) return true;
    redirect_branch(block, [&](BB* target) {
        const EXIT_NOTES::NOTE& note = notes.of(target);
        const bool is_moved = note.exit_of != loop->number && note.landed_by == loop->number;
        return is_moved && !is_in_or_just_inside(loop, target) ? note.landing : target;
    });
    return true;
}

bool add_exits_of(EXIT_NOTES& notes, LOOPREC* loop) {
    for (const BLOCK_CELL* cell = loop->contents; cell; cell = cell->next)
        if (cell->block->loop == loop && !add_exits_of(notes, loop, cell->block)) return false;
    return true;
}

template <class F>
bool all_inner_first(LOOPREC* root, F holds) {
    bool all = true;
    for_each_loop_inside_first(root, [&](LOOPREC* loop) { all = all && (loop == root || holds(loop)); });
    return all;
}

} // namespace

bool add_preheaders(LOOPREC* root) { return all_inner_first(root, add_preheader); }

bool add_exits(LOOPREC* root) {
    EXIT_NOTES notes;
    return all_inner_first(root, [&](LOOPREC* loop) { return add_exits_of(notes, loop); });
}

} // namespace pelorus
