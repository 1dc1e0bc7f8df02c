// The inside of the tree simplifier: what its rules are made of. Passes use `simplify_tree` of
// tree/simplify.h.
//
// A rule looks at one node, whose operands are simplified already, and answers null when it does not fit,
// else the tree that takes the node's place. It may change and keep what hangs on the node. Every operand
// lands in the result once, or is a leaf that is copied, or is dropped through `without`. Operands keep their
// order unless both of the two exchanged are pure or one is a constant. What a rule puts below the top of its
// result it makes with the functions that simplify (`inner_unary`, ...).
#pragma once

#include "ir/node.h"
#include "tree/fold.h"
#include "tree/query.h"

namespace pelorus {

struct SIMPLIFY_RULE {
    int32_t op;          // of the node that it looks at
    const char* name;    // "op.rule"
    const char* picture; // what becomes what
    NODE* (*apply)(NODE* node);
};

// All rules, those of one opcode next to each other, in the order in which they are tried.
struct SIMPLIFY_RULES {
    const SIMPLIFY_RULE* first;
    int32_t count;
};
SIMPLIFY_RULES simplify_rules();

// When set, called for every rule that was applied, after the node was replaced. For
// tests.
extern void (*simplify_observer)(const SIMPLIFY_RULE& rule);

// --- Facts about a node ---

// Evaluating the tree changes nothing and touches nothing volatile. Kept in the node while the simplifier
// runs, so that asking costs nothing. Needs: a node of the tree being simplified, or one made by the
// functions below.
bool is_pure(const NODE* node);

inline bool is_op(const NODE* node, int32_t op) { return node->op == op; }
inline bool is_icon(const NODE* node) { return node->op == OP_ICON; }
inline bool is_fcon(const NODE* node) { return node->op == OP_FCON; }
bool is_icon_of(const NODE* node, int64_t value);
inline bool is_zero(const NODE* node) { return is_icon_of(node, 0); }
bool is_all_ones(const NODE* node); // an ICON with every bit of its type set
bool is_word(const NODE* node);     // an integer or a pointer
bool is_integer(const NODE* node);
// An integer that is no bool: it takes every value of its bits.
inline bool is_number(const NODE* node) { return is_integer(node) && !type_is_bool(node->type); }
bool is_floating(const NODE* node);
bool is_truth(const NODE* node);    // a value that is 0 or 1 by its operator
bool is_variable(const NODE* node); // a NAME that may be read twice: not volatile
inline uint32_t bits_of(const NODE* node) { return type_bits(node->type); }
inline bool is_unsigned(const NODE* node) { return !type_is_signed(node->type); }
// The amount of a shift is constant and as C wants it, less than the width.
bool is_shift_by(const NODE* shift, uint32_t& places);
// Small trees only: a rule must not cost more than a bounded number of steps.
bool same_tree(const NODE* a, const NODE* b);

// The values that an integer or pointer may have, as numbers of its own type.
struct RANGE {
    INT96 low;
    INT96 high;
};
RANGE range_of(const NODE* node);
// That many bits from the lowest on.
inline INT96 low_ones(uint32_t count) {
    return int96_subtract(int96_shift_left(int96_signed(1), count), int96_signed(1));
}
// The bits that may be set, as an unsigned number of the type's width.
INT96 possible_bits(const NODE* node);
// The number, as bits of the node's type without sign.
INT96 as_bits(const NODE* node, INT96 value);

// --- Making trees. Types are given; purity is worked out. ---

// The value brought into the range of the type.
NODE* make_icon(TYPE* type, INT96 value);
NODE* make_icon(TYPE* type, int64_t value);
// A relation's answer.
inline NODE* answer(const NODE* relation, bool holds) { return make_icon(relation->type, holds ? 1 : 0); }
NODE* make_unary(int32_t op, TYPE* type, NODE* left);
NODE* make_binary(int32_t op, TYPE* type, NODE* left, NODE* right);
NODE* make_copy(const NODE* leaf);
// The node simplified, whose operands are simplified already.
NODE* resimplified(NODE* node);
// What the makers make, simplified: for what does not stand at the top of a result. Operands are simplified
// already.
NODE* inner_unary(int32_t op, TYPE* type, NODE* left);
NODE* inner_binary(int32_t op, TYPE* type, NODE* left, NODE* right);
// The node after its operands were changed in place: works its purity out anew.
NODE* changed(NODE* node);
// `value` as the type: itself when nothing tells the two apart, else converted.
NODE* as_type(NODE* value, TYPE* type);
// What is 1 when the scalar is zero and 0 when it is not: the complementary relation, or a comparison with
// zero. Null where that would be EXCLAIM: relations of floating values, which have no complement, and ANDAND
// and OROR; `condition` may then have become simpler.
NODE* negation_of(NODE*& condition, TYPE* type);
// What is 1 when the scalar is not zero and 0 when it is. Null, with nothing changed, for pointers to
// members, whose null may not be zero.
NODE* truth_of(NODE* scalar, TYPE* type);
// For an operand of which only counts whether it is zero: a simpler one that is zero when it is, or null.
NODE* as_condition(NODE* scalar);
// A zero of a scalar type.
NODE* make_zero(TYPE* type);
// What is left of the tree when its value is not wanted, null for nothing. Unless `look_behind_commas`, what
// stands on the left of a COMMAOP is taken as it is, so that effects that are gathered over and over are not
// walked each time. Needs: purity of all nodes.
NODE* effects_of(NODE* tree, bool look_behind_commas);
// `value` behind the effects of `dropped`, if it has any.
NODE* without(NODE* dropped, NODE* value);
// The node's operand in its place; the node itself is given back.
NODE* take_left(NODE* node);
NODE* take_right(NODE* node);

// --- The rules, by file ---

#define SIMPLIFY_RULE(op, rule, picture) NODE* rule(NODE* node);
#include "tree/rules.def"
#undef SIMPLIFY_RULE

} // namespace pelorus
