// Which register each variable gets.
#pragma once

#include <cstdint>
#include <vector>

#include "regs/live_ranges.h"

namespace pelorus {

constexpr int32_t NO_UNIT = -1;

// The first unit of each variable's register, by candidate number; NO_UNIT for those that get none and those
// that are not asked for. No two variables hold a unit at the same place, and none holds one across a call
// that loses it. Takes time n log n for n ranges, times the registers.
std::vector<int32_t> assign_registers(const LIVE_RANGES& ranges);

} // namespace pelorus
