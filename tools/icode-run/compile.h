// The compiler of one function: its state, and the operations that its parts share.
//
// Scalars whose address nobody takes live in slots; what else a function has lies in its frame in memory.
// Values are computed into slots behind the variables, last in first out.
#pragma once

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "icode/reader.h"
#include "ir/node.h"
#include "ir/stmt.h"
#include "program.h"

namespace pelorus {

// What was read of a function, in the order of its records.
struct FUNCTION_ITEM {
    enum KIND : uint8_t { STATEMENT, LABEL, BLOCK_BEGIN, BLOCK_END } kind;
    NODE* tree = nullptr;
    POSITION position{};
    uint32_t label = 0;
};

// What all functions of a file share while it is loaded.
struct LOADER {
    PROGRAM& program;
    ICODE_READER* reader = nullptr;
    ICODE_CLIENT unit{}; // the client that builds the current function
    TYPE_PKG types{};
    std::unordered_map<const SYMBOL*, uint32_t> symbol_globals{};
    std::unordered_map<std::string, uint32_t> named_globals{}; // those that other files can see, and strings
    std::unordered_map<const char*, uint32_t> file_numbers{};
    std::vector<FUNCTION_ITEM> items{};                       // of the function being read
    std::vector<std::pair<const SYMBOL*, uint32_t>> scopes{}; // its local symbols, and the block of each
    uint32_t blocks = 0;                                      // that have begun in it
    std::vector<uint32_t> open_blocks{};                      // innermost last
    std::vector<const FUNINFO*> functions{};                  // those of PROGRAM::functions
};

uint32_t global_of_symbol(LOADER& loader, const SYMBOL* symbol);
uint32_t global_of_string(LOADER& loader, std::string_view bytes, uint32_t alignment);
// The program's own copy of a name.
std::string_view intern_text(LOADER& loader, std::string_view text);
uint32_t place_number(LOADER& loader, uint32_t in_function, const POSITION& position);
// Compiles the current function (ir/stmt.h) of the items that were read.
void compile_function(LOADER& loader);

// --- The function being compiled ---

struct LOCAL_PLACE {
    enum KIND : uint8_t { SLOT, FRAME, ADDRESS_IN_SLOT } kind;
    uint32_t number; // of the slot, or the variable of the frame
};

// An object, or a part of one.
struct OBJECT_PLACE {
    enum KIND : uint8_t { SLOT, FRAME, GLOBAL, POINTER } kind = POINTER;
    uint32_t number = 0;        // SLOT: it; FRAME: variable; GLOBAL: global; POINTER: slot of the address
    uint32_t offset = 0;        // bytes
    uint32_t room = 0;          // FRAME, GLOBAL: bytes of the object that is known to be there
    const TYPE* type = nullptr; // of the value; of a bit-field its declared type
    uint32_t alignment = 1;
    bool is_volatile = false;
    bool is_constant = false;
    SHAPE container{}; // of a bit-field
    BIT_RANGE bits{};  // width 0: no bit-field
};

struct SCOPE {
    uint32_t parent = 0;
    std::vector<uint32_t> variables; // of the frame
};

struct COMPILER {
    LOADER& loader;
    PROGRAM& program;
    FUNCTION_CODE& function;
    uint32_t number; // of the function
    std::unordered_map<const SYMBOL*, LOCAL_PLACE> locals{};
    uint32_t next_slot = 0;         // intermediate values lie below it
    uint32_t first_value = 0;       // slots of intermediate values begin here
    uint32_t place = 0;             // of the statement
    uint32_t stretch = 0;           // the open one
    bool inner_assignments = false; // the statement changes variables inside of expressions

    std::vector<uint32_t> labels{}; // by internal number: the instruction
    struct FIXUP {
        uint32_t instruction, label;
    };
    std::vector<FIXUP> fixups{};
    std::unordered_map<uint32_t, uint32_t> source_labels{}; // internal number of a label of the file
    std::vector<SCOPE> scopes{};
    std::unordered_map<uint32_t, uint32_t> label_scopes{}; // of the labels of the file
    uint32_t scope = 0;                                    // of the statement
    struct EDGE {
        uint32_t from, label, trampoline; // scope, label of the file, internal label
    };
    std::vector<EDGE> edges{};                    // that enter or leave blocks with objects
    std::unordered_set<uint32_t> labels_behind{}; // of the file, right behind a BRANCH
    // Slots of parameters that need memory, with their symbols.
    std::vector<std::pair<uint32_t, const SYMBOL*>> entry_copies{};
};

// --- Instructions (compile_function.cpp) ---

void emit(COMPILER& compiler, uint32_t operation, uint32_t a, uint32_t b, uint32_t c, uint32_t extra = 0);
uint32_t new_slot(COMPILER& compiler);
uint32_t new_label(COMPILER& compiler);
// The label, and a stretch that begins with it.
void open_label(COMPILER& compiler, uint32_t label);
// An instruction that goes to a label, which is its c.
void emit_jump(COMPILER& compiler, uint32_t operation, uint32_t a, uint32_t b, uint32_t label);
void begin_stretch(COMPILER& compiler);
STRETCH& open_stretch(COMPILER& compiler);
void count_operator(COMPILER& compiler, const NODE* tree);
// Control that comes here ends with the message; the value is any.
uint32_t emit_unsupported(COMPILER& compiler, const std::string& message);
void emit_statement(COMPILER& compiler, const NODE* tree);

// --- Shapes and conversions (compile_shapes.cpp) ---

SHAPE shape_of(const TYPE* type);
inline bool is_wide(const SHAPE& shape) { return shape.size == 8; }
inline bool is_number(const SHAPE& shape) {
    return shape.kind == SHAPE::INTEGER || shape.kind == SHAPE::FLOATING;
}
// The value as that of another shape, by C's conversion. `wanted` is where it would best be, NO_NUMBER for
// anywhere.
uint32_t convert(COMPILER& compiler, uint32_t slot, const SHAPE& from, const SHAPE& to,
                 uint32_t wanted = NO_NUMBER);
bool converts_nothing(const SHAPE& from, const SHAPE& to);
// Extends a value of 32 bits as its shape, which may be smaller, says.
uint32_t extend(COMPILER& compiler, uint32_t slot, const SHAPE& shape, uint32_t wanted);
// The operation that does it; MC_MOVE for none.
OPERATION extension_of(const SHAPE& shape);

// --- Values (compile_values.cpp) ---

using TREE_LIST = std::vector<const NODE*>;
TREE_LIST items_of_list(const NODE* list);

// The value's slot; of an object that is no scalar, its address is there.
uint32_t emit_value(COMPILER& compiler, const NODE* tree, uint32_t wanted = NO_NUMBER);
uint32_t emit_value_as(COMPILER& compiler, const NODE* tree, const SHAPE& shape, uint32_t wanted = NO_NUMBER);
// The same; not the slot of a variable that the evaluation of `later` can change.
uint32_t emit_kept_value(COMPILER& compiler, const NODE* tree, const NODE* later);
uint32_t emit_constant(COMPILER& compiler, uint64_t bits, uint32_t wanted = NO_NUMBER);
// Goes to one of two labels.
void emit_condition(COMPILER& compiler, const NODE* tree, uint32_t yes, uint32_t no);
// Operators PLUS to SRL on converted operands, with a result of the shape. The right one may be a constant.
uint32_t emit_binary(COMPILER& compiler, int32_t op, const SHAPE& shape, uint32_t left, uint32_t right,
                     bool right_is_constant, uint32_t wanted);
// The tree is a number that an instruction can hold as an operand of the shape.
bool small_constant(const NODE* tree, const SHAPE& shape, uint32_t& value);

// --- Objects (compile_objects.cpp) ---

OBJECT_PLACE emit_place(COMPILER& compiler, const NODE* tree, const NODE* later = nullptr);
uint32_t emit_address(COMPILER& compiler, const OBJECT_PLACE& place, uint32_t wanted = NO_NUMBER);
uint32_t emit_load(COMPILER& compiler, const OBJECT_PLACE& place, uint32_t wanted = NO_NUMBER);
// Stores a value of the place's shape; the slot of what a read would give.
uint32_t emit_store(COMPILER& compiler, const OBJECT_PLACE& place, uint32_t value);
// Of the value only when it is used.
uint32_t emit_assignment(COMPILER& compiler, const NODE* tree, uint32_t wanted, bool used = true);
// What UMULT or STREF selects at the address in a slot.
OBJECT_PLACE place_behind(COMPILER& compiler, const NODE* tree, uint32_t pointer);
void emit_copy(COMPILER& compiler, uint32_t to, uint32_t from, uint32_t size);

// --- Calls (compile_calls.cpp) ---

uint32_t emit_call(COMPILER& compiler, const NODE* tree, uint32_t wanted);
// The alignment by which the convention places an argument: 4 or 8.
uint32_t argument_alignment(const TYPE* type);

} // namespace pelorus
