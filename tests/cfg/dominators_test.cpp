// Dominators against their definition: a block dominates what cannot be reached from the entry without it.
#include "cfg/dominators.h"

#include <bit>
#include <random>

#include "cfg/bitvec.h"
#include "cfg/flow_fixture.h"
#include "support/pseudo_options.h"

namespace pelorus {
namespace {

// Sanitized code takes some ten times as long.
#ifdef PELORUS_SANITIZED
constexpr int RANDOM_GRAPHS = 8'000;
#else
constexpr int RANDOM_GRAPHS = 100'000;
#endif

class Dominators : public FlowFixture {
protected:
    // Blocks without statements, chained and numbered in their order.
    void make_blocks(int count) {
        clear_flow_graph();
        release_local_zone();
        blocks.assign(1, nullptr);
        for (int number = 1; number <= count; ++number) {
            BB* block = new_block(nullptr, nullptr);
            block->dfn = static_cast<BLOCK_NUMBER>(number);
            block->uon = static_cast<uint16_t>(number);
            block->rdflink = blocks.back();
            if (number > 1) blocks.back()->dflink = blocks.back()->all_link = block;
            blocks.push_back(block);
        }
        flow_graph.bb_list = flow_graph.all_blocks = blocks[1];
        flow_graph.bb_list->rdflink = blocks.back();
        flow_graph.bb_count = flow_graph.last_uon = count;
    }
    void edge(int from, int to) {
        add_edge(blocks[static_cast<size_t>(from)], blocks[static_cast<size_t>(to)]);
    }
    // "12 23 34": each a block and its successor.
    void make_graph(int count, const std::string& edges) {
        make_blocks(count);
        for (size_t at = 0; at < edges.size(); at += 3) edge(edges[at] - '0', edges[at + 1] - '0');
        fact_was_built(FACT_dfn);
    }
    static int number(const BB* block) { return block ? block->dfn : 0; }
    static std::string immediate_ones() {
        std::string text;
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
            text += std::to_string(number(immediate_dominator(block)));
        text += " ";
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
            text += std::to_string(number(immediate_post_dominator(block)));
        return text;
    }

    std::vector<BB*> blocks; // by number
};

// --- The definition, for up to 63 blocks; sets of blocks are words ---

using SET = uint64_t;

SET bit(const BB* block) { return SET{1} << block->dfn; }

struct DEFINITION {
    SET next[64]{}; // edges onward, by number
    SET roots = 0;  // where the ways begin
    SET dominators[64]{};

    SET reached_without(SET removed) const {
        SET seen = roots & ~removed;
        for (SET waiting = seen; waiting;) {
            const SET fresh = next[std::countr_zero(waiting)] & ~seen & ~removed;
            waiting = (waiting & (waiting - 1)) | fresh;
            seen |= fresh;
        }
        return seen;
    }
    void find_dominators() {
        for (int block = 0; block <= flow_graph.bb_count; ++block) {
            const SET reached = reached_without(SET{1} << block);
            for (int other = 1; other <= flow_graph.bb_count; ++other)
                if (!(reached >> other & 1)) dominators[other] |= SET{1} << block;
        }
    }
    // The dominator that all others dominate; 0: none.
    int immediate(int block) const {
        const SET others = dominators[block] & ~(SET{1} << block);
        for (int other = 1; other <= flow_graph.bb_count; ++other)
            if (others >> other & 1 && dominators[other] == others) return other;
        return 0;
    }
};

DEFINITION definition(DIRECTION direction, bool roots_are_open_ends) {
    DEFINITION result;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        for (const BB_LIST* cell = direction == FORWARD ? block->succs : block->preds; cell;
             cell = cell->next)
            result.next[block->dfn] |= bit(cell->block);
        if (roots_are_open_ends && !(direction == FORWARD ? block->preds : block->succs))
            result.roots |= bit(block);
    }
    if (!roots_are_open_ends)
        result.roots = bit(direction == FORWARD ? flow_graph.bb_list : flow_graph.bb_list->rdflink);
    result.find_dominators();
    return result;
}

// Whether the trees can be had: one exit, which is the last block, every block on a way from the entry to it.
bool has_trees() {
    const SET all = (SET{2} << flow_graph.bb_count) - 2;
    if (flow_graph.bb_count == 1) return true;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        bool ends = true;
        for (const BB_LIST* cell = block->succs; cell; cell = cell->next) ends &= cell->block == block;
        if (ends != !block->dflink || (block->dfn > 1 && !block->preds)) return false;
    }
    return definition(FORWARD, false).reached_without(0) == all &&
           definition(REVERSE, false).reached_without(0) == all;
}

void expect_sets_as_defined() {
    const DEFINITION forward = definition(FORWARD, true);
    const DEFINITION reverse = definition(REVERSE, true);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        SET dominators = 0;
        SET post_dominators = 0;
        for (const BB* other = flow_graph.bb_list; other; other = other->dflink) {
            if (dominates(other, block)) dominators |= bit(other);
            if (post_dominates(other, block)) post_dominators |= bit(other);
        }
        ASSERT_EQ(dominators, forward.dominators[block->dfn] & ~SET{1}) << block->dfn;
        ASSERT_EQ(post_dominators, reverse.dominators[block->dfn] & ~SET{1}) << block->dfn;
    }
}

void expect_trees_as_defined() {
    const DEFINITION forward = definition(FORWARD, false);
    const DEFINITION reverse = definition(REVERSE, false);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        const BB* dominator = immediate_dominator(block);
        const BB* post_dominator = immediate_post_dominator(block);
        ASSERT_EQ(dominator ? dominator->dfn : 0, forward.immediate(block->dfn)) << block->dfn;
        ASSERT_EQ(post_dominator ? post_dominator->dfn : 0, reverse.immediate(block->dfn)) << block->dfn;
    }
}

struct RANDOM_GRAPHS_SEEN {
    int accepted = 0;
    int refused = 0;
};

// Mostly structured downward edges with some back, so that many graphs have a good exit; the others have
// whatever comes: several exits, none, blocks that nothing reaches, ways into loops past their heads.
class RandomDominators : public Dominators {
protected:
    int below(int limit) { return static_cast<int>(dice() % static_cast<unsigned>(limit)); }
    int size() {
        switch (below(16)) {
        case 0: return 1 + below(below(8) ? 12 : 60);
        case 1: return 1 + below(30);
        default: return 1 + below(10);
        }
    }
    void make_random_graph() {
        const int count = size();
        make_blocks(count);
        const bool tidy = below(4) != 0;
        const int jumps = below(count + 1);
        for (int from = 1; from < count; ++from)
            if (tidy || below(8))
                edge(from, tidy ? from + 1 + below(std::min(3, count - from)) : 1 + below(count));
        for (int to = 2; tidy && to <= count; ++to)
            if (!blocks[static_cast<size_t>(to)]->preds) edge(1 + below(to - 1), to);
        for (int i = 0; i < jumps; ++i)
            edge(1 + below(tidy ? std::max(1, count - 1) : count), count > 1 ? 2 + below(count - 1) : 1);
    }
    std::mt19937 dice{11};
};

TEST_F(RandomDominators, AreThoseOfTheDefinition) {
    RANDOM_GRAPHS_SEEN seen;
    for (int run = 0; run < RANDOM_GRAPHS && !HasFatalFailure(); ++run) {
        SCOPED_TRACE(run);
        make_random_graph();
        ASSERT_EQ(compute_dominators(), has_trees()) << shape();
        (has_trees() ? seen.accepted : seen.refused)++;
        if (has_trees() && flow_graph.bb_count > 1) expect_trees_as_defined();
        find_dominator_sets();
        expect_sets_as_defined();
        if (blocks[1]->preds) continue; // no graph of a function is so
        renumber_cfg();
        build_facts(facts_of(FACT_dominators, FACT_dominator_sets));
        ASSERT_EQ(find_stale_fact(), FACT_COUNT) << shape();
        if (has_trees()) continue;
        const DEFINITION forward = definition(FORWARD, false);
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
            ASSERT_EQ(number(immediate_dominator(block)), forward.immediate(block->dfn)) << shape();
            ASSERT_EQ(immediate_post_dominator(block), nullptr);
        }
    }
    EXPECT_GT(seen.accepted, RANDOM_GRAPHS / 4);
    EXPECT_GT(seen.refused, RANDOM_GRAPHS / 8);
}

// --- Refusals ---

TEST_F(Dominators, GraphsWithoutOneGoodExitAreRefused) {
    const std::pair<const char*, int> refused[] = {
        {"12 13 ", 3},    // two exits
        {"13 32 ", 3},    // the exit is not the last
        {"12 13 33 ", 3}, // one of the exits goes to itself
        {"13 23 ", 3},    // nothing leads to block 2
        {"12 23 32 ", 3}, // no exit
    };
    for (const auto& [edges, count] : refused) {
        make_graph(count, edges);
        TraceCapture capture;
        EXPECT_FALSE(compute_dominators()) << edges;
        EXPECT_EQ(capture.text(), "") << edges;
    }
    for (const auto& [edges, count] : {std::pair{"14 23 32 ", 4}, std::pair{"12 14 23 32 ", 4}}) {
        make_graph(count, edges); // blocks 2 and 3 go round without an entry, or without an end
        TraceCapture capture;
        EXPECT_FALSE(compute_dominators()) << edges;
        EXPECT_EQ(capture.text(), "Compute_dominators returning FALSE.  Initialization failed.\n");
    }
    make_graph(3, "12 23 33 ");
    EXPECT_TRUE(compute_dominators()) << "the exit may go to itself";
}

TEST_F(Dominators, ARefusedGraphHasDominatorsFromTheSetsAndNoPostDominators) {
    make_graph(5, "12 23 24 34 43 15 ");
    build_facts(facts_of(FACT_dominators));
    EXPECT_EQ(immediate_ones(), "01221 00000");
    EXPECT_TRUE(fact_is_valid(FACT_dominator_sets));
    EXPECT_TRUE(dominates(blocks[2], blocks[4]));
    EXPECT_TRUE(post_dominates(blocks[1], blocks[3])) << "no way leads from block 3 to an end";
    EXPECT_EQ(dominator_vertex[REVERSE][5], blocks[5]) << "numbered as they are chained";
}

TEST_F(Dominators, ASingleBlockHasOneInBothDirections) {
    for (const char* edges : {"", "11 "}) {
        make_graph(1, edges);
        EXPECT_TRUE(compute_dominators());
        EXPECT_EQ(blocks[1]->idom[FORWARD], 1);
        EXPECT_EQ(blocks[1]->idom[REVERSE], 1);
        EXPECT_EQ(immediate_dominator(blocks[1]), nullptr);
        EXPECT_EQ(immediate_post_dominator(blocks[1]), nullptr);
    }
}

// --- Traces ---

TEST_F(Dominators, EdgesThatStandOnOneSideOnlyLeaveAGuess) {
    make_graph(4, "12 23 34 33 ");
    blocks[3]->preds->next = nullptr; // itself alone
    ASSERT_EQ(blocks[3]->preds->block, blocks[3]);
    TraceCapture capture;
    EXPECT_FALSE(compute_dominators());
    EXPECT_EQ(capture.text(), "Hooray, safe dominator computation\n"
                              "Compute_dominators returning FALSE.  Initialization failed.\n");
    EXPECT_EQ(blocks[3]->idom[FORWARD], 3);

    make_graph(5, "12 23 33 43 34 45 ");
    blocks[3]->preds->next->next = nullptr; // not block 2
    ASSERT_NE(blocks[3]->preds->next->block, blocks[2]);
    TraceCapture risky;
    EXPECT_FALSE(compute_dominators());
    EXPECT_EQ(risky.text(), "Risky dom computation in compute_dominators\n"
                            "Assigning BB 3 as FORWARD dominator of BB 3\n"
                            "Compute_dominators returning FALSE.  Initialization failed.\n");
}

TEST_F(Dominators, TheListingGoesToTheTraceOfDetails) {
    make_graph(3, "12 13 23 ");
    {
        TraceCapture capture;
        find_dominator_sets();
        EXPECT_EQ(capture.text(), "\n\tNext iteration of the CFG dominance computation\n"
                                  "\n\tNext iteration of the CFG dominance computation\n"
                                  "\n\tNext iteration of the CFG post-dominance computation\n"
                                  "\n\tNext iteration of the CFG post-dominance computation\n");
    }
    make_blocks(17);
    for (int to = 2; to <= 17; ++to) edge(1, to);
    TraceCapture capture;
    trace_state.debug_output = 2;
    find_dominator_sets();
    const std::string text = capture.text();
    EXPECT_NE(text.find("\t    BB 17:  g17\n\n  BB 1 dominates these...\n\t1 2 3 4 5 6 7 8 9 10 11 12 13 14 "
                        "\n\t15 16 17 \n"
                        "  BB 2 dominates these...\n\t2 \n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("\n  BB 17 post-dominates these...\n\t17 "), std::string::npos);
}

// The blocks are numbered against the way through them, so that the sets are misread.
TEST_F(Dominators, ADifferenceBetweenTheTwoWaysEndsTheRun) {
    make_graph(4, "13 32 24 ");
    add_pseudo_options("debug", "verify");
    testing::internal::CaptureStderr();
    EXPECT_THROW(find_dominators(), FatalExit);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error - fast_dom thinks that BB2  has a dominator of  3  and its dominator set says  1\n");
    clear_pseudo_options();
}

// --- Facts ---

TEST_F(Dominators, AnUnreportedEdgeMakesThemStale) {
    make_graph(4, "12 23 34 ");
    build_facts(facts_of(FACT_dominators));
    EXPECT_FALSE(fact_is_valid(FACT_dominator_sets)) << "nobody needs them";
    EXPECT_EQ(immediate_ones(), "0123 2340");
    edge(1, 3);
    EXPECT_FALSE(fact_is_valid(FACT_dominators));
    fact_state.valid = facts_of(FACT_dominators);
    EXPECT_EQ(find_stale_fact(), FACT_dominators);
    build_facts(facts_of(FACT_dominator_sets));
    EXPECT_EQ(find_stale_fact(), FACT_dominators);
    remove_edge(blocks[2], blocks[3]);
    fact_state.valid = facts_of(FACT_dominator_sets);
    EXPECT_EQ(find_stale_fact(), FACT_dominator_sets);
}

TEST_F(Dominators, AChainOfAsManyBlocksAsCanBeNumbered) {
    constexpr int LENGTH = MOST_BLOCKS;
    make_blocks(LENGTH);
    for (int from = 1; from < LENGTH; ++from) edge(from, from + 1);
    fact_was_built(FACT_dfn);
    build_facts(facts_of(FACT_dominators, FACT_dominator_sets));
    EXPECT_EQ(immediate_dominator(blocks[LENGTH]), blocks[LENGTH - 1]);
    EXPECT_EQ(immediate_post_dominator(blocks[1]), blocks[2]);
    EXPECT_TRUE(dominates(blocks[1], blocks[LENGTH]) && post_dominates(blocks[LENGTH], blocks[1]));
    EXPECT_FALSE(dominates(blocks[2], blocks[1]) || post_dominates(blocks[1], blocks[2]));
    EXPECT_EQ(find_stale_fact(), FACT_COUNT);
}

} // namespace
} // namespace pelorus
