// A program as it was loaded: code, globals, and what messages need. Nothing in it points into the zones.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "library.h"
#include "machine.h"
#include "memory.h"

namespace pelorus {

enum OPERATION : uint16_t {
#define WIDTHS(name)                           MC_##name##_32, MC_##name##_32I, MC_##name##_64, MC_##name##_64I,
#define ARITHMETIC(name, sort, expression)     WIDTHS(name)
#define SHIFT(name, sort, expression)          WIDTHS(name)
#define DIVISION(name, sort, expression)       WIDTHS(name)
#define COMPARISON(name, sort, expression)     WIDTHS(name) WIDTHS(JUMP_##name)
#define FLOATING(name, expression)             MC_##name##_32, MC_##name##_64,
#define FLOATING_COMPARISON(name, expression)  MC_##name##_32, MC_##name##_64,
#define CONVERSION(name, from, to, expression) MC_##name,
#define LOAD(suffix, type)                     MC_LOAD_P_##suffix, MC_LOAD_N_##suffix, MC_LOAD_F_##suffix, MC_LOAD_G_##suffix,
#define STORE(suffix, type)                                                                                  \
    MC_STORE_P_##suffix, MC_STORE_N_##suffix, MC_STORE_F_##suffix, MC_STORE_G_##suffix,
#define OTHER(name) MC_##name,
#include "operations.def"
#undef WIDTHS
};
// Distances within a family.
constexpr uint16_t MC_CONSTANT_FORM = 1, MC_WIDE_FORM = 2, MC_JUMP_FORM = 4, MC_FLOATING_WIDE = 1;
constexpr uint16_t MC_ANY_ALIGNMENT = 1, MC_IN_FRAME = 2, MC_IN_GLOBAL = 3;

struct INSTRUCTION {
    uint16_t operation;
    uint16_t extra;
    uint32_t a, b, c;
};

// In `extra` of a note, with the size: the value is an address.
constexpr uint32_t NOTED_POINTER = 0x8000;

constexpr uint32_t NO_NUMBER = UINT32_MAX;

// What a slot holds, as calls must know it.
struct SHAPE {
    enum KIND : uint8_t { NOTHING, INTEGER, FLOATING, MEMORY, UNKNOWN } kind = NOTHING;
    uint8_t size = 0; // bytes of a scalar: 1, 2, 4 or 8
    bool is_signed = false;
    bool is_bool = false;
    bool is_pointer = false;
    bool operator==(const SHAPE&) const = default;
};

// Bits of a bit-field, in one number.
struct BIT_RANGE {
    uint32_t shift, width;
    bool is_signed;
};
constexpr uint32_t pack_bits(BIT_RANGE range) {
    return range.shift | range.width << 6 | uint32_t(range.is_signed) << 13;
}
constexpr BIT_RANGE unpack_bits(uint32_t packed) {
    return {packed & 63, packed >> 6 & 127, (packed >> 13 & 1) != 0};
}

struct ARGUMENT {
    uint32_t slot;
    SHAPE shape;
    uint32_t size = 0;      // bytes of a structure, or of what a pointer points to
    uint32_t alignment = 4; // by which the convention places it: 4 or 8
};

struct CALL_SITE_CODE {
    uint32_t global = NO_NUMBER; // of the function that is called by its name
    uint32_t slot = 0;           // else the slot with its address
    std::vector<ARGUMENT> arguments;
    SHAPE result;
    uint32_t result_size = 0;             // bytes of a structure
    uint32_t result_variable = NO_NUMBER; // of the frame, where the structure goes
    bool fits = false;                    // the function is one of the program, and takes these arguments
};

struct SWITCH_TABLE {
    struct CASE {
        uint64_t value; // 32 or 64 bits of it
        uint32_t target;
    };
    std::vector<CASE> cases; // in the order of their values
    uint64_t lowest = 0;
    std::vector<uint32_t> targets; // of the values from `lowest` on; empty when they are too far apart
    uint32_t otherwise = 0;
    bool wide = false; // 64 bits
};

// Operators that are executed together: control comes to the first only, and leaves behind the last.
struct STRETCH {
    uint32_t function;
    uint32_t operations = 0, loads = 0, stores = 0, calls = 0, branches = 0;
    struct OPCODE_COUNT {
        uint8_t opcode;
        uint32_t count;
    };
    std::vector<OPCODE_COUNT> opcodes;
};

struct FUNCTION_CODE {
    std::string name; // without underscore
    uint32_t global = NO_NUMBER;
    std::vector<INSTRUCTION> code;
    std::vector<uint32_t> places; // of each instruction, in PROGRAM::places
    std::vector<SHAPE> parameters;
    std::vector<uint32_t> parameter_sizes; // bytes of structures
    SHAPE result;
    uint32_t result_size = 0;
    bool walks_arguments = false;
    uint32_t named_bytes =
        0;              // that the named arguments take before the unnamed ones, as the convention has it
    uint32_t slots = 0; // parameters, variables, then intermediate values
    uint32_t first_variable = 0, end_variables = 0; // slots of variables, which are filled
    struct NARROW {
        uint32_t slot;
        uint16_t conversion; // that extends what fills it
    };
    std::vector<NARROW> narrow;
    FRAME_LAYOUT layout;
    std::vector<CALL_SITE_CODE> calls;
    std::vector<SWITCH_TABLE> switches;
    // Where functions are checked:
    uint32_t flags = 0;                         // FUN_FLAG bits that were found out
    std::vector<uint16_t> checked_operations{}; // what CHECKED stands for, by instruction
};

enum class KNOWN_FUNCTION : uint8_t {
    NONE,
    ALLOCA,
    STACK_SAVE,
    STACK_RESTORE,
    TRAP,
    RETURN_ADDRESS,
    FRAME_ADDRESS,
    ROUNDING,
    ATOMIC_LOAD_8,
    SETJMP,
    LONGJMP,
    ASSEMBLY, // without a text
};

struct GLOBAL_OBJECT {
    enum KIND : uint8_t { FUNCTION, VARIABLE, STRING, EXTERNAL_FUNCTION, EXTERNAL_VARIABLE } kind;
    std::string name; // linkage name; of a string what it holds
    std::string shown_name;
    uint32_t size = 0, alignment = 1;
    bool constant = false, weak = false;
    uint32_t alias_of = NO_NUMBER;
    uint32_t function = NO_NUMBER;    // in PROGRAM::functions
    const LIBRARY_ROW* row = nullptr; // external functions that the library has
    KNOWN_FUNCTION known = KNOWN_FUNCTION::NONE;
    std::vector<std::string> assembly; // operands of a KNOWN_FUNCTION::ASSEMBLY
    struct CHUNK {
        uint32_t offset;
        std::string bytes;           // when `target` is none
        uint32_t target = NO_NUMBER; // 4 bytes: the address of that global
        uint32_t addend = 0;
    };
    std::vector<CHUNK> chunks; // the rest is zero
};

struct SOURCE_PLACE {
    uint32_t function;
    uint32_t file; // in PROGRAM::files; 0: none
    uint32_t line, column;
};

struct PROGRAM {
    std::string name; // of the file
    std::vector<FUNCTION_CODE> functions;
    std::vector<GLOBAL_OBJECT> globals;
    std::vector<STRETCH> stretches;
    std::vector<SOURCE_PLACE> places;
    std::vector<std::string> files = {""};
    std::vector<std::string> messages;               // of UNSUPPORTED
    std::set<std::string, std::less<>> texts;        // names that others refer to
    std::vector<uint32_t> constructors, destructors; // globals, in the order in which they run
    bool checks_functions = false;
};

// The global's number, following aliases.
uint32_t resolved_global(const PROGRAM& program, uint32_t global);
// Why a call cannot be one of the function; empty when it can.
std::string why_call_does_not_fit(const FUNCTION_CODE& function, const CALL_SITE_CODE& site);

} // namespace pelorus
