// Parts of the disassembler: taking records apart, and printing them. Local to the text form.
#pragma once

#include <string>
#include <string_view>

#include "icode/text_tables.h"
#include "icode/text_value.h"

namespace pelorus {

// Takes the record at `at` apart; it must end at `limit` at the latest. On success `end` is the offset behind
// it. Otherwise returns what is wrong; then `end` is the offset behind it when its length can be trusted so
// far that it does not pass `limit`, else 0. Does not depend on what is known of the rest of the file.
const char* decode_record(std::string_view bytes, size_t at, size_t limit, TEXT_RECORD& record, size_t& end);

// The text of a type index, of a symbol reference, of a number with the width of its encoding.
std::string type_reference(const TEXT_CONTEXT& context, const TEXT_NUMBER& index);
std::string symbol_reference_text(const TEXT_CONTEXT& context, const TEXT_NUMBER& scope,
                                  const TEXT_NUMBER& index);
std::string number_text(const TEXT_NUMBER& number, bool is_signed);
std::string width_text(uint32_t width);
// The text of a number that is encoded as its type says.
std::string encoded_number_text(std::string_view encoding, bool is_signed);

// Appends the trees of a record; the first node of each is in `record.nodes` behind the last one's. The line
// so far is `column` characters long, further lines are indented by at least `indent`.
void print_trees(TEXT_CONTEXT& context, const TEXT_RECORD& record, size_t column, size_t indent,
                 std::string& text);

constexpr size_t TEXT_COLUMNS = 110; // longer lines are broken where trees can be

} // namespace pelorus
