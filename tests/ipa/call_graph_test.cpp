// The call graph of random files: what it holds, and in what order.
#include "ipa/call_graph.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "ipa/calls_fixture.h"

namespace pelorus {
namespace {

using NODES = std::set<const FUNINFO*>;

// What the functions refer to by calls and, with `by_address`, by taking addresses, until nothing is new.
NODES reached_from(NODES reached, bool by_address) {
    for (size_t before = 0; before != reached.size();) {
        before = reached.size();
        for (const FUNINFO* info : NODES(reached)) {
            for (const auto* callee = info->callees; callee; callee = callee->next)
                reached.insert(callee->function);
            for (const auto* taken = info->references; by_address && taken; taken = taken->next)
                reached.insert(taken->function);
        }
    }
    return reached;
}

NODES successors(const FUNINFO* info) {
    NODES found;
    for (const auto* callee = info->callees; callee; callee = callee->next) found.insert(callee->function);
    for (const auto* taken = info->references; taken; taken = taken->next) found.insert(taken->function);
    return found;
}

class CallGraph : public RandomCalls {
protected:
    NODES roots() const {
        NODES found;
        for (const FUNINFO* info : functions)
            if (info->flags & FUN_is_cg_root) found.insert(info);
        return found;
    }
    // Whoever stands behind a function that it refers to is reached from there: they go round in a circle.
    void expect_callers_first() const {
        for (const FUNINFO* info : file_level.functions)
            for (const FUNINFO* target : successors(info)) {
                if (target->number > info->number) continue;
                EXPECT_TRUE(reached_from({target}, true).contains(info))
                    << target->name << ", " << info->name;
            }
    }
    void expect_calls_backward_marked() const {
        NODES marked, expected;
        for (const FUNINFO* info : file_level.functions) {
            if (info->flags & FUN_follows_call) marked.insert(info);
            const auto* callee = info->callees;
            while (callee && callee->function->number > info->number) callee = callee->next;
            if (callee) expected.insert(callee->function);
        }
        EXPECT_EQ(marked, expected);
    }
};

TEST_F(CallGraph, HoldsWhatTheRootsReachCallersFirst) {
    SEEDED_DICE dice(1);
    for (int run = 0; run < 2000; ++run) {
        make_random_file(dice);
        file_level.whole_program = dice.chance(50);
        dice.one_of(functions)->flags |= dice.chance(50) ? FUN_is_main : FUN_is_cg_root;
        find_roots();
        number_call_graph();
        suppress_unreached();
        mark_calls_backward();
        const NODES reached = reached_from(roots(), true);
        EXPECT_EQ(NODES(file_level.functions.begin(), file_level.functions.end()), reached);
        EXPECT_EQ(file_level.functions.size(), reached.size()) << "each once";
        EXPECT_EQ(file_level.node_count, reached.size());
        for (size_t i = 0; i < file_level.functions.size(); ++i)
            EXPECT_EQ(file_level.functions[i]->number, i + 1);
        for (const FUNINFO* info : functions) {
            EXPECT_EQ(info->number == NO_CALL_GRAPH_NUMBER, !reached.contains(info));
            EXPECT_EQ((info->flags & FUN_is_suppressed) != 0, !reached.contains(info));
        }
        expect_callers_first();
        expect_calls_backward_marked();
        if (HasFailure()) FAIL() << "in run " << run;
    }
}

// Functions that are only declared, or that another walk numbered before, change nothing.
TEST_F(CallGraph, ASecondNumberingFindsTheSame) {
    SEEDED_DICE dice(2);
    for (int run = 0; run < 200; ++run) {
        make_random_file(dice);
        FUNINFO* declared = get_funinfo("_declared");
        for (int i = 0; i < 3; ++i) call(dice.one_of(functions), declared);
        find_roots();
        number_call_graph();
        const std::vector<FUNINFO*> first = file_level.functions;
        find_roots();
        number_call_graph();
        EXPECT_EQ(file_level.functions, first);
        EXPECT_EQ(declared->number, NO_CALL_GRAPH_NUMBER);
    }
}

// The numbers end before those of the functions do; whoever shares one is taken to be called backward.
TEST_F(CallGraph, ALongChainTakesNoStackAndNoNumbersThatDoNotFit) {
    constexpr size_t COUNT = LAST_CALL_GRAPH_NUMBER + 1000;
    make_functions(COUNT);
    make_external(functions[0]);
    for (size_t i = 0; i + 1 < COUNT; ++i) call(functions[i], functions[i + 1]);
    find_roots();
    number_call_graph();
    mark_calls_backward();
    EXPECT_EQ(file_level.functions, functions);
    EXPECT_EQ(functions[LAST_CALL_GRAPH_NUMBER - 1]->number, LAST_CALL_GRAPH_NUMBER);
    EXPECT_EQ(functions.back()->number, LAST_CALL_GRAPH_NUMBER);
    EXPECT_FALSE(functions[LAST_CALL_GRAPH_NUMBER - 1]->flags & FUN_follows_call);
    EXPECT_TRUE(functions.back()->flags & FUN_follows_call);
}

} // namespace
} // namespace pelorus
