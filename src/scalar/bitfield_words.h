// Words of memory that hold bit-fields; shared by the parts of expand_bitfields.
//
// A field is known by the variable or the pointer that leads to its structure, its root, and by its distance
// from there in bits. A word is a naturally aligned integer of 1, 2 or 4 bytes that lies in the structure, as
// one of its fields does; it may hold several fields, whatever their own containers are:
//
//     struct { unsigned a : 3, b : 5, c : 8; }      containers: 1 byte for each      words: 1 or 2 bytes
#pragma once

#include <cstdint>

#include "ir/node.h"

namespace pelorus {

struct FIELD_PLACE {
    NODE* lvalue = nullptr; // the STDOT or STREF; null: none, or one that has to stay as it is
    NODE* root = nullptr;   // the NAME of the variable, or the pointer that the structure lies behind
    bool through_pointer = false;
    uint32_t align = 1;              // bytes; what the root promises
    int64_t first = 0;               // bits from the root
    uint32_t width = 0;              // bits
    int64_t container = 0;           // bytes from the root
    uint32_t container_size = 0;     // bytes
    const TYPE* structure = nullptr; // whose member it is
    int64_t structure_offset = 0;    // bytes from the root
    bool is_signed = false;          // of the declared type
    bool is_bool = false;            //
};

// The place of a bit-field that may be read and written together with others: one that is not volatile, and
// whose address is found without effects.
FIELD_PLACE field_at(NODE* lvalue);

// The field is the value of the tree, perhaps converted to an integer type that holds all its bits. The type
// is that of the tree.
FIELD_PLACE field_behind(NODE* value);

bool same_structure(const FIELD_PLACE& a, const FIELD_PLACE& b);
// Two places of one structure, and the same bits of it.
bool same_field(const FIELD_PLACE& a, const FIELD_PLACE& b);

inline uint64_t ones(uint32_t bits) { return (uint64_t{1} << bits) - 1; } // fewer than 64

struct WORD {
    int64_t offset = 0; // bytes from the root
    uint32_t size = 0;  // bytes; 0: there is none
};
inline uint64_t ones_of(const WORD& word) { return ones(8 * word.size); }

// Bits from the root.
struct BIT_SPAN {
    int64_t first;
    int64_t end;
};
inline BIT_SPAN span_of(const FIELD_PLACE& field) { return {field.first, field.first + field.width}; }
inline BIT_SPAN joined(const BIT_SPAN& a, const BIT_SPAN& b) {
    return {a.first < b.first ? a.first : b.first, a.end > b.end ? a.end : b.end};
}
inline bool overlap(const BIT_SPAN& a, const BIT_SPAN& b) { return a.first < b.end && b.first < a.end; }

// The unit of a field: the largest word that its structure's alignment allows, as a number from the root on.
// Fields that share one may share a word.
int64_t unit_bits(const FIELD_PLACE& field);
int64_t unit_of(const FIELD_PLACE& field);
bool lies_in_unit(const FIELD_PLACE& field);

// The smallest aligned integer around the bits, of up to 4 bytes, whether the structure has it or not. Needs:
// there is one.
WORD word_around(const BIT_SPAN& bits);
// The word lies in the field's structure, is aligned there, and nothing that is or may be volatile lies in
// it.
bool is_word_of(const FIELD_PLACE& field, const WORD& word);
// Where the field's bits are in the word, and their number there.
inline uint32_t shift_in(const WORD& word, const FIELD_PLACE& field) {
    return static_cast<uint32_t>(field.first - 8 * word.offset);
}
inline uint64_t mask_in(const WORD& word, const FIELD_PLACE& field) {
    return ones(field.width) << shift_in(word, field);
}

// --- Trees. The root is copied. Values of words are unsigned integers of 4 bytes; nothing is simplified. ---

TYPE* word_type(); // unsigned int
NODE* word_object(const FIELD_PLACE& field, const WORD& word);
NODE* word_value(const FIELD_PLACE& field, const WORD& word);
NODE* word_store(const FIELD_PLACE& field, const WORD& word, NODE* value);
NODE* word_constant(uint64_t bits);
NODE* masked(NODE* value, uint64_t mask); // the value itself when no bit of a word of 4 bytes is masked
NODE* shifted_left(NODE* value, uint32_t places);
// The field's value in its declared type, taken from the word.
NODE* field_in_word(const FIELD_PLACE& field, const WORD& word);
// The node, whose operands go, becomes the tree's top; the top itself is used up.
void become_tree(NODE* node, NODE* tree);

} // namespace pelorus
