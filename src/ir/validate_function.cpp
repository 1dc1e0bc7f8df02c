// See validate_function.h.
#include "ir/validate_function.h"

#include <algorithm>
#include <vector>

#include "ir/call.h"
#include "ir/parameters.h"
#include "ir/register_structure.h"
#include "ir/symbol.h"
#include "ir/walk.h"

namespace pelorus {

namespace {

bool is_parameter(const NODE* node) {
    return node->op == OP_NAME && node->symbol() && node->symbol()->level == PARAMETER_LEVEL;
}

// --- The first statement ---

int check_first(const FUNCTION_CHECK& check, const NODE* stmt, const TREE_PLACE& place) {
    if (!check.has_parameters || copies_parameters(stmt)) return 0;
    report_invalid_node(RULE_U5, "The first statement does not copy the parameters into their homes", stmt,
                        place);
    return 1;
}

// --- Variables ---

bool is_in_register(const NODE* node) {
    return node->op == OP_NAME && node->symbol() && node->symbol()->storage_class == SC_REGISTER;
}

// The address of a variable in a register, perhaps behind a COMMAOP.
bool is_address_of_register(const NODE* node) {
    if ((node->op != OP_UAND && node->op != OP_ACONV) || !node->left) return false;
    const NODE* object = node->left;
    while (object->op == OP_COMMAOP && object->right) object = object->right;
    return is_in_register(object);
}

const char* register_problem(FUNCTION_CHECK& check, const NODE* node) {
    if (is_address_of_register(node)) return "The address of a variable in a register is taken";
    const bool was_bad = check.uses_registers && check.comes_back;
    check.comes_back |= is_call(node) && may_return_twice(node);
    if (is_in_register(node)) {
        if (type_is_volatile(node->type)) return "A variable in a register is named as a volatile one";
        check.uses_registers = true;
    }
    return !was_bad && check.uses_registers && check.comes_back
               ? "A function with variables in registers makes a call that may return twice"
               : nullptr;
}

// ARGREF names a parameter for its place, not for its value.
int check_names(FUNCTION_CHECK& check, const NODE* stmt, const TREE_PLACE& place, bool first) {
    int failures = 0;
    const auto report = [&](RULE rule, const char* problem, const NODE* node) {
        report_invalid_node(rule, problem, node, place);
        failures++;
    };
    for_each_node_down(stmt, stmt, [&](const NODE* node, const NODE* parent) {
        if (!first && check.minds_parameters && is_parameter(node) && parent->op != OP_ARGREF)
            report(RULE_U6, "The parameter is used outside the first statement", node);
        if (const char* problem = register_problem(check, node)) report(RULE_U15, problem, node);
        return node;
    });
    for_each_name_in_memory(stmt, [&](const NODE* name) {
        if (is_in_register(name)) report(RULE_U15, "A structure in registers is wanted in memory", name);
    });
    return failures;
}

// --- Cases ---

int check_cases(const NODE* stmt, const TREE_PLACE& place) {
    int failures = 0;
    const NODE* selector = without_versions(stmt->left);
    std::vector<const NODE*> constants;
    for (const NODE* list = stmt->right; list; list = list->op == OP_COMMA ? list->left : nullptr) {
        const NODE* item = list->op == OP_COMMA ? list->right : list;
        if (item->op == OP_CASE) constants.push_back(item->left);
    }
    for (const NODE* constant : constants) {
        if (same_representation(constant->type, selector->type)) continue;
        report_invalid_node(RULE_U11, "The case has another type than the selector", constant, place);
        failures++;
    }
    const auto number = [](const NODE* node) { return int96_to_int64(node->value()); };
    std::sort(constants.begin(), constants.end(),
              [&](const NODE* a, const NODE* b) { return number(a) < number(b); });
    const auto twice =
        std::adjacent_find(constants.begin(), constants.end(),
                           [&](const NODE* a, const NODE* b) { return number(a) == number(b); });
    if (twice == constants.end()) return failures;
    report_invalid_node(RULE_U10, "Two cases have this value", *twice, place);
    return failures + 1;
}

// --- Returns ---

const char* return_problem(FUNCTION_CHECK& check, const NODE* stmt) {
    const SYMBOL* symbol = without_versions(stmt->left)->symbol();
    const bool has_value = check.returned && !type_is_void(check.returned);
    if (!has_value) return symbol || stmt->op == OP_RETURN ? "A void function returns a value" : nullptr;
    if (!symbol) return "The return names no variable";
    if (symbol->level != BODY_LEVEL) return "The variable that the return names is not local";
    if (!same_representation(symbol->declared_type, check.returned))
        return "The variable that the return names has not the function's return type";
    if (check.return_symbol && check.return_symbol != symbol) return "The returns name different variables";
    check.return_symbol = symbol;
    return nullptr;
}

int check_return(FUNCTION_CHECK& check, const NODE* stmt, const TREE_PLACE& place) {
    const char* problem = check.returned ? return_problem(check, stmt) : nullptr;
    const NODE* value = stmt->op == OP_RETURN ? without_versions(stmt->right) : nullptr;
    if (!problem && value && check.returned && !same_representation(value->type, check.returned))
        problem = "The value has not the function's return type";
    if (problem) report_invalid_node(RULE_U12, problem, stmt, place);
    return problem ? 1 : 0;
}

int check_form(const NODE* stmt, bool first, const TREE_PLACE& place) {
    const bool part = opcode_fact(stmt->op).kind == OPCODE_CLASS::PARTS && stmt->op != OP_DDNODE;
    if (!part || (first && stmt->op == OP_PCOMMA)) return 0;
    report_invalid_node(RULE_U7, "This is no form that a statement has", stmt, place);
    return 1;
}

} // namespace

int check_in_function(FUNCTION_CHECK& check, const NODE* stmt, const TREE_PLACE& place) {
    // Texts and pragmas may stand before the first statement.
    if (stmt->op == OP_ASM || stmt->op == OP_PPRAGMA || stmt->op == OP_LABELDEF) return 0;
    const bool first = check.first;
    check.first = false;
    int failures = check_form(stmt, first, place);
    const bool copies = first && (check.has_parameters || stmt->op == OP_PCOMMA);
    if (copies && check.minds_parameters) failures += check_first(check, stmt, place);
    failures += check_names(check, stmt, place, copies);
    if (stmt->op == OP_SWITCH) failures += check_cases(stmt, place);
    if (stmt->op == OP_RETURN || stmt->op == OP_URETURN) failures += check_return(check, stmt, place);
    return failures;
}

} // namespace pelorus
