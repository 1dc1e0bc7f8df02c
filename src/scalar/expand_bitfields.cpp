// Bit-fields as shifts and masks; see expand_bitfields.h.
//
// For each block:
//   1. tests of fields that && or || joins become one (bitfield_tests.cpp)
//   2. assignments of fields to neighbours become one (bitfield_stores.cpp)
//   3. what changes a field by its own value changes its container (bitfield_updates.cpp)
//   4. fields that are read one after another come from one word (bitfield_reads.cpp)
//
// Words are accessed through pointers to them; bitfield_words.h says what a word is. Fields of more than 32
// bits, and those that no word of 4 bytes holds, stay as they are: two registers at once save nothing.
#include "scalar/expand_bitfields.h"

#include "cfg/statement_edit.h"
#include "scalar/bitfield_parts.h"
#include "support/decision.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

bool expand_block(BB* block) {
    const CHANGE_MARK mark;
    for (STMT* cell = block->stmts; cell; cell = cell->next) {
        stand_at(block, cell);
        if (merge_field_tests(cell->tree)) cell->tree = simplify_tree(cell->tree);
    }
    merge_field_stores(block);
    for (STMT* cell = block->stmts; cell != block->last_stmt; cell = cell->next) {
        stand_at(block, cell);
        NODE* updated = updated_field(cell->tree);
        if (!updated) continue;
        erase_tree(cell->tree);
        cell->tree = updated;
    }
    merge_field_reads(block);
    return mark.any();
}

} // namespace

bool expand_bitfields() {
    trace_entering("expand_bitfields");
    if (settings.optimization_level < 1 || !function_node_state.has_bitfields) return false;
    // Shifts count from the container's lowest bit, which is the word's first on this machine only; and words
    // are no automatic variables.
    if (settings.big_endian || settings.all_volatile) return false;
    const CHANGE_MARK mark;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) expand_block(block);
    if (mark.any()) trees_changed();
    return mark.any();
}

} // namespace pelorus
