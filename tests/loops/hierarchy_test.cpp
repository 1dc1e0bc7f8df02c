// The loop hierarchy against the definition of natural loops, on random graphs.
#include "loops/hierarchy.h"

#include <algorithm>
#include <random>
#include <set>

#include "cfg/dominators.h"
#include "cfg/flow_fixture.h"
#include "cfg/loop.h"
#include "cfg/simplify.h"
#include "support/checking.h"

namespace pelorus {
namespace {

#ifdef PELORUS_SANITIZED
constexpr int RANDOM_GRAPHS = 1'500;
#else
constexpr int RANDOM_GRAPHS = 15'000;
#endif

using BLOCKS = std::set<const BB*>;

class LoopHierarchy : public FlowFixture {
protected:
    // Each block: its label, an assignment, and the ways on. Labels are from 1; 0 leaves the function.
    void make_graph(const std::vector<std::vector<int>>& ways) {
        clear_flow_graph();
        clear_function();
        release_local_zone();
        declare_function("_f", types.void_type());
        SYMBOL* x = variable("x");
        for (size_t i = 0; i < ways.size(); ++i) {
            label(static_cast<int>(i) + 1);
            // Blocks that only jump are landings that stand there already.
            if (ways[i].size() != 1 || i % 2) assign(x, static_cast<int>(i));
            end_block(x, ways[i]);
        }
        build_cfg();
    }
    void end_block(SYMBOL* x, const std::vector<int>& ways) {
        if (ways.size() == 1 && ways[0]) return branch(ways[0]);
        if (ways.size() == 2) return if_goes(x, ways[0], ways[1]);
        if (ways.size() < 2) return add(new_ureturn());
        NODE* cases = default_of(ways[0]);
        for (size_t i = 1; i < ways.size(); ++i) cases = list(cases, case_of(static_cast<int>(i), ways[i]));
        switch_on(x, cases);
    }
    void build(uint32_t flags = 0) { build_loop_hierarchy(flags, true, true); }
    static std::vector<LOOPREC*> loops() {
        std::vector<LOOPREC*> all;
        if (root_loop())
            for_each_loop(root_loop(), [&](LOOPREC* loop) {
                if (loop->head) all.push_back(loop);
            });
        return all;
    }
    // "1:2-4(preheader 1, exits 5)": number, head, tail.
    static std::string shown() {
        std::string text;
        for (const LOOPREC* loop : loops()) {
            text += std::to_string(loop->number) + "@" + std::to_string(loop->level) + ":" +
                    std::to_string(loop->head->dfn) + "-" + std::to_string(loop->tail->dfn) + " after " +
                    std::to_string(loop->preheader->dfn) + " before";
            for (const BLOCK_CELL* cell = loop->exits; cell; cell = cell->next)
                text += " " + std::to_string(cell->block->dfn);
            text += loop->flags & LOOP_EARLY_EXIT ? " early; " : "; ";
        }
        return text;
    }
};

// --- The definition ---

BLOCKS natural_loop(const BB* head, const BB* tail) {
    BLOCKS members{head};
    std::vector<const BB*> waiting{tail};
    while (!waiting.empty()) {
        const BB* block = waiting.back();
        waiting.pop_back();
        if (!members.insert(block).second) continue;
        for (const BB_LIST* cell = block->preds; cell; cell = cell->next) waiting.push_back(cell->block);
    }
    return members;
}

BLOCKS members_of(const LOOPREC* loop) {
    BLOCKS members;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        if (loop_contains(loop, block)) members.insert(block);
    return members;
}

bool every_edge_back_closes_a_loop() {
    find_dominator_sets();
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
            if (cell->block->dfn <= block->dfn && !dominates(cell->block, block)) return false;
    return true;
}

size_t edges_back() {
    size_t count = 0;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
            count += cell->block->dfn <= block->dfn;
    return count;
}

void expect_form(const LOOPREC* loop) {
    EXPECT_EQ(members_of(loop), natural_loop(loop->head, loop->tail));
    EXPECT_EQ(loop->level, loop->parent->level + 1);
    EXPECT_EQ(loop->preheader->loop, loop->parent);
    EXPECT_TRUE(has_one(loop->preheader->succs) && only_of(loop->preheader->succs) == loop->head);
    EXPECT_TRUE(has_two(loop->head->preds)) << "entered from the preheader and the tail alone";
    for (const BLOCK_CELL* cell = loop->exits; cell; cell = cell->next)
        for (const BB_LIST* before = cell->block->preds; before; before = before->next)
            EXPECT_TRUE(loop_contains(loop, before->block)) << "an exit is the loop's alone";
}

// All blocks outside that an edge from inside leads to.
BLOCKS left_to(const LOOPREC* loop) {
    BLOCKS outside;
    for (const BB* block : members_of(loop))
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
            if (!loop_contains(loop, cell->block)) outside.insert(cell->block);
    return outside;
}

BLOCKS exits_of(const LOOPREC* loop) {
    BLOCKS exits;
    for (const BLOCK_CELL* cell = loop->exits; cell; cell = cell->next) exits.insert(cell->block);
    return exits;
}

TEST_F(LoopHierarchy, IsThatOfTheDefinitionOnRandomGraphs) {
    std::mt19937 random(11);
    int with_loops = 0;
    int irreducible = 0;
    for (int i = 0; i < RANDOM_GRAPHS; ++i) {
        const int count = 2 + static_cast<int>(random() % 14);
        std::vector<std::vector<int>> ways(static_cast<size_t>(count));
        for (int block = 0; block < count; ++block) {
            const int wanted = static_cast<int>(random() % 8);
            const int number = wanted < 3 ? 1 : wanted < 7 ? 2 : 4;
            for (int way = 0; way < number; ++way) {
                // Short ways, back and forth, make nests.
                const int near = block + 1 + static_cast<int>(random() % 7) - 3;
                const bool far = random() % 6 == 0;
                const int target = far ? static_cast<int>(random()) % count : near;
                ways[static_cast<size_t>(block)].push_back(2 + (target % count + count) % count);
            }
        }
        ways.insert(ways.begin(), {2}); // the entry has no predecessors
        ways.push_back({0});
        make_graph(ways);
        build();
        expect_sound();
        EXPECT_EQ(root_loop() != nullptr, every_edge_back_closes_a_loop());
        if (!root_loop()) {
            ++irreducible;
            continue;
        }
        EXPECT_EQ(loops().size(), edges_back());
        with_loops += !loops().empty();
        for (const LOOPREC* loop : loops()) {
            expect_form(loop);
            EXPECT_EQ(exits_of(loop), left_to(loop));
        }
        EXPECT_EQ(find_stale_fact(), FACT_COUNT);
        if (HasFailure()) FAIL() << "graph " << i << ": " << shape();
    }
    EXPECT_GT(with_loops, RANDOM_GRAPHS / 4);
    EXPECT_GT(irreducible, RANDOM_GRAPHS / 50);
}

// --- Each normalisation and each kind of exit ---

TEST_F(LoopHierarchy, ALoopThatHasItsFormGetsNoBlock) {
    make_graph({{2}, {3, 4}, {2}, {0}}); // while
    const int32_t blocks = flow_graph.bb_count;
    build();
    EXPECT_EQ(flow_graph.bb_count, blocks);
    EXPECT_EQ(shown(), "1@1:3-6 after 2 before 4 early; ");
}

TEST_F(LoopHierarchy, ABlockThatIsItsOwnLoop) {
    make_graph({{2}, {2, 3}, {0}});
    build();
    EXPECT_EQ(shown(), "1@1:3-3 after 2 before 4; ");
}

TEST_F(LoopHierarchy, TwoEdgesBackAreTwoLoops) {
    make_graph({{2}, {3, 5}, {2, 4}, {2}, {0}});
    build();
    const auto all = loops();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[1]->parent, all[0]);
    EXPECT_EQ(all[0]->head->stmts, all[0]->head->last_stmt) << "the outer header only jumps";
}

TEST_F(LoopHierarchy, ThreeEdgesBackAreOneLoop) {
    make_graph({{2}, {3, 6}, {2, 4}, {2, 5}, {2}, {0}});
    build();
    const auto all = loops();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0]->tail->stmts, all[0]->tail->last_stmt) << "the tail only jumps";
}

TEST_F(LoopHierarchy, ABlockThatClosesTwoLoopsIsTheTailOfTheInnerOne) {
    make_graph({{2}, {3}, {4, 5}, {2, 3}, {0}});
    build();
    const auto all = loops();
    ASSERT_EQ(all.size(), 2U);
    EXPECT_NE(all[0]->tail, all[1]->tail);
}

TEST_F(LoopHierarchy, AnInnerTestThatLeadsBackToTheOuterOne) {
    // while (a) while (b) ...: the inner test is no tail, but closes the outer loop.
    make_graph({{2}, {3, 5}, {4, 2}, {3}, {0}});
    build();
    ASSERT_EQ(loops().size(), 2U);
    EXPECT_TRUE(loops()[1]->parent == loops()[0]);
}

TEST_F(LoopHierarchy, ExitsThatOthersUseToo) {
    // 2 and 3 both leave for 6, which the entry leads to as well.
    make_graph({{2, 6}, {3, 6}, {4, 6}, {2}, {0}, {0}});
    build();
    const auto all = loops();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(exits_of(all[0]).size(), 1U) << "one block serves both edges";
    EXPECT_TRUE(all[0]->flags & LOOP_EARLY_EXIT);
}

TEST_F(LoopHierarchy, AnEdgeThatLeavesTwoLoopsIsAnExitOfBoth) {
    make_graph({{2}, {3}, {4, 6}, {3, 5}, {2, 6}, {0}});
    build();
    const auto all = loops();
    ASSERT_EQ(all.size(), 2U);
    for (const LOOPREC* loop : all) EXPECT_TRUE(loop->flags & LOOP_EARLY_EXIT);
}

TEST_F(LoopHierarchy, AFunctionWithoutLoops) {
    make_graph({{2, 3}, {3}, {0}});
    build(1);
    EXPECT_EQ(root_loop(), nullptr) << "loops are to be changed, and there are none";
    build(0);
    ASSERT_NE(root_loop(), nullptr);
    EXPECT_TRUE(root_loop()->number == 0 && root_loop()->level == 0 && loops().empty());
}

TEST_F(LoopHierarchy, DoesNotSurviveTheSimplificationOfTheGraph) {
    make_graph({{2, 4}, {3, 4}, {2}, {0}});
    build();
    ASSERT_NE(root_loop(), nullptr);
    ASSERT_TRUE(simpcfg(0)) << "the preheader goes";
    EXPECT_EQ(flow_graph.bb_list->loop, nullptr);
    if (CHECKING_BUILD)
        EXPECT_THROW(root_loop(), FatalExit);
    else
        EXPECT_EQ(root_loop(), nullptr);
}

TEST_F(LoopHierarchy, TakesLongChainsAndDeepNests) {
    std::vector<std::vector<int>> ways;
    constexpr int DEPTH = 3000;
    for (int i = 1; i <= DEPTH; ++i) ways.push_back({i + 1});
    for (int i = DEPTH; i > 1; --i) ways.push_back({i, static_cast<int>(ways.size()) + 2});
    ways.push_back({0});
    make_graph(ways);
    build();
    ASSERT_EQ(loops().size(), static_cast<size_t>(DEPTH - 1));
    EXPECT_EQ(loops().back()->level, DEPTH - 1);
}

} // namespace
} // namespace pelorus
