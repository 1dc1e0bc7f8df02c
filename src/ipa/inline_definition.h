// The integrable definition of a function: what inline expansion keeps of its body. For the files of the
// expansion alone.
//
// All of it lies in the file zone, since the function's own zone is gone when a call is expanded. Its trees
// name copies of the function's symbols, which no list holds; `serial` is their place in `locals`.
#pragma once

#include <cstdint>
#include <string>
#include <type_traits>

#include "ir/effects.h"
#include "ir/stmt.h"
#include "ir/walk.h"
#include "tree/access.h"

namespace pelorus {

// A parameter, and the tree that copies it into the variable that the body works with.
struct INLINE_PARAMETER {
    SYMBOL* symbol;  // level 1
    SYMBOL* home;    // level 2
    NODE* copy;      // ASG or STASG of the home; the parameter stands in it once, perhaps converted
    bool is_settled; // the body neither changes the home nor takes its address, and it is not volatile
};
static_assert(std::is_trivially_destructible_v<INLINE_PARAMETER>);

struct INLINE_DEFINITION {
    STMT* statements; // in the order of the function, without the copies of the parameters
    SYMBOL** locals;  // by serial number; null for a symbol that is no variable
    INLINE_PARAMETER* parameters;
    SYMBOL* return_symbol; // of `locals`; null when no return names one
    SYMBOL* returned;      // the variable whose value every return gives; null when there is no such one
    NODE* value;           // the body is `return value` and nothing else; null when there is more to it
    uint32_t local_count;  //
    uint32_t parameter_count;
    uint32_t labels;    // numbered 1 to this
    uint32_t blocks;    // that the statements make, at the most
    uint32_t size;      // units
    bool is_quiet;      // evaluating the body changes nothing but its own variables
    bool has_bitfields; //
};
static_assert(std::is_trivially_destructible_v<INLINE_DEFINITION>);

// A copy of the tree in the function's zone or, with `local` false, the file's, with all that hangs on it.
NODE* copy_into_zone(const NODE* tree, bool local);

// Why the function whose body was just read cannot be expanded into others; null when it can.
const char* why_not_integrable(const FUNINFO& info);

// The statement of the function being read that copies the parameters into their homes; null when there is
// none.
const STMT* parameter_copies();
// The copy of the parameter in such a statement's tree; null when it has none.
const NODE* copy_of_parameter(const NODE* chain, const SYMBOL* parameter);

// The text of assembly means the same when it stands in the output several times.
bool can_repeat_assembly(const char* text);

// The definition of the current function.
// Needs: why_not_integrable found nothing.
INLINE_DEFINITION* make_inline_definition();

// Calls visit(variable) for each variable whose address the tree takes, those too that are only lent to a
// call: when that is expanded, the address stands in the function itself.
template <class F>
void for_each_exposed(NODE* tree, F visit) {
    for_each_node(tree, [&](const NODE* node) {
        SYMBOL* symbol = takes_address(node) ? variable_of(node->left) : nullptr;
        if (symbol) visit(symbol);
    });
    for_each_access(tree, [&](const TREE_ACCESS& access) {
        if (access.kind == ACCESS::EXPOSE && access.symbol) visit(access.symbol);
    });
}

// The blocks that a statement begins or ends, at the most.
uint32_t blocks_of(const NODE* statement);

} // namespace pelorus
