// The ways in which the reducer makes a file smaller.
//
// Each pass sees a number of items in the file, such as statements that can go, and takes away any run of
// them. The items are counted anew in each file, in the same order; what was taken away is no item any more.
// A pass may make files that break rules: they are checked before they are tried.
#pragma once

#include <cstddef>
#include <span>

#include "common/icode_parts.h"

namespace pelorus {

struct REDUCTION {
    const char* name;
    size_t (*count)(PARTS_FILE& file);
    // Takes away the items from the first on, that many. False when nothing changed.
    bool (*apply)(PARTS_FILE& file, size_t first, size_t count);
};

// From coarse to fine, in the order in which they are run.
std::span<const REDUCTION> reductions();

// --- By kind ---
std::span<const REDUCTION> function_reductions();
std::span<const REDUCTION> statement_reductions();
std::span<const REDUCTION> tree_reductions();
std::span<const REDUCTION> parameter_reductions();
std::span<const REDUCTION> table_reductions();

// A constant zero or one of the type, in place of the tree. False when the type has none or the tree is that
// constant already.
struct TYPE_ROW;
bool make_constant(PARTS_TREE& tree, std::span<const TYPE_ROW> types, int value);

} // namespace pelorus
