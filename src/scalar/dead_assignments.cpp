// Removal of dead assignments; see assignments.h.
//
// 1. Faintly live variables give what is live at the end of each block.
// 2. The blocks are walked from the last to the entry, each from its last statement to its first, and each
//    statement against the order of evaluation, so that `live` holds at every node what is read behind it:
//
//        x = f(y)     x not in `live`:   f(y)            x in `live`: x leaves it, then y is walked
//        x += e       x not in `live`:   e
//        a = x++      x not in `live`:   a = x
//
//    Under a condition (?:, &&, ||) an assignment kills nothing.
// 3. A kept assignment whose value only the next statement reads is combined with it.
// 4. Candidates without references leave the list; blocks that became empty are simplified away.
//
// What a parameter's home gets at the entry stays, and with -g the variables of the source stay.
#include <utility>
#include <vector>

#include "cfg/bitvec.h"
#include "cfg/candidate_fact.h"
#include "cfg/live_variables.h"
#include "cfg/simplify.h"
#include "cfg/statement_edit.h"
#include "ir/call.h"
#include "ir/node_storage.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "scalar/assignment_query.h"
#include "scalar/assignments.h"
#include "support/decision.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

struct PLACE {
    NODE** slot;      // what holds the tree
    bool top;         // it is the statement, or an element of its PCOMMA
    bool conditional; // it may be left out
};

struct DEAD_WALK {
    bitvec* live;
    std::vector<PLACE> waiting;       // the one that is evaluated last on top
    std::vector<SYMBOL*> last_uses{}; // of the statement: candidates that nobody reads behind it
    std::vector<SYMBOL*> killed{};    // the same: those that it assigns and that are read behind it
    uint32_t line = 0;
    bool changed_inside = false; // something below the statement's root was rewritten
    bool embedded = false;       // an assignment to a variable stands below the top
};

bool is_live(const DEAD_WALK& walk, const SYMBOL* symbol) {
    return bv_test(walk.live, candidate_number(symbol));
}

void push(DEAD_WALK& walk, NODE*& tree, bool conditional, bool top = false) {
    if (tree) walk.waiting.push_back({&tree, top, conditional});
}

void use(DEAD_WALK& walk, SYMBOL* symbol) {
    ++symbol->reference_count;
    if (is_live(walk, symbol)) return;
    bv_set(walk.live, candidate_number(symbol));
    walk.last_uses.push_back(symbol);
}

void define(DEAD_WALK& walk, SYMBOL* symbol, bool conditional) {
    ++symbol->reference_count;
    if (conditional || !is_live(walk, symbol)) return;
    bv_clear_range(walk.live, candidate_number(symbol), candidate_number(symbol));
    walk.killed.push_back(symbol);
}

// --- Dead assignments ---

bool may_drop(const DEAD_WALK& walk, const NODE* node) {
    if (const char* why = why_assignment_stays(node)) return refuse(SITE_dead_assignment, why, "{}", node);
    return change_exactly(SITE_dead_assignment, "\n\t({}) DEAD 'ASG' TO CANDIDATE {}:    {}\n", walk.line,
                          static_cast<int>(node->left->symbol()->candidate), node);
}

// What the right operand does besides giving a value takes the place of the statement.
void drop_at_top(DEAD_WALK& walk, const PLACE& place) {
    NODE* node = *place.slot;
    NODE* value = node->right;
    erase_node(node->left);
    erase_node(node);
    *place.slot = reduce_to_effects(simplify_tree(value));
    push(walk, *place.slot, place.conditional, true);
}

// The node becomes its operand, converted to the type that the assignment had.
void become_value(DEAD_WALK& walk, NODE* node, NODE* value, bool conditional) {
    if (node->left != value) erase_node(node->left);
    node->op = conversion_operator(value->type, node->type);
    node->left = value;
    node->right = nullptr;
    walk.changed_inside = true;
    push(walk, node->left, conditional);
}

NODE* without_identity(NODE* value) {
    while (value->op == OP_IDENTITY) {
        NODE* operand = value->left;
        erase_node(value);
        value = operand;
    }
    return value;
}

void drop_assignment(DEAD_WALK& walk, const PLACE& place) {
    NODE* node = *place.slot;
    node->right = without_identity(node->right);
    if (!place.top) return become_value(walk, node, node->right, place.conditional);
    drop_at_top(walk, place);
}

void drop_increment(DEAD_WALK& walk, const PLACE& place) {
    NODE* node = *place.slot;
    if (!place.top) { // the old value is wanted, and the amount has no effects
        erase_tree(node->right);
        node->right = nullptr;
        return become_value(walk, node, node->left, place.conditional);
    }
    drop_at_top(walk, place);
}

bool is_increment(const NODE* node) { return node->op == OP_PLUSPLUS || node->op == OP_MINMIN; }

// --- The rule for each opcode ---

void walk_assignment(DEAD_WALK& walk, const PLACE& place) {
    NODE* node = *place.slot;
    SYMBOL* variable = node->left->symbol();
    walk.embedded |= !place.top;
    if (!is_live(walk, variable) && may_drop(walk, node)) return drop_assignment(walk, place);
    define(walk, variable, place.conditional);
    push(walk, node->right, place.conditional);
}

void walk_operator_assignment(DEAD_WALK& walk, const PLACE& place) {
    NODE* node = *place.slot;
    SYMBOL* variable = node->left->symbol();
    walk.embedded |= !place.top;
    // Where the value is wanted, it is that of an operator which reads the variable before its right operand.
    const bool droppable = place.top || (is_increment(node) ? !tree_has_effects(node->right)
                                                            : !tree_defines(node->right, variable));
    if (!is_live(walk, variable) && droppable && may_drop(walk, node)) {
        if (is_increment(node)) return drop_increment(walk, place);
        *place.slot = expand_operator_assignment(node);
        return drop_assignment(walk, place);
    }
    use(walk, variable);
    push(walk, node->right, place.conditional);
}

// The variable that controls a loop is set by the operator itself.
void walk_loop(DEAD_WALK& walk, const PLACE& place) {
    NODE* node = *place.slot;
    if (!names_candidate(node->left)) return push(walk, node->right, place.conditional);
    SYMBOL* variable = node->left->symbol();
    if (!is_live(walk, variable) && may_drop(walk, node)) return drop_at_top(walk, place);
    define(walk, variable, place.conditional);
    push(walk, node->right, place.conditional);
}

void walk_operands(DEAD_WALK& walk, NODE* node, bool left_conditional, bool right_conditional) {
    push(walk, node->left, left_conditional);
    push(walk, node->right, right_conditional);
}

// What the callee reads by its address is read behind all arguments.
void walk_call(DEAD_WALK& walk, const PLACE& place) {
    NODE* node = *place.slot;
    for (const LENT_ARGUMENT& lent : lent_arguments(node))
        if (lent.name->symbol()->candidate >= 0) use(walk, lent.name->symbol());
    walk_operands(walk, node, place.conditional, place.conditional);
}

void walk_node(DEAD_WALK& walk, const PLACE& place) {
    NODE* node = *place.slot;
    switch (node->op) {
    case OP_NAME:
        if (node->symbol() && node->symbol()->candidate >= 0) use(walk, node->symbol());
        return;
    case OP_ASG:
        if (names_candidate(node->left)) return walk_assignment(walk, place);
        return walk_operands(walk, node, place.conditional, place.conditional);
    case OP_RETURN:
        if (names_candidate(node->left)) define(walk, node->left->symbol(), place.conditional);
        return push(walk, node->right, place.conditional);
    case OP_PCOMMA:
        push(walk, node->left, place.conditional, true);
        return push(walk, node->right, place.conditional, true);
    case OP_LOOP:
    case OP_INITLOOP: return walk_loop(walk, place);
    case OP_IF:
    case OP_SWITCH:
    case OP_STDOT:
    case OP_STREF: return push(walk, node->left, place.conditional);
    case OP_BRANCH:
    case OP_ARGREF: return; // the latter's parameter is no candidate
    case OP_CALL: return walk_call(walk, place);
    case OP_ANDAND:
    case OP_OROR: return walk_operands(walk, node, place.conditional, true);
    case OP_COLON: return walk_operands(walk, node, true, true);
    default:
        if (plain_operator(node->op) != OP_NOP && names_candidate(node->left))
            return walk_operator_assignment(walk, place);
        return walk_operands(walk, node, place.conditional, place.conditional);
    }
}

// A PCOMMA of which one side vanished is the other side. Inner ones stand behind outer ones.
void close_gaps(NODE*& statement) {
    std::vector<NODE**> lists;
    std::vector<NODE**> waiting{&statement};
    while (!waiting.empty()) {
        NODE** place = waiting.back();
        waiting.pop_back();
        if (!*place || (*place)->op != OP_PCOMMA) continue;
        lists.push_back(place);
        waiting.push_back(&(*place)->left);
        waiting.push_back(&(*place)->right);
    }
    for (size_t i = lists.size(); i-- > 0;) {
        NODE* list = *lists[i];
        if (list->left && list->right) continue;
        *lists[i] = list->left ? list->left : list->right;
        erase_node(list);
    }
}

// A label, a field or a list of cases holds no values; they stand under operators that are walked otherwise.
void walk_statement(DEAD_WALK& walk, STMT* cell) {
    walk.line = cell->position.line;
    walk.changed_inside = false;
    walk.last_uses.clear();
    walk.killed.clear();
    push(walk, cell->tree, false, true);
    while (!walk.waiting.empty()) {
        const PLACE place = walk.waiting.back();
        walk.waiting.pop_back();
        walk_node(walk, place);
    }
    if (cell->tree && cell->tree->op == OP_PCOMMA) close_gaps(cell->tree);
}

bool is_branch(const BB* block, const STMT* cell) { return cell == block->last_stmt; }

// x = x, which is left of x = x++, goes altogether: what it reads of x is read behind it as well.
void simplify_rewritten(DEAD_WALK& walk, const BB* block, STMT* cell) {
    cell->tree = simplify_tree(cell->tree);
    if (!is_branch(block, cell)) cell->tree = reduce_to_effects(cell->tree);
    for (const SYMBOL* symbol : walk.killed)
        if (!cell->tree || !tree_defines(cell->tree, symbol)) std::erase(walk.last_uses, symbol);
}

// --- Blocks ---

void use_tree(DEAD_WALK& walk, const NODE* tree) {
    for_each_node(tree, [&](const NODE* node) {
        if (node->op == OP_NAME && node->symbol() && node->symbol()->candidate >= 0)
            bv_set(walk.live, candidate_number(node->symbol()));
    });
}

// What is live at the end: what the successors want, and what the count of a loop that begins behind the
// block is made of.
void start_block(DEAD_WALK& walk, BB* block) {
    bv_clear_range(walk.live, 0, walk.live->n_bits - 1);
    for (const BB_LIST* edge = block->succs; edge; edge = edge->next) {
        if (!edge->block->live_in) {
            for (uint32_t word = 0; word < walk.live->n_words; ++word) walk.live->words[word] = ~uint32_t(0);
            return;
        }
        bv_merge(walk.live, edge->block->live_in);
        if (edge->block->loop_trips) use_tree(walk, edge->block->loop_trips);
    }
}

bool was_last_use(const DEAD_WALK& walk, const NODE* assignment) {
    for (const SYMBOL* symbol : walk.last_uses)
        if (symbol == assignment->left->symbol()) return true;
    return false;
}

// The next statement, which is walked already, has the last uses that the walk holds.
bool may_combine(const DEAD_WALK& walk, const STMT* cell) {
    return cell->next && assigns_candidate(cell->tree) && was_last_use(walk, cell->tree) &&
           !why_assignment_stays(cell->tree);
}

// The variable is gone; what its assignment read and what the next statement read is read in one place now.
void note_combined(DEAD_WALK& walk, SYMBOL* variable, std::vector<SYMBOL*>& next_uses) {
    variable->reference_count -= 2;
    std::erase(next_uses, variable);
    walk.last_uses.insert(walk.last_uses.end(), next_uses.begin(), next_uses.end());
}

void walk_cell(DEAD_WALK& walk, BB* block, STMT* cell) {
    stand_at(block, cell);
    SYMBOL* combined = may_combine(walk, cell) ? cell->tree->left->symbol() : nullptr;
    std::vector<SYMBOL*> next_uses = walk.last_uses;
    walk_statement(walk, cell);
    if (cell->tree && walk.changed_inside) simplify_rewritten(walk, block, cell);
    if (!cell->tree) {
        remove_cell(block, cell);
        walk.last_uses = std::move(next_uses);
    } else if (combined && assigns_candidate(cell->tree) && combine_into_next(block, cell)) {
        note_combined(walk, combined, next_uses);
        if (cell->tree) return;
        remove_cell(block, cell);
        walk.last_uses.clear(); // what the two read, v among them, is read later as well
    }
}

// True when an assignment to a variable stands inside an expression.
bool walk_block(DEAD_WALK& walk, BB* block) {
    const CHANGE_MARK mark;
    walk.embedded = false;
    walk.last_uses.clear();
    start_block(walk, block);
    bv_assign(block->live_out, walk.live);
    std::vector<STMT*> cells;
    for (STMT* cell = block->stmts; cell; cell = cell->next) cells.push_back(cell);
    for (size_t i = cells.size(); i-- > 0;) walk_cell(walk, block, cells[i]);
    bv_assign(block->live_in, walk.live);
    if (mark.any()) trees_changed();
    return walk.embedded;
}

// --- The list of candidates ---

void drop_unreferenced() {
    for_each_candidate(function_candidates, [](SYMBOL* symbol) {
        if (symbol->reference_count != 0) return;
        trace("\tNo references in the function for (%d) '%s'\n", symbol->candidate, symbol->name);
        drop_candidate(function_candidates, symbol);
    });
}

// Branches alone in their block, which simpcfg leads past.
bool begins_with_branch(const BB* block) { return block->stmts->tree->op == OP_BRANCH; }

bool walk_function(bool combine_flagged) {
    DEAD_WALK walk{new_bitvec(static_cast<uint32_t>(function_candidates.count), true), {}};
    bool emptied = false;
    for (BB* block = flow_graph.bb_list->rdflink;; block = block->rdflink) {
        const CHANGE_MARK mark;
        if (walk_block(walk, block) && combine_flagged) split_embedded_assignments(block);
        emptied |= mark.any() && begins_with_branch(block); // others were looked at when they became so
        if (block == flow_graph.bb_list) break;
    }
    bv_free(walk.live);
    forget_facts(facts_of(FACT_live_faint)); // the walk wrote what it found into the sets
    return emptied;
}

} // namespace

bool elim_dead_assigns(bool delay, bool combine_flagged) {
    const CHANGE_MARK mark;
    find_live_variables(true);
    if (function_candidates.count == 0) return mark.any();
    for_each_candidate(function_candidates, [](SYMBOL* symbol) { symbol->reference_count = 0; });
    trace("\n\n\t\t\t---------- ENTERING 'elim_dead_assigns' ----------\n");
    bool noted = walk_function(combine_flagged);
    drop_unreferenced();
    if (delay) noted |= delay_assignments();
    if (noted) simpcfg(0);
    return mark.any();
}

} // namespace pelorus
