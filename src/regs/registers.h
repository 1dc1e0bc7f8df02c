// The registers of the target that variables can live in.
//
// Two files of units: the integer registers, r0 and up, and halves of the double-precision registers, of
// which the first 32 are single-precision registers. A register is one unit or two neighbouring ones that
// begin with an even one: a pair of integer registers for 64 bits, a double-precision register.
#pragma once

#include <cstdint>
#include <string>

namespace pelorus {

struct TYPE;

enum REGISTER_FILE : uint8_t { INTEGER_FILE, FLOATING_FILE, REGISTER_FILES };

struct REGISTER_CLASS {
    REGISTER_FILE file;
    int32_t units; // 1 or 2
};

// The class of registers that hold values of the type. Needs: an integer, floating or pointer type.
REGISTER_CLASS register_class(const TYPE* type);

// Units of the file that are there for variables, and for those of a class.
int32_t units_of(REGISTER_FILE file);
int32_t units_of(REGISTER_CLASS kind);
// A call does not keep the unit.
bool is_lost_by_calls(REGISTER_FILE file, int32_t unit);

// The register that begins with the unit, as the fifth number of a symbol has it (docs/icode.md), and its
// name.
uint32_t register_hint(REGISTER_CLASS kind, int32_t unit);
std::string register_name(REGISTER_CLASS kind, int32_t unit);

} // namespace pelorus
