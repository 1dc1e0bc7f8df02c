// One function: its variables, its statements, and the instructions that come of them.
//
// 1. Variables: scalars that nobody takes the address of get slots, all others a place in the frame.
// 2. Statements, in order. Each straight stretch of code begins with an instruction that counts it.
// 3. Jumps that enter or leave blocks with objects go by small pieces of code behind the function's end.
// 4. Jumps and switches get the instructions of their labels.
#include <algorithm>
#include <unordered_set>

#include "compile.h"
#include "ir/walk.h"

namespace pelorus {

// --- Instructions ---

void emit(COMPILER& compiler, uint32_t operation, uint32_t a, uint32_t b, uint32_t c, uint32_t extra) {
    compiler.function.code.push_back({uint16_t(operation), uint16_t(extra), a, b, c});
    compiler.function.places.push_back(compiler.place);
}

uint32_t new_slot(COMPILER& compiler) {
    const uint32_t slot = compiler.next_slot++;
    compiler.function.slots = std::max(compiler.function.slots, compiler.next_slot);
    return slot;
}

uint32_t new_label(COMPILER& compiler) {
    compiler.labels.push_back(NO_NUMBER);
    return uint32_t(compiler.labels.size() - 1);
}

void emit_jump(COMPILER& compiler, uint32_t operation, uint32_t a, uint32_t b, uint32_t label) {
    compiler.fixups.push_back({uint32_t(compiler.function.code.size()), label});
    emit(compiler, operation, a, b, 0);
}

STRETCH& open_stretch(COMPILER& compiler) { return compiler.program.stretches[compiler.stretch]; }

void begin_stretch(COMPILER& compiler) {
    compiler.stretch = uint32_t(compiler.program.stretches.size());
    compiler.program.stretches.push_back({.function = compiler.number, .opcodes = {}});
    emit(compiler, MC_STRETCH, compiler.stretch, 0, 0);
}

void count_operator(COMPILER& compiler, const NODE* tree) {
    STRETCH& stretch = open_stretch(compiler);
    stretch.operations++;
    for (STRETCH::OPCODE_COUNT& count : stretch.opcodes)
        if (count.opcode == uint8_t(tree->op)) return void(count.count++);
    stretch.opcodes.push_back({uint8_t(tree->op), 1});
}

uint32_t emit_unsupported(COMPILER& compiler, const std::string& message) {
    emit(compiler, MC_UNSUPPORTED, 0, 0, uint32_t(compiler.program.messages.size()));
    compiler.program.messages.push_back(message);
    return new_slot(compiler);
}

namespace {

bool is_integer_jump(uint32_t operation) {
    return operation >= MC_EQ_32 && operation < MC_FADD_32 && ((operation - MC_EQ_32) & MC_JUMP_FORM);
}

// The jump that is made exactly when this one is not; NO_NUMBER for what is no conditional jump.
uint32_t inverted_jump(uint32_t operation) {
    switch (operation) {
    case MC_JUMP_TRUE_32: return MC_JUMP_FALSE_32;
    case MC_JUMP_TRUE_64: return MC_JUMP_FALSE_64;
    case MC_JUMP_FALSE_32: return MC_JUMP_TRUE_32;
    case MC_JUMP_FALSE_64: return MC_JUMP_TRUE_64;
    default: break;
    }
    if (!is_integer_jump(operation)) return NO_NUMBER;
    constexpr uint32_t FAMILY = 8;
    constexpr uint32_t INVERSE[] = {1, 0, 5, 4, 3, 2, 9, 8, 7, 6}; // of EQ NE LT LE GT GE LTU LEU GTU GEU
    static_assert(MC_NE_32 == MC_EQ_32 + FAMILY && MC_GEU_32 == MC_EQ_32 + 9 * FAMILY);
    const uint32_t family = (operation - MC_EQ_32) / FAMILY;
    return operation - family * FAMILY + INVERSE[family] * FAMILY;
}

// Labels stand in front of the instruction that begins a stretch, so a jump can be dropped at the code's end.
// A jump to what follows is none; and of "to `yes' if; to `no'; yes:" one jump is enough.
void drop_jump_to(COMPILER& compiler, uint32_t label) {
    std::vector<INSTRUCTION>& code = compiler.function.code;
    std::vector<COMPILER::FIXUP>& fixups = compiler.fixups;
    if (code.empty() || code.back().operation != MC_JUMP || fixups.empty() ||
        fixups.back().instruction + 1 != code.size())
        return;
    const auto drop = [&] {
        code.pop_back();
        compiler.function.places.pop_back();
        fixups.pop_back();
    };
    if (fixups.back().label == label) return drop();
    if (fixups.size() < 2 || fixups[fixups.size() - 2].label != label ||
        fixups[fixups.size() - 2].instruction + 2 != code.size())
        return;
    const uint32_t inverse = inverted_jump(code[code.size() - 2].operation);
    if (inverse == NO_NUMBER) return;
    const uint32_t other = fixups.back().label;
    drop();
    code.back().operation = uint16_t(inverse);
    fixups.back().label = other;
}

} // namespace

void open_label(COMPILER& compiler, uint32_t label) {
    std::vector<INSTRUCTION>& code = compiler.function.code;
    const STRETCH& open = open_stretch(compiler);
    if (!code.empty() && code.back().operation == MC_STRETCH && open.operations + open.branches == 0) {
        compiler.labels[label] = uint32_t(code.size() - 1); // two labels of one place
        return;
    }
    drop_jump_to(compiler, label);
    compiler.labels[label] = uint32_t(code.size());
    begin_stretch(compiler);
}

namespace {

// --- Variables ---

const NODE* object_of(const NODE* lvalue) {
    for (;;)
        if (lvalue->op == OP_COMMAOP)
            lvalue = lvalue->right;
        else if (lvalue->op == OP_STDOT)
            lvalue = lvalue->left;
        else
            return lvalue;
}

// The local variables whose addresses are taken.
std::unordered_set<const SYMBOL*> exposed_variables(const std::vector<FUNCTION_ITEM>& items) {
    std::unordered_set<const SYMBOL*> found;
    for (const FUNCTION_ITEM& item : items)
        for_each_node(static_cast<const NODE*>(item.tree), [&](const NODE* node) {
            if ((node->op != OP_UAND && node->op != OP_ACONV) || !node->left) return;
            const NODE* object = object_of(node->left);
            if (object->op == OP_NAME && object->symbol() && object->symbol()->level)
                found.insert(object->symbol());
        });
    return found;
}

uint32_t variable_size(const SYMBOL* symbol) {
    return symbol->size ? symbol->size : type_strip(symbol->declared_type)->size;
}

uint32_t add_frame_variable(COMPILER& compiler, const SYMBOL* symbol, bool at_entry) {
    const uint32_t align = std::max({symbol->align, type_strip(symbol->declared_type)->align, 1u});
    std::string_view name = intern_text(compiler.loader, symbol->name);
    return add_variable(compiler.function.layout, variable_size(symbol), align, name, at_entry);
}

void add_parameters(COMPILER& compiler, const std::unordered_set<const SYMBOL*>& exposed) {
    FUNCTION_CODE& code = compiler.function;
    std::vector<std::pair<uint32_t, const SYMBOL*>> copied;
    for (const SYMBOL* symbol = function_symbols.parameters.first; symbol; symbol = symbol->next) {
        const SHAPE shape = shape_of(symbol->declared_type);
        const uint32_t slot = new_slot(compiler);
        code.parameters.push_back(shape);
        code.parameter_sizes.push_back(shape.kind == SHAPE::MEMORY ? variable_size(symbol) : 0);
        const uint32_t alignment = argument_alignment(symbol->declared_type);
        const uint32_t size = std::max(variable_size(symbol), 4u);
        code.named_bytes = ((code.named_bytes + alignment - 1) & ~(alignment - 1)) + ((size + 3) & ~3u);
        compiler.locals[symbol] = {
            shape.kind == SHAPE::MEMORY ? LOCAL_PLACE::ADDRESS_IN_SLOT : LOCAL_PLACE::SLOT, slot};
        if (is_number(shape) && exposed.contains(symbol)) copied.emplace_back(slot, symbol);
    }
    compiler.entry_copies = std::move(copied);
}

void add_variables(COMPILER& compiler, const std::unordered_set<const SYMBOL*>& exposed) {
    FUNCTION_CODE& code = compiler.function;
    code.first_variable = compiler.next_slot;
    for (const auto& [symbol, scope] : compiler.loader.scopes) {
        if (symbol->level != BODY_LEVEL || symbol->file_class == SC_LABEL || symbol->file_class == SC_TYPEDEF)
            continue;
        const SHAPE shape = shape_of(symbol->declared_type);
        if (is_number(shape) && !exposed.contains(symbol) && !type_is_volatile(symbol->declared_type)) {
            const uint32_t slot = new_slot(compiler);
            compiler.locals[symbol] = {LOCAL_PLACE::SLOT, slot};
            if (extension_of(shape) != MC_MOVE) code.narrow.push_back({slot, uint16_t(extension_of(shape))});
            continue;
        }
        const uint32_t variable = add_frame_variable(compiler, symbol, scope == 0);
        if (scope) compiler.scopes[scope].variables.push_back(variable);
        compiler.locals[symbol] = {LOCAL_PLACE::FRAME, variable};
    }
    code.end_variables = compiler.first_value = compiler.next_slot;
}

// Parameters that are used as objects in memory are stored there first.
void copy_parameters(COMPILER& compiler) {
    for (const auto& [slot, symbol] : compiler.entry_copies) {
        const uint32_t variable = add_frame_variable(compiler, symbol, true);
        compiler.locals[symbol] = {LOCAL_PLACE::FRAME, variable};
        const OBJECT_PLACE place{.kind = OBJECT_PLACE::FRAME,
                                 .number = variable,
                                 .room = variable_size(symbol),
                                 .type = symbol->declared_type,
                                 .alignment = 8};
        emit_store(compiler, place, slot);
    }
}

// --- Blocks ---

// Finds which block each label stands in, and which block each block.
void find_scopes(COMPILER& compiler) {
    uint32_t open = 0;
    compiler.scopes.resize(1);
    for (const FUNCTION_ITEM& item : compiler.loader.items) switch (item.kind) {
        case FUNCTION_ITEM::BLOCK_BEGIN:
            compiler.scopes.push_back({open, {}});
            open = uint32_t(compiler.scopes.size() - 1);
            break;
        case FUNCTION_ITEM::BLOCK_END: open = compiler.scopes[open].parent; break;
        case FUNCTION_ITEM::LABEL: compiler.label_scopes[item.label] = open; break;
        case FUNCTION_ITEM::STATEMENT: break;
        }
}

// The blocks around a block, itself first, up to the function's own, which is left out.
std::vector<uint32_t> scopes_around(const COMPILER& compiler, uint32_t scope) {
    std::vector<uint32_t> around;
    for (; scope; scope = compiler.scopes[scope].parent) around.push_back(scope);
    return around;
}

struct CROSSED {
    std::vector<uint32_t> left;    // innermost first
    std::vector<uint32_t> entered; // outermost first
};

CROSSED crossed_scopes(const COMPILER& compiler, uint32_t from, uint32_t to) {
    CROSSED crossed{scopes_around(compiler, from), scopes_around(compiler, to)};
    while (!crossed.left.empty() && !crossed.entered.empty() &&
           crossed.left.back() == crossed.entered.back()) {
        crossed.left.pop_back();
        crossed.entered.pop_back();
    }
    std::ranges::reverse(crossed.entered);
    const auto is_empty = [&](uint32_t scope) { return compiler.scopes[scope].variables.empty(); };
    std::erase_if(crossed.left, is_empty);
    std::erase_if(crossed.entered, is_empty);
    return crossed;
}

void emit_scope(COMPILER& compiler, uint32_t scope, OPERATION operation) {
    for (const uint32_t variable : compiler.scopes[scope].variables)
        emit(compiler, operation, 0, 0, variable);
}

uint32_t source_label(COMPILER& compiler, uint32_t number) {
    const auto [place, is_new] = compiler.source_labels.try_emplace(number, 0);
    if (is_new) place->second = new_label(compiler);
    return place->second;
}

// What a jump from the statement's block to a label of the file goes to.
uint32_t jump_target(COMPILER& compiler, uint32_t number) {
    const auto scope = compiler.label_scopes.find(number);
    if (scope == compiler.label_scopes.end()) return source_label(compiler, number);
    if (scope->second == compiler.scope) return source_label(compiler, number);
    const CROSSED crossed = crossed_scopes(compiler, compiler.scope, scope->second);
    if (crossed.left.empty() && crossed.entered.empty()) return source_label(compiler, number);
    for (const COMPILER::EDGE& edge : compiler.edges)
        if (edge.from == compiler.scope && edge.label == number) return edge.trampoline;
    compiler.edges.push_back({compiler.scope, number, new_label(compiler)});
    return compiler.edges.back().trampoline;
}

void emit_edges(COMPILER& compiler) {
    for (const COMPILER::EDGE& edge : compiler.edges) {
        const CROSSED crossed = crossed_scopes(compiler, edge.from, compiler.label_scopes[edge.label]);
        open_label(compiler, edge.trampoline);
        for (const uint32_t scope : crossed.left) emit_scope(compiler, scope, MC_END_VARIABLE);
        for (const uint32_t scope : crossed.entered) emit_scope(compiler, scope, MC_START_VARIABLE);
        emit_jump(compiler, MC_JUMP, 0, 0, source_label(compiler, edge.label));
    }
}

// --- Statements ---

uint32_t label_number(const NODE* leaf) { return uint32_t(leaf->value_lo); }

void emit_if(COMPILER& compiler, const NODE* tree) {
    count_operator(compiler, tree);
    emit_condition(compiler, tree->left, jump_target(compiler, label_number(tree->right->left)),
                   jump_target(compiler, label_number(tree->right->right)));
}

void emit_switch(COMPILER& compiler, const NODE* tree) {
    const SHAPE shape = shape_of(tree->left->type);
    count_operator(compiler, tree);
    open_stretch(compiler).branches++;
    const uint32_t selector = emit_value(compiler, tree->left);
    SWITCH_TABLE table;
    table.wide = is_wide(shape);
    table.otherwise = NO_NUMBER;
    for (const NODE* arm : items_of_list(tree->right)) {
        if (arm->op == OP_DEFAULT) {
            table.otherwise = jump_target(compiler, label_number(arm->left));
            continue;
        }
        const auto value = uint64_t(int96_to_int64(arm->left->value()));
        table.cases.push_back(
            {table.wide ? value : uint32_t(value), jump_target(compiler, label_number(arm->right))});
    }
    const bool goes_on = table.otherwise == NO_NUMBER;
    if (goes_on) table.otherwise = new_label(compiler);
    const uint32_t behind = table.otherwise;
    emit(compiler, MC_SWITCH, selector, uint32_t(compiler.function.switches.size()), 0);
    compiler.function.switches.push_back(std::move(table));
    if (goes_on) open_label(compiler, behind);
}

void emit_branch(COMPILER& compiler, const NODE* tree) {
    const uint32_t number = label_number(tree->left);
    if (!compiler.labels_behind.contains(number)) {
        count_operator(compiler, tree);
        open_stretch(compiler).branches++;
    }
    emit_jump(compiler, MC_JUMP, 0, 0, jump_target(compiler, number));
}

void emit_return(COMPILER& compiler, const NODE* value) {
    const SHAPE shape = compiler.function.result;
    if (shape.kind == SHAPE::NOTHING || !value) {
        if (value) emit_value(compiler, value);
        return emit(compiler, MC_RETURN_NOTHING, 0, 0, 0);
    }
    if (shape.kind == SHAPE::MEMORY)
        emit(compiler, MC_RETURN_OBJECT, emit_value(compiler, value), 0, compiler.function.result_size);
    else
        emit(compiler, MC_RETURN, emit_value_as(compiler, value, shape), 0, 0);
}

void emit_return_of(COMPILER& compiler, const NODE* name) {
    emit_return(compiler, name && name->ref ? name : nullptr);
}

bool is_blank(const char* text) {
    while (*text == ' ' || *text == '\t' || *text == '\n' || *text == ';') text++;
    return !*text;
}

// Does the statement change variables of slots while the value of another is still to be used?
bool has_inner_assignments(const NODE* tree) {
    uint32_t count = 0;
    for_each_node(tree,
                  [&](const NODE* node) { count += opcode_fact(node->op).kind == OPCODE_CLASS::ASSIGNS; });
    return count > (opcode_fact(tree->op).kind == OPCODE_CLASS::ASSIGNS ? 1 : 0);
}

void emit_expression(COMPILER& compiler, const NODE* tree) {
    if (opcode_fact(tree->op).kind == OPCODE_CLASS::ASSIGNS && tree->op != OP_STFIELD && tree->op != OP_ARASG)
        emit_assignment(compiler, tree, NO_NUMBER, false);
    else
        emit_value(compiler, tree);
}

} // namespace

void emit_statement(COMPILER& compiler, const NODE* tree) {
    compiler.next_slot = compiler.first_value;
    compiler.inner_assignments = has_inner_assignments(tree);
    switch (tree->op) {
    case OP_IF: return emit_if(compiler, tree);
    case OP_SWITCH: return emit_switch(compiler, tree);
    case OP_BRANCH: return emit_branch(compiler, tree);
    case OP_RETURN: count_operator(compiler, tree); return emit_return(compiler, tree->right);
    case OP_URETURN: count_operator(compiler, tree); return emit_return_of(compiler, tree->left);
    case OP_ASM:
        if (tree->value_lo == TEXT_ASSEMBLY && !is_blank(tree->text)) emit_unsupported(compiler, "assembly");
        return;
    case OP_PCOMMA:
        for (const NODE* copy : items_of_list(tree)) emit_statement(compiler, copy);
        return;
    case OP_ASSERT: // promises to the optimizer, which are not evaluated
    case OP_NASSERT:
    case OP_NOP:
    case OP_BGNBLOCK: return;
    default: emit_expression(compiler, tree);
    }
}

namespace {

// The labels that stand right behind an item: a branch to one of them goes nowhere.
void find_labels_behind(COMPILER& compiler, size_t item) {
    const std::vector<FUNCTION_ITEM>& items = compiler.loader.items;
    compiler.labels_behind.clear();
    for (size_t i = item + 1; i < items.size() && items[i].kind == FUNCTION_ITEM::LABEL; i++)
        compiler.labels_behind.insert(items[i].label);
}

void emit_items(COMPILER& compiler) {
    uint32_t blocks = 0;
    const std::vector<FUNCTION_ITEM>& items = compiler.loader.items;
    for (size_t i = 0; i < items.size(); i++) switch (items[i].kind) {
        case FUNCTION_ITEM::LABEL: open_label(compiler, source_label(compiler, items[i].label)); break;
        case FUNCTION_ITEM::BLOCK_BEGIN:
            compiler.scope = ++blocks;
            emit_scope(compiler, compiler.scope, MC_START_VARIABLE);
            break;
        case FUNCTION_ITEM::BLOCK_END:
            emit_scope(compiler, compiler.scope, MC_END_VARIABLE);
            compiler.scope = compiler.scopes[compiler.scope].parent;
            break;
        case FUNCTION_ITEM::STATEMENT:
            compiler.place = place_number(compiler.loader, compiler.number, items[i].position);
            if (items[i].tree->op == OP_BRANCH) find_labels_behind(compiler, i);
            emit_statement(compiler, items[i].tree);
        }
}

// --- Labels ---

void finish_switch(COMPILER& compiler, SWITCH_TABLE& table) {
    for (SWITCH_TABLE::CASE& one : table.cases) one.target = compiler.labels[one.target];
    table.otherwise = compiler.labels[table.otherwise];
    std::ranges::sort(table.cases, {}, &SWITCH_TABLE::CASE::value);
    if (table.cases.empty()) return;
    table.lowest = table.cases.front().value;
    const uint64_t range = table.cases.back().value - table.lowest;
    if (range > 4 * table.cases.size() + 16) return;
    table.targets.assign(range + 1, table.otherwise);
    for (const SWITCH_TABLE::CASE& one : table.cases) table.targets[one.value - table.lowest] = one.target;
}

void resolve_labels(COMPILER& compiler) {
    // A label that is nowhere defined: only a file that breaks the rules has one.
    const auto nowhere = uint32_t(compiler.function.code.size());
    emit_unsupported(compiler, "a jump to a label that is nowhere defined");
    for (uint32_t& target : compiler.labels)
        if (target == NO_NUMBER) target = nowhere;
    for (const COMPILER::FIXUP& fixup : compiler.fixups)
        compiler.function.code[fixup.instruction].c = compiler.labels[fixup.label];
    for (SWITCH_TABLE& table : compiler.function.switches) finish_switch(compiler, table);
    for (INSTRUCTION& instruction : compiler.function.code)
        if (instruction.operation == MC_STRETCH)
            instruction.b = compiler.program.stretches[instruction.a].operations;
}

} // namespace

void compile_function(LOADER& loader) {
    PROGRAM& program = loader.program;
    const auto number = uint32_t(program.functions.size());
    FUNCTION_CODE code;
    COMPILER compiler{.loader = loader, .program = program, .function = code, .number = number};
    code.name = plain_name(function.symbol->name);
    code.global = global_of_symbol(loader, function.symbol);
    const TYPE* type = type_strip(function.symbol->declared_type);
    if (type->kind == TK_FUNCTION && type->base) code.result = shape_of(type->base);
    if (code.result.kind == SHAPE::MEMORY) {
        const TYPE* result = type_strip(type->base);
        const bool is_vector = (result->layouts_seen & (1u << LAYOUT_VECTOR)) != 0;
        code.result_size = result->size;
        if (is_vector ? result->size > 16 : result->size > 4)
            code.named_bytes = 4; // the address of the result comes first
    }
    code.layout.function = intern_text(loader, code.name);
    const std::unordered_set<const SYMBOL*> exposed = exposed_variables(loader.items);
    find_scopes(compiler);
    add_parameters(compiler, exposed);
    add_variables(compiler, exposed);
    compiler.place = place_number(loader, number, function.begin);
    begin_stretch(compiler);
    copy_parameters(compiler);
    emit_items(compiler);
    compiler.place = place_number(loader, number, function.end);
    compiler.next_slot = compiler.first_value;
    const SYMBOL* result = function.return_symbol;
    emit_return_of(compiler, result ? new_name(const_cast<SYMBOL*>(result), result->type) : nullptr);
    emit_edges(compiler);
    resolve_labels(compiler);
    finish_layout(code.layout);
    program.globals[code.global].function = number;
    program.functions.push_back(std::move(code));
}

} // namespace pelorus
