// Opcodes: their numbers, and the tables of facts about them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace pelorus {

enum OPCODE : int32_t {
#define OPCODE(number, name, arity, spelling, payload, kind, complement, swapped) OP_##name = (number),
#define OPCODE_UNNAMED(number, arity)
#include "ir/opcodes.def"
#undef OPCODE
#undef OPCODE_UNNAMED
    OP_ERASED = 255, // a node being built, or erased; no live tree holds it
};

constexpr int32_t LAST_OPCODE = 170; // numbers run from 0 to this
constexpr int32_t OPCODE_COUNT = LAST_OPCODE + 1;

// What a tree record carries behind its opcode and type.
enum class PAYLOAD : uint8_t {
    NONE,
    LABEL,   // uleb label number
    SYMBOL,  // symbol reference: uleb scope, uleb index
    BYTES,   // counted bytes
    INTEGER, // sleb when the node's type is signed, else uleb
    FLOAT,   // string: decimal text of the value
    DECIMAL, // string: decimal digits, "-" in front when negative
    FIELD,   // byte 1, uleb member key, uleb type index of the structure
    SWITCH,  // uleb
    CALL,    // uleb
    SKIP,    // uleb
    DDNODE,  // uleb, uleb, byte; dropped
    TEXT,    // string
    DROPPED, // sleb; dropped
};

enum class OPCODE_CLASS : uint8_t { VALUE, COMMUTES, ASSIGNS, CALLS, CONTROL, PARTS };

struct OPCODE_FACTS {
    const char* name;     // null when the number is no opcode or has no name
    int8_t arity;         // 0, 1, 2; -1 when the number is no opcode
    PAYLOAD payload;      //
    OPCODE_CLASS kind;    //
    int16_t complement;   // OP_NOP for none
    int16_t swapped;      // OP_NOP for none
    const char* spelling; // unpadded; null like `name`
};

// Facts of number 0..LAST_OPCODE; the row of a number that is no opcode has arity -1.
extern const std::array<OPCODE_FACTS, OPCODE_COUNT> opcode_facts;
inline const OPCODE_FACTS& opcode_fact(int32_t number) { return opcode_facts[static_cast<size_t>(number)]; }

// The record of an opcode as the reader uses it. A number that was never registered has an all-zero record,
// so that it reads as a leaf.
struct IF_NODE_INFO {
    int32_t number;
    const char* name;
    int8_t arity;
};

extern std::array<IF_NODE_INFO, OPCODE_COUNT> if_node_info;

// Writes the record at index `number` (0..LAST_OPCODE). `name` must live as long as the run.
void register_opcode(int32_t number, const char* name, int8_t arity);

// Registers the opcodes of the file format, 0 to 133, and the number 163 as "VREG". Runs once; further calls
// do nothing. The reader calls it when a header has been accepted.
void register_file_opcodes();

// Registers the optimizer's own opcodes, 143 to 169. IF is one of them, so that no file can be read without
// them.
void register_own_opcodes();

// The start-up check: registers the optimizer's own opcodes, 143 to 169, and compares `if_node_info` with the
// static tables. Traces what it does; a mismatch ends the run.
// Needs: register_file_opcodes().
void validate_opcode_tables();

// The trace spelling, padded with blanks to 8 characters ("ULE" alone is not padded); " ?NODE? " for a number
// outside 1..255 and " ?ILLOP?" for one in range that names no opcode.
const char* opcode_spelling(int32_t number);

// The name, or "?" when there is none. Any number may be asked for.
const char* opcode_name(int32_t number);

// 0, 1 or 2; -1 for any number that is no opcode.
inline int opcode_arity(int32_t number) {
    return number >= 0 && number <= LAST_OPCODE ? opcode_fact(number).arity : -1;
}

// Changes its left operand.
inline bool opcode_assigns(int32_t number) {
    return opcode_arity(number) >= 0 && opcode_fact(number).kind == OPCODE_CLASS::ASSIGNS;
}

// The operator of `x op= v`, x++ and x--: PLUS for PLUSASG and PLUSPLUS. NOP for all other opcodes.
int32_t plain_operator(int32_t op);

// EQ to UGT: the operators that compare.
constexpr bool opcode_is_relation(int32_t number) { return number >= OP_EQ && number <= OP_UGT; }

// The left operand's value is all that the operator needs before it evaluates the rest, so that whoever
// translates trees can go down a chain of such operators in a loop.
bool opcode_starts_with_left_value(int32_t op);

// How many subtrees a tree record of the opcode holds.
uint8_t opcode_record_arity(int32_t number);

// True for opcodes that are leaves of a tree record whatever their arity.
constexpr bool opcode_is_leaf_record(int32_t number) {
    switch (number) {
    case OP_LABEL:
    case OP_NAME:
    case OP_SCON:
    case OP_ICON:
    case OP_FCON:
    case OP_LCON:
    case OP_FIELD:
    case OP_SKIP:
    case OP_BGNBLOCK: return true;
    default: return false;
    }
}

// True for the optimizer's own opcodes: those that it makes while it works and that do not stand in files.
bool opcode_is_own(int32_t number);

// True for opcodes that change a variable or memory, call code or direct control, so that a statement may be
// one; the numbers without a name may do anything.
bool opcode_has_side_effect(int32_t number);

} // namespace pelorus
