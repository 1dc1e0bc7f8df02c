// The icode file format: the one description that the reader, the writer and the text form share.
//
//   file      = header record* end section*
//   record    = kind(byte) length(uleb) body          kind 1..254; `length` counts nested records too
//   end       = 255                                   a byte alone
//   header    = record of kind 8 (records.def); magic "!<icode>\n", version_a -89,
//               version_b 400, five section offsets
//   section   = record* end                           at the offset in the header; 0: absent; in its order:
//                                                     string lists (111), initializers (105), types (116),
//                                                     file names (126, ends at the first record of another
//                                                     kind), symbols (35)
//   symbol    = record of kind 35, then as many records of kind 94 as its field "pragmas" says
//   function  = 1 symbol* 5 symbol* 6? (46 | 42 | 36 | 47 | 94 | 3 | symbol | 4 | 64)* 2
//   node      = opcode(byte) type(uleb) payload subtree{arity}
//                                                     each subtree a complete record of kind 101; the leaf
//                                                     records (LABEL NAME SCON ICON FCON LCON FIELD SKIP
//                                                     BGNBLOCK) have none
//   reference = scope(uleb) index(uleb)               scope 0xFFFFFFFF: none; 0: global; others: local table
//   position  = 0 | file(uleb) line(uleb) column(uleb)
//
// Multi-byte numbers are little-endian. uleb and sleb are LEB128. Offsets count from the first byte of the
// icode, which need not be the first byte of the file that holds it. Indices of global and local symbols
// count from 0 in order of arrival; types and file names from 1. The local table starts empty at every
// function.
//
// The bodies' fields are in records.def and ir/type_kinds.def.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace pelorus {

enum RECORD_KIND : uint8_t {
#define RECORD_KIND(number, name, layout, nested) RK_##name = (number),
#include "icode/records.def"
#undef RECORD_KIND
    RK_END = 255,
};

enum class NESTED : uint8_t { NOTHING, TREE, TREES, NODE, TYPE, PRAGMAS };

constexpr const char* ICODE_MAGIC = "!<icode>\n";
constexpr int16_t ICODE_VERSION_A = -89;
constexpr int16_t ICODE_VERSION_B = 400;
constexpr uint32_t NO_SYMBOL_SCOPE = 0xFFFFFFFF;
constexpr uint32_t ICODE_BUFFER_SIZE = 8192; // stream buffer, and the largest own part of a record body

enum SECTION {
    SECTION_STRING_LISTS,
    SECTION_INITIALIZERS,
    SECTION_TYPES,
    SECTION_FILE_NAMES,
    SECTION_SYMBOLS,
    SECTION_COUNT
};

// Limits that keep a hostile file from more than a fair share of memory, and functions within their 16-bit
// numbers.
struct ICODE_LIMITS {
    uint32_t tree_depth = 100000;    // nested trees: a switch of 50,000 cases still reads
    uint32_t right_depth = 10000;    // nested right subtrees, on which tree walkers recurse
    uint32_t labels = 32767;         // label numbers are 16 bits in memory
    uint32_t unknown_records = 1000; // unknown kinds that one file may hold before it is given up
};
constexpr ICODE_LIMITS icode_limits;

// One field of a layout: its code and its name, which is not terminated.
struct FIELD_LAYOUT {
    char code;
    std::string_view name;
};

struct RECORD_LAYOUT {
    uint8_t kind = 0;
    const char* name = nullptr;
    NESTED nested = NESTED::NOTHING;
    std::vector<FIELD_LAYOUT> fields;
};

// The layout of a record kind; null for a kind that is not known.
const RECORD_LAYOUT* record_layout(uint8_t kind);
// The layout of a type record behind index and kind byte; null for a kind that is not known.
const std::vector<FIELD_LAYOUT>* type_layout(uint8_t type_kind);

} // namespace pelorus
