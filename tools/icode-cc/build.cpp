// Trees; see build.h.
#include "build.h"

#include "memory/zone.h"

namespace pelorus {

using namespace clang;

namespace {

bool is_fresh_address(const NODE* node) {
    return node->op == OP_UAND || node->op == OP_PCONV || node->op == OP_PLUS;
}

// The symbol that holds the lvalue, when it is part of one.
SYMBOL* root_symbol(NODE* lvalue) {
    while (lvalue->op == OP_STDOT) lvalue = lvalue->left;
    return lvalue->op == OP_NAME ? lvalue->symbol() : nullptr;
}

NODE* field_leaf(TYPE_PART* member, TYPE* owner) {
    NODE* field = new_node(OP_FIELD, member->type);
    field->set_field(1, member, owner);
    return field;
}

bool is_structure(const TYPE* type) { return type_is_csu(type); }

} // namespace

NODE* integer_constant(TYPE* type, int64_t value) {
    const bool is_signed = type_is_signed(type);
    if (type->size == 8)
        return new_icon(type, is_signed ? int96_from_int64(value)
                                        : int96_from_uint64(static_cast<uint64_t>(value)));
    const uint32_t bits = type->size * 8;
    const uint64_t low = static_cast<uint64_t>(value) & ((1ull << bits) - 1);
    const bool negative = is_signed && (low >> (bits - 1)) != 0;
    return new_icon(type, int96_from_int64(static_cast<int64_t>(negative ? low | (~0ull << bits) : low)));
}

NODE* integer_constant(TYPE* type, const llvm::APSInt& value) {
    return integer_constant(type, value.extOrTrunc(64).getSExtValue());
}

NODE* float_constant(TYPE* type, const llvm::APFloat& value) {
    NODE* node = new_node(OP_FCON, type);
    if (!value.isFinite()) {
        const char* text = value.isNaN() ? "nan" : "inf";
        node->set_float(value.isNegative() ? (std::string("-") + text).c_str() : text);
        return node;
    }
    llvm::APFloat wide = value;
    bool loses = false;
    wide.convert(llvm::APFloat::IEEEdouble(), llvm::APFloat::rmNearestTiesToEven, &loses);
    char text[64];
    snprintf(text, sizeof text, "%.17g", wide.convertToDouble());
    node->set_float(text);
    return node;
}

NODE* zero_constant(TYPE* type) {
    return type_is_floating(type) ? float_constant(type, llvm::APFloat(0.0)) : integer_constant(type, 0);
}

NODE* string_constant(TYPE* array, const std::string& bytes) {
    NODE* node = new_node(OP_SCON, array);
    node->set_bytes(bytes.data(), static_cast<uint32_t>(bytes.size()));
    return node;
}

std::string literal_bytes(const UNIT& unit, const StringLiteral* literal) {
    std::string bytes;
    const unsigned width = literal->getCharByteWidth();
    for (unsigned i = 0; i < literal->getLength(); ++i) {
        const uint32_t unit_value = literal->getCodeUnit(i);
        for (unsigned k = 0; k < width; ++k) bytes.push_back(static_cast<char>(unit_value >> (8 * k)));
    }
    bytes.resize(size_in_bytes(unit, literal->getType()), '\0');
    return bytes;
}

bool is_integer_constant(const NODE* node) { return node->op == OP_ICON; }
bool has_effects(const NODE* tree) {
    std::vector<const NODE*> rest{tree};
    while (!rest.empty()) {
        const NODE* node = rest.back();
        rest.pop_back();
        const OPCODE_CLASS kind = opcode_fact(node->op).kind;
        if (kind == OPCODE_CLASS::ASSIGNS || kind == OPCODE_CLASS::CALLS) return true;
        if (node->left) rest.push_back(node->left);
        if (node->right) rest.push_back(node->right);
    }
    return false;
}

bool is_zero_constant(const NODE* node) { return node->op == OP_ICON && int96_is_zero(node->value()); }

NODE* arithmetic_conversion(NODE* value, TYPE* type) {
    if (value->op == OP_ICON && type_is_integer(type) && !type_is_bool(type))
        return integer_constant(type, int96_to_int64(value->value()));
    if (type_same_representation(value->type, type) && !type_is_bool(type)) return value;
    return new_unary(OP_SCONV, type, value);
}

NODE* pointer_conversion(NODE* pointer, TYPE* type) {
    if (pointer->type == type) return pointer;
    if (pointer->op == OP_ICON) return integer_constant(type, int96_to_int64(pointer->value()));
    if (is_fresh_address(pointer) && type_is_pointer(pointer->type) && type_is_pointer(type)) {
        pointer->type = type;
        return pointer;
    }
    return new_unary(OP_PCONV, type, pointer);
}

NODE* pointer_plus(NODE* pointer, int64_t bytes, TYPE* type) {
    if (!bytes) return pointer_conversion(pointer, type);
    TYPE* offset = type_package()->int_type();
    if (pointer->op == OP_PLUS && is_integer_constant(pointer->right)) {
        pointer->right = integer_constant(offset, int96_to_int64(pointer->right->value()) + bytes);
        pointer->type = type;
        return pointer;
    }
    return new_binary(OP_PLUS, type, pointer, integer_constant(offset, bytes));
}

NODE* scaled_index(UNIT& unit, NODE* index, NODE* size) {
    TYPE* number = type_is_signed(index->type) ? int_type(unit) : unsigned_type(unit);
    if (index->type->size != 4) index = arithmetic_conversion(index, number);
    if (is_integer_constant(index) && is_integer_constant(size))
        return integer_constant(number, int96_to_int64(index->value()) * int96_to_int64(size->value()));
    if (is_integer_constant(size) && int96_to_int64(size->value()) == 1) return index;
    if (is_integer_constant(index) && int96_to_int64(index->value()) == 1)
        return arithmetic_conversion(size, number);
    if (is_zero_constant(index)) return index;
    return new_binary(OP_MULT, number, index, arithmetic_conversion(size, number));
}

NODE* pointer_index(UNIT& unit, NODE* pointer, NODE* index, NODE* size, bool down, TYPE* type) {
    if (pointer->op == OP_NONALIGN)
        return new_unary(OP_NONALIGN, type, pointer_index(unit, pointer->left, index, size, down, type));
    NODE* offset = scaled_index(unit, index, size);
    if (!is_integer_constant(offset)) return new_binary(down ? OP_MINUS : OP_PLUS, type, pointer, offset);
    const int64_t bytes = int96_to_int64(offset->value());
    return pointer_plus(pointer, static_cast<int32_t>(down ? -bytes : bytes), type);
}

NODE* object_at(NODE* pointer, TYPE* type) {
    if (pointer->op == OP_UAND && type_strip(pointer->left->type) == type_strip(type)) {
        NODE* lvalue = pointer->left;
        if (lvalue->op == OP_NAME && type_is_volatile(lvalue->type) == type_is_volatile(type)) return lvalue;
    }
    return new_unary(OP_UMULT, type, pointer);
}

NODE* address_of(NODE* lvalue, TYPE* pointer_type) {
    if (lvalue->op == OP_UMULT) return pointer_conversion(lvalue->left, pointer_type);
    if (lvalue->op == OP_COMMAOP)
        return new_binary(OP_COMMAOP, pointer_type, lvalue->left, address_of(lvalue->right, pointer_type));
    if (SYMBOL* symbol = root_symbol(lvalue)) symbol->flags |= SF_ADDRESS_TAKEN;
    return new_unary(OP_UAND, pointer_type, lvalue);
}

NODE* member_of_value(NODE* structure, TYPE_PART* member, TYPE* owner, TYPE* type) {
    if (structure->op == OP_UMULT) return member_of_pointer(structure->left, member, owner, type);
    if (structure->op == OP_COMMAOP)
        return new_binary(OP_COMMAOP, type, structure->left,
                          member_of_value(structure->right, member, owner, type));
    return new_binary(OP_STDOT, type, structure, field_leaf(member, owner));
}

NODE* member_of_pointer(NODE* pointer, TYPE_PART* member, TYPE* owner, TYPE* type) {
    if (pointer->op == OP_UAND && is_structure(pointer->left->type) &&
        type_strip(pointer->left->type) == owner)
        return member_of_value(pointer->left, member, owner, type);
    return new_binary(OP_STREF, type, pointer, field_leaf(member, owner));
}

uint32_t known_alignment(const NODE* object) {
    const NODE* left = object->left;
    switch (object->op) {
    case OP_NAME: return std::max(object->symbol()->align, 1u);
    case OP_STDOT:
    case OP_STREF: {
        const bool is_pointer = object->op == OP_STREF;
        const TYPE* structure = is_pointer ? type_strip(left->type)->base : nullptr;
        uint32_t align = is_pointer ? type_strip(structure)->align : known_alignment(left);
        if (is_pointer && left->op == OP_NONALIGN) align = 1;
        const auto offset = static_cast<uint32_t>(object->right->field_info->value);
        return offset ? std::min(align, offset & (0 - offset)) : align;
    }
    default: return left && left->op == OP_NONALIGN ? 1 : std::max(type_strip(object->type)->align, 1u);
    }
}

NODE* sequence(NODE* first, NODE* value) {
    if (!first) return value;
    if (!value) return first;
    return new_binary(OP_COMMAOP, value->type, first, value);
}

NODE* choice(TYPE* type, NODE* condition, NODE* yes, NODE* no) {
    return new_binary(OP_QUEST, type, condition, new_binary(OP_COLON, type_package()->void_type(), yes, no));
}

NODE* assignment(NODE* lvalue, NODE* value, TYPE* type) {
    return new_binary(is_structure(type) ? OP_STASG : OP_ASG, type, lvalue, value);
}

NODE* use_of(SYMBOL* symbol, TYPE* type) {
    symbol->flags |= SF_REFERENCED;
    return new_name(symbol, type);
}

NODE* call_of(TYPE* result, NODE* callee, const std::vector<NODE*>& arguments) {
    if (arguments.empty()) return new_unary(OP_UCALL, result, callee);
    NODE* list = nullptr;
    for (NODE* argument : arguments) {
        if (is_structure(argument->type))
            argument = new_unary(OP_STARG, type_strip(argument->type), argument);
        list = list ? new_binary(OP_COMMA, type_package()->void_type(), list, argument) : argument;
    }
    return new_binary(OP_CALL, result, callee, list);
}

NODE* direct_call(UNIT& unit, TYPE* result, SYMBOL* callee, const std::vector<NODE*>& arguments) {
    callee->flags |= SF_REFERENCED | SF_CALLED;
    NODE* address = new_unary(OP_UAND, unit.types.make_pointer(callee->declared_type),
                              new_name(callee, callee->declared_type));
    return call_of(result, address, arguments);
}

} // namespace pelorus
