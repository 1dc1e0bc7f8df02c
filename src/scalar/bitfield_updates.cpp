// Bit-fields that are computed from their own value; see bitfield_parts.h.
//
//     s.f ^= 1, s.f = !s.f     container ^= 8
//     s.f |= x                 container |= (x & 7) << 3
//     s.f += x                 container = container & ~0x38 | (container + (x << 3)) & 0x38
//
// The field is neither extracted nor inserted then. It stays in its own container, so that no other byte is
// touched. Where the operand is constant, `llc` finds the form for | and & by itself.
#include "ir/call.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "scalar/bitfield_parts.h"
#include "scalar/bitfield_words.h"
#include "support/decision.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

// `field = field op operand`, where only the low bits of the operand count.
struct UPDATE {
    FIELD_PLACE field;
    int32_t op = OP_NOP;           // PLUS, MINUS, ORB, ANDB, XORB
    const NODE* operand = nullptr; // null: all ones
};

// What is converted to become the value of the field.
NODE* before_conversion(NODE* value, const FIELD_PLACE& field) {
    if (value->op != OP_SCONV) return value;
    NODE* inner = value->left;
    if (field.is_bool) return inner->op == OP_EQ || inner->op == OP_EXCLAIM ? inner : value;
    const bool keeps_bits = type_is_integer(inner->type) && !type_is_bool(value->type) &&
                            type_bits(value->type) >= field.width && type_bits(inner->type) >= field.width;
    return keeps_bits ? inner : value;
}

bool is_operator(int32_t op) {
    return op == OP_PLUS || op == OP_MINUS || op == OP_ORB || op == OP_ANDB || op == OP_XORB;
}

// The operand is of an integer type that holds all bits of the field, and the operator works in that type.
bool takes_operand(const UPDATE& update, const NODE* operand) {
    return type_is_integer(operand->type) && !type_is_bool(operand->type) &&
           type_bits(operand->type) >= update.field.width;
}

bool is_one(const NODE* node) { return node->op == OP_ICON && node->value() == int96_signed(1); }

UPDATE update_by_operator(NODE* tree) {
    UPDATE update{.field = field_at(tree->left), .op = plain_operator(tree->op), .operand = tree->right};
    if (!update.field.lvalue || !is_operator(update.op) || !takes_operand(update, tree->right)) return {};
    if (update.op == OP_XORB && update.field.width == 1 && is_one(tree->right)) update.operand = nullptr;
    return update;
}

// s.f = !s.f, of one bit; s.f = ~s.f
bool inverts(const FIELD_PLACE& field, NODE* value) {
    if (value->op == OP_NOTB) return !field.is_bool && same_field(field, field_behind(value->left));
    if (value->op == OP_EXCLAIM) return field.width == 1 && same_field(field, field_behind(value->left));
    return value->op == OP_EQ && field.width == 1 && value->right->op == OP_ICON &&
           int96_is_zero(value->right->value()) && same_field(field, field_behind(value->left));
}

UPDATE update_by_assignment(NODE* tree) {
    UPDATE update{.field = field_at(tree->left)};
    if (!update.field.lvalue) return {};
    NODE* value = before_conversion(tree->right, update.field);
    if (inverts(update.field, value)) {
        update.op = OP_XORB;
        return update;
    }
    if (!is_operator(value->op) || !same_field(update.field, field_behind(value->left))) return {};
    update.op = value->op;
    update.operand = value->right;
    return takes_operand(update, value->right) ? update : UPDATE{};
}

UPDATE update_of(NODE* tree) {
    if (tree->op == OP_ASG) return update_by_assignment(tree);
    return opcode_assigns(tree->op) && plain_operator(tree->op) != OP_NOP ? update_by_operator(tree)
                                                                          : UPDATE{};
}

const char* why_not(const UPDATE& update, const WORD& word) {
    if (!is_word_of(update.field, word)) return "its container is not aligned";
    if (update.operand && tree_has_effects(update.operand)) return "the operand has effects";
    if (any_node(update.field.root, is_call)) return "the address would be computed twice";
    const bool is_constant = update.operand && update.operand->op == OP_ICON;
    if (is_constant && (update.op == OP_ORB || update.op == OP_ANDB)) return "as it is it costs no more";
    if (update.field.is_bool && (update.op != OP_XORB || update.operand)) return "it is a truth value";
    return nullptr;
}

NODE* operand_of(const UPDATE& update) {
    if (!update.operand) return word_constant(ones(32));
    return converted_value(copy_tree(update.operand), word_type());
}

NODE* by_sum(const UPDATE& update, const WORD& word, NODE* operand) {
    const uint64_t mask = mask_in(word, update.field);
    NODE* sum = new_binary(update.op, word_type(), word_value(update.field, word), operand);
    const uint64_t kept = ones_of(word) & ~mask;
    if (shift_in(word, update.field) + update.field.width == 8 * word.size)
        return word_store(update.field, word, sum);
    NODE* others = masked(word_value(update.field, word), kept);
    return word_store(update.field, word, new_binary(OP_ORB, word_type(), others, masked(sum, mask)));
}

// Masking the operand before it is shifted leaves the machine a short mask.
NODE* tree_of(const UPDATE& update, const WORD& word) {
    const uint32_t shift = shift_in(word, update.field);
    NODE* operand = operand_of(update);
    if (update.op == OP_PLUS || update.op == OP_MINUS)
        return by_sum(update, word, shifted_left(operand, shift));
    operand = shifted_left(masked(operand, ones(update.field.width)), shift);
    if (update.op == OP_ANDB)
        operand = new_binary(OP_ORB, word_type(), operand,
                             word_constant(ones_of(word) & ~mask_in(word, update.field)));
    return word_store(update.field, word,
                      new_binary(update.op, word_type(), word_value(update.field, word), operand));
}

} // namespace

NODE* updated_field(NODE* tree) {
    const UPDATE update = update_of(tree);
    if (update.op == OP_NOP) return nullptr;
    const WORD word{update.field.container, update.field.container_size};
    if (const char* why = why_not(update, word)) {
        refuse(SITE_update_field, why, "{}", tree);
        return nullptr;
    }
    NODE* updated = tree_of(update, word);
    if (!change(SITE_update_field, "{}: {}", tree, updated)) return nullptr;
    return simplify_tree(updated);
}

} // namespace pelorus
