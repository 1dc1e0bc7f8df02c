// Loop rotation: statements that no file may hold, and random graphs against the same moves on a plain list.
#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include "cfg/flow_fixture.h"
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "loops/layout.h"

namespace pelorus {
namespace {

class RotateLoops : public FlowFixture {
protected:
    // while (x) { if (y) ...; } return, as 1>2 2>3,6 3>4,5 4>5 5>2 6>
    void make_loop() {
        SYMBOL* x = variable("x");
        SYMBOL* y = variable("y");
        assign(x, 1);
        label(1);
        if_goes(x, 2, 9);
        label(2);
        if_goes(y, 3, 4);
        label(3);
        assign(x, 2);
        label(4);
        assign(y, 3);
        branch(1);
        label(9);
        build_cfg();
        ASSERT_EQ(shape(), "1>2 2>6,3 3>4,5 4>5 5>2 6>7 7>");
    }
    // The blocks in the order of the chain, by their numbers before.
    static std::string order_after_rotation() {
        std::map<const BB*, int> before;
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink) before[block] = block->dfn;
        rotate_loops();
        std::string order;
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
            order += std::to_string(before[block]);
        return order;
    }
    static NODE* end_of_loop_test(NODE* condition) {
        return new_binary(OP_NEQ, condition->type,
                          new_binary(OP_ENDLOOP, condition->type, condition, number(1)), number(0));
    }
    static NODE* number(int value) { return new_icon(type_package()->int_type(), int96_signed(value)); }
    static void count_trips(BB* block) {
        NODE* test = block->last_stmt->tree;
        ASSERT_EQ(test->op, OP_IF);
        test->left = end_of_loop_test(test->left);
        trees_changed();
    }
    static void set_up_loop(BB* block) {
        insert_before_ending(block, new_binary(OP_LOOP, type_package()->int_type(), number(1), number(1)));
    }
};

TEST_F(RotateLoops, CountedLoopsStay) {
    make_loop();
    EXPECT_EQ(order_after_rotation(), "1345267");
    make_loop();
    set_up_loop(block_number(2));
    EXPECT_EQ(order_after_rotation(), "1234567") << "the header sets up a counted loop";
    make_loop();
    set_up_loop(block_number(4));
    EXPECT_EQ(order_after_rotation(), "1345267") << "what is set up inside does not matter";
    make_loop();
    count_trips(block_number(3));
    EXPECT_EQ(order_after_rotation(), "1234567") << "the block behind the exit ends a counted loop";
}

TEST_F(RotateLoops, TheLayoutIsNoDepthFirstOrder) {
    make_loop();
    const std::string before = shape();
    EXPECT_TRUE(rotate_loops());
    EXPECT_EQ(fact_state.valid, NUMBERS_FACT);
    EXPECT_EQ(find_stale_fact(), FACT_COUNT);
    fact_was_built(FACT_dfn);
    EXPECT_EQ(find_stale_fact(), FACT_dfn) << "the body stands before the header, which alone leads to it";
    forget_facts(facts_of(FACT_dfn));
    build_facts(DFN_FACT);
    EXPECT_EQ(shape(), before) << "whoever needs one gets one";
}

// 1: x = 1; 2: if (!y) goto 9; if (x) goto 2; else goto 1; 9:
TEST_F(RotateLoops, AnEndThatCountsItsTripsStays) {
    for (const bool counts : {false, true}) {
        SYMBOL* x = variable("x");
        label(1);
        assign(x, 1);
        label(2);
        if_goes(x, 3, 9);
        label(3);
        if_goes(x, 2, 1);
        label(9);
        build_cfg();
        ASSERT_EQ(shape(), "1>2 2>3 3>5,4 4>2,3 5>6 6>");
        if (counts) count_trips(block_number(4));
        EXPECT_EQ(order_after_rotation(), counts ? "123456" : "124356");
    }
}

TEST_F(RotateLoops, TwoBlocksAreLeftWithoutAWord) {
    assign(variable("x"), 1);
    build_cfg();
    ASSERT_EQ(flow_graph.bb_count, 2);
    TraceCapture capture;
    EXPECT_FALSE(rotate_loops());
    EXPECT_EQ(capture.text(), "");
}

// --- Random graphs ---

// The same moves on a list: places are indices, and nothing is linked.
class MODEL {
public:
    explicit MODEL(std::vector<const BB*> blocks) : order(std::move(blocks)) {}
    void rotate_all() {
        for (size_t latch = order.size() - 1; latch > 0; --latch) rotate(latch);
    }
    std::vector<const BB*> order;
    int rotations = 0;

private:
    size_t place(const BB* block) const {
        return static_cast<size_t>(std::find(order.begin(), order.end(), block) - order.begin());
    }
    // The highest place below `end` of the set's blocks; 0 when there is none.
    size_t highest(const BB_LIST* set, size_t end) const {
        size_t found = 0;
        for (; set; set = set->next)
            if (place(set->block) < end) found = std::max(found, place(set->block));
        return found;
    }
    static bool has_any(const BB* block, int op) {
        for (const STMT* cell = block->stmts; cell; cell = cell->next) {
            const NODE* tree = cell->tree;
            if (tree->op == op ||
                (tree->op == OP_IF && tree->left->op == OP_NEQ && tree->left->left->op == op))
                return true;
        }
        return false;
    }
    bool is_exit(const BB* block, size_t latch) const {
        return !block->succs || highest(block->succs, order.size()) > latch;
    }
    size_t exit_of(size_t latch) const {
        if (latch + 1 < order.size())
            for (const BB_LIST* cell = order[latch + 1]->preds; cell; cell = cell->next)
                if (place(cell->block) < latch) return highest(order[latch + 1]->preds, latch);
        size_t exit = latch - 1;
        while (exit > 0 && !is_exit(order[exit], latch)) --exit;
        return exit;
    }
    void rotate(size_t latch) {
        const size_t header = highest(order[latch]->succs, order.size());
        if (header == 0 || header >= latch) return;
        if (has_any(order[latch], OP_ENDLOOP) || has_any(order[header], OP_LOOP)) return;
        const size_t exit = exit_of(latch);
        if (exit == 0) return;
        if (exit + 1 != latch && has_any(order[exit + 1], OP_ENDLOOP)) return;
        const size_t top = highest(order[latch]->succs, exit + 1);
        if (top == 0) return;
        const auto at = [&](size_t index) { return order.begin() + static_cast<std::ptrdiff_t>(index); };
        std::rotate(at(top), at(exit + 1), at(latch + 1));
        ++rotations;
    }
};

std::vector<const BB*> chain() {
    std::vector<const BB*> blocks;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) blocks.push_back(block);
    return blocks;
}

std::vector<const void*> members_of(const BB* block) {
    std::vector<const void*> members{block};
    for (const BB_LIST* set : {block->succs, block->preds}) {
        for (; set; set = set->next) members.push_back(set->block);
        members.push_back(nullptr);
    }
    for (const STMT* cell = block->stmts; cell; cell = cell->next) members.push_back(cell->tree);
    return members;
}

// The statements and the edges of all blocks, in an order that the chain does not decide.
std::vector<std::vector<const void*>> contents() {
    std::vector<std::vector<const void*>> all;
    for (const BB* block : chain()) all.push_back(members_of(block));
    std::sort(all.begin(), all.end());
    return all;
}

void expect_numbers_by_chain() {
    int number = 0;
    for (const BB* block : chain()) {
        ASSERT_EQ(block->dfn, ++number);
        for (const LABEL_RECORD* name = block->labels; name; name = name->next)
            ASSERT_EQ(name->index, number);
    }
    ASSERT_EQ(flow_graph.bb_count, number);
}

TEST_F(RotateLoops, RandomGraphsAreLaidOutAsByTheSameMovesOnAList) {
    std::mt19937 dice(11);
    int rotations = 0;
    for (int run = 0; run < 4000; ++run) {
        declare_function("_f", types.void_type());
        SYMBOL* x = variable("x");
        const unsigned blocks = 3 + static_cast<unsigned>(dice() % 60);
        // Mostly loops and tests as people write them, sometimes anything.
        const auto from_to = [&](unsigned first, unsigned last) {
            if (dice() % 8 == 0) first = 1, last = blocks;
            return static_cast<int>(
                std::min(first + static_cast<unsigned>(dice() % (last - first + 1)), blocks));
        };
        for (unsigned i = 1; i <= blocks; ++i) {
            const auto ahead = [&] { return from_to(i + 1, i + 6); };
            const auto back = [&] { return from_to(i > 6 ? i - 6 : 1, i); };
            label(static_cast<int>(i));
            assign(x, static_cast<int>(i));
            switch (dice() % 12) {
            case 0:
            case 1:
            case 2:
            case 3: if_goes(x, ahead(), from_to(i + 1, i + 1)); break;
            case 4: if_goes(x, ahead(), back()); break;
            case 5: if_goes(x, back(), back()); break;
            case 6:
                switch_on(x, list(list(case_of(1, ahead()), case_of(2, back())), default_of(ahead())));
                break;
            case 7:
            case 8: branch(back()); break;
            default: break;
            }
        }
        build_cfg();
        for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
            if (dice() % 20 == 0) set_up_loop(block);
            if (dice() % 20 == 0 && block->last_stmt->tree->op == OP_IF) count_trips(block);
        }
        MODEL model(chain());
        if (flow_graph.bb_count >= 3) model.rotate_all();
        const auto before = contents();
        ASSERT_EQ(rotate_loops(), model.rotations > 0) << "run " << run;
        ASSERT_EQ(chain(), model.order) << "run " << run;
        ASSERT_EQ(contents(), before) << "run " << run;
        ASSERT_EQ(flow_graph.bb_list->preds, nullptr);
        expect_numbers_by_chain();
        expect_sound();
        EXPECT_EQ(find_stale_fact(), FACT_COUNT);
        rotations += model.rotations;
        clear_flow_graph();
        clear_function();
        release_local_zone();
    }
    EXPECT_GT(rotations, 2000);
}

} // namespace
} // namespace pelorus
