// Preparing the statements of a function; see statements.h.
//
//   1. A variable of static storage whose value is known for the whole program is replaced by it.
//      What an lvalue evaluates before it names its object is taken out of it, so that the passes see which
//      variable is assigned: (e, v) = x becomes e; v = x, and &(e, v) becomes e, &v.
//      Each statement goes through the tree simplifier; what has no effects left is dropped, and of an
//      expression only its effects stay.
//   2. Behind a call of a function that never returns stands a comment that says so, for whoever reads the
//      code.
//   3. A variable of 64 bits all of whose values fit 32 bits becomes one of 32: on this machine it takes one
//      register, not two, and its arithmetic one instruction. Narrower than a register nothing is gained, so
//      no variable is made so. Variables that a debugger wants to see stay.
#include <cstring>
#include <vector>

#include "ir/call.h"
#include "ir/funinfo.h"
#include "ir/node_storage.h"
#include "ir/stmt.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "scalar/statements.h"
#include "support/decision.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/candidates.h"
#include "tree/simplifier.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

constexpr const char* NEVER_RETURNS = "***\t; the preceding call never returns";

// --- 1 ---

// A read of the variable becomes a conversion of its value to the type in which it is read, which the
// simplifier does away with.
void read_constant(NODE* name) {
    const NODE* value = name->symbol()->constant_value;
    name->op = type_is_pointer(type_strip(name->type)) ? OP_PCONV : OP_SCONV;
    set_type(name, type_strip(name->type));
    name->ref = nullptr;
    name->left = copy_tree(value);
}

void read_constants(NODE* tree) {
    if (settings.optimization_level < 1) return;
    for_each_access(tree, [](const TREE_ACCESS& access) {
        const bool is_read = access.kind == ACCESS::USE && access.symbol && is_plain(access) &&
                             access.by == access.name && !access.part && !access.is_volatile;
        if (!is_read || !access.symbol->constant_value) return;
        if (change(SITE_constant_variable, "{} = {}", access.name, access.symbol->constant_value))
            read_constant(access.name);
    });
}

bool is_expression(const NODE* tree) {
    const OPCODE_CLASS kind = opcode_fact(tree->op).kind;
    return kind == OPCODE_CLASS::VALUE || kind == OPCODE_CLASS::COMMUTES;
}

bool has_object(const NODE* node) {
    if (takes_address(node) || node->op == OP_STDOT) return true;
    return opcode_assigns(node->op);
}

// (e, v) op x becomes e, v op x; what has come in front of the operator counts for the one above it.
void take_commas_out(NODE** place) {
    NODE* node = *place;
    while (has_object(node) && node->left && node->left->op == OP_COMMAOP) {
        if (!change(SITE_comma_in_lvalue, "{}", node)) return;
        NODE* comma = node->left;
        node->left = comma->right;
        comma->right = node;
        set_type(comma, node->type);
        *place = comma;
        place = &comma->right;
    }
}

// True when something was taken out of an lvalue of the tree.
bool take_commas_out_of_lvalues(NODE*& tree) {
    const auto is_behind_comma = [](const NODE* node) {
        return has_object(node) && node->left && node->left->op == OP_COMMAOP;
    };
    const bool has_commas =
        any_node(tree, [](const NODE* node) { return node->op == OP_COMMAOP; }); // most trees have none
    if (!has_commas) return false;
    std::vector<NODE**> places{&tree};
    for_each_node(tree, [&](NODE* node) {
        if (node->left) places.push_back(&node->left);
        if (node->right) places.push_back(&node->right);
    });
    bool taken = false;
    // Operands come first. Each place stands behind that of the node it lies in.
    for (size_t i = places.size(); i-- > 0;) {
        if (!is_behind_comma(*places[i])) continue;
        take_commas_out(places[i]);
        taken = true;
    }
    return taken;
}

// What was taken out of the operator at the top is a statement of its own; it stands before, which is behind
// it in the list.
void split_statement(STMT* cell) {
    while (cell->tree->op == OP_COMMAOP) {
        NODE* comma = cell->tree;
        cell->next = new_stmt(comma->left, cell->position, cell->next);
        cell->tree = comma->right;
        erase_node(comma);
    }
}

// A statement without effects is what another change has left, such as `v` of `v = v`: none was read. It is
// no statement any more, however many changes may be made. Null.
NODE* dropped(NODE* tree) {
    follows(SITE_useless_statement, "{}", tree);
    return reduce_to_effects(tree);
}

// The normal form of a statement; null when nothing is left of it.
NODE* prepared(NODE* tree) {
    tree = simplify_tree(tree);
    if (!is_expression(tree) || opcode_arity(tree->op) < 0 || !opcode_fact(tree->op).name) return tree;
    if (!tree_is_statement(tree)) return dropped(tree);
    return change(SITE_unused_value, "{}", tree) ? reduce_to_effects(tree) : tree;
}

void prepare_each() {
    for (STMT** place = &function.statements; STMT* cell = *place;) {
        const bool is_tree =
            cell->tree->op != OP_LABELDEF && cell->tree->op != OP_ASM && cell->tree->op != OP_PPRAGMA;
        stand_at(0, *cell);
        if (is_tree) read_constants(cell->tree);
        const bool is_comma = cell->tree->op == OP_COMMAOP;
        if (is_tree && take_commas_out_of_lvalues(cell->tree) && !is_comma) split_statement(cell);
        NODE* tree = is_tree ? prepared(cell->tree) : cell->tree;
        if (!tree) {
            *place = cell->next;
            continue;
        }
        cell->tree = tree;
        place = &cell->next;
    }
}

// --- 2 ---

const NODE* call_of(const NODE* tree) {
    if (tree->op == OP_ASG || tree->op == OP_STASG) tree = tree->right;
    return is_call(tree) ? tree : nullptr;
}

bool never_returns(const NODE* call) {
    const TYPE* callee_type = type_target(call->left->type);
    if (callee_type && type_is_function(callee_type) && (type_strip(callee_type)->attributes & FA_NORETURN))
        return true;
    const SYMBOL* callee = direct_callee(call);
    return (callee && (callee->flags & SF_NORETURN)) || (call_flags(call) & FUN_never_returns);
}

bool is_that_comment(const STMT* cell) {
    return cell && is_comment(cell->tree) && !strcmp(cell->tree->text, NEVER_RETURNS);
}

bool may_be_marked(const STMT* cell, const NODE* call) {
    stand_at(0, *cell);
    return change(SITE_never_returns, "{}", call);
}

// The list runs backward: what follows a call stands before it.
void mark_calls_without_return() {
    const STMT* following = nullptr;
    for (STMT** place = &function.statements; STMT* cell = *place; place = &(*place)->next) {
        const NODE* call = call_of(cell->tree);
        if (call && never_returns(call) && !is_that_comment(following) && may_be_marked(cell, call)) {
            *place = new_stmt(new_comment(NEVER_RETURNS), cell->position, cell);
            place = &(*place)->next;
        }
        following = cell;
    }
}

// --- 3 ---

struct NARROWING {
    bool assigned = false;
    bool fits_signed = true;
    bool fits_unsigned = true;
    TYPE* type = nullptr; // the narrower type; null: none
};

struct NARROWER {
    CANDIDATES candidates;
    std::vector<NARROWING> variables; // by candidate number
};

constexpr uint32_t REGISTER_BITS = 32;

NARROWING* narrowing_of(NARROWER& narrower, const SYMBOL* symbol) {
    return symbol && symbol->level > 0 && symbol->candidate >= 0
               ? &narrower.variables[static_cast<size_t>(symbol->candidate)]
               : nullptr;
}

void note_assignment(NARROWING& variable, const NODE* value) {
    const RANGE range = range_of(value);
    variable.assigned = true;
    for (const INT96 end : {range.low, range.high}) {
        variable.fits_signed &= int96_fits(end, REGISTER_BITS, false);
        variable.fits_unsigned &= int96_fits(end, REGISTER_BITS, true);
    }
}

void note_other_change(NARROWING& variable) { variable.fits_signed = variable.fits_unsigned = false; }

void note_access(NARROWER& narrower, const TREE_ACCESS& access) {
    const bool counts = is_definition(access) || access.kind == ACCESS::LEND; // to who knows the type it has
    NARROWING* variable = counts ? narrowing_of(narrower, access.symbol) : nullptr;
    if (!variable) return;
    if (access.by->op == OP_ASG)
        note_assignment(*variable, access.by->right);
    else
        note_other_change(*variable);
}

bool is_wide_integer(const SYMBOL* symbol) {
    return type_is_integer(symbol->type) && type_bits(symbol->type) > REGISTER_BITS && symbol->level == 2 &&
           symbol != function.return_symbol; // which keeps the function's type
}

// True when some variable gets a narrower type.
bool choose_types(NARROWER& narrower) {
    bool any = false;
    for (int32_t i = 0; i < narrower.candidates.count; ++i) {
        SYMBOL* symbol = narrower.candidates.symbols[i];
        NARROWING& variable = narrower.variables[static_cast<size_t>(i)];
        if (!is_wide_integer(symbol) || !variable.assigned ||
            !(variable.fits_signed || variable.fits_unsigned))
            continue;
        if (!change_exactly(SITE_narrow_variable, "\nShortening this variable: {}\n", symbol->name)) continue;
        variable.type =
            variable.fits_signed ? type_package()->int_type() : type_package()->unsigned_int_type();
        symbol->type = symbol->declared_type = variable.type;
        symbol->size = variable.type->size;
        symbol->align = variable.type->align;
        any = true;
    }
    return any;
}

TYPE* narrow_type(NARROWER& narrower, const NODE* lvalue) {
    const NARROWING* variable = lvalue->op == OP_NAME ? narrowing_of(narrower, lvalue->symbol()) : nullptr;
    return variable ? variable->type : nullptr;
}

// v = x becomes (wide)(v = (narrow)x), and any other v becomes (wide)v. Operands come before the node that
// holds them.
void narrow_node(NARROWER& narrower, NODE* node) {
    TYPE* narrow = narrow_type(narrower, node->op == OP_ASG ? node->left : node);
    if (!narrow || (node->op != OP_ASG && node->type == narrow)) return;
    NODE* inner = nullptr;
    if (node->op == OP_ASG) {
        set_type(node->left, narrow);
        inner = new_binary(OP_ASG, narrow, node->left, new_unary(OP_SCONV, narrow, node->right));
    } else {
        inner = new_name(node->symbol(), narrow);
    }
    node->op = OP_SCONV;
    node->ref = nullptr;
    node->left = inner;
    node->right = nullptr;
}

void narrow_tree(NARROWER& narrower, NODE* tree) {
    std::vector<NODE*> nodes;
    for_each_node(tree, [&](NODE* node) {
        const bool assigns = node->op == OP_ASG;
        if (narrow_type(narrower, assigns ? node->left : node)) nodes.push_back(node);
    });
    // Assignments are visited before the names on their left, which they give the narrow type first.
    for (NODE* node : nodes) narrow_node(narrower, node);
}

// The narrower type may decide a condition that chose whether there is an effect, or make a zero of what a
// variable is changed by; null when nothing is left.
NODE* tidied(NODE* tree) {
    if (tree->op == OP_LABELDEF || tree->op == OP_ASM || tree->op == OP_PPRAGMA) return tree;
    if (is_expression(tree) && opcode_arity(tree->op) > 0) tree = reduce_to_effects(tree);
    if (tree) tree = simplify_tree(tree);
    return tree && is_expression(tree) && !tree_is_statement(tree) ? dropped(tree) : tree;
}

// Most functions have none, and need not be walked.
bool has_wide_integers() {
    bool found = false;
    for_each_function_symbol([&](const SYMBOL* symbol) { found |= is_wide_integer(symbol); });
    return found;
}

void narrow_variables() {
    if (settings.symbolic_debug || !has_wide_integers()) return;
    NARROWER narrower;
    const STMT* lists[] = {function.statements};
    narrower.candidates = build_candidate_list(lists);
    narrower.variables.resize(static_cast<size_t>(narrower.candidates.count));
    for (STMT* cell = function.statements; cell; cell = cell->next)
        for_each_access(cell->tree, [&](const TREE_ACCESS& access) { note_access(narrower, access); });
    if (!choose_types(narrower)) return;
    for (STMT** place = &function.statements; STMT* cell = *place;) {
        stand_at(0, *cell);
        narrow_tree(narrower, cell->tree);
        cell->tree = tidied(cell->tree);
        if (cell->tree)
            place = &cell->next;
        else
            *place = cell->next;
    }
}

} // namespace

bool prepare_statements() {
    trace_entering("prepare_statements");
    const CHANGE_MARK mark;
    prepare_each();
    if (settings.optimization_level >= 1) mark_calls_without_return();
    narrow_variables();
    return mark.any();
}

} // namespace pelorus
