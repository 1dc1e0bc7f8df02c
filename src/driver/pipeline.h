// The pipeline of one function: a constant table of steps, of which some are groups with members of their
// own.
#pragma once

#include "driver/pass_runner.h"

namespace pelorus {

// All steps, by number.
PASS_LIST pipeline_steps();

// Runs all steps on the current function.
// Needs: the function read, the output open. Breaks: everything of the function; settings are those of the
// baseline.
void run_function_pipeline();

} // namespace pelorus
