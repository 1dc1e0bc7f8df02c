// Dominators by another method than those that are stored, to compare with; see dominators.h.
//
// The blocks are put in the reverse postorder of a search from all roots. Each block's immediate dominator is
// where the ways up from its predecessors meet, and these ways lead over the immediate dominators found so
// far, until none changes. This is fast where few ways lead across the nesting of loops, as in most programs,
// and shares neither code nor method with the other two computations.
//
// Cooper, Harvey, Kennedy: A Simple, Fast Dominance Algorithm. 2001.
#include "cfg/dominators.h"

#include <algorithm>

#include "cfg/bitvec.h"
#include "support/hash.h"

namespace pelorus {

namespace {

// Places are the positions in reverse postorder, from 1; 0 is a place above all roots.
struct CHECK_TREE {
    DIRECTION direction;
    std::vector<const BB*> order{nullptr}; // by place
    std::vector<size_t> place;             // by block number; 0: not reached
    std::vector<size_t> idom;              // by place

    const BB_LIST* onward(const BB* block) const {
        return direction == FORWARD ? block->succs : block->preds;
    }
    const BB_LIST* backward(const BB* block) const {
        return direction == FORWARD ? block->preds : block->succs;
    }
    size_t& place_of(const BB* block) { return place[static_cast<size_t>(block->dfn)]; }
};

constexpr size_t SEEN = SIZE_MAX; // has no place yet

// Puts what can be reached from the root, and has not been reached yet, at the end in postorder.
void search_from(CHECK_TREE& tree, const BB* root) {
    struct STEP {
        const BB* block;
        const BB_LIST* left;
    };
    std::vector<STEP> path;
    const auto enter = [&](const BB* block) {
        if (tree.place_of(block)) return;
        tree.place_of(block) = SEEN;
        path.push_back({block, tree.onward(block)});
    };
    enter(root);
    while (!path.empty()) {
        if (const BB_LIST* edge = path.back().left) {
            path.back().left = edge->next;
            enter(edge->block);
        } else {
            tree.order.push_back(path.back().block);
            path.pop_back();
        }
    }
}

size_t meeting_place(const CHECK_TREE& tree, size_t a, size_t b) {
    while (a != b) {
        while (a > b) a = tree.idom[a];
        while (b > a) b = tree.idom[b];
    }
    return a;
}

// The ways from the places furthest from the root come first, so that where many lie on one way it is not
// gone for each of them.
size_t new_dominator(CHECK_TREE& tree, size_t place, std::vector<size_t>& starts) {
    starts.clear();
    for (const BB_LIST* edge = tree.backward(tree.order[place]); edge; edge = edge->next) {
        const size_t from = tree.place_of(edge->block);
        if (from && tree.idom[from] != SEEN) starts.push_back(from);
    }
    std::sort(starts.rbegin(), starts.rend());
    size_t found = starts.front(); // the search came from one of them
    for (const size_t start : starts) found = meeting_place(tree, found, start);
    return found;
}

void settle_tree(CHECK_TREE& tree) {
    std::vector<size_t> starts;
    for (bool changed = true; changed;) {
        changed = false;
        for (size_t place = 1; place < tree.order.size(); ++place) {
            if (!tree.idom[place]) continue; // a root: edges to it do not count
            const size_t found = new_dominator(tree, place, starts);
            changed |= found != tree.idom[place];
            tree.idom[place] = found;
        }
    }
}

CHECK_TREE check_tree(DIRECTION direction, const std::vector<const BB*>& roots) {
    CHECK_TREE tree{direction, {nullptr}, {}, {}};
    tree.place.resize(static_cast<size_t>(flow_graph.bb_count) + 1);
    for (const BB* root : roots) search_from(tree, root);
    std::reverse(tree.order.begin() + 1, tree.order.end());
    for (size_t place = 1; place < tree.order.size(); ++place) tree.place_of(tree.order[place]) = place;
    tree.idom.assign(tree.order.size(), SEEN);
    tree.idom[0] = 0;
    for (const BB* root : roots) tree.idom[tree.place_of(root)] = 0;
    settle_tree(tree);
    return tree;
}

// --- The trees ---

uint64_t immediate_in(CHECK_TREE& tree, const BB* block) {
    const size_t place = tree.place_of(block);
    if (!place || !tree.idom[place]) return 0;
    return static_cast<uint64_t>(tree.order[tree.idom[place]]->dfn);
}

bool ends_there(const BB* block) {
    for (const BB_LIST* edge = block->succs; edge; edge = edge->next)
        if (edge->block != block) return false;
    return true;
}

// The block at the end when it alone ends the function, else null.
const BB* lone_exit() {
    const BB* last = nullptr;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        if (ends_there(block) && block->dflink) return nullptr;
        last = block;
    }
    return ends_there(last) ? last : nullptr;
}

// --- The sets ---

std::vector<const BB*> blocks_without_edges_from(DIRECTION direction) {
    std::vector<const BB*> found;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        if (!(direction == FORWARD ? block->preds : block->succs)) found.push_back(block);
    return found;
}

// What a member adds to the hash of a set: its bit times a number of the word that it stands in.
uint64_t member_hash(size_t number) {
    return bv_bit(static_cast<uint32_t>(number)) * mix_hash(1, number / 32);
}

// By block number: the hash of the set of all that dominates the block.
std::vector<uint64_t> set_hashes(DIRECTION direction) {
    CHECK_TREE tree = check_tree(direction, blocks_without_edges_from(direction));
    uint64_t all = 0;
    for (size_t number = 0; number <= static_cast<size_t>(flow_graph.bb_count); ++number)
        all += member_hash(number);
    std::vector<uint64_t> hashes(static_cast<size_t>(flow_graph.bb_count) + 1, all);
    for (size_t place = 1; place < tree.order.size(); ++place) {
        const auto number = static_cast<size_t>(tree.order[place]->dfn);
        const size_t above = tree.idom[place];
        hashes[number] =
            member_hash(number) + (above ? hashes[static_cast<size_t>(tree.order[above]->dfn)] : 0);
    }
    return hashes;
}

} // namespace

FACT_RECORD computed_dominators() {
    FACT_RECORD record;
    CHECK_TREE tree = check_tree(FORWARD, {flow_graph.bb_list});
    const BB* exit = lone_exit();
    CHECK_TREE post_tree =
        check_tree(REVERSE, exit ? std::vector<const BB*>{exit} : std::vector<const BB*>{});
    const bool refused = post_tree.order.size() <= static_cast<size_t>(flow_graph.bb_count);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        record.push_back(immediate_in(tree, block));
        record.push_back(refused ? 0 : immediate_in(post_tree, block));
    }
    return record;
}

FACT_RECORD computed_dominator_sets() {
    FACT_RECORD record;
    const std::vector<uint64_t> forward = set_hashes(FORWARD);
    const std::vector<uint64_t> reverse = set_hashes(REVERSE);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        record.push_back(forward[static_cast<size_t>(block->dfn)]);
        record.push_back(reverse[static_cast<size_t>(block->dfn)]);
    }
    return record;
}

} // namespace pelorus
