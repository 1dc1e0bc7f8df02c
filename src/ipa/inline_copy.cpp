// See inline_copy.h.
//
//   1. A parameter that the body does not change is replaced by its argument where that has the same value
//      all the time and costs nothing to have twice. All other arguments are assigned to the copies of the
//      parameters' homes, the first one first.
//   2. The statements are copied. Variables get copies of their own, labels numbers of their own, and calls
//      the depth of the expansion.
//   3. A return assigns the value to where it is wanted, and goes to the end of the copy.
//
// The variables are made when they are first named, so that there is none that nobody needs.
#include "ipa/inline_copy.h"

#include <algorithm>
#include <string>

#include "ir/call.h"
#include "ir/funinfo.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "memory/zone.h"
#include "support/fatal.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

struct COPIER {
    const INLINE_CALL& call;
    INLINE_CODE* code;               // null while a value is copied
    uint32_t label_base;             // added to the definition's labels
    const INLINED_CALL* place;       // for the positions of what is copied
    std::vector<SYMBOL*> copies;     // by serial number; null: none yet
    std::vector<NODE*> replacements; // by serial number; null: none
    uint32_t line = 0;               // of the statement being copied
};

[[noreturn]] void inline_error(const char* index) {
    fatal_error("\n!!! COMPILER (OPTIMIZER) ERROR IN PROCINT, INDEX=%s !!!\n", index);
}

COPIER new_copier(const INLINE_CALL& call) {
    COPIER copier{call, nullptr, 0, nullptr, {}, {}};
    copier.copies.resize(call.definition.local_count);
    copier.replacements.resize(call.definition.local_count);
    return copier;
}

// --- Variables ---

SYMBOL* copy_of_local(COPIER& copier, const SYMBOL* local) {
    const auto index = static_cast<size_t>(local->serial);
    if (index >= copier.copies.size() || copier.call.definition.locals[index] != local)
        inline_error(local->name);
    SYMBOL*& copy = copier.copies[index];
    if (!copy) {
        const std::string name = std::string(local->name) + "$" + std::to_string(function_symbols.serial);
        copy = new_copied_variable(local, name.c_str());
        copy->address_exposed = local->address_exposed;
        copy->scope_end = local->scope_end;
        if (copier.place) copy->position.scope = local->position.scope, copy->position.call = copier.place;
    }
    return copy;
}

// The caller's statements use the copy as well, so that it lives longer than the copied body runs.
SYMBOL* copy_for_caller(COPIER& copier, const SYMBOL* local) {
    SYMBOL* copy = copy_of_local(copier, local);
    copy->position.scope = UNKNOWN_SCOPE;
    return copy;
}

void trace_replacement(const COPIER& copier, const SYMBOL* local, const NODE* node) {
    if (debug_on())
        trace("\t      (%ld) Replacing %s with %s\n", static_cast<long>(copier.line), local->name,
              tree_text(node).c_str());
}

void replace_name(COPIER& copier, NODE* name) {
    const SYMBOL* local = name->symbol();
    if (const NODE* replacement = copier.replacements[static_cast<size_t>(local->serial)])
        *name = *copy_into_zone(replacement, true);
    else
        name->set_symbol(copy_of_local(copier, local));
    trace_replacement(copier, local, name);
}

// --- Trees ---

bool is_local_of_definition(const NODE* node) {
    return node->op == OP_NAME && node->symbol() && node->symbol()->level > FILE_SCOPE;
}

void adapt_node(COPIER& copier, NODE* node) {
    if (node->op == OP_LABEL || node->op == OP_LABELDEF)
        node->set_label(static_cast<uint32_t>(node->value_lo) + copier.label_base);
    if (is_call(node)) node->inline_depth = copier.call.call->inline_depth + 1;
}

NODE* adapted_copy(COPIER& copier, const NODE* tree) {
    NODE* copy = copy_into_zone(tree, true);
    std::vector<NODE*> names; // what takes their places is not of the definition
    for_each_node(copy, [&](NODE* node) {
        adapt_node(copier, node);
        if (is_local_of_definition(node)) names.push_back(node);
    });
    for (NODE* name : names) replace_name(copier, name);
    return copy;
}

// --- 1: parameters ---

bool is_fixed_address(const NODE* tree) {
    return takes_address(tree) && !behind_address(tree) && !tree_has_effects(tree);
}

const NODE* without_free_conversions(const NODE* tree) {
    while ((tree->op == OP_PCONV || tree->op == OP_ISP2CHAR) && !operator_count(tree, 0)) tree = tree->left;
    return tree;
}

// Costs nothing to have several times.
bool is_cheap(const NODE* tree) {
    tree = without_free_conversions(tree);
    return tree->op == OP_ICON || tree->op == OP_NAME || is_fixed_address(tree);
}

// The argument as the home would hold it.
NODE* value_in_home(const INLINE_PARAMETER& parameter, const NODE* argument) {
    TYPE* type = type_strip(parameter.symbol->declared_type);
    NODE* value = copy_into_zone(argument, true);
    if (type_is_csu(type)) return value;
    NODE* copy = copy_into_zone(parameter.copy, true);
    NODE** place = &copy->right;
    while ((*place)->op != OP_NAME) place = &(*place)->left;
    *place = converted_value(value, type);
    return copy->right;
}

// The same as what takes the place of the home's name.
NODE* value_as_home(const INLINE_PARAMETER& parameter, const NODE* argument) {
    TYPE* type = type_strip(parameter.home->declared_type);
    NODE* value = value_in_home(parameter, argument);
    if (type_is_csu(type)) return value;
    value = simplify_tree(converted_value(value, type));
    if (type_compatible(type_strip(value->type), type)) return value;
    if (value->op == OP_ICON || is_fixed_address(value)) {
        set_type(value, type);
        return value;
    }
    return type_is_pointer(type) ? new_unary(OP_PCONV, type, value) : value;
}

// A member of the structure has the qualifiers of the structure as well.
bool can_stand_for_structure(const NODE* value, const INLINE_PARAMETER& parameter) {
    const bool is_object =
        value->op == OP_NAME || value->op == OP_UMULT || value->op == OP_STDOT || value->op == OP_STREF;
    return is_object && type_qualifiers(value->type) == type_qualifiers(parameter.home->declared_type);
}

bool can_stand_for_home(const NODE* value, const INLINE_PARAMETER& parameter) {
    if (tree_has_effects(value) || any_node(value, is_call)) return false;
    if (type_is_csu(parameter.home->declared_type) && !can_stand_for_structure(value, parameter))
        return false;
    if (is_cheap(value) || parameter.home->reference_count <= 1) return true;
    return type_is_csu(value->type) && operator_count(value, 1) <= 1; // less than to copy it
}

// All that the tree reads are variables that only the caller's own statements can change.
bool reads_private_variables(const NODE* tree) {
    bool only = !tree_has_effects(tree) && !any_node(tree, is_call);
    for_each_access(tree, [&](const TREE_ACCESS& access) {
        if (access.kind == ACCESS::EXPOSE) return;
        const SYMBOL* symbol = access.symbol;
        only &= symbol && symbol->level > FILE_SCOPE && !symbol->address_exposed && !access.is_volatile;
    });
    return only;
}

// The argument has the same value as long as the body runs, which assigns to `target` at its end.
bool lasts(const INLINE_CALL& call, size_t i, const SYMBOL* target) {
    const NODE* argument = call.arguments[i];
    if (!reads_private_variables(argument)) return false;
    bool changed = target && tree_mentions(argument, target);
    for (size_t later = i + 1; later < call.arguments.size(); ++later)
        for_each_access(call.arguments[later], [&](const TREE_ACCESS& access) {
            changed |= is_definition(access) && access.symbol && tree_mentions(argument, access.symbol);
        });
    return !changed;
}

bool has_loops(const INLINE_DEFINITION& definition) { return definition.labels > 0; }

// What may stand for the parameter in the body; null when it must be assigned to its home.
NODE* lasting_value(const INLINE_CALL& call, size_t i, const SYMBOL* target) {
    const INLINE_PARAMETER& parameter = call.definition.parameters[i];
    if (!parameter.is_settled || type_is_csu(parameter.home->declared_type)) return nullptr;
    if (!lasts(call, i, target)) return nullptr;
    NODE* value = value_as_home(parameter, call.arguments[i]);
    const bool fits = has_loops(call.definition) ? is_cheap(value) : can_stand_for_home(value, parameter);
    return fits ? value : nullptr;
}

// A structure that an expanded call gave is there for this argument only, so that it can be the home.
bool takes_over(COPIER& copier, const INLINE_PARAMETER& parameter, const NODE* argument) {
    if (argument->op != OP_NAME || !type_is_csu(argument->type)) return false;
    if (!copier.call.results.contains(argument->symbol())) return false;
    if (type_qualifiers(parameter.home->declared_type)) return false;
    argument->symbol()->address_exposed |= parameter.home->address_exposed;
    copier.copies[static_cast<size_t>(parameter.home->serial)] = argument->symbol();
    return true;
}

void bind_parameter(COPIER& copier, size_t i, const SYMBOL* target) {
    const INLINE_PARAMETER& parameter = copier.call.definition.parameters[i];
    NODE* argument = copier.call.arguments[i];
    if (takes_over(copier, parameter, argument)) return;
    if (!parameter.home->reference_count) {
        if (tree_has_effects(argument)) copier.code->add(argument);
        return;
    }
    if (NODE* value = lasting_value(copier.call, i, target)) {
        copier.replacements[static_cast<size_t>(parameter.home->serial)] = value;
        return;
    }
    SYMBOL* home = copy_for_caller(copier, parameter.home);
    copier.code->add(new_inline_assignment(home, value_in_home(parameter, argument)));
}

// --- 3: returns ---

NODE* result_as(NODE* value, TYPE* type) {
    return type_is_scalar(type) ? converted_value(value, type) : value;
}

// The value of a return; of one without, what the callee's own variable holds, null when it has none.
NODE* returned_value(COPIER& copier, const NODE* statement) {
    if (statement->op == OP_RETURN) return adapted_copy(copier, statement->right);
    const SYMBOL* own = copier.call.definition.return_symbol;
    if (!own) return nullptr;
    SYMBOL* copy = copy_of_local(copier, own);
    return new_name(copy, copy->declared_type);
}

NODE* new_return(const NODE* name, NODE* value) {
    TYPE* void_type = type_package()->void_type();
    NODE* variable = copy_into_zone(name, true);
    if (!value) return new_unary(OP_URETURN, void_type, variable);
    return new_binary(OP_RETURN, void_type, variable, result_as(value, name->type));
}

void deliver(COPIER& copier, const INLINE_DELIVERY& delivery, NODE* value) {
    switch (delivery.way) {
    case INLINE_DELIVERY::DROP:
        if (value && tree_has_effects(value)) copier.code->add(value);
        break;
    case INLINE_DELIVERY::ASSIGN:
        if (!value || (value->op == OP_NAME && value->symbol() == delivery.variable)) break;
        value = result_as(value, type_strip(delivery.variable->declared_type));
        copier.code->add(new_inline_assignment(delivery.variable, value));
        break;
    case INLINE_DELIVERY::RETURN: copier.code->add(new_return(delivery.returned, value)); break;
    }
}

// The caller's way through the copy ends here, unless the copy itself does.
void leave(COPIER& copier, const INLINE_DELIVERY& delivery, const STMT* cell, uint32_t exit, bool& jumps) {
    if (delivery.way == INLINE_DELIVERY::RETURN || !cell->next) return;
    add_jump(*copier.code, exit);
    jumps = true;
}

// --- 2: statements ---

bool leaves_function(int32_t op) { return op == OP_RETURN || op == OP_URETURN; }

void set_place(COPIER& copier, const POSITION& position) {
    copier.code->position = position;
    copier.code->position.call = copier.place;
    copier.line = position.line;
}

void copy_statements(COPIER& copier, const INLINE_DELIVERY& delivery, uint32_t exit) {
    bool jumps = false;
    const STMT* last = nullptr;
    for (const STMT* cell = copier.call.definition.statements; cell; last = cell, cell = cell->next) {
        set_place(copier, cell->position);
        if (!leaves_function(cell->tree->op)) {
            copier.code->add(adapted_copy(copier, cell->tree));
            continue;
        }
        deliver(copier, delivery, returned_value(copier, cell->tree));
        leave(copier, delivery, cell, exit, jumps);
    }
    set_place(copier, copier.call.position);
    copier.code->position.scope = UNKNOWN_SCOPE; // the call's is one of the caller
    const bool runs_off = !last || !leaves_function(last->tree->op);
    if (runs_off && delivery.way == INLINE_DELIVERY::RETURN)
        copier.code->add(new_return(delivery.returned, nullptr));
    if (jumps) add_label_definition(*copier.code, exit);
    copier.code->position = copier.call.position;
}

// The parameters are bound.
SYMBOL* result_variable(COPIER& copier) {
    const SYMBOL* returned = copier.call.definition.returned;
    if (returned && !copier.replacements[static_cast<size_t>(returned->serial)])
        return copy_for_caller(copier, returned);
    if (const SYMBOL* own = copier.call.definition.return_symbol) return copy_for_caller(copier, own);
    return new_temporary('I', type_strip(copier.call.call->type), -1);
}

const INLINED_CALL* new_place(const INLINE_CALL& call) {
    auto* place = zone_new<INLINED_CALL>(true);
    *place = {call.callee->name, call.position};
    return place;
}

} // namespace

NODE* value_of_call(const INLINE_CALL& call) {
    const INLINE_DEFINITION& definition = call.definition;
    if (!definition.value || !type_is_scalar(call.call->type)) return nullptr;
    COPIER copier = new_copier(call);
    copier.line = definition.statements->position.line;
    for (size_t i = 0; i < call.arguments.size(); ++i) {
        const INLINE_PARAMETER& parameter = definition.parameters[i];
        NODE* value = value_as_home(parameter, call.arguments[i]);
        if (!can_stand_for_home(value, parameter)) return nullptr;
        copier.replacements[static_cast<size_t>(parameter.home->serial)] = value;
    }
    return result_as(adapted_copy(copier, definition.value), call.call->type);
}

SYMBOL* copy_body(const INLINE_CALL& call, INLINE_DELIVERY delivery, INLINE_CODE& code,
                  uint32_t& last_label) {
    COPIER copier = new_copier(call);
    copier.code = &code;
    copier.label_base = last_label;
    copier.place = new_place(call);
    last_label += call.definition.labels + 1;
    for (size_t i = 0; i < call.arguments.size(); ++i) bind_parameter(copier, i, delivery.variable);
    if (delivery.way == INLINE_DELIVERY::ASSIGN && !delivery.variable)
        delivery.variable = result_variable(copier);
    copy_statements(copier, delivery, last_label);
    return delivery.variable;
}

} // namespace pelorus
