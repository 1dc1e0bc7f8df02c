// The target's floating-point values as nodes hold them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pelorus {

// 16 bytes. IEEE single values are held exactly in the double; long double is double on the target.
struct TARGET_FLOAT {
    double value;
    uint32_t bytes; // 4 or 8: the format that the value was rounded to; 0 before rounding
    uint32_t unused;
};
static_assert(sizeof(TARGET_FLOAT) == 16);

// Reads decimal text ("1.5e-3", "inf", "nan", a leading "-"), rounding to nearest. Text that is no number or goes on
// behind it returns false and leaves 0. Out of range gives an infinity or a zero. Does not depend on the locale.
bool target_float_parse(std::string_view text, TARGET_FLOAT& value);

// Rounds to the format of `bytes` (4: IEEE single; any other: IEEE double).
void target_float_round(TARGET_FLOAT& value, uint32_t bytes);

// The shortest decimal text that reads back as the same value in its format.
std::string target_float_text(const TARGET_FLOAT& value);

} // namespace pelorus
