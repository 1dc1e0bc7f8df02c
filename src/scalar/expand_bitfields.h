// Bit-fields as shifts and masks of the words that they lie in.
#pragma once

namespace pelorus {

// Accesses to neighbouring bit-fields become one access to the word that holds them, and what changes a field
// by its own value changes its word, where that takes fewer instructions: fields that are tested together,
// assigned together, read together. Accesses to one field by itself stay members, of which the code generator
// makes the same code. Volatile fields are touched as the program says. Does nothing at level 0. True when
// the function changed.
// Needs: dfn, candidates. Keeps: cfg, dfn. Breaks: candidates, live. Linear in the statements and in the
// members of structures.
bool expand_bitfields();

} // namespace pelorus
