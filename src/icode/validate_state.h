// The validator's state and parts. Local to the validator.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "icode/format.h"
#include "icode/validate_file.h"
#include "ir/symbol.h"
#include "ir/type.h"
#include "ir/validate_function.h"

namespace pelorus {

// A decoded field of a record or type record.
struct FIELD_VALUE {
    uint64_t offset = 0;
    uint64_t number = 0; // y b h w u f; l and signed v as their bits
    std::string_view text;
    TYPE* type = nullptr; // null for 0, and for a type that is not good
    SYMBOL* symbol = nullptr;
    bool present = true; // p: there is a position; t: the type is 0 or good

    int64_t signed_number() const { return static_cast<int64_t>(number); }
};

// What the table of types knows besides the type itself.
struct TYPE_STATE {
    TYPE* type = nullptr; // null for a type whose record is not good: then nothing is asked of it
    uint64_t offset = 0;
    uint32_t parameters_said = 0;
    uint32_t parameters = 0; // PARAMETER records
};

// What the table of file-scope symbols knows besides the symbol itself.
struct GLOBAL_STATE {
    SYMBOL* symbol;
    uint64_t offset;
    uint32_t bodies = 0;
    uint32_t initializers = 0;
    bool is_alias = false;
};

// A node that names a label, and its statement.
struct LABEL_USE {
    const NODE* leaf;
    const NODE* stmt;
};

struct VALIDATED_FUNCTION {
    SYMBOL* symbol = nullptr; // null outside functions, and in functions of the other form
    uint64_t offset = 0;
    int depth = 0;           // 0 outside; 1 among the parameters; 2 and up in the body
    bool is_other = false;   // began with a record of the other form: only its records' forms are checked
    bool is_damaged = false; // some record of it could not be taken apart
    bool noted_as_leaf = false;
    bool makes_calls = false;
    bool block_is_open = true; // control can run into the next statement
    uint32_t calls = 0;        // numbered so far
    uint32_t blocks = 1;
    std::vector<SYMBOL*> parameters;
    std::vector<SYMBOL*> locals; // parameters included: the local table
    std::unordered_set<uint32_t> labels;
    std::vector<LABEL_USE> uses;
    FUNCTION_CHECK check;
};

struct VALIDATOR {
    std::string_view bytes;
    FILE_FAULT_SINK sink;
    uint64_t most = 0;
    uint64_t faults = 0;

    // The cursor. Reading behind `limit` makes `good` false; then nothing more is read of the record.
    size_t at = 0;
    size_t limit = 0;
    bool good = true;

    uint32_t sections[SECTION_COUNT] = {};
    uint32_t unknown_records = 0;
    std::vector<std::string_view> file_names;
    TYPE_PKG types;
    std::unordered_map<uint64_t, TYPE_STATE> type_states; // by index
    std::unordered_set<uint64_t> member_keys;             // index << 32 | key
    std::vector<GLOBAL_STATE> globals;
    VALIDATED_FUNCTION function;
    const NODE* stmt = nullptr; // the statement that is being checked, for the message
    bool in_statement = false;  // trees are statements: calls count and labels are noted

    // Scratch.
    std::vector<FIELD_VALUE> fields;
    std::vector<std::string_view> strings; // of the last field n
};

// A record whose kind and length are read: the cursor stands at its body, and the limit is its end.
struct RECORD_FRAME {
    uint8_t kind;
    size_t start;
    size_t body;
    size_t end;
    size_t outer_limit;
};

// --- validate_bytes.cpp ---

// Reports a fault at an offset.
void file_fault(VALIDATOR& v, RULE rule, uint64_t offset, const char* format, ...)
    __attribute__((format(printf, 4, 5)));
// The sink through which the checks of trees report.
FAULT_SINK tree_sink(VALIDATOR& v);

uint8_t take_byte(VALIDATOR& v);
uint32_t take_uleb(VALIDATOR& v);
uint64_t take_uleb64(VALIDATOR& v);
int64_t take_sleb64(VALIDATOR& v);
int32_t take_sleb(VALIDATOR& v);
std::string_view take_string(VALIDATOR& v);
std::string_view take_bytes(VALIDATOR& v);  // counted
TYPE* take_type(VALIDATOR& v, bool& known); // null for 0
// The fields of a layout, into v.fields. `owner` is the type that an enumerator belongs to. False when they
// cannot be read.
bool take_fields(VALIDATOR& v, const std::vector<FIELD_LAYOUT>& layout, const TYPE* owner);

// Kind and length. False when the record passes the limit; the cursor is then of no use.
bool open_record(VALIDATOR& v, RECORD_FRAME& frame);
// Checks that the contents ended where the record does, moves behind it and restores the limit. Returns
// v.good as it was.
bool close_record(VALIDATOR& v, const RECORD_FRAME& frame);
// The own fields end here.
void check_own_size(VALIDATOR& v, const RECORD_FRAME& frame);

bool is_power_of_two(uint64_t number);

// --- validate_types.cpp ---

void validate_type_record(VALIDATOR& v, const RECORD_FRAME& frame);
// What only the whole section shows.
void validate_all_types(VALIDATOR& v);

// --- validate_symbols.cpp ---

// A symbol and the pragmas behind it; its frame is closed here.
void validate_symbol_record(VALIDATOR& v, const RECORD_FRAME& frame);
// A pragma among the records of a function or of the file.
void validate_pragma_record(VALIDATOR& v, const RECORD_FRAME& frame);
void validate_all_symbols(VALIDATOR& v);

// --- validate_body.cpp ---

// The records that a function is made of.
void validate_function_record(VALIDATOR& v, const RECORD_FRAME& frame);
bool is_function_record(uint8_t kind);
// The function ends, well or not.
void leave_function(VALIDATOR& v);

// --- validate_nodes.cpp ---

// The tree record that follows. Null when it cannot be taken apart as a whole, which has been reported.
NODE* validate_tree_record(VALIDATOR& v);

// --- validate_initializers.cpp ---

void validate_initializer_record(VALIDATOR& v, const RECORD_FRAME& frame);

} // namespace pelorus
