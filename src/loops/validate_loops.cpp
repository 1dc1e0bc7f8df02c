// Consistency of the loop hierarchy; see loop_checks.h.
//
// For each loop, the outer ones first:
//   1. the tree      as many ancestors as its level says, at most 32767; inner loops with this one as parent
//                    and the next level
//   2. members       `contents` has the blocks whose innermost loop this is, and the heads of the inner loops
//   3. head, tail    both in the loop; the tail leads back to the head, and else to exits
//   4. edges         an edge back leads to a header; a loop is entered through its header alone, one loop at
//                    a time
//   5. preheader     in the loop around, leads to the head and nowhere else; only it and the tail do
//   6. exits         outside, entered from this loop alone; whatever leaves this loop leads to one
//   7. variables     none is both a region constant and an induction variable
//
// What a loop is inside of is asked of its place in pre-order, which is found by a walk with a stack of its
// own, since parents may be wrong. Sets are marks by creation number, so that each edge is looked at once or
// twice.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "cfg/graph_edit.h"
#include "ir/symbol.h"
#include "loops/loop_checks.h"
#include "support/trace.h"

namespace pelorus {

namespace {

constexpr int32_t MOST_ANCESTORS = INT16_MAX;

// --- The tree ---

constexpr size_t NOT_IN_TREE = SIZE_MAX;

// A loop as the walk found it.
struct PLACE {
    LOOPREC* loop;
    size_t parent;     // place of the loop that has it inside; NOT_IN_TREE for the root
    size_t end;        // the places behind this one up to here are inside
    int32_t ancestors; // by the parent pointers; MOST_ANCESTORS + 1 stands for more
};

struct TREE {
    std::vector<PLACE> places{}; // in pre-order
    std::unordered_map<const LOOPREC*, size_t> places_of{};

    size_t place_of(const LOOPREC* loop) const {
        const auto found = places_of.find(loop);
        return found == places_of.end() ? NOT_IN_TREE : found->second;
    }
    // Whether the loop, which is in the tree, is the other one or around it.
    bool is_around_or_same(size_t place, const LOOPREC* other) const {
        const size_t at = place_of(other);
        return at != NOT_IN_TREE && place <= at && at < places[place].end;
    }
    bool contains(size_t place, const BB* block) const { return is_around_or_same(place, block->loop); }
};

int32_t count_ancestors(const TREE& tree, const PLACE& place) {
    if (place.parent != NOT_IN_TREE && place.loop->parent == tree.places[place.parent].loop)
        return std::min(tree.places[place.parent].ancestors + 1, MOST_ANCESTORS + 1);
    int32_t count = 0;
    for (const LOOPREC* loop = place.loop->parent; loop && count <= MOST_ANCESTORS; loop = loop->parent)
        ++count;
    return count;
}

TREE walk_tree(LOOPREC* root) {
    TREE tree;
    std::vector<PLACE> waiting{{root, NOT_IN_TREE, 0, 0}};
    while (!waiting.empty()) {
        PLACE place = waiting.back();
        waiting.pop_back();
        const size_t at = tree.places.size();
        if (!tree.places_of.emplace(place.loop, at).second) continue;
        place.ancestors = count_ancestors(tree, place);
        tree.places.push_back(place);
        const size_t first = waiting.size();
        for (LOOPREC* inner = place.loop->first_inner; inner; inner = inner->next)
            waiting.push_back({inner, at, 0, 0});
        std::reverse(waiting.begin() + static_cast<std::ptrdiff_t>(first), waiting.end());
    }
    for (size_t at = tree.places.size(); at-- > 0;) {
        PLACE& place = tree.places[at];
        place.end = std::max(place.end, at + 1);
        if (place.parent == NOT_IN_TREE) continue;
        size_t& end = tree.places[place.parent].end;
        end = std::max(end, place.end);
    }
    return tree;
}

// --- The check of one loop ---

struct LOOP_CHECK {
    TREE tree;
    std::vector<std::vector<BB*>> claims; // by place: the blocks that say that this is their innermost loop
    std::vector<size_t> marks;            // by creation number: the set that had the block last, see below
    bool complete = false;
    LOOP_ERRORS errors{}; // of the loop
    LOOP_ERRORS total{};

    // The sets of a loop.
    static size_t inner_heads(size_t at) { return 3 * at + 1; }
    static size_t members(size_t at) { return 3 * at + 2; }
    static size_t exits(size_t at) { return 3 * at + 3; }
    bool is_in(size_t set, const BB* block) const { return marks[block->uon] == set; }
    void put_in(size_t set, const BB* block) { marks[block->uon] = set; }

    template <class... T>
    void corrected(const char* format, T... arguments) {
        errors.corrected++;
        trace(format, arguments...);
    }
    template <class... T>
    void uncorrected(const char* format, T... arguments) {
        errors.uncorrected++;
        trace(format, arguments...);
    }
};

void check_level(LOOP_CHECK& check, const PLACE& place) {
    LOOPREC* loop = place.loop;
    if (place.ancestors > MOST_ANCESTORS)
        return check.uncorrected(" +++++ Loop %d has >%d ancestors\n", loop->number, MOST_ANCESTORS);
    if (loop->level == place.ancestors) return;
    check.corrected(" ----- Loop %d has incorrect level (%d --> %d)\n", loop->number, loop->level,
                    place.ancestors);
    loop->level = static_cast<int16_t>(place.ancestors);
}

void check_inner_loops(LOOP_CHECK& check, const LOOPREC* loop) {
    for (LOOPREC* inner = loop->first_inner; inner; inner = inner->next) {
        if (inner->parent != loop)
            check.uncorrected(" +++++ Loop %d inner loop %d has wrong parent: %d\n", loop->number,
                              inner->number, inner->parent ? inner->parent->number : -1);
        if (inner->level == loop->level + 1 || loop->level == INT16_MAX) continue;
        check.corrected(" ----- Loop %d has inner loop %d with wrong level\n", loop->number, inner->number);
        inner->level = static_cast<int16_t>(loop->level + 1);
    }
}

bool is_head_of_inner(const LOOPREC* loop, const BB* block) {
    return block->loop->head == block && block->loop->parent == loop;
}

// A head of an inner loop that has no loop is that loop's to correct.
void check_members(LOOP_CHECK& check, size_t at) {
    LOOPREC* loop = check.tree.places[at].loop;
    for (const LOOPREC* inner = loop->first_inner; inner; inner = inner->next)
        if (inner->head) check.put_in(LOOP_CHECK::inner_heads(at), inner->head);
    for (const BLOCK_CELL* cell = loop->contents; cell; cell = cell->next) {
        BB* block = cell->block;
        if (!block) {
            check.uncorrected(" +++++ Loop %d contents includes a NULL bb\n", loop->number);
            continue;
        }
        const bool is_inner_head = check.is_in(LOOP_CHECK::inner_heads(at), block);
        check.put_in(LOOP_CHECK::members(at), block);
        if (block->loop == loop || (!block->loop && is_inner_head)) continue;
        if (!block->loop) {
            check.corrected(" ----- Loop %d has body member BB%d with NULL <loop>\n", loop->number,
                            block->dfn);
            block->loop = loop;
            check.claims[at].push_back(block);
        } else if (!is_head_of_inner(loop, block)) {
            check.uncorrected(" +++++ BB%d incorrectly thinks it's NOT in Loop %d\n", block->dfn,
                              loop->number);
        }
    }
    for (const BB* block : check.claims[at])
        if (!check.is_in(LOOP_CHECK::members(at), block))
            check.uncorrected(" +++++ BB%d incorrectly thinks it's in Loop %d\n", block->dfn, loop->number);
}

// --- Edges ---

bool is_header(const BB* block) { return block->loop && block->loop->head == block; }

// The edge stays in its loop, leaves loops, or goes from the loop around through the header.
bool enters_properly(const TREE& tree, const BB* from, const BB* to) {
    const size_t inner = tree.place_of(to->loop);
    if (inner == NOT_IN_TREE || tree.contains(inner, from)) return true;
    const size_t outer = tree.places[inner].parent;
    return is_header(to) && outer != NOT_IN_TREE && tree.contains(outer, from);
}

void check_edges(LOOP_CHECK& check, size_t at) {
    const LOOPREC* loop = check.tree.places[at].loop;
    for (const BB* block : check.claims[at])
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next) {
            const BB* to = cell->block;
            if (to->dfn <= block->dfn && !is_header(to))
                check.uncorrected(" +++++ Improper back edge from BB%d in loop #%d to BB%d\n", block->dfn,
                                  loop->number, to->dfn);
            if (to->loop && !enters_properly(check.tree, block, to))
                check.uncorrected(" +++++ BB%d (loop#%d) branched to from BB%d (loop#%d)\n", to->dfn,
                                  to->loop->number, block->dfn, loop->number);
        }
}

// --- Head, tail, preheader ---

void check_head(LOOP_CHECK& check, const LOOPREC* loop) {
    if (!loop->head || loop->head->loop != loop)
        check.uncorrected(" +++++ Loop %d head is missing or invalid\n", loop->number);
}

// Of a loop with a header the tail may be inside an inner one; the root's is outside all.
void check_tail(LOOP_CHECK& check, size_t at) {
    const LOOPREC* loop = check.tree.places[at].loop;
    const BB* tail = loop->tail;
    if (!tail || (loop->head ? !check.tree.contains(at, tail) : tail->loop != loop))
        check.uncorrected(" +++++ Loop %d tail is missing or invalid\n", loop->number);
}

// Where a tail may lead besides the head. Exits are marked.
bool is_way_out(const LOOP_CHECK& check, size_t at, const BB* block) {
    return check.complete ? check.is_in(LOOP_CHECK::exits(at), block) : !check.tree.contains(at, block);
}

// A tail that ends in a test leads to the head and to an exit, one that ends in a switch to several.
void check_tail_successors(LOOP_CHECK& check, size_t at) {
    const LOOPREC* loop = check.tree.places[at].loop;
    const BB* tail = loop->tail;
    if (!tail) return;
    if (!tail->succs)
        return check.uncorrected(" +++++ Loop %d tail BB%d has no successor\n", loop->number, tail->dfn);
    const bool is_switch = tail->last_stmt && ending_tree(tail)->op == OP_SWITCH;
    if (has_several(tail->succs) && !has_two(tail->succs) && !is_switch)
        check.uncorrected(" +++++ Loop %d tail BB%d has too many successors\n", loop->number, tail->dfn);
    const bool leads_back = in_set(tail->succs, loop->head);
    for (const BB_LIST* cell = tail->succs; cell; cell = cell->next)
        if (cell->block != loop->head && !(leads_back && is_way_out(check, at, cell->block)))
            check.uncorrected(" +++++ Loop %d tail BB%d has improper successor: BB%d\n", loop->number,
                              tail->dfn, cell->block->dfn);
}

void check_preheader(LOOP_CHECK& check, size_t at) {
    const LOOPREC* loop = check.tree.places[at].loop;
    const BB* block = loop->preheader;
    if (!block && !check.complete) return;
    if (!block || block->loop != loop->parent || !has_one(block->succs) ||
        only_of(block->succs) != loop->head)
        check.uncorrected(" +++++ Loop %d preheader is missing or invalid\n", loop->number);
}

void check_head_predecessors(LOOP_CHECK& check, size_t at) {
    const LOOPREC* loop = check.tree.places[at].loop;
    if (!loop->head) return;
    const bool any_outside = !check.complete && !loop->preheader;
    for (const BB_LIST* cell = loop->head->preds; cell; cell = cell->next) {
        const BB* from = cell->block;
        if (from == loop->tail || from == loop->preheader) continue;
        if (any_outside && !check.tree.contains(at, from)) continue;
        return check.uncorrected(" +++++ Loop %d header has improper predecessors\n", loop->number);
    }
}

// --- Exits ---

bool is_proper_exit(const TREE& tree, size_t at, const BB* block) {
    if (tree.contains(at, block) || !block->preds) return false;
    for (const BB_LIST* cell = block->preds; cell; cell = cell->next)
        if (!tree.contains(at, cell->block)) return false;
    return true;
}

// Marks the exits.
void check_exits(LOOP_CHECK& check, size_t at) {
    const LOOPREC* loop = check.tree.places[at].loop;
    for (const BLOCK_CELL* cell = loop->exits; cell; cell = cell->next) {
        check.put_in(LOOP_CHECK::exits(at), cell->block);
        if (!is_proper_exit(check.tree, at, cell->block))
            check.uncorrected(" +++++ Loop %d has improper exit BB %d\n", loop->number, cell->block->dfn);
    }
    if (!check.complete) return;
    for (const BB* block : check.claims[at])
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
            if (!check.tree.contains(at, cell->block) && !check.is_in(LOOP_CHECK::exits(at), cell->block))
                check.uncorrected(" +++++ Loop %d has improper exit BB %d\n", loop->number, cell->block->dfn);
}

// --- Variables ---

void check_variables(LOOP_CHECK& check, const LOOPREC* loop) {
    if (!loop->inductions || !loop->region_constants) return;
    std::unordered_set<const SYMBOL*> changing;
    for (const INDUCTION* induction = loop->inductions; induction; induction = induction->next)
        changing.insert(induction->symbol);
    for (const SYMBOL_CELL* cell = loop->region_constants; cell; cell = cell->next)
        if (changing.contains(cell->symbol))
            check.uncorrected(" +++++ Loop %d has %s as both RC and IV\n", loop->number, cell->symbol->name);
}

// --- All ---

void check_loop(LOOP_CHECK& check, size_t at) {
    const PLACE& place = check.tree.places[at];
    LOOPREC* loop = place.loop;
    const bool is_root = place.parent == NOT_IN_TREE;
    trace("===== Validating LOOP %d at level %d\n", loop->number, loop->level);
    check.errors = {};
    check_level(check, place);
    check_inner_loops(check, loop);
    check_members(check, at);
    if (!is_root) check_head(check, loop);
    check_tail(check, at);
    check_edges(check, at);
    if (!is_root) {
        check_preheader(check, at);
        check_head_predecessors(check, at);
        check_exits(check, at);
        check_tail_successors(check, at);
    }
    check_variables(check, loop);
    trace(" ===== (%d,%d) Corrected errors: %d, Uncorrected errors: %d\n\n", loop->number, loop->level,
          check.errors.corrected, check.errors.uncorrected);
    check.total.corrected += check.errors.corrected;
    check.total.uncorrected += check.errors.uncorrected;
}

void report_total(const char* format, int count) {
    if (!count || !debug_on()) return;
    trace(format, count);
    fprintf(stderr, format, count);
}

} // namespace

LOOP_ERRORS validate_loops(LOOPREC* root, bool complete) {
    LOOP_CHECK check;
    check.complete = complete;
    check.tree = walk_tree(root);
    check.claims.resize(check.tree.places.size());
    check.marks.resize(static_cast<size_t>(flow_graph.last_uon) + 1);
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        const size_t place = check.tree.place_of(block->loop);
        if (place != NOT_IN_TREE) check.claims[place].push_back(block);
    }
    for (size_t at = 0; at < check.tree.places.size(); ++at) check_loop(check, at);
    report_total("\n\n ----- %d Corrected LOOP errors!!!", check.total.corrected);
    report_total("\n\n +++++ %d Uncorrected LOOP errors!!!", check.total.uncorrected);
    return check.total;
}

// --- Clones ---

namespace {

constexpr uint32_t CLONE_MARKS = LOOP_CONSERVATIVE_CLONE | LOOP_AGGRESSIVE_CLONE;
constexpr uint32_t EXPECTATIONS = LOOP_FAVORED_CLONE | LOOP_DEPRECATED_CLONE;
constexpr uint32_t TAKEN_FOR_GRANTED = LOOP_NON_ALIASED | LOOP_ALIGNED;

// What is wrong with the marks of the loop; null when nothing is.
const char* fault_of_marks(const LOOPREC* loop, const LOOPREC* sibling) {
    const uint32_t mark = loop->flags & CLONE_MARKS;
    if (mark == CLONE_MARKS) return "is both clones at once";
    if ((loop->flags & EXPECTATIONS) == EXPECTATIONS) return "is expected and not expected to be run";
    if (mark == 0) return loop->sibling_clone == NO_SIBLING_CLONE ? nullptr : "is no clone and has a sibling";
    if (mark == LOOP_CONSERVATIVE_CLONE && loop->flags & TAKEN_FOR_GRANTED)
        return "is the conservative clone and takes something for granted";
    if (!sibling || sibling->sibling_clone != loop->number) return "has no sibling that names it";
    return (sibling->flags & CLONE_MARKS) == (CLONE_MARKS ^ mark) ? nullptr : "has a sibling of its own kind";
}

} // namespace

int check_clone_marks(LOOPREC* root) {
    std::vector<LOOPREC*> loops; // by number
    for_each_loop(root, [&](LOOPREC* loop) { loops.push_back(loop); });
    int faults = 0;
    for (const LOOPREC* loop : loops) {
        const LOOPREC* sibling = loop->sibling_clone < loops.size() ? loops[loop->sibling_clone] : nullptr;
        const char* fault = fault_of_marks(loop, sibling);
        if (!fault) continue;
        trace(" +++++ Loop %d %s\n", loop->number, fault);
        ++faults;
    }
    return faults;
}

} // namespace pelorus
