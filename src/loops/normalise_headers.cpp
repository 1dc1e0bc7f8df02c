// Giving each loop header one back edge; see phases.h.
//
//     two back edges: two loops             three or more: one loop
//
//          |                 |                  |                |
//       .->H<-.        .---->N             .-.->H<-.          .->H
//       |  |  |        |     |             | |  |  |          |  |
//       |  a  b=L      |  .->H             | |  a  b          |  a  b ...
//       '--'  |        |  |  |             | '--'  |          |  '->N<-'
//             ...      |  a  b=L           '--...             '-----'
//                      |  '--'
//                      '-----'
//
// Two back edges are most often two loops that share their header since nothing stood between them: the one
// with the later end is the outer one. Of three or more that is anybody's guess. A block that closes two
// loops by one test gets a block of its own for the outer one, so that the loops do not share their tail.
#include <algorithm>
#include <vector>

#include "cfg/graph_edit.h"
#include "loops/phases.h"
#include "support/decision.h"

namespace pelorus {

namespace {

// The sources of the back edges into the block.
std::vector<BB*> back_edges(const BB* head) {
    std::vector<BB*> sources;
    for (const BB_LIST* cell = head->preds; cell; cell = cell->next)
        if (cell->block->dfn >= head->dfn) sources.push_back(cell->block);
    return sources;
}

BB* last_of(const std::vector<BB*>& blocks) {
    return *std::max_element(blocks.begin(), blocks.end(),
                             [](const BB* a, const BB* b) { return a->dfn < b->dfn; });
}

void lead_to(const std::vector<BB*>& sources, const BB* old_target, BB* target) {
    for (BB* source : sources)
        redirect_branch(source, [&](BB* block) { return block == old_target ? target : block; });
}

void make_outer_header(BB* head, const std::vector<BB*>& back) {
    std::vector<BB*> entering{last_of(back)};
    for (const BB_LIST* cell = head->preds; cell; cell = cell->next)
        if (cell->block->dfn < head->dfn) entering.push_back(cell->block);
    BB* outer = insert_jump_in_front(head);
    number_last(outer);
    lead_to(entering, head, outer);
}

void make_common_tail(BB* head, const std::vector<BB*>& back) {
    lead_to(back, head, insert_jump_behind(last_of(back), head));
}

// The outer of the two loops that the block closes; null when it closes fewer.
BB* outer_of_two(const BB* block) {
    if (!has_two(block->succs) || ending_tree(block)->op != OP_IF) return nullptr;
    BB* first = block->succs->block;
    BB* second = block->succs->next->block;
    if (first->dfn > block->dfn || second->dfn > block->dfn) return nullptr;
    return first->dfn < second->dfn ? first : second;
}

bool normalise(BB* block) {
    const std::vector<BB*> back = back_edges(block);
    if (back.size() == 2)
        make_outer_header(block, back);
    else if (back.size() > 2)
        make_common_tail(block, back);
    BB* outer = outer_of_two(block);
    if (outer) lead_to({block}, outer, insert_jump_behind(block, outer));
    return back.size() > 1 || outer;
}

} // namespace

bool normalise_headers() {
    bool changed = false;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        // A block may need two.
        if (flow_graph.last_uon + 2 > MOST_BLOCKS)
            return refuse(SITE_loop_hierarchy, "no further block can be numbered");
        changed |= normalise(block);
    }
    if (changed) renumber_cfg();
    return true;
}

} // namespace pelorus
