// The note of a body; see body_effects.h.
//
// 1. Every statement is walked once, whatever the order in which it is executed. The walk takes each value to
//    where it goes: into a variable, into the address of an access, into the arguments of a call, or out of
//    the function. That makes a graph whose nodes are the function's variables and these places; what a
//    variable may be made of (SOURCE bits) flows along its edges until nothing changes. An array or structure
//    is one node.
//
//        p = q; *p = g;     q -> p,  p -> WRITTEN,  g is FROM_OTHER and goes to KEPT
//
//    What an access by an address does follows from what its address is made of. An address that is a sum is
//    made of its pointer: offsets lead from object to object nowhere. An address compared with another, or
//    taken from it to give a distance, is not kept by that.
//    A variable whose address is used for more than an access to itself can be changed by others: it may hold
//    anything, and what goes into it is kept.
// 2. The graph of the statements tells loops, straight-line code and whether the function returns;
//    body_flow.h.
//
// After Andersen's analysis (Program Analysis and Specialization for the C Programming Language, 1994) with
// one object for all memory that is not the function's own.
#include "ipa/body_effects.h"

#include <cstring>

#include "ipa/body_flow.h"
#include "ir/call.h"
#include "ir/effects.h"
#include "ir/stmt.h"
#include "ir/walk.h"
#include "support/settings.h"

namespace pelorus {

namespace {

using PLACE_NUMBER = uint32_t;
enum : PLACE_NUMBER { DROPPED, KEPT, READ, WRITTEN, FIRST_VARIABLE };

struct VALUE_TASK {
    const NODE* tree;
    PLACE_NUMBER to;
    bool conditional; // the statement may be executed without it
};

struct BODY_WALK {
    BODY_NOTES& notes;
    BODY_NOTE note{};
    std::vector<VALUE_TASK> tasks{};
    std::vector<uint8_t> made_of{}; // SOURCE bits, by place
    std::vector<bool> exposed{};    // variables
    std::vector<bool> numbers{};    // places of numbers, which are no pointers of a structure that was passed
    std::vector<std::pair<PLACE_NUMBER, PLACE_NUMBER>> edges{};
    std::vector<PLACE_NUMBER> call_places{};
    bool stops = false; // the statement calls what never returns
};

// --- Types and objects ---

bool is_number(const TYPE* type) { return type_is_arithmetic(type); }
bool may_hold_address(const TYPE* type) { return type && !type_is_void(type) && !is_number(type); }

bool is_constant_object(const SYMBOL* symbol) {
    const TYPE* type = symbol->declared_type ? symbol->declared_type : symbol->type;
    while (type_is_array(type) && type_target(type)) {
        if (type_is_const(type)) break;
        type = type_target(type);
    }
    return type_is_function(type) || (type_is_const(type) && !type_is_volatile(type));
}

PLACE_NUMBER place_of(const SYMBOL* local) { return FIRST_VARIABLE + static_cast<uint32_t>(local->serial); }

PLACE_NUMBER new_place(BODY_WALK& walk, bool of_number = false) {
    walk.made_of.push_back(0);
    walk.numbers.push_back(of_number);
    return static_cast<PLACE_NUMBER>(walk.made_of.size() - 1);
}

// --- Values ---

void add_effects(BODY_WALK& walk, uint32_t effects) {
    walk.note.effects = static_cast<uint16_t>(walk.note.effects | effects);
}

void flow(BODY_WALK& walk, const NODE* tree, PLACE_NUMBER to, bool conditional) {
    if (tree) walk.tasks.push_back({tree, to, conditional});
}

void flow_from(BODY_WALK& walk, PLACE_NUMBER from, PLACE_NUMBER to) {
    if (to != DROPPED) walk.edges.emplace_back(from, to);
}

void make_of(BODY_WALK& walk, PLACE_NUMBER to, SOURCE source) {
    if (to != DROPPED) walk.made_of[to] = static_cast<uint8_t>(walk.made_of[to] | source);
}

// Nothing is known of what code that is not in the tree does with the operands.
void run_unknown(BODY_WALK& walk, const VALUE_TASK& task) {
    add_effects(walk, EFFECT_ALL);
    make_of(walk, task.to, FROM_OTHER);
    flow(walk, task.tree->right, KEPT, task.conditional);
    flow(walk, task.tree->left, KEPT, task.conditional);
}

// --- Objects ---

enum class MODE : uint8_t { USE, ASSIGN, UPDATE, ADDRESS };

struct OBJECT_TASK {
    const NODE* object;
    MODE mode;
    PLACE_NUMBER value; // where the value that is read goes, or the address
    bool conditional;
    bool by_members = true; // the object is reached by members that share their bytes with no others
};

bool reads(MODE mode) { return mode == MODE::USE || mode == MODE::UPDATE; }
bool writes(MODE mode) { return mode == MODE::ASSIGN || mode == MODE::UPDATE; }

void touch_local(BODY_WALK& walk, const OBJECT_TASK& task, const SYMBOL* symbol, const TYPE* type) {
    if (task.mode == MODE::ADDRESS) {
        make_of(walk, task.value, FROM_OWN);
        walk.exposed[place_of(symbol)] = true;
        return;
    }
    if (!reads(task.mode) || task.value == DROPPED) return;
    PLACE_NUMBER from = place_of(symbol);
    if (task.by_members && !is_number(symbol->type) && type && is_number(type)) {
        const PLACE_NUMBER number = new_place(walk, true);
        flow_from(walk, from, number);
        from = number;
    }
    flow_from(walk, from, task.value);
    // A pointer that was put there as something else: a union, say.
    if (may_hold_address(type) && !type_is_pointer(symbol->type)) make_of(walk, task.value, FROM_OTHER);
}

void touch_static(BODY_WALK& walk, const OBJECT_TASK& task, const SYMBOL* symbol, const TYPE* type) {
    const bool constant = is_constant_object(symbol);
    if (task.mode == MODE::ADDRESS) return make_of(walk, task.value, constant ? FROM_CONSTANT : FROM_STATIC);
    if (settings.all_volatile) add_effects(walk, EFFECT_SEEN);
    if (reads(task.mode) && !constant) add_effects(walk, EFFECT_GLOBAL_USE);
    if (writes(task.mode)) add_effects(walk, EFFECT_GLOBAL_ASG);
    if (may_hold_address(type)) make_of(walk, task.value, FROM_OTHER);
}

void touch_named(BODY_WALK& walk, const OBJECT_TASK& task, const NODE* name, const TYPE* type) {
    const SYMBOL* symbol = name->symbol();
    if (!symbol) return;
    if (symbol->level > 0)
        touch_local(walk, task, symbol, type);
    else
        touch_static(walk, task, symbol, type);
}

// Which operand of a sum is its pointer; null when none is.
const NODE* pointer_operand(const NODE* sum) {
    if (!type_is_pointer(sum->type)) return nullptr;
    const bool on_left = type_is_pointer(sum->left->type);
    return on_left != type_is_pointer(sum->right->type) ? (on_left ? sum->left : sum->right) : nullptr;
}

// The operand that an address is made of; null for what is no step on the way to a pointer.
const NODE* next_in_address(const NODE* address) {
    switch (address->op) {
    case OP_PLUS:
    case OP_MINUS: return pointer_operand(address);
    case OP_PCONV:
    case OP_ISP2CHAR: return type_is_pointer(address->left->type) ? address->left : nullptr;
    case OP_NONALIGN:
    case OP_IDENTITY: return address->left;
    case OP_COMMAOP: return address->right;
    default: return nullptr;
    }
}

// The pointer that an address is a sum of. The address itself when that is a number, which the offsets may
// make an address of.
const NODE* pointer_of(const NODE* address) {
    constexpr int MOST_STEPS = 100;
    const NODE* pointer = address;
    for (int step = 0; step < MOST_STEPS; ++step) {
        const NODE* next = next_in_address(pointer);
        if (!next) {
            const bool is_number = pointer->op == OP_ICON || pointer->op == OP_PCONV ||
                                   pointer->op == OP_ISP2CHAR || pointer->op == OP_SCONV;
            return is_number ? address : pointer;
        }
        pointer = next;
    }
    return address;
}

// Evaluates what stands on the way to the pointer.
void evaluate_offsets(BODY_WALK& walk, const NODE* address, const NODE* pointer, bool conditional) {
    while (address != pointer) {
        const NODE* next = next_in_address(address);
        const NODE* other = next == address->left ? address->right : address->left;
        flow(walk, other, DROPPED, conditional);
        address = next;
    }
}

void touch_pointed(BODY_WALK& walk, const OBJECT_TASK& task, const NODE* pointer, const TYPE* type) {
    if (task.mode == MODE::ADDRESS) return flow(walk, pointer, task.value, task.conditional);
    if (settings.all_volatile) add_effects(walk, EFFECT_SEEN);
    if (may_hold_address(type)) make_of(walk, task.value, FROM_OTHER);
    if (!reads(task.mode)) return flow(walk, pointer, WRITTEN, task.conditional);
    if (!writes(task.mode)) return flow(walk, pointer, READ, task.conditional);
    const PLACE_NUMBER both = new_place(walk);
    flow_from(walk, both, READ);
    flow_from(walk, both, WRITTEN);
    flow(walk, pointer, both, task.conditional);
}

// Follows an lvalue to its variable or pointer. `type` is that of the value.
void touch_object(BODY_WALK& walk, OBJECT_TASK task) {
    const TYPE* type = task.object->type;
    const bool is_access = task.mode != MODE::ADDRESS;
    for (const NODE* object = task.object; object;) {
        if (task.mode == MODE::ASSIGN && is_bitfield_member(object)) task.mode = MODE::UPDATE;
        if (is_access && object->type && type_is_volatile(object->type)) add_effects(walk, EFFECT_SEEN);
        switch (object->op) {
        case OP_NAME: return touch_named(walk, task, object, type);
        case OP_SCON: return make_of(walk, task.value, FROM_CONSTANT);
        case OP_STDOT:
            task.by_members &= type_strip(object->left->type)->kind != TK_UNION;
            object = object->left;
            break;
        case OP_IDENTITY:
        case OP_NONALIGN: object = object->left; break;
        case OP_COMMAOP:
            flow(walk, object->left, DROPPED, task.conditional);
            object = object->right;
            break;
        case OP_UMULT:
        case OP_STREF: {
            const NODE* pointer = pointer_of(object->left);
            evaluate_offsets(walk, object->left, pointer, task.conditional);
            if (!takes_address(pointer)) return touch_pointed(walk, task, pointer, type);
            object = pointer->left; // an element of the object
            task.by_members = false;
            break;
        }
        case OP_QUEST:
            if (object->right->op != OP_COLON) return run_unknown(walk, {object, task.value, true});
            flow(walk, object->left, DROPPED, task.conditional);
            touch_object(walk, {object->right->left, task.mode, task.value, true, task.by_members});
            object = object->right->right;
            task.conditional = true;
            break;
        default: // a value, of which a part is taken
            if (object->op == OP_STASG)
                touch_object(walk, {object->left, MODE::USE, DROPPED, task.conditional});
            if (is_access) return flow(walk, object, task.value, task.conditional);
            make_of(walk, task.value, FROM_OTHER);
            return flow(walk, object, KEPT, task.conditional);
        }
    }
}

// Where a value goes that is assigned to the lvalue.
PLACE_NUMBER target_of(const NODE* object) {
    while (object) switch (object->op) {
        case OP_NAME:
            return object->symbol() && object->symbol()->level > 0 ? place_of(object->symbol()) : KEPT;
        case OP_STDOT:
        case OP_IDENTITY:
        case OP_NONALIGN: object = object->left; break;
        case OP_COMMAOP: object = object->right; break;
        case OP_UMULT:
        case OP_STREF: {
            const NODE* pointer = pointer_of(object->left);
            if (!takes_address(pointer)) return KEPT;
            object = pointer->left;
            break;
        }
        default: return KEPT;
        }
    return KEPT;
}

void assign(BODY_WALK& walk, const VALUE_TASK& task) {
    const NODE* tree = task.tree;
    const bool plain = tree->op == OP_ASG || tree->op == OP_STASG;
    PLACE_NUMBER target = target_of(tree->left);
    if (task.to != DROPPED) {
        const PLACE_NUMBER value = new_place(walk);
        flow_from(walk, value, target);
        flow_from(walk, value, task.to);
        if (target >= FIRST_VARIABLE) flow_from(walk, target, task.to); // the old value, of x++
        if (!plain && target == KEPT && may_hold_address(tree->type)) make_of(walk, task.to, FROM_OTHER);
        target = value;
    }
    flow(walk, tree->right, target, task.conditional);
    // The value of an assignment of structures is read from where it was put.
    const bool is_read = !plain || (tree->op == OP_STASG && task.to != DROPPED);
    touch_object(walk, {tree->left, is_read ? MODE::UPDATE : MODE::ASSIGN, DROPPED, task.conditional});
}

// --- Calls ---

bool is_function_pointer(const TYPE* type) {
    const TYPE* target = type && type_is_pointer(type) ? type_target(type) : nullptr;
    return target && type_is_function(target);
}

bool is_declared_without_return(const SYMBOL* callee, const TYPE* type) {
    if (type && type_is_function(type) && (type_strip(type)->attributes & FA_NORETURN)) return true;
    return callee && ((callee->flags & SF_NORETURN) || !strcmp(plain_name(callee->name), "__builtin_trap"));
}

// Numbers are no addresses that the callee's flags speak of.
PLACE_NUMBER place_of_argument(const NODE* argument, PLACE_NUMBER call) {
    return argument->op == OP_STARG || may_hold_address(argument->type) ? call : KEPT;
}

void pass_arguments(BODY_WALK& walk, CALL_NOTE& call, const VALUE_TASK& task, PLACE_NUMBER place) {
    const NODE* list = task.tree->right;
    const auto pass = [&](const NODE* argument) {
        call.passes_functions |= is_function_pointer(argument->type);
        const PLACE_NUMBER to = call.fits ? place_of_argument(argument, place) : KEPT;
        flow(walk, argument->op == OP_STARG ? argument->left : argument, to, task.conditional);
    };
    for (; list && list->op == OP_COMMA; list = list->left) pass(list->right);
    if (list) pass(list);
}

void call(BODY_WALK& walk, const VALUE_TASK& task) {
    const NODE* tree = task.tree;
    SYMBOL* callee = direct_callee(tree);
    const TYPE* type = type_target(tree->left->type);
    if (may_hold_address(tree->type)) make_of(walk, task.to, FROM_OTHER);
    if (!task.conditional) walk.stops |= is_declared_without_return(callee, type);
    if (!callee || callee->level > 0 || !type_is_function(callee->type)) return run_unknown(walk, task);
    if (!task.conditional) walk.notes.stops.push_back(callee);
    const bool fits =
        type && type_is_function(type) && type_strip(type)->prototyped && type_compatible(type, callee->type);
    CALL_NOTE made{callee, 0, fits, false};
    const PLACE_NUMBER place = new_place(walk);
    pass_arguments(walk, made, task, place);
    walk.notes.calls.push_back(made);
    walk.call_places.push_back(place);
}

// --- The walk ---

bool may_do_anything(const NODE* node) {
    if (opcode_arity(node->op) < 0 || !opcode_fact(node->op).name) return true;
    switch (node->op) {
    case OP_STFIELD:
    case OP_ARASG:
    case OP_PMCONV:
    case OP_PVCONV:
    case OP_DDNODE:
    case OP_TOIEEE:
    case OP_FRIEEE: return true;
    default: return opcode_fact(node->op).kind == OPCODE_CLASS::CALLS && !is_call(node);
    }
}

// A sum or difference. A distance between two addresses is none.
void add_up(BODY_WALK& walk, const VALUE_TASK& task) {
    const NODE* tree = task.tree;
    if (const NODE* pointer = pointer_of(tree); pointer != tree) {
        evaluate_offsets(walk, tree, pointer, task.conditional);
        return flow(walk, pointer, task.to, task.conditional);
    }
    const bool distance = tree->op == OP_MINUS && type_is_pointer(tree->left->type) &&
                          type_is_pointer(tree->right->type) && tree->left->op != OP_ICON &&
                          tree->right->op != OP_ICON && tree->right->op != OP_PCONV;
    if (type_is_pointer(tree->type)) make_of(walk, task.to, FROM_OTHER);
    flow(walk, tree->left, distance ? DROPPED : task.to, task.conditional);
    flow(walk, tree->right, distance ? DROPPED : task.to, task.conditional);
}

void convert(BODY_WALK& walk, const VALUE_TASK& task) {
    const NODE* tree = task.tree;
    const bool makes_address = may_hold_address(tree->type) && !may_hold_address(tree->left->type);
    const bool is_null = tree->left->op == OP_ICON && int96_is_zero(tree->left->value());
    if (makes_address && !is_null) make_of(walk, task.to, FROM_OTHER);
    flow(walk, tree->left, type_is_void(tree->type) ? PLACE_NUMBER{DROPPED} : task.to, task.conditional);
}

void evaluate_both(BODY_WALK& walk, const VALUE_TASK& task, PLACE_NUMBER to, bool right_conditional) {
    flow(walk, task.tree->right, to, task.conditional || right_conditional);
    flow(walk, task.tree->left, to, task.conditional);
}

void evaluate_return(BODY_WALK& walk, const VALUE_TASK& task) {
    const NODE* name = task.tree->left;
    if (task.tree->op == OP_RETURN) return flow(walk, task.tree->right, KEPT, task.conditional);
    if (name && name->symbol()) touch_object(walk, {name, MODE::USE, KEPT, task.conditional});
}

void evaluate_value(BODY_WALK& walk, const VALUE_TASK& task) {
    const NODE* tree = task.tree;
    if (may_do_anything(tree)) return run_unknown(walk, task);
    switch (tree->op) {
    case OP_NAME:
    case OP_UMULT:
    case OP_STREF:
    case OP_STDOT: return touch_object(walk, {tree, MODE::USE, task.to, task.conditional});
    case OP_UAND:
    case OP_ACONV: return touch_object(walk, {tree->left, MODE::ADDRESS, task.to, task.conditional});
    case OP_ICON:
        if (type_is_pointer(tree->type) && !int96_is_zero(tree->value())) make_of(walk, task.to, FROM_OTHER);
        return;
    case OP_CALL:
    case OP_UCALL: return call(walk, task);
    case OP_ARGREF: add_effects(walk, EFFECT_KEEPS); return make_of(walk, task.to, FROM_OTHER);
    case OP_RETURN:
    case OP_URETURN: return evaluate_return(walk, task);
    case OP_PLUS:
    case OP_MINUS: return add_up(walk, task);
    case OP_SCONV:
    case OP_PCONV:
    case OP_ISP2CHAR: return convert(walk, task);
    case OP_COMMAOP:
        flow(walk, tree->left, DROPPED, task.conditional);
        return flow(walk, tree->right, task.to, task.conditional);
    case OP_COLON: flow(walk, tree->left, task.to, true); return flow(walk, tree->right, task.to, true);
    case OP_QUEST:
        flow(walk, tree->left, DROPPED, task.conditional);
        return flow(walk, tree->right, task.to, task.conditional);
    case OP_ANDAND:
    case OP_OROR: return evaluate_both(walk, task, DROPPED, true);
    case OP_IF:
    case OP_SWITCH: return flow(walk, tree->left, DROPPED, task.conditional);
    case OP_BRANCH:
    case OP_ASSERT:
    case OP_NASSERT:
    case OP_LABELDEF:
    case OP_PPRAGMA: return;
    case OP_ASM:
        if (!is_comment(tree)) run_unknown(walk, task);
        return;
    default:
        if (opcode_assigns(tree->op)) return assign(walk, task);
        const bool answers = opcode_is_relation(tree->op) || tree->op == OP_EXCLAIM;
        return evaluate_both(walk, task, answers ? PLACE_NUMBER{DROPPED} : task.to, false);
    }
}

void walk_statement(BODY_WALK& walk, const NODE* tree) {
    flow(walk, tree, DROPPED, false);
    while (!walk.tasks.empty()) {
        const VALUE_TASK task = walk.tasks.back();
        walk.tasks.pop_back();
        evaluate_value(walk, task);
    }
}

void append_statement(BODY_WALK& walk, FLOW_BUILDER& builder, const NODE* tree) {
    if (tree->op == OP_LABELDEF) return append_label(builder, tree);
    begin_statement(builder);
    walk.stops = false;
    walk_statement(walk, tree);
    end_statement(builder, tree, walk.stops);
}

// --- What flows where ---

// What is passed may come as a pointer or in a structure; a number that is an address is none of it.
void start_variables(BODY_WALK& walk) {
    const size_t count = static_cast<size_t>(function_symbols.serial) + FIRST_VARIABLE;
    walk.made_of.assign(count, 0);
    walk.exposed.assign(count, false);
    walk.numbers.assign(count, false);
    for (const SYMBOL* symbol = function_symbols.parameters.first; symbol; symbol = symbol->next)
        if (may_hold_address(symbol->type))
            walk.made_of[place_of(symbol)] = type_is_pointer(symbol->type) ? FROM_ARGUMENT : FROM_MEMBER;
}

void spread(BODY_WALK& walk) {
    std::vector<uint32_t> first(walk.made_of.size() + 1);
    for (const auto& [from, to] : walk.edges) ++first[from + 1];
    for (size_t i = 1; i < first.size(); ++i) first[i] += first[i - 1];
    std::vector<PLACE_NUMBER> targets(walk.edges.size());
    std::vector<uint32_t> next = first;
    for (const auto& [from, to] : walk.edges) targets[next[from]++] = to;
    std::vector<PLACE_NUMBER> waiting;
    for (PLACE_NUMBER place = 0; place < walk.made_of.size(); ++place)
        if (walk.made_of[place]) waiting.push_back(place);
    while (!waiting.empty()) {
        const PLACE_NUMBER from = waiting.back();
        waiting.pop_back();
        for (uint32_t i = first[from]; i < first[from + 1]; ++i) {
            const uint32_t lost = walk.numbers[targets[i]] ? FROM_MEMBER : 0;
            const auto sum = static_cast<uint8_t>(walk.made_of[targets[i]] | (walk.made_of[from] & ~lost));
            if (sum == walk.made_of[targets[i]]) continue;
            walk.made_of[targets[i]] = sum;
            waiting.push_back(targets[i]);
        }
    }
}

void sum_up_sources(BODY_WALK& walk) {
    for (PLACE_NUMBER place = FIRST_VARIABLE; place < walk.exposed.size(); ++place)
        if (walk.exposed[place]) make_of(walk, place, FROM_OTHER);
    spread(walk);
    bool kept = walk.made_of[KEPT] & FROM_PASSED;
    for (PLACE_NUMBER place = FIRST_VARIABLE; place < walk.exposed.size(); ++place)
        kept |= walk.exposed[place] && (walk.made_of[place] & FROM_PASSED);
    const uint8_t read = walk.made_of[READ];
    const uint8_t written = walk.made_of[WRITTEN];
    if (kept) add_effects(walk, EFFECT_KEEPS);
    if (read & FROM_STATIC) add_effects(walk, EFFECT_GLOBAL_USE);
    if (read & FROM_PASSED) add_effects(walk, EFFECT_ARGUMENT_USE);
    if (read & FROM_OTHER) add_effects(walk, EFFECT_OTHER_USE);
    if (written & (FROM_STATIC | FROM_CONSTANT)) add_effects(walk, EFFECT_GLOBAL_ASG);
    if (written & FROM_PASSED) add_effects(walk, EFFECT_ARGUMENT_ASG);
    if (written & FROM_OTHER) add_effects(walk, EFFECT_OTHER_ASG);
    for (size_t i = 0; i < walk.call_places.size(); ++i)
        walk.notes.calls[walk.note.first_call + i].passes = walk.made_of[walk.call_places[i]];
}

} // namespace

void add_body_note(BODY_NOTES& notes, FUNINFO& info) {
    BODY_WALK walk{notes};
    BODY_NOTE& note = walk.note;
    note.info = &info;
    note.first_call = static_cast<uint32_t>(notes.calls.size());
    note.first_flow = static_cast<uint32_t>(notes.flow.size());
    start_variables(walk);
    std::vector<const NODE*> trees;
    for (const STMT* cell = function.statements; cell; cell = cell->next) trees.push_back(cell->tree);
    FLOW_BUILDER builder{notes, note.first_flow};
    begin_flow(builder);
    for (size_t i = trees.size(); i-- > 0;) append_statement(walk, builder, trees[i]);
    finish_flow(builder, note);
    sum_up_sources(walk);
    note.end_calls = static_cast<uint32_t>(notes.calls.size());
    note.promises_nothing = (info.symbol->flags & (SF_WEAK | SF_COMMON)) ||
                            find_attribute(info.symbol, "naked") || find_attribute(info.symbol, "interrupt");
    if (info.symbol->flags & SF_NORETURN) note.never_returns = true;
    notes.bodies.push_back(note);
}

} // namespace pelorus
