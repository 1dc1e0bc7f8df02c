// Changes of an icode file's structure.
#pragma once

#include <random>

#include "common/icode_parts.h"

namespace pelorus {

using DICE = std::mt19937;

// Changes the file in one to a handful of ways that the dice decide. Half of the mutants are made with care:
// subtrees give way to others of their type, operators to ones of their kind, so that many of them are good
// icode that no producer has thought of. The others get whatever comes.
void mutate(PARTS_FILE& file, DICE& dice);

} // namespace pelorus
