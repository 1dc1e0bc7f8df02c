// The statement rewrite of fast_CP; see copy_values.h.
//
// A statement is walked in the order of evaluation, from a list of tasks, so that neither long lists nor deep
// trees take stack:
//   EVALUATE  the tree's value is read: a NAME with a known value is replaced
//   REACH     what leads to an object is evaluated, but the object is not read
//   STORE     an assignment below the statement's root happens
//   CALL      code that is not in the tree runs
// What a statement assigns at its root is recorded when the statement has been simplified.
#include "scalar/copy_values.h"

#include <vector>

#include "cfg/bb.h"
#include "cfg/facts.h"
#include "ir/call.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/tree_text.h"
#include "scalar/assignment_query.h"
#include "scalar/copied_globals.h"
#include "support/decision.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

enum class WORK : uint8_t { EVALUATE, REACH, STORE, CALL };

struct TASK {
    NODE** slot;
    WORK work;
};

struct COPY_WALK {
    COPY_SWEEP& sweep;
    std::vector<TASK> tasks{};
};

COPY_STATE& state_of(const COPY_SWEEP& sweep, const SYMBOL* symbol) {
    return sweep.states[symbol->candidate];
}

// --- Values ---

bool is_address(const NODE* value) {
    if (value->op != OP_UAND) return false;
    const NODE* object = value->left;
    while (object->op == OP_STDOT) object = object->left;
    return object->op == OP_NAME && !type_is_volatile(object->type);
}

bool is_offset_address(const NODE* value) {
    return value->op == OP_PLUS && is_address(value->left) && value->right->op == OP_ICON;
}

bool wraps_value(const NODE* value) {
    return value->op == OP_SCONV || value->op == OP_PCONV || value->op == OP_IDENTITY;
}

// The variable that a copyable value reads; null when it reads none.
const NODE* name_in(const NODE* value) {
    while (wraps_value(value)) value = value->left;
    return value->op == OP_NAME ? value : nullptr;
}

bool holds_identity(const NODE* value) {
    for (; wraps_value(value); value = value->left)
        if (value->op == OP_IDENTITY) return true;
    return false;
}

bool has_name_of_pass(const SYMBOL* symbol) {
    return (symbol->name[0] == 'K' || symbol->name[0] == 'Q') && symbol->name[1] == '$';
}

// The value recorded for the variable, if it holds here.
const NODE* recorded_value(const COPY_SWEEP& sweep, const SYMBOL* symbol) {
    if (!symbol->single_asg) return nullptr;
    const COPY_STATE& state = state_of(sweep, symbol);
    const NODE* value = symbol->single_asg->right;
    const bool everywhere = symbol->assignment_count == 1 && !has_name_of_pass(symbol);
    const bool here = symbol->assignment_count >= 1 && state.region == sweep.region;
    return everywhere || (here && holds_since(sweep, value, state.recorded_at)) ? value : nullptr;
}

// The value that may take the place of a NAME of the variable; null for none.
const NODE* value_to_copy(const COPY_SWEEP& sweep, const NODE* name) {
    const NODE* value =
        names_candidate(name) ? recorded_value(sweep, name->symbol()) : value_of_global(sweep, name);
    if (!value || holds_identity(value)) return nullptr;
    if (has_name_of_pass(name->symbol()) && !type_is_pointer(name->type)) return nullptr;
    return value;
}

void replace_name(COPY_SWEEP& sweep, NODE*& slot) {
    const NODE* value = value_to_copy(sweep, slot);
    if (!value || !change_exactly(SITE_copy_value, "\n\t({}) fcpNAME() is replacing {} with {}\n", sweep.line,
                                  slot, value))
        return;
    NODE* name = slot;
    if (name->symbol()->level == 0) trace("\t\t(%s is a GLOBAL variable)\n", name->symbol()->name);
    slot = converted_value(copy_tree(value), name->type);
    erase_node(name);
    sweep.replaced_here = true;
    ++sweep.replaced;
}

// --- What an assignment does to what is known ---

void forget_value(SYMBOL* symbol) {
    if (symbol->single_asg) erase_tree(symbol->single_asg);
    symbol->single_asg = nullptr;
}

void note_assigned(COPY_SWEEP& sweep, const SYMBOL* symbol) {
    COPY_STATE& state = state_of(sweep, symbol);
    state.assigned_at = ++sweep.clock;
    state.recorded_at = sweep.clock;
    state.region = sweep.region;
}

// The value is not known from here on; a value that holds everywhere stays.
void note_other_value(COPY_SWEEP& sweep, SYMBOL* symbol) {
    note_assigned(sweep, symbol);
    if (symbol->assignment_count > 1) forget_value(symbol);
}

void note_value(COPY_SWEEP& sweep, NODE* assignment) {
    SYMBOL* symbol = assignment->left->symbol();
    note_other_value(sweep, symbol);
    if (symbol->assignment_count > 1 && is_copyable(assignment->right))
        symbol->single_asg = copy_tree(assignment);
}

// The variable has the value already.
bool repeats_value(const COPY_SWEEP& sweep, const NODE* assignment) {
    SYMBOL* symbol = assignment->left->symbol();
    if (symbol->assignment_count <= 1 || !is_copyable(assignment->right)) return false;
    const NODE* known = recorded_value(sweep, symbol);
    return known && equal_trees(known, assignment->right) && !copied_parameter(assignment) &&
           change(SITE_same_value, "{}", assignment);
}

// --- The walk ---

void add(COPY_WALK& walk, NODE*& tree, WORK work = WORK::EVALUATE) {
    if (tree) walk.tasks.push_back({&tree, work});
}

// The left operand is evaluated first, so that it is put in last.
void add_operands(COPY_WALK& walk, NODE* node) {
    add(walk, node->right);
    add(walk, node->left);
}

bool runs_other_code(const NODE* node) {
    if (node->op == OP_ASM || opcode_arity(node->op) < 0 || !opcode_fact(node->op).name) return true;
    return opcode_fact(node->op).kind == OPCODE_CLASS::CALLS;
}

void evaluate(COPY_WALK& walk, NODE*& slot) {
    NODE* node = slot;
    switch (node->op) {
    case OP_NAME: return replace_name(walk.sweep, slot);
    case OP_STDOT:
    case OP_UAND:
    case OP_ACONV: return add(walk, node->left, WORK::REACH);
    case OP_STREF: return add(walk, node->left);
    case OP_RETURN: return add(walk, node->right);
    case OP_IF:
    case OP_SWITCH: return add(walk, node->left);
    case OP_URETURN:
    case OP_BRANCH:
    case OP_ARGREF: return;
    case OP_LOOP:
    case OP_INITLOOP:
    case OP_ENDLOOP: return add(walk, slot, WORK::STORE);
    default: break;
    }
    if (runs_other_code(node) && may_write_memory(node)) add(walk, slot, WORK::CALL);
    if (is_call(node) && named_callee(node)) return add(walk, node->right);
    if (!opcode_assigns(node->op)) return add_operands(walk, node);
    add(walk, slot, WORK::STORE);
    add(walk, node->right);
    add(walk, node->left, WORK::REACH);
}

void reach(COPY_WALK& walk, NODE*& slot) {
    NODE* node = slot;
    switch (node->op) {
    case OP_NAME: return;
    case OP_STDOT: return add(walk, node->left, WORK::REACH);
    case OP_COMMAOP: add(walk, node->right, WORK::REACH); return add(walk, node->left);
    default: return evaluate(walk, slot);
    }
}

void store(COPY_WALK& walk, const NODE* node) {
    if (names_candidate(node->left))
        note_other_value(walk.sweep, node->left->symbol());
    else
        note_store(walk.sweep, node);
}

void run(COPY_WALK& walk) {
    while (!walk.tasks.empty()) {
        const TASK task = walk.tasks.back();
        walk.tasks.pop_back();
        switch (task.work) {
        case WORK::EVALUATE: evaluate(walk, *task.slot); break;
        case WORK::REACH: reach(walk, *task.slot); break;
        case WORK::STORE: store(walk, *task.slot); break;
        case WORK::CALL: forget_globals(walk.sweep); break;
        }
    }
}

// x op= e, where the value of x is known, as x = x op e.
void expand_where_known(const COPY_SWEEP& sweep, STMT* cell) {
    NODE* tree = cell->tree;
    if (plain_operator(tree->op) == OP_NOP || !value_to_copy(sweep, tree->left)) return;
    if (tree_defines(tree->right, tree->left->symbol())) return;
    if (!names_candidate(tree->left) && tree_has_effects(tree->right)) return; // which may change a global
    if (!change(SITE_expand_assignment, "{}", tree)) return;
    cell->tree = expand_operator_assignment(tree);
}

// True when nothing is left.
bool simplify_replaced(const BB* block, STMT* cell) {
    cell->tree = simplify_tree(cell->tree);
    if (cell != block->last_stmt) cell->tree = reduce_to_effects(cell->tree);
    return !cell->tree;
}

} // namespace

bool is_copyable(const NODE* value) {
    for (;; value = value->left) switch (value->op) {
        case OP_ICON:
        case OP_FCON:
        case OP_SCON: return true;
        case OP_NAME: return names_candidate(value);
        case OP_SCONV:
        case OP_PCONV:
        case OP_IDENTITY: break;
        default: return is_address(value) || is_offset_address(value);
        }
}

bool holds_since(const COPY_SWEEP& sweep, const NODE* value, uint32_t recorded_at) {
    const NODE* name = name_in(value);
    if (!name) return true;
    if (name->symbol()->candidate < 0) return false;
    const COPY_STATE& state = state_of(sweep, name->symbol());
    return state.is_home || state.assigned_at < recorded_at;
}

bool is_copyable_everywhere(const COPY_SWEEP& sweep, const NODE* value) {
    if (!is_copyable(value)) return false;
    const NODE* name = name_in(value);
    return !name || state_of(sweep, name->symbol()).is_home;
}

bool rewrite_copies(COPY_SWEEP& sweep, const BB* block, STMT* cell) {
    sweep.line = cell->position.line;
    sweep.replaced_here = false;
    COPY_WALK walk{sweep};
    if (cell->tree->left && cell->tree->left->op == OP_NAME) expand_where_known(sweep, cell);
    const bool assigns = assigns_candidate(cell->tree);
    add(walk, assigns ? cell->tree->right : cell->tree);
    run(walk);
    if (sweep.replaced_here && simplify_replaced(block, cell)) return true;
    if (!assigns) note_global_value(sweep, cell->tree);
    if (!assigns || !assigns_candidate(cell->tree)) return false;
    if (repeats_value(sweep, cell->tree)) {
        erase_tree(cell->tree);
        cell->tree = nullptr;
        return true;
    }
    note_value(sweep, cell->tree);
    return false;
}

} // namespace pelorus
