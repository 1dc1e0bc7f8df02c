// Words of the text form: keywords of records, names of field values, quoted strings. Local to the text form.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pelorus {

constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The word that begins the line of a record kind that has a layout.
std::string record_keyword(uint8_t kind);
// The kind of a keyword, -1 for none.
int record_kind_of(std::string_view keyword);

// Names of the sections, as the header's fields call them. `section_of` gives -1 for a name that is none.
std::string_view section_name(int section);
int section_of(std::string_view name);

// Fields whose numbers have names. ENUM: one name a number. BITS: a name a bit, joined by "+".
enum class NAMED : uint8_t { NO, ENUM, BITS };
NAMED named_field(std::string_view record, std::string_view field);
// The text of a number of a named field: names, and a plain number for what has none.
std::string named_value(std::string_view record, std::string_view field, uint64_t value);
// The number that `name` stands for; false when it is no name of the field.
bool value_of_name(std::string_view record, std::string_view field, std::string_view name, uint64_t& value);

// The record's name for the functions above: that of its type kind for type records. "" when there is none.
const char* naming_record(uint8_t kind, uint8_t type_kind);

// True for what can stand in a text without quotes as the name of a symbol.
bool is_plain_name(std::string_view name);
// True for words that mean something of their own where a tree begins.
bool is_tree_word(std::string_view word);

// Characters of words: names, and labels of types such as "char.const*[4]".
bool is_word_start(char c);
bool is_word_part(char c);

// The opcode with this name, or of the form OP<number>; -1 for none.
int opcode_of_word(std::string_view word);
std::string opcode_word(uint8_t op);

// True for a number's text that means a floating-point constant, such as "-1.5e+10".
bool is_float_text(std::string_view text);

// The text between quotation marks, with escapes, quotation marks included.
std::string quoted(std::string_view bytes);
std::string hex_bytes(std::string_view bytes, std::string_view separator);

} // namespace pelorus
