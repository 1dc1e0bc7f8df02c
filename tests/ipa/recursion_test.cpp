// The functions that may be recursive, against paths that are searched for one by one.
#include "ipa/recursion.h"

#include <gtest/gtest.h>

#include "ipa/call_graph.h"
#include "ipa/calls_fixture.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

constexpr uint32_t OUTSIDE = 0; // a function has its number, which is above 0

// Whether a call leads straight from one to the other. What outside does, and what a pointer leads to, is
// that of whoever made the call.
bool may_call(const FUNINFO* from, const FUNINFO* to) {
    const bool calls_outside = !from || (from->flags & FUN_calls_anonymous) ||
                               (file_level.use_pseudo_function && (from->flags & FUN_calls_OUTSIDE));
    if (!to) return calls_outside;
    if (calls_outside && (to->flags & FUN_is_anonymous)) return true;
    if (!from) return !file_level.whole_program && (to->flags & FUN_is_extern);
    if (!file_level.whole_program && (from->flags & FUN_calls_SYSTEM)) return true;
    for (const FUNCTION_REFERENCE* callee = from->callees; callee; callee = callee->next)
        if (callee->function == to) return true;
    return false;
}

std::string expected_report() {
    const std::vector<FUNINFO*>& functions = file_level.functions;
    const size_t count = functions.size() + 1;
    const auto node = [&](size_t i) { return i == OUTSIDE ? nullptr : functions[i - 1]; };
    std::vector<std::vector<bool>> reaches(count, std::vector<bool>(count));
    for (size_t from = 0; from < count; ++from)
        for (size_t to = 0; to < count; ++to) reaches[from][to] = may_call(node(from), node(to));
    for (size_t by = 0; by < count; ++by)
        for (size_t from = 0; from < count; ++from)
            for (size_t to = 0; to < count; ++to)
                if (reaches[from][by] && reaches[by][to]) reaches[from][to] = true;
    std::string text;
    for (size_t i = 1; i < count; ++i)
        if (reaches[i][i]) text += std::string("\t") + node(i)->name + "()\n";
    return text.empty() ? text : "\nThese functions may be recursive:\n" + text;
}

class Recursion : public RandomCalls {
protected:
    static void set_random_mode(SEEDED_DICE& dice) {
        file_level.whole_program = dice.chance(50);
        file_level.use_pseudo_function = file_level.whole_program || dice.chance(50);
    }
    static std::string reported() {
        TraceCapture trace;
        report_recursion();
        return trace.text();
    }
};

TEST_F(Recursion, IsFoundWhereAPathLeadsBack) {
    SEEDED_DICE dice(3);
    int with = 0;
    for (int run = 0; run < 2000; ++run) {
        make_random_file(dice);
        set_random_mode(dice);
        functions[0]->flags |= FUN_is_main;
        find_roots();
        number_call_graph();
        const std::string expected = expected_report();
        with += !expected.empty();
        ASSERT_EQ(reported(), expected) << "in run " << run;
    }
    EXPECT_GT(with, 400);
    EXPECT_LT(with, 1600);
}

} // namespace
} // namespace pelorus
