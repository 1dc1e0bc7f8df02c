// What renaming of webs leaves alone in functions that are too large for a file to show it.
#include "cfg/candidate_fact.h"
#include "cfg/flow_fixture.h"
#include "ssa/ssa.h"

namespace pelorus {
namespace {

class Rename : public FlowFixture {
protected:
    void read(SYMBOL* symbol) {
        add(new_binary(OP_ASG, types.int_type(), use(global), use(symbol)), ++lines);
    }
    // Each variable is assigned in front of a ladder of tests and behind it, and read behind both.
    void ladder(int variables, int rungs) {
        std::vector<SYMBOL*> symbols;
        symbols.reserve(static_cast<size_t>(variables));
        for (int i = 0; i < variables; ++i) symbols.push_back(variable("v"));
        for (SYMBOL* symbol : symbols) assign(symbol, 1);
        for (int i = 0; i < rungs; ++i) {
            if_goes(global, 2 * i + 1, 2 * i + 2);
            label(2 * i + 1);
            assign(global, i);
            label(2 * i + 2);
        }
        for (SYMBOL* symbol : symbols) read(symbol);
        for (SYMBOL* symbol : symbols) assign(symbol, 2);
        for (SYMBOL* symbol : symbols) read(symbol);
        build_cfg();
    }
    static int splits() {
        int count = 0;
        for (const SYMBOL* symbol = function_symbols.splits.first; symbol; symbol = symbol->next) ++count;
        return count;
    }

    SYMBOL* global = nullptr;
    void SetUp() override {
        FlowFixture::SetUp();
        global = variable("_g", 0, SC_EXTERN);
    }
};

// A variable that cannot be numbered as a candidate would have its place in memory.
TEST_F(Rename, EndsBeforeCandidatesDo) {
    SYMBOL* x = variable("x");
    for (int i = 0; i < 9000; ++i) assign(x, i), read(x);
    build_cfg();
    EXPECT_TRUE(rename_symbols());
    build_facts(CANDIDATES_FACT);
    EXPECT_EQ(function_candidates.count, 8192);
    EXPECT_GE(x->candidate, 0);
}

TEST_F(Rename, TakesVariablesAcrossJoins) {
    ladder(20, 20);
    EXPECT_TRUE(rename_symbols());
    EXPECT_EQ(splits(), 20);
}

TEST_F(Rename, GivesUpWhereVeryManyCrossVeryMany) {
    ladder(400, 400);
    EXPECT_FALSE(rename_symbols());
    EXPECT_EQ(splits(), 0);
}

} // namespace
} // namespace pelorus
