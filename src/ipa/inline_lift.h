// Taking a call out of the expression in which it stands. For the files of the expansion alone.
//
// What icode evaluates before the call must have happened before it, and what it reads it must read before
// the call can change it. So the way down to the call is walked: operands that are evaluated before are put
// into temporaries where that matters, and operators that evaluate an operand only under a condition become
// branches.
//
//     x = a[i] + (p && f(p) > 0);        I$1 = a[i];
//                                        if (p) goto 1; else goto 2;
//                                     1: I$2 = f(p) > 0; goto 3;
//                                     2: I$2 = 0;
//                                     3: x = I$1 + I$2;
#pragma once

#include <cstddef>
#include <unordered_set>
#include <vector>

#include "ir/stmt.h"

namespace pelorus {

// Statements in the order of the function.
struct INLINE_CODE {
    STMT* first = nullptr;
    STMT* last = nullptr;
    POSITION position{}; // of what is added

    void add(NODE* tree) {
        STMT* cell = new_stmt(tree, position, nullptr);
        (last ? last->next : first) = cell;
        last = cell;
    }
};

void add_label_definition(INLINE_CODE& code, uint32_t label);
void add_jump(INLINE_CODE& code, uint32_t label);
// ASG or STASG, as the type says.
NODE* new_inline_assignment(SYMBOL* variable, NODE* value);
// What stands for a value that nobody wants.
NODE* new_dropped_value();

// The places on the way from a statement's tree to a call in it, the call's own last.
using CALL_PATH = std::vector<NODE**>;

// Why the call at the end of the way cannot be taken out; null when it can.
const char* why_not_liftable(const CALL_PATH& path);
// Labels that taking it out may need.
uint32_t labels_to_lift(const CALL_PATH& path);
// Nobody wants the value of the call.
bool is_value_dropped(const CALL_PATH& path);

// The variables that the statement may change.
std::unordered_set<const SYMBOL*> changed_variables(NODE* statement);

struct INLINE_LIFT {
    CALL_PATH& path;
    INLINE_CODE& code;                                // what comes before the statement
    uint32_t& last_label;                             // of the function
    bool is_quiet = false;                            // the call changes nothing that others can see
    const std::unordered_set<const SYMBOL*>& changed; // variables that the statement changes
};

enum class LIFTED : uint8_t {
    CALL,      // nothing but the call's own arguments are evaluated before it any more
    CONDITION, // the outermost condition on the way has become a branch; the call stands in `code`
    ALL,       // the same, and nothing is left of the statement
};
// One step; what is left stands in the statement's tree.
// Needs: why_not_liftable found nothing; the exposures of the function's variables.
LIFTED lift_call(INLINE_LIFT& lift);

} // namespace pelorus
