// The reader's state, shared by reader.cpp (tables, sections, records) and tree_reader.cpp (nodes). Nobody
// else includes it.
#pragma once

#include <string>
#include <vector>

#include "icode/byte_source.h"
#include "icode/reader.h"
#include "ir/validate_function.h"

namespace pelorus {

// A node whose record is being read: its fields are done, its subtrees are not.
struct OPEN_NODE {
    NODE* node;
    uint64_t start; // offset of the record's kind byte
    uint64_t end;   // offset behind its body
    uint8_t arity;
    uint8_t children;     // subtrees begun
    uint32_t right_depth; // right subtrees it is nested in
};

class ICODE_READER {
public:
    BYTE_SOURCE in;
    std::string name; // of the file, for messages
    ICODE_CLIENT client;
    std::string source_name;               // as the header gives it
    uint32_t sections[SECTION_COUNT] = {}; // offsets; 0 absent
    std::vector<const char*> file_names;   // index 0 is file 1; in the global zone
    std::vector<SYMBOL*> global_symbols;
    std::vector<SYMBOL*> local_symbols;
    std::vector<STRING_LIST> string_lists;
    std::vector<SYMBOL*> open_symbols;   // symbols of the open scopes, innermost last
    std::vector<size_t> scopes;          // length of open_symbols at the begin of each open scope
    std::vector<uint32_t> scope_numbers; // of the open scopes, innermost last (ir/position.h)
    uint32_t last_scope = 0;             // number given last
    std::vector<OPEN_NODE> open_nodes;   // scratch of read_tree
    std::vector<TYPE_FIELD> type_fields; // scratch of the type records
    int in_function = 0;                 // 0 outside; 1 after begin; 2 and up in the body
    bool function_ended = false;         // a kind-2 record was handled
    bool in_statement = false;           // a statement's tree is being read: its calls are numbered
    const SYMBOL* function = nullptr;    // whose records are being read; null outside
    FUNCTION_CHECK check;                // of the statements read so far
    bool checks_trees = false;           // during the first reading
    int32_t own_opcode = -1;             // one of the optimizer's own in the tree that was read last; -1 none
    uint64_t record_start = 0;           // of the top-level record being read
    uint32_t unknown_records = 0;
    uint64_t last_unknown = 0; // offset of the one that was counted last
};

// A record's frame: where its body ends, and what to restore when it is done.
struct FRAME {
    uint8_t kind;
    uint64_t start; // offset of the kind byte
    uint64_t end;   // offset behind the body
    uint64_t outer_limit;
};

// Reads length and opens the frame of a record whose kind byte at `start` was read.
FRAME open_frame(ICODE_READER& reader, uint8_t kind, uint64_t start);
// The body must have been read to its end.
void close_frame(ICODE_READER& reader, const FRAME& frame);

POSITION read_position(ICODE_READER& reader);
// The type of an index; void for 0. A fault when it is not known.
TYPE* read_type_index(ICODE_READER& reader);

// --- tree_check.cpp: what is read is looked at once, before anyone else uses it ---

// A function begins.
void begin_checks(ICODE_READER& reader, const SYMBOL* symbol);
// The next statement of the function, whose record begins at the offset; a fault when it breaks a rule.
void check_statement(ICODE_READER& reader, const NODE* stmt, uint64_t start);
// An item of an initializer; a fault when it is none of those that can stand there.
void check_item(ICODE_READER& reader, const NODE* item, uint64_t start);

} // namespace pelorus
