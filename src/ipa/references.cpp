// See references.h.
#include "ipa/references.h"

#include <cctype>
#include <cstring>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "ir/call.h"
#include "ir/stmt.h"
#include "ir/walk.h"
#include "memory/zone.h"
#include "tree/access.h"

namespace pelorus {

namespace {

std::unordered_map<const SYMBOL*, VARIABLE_FACTS> facts_of_variables;
std::unordered_set<std::string> names_in_assembly;

bool is_function(const SYMBOL& symbol) {
    return symbol.storage_class != SC_TYPEDEF && symbol.type && type_is_function(symbol.type);
}

// --- Lists of a body ---

// What was put into the lists of the function that is being read; each callee once.
struct LISTS {
    const FUNINFO* owner = nullptr;
    CALL_SITE** next_site = nullptr;
    FUNCTION_REFERENCE** next_callee = nullptr;
    FUNCTION_REFERENCE** next_reference = nullptr;
    std::unordered_set<const FUNINFO*> called;
    std::unordered_set<const FUNINFO*> referred;
};
LISTS lists;

void begin_lists(FUNINFO& info) {
    info.call_sites = nullptr;
    info.callees = info.references = nullptr;
    lists = {&info, &info.call_sites, &info.callees, &info.references, {}, {}};
}

void append(FUNCTION_REFERENCE**& end, FUNINFO* target) {
    auto* made = zone_new<FUNCTION_REFERENCE>(false);
    made->function = target;
    *end = made;
    end = &made->next;
}

void append_site(FUNINFO* callee, const POSITION& position) {
    auto* site = zone_new<CALL_SITE>(false);
    site->callee = callee;
    site->position = position;
    site->jump_function = "?"; // nothing is known of the arguments
    *lists.next_site = site;
    lists.next_site = &site->next;
}

// The record of the function that a symbol names.
FUNINFO* info_of(SYMBOL* symbol) {
    if (!symbol->funinfo) symbol->funinfo = get_funinfo(symbol->name);
    return symbol->funinfo;
}

// --- Statements ---

void note_direct_call(SYMBOL* symbol, const POSITION& position) {
    FUNINFO* callee = info_of(symbol);
    callee->flags |= FUN_is_called;
    ++callee->site_count;
    append_site(callee, position);
    if (lists.called.insert(callee).second) append(lists.next_callee, callee);
}

void note_function_address(SYMBOL* symbol) {
    FUNINFO* target = info_of(symbol);
    target->flags |= FUN_is_anonymous;
    if (lists.referred.insert(target).second) append(lists.next_reference, target);
}

bool calls(const NODE* node) {
    return opcode_arity(node->op) >= 0 && opcode_fact(node->op).kind == OPCODE_CLASS::CALLS;
}

bool is_call_by_text(int32_t op) {
    return op == OP_ICALL || op == OP_UICALL || op == OP_MCALL || op == OP_UMCALL;
}

void note_calls(FUNINFO& info, const STMT& statement) {
    for_each_node(statement.tree, [&](const NODE* node) {
        if (!calls(node)) return;
        SYMBOL* callee = direct_callee(node);
        if (!callee || !is_function(*callee)) {
            info.flags |= FUN_calls_anonymous;
            if (is_call_by_text(node->op)) note_assembly(static_cast<const char*>(node->ref));
            return;
        }
        note_direct_call(callee, statement.position);
        if (node != statement.tree) callee->funinfo->flags |= FUN_value_needed;
    });
}

void note_variable(const TREE_ACCESS& access) {
    VARIABLE_FACTS& facts = facts_of_variables[access.symbol];
    facts.read |= is_use(access);
    facts.assigned |= is_definition(access);
    facts.exposed |= access.kind == ACCESS::EXPOSE;
}

void note_accesses(const NODE* tree) {
    for_each_access(tree, [](const TREE_ACCESS& access) {
        if (!access.symbol || access.symbol->level != FILE_SCOPE) return;
        if (is_function(*access.symbol))
            note_function_address(access.symbol);
        else
            note_variable(access);
    });
}

// --- Assembly ---

bool is_name_character(char c) { return isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '$'; }

void note_attributes(SYMBOL& symbol) {
    if (const PRAGMA* assembly = find_attribute(&symbol, "assembly"))
        for (uint32_t i = 1; i < assembly->count; ++i) note_assembly(assembly->strings[i]);
    if (const char* alias = attribute_argument(&symbol, "alias")) names_in_assembly.insert(plain_name(alias));
}

void note_name_in_assembly(SYMBOL& symbol) {
    if (!names_in_assembly.contains(plain_name(symbol.name))) return;
    if (is_function(symbol))
        info_of(&symbol)->flags |= FUN_is_pragma_EXT;
    else
        facts_of_variables[&symbol] = {true, true, true};
}

void note_initializer(const SYMBOL& symbol) {
    for (const INIT_ITEM* item = symbol.init_trees; item; item = item->next)
        for_each_node(item->tree, [](const NODE* node) {
            SYMBOL* named = node->op == OP_NAME ? node->symbol() : nullptr;
            if (!named) return;
            if (is_function(*named))
                info_of(named)->flags |= FUN_is_anonymous | FUN_is_cg_root;
            else
                facts_of_variables[named].exposed = true;
        });
}

} // namespace

void note_references(FUNINFO& info) {
    begin_lists(info);
    std::vector<const STMT*> in_order;
    for (const STMT* cell = function.statements; cell; cell = cell->next) in_order.push_back(cell);
    for (size_t i = in_order.size(); i-- > 0;) {
        const STMT& statement = *in_order[i];
        if (statement.tree->op == OP_ASM && !is_comment(statement.tree)) note_assembly(statement.tree->text);
        note_calls(info, statement);
        note_accesses(statement.tree);
    }
}

void note_assembly(const char* text) {
    while (*text) {
        const char* end = text;
        while (is_name_character(*end)) ++end;
        if (end > text) names_in_assembly.emplace(text, end);
        text = end > text ? end : text + 1;
    }
}

void note_data_references() {
    for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next) note_attributes(*symbol);
    for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next) {
        note_name_in_assembly(*symbol);
        note_initializer(*symbol);
    }
}

VARIABLE_FACTS variable_facts(const SYMBOL& variable) {
    const auto known = facts_of_variables.find(&variable);
    return known == facts_of_variables.end() ? VARIABLE_FACTS{} : known->second;
}

void clear_references() {
    lists = {};
    facts_of_variables.clear();
    names_in_assembly.clear();
}

} // namespace pelorus
