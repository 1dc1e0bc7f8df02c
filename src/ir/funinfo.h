// FUNINFO: what the file-level analysis knows about a function.
#pragma once

#include <cstdint>
#include <type_traits>

#include "ir/position.h"

namespace pelorus {

struct SYMBOL;

enum FUN_FLAG : uint32_t {
#define FUN_FLAG(value, name) FUN_##name = (value),
#include "ir/fun_flags.def"
#undef FUN_FLAG
};

struct FUNINFO;

struct INLINE_DEFINITION; // what inline expansion keeps of a body (ipa/inline.h)

// A direct call that the file-level analysis found in a function. File zone.
struct CALL_SITE {
    CALL_SITE* next;
    FUNINFO* callee;
    POSITION position;         // of its statement
    const char* jump_function; // what is known of the arguments, as partial evaluation writes it
};
static_assert(std::is_trivially_destructible_v<CALL_SITE>);

// A function that another one calls by name, or whose address it takes; each once. File zone.
struct FUNCTION_REFERENCE {
    FUNCTION_REFERENCE* next;
    FUNINFO* function;
};
static_assert(std::is_trivially_destructible_v<FUNCTION_REFERENCE>);

// The number of a function that the call graph does not hold.
constexpr uint16_t NO_CALL_GRAPH_NUMBER = 0xFFFF;

struct FUNINFO {
    const char* name;          // plain name: without its leading "_"
    SYMBOL* symbol;            // null for a function that is only called
    FUNINFO* next;             // in order of creation
    FUNINFO* hash_next;        // chain of the hash table
    uint32_t flags;            // FUN_FLAG bits
    uint32_t size;             // units: operator nodes of its statements; the weight for inlining
    uint8_t referenced;        // something written refers to it
    uint64_t body_offset;      // of its function-begin record in the input; valid when FUN_is_defined
    const char* override_text; // options laid over the command line's for this function; null for none
    POSITION position;         // of the function begin
    // What the file-level analysis finds; nothing before it.
    CALL_SITE* call_sites;          // in the order of the function
    FUNCTION_REFERENCE* callees;    // called by name, in the order of their first calls
    FUNCTION_REFERENCE* references; // its address taken, in the order of the function
    uint32_t site_count;            // calls of it by name in this file
    uint32_t uses_left;             // of those, the ones that were not expanded
    uint16_t number;                // in the call graph, callers before callees; NO_CALL_GRAPH_NUMBER
    INLINE_DEFINITION* definition;  // null when its calls are not expanded
};
static_assert(std::is_trivially_destructible_v<FUNINFO>);

// The record of the function with this linkage name (one leading "_", "$" or "." does not count); null when
// there is none. The returned record lives for the whole run.
FUNINFO* find_funinfo(const char* name);
// The same, made when there is none.
FUNINFO* get_funinfo(const char* name);
// All records in order of creation.
FUNINFO* first_funinfo();
void clear_funinfo();

// Traces "\n%s() has these properties: 0x%08lx\n" and a line for each flag.
void trace_fun_flags(const FUNINFO& function);

} // namespace pelorus
