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

// A call that the file-level analysis found in a function. File zone.
struct CALL_SITE {
    CALL_SITE* next;
    FUNINFO* callee;
    const char* jump_function; // what is known of the arguments, as partial evaluation writes it
};
static_assert(std::is_trivially_destructible_v<CALL_SITE>);

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
    CALL_SITE* call_sites;     // in the order of the function; null before the file-level analysis finds them
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
