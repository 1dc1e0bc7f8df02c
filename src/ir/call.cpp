// See call.h.
#include "ir/call.h"

#include <algorithm>
#include <string_view>

#include "ir/funinfo.h"
#include "ir/symbol.h"
#include "support/settings.h"

namespace pelorus {

namespace {

// Is the symbol the function of its name, and not another one by that name?
bool bears_its_own_name(const SYMBOL* callee) {
    return callee->storage_class == SC_EXTERN && !find_attribute(callee, "asm");
}

} // namespace

uint32_t flags_of_function(const SYMBOL* callee) {
    const FUNINFO* info = callee->funinfo;
    if (!info) return 0;
    const bool is_told = info->flags & FUN_is_defined ? info->symbol == callee : bears_its_own_name(callee);
    return is_told ? info->flags : 0;
}

uint32_t call_flags(const NODE* call) {
    const SYMBOL* callee = settings.optimization_level < 1 ? nullptr : direct_callee(call);
    return callee ? flags_of_function(callee) : 0;
}

bool is_pure_call(const NODE* node) { return is_call(node) && (call_flags(node) & FUN_is_pure_fun); }

bool may_read_memory(const NODE* call) {
    constexpr uint32_t READS_NONE = FUN_no_global_use | FUN_no_ind_use;
    return !is_call(call) || (call_flags(call) & READS_NONE) != READS_NONE;
}

bool may_write_memory(const NODE* call) {
    constexpr uint32_t WRITES_NONE = FUN_no_global_asg | FUN_no_ind_asg;
    return !is_call(call) || (call_flags(call) & WRITES_NONE) != WRITES_NONE;
}

namespace {

// The local variable whose address is passed as it is; null for any other argument.
NODE* name_behind_address(const NODE* argument) {
    for (; argument->op == OP_PCONV || argument->op == OP_ISP2CHAR; argument = argument->left)
        if (!type_is_pointer(argument->type)) return nullptr;
    if (argument->op != OP_UAND && argument->op != OP_ACONV) return nullptr;
    NODE* name = argument->left;
    return name->op == OP_NAME && name->symbol() && name->symbol()->level > 0 ? name : nullptr;
}

// What the flags say of parameters holds for the arguments of this call.
bool takes_own_arguments(const NODE* call) {
    const TYPE* type = type_target(call->left->type);
    return type && type_is_function(type) && type_strip(type)->prototyped &&
           type_compatible(type, direct_callee(call)->type);
}

} // namespace

std::vector<LENT_ARGUMENT> lent_arguments(const NODE* call) {
    std::vector<LENT_ARGUMENT> lent;
    if (call->op != OP_CALL || !(call_flags(call) & FUN_no_byref_asg) || !takes_own_arguments(call))
        return lent;
    std::vector<NODE*> arguments;
    NODE* list = call->right;
    for (; list->op == OP_COMMA; list = list->left) arguments.push_back(list->right);
    arguments.push_back(list);
    const TYPE_PART* part = type_strip(type_target(call->left->type))->parts;
    for (; part && !arguments.empty(); part = part->next) {
        if (part->record_kind != TR_PARAMETER) continue;
        NODE* name = type_is_pointer(part->type) ? name_behind_address(arguments.back()) : nullptr;
        if (name) lent.push_back({arguments.back(), name});
        arguments.pop_back();
    }
    return lent;
}

bool may_return_twice(const NODE* call) {
    constexpr std::string_view NAMES[] = {"setjmp", "_setjmp", "sigsetjmp", "__sigsetjmp", "vfork"};
    const TYPE* callee_type = type_target(call->left->type);
    if (callee_type && type_is_function(callee_type) &&
        (type_strip(callee_type)->attributes & FA_RETURNS_TWICE))
        return true;
    const SYMBOL* callee = direct_callee(call);
    return callee && std::ranges::find(NAMES, plain_name(callee->name)) != std::end(NAMES);
}

} // namespace pelorus
