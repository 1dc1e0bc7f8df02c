// See call_graph.h.
#include "ipa/call_graph.h"

#include <algorithm>
#include <vector>

#include "ipa/classify.h"
#include "ipa/file_level.h"
#include "ir/symbol.h"

namespace pelorus {

namespace {

bool is_defined(const FUNINFO& info) { return info.flags & FUN_is_defined; }

// --- Roots ---

// Whoever links the file may replace the definition, or enters it by another name.
bool is_external_by_attribute(const SYMBOL& symbol) {
    for (const char* attribute : {"used", "constructor", "destructor", "alias", "asm", "section"})
        if (find_attribute(&symbol, attribute)) return true;
    return symbol.flags & SF_WEAK;
}

void mark_symbol(FUNINFO& info) {
    const SYMBOL& symbol = *info.symbol;
    if (!(symbol.flags & SF_INTERNAL) &&
        (symbol.storage_class == SC_EXTERN || symbol.storage_class == SC_EXTERN_DEF))
        info.flags |= FUN_is_extern;
    if (is_external_by_attribute(symbol)) info.flags |= FUN_is_pragma_EXT;
    if (find_attribute(&symbol, "interrupt")) info.flags |= FUN_is_interrupt;
    if (symbol.flags & SF_NORETURN) info.flags |= FUN_never_returns;
}

// Entered without a call of this file, even when the file is the whole program. The code generator calls
// functions of the library of its own accord.
bool is_entry(const FUNINFO& info) {
    if (info.flags & (FUN_is_main | FUN_is_interrupt | FUN_is_pragma_EXT)) return true;
    if (is_static_initializer(info)) return true;
    return (info.flags & FUN_is_extern) && is_system_function(info.name);
}

bool is_root(const FUNINFO& info) {
    const bool called_from_outside = (info.flags & FUN_is_extern) && !file_level.whole_program;
    return called_from_outside || is_entry(info);
}

// --- Numbers ---

// A depth-first walk without recursion: a function, and the next of its callees and of its references.
struct STEP {
    FUNINFO* info;
    const FUNCTION_REFERENCE* callee;
    const FUNCTION_REFERENCE* reference;
};

// Numbers of functions during the walk.
constexpr uint16_t NOT_REACHED = NO_CALL_GRAPH_NUMBER;
constexpr uint16_t REACHED = 0;

FUNINFO* next_function(STEP& step) {
    const FUNCTION_REFERENCE*& list = step.callee ? step.callee : step.reference;
    if (!list) return nullptr;
    FUNINFO* next = list->function;
    list = list->next;
    return next;
}

void enter(FUNINFO* info, std::vector<STEP>& path) {
    if (!is_defined(*info) || info->number != NOT_REACHED) return;
    info->number = REACHED;
    path.push_back({info, info->callees, info->references});
}

void walk_from(FUNINFO* root, std::vector<FUNINFO*>& postorder) {
    std::vector<STEP> path;
    enter(root, path);
    while (!path.empty()) {
        if (FUNINFO* next = next_function(path.back()); next) {
            enter(next, path);
        } else {
            postorder.push_back(path.back().info);
            path.pop_back();
        }
    }
}

} // namespace

void find_roots() {
    for (FUNINFO* info : file_level.defined) {
        mark_symbol(*info);
        if (is_root(*info)) info->flags |= FUN_is_cg_root;
    }
}

void number_call_graph() {
    for (FUNINFO* info : file_level.defined) info->number = NOT_REACHED;
    std::vector<FUNINFO*> postorder;
    // The last root first, since the order is turned round: the file's first root gets the first number.
    for (size_t i = file_level.defined.size(); i-- > 0;)
        if (file_level.defined[i]->flags & FUN_is_cg_root) walk_from(file_level.defined[i], postorder);
    std::reverse(postorder.begin(), postorder.end());
    file_level.functions = std::move(postorder);
    uint32_t number = 0;
    for (FUNINFO* info : file_level.functions)
        info->number = static_cast<uint16_t>(std::min<uint32_t>(++number, LAST_CALL_GRAPH_NUMBER));
    file_level.node_count = std::min<uint32_t>(number, LAST_CALL_GRAPH_NUMBER);
    file_level.has_call_graph = number != 0;
}

void suppress_unreached() {
    for (FUNINFO* info : file_level.defined)
        if (info->number == NO_CALL_GRAPH_NUMBER) info->flags |= FUN_is_suppressed;
}

void mark_calls_backward() {
    for (const FUNINFO* info : file_level.functions)
        for (const FUNCTION_REFERENCE* callee = info->callees; callee; callee = callee->next)
            if (is_defined(*callee->function) && callee->function->number <= info->number) {
                callee->function->flags |= FUN_follows_call;
                break;
            }
}

bool has_entry_functions() {
    return std::ranges::any_of(file_level.defined, [](const FUNINFO* info) { return is_entry(*info); });
}

} // namespace pelorus
