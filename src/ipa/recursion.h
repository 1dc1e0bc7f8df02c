// Which functions may call themselves again, by themselves or through others.
#pragma once

namespace pelorus {

// Lists the functions of the call graph that may be recursive. Needs: numbers, and the marks of calls to the
// outside. Linear in functions and calls.
void report_recursion();

} // namespace pelorus
