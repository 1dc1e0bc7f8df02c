// Finding the natural loops of the graph; see phases.h.
//
// Each edge back to a header that dominates its source closes a loop: the header, and all blocks that reach
// the source without passing it. The loops are found from the last header to the first, so that inner ones
// come before those around them; a loop found earlier is taken into a later one as a whole. A source of an
// edge back that lies in a loop further inside gets a block between, so that each loop has a tail of its
// own: `while (a) { s; while (b) t; }` looks like that, since the test of b leads back to that of a. A jump
// into a loop past its header, or a header of two loops, leaves the function without any.
//
// Each edge is followed once for the loop that takes its blocks, and once for each loop that takes these as a
// whole. Aho, Lam, Sethi, Ullman: Compilers, 2nd edition, section 9.6.
#include <algorithm>
#include <vector>

#include "cfg/dominators.h"
#include "cfg/graph_edit.h"
#include "loops/phases.h"
#include "memory/zone.h"
#include "support/decision.h"

namespace pelorus {

void add_to_contents(LOOPREC* loop, BB* block) {
    auto* cell = zone_new<BLOCK_CELL>(true);
    *cell = {block, loop->contents};
    loop->contents = cell;
}

namespace {

struct BACK_EDGE {
    BB* tail;
    BB* head;
};

// The one with the last header first. The sorting keeps the order of the tails.
std::vector<BACK_EDGE> find_back_edges() {
    std::vector<BACK_EDGE> edges;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        sort_successors(block);
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
            if (cell->block->dfn <= block->dfn) edges.push_back({block, cell->block});
    }
    std::stable_sort(edges.begin(), edges.end(),
                     [](const BACK_EDGE& a, const BACK_EDGE& b) { return a.head->dfn > b.head->dfn; });
    return edges;
}

void widen(POSITION& start, POSITION& end, const POSITION& first, const POSITION& last) {
    if (!start.present() || compare_positions(first, start) < 0) start = first;
    if (!end.present() || compare_positions(last, end) > 0) end = last;
}

void join(LOOPREC* loop, BB* block) {
    block->loop = loop;
    add_to_contents(loop, block);
    widen(loop->source_start, loop->source_end, block->stmts->position, block->last_stmt->position);
}

LOOPREC* outermost(LOOPREC* loop) {
    while (loop->parent) loop = loop->parent;
    return loop;
}

// What the block brings into the loop: itself, or the header of the loop that it belongs to already. Null
// when it is inside.
BB* take(LOOPREC* loop, BB* block) {
    if (!block->loop) {
        join(loop, block);
        return block;
    }
    LOOPREC* inner = outermost(block->loop);
    if (inner == loop) return nullptr;
    inner->parent = loop;
    add_to_contents(loop, inner->head);
    return inner->head;
}

void collect_body(LOOPREC* loop) {
    std::vector<BB*> waiting{loop->tail};
    while (!waiting.empty()) {
        BB* block = take(loop, waiting.back());
        waiting.pop_back();
        if (!block) continue;
        for (const BB_LIST* cell = block->preds; cell; cell = cell->next)
            if (cell->block->loop != loop && cell->block->loop != block->loop) waiting.push_back(cell->block);
    }
}

// One that it does not close; loops around are found later.
bool is_in_inner_loop(const BB* tail) { return tail->loop && tail->loop->tail != tail; }

// Why the edge closes no loop of its own; null when it does.
const char* why_no_loop(const BACK_EDGE& edge) {
    if (!dominates(edge.head, edge.tail)) return "a block jumps back into a loop past its header";
    if (edge.head->loop) return "two loops share a header";
    return is_in_inner_loop(edge.tail) && !has_room_for_block() ? "no further block can be numbered"
                                                                : nullptr;
}

void split(BACK_EDGE& edge) {
    BB* between = insert_jump_behind(edge.tail, edge.head);
    redirect_branch(edge.tail, [&](BB* target) { return target == edge.head ? between : target; });
    edge.tail = between;
}

bool find_loop(BACK_EDGE edge, int16_t number) {
    stand_at(edge.tail);
    if (const char* why = why_no_loop(edge))
        return refuse(SITE_loop_hierarchy, why, "{} to {}", edge.tail, edge.head);
    if (is_in_inner_loop(edge.tail)) split(edge);
    LOOPREC* loop = new_loop(number, edge.head, edge.tail);
    join(loop, edge.head);
    if (edge.tail != edge.head) collect_body(loop);
    return true;
}

// All that is in no loop is the root's.
LOOPREC* make_root(int16_t number) {
    LOOPREC* root = new_loop(number, nullptr, nullptr);
    for (BB* block = flow_graph.bb_list->rdflink;; block = block->rdflink) {
        if (!block->loop) {
            if (!root->tail) root->tail = block;
            join(root, block);
        } else if (block->loop->head == block && !block->loop->parent) {
            block->loop->parent = root;
            add_to_contents(root, block);
        }
        if (block == flow_graph.bb_list) return root;
    }
}

} // namespace

LOOPREC* find_loops() {
    int16_t number = 0;
    for (const BACK_EDGE& edge : find_back_edges())
        if (!find_loop(edge, ++number)) {
            forget_loops();
            return nullptr;
        }
    return make_root(++number);
}

} // namespace pelorus
