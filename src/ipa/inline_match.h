// The arguments of a call and the parameters of the function that it calls. For the files of the expansion
// alone.
#pragma once

#include <vector>

#include "ipa/inline_definition.h"

namespace pelorus {

// The values of the arguments, the first one first; of a structure what its STARG holds.
std::vector<NODE*> inline_arguments(const NODE* call);

// The call gives the function what its parameters take, and takes what the function gives.
bool call_matches(const NODE* call, const std::vector<NODE*>& arguments, const SYMBOL* callee,
                  const INLINE_DEFINITION& definition);

} // namespace pelorus
