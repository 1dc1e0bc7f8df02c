// Which functions are inlineable, and which of those nobody needs any more.
#pragma once

#include "ipa/file_level.h"

namespace pelorus {

// Marks the inlineable functions FUN_is_inlined, with their integrable definitions, and those of them that no
// caller will need FUN_is_suppressed. Needs: the numbers and marks of the call graph. docs/inlining.md has
// the rules; the sizes in them stand in INLINE_LIMITS.
void decide_inlining(const BODY_ACCESS& bodies);

} // namespace pelorus
