// The validator's types; see validate_state.h.
//
// A record is first checked by itself, then given to the type package, which ends the run for what it cannot
// build: so nothing that it would refuse may reach it. A type that is kept from it is known to be described,
// and nothing more is asked of it.
#include <string>

#include "icode/validate_state.h"
#include "memory/zone.h"

namespace pelorus {

namespace {

constexpr uint32_t POINTER_BYTES = 4;

struct TYPE_CHECK {
    VALIDATOR& v;
    uint64_t start; // of the record
    uint32_t index;
    uint8_t kind; // TR_...
    bool can_be_built = true;

    const FIELD_VALUE& field(size_t i) const { return v.fields[i]; }
    uint64_t number(size_t i) const { return v.fields[i].number; }
    const TYPE* type(size_t i) const { return v.fields[i].type; }
    template <class... T>
    void fault(RULE rule, const char* format, T... arguments) const {
        if constexpr (sizeof...(T) == 0)
            file_fault(v, rule, start, "%s", format);
        else
            file_fault(v, rule, start, format, arguments...);
    }
};

// --- Components ---

bool is_object(const TYPE* type) { return !type_is_void(type) && !type_is_function(type); }
bool is_any(const TYPE*) { return true; }
bool is_result(const TYPE* type) { return !type_is_array(type) && !type_is_function(type); }
bool is_plain_integer(const TYPE* type) { return type_strip(type)->kind == TK_INTEGER; }
bool is_declared_bits(const TYPE* type) {
    return type_is_integer(type) && type_strip(type)->kind != TK_BITFIELD;
}
bool is_function_type(const TYPE* type) { return type_is_function(type); }

struct COMPONENT {
    uint8_t kind;
    size_t field;
    bool (*fits)(const TYPE*);
    const char* what;
};

// The types that a type or part must be made of. A pointer may point to nothing that is known.
constexpr COMPONENT COMPONENTS[] = {
    {TR_REFERENCE, 0, is_any, "a type"},
    {TR_RVALUE_REFERENCE, 0, is_any, "a type"},
    {TR_BITFIELD, 2, is_declared_bits, "an integer type"},
    {TR_BITFIELD, 3, is_plain_integer, "an integer type as its container"},
    {TR_ARRAY, 0, is_object, "the type of an object"},
    {TR_OPEN_ARRAY, 0, is_object, "the type of an object"},
    {TR_MEMBER_POINTER, 0, type_is_csu, "a structure"},
    {TR_MEMBER_POINTER, 1, is_object, "the type of an object"},
    {TR_METHOD_POINTER, 0, type_is_csu, "a structure"},
    {TR_METHOD_POINTER, 1, is_function_type, "a function type"},
    {TR_FUNCTION, 0, is_result, "a type that functions return"},
    {TR_QUALIFIED, 0, is_any, "a type"},
    {TR_PARAMETER, 0, is_result, "the type of a value"},
    {TR_ENUMERATION, 3, is_plain_integer, "an integer type"},
    {TR_MEMBER, 3, is_object, "the type of an object"},
    {TR_BASE_CLASS, 0, type_is_csu, "a structure"},
    {TR_TYPEDEF, 1, is_any, "a type"},
    {TR_ATOMIC, 0, is_object, "the type of an object"},
    {TR_COMPLEX, 0, type_is_arithmetic, "an arithmetic type"},
};

void check_components(TYPE_CHECK& check) {
    for (const COMPONENT& component : COMPONENTS) {
        if (component.kind != check.kind) continue;
        const FIELD_VALUE& field = check.field(component.field);
        // Type 0 is void where a type that may be void is wanted.
        const bool missing = !field.type && field.present;
        const bool good = field.type && component.fits(field.type);
        if (missing || (field.type && !good))
            check.fault(RULE_T7, "a %s must be made of %s", type_record_name(check.kind), component.what);
        check.can_be_built &= good;
    }
}

// --- Sizes ---

struct MACHINE_SIZE {
    uint8_t kind;
    uint32_t bytes;
};
constexpr MACHINE_SIZE MACHINE_SIZES[] = {
    {TR_CHAR, 1},   {TR_SHORT, 2},       {TR_INT, 4},  {TR_LONG, 4},  {TR_LONG_LONG, 8}, {TR_FLOAT, 4},
    {TR_DOUBLE, 8}, {TR_LONG_DOUBLE, 8}, {TR_BOOL, 1}, {TR_WCHAR, 4}, {TR_NULLPTR, 4},
};

void expect_size(const TYPE_CHECK& check, size_t size_field, uint64_t size, uint64_t align) {
    if (check.number(size_field) != size || check.number(size_field + 1) != align)
        check.fault(RULE_T9, "%s of %u bytes aligned to %u; it must have %llu, aligned to %llu",
                    type_record_name(check.kind), static_cast<unsigned>(check.number(size_field)),
                    static_cast<unsigned>(check.number(size_field + 1)),
                    static_cast<unsigned long long>(size), static_cast<unsigned long long>(align));
}

void check_basic(const TYPE_CHECK& check) {
    for (const MACHINE_SIZE& machine : MACHINE_SIZES)
        if (machine.kind == check.kind) expect_size(check, 1, machine.bytes, machine.bytes);
}

void check_array(const TYPE_CHECK& check) {
    const TYPE* element = check.type(0);
    if (!element) return;
    const uint64_t count = check.number(1);
    if (check.kind == TR_OPEN_ARRAY && count) check.fault(RULE_T9, "an open array has a count");
    expect_size(check, 2, count * element->size, element->align);
}

// The container may be larger than what is declared, as between packed members.
void check_bitfield(TYPE_CHECK& check) {
    const int64_t shift = check.field(0).signed_number();
    const auto width = static_cast<int64_t>(check.number(1));
    const TYPE* declared = check.type(2);
    const TYPE* container = check.type(3);
    if (!declared || !container) return;
    const bool fits = shift >= 0 && shift + width <= int64_t{container->size} * 8;
    check.can_be_built &= fits;
    if (!fits || width < 1 || width > int64_t{declared->size} * 8)
        check.fault(RULE_T10, "%d bits at %d do not lie in %s or are too many for %s",
                    static_cast<int>(width), static_cast<int>(shift), type_text(container).c_str(),
                    type_text(declared).c_str());
    if (!type_strip(container)->is_unsigned) check.fault(RULE_T10, "the container of a bit-field is signed");
    expect_size(check, 4, container->size, check.number(5));
}

// The field that holds the alignment; -1 for none.
int align_field(uint8_t kind) {
    switch (kind) {
    case TR_POINTER:
    case TR_REFERENCE:
    case TR_RVALUE_REFERENCE:
    case TR_ENUMERATION: return 2;
    case TR_BITFIELD: return 5;
    case TR_CSU:
    case TR_ARRAY:
    case TR_OPEN_ARRAY:
    case TR_MEMBER_POINTER:
    case TR_METHOD_POINTER: return 3;
    default: return kind <= TR_WCHAR || kind == TR_LONG_LONG || kind == TR_NULLPTR ? 2 : -1;
    }
}

void check_alignment(TYPE_CHECK& check) {
    const int at = align_field(check.kind);
    if (at < 0) return;
    const uint64_t align = check.number(static_cast<size_t>(at));
    if (check.kind == TR_VOID && align == 0) return;
    if (is_power_of_two(align)) return;
    check.fault(RULE_T8, "the alignment is %u", static_cast<unsigned>(align));
    check.can_be_built &= align == 0;
}

void check_structure(const TYPE_CHECK& check) {
    const uint64_t size = check.number(2), align = check.number(3);
    if (is_power_of_two(align) && size % align)
        check.fault(RULE_T9, "the size is no multiple of the alignment");
    if (check.number(1) > 2)
        check.fault(RULE_T9, "a structure is 0, 1 or 2, not %u", static_cast<unsigned>(check.number(1)));
}

void check_enumeration(const TYPE_CHECK& check) {
    if (const TYPE* underlying = check.type(3)) expect_size(check, 1, underlying->size, check.number(2));
}

void check_sizes(TYPE_CHECK& check) {
    switch (check.kind) {
    case TR_POINTER:
    case TR_REFERENCE:
    case TR_RVALUE_REFERENCE: return expect_size(check, 1, POINTER_BYTES, POINTER_BYTES);
    case TR_BITFIELD: return check_bitfield(check);
    case TR_CSU: return check_structure(check);
    case TR_ARRAY:
    case TR_OPEN_ARRAY: return check_array(check);
    case TR_ENUMERATION: return check_enumeration(check);
    default: return check_basic(check);
    }
}

// --- Parts ---

bool part_fits(const TYPE_CHECK& check, const TYPE* owner) {
    switch (check.kind) {
    case TR_PARAMETER: return owner->kind == TK_FUNCTION;
    case TR_ENUMERATOR: return owner->kind == TK_ENUM;
    case TR_TEMPLATE_ARGUMENT: return true;
    case TR_LAYOUT: return owner->kind == TK_ENUM || type_is_csu(owner);
    case TR_LIST_COMPLETE:
        switch (check.field(0).signed_number()) {
        case LIST_PARAMETERS: return owner->kind == TK_FUNCTION;
        case LIST_ENUMERATORS: return owner->kind == TK_ENUM;
        case LIST_MEMBERS: return type_is_csu(owner);
        default: return false;
        }
    default: return type_is_csu(owner) && owner->record_kind == TR_CSU;
    }
}

int list_of(uint8_t part) {
    switch (part) {
    case TR_PARAMETER: return LIST_PARAMETERS;
    case TR_ENUMERATOR: return LIST_ENUMERATORS;
    case TR_MEMBER: return LIST_MEMBERS;
    default: return 0;
    }
}

void check_member(TYPE_CHECK& check, const TYPE* owner) {
    const TYPE* type = check.type(3);
    const uint64_t key = check.number(7);
    if (!key || !check.v.member_keys.insert(uint64_t{check.index} << 32 | key).second)
        check.fault(RULE_T6, "the key %u is not the member's own", static_cast<unsigned>(key));
    if (!type) return;
    if ((check.number(2) != 0) != (type_strip(type)->kind == TK_BITFIELD))
        check.fault(RULE_T7, "a member is a bit-field and its type is none, or the other way round");
    if (owner->complete && check.number(4) + type->size > owner->size)
        check.fault(RULE_T11, "%u bytes at %u pass the end of %s, which has %u", type->size,
                    static_cast<unsigned>(check.number(4)), type_text(owner).c_str(), owner->size);
}

void check_enumerator(const TYPE_CHECK& check, const TYPE* owner) {
    if (!owner->base || !owner->size || owner->size > 8) return;
    const uint32_t spare = 64 - 8 * owner->size;
    const int64_t value = check.field(1).signed_number();
    const bool fits = owner->is_unsigned ? check.number(1) <= UINT64_MAX >> spare
                                         : value <= INT64_MAX >> spare && value >= INT64_MIN >> spare;
    if (!fits) check.fault(RULE_T14, "the value is none of %s", type_text(owner->base).c_str());
}

void check_attribute(TYPE_CHECK& check, const TYPE* owner) {
    const auto code = static_cast<uint32_t>(check.field(0).signed_number());
    const bool is_layout = check.kind == TR_LAYOUT;
    const uint8_t seen = is_layout ? owner->layouts_seen : owner->lists_seen;
    if (code < 1 || code > (is_layout ? uint32_t(LAYOUT_VECTOR) : uint32_t(LIST_MEMBERS))) {
        check.fault(RULE_T5, "attribute %d is not known", static_cast<int>(code));
        check.can_be_built = false;
    } else if (seen & (1u << code)) {
        check.fault(RULE_T13, "this was said of type %u before", check.index);
        check.can_be_built = false;
    }
}

void check_part(TYPE_CHECK& check, TYPE_STATE& state) {
    const TYPE* owner = state.type;
    if (!part_fits(check, owner)) {
        check.fault(RULE_T5, "a %s cannot belong to type %u", type_record_name(check.kind), check.index);
        check.can_be_built = false;
        return;
    }
    if (owner->lists_seen & (1 << list_of(check.kind)))
        check.fault(RULE_T13, "a %s behind the end of its list", type_record_name(check.kind));
    if (check.kind == TR_PARAMETER) state.parameters++;
    if (check.kind == TR_MEMBER) check_member(check, owner);
    if (check.kind == TR_ENUMERATOR) check_enumerator(check, owner);
    if (type_record_role(check.kind) == TYPE_ROLE::ATTRIBUTE) check_attribute(check, owner);
}

// --- Building ---

TYPE_FIELD built_field(char code, const FIELD_VALUE& field) {
    switch (code) {
    case 't': return {.type = field.type};
    case 's': return {.text = zone_string(false, field.text)};
    case 'p': return {.position = nullptr};
    default: return {.number = field.signed_number()};
    }
}

struct NOT_BUILT {};
void refuse() { throw NOT_BUILT(); }

// The checks before should leave nothing that the package refuses; if they do, the record is not good, and
// the run goes on.
TYPE* build(TYPE_CHECK& check) {
    std::vector<TYPE_FIELD> fields;
    const std::vector<FIELD_LAYOUT>& layout = *type_layout(check.kind);
    fields.reserve(layout.size());
    for (size_t i = 0; i < layout.size(); ++i) fields.push_back(built_field(layout[i].code, check.field(i)));
    type_error_place = refuse;
    TYPE* type = nullptr;
    try {
        type = check.v.types.add_record(check.index, check.kind, fields.data());
    } catch (const NOT_BUILT&) {
        check.fault(RULE_T7, "the type cannot be built");
    }
    type_error_place = nullptr;
    return type;
}

void define_type(TYPE_CHECK& check) {
    check_components(check);
    if (check.can_be_built) check_sizes(check); // sizes follow from the components
    check_alignment(check);
    if (check.v.type_states.contains(check.index))
        return check.fault(RULE_T3, "type %u is described already", check.index);
    TYPE_STATE& state = check.v.type_states[check.index];
    state.offset = check.start;
    if (check.kind == TR_FUNCTION) state.parameters_said = static_cast<uint32_t>(check.number(1));
    if (check.can_be_built) state.type = build(check);
}

void describe_part(TYPE_CHECK& check) {
    const auto found = check.v.type_states.find(check.index);
    if (found == check.v.type_states.end())
        return check.fault(RULE_T2, "type %u is not described", check.index);
    if (!found->second.type) return;
    check_components(check);
    check_part(check, found->second);
    if (check.can_be_built) build(check);
}

bool index_is_good(TYPE_CHECK& check) {
    // A type record takes at least three bytes, so a larger number is no count of anything.
    const uint64_t most = check.v.bytes.size() / 3 + 1;
    if (check.index && check.index <= most) return true;
    if (type_record_role(check.kind) == TYPE_ROLE::TYPE)
        check.v.type_states[check.index]; // what refers to it is not to blame
    check.fault(RULE_T1, "the index %u is not from 1 to %llu", check.index,
                static_cast<unsigned long long>(most));
    return false;
}

bool is_vector_of_numbers(const TYPE* type) {
    const TYPE* element = nullptr;
    uint64_t offset = 0;
    for (const TYPE_PART* part = type->parts; part; part = part->next) {
        if (part->record_kind != TR_MEMBER) continue;
        const TYPE* own = type_strip(part->type);
        const bool is_number = own->kind == TK_INTEGER || own->kind == TK_FLOATING;
        if (!is_number || (element && own != element) || part->value != static_cast<int64_t>(offset))
            return false;
        element = own;
        offset += own->size;
    }
    return type->kind == TK_STRUCT && element;
}

} // namespace

void validate_type_record(VALIDATOR& v, const RECORD_FRAME& frame) {
    const uint32_t index = take_uleb(v);
    const uint8_t kind = take_byte(v);
    if (!v.good) return;
    const std::vector<FIELD_LAYOUT>* layout = type_layout(kind);
    if (!layout) {
        file_fault(v, RULE_T4, frame.start, "kind %d of type %u is not known", kind, index);
        v.at = v.limit;
        return;
    }
    const auto owner = v.type_states.find(index);
    if (!take_fields(v, *layout, owner != v.type_states.end() ? owner->second.type : nullptr)) return;
    TYPE_CHECK check{v, frame.start, index, kind};
    if (!index_is_good(check)) return;
    if (type_record_role(kind) == TYPE_ROLE::TYPE)
        define_type(check);
    else
        describe_part(check);
}

void validate_all_types(VALIDATOR& v) {
    for (const TYPE_RECORD* record = v.types.first_record(); record; record = record->next) {
        if (record->record_kind == TR_LAYOUT && record->fields[0].number == LAYOUT_VECTOR &&
            !is_vector_of_numbers(record->owner))
            file_fault(v, RULE_T15, v.type_states[record->owner->uid.number].offset, "%s is no vector",
                       type_text(record->owner).c_str());
        if (record->record_kind != TR_FUNCTION) continue;
        const TYPE_STATE& state = v.type_states[record->owner->uid.number];
        if (state.parameters != state.parameters_said)
            file_fault(v, RULE_T13, state.offset, "the function type has %u parameters and says %u",
                       state.parameters, state.parameters_said);
    }
    if (const TYPE* type = v.types.self_containing())
        file_fault(v, RULE_T12, v.type_states[type->uid.number].offset, "%s contains itself",
                   type_text(type).c_str());
}

} // namespace pelorus
