// Texts of the file-level analysis that both the trace and the information file get.
#pragma once

namespace pelorus {

// printf to both streams, each when it is on.
void report(const char* format, ...) __attribute__((format(printf, 1, 2)));

} // namespace pelorus
