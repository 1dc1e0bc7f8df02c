// What cannot be expanded into other functions, and why.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include "ipa/inline_definition.h"
#include "ir/call.h"
#include "ir/funinfo.h"
#include "ir/parameters.h"
#include "ir/symbol.h"
#include "ir/walk.h"

namespace pelorus {

namespace {

// --- The function ---

const char* obstacle_of_symbol(const FUNINFO& info) {
    const SYMBOL* symbol = info.symbol;
    if (!type_is_function(symbol->type)) return "its type is no function";
    if (find_attribute(symbol, "noinline")) return "it is declared noinline";
    if (find_attribute(symbol, "naked")) return "it is naked";
    if (find_attribute(symbol, "interrupt") || (info.flags & FUN_is_interrupt))
        return "the processor calls it";
    if (symbol->flags & SF_WEAK) return "another file may replace it";
    if (info.override_text) return "it has options of its own";
    if (symbol->flags & SF_VARIADIC_WALK) return "it walks its arguments";
    if (type_strip(symbol->type)->variadic) return "it is variadic";
    return nullptr;
}

// --- Assembly ---

bool is_word_character(char c) { return isalnum(static_cast<unsigned char>(c)) || strchr("_.$", c); }

bool is_blank(char c) { return c == ' ' || c == '\t'; }

// A label that is a number may be defined again and again: 1f is the next one. "%=" makes a name that is new
// in each place.
bool is_repeatable_label(std::string_view label) {
    return label.find("%=") != std::string_view::npos ||
           std::ranges::all_of(label, [](char c) { return isdigit(static_cast<unsigned char>(c)); });
}

std::string_view without_blanks_in_front(std::string_view text) {
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    return text;
}

// One instruction. Directives may define names, or change what the assembler does with all that follows; so
// may an assignment to a name.
bool can_repeat_instruction(std::string_view line) {
    line = without_blanks_in_front(line);
    size_t end = 0;
    while (end < line.size() && (is_word_character(line[end]) || line[end] == '%' ||
                                 (end && line[end] == '=' && line[end - 1] == '%')))
        ++end;
    const std::string_view word = line.substr(0, end);
    const std::string_view rest = without_blanks_in_front(line.substr(end));
    if (rest.starts_with(':')) return is_repeatable_label(word) && can_repeat_instruction(rest.substr(1));
    return !word.starts_with('.') && !rest.starts_with('=');
}

} // namespace

bool can_repeat_assembly(const char* text) {
    for (std::string_view rest = text; !rest.empty();) {
        const size_t end = std::min(rest.find_first_of("\n;"), rest.size());
        if (!can_repeat_instruction(rest.substr(0, end))) return false;
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return true;
}

namespace {

// --- The body ---

// Storage of the caller's frame, and questions about it: in another function they mean another frame.
constexpr std::string_view FRAME_FUNCTIONS[] = {"__builtin_alloca", "__builtin_stack_save",
                                                "__builtin_stack_restore"};
constexpr std::string_view FRAME_QUESTIONS[] = {"__builtin_return_address", "__builtin_frame_address"};

const char* obstacle_of_call(const NODE* call) {
    if (may_return_twice(call)) return "it can be returned to twice";
    const SYMBOL* callee = direct_callee(call);
    if (!callee) return nullptr;
    const std::string_view name = plain_name(callee->name);
    if (std::ranges::find(FRAME_FUNCTIONS, name) != std::end(FRAME_FUNCTIONS))
        return "it takes storage that lasts until it returns";
    if (std::ranges::find(FRAME_QUESTIONS, name) != std::end(FRAME_QUESTIONS))
        return "it asks for its own frame";
    const char* text = attribute_argument(callee, "assembly");
    return text && !can_repeat_assembly(text) ? "its assembly defines names" : nullptr;
}

// Of the opcodes that are kept only, nobody knows what they do.
bool is_known(int32_t op) {
    switch (op) {
    case OP_NOP:
    case OP_STFIELD:
    case OP_ARASG:
    case OP_PMCONV:
    case OP_PVCONV:
    case OP_DDNODE:
    case OP_MEMCPY:
    case OP_TOIEEE:
    case OP_FRIEEE:
    case OP_ICALL:
    case OP_UICALL:
    case OP_MCALL:
    case OP_UMCALL: return false;
    default: return opcode_arity(op) >= 0 && opcode_fact(op).name;
    }
}

const char* obstacle_of_node(const NODE* node) {
    if (!is_known(node->op)) return "it has an opcode without a meaning";
    if (node->op == OP_ARGREF) return "it walks its arguments";
    if (node->op == OP_NAME && node->symbol() && node->symbol()->level == PARAMETER_LEVEL)
        return "it reads a parameter where it is passed";
    return is_call(node) ? obstacle_of_call(node) : nullptr;
}

const char* obstacle_of_statement(const NODE* tree) {
    switch (tree->op) {
    case OP_ASM:
        return is_comment(tree) || can_repeat_assembly(tree->text) ? nullptr : "its assembly defines names";
    case OP_CBRANCH:
    case OP_LOOP:
    case OP_ENDLOOP:
    case OP_INITLOOP:
    case OP_PCOMMA: return "it has a statement that no file may hold";
    default: break;
    }
    const char* obstacle = nullptr;
    any_node(tree, [&](const NODE* node) { return (obstacle = obstacle_of_node(node)) != nullptr; });
    return obstacle;
}

// --- The parameters ---

bool may_stand_before_copies(const NODE* tree) { return tree->op == OP_PPRAGMA || is_comment(tree); }

} // namespace

const STMT* parameter_copies() {
    const STMT* copies = nullptr;
    for (const STMT* cell = function.statements; cell; cell = cell->next)
        if (copies_parameters(cell->tree))
            copies = cell;
        else if (!may_stand_before_copies(cell->tree))
            copies = nullptr;
    return copies;
}

const NODE* copy_of_parameter(const NODE* chain, const SYMBOL* parameter) {
    for (; chain; chain = chain->op == OP_PCOMMA ? chain->left : nullptr) {
        const NODE* copy = chain->op == OP_PCOMMA ? chain->right : chain;
        const NODE* copied = copied_parameter(copy);
        if (copied && copied->symbol() == parameter) return copy;
    }
    return nullptr;
}

namespace {

bool copies_every_parameter(const STMT* copies) {
    for (const SYMBOL* symbol = function_symbols.parameters.first; symbol; symbol = symbol->next)
        if (!copies || !copy_of_parameter(copies->tree, symbol)) return false;
    return true;
}

} // namespace

const char* why_not_integrable(const FUNINFO& info) {
    if (const char* obstacle = obstacle_of_symbol(info)) return obstacle;
    const STMT* copies = parameter_copies();
    if (!copies_every_parameter(copies)) return "its parameters are not copied first";
    for (const STMT* cell = function.statements; cell; cell = cell->next)
        if (const char* obstacle = cell == copies ? nullptr : obstacle_of_statement(cell->tree))
            return obstacle;
    return nullptr;
}

} // namespace pelorus
