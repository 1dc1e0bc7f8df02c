// Live variables, plain and faint, against answers worked out by hand and against a search along all paths.
#include "cfg/live_variables.h"

#include <random>
#include <set>

#include "cfg/bitvec.h"
#include "cfg/candidate_fact.h"
#include "cfg/flow_fixture.h"
#include "tree/access.h"

namespace pelorus {
namespace {

class LiveVariables : public FlowFixture {
protected:
    NODE* plus(NODE* left, int amount) {
        return new_binary(OP_PLUS, types.int_type(), left, new_icon(types.int_type(), int96_signed(amount)));
    }
    void assign_tree(SYMBOL* to, NODE* value) {
        add(new_binary(OP_ASG, types.int_type(), use(to), value), ++lines);
    }
    void add_to(SYMBOL* to, int amount) {
        add(new_binary(OP_PLUSASG, types.int_type(), use(to),
                       new_icon(types.int_type(), int96_signed(amount))),
            ++lines);
    }
    void build(FACT fact) {
        build_cfg();
        build_facts(facts_of(fact));
    }
    static std::string names(const bitvec* set) {
        std::string text;
        for (uint32_t i = bv_next(set, 0); i != BV_NONE; i = bv_next(set, i + 1))
            text += function_candidates.symbols[i]->name;
        return text;
    }
};

// n = 0; x = 0; do { x += 1; n = n + y; } while (y); last = x read nowhere
TEST_F(LiveVariables, WhatOnlyFeedsItselfIsFaint) {
    SYMBOL* x = variable("x");
    SYMBOL* n = variable("n");
    SYMBOL* y = variable("y");
    assign(y, 5);
    assign(n, 0);
    assign(x, 0);
    label(1);
    add_to(x, 1);
    assign_tree(n, new_binary(OP_PLUS, types.int_type(), use(n), use(y)));
    if_goes(y, 1, 2);
    label(2);
    build(FACT_live);
    EXPECT_EQ(names(block_number(2)->live_in), "xny");
    EXPECT_EQ(names(block_number(1)->defs), "xny");
    EXPECT_EQ(names(block_number(2)->all_defs), "xn");
    build_facts(facts_of(FACT_live_faint));
    EXPECT_FALSE(fact_is_valid(FACT_live)) << "the two share their vectors";
    EXPECT_EQ(names(block_number(2)->live_in), "y");
    EXPECT_EQ(find_stale_fact(), FACT_COUNT);
    bv_set(block_number(2)->live_in, 0);
    EXPECT_EQ(find_stale_fact(), FACT_live_faint);
}

TEST_F(LiveVariables, WhatNothingAssignedIsNotLive) {
    SYMBOL* never = variable("n");
    SYMBOL* c = variable("c");
    assign(c, 1);
    if_goes(c, 1, 2);
    label(1);
    assign_tree(c, use(never));
    label(2);
    assign_tree(c, plus(use(c), 1));
    build(FACT_live);
    EXPECT_EQ(names(block_number(1)->live_out), "c") << "no way to the read has touched n";
    build_facts(facts_of(FACT_live_faint));
    EXPECT_EQ(names(block_number(1)->live_out), "n") << "c only feeds itself";
}

TEST_F(LiveVariables, WithoutCandidatesThereAreNoSets) {
    SYMBOL* x = variable("x");
    assign(x, 1);
    add(new_unary(OP_UAND, types.make_pointer(types.int_type()), use(x)));
    build(FACT_live);
    EXPECT_EQ(function_candidates.count, 0);
    EXPECT_EQ(flow_graph.bb_list->live_in, nullptr);
}

// --- Against a search ---

// Some way from the beginning of the block reads the symbol before it assigns it.
bool is_read_on_a_way(const BB* block, const SYMBOL* symbol, std::set<const BB*>& seen) {
    if (!seen.insert(block).second) return false;
    for (const STMT* cell = block->stmts; cell; cell = cell->next) {
        bool reads = false;
        bool kills = false;
        for_each_access(static_cast<const NODE*>(cell->tree), [&](const TREE_ACCESS& access) {
            if (access.symbol != symbol) return;
            reads |= is_use(access) && !kills;
            kills |= is_kill(access);
        });
        if (reads || kills) return reads;
    }
    for (const BB_LIST* edge = block->succs; edge; edge = edge->next)
        if (is_read_on_a_way(edge->block, symbol, seen)) return true;
    return false;
}

TEST_F(LiveVariables, RandomGraphsAgreeWithASearch) {
    std::mt19937 dice(7);
    for (int run = 0; run < 300; ++run) {
        declare_function("_f", types.void_type());
        constexpr int VARIABLES = 40; // more than a word of a set
        std::vector<SYMBOL*> symbols;
        for (int i = 0; i < VARIABLES; ++i) symbols.push_back(variable(("v" + std::to_string(i)).c_str()));
        const auto some = [&] { return symbols[dice() % VARIABLES]; };
        for (SYMBOL* symbol : symbols) assign(symbol, 1); // so that nothing is pruned
        const unsigned blocks = 2 + static_cast<unsigned>(dice() % 12);
        const auto some_label = [&] { return 1 + static_cast<int>(dice() % blocks); };
        for (unsigned i = 1; i <= blocks; ++i) {
            label(static_cast<int>(i));
            for (uint32_t count = dice() % 4; count > 0; --count)
                dice() % 3 ? assign_tree(some(), plus(use(some()), 1)) : add_to(some(), 2);
            if (dice() % 2) if_goes(some(), some_label(), some_label());
        }
        build(FACT_live);
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
            for (const SYMBOL* symbol : symbols) {
                std::set<const BB*> seen;
                ASSERT_EQ(bv_test(block->live_in, static_cast<uint32_t>(symbol->candidate)),
                          is_read_on_a_way(block, symbol, seen))
                    << "run " << run << " block " << block->dfn << " " << symbol->name;
            }
        clear_flow_graph();
        clear_function();
        release_local_zone();
    }
}

} // namespace
} // namespace pelorus
