// Tests of bit-fields; see bitfield_parts.h.
//
//     s.a == 3 && s.b == 1           (word & 0x1f) == 0xb         one load, one mask, one comparison
//     s.a || s.b                     (word & 0x1f) != 0
//     p->a == q->a && p->b == q->b   ((word ^ other) & 0x1f) == 0
//
//   1. The operands of a chain of && or || are looked at in their order. Those that compare a field for
//      equality, or for inequality under ||, are tests of bits of a word.
//   2. A test is done together with the first one of the same word, if what stands in between has no effects.
//      Reading the field earlier is safe, since the other one is read from the same structure.
//   3. What has been joined becomes 1 (under ||, 0), which the simplifier takes out of the chain.
//
// A test of one field by itself stays: `llc` makes the same code of it.
#include <algorithm>
#include <ranges>
#include <vector>

#include "ir/tree_text.h"
#include "ir/walk.h"
#include "scalar/bitfield_parts.h"
#include "scalar/bitfield_words.h"
#include "support/decision.h"
#include "tree/query.h"

namespace pelorus {

namespace {

constexpr size_t TESTS_TOGETHER = 16; // operands behind a test that are looked at: keeps long chains linear

struct FIELD_TEST {
    FIELD_PLACE field;
    FIELD_PLACE other;  // the field that it is compared with; without an lvalue: a constant is
    uint64_t bits = 0;  // the constant as bits of the field
    bool equal = false; // it holds when they are equal, else when they are not
};

// --- 1 ---

// The bits that the field has when the tree, which it is the value of, is the constant; false when that is
// never so.
bool bits_of_constant(const FIELD_PLACE& field, const NODE* value, const NODE* constant, uint64_t& bits) {
    bits = static_cast<uint64_t>(int96_to_int64(constant->value())) & ones(field.width);
    INT96 number = int96_truncate(int96_from_uint64(bits), field.width, !field.is_signed);
    number = int96_truncate(number, type_bits(value->type), !type_is_signed(value->type));
    return number == constant->value();
}

bool compares_with_constant(const NODE* relation, FIELD_TEST& test) {
    test.field = field_behind(relation->left);
    return test.field.lvalue && relation->right->op == OP_ICON &&
           bits_of_constant(test.field, relation->left, relation->right, test.bits);
}

bool compares_fields(const NODE* relation, FIELD_TEST& test) {
    test.field = field_behind(relation->left);
    test.other = field_behind(relation->right);
    const FIELD_PLACE& a = test.field;
    const FIELD_PLACE& b = test.other;
    return a.lvalue && b.lvalue && a.width == b.width && a.is_signed == b.is_signed &&
           type_bits(relation->left->type) == type_bits(relation->right->type) &&
           (b.first - a.first) % 8 == 0;
}

FIELD_TEST test_of(NODE* condition) {
    FIELD_TEST test;
    if (condition->op == OP_EQ || condition->op == OP_NEQ) {
        test.equal = condition->op == OP_EQ;
        const bool fits = condition->right->op == OP_ICON ? compares_with_constant(condition, test)
                                                          : compares_fields(condition, test);
        return fits ? test : FIELD_TEST{};
    }
    test.equal = condition->op == OP_EXCLAIM;
    test.field = field_behind(test.equal ? condition->left : condition);
    return test;
}

// Of one bit either answer says what the other would; two that differ are 1 together.
FIELD_TEST test_of(NODE* condition, bool equal) {
    FIELD_TEST test = test_of(condition);
    if (!test.field.lvalue || test.equal == equal) return test;
    if (test.field.width > 1) return {};
    test.bits ^= 1;
    test.equal = equal;
    return test;
}

// --- 2 ---

// Tests of one word.
struct JOINT_TEST {
    std::vector<size_t> operands; // of the chain
    FIELD_TEST first;
    BIT_SPAN bits;
    WORD word;
    uint64_t mask = 0;
    uint64_t value = 0;
};

WORD counterpart(const FIELD_TEST& test, const WORD& word) {
    return {word.offset + (test.other.first - test.field.first) / 8, word.size};
}

bool has_word(const FIELD_TEST& test, const WORD& word) {
    return is_word_of(test.field, word) &&
           (!test.other.lvalue || is_word_of(test.other, counterpart(test, word)));
}

bool same_kind(const FIELD_TEST& a, const FIELD_TEST& b) {
    if (!same_structure(a.field, b.field) || !a.other.lvalue != !b.other.lvalue) return false;
    return !a.other.lvalue || (same_structure(a.other, b.other) &&
                               a.other.first - a.field.first == b.other.first - b.field.first);
}

bool join(JOINT_TEST& joint, size_t operand, const FIELD_TEST& test) {
    if (!same_kind(joint.first, test) || !lies_in_unit(joint.first.field)) return false;
    const BIT_SPAN bits = joined(joint.bits, span_of(test.field));
    const bool one_unit = lies_in_unit(test.field) && unit_of(joint.first.field) == unit_of(test.field);
    const WORD word = one_unit ? word_around(bits) : WORD{};
    if (!one_unit || !has_word(test, word))
        return refuse(SITE_merge_field_tests, "no word of the structure holds both fields", "{} and {}",
                      joint.first.field.lvalue, test.field.lvalue);
    joint.bits = bits;
    joint.word = word;
    joint.operands.push_back(operand);
    return true;
}

// A field may be tested twice.
bool add_bits(JOINT_TEST& joint, const FIELD_TEST& test) {
    const uint64_t mask = mask_in(joint.word, test.field);
    const uint64_t value = test.bits << shift_in(joint.word, test.field);
    if ((joint.value & mask) != (value & joint.mask)) return false;
    joint.mask |= mask;
    joint.value |= value;
    return true;
}

struct CHAIN {
    int32_t op; // ANDAND or OROR
    std::vector<NODE*> operands;
    std::vector<FIELD_TEST> tests;
    std::vector<bool> is_pure;
};

JOINT_TEST joint_test(const CHAIN& chain, size_t first) {
    JOINT_TEST joint{.operands = {first}, .first = chain.tests[first], .bits = {}, .word = {}};
    joint.bits = span_of(joint.first.field);
    const size_t end = std::min(chain.operands.size(), first + TESTS_TOGETHER);
    for (size_t i = first + 1; i < end && chain.is_pure[i]; ++i)
        if (chain.tests[i].field.lvalue) join(joint, i, chain.tests[i]);
    return joint;
}

// --- 3 ---

NODE* tree_of(const JOINT_TEST& joint, bool equal) {
    const FIELD_TEST& test = joint.first;
    NODE* value = word_value(test.field, joint.word);
    if (test.other.lvalue)
        value =
            new_binary(OP_XORB, word_type(), value, word_value(test.other, counterpart(test, joint.word)));
    value = masked(value, joint.mask);
    return new_binary(equal ? OP_EQ : OP_NEQ, type_package()->int_type(), value, word_constant(joint.value));
}

bool merge(CHAIN& chain, size_t first) {
    JOINT_TEST joint = joint_test(chain, first);
    if (joint.operands.size() < 2) return false;
    for (size_t operand : joint.operands)
        if (!add_bits(joint, chain.tests[operand]))
            return refuse(SITE_merge_field_tests, "a field is compared with two values");
    const bool equal = chain.op == OP_ANDAND;
    NODE* tree = tree_of(joint, equal);
    if (!change(SITE_merge_field_tests, "{} tests, of {} and others: {}",
                static_cast<uint32_t>(joint.operands.size()), joint.first.field.lvalue, tree))
        return false;
    for (size_t operand : joint.operands) {
        become_tree(chain.operands[operand],
                    operand == first ? tree : new_icon(type_package()->int_type(), int96_signed(equal)));
        chain.tests[operand] = {};
    }
    return true;
}

// The operands of a chain in the order of evaluation.
CHAIN chain_of(NODE* top) {
    CHAIN chain{.op = top->op, .operands = {}, .tests = {}, .is_pure = {}};
    std::vector<NODE*> waiting{top};
    while (!waiting.empty()) {
        NODE* node = waiting.back();
        waiting.pop_back();
        if (node->op != chain.op) {
            chain.operands.push_back(node);
            continue;
        }
        waiting.push_back(node->right);
        waiting.push_back(node->left);
    }
    for (NODE* operand : chain.operands) {
        chain.tests.push_back(test_of(operand, chain.op == OP_ANDAND));
        chain.is_pure.push_back(!tree_has_effects(operand));
    }
    return chain;
}

bool merge_chain(NODE* top) {
    CHAIN chain = chain_of(top);
    bool any = false;
    for (size_t i = 0; i + 1 < chain.operands.size(); ++i)
        if (chain.tests[i].field.lvalue && chain.is_pure[i]) any |= merge(chain, i);
    return any;
}

bool is_chain(const NODE* node) { return node->op == OP_ANDAND || node->op == OP_OROR; }

} // namespace

bool merge_field_tests(NODE* tree) {
    std::vector<NODE*> tops;
    for_each_node_down(tree, int32_t{OP_NOP}, [&](NODE* node, int32_t above) {
        if (is_chain(node) && node->op != above) tops.push_back(node);
        return node->op;
    });
    bool any = false;
    for (NODE* top : std::views::reverse(tops)) any |= merge_chain(top); // inner ones first
    return any;
}

} // namespace pelorus
