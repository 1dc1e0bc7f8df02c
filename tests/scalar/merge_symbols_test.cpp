// Coalescing of more variables than a file shows.
#include "cfg/flow_fixture.h"
#include "ir/tree_text.h"
#include "scalar/assignments.h"

namespace pelorus {
namespace {

class MergeSymbols : public FlowFixture {};

// A chain of copies ends up as two variables, since the first family has all that one may.
TEST_F(MergeSymbols, FamiliesHaveALimit) {
    constexpr int COUNT = 1500;
    SYMBOL* global = variable("_g", 0, SC_EXTERN);
    std::vector<SYMBOL*> chain;
    for (int i = 0; i < COUNT; ++i) chain.push_back(variable(("v" + std::to_string(i)).c_str()));
    const auto copy = [&](SYMBOL* to, SYMBOL* from) {
        add(new_binary(OP_ASG, types.int_type(), use(to), use(from)), ++lines);
    };
    copy(chain[0], global);
    for (size_t i = 1; i < chain.size(); ++i) copy(chain[i], chain[i - 1]);
    copy(global, chain.back());
    build_cfg();
    EXPECT_TRUE(merge_symbols());
    std::string text;
    for (const STMT* cell = flow_graph.bb_list->stmts; cell->next; cell = cell->next)
        text += tree_text(cell->tree) + "; ";
    EXPECT_EQ(text, "v0 = _g; v1024 = v0; _g = v1024; ");
}

} // namespace
} // namespace pelorus
