// Times what is computed of the control-flow graph of one function, on graphs of several shapes and sizes,
// and prints the table of `run.py graphs`: milliseconds of each algorithm, the best of several runs; what
// of the hierarchy's time goes into dominators and their sets; and how many loops it finds.
//
// The graphs are functions with real statements, since the hierarchy changes them.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "cfg/dominators.h"
#include "cfg/graph_edit.h"
#include "cfg/loop.h"
#include "icode/unit_client.h"
#include "ir/funinfo.h"
#include "loops/hierarchy.h"
#include "memory/zone.h"
#include "support/fatal.h"
#include "support/settings.h"

namespace pelorus {

void fatal_exit() { exit(1); }

namespace {

// --- Shapes: the successors of each block, from 0; the last block is the exit ---

using GRAPH = std::vector<std::vector<int>>;

GRAPH chain(int blocks) {
    GRAPH graph(static_cast<size_t>(blocks));
    for (int block = 0; block + 1 < blocks; ++block) graph[static_cast<size_t>(block)] = {block + 1};
    return graph;
}

void add(GRAPH& graph, int from, int to) {
    std::vector<int>& successors = graph[static_cast<size_t>(from)];
    if (std::find(successors.begin(), successors.end(), to) == successors.end()) successors.push_back(to);
}

// Loops one in the other, each with a head and a tail of its own.
GRAPH nest(int blocks) {
    GRAPH graph = chain(blocks);
    const int depth = (blocks - 2) / 2;
    for (int loop = 0; loop < depth; ++loop) add(graph, 2 * depth - loop, 1 + loop);
    return graph;
}

// Two chains side by side with a rung from each block of the first to one of the second.
GRAPH ladder(int blocks) {
    GRAPH graph(static_cast<size_t>(blocks));
    for (int block = 0; block + 1 < blocks; ++block) {
        if (block % 2 == 0) add(graph, block, block + 1);
        add(graph, block, std::min(block + 2, blocks - 1));
    }
    return graph;
}

// Loops and tests, nested at random as far as cutting in pieces goes, so that each has one way in.
void nest_at_random(GRAPH& graph, int first, int last, std::mt19937& dice) {
    if (last - first < 3) return;
    if (dice() % 2)
        add(graph, last, first);
    else
        add(graph, first, last);
    const int pieces = 2 + static_cast<int>(dice() % 3);
    int from = first + 1;
    for (int piece = 1; piece <= pieces; ++piece) {
        const int to = first + 1 + static_cast<int>(int64_t(last - first - 2) * piece / pieces);
        nest_at_random(graph, from, to, dice);
        from = to + 1;
    }
}

GRAPH structured(int blocks) {
    std::mt19937 dice(3);
    GRAPH graph = chain(blocks);
    nest_at_random(graph, 1, blocks - 2, dice);
    return graph;
}

// Jumps from anywhere to anywhere, or to anywhere behind, one for each two blocks.
GRAPH jumps(int blocks, bool only_forward) {
    std::mt19937 dice(5);
    GRAPH graph = chain(blocks);
    for (int jump = 0; jump < blocks / 2; ++jump) {
        const int from = static_cast<int>(dice() % static_cast<unsigned>(blocks - 1));
        const int lowest = only_forward ? from + 1 : 1;
        add(graph, from, lowest + static_cast<int>(dice() % static_cast<unsigned>(blocks - lowest)));
    }
    return graph;
}
GRAPH jumps_forward(int blocks) { return jumps(blocks, true); }
GRAPH jumps_anywhere(int blocks) { return jumps(blocks, false); }

GRAPH cases(int blocks, bool fall_through) {
    GRAPH graph(static_cast<size_t>(blocks));
    for (int block = 1; block + 1 < blocks; ++block) {
        add(graph, 0, block);
        add(graph, block, fall_through ? block + 1 : blocks - 1);
    }
    return graph;
}
GRAPH switch_of_cases(int blocks) { return cases(blocks, false); }
GRAPH switch_falling_through(int blocks) { return cases(blocks, true); }

struct SHAPE {
    const char* name;
    GRAPH (*make)(int blocks);
};
constexpr SHAPE SHAPES[] = {
    {"chain", chain},
    {"nest of loops", nest},
    {"ladder", ladder},
    {"structured, at random", structured},
    {"jumps forward, at random", jumps_forward},
    {"jumps anywhere, at random", jumps_anywhere},
    {"switch", switch_of_cases},
    {"switch, falling through", switch_falling_through},
};
constexpr int SIZES[] = {100, 1000, 10000, 30000};

// --- The function ---

TYPE_PKG types;

SYMBOL* new_variable() {
    SYMBOL_FIELDS fields{};
    fields.name = "x";
    fields.type = types.int_type();
    fields.storage_class = SC_AUTO;
    fields.size = fields.align = 4;
    return new_file_symbol(fields, 2);
}

void start_function() {
    clear_function();
    SYMBOL_FIELDS fields{};
    fields.name = "_f";
    fields.type = types.make_function(types.void_type(), true, false, 0);
    fields.storage_class = SC_EXTERN_DEF;
    function.symbol = new_file_symbol(fields, 0);
    function.info = get_funinfo("_f");
}

void append(NODE* tree) { function.statements = new_stmt(tree, POSITION{}, function.statements); }

NODE* number(int value) { return new_icon(types.int_type(), int96_signed(value)); }

NODE* ending(SYMBOL* variable, const std::vector<int>& successors) {
    const auto leaf = [](int block) { return new_label_leaf(block + 1); };
    NODE* use = new_name(variable, types.int_type());
    const auto list = [](NODE* left, NODE* right) {
        return new_binary(OP_COMMA, types.void_type(), left, right);
    };
    if (successors.size() == 1) return new_unary(OP_BRANCH, types.void_type(), leaf(successors[0]));
    if (successors.size() == 2)
        return new_binary(OP_IF, types.void_type(), use, list(leaf(successors[0]), leaf(successors[1])));
    NODE* choices = new_unary(OP_DEFAULT, types.void_type(), leaf(successors[0]));
    for (size_t i = 1; i < successors.size(); ++i)
        choices =
            list(new_binary(OP_CASE, types.void_type(), number(static_cast<int>(i)), leaf(successors[i])),
                 choices);
    return new_binary(OP_SWITCH, types.void_type(), use, choices);
}

void build_function(const GRAPH& graph) {
    start_function();
    SYMBOL* variable = new_variable();
    for (size_t block = 0; block < graph.size(); ++block) {
        NODE* definition = new_node(OP_LABELDEF, types.void_type());
        definition->set_value(int96_signed(static_cast<int>(block) + 1));
        append(definition);
        append(new_binary(OP_ASG, types.int_type(), new_name(variable, types.int_type()), number(1)));
        if (!graph[block].empty()) append(ending(variable, graph[block]));
    }
    build_cfg();
}

void release_function() {
    clear_flow_graph();
    clear_function();
    release_local_zone();
}

// --- Algorithms ---

using CLOCK = std::chrono::steady_clock;

template <class F>
double seconds_of(F run) {
    const CLOCK::time_point start = CLOCK::now();
    run();
    return std::chrono::duration<double>(CLOCK::now() - start).count();
}

// What one run says besides its time.
struct OUTCOME {
    int blocks = 0;               // before it
    bool refused = false;         // the fast computation refused the graph
    double dominator_seconds = 0; // within the hierarchy
    int loops = -1;               // of the hierarchy; -1: there is none
};
OUTCOME outcome;

void run_fast() { outcome.refused = !compute_dominators(); }

// The facts that the hierarchy builds, with a clock.
template <void (*build)()>
void build_timed() {
    outcome.dominator_seconds += seconds_of(build);
}

void run_hierarchy() {
    set_fact_builder(FACT_dominators, {build_timed<find_dominators>, nullptr, nullptr});
    set_fact_builder(FACT_dominator_sets, {build_timed<find_dominator_sets>, nullptr, nullptr});
    build_loop_hierarchy(1, false, true);
    if (LOOPREC* root = root_loop()) for_each_loop(root, [](const LOOPREC*) { ++outcome.loops; });
}

struct ALGORITHM {
    const char* name;
    void (*run)();
};
const ALGORITHM ALGORITHMS[] = {
    {"fast", run_fast},
    {"sets", compute_dominator_sets},
    {"post-sets", compute_post_dominator_sets},
    {"check", [] { computed_dominators(); }},
    {"hierarchy", run_hierarchy},
};

// Several runs of what is short, each on a graph of its own.
constexpr int MOST_RUNS = 5;
constexpr double ENOUGH_SECONDS = 0.5;

double best_time(const GRAPH& graph, const ALGORITHM& algorithm) {
    double best = 1e9;
    double all = 0;
    OUTCOME of_best;
    for (int run = 0; run < MOST_RUNS && all < ENOUGH_SECONDS; ++run) {
        build_function(graph);
        outcome = {};
        outcome.blocks = flow_graph.bb_count;
        const double seconds = seconds_of(algorithm.run);
        release_function();
        if (seconds < best) of_best = outcome;
        best = std::min(best, seconds);
        all += seconds;
    }
    outcome = of_best;
    return best;
}

void print_head() {
    printf("| graph | blocks | table MB |");
    for (const ALGORITHM& algorithm : ALGORITHMS) printf(" %s |", algorithm.name);
    printf(" dominators' share | loops |\n|---|---|---|");
    for ([[maybe_unused]] const ALGORITHM& algorithm : ALGORITHMS) printf("---|");
    printf("---|---|\n");
}

void print_line(const SHAPE& shape, int size) {
    const GRAPH graph = shape.make(size);
    printf("| %s |", shape.name);
    double seconds = 0;
    for (const ALGORITHM& algorithm : ALGORITHMS) {
        seconds = best_time(graph, algorithm);
        if (&algorithm == ALGORITHMS)
            printf(" %d | %.1f |", outcome.blocks, double(outcome.blocks + 1) * (outcome.blocks + 1) / 8e6);
        printf(outcome.refused ? " refused |" : " %.2f |", seconds * 1e3);
        fflush(stdout);
    }
    printf(" %.2f | ", outcome.dominator_seconds / seconds);
    if (outcome.loops < 0)
        printf("none |\n");
    else
        printf("%d |\n", outcome.loops);
}

} // namespace

} // namespace pelorus

int main() {
    using namespace pelorus;
    reset_settings();
    types = TYPE_PKG();
    set_type_package(&types);
    print_head();
    for (const SHAPE& shape : SHAPES)
        for (const int size : SIZES) print_line(shape, size);
    return 0;
}
