// What the simplifier's rules ask of nodes, and what they make; see simplify.h.
#include <algorithm>

#include "ir/node_storage.h"
#include "ir/symbol.h"
#include "memory/zone.h"
#include "tree/query.h"
#include "tree/shapes.h"

namespace pelorus {

// --- Purity, kept in a scratch word of the node ---

namespace {

enum PURITY : int16_t { PURE = 1, IMPURE = 2 };

int16_t purity_of(const NODE* node) {
    const bool pure = !node_has_effect(node) && (!node->left || is_pure(node->left)) &&
                      (!node->right || is_pure(node->right));
    return pure ? PURE : IMPURE;
}

// The object whose address is taken is not touched, but what leads to it is evaluated.
int16_t purity_of_address(const NODE* node) {
    const NODE* evaluated = behind_address(node);
    return !evaluated || is_pure(evaluated) ? PURE : IMPURE;
}

} // namespace

NODE* changed(NODE* node) {
    node->scratch_short = takes_address(node) ? purity_of_address(node) : purity_of(node);
    return node;
}

// A node whose purity was not worked out may do anything.
bool is_pure(const NODE* node) { return node->scratch_short == PURE; }

// --- Facts ---

bool is_icon_of(const NODE* node, int64_t value) {
    return is_icon(node) &&
           node->value() == int96_truncate(int96_from_int64(value), bits_of(node), is_unsigned(node));
}
bool is_all_ones(const NODE* node) { return is_icon_of(node, -1); }
bool is_integer(const NODE* node) { return node->type && type_is_integer(node->type); }
bool is_word(const NODE* node) {
    return node->type && (type_is_integer(node->type) || type_is_pointer(node->type));
}
bool is_floating(const NODE* node) { return node->type && type_is_floating(node->type); }

bool is_truth(const NODE* node) {
    return opcode_is_relation(node->op) || node->op == OP_ANDAND || node->op == OP_OROR ||
           node->op == OP_EXCLAIM;
}

bool is_variable(const NODE* node) {
    return is_op(node, OP_NAME) && is_pure(node) && !type_is_function(node->type);
}

bool same_tree(const NODE* a, const NODE* b) {
    constexpr int32_t MOST_NODES = 64;
    return equal_trees(a, b, MOST_NODES);
}

bool is_shift_by(const NODE* shift, uint32_t& places) {
    if (!is_icon(shift->right) || int96_is_negative(shift->right->value()) ||
        int96_compare(shift->right->value(), int96_unsigned(bits_of(shift))) >= 0)
        return false;
    places = static_cast<uint32_t>(shift->right->value_lo);
    return true;
}

INT96 as_bits(const NODE* node, INT96 value) { return int96_truncate(value, bits_of(node), true); }

namespace {

constexpr int MOST_LEVELS = 4; // how far down range_of and possible_bits look

RANGE type_range(const TYPE* type) {
    if (type_is_bool(type)) return {int96_signed(0), int96_signed(1)};
    const uint32_t bits = type_bits(type);
    const INT96 top = int96_shift_left(int96_signed(1), type_is_signed(type) ? bits - 1 : bits);
    const INT96 high = int96_subtract(top, int96_signed(1));
    return {type_is_signed(type) ? int96_negate(top) : int96_signed(0), high};
}

bool in_range(const RANGE& range, INT96 value) {
    return int96_compare(range.low, value) <= 0 && int96_compare(value, range.high) <= 0;
}

RANGE range_at(const NODE* node, int level);

bool is_signed(const NODE* node) { return type_is_signed(node->type); }

RANGE range_of_conversion(const NODE* node, int level) {
    const RANGE own = type_range(node->type);
    if (type_is_bool(node->type) || !is_integer(node->left)) return own;
    const RANGE inner = range_at(node->left, level + 1);
    return in_range(own, inner.low) && in_range(own, inner.high) ? inner : own;
}

RANGE range_of_remainder(const NODE* node, int level) {
    if (!is_icon(node->right) || int96_compare(node->right->value(), int96_signed(0)) <= 0)
        return type_range(node->type);
    const INT96 most = int96_subtract(node->right->value(), int96_signed(1));
    const bool from_zero = is_unsigned(node) ||
                           (is_signed(node->left) && !int96_is_negative(range_at(node->left, level + 1).low));
    return {from_zero ? int96_signed(0) : int96_negate(most), most};
}

RANGE range_of_shift(const NODE* node, int level) {
    uint32_t places = 0;
    if (!is_shift_by(node, places) || is_signed(node) != is_signed(node->left)) return type_range(node->type);
    const RANGE inner = range_at(node->left, level + 1);
    return {int96_shift_right(inner.low, places), int96_shift_right(inner.high, places)};
}

RANGE range_of_choice(const NODE* arms, int level) {
    const RANGE a = range_at(arms->left, level + 1);
    const RANGE b = range_at(arms->right, level + 1);
    return {int96_compare(a.low, b.low) < 0 ? a.low : b.low,
            int96_compare(a.high, b.high) > 0 ? a.high : b.high};
}

RANGE range_of_member(const NODE* node) {
    return type_range(node->right->field_info->flag ? node->right->field_info->type : node->type);
}

RANGE range_of_mask(const NODE* node) {
    if (!is_icon(node->right) || int96_is_negative(node->right->value())) return type_range(node->type);
    return {int96_signed(0), node->right->value()};
}

RANGE range_of_operator(const NODE* node, int level) {
    switch (node->op) {
    case OP_SCONV: return range_of_conversion(node, level);
    case OP_ANDB: return range_of_mask(node);
    case OP_SRL: return range_of_shift(node, level);
    case OP_MOD: return range_of_remainder(node, level);
    case OP_QUEST: return range_of_choice(node->right, level);
    case OP_STDOT:
    case OP_STREF: return range_of_member(node);
    default: return type_range(node->type);
    }
}

// An operand of the other signedness has values that are not values of the operator's type: then nothing is
// known.
RANGE range_at(const NODE* node, int level) {
    if (is_truth(node)) return {int96_signed(0), int96_signed(1)};
    if (is_icon(node)) return {node->value(), node->value()};
    const RANGE own = type_range(node->type);
    if (level >= MOST_LEVELS) return own;
    const RANGE range = range_of_operator(node, level);
    return in_range(own, range.low) && in_range(own, range.high) ? range : own;
}

// All bits up to the highest one of the value, which is not negative.
INT96 bits_up_to(INT96 value) {
    for (uint32_t places = 1; places < 96; places *= 2)
        value = int96_or(value, int96_shift_right(value, places));
    return value;
}

INT96 possible_at(const NODE* node, int level) {
    const RANGE range = range_at(node, level);
    INT96 bits = as_bits(node, int96_signed(-1));
    if (!int96_is_negative(range.low)) bits = bits_up_to(range.high);
    if (is_icon(node)) return as_bits(node, node->value());
    if (level >= MOST_LEVELS) return bits;
    const auto operand = [&](const NODE* of) { return as_bits(node, possible_at(of, level + 1)); };
    switch (node->op) {
    case OP_ANDB: return int96_and(bits, int96_and(operand(node->left), operand(node->right)));
    case OP_ORB:
    case OP_XORB: return int96_and(bits, int96_or(operand(node->left), operand(node->right)));
    case OP_SLL: {
        uint32_t places = 0;
        if (!is_shift_by(node, places)) return bits;
        return int96_and(bits, as_bits(node, int96_shift_left(operand(node->left), places)));
    }
    default: return bits;
    }
}

} // namespace

RANGE range_of(const NODE* node) { return range_at(node, 0); }
INT96 possible_bits(const NODE* node) { return possible_at(node, 0); }

// --- Makers ---

NODE* make_icon(TYPE* type, INT96 value) { return changed(new_wrapped_icon(type, value)); }
NODE* make_icon(TYPE* type, int64_t value) { return make_icon(type, int96_from_int64(value)); }

NODE* make_fcon(TYPE* type, const TARGET_FLOAT& value) {
    NODE* node = new_node(OP_FCON, type);
    auto* number = zone_new<TARGET_FLOAT>(node->local != 0);
    *number = value;
    node->ref = number;
    return changed(node);
}

NODE* make_zero(TYPE* type) {
    if (!type_is_floating(type)) return make_icon(type, 0);
    return make_fcon(type, target_float_from_integer(int96_signed(0), type->size));
}

NODE* make_unary(int32_t op, TYPE* type, NODE* left) { return changed(new_unary(op, type, left)); }
NODE* make_binary(int32_t op, TYPE* type, NODE* left, NODE* right) {
    return changed(new_binary(op, type, left, right));
}
NODE* make_copy(const NODE* leaf) { return changed(copy_tree(leaf)); }

NODE* inner_unary(int32_t op, TYPE* type, NODE* left) { return resimplified(make_unary(op, type, left)); }
NODE* inner_binary(int32_t op, TYPE* type, NODE* left, NODE* right) {
    return resimplified(make_binary(op, type, left, right));
}

NODE* take_left(NODE* node) {
    NODE* left = node->left;
    erase_node(node);
    return left;
}

NODE* take_right(NODE* node) {
    NODE* right = node->right;
    erase_node(node);
    return right;
}

namespace {

// An operator whose pointer type is only what the user of the address wants to see.
bool is_fresh_address(const NODE* node) {
    return is_op(node, OP_UAND) || is_op(node, OP_PLUS) || is_op(node, OP_MINUS) || is_op(node, OP_PCONV);
}

NODE* as_pointer(NODE* value, TYPE* type) {
    if (!type_is_pointer(value->type)) return inner_unary(OP_PCONV, type, value);
    if (type_compatible(type_target(value->type), type_target(type))) return value;
    if (is_fresh_address(value) || is_icon(value)) {
        set_type(value, type);
        return value;
    }
    return inner_unary(OP_PCONV, type, value);
}

} // namespace

NODE* as_type(NODE* value, TYPE* type) {
    if (value->type == type) return value;
    if (type_is_void(type)) return type_is_void(value->type) ? value : make_unary(OP_SCONV, type, value);
    if (type_is_pointer(type)) return as_pointer(value, type);
    if (type_is_pointer(value->type)) return inner_unary(OP_PCONV, type, value);
    if (type_is_bool(type) == type_is_bool(value->type) && type_same_representation(value->type, type))
        return value;
    return type_is_csu(type) ? value : inner_unary(OP_SCONV, type, value);
}

NODE* without(NODE* dropped, NODE* value) {
    if (is_pure(dropped)) {
        erase_tree(dropped);
        return value;
    }
    return make_binary(OP_COMMAOP, value->type, effects_of(dropped, false), value);
}

// --- Truth ---

namespace {

// A name that the linker may leave undefined can have the address zero.
bool is_sure_address(const NODE* node) {
    if (!is_op(node, OP_UAND) || !is_pure(node)) return false;
    if (is_op(node->left, OP_SCON)) return true;
    return is_op(node->left, OP_NAME) && node->left->symbol() && !(node->left->symbol()->flags & SF_WEAK);
}

// A conversion that is zero just when its operand is.
bool keeps_zero(const NODE* conversion) {
    const NODE* from = conversion->left;
    if (conversion->op == OP_PCONV) return is_word(from) && bits_of(from) == bits_of(conversion);
    if (conversion->op != OP_SCONV || !is_word(from) || !is_integer(conversion)) return false;
    return type_is_bool(conversion->type) || bits_of(from) <= bits_of(conversion);
}

// A pointer to a member of a class may have another null than 0.
bool has_plain_zero(const NODE* scalar) { return is_word(scalar) || is_floating(scalar); }

} // namespace

NODE* as_condition(NODE* scalar) {
    switch (scalar->op) {
    case OP_NEQ:
        if (!has_plain_zero(scalar->left)) return nullptr;
        if ((is_icon(scalar->right) && int96_is_zero(scalar->right->value())) ||
            (is_fcon(scalar->right) && scalar->right->floating()->value == 0))
            return take_left(scalar);
        return nullptr;
    case OP_UMINUS: return take_left(scalar);
    case OP_MOD:
    case OP_MINUS: return remainder_as_condition(scalar);
    case OP_SCONV:
    case OP_PCONV: return keeps_zero(scalar) ? take_left(scalar) : nullptr;
    case OP_FCON: return make_icon(type_package()->int_type(), scalar->floating()->value != 0);
    case OP_UAND: return is_sure_address(scalar) ? make_icon(type_package()->int_type(), 1) : nullptr;
    default: return nullptr;
    }
}

NODE* negation_of(NODE*& condition, TYPE* type) {
    while (NODE* simpler = as_condition(condition)) condition = simpler;
    if (is_op(condition, OP_EXCLAIM)) {
        if (!has_plain_zero(condition->left)) return nullptr;
        return truth_of(take_left(condition), type);
    }
    if (is_op(condition, OP_ANDAND) || is_op(condition, OP_OROR)) return nullptr;
    if (opcode_is_relation(condition->op)) {
        const bool has_complement =
            !is_floating(condition->left) || is_op(condition, OP_EQ) || is_op(condition, OP_NEQ);
        if (!has_complement) return nullptr;
        condition->op = opcode_fact(condition->op).complement;
        return as_type(resimplified(condition), type);
    }
    if (!has_plain_zero(condition)) return nullptr;
    return inner_binary(OP_EQ, type, condition, make_zero(condition->type));
}

NODE* truth_of(NODE* scalar, TYPE* type) {
    if (!has_plain_zero(scalar)) return nullptr;
    while (NODE* simpler = as_condition(scalar)) scalar = simpler;
    if (is_truth(scalar)) return as_type(scalar, type);
    if (type_is_bool(scalar->type)) return as_type(scalar, type);
    return inner_binary(OP_NEQ, type, scalar, make_zero(scalar->type));
}

} // namespace pelorus
