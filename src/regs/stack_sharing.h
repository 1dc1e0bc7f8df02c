// Local variables that share their places on the stack.
#pragma once

namespace pelorus {

struct SYMBOL;

// Lets local variables in memory whose lifetimes do not overlap lie in the same bytes of one new variable.
// With -g those that the source declares stay apart. True when it found any.
// Needs: dfn, candidates. Keeps: all statements; the new variable loses candidates and live.
bool build_stack_sharing_type();

// The two may lie in the same bytes. No access that the program makes to the one is between an assignment of
// the other and a read of what that assigned; whoever moves accesses over others must leave it so: assigning
// the one destroys the value of the other.
bool may_share_bytes(const SYMBOL* a, const SYMBOL* b);

} // namespace pelorus
