// Argument matching; docs/inlining.md has the rule in words.
#include "ipa/inline_match.h"

#include <algorithm>

#include "ir/symbol.h"
#include "ir/validate_tree.h"

namespace pelorus {

std::vector<NODE*> inline_arguments(const NODE* call) {
    std::vector<NODE*> arguments;
    NODE* list = call->op == OP_CALL ? call->right : nullptr;
    for (; list && list->op == OP_COMMA; list = list->left) arguments.push_back(list->right);
    if (list) arguments.push_back(list);
    std::ranges::reverse(arguments);
    for (NODE*& argument : arguments)
        if (argument->op == OP_STARG) argument = argument->left;
    return arguments;
}

namespace {

// The same bits mean a value of either type. A bool is one for whoever looks at its lowest bit alone.
bool passes_as(const TYPE* given, const TYPE* taken) {
    if (type_is_csu(given) != type_is_csu(taken)) return false;
    return same_representation(given, taken) && type_is_bool(given) == type_is_bool(taken);
}

bool result_matches(const TYPE* wanted, const TYPE* given) {
    return type_is_void(wanted) || (!type_is_void(given) && passes_as(given, wanted));
}

} // namespace

bool call_matches(const NODE* call, const std::vector<NODE*>& arguments, const SYMBOL* callee,
                  const INLINE_DEFINITION& definition) {
    if (arguments.size() != definition.parameter_count) return false;
    for (size_t i = 0; i < arguments.size(); ++i)
        if (!passes_as(arguments[i]->type, definition.parameters[i].symbol->declared_type)) return false;
    return result_matches(call->type, type_strip(callee->type)->base);
}

} // namespace pelorus
