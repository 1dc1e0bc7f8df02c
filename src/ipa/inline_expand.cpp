// Inline expansion of the calls of the current function; see inline.h.
//
//   1. The statements are taken one after another, in the order of the function. In each the calls are looked
//      at in the order in which they are evaluated.
//   2. A call is expanded when its function has a definition and is to be inlined, when the arguments match,
//      and when there is room. Otherwise it stays, and its function must be compiled.
//   3. When the body is one value and the arguments can stand in it, that value takes the call's place.
//   4. Otherwise the call is taken out of its expression (inline_lift.h) and a copy of the body put in front
//      of the statement.
//   5. The copy is looked at next, before the rest of the statement, so that calls are met in the order of
//      the program and the depth of an expansion is that of the recursion.
//
// What it does not do: it decides nothing about which functions are worth it; see file_level.h.
#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "ipa/file_level.h"
#include "ipa/inline.h"
#include "ipa/inline_copy.h"
#include "ipa/inline_match.h"
#include "ir/call.h"
#include "ir/effects.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "support/decision.h"
#include "support/pseudo_options.h"
#include "support/run.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/operator_assignment.h"

namespace pelorus {

namespace {

// How far expansion goes. The depth is a promise to users: a call that ten expansions led to stays. Labels
// and blocks are what the numbers of a function allow; a tenth of the blocks is left to the passes. Functions
// that call each other several times would grow by a power of the depth: with every function of the examples
// expanded everywhere the largest one reaches 6,851 units, with those below 63 units 1,107, while a chain of
// fourteen functions with two calls each takes what it gets: 0.3 s and a megabyte of output.
struct EXPANSION_LIMITS {
    int32_t depth = 10;
    uint32_t labels = 32767;         // numbers of labels in a function
    uint32_t blocks = 29000;         // of the 32767 that a function may have
    uint32_t function_units = 10000; // size that a function may reach,
    uint32_t growth = 2;             // and so many times its own size when that is more;
    uint32_t ordered_units = 100000; // the same for calls that must be expanded
};
constexpr EXPANSION_LIMITS EXPANSION_LIMIT;

constexpr int32_t INLINE_LEVEL = 3; // from here on functions are expanded that are not declared inline
constexpr int NO_INLINE_DIGIT = 9;  // of the debug digits

struct EXPANDER {
    STMT* pending = nullptr; // statements still to be looked at, in order
    STMT* output = nullptr;  // statements done, the last one first
    uint32_t last_label = 0;
    uint32_t blocks = 0;
    uint32_t largest = 0;                            // units that the function may reach
    std::unordered_map<const NODE*, bool> decided{}; // calls: true when they are to be expanded
    std::unordered_set<const SYMBOL*> results{};     // variables that hold the values of expanded calls
    std::vector<FUNINFO*> stopped{};                 // functions whose recursion reached the limit
    const STMT* changer = nullptr;                   // the statement that
    std::unordered_set<const SYMBOL*> changes{};     // changes these variables
    bool any = false;
};

std::vector<FUNINFO*> inlined_functions; // in the order of their first expansions

FUNINFO* inlined_callee(const NODE* call) {
    const SYMBOL* callee = direct_callee(call);
    if (!callee) return nullptr;
    FUNINFO* info = callee->funinfo ? callee->funinfo : find_funinfo(callee->name);
    return info && (info->definition || (info->flags & FUN_is_inlined)) ? info : nullptr;
}

// Before phase 2 functions are only looked at.
bool is_for_output() { return run.phase == 2; }

// --- 2: whether ---

bool expansion_is_off() { return settings.debug_digits[NO_INLINE_DIGIT] && settings.optimization_level == 4; }

bool is_to_be_expanded(const FUNINFO& callee) {
    if (!callee.definition || !callee.symbol || !(callee.flags & FUN_is_inlined)) return false;
    return options_expand_calls_of(callee);
}

void warn_of_depth(const POSITION& position) {
    const long line = position.line;
    fprintf(stderr, "\"%s\", line %ld: Warning - INLINE recursion limit exceeded.\n", position_file(position),
            line);
    trace("\n\t>>>>> WARNING: INLINE recursion limit exceeded.\n");
    info("\n>>>> WARNING: INLINE recursion limit exceeded on line %ld.\n", line);
}

bool is_ordered(const FUNINFO& callee) { return find_attribute(callee.symbol, "always_inline"); }

// The call stays, and its function is compiled.
bool keep_call(FUNINFO& callee, const char* why) {
    mark_cannot_suppress(callee);
    return refuse(SITE_inline_call, why, "{}", callee.name);
}

// The same where the call cannot be expanded: whoever ordered it is told.
bool cannot_expand(const INLINE_CALL& call, const char* why) {
    if (is_for_output() && is_ordered(*call.callee)) {
        fprintf(stderr, "\"%s\", line %ld: Warning - Call to %s() cannot be inlined: %s.\n",
                position_file(call.position), static_cast<long>(call.position.line), call.callee->name, why);
        info("\n>>> Warning: call to %s() on line %ld cannot be inlined: %s.\n\n", call.callee->name,
             static_cast<long>(call.position.line), why);
    }
    return keep_call(*call.callee, why);
}

const char* why_no_room(const EXPANDER& expander, const CALL_PATH& path, const INLINE_CALL& call) {
    const INLINE_DEFINITION& definition = call.definition;
    if (expander.last_label + definition.labels + labels_to_lift(path) + 1 > EXPANSION_LIMIT.labels)
        return "no further label can be numbered";
    if (expander.blocks + definition.blocks + labels_to_lift(path) + 1 > EXPANSION_LIMIT.blocks)
        return "the function has as many blocks as it may";
    const uint32_t least = is_ordered(*call.callee) ? EXPANSION_LIMIT.ordered_units : 0;
    if (function.size_units + definition.size > std::max(expander.largest, least))
        return "the function is as large as it may become";
    return nullptr;
}

// From here on no call of the function is expanded.
bool is_too_deep(EXPANDER& expander, const NODE* call, FUNINFO& callee, const POSITION& position) {
    if (call->inline_depth < EXPANSION_LIMIT.depth) return false;
    if (is_for_output()) warn_of_depth(position);
    keep_call(callee, "the recursion limit is reached");
    callee.flags &= ~uint32_t{FUN_is_inlined};
    expander.stopped.push_back(&callee);
    return true;
}

// What was only looked at is expanded alike when it is written.
void forget_stops(const EXPANDER& expander) {
    if (is_for_output()) return;
    for (FUNINFO* callee : expander.stopped) callee->flags |= FUN_is_inlined;
}

bool arguments_match(const INLINE_CALL& call) {
    if (call_matches(call.call, call.arguments, call.callee->symbol, call.definition)) return true;
    trace("\n\t>>>>> (%ld) Can't integrate call to %s(): argument mismatch\n",
          static_cast<long>(call.position.line), call.callee->name);
    return false;
}

bool may_expand(EXPANDER& expander, const CALL_PATH& path, const INLINE_CALL& call) {
    FUNINFO& callee = *call.callee;
    if (!arguments_match(call)) return cannot_expand(call, "the arguments do not match the parameters");
    if (is_too_deep(expander, call.call, callee, call.position)) return false;
    if (const char* why = why_not_liftable(path)) return cannot_expand(call, why);
    if (const char* why = why_no_room(expander, path, call)) return cannot_expand(call, why);
    if (settings.keep_unoptimized) return keep_call(callee, "the function is to stay as it is");
    if (disable_switch("inline")) return keep_call(callee, "the pass is disabled");
    if (change_exactly(SITE_inline_call, "\n\t>>>>> ({}) Integrating procedure {}() <<<<<\n",
                       call.position.line, callee.name))
        return true;
    mark_cannot_suppress(callee);
    return false;
}

// --- The expansion ---

// One more call of the function is gone; the calls in copies were never counted.
void count_expansion(const INLINE_CALL& call) {
    FUNINFO& callee = *call.callee;
    if (is_for_output() && !call.call->inline_depth && callee.uses_left) callee.uses_left--;
    if (is_for_output() && std::ranges::find(inlined_functions, &callee) == inlined_functions.end())
        inlined_functions.push_back(&callee);
    function.size_units += call.definition.size;
    function_node_state.has_bitfields |= call.definition.has_bitfields;
}

void prepend(EXPANDER& expander, const INLINE_CODE& code) {
    if (!code.first) return;
    code.last->next = expander.pending;
    expander.pending = code.first;
}

void put_out(EXPANDER& expander, STMT* cell) {
    cell->next = expander.output;
    expander.output = cell;
}

// A pragma speaks of the statement behind it, and not of what is put in between.
void take_pragmas_back(EXPANDER& expander) {
    while (expander.output && expander.output->tree->op == OP_PPRAGMA) {
        STMT* pragma = expander.output;
        expander.output = pragma->next;
        pragma->next = expander.pending;
        expander.pending = pragma;
    }
}

// What the statement leaves when the call has been taken out of it.
void put_back(EXPANDER& expander, STMT* cell) {
    cell->next = expander.pending;
    expander.pending = cell;
}

// The operands that are evaluated before the call change nothing, so that they may as well come after a call
// that changes nothing.
bool changes_nothing_before(const CALL_PATH& path, const std::vector<NODE*>& arguments) {
    for (size_t i = 0; i + 1 < path.size(); ++i) {
        const NODE* parent = *path[i];
        if (parent->left != *path[i + 1] && tree_has_effects(parent->left)) return false;
    }
    return std::ranges::none_of(arguments, tree_has_effects);
}

// --- 4: where the value goes ---

bool is_private_variable(const NODE* lvalue) {
    const SYMBOL* symbol = lvalue->op == OP_NAME ? lvalue->symbol() : nullptr;
    return symbol && symbol->level == BODY_LEVEL && !symbol->address_exposed &&
           !type_is_volatile(lvalue->type);
}

INLINE_DELIVERY delivery_of(const CALL_PATH& path) {
    if (is_value_dropped(path)) return {INLINE_DELIVERY::DROP};
    const NODE* statement = *path[0];
    if (path.size() != 2) return {INLINE_DELIVERY::ASSIGN};
    if (statement->op == OP_RETURN) return {INLINE_DELIVERY::RETURN, nullptr, statement->left};
    const bool assigns = statement->op == OP_ASG || statement->op == OP_STASG;
    if (assigns && is_private_variable(statement->left))
        return {INLINE_DELIVERY::ASSIGN, statement->left->symbol()};
    return {INLINE_DELIVERY::ASSIGN};
}

// The value stands where the call stood. False when nothing is left of the statement.
bool put_value(const CALL_PATH& path, const INLINE_DELIVERY& delivery, SYMBOL* variable) {
    NODE*& place = *path.back();
    switch (delivery.way) {
    case INLINE_DELIVERY::RETURN: return false;
    case INLINE_DELIVERY::DROP: place = new_dropped_value(); break;
    case INLINE_DELIVERY::ASSIGN:
        if (delivery.variable) return false;
        NODE* value = new_name(variable, variable->declared_type);
        place = type_is_scalar(place->type) ? converted_value(value, place->type) : value;
        break;
    }
    return tree_has_effects(*path[0]);
}

void expand_lifted(EXPANDER& expander, CALL_PATH& path, const INLINE_CALL& call, STMT* cell,
                   INLINE_CODE& code) {
    const INLINE_DELIVERY delivery = delivery_of(path);
    SYMBOL* variable = copy_body(call, delivery, code, expander.last_label);
    expander.blocks += call.definition.blocks + 1;
    if (delivery.way == INLINE_DELIVERY::ASSIGN && !delivery.variable) expander.results.insert(variable);
    if (put_value(path, delivery, variable)) put_back(expander, cell);
}

// What the statement changes. What is left of it when a call was taken out changes no more than that.
const std::unordered_set<const SYMBOL*>& changes_of(EXPANDER& expander, const STMT* cell) {
    if (expander.changer != cell) expander.changes = changed_variables(cell->tree);
    expander.changer = cell;
    return expander.changes;
}

// Takes the call out of its statement. It is expanded, or stands in another statement now and will be met
// there.
void expand_statement(EXPANDER& expander, CALL_PATH& path, const INLINE_CALL& call, STMT* cell) {
    INLINE_CODE code;
    code.position = cell->position;
    const uint32_t labels = labels_to_lift(path);
    const bool is_quiet = !labels && call.definition.is_quiet && changes_nothing_before(path, call.arguments);
    INLINE_LIFT lift{path, code, expander.last_label, is_quiet, changes_of(expander, cell)};
    const LIFTED lifted = lift_call(lift);
    if (lifted == LIFTED::CALL)
        expand_lifted(expander, path, call, cell, code);
    else if (lifted == LIFTED::CONDITION)
        put_back(expander, cell);
    take_pragmas_back(expander);
    prepend(expander, code);
    expander.blocks += labels;
}

// --- 1: calls in the order of their evaluation ---

struct STEP {
    NODE** place;
    uint8_t operands; // that were walked
};

// Goes from one call of a statement to the next.
struct CALL_WALK {
    std::vector<STEP> steps;

    // The way to the next call that was not decided to stay and whose function is to be inlined; empty when
    // there is none. What stands in the place of the last one is not walked.
    CALL_PATH next(const EXPANDER& expander);
};

bool may_be_expanded(const EXPANDER& expander, const NODE* node) {
    if (!is_call(node) || !inlined_callee(node)) return false;
    const auto known = expander.decided.find(node);
    return known == expander.decided.end() || known->second;
}

CALL_PATH CALL_WALK::next(const EXPANDER& expander) {
    constexpr int DONE = 3;
    while (!steps.empty()) {
        STEP& step = steps.back();
        if (step.operands == DONE) {
            steps.pop_back();
            continue;
        }
        NODE* node = *step.place;
        NODE** operand = step.operands == 0 ? &node->left : &node->right;
        if (step.operands++ < 2) {
            if (*operand) steps.push_back({operand, 0});
        } else if (may_be_expanded(expander, node)) {
            CALL_PATH path;
            for (const STEP& above : steps) path.push_back(above.place);
            return path;
        }
    }
    return {};
}

INLINE_CALL inline_call_at(const EXPANDER& expander, NODE* node, const STMT* cell) {
    FUNINFO* callee = inlined_callee(node);
    return {node, callee, *callee->definition, inline_arguments(node), cell->position, expander.results};
}

// Whether the call is to be expanded; asked once.
bool decide(EXPANDER& expander, const CALL_PATH& path, const STMT* cell) {
    NODE* node = *path.back();
    const auto known = expander.decided.find(node);
    if (known != expander.decided.end()) return known->second;
    FUNINFO& callee = *inlined_callee(node);
    bool granted = false;
    if (is_to_be_expanded(callee))
        granted = may_expand(expander, path, inline_call_at(expander, node, cell));
    else if (callee.flags & FUN_is_inlined)
        keep_call(callee, "it is not expanded at this level");
    if (granted) count_expansion(inline_call_at(expander, node, cell));
    expander.decided[node] = granted;
    return granted;
}

void look_at_statement(EXPANDER& expander, STMT* cell) {
    stand_at(0, *cell);
    CALL_WALK walk{{{&cell->tree, 0}}};
    bool replaced = false;
    for (CALL_PATH path; !(path = walk.next(expander)).empty();) {
        if (!decide(expander, path, cell)) continue;
        const INLINE_CALL call = inline_call_at(expander, *path.back(), cell);
        expander.any = true;
        NODE* value = value_of_call(call);
        if (!value) return expand_statement(expander, path, call, cell);
        *path.back() = value;
        replaced = true;
    }
    if (!replaced || tree_has_effects(cell->tree)) put_out(expander, cell); // else nobody wanted the value
}

// --- Before and after ---

void note_statement(EXPANDER& expander, const STMT* cell) {
    if (cell->tree->op == OP_LABELDEF)
        expander.last_label = std::max(expander.last_label, static_cast<uint32_t>(cell->tree->value_lo));
    expander.blocks += blocks_of(cell->tree);
    for_each_exposed(cell->tree, expose_symbol);
}

// The statements in order, off the function.
STMT* take_statements() {
    STMT* first = nullptr;
    for (STMT* cell = function.statements; cell;) {
        STMT* before = cell->next;
        cell->next = first;
        first = cell;
        cell = before;
    }
    function.statements = nullptr;
    return first;
}

bool calls_inlined_function() {
    const auto is_wanted = [](const NODE* node) { return is_call(node) && inlined_callee(node); };
    for (const STMT* cell = function.statements; cell; cell = cell->next)
        if (any_node(cell->tree, is_wanted)) return true;
    return false;
}

void number_calls() {
    function_node_state.calls = 0;
    function_node_state.makes_no_calls = true;
    std::vector<STMT*> cells;
    for (STMT* cell = function.statements; cell; cell = cell->next) cells.push_back(cell);
    for (auto cell = cells.rbegin(); cell != cells.rend(); ++cell)
        for_each_node((*cell)->tree, [](NODE* node) {
            if (is_call(node)) node->set_call(static_cast<uint32_t>(++function_node_state.calls));
        });
}

} // namespace

bool options_expand_calls_of(const FUNINFO& callee) {
    if ((callee.symbol->flags & SF_INLINE) || debug_switch("inline_single")) return true;
    return settings.optimization_level >= INLINE_LEVEL && settings.inline_threshold > 0;
}

void mark_cannot_suppress(FUNINFO& callee) {
    const SYMBOL* symbol = callee.symbol;
    const bool is_external =
        !symbol || symbol->storage_class == SC_EXTERN || symbol->storage_class == SC_EXTERN_DEF;
    if ((is_external && !file_level.whole_program) || (callee.flags & FUN_cannot_suppress)) return;
    callee.flags |= FUN_cannot_suppress;
    if (settings.optimization_level < INLINE_LEVEL) callee.flags |= FUN_is_unsuppressed;
    if (!(callee.flags & FUN_is_suppressed)) return;
    info("\nInlineable function %s() was marked for suppression,", callee.name);
    info("\nbut it cannot be because of a problematic use in %s().\n\n", run.current_function_name);
}

void write_inlined_references(void (*write)(const char* line)) {
    if (inlined_functions.empty()) return;
    constexpr char MARK = '\t'; // what begins with ";" and a tab is for readers only
    char line[512];
    snprintf(line, sizeof line, ";%c Inlined function references:", MARK);
    write(line);
    for (size_t i = 0; i < inlined_functions.size(); ++i) {
        snprintf(line, sizeof line, ";%c [%3d] %s", MARK, static_cast<int>(i + 1),
                 inlined_functions[i]->name);
        write(line);
    }
}

void clear_inlined_references() { inlined_functions.clear(); }

bool expand_calls() {
    if (expansion_is_off() || !calls_inlined_function()) return false;
    EXPANDER expander;
    expander.largest = std::max(EXPANSION_LIMIT.function_units, EXPANSION_LIMIT.growth * function.size_units);
    for (const STMT* cell = function.statements; cell; cell = cell->next) note_statement(expander, cell);
    expander.pending = take_statements();
    while (STMT* cell = expander.pending) {
        expander.pending = cell->next;
        look_at_statement(expander, cell);
    }
    function.statements = expander.output;
    forget_stops(expander);
    clear_exposures();
    number_calls();
    return expander.any;
}

} // namespace pelorus
