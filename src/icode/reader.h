// The reader of icode files.
//
// A reader is an object over an open stream. It decodes records, keeps the file-name, symbol and type tables,
// builds symbols, types and trees, and hands them to the operations of a client. It reads only what the
// format (format.h) allows: anything else ends the run through `icode_fault` with one message that names the
// file, the offset and what was wrong.
#pragma once

#include <cstdint>
#include <cstdio>

#include "icode/format.h"
#include "ir/node.h"
#include "ir/symbol.h"

namespace pelorus {

class ICODE_READER;

// What the reader hands on. Any operation may be null: then nothing is done. `context` is passed as it is.
struct ICODE_CLIENT {
    void* context = nullptr;
    // Every tree is checked by the rules of statements and initializers before it is handed on; one that
    // breaks a rule ends the run. Without it only the form of the records is looked at.
    bool wants_good_trees = false;
    // A function begins: record kind 1 at `offset`. The local symbols and statements that follow belong to
    // it.
    void (*begin_function)(void* context, SYMBOL* symbol, const POSITION& position,
                           uint64_t offset) = nullptr;
    void (*begin_body)(void* context, const POSITION& position) = nullptr;     // kind 5
    void (*function_place)(void* context, const POSITION& position) = nullptr; // kind 6
    void (*begin_block)(void* context, const POSITION& position) = nullptr;    // kind 3
    // Kind 4. Each symbol declared in the block has been handed to end_symbol_scope before.
    void (*end_block)(void* context, const POSITION& position) = nullptr;
    void (*end_function)(void* context, const POSITION& position) = nullptr; // kind 2
    // A new symbol; `level` 0 at file scope. Its pragmas are attached already.
    void (*symbol)(void* context, SYMBOL* symbol, int level) = nullptr;
    void (*statement)(void* context, NODE* tree,
                      const POSITION& position) = nullptr;   // kind 46, calls numbered
    void (*label)(void* context, uint32_t number) = nullptr; // kind 42
    // Kinds 36 and 47 (comments that begin with ";" are dropped): outside functions `in_function` is false.
    void (*assembly)(void* context, int kind, const char* text, const POSITION& position,
                     bool in_function) = nullptr;
    void (*pragma)(void* context, PRAGMA* pragma, bool in_function) = nullptr; // top-level kind 94
    void (*initializer)(void* context, SYMBOL* symbol) = nullptr;              // attached to it already
};

// A list of strings from the string-list section: {id, n, strings}.
struct STRING_LIST {
    uint32_t id;
    std::vector<const char*> strings; // in the global zone
};

// Opens icode at the stream's position. `name` is used in messages. Checks the header; on success registers
// the file format's opcodes (register_file_opcodes), makes the tables empty and reads the string lists.
// Returns null when it is no icode file. The stream stays the caller's until close_icode, which closes it.
ICODE_READER* open_icode(FILE* stream, const char* name, const ICODE_CLIENT& client);

// Reads file names, types, symbols, initializers, then every top-level record up to the end marker. Registers
// the optimizer's own opcodes first (register_own_opcodes), since a number that is not registered reads as a
// leaf; so a program that does without the check of the opcode tables reads the same trees.
// Needs: a current type package, empty.
void read_whole_file(ICODE_READER& reader);

// Reads from `offset` (0: from where the stream stands) to the end of the function.
// Needs: read_whole_file was run before.
void read_function_body(ICODE_READER& reader, uint64_t offset);

// Seeks over records to the end of a function.
void skip_function_body(ICODE_READER& reader);

// Reads one top-level record, dispatches it and returns its kind. An unknown kind prints
// "\n///ERROR @0x%lx\n\n" on the error stream; the bytes behind its length are read as the next record.
int read_record(ICODE_READER& reader);

// Reads one node and its subtrees. With `check_header` the record's kind and length are read first.
NODE* read_tree(ICODE_READER& reader, bool check_header);

// Releases the tables and the reader, and closes the stream.
void close_icode(ICODE_READER* reader);

const char* icode_source_name(const ICODE_READER& reader);
const std::vector<STRING_LIST>& icode_string_lists(const ICODE_READER& reader);
const std::vector<SYMBOL*>& icode_global_symbols(const ICODE_READER& reader);

// The fault of a bad file: prints "\n>> %s: offset 0x%lx: %s\n" on the error stream and exits with status 1
// through `icode_exit`. Tests, and whoever goes on without the file, replace it.
[[noreturn]] void icode_fault(const ICODE_READER& reader, uint64_t offset, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
extern void (*icode_exit)(int status);
// What shows the message, without the line's end. Replaced by those who show it elsewhere.
extern void (*icode_complain)(const char* message);

} // namespace pelorus
