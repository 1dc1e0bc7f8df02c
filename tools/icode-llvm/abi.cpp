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

bool is_register_vector(const TYPE* type) {
    return type->kind == TK_STRUCT && (type->layouts_seen & (1u << LAYOUT_VECTOR)) &&
           (type->size == 8 || type->size == 16);
}

// Elements of a structure that holds floats, doubles or vectors of one size and nothing else.
struct HOMOGENEOUS {
    LTYPE element = LTYPE::NONE; // of vectors: DOUBLE
    uint32_t vector = 0;         // bytes of the vector; 0: it is none
    uint64_t count = 0;

    uint32_t bytes() const { return vector ? vector : ltype_bits(element) / 8; }
};

bool add_element(HOMOGENEOUS& found, LTYPE element, uint32_t vector) {
    if (found.element != LTYPE::NONE && (found.element != element || found.vector != vector)) return false;
    found = {element, vector, found.count + 1};
    return true;
}

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
    if (is_register_vector(plain)) return add_element(found, LTYPE::DOUBLE, plain->size);
    if (type_is_csu(plain)) return find_homogeneous_structure(plain, found);
    if (plain->kind == TK_ARRAY) {
        if (plain->count == 0 || plain->count > LARGEST_HOMOGENEOUS) return false;
        HOMOGENEOUS element = {found.element, found.vector, 0};
        if (!find_homogeneous(plain->base, element)) return false;
        element.count = found.count + element.count * plain->count;
        found = element;
        return true;
    }
    LTYPE scalar = ltype_of(plain);
    return ltype_is_floating(scalar) && add_element(found, scalar, 0);
}

bool is_homogeneous(const TYPE* csu, HOMOGENEOUS& found) {
    return find_homogeneous(csu, found) && found.count > 0 && found.count <= LARGEST_HOMOGENEOUS &&
           found.count * found.bytes() == csu->size;
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

// In floating-point registers.
PASSING in_registers(const HOMOGENEOUS& found) {
    const uint32_t bytes = ltype_bits(found.element) / 8;
    const auto elements = uint32_t(found.count) * found.bytes() / bytes;
    PASSING passing = as_array(ltype_text(found.element), bytes, elements);
    passing.singles = uint8_t(passing.bytes / 4);
    passing.first_single = uint8_t(found.bytes() / 4);
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
    if (ltype_is_floating(passing.scalar))
        passing.singles = passing.first_single = uint8_t(ltype_bits(passing.scalar) / 32);
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
    if (!variadic && is_homogeneous(plain, found)) return in_registers(found);
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
    if (!variadic && is_homogeneous(plain, found)) return in_registers(found);
    if (is_register_vector(plain)) return as_array("i64", 8, plain->size / 8);
    if (plain->size > 4) return in_memory(plain, plain->align);
    uint32_t bytes = plain->size == 3 ? 4 : plain->size;
    PASSING passing = as_array("i32", 4, 1);
    passing.type = ltype_text(ltype_integer(bytes * 8));
    passing.bytes = bytes;
    passing.align = bytes;
    return passing;
}

namespace {

constexpr int32_t SINGLES = 16; // single registers for arguments

// The registers of the arguments; -1: those that no argument has.
struct ALLOCATION {
    int32_t owner[SINGLES];
    bool full = false; // an argument went to the stack, and so do all further ones
    std::vector<bool> is_in_register;

    bool is_free(int32_t first, int32_t count) const {
        return first + count <= SINGLES &&
               std::all_of(owner + first, owner + first + count, [](int32_t number) { return number < 0; });
    }
};

bool place_argument(ALLOCATION& registers, int32_t number, const PASSING& passing) {
    for (int32_t first = 0; !registers.full && first < SINGLES; first += passing.first_single) {
        if (!registers.is_free(first, passing.singles)) continue;
        std::fill_n(registers.owner + first, passing.singles, number);
        return true;
    }
    registers.full = true;
    return false;
}

ALLOCATION allocate_registers(const std::vector<PASSING>& parameters) {
    ALLOCATION registers;
    std::fill_n(registers.owner, SINGLES, -1);
    for (size_t i = 0; i < parameters.size(); i++)
        registers.is_in_register.push_back(parameters[i].singles &&
                                           place_argument(registers, int32_t(i), parameters[i]));
    return registers;
}

} // namespace

std::vector<int32_t> register_order(const std::vector<PASSING>& parameters) {
    std::vector<int32_t> order;
    const bool takes_quads = std::any_of(parameters.begin(), parameters.end(),
                                         [](const PASSING& passing) { return passing.first_single > 2; });
    const ALLOCATION registers = allocate_registers(takes_quads ? parameters : std::vector<PASSING>());
    int32_t used = registers.full ? SINGLES : 0;
    for (int32_t i = 0; i < SINGLES; i++)
        if (registers.owner[i] >= 0) used = std::max(used, i + 1);
    for (int32_t i = 0; i < used;) {
        const int32_t number = registers.owner[i];
        order.push_back(number < 0 ? FILLER : number);
        i += number < 0 ? 1 : parameters[size_t(number)].singles;
    }
    for (size_t i = 0; i < parameters.size(); i++)
        if (!takes_quads || !registers.is_in_register[i]) order.push_back(int32_t(i));
    return order;
}

SIGNATURE signature_of(const TYPE* function) {
    SIGNATURE signature;
    std::vector<PASSING> parameters;
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
        if (passing.how != PASSED::NOT_AT_ALL) parameters.push_back(passing);
    }
    for (int32_t number : register_order(parameters)) {
        if (number == FILLER)
            add("float");
        else
            add(parameters[size_t(number)].how == PASSED::IN_MEMORY ? "ptr"
                                                                    : parameters[size_t(number)].type);
    }
    if (function->variadic || !function->prototyped) add("...");
    return signature;
}

} // namespace pelorus
