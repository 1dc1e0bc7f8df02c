// The function being translated: its blocks, its variables, and the operations that all translations use.
//
// A variable that the file keeps in a register is a value (ssa.h), every other one a stack slot made in the
// entry block when it is first referred to. Instructions go to the open block; when none is open, because
// control has left, the code up to the next label cannot be reached and is dropped.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "abi.h"
#include "ir/register_structure.h"
#include "module.h"
#include "ssa.h"
#include "text.h"

namespace pelorus {

// A value: an operand of LLVM IR. For LTYPE::MEMORY it is the address of the object.
struct VALUE {
    std::string text = "undef";
    LTYPE type = LTYPE::VOID;
    uint32_t align =
        0; // PTR: alignment in bytes of what it points to; 0: what the type says. MEMORY: likewise
    bool is_volatile = false; // MEMORY: the object is volatile
};

// An object that can be read or written.
struct PLACE {
    std::string address;
    const TYPE* type = nullptr; // of the value, bit-fields: the declared type
    uint32_t align = 1;         // bytes, known to hold
    bool is_volatile = false;
    uint32_t variable = NO_REGISTER_VARIABLE; // one in a register, which has no address
    uint8_t width = 0;                        // bit-fields: bits, else 0
    uint8_t shift = 0;                        // bit-fields: distance of the lowest bit from the container's
    LTYPE container = LTYPE::NONE;            // bit-fields
};

struct LOCAL {
    std::string text; // address of the slot, or the value itself
    uint32_t align;
    bool is_value; // a parameter that is only read: `text` is its value
};

struct EMITTER {
    MODULE& module;
    std::string slots; // the entry block: stack slots, and the stores of parameters into theirs
    std::string body;
    std::string block; // name of the open block without "%"; valid while `open`
    bool open = true;
    bool variadic = false;  // the function takes unnamed arguments
    std::string location{}; // of the statement, for debuggers: behind each instruction
    PASSING result{};
    uint32_t values = 0; // numbers given to values
    uint32_t blocks = 0; // numbers given to blocks
    std::unordered_map<const SYMBOL*, LOCAL> locals{};
    std::vector<uint8_t> labels{}; // by number: LABEL_NAMED | LABEL_DEFINED
    SSA ssa{};
};
enum : uint8_t { LABEL_NAMED = 1, LABEL_DEFINED = 2 };

// --- Instructions and blocks (emitter.cpp) ---

// Appends a line to the open block.
template <class... PARTS>
void line(EMITTER& emitter, const PARTS&... parts) {
    if (emitter.open) put(emitter.body, "  ", parts..., emitter.location, "\n");
}

// Appends an instruction that gives a value.
template <class... PARTS>
VALUE operation(EMITTER& emitter, LTYPE type, const PARTS&... parts) {
    VALUE value = {joined("%t", emitter.values++), type};
    line(emitter, value.text, " = ", parts...);
    return value;
}

std::string new_block(EMITTER& emitter);
// Opens a block; control runs into it from the block that is open. All jumps to one that is no label have
// been written.
void open_block(EMITTER& emitter, const std::string& name, bool is_label = false);
void branch(EMITTER& emitter, const std::string& target);
void branch_if(EMITTER& emitter, const VALUE& condition, const std::string& yes, const std::string& no);
// The block of label `number`, which must be defined somewhere in the function.
std::string label_block(EMITTER& emitter, int32_t number);

// A new stack slot; `type` is an LLVM type.
std::string new_slot(EMITTER& emitter, const std::string& type, uint32_t align, const std::string& name);
std::string temporary_slot(EMITTER& emitter, const std::string& type, uint32_t align);
// The number of the parameter whose home a variable is, from 1; 0 for others.
uint32_t argument_number(const SYMBOL* variable);
// The slot of a variable of the function.
const LOCAL& local_slot(EMITTER& emitter, const SYMBOL* symbol);

// The copy of a structure from a parameter into its home, which nobody sees when the home takes the
// parameter's place, since nothing else names that. False for other copies, and where the home must be
// placed otherwise.
bool take_place_of_parameter(EMITTER& emitter, const SYMBOL* home, const SYMBOL* parameter);

using TREE_LIST = std::vector<const NODE*>;
// The items of a left-leaning list of COMMA, first one first.
TREE_LIST list_items(const NODE* list);

std::string integer_text(int64_t value);
VALUE integer_value(LTYPE type, int64_t value);
// The largest power of two that divides both.
uint32_t common_alignment(uint32_t align, int64_t offset);
// `address` plus a constant number of bytes.
std::string offset_address(EMITTER& emitter, const std::string& address, int64_t offset);
void copy_memory(EMITTER& emitter, const std::string& to, uint32_t to_align, const std::string& from,
                 uint32_t from_align, uint32_t bytes, bool is_volatile);

// --- Values (expressions.cpp) ---

// The value of an expression; VOID for one that has none. Goes down left operands without recursion.
VALUE emit_value(EMITTER& emitter, const NODE* tree);
// The value as that of type `type`, converted where the representations differ.
VALUE emit_value_as(EMITTER& emitter, const NODE* tree, const TYPE* type);
// Whether an expression is not zero, as an I1.
VALUE emit_truth(EMITTER& emitter, const NODE* tree);
// Evaluates a condition and goes to one of two blocks.
void emit_condition(EMITTER& emitter, const NODE* tree, const std::string& yes, const std::string& no);

// --- Arithmetic (arithmetic.cpp) ---

// C's conversion of a value of type `from` to type `to`.
VALUE convert(EMITTER& emitter, const VALUE& value, const TYPE* from, const TYPE* to);
// Between integers, and between pointers and integers: the same number in another representation.
VALUE reshape(EMITTER& emitter, const VALUE& value, bool is_signed, LTYPE to);
VALUE truth_of(EMITTER& emitter, const VALUE& value);
// An I1 as 0 or 1 of an integer type.
VALUE from_truth(EMITTER& emitter, const VALUE& truth, LTYPE to);
// Operators PLUS to SRL on two operands, with a result of type `type`.
VALUE binary(EMITTER& emitter, int32_t op, const TYPE* type, const VALUE& left, const TYPE* left_type,
             const VALUE& right, const TYPE* right_type);
VALUE unary(EMITTER& emitter, int32_t op, const TYPE* type, const VALUE& operand);
// EQ to UGT, as an I1.
VALUE compare(EMITTER& emitter, int32_t op, const VALUE& left, const TYPE* left_type, const VALUE& right,
              const TYPE* right_type);

// --- Places (places.cpp) ---

// The object that an lvalue denotes; for a call that returns a structure and the like, the temporary.
PLACE emit_place(EMITTER& emitter, const NODE* tree);
// An object that is a value.
PLACE place_of_object(const VALUE& object, const TYPE* type);
// The object behind a pointer.
PLACE place_behind(const VALUE& pointer, const TYPE* type);
// A member of the structure at `base`; `field` is a FIELD.
PLACE place_of_member(EMITTER& emitter, const PLACE& base, const NODE* field, const TYPE* type);
VALUE load(EMITTER& emitter, const PLACE& place);
// The value of a variable in a register, and a new one.
VALUE read_register(EMITTER& emitter, uint32_t variable);
void write_register(EMITTER& emitter, uint32_t variable, const VALUE& value);
// Stores a value that has the representation of the place's type. Returns the value that the object then has.
VALUE store(EMITTER& emitter, const PLACE& place, const VALUE& value);
// Copies a structure.
void store_structure(EMITTER& emitter, const PLACE& to, const VALUE& from);
VALUE emit_assignment(EMITTER& emitter, const NODE* tree);

// --- Calls (calls.cpp) ---

VALUE emit_call(EMITTER& emitter, const NODE* tree);
// The address of the first unnamed argument.
VALUE emit_argument_walk(EMITTER& emitter);
// Loads a structure at `from` in the form in which it travels.
VALUE load_as_array(EMITTER& emitter, const PASSING& passing, const VALUE& from, uint32_t size);

// What a tree that is a structure has its value from, behind STARG and COMMAOP; what stands in front of it is
// evaluated.
const NODE* emit_before_value(EMITTER& emitter, const NODE* tree);
// A structure's value: an array in registers when `array` says so, else an object.
struct STRUCTURE_VALUE {
    VALUE value;
    PASSING array{};
};
// The value of such a tree. What a call returns as an array stays one.
STRUCTURE_VALUE emit_structure(EMITTER& emitter, const NODE* tree);
VALUE structure_in_memory(EMITTER& emitter, const STRUCTURE_VALUE& structure, const TYPE* type);

// --- Structures (structures.cpp) ---

// The types of the scalars of a structure in registers.
std::vector<LTYPE> leaf_types(EMITTER& emitter, const TYPE* type);
// Whether the array in which a structure travels has its scalars as elements.
bool travels_as_leaves(const TYPE* type, const PASSING& passing);
// The variable of the first scalar, when the tree names a structure in registers; else NO_REGISTER_VARIABLE.
uint32_t register_structure(const EMITTER& emitter, const NODE* tree);
// The variable of the scalar at `offset` in a structure in registers.
uint32_t register_of_member(EMITTER& emitter, const PLACE& base, int64_t offset);
// An object with the value of a structure in registers.
VALUE spill_structure(EMITTER& emitter, uint32_t variable, const TYPE* type);
// Gives a structure in registers, of type `type`, the value of a tree.
void assign_registers(EMITTER& emitter, uint32_t variable, const TYPE* type, const NODE* tree);
// The value of a tree in the form in which it travels.
VALUE emit_as_array(EMITTER& emitter, const NODE* tree, const PASSING& passing, const TYPE* type);
// Copies the value of a tree to an object.
void emit_structure_to(EMITTER& emitter, const PLACE& to, const NODE* tree);

// --- Functions that the code generator knows (generator.cpp) ---

// Translates a call of such a function and sets its value; false when `callee`, perhaps null, is no such
// function.
bool emit_known_call(EMITTER& emitter, const NODE* tree, const SYMBOL* callee, VALUE& value);

// --- Assembly with operands (assembly.cpp) ---

// The call of a function with the attribute `assembly`.
VALUE emit_assembly_call(EMITTER& emitter, const NODE* tree, const SYMBOL* callee, const PRAGMA& assembly);

// --- Statements (statements.cpp) ---

void emit_statement(EMITTER& emitter, const NODE* tree);
// Leaves the function with the value that `symbol` holds; null: without a value.
void emit_return_of(EMITTER& emitter, const SYMBOL* symbol);

// --- Functions (function.cpp) ---

// Translates the current function (ir/stmt.h).
void write_function(MODULE& module);

} // namespace pelorus
