// See abi.h.
#include "abi.h"

#include <algorithm>

#include "text.h"

namespace pelorus {

namespace {

constexpr uint32_t LARGEST_IN_REGISTERS = 64; // bytes: a structure above it is passed as a copy in memory
constexpr uint32_t LARGEST_HOMOGENEOUS =
    4; // elements of a structure that travels in floating-point registers

const TYPE* without_arrays(const TYPE* type) {
    while (type_strip(type)->kind == TK_ARRAY) type = type_strip(type)->base;
    return type_strip(type);
}

bool is_member(const TYPE_PART* part) { return part->record_kind == TR_MEMBER; }

bool is_empty_structure(const TYPE* type) {
    const TYPE* plain = type_strip(type);
    if (!type_is_csu(plain)) return false;
    if (plain->size == 0) return true;
    for (const TYPE_PART* part = plain->parts; part; part = part->next)
        if (is_member(part) && !is_empty_structure(without_arrays(part->type))) return false;
    return true;
}

// Elements of a structure that holds floats or doubles of one size and nothing else.
struct HOMOGENEOUS {
    LTYPE element = LTYPE::NONE;
    uint64_t count = 0;
};

bool find_homogeneous(const TYPE* type, HOMOGENEOUS& found);

bool find_homogeneous_structure(const TYPE* csu, HOMOGENEOUS& found) {
    uint64_t before = found.count, most = found.count;
    for (const TYPE_PART* part = csu->parts; part; part = part->next) {
        if (!is_member(part)) continue;
        if (part->flag) return false;
        if (is_empty_structure(without_arrays(part->type))) continue;
        if (csu->kind == TK_UNION) found.count = before;
        if (!find_homogeneous(part->type, found)) return false;
        most = std::max(most, found.count);
    }
    found.count = most;
    return true;
}

bool find_homogeneous(const TYPE* type, HOMOGENEOUS& found) {
    const TYPE* plain = type_strip(type);
    if (type_is_csu(plain)) return find_homogeneous_structure(plain, found);
    if (plain->kind == TK_ARRAY) {
        if (plain->count == 0 || plain->count > LARGEST_HOMOGENEOUS) return false;
        HOMOGENEOUS element = {found.element, 0};
        if (!find_homogeneous(plain->base, element)) return false;
        found = {element.element, found.count + element.count * plain->count};
        return true;
    }
    LTYPE scalar = ltype_of(plain);
    if (!ltype_is_floating(scalar) || (found.element != LTYPE::NONE && found.element != scalar)) return false;
    found.element = scalar;
    found.count++;
    return true;
}

bool is_homogeneous(const TYPE* csu, HOMOGENEOUS& found) {
    return find_homogeneous(csu, found) && found.count > 0 && found.count <= LARGEST_HOMOGENEOUS &&
           found.count * ltype_bits(found.element) == uint64_t(csu->size) * 8;
}

// The alignment by which the convention places a structure: that of its members, without what an attribute
// of the whole adds.
uint32_t placed_alignment(const TYPE* csu) {
    if (csu->layouts_seen & (1u << LAYOUT_ALIGNED)) return 4;
    return std::clamp(csu->align, 4u, 8u);
}

PASSING as_array(const char* element, uint32_t element_bytes, uint32_t count) {
    PASSING passing;
    passing.how = PASSED::AS_ARRAY;
    passing.type = joined("[", count, " x ", element, "]");
    passing.bytes = count * element_bytes;
    passing.align = element_bytes;
    return passing;
}

PASSING in_memory(const TYPE* csu, uint32_t align) {
    PASSING passing;
    passing.how = PASSED::IN_MEMORY;
    passing.type = ltype_bytes(csu->size);
    passing.align = align;
    return passing;
}

PASSING pass_scalar(const TYPE* type) {
    PASSING passing;
    passing.scalar = ltype_of(type);
    if (passing.scalar == LTYPE::VOID) return passing;
    passing.how = PASSED::DIRECTLY;
    passing.type = ltype_text(passing.scalar);
    if (ltype_is_integer(passing.scalar) && ltype_bits(passing.scalar) < 32)
        passing.extension = type_is_signed(type) ? "signext " : "zeroext ";
    return passing;
}

} // namespace

LTYPE ltype_of(const TYPE* type) {
    const TYPE* plain = type_strip(type);
    switch (plain->kind) {
    case TK_VOID: return LTYPE::VOID;
    case TK_INTEGER:
    case TK_ENUM: return ltype_integer(plain->size * 8);
    case TK_BITFIELD: return ltype_of(plain->base);
    case TK_FLOATING: return plain->size == 4 ? LTYPE::FLOAT : plain->size == 8 ? LTYPE::DOUBLE : LTYPE::NONE;
    case TK_POINTER:
    case TK_REFERENCE: return LTYPE::PTR;
    case TK_ARRAY:
    case TK_FUNCTION:
    case TK_STRUCT:
    case TK_UNION:
    case TK_CLASS:
    case TK_OPAQUE: return LTYPE::MEMORY;
    default: return LTYPE::NONE;
    }
}

const char* ltype_text(LTYPE type) {
    static const char* const texts[] = {"void",  "i1",     "i8",  "i16", "i32", "i64",
                                        "float", "double", "ptr", "ptr", "?"};
    return texts[int(type)];
}

uint32_t ltype_bits(LTYPE type) {
    static const uint32_t bits[] = {0, 1, 8, 16, 32, 64, 32, 64, 32, 32, 0};
    return bits[int(type)];
}

LTYPE ltype_integer(uint32_t bits) {
    switch (bits) {
    case 8: return LTYPE::I8;
    case 16: return LTYPE::I16;
    case 32: return LTYPE::I32;
    case 64: return LTYPE::I64;
    default: return LTYPE::NONE;
    }
}

std::string ltype_bytes(uint32_t size) { return joined("[", size, " x i8]"); }

PASSING pass_argument(const TYPE* type, bool variadic) {
    const TYPE* plain = type_strip(type);
    if (!type_is_csu(plain)) return pass_scalar(plain);
    if (is_empty_structure(plain)) return {};
    HOMOGENEOUS found;
    if (!variadic && is_homogeneous(plain, found))
        return as_array(ltype_text(found.element), ltype_bits(found.element) / 8, uint32_t(found.count));
    uint32_t align = placed_alignment(plain);
    if (plain->size > LARGEST_IN_REGISTERS) return in_memory(plain, align);
    if (align > 4) return as_array("i64", 8, (plain->size + 7) / 8);
    return as_array("i32", 4, (plain->size + 3) / 4);
}

PASSING pass_result(const TYPE* type, bool variadic) {
    const TYPE* plain = type_strip(type);
    if (!type_is_csu(plain)) return pass_scalar(plain);
    if (is_empty_structure(plain)) return {};
    HOMOGENEOUS found;
    if (!variadic && is_homogeneous(plain, found))
        return as_array(ltype_text(found.element), ltype_bits(found.element) / 8, uint32_t(found.count));
    if (plain->size > 4) return in_memory(plain, plain->align);
    uint32_t bytes = plain->size == 3 ? 4 : plain->size;
    PASSING passing = as_array("i32", 4, 1);
    passing.type = ltype_text(ltype_integer(bytes * 8));
    passing.bytes = bytes;
    passing.align = bytes;
    return passing;
}

SIGNATURE signature_of(const TYPE* function) {
    SIGNATURE signature;
    auto add = [&](std::string_view type) {
        put(signature.parameters, signature.parameters.empty() ? "" : ", ", type);
    };
    PASSING result = pass_result(function->base, function->variadic);
    bool through_memory = result.how == PASSED::IN_MEMORY;
    signature.result = through_memory || result.how == PASSED::NOT_AT_ALL ? "void" : result.type;
    if (through_memory) add("ptr");
    for (const TYPE_PART* part = function->parts; part; part = part->next) {
        if (part->record_kind != TR_PARAMETER) continue;
        PASSING passing = pass_argument(part->type, function->variadic);
        if (passing.how == PASSED::NOT_AT_ALL) continue;
        add(passing.how == PASSED::IN_MEMORY ? "ptr" : passing.type);
    }
    if (function->variadic || !function->prototyped) add("...");
    return signature;
}

} // namespace pelorus
