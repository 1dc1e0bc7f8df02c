// Copies of integrable definitions in place of calls. For the files of the expansion alone.
#pragma once

#include <unordered_set>
#include <vector>

#include "ipa/inline_definition.h"
#include "ipa/inline_lift.h"

namespace pelorus {

// Where the value of the call goes.
struct INLINE_DELIVERY {
    enum WAY : uint8_t {
        DROP,   // nobody wants it
        ASSIGN, // to a variable; null: to the copy of the callee's own
        RETURN, // the caller returns it
    };
    WAY way = DROP;
    SYMBOL* variable = nullptr;     // ASSIGN
    const NODE* returned = nullptr; // RETURN: the NAME in the caller's return
};

struct INLINE_CALL {
    NODE* call;
    FUNINFO* callee;
    const INLINE_DEFINITION& definition;
    std::vector<NODE*> arguments;
    POSITION position; // of the statement that holds it
    // The variables that hold the values of expanded calls; each is read where the call stood, and nowhere
    // else.
    const std::unordered_set<const SYMBOL*>& results;
};

// The value that the call stands for, when the body is one value and the arguments can stand in it where it
// names the parameters; null otherwise.
NODE* value_of_call(const INLINE_CALL& call);

// Adds the body to the code: the parameters take the arguments, and the value is delivered. Answers the
// variable that holds the value; null when none does.
SYMBOL* copy_body(const INLINE_CALL& call, INLINE_DELIVERY delivery, INLINE_CODE& code, uint32_t& last_label);

} // namespace pelorus
