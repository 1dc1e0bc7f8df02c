// What a text form needs to know of a file beyond the record at hand: types, symbols, file names, the place
// in the file, and from them the values that a text leaves out. The disassembler and the assembler walk the
// records of a file in the same order, several times, and keep these tables in the same way, so that what the
// one leaves out is what the other puts in. Local to the text form.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "icode/text_value.h"

namespace pelorus {

struct TEXT_MEMBER_NAMES {
    std::unordered_map<uint64_t, std::string_view> name_of;
    std::unordered_map<std::string_view, uint64_t> key_of;
    bool unique = true; // no key and no name twice
};

struct TEXT_TYPE {
    uint8_t kind = 0; // TR_...
    bool is_unsigned = false;
    uint64_t base = 0; // the type that it is made of; 0 for none
    uint64_t count =
        0; // arrays: elements; bit-fields: bits; qualified types: qualifiers; structures: what they are
    uint64_t size = 0;
    uint64_t align = 0;
    uint64_t parameters = 0;   // PARAMETER records with its index
    std::string_view name;     // tag or name
    std::string label;         // "" for none
    TEXT_MEMBER_NAMES members; // of structures
};

struct TEXT_SYMBOL {
    std::string_view name;
    uint64_t type = 0;
};

// The tables of a whole file, or of a file up to a record.
struct TEXT_TABLES {
    std::unordered_map<uint64_t, TEXT_TYPE> types; // by index; of several with one index the first
    std::vector<uint64_t> type_order;              // indices in the order of the records
    std::unordered_map<std::string, uint64_t> labels;
    uint64_t void_type = 0; // the first type of kind VOID; 0 for none
    std::vector<std::string_view> section_files, stream_files;
    std::vector<TEXT_SYMBOL> section_globals, stream_globals;
    std::unordered_map<std::string_view, uint64_t>
        global_names; // filled by finish_pass; NOT_UNIQUE for several

    static constexpr uint64_t NOT_UNIQUE = ~uint64_t{0};

    const TEXT_TYPE* type(uint64_t index) const;
    // Both count sections before the stream, as a reader does. Null, or a null view, when there is none.
    const TEXT_SYMBOL* global(uint64_t index) const;
    std::string_view file(uint64_t index) const;
};

// Where a walk over the records of a file stands.
struct TEXT_PLACE {
    static constexpr int STREAM = -1, OUTSIDE = -2;
    int section = STREAM; // SECTION_..., STREAM for the records before the first end, OUTSIDE behind an end

    bool in_function = false;
    std::vector<TEXT_SYMBOL> locals; // of the function, in their order
    std::vector<uint64_t> visible;   // locals of the open scopes
    std::vector<size_t> scopes;      // open blocks: how many locals were visible before
    std::unordered_map<std::string_view, std::vector<uint64_t>>
        by_name;        // visible locals of a name, the last one last
    uint64_t calls = 0; // in the function so far

    uint64_t last_type = 0;                           // index of the last record that defines a type
    uint64_t part_owner = 0;                          // index of the last type record
    std::unordered_map<uint64_t, uint64_t> last_keys; // member keys, by type
};

struct TEXT_CONTEXT {
    TEXT_TABLES known;   // the whole file, as the last walk found it
    TEXT_TABLES filling; // the file up to here
    TEXT_PLACE place;
};

// Begins a walk, ends one, enters a section, passes an end marker, passes a record.
void start_pass(TEXT_CONTEXT& context);
void finish_pass(TEXT_CONTEXT& context);
void note_section(TEXT_CONTEXT& context, int section);
void note_end(TEXT_CONTEXT& context);
void note_record(TEXT_CONTEXT& context, const TEXT_RECORD& record);
// Passes a node of a tree and returns the number that its call has when calls are numbered in order; 0 for
// other nodes.
uint64_t note_node(TEXT_CONTEXT& context, const TEXT_NODE& node);

// The number of a field that a text may leave out; none for fields that have no number.
std::optional<uint64_t> default_number(const TEXT_CONTEXT& context, const TEXT_RECORD& record, size_t field);

// True for fields of the header that hold the offset of a section.
bool is_section_offset(const TEXT_RECORD& record, const FIELD_LAYOUT& field);
// The field that is a string and stands without its name, and the one that is a number and does; -1 for none.
int unnamed_string(const TEXT_RECORD& record);
int unnamed_number(const TEXT_RECORD& record);

// The type of a node whose text names none: void, in its file's own way, for statements and their parts; else
// no type.
uint64_t default_node_type(const TEXT_CONTEXT& context, uint8_t op);

// True for types whose integers are written as signed numbers.
bool text_type_is_signed(const TEXT_TABLES& tables, uint64_t index);

// The record of a kind with its layout; the values are all zero.
TEXT_RECORD new_record(uint8_t kind);
// Chooses the layout of a type record. False when the kind is not known.
bool choose_type_kind(TEXT_RECORD& record, uint8_t type_kind);

// Names of basic types in labels, such as "uint".
struct BASIC_LABEL {
    const char* label;
    uint8_t kind;
    bool is_unsigned;
};
extern const std::vector<BASIC_LABEL> basic_labels;

// Gives every type that has none a label that tells what it is; text_labels.cpp.
void make_labels(TEXT_TABLES& tables);

} // namespace pelorus
