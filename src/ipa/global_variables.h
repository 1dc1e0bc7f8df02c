// The variables of static storage, as the whole file shows them.
#pragma once

namespace pelorus {

// Reports variables that are never given a value, referred to, modified, or whose address is never taken, and
// from level 1 on makes constant those that keep their first value for certain: their working type gets
// const.
void report_global_variables();

// Sets `constant_value` of the variables whose reads can only give their initial value: scalars that are
// constant, by their declaration or by the report above, and whose value the file gives as a number.
void find_constant_values();

// Sets CQ_ALIASED and CQ_WRITTEN from what the file shows.
void set_unseen_changes();

// Lists the constant variables with their values.
void report_constant_values();

} // namespace pelorus
