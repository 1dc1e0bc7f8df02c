// The parts of expand_bitfields, in the order in which it calls them for a block; see expand_bitfields.h.
#pragma once

#include "cfg/bb.h"

namespace pelorus {

// Tests of several fields of a word, joined by && or ||, become one test. True when the tree changed.
bool merge_field_tests(NODE* tree);

// A field that is computed from its own value is changed where it lies in its word. Answers what takes the
// statement's place, or null when it stays.
NODE* updated_field(NODE* tree);

// Assignments to several fields of a word become one. True when the block changed.
bool merge_field_stores(BB* block);

// Fields of a word that are read one after another are taken out of the word. True when the block changed.
bool merge_field_reads(BB* block);

} // namespace pelorus
