// Scalar replacement of local structures, unions and arrays.
#pragma once

namespace pelorus {

// Makes variables of the members of local structures and unions and of the elements of local arrays, where
// all accesses show which member they mean. A structure that is also used as a whole is taken apart and put
// together there, if that costs less than its accesses in memory. A part whose accesses overlap stays in
// memory. Variables that a debugger must see stay whole, so that at level 0 only those without a declaration
// change. True when the function changed.
// Needs: dfn. Keeps: cfg, dfn. Breaks: candidates, live. Linear in the statements and in the parts that uses
// of whole structures copy.
bool explode_auto_struct_vars();

} // namespace pelorus
