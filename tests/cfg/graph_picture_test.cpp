// The text of a picture: what it says of blocks, edges, loops and trees, and that `dot` can read it.
#include "cfg/graph_picture.h"

#include <gmock/gmock.h>

#include "cfg/dominators.h"
#include "cfg/flow_fixture.h"
#include "cfg/loop.h"

namespace pelorus {
namespace {

using testing::HasSubstr;
using testing::Not;

class GraphPicture : public FlowFixture {
protected:
    // x = 1; do { do { y = 2; } while (x); } while (y);
    void make_nest() {
        SYMBOL* x = variable("x");
        SYMBOL* y = variable("y");
        assign(x, 1);
        label(1);
        assign(x, 2);
        label(2);
        assign(y, 2);
        if_goes(x, 2, 3);
        label(3);
        if_goes(y, 1, 4);
        label(4);
        build_cfg();
        ASSERT_EQ(shape(), "1>2 2>3 3>3,4 4>2,5 5>6 6>");
    }
    LOOPREC* loop_of(int number, LOOPREC* parent, int head, int tail, std::initializer_list<int> blocks) {
        LOOPREC* loop =
            new_loop(static_cast<int16_t>(number), head ? block_number(head) : nullptr, block_number(tail));
        loop->parent = parent;
        if (parent) parent->first_inner = loop;
        loop->level = static_cast<int16_t>(number);
        for (const int block : blocks) {
            block_number(block)->loop = loop;
            auto* cell = zone_new<BLOCK_CELL>(true);
            *cell = {block_number(block), loop->contents};
            loop->contents = cell;
        }
        return loop;
    }
};

// What stands between the quotes ends there, and what is opened is closed.
void expect_readable(const std::string& text) {
    bool quoted = false;
    int open = 0;
    for (size_t at = 0; at < text.size(); ++at) {
        ASSERT_TRUE(text[at] == '\n' || (text[at] >= ' ' && text[at] <= '~')) << "byte " << at;
        ASSERT_FALSE(quoted && text[at] == '\n') << text.substr(0, at);
        if (quoted && text[at] == '\\')
            ++at;
        else if (text[at] == '"')
            quoted = !quoted;
        else if (!quoted)
            open += text[at] == '{' ? 1 : text[at] == '}' ? -1 : 0;
    }
    EXPECT_FALSE(quoted);
    EXPECT_EQ(open, 0);
}

TEST_F(GraphPicture, ShowsBlocksEdgesTreesAndLayout) {
    make_nest();
    const std::string text = graph_picture("f() after step 3");
    expect_readable(text);
    EXPECT_EQ(text, graph_picture("f() after step 3"));
    EXPECT_EQ(fact_state.valid, DFN_FACT) << "drawing builds nothing";
    EXPECT_THAT(text, HasSubstr("label=\"f() after step 3\""));
    EXPECT_THAT(text, HasSubstr(" [label=\"BB 1, line 1\\lx = 1\\lgoto g2\\l\"];"));
    const auto arrow = [](const char* kind, int from, int to) {
        return kind + std::to_string(block_number(from)->uon) + " -> " + kind +
               std::to_string(block_number(to)->uon);
    };
    EXPECT_THAT(text, HasSubstr(arrow("b", 2, 4) + " [label=\" true\", color=\"blue\", dir=\"back\"];"));
    EXPECT_THAT(text, HasSubstr(arrow("b", 3, 4) + " [label=\" false\", penwidth=2, weight=4];"));
    EXPECT_THAT(text, HasSubstr(arrow("d", 4, 5) + ";"));
    EXPECT_THAT(text, HasSubstr(arrow("p", 4, 3) + ";"));
    EXPECT_THAT(text, HasSubstr(arrow("l", 4, 2) + " [constraint=\"false\", color=\"blue\"];"));
    EXPECT_THAT(text, HasSubstr(arrow("l", 5, 6) + " [penwidth=2];"));
    EXPECT_THAT(text, Not(HasSubstr("cluster_loop")));
}

TEST_F(GraphPicture, PutsLoopsInsideEachOtherWithTheirFacts) {
    make_nest();
    LOOPREC* root = loop_of(0, nullptr, 0, 6, {1, 5, 6});
    LOOPREC* outer = loop_of(1, root, 2, 4, {2, 4});
    LOOPREC* inner = loop_of(2, outer, 3, 3, {3});
    outer->flags = LOOP_EARLY_EXIT;
    outer->pragmas = {1, 8, 2, 0, 0, 4, false};
    inner->preheader = block_number(2);
    inner->LCV = variable("x");
    inner->LCV_last = new_icon(types.int_type(), int96_signed(7));
    inner->trips_min = 1;
    inner->trip_factor = 2;
    flow_graph.root_loop = root;
    fact_was_built(FACT_loops);
    std::string text = graph_picture("f");
    expect_readable(text);
    EXPECT_THAT(text,
                HasSubstr("label=\"loop 1, level 1\\lhead BB 2, tail BB 4, preheader none\\learly exit\\l"
                          "MUST_ITERATE(1, 8, 2)\\lUNROLL(4)\\l\";"));
    EXPECT_THAT(text, Not(HasSubstr("trips"))) << "the analyses do not hold";
    // The inner cluster stands in the outer one, and the blocks of the root before both.
    const size_t first = text.find("subgraph cluster_loop1");
    const size_t second = text.find("subgraph cluster_loop2");
    const size_t ends = text.find("}\n}\n", second);
    EXPECT_LT(text.find("[label=\"BB 5"), first);
    EXPECT_LT(first, text.find("[label=\"BB 4"));
    EXPECT_LT(text.find("[label=\"BB 4"), second);
    EXPECT_LT(second, text.find("[label=\"BB 3"));
    EXPECT_LT(text.find("[label=\"BB 3"), ends);
    EXPECT_LT(ends, text.find(" -> "));
    fact_was_built(FACT_loop_analyses);
    text = graph_picture("f");
    EXPECT_THAT(text, HasSubstr("control x = ?, by ? while ?, last 7\\ltrips ?, 1 to ?, a multiple of 2\\l"));
}

// 1 goes to 2 and 3, which go to each other: neither is the head of a loop.
TEST_F(GraphPicture, AnEdgeIntoALoopPastItsHeadIsNoBackEdge) {
    SYMBOL* x = variable("x");
    if_goes(x, 1, 2);
    label(1);
    assign(x, 1);
    label(2);
    if_goes(x, 1, 3);
    label(3);
    build_cfg();
    const std::string text = graph_picture("f");
    EXPECT_THAT(text, HasSubstr("color=\"red\", style=\"dashed\""));
    EXPECT_THAT(text, Not(HasSubstr("blue")));
}

TEST_F(GraphPicture, StrangeNamesAndLongBlocksStayReadable) {
    SYMBOL* strange = variable("a\"b\\c\nd\xC3\xA9");
    for (int i = 0; i < 50; ++i) assign(strange, i);
    build_cfg();
    const std::string text = graph_picture("a\"b");
    expect_readable(text);
    EXPECT_THAT(text, HasSubstr("digraph \"a\\\"b\" {"));
    EXPECT_THAT(text, HasSubstr("a\\\"b\\\\c\\ld\\\\xC3\\\\xA9 = 0\\l"));
    EXPECT_THAT(text, HasSubstr("a\\\"b\\\\c\\ld\\\\xC3\\\\xA9 = 39\\l... 11 more\\l\"];"));
}

} // namespace
} // namespace pelorus
