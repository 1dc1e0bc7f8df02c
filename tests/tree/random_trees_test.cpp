// Random trees mean the same after they were simplified, or reduced to their effects; and what the walks over
// trees cost.
//
// PELORUS_RANDOM_TREES=n in the environment makes n trees in place of the usual number; PELORUS_RANDOM_SEED=n
// starts elsewhere.
#include <gtest/gtest.h>

#include <cstdlib>

#include "ir/tree_text.h"
#include "ir/validate_tree.h"
#include "memory/zone.h"
#include "random_trees.h"
#include "support/fresh_state.h"
#include "support/settings.h"
#include "support/test_support.h"
#include "tree/query.h"
#include "tree/simplifier.h"
#include "tree/simplify.h"

namespace pelorus {
namespace {

int64_t applications; // of rules

int64_t number_from_environment(const char* name, int64_t otherwise) {
    const char* text = getenv(name);
    return text ? atoll(text) : otherwise;
}

class RandomTreesTest : public testing::Test {
protected:
#ifdef NDEBUG
    static constexpr int64_t TREES = 100000;
#else
    static constexpr int64_t TREES = 15000;
#endif

    RandomTreesTest() {
        fresh_state(types);
        reset_settings();
        world = make_world(types);
        simplify_observer = [](const SIMPLIFY_RULE&) { ++applications; };
    }
    ~RandomTreesTest() override {
        simplify_observer = nullptr;
        release_local_zone();
    }

    // Calls `check` with tree after tree until one fails.
    template <class CHECK>
    void for_each_tree(int64_t trees, CHECK check) {
        const int64_t count = number_from_environment("PELORUS_RANDOM_TREES", trees);
        const auto start = static_cast<uint64_t>(number_from_environment("PELORUS_RANDOM_SEED", 1));
        for (uint64_t i = start; i < start + static_cast<uint64_t>(count) && !HasFailure(); ++i) {
            SCOPED_TRACE("PELORUS_RANDOM_TREES=1 PELORUS_RANDOM_SEED=" + std::to_string(i));
            TREE_MAKER maker(world, i);
            check(random_statement(maker, 2 + static_cast<int>(maker.below(14))), i);
            if (i % 256 == 0) release_local_zone();
        }
    }

    // Evaluates both trees in some states; returns in how many of them the first one is defined.
    int expect_same_meaning(const NODE* before, const NODE* after, uint64_t seed, bool value_counts) {
        int counted = 0;
        for (uint64_t run = 0; run < 3; ++run) {
            MACHINE first = machine_of_world(world, seed * 16 + run);
            MACHINE second = first;
            const EVALUATED expected = evaluate(first, before);
            if (first.undefined) continue;
            ++counted;
            const EVALUATED found = after ? evaluate(second, after) : EVALUATED();
            EXPECT_EQ(value_counts ? difference(first, expected, second, found)
                                   : difference(first, {}, second, {}),
                      "")
                << tree_text(before) << "\nbecame\n"
                << (after ? tree_text(after) : "nothing");
        }
        return counted;
    }

    TYPE_PKG types;
    TREE_WORLD world;
};

TEST_F(RandomTreesTest, SimplifiedTreesMeanTheSame) {
    int64_t counted = 0;
    int64_t applied = 0;
    for_each_tree(TREES, [&](NODE* tree, uint64_t seed) {
        const NODE* before = copy_tree(tree);
        applications = 0;
        const NODE* after = simplify_tree(tree);
        applied += applications;
        EXPECT_TRUE(is_sound(after)) << tree_text(before) << "\nbecame\n" << tree_text(after);
        counted += expect_same_meaning(before, after, seed, true);
        applications = 0;
        const NODE* again = simplify_tree(copy_tree(after));
        EXPECT_TRUE(applications == 0 && equal_trees(again, after)) << tree_text(before) << "\nbecame\n"
                                                                    << tree_text(after) << "\nbecame\n"
                                                                    << tree_text(again);
    });
    printf("%ld runs compared, %ld rules applied\n", static_cast<long>(counted), static_cast<long>(applied));
}

TEST_F(RandomTreesTest, ReducedTreesHaveTheSameEffects) {
    for_each_tree(TREES / 4, [&](NODE* tree, uint64_t seed) {
        if (opcode_fact(tree->op).kind == OPCODE_CLASS::CONTROL) return; // its effect is where it goes
        const NODE* before = copy_tree(tree);
        const bool has_effects = tree_has_effects(tree);
        const NODE* after = reduce_to_effects(tree);
        EXPECT_EQ(after != nullptr, has_effects) << tree_text(before);
        EXPECT_TRUE(!after || is_sound(after)) << tree_text(before) << "\nbecame\n" << tree_text(after);
        expect_same_meaning(before, after, seed, false);
    });
}

NODE* random_node(TREE_MAKER& maker, NODE* tree) {
    while (tree->left && maker.chance(80)) tree = tree->right && maker.chance(50) ? tree->right : tree->left;
    return tree;
}

// Changes one thing in a node; false when there is nothing to change.
bool mutate(NODE* node) {
    switch (node->op) {
    case OP_ICON: node->set_value(int96_add(node->value(), int96_signed(1))); return true;
    case OP_NAME:
        node->type = type_package()->make_qualified(node->type, Q_VOLATILE);
        return !type_is_volatile(node->symbol()->type);
    case OP_PLUS: node->op = OP_MINUS; return true;
    case OP_EQ: node->op = OP_NEQ; return true;
    case OP_LABEL: node->value_lo++; return true;
    default: return false;
    }
}

TEST_F(RandomTreesTest, EqualTreesSeesEveryDifference) {
    int mutated = 0;
    for_each_tree(TREES / 10, [&](NODE* tree, uint64_t seed) {
        TREE_MAKER maker(world, seed);
        NODE* copy = copy_tree(tree);
        EXPECT_TRUE(equal_trees(tree, copy));
        EXPECT_EQ(equal_trees(tree, copy, 1), !tree->left);
        if (!mutate(random_node(maker, copy))) return;
        ++mutated;
        EXPECT_FALSE(equal_trees(tree, copy)) << tree_text(tree) << "\n" << tree_text(copy);
    });
    EXPECT_TRUE(mutated > 100 || getenv("PELORUS_RANDOM_TREES"));
}

// --- Cost ---

class DeepTreesTest : public RandomTreesTest {
protected:
    // `depth` operators, one of them for each of `leaves` in turn, on one spine.
    NODE* spine(int depth, bool to_the_right, const std::vector<std::pair<int32_t, NODE*>>& leaves) {
        NODE* tree = new_name(world.variables[16], types.int_type());
        for (int i = 0; i < depth; ++i) {
            const auto& [op, leaf] = leaves[static_cast<size_t>(i) % leaves.size()];
            NODE* copy = copy_tree(leaf);
            tree = to_the_right ? new_binary(op, types.int_type(), copy, tree)
                                : new_binary(op, types.int_type(), tree, copy);
        }
        return tree;
    }

    int64_t applications_for(int depth, bool to_the_right,
                             const std::vector<std::pair<int32_t, NODE*>>& leaves) {
        applications = 0;
        simplify_tree(spine(depth, to_the_right, leaves));
        return applications;
    }

    NODE* name(size_t index) { return new_name(world.variables[index], types.int_type()); }
    NODE* number(int32_t value) { return new_icon(types.int_type(), int96_signed(value)); }
    NODE* call() {
        SYMBOL* function = world.functions[4];
        return new_unary(
            OP_UCALL, types.int_type(),
            new_unary(OP_UAND, types.make_pointer(function->type), new_name(function, function->type)));
    }
};

TEST_F(DeepTreesTest, WorkGrowsWithTheTree) {
    const std::vector<std::vector<std::pair<int32_t, NODE*>>> shapes = {
        {{OP_PLUS, number(3)}, {OP_PLUS, name(17)}},
        {{OP_PLUS, number(3)}, {OP_MULT, number(5)}, {OP_XORB, name(17)}},
        {{OP_ORB, call()}, {OP_MULT, number(0)}},
        {{OP_ANDAND, name(17)}, {OP_OROR, call()}, {OP_EQ, number(0)}},
        {{OP_COMMAOP, name(17)}, {OP_MINUS, number(1)}, {OP_ANDB, number(255)}},
        {{OP_DIV, number(8)}, {OP_MOD, number(16)}, {OP_SLL, number(2)}, {OP_SRL, number(2)}},
    };
    for (size_t i = 0; i < shapes.size(); ++i)
        for (bool to_the_right : {false, true}) {
            SCOPED_TRACE(std::to_string(i) + (to_the_right ? " right" : " left"));
            const int64_t small = applications_for(1000, to_the_right, shapes[i]);
            const int64_t large = applications_for(10000, to_the_right, shapes[i]);
            EXPECT_LE(large, 10 * small + 100);
            EXPECT_LE(large, 10 * 10000);
        }
}

TEST_F(DeepTreesTest, DeepTreesTakeNoStack) {
    constexpr int LEFT = 100000;
    constexpr int RIGHT = 10000;
    for (NODE* operand : {name(17), call()}) {
        const bool has_effects = operand->op == OP_UCALL;
        for (bool to_the_right : {false, true}) {
            NODE* tree =
                spine(to_the_right ? RIGHT : LEFT, to_the_right, {{OP_XORB, operand}, {OP_PLUS, number(1)}});
            EXPECT_TRUE(equal_trees(tree, copy_tree(tree)));
            tree = simplify_tree(tree);
            EXPECT_EQ(tree_has_effects(tree), has_effects);
            EXPECT_EQ(reduce_to_effects(tree) != nullptr, has_effects);
        }
    }
    // An effect at the very bottom, which each level could look for anew.
    NODE* bottom = new_binary(OP_PLUS, types.int_type(), call(), name(17));
    for (int i = 0; i < LEFT; ++i) bottom = new_binary(OP_PLUS, types.int_type(), bottom, name(17));
    NODE* rest = reduce_to_effects(bottom);
    ASSERT_NE(rest, nullptr);
    EXPECT_EQ(rest->op, OP_UCALL);
}

} // namespace
} // namespace pelorus
