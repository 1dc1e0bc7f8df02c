// See call.h.
#include "ir/call.h"

#include <algorithm>
#include <string_view>

#include "ir/funinfo.h"
#include "ir/symbol.h"

namespace pelorus {

uint32_t call_flags(const NODE* call) {
    const SYMBOL* callee = direct_callee(call);
    return callee && callee->funinfo ? callee->funinfo->flags : 0;
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
