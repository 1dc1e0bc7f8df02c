// See call_points.h.
#include "support/call_points.h"

#include <iterator>

#include "support/trace.h"

namespace pelorus {

namespace {

// clang-format off
constexpr CALL_POINT_ROW CALL_POINT_ROWS[] = {
    {CALL_POINT::BUILTIN_DESCRIPTORS, "built-in function descriptors", "at the start, before the file is read"},
    {CALL_POINT::INSTRUMENTATION, "instrumentation of `main`", "when a function's body has been read and `--instrument` was given"},
    {CALL_POINT::PARTIAL_EVALUATION_START, "start of the partial evaluation", "at the start of Pass 1.5"},
    {CALL_POINT::PARTIAL_EVALUATION, "partial evaluation of the call graph", "in Pass 1.5, after all functions"},
    {CALL_POINT::PARTIAL_EVALUATION_STATISTICS, "statistics of the partial evaluation", "at the ends of Pass 1.5 and Pass 2"},
    {CALL_POINT::POINTS_TO, "propagate_PT_info", "when a loop hierarchy has been built, before its loops are analysed and at the end, unless the caller wants none"},
    {CALL_POINT::SCALAR_MEMORY_REFERENCES, "gcm_scalar_memrefs", "when the loops of a hierarchy that are to be optimized have been analysed"},
    {CALL_POINT::VALUE_PROPAGATION, "value propagation in loops", "at the end of a loop hierarchy whose loops are to be optimized"},
};
// clang-format on

constexpr bool rows_are_in_order() {
    for (size_t i = 0; i < std::size(CALL_POINT_ROWS); ++i)
        if (static_cast<size_t>(CALL_POINT_ROWS[i].point) != i) return false;
    return true;
}
static_assert(rows_are_in_order());

} // namespace

std::span<const CALL_POINT_ROW> call_points() { return CALL_POINT_ROWS; }

void call_point(CALL_POINT point) {
    trace("[Not built: %s]\n", CALL_POINT_ROWS[static_cast<size_t>(point)].name);
}

} // namespace pelorus
