// The parts of register allocation: loops around blocks and registers against their definitions, on random
// graphs and random live ranges; live ranges against what was worked out by hand.
#include "regs/allocate_regs.h"

#include <random>

#include "cfg/candidate_fact.h"
#include "cfg/flow_fixture.h"
#include "regs/assign_registers.h"

namespace pelorus {
namespace {

// --- Loops around blocks ---

class LoopNesting : public FlowFixture {
protected:
    void make_graph(std::mt19937& dice, int size) {
        clear_flow_graph();
        clear_function();
        release_local_zone();
        declare_function("_f", types.void_type());
        SYMBOL* x = variable("x");
        for (int i = 1; i <= size; i++) {
            label(i);
            assign(x, i);
            const auto some = [&] { return static_cast<int>(dice() % static_cast<unsigned>(size)) + 1; };
            if (dice() % 3)
                if_goes(x, some(), i < size ? i + 1 : some());
            else if (dice() % 5 == 0)
                branch(some());
        }
        build_cfg();
    }
    // Blocks that can be reached from `from`, itself only by a circle, on ways that do not enter `without`.
    static std::vector<bool> reached(const BB* from, const BB* without) {
        std::vector<bool> seen(static_cast<size_t>(flow_graph.bb_count) + 1);
        std::vector<const BB*> rest = {from};
        while (!rest.empty()) {
            const BB* block = rest.back();
            rest.pop_back();
            for (const BB_LIST* edge = block->succs; edge; edge = edge->next) {
                if (edge->block == without || seen[static_cast<size_t>(edge->block->dfn)]) continue;
                seen[static_cast<size_t>(edge->block->dfn)] = true;
                rest.push_back(edge->block);
            }
        }
        return seen;
    }
    static bool dominates(const BB* a, const BB* b) {
        if (a == b || a == flow_graph.bb_list) return true;
        return b != flow_graph.bb_list && !reached(flow_graph.bb_list, a)[static_cast<size_t>(b->dfn)];
    }
    static bool is_back_edge(const BB* from, const BB* to) { return dominates(to, from); }
    // By number: how many headers of natural loops the block goes round with.
    static std::vector<int32_t> natural_depths() {
        std::vector<int32_t> depths(static_cast<size_t>(flow_graph.bb_count) + 1);
        for (const BB* head = flow_graph.bb_list; head; head = head->dflink)
            for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
                depths[static_cast<size_t>(block->dfn)] += goes_round(head, block);
        return depths;
    }
    static bool goes_round(const BB* head, const BB* block) {
        if (!dominates(head, block)) return false;
        for (const BB_LIST* edge = head->preds; edge; edge = edge->next)
            if (is_back_edge(edge->block, head) &&
                (block == head || block == edge->block ||
                 reached(block, head)[static_cast<size_t>(edge->block->dfn)]))
                return true;
        return false;
    }
    // Without its back edges the graph has no circle.
    static bool is_reducible() {
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
            for (const BB_LIST* edge = block->succs; edge; edge = edge->next)
                if (edge->block->dfn <= block->dfn && !is_back_edge(block, edge->block)) return false;
        return true;
    }
};

TEST_F(LoopNesting, IsThatOfNaturalLoops) {
    std::mt19937 dice(7);
    int reducible = 0;
    for (int i = 0; i < 3000; i++) {
        make_graph(dice, 2 + static_cast<int>(dice() % 12));
        const LOOP_NESTING nesting = find_loop_nesting();
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
            const auto number = static_cast<size_t>(block->dfn);
            ASSERT_EQ(nesting.depth[number] > 0, reached(block, nullptr)[number])
                << number << " of " << shape();
        }
        if (!is_reducible()) continue;
        reducible++;
        ASSERT_EQ(nesting.depth, natural_depths()) << shape();
    }
    EXPECT_GT(reducible, 300);
    EXPECT_LT(reducible, 2900);
}

// --- Live ranges ---

class LiveRanges : public FlowFixture {
protected:
    static std::string text_of(const LIVE_RANGE& variable) {
        std::string text = std::string(variable.symbol->name) + ":";
        for (const PLACE_RANGE& range : variable.places)
            text += " " + std::to_string(range.from) + "-" + std::to_string(range.to);
        return text + " cost " + std::to_string(static_cast<int>(variable.cost));
    }
};

TEST_F(LiveRanges, EndWhereTheLastUseIsAndGoRoundLoops) {
    SYMBOL* a = variable("a");
    SYMBOL* b = variable("b");
    SYMBOL* c = variable("c");
    const auto copy = [&](SYMBOL* to, SYMBOL* from) {
        add(new_binary(OP_ASG, types.int_type(), use(to), use(from)), ++lines);
    };
    assign(a, 1); //  0: a = 1
    assign(b, 2); //  1: b = 2
    label(1);     //  2: goto the loop
    copy(c, a);   //  3: c = a
    copy(a, b);   //  4: a = b
    if_goes(c, 1, 2);
    label(2);
    copy(b, a);
    if_goes(b, 3, 3);
    label(3);
    build_cfg();
    build_facts(facts_of(FACT_live));
    std::vector<LIVE_RANGE> variables(static_cast<size_t>(function_candidates.count));
    for_each_candidate(function_candidates,
                       [&](SYMBOL* symbol) { variables[candidate_number(symbol)].symbol = symbol; });
    const LIVE_RANGES ranges = find_live_ranges(std::move(variables), find_loop_nesting());
    EXPECT_EQ(text_of(ranges.variables[0]), "a: 2-13 18-25 cost 22");
    EXPECT_EQ(text_of(ranges.variables[1]), "b: 6-24 26-29 cost 13");
    EXPECT_EQ(text_of(ranges.variables[2]), "c: 14-21 cost 20");
    EXPECT_EQ(ranges.variables[2].partners, std::vector<int32_t>{0});
    EXPECT_EQ(pressure_of_loops(ranges, find_loop_nesting())[2].units[INTEGER_FILE], 3);
}

// --- Registers ---

class AssignRegisters : public FlowFixture {
protected:
    static bool overlap(const LIVE_RANGE& a, const LIVE_RANGE& b) {
        for (const PLACE_RANGE& x : a.places)
            for (const PLACE_RANGE& y : b.places)
                if (x.from < y.to && y.from < x.to) return true;
        return false;
    }
    // The variable may have the register, whatever it has now.
    static bool may_have(const LIVE_RANGES& ranges, const std::vector<int32_t>& units, size_t which,
                         int32_t unit) {
        const LIVE_RANGE& variable = ranges.variables[which];
        for (const PLACE_RANGE& range : variable.places)
            for (const int32_t call : ranges.calls)
                if (range.from <= call && call < range.to && is_lost_by_calls(variable.kind.file, unit))
                    return false;
        for (size_t other = 0; other < units.size(); other++) {
            const LIVE_RANGE& taken = ranges.variables[other];
            const bool shares =
                other != which && units[other] != NO_UNIT && taken.kind.file == variable.kind.file &&
                unit < units[other] + taken.kind.units && units[other] < unit + variable.kind.units;
            if (shares && overlap(variable, taken)) return false;
        }
        return true;
    }
    LIVE_RANGES random_ranges(std::mt19937& dice, size_t count, int32_t length) {
        LIVE_RANGES ranges;
        for (size_t i = 0; i < count; i++) {
            SYMBOL* symbol = variable("v");
            symbol->candidate = static_cast<CANDIDATE_NUMBER>(i);
            LIVE_RANGE range{
                symbol, {dice() % 2 ? INTEGER_FILE : FLOATING_FILE, dice() % 3 ? 1 : 2}, {}, 0, 0, {},
                nullptr};
            for (auto at = static_cast<int32_t>(dice() % 40); at < length;) {
                const int32_t end = at + 1 + static_cast<int32_t>(dice() % 60);
                range.places.push_back({at, end});
                range.length += end - at;
                at = end + 1 + static_cast<int32_t>(dice() % 200);
            }
            range.cost = static_cast<double>(dice() % 1000);
            if (i && dice() % 3 == 0) range.partners.push_back(static_cast<int32_t>(dice() % i));
            ranges.variables.push_back(std::move(range));
        }
        for (int32_t call = 1; call < length; call += 1 + static_cast<int32_t>(dice() % 90))
            ranges.calls.push_back(call);
        return ranges;
    }
};

TEST_F(AssignRegisters, NoTwoVariablesShareOneAndNoneIsLeftUnused) {
    std::mt19937 dice(3);
    size_t without = 0;
    for (int i = 0; i < 200; i++) {
        const LIVE_RANGES ranges = random_ranges(dice, 10 + dice() % 80, 300);
        const std::vector<int32_t> units = assign_registers(ranges);
        for (size_t which = 0; which < units.size(); which++) {
            const REGISTER_CLASS kind = ranges.variables[which].kind;
            if (units[which] != NO_UNIT) {
                ASSERT_EQ(units[which] % kind.units, 0);
                ASSERT_LE(units[which] + kind.units, units_of(kind));
                ASSERT_TRUE(may_have(ranges, units, which, units[which]));
                continue;
            }
            without++;
            for (int32_t unit = 0; unit + kind.units <= units_of(kind); unit += kind.units)
                ASSERT_FALSE(may_have(ranges, units, which, unit));
        }
        clear_function();
        release_local_zone();
    }
    EXPECT_GT(without, 100U);
}

} // namespace
} // namespace pelorus
