// What the reducer asks of an icode file that was taken apart, and the repairs that keep it whole when parts
// of it go.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/icode_parts.h"

namespace pelorus {

// --- Trees ---

// A symbol reference: the payload of a NAME.
struct REFERENCE {
    uint32_t scope = 0; // 0: of the file
    uint32_t index = 0;
};
REFERENCE reference_of(const PARTS_TREE& name);
std::string reference_bytes(REFERENCE reference);

// The trees of statements and initializers.
void each_root(PARTS_FILE& file, const std::function<void(PARTS_RECORD& record, PARTS_TREE& root)>& take);
// A tree's nodes, parents before children.
void each_node(PARTS_TREE& tree, const std::function<void(PARTS_TREE& node)>& take);
// All nodes of the file.
void each_node(PARTS_FILE& file, const std::function<void(PARTS_TREE& node)>& take);

// --- Types ---

enum class CATEGORY : uint8_t { OTHER, INTEGER, FLOATING, POINTER };

// What a value of a type is, names and qualifiers looked through.
struct REPRESENTATION {
    CATEGORY category = CATEGORY::OTHER;
    uint64_t size = 0;
    bool is_unsigned = false;
    bool is_bool = false;
    bool operator==(const REPRESENTATION&) const = default;
};

struct TYPE_ROW {
    uint8_t kind = 0; // void for numbers without a type
    uint32_t base =
        0; // what a name or a qualifier is put on, what a pointer points to, what a function returns
    uint64_t size = 0;
    bool is_unsigned = false;
};

// The types by number.
std::vector<TYPE_ROW> type_rows(const PARTS_FILE& file);
REPRESENTATION representation(const std::vector<TYPE_ROW>& types, uint32_t type);
// The number that a type record begins with.
uint32_t type_of_record(const PARTS_RECORD& record);

// --- Symbols ---

enum SYMBOL_FIELD { SYMBOL_NAME, SYMBOL_CLASS = 3, SYMBOL_FLAGS, SYMBOL_TYPE, SYMBOL_PRAGMAS = 7 };
uint32_t type_of_symbol(const PARTS_RECORD& symbol);

// The first field of a function's begin, an initializer or another record that names a global symbol.
uint32_t global_of(const PARTS_RECORD& record);

// The places of the symbol records (35) of a list: of the symbol section, or of a function's records.
std::vector<size_t> symbol_places(const std::vector<PARTS_RECORD>& records, int function);

// Removes global symbols that nothing refers to, given by their numbers.
void remove_globals(PARTS_FILE& file, const std::vector<bool>& gone);
// The same for a function's own symbols.
void remove_locals(PARTS_FILE& file, int function, const std::vector<bool>& gone);
// Removes types that nothing refers to, and numbers the others anew.
void remove_types(PARTS_FILE& file, const std::vector<bool>& gone);
// Makes a function without body one that another file defines.
void make_external(PARTS_FILE& file, uint32_t global);

// --- Records ---

// The first and the last record of a function, and its statements' first place.
struct FUNCTION_PLACE {
    size_t begin = 0, end = 0;
    uint32_t global = 0;
    size_t body = 0;          // of BODY_BEGIN
    size_t copies = SIZE_MAX; // of the statement that copies the parameters
    size_t parameters = 0;    // how many
};
std::vector<FUNCTION_PLACE> function_places(const PARTS_FILE& file);

bool is_statement(const PARTS_RECORD& record);

// Removes the records whose flag is set.
void remove_records(std::vector<PARTS_RECORD>& records, const std::vector<bool>& gone);

// Numbers the calls of each function anew.
void number_calls(PARTS_FILE& file);

// How large a file is.
struct FILE_SIZE {
    size_t functions = 0, statements = 0, nodes = 0, symbols = 0, types = 0, bytes = 0;
};
FILE_SIZE file_size(const PARTS_FILE& file, size_t bytes);

} // namespace pelorus
