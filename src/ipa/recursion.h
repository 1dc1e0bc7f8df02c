// Which functions may call themselves again, by themselves or through others.
#pragma once

namespace pelorus {

// Lists the functions of the call graph that may be recursive. Needs: numbers, and the marks of calls to the
// outside.
//
// The answer is that of a transitive closure: each function has a bit vector of the functions that it
// reaches, which takes n * n / 8 bytes for n functions, and as many sweeps as calls go backward in a row.
void report_recursion();

} // namespace pelorus
