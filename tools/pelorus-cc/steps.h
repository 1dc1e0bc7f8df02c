// The steps of a compilation.
#pragma once

#include "command.h"

namespace pelorus {

// Does what the command asks. Returns the exit status: 0, or 1 when a step failed.
int run_command(const COMMAND& command);

} // namespace pelorus
