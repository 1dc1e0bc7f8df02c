// Choices between many labels: `switch` and computed goto.
#pragma once

#include "body.h"

namespace pelorus {

void convert_switch(BODY& body, const clang::SwitchStmt* statement);

// A label's address is its number among those of the function whose addresses are taken, so `goto *p` is a
// choice between them. A value that is no label's goes to the last one, as it may go anywhere.
void convert_computed_goto(BODY& body, const clang::IndirectGotoStmt* statement);

} // namespace pelorus
