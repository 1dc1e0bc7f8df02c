// What the search found, told to people.
#pragma once

#include <string>

#include "runs.h"
#include "search.h"

namespace pelorus {

// Prints it on the standard output, with the change and what it made of the function. `kept` is the folder,
// with "/" at its end, that gets the icode before and after the change and a script that shows the fault
// again; "" for none.
void report_finding(RUNS& runs, const FINDING& finding, const std::string& kept);

} // namespace pelorus
