// The assembler's state and parts. Local to the text form.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "icode/text_lexer.h"
#include "icode/text_tables.h"

namespace pelorus {

// A type that a text uses by its label alone, such as "int*": its record is put in where it is needed.
struct AUTO_TYPE {
    std::string label;
    std::string base;    // label of the type that it is made of; "" for basic types
    uint8_t kind = 0;    // TR_...
    uint64_t detail = 0; // arrays: count; qualified types: qualifiers; basic types: unsigned
};

struct ASSEMBLER {
    explicit ASSEMBLER(std::string_view text) : lexer(text) {}

    TEXT_LEXER lexer;
    TEXT_CONTEXT context;
    bool last_pass = false; // names must be known, and the bytes are used

    std::string bytes;               // the output
    std::deque<std::string> strings; // what views of this pass and the one before point into
    std::deque<std::string> old_strings;
    std::optional<size_t> header_words[SECTION_COUNT]; // where the header's offsets wait for their sections
    std::optional<size_t> section_offsets[SECTION_COUNT];
    std::optional<size_t> pragma_count; // where the last symbol counts the pragmas that stand right behind it

    std::vector<AUTO_TYPE> auto_types;                   // bases in front
    std::unordered_map<std::string, size_t> auto_places; // of labels, in auto_types
    std::vector<std::string> unknown_labels;             // of this pass, in their order
    std::vector<std::string> line_labels;                // labels used in the fields of the record being read
};

// Keeps a text as long as the tables need it.
std::string_view keep(ASSEMBLER& as, std::string text);

// Parts of a text, from the token that the lexer has. Each fails with what was expected.
TEXT_NUMBER parse_number(ASSEMBLER& as); // with "~width"
uint32_t parse_width(ASSEMBLER& as);     // "~width", or nothing, which is 0
TEXT_NUMBER parse_type(ASSEMBLER& as);   // an index or a label
TEXT_NUMBER parse_global(ASSEMBLER& as); // "@name", or "global index" with the name perhaps behind it
std::string_view parse_string(ASSEMBLER& as, bool may_hold_zero);
// A number that is encoded as signed or unsigned, or "leb:" and its encoding. Returns the encoding.
std::string_view parse_encoded_number(ASSEMBLER& as, bool is_signed);
std::string_view encode_number(ASSEMBLER& as, const TEXT_NUMBER& number, bool is_signed);
// A name in quotation marks behind a symbol's number, if there is one, must be the symbol's.
void check_name(ASSEMBLER& as, const TEXT_SYMBOL* symbol);
void expect(ASSEMBLER& as, char c);
bool accept(ASSEMBLER& as, char c);

// The trees of a record: one, or a list in parentheses.
void parse_trees(ASSEMBLER& as, TEXT_RECORD& record);
void encode_trees(const TEXT_RECORD& record, std::string& bytes);

// Gives the fields that are not `given` their values, appends the record to the output and enters it in the
// tables.
void emit_record(ASSEMBLER& as, TEXT_RECORD& record, const std::vector<bool>& given);
// The same for a record that defines a type, with the next index unless it has one. `label` may be "".
void emit_type(ASSEMBLER& as, TEXT_RECORD& record, const std::vector<bool>& given, std::string_view label);

// --- Types that have no record in the text; text_as_types.cpp ---

// After a pass: chooses the labels used but not declared that say what they mean.
void find_auto_types(ASSEMBLER& as);
// Emits those of them that the record being read uses, or all that are left.
void emit_used_auto_types(ASSEMBLER& as);
void emit_all_auto_types(ASSEMBLER& as);
// Are there some that have not been emitted?
bool auto_types_wait(const ASSEMBLER& as);

} // namespace pelorus
