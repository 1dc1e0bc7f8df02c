// The validation of the loop hierarchy, each of its messages, and the dump.
#include "loops/loop_checks.h"

#include <gmock/gmock.h>

#include <functional>
#include <map>
#include <random>

#include "cfg/fingerprint.h"
#include "cfg/flow_fixture.h"
#include "loops/hierarchy.h"

namespace pelorus {
namespace {

using testing::HasSubstr;

class LoopChecks : public FlowFixture {
protected:
    // for (i = 0; i < 10; i++) do s += i; while (s < i), with a way out of the outer loop's middle.
    void SetUp() override {
        FlowFixture::SetUp();
        i = variable("i");
        s = variable("s");
    }
    NODE* number(int value) { return new_icon(types.int_type(), int96_signed(value)); }
    NODE* binary(int op, NODE* left, NODE* right) { return new_binary(op, types.int_type(), left, right); }
    void test(NODE* condition, int yes, int no) {
        add(new_binary(OP_IF, types.void_type(), condition, list(new_label_leaf(yes), new_label_leaf(no))),
            ++lines);
    }
    void make_nest() {
        clear_flow_graph();
        function.statements = nullptr;
        lines = 0;
        assign(i, 0);
        assign(s, 0);
        label(1);
        test(use(s), 9, 2);
        label(2);
        add(binary(OP_PLUSASG, use(s), use(i)), ++lines);
        test(binary(OP_LT, use(s), use(i)), 2, 3);
        label(3);
        add(binary(OP_PLUSASG, use(i), number(1)), ++lines);
        test(binary(OP_LT, use(i), number(10)), 1, 9);
        label(9);
        build_cfg();
        build_loop_hierarchy(0, true, true);
        root = root_loop();
        ASSERT_NE(root, nullptr);
        outer = root->first_inner;
        ASSERT_TRUE(outer && outer->first_inner && !outer->next);
        inner = outer->first_inner;
    }

    // Edits the graph and leaves what the blocks say of loops.
    static void edit(const std::function<void()>& change) {
        std::map<BB*, LOOPREC*> loops;
        for (BB* block = flow_graph.bb_list; block; block = block->dflink) loops[block] = block->loop;
        change();
        for (const auto& [block, loop] : loops) block->loop = loop;
    }
    static void join(BB* from, BB* to) {
        edit([&] { add_edge(from, to); });
    }

    SYMBOL* i = nullptr;
    SYMBOL* s = nullptr;
    LOOPREC* root = nullptr;
    LOOPREC* outer = nullptr;
    LOOPREC* inner = nullptr;
};

struct RESULT {
    LOOP_ERRORS errors;
    std::string text;
};

RESULT validated(LOOPREC* root, bool complete = true) {
    TraceCapture capture;
    testing::internal::CaptureStderr();
    const LOOP_ERRORS errors = validate_loops(root, complete);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(said.find("LOOP errors!!!") != std::string::npos, errors.corrected + errors.uncorrected > 0);
    return {errors, capture.text()};
}

TEST_F(LoopChecks, AGoodHierarchyHasNoErrors) {
    make_nest();
    for (const bool complete : {true, false}) {
        const RESULT result = validated(root, complete);
        EXPECT_EQ(result.errors.corrected + result.errors.uncorrected, 0) << result.text;
        EXPECT_THAT(result.text, HasSubstr("===== Validating LOOP 2 at level 2\n"
                                           " ===== (2,2) Corrected errors: 0, Uncorrected errors: 0\n\n"));
    }
}

TEST_F(LoopChecks, WhatCanBeCorrectedIs) {
    struct FAULT_AND_MESSAGE {
        std::function<void()> damage;
        const char* message;
    };
    const FAULT_AND_MESSAGE faults[] = {
        {[&] { root->level = 3; }, " ----- Loop 0 has incorrect level (3 --> 0)\n"},
        {[&] { inner->level = 7; }, " ----- Loop 1 has inner loop 2 with wrong level\n"},
        {[&] { outer->tail->loop = nullptr; }, " ----- Loop 1 has body member BB5 with NULL <loop>\n"},
        {[&] { inner->head->loop = nullptr; }, " ----- Loop 2 has body member BB4 with NULL <loop>\n"},
    };
    for (const FAULT_AND_MESSAGE& fault : faults) {
        make_nest();
        fault.damage();
        const RESULT result = validated(root);
        EXPECT_THAT(result.text, HasSubstr(fault.message));
        EXPECT_GE(result.errors.corrected, 1);
        const RESULT again = validated(root);
        EXPECT_EQ(again.errors.corrected + again.errors.uncorrected, 0) << fault.message << again.text;
    }
}

TEST_F(LoopChecks, WhatCannotBeCorrectedIsNamed) {
    struct FAULT_AND_MESSAGE {
        std::function<void()> damage;
        const char* message;
    };
    const FAULT_AND_MESSAGE faults[] = {
        {[&] { inner->parent = root; }, " +++++ Loop 1 inner loop 2 has wrong parent: 0\n"},
        {[&] { root->parent = inner; }, " +++++ Loop 0 has >32767 ancestors\n"},
        {[&] { inner->contents->block = nullptr; }, " +++++ Loop 2 contents includes a NULL bb\n"},
        {[&] { outer->tail->loop = root; }, " incorrectly thinks it's NOT in Loop 1\n"},
        {[&] { outer->tail->loop = root; }, " incorrectly thinks it's in Loop 0\n"},
        {[&] { outer->head = nullptr; }, " +++++ Loop 1 head is missing or invalid\n"},
        {[&] { outer->tail = outer->preheader; }, " +++++ Loop 1 tail is missing or invalid\n"},
        {[&] { root->tail = nullptr; }, " +++++ Loop 0 tail is missing or invalid\n"},
        {[&] { inner->head = outer->head; }, " +++++ Improper back edge from BB4 in loop #2 to BB4\n"},
        {[&] { join(flow_graph.bb_list, outer->tail); }, " branched to from BB1 (loop#0)\n"},
        {[&] { outer->preheader = nullptr; }, " +++++ Loop 1 preheader is missing or invalid\n"},
        {[&] { join(root->tail, outer->head); }, " +++++ Loop 1 header has improper predecessors\n"},
        {[&] { join(outer->tail, outer->preheader); }, " has too many successors\n"},
        {[&] { join(outer->tail, inner->head); }, " +++++ Loop 1 tail BB5 has improper successor: BB4\n"},
        {[&] { edit([&] { remove_edge(outer->tail, outer->head); }); },
         " +++++ Loop 1 tail BB5 has improper successor: BB6\n"},
        {[&] {
             edit([&] {
                 while (inner->tail->succs) remove_edge(inner->tail, inner->tail->succs->block);
             });
         },
         " has no successor\n"},
        {[&] { join(flow_graph.bb_list, outer->exits->block); }, " +++++ Loop 1 has improper exit BB "},
        {[&] { outer->exits = nullptr; }, " +++++ Loop 1 has improper exit BB "},
        {[&] {
             outer->region_constants = zone_new<SYMBOL_CELL>(true);
             outer->region_constants->symbol = outer->inductions->symbol;
         },
         " +++++ Loop 1 has i as both RC and IV\n"},
    };
    for (const FAULT_AND_MESSAGE& fault : faults) {
        make_nest();
        fault.damage();
        const RESULT result = validated(root);
        EXPECT_THAT(result.text, HasSubstr(fault.message));
        EXPECT_GE(result.errors.uncorrected, 1);
    }
}

TEST_F(LoopChecks, BeforeItIsCompleteALoopMayBeEnteredAndLeftByAnyBlock) {
    make_nest();
    outer->preheader = nullptr;
    join(root->tail, outer->head);
    outer->exits = inner->exits = nullptr;
    const RESULT result = validated(root, false);
    EXPECT_EQ(result.errors.uncorrected, 0) << result.text;
    EXPECT_GT(validated(root, true).errors.uncorrected, 0);
}

// Any ways between the blocks, of which many only jump.
TEST_F(LoopChecks, RandomHierarchiesAreGoodAndSayWhatTheyChanged) {
    std::mt19937 dice(5);
    int loops = 0;
    for (int run = 0; run < 5000; ++run) {
        clear_flow_graph();
        clear_function();
        release_local_zone();
        declare_function("_f", types.void_type());
        SYMBOL* x = variable("x");
        const auto blocks = 4 + static_cast<int>(dice() % 12);
        const auto somewhere = [&] { return 1 + static_cast<int>(dice() % static_cast<unsigned>(blocks)); };
        assign(x, 1);
        for (int block = 1; block <= blocks; ++block) {
            label(block);
            if (dice() % 2) assign(x, block);
            const unsigned kind = dice() % 8;
            if (kind < 3) if_goes(x, somewhere(), somewhere());
            if (kind == 3)
                switch_on(
                    x, list(list(case_of(1, somewhere()), case_of(2, somewhere())), default_of(somewhere())));
            if (kind > 3 && kind < 6) branch(somewhere());
        }
        build_cfg();
        const uint64_t before = function_fingerprint();
        const bool changed = build_loop_hierarchy(0, true, true);
        ASSERT_EQ(changed, function_fingerprint() != before) << "run " << run;
        if (!root_loop()) continue;
        const RESULT result = validated(root_loop());
        ASSERT_EQ(result.errors.corrected + result.errors.uncorrected, 0) << "run " << run << result.text;
        for_each_loop(root_loop(), [&](LOOPREC*) { ++loops; });
    }
    EXPECT_GT(loops, 5000);
}

TEST_F(LoopChecks, ADeepNestTakesNoStack) {
    make_nest();
    constexpr int DEPTH = 30'000;
    LOOPREC* around = inner;
    for (int level = 3; level <= DEPTH; ++level) {
        LOOPREC* loop = new_loop(static_cast<int16_t>(level), nullptr, nullptr);
        loop->parent = around;
        loop->level = static_cast<int16_t>(level);
        around = around->first_inner = loop;
    }
    const RESULT result = validated(root);
    EXPECT_EQ(result.text.find("ancestors"), std::string::npos);
    EXPECT_EQ(result.errors.corrected, 0);
    TraceCapture capture;
    dump_loops(root);
    EXPECT_THAT(capture.text(), HasSubstr("Loop #30000 at level 30000:  parent=#29999\n"));
}

TEST_F(LoopChecks, TheDumpHasAllThatIsKnown) {
    make_nest();
    ADVICE advice{"count down", nullptr};
    inner->advice = &advice;
    inner->flags |= LOOP_NON_ALIASED | LOOP_NOT_AFFINE;
    inner->pragmas.must_minimum = 2;
    inner->pragmas.unroll = 4;
    TraceCapture capture;
    dump_loops(root);
    const std::string text = capture.text();
    EXPECT_THAT(
        text, HasSubstr("\n  LOOP HIERARCHY DUMP FOR THESE BASIC BLOCKS IN f()\n\t    BB 1:  g1\t\t// f\n"));
    EXPECT_EQ(text.substr(text.find("Loop #0")),
              R"(Loop #0 at level 0:  tail=BB7
 | SOURCE START: NO_FILE	line 1, column 0
 | SOURCE END:   NO_FILE	line 7, column 0
 | contents: BB1 BB2 BB6 BB7
 |    Loop #1 at level 1:  head=BB2  tail=BB5  preheader=BB1  parent=#0
 |     | SOURCE START: NO_FILE	line 3, column 0
 |     | SOURCE END:   NO_FILE	line 7, column 0
 |     | LCV sym: i
 |     |    test:  i < 10  incr: 1  init: 0  last: 9
 |     |    trips: 10  minval: 0;  maxval: 10;  max factor: 1;  *EARLY EXIT*
 |     | VLCV syms: <none>
 |     | RC syms: <none>
 |     | ALT syms: <none>
 |     | IV syms: i
 |     | LVs:
 |     |    i  incr: 1  init: 0  last: 10
 |     | UNROLL AMOUNT: 8
 |     | exitBBs: BB6
 |     | contents: BB2 BB3 BB4 BB5
 |     |    Loop #2 at level 2:  head=BB4  tail=BB4  preheader=BB3  parent=#1
 |     |     | LOOP IS Aggressively NON-aliased
 |     |     | SOURCE START: NO_FILE	line 4, column 0
 |     |     | SOURCE END:   NO_FILE	line 5, column 0
 |     |     | LCV sym: <none>  **NOT AFFINE**
 |     |     |    test:  <none>  incr: <none>  init: <none>  last: <none>
 |     |     |    trips: <none>  minval: 0;  maxval: <none>;  max factor: 1;
 |     |     | VLCV syms: <none>
 |     |     | RC syms: i
 |     |     | ALT syms: <none>
 |     |     | IV syms: s
 |     |     | LVs:
 |     |     |    s  incr: i  init: s  last: <none>
 |     |     | MUST_ITERATE: 2, <none>, <none>
 |     |     | UNROLL: 4
 |     |     | UNROLL AMOUNT: 8
 |     |     | ADVICE: count down
 |     |     | exitBBs: BB5
 |     |     | contents: BB4
)");
}

// --- Clones and copies ---

TEST_F(LoopChecks, ClonesNameEachOther) {
    make_nest();
    EXPECT_EQ(check_clone_marks(root), 0);
    const auto mark = [&](uint32_t of_outer, uint32_t of_inner) {
        outer->flags = of_outer;
        inner->flags = of_inner;
        outer->sibling_clone = static_cast<uint8_t>(inner->number);
        inner->sibling_clone = static_cast<uint8_t>(outer->number);
        return check_clone_marks(root);
    };
    EXPECT_EQ(mark(LOOP_CONSERVATIVE_CLONE, LOOP_AGGRESSIVE_CLONE | LOOP_ALIGNED | LOOP_FAVORED_CLONE), 0);
    EXPECT_EQ(mark(LOOP_CONSERVATIVE_CLONE | LOOP_ALIGNED, LOOP_AGGRESSIVE_CLONE), 1);
    EXPECT_EQ(mark(LOOP_AGGRESSIVE_CLONE, LOOP_AGGRESSIVE_CLONE), 2);
    EXPECT_EQ(mark(0, LOOP_AGGRESSIVE_CLONE), 2)
        << "one is no clone, the other has no sibling of the other kind";
    mark(LOOP_CONSERVATIVE_CLONE, LOOP_AGGRESSIVE_CLONE);
    inner->sibling_clone = 77;
    EXPECT_EQ(check_clone_marks(root), 2) << "there is no such loop, and the outer one is not named";
}

TEST_F(LoopChecks, ACopyHasListsAndTreesOfItsOwn) {
    make_nest();
    ASSERT_TRUE(outer->inductions && outer->LCV_test && outer->exits);
    const LOOPREC* copy = copy_loop(outer, 9, nullptr, inner->tail);
    EXPECT_TRUE(copy->number == 9 && copy->head == outer->head && copy->tail == inner->tail);
    EXPECT_TRUE(!copy->first_inner && !copy->next && copy->parent == root);
    EXPECT_TRUE(copy->inductions != outer->inductions && copy->exits != outer->exits);
    EXPECT_EQ(copy->inductions->symbol, outer->inductions->symbol);
    EXPECT_NE(copy->inductions->increment, outer->inductions->increment);
    EXPECT_NE(copy->LCV_test, outer->LCV_test);
    EXPECT_EQ(new_loop(3, nullptr, nullptr)->level, NO_LEVEL_YET);
}

TEST(Positions, AreOrderedByFileThenLineThenColumn) {
    const POSITION a{"a.c", 7, 1};
    EXPECT_LT(compare_positions(a, {"b.c", 1, 1}), 0);
    EXPECT_GT(compare_positions(a, {"a.c", 6, 9}), 0);
    EXPECT_LT(compare_positions(a, {"a.c", 7, 2}), 0);
    EXPECT_EQ(compare_positions(a, {}), 0) << "a missing one equals all";
}

} // namespace
} // namespace pelorus
