// Places on the stack that several local variables share.
//
//     { char a[80]; ... }  { int b[20]; ... }  { struct pair c; f(&c); }
//
//     struct {                          a is written as S$0.u1.a, b as S$0.u1.b, c as S$0.u1.c
//         union { a; b; c; } u1;
//     } S$0;
//
//   1. Variables that must lie in memory and that nobody else looks for are collected. Structures that can
//      live in registers are left to allocate_regs.
//   2. Their lifetimes are found (object_lifetimes.cpp), and which of them overlap.
//   3. They are put into places, the largest one first, each into the first place whose variables it does not
//      overlap, so that a place is as large as its first variable.
//   4. The places with several variables become the members of one structure, unions all of them, and a
//      variable of that type is made. The others get trees that name their parts of it, which take the place
//      of their NAMEs when the function is written.
//
// This is stack colouring: places are the colours, and variables that are alive together interfere, as in
// G. Chaitin, Register Allocation and Spilling via Graph Coloring (1982). There is no number of colours to
// keep to, so that greedy colouring does, and the order by size keeps the places small.
//
// It stands here, early, because what it needs to know is lost later: the blocks of the source, once equal
// code is merged. All passes behind still see one variable each. What holds of the function here holds of
// each run of it: while a value of a variable may still be read, no variable of the same place is assigned.
// So it stays right as long as the passes keep the order of these accesses, whatever they do to the graph:
//   - An access that goes away does no harm, nor a read that is made earlier: its value was needed all along.
//   - A read that is made later, behind a store, and a store that is made earlier, in front of a read, might
//     meet a variable of the same place. The passes that move reads of memory (combining and delaying of
//     assignments) take any two variables in memory for the same bytes, so they never do it. A pass that
//     knows better than that asks `may_share_bytes`, and takes such variables for the same object. Nothing is
//     lost by that: where one of them is assigned nobody waits for a value of the other.
//   - A scalar does not become a variable in a register again: it is left out here if it is a candidate, and
//     one that shares its place does not become one.
//
// Not in functions that call setjmp or its like, where a variable may be read after any later call, and that
// take memory of their frame by alloca. A label whose address is taken is a case of a SWITCH like others.
#include "regs/stack_sharing.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "cfg/bb.h"
#include "cfg/statement_edit.h"
#include "ir/call.h"
#include "ir/parameters.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "memory/zone.h"
#include "regs/object_lifetimes.h"
#include "regs/register_structures.h"
#include "support/decision.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

struct SHARING_LIMITS {
    // Each is compared with each, and a set of them stands at each block. The largest number in a function of
    // the examples and the upstream projects is below a fifth of this.
    size_t variables = 512;
};
constexpr SHARING_LIMITS LIMITS;

// --- 1 ---

bool takes_frame_memory(const NODE* call) {
    const SYMBOL* callee = direct_callee(call);
    if (!callee) return false;
    const std::string_view name = plain_name(callee->name);
    return name == "__builtin_alloca" || name == "__builtin_stack_save" || name == "__builtin_stack_restore";
}

// Why no variables of the function share their places; null when they may.
const char* why_function_refuses() {
    const char* why = nullptr;
    for (const BB* block = flow_graph.bb_list; block && !why; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            for_each_node(cell->tree, [&](const NODE* node) {
                if (!is_call(node)) return;
                if (may_return_twice(node)) why = "the function calls setjmp or its like";
                if (takes_frame_memory(node)) why = "the function takes memory of its frame";
            });
    return why;
}

bool is_in_memory(const SYMBOL* symbol) {
    if (symbol->level != BODY_LEVEL || symbol->storage_class != SC_AUTO || symbol->candidate >= 0)
        return false;
    // Scalars whose address is taken are few bytes each, and the code generator takes accesses to parts of
    // one object for accesses to all of it: with them among the others Lua's luaV_execute executed 3.3% more.
    if (type_is_scalar(symbol->type)) return false;
    return symbol != function.return_symbol && symbol->size > 0;
}

const TYPE* element_of(const TYPE* type) {
    while (type_is_array(type)) type = type_target(type);
    return type;
}

bool is_home(const SYMBOL* symbol) {
    const NODE* first = flow_graph.bb_list->stmts->tree;
    if (!copies_parameters(first)) return false;
    for (;; first = first->left) {
        const NODE* copy = first->op == OP_PCOMMA ? first->right : first;
        if (copy->left->symbol() == symbol) return true;
        if (first->op != OP_PCOMMA) return false;
    }
}

const char* why_declared_apart(const SYMBOL* symbol) {
    if (settings.symbolic_debug && symbol->position.line != 0) return "a debugger must see the variable";
    if (type_is_volatile(symbol->type) || type_is_volatile(element_of(symbol->type))) return "it is volatile";
    if (symbol->pragmas) return "its declaration has attributes";
    const TYPE* type = type_strip(symbol->type);
    if (!type_is_scalar(type) && !type_is_array(type) && type->kind != TK_STRUCT && type->kind != TK_UNION)
        return "it is of a class";
    if (type->size != symbol->size) return "it is larger than its type";
    return is_home(symbol) ? "it is the home of a parameter" : nullptr;
}

bool refuse_variable(const SYMBOL* symbol, const char* why) {
    stand_at(0, symbol->position.line);
    return refuse(SITE_share_place, why, "{}", symbol);
}

bool is_larger(const SYMBOL* a, const SYMBOL* b) {
    return a->size != b->size ? a->size > b->size : a->serial < b->serial;
}

// The largest one first.
std::vector<SYMBOL*> collect_variables() {
    std::vector<SYMBOL*> variables;
    const std::unordered_set<const SYMBOL*> registers = structures_for_registers();
    for_each_function_symbol([&](SYMBOL* symbol) {
        if (!is_in_memory(symbol) || registers.contains(symbol)) return;
        if (const char* why = why_declared_apart(symbol))
            refuse_variable(symbol, why);
        else
            variables.push_back(symbol);
    });
    std::ranges::sort(variables, is_larger);
    for (size_t i = LIMITS.variables; i < variables.size(); ++i)
        refuse_variable(variables[i], "the function has too many variables in memory");
    variables.resize(std::min(variables.size(), LIMITS.variables));
    return variables;
}

// --- 3 ---

struct SHARED_PLACE {
    std::vector<size_t> objects; // the largest one first
    uint32_t size = 0;
    uint32_t align = 1;
};

bool fits(const SHARED_PLACE& place, const OBJECT_LIFETIMES& lifetimes, size_t object) {
    return std::ranges::none_of(place.objects,
                                [&](size_t other) { return lifetimes.overlap(object, other); });
}

void put_into(SHARED_PLACE& place, size_t object, const SYMBOL* symbol) {
    place.objects.push_back(object);
    place.size = std::max(place.size, symbol->size);
    place.align = std::max({place.align, symbol->align, symbol->type->align});
}

bool is_mentioned(const OBJECT_LIFETIMES& lifetimes, size_t object) {
    return lifetimes.overlap(object, object);
}

// The place that the variable goes to; null when it must have one to itself.
SHARED_PLACE* place_for(std::vector<SHARED_PLACE>& places, const OBJECT_LIFETIMES& lifetimes, size_t object) {
    const SYMBOL* symbol = lifetimes.objects[object].symbol;
    const auto place = std::ranges::find_if(
        places, [&](const SHARED_PLACE& known) { return fits(known, lifetimes, object); });
    if (place == places.end()) {
        if (!places.empty()) refuse_variable(symbol, "it is alive together with the others");
        return nullptr;
    }
    stand_at(0, symbol->position.line);
    const SYMBOL* first = lifetimes.objects[place->objects[0]].symbol;
    return change(SITE_share_place, "{} lies where {} does", symbol, first) ? &*place : nullptr;
}

std::vector<SHARED_PLACE> assign_places(const OBJECT_LIFETIMES& lifetimes) {
    std::vector<SHARED_PLACE> places;
    for (size_t object = 0; object < lifetimes.objects.size(); ++object) {
        const STACK_OBJECT& variable = lifetimes.objects[object];
        if (!is_mentioned(lifetimes, object)) continue;
        if (variable.why_not) {
            refuse_variable(variable.symbol, variable.why_not);
            continue;
        }
        SHARED_PLACE* place = place_for(places, lifetimes, object);
        put_into(place ? *place : places.emplace_back(), object, variable.symbol);
    }
    std::erase_if(places, [](const SHARED_PLACE& place) { return place.objects.size() < 2; });
    return places;
}

// --- 4 ---

uint32_t round_up(uint32_t size, uint32_t align) { return (size + align - 1) / align * align; }

void complete_members(TYPE* type) {
    const TYPE_FIELD list{.number = LIST_MEMBERS};
    type_package()->add_record(type->uid.number, TR_LIST_COMPLETE, &list);
}

const char* member_name(const std::string& name) { return zone_string(false, name); }

// Variables of different blocks may have the same name.
TYPE_PART* add_variable(TYPE* place, const SYMBOL* symbol, uint32_t key) {
    std::string name = symbol->name;
    for (const TYPE_PART* part = place->parts; part; part = part->next)
        if (name == part->name) name += "$" + std::to_string(symbol->serial);
    return type_package()->add_member(place, member_name(name), symbol->type, 0, key, nullptr);
}

NODE* new_member(NODE* object, TYPE_PART* member) {
    NODE* field = new_node(OP_FIELD, member->type);
    field->set_field(1, member, object->type);
    return new_binary(OP_STDOT, member->type, object, field);
}

TYPE* new_place_type(const SHARED_PLACE& place) {
    return type_package()->make_csu("", TK_UNION, round_up(place.size, place.align), place.align, true,
                                    nullptr);
}

// The types of the places, then the structure's.
TYPE* new_shared_type(const std::vector<SHARED_PLACE>& places, std::vector<TYPE*>& place_types) {
    uint32_t size = 0, align = 1;
    for (const SHARED_PLACE& place : places) {
        place_types.push_back(new_place_type(place));
        size += place_types.back()->size;
        align = std::max(align, place.align);
    }
    return type_package()->make_csu("", TK_STRUCT, round_up(size, align), align, true, nullptr);
}

// Gives the variables of the place their trees.
void replace_variables(const SHARED_PLACE& place, const OBJECT_LIFETIMES& lifetimes, SYMBOL* shared,
                       TYPE_PART* member) {
    uint32_t key = 0;
    for (const size_t object : place.objects) {
        SYMBOL* symbol = lifetimes.objects[object].symbol;
        NODE* union_node = new_member(new_name(shared, shared->type), member);
        symbol->replacement = new_member(union_node, add_variable(member->type, symbol, ++key));
        symbol->replaced = 1;
    }
    complete_members(member->type);
}

uint32_t bytes_saved(const std::vector<SHARED_PLACE>& places, const OBJECT_LIFETIMES& lifetimes) {
    uint32_t saved = 0;
    for (const SHARED_PLACE& place : places)
        for (size_t i = 1; i < place.objects.size(); ++i)
            saved += lifetimes.objects[place.objects[i]].symbol->size;
    return saved;
}

// Places of a larger alignment come first, so that nothing lies between them.
void build_type(std::vector<SHARED_PLACE>& places, const OBJECT_LIFETIMES& lifetimes) {
    std::ranges::stable_sort(places, std::ranges::greater{}, &SHARED_PLACE::align);
    std::vector<TYPE*> types;
    TYPE* type = new_shared_type(places, types);
    SYMBOL* shared = new_temporary('S', type, -1);
    uint32_t offset = 0;
    for (size_t i = 0; i < places.size(); ++i) {
        const std::string name = "u" + std::to_string(i + 1);
        TYPE_PART* member = type_package()->add_member(type, member_name(name), types[i], offset,
                                                       static_cast<uint32_t>(i + 1), nullptr);
        replace_variables(places[i], lifetimes, shared, member);
        offset += types[i]->size;
    }
    complete_members(type);
    trace("\n\t%s: the variables that share places save %u bytes\n", shared->name,
          bytes_saved(places, lifetimes));
}

// The unions that a variable lies in.
const TYPE_PART* place_of(const SYMBOL* symbol) {
    return symbol->replaced ? symbol->replacement->left->right->field_info : nullptr;
}

} // namespace

bool build_stack_sharing_type() {
    trace_entering("build_stack_sharing_type");
    if (!settings.stack_sharing) return refuse(SITE_share_place, "each variable is to have its own slot");
    const std::vector<SYMBOL*> variables = collect_variables();
    if (variables.size() < 2) return false;
    if (const char* why = why_function_refuses()) {
        stand_at(0, 0);
        return refuse(SITE_share_place, why);
    }
    OBJECT_LIFETIMES lifetimes = find_object_lifetimes(variables);
    std::vector<SHARED_PLACE> places = assign_places(lifetimes);
    bv_free_table(&lifetimes.overlaps);
    if (places.empty()) return false;
    build_type(places, lifetimes);
    symbols_changed();
    return true;
}

bool may_share_bytes(const SYMBOL* a, const SYMBOL* b) {
    return a == b || (place_of(a) && place_of(a) == place_of(b));
}

} // namespace pelorus
