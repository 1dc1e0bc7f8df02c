// The writer of icode files: the mirror image of the reader (format.h).
//
// It writes one record at a time. A record's own fields are put together in a buffer of ICODE_BUFFER_SIZE
// bytes; what does not fit ends the run (">> ICODE Buffer size exceeded\n", status 1). Nested records follow
// their parent's fields, whose length counts them. With the debug trace on, each record is echoed as a line
// of text.
#pragma once

#include <cstdint>
#include <cstdio>

#include "icode/format.h"
#include "icode/reader.h"
#include "ir/node.h"
#include "ir/symbol.h"
#include "ir/type.h"

namespace pelorus {

class ICODE_WRITER;

// Starts a file on the stream, which must be seekable and stands at its first byte: writes the header with
// offsets 0. `name` is used in messages, `source_name` goes into the header. The stream is closed by
// close_icode_writer.
ICODE_WRITER* create_icode(FILE* stream, const char* name, const char* source_name, TYPE_PKG& types);

// String lists are copied to their section when the file is closed.
void write_string_list(ICODE_WRITER& writer, const STRING_LIST& list);

// Enters a file-scope symbol in the output's symbol table, unless it is there; its record is written when the
// file is closed, with its working type and its pragmas. Returns the index in the table. Trees enter what
// they name.
uint32_t declare_global(ICODE_WRITER& writer, SYMBOL* symbol);

// The records of a function, in the order that format.h gives. A symbol of the function must be written
// before a tree names it. `write_symbol` numbers them.
void write_function_begin(ICODE_WRITER& writer, SYMBOL* symbol, const POSITION& position);
void write_symbol(ICODE_WRITER& writer, SYMBOL* symbol);
void write_body_begin(ICODE_WRITER& writer, const POSITION& position);
void write_function_place(ICODE_WRITER& writer, const POSITION& position);
void write_block_begin(ICODE_WRITER& writer, const POSITION& position);
void write_block_end(ICODE_WRITER& writer, const POSITION& position);
// A statement: runs the pre-write walk on the tree, then writes it.
void write_statement(ICODE_WRITER& writer, NODE* tree, const POSITION& position);
void write_label(ICODE_WRITER& writer, uint32_t number);
void write_leaf_note(ICODE_WRITER& writer, const char* function_name); // the function makes no calls
void write_function_end(ICODE_WRITER& writer, const POSITION& position);

// Records that may stand in a function or outside.
void write_assembly(ICODE_WRITER& writer, const char* text, const POSITION& position);
void write_comment(ICODE_WRITER& writer, const char* text);
void write_pragma(ICODE_WRITER& writer, const PRAGMA& pragma);

// The initializer of a file-scope symbol (`init_trees`). Every global that a tree names is declared.
void write_initializer(ICODE_WRITER& writer, SYMBOL* symbol);

// Writes the end marker, the sections and the final header, and closes the stream. Returns false, after "\n>>
// Cannot Write Output icode File, %s : %s, Aborting\n" on the error stream, when not all could be written.
bool close_icode_writer(ICODE_WRITER* writer);
// Closes the stream and forgets everything; the file is left incomplete.
void abandon_icode_writer(ICODE_WRITER* writer);

// The echo of a symbol in the trace, and its two header lines.
void trace_symbol_header();
void trace_symbol(char mark, const SYMBOL& symbol);

// --- Parts that function_writer.cpp and tests use ---

// Prepares a tree for the output: reloads labels, turns wide ICONs into LCONs, puts replacement trees in,
// turns calls of member functions into MCALL and UMCALL. Opcodes that must not be written end the run.
NODE* wrtree(NODE* tree);

} // namespace pelorus
