// Times the analysis of a whole file on call graphs of several shapes and sizes, and prints the table of
// `run.py callgraph`: milliseconds of the whole and of each step by itself, the best of several runs; and the
// ratio of the whole to that of the line above.
//
// The last columns are no part of the analysis. They show what recursion would cost as a closure: a vector
// for each function of those that it reaches, and unions of them, callees first, until nothing changes.
//
// The functions are static and have real bodies: a statement for each call, and an assignment to a variable.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "cfg/bitvec.h"
#include "icode/unit_client.h"
#include "ipa/call_graph.h"
#include "ipa/file_level.h"
#include "ipa/function_effects.h"
#include "ipa/inline_decisions.h"
#include "ipa/recursion.h"
#include "ipa/references.h"
#include "ir/funinfo.h"
#include "ir/stmt.h"
#include "ir/symbol.h"
#include "memory/zone.h"
#include "support/fatal.h"
#include "support/settings.h"
#include "tree/query.h"

namespace pelorus {

void fatal_exit() { exit(1); }

namespace {

// --- Shapes: whom each function calls; the first one is main ---

using GRAPH = std::vector<std::vector<uint32_t>>;

GRAPH chain(uint32_t functions) {
    GRAPH graph(functions);
    for (uint32_t caller = 0; caller + 1 < functions; ++caller) graph[caller] = {caller + 1};
    return graph;
}

GRAPH circle(uint32_t functions) {
    GRAPH graph = chain(functions);
    graph.back() = {1};
    return graph;
}

// Each function calls those before and behind it.
GRAPH there_and_back(uint32_t functions) {
    GRAPH graph = chain(functions);
    for (uint32_t caller = 2; caller < functions; ++caller) graph[caller].push_back(caller - 1);
    return graph;
}

// main calls all, and all call the last one.
GRAPH star(uint32_t functions) {
    GRAPH graph(functions, {functions - 1});
    graph.back().clear();
    for (uint32_t callee = 1; callee < functions; ++callee) graph[0].push_back(callee);
    return graph;
}

// Each function is called by one before it; as many calls again and again are at random, all of them to
// later functions or to any.
GRAPH at_random(uint32_t functions, bool only_later) {
    std::mt19937 dice(7);
    GRAPH graph(functions);
    for (uint32_t callee = 1; callee < functions; ++callee) graph[dice() % callee].push_back(callee);
    for (uint32_t call = 0; call < 2 * functions; ++call) {
        const auto caller = static_cast<uint32_t>(dice() % (functions - 1));
        const uint32_t first = only_later ? caller + 1 : 1;
        graph[caller].push_back(first + static_cast<uint32_t>(dice() % (functions - first)));
    }
    return graph;
}
GRAPH random_later(uint32_t functions) { return at_random(functions, true); }
GRAPH random_any(uint32_t functions) { return at_random(functions, false); }

struct SHAPE {
    const char* name;
    GRAPH (*make)(uint32_t functions);
};
constexpr SHAPE SHAPES[] = {
    {"chain", chain},
    {"star", star},
    {"one circle", circle},
    {"there and back", there_and_back},
    {"at random, no circle", random_later},
    {"at random", random_any},
};
constexpr uint32_t SIZES[] = {5000, 10000, 20000};

// --- The file ---

TYPE_PKG types;
const GRAPH* graph;
std::vector<SYMBOL*> symbols; // of the functions
std::unordered_map<const FUNINFO*, uint32_t> numbers;
SYMBOL* variable;

SYMBOL* new_symbol(const std::string& name, TYPE* type, STORAGE_CLASS storage_class) {
    SYMBOL_FIELDS fields{};
    fields.name = name.c_str();
    fields.type = type;
    fields.storage_class = storage_class;
    fields.flags = storage_class == SC_STATIC ? SF_DEFINED | SF_INTERNAL : SF_DEFINED;
    fields.size = fields.align = 4;
    return new_file_symbol(fields, 0);
}

void start_file() {
    clear_function();
    clear_file_symbols();
    clear_funinfo();
    clear_function_effects();
    empty_zones();
    types = TYPE_PKG();
    set_type_package(&types);
    start_file_level();
}

void append(NODE* tree) {
    function.statements = new_stmt(tree, POSITION{}, function.statements);
    function.size_units += static_cast<uint32_t>(operator_count(tree));
}

void begin_body(FUNINFO* info) {
    clear_function();
    function.symbol = info->symbol;
    function.info = info;
    for (const uint32_t callee : (*graph)[numbers[info]]) {
        TYPE* type = symbols[callee]->type;
        NODE* address = new_unary(OP_UAND, types.make_pointer(type), new_name(symbols[callee], type));
        append(new_unary(OP_UCALL, types.void_type(), address));
    }
    NODE* one = new_icon(types.int_type(), int96_signed(1));
    append(new_binary(OP_PLUSASG, types.int_type(), new_name(variable, types.int_type()), one));
}

void end_body() {
    clear_function();
    release_local_zone();
}

void declare_functions() {
    symbols.clear();
    numbers.clear();
    TYPE* type = types.make_function(types.void_type(), true, false, 0);
    variable = new_symbol("_g", types.int_type(), SC_STATIC);
    for (uint32_t i = 0; i < graph->size(); ++i) {
        const std::string name = i ? "_f" + std::to_string(i) : "_main";
        SYMBOL* symbol = new_symbol(name, type, i ? SC_STATIC : SC_EXTERN_DEF);
        symbol->funinfo = get_funinfo(symbol->name);
        symbol->funinfo->symbol = symbol;
        symbol->funinfo->flags |= FUN_is_defined;
        numbers[symbol->funinfo] = i;
        symbols.push_back(symbol);
    }
}

// What happens while the file is read.
void note_functions() {
    for (const SYMBOL* symbol : symbols) {
        begin_body(symbol->funinfo);
        symbol->funinfo->size = function.size_units;
        add_function(symbol->funinfo);
        end_body();
    }
}

// --- Steps ---

void find_graph() {
    find_roots();
    number_call_graph();
    suppress_unreached();
}

void decide() { decide_inlining({begin_body, end_body}); }
void analyse() { analyse_file("calls.c", {begin_body, end_body}); }

struct STEP {
    const char* name;
    void (*run)();
};
// In the order of the analysis; each needs those before it.
constexpr STEP STEPS[] = {{"notes", note_functions},
                          {"call graph", find_graph},
                          {"effects", find_function_effects},
                          {"inlining", decide},
                          {"recursion", report_recursion}};
constexpr size_t STEP_COUNT = std::size(STEPS);

// --- The closure ---

struct CLOSURE {
    std::vector<bitvec> rows; // by number of the function

    explicit CLOSURE(size_t functions) : rows(functions + 1) {
        for (bitvec& row : rows) bv_init(&row, static_cast<uint32_t>(rows.size()), nullptr, false);
    }
    CLOSURE(const CLOSURE&) = delete;
    CLOSURE& operator=(const CLOSURE&) = delete;
    ~CLOSURE() {
        for (bitvec& row : rows) bv_free(&row);
    }
};

bool sweep(CLOSURE& closure) {
    bool changed = false;
    for (size_t i = file_level.functions.size(); i-- > 0;) {
        bitvec* row = &closure.rows[file_level.functions[i]->number];
        for (const FUNCTION_REFERENCE* callee = file_level.functions[i]->callees; callee;
             callee = callee->next)
            changed |= bv_union(row, &closure.rows[callee->function->number]);
    }
    return changed;
}

constexpr int MOST_SWEEPS = 20; // some graphs want one for each function
int sweeps;

void close_calls() {
    CLOSURE closure(file_level.functions.size());
    for (const FUNINFO* info : file_level.functions)
        for (const FUNCTION_REFERENCE* callee = info->callees; callee; callee = callee->next)
            bv_set(&closure.rows[info->number], callee->function->number);
    for (sweeps = 1; sweep(closure) && sweeps < MOST_SWEEPS; ++sweeps) {
    }
}

// --- Times ---

using CLOCK = std::chrono::steady_clock;

double milliseconds_of(void (*run)()) {
    const CLOCK::time_point start = CLOCK::now();
    run();
    return std::chrono::duration<double, std::milli>(CLOCK::now() - start).count();
}

enum : size_t { WHOLE = STEP_COUNT, CLOSED, TIME_COUNT };
using TIMES = std::array<double, TIME_COUNT>; // the steps, the whole with its notes, the closure

TIMES one_run() {
    TIMES times{};
    start_file();
    declare_functions();
    for (size_t i = 0; i < STEP_COUNT; ++i) times[i] = milliseconds_of(STEPS[i].run);
    times[CLOSED] = milliseconds_of(close_calls);
    start_file();
    declare_functions();
    times[WHOLE] = milliseconds_of(note_functions) + milliseconds_of(analyse);
    return times;
}

constexpr int RUNS = 7;

TIMES best_times() {
    TIMES best = one_run();
    for (int run = 1; run < RUNS; ++run) {
        const TIMES times = one_run();
        for (size_t i = 0; i < best.size(); ++i) best[i] = std::min(best[i], times[i]);
    }
    return best;
}

void print_head() {
    printf("| calls | functions | whole | ratio |");
    for (const STEP& step : STEPS) printf(" %s |", step.name);
    printf(" closure | MB | sweeps |\n|---|---|---|---|");
    for (size_t i = 0; i < STEP_COUNT; ++i) printf("---|");
    printf("---|---|---|\n");
}

void print_line(const SHAPE& shape, uint32_t functions, const TIMES& times, const TIMES* above) {
    printf("| %s | %u | %.1f |", shape.name, functions, times[WHOLE]);
    if (above)
        printf(" %.2f |", times[WHOLE] / (*above)[WHOLE]);
    else
        printf(" |");
    for (size_t i = 0; i < STEP_COUNT; ++i) printf(" %.1f |", times[i]);
    printf(" %.1f | %.1f | %d%s |\n", times[CLOSED], double(functions) * functions / 8e6, sweeps,
           sweeps == MOST_SWEEPS ? ", not done" : "");
    fflush(stdout);
}

void print_shape(const SHAPE& shape) {
    TIMES above{};
    for (const uint32_t functions : SIZES) {
        const GRAPH made = shape.make(functions);
        graph = &made;
        const TIMES times = best_times();
        print_line(shape, functions, times, functions == SIZES[0] ? nullptr : &above);
        above = times;
    }
}

} // namespace

} // namespace pelorus

int main() {
    using namespace pelorus;
    reset_settings();
    settings.optimization_level = 3;
    print_head();
    for (const SHAPE& shape : SHAPES) print_shape(shape);
    return 0;
}
