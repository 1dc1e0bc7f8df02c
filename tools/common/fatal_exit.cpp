// The fatal exit of the small programs: whoever calls it has said why, and as they keep their output in
// memory until it is complete, there is nothing to delete.
#include "support/fatal.h"

#include <cstdlib>

namespace pelorus {

void fatal_exit() { exit(1); }

} // namespace pelorus
