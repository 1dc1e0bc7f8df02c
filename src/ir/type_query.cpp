// Questions about types; see type.h. All walks are loops: the nesting of a file's types is the file's choice.
#include "ir/type.h"

#include <cstring>

namespace pelorus {

namespace {

bool is_wrapper(const TYPE* type) {
    return type->kind == TK_QUALIFIED || type->kind == TK_TYPEDEF || type->kind == TK_ATOMIC;
}

bool same_name(const char* a, const char* b) { return a && b && *a && !strcmp(a, b); }

} // namespace

uint8_t type_qualifiers(const TYPE* type) {
    uint8_t qualifiers = 0;
    for (; is_wrapper(type); type = type->base) qualifiers |= type->qualifiers;
    // An array of const elements is const itself.
    if (type->kind == TK_ARRAY)
        for (const TYPE* element = type->base; element; element = element->base) {
            qualifiers |= element->qualifiers;
            if (!is_wrapper(element) && element->kind != TK_ARRAY) break;
        }
    return qualifiers;
}

bool type_is_const(const TYPE* type) { return (type_qualifiers(type) & Q_CONST) != 0; }
bool type_is_volatile(const TYPE* type) { return (type_qualifiers(type) & Q_VOLATILE) != 0; }

TYPE* type_strip(TYPE* type) {
    while (is_wrapper(type)) type = type->base;
    return type;
}

// Volatility stays: it is part of what an access means. The result is cached, since every symbol and field
// asks.
TYPE* type_normalise(TYPE* type) {
    if (!is_wrapper(type)) return type;
    if (!type->normal) {
        bool is_volatile = false;
        TYPE* core = type;
        for (; core->kind == TK_QUALIFIED || core->kind == TK_TYPEDEF; core = core->base)
            is_volatile |= (core->qualifiers & Q_VOLATILE) != 0;
        type->normal = is_volatile ? type_package()->make_qualified(core, Q_VOLATILE) : core;
    }
    return type->normal;
}

void type_note_conversion(TYPE* enumeration) { enumeration->converted_to = 1; }

bool type_is_integer(const TYPE* type) {
    const uint8_t kind = type_strip(type)->kind;
    return kind == TK_INTEGER || kind == TK_ENUM || kind == TK_BITFIELD;
}

bool type_is_floating(const TYPE* type) { return type_strip(type)->kind == TK_FLOATING; }

bool type_is_arithmetic(const TYPE* type) {
    return type_is_integer(type) || type_is_floating(type) || type_strip(type)->kind == TK_COMPLEX;
}

bool type_is_pointer(const TYPE* type) {
    const uint8_t kind = type_strip(type)->kind;
    return kind == TK_POINTER || kind == TK_REFERENCE;
}

bool type_is_scalar(const TYPE* type) {
    const uint8_t kind = type_strip(type)->kind;
    return type_is_arithmetic(type) || type_is_pointer(type) || kind == TK_MEMBER_POINTER ||
           kind == TK_METHOD_POINTER;
}

bool type_is_csu(const TYPE* type) {
    const uint8_t kind = type_strip(type)->kind;
    return kind == TK_STRUCT || kind == TK_UNION || kind == TK_CLASS;
}

bool type_is_array(const TYPE* type) { return type_strip(type)->kind == TK_ARRAY; }
bool type_is_function(const TYPE* type) { return type_strip(type)->kind == TK_FUNCTION; }
bool type_is_void(const TYPE* type) { return type_strip(type)->kind == TK_VOID; }
bool type_is_bool(const TYPE* type) { return type_strip(type)->record_kind == TR_BOOL; }

bool type_is_signed(const TYPE* type) {
    type = type_strip(type);
    return (type->kind == TK_INTEGER || type->kind == TK_ENUM || type->kind == TK_BITFIELD) &&
           !type->is_unsigned;
}

bool type_is_plain_char(const TYPE* type) {
    type = type_strip(type);
    return type->record_kind == TR_CHAR && type->other;
}

bool type_is_byte(const TYPE* type) {
    type = type_strip(type);
    return type->kind == TK_INTEGER && type->size == 1;
}

TYPE* type_target(const TYPE* type) {
    type = type_strip(type);
    switch (type->kind) {
    case TK_POINTER:
    case TK_REFERENCE:
    case TK_ARRAY:
    case TK_FUNCTION:
    case TK_ENUM:
    case TK_BITFIELD:
    case TK_COMPLEX:
    case TK_MEMBER_POINTER:
    case TK_METHOD_POINTER: return type->base;
    default: return nullptr;
    }
}

uint32_t type_bits(const TYPE* type) {
    type = type_strip(type);
    return type->kind == TK_BITFIELD ? type->bit_width : type->size * 8;
}

bool type_same_representation(const TYPE* a, const TYPE* b) {
    a = type_strip(a);
    b = type_strip(b);
    const auto is_word = [](const TYPE* type) {
        return type->kind == TK_INTEGER || type->kind == TK_ENUM || type->kind == TK_POINTER ||
               type->kind == TK_REFERENCE;
    };
    if (is_word(a) && is_word(b)) return a->size == b->size && a->is_unsigned == b->is_unsigned;
    if (type_is_csu(a) || type_is_csu(b))
        return a == b || (a->kind == b->kind && same_name(a->name, b->name) && a->size == b->size);
    return a->kind == b->kind && a->size == b->size && a->is_unsigned == b->is_unsigned;
}

namespace {

bool same_parameters(const TYPE* a, const TYPE* b) {
    if (!a->prototyped || !b->prototyped) return true;
    const TYPE_PART* p = a->parts;
    const TYPE_PART* q = b->parts;
    for (; p && q; p = p->next, q = q->next)
        if (!p->type || !q->type || !type_same_representation(p->type, q->type)) return false;
    return !p && !q && a->variadic == b->variadic;
}

} // namespace

// Compatible down a chain of pointers, arrays and results; parameters are compared by representation, which
// bounds the work.
bool type_compatible(const TYPE* a, const TYPE* b) {
    while (a && b) {
        a = type_strip(a);
        b = type_strip(b);
        if (a == b) return true;
        if (a->kind == TK_ENUM) a = type_strip(a->base);
        if (b->kind == TK_ENUM) b = type_strip(b->base);
        if (a->kind != b->kind) return false;
        switch (a->kind) {
        case TK_ARRAY:
            if (a->complete && b->complete && a->count != b->count) return false;
            break;
        case TK_FUNCTION:
            if (!same_parameters(a, b)) return false;
            break;
        case TK_POINTER:
        case TK_REFERENCE:
            if (a->record_kind != b->record_kind) return false;
            break;
        case TK_STRUCT:
        case TK_UNION:
        case TK_CLASS: return same_name(a->name, b->name) && a->size == b->size;
        default:
            return a->record_kind == b->record_kind && a->size == b->size && a->is_unsigned == b->is_unsigned;
        }
        a = a->base;
        b = b->base;
    }
    return a == b;
}

TYPE_PART* type_member(const TYPE* csu, uint32_t key) {
    for (TYPE_PART* part = type_strip(csu)->parts; part; part = part->next)
        if (part->record_kind == TR_MEMBER && part->key == key) return part;
    return nullptr;
}

} // namespace pelorus
