// The places outside the tables of passes where something that is not built yet will be called.
//
// A call point does nothing but say on the trace that its step is missing. docs/passes.md lists them all.
#pragma once

#include <cstdint>
#include <span>

namespace pelorus {

enum class CALL_POINT : uint8_t {
    BUILTIN_DESCRIPTORS,
    INSTRUMENTATION,
    PARTIAL_EVALUATION_START,
    PARTIAL_EVALUATION,
    PARTIAL_EVALUATION_STATISTICS,
    POINTS_TO,
    SCALAR_MEMORY_REFERENCES,
    VALUE_PROPAGATION,
};

struct CALL_POINT_ROW {
    CALL_POINT point;
    const char* name;
    const char* when; // in the run
};
std::span<const CALL_POINT_ROW> call_points();

void call_point(CALL_POINT point);

} // namespace pelorus
