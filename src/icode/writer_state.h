// The writer's state, shared by writer.cpp (records, tables, sections) and tree_writer.cpp (nodes). Nobody
// else includes it.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "icode/writer.h"

namespace pelorus {

// A node on its way out: its own fields wait in `ICODE_WRITER::tree_bytes` until the lengths are known.
struct WAITING_NODE {
    size_t own_start; // of its fields in tree_bytes
    size_t own_size;  //
    uint64_t body;    // own fields and subtree records; complete once all later nodes were added in
    uint32_t parent;  // index of the parent; its own index for a root
};

class ICODE_WRITER {
public:
    FILE* stream = nullptr;
    std::string name; // of the file, for messages
    std::string source_name;
    TYPE_PKG* types = nullptr;
    uint8_t buffer[ICODE_BUFFER_SIZE]; // own fields of the record being put together
    size_t cursor = 0;
    uint64_t offset = 0; // of the next byte of the file
    uint32_t sections[SECTION_COUNT] = {};
    std::vector<const char*> file_names;                         // file 1 first
    std::unordered_map<std::string_view, uint32_t> file_numbers; // by name, from 1
    const char* last_file = nullptr; // the file name asked for last, and its number
    uint32_t last_file_number = 0;
    std::vector<STRING_LIST> string_lists;
    std::vector<SYMBOL*> symbols; // the output's symbol table, in order
    uint32_t local_symbols = 0;   // of the current function
    uint32_t calls = 0;           // of the current function
    int in_function = 0;          // as the reader keeps it
    std::vector<WAITING_NODE> waiting;
    std::vector<uint8_t> tree_bytes;
    std::vector<std::pair<const NODE*, uint32_t>>
        walk; // nodes still to be put into `waiting`, with their parents
};

// The primitives append to the buffer.
void put_byte(ICODE_WRITER& writer, uint8_t byte);
void put_half(ICODE_WRITER& writer, uint16_t half);
void put_word(ICODE_WRITER& writer, uint32_t word);
void put_uleb(ICODE_WRITER& writer, uint64_t value);
void put_sleb(ICODE_WRITER& writer, int64_t value);
void put_string(ICODE_WRITER& writer, std::string_view text); // and its terminator
void put_bytes(ICODE_WRITER& writer, const void* bytes, size_t count);
void put_position(ICODE_WRITER& writer, const POSITION& position);

// Writes kind, length and buffer, and empties the buffer. `nested` is the size of the records that follow
// inside the body.
void emit(ICODE_WRITER& writer, uint8_t kind, uint64_t nested = 0);
// Bytes that are no record of their own.
void emit_raw(ICODE_WRITER& writer, const void* bytes, size_t count);
// Bytes that a length takes as uleb.
size_t uleb_size(uint64_t value);
size_t encode_uleb(uint64_t value, uint8_t* bytes);

// The index of a symbol in its table, as a tree refers to it; declares a global. A local symbol that was not
// written ends the run.
uint32_t symbol_reference(ICODE_WRITER& writer, SYMBOL* symbol);

// Puts a tree's records into `waiting` (behind what is there) and returns the size that they take together.
uint64_t prepare_tree(ICODE_WRITER& writer, const NODE* tree);
// Writes what waits, and forgets it.
void emit_waiting(ICODE_WRITER& writer);

} // namespace pelorus
