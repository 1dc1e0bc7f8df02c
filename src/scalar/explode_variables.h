// The local structures, unions and arrays of a function, and what becomes of them: what the files of
// explode_auto_struct_vars share.
//
// A part is a scalar in such a variable: the bits that accesses through one member or one constant subscript
// touch. Once the variable is exploded, a part has a variable of its own, and what stands in memory at its
// place is not looked at any more, but where the variable is used as a whole:
//
//     s = f();                s = f(); M$0 = s.x; M$1 = s.y;       taken apart, "filled" below
//     g(s);                   s.x = M$0; s.y = M$1; g(s);          put together, "spilled"
//     t = s;                  M$2 = M$0; M$3 = M$1;                copied by members
//
// A part that nothing assigns but such filling is in memory as well, so that it is never spilled.
#pragma once

#include <cstdint>
#include <vector>

#include "ir/node.h"
#include "ir/symbol.h"
#include "tree/local_place.h"

namespace pelorus {

// Bits of a variable, from its start.
struct BIT_RANGE {
    int64_t first;
    int64_t count;
    int64_t end() const { return first + count; }
    bool operator==(const BIT_RANGE&) const = default;
};
inline BIT_RANGE range_of_bytes(int64_t offset, int64_t size) { return {8 * offset, 8 * size}; }
inline bool overlap(BIT_RANGE a, BIT_RANGE b) { return a.first < b.end() && b.first < a.end(); }
inline bool covers(BIT_RANGE a, BIT_RANGE b) { return a.first <= b.first && b.end() <= a.end(); }

struct PART {
    BIT_RANGE bits;
    int64_t offset;                     // in bytes; of a bit-field, of its container
    TYPE* type;                         // of its values, unqualified; of a bit-field, the declared one
    const TYPE_PART* bitfield;          // the member; null for other parts
    int64_t accesses = 0;               // by name, weighted
    bool is_read = false;               // by name
    bool is_assigned = false;           // by name
    const char* why_it_stays = nullptr; // in memory; null for parts that become variables
    bool is_ahead = false;              // of what memory holds, once the variable is exploded
    SYMBOL* symbol = nullptr; // its variable; null until the variable is exploded, and when it stays
};

// A use of the variable, or of a structure in it, as a whole.
struct WHOLE_USE {
    BIT_RANGE bits;
    int64_t weight;
    bool reads;          // else it assigns
    bool may_copy;       // it is a copy, which can be made by members
    bool of_two = false; // from one such variable to another
};

// What assigns the same byte to each byte of a range, with memset.
struct BYTE_FILL {
    BIT_RANGE bits;
    int64_t weight;
    uint8_t byte;
};

// Parts of a variable that are looked at, so that a table in memory stays one: registers are 13, and what is
// beyond them would be in memory again.
constexpr size_t MOST_PARTS = 64;

struct EXPLODED {
    SYMBOL* symbol;
    const char* why_not = nullptr; // the first thing found that keeps it whole
    std::vector<PART> parts{};     // by their bits, when all have been found
    std::vector<PART> unnamed{};   // those that no access names, if the variable is read as a whole
    std::vector<WHOLE_USE> wholes{};
    std::vector<BYTE_FILL> fills{};
    bool is_read_whole = false;    // some of `wholes` reads
    bool may_copy_members = false; // its parts are all that a copy has to move
    bool by_members = false;       // copies are made so; else each goes through the variable in memory
    bool is_exploded = false;
};

struct EXPLOSION {
    std::vector<EXPLODED> variables{};
    std::vector<int32_t> by_serial{}; // index in `variables`, -1 for others; by a symbol's serial number
    bool can_be_returned_to = false;  // the function calls setjmp or its like
};

// The record of a variable; null for symbols that are none of them.
inline EXPLODED* find_exploded(EXPLOSION& explosion, const SYMBOL* symbol) {
    if (!symbol || symbol->level != BODY_LEVEL) return nullptr;
    const auto serial = static_cast<size_t>(symbol->serial);
    if (serial >= explosion.by_serial.size() || explosion.by_serial[serial] < 0) return nullptr;
    return &explosion.variables[static_cast<size_t>(explosion.by_serial[serial])];
}
inline EXPLODED* find_exploded(EXPLOSION& explosion, const LOCAL_PLACE& place) {
    return place.name ? find_exploded(explosion, place.name->symbol()) : nullptr;
}

// The bits that an access of this type at the place touches.
BIT_RANGE bits_of_access(const LOCAL_PLACE& place, const TYPE* type);
// The part with these bits and values of this type; null when there is none.
PART* find_part(EXPLODED& variable, BIT_RANGE bits, const TYPE* type);
// A value of the one type can stand where one of the other is wanted.
bool same_values(const TYPE* a, const TYPE* b);

// What a statement copies: a STASG of one object to another, or memcpy, memmove or memset as a statement of
// its own.
struct BLOCK_COPY {
    enum KIND : uint8_t { NONE, STRUCTURE, BYTES, SAME_BYTE } kind = NONE;
    NODE* to = nullptr;   // the object; BYTES, SAME_BYTE: its address
    NODE* from = nullptr; // the same; null for SAME_BYTE
    NODE* commas =
        nullptr; // STRUCTURE: what `from` stands behind, evaluated before the copy; null for nothing
    int64_t size = 0;
    uint8_t byte = 0; // SAME_BYTE
};
BLOCK_COPY block_copy_of(NODE* statement);
// The places of the two sides.
LOCAL_PLACE place_of_target(const BLOCK_COPY& copy);
LOCAL_PLACE place_of_source(const BLOCK_COPY& copy);

// --- explode_collect.cpp ---

// Finds the variables and notes every access to them.
EXPLOSION collect_structs();

// --- explode_parts.cpp ---

// Finds out which parts overlap, and for a variable that is read as a whole those parts that no access names,
// if its type shows them.
void complete_parts(EXPLODED& variable);
// Those become parts like the others.
void add_unnamed_parts(EXPLODED& variable);
// Some part of it cannot be a variable.
bool stays_in_part(const EXPLODED& variable);
// Notes why a part stays in memory; the first reason counts.
inline void keep_part(PART& part, const char* why) {
    if (!part.why_it_stays) part.why_it_stays = why;
}

// --- explode_rewrite.cpp ---

// Rewrites the statements for the variables that are exploded, whose parts have their symbols.
void rewrite_exploded(EXPLOSION& explosion);

} // namespace pelorus
