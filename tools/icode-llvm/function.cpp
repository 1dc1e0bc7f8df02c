// One function: its head, its parameters, its variables in registers, its statements.
//
// A parameter is read only to be copied into its home, so a scalar one is used as it comes, and a structure
// whose home is in registers, too; one that is assigned to or whose address is taken all the same gets a
// slot, as other structures do.
#include "emitter.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "ir/stmt.h"
#include "ir/walk.h"

namespace pelorus {

namespace {

using STATEMENT_LIST = std::vector<const STMT*>;

STATEMENT_LIST statements_in_order() {
    STATEMENT_LIST statements;
    for (const STMT* statement = function.statements; statement; statement = statement->next)
        statements.push_back(statement);
    std::reverse(statements.begin(), statements.end());
    return statements;
}

// The object that an operator changes or takes the address of, when it is a parameter.
const SYMBOL* parameter_as_object(const NODE* node) {
    bool object =
        opcode_fact(node->op).kind == OPCODE_CLASS::ASSIGNS || node->op == OP_UAND || node->op == OP_ACONV;
    if (!object || !node->left) return nullptr;
    const NODE* left = node->left;
    while (left->op == OP_COMMAOP) left = left->right;
    return left->op == OP_NAME && left->ref && left->symbol()->level == 1 ? left->symbol() : nullptr;
}

std::unordered_set<const SYMBOL*> parameters_as_objects(const STATEMENT_LIST& statements) {
    std::unordered_set<const SYMBOL*> found;
    TREE_LIST rest;
    for (const STMT* statement : statements) rest.push_back(statement->tree);
    while (!rest.empty()) {
        const NODE* node = rest.back();
        rest.pop_back();
        if (const SYMBOL* symbol = parameter_as_object(node)) found.insert(symbol);
        if (node->left) rest.push_back(node->left);
        if (node->right) rest.push_back(node->right);
    }
    return found;
}

// Whether a parameter goes to registers of its home. Only the first statement names it, to copy it there.
bool goes_to_registers(const SYMBOL* parameter, const STATEMENT_LIST& statements) {
    return !statements.empty() && any_node(statements.front()->tree, [&](const NODE* node) {
        return node->op == OP_STASG && node->right->op == OP_NAME && node->right->ref == parameter &&
               node->left->op == OP_NAME && is_in_register(node->left->symbol());
    });
}

void receive_in_slot(EMITTER& emitter, const SYMBOL* symbol, const PASSING& passing,
                     const std::string& argument) {
    const TYPE* type = type_strip(symbol->declared_type);
    LOCAL local = {{}, std::max({symbol->align, type->align, passing.align}), false};
    uint32_t bytes = std::max(passing.bytes, type->size);
    local.text = temporary_slot(emitter, passing.how == PASSED::DIRECTLY ? passing.type : ltype_bytes(bytes),
                                local.align);
    if (passing.how != PASSED::NOT_AT_ALL)
        put(emitter.slots, "  store ", passing.type, " ", argument, ", ptr ", local.text, ", align ",
            local.align, "\n");
    emitter.locals[symbol] = local;
}

// The text of a parameter in the function's head; "" for one that is not passed. Enters it in `locals`.
std::string receive(EMITTER& emitter, const SYMBOL* symbol, const PASSING& passing, bool as_object,
                    size_t number) {
    std::string argument = joined("%a", number);
    switch (passing.how) {
    case PASSED::NOT_AT_ALL: receive_in_slot(emitter, symbol, passing, argument); return "";
    case PASSED::IN_MEMORY:
        emitter.locals[symbol] = {argument, passing.align, false};
        return joined("ptr byval(", passing.type, ") align ", passing.align, " ", argument);
    case PASSED::DIRECTLY:
    case PASSED::AS_ARRAY:
        if (as_object)
            receive_in_slot(emitter, symbol, passing, argument);
        else
            emitter.locals[symbol] = {argument, 1, true};
    }
    return joined(passing.type, " ", passing.extension, argument);
}

std::string parameter_list(EMITTER& emitter, const STATEMENT_LIST& statements) {
    std::unordered_set<const SYMBOL*> objects = parameters_as_objects(statements);
    std::string text;
    auto add = [&](std::string_view part) { put(text, text.empty() ? "" : ", ", part); };
    if (emitter.result.how == PASSED::IN_MEMORY)
        add(joined("ptr sret(", emitter.result.type, ") align ", emitter.result.align, " %result"));
    size_t count = 0;
    std::vector<std::string> parts;
    std::vector<PASSING> ways;
    for (const SYMBOL* symbol = function_symbols.parameters.first; symbol; symbol = symbol->next) {
        const PASSING passing = pass_argument(symbol->declared_type, emitter.variadic);
        const bool as_object =
            type_is_csu(symbol->declared_type)
                ? !travels_as_leaves(symbol->declared_type, passing) || !goes_to_registers(symbol, statements)
                : objects.contains(symbol);
        std::string part = receive(emitter, symbol, passing, as_object, count++);
        if (part.empty()) continue;
        parts.push_back(std::move(part));
        ways.push_back(passing);
    }
    for (int32_t number : register_order(ways))
        add(number == FILLER ? joined("float %f", count++) : parts[size_t(number)]);
    if (emitter.variadic) add("...");
    return text;
}

// Assembly, perhaps with operands that are constants: what a naked function is made of.
bool is_assembly(const NODE* tree) {
    if (tree->op == OP_ASM) return true;
    const NODE* callee = tree->op == OP_CALL || tree->op == OP_UCALL ? tree->left : nullptr;
    return callee && callee->op == OP_UAND && callee->left->op == OP_NAME &&
           find_attribute(callee->left->symbol(), "assembly");
}

void check_labels(EMITTER& emitter) {
    for (size_t number = 0; number < emitter.labels.size(); number++)
        if (emitter.labels[number] == LABEL_NAMED)
            refuse(emitter.module, "label %zu is named but nowhere defined", number);
}

void put_head(EMITTER& emitter, const std::string& parameters) {
    MODULE& module = emitter.module;
    const SYMBOL* symbol = function.symbol;
    const PASSING& result = emitter.result;
    bool none = result.how == PASSED::NOT_AT_ALL || result.how == PASSED::IN_MEMORY;
    put(module.functions, "define ", linkage_text(module, symbol), visibility_text(symbol), result.extension,
        none ? std::string("void") : result.type, " ", global_name(module, symbol), "(", parameters, ") #0");
    const bool is_naked = find_attribute(symbol, "naked");
    if (find_attribute(symbol, "noinline") || is_naked) put(module.functions, " noinline");
    if (is_naked) put(module.functions, " naked");
    if (find_attribute(symbol, "interrupt")) {
        const char* kind = attribute_argument(symbol, "interrupt");
        put(module.functions, " alignstack(8) \"interrupt\"=\"", kind ? kind : "", "\"");
    }
    if (symbol->flags & SF_NORETURN) put(module.functions, " noreturn");
    put(module.functions, section_text(symbol, ""));
    const char* align = attribute_argument(symbol, "aligned");
    if (align) put(module.functions, " align ", align);
}

// --- Variables in registers ---

void find_register_variables(EMITTER& emitter) {
    begin_ssa(emitter.ssa, emitter.block);
    for (const SYMBOL* symbol = function_symbols.variables.first; symbol; symbol = symbol->next) {
        if (!is_in_register(symbol)) continue;
        if (type_is_csu(symbol->declared_type)) {
            add_register_structure(emitter.ssa, symbol, leaf_types(emitter, symbol->declared_type));
            continue;
        }
        const LTYPE type = ltype_of(symbol->declared_type);
        if (!ltype_is_integer(type) && !ltype_is_floating(type) && type != LTYPE::PTR)
            refuse(emitter.module, "variable '%s' is in a register, but no scalar", symbol->name);
        DEBUG& debug = emitter.module.debug;
        const uint32_t argument = debug.wanted ? argument_number(symbol) : 0;
        add_register_variable(emitter.ssa, symbol, type, debug_variable(debug, symbol, argument));
    }
}

// For each statement the labels that no later one names or defines.
std::vector<std::vector<int32_t>> labels_finished_by(const STATEMENT_LIST& statements) {
    std::unordered_map<int32_t, size_t> last;
    TREE_LIST rest;
    for (size_t number = 0; number < statements.size(); number++) {
        rest.push_back(statements[number]->tree);
        while (!rest.empty()) {
            const NODE* node = rest.back();
            rest.pop_back();
            if (node->op == OP_LABEL || node->op == OP_LABELDEF) last[node->value_lo] = number;
            if (node->left) rest.push_back(node->left);
            if (node->right) rest.push_back(node->right);
        }
    }
    std::vector<std::vector<int32_t>> finished(statements.size());
    for (const auto& [label, number] : last) finished[number].push_back(label);
    for (std::vector<int32_t>& labels : finished) std::sort(labels.begin(), labels.end());
    return finished;
}

std::string describe_phi(void* context, uint32_t variable, const std::string& value) {
    EMITTER& emitter = *static_cast<EMITTER*>(context);
    const REGISTER_VARIABLE& known = emitter.ssa.variables[variable];
    return debug_value(emitter.module.debug, known.symbol, known.debug,
                       joined(ltype_text(known.type), " ", value));
}

void emit_statements(EMITTER& emitter, const STATEMENT_LIST& statements) {
    std::vector<std::vector<int32_t>> finished(statements.size());
    if (!emitter.ssa.variables.empty()) finished = labels_finished_by(statements);
    for (size_t number = 0; number < statements.size(); number++) {
        emitter.location = debug_location(emitter.module.debug, statements[number]->position);
        emit_statement(emitter, statements[number]->tree);
        for (const int32_t label : finished[number]) seal_block(emitter.ssa, joined("L", label));
    }
}

// Only the assembly of a function without code to enter and leave it.
void emit_naked(EMITTER& emitter, const STATEMENT_LIST& statements) {
    for (const STMT* statement : statements) {
        emitter.location = debug_location(emitter.module.debug, statement->position);
        if (is_assembly(statement->tree)) emit_statement(emitter, statement->tree);
    }
    emitter.location = debug_location(emitter.module.debug, function.end);
    emitter.slots.clear(); // of parameters, which lie where the caller put them
    line(emitter, "unreachable");
}

} // namespace

void write_function(MODULE& module) {
    const TYPE* type = type_strip(function.symbol->declared_type);
    if (type->kind != TK_FUNCTION) refuse(module, "'%s' is no function", function.symbol->name);
    module.function_name = plain_name(function.symbol->name);
    EMITTER emitter = {.module = module, .slots = {}, .body = {}, .block = "entry"};
    emitter.variadic = type->variadic;
    emitter.result = pass_result(type->base, type->variadic);
    const std::string debug =
        debug_function(module.debug, function.symbol, global_name(module, function.symbol).substr(1));
    STATEMENT_LIST statements = statements_in_order();
    std::string parameters = parameter_list(emitter, statements);
    if (find_attribute(function.symbol, "naked"))
        emit_naked(emitter, statements);
    else {
        find_register_variables(emitter);
        emit_statements(emitter, statements);
        emitter.location = debug_location(module.debug, function.end);
        if (emitter.open) emit_return_of(emitter, function.return_symbol);
    }
    check_labels(emitter);
    put_head(emitter, parameters);
    put(module.functions, debug, " {\nentry:\n", emitter.slots,
        finished_text(emitter.ssa, emitter.body, describe_phi, &emitter), "}\n\n");
    module.function_name.clear();
}

} // namespace pelorus
