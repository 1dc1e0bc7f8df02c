// The copies of the parameters into their homes, with which a function begins.
#pragma once

#include "ir/node.h"

namespace pelorus {

// The NAME of the parameter when the tree is its copy: an ASG or STASG of a level-2 variable of the same name
// whose right side is the parameter, perhaps converted. Null for every other tree.
const NODE* copied_parameter(const NODE* tree);

// The tree is one such copy, or a left-leaning PCOMMA of them.
bool copies_parameters(const NODE* tree);

} // namespace pelorus
