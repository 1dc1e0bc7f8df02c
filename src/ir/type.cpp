// Building types from records; see type.h.
//
// `add_record` is the one way in. It keeps the record, for the writer, and makes from it the TYPE or
// TYPE_PART that the passes ask. The makers put together the fields of a record and go the same way.
// Questions about types are in type_query.cpp, their text is in type_text.cpp.
#include "ir/type.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "memory/zone.h"
#include "support/fatal.h"
#include "support/trace.h"

namespace pelorus {

namespace {

struct TYPE_RECORD_ROW {
    const char* name = nullptr;
    TYPE_ROLE role = TYPE_ROLE::NONE;
    const char* layout = "";
    size_t fields = 0;
};

constexpr std::array<TYPE_RECORD_ROW, 256> build_rows() {
    std::array<TYPE_RECORD_ROW, 256> rows{};
#define TYPE_RECORD_KIND(number, name, role, layout) rows[number] = {#name, TYPE_ROLE::role, layout, 0};
#include "ir/type_kinds.def"
#undef TYPE_RECORD_KIND
    for (TYPE_RECORD_ROW& row : rows)
        for (const char* c = row.layout; *c; ++c) row.fields += *c == ':';
    return rows;
}

constexpr auto record_rows = build_rows();

TYPE_PKG* current_package;

constexpr uint32_t POINTER_BYTES = 4;
constexpr uint32_t INT_BYTES = 4;

bool is_basic(uint8_t record_kind) {
    return record_kind <= TR_WCHAR || record_kind == TR_LONG_LONG || record_kind == TR_NULLPTR;
}

uint8_t basic_kind(uint8_t record_kind) {
    switch (record_kind) {
    case TR_VOID: return TK_VOID;
    case TR_FLOAT:
    case TR_DOUBLE:
    case TR_LONG_DOUBLE: return TK_FLOATING;
    case TR_NULLPTR: return TK_POINTER;
    default: return TK_INTEGER;
    }
}

uint32_t narrow(int64_t number) { return static_cast<uint32_t>(number); }

void fill_basic(TYPE& type, const TYPE_FIELD* fields) {
    type.kind = basic_kind(type.record_kind);
    type.is_unsigned = fields[0].number != 0;
    type.size = narrow(fields[1].number);
    type.align = narrow(fields[2].number);
    type.other = fields[3].type;
}

void fill_pointer(TYPE& type, const TYPE_FIELD* fields) {
    type.kind = type.record_kind == TR_POINTER ? TK_POINTER : TK_REFERENCE;
    type.is_unsigned = 1;
    type.base = fields[0].type;
    type.size = narrow(fields[1].number);
    type.align = narrow(fields[2].number);
}

void fill_bitfield(TYPE& type, const TYPE_FIELD* fields) {
    type.kind = TK_BITFIELD;
    type.bit_shift = static_cast<int8_t>(fields[0].number);
    type.bit_width = static_cast<uint8_t>(fields[1].number);
    type.base = fields[2].type;
    type.other = fields[3].type;
    type.size = narrow(fields[4].number);
    type.align = narrow(fields[5].number);
    type.is_unsigned = type.base && !type_is_signed(type.base);
}

void fill_csu(TYPE& type, const TYPE_FIELD* fields) {
    type.kind = fields[1].number == 0 ? TK_STRUCT : fields[1].number == 1 ? TK_UNION : TK_CLASS;
    type.name = fields[0].text;
    type.size = narrow(fields[2].number);
    type.align = narrow(fields[3].number);
    type.complete = fields[4].number != 0;
}

void fill_array(TYPE& type, const TYPE_FIELD* fields) {
    type.kind = TK_ARRAY;
    type.base = fields[0].type;
    type.count = static_cast<uint64_t>(fields[1].number);
    type.size = narrow(fields[2].number);
    type.align = narrow(fields[3].number);
    type.complete = type.record_kind == TR_ARRAY;
}

void fill_member_pointer(TYPE& type, const TYPE_FIELD* fields) {
    type.kind = type.record_kind == TR_MEMBER_POINTER ? TK_MEMBER_POINTER : TK_METHOD_POINTER;
    type.other = fields[0].type;
    type.base = fields[1].type;
    type.size = narrow(fields[2].number);
    type.align = narrow(fields[3].number);
}

void fill_function(TYPE& type, const TYPE_FIELD* fields) {
    type.kind = TK_FUNCTION;
    type.base = fields[0].type;
    type.attributes = narrow(fields[3].number);
    type.prototyped = fields[4].number != 0;
    type.variadic = fields[5].number != 0;
    type.align = 1;
}

// A type that stands for another one takes its size from it.
void fill_wrapper(TYPE& type, uint8_t kind, TYPE* base) {
    type.kind = kind;
    type.base = base;
    if (!base) return;
    const uint32_t times = kind == TK_COMPLEX ? 2 : 1;
    type.size = base->size * times;
    type.align = base->align;
    type.is_unsigned = base->is_unsigned;
    type.complete = base->complete;
}

void fill_qualified(TYPE& type, const TYPE_FIELD* fields) {
    fill_wrapper(type, TK_QUALIFIED, fields[0].type);
    type.qualifiers =
        static_cast<uint8_t>((fields[1].number ? Q_CONST : 0) | (fields[2].number ? Q_VOLATILE : 0) |
                             (fields[4].number ? Q_RESTRICT : 0));
}

void fill_enumeration(TYPE& type, const TYPE_FIELD* fields) {
    type.kind = TK_ENUM;
    type.name = fields[0].text;
    type.size = narrow(fields[1].number);
    type.align = narrow(fields[2].number);
    type.base = fields[3].type;
    type.is_unsigned = type.base && !type_is_signed(type.base);
}

// Fills what the passes ask for from the fields of the defining record.
void fill_type(TYPE& type, const TYPE_FIELD* fields) {
    type.complete = 1;
    switch (type.record_kind) {
    case TR_POINTER:
    case TR_REFERENCE:
    case TR_RVALUE_REFERENCE: fill_pointer(type, fields); break;
    case TR_BITFIELD: fill_bitfield(type, fields); break;
    case TR_CSU: fill_csu(type, fields); break;
    case TR_ARRAY:
    case TR_OPEN_ARRAY: fill_array(type, fields); break;
    case TR_MEMBER_POINTER:
    case TR_METHOD_POINTER: fill_member_pointer(type, fields); break;
    case TR_FUNCTION: fill_function(type, fields); break;
    case TR_QUALIFIED: fill_qualified(type, fields); break;
    case TR_ENUMERATION: fill_enumeration(type, fields); break;
    case TR_TYPEDEF:
        fill_wrapper(type, TK_TYPEDEF, fields[1].type);
        type.name = fields[0].text;
        break;
    case TR_ATOMIC: fill_wrapper(type, TK_ATOMIC, fields[0].type); break;
    case TR_COMPLEX: fill_wrapper(type, TK_COMPLEX, fields[0].type); break;
    case TR_NAMESPACE:
        type.kind = TK_NAMESPACE;
        type.name = fields[0].text;
        break;
    case TR_OPAQUE:
        type.kind = TK_OPAQUE;
        type.size = narrow(fields[0].number);
        break;
    default: fill_basic(type, fields); break;
    }
    if (!type.align) type.align = 1;
}

bool is_csu_kind(uint8_t kind) { return kind == TK_STRUCT || kind == TK_UNION || kind == TK_CLASS; }

// The fields of a part that passes ask for.
void fill_part(TYPE_PART& part, const TYPE_FIELD* fields) {
    switch (part.record_kind) {
    case TR_PARAMETER: part.type = fields[0].type; break;
    case TR_ENUMERATOR:
        part.name = fields[0].text;
        part.value = fields[1].number;
        break;
    case TR_MEMBER:
        part.name = fields[1].text;
        part.flag = fields[2].number != 0;
        part.type = fields[3].type;
        part.value = fields[4].number;
        part.key = narrow(fields[7].number);
        break;
    case TR_BASE_CLASS:
        part.type = fields[0].type;
        part.value = fields[1].number;
        break;
    case TR_MEMBER_FUNCTION:
        part.name = fields[1].text;
        part.type = fields[3].type;
        break;
    case TR_STATIC_MEMBER:
        part.type = fields[0].type;
        part.name = fields[1].text;
        break;
    case TR_FRIEND: part.type = fields[0].type; break;
    default:
        part.name = fields[0].text;
        part.type = fields[1].type;
        break;
    }
}

bool bitfield_fits(const TYPE& type) {
    return type.other && type.base && type.bit_shift >= 0 && type.bit_width <= type.other->size * 8 &&
           static_cast<uint32_t>(type.bit_shift + type.bit_width) <= type.other->size * 8;
}

// Kinds whose readers follow `base` without asking.
bool needs_base(uint8_t kind) {
    switch (kind) {
    case TK_REFERENCE:
    case TK_ARRAY:
    case TK_FUNCTION:
    case TK_ENUM:
    case TK_QUALIFIED:
    case TK_TYPEDEF:
    case TK_ATOMIC:
    case TK_COMPLEX: return true;
    default: return false;
    }
}

// The same for parts and their `type`.
bool part_needs_type(uint8_t record_kind) {
    return record_kind == TR_PARAMETER || record_kind == TR_MEMBER || record_kind == TR_BASE_CLASS;
}

// What a type must be from the start, since the next record may already ask it.
void check_type(const TYPE& type) {
    if (type.align & (type.align - 1)) type_internal_error("alignment is no power of two");
    if (type.kind == TK_BITFIELD && !bitfield_fits(type))
        type_internal_error("bit-field does not fit its container");
    if (needs_base(type.kind) && !type.base && !type.other)
        type_internal_error("type without its component type");
}

// The structure that an object of the type holds by value, through arrays; null when it holds none.
TYPE* contained_csu(TYPE* type) {
    while (type) {
        type = type_strip(type);
        if (is_csu_kind(type->kind)) return type;
        if (type->kind != TK_ARRAY) return nullptr;
        type = type->base;
    }
    return nullptr;
}

enum CONTAINMENT : uint32_t { UNSEEN, OPEN, DONE };

// Depth-first search over "has a member of"; `out_index` marks the structures. An open one that is reached
// again contains itself and is the answer. The stack is explicit, since the nesting is the file's.
const TYPE* find_containment(TYPE* root) {
    if (root->out_index == DONE) return nullptr;
    struct LEVEL {
        TYPE* csu;
        TYPE_PART* next;
    };
    std::vector<LEVEL> stack{{root, root->parts}};
    root->out_index = OPEN;
    while (!stack.empty()) {
        TYPE_PART* part = stack.back().next;
        if (!part) {
            stack.back().csu->out_index = DONE;
            stack.pop_back();
            continue;
        }
        stack.back().next = part->next;
        TYPE* inner = part->record_kind == TR_MEMBER || part->record_kind == TR_BASE_CLASS
                          ? contained_csu(part->type)
                          : nullptr;
        if (!inner || inner->out_index == DONE) continue;
        if (inner->out_index == OPEN) return inner;
        inner->out_index = OPEN;
        stack.push_back({inner, inner->parts});
    }
    return nullptr;
}

TYPE_FIELD number_field(int64_t number) { return {.number = number}; }
TYPE_FIELD type_field(TYPE* type) { return {.type = type}; }
TYPE_FIELD text_field(const char* text) { return {.text = zone_string(false, text)}; }

TYPE_FIELD position_field(const POSITION* where) {
    TYPE_FIELD field{.position = nullptr};
    if (where && where->present()) {
        field.position = zone_new<POSITION>(false);
        *field.position = *where;
    }
    return field;
}

} // namespace

void (*type_error_place)();

void type_internal_error(const char* message) {
    trace("TP>> internal error: %s\n", message);
    if (debug_file() != stderr || !debug_on()) fprintf(stderr, "TP>> internal error: %s\n", message);
    if (type_error_place) type_error_place();
    fatal_exit();
}

TYPE_PKG* type_package() { return current_package; }
void set_type_package(TYPE_PKG* package) { current_package = package; }

const char* type_record_layout(uint8_t record_kind) { return record_rows[record_kind].layout; }
const char* type_record_name(uint8_t record_kind) { return record_rows[record_kind].name; }
TYPE_ROLE type_record_role(uint8_t record_kind) { return record_rows[record_kind].role; }

TYPE* TYPE_PKG::find_type(uint64_t number) const {
    return number < by_number_.size() ? by_number_[number] : nullptr;
}

TYPE* TYPE_PKG::type_of(uint64_t number) const {
    if (number == 0) return nullptr;
    TYPE* type = find_type(number);
    if (!type) type_internal_error("invalid foward reference");
    return type;
}

TYPE* TYPE_PKG::add_record(uint64_t number, uint8_t record_kind, const TYPE_FIELD* fields) {
    const TYPE_ROLE role = type_record_role(record_kind);
    if (role == TYPE_ROLE::NONE) return nullptr;
    if (role == TYPE_ROLE::TYPE) {
        if (find_type(number)) type_internal_error("read type twice");
        if (number > number_limit_) type_internal_error("type number is larger than the file");
        return new_type(number ? number : std::max<uint64_t>(by_number_.size(), 1), record_kind, fields);
    }
    TYPE* owner = find_type(number);
    if (!owner) type_internal_error("invalid foward reference");
    if (role == TYPE_ROLE::ATTRIBUTE) add_attribute(owner, record_kind, fields[0].number);
    TYPE_RECORD* record = append_record(owner, record_kind, fields);
    if (role == TYPE_ROLE::PART) add_part(owner, record_kind, record);
    return owner;
}

TYPE_RECORD* TYPE_PKG::append_record(TYPE* owner, uint8_t record_kind, const TYPE_FIELD* fields) {
    auto* record = zone_new<TYPE_RECORD>(false);
    const size_t count = record_rows[record_kind].fields;
    record->owner = owner;
    record->record_kind = record_kind;
    record->fields = zone_array<TYPE_FIELD>(false, count);
    std::copy_n(fields, count, record->fields);
    (last_ ? last_->next : first_) = record;
    last_ = record;
    allocation_.records++;
    return record;
}

TYPE* TYPE_PKG::new_type(uint64_t number, uint8_t record_kind, const TYPE_FIELD* fields) {
    TYPE draft{};
    draft.record_kind = record_kind;
    draft.uid.number = static_cast<uint32_t>(number);
    fill_type(draft, fields);
    check_type(draft);
    if (is_basic(record_kind))
        if (TYPE* known = intern_basic(draft, number)) return known;
    auto* type = zone_new<TYPE>(false);
    *type = draft;
    allocation_.types++;
    place(number, type);
    type->record = append_record(type, record_kind, fields);
    if (is_basic(record_kind)) basics_.emplace(basic_key(*type), type);
    return type;
}

// A basic type that is there already takes the further number, too; its record is written once.
TYPE* TYPE_PKG::intern_basic(const TYPE& draft, uint64_t number) {
    const auto known = basics_.find(basic_key(draft));
    if (known == basics_.end()) return nullptr;
    place(number, known->second);
    return known->second;
}

TYPE_PKG::BASIC_KEY TYPE_PKG::basic_key(const TYPE& type) {
    return {type.record_kind, type.is_unsigned, type.size, type.align,
            type.other ? type.other->uid.number : 0};
}

void TYPE_PKG::place(uint64_t number, TYPE* type) {
    if (number >= by_number_.size()) by_number_.resize(number + 1);
    by_number_[number] = type;
}

void TYPE_PKG::add_part(TYPE* owner, uint8_t record_kind, TYPE_RECORD* record) {
    auto* part = zone_new<TYPE_PART>(false);
    part->owner = owner;
    part->record_kind = record_kind;
    part->record = record;
    fill_part(*part, record->fields);
    if (part_needs_type(record_kind) && !part->type) type_internal_error("type without its component type");
    (owner->last_part ? owner->last_part->next : owner->parts) = part;
    owner->last_part = part;
    allocation_.parts++;
}

void TYPE_PKG::add_attribute(TYPE* owner, uint8_t record_kind, int64_t code) {
    const bool csu = is_csu_kind(owner->kind);
    if (code < 0 || code > 7)
        type_internal_error("Unexpected type attribute"); // no bit is left to remember it
    const uint8_t bit = static_cast<uint8_t>(1 << code);
    if (record_kind == TR_LAYOUT) {
        if (!csu && owner->kind != TK_ENUM) type_internal_error("Unexpected type attribute");
        if (owner->layouts_seen & bit)
            type_internal_error(csu ? "Duplicate CSU attributes" : "Duplicate enumerator attributes");
        owner->layouts_seen |= bit;
        return;
    }
    const bool fits = (code == LIST_PARAMETERS && owner->kind == TK_FUNCTION) ||
                      (code == LIST_ENUMERATORS && owner->kind == TK_ENUM) || (code == LIST_MEMBERS && csu);
    if (!fits) type_internal_error("Unexpected type attribute");
    if (owner->lists_seen & bit)
        type_internal_error(code == LIST_PARAMETERS    ? "Duplicate function parameters"
                            : code == LIST_ENUMERATORS ? "Duplicate enumerator attributes"
                                                       : "Duplicate CSU attributes");
    owner->lists_seen |= bit;
}

const TYPE* TYPE_PKG::self_containing() const {
    for (const TYPE_RECORD* record = first_; record; record = record->next) record->owner->out_index = UNSEEN;
    for (const TYPE_RECORD* record = first_; record; record = record->next)
        if (is_csu_kind(record->owner->kind))
            if (const TYPE* type = find_containment(record->owner)) return type;
    return nullptr;
}

// Structures that contain themselves would send a pass into an endless walk.
void TYPE_PKG::finish_types() {
    if (self_containing()) type_internal_error("structure contains itself");
}

TYPE* TYPE_PKG::make_basic(uint8_t record_kind, bool is_unsigned, uint32_t size, uint32_t align,
                           TYPE* related) {
    const TYPE_FIELD fields[] = {number_field(is_unsigned), number_field(size), number_field(align),
                                 type_field(related)};
    TYPE draft{};
    draft.record_kind = record_kind;
    fill_basic(draft, fields);
    const auto known = basics_.find(basic_key(draft));
    return known != basics_.end() ? known->second : add_record(0, record_kind, fields);
}

TYPE* TYPE_PKG::make_pointer(TYPE* target) {
    if (!target->pointer_to) {
        const TYPE_FIELD fields[] = {type_field(target), number_field(POINTER_BYTES),
                                     number_field(POINTER_BYTES)};
        target->pointer_to = add_record(0, TR_POINTER, fields);
    }
    return target->pointer_to;
}

TYPE* TYPE_PKG::make_simple_array(TYPE* element, uint64_t count, bool open) {
    for (TYPE* known = element->variants; known; known = known->next_variant)
        if (known->kind == TK_ARRAY && known->count == count && known->complete == !open) return known;
    const TYPE_FIELD fields[] = {type_field(element), number_field(static_cast<int64_t>(count)),
                                 number_field(static_cast<int64_t>(count * element->size)),
                                 number_field(element->align)};
    TYPE* array = add_record(0, open ? TR_OPEN_ARRAY : TR_ARRAY, fields);
    array->next_variant = element->variants;
    element->variants = array;
    return array;
}

TYPE* TYPE_PKG::make_array(TYPE* element, uint64_t count) { return make_simple_array(element, count, false); }
TYPE* TYPE_PKG::make_open_array(TYPE* element) { return make_simple_array(element, 0, true); }

TYPE* TYPE_PKG::make_qualified(TYPE* base, uint8_t qualifiers) {
    if (!qualifiers) return base;
    for (TYPE* known = base->variants; known; known = known->next_variant)
        if (known->kind == TK_QUALIFIED && known->qualifiers == qualifiers) return known;
    const TYPE_FIELD fields[] = {type_field(base),
                                 number_field((qualifiers & Q_CONST) != 0),
                                 number_field((qualifiers & Q_VOLATILE) != 0),
                                 number_field(0),
                                 number_field((qualifiers & Q_RESTRICT) != 0),
                                 type_field(nullptr)};
    TYPE* type = add_record(0, TR_QUALIFIED, fields);
    type->next_variant = base->variants;
    base->variants = type;
    return type;
}

TYPE* TYPE_PKG::make_typedef(const char* name, TYPE* type) {
    const TYPE_FIELD fields[] = {text_field(name), type_field(type)};
    return add_record(0, TR_TYPEDEF, fields);
}

TYPE* TYPE_PKG::make_csu(const char* name, TYPE_KIND kind, uint32_t size, uint32_t align, bool complete,
                         const POSITION* where) {
    const int64_t tag = kind == TK_STRUCT ? 0 : kind == TK_UNION ? 1 : 2;
    const TYPE_FIELD fields[] = {text_field(name),    number_field(tag),      number_field(size),
                                 number_field(align), number_field(complete), position_field(where),
                                 type_field(nullptr)};
    return add_record(0, TR_CSU, fields);
}

TYPE* TYPE_PKG::make_enumeration(const char* name, TYPE* underlying, const POSITION* where) {
    const TYPE_FIELD fields[] = {
        text_field(name),       number_field(underlying->size), number_field(underlying->align),
        type_field(underlying), position_field(where),          type_field(nullptr)};
    return add_record(0, TR_ENUMERATION, fields);
}

TYPE* TYPE_PKG::make_function(TYPE* result, bool prototyped, bool variadic, uint32_t attributes) {
    const TYPE_FIELD fields[] = {type_field(result),       number_field(0),          number_field(0),
                                 number_field(attributes), number_field(prototyped), number_field(variadic),
                                 type_field(nullptr)};
    return add_record(0, TR_FUNCTION, fields);
}

TYPE* TYPE_PKG::make_bitfield(TYPE* declared, TYPE* container, int shift, int width) {
    const TYPE_FIELD fields[] = {number_field(shift),           number_field(width),
                                 type_field(declared),          type_field(container),
                                 number_field(container->size), number_field(container->align)};
    return add_record(0, TR_BITFIELD, fields);
}

TYPE_PART* TYPE_PKG::add_member(TYPE* csu, const char* name, TYPE* type, uint32_t offset, uint32_t key,
                                const POSITION* where) {
    const TYPE_FIELD fields[] = {
        number_field(0),       text_field(name),     number_field(type->kind == TK_BITFIELD),
        type_field(type),      number_field(offset), number_field(0),
        position_field(where), number_field(key)};
    add_record(csu->uid.number, TR_MEMBER, fields);
    return csu->last_part;
}

TYPE_PART* TYPE_PKG::add_parameter(TYPE* function, TYPE* type) {
    const TYPE_FIELD fields[] = {type_field(type), number_field(0)};
    add_record(function->uid.number, TR_PARAMETER, fields);
    function->record->fields[1].number++;
    return function->last_part;
}

TYPE_PART* TYPE_PKG::add_enumerator(TYPE* enumeration, const char* name, int64_t value,
                                    const POSITION* where) {
    const TYPE_FIELD fields[] = {text_field(name), number_field(value), position_field(where)};
    add_record(enumeration->uid.number, TR_ENUMERATOR, fields);
    return enumeration->last_part;
}

TYPE* TYPE_PKG::known_basic(uint8_t record_kind, bool is_unsigned) const {
    const auto known = basics_.lower_bound({record_kind, is_unsigned, 0, 0, 0});
    if (known == basics_.end()) return nullptr;
    TYPE* type = known->second;
    return type->record_kind == record_kind && (type->is_unsigned != 0) == is_unsigned ? type : nullptr;
}

TYPE* TYPE_PKG::own_basic(uint8_t record_kind, bool is_unsigned, uint32_t size) {
    TYPE* known = known_basic(record_kind, is_unsigned);
    return known ? known : make_basic(record_kind, is_unsigned, size, size ? size : 1);
}

TYPE* TYPE_PKG::void_type() {
    if (!void_) void_ = own_basic(TR_VOID, false, 0);
    return void_;
}

TYPE* TYPE_PKG::int_type() { return own_basic(TR_INT, false, INT_BYTES); }
TYPE* TYPE_PKG::unsigned_int_type() { return own_basic(TR_INT, true, INT_BYTES); }

namespace {

struct TARGET_SCALAR {
    uint8_t record_kind;
    uint32_t size;
    uint32_t align;
};
constexpr TARGET_SCALAR TARGET_SCALARS[] = {{TR_CHAR, 1, 1},
                                            {TR_SHORT, 2, 2},
                                            {TR_INT, INT_BYTES, INT_BYTES},
                                            {TR_LONG, 4, 4},
                                            {TR_LONG_LONG, 8, 8},
                                            {TR_FLOAT, 4, 4},
                                            {TR_DOUBLE, 8, 8},
                                            {TR_LONG_DOUBLE, 8, 8},
                                            {TR_BOOL, 1, 1},
                                            {TR_WCHAR, 4, 4},
                                            {TR_POINTER, POINTER_BYTES, POINTER_BYTES}};

} // namespace

void TYPE_PKG::find_target_limits() {
    for (const TARGET_SCALAR& scalar : TARGET_SCALARS) {
        largest_scalar_size_ = std::max(largest_scalar_size_, scalar.size);
        largest_scalar_align_ = std::max(largest_scalar_align_, scalar.align);
    }
}

bool TYPE_PKG::int_holds_pointer() const {
    const TYPE* known = known_basic(TR_INT, false);
    return (known ? known->size : INT_BYTES) == POINTER_BYTES;
}

} // namespace pelorus
