// See live_ranges.h.
//
// One walk from the last statement to the first. At the end of a block the variables of its `live_out` hold
// values; going back, an assignment of the whole variable begins its range, and a use in front of it ends
// one.
#include "regs/live_ranges.h"

#include <algorithm>
#include <cmath>

#include "cfg/bitvec.h"
#include "cfg/candidate_fact.h"
#include "ir/call.h"
#include "ir/symbol.h"
#include "ir/walk.h"
#include "tree/access.h"

namespace pelorus {

namespace {

// How often a block runs is estimated from the loops around it: ten times for each, as is usual where nothing
// has been measured. Deeper nests than six are told apart no more.
struct FREQUENCY {
    double trips = 10;
    int32_t deepest = 6;
};
constexpr FREQUENCY frequency;

constexpr int32_t PLACES = 4; // of a statement
constexpr int32_t CALLS = 1, ASSIGNMENTS = 2;
constexpr int32_t NOT_LIVE = -1;

// What a statement does to the candidates that are asked for.
struct STATEMENT_ACCESSES {
    std::vector<size_t> uses, definitions, kills;
};

struct WALK {
    LIVE_RANGES ranges;
    std::vector<int32_t> end;    // by candidate: where the range being walked ends; NOT_LIVE
    std::vector<size_t> begun{}; // candidates whose ranges the block began, perhaps several times
    PRESSURE now{};
    PRESSURE highest{}; // of the block
    double weight = 1;  // of an access in the block
    STATEMENT_ACCESSES found{};
    std::vector<const NODE*> trees{}; // of the block
};

bool is_asked_for(const LIVE_RANGE& variable) { return variable.symbol && !variable.why_memory; }

void add_units(PRESSURE& pressure, const LIVE_RANGE& range, int32_t sign) {
    pressure.units[range.kind.file] += sign * range.kind.units;
}

void note_pressure(WALK& walk) {
    for (int file = 0; file < REGISTER_FILES; file++)
        walk.highest.units[file] = std::max(walk.highest.units[file], walk.now.units[file]);
}

void begin_range(WALK& walk, size_t candidate, int32_t end) {
    if (walk.end[candidate] != NOT_LIVE) return;
    walk.end[candidate] = end;
    walk.begun.push_back(candidate);
    add_units(walk.now, walk.ranges.variables[candidate], 1);
}

// The walk passed the place where the variable gets its value.
void end_range(WALK& walk, size_t candidate, int32_t from) {
    LIVE_RANGE& range = walk.ranges.variables[candidate];
    const int32_t to = walk.end[candidate];
    if (!range.places.empty() && range.places.back().from == to)
        range.places.back().from = from; // the block behind goes on with it
    else
        range.places.push_back({from, to});
    range.length += to - from;
    walk.end[candidate] = NOT_LIVE;
    add_units(walk.now, range, -1);
}

void find_accesses(WALK& walk, const NODE* tree) {
    STATEMENT_ACCESSES& found = walk.found;
    found.uses.clear(), found.definitions.clear(), found.kills.clear();
    for_each_access(tree, [&](const TREE_ACCESS& access) {
        if (!access.symbol || access.symbol->candidate < 0) return;
        const size_t candidate = candidate_number(access.symbol);
        LIVE_RANGE& range = walk.ranges.variables[candidate];
        if (!is_asked_for(range)) return;
        if (const char* why = why_memory(access)) range.why_memory = why;
        range.cost += walk.weight * (is_use(access) + is_definition(access));
        if (is_use(access)) found.uses.push_back(candidate);
        if (is_definition(access)) found.definitions.push_back(candidate);
        if (is_kill(access)) found.kills.push_back(candidate);
    });
}

bool makes_call(const NODE* tree) {
    return any_node(tree, [](const NODE* node) { return is_call(node) || node->op == OP_ASM; });
}

void note_copy(WALK& walk, const NODE* tree) {
    if (tree->op != OP_ASG || tree->left->op != OP_NAME || tree->right->op != OP_NAME) return;
    const SYMBOL *to = tree->left->symbol(), *from = tree->right->symbol();
    if (!to || !from || to->candidate < 0 || from->candidate < 0) return;
    walk.ranges.variables[candidate_number(to)].partners.push_back(from->candidate);
    walk.ranges.variables[candidate_number(from)].partners.push_back(to->candidate);
}

void walk_statement(WALK& walk, const NODE* tree, int32_t number) {
    const int32_t place = number * PLACES;
    find_accesses(walk, tree);
    const STATEMENT_ACCESSES& found = walk.found;
    if (makes_call(tree)) walk.ranges.calls.push_back(place + CALLS);
    note_copy(walk, tree);
    // An assignment in the middle of an expression happens before other parts of it.
    const bool at_the_end = tree->op == OP_ASG && found.definitions.size() == 1;
    for (const size_t candidate : found.definitions) begin_range(walk, candidate, place + ASSIGNMENTS + 1);
    note_pressure(walk);
    for (const size_t candidate : found.kills)
        if (walk.end[candidate] != NOT_LIVE)
            end_range(walk, candidate, place + (at_the_end ? ASSIGNMENTS : 0));
    for (const size_t candidate : found.uses) begin_range(walk, candidate, place + CALLS);
    note_pressure(walk);
}

void walk_block(WALK& walk, const BB* block, int32_t first, int32_t depth) {
    walk.weight = std::pow(frequency.trips, std::min(depth, frequency.deepest));
    walk.trees.clear();
    for (const STMT* cell = block->stmts; cell; cell = cell->next) walk.trees.push_back(cell->tree);
    const int32_t behind = first + static_cast<int32_t>(walk.trees.size());
    walk.highest = {};
    for (uint32_t i = bv_next(block->live_out, 0); i != BV_NONE; i = bv_next(block->live_out, i + 1))
        if (is_asked_for(walk.ranges.variables[i])) begin_range(walk, i, behind * PLACES);
    note_pressure(walk);
    for (int32_t number = behind; number-- > first;)
        walk_statement(walk, walk.trees[static_cast<size_t>(number - first)], number);
    for (const size_t candidate : walk.begun)
        if (walk.end[candidate] != NOT_LIVE) end_range(walk, candidate, first * PLACES);
    walk.begun.clear();
    walk.ranges.pressure[static_cast<size_t>(block->dfn)] = walk.highest;
}

} // namespace

const char* why_memory(const TREE_ACCESS& access) {
    if (access.kind == ACCESS::LEND) return "a call gets its address";
    if (access.name && type_is_volatile(access.name->type)) return "an access is volatile";
    return nullptr;
}

LIVE_RANGES find_live_ranges(std::vector<LIVE_RANGE> variables, const LOOP_NESTING& nesting) {
    WALK walk;
    walk.end.resize(variables.size(), NOT_LIVE);
    walk.ranges.pressure.resize(nesting.blocks.size());
    walk.ranges.variables = std::move(variables);
    for (LIVE_RANGE& variable : walk.ranges.variables)
        if (is_asked_for(variable)) variable.kind = register_class(variable.symbol->type);
    int32_t statements = 0;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next) statements++;
    for (size_t number = nesting.blocks.size(); number-- > 1;) {
        const BB* block = nesting.blocks[number];
        for (const STMT* cell = block->stmts; cell; cell = cell->next) statements--;
        walk_block(walk, block, statements, nesting.depth[number]);
    }
    for (LIVE_RANGE& range : walk.ranges.variables) std::reverse(range.places.begin(), range.places.end());
    std::reverse(walk.ranges.calls.begin(), walk.ranges.calls.end());
    return std::move(walk.ranges);
}

std::vector<PRESSURE> pressure_of_loops(const LIVE_RANGES& ranges, const LOOP_NESTING& nesting) {
    std::vector<PRESSURE> highest(nesting.blocks.size());
    for (size_t number = 1; number < nesting.blocks.size(); number++) {
        auto header =
            static_cast<size_t>(nesting.is_header[number] ? int32_t(number) : nesting.header[number]);
        for (; header; header = static_cast<size_t>(nesting.header[header]))
            for (int file = 0; file < REGISTER_FILES; file++)
                highest[header].units[file] =
                    std::max(highest[header].units[file], ranges.pressure[number].units[file]);
    }
    return highest;
}

} // namespace pelorus
