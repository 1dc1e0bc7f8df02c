// The graph of a body's statements, for its note; see body_effects.h.
//
// The statements are handed over in their order. Those that follow each other are put together; what a
// callee's not returning decides is decided later, from the lists that stay in the notes.
#pragma once

#include <unordered_map>

#include "ipa/body_effects.h"

namespace pelorus {

struct NODE;

struct FLOW_BUILDER {
    BODY_NOTES& notes;
    uint32_t first_flow;
    std::unordered_map<int32_t, uint32_t> labels{}; // the block that each begins
    bool is_open = false;                           // statements can still be appended to the last block

    uint32_t count() const { return static_cast<uint32_t>(notes.flow.size()) - first_flow; }
};

// Opens the entry. Once, before anything else.
void begin_flow(FLOW_BUILDER& builder);
void append_label(FLOW_BUILDER& builder, const NODE* label);

// Around a statement that is no label: what is appended to `stops` of the notes in between is called by it on
// every way. With `never_ends` a call in it never returns.
void begin_statement(FLOW_BUILDER& builder);
void end_statement(FLOW_BUILDER& builder, const NODE* tree, bool never_ends);

// Behind the last statement: sets what the graph tells in the note, and drops the graph when nothing of it is
// wanted later.
void finish_flow(FLOW_BUILDER& builder, BODY_NOTE& note);

} // namespace pelorus
