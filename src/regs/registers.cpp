// See registers.h.
#include "regs/registers.h"

#include "ir/type.h"
#include "support/settings.h"

namespace pelorus {

namespace {

// r12 and r14 are left for values that have no name.
constexpr int32_t INTEGER_UNITS = 12;
constexpr int32_t THUMB_UNITS = 8;  // that most of the 16-bit instructions reach
constexpr int32_t INTEGER_KEPT = 4; // the first one that a call keeps
constexpr int32_t FLOATING_UNITS = 64, SINGLE_UNITS = 32;
constexpr int32_t FLOATING_KEPT = 16, FLOATING_KEPT_END = 32;

constexpr uint32_t INTEGER_HINTS = 1;
constexpr uint32_t SINGLE_HINTS = 33;
constexpr uint32_t DOUBLE_HINTS = 65;

} // namespace

REGISTER_CLASS register_class(const TYPE* type) {
    return {type_is_floating(type) ? FLOATING_FILE : INTEGER_FILE, type_bits(type) > 32 ? 2 : 1};
}

int32_t units_of(REGISTER_FILE file) {
    if (file == FLOATING_FILE) return FLOATING_UNITS;
    return settings.thumb_state ? THUMB_UNITS : INTEGER_UNITS;
}

int32_t units_of(REGISTER_CLASS kind) {
    const bool is_single = kind.file == FLOATING_FILE && kind.units == 1;
    return is_single ? SINGLE_UNITS : units_of(kind.file);
}

bool is_lost_by_calls(REGISTER_FILE file, int32_t unit) {
    if (file == INTEGER_FILE) return unit < INTEGER_KEPT;
    return unit < FLOATING_KEPT || unit >= FLOATING_KEPT_END;
}

uint32_t register_hint(REGISTER_CLASS kind, int32_t unit) {
    const auto number = static_cast<uint32_t>(unit);
    if (kind.file == INTEGER_FILE) return INTEGER_HINTS + number;
    return kind.units == 2 ? DOUBLE_HINTS + number / 2 : SINGLE_HINTS + number;
}

std::string register_name(REGISTER_CLASS kind, int32_t unit) {
    if (kind.file == INTEGER_FILE) {
        const std::string first = "r" + std::to_string(unit);
        return kind.units == 2 ? first + ":r" + std::to_string(unit + 1) : first;
    }
    return kind.units == 2 ? "d" + std::to_string(unit / 2) : "s" + std::to_string(unit);
}

} // namespace pelorus
