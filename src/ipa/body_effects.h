// What one body does by itself, as it is noted while the body is there; see function_effects.h.
#pragma once

#include <cstdint>
#include <vector>

#include "ir/funinfo.h"

namespace pelorus {

// What a call of a function may do, in terms of its own activation and those above it.
enum EFFECT : uint16_t {
    EFFECT_GLOBAL_ASG = 0x01,   // assigns to a named object of static storage
    EFFECT_GLOBAL_USE = 0x02,   // reads one that is not constant
    EFFECT_ARGUMENT_ASG = 0x04, // assigns through an address that it was passed
    EFFECT_ARGUMENT_USE = 0x08, // reads through one
    EFFECT_OTHER_ASG = 0x10,    // assigns through any other pointer
    EFFECT_OTHER_USE = 0x20,    // reads through one
    EFFECT_KEEPS = 0x40,        // an address that it was passed may be known to others afterwards
    EFFECT_SEEN = 0x80,         // volatile accesses, input and output
    EFFECT_NO_END = 0x100,      // it may never end: a loop, or a circle of calls
};
constexpr uint16_t EFFECT_MEMORY = 0x3F; // the bits of accesses to memory
constexpr uint16_t EFFECT_ALL = 0x1FF;

// What an address may lead to, or a value may be made of.
enum SOURCE : uint8_t {
    FROM_OWN = 0x01,      // a variable of the activation
    FROM_STATIC = 0x02,   // a named object of static storage
    FROM_CONSTANT = 0x04, // a constant one, a string, a function
    FROM_ARGUMENT = 0x08, // a pointer that was passed
    FROM_MEMBER = 0x10,   // one in a structure that was passed
    FROM_OTHER = 0x20,    // what was loaded, a call's result, a number
};

constexpr uint8_t FROM_PASSED = FROM_ARGUMENT | FROM_MEMBER;

// A direct call.
struct CALL_NOTE {
    SYMBOL* callee;
    uint8_t passes;        // SOURCE bits of all its arguments together
    bool fits;             // by the function's own prototype: the flags speak of its arguments
    bool passes_functions; // an argument is the address of a function
};

// Statements that are executed one after another. Their parts stand in the common lists of BODY_NOTES.
struct FLOW_NOTE {
    uint32_t first_successor, end_successors; // numbers within the body; 0 is the entry
    uint32_t first_stop, end_stops;           // functions that are called on every way through it
    bool leaves;                              // it returns
};

struct BODY_NOTE {
    FUNINFO* info;
    uint16_t effects;               // of its statements, without those of direct calls
    bool promises_nothing;          // others may replace the function, or it is assembly
    bool never_returns;             // whatever its callees do
    bool is_straight, has_loop;     //
    uint32_t first_call, end_calls; // in BODY_NOTES::calls
    uint32_t first_flow, end_flow;  // in BODY_NOTES::flow; none when it returns whatever its callees do
};

struct BODY_NOTES {
    std::vector<BODY_NOTE> bodies;
    std::vector<CALL_NOTE> calls;
    std::vector<FLOW_NOTE> flow;
    std::vector<uint32_t> successors;
    std::vector<SYMBOL*> stops;
};

// Adds the note of the current function. Linear in its statements.
void add_body_note(BODY_NOTES& notes, FUNINFO& info);

} // namespace pelorus
