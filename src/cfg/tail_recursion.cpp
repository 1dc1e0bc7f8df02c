// Tail-recursion removal: a function that ends in a call of itself goes back to its beginning.
//
//          f(a, b): ... return f(b, a + 1);         f(a, b): first: ... t1 = b; b = a + 1; a = t1; goto first
//
//   1. Find a call of the function itself, of which nothing is left to do afterwards but to return its value.
//   2. Refuse what is not the same in a loop: a function that walks its unnamed arguments, takes storage that
//      lasts until it returns, can be returned to twice, or has variables whose addresses are taken, since
//      the callee's variables would be new ones.
//   3. Match the arguments with the parameters.
//   4. The variables that hold the parameters get the arguments, in their order and all of them from the old
//      values; the call becomes a BRANCH to the first block, which is split off the entry behind the copies
//      of the parameters.
//
// The reasons for refusals are on the trace.
#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "cfg/graph_edit.h"
#include "cfg/statement_edit.h"
#include "cfg/tail_recursion.h"
#include "ir/call.h"
#include "ir/node_storage.h"
#include "ir/parameters.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "support/decision.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/query.h"

namespace pelorus {

namespace {

// A parameter and the tree that copies it into the variable of the same name.
struct PARAMETER {
    const SYMBOL* symbol;
    const NODE* copy; // ASG or STASG
};

struct REMOVER {
    BB* entry = nullptr;
    STMT* last_copy = nullptr; // statement with the copies; null when there are none
    std::vector<PARAMETER> parameters{};
    BB* first = nullptr; // the block behind the copies; null until one is needed
    bool looked_at_parameters = false;
    bool parameters_match = false; // `parameters` and `last_copy` are valid
    bool looked_at_function = false;
    std::string obstacle{}; // why the function must keep its calls; "" when it need not
};

// --- 1: the call ---

struct SELF_CALL {
    STMT* cell = nullptr; // the statement that holds it
    NODE* call = nullptr; //
};

bool is_self_call(const NODE* tree) { return function.symbol && direct_callee(tree) == function.symbol; }

STMT* cell_before_ending(const BB* block) {
    STMT* cell = block->stmts;
    if (cell == block->last_stmt) return nullptr;
    while (cell->next != block->last_stmt) cell = cell->next;
    return cell;
}

bool is_return_symbol(const NODE* tree) {
    return tree->op == OP_NAME && tree->symbol() && tree->symbol() == function.return_symbol;
}

bool returns_nothing() {
    const TYPE* type = function_return_type();
    return !type || type_is_void(type);
}

// The function ends there: the exit, or a block that only goes there.
bool leads_out(const BB* block) {
    if (block == flow_graph.exit_bb) return true;
    return block->stmts == block->last_stmt && ending_tree(block)->op == OP_BRANCH &&
           target_of(ending_tree(block)->left) == flow_graph.exit_bb;
}

// return f(...);  or  f(...); return;  or  $ret = f(...); return;
SELF_CALL find_self_call(const BB* block) {
    NODE* ending = ending_tree(block);
    if (ending->op == OP_RETURN)
        return is_self_call(ending->right) ? SELF_CALL{block->last_stmt, ending->right} : SELF_CALL{};
    if (ending->op != OP_BRANCH || !leads_out(target_of(ending->left))) return {};
    STMT* cell = cell_before_ending(block);
    if (!cell) return {};
    if (is_self_call(cell->tree)) return returns_nothing() ? SELF_CALL{cell, cell->tree} : SELF_CALL{};
    const bool assigns =
        (cell->tree->op == OP_ASG || cell->tree->op == OP_STASG) && is_return_symbol(cell->tree->left);
    return assigns && is_self_call(cell->tree->right) ? SELF_CALL{cell, cell->tree->right} : SELF_CALL{};
}

// --- 2: what a loop would change ---

bool is_call_of(const NODE* node, std::string_view name) {
    const SYMBOL* callee = direct_callee(node);
    return callee && plain_name(callee->name) == name;
}

std::string obstacle_at(const NODE* node) {
    if (node->op == OP_ARGREF) return "the function walks its arguments";
    if (is_call_of(node, "__builtin_alloca")) return "the function takes storage that lasts until it returns";
    if (is_call(node) && may_return_twice(node)) return "the function can be returned to twice";
    return "";
}

std::string obstacle_of(const TREE_ACCESS& access) {
    const bool is_passed_on = access.kind == ACCESS::LEND && is_self_call(access.by);
    if (access.kind != ACCESS::EXPOSE && !is_passed_on) return "";
    if (!access.symbol) return "the address of a call's result is taken";
    return access.symbol->level > 0 ? std::string("the address of ") + access.symbol->name + " is taken" : "";
}

std::string obstacle_in(const NODE* tree) {
    std::string obstacle;
    for_each_access(tree, [&](const TREE_ACCESS& access) {
        if (obstacle.empty()) obstacle = obstacle_of(access);
    });
    if (!obstacle.empty()) return obstacle;
    any_node(tree, [&](const NODE* node) { return !(obstacle = obstacle_at(node)).empty(); });
    return obstacle;
}

const std::string& obstacle_of_function(REMOVER& remover) {
    if (remover.looked_at_function) return remover.obstacle;
    remover.looked_at_function = true;
    for (const BB* block = flow_graph.all_blocks; block; block = block->all_link)
        for (const STMT* cell = block->stmts; cell && remover.obstacle.empty(); cell = cell->next)
            remover.obstacle = obstacle_in(cell->tree);
    return remover.obstacle;
}

// --- 3: arguments and parameters ---

using PARAMETERS = std::vector<PARAMETER>;

bool take_copy(PARAMETERS& copies, const NODE* tree) {
    const NODE* parameter = copied_parameter(tree);
    if (parameter) copies.push_back({parameter->symbol(), tree});
    return parameter != nullptr;
}

bool collect_copies(PARAMETERS& copies, const NODE* tree) {
    for (; tree->op == OP_PCOMMA; tree = tree->left)
        if (!take_copy(copies, tree->right)) return false;
    return take_copy(copies, tree);
}

const NODE* copy_of(const PARAMETERS& copies, const SYMBOL* symbol) {
    for (const PARAMETER& copy : copies)
        if (copy.symbol == symbol) return copy.copy;
    return nullptr;
}

// The copies stand in the first statement of the entry, in any order; each parameter has one.
bool match_parameters(REMOVER& remover) {
    PARAMETERS copies;
    if (!function_symbols.parameters.first) return true;
    STMT* first = remover.entry->stmts;
    if (first == remover.entry->last_stmt || !collect_copies(copies, first->tree)) return false;
    PARAMETERS in_order;
    for (const SYMBOL* symbol = function_symbols.parameters.first; symbol; symbol = symbol->next) {
        const NODE* copy = copy_of(copies, symbol);
        if (!copy) return false;
        in_order.push_back({symbol, copy});
    }
    if (in_order.size() != copies.size()) return false;
    remover.parameters = in_order;
    remover.last_copy = first;
    return true;
}

// Asked for every self-call, and worked out for the first.
bool find_parameters(REMOVER& remover) {
    if (!remover.looked_at_parameters) {
        remover.looked_at_parameters = true;
        remover.parameters_match = match_parameters(remover);
    }
    return remover.parameters_match;
}

NODE* argument_value(NODE* argument) { return argument->op == OP_STARG ? argument->left : argument; }

// The first argument stands leftmost.
std::vector<NODE*> arguments_of(const NODE* call) {
    std::vector<NODE*> arguments;
    NODE* list = call->op == OP_CALL ? call->right : nullptr;
    for (; list && list->op == OP_COMMA; list = list->left) arguments.push_back(argument_value(list->right));
    if (list) arguments.push_back(argument_value(list));
    std::reverse(arguments.begin(), arguments.end());
    return arguments;
}

bool fits(const NODE* argument, const PARAMETER& parameter) {
    const TYPE* type = parameter.symbol->declared_type;
    if (type_is_csu(type)) return type_same_representation(argument->type, type);
    return type_is_scalar(type) && type_is_scalar(argument->type) &&
           type_same_representation(argument->type, type);
}

const char* mismatch(const REMOVER& remover, const std::vector<NODE*>& arguments) {
    if (arguments.size() != remover.parameters.size()) return "the arguments do not match the parameters";
    for (size_t i = 0; i < arguments.size(); ++i)
        if (!fits(arguments[i], remover.parameters[i]))
            return "an argument has another type than its parameter";
    return nullptr;
}

// --- 4: the loop ---

// The block behind the copies of the parameters. The entry itself must have no predecessors.
BB* first_block(REMOVER& remover) {
    if (remover.first) return remover.first;
    BB* first = split_block(remover.entry, remover.last_copy);
    return remover.first = first;
}

const SYMBOL* home_of(const PARAMETER& parameter) { return parameter.copy->left->symbol(); }

// The copy of the parameter with the argument in the parameter's place.
NODE* copy_with(const PARAMETER& parameter, NODE* argument) {
    NODE* copy = copy_tree(parameter.copy);
    NODE** place = &copy->right;
    while ((*place)->op != OP_NAME) place = &(*place)->left;
    *place = argument;
    return copy;
}

bool is_home(const NODE* argument, const SYMBOL* home) {
    return argument->op == OP_NAME && argument->symbol() == home;
}

template <class F>
bool any_later(const std::vector<NODE*>& arguments, size_t i, F holds) {
    return std::any_of(arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1, arguments.end(), holds);
}

// The home holds the argument already and goes on holding it. A volatile one is read and written.
bool stays(const std::vector<NODE*>& arguments, size_t i, const SYMBOL* home) {
    return is_home(arguments[i], home) && !tree_has_effects(arguments[i]) &&
           !any_later(arguments, i, [&](const NODE* later) { return tree_defines(later, home); });
}

// The statements that give the homes their new values. Arguments are evaluated first to last: one whose home
// a later argument still reads or changes waits in a temporary.
std::vector<NODE*> assignments(const REMOVER& remover, const std::vector<NODE*>& arguments) {
    std::vector<NODE*> in_order;
    std::vector<NODE*> afterwards;
    for (size_t i = 0; i < arguments.size(); ++i) {
        const PARAMETER& parameter = remover.parameters[i];
        const SYMBOL* home = home_of(parameter);
        if (stays(arguments, i, home)) continue;
        if (!any_later(arguments, i, [&](const NODE* later) { return tree_mentions(later, home); })) {
            in_order.push_back(copy_with(parameter, arguments[i]));
            continue;
        }
        TYPE* type = type_strip(parameter.symbol->declared_type);
        SYMBOL* held = new_temporary('T', type, -1);
        const bool structure = type_is_csu(type);
        in_order.push_back(
            new_binary(structure ? OP_STASG : OP_ASG, type, new_name(held, type), arguments[i]));
        afterwards.push_back(copy_with(parameter, new_name(held, type)));
    }
    in_order.insert(in_order.end(), afterwards.begin(), afterwards.end());
    return in_order;
}

void remove_call(REMOVER& remover, BB* block, const SELF_CALL& self, const std::vector<NODE*>& arguments) {
    const POSITION position = self.cell->position;
    const std::vector<NODE*> new_values = assignments(remover, arguments);
    BB* first = first_block(remover);
    if (block == remover.entry) block = first; // the entry's statements have moved there
    // The cells from the call on are reused: the call's own takes the comment, in front of which the
    // assignments are put.
    self.cell->tree = new_comment("***\t; tail recursive call occurs here");
    self.cell->next = nullptr;
    block->last_stmt = self.cell;
    for (NODE* tree : new_values) insert_before_ending(block, tree);
    STMT* branch = new_stmt(new_branch(first), position, nullptr);
    block->last_stmt->next = branch;
    block->last_stmt = branch;
    block->end_pos = &branch->position;
    set_only_successor(block, first);
}

void offer(REMOVER& remover, BB* block) {
    const SELF_CALL self = find_self_call(block);
    if (!self.call) return;
    stand_at(block, self.cell);
    const auto refuse = [&](const char* why) { pelorus::refuse(SITE_tail_recursion, why); };
    if (const std::string& obstacle = obstacle_of_function(remover); !obstacle.empty())
        return refuse(obstacle.c_str());
    if (!find_parameters(remover)) return refuse("the parameters are not copied first");
    const std::vector<NODE*> arguments = arguments_of(self.call);
    if (const char* why = mismatch(remover, arguments)) return refuse(why);
    if (change_exactly(SITE_tail_recursion, "\n  ===> Tail recursive self-call removed at line {}: {}\n\n",
                       self.cell->position.line, self.call))
        remove_call(remover, block, self, arguments);
}

} // namespace

bool remove_tail_recursion() {
    if (settings.no_tail_recursion || (settings.optimization_level < 2 && settings.program_mode != 2))
        return false;
    trace_entering("tail_recursion");
    if (!has_room_for_block()) return refuse(SITE_tail_recursion, "no further block can be numbered");
    const CHANGE_MARK mark;
    REMOVER remover;
    remover.entry = flow_graph.all_blocks;
    for (BB* block = flow_graph.all_blocks; block; block = block->all_link) offer(remover, block);
    return mark.any();
}

} // namespace pelorus
