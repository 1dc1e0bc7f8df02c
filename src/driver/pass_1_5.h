// Pass 1.5: the interprocedural look at all functions, at level 4.
#pragma once

#include <vector>

#include "driver/pass_runner.h"
#include "ir/funinfo.h"

namespace pelorus {

// What is run on each function, in order.
PASS_LIST pass_1_5_passes();

// Runs Pass 1.5 on the functions in the given order. Writes nothing to the output.
void run_pass_1_5(const std::vector<FUNINFO*>& order);

} // namespace pelorus
