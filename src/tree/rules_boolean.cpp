// Rules for &, |, ^ and ~ that look at several levels: expressions of two operands that a shorter one
// computes, masks that other masks make needless, and factors that two terms share.
//
// Two operands have sixteen functions of their bits, so absorption, complements and De Morgan's laws need no
// rule each: what the expression gives for the four pairs of bits says which function it is, and the function
// how it is written best. Sums take part where no bit is carried. D. Knuth, The Art of Computer Programming,
// volume 4A, 7.1.1 and 7.1.3.
#include "tree/shapes.h"

namespace pelorus {

namespace {

bool is_bitwise(int32_t op) { return op == OP_ANDB || op == OP_ORB || op == OP_XORB; }
bool is_same(const NODE* a, const NODE* b) { return a->op == b->op && same_tree(a, b); }

// --- Functions of two operands ---

// Bit 2 * x + y is what an expression gives for these bits of its operands.
using TABLE = uint32_t;
enum : TABLE { TABLE_X = 0b1100, TABLE_Y = 0b1010, TABLE_ALL = 0b1111 };

// An expression being taken apart.
struct FUNCTION_OF_TWO {
    NODE* operands[2]{};
    int count = 0;     // of operands
    int operators = 0; // complements of constants not counted, which are constants
    int heavy = 0;     // among them those that a complement is better than: XORB, PLUS, MINUS
};

bool find_operand(FUNCTION_OF_TWO& found, NODE* leaf, TABLE& table) {
    int i = 0;
    while (i < found.count && !is_same(found.operands[i], leaf)) ++i;
    if (i == 2 || !is_integer(leaf) || !is_pure(leaf)) return false;
    found.operands[i] = leaf;
    if (i == found.count) ++found.count;
    table = i == 0 ? TABLE_X : TABLE_Y;
    return true;
}

TABLE combined(int32_t op, TABLE a, TABLE b) { return op == OP_ANDB ? a & b : op == OP_ORB ? a | b : a ^ b; }

// False when there are more than two operands. `levels` of binary operators are taken apart.
bool table_of(FUNCTION_OF_TWO& found, NODE* node, int levels, TABLE& table) {
    if (is_op(node, OP_NOTB)) {
        if (!table_of(found, node->left, levels, table)) return false;
        ++found.operators;
        table ^= TABLE_ALL;
        return true;
    }
    if (levels == 0 || !is_bitwise(node->op)) return find_operand(found, node, table);
    TABLE right = 0;
    if (!table_of(found, node->left, levels - 1, table) || !table_of(found, node->right, levels - 1, right))
        return false;
    ++found.operators;
    found.heavy += is_op(node, OP_XORB);
    table = combined(node->op, table, right);
    return true;
}

// How a function is written: `op` of the operands, complemented before or after.
struct SPELLING {
    int32_t op; // NOP for a constant or one operand
    bool not_x;
    bool not_y;
    bool not_all;
};

SPELLING spelling_of(TABLE table) {
    switch (table) {
    case 0b1000: return {OP_ANDB, false, false, false};
    case 0b0100: return {OP_ANDB, false, true, false};
    case 0b0010: return {OP_ANDB, true, false, false};
    case 0b0111: return {OP_ANDB, false, false, true};
    case 0b1110: return {OP_ORB, false, false, false};
    case 0b1101: return {OP_ORB, false, true, false};
    case 0b1011: return {OP_ORB, true, false, false};
    case 0b0001: return {OP_ORB, false, false, true};
    case 0b0110: return {OP_XORB, false, false, false};
    case 0b1001: return {OP_XORB, false, false, true};
    default: return {OP_NOP, false, false, table == (TABLE_X ^ TABLE_ALL) || table == (TABLE_Y ^ TABLE_ALL)};
    }
}

// ~(x ^ c) is x ^ ~c.
SPELLING with_constant(SPELLING spelling, const FUNCTION_OF_TWO& found) {
    if (spelling.op != OP_XORB || !spelling.not_all) return spelling;
    spelling.not_x = is_icon(found.operands[0]);
    spelling.not_y = !spelling.not_x && is_icon(found.operands[1]);
    spelling.not_all = !spelling.not_x && !spelling.not_y;
    return spelling;
}

int complement_cost(const NODE* operand) { return is_icon(operand) ? 0 : 1; }

bool is_shorter(const SPELLING& spelling, const FUNCTION_OF_TWO& found) {
    int operators = (spelling.op != OP_NOP) + spelling.not_all;
    if (spelling.not_x) operators += complement_cost(found.operands[0]);
    if (spelling.not_y) operators += complement_cost(found.operands[1]);
    if (operators != found.operators) return operators < found.operators;
    return (spelling.op == OP_XORB) < found.heavy;
}

NODE* complemented(NODE* node, TYPE* type, bool wanted) {
    if (!wanted) return node;
    return is_icon(node) ? make_icon(type, int96_not(node->value())) : inner_unary(OP_NOTB, type, node);
}

NODE* written(const FUNCTION_OF_TWO& found, TABLE table, const SPELLING& spelling, TYPE* type) {
    if (table == 0 || table == TABLE_ALL) return make_icon(type, table == 0 ? 0 : -1);
    NODE* x = found.operands[0];
    NODE* y = found.operands[1];
    if (spelling.op == OP_NOP) {
        NODE* only = table == TABLE_X || table == (TABLE_X ^ TABLE_ALL) ? x : y;
        return spelling.not_all ? make_unary(OP_NOTB, type, only) : as_type(only, type);
    }
    NODE* left = complemented(x, type, spelling.not_x);
    NODE* right = complemented(y, type, spelling.not_y);
    if (spelling.not_all) return make_unary(OP_NOTB, type, inner_binary(spelling.op, type, left, right));
    return make_binary(spelling.op, type, left, right);
}

// The function that the operator makes of those of its operands. False when bits would be carried.
bool joined(const NODE* node, TABLE a, TABLE b, TABLE& table) {
    if (is_op(node, OP_PLUS)) {
        table = a | b;
        return (a & b) == 0;
    }
    if (is_op(node, OP_MINUS)) {
        table = a & ~b;
        return (b & ~a) == 0;
    }
    table = is_op(node, OP_NOTB) ? a ^ TABLE_ALL : combined(node->op, a, b);
    return true;
}

struct DEPTHS {
    int left;
    int right;
};

NODE* shortened(NODE* node, const DEPTHS& depths) {
    FUNCTION_OF_TWO found;
    TABLE left = 0;
    TABLE right = 0;
    TABLE table = 0;
    if (!table_of(found, node->left, depths.left, left) ||
        (node->right && !table_of(found, node->right, depths.right, right)))
        return nullptr;
    ++found.operators;
    found.heavy += is_op(node, OP_XORB) || is_op(node, OP_PLUS) || is_op(node, OP_MINUS);
    if (is_op(node, OP_PLUS) && found.count == 2 && (left & right) == (TABLE_X & TABLE_Y) &&
        (left | right) == (TABLE_X | TABLE_Y) && left != TABLE_X && right != TABLE_X)
        return make_binary(OP_PLUS, node->type, found.operands[0], found.operands[1]);
    if (!joined(node, left, right, table)) return nullptr;
    const SPELLING spelling = with_constant(spelling_of(table), found);
    return is_shorter(spelling, found) ? written(found, table, spelling, node->type) : nullptr;
}

bool may_be_taken_apart(const NODE* node) { return node && (is_bitwise(node->op) || is_op(node, OP_NOTB)); }

} // namespace

NODE* few_operands(NODE* node) {
    if (!is_number(node) || (!may_be_taken_apart(node->left) && !may_be_taken_apart(node->right)))
        return nullptr;
    constexpr DEPTHS TRIED[] = {{1, 1}, {1, 0}, {0, 1}, {2, 2}};
    for (const DEPTHS& depths : TRIED)
        if (NODE* result = shortened(node, depths)) return result;
    return nullptr;
}

// --- Masks ---

namespace {

// The bits of its operands that those bits of the operator's result depend on; none when that is not known.
INT96 wanted_of_operands(const NODE* node, INT96 wanted) {
    if (is_bitwise(node->op)) return wanted;
    if (!is_op(node, OP_PLUS) && !is_op(node, OP_MINUS) && !is_op(node, OP_MULT)) return INT96{};
    for (uint32_t places = 1; places < 96; places *= 2) // carries go up only
        wanted = int96_or(wanted, int96_shift_right(wanted, places));
    return wanted;
}

// Takes a mask off the operand that has all wanted bits.
bool unmask(NODE*& operand, INT96 wanted) {
    if (!is_op(operand, OP_ANDB) || !is_icon(operand->right) || !is_number(operand)) return false;
    const INT96 mask = as_bits(operand, operand->right->value());
    if (int96_and(mask, wanted) != wanted) return false;
    TYPE* type = operand->type; // the node goes
    operand = as_type(take_left(operand), type);
    return true;
}

bool has_none_of(const NODE* node, INT96 wanted) {
    return int96_is_zero(int96_and(possible_bits(node), wanted));
}

} // namespace

NODE* and_of_masked(NODE* node) {
    NODE* inner = node->left;
    if (!is_icon(node->right) || !is_number(node) || !is_number(inner)) return nullptr;
    const INT96 mask = as_bits(node, node->right->value());
    const INT96 wanted = wanted_of_operands(inner, mask);
    if (int96_is_zero(wanted)) return nullptr;
    const bool keeps_other = is_op(inner, OP_ORB) || is_op(inner, OP_XORB);
    if (keeps_other && has_none_of(inner->right, wanted) && is_pure(inner->right))
        return make_binary(OP_ANDB, node->type, inner->left, node->right);
    if (keeps_other && has_none_of(inner->left, wanted) && is_pure(inner->left))
        return make_binary(OP_ANDB, node->type, inner->right, node->right);
    const bool left = unmask(inner->left, wanted);
    const bool right = unmask(inner->right, wanted);
    if (!left && !right) return nullptr;
    node->left = inner_binary(inner->op, inner->type, inner->left, inner->right);
    return changed(node);
}

// --- Factors ---

namespace {

// x inner y outer x inner z is x inner (y outer z).
bool distributes(int32_t inner, int32_t outer) {
    switch (inner) {
    case OP_ANDB: return outer == OP_ORB || outer == OP_XORB;
    case OP_ORB: return outer == OP_ANDB;
    case OP_MULT: return outer == OP_PLUS || outer == OP_MINUS;
    case OP_SLL: return true;
    case OP_SRL: return is_bitwise(outer);
    default: return false;
    }
}

// Shifts by the same constant amount.
NODE* shift_factored(NODE* node) {
    NODE* left = node->left;
    NODE* right = node->right;
    uint32_t places = 0;
    uint32_t other = 0;
    if (!is_shift_by(left, places) || !is_shift_by(right, other) || places != other ||
        is_unsigned(left) != is_unsigned(right))
        return nullptr;
    NODE* terms = inner_binary(node->op, left->type, left->left, right->left);
    return as_type(inner_binary(left->op, left->type, terms, left->right), node->type);
}

} // namespace

NODE* factor_out(NODE* node) {
    NODE* left = node->left;
    NODE* right = node->right;
    if (left->op != right->op || !distributes(left->op, node->op) || !is_number(node) || !is_number(left) ||
        !is_number(right))
        return nullptr;
    if (is_op(left, OP_SLL) || is_op(left, OP_SRL)) return shift_factored(node);
    if (!is_pure(left) || !is_pure(right)) return nullptr;
    for (NODE** factor : {&left->left, &left->right})
        for (NODE** twin : {&right->left, &right->right}) {
            if (!is_same(*factor, *twin)) continue;
            NODE* rest = factor == &left->left ? left->right : left->left;
            NODE* other = twin == &right->left ? right->right : right->left;
            NODE* terms = make_binary(node->op, node->type, rest, other);
            NODE* folded = is_icon(rest) && is_icon(other) ? fold_binary(terms) : resimplified(terms);
            return make_binary(left->op, node->type, *factor, folded);
        }
    return nullptr;
}

} // namespace pelorus
