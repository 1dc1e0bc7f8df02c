// The record of a pass, and what the runner knows by it.
//
// The pipeline, its groups and Pass 1.5 are constant tables of these records. A pass is a function that says
// whether it changed the function; whatever else there is to say of it, what it needs and keeps, when it
// runs, why it stands where it does, stands in its row.
#pragma once

#include <cstdint>
#include <span>

#include "cfg/facts.h"

namespace pelorus {

// When a pass runs.
enum class GATE : uint8_t {
    ALWAYS,
    LEVEL_1,        // level 1 or more
    LEVEL_2,        // level 2 or more
    SEVERAL_BLOCKS, // the function has two blocks or more
    NEVER,          // its own predicate always answers no
    NOT_SUPPRESSED, // unless the function is suppressed
};

// Whether a user, or a function that is to stay as it is, may leave a pass out.
enum class NEED : uint8_t { MAY_SKIP, NEEDED };

struct PASS {
    const char* name; // as documents and the trace name it
    const char* key;  // as `--disable=` names it; rows that run the same code share it
    GATE gate = GATE::ALWAYS;
    NEED need = NEED::MAY_SKIP;
    bool (*run)() = nullptr; // answers whether it changed the function; null: not built, or a group
    FACTS needs = NO_FACTS;  // built by the runner before
    FACTS keeps = NO_FACTS;  // of those that were valid before, still valid after; all, when nothing changed
    const char* why = "";    // what it does, and why here
    std::span<const PASS> members{}; // of a group, in their order
};

// A place that is kept for a pass to come.
bool empty_slot();

// Says when a pass runs; for documents and traces.
const char* gate_text(GATE gate);
bool gate_is_open(GATE gate);
// Whether there is something to run in the row or below it.
bool is_built(const PASS& pass);

} // namespace pelorus
