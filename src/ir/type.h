// The type package: the types of the translation unit, as the target sees them.
//
// A type is made of type records (ir/type_kinds.def): one that defines it and, for structures, enumerations
// and functions, one for each part. Every type is made by `TYPE_PKG::add_record` from the fields of its
// record, whether the record was read from a file or put together by a `make_` function, so there is one way
// in and what was read can be written again. Types live in the global zone for the whole run. Basic types are
// interned; the `make_` functions for pointers, arrays and qualified types return the type that they made
// before for the same operands.
//
// Sizes and alignments are in bytes. What a type's size is comes from its record; the package computes sizes
// only for the types that it makes itself.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "ir/position.h"

namespace pelorus {

// Kind codes of types in memory. 0, 1, 2, 4 and 11 are used as numbers by other code.
enum TYPE_KIND : uint8_t {
    TK_VOID = 0,
    TK_INTEGER = 1, // every integer type, char and bool included
    TK_FLOATING = 2,
    TK_BITFIELD = 3, // `base` the declared type, `other` the container
    TK_POINTER = 4,
    TK_REFERENCE = 5,
    TK_ARRAY = 6,    // `base` the element
    TK_FUNCTION = 7, // `base` the return type
    TK_STRUCT = 8,
    TK_UNION = 9,
    TK_CLASS = 10,
    TK_ENUM = 11,           // `base` the underlying integer type
    TK_QUALIFIED = 12,      // `base` the type without these qualifiers
    TK_TYPEDEF = 13,        // `base` the type that is named
    TK_MEMBER_POINTER = 14, // `base` the member's type, `other` the class
    TK_METHOD_POINTER = 15, // `base` the function type, `other` the class
    TK_ATOMIC = 16,         // `base` the type
    TK_COMPLEX = 17,        // `base` the part's type
    TK_NAMESPACE = 18,
    TK_OPAQUE = 19,
};

enum TYPE_RECORD_KIND : uint8_t {
#define TYPE_RECORD_KIND(number, name, role, layout) TR_##name = (number),
#include "ir/type_kinds.def"
#undef TYPE_RECORD_KIND
};

enum QUALIFIER : uint8_t { Q_CONST = 1, Q_VOLATILE = 2, Q_RESTRICT = 4 };

// Attribute bits of function types (field `attributes` of their record).
enum FUNCTION_ATTRIBUTE : uint32_t { FA_NORETURN = 1, FA_PURE = 2, FA_CONST = 4, FA_RETURNS_TWICE = 8 };

// What a LIST_COMPLETE record names, and what a LAYOUT record says.
enum LIST_CODE : int8_t { LIST_PARAMETERS = 1, LIST_ENUMERATORS = 2, LIST_MEMBERS = 3 };
enum LAYOUT_CODE : int8_t {
    LAYOUT_PACKED = 1,
    LAYOUT_TRANSPARENT_UNION = 2,
    LAYOUT_MAY_ALIAS = 3,
    LAYOUT_ALIGNED = 4, // by an attribute of its own; its members want less than 8
    LAYOUT_VECTOR = 5   // its members are the elements of a vector, which is passed as one
};

struct TYPE;
struct TYPE_PART;

// The number of a type in a file; 0 is no type.
struct UID {
    uint32_t number;
};

// One decoded field of a type record; which member is valid follows from the layout's code.
union TYPE_FIELD {
    int64_t number;     // f y b u l v
    TYPE* type;         // t
    const char* text;   // s; in the global zone
    POSITION* position; // p; null for none
};

// A record as it was read or made: kept so that it can be written again.
struct TYPE_RECORD {
    TYPE_RECORD* next;   // in order of arrival
    TYPE* owner;         // the type of the record's index
    TYPE_FIELD* fields;  // as many as the layout names
    uint8_t record_kind; // TR_...
};

// A parameter, enumerator, member, base class, member function, ... of a type.
struct TYPE_PART {
    TYPE_PART* next;     // in order of arrival
    TYPE* owner;         //
    const char* name;    // null for parameters and bases
    TYPE* type;          // of the member, parameter or base; null for enumerators
    int64_t value;       // member, base: byte offset; enumerator: value
    uint32_t key;        // member: what FIELD nodes name it by
    uint8_t record_kind; // TR_...
    uint8_t flag;        // member: nonzero for a bit-field
    TYPE_RECORD* record; // all fields
};

struct TYPE {
    uint8_t kind;         // TYPE_KIND
    uint8_t record_kind;  // TR_... of the defining record
    uint8_t qualifiers;   // TK_QUALIFIED: the Q_ bits that it adds
    uint8_t is_unsigned;  // TK_INTEGER, and TK_BITFIELD and TK_ENUM after their integer type
    uint8_t complete;     // sizes are known
    uint8_t bit_width;    // TK_BITFIELD
    int8_t bit_shift;     // TK_BITFIELD: distance of its lowest bit from the lowest bit of its container
    uint8_t lists_seen;   // bit n: a LIST_COMPLETE record for list n was read
    uint8_t layouts_seen; // bit n: a LAYOUT record n was read
    uint8_t prototyped;   // TK_FUNCTION
    uint8_t variadic;     // TK_FUNCTION
    uint8_t converted_to; // TK_ENUM: some value is converted to it; see type_note_conversion
    uint32_t attributes;  // TK_FUNCTION: FA_ bits
    UID uid;              // the number in the file; types made in memory get fresh numbers
    uint32_t size;        // bytes; 0 for void, functions and incomplete types
    uint32_t align;       // bytes, at least 1
    const char* name;     // CSU, enumeration, typedef, name space; "" when anonymous; null for the others
    TYPE* base;           // see TYPE_KIND
    TYPE* other;          // see TYPE_KIND; basic types: the related type or null
    uint64_t count;       // TK_ARRAY: elements; 0 with !complete when the extent is open
    TYPE_PART* parts;     // in order of arrival
    TYPE_PART* last_part; //
    TYPE* pointer_to;     // the pointer type that make_pointer made for this type; or null
    TYPE* variants;       // qualified and array types made for this type, chained by `next_variant`
    TYPE* next_variant;   //
    TYPE* normal;         // cache of type_normalise; null until asked for
    TYPE_RECORD* record;  // the defining record
    uint32_t out_index;   // scratch of walks over all types
};

// Ends the run: prints "TP>> internal error: <message>\n" (debug and error stream) and calls fatal_exit.
[[noreturn]] void type_internal_error(const char* message);
// When set, prints behind that message where the bad type came from; whoever feeds the package sets it.
extern void (*type_error_place)();

// The storage of types: counts what the package holds. Everything comes from the global zone.
struct TP_ALLOC {
    uint32_t types = 0;
    uint32_t parts = 0;
    uint32_t records = 0;
};

// The types of one translation unit.
class TYPE_PKG {
public:
    // The type of `uid`, null for number 0. A number whose record has not been read is an internal error
    // "invalid foward reference".
    TYPE* type_of(uint64_t number) const;
    // The same, but null for a number that is not known.
    TYPE* find_type(uint64_t number) const;

    // Takes the decoded fields of one record (in layout order; copied) for type number `number`, builds the
    // type or the part, and returns the type. `number` 0 asks for a fresh number and is meant for TYPE roles
    // only. Internal errors: "read type twice", "invalid foward reference" (a part of an unknown type),
    // "Unexpected type attribute", "Duplicate function parameters", "Duplicate enumerator attributes",
    // "Duplicate CSU attributes".
    TYPE* add_record(uint64_t number, uint8_t record_kind, const TYPE_FIELD* fields);

    // After the last record of a file: checks what only the whole shows, which is that no structure contains
    // itself. Errors as above.
    void finish_types();
    // A structure that contains itself; null when there is none.
    const TYPE* self_containing() const;

    // Makers. They return the same type for the same operands where the operands are the type's identity.
    TYPE* make_basic(uint8_t record_kind, bool is_unsigned, uint32_t size, uint32_t align,
                     TYPE* related = nullptr);
    TYPE* make_pointer(TYPE* target);
    TYPE* make_array(TYPE* element, uint64_t count);
    TYPE* make_open_array(TYPE* element);
    TYPE* make_qualified(TYPE* base, uint8_t qualifiers); // qualifiers 0 returns `base`
    TYPE* make_typedef(const char* name, TYPE* type);
    TYPE* make_csu(const char* name, TYPE_KIND kind, uint32_t size, uint32_t align, bool complete,
                   const POSITION* where);
    TYPE* make_enumeration(const char* name, TYPE* underlying, const POSITION* where);
    TYPE* make_function(TYPE* result, bool prototyped, bool variadic, uint32_t attributes);
    TYPE* make_bitfield(TYPE* declared, TYPE* container, int shift, int width);
    TYPE_PART* add_member(TYPE* csu, const char* name, TYPE* type, uint32_t offset, uint32_t key,
                          const POSITION* where);
    TYPE_PART* add_parameter(TYPE* function, TYPE* type);
    TYPE_PART* add_enumerator(TYPE* enumeration, const char* name, int64_t value, const POSITION* where);

    // Types that passes need. Each is the file's own when the file has one, and is made otherwise.
    TYPE* void_type();
    TYPE* int_type();
    TYPE* unsigned_int_type();
    // An int is as large as a pointer. The file's own int counts when it has one.
    bool int_holds_pointer() const;

    // The largest size and the largest alignment of the target's scalar types, in bytes: what a register, a
    // temporary or a slot of any kind must hold. At the start of the run; 0 before.
    void find_target_limits();
    uint32_t largest_scalar_size() const { return largest_scalar_size_; }
    uint32_t largest_scalar_align() const { return largest_scalar_align_; }

    TYPE_RECORD* first_record() const { return first_; }
    const TP_ALLOC& allocation() const { return allocation_; }
    // The largest number that a file of `bytes` bytes may use; a larger one is refused, so that a table
    // indexed by number stays small.
    void set_number_limit(uint64_t limit) { number_limit_ = limit; }

private:
    uint32_t largest_scalar_size_ = 0;
    uint32_t largest_scalar_align_ = 0;
    TYPE_RECORD* append_record(TYPE* owner, uint8_t record_kind, const TYPE_FIELD* fields);
    TYPE* new_type(uint64_t number, uint8_t record_kind, const TYPE_FIELD* fields);
    TYPE* intern_basic(const TYPE& draft, uint64_t number);
    void add_part(TYPE* owner, uint8_t record_kind, TYPE_RECORD* record);
    void add_attribute(TYPE* owner, uint8_t record_kind, int64_t code);
    void place(uint64_t number, TYPE* type);
    TYPE* known_basic(uint8_t record_kind, bool is_unsigned) const;
    TYPE* own_basic(uint8_t record_kind, bool is_unsigned, uint32_t size);
    TYPE* make_simple_array(TYPE* element, uint64_t count, bool open);

    std::vector<TYPE*> by_number_; // index: number in the file
    // Interned basic types by record kind, signedness, size, alignment, number of the related type. Usually a
    // dozen, but that is the file's choice.
    using BASIC_KEY = std::tuple<uint8_t, uint8_t, uint32_t, uint32_t, uint32_t>;
    static BASIC_KEY basic_key(const TYPE& type);
    std::map<BASIC_KEY, TYPE*> basics_;
    TYPE* void_ =
        nullptr; // what void_type answers, asked for with every statement; null until the first time
    TYPE_RECORD* first_ = nullptr;
    TYPE_RECORD* last_ = nullptr;
    uint64_t number_limit_ = UINT32_MAX;
    TP_ALLOC allocation_;
};

// The current type package (one a run); null before set_type_package.
TYPE_PKG* type_package();
void set_type_package(TYPE_PKG* package);

// --- Questions about a type. None takes null; none changes a type but for its caches. ---

// The package's first test: is the type const-qualified (through typedefs)?
bool type_is_const(const TYPE* type);
bool type_is_volatile(const TYPE* type);
// All Q_ bits of the type, through typedefs.
uint8_t type_qualifiers(const TYPE* type);

// The type without typedef names, const and restrict: what is left has the same representation, and the same
// volatility. This is a symbol's working type.
TYPE* type_normalise(TYPE* type);
// The type without typedef names and any qualifier. Atomic types lose "atomic" as well.
TYPE* type_strip(TYPE* type);
inline const TYPE* type_strip(const TYPE* type) { return type_strip(const_cast<TYPE*>(type)); }

// Takes note of a conversion to an enumeration: a variable of the type may then hold values that none of its
// enumerators has, which whoever argues from the list of enumerators must know.
void type_note_conversion(TYPE* enumeration);

// Tests of category; all look through typedefs and qualifiers.
bool type_is_integer(const TYPE* type); // integers, enumerations and bit-fields
bool type_is_floating(const TYPE* type);
bool type_is_arithmetic(const TYPE* type);
bool type_is_pointer(const TYPE* type); // pointers and references
bool type_is_scalar(const TYPE* type);  // arithmetic and pointers, member pointers included
bool type_is_csu(const TYPE* type);
bool type_is_array(const TYPE* type);
bool type_is_function(const TYPE* type);
bool type_is_void(const TYPE* type);
bool type_is_bool(const TYPE* type);
bool type_is_signed(
    const TYPE* type); // false for anything but a signed integer type (floating types are not)
// Character types as pointed-to types: `char` itself, and any one-byte integer.
bool type_is_plain_char(const TYPE* type);
bool type_is_byte(const TYPE* type);

// The pointed-to, element, returned or underlying type; null when the type has none.
TYPE* type_target(const TYPE* type);

// Bits of the value: the width of a bit-field, else 8 times the size.
uint32_t type_bits(const TYPE* type);

// Two types of which each may stand for the other: equal after stripping, structures by identity or by tag
// name and size, functions by their parts, arrays by element and count with an open count agreeing with any.
bool type_compatible(const TYPE* a, const TYPE* b);
// The same representation: same kind, size, signedness.
bool type_same_representation(const TYPE* a, const TYPE* b);

// The member of a structure with this key; null when there is none.
TYPE_PART* type_member(const TYPE* csu, uint32_t key);

// C text of the type for the trace, such as "const char *" or "int (*)(int, ...)". Nesting is cut at depth
// 64.
std::string type_text(const TYPE* type);
// C text of a declaration of `name` with the type.
std::string type_declaration(const TYPE* type, const char* name);

// Layout of a record kind: "" for kinds that are not known.
const char* type_record_layout(uint8_t record_kind);
const char* type_record_name(uint8_t record_kind); // null for kinds that are not known
enum class TYPE_ROLE : uint8_t { NONE, TYPE, PART, ATTRIBUTE };
TYPE_ROLE type_record_role(uint8_t record_kind);

} // namespace pelorus
