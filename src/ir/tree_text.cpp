// Trees as one line of C-like text; see tree_text.h.
//
// The text is put together from pieces: a node is taken apart into literal texts and subtrees, which wait on
// a stack until their turn comes. So neither long lists nor deep nesting take any stack of the machine. A
// subtree carries the level of binding that its place asks for and is put into parentheses when its own
// operator binds less. Operators whose precedence people misremember (shifts, bitwise and logical operators
// among each other) get parentheses that C could do without.
//
// What it does not do: print types other than those of conversions, or the definitions that a version of a
// variable comes from.
#include "ir/tree_text.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "ir/call.h"
#include "ir/symbol.h"

namespace pelorus {

namespace {

// How tightly an operator binds; greater binds tighter.
enum LEVEL : uint8_t {
    STATEMENT,
    LIST, // , between expressions
    ASSIGNMENT,
    CONDITION,
    LOGICAL_OR,
    LOGICAL_AND,
    BIT_OR,
    BIT_XOR,
    BIT_AND,
    EQUALITY,
    RELATION,
    SHIFT,
    SUM,
    PRODUCT,
    UNARY,
    POSTFIX,
    PRIMARY,
};

// An operator between two operands: its own level, and what it asks of them. A left operand with the same
// operator may always have the operator's own level.
struct INFIX {
    LEVEL own;
    LEVEL left;
    LEVEL right;
};

bool infix_levels(int32_t op, INFIX& levels) {
    if (opcode_is_relation(op)) {
        levels = {op == OP_EQ || op == OP_NEQ ? EQUALITY : RELATION, SUM, SUM};
        return true;
    }
    switch (op) {
    case OP_MULT:
    case OP_DIV:
    case OP_MOD: levels = {PRODUCT, PRODUCT, UNARY}; return true;
    case OP_PLUS:
    case OP_MINUS: levels = {SUM, SUM, PRODUCT}; return true;
    case OP_SLL:
    case OP_SRL: levels = {SHIFT, UNARY, UNARY}; return true;
    case OP_ANDB: levels = {BIT_AND, UNARY, UNARY}; return true;
    case OP_XORB: levels = {BIT_XOR, UNARY, UNARY}; return true;
    case OP_ORB: levels = {BIT_OR, UNARY, UNARY}; return true;
    case OP_ANDAND: levels = {LOGICAL_AND, EQUALITY, EQUALITY}; return true;
    case OP_OROR: levels = {LOGICAL_OR, EQUALITY, EQUALITY}; return true;
    case OP_COMMA:
    case OP_PCOMMA:
    case OP_COMMAOP: levels = {LIST, ASSIGNMENT, ASSIGNMENT}; return true;
    default: break;
    }
    if (op < 0 || op > LAST_OPCODE || op == OP_PLUSPLUS || op == OP_MINMIN) return false;
    levels = {ASSIGNMENT, UNARY, ASSIGNMENT};
    return opcode_fact(op).kind == OPCODE_CLASS::ASSIGNS;
}

bool is_switch_item(const NODE* node) { return node && (node->op == OP_CASE || node->op == OP_DEFAULT); }

// The text between the operands, without blanks around it.
const char* infix_operator(const NODE* node) {
    switch (node->op) {
    case OP_STASG:
    case OP_STFIELD:
    case OP_ARASG: return "=";
    default: return opcode_fact(node->op).spelling;
    }
}

// A waiting part of the text: a literal, or a subtree when `text` is null.
struct PIECE {
    const char* text;
    const NODE* node;
    LEVEL level; // what its place asks of a subtree
};

PIECE literal(const char* text) { return {text, nullptr, STATEMENT}; }
PIECE subtree(const NODE* node, LEVEL level) { return {nullptr, node, level}; }

struct PRINTER {
    std::string out;
    std::vector<PIECE> waiting; // the next one last
};

// The pieces come next, in the order given.
void schedule(PRINTER& printer, std::initializer_list<PIECE> pieces) {
    for (const PIECE* piece = pieces.end(); piece != pieces.begin();) printer.waiting.push_back(*--piece);
}

// --- Leaves ---

constexpr size_t LONGEST_STRING = 80; // bytes of a string constant; more of it would hide the tree around it

std::string formatted(const char* format, long number) {
    char buffer[64];
    snprintf(buffer, sizeof buffer, format, number);
    return buffer;
}

std::string integer_text(const NODE* node) {
    const INT96 value = node->value();
    if (!node->type) return int96_text(value);
    if (type_is_pointer(node->type) && !int96_is_zero(value) && int96_fits_unsigned32(value))
        return formatted("0x%lx", static_cast<long>(static_cast<uint32_t>(value.lo)));
    std::string text = int96_text(value);
    const TYPE* type = type_strip(node->type);
    if (type->kind != TK_INTEGER || type->size < 4) return text;
    if (type->is_unsigned) text += 'u';
    if (type->size > 4) text += "ll";
    return text;
}

std::string float_text(const NODE* node) {
    const TARGET_FLOAT* number = node->floating();
    if (!number) return "((nil))";
    std::string text = target_float_text(*number);
    if (!std::isfinite(number->value)) return text;
    if (text.find_first_of(".e") == std::string::npos) text += ".0";
    return number->bytes == 4 ? text + 'f' : text;
}

// The zero that ends a literal of C is left out, as C does.
std::string string_text(const NODE* node) {
    if (!node->text) return "((nil))";
    auto length = static_cast<size_t>(static_cast<uint32_t>(node->value_lo));
    if (length && !node->text[length - 1]) --length;
    if (length <= LONGEST_STRING) return quoted_text(node->text, length);
    return quoted_text(node->text, LONGEST_STRING) + "...";
}

std::string field_text(const NODE* node) {
    const TYPE_PART* member = node->field_info;
    if (!member) return "((nil))";
    return member->name && *member->name ? member->name : formatted("<member %ld>", member->key);
}

const char* pragma_name(uint8_t kind) {
    switch (kind) {
    case PK_UNROLL: return "UNROLL";
    case PK_MUST_ITERATE: return "MUST_ITERATE";
    case PK_PROB_ITERATE: return "PROB_ITERATE";
    default: return nullptr;
    }
}

std::string pragma_text(const NODE* node) {
    const auto* pragma = static_cast<const PRAGMA*>(node->ref);
    if (!pragma) return "#pragma";
    const char* name = pragma_name(pragma->kind);
    std::string text =
        name ? std::string("#pragma ") + name + '(' : formatted("#pragma[%ld] (", pragma->kind);
    for (uint32_t i = 0; i < pragma->count; ++i) text += std::string(i ? ", " : "") + pragma->strings[i];
    return text + ')';
}

constexpr int32_t COMMENT_RECORD = 47; // the value of an ASM that is a comment

std::string assembly_text(const NODE* node) {
    const char* text = node->text ? node->text : "";
    const std::string quoted = quoted_text(text, strlen(text));
    return node->value_lo == COMMENT_RECORD ? "comment(" + quoted + ')' : "asm(" + quoted + ')';
}

std::string callee_name(const NODE* node) {
    return node->ref ? static_cast<const char*>(node->ref) : "((nil))";
}

// Operators without an infix form are written as functions.
std::string function_name(int32_t op) {
    switch (op) {
    case OP_ABS: return "abs";
    case OP_SQRT: return "sqrt";
    case OP_SQR: return "SQUARE";
    case OP_RECIP: return "recip";
    case OP_ASSERT: return "assert";
    case OP_NASSERT: return "nassert";
    case OP_MEMCPY: return "memcpy";
    case OP_TOIEEE: return "toieee";
    case OP_FRIEEE: return "frieee";
    default: break;
    }
    if (opcode_arity(op) < 0) return op == OP_ERASED ? "<erased>" : formatted("<op %ld>", op);
    const char* name = opcode_fact(op).name;
    return name ? name : formatted("op%ld", op);
}

// --- Operators ---

bool is_negative_constant(const NODE* node) {
    return (node->op == OP_ICON && int96_is_negative(node->value())) ||
           (node->op == OP_FCON && node->floating() && std::signbit(node->floating()->value));
}

// What stands for the node in the text: structure arguments are shown as they are, and the address of a
// string constant as the constant.
const NODE* shown(const NODE* node) {
    while (node && node->left && (node->op == OP_STARG || (node->op == OP_UAND && node->left->op == OP_SCON)))
        node = node->left;
    return node;
}

LEVEL level_of(const NODE* node) {
    INFIX levels;
    if (infix_levels(node->op, levels)) return levels.own;
    switch (node->op) {
    case OP_QUEST: return CONDITION;
    case OP_UMINUS:
    case OP_UMULT:
    case OP_UAND:
    case OP_ACONV:
    case OP_EXCLAIM:
    case OP_NOTB:
    case OP_SCONV:
    case OP_PCONV:
    case OP_ISP2CHAR: return UNARY;
    case OP_ICON:
    case OP_FCON: return is_negative_constant(node) ? UNARY : PRIMARY;
    case OP_COLON:
    case OP_SSA_DEF:
    case OP_SSA_USE: return LIST;
    case OP_CALL:
    case OP_UCALL:
    case OP_STDOT:
    case OP_STREF:
    case OP_PLUSPLUS:
    case OP_MINMIN: return POSTFIX;
    default: return PRIMARY;
    }
}

void print_infix(PRINTER& printer, const NODE* node, const INFIX& levels) {
    const LEVEL left = node->left && node->left->op == node->op ? levels.own : levels.left;
    const PIECE first = subtree(node->left, left);
    const PIECE second = subtree(node->right, levels.right);
    if (node->op == OP_COMMA && is_switch_item(node->right))
        schedule(printer, {first, literal(" "), second});
    else if (levels.own == LIST)
        schedule(printer, {first, literal(", "), second});
    else
        schedule(printer, {first, literal(" "), literal(infix_operator(node)), literal(" "), second});
}

// "- -x" and "& &x" would be easy to misread, so an operand that begins with the same sign is put into
// parentheses.
void print_prefix(PRINTER& printer, const NODE* node, const char* sign) {
    const NODE* operand = shown(node->left);
    const bool same_sign =
        operand && (operand->op == node->op || (node->op == OP_UMINUS && is_negative_constant(operand)));
    const bool harmless = node->op == OP_UMULT || node->op == OP_EXCLAIM || node->op == OP_NOTB;
    printer.out += sign;
    schedule(printer, {subtree(operand, same_sign && !harmless ? PRIMARY : UNARY)});
}

void print_cast(PRINTER& printer, const NODE* node) {
    printer.out += '(' + (node->type ? type_text(node->type) : "?") + ')';
    schedule(printer, {subtree(node->left, UNARY)});
}

// Post-increments step by one element. Another amount is spelled out.
bool steps_by_one(const NODE* node) {
    const NODE* amount = node->right;
    if (!amount || !node->type) return false;
    if (amount->op == OP_FCON) return amount->floating() && amount->floating()->value == 1;
    const TYPE* target = type_is_pointer(node->type) ? type_target(node->type) : nullptr;
    const auto step = static_cast<int32_t>(target && target->size ? target->size : 1);
    return amount->op == OP_ICON && amount->value() == int96_signed(step);
}

void print_step(PRINTER& printer, const NODE* node, const char* sign) {
    if (steps_by_one(node))
        schedule(printer, {subtree(node->left, POSTFIX), literal(sign)});
    else
        schedule(printer, {subtree(node->left, POSTFIX), literal(sign), literal("/*by "),
                           subtree(node->right, ASSIGNMENT), literal("*/")});
}

// A list of arguments is a chain of COMMA, so an argument that is a COMMAOP needs parentheses.
PIECE argument_list(const NODE* tree) {
    return subtree(tree, tree && tree->op == OP_COMMA ? LIST : ASSIGNMENT);
}

// A function that is called by its name is shown without the "&", one that is called through a pointer with a
// "*".
void print_call(PRINTER& printer, const NODE* node) {
    if (node->op == OP_CALL)
        schedule(printer, {literal("("), argument_list(node->right), literal(")")});
    else
        schedule(printer, {literal("()")});
    if (const NODE* name = named_callee(node))
        schedule(printer, {subtree(name, POSTFIX)});
    else
        schedule(printer, {literal("(*"), subtree(node->left, UNARY), literal(")")});
}

void print_condition(PRINTER& printer, const NODE* node) {
    const PIECE condition = subtree(node->left, LOGICAL_OR);
    const NODE* parts = node->right;
    if (parts && parts->op == OP_COLON)
        schedule(printer, {condition, literal(" ? "), subtree(parts->left, ASSIGNMENT), literal(" : "),
                           subtree(parts->right, CONDITION)});
    else
        schedule(printer, {condition, literal(" ? "), subtree(parts, CONDITION)});
}

void print_function_form(PRINTER& printer, const NODE* node, const std::string& name) {
    printer.out += name;
    if (!node->left && !node->right) return;
    printer.out += '(';
    schedule(printer, {literal(")")});
    if (node->right) schedule(printer, {subtree(node->right, ASSIGNMENT)});
    if (node->left && node->right) schedule(printer, {literal(", ")});
    if (node->left) schedule(printer, {argument_list(node->left)});
}

// --- Statements ---

// A leaf's own number is out of date once blocks were renumbered; the record that it points to is not.
long label_number(const NODE* leaf) { return leaf->label() ? leaf->label()->index : leaf->value_lo; }

std::string goto_text(const NODE* label) {
    return label && label->op == OP_LABEL ? formatted("goto g%ld", label_number(label)) : "goto ((nil))";
}

void print_if(PRINTER& printer, const NODE* node) {
    const NODE* targets = node->right;
    printer.out += "if (";
    if (targets && targets->op == OP_LABEL)
        schedule(printer, {subtree(node->left, STATEMENT), literal(") goto "), subtree(targets, STATEMENT)});
    else if (targets && targets->op == OP_COMMA)
        schedule(printer,
                 {subtree(node->left, STATEMENT), literal(") goto "), subtree(targets->left, STATEMENT),
                  literal("; else goto "), subtree(targets->right, STATEMENT)});
    else
        schedule(printer, {subtree(node->left, STATEMENT), literal(") "), subtree(targets, STATEMENT)});
}

void print_switch(PRINTER& printer, const NODE* node) {
    printer.out += "switch (";
    schedule(printer, {subtree(node->left, STATEMENT), literal(") { "), subtree(node->right, STATEMENT),
                       literal(" }")});
}

void print_case(PRINTER& printer, const NODE* node) {
    const bool is_case = node->op == OP_CASE;
    const NODE* target = is_case ? node->right : node->left;
    printer.out += is_case ? "case " : "default";
    if (is_case)
        schedule(printer, {subtree(node->left, STATEMENT), literal(": goto "), subtree(target, STATEMENT),
                           literal(";")});
    else
        schedule(printer, {literal(": goto "), subtree(target, STATEMENT), literal(";")});
}

// A NAME without a symbol stands in the returns of void functions.
bool names_nothing(const NODE* node) { return node && node->op == OP_NAME && !node->symbol(); }

void print_return(PRINTER& printer, const NODE* node) {
    printer.out += "return";
    if (node->op == OP_RETURN)
        schedule(printer, {literal(" "), subtree(node->left, UNARY), literal(" = "),
                           subtree(node->right, ASSIGNMENT)});
    else if (!names_nothing(node->left))
        schedule(printer, {literal(" "), subtree(node->left, STATEMENT)});
}

// The wrapper of an assignment or a use carries the version in its low word, a use the block in its middle
// word.
void print_version(PRINTER& printer, const NODE* node) {
    char text[64];
    if (node->op == OP_SSA_DEF)
        snprintf(text, sizeof text, "DEF$%02ld:", static_cast<long>(node->value_lo));
    else
        snprintf(text, sizeof text, "BB%d: USE$%02d", node->value_mid, node->value_lo);
    printer.out += text;
    if (node->left) schedule(printer, {literal(" "), subtree(node->left, ASSIGNMENT)});
}

// The operands are no subtrees.
std::string phi_text(const NODE* phi) {
    std::string text = "SSA_PHI(";
    for (const NODE* operand : phi_operands(phi)) {
        if (operand != phi_operands(phi).front()) text += ", ";
        text += formatted("BB%ld: ", operand->value_mid) + formatted("USE$%02ld ", operand->value_lo);
        text += symbol_text(operand->left->symbol());
    }
    return text + ")";
}

// --- One node ---

// True when the node is a leaf and its text was printed.
bool print_leaf(PRINTER& printer, const NODE* node) {
    switch (node->op) {
    case OP_LABEL: printer.out += formatted("g%ld", label_number(node)); return true;
    case OP_LABELDEF: printer.out += formatted("g%ld:", node->value_lo); return true;
    case OP_NAME: printer.out += symbol_text(node->symbol()); return true;
    case OP_SCON: printer.out += string_text(node); return true;
    case OP_ICON: printer.out += integer_text(node); return true;
    case OP_FCON: printer.out += float_text(node); return true;
    case OP_FIELD: printer.out += field_text(node); return true;
    case OP_SKIP: printer.out += formatted("SKIP(%ld)", node->value_lo); return true;
    case OP_PPRAGMA: printer.out += pragma_text(node); return true;
    case OP_ASM: printer.out += assembly_text(node); return true;
    case OP_SSA_PHI: printer.out += phi_text(node); return true;
    default: return false;
    }
}

void print_operator(PRINTER& printer, const NODE* node) {
    INFIX levels;
    if (infix_levels(node->op, levels)) return print_infix(printer, node, levels);
    switch (node->op) {
    case OP_UMINUS: return print_prefix(printer, node, "-");
    case OP_UMULT: return print_prefix(printer, node, "*");
    case OP_ACONV:
    case OP_UAND: return print_prefix(printer, node, "&");
    case OP_EXCLAIM: return print_prefix(printer, node, "!");
    case OP_NOTB: return print_prefix(printer, node, "~");
    case OP_SCONV:
    case OP_PCONV:
    case OP_ISP2CHAR: return print_cast(printer, node);
    case OP_STDOT:
        return schedule(printer, {subtree(node->left, POSTFIX), literal("."), subtree(node->right, POSTFIX)});
    case OP_STREF:
        return schedule(printer,
                        {subtree(node->left, POSTFIX), literal("->"), subtree(node->right, POSTFIX)});
    case OP_PLUSPLUS: return print_step(printer, node, "++");
    case OP_MINMIN: return print_step(printer, node, "--");
    case OP_CALL:
    case OP_UCALL: return print_call(printer, node);
    case OP_QUEST: return print_condition(printer, node);
    case OP_COLON:
        return schedule(printer,
                        {subtree(node->left, ASSIGNMENT), literal(" : "), subtree(node->right, ASSIGNMENT)});
    case OP_IF:
    case OP_CBRANCH: return print_if(printer, node);
    case OP_SWITCH: return print_switch(printer, node);
    case OP_CASE:
    case OP_DEFAULT: return print_case(printer, node);
    case OP_BRANCH: printer.out += goto_text(node->left); return;
    case OP_RETURN:
    case OP_URETURN: return print_return(printer, node);
    case OP_SSA_DEF:
    case OP_SSA_USE: return print_version(printer, node);
    case OP_UICALL:
    case OP_UMCALL: printer.out += callee_name(node) + "()"; return;
    case OP_ICALL:
    case OP_MCALL: return print_function_form(printer, node, callee_name(node));
    default: return print_function_form(printer, node, function_name(node->op));
    }
}

void print_tree(PRINTER& printer, const NODE* node, LEVEL level) {
    node = shown(node);
    if (!node) {
        printer.out += "((nil))";
        return;
    }
    if (level_of(node) < level) {
        printer.out += '(';
        schedule(printer, {literal(")")});
    }
    if (!print_leaf(printer, node)) print_operator(printer, node);
}

// The variable that holds the object pointer of the function being optimized: its parameter and the home of
// it.
bool is_own_this(const SYMBOL* symbol) {
    if (symbol->level < 2) return true;
    for (const SYMBOL* variable = function_symbols.variables.first; variable; variable = variable->next)
        if (!strcmp(variable->name, "this")) return variable == symbol;
    return false;
}

} // namespace

std::string symbol_text(const SYMBOL* symbol) {
    if (!symbol) return "((nil))";
    std::string text = symbol->name;
    if (text == "this" && !is_own_this(symbol)) text = formatted("th%lds", symbol->serial);
    if (symbol->ssa_version) text += formatted("$%02ld", symbol->ssa_version);
    if (symbol->ssa_copy) text += formatted("^%02ld", symbol->ssa_copy);
    return text;
}

std::string quoted_text(const char* bytes, size_t length) {
    static constexpr char escaped[] = "\n\t\r\"\\\a\b\f\v";
    static constexpr char letters[] = "ntr\"\\abfv";
    std::string text = "\"";
    for (size_t i = 0; i < length; ++i) {
        const char c = bytes[i];
        char octal[8];
        const char* escape = c ? strchr(escaped, c) : nullptr;
        if (escape) {
            text += '\\';
            text += letters[escape - escaped];
        } else if (c < ' ' || c > '~') {
            snprintf(octal, sizeof octal, "\\%03o", static_cast<unsigned>(static_cast<unsigned char>(c)));
            text += octal;
        } else {
            text += c;
        }
    }
    return text + '"';
}

std::string tree_text(const NODE* tree) {
    PRINTER printer;
    schedule(printer, {subtree(tree, STATEMENT)});
    while (!printer.waiting.empty()) {
        const PIECE piece = printer.waiting.back();
        printer.waiting.pop_back();
        if (piece.text)
            printer.out += piece.text;
        else
            print_tree(printer, piece.node, piece.level);
    }
    return std::move(printer.out);
}

std::string short_tree_text(const NODE* tree, size_t most) {
    std::string text = tree_text(tree);
    if (text.size() > most) text = text.substr(0, most) + " ...";
    return text;
}

const char* tree2infix(const NODE* tree) {
    static std::string text;
    static volatile bool busy; // a signal handler may look
    if (busy) return "+*+*+ tree2infix called recursively +*+*+";
    struct GUARD {
        GUARD() { busy = true; }
        ~GUARD() { busy = false; }
    } guard;
    text = tree_text(tree);
    return text.c_str();
}

void append_text(std::string& text, const SYMBOL* symbol) { text += symbol_text(symbol); }

} // namespace pelorus
