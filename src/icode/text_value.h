// The values of record fields between bytes and text, and the records and nodes made of them. Local to the
// text form.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "icode/format.h"
#include "ir/opcodes.h"

namespace pelorus {

constexpr uint32_t LONGEST_NUMBER =
    32; // bytes of a LEB128 that is taken for one; ten would do for any number

// A number and the form of its LEB128 encoding.
struct TEXT_NUMBER {
    uint64_t value = 0; // signed numbers: two's complement
    uint32_t width =
        0; // bytes of an encoding that is longer than it need be; 0: the shortest, or a fixed width
};

// The value of one field, or of the payload of a node.
struct TEXT_VALUE {
    std::array<TEXT_NUMBER, 3>
        numbers;           // p: file, line, column; n and c: the count; one-number codes: the first
    std::string_view text; // s, c, m, r: the bytes; v and i: the encoding itself
    std::vector<std::string_view> strings; // n
};

// One node of a tree. Trees are lists of nodes, parents before their subtrees.
struct TEXT_NODE {
    uint8_t op = 0;
    uint32_t width =
        0; // of the length of its record, as in TEXT_NUMBER; unused in a record of kind TREE itself
    uint32_t children = 0;
    TEXT_NUMBER type;
    TEXT_VALUE payload;
};

struct TEXT_RECORD {
    uint8_t kind = 0;
    uint8_t type_kind = 0; // TYPE records
    uint32_t width = 0;    // of the length
    TEXT_NUMBER type;      // TYPE records: the index
    const std::vector<FIELD_LAYOUT>* fields = nullptr;
    std::vector<TEXT_VALUE> values; // one a field
    std::vector<TEXT_NODE> nodes;   // of all its trees
    uint32_t trees = 0;
    std::string_view extra; // bytes behind what the layout describes
};

// Reads the value of a field of code `code` at `at`, and moves `at` behind it. False when the bytes end
// before the value does or do not form one.
bool decode_value(char code, std::string_view bytes, size_t& at, TEXT_VALUE& value);
// Appends the bytes of a value.
void encode_value(char code, const TEXT_VALUE& value, std::string& bytes);

// LEB128 numbers of at most 64 bits, in `width` bytes when that is more than they need.
bool decode_uleb(std::string_view bytes, size_t& at, TEXT_NUMBER& number);
bool decode_sleb(std::string_view bytes, size_t& at, TEXT_NUMBER& number);
void encode_uleb(const TEXT_NUMBER& number, std::string& bytes);
void encode_sleb(const TEXT_NUMBER& number, std::string& bytes);
size_t shortest_uleb(uint64_t value);
size_t shortest_sleb(int64_t value);

// The numbers and texts of a node's payload, by their codes: those of records.def, and
//   c counted bytes     i the number of an ICON: sleb or uleb, as its type says
const char* payload_codes(PAYLOAD payload);
bool decode_payload(PAYLOAD payload, std::string_view bytes, size_t& at, TEXT_VALUE& value);
void encode_payload(PAYLOAD payload, const TEXT_VALUE& value, std::string& bytes);

// The payload of any opcode byte, and how many subtrees a record of it has.
PAYLOAD opcode_payload(uint8_t op);
uint32_t record_children(uint8_t op);

} // namespace pelorus
