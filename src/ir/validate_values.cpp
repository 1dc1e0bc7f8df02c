// What a node's operands and result have to do with each other; see validate_tree.h.
//
// Every operator works on operands that have been converted before, so equal representations are all it asks
// for: signedness is the operator's affair or its result type's. The checks stand in one table of functions
// by opcode, in order of: leaves, arithmetic, lvalues and assignments, structures and addresses, conversions,
// calls.
#include <array>

#include "ir/symbol.h"
#include "ir/validate_tree.h"
#include "support/small_stack.h"

namespace pelorus {

namespace {

constexpr uint32_t WORD_BYTES = 4;

// The type that a value of the type has once it is loaded.
const TYPE* value_type(const TYPE* type) {
    type = type_strip(type);
    return type->kind == TK_BITFIELD && type->base ? type_strip(type->base) : type;
}

bool is_word_kind(const TYPE* type) {
    return type->kind == TK_INTEGER || type->kind == TK_ENUM || type->kind == TK_POINTER ||
           type->kind == TK_REFERENCE;
}

bool is_void(const NODE* node) { return !node->type || type_is_void(node->type); }
bool is_structure(const NODE* node) { return node->type && type_is_csu(node->type); }

bool require(bool good, RULE rule, const char* message, const NODE* node, const TREE_PLACE& place) {
    return good || report_invalid_node(rule, message, node, place);
}

const NODE* left_of(const NODE* node) { return without_versions(node->left); }
const NODE* right_of(const NODE* node) { return without_versions(node->right); }

bool same_values(const NODE* a, const NODE* b) {
    return a && b && a->type && b->type && same_representation(a->type, b->type);
}

bool has_result_of(const NODE* node, const NODE* operand, const TREE_PLACE& place) {
    return require(same_values(node, operand), RULE_N7, "The result has not the type of its operand", node,
                   place);
}

bool is_int(const TYPE* type) {
    type = value_type(type);
    return type->kind == TK_INTEGER && type->size == WORD_BYTES && !type->is_unsigned;
}

bool has_result_int(const NODE* node, const TREE_PLACE& place) {
    return require(is_int(node->type), RULE_N7, "The result must be an int", node, place);
}

} // namespace

bool same_representation(const TYPE* a, const TYPE* b) {
    if (a == b) return true;
    a = value_type(a), b = value_type(b);
    if (a == b) return true;
    if (is_word_kind(a) && is_word_kind(b)) return a->size == b->size;
    if (type_is_csu(a) || type_is_csu(b) || a->kind == TK_ARRAY || a->kind == TK_FUNCTION)
        return type_compatible(a, b);
    return a->kind == b->kind && a->size == b->size;
}

bool names_object(const SYMBOL* symbol) {
    return symbol->file_class != SC_LABEL && symbol->file_class != SC_TYPEDEF;
}

bool is_lvalue(const NODE* node) {
    for (node = without_versions(node); node; node = without_versions(node)) {
        switch (node->op) {
        case OP_NAME: return node->symbol() != nullptr;
        case OP_UMULT:
        case OP_STREF: return true;
        case OP_STDOT: node = node->left; break;
        case OP_COMMAOP: node = node->right; break;
        default: return false;
        }
    }
    return false;
}

namespace {

// --- Leaves ---

// A return of nothing has a NAME without a symbol.
bool check_name(const NODE* node, const TREE_PLACE& place) {
    const SYMBOL* symbol = node->symbol();
    if (!symbol)
        return require(is_void(node), RULE_N10, "A NAME without a symbol has type void", node, place);
    if (!require(names_object(symbol), RULE_N10, "The NAME is of a label or of a type", node, place))
        return false;
    if (!node->type || !symbol->declared_type || node->type == symbol->declared_type) return true;
    return require(same_representation(node->type, symbol->declared_type) ||
                       type_compatible(node->type, symbol->declared_type),
                   RULE_N10, "The NAME has another type than its symbol", node, place);
}

bool fits_integer(INT96 value, const TYPE* type) {
    if (type_is_bool(type)) // a test of a bool may look at one bit alone
        return int96_fits_unsigned64(value) && int96_to_int64(value) >> 1 == 0;
    const uint32_t spare = 64 - 8 * type->size; // bits of a 64-bit integer that the type does not have
    if (type->is_unsigned)
        return int96_fits_unsigned64(value) &&
               static_cast<uint64_t>(int96_to_int64(value)) <= UINT64_MAX >> spare;
    if (!int96_fits_signed64(value)) return false;
    const int64_t number = int96_to_int64(value);
    return number <= INT64_MAX >> spare && number >= INT64_MIN >> spare;
}

bool check_integer(const NODE* node, const TREE_PLACE& place) {
    const TYPE* type = node->type ? value_type(node->type) : nullptr;
    if (!type || !is_word_kind(type) || !type->size || type->size > 8)
        return report_invalid_node(RULE_N11, "The constant must have integer or pointer type", node, place);
    return require(fits_integer(node->value(), type), RULE_N11, "The constant is no value of its type", node,
                   place);
}

bool check_float(const NODE* node, const TREE_PLACE& place) {
    return require(node->type && type_is_floating(node->type), RULE_N12,
                   "The constant must have floating type", node, place);
}

bool check_string(const NODE* node, const TREE_PLACE& place) {
    const TYPE* type = node->type ? type_strip(node->type) : nullptr;
    if (!type || type->kind != TK_ARRAY || !type_is_integer(type->base))
        return report_invalid_node(RULE_N13, "A string must be an array of characters", node, place);
    return require(!type->complete || static_cast<uint32_t>(node->value_lo) == type->size, RULE_N13,
                   "The string has not the size of its array", node, place);
}

// --- Arithmetic ---

bool check_two(const NODE* node, const TREE_PLACE& place) {
    return require(same_values(left_of(node), right_of(node)), RULE_N6,
                   "The operands have different representations", node, place);
}

bool check_arithmetic(const NODE* node, const TREE_PLACE& place) {
    return check_two(node, place) && has_result_of(node, left_of(node), place);
}
bool check_relation(const NODE* node, const TREE_PLACE& place) {
    if (node->op >= OP_ULE && node->op <= OP_UGT && type_is_floating(left_of(node)->type))
        return report_invalid_node(RULE_N4, "Floating operands are not compared as unsigned", node, place);
    return check_two(node, place) && has_result_int(node, place);
}
bool check_unary(const NODE* node, const TREE_PLACE& place) {
    return has_result_of(node, left_of(node), place);
}

// The amount is of no matter to the result, and the test's operands of no matter to its.
bool check_shift(const NODE* node, const TREE_PLACE& place) {
    return has_result_of(node, left_of(node), place);
}
bool check_test(const NODE* node, const TREE_PLACE& place) { return has_result_int(node, place); }

bool check_comma(const NODE* node, const TREE_PLACE& place) {
    return is_void(node) || has_result_of(node, right_of(node), place);
}

bool check_choice(const NODE* node, const TREE_PLACE& place) {
    if (is_void(node)) return true;
    const NODE* values = right_of(node);
    return has_result_of(node, without_versions(values->left), place) &&
           has_result_of(node, without_versions(values->right), place);
}

// --- Assignments ---

bool check_target(const NODE* node, const TREE_PLACE& place) {
    if (!is_lvalue(node->left))
        return report_invalid_node(RULE_N8, "The left operand is no lvalue", node, place);
    return has_result_of(node, left_of(node), place);
}

bool check_assignment(const NODE* node, const TREE_PLACE& place) {
    return check_target(node, place) &&
           require(same_values(left_of(node), right_of(node)), RULE_N19,
                   "The value has another representation than what it is assigned to", node, place);
}

// What is added to a pointer is a number of bytes.
bool check_compound(const NODE* node, const TREE_PLACE& place) {
    if (!check_target(node, place)) return false;
    if (!type_is_pointer(left_of(node)->type)) return true;
    const TYPE* amount = value_type(right_of(node)->type);
    return require(is_word_kind(amount) && amount->size == WORD_BYTES, RULE_N19,
                   "A pointer takes a number of bytes of 32 bits", node, place);
}

bool is_structure_value(const NODE* node) {
    if (is_lvalue(node)) return true;
    switch (node->op) {
    case OP_CALL:
    case OP_UCALL:
    case OP_MCALL:
    case OP_UMCALL:
    case OP_ICALL:
    case OP_UICALL:
    case OP_STASG:
    case OP_QUEST:
    case OP_COMMAOP:
    case OP_STDOT: return true;
    default: return opcode_fact(node->op).name == nullptr;
    }
}

bool check_structure_assignment(const NODE* node, const TREE_PLACE& place) {
    if (!check_target(node, place)) return false;
    if (!is_structure_value(right_of(node)))
        return report_invalid_node(RULE_N9, "The right operand is no structure", node, place);
    return require(same_values(left_of(node), right_of(node)), RULE_N19,
                   "The value is another structure than what it is assigned to", node, place);
}

bool check_structure_argument(const NODE* node, const TREE_PLACE& place) {
    return require(is_structure_value(left_of(node)), RULE_N9, "The operand is no structure", node, place) &&
           has_result_of(node, left_of(node), place);
}

// --- Members and addresses ---

// A member that is an array of a structure that a call returned decays to a pointer into the temporary
// result; the result itself has no address.
bool has_address(const NODE* node) {
    if (is_lvalue(node)) return true;
    const NODE* place = without_versions(node);
    return place->op == OP_SCON || place->op == OP_STDOT;
}

bool check_address(const NODE* node, const TREE_PLACE& place) {
    return require(has_address(node->left), RULE_N8, "The operand has no address", node, place);
}

bool check_object(const NODE* node, const TREE_PLACE& place) {
    const TYPE* target = type_target(left_of(node)->type);
    if (!node->type || !target) return true;
    return require(same_representation(node->type, target) || type_compatible(node->type, target), RULE_N15,
                   "The pointer points to another type", node, place);
}

bool check_member(const NODE* node, const TYPE* from, const TREE_PLACE& place) {
    const NODE* field = right_of(node);
    const auto* owner = static_cast<const TYPE*>(field->ref);
    if (!owner || !field->field_info || !field->field_info->type || !node->type) return true;
    if (!type_is_csu(from) || !type_compatible(from, owner))
        return report_invalid_node(RULE_N14, "The FIELD is of another structure", node, place);
    return require(same_representation(node->type, field->field_info->type), RULE_N14,
                   "The member has another type", node, place);
}

bool check_dot(const NODE* node, const TREE_PLACE& place) {
    return require(is_structure_value(left_of(node)), RULE_N9, "The left operand is no structure", node,
                   place) &&
           check_member(node, left_of(node)->type, place);
}

bool check_arrow(const NODE* node, const TREE_PLACE& place) {
    const TYPE* from = type_target(left_of(node)->type);
    return require(from, RULE_N14, "The FIELD is of another structure", node, place) &&
           check_member(node, from, place);
}

bool check_argument_walk(const NODE* node, const TREE_PLACE& place) {
    const SYMBOL* symbol = left_of(node)->symbol();
    return require(symbol && symbol->file_class == SC_VARARG, RULE_N20,
                   "The operand is not the last named argument", node, place);
}

// --- Conversions ---

bool check_conversion(const NODE* node, const TREE_PLACE& place) {
    if (is_void(node) || !type_is_pointer(left_of(node)->type)) return true;
    return require(type_is_bool(node->type), RULE_N18, "SCONV converts a pointer to bool only", node, place);
}

// The low 32 bits are kept, so an integer may be of any size.
bool check_pointer_conversion(const NODE* node, const TREE_PLACE& place) {
    const TYPE* to = value_type(node->type);
    const TYPE* from = value_type(left_of(node)->type);
    const bool good =
        (type_is_pointer(to) && is_word_kind(from)) || (type_is_pointer(from) && is_word_kind(to));
    return require(good || to->kind == TK_MEMBER_POINTER || to->kind == TK_METHOD_POINTER, RULE_N18,
                   "PCONV converts to or from a pointer", node, place);
}

// --- Calls ---

bool is_argument_of(const NODE* argument, const TYPE* parameter) {
    const TYPE* type = type_strip(parameter);
    // A transparent union is passed as whatever member the argument is.
    if (type->layouts_seen & (1 << LAYOUT_TRANSPARENT_UNION)) return true;
    if (type_is_csu(type) && argument->op != OP_STARG) return false;
    return argument->type && same_representation(argument->type, parameter);
}

uint32_t count_arguments(const NODE* list) {
    uint32_t count = list ? 1 : 0;
    for (; list && list->op == OP_COMMA; list = list->left) count++;
    return count;
}

uint32_t count_parameters(const TYPE* function) {
    uint32_t count = 0;
    for (const TYPE_PART* part = function->parts; part; part = part->next)
        count += part->record_kind == TR_PARAMETER;
    return count;
}

// Every argument is a value; a structure is one inside STARG only.
bool check_argument_forms(const NODE* list, const TREE_PLACE& place) {
    for (; list; list = list->op == OP_COMMA ? list->left : nullptr) {
        const NODE* argument = without_versions(list->op == OP_COMMA ? list->right : list);
        if (!argument) return true; // the COMMA's own check has told
        if (argument->op != OP_STARG && (is_structure(argument) || is_void(argument)))
            return report_invalid_node(RULE_N9, "The argument is no value", argument, place);
    }
    return true;
}

bool check_arguments(const NODE* node, const TYPE* function, const TREE_PLACE& place) {
    if (!check_argument_forms(node->right, place)) return false;
    if (!function->prototyped) return true;
    uint32_t count = count_arguments(node->right);
    const uint32_t wanted = count_parameters(function);
    if (count < wanted || (count > wanted && !function->variadic))
        return report_invalid_node(RULE_N16, "The call has not as many arguments as the function takes", node,
                                   place);
    const NODE* list = node->right;
    for (; count > wanted; --count) list = list->op == OP_COMMA ? list->left : nullptr;
    SMALL_STACK<const TYPE*, 16> parameters;
    for (const TYPE_PART* part = function->parts; part; part = part->next)
        if (part->record_kind == TR_PARAMETER) parameters.push(part->type);
    for (; count; --count) {
        const NODE* argument = without_versions(count > 1 ? list->right : list);
        if (!is_argument_of(argument, parameters[count - 1]))
            return report_invalid_node(RULE_N16, "The argument is not of the parameter's type", argument,
                                       place);
        list = list->left;
    }
    return true;
}

bool check_call(const NODE* node, const TREE_PLACE& place) {
    const TYPE* target = type_target(left_of(node)->type);
    const TYPE* function = target ? type_strip(target) : nullptr;
    if (!function || function->kind != TK_FUNCTION)
        return report_invalid_node(RULE_N16, "The callee is no pointer to a function", node, place);
    if (!check_arguments(node, function, place)) return false;
    const bool returns_nothing = type_is_void(function->base);
    const bool good = is_void(node) == returns_nothing &&
                      (returns_nothing || same_representation(node->type, function->base));
    return require(good, RULE_N17, "The call has another type than the function returns", node, place);
}

// --- The form around the values ---

// Opcodes that are no expressions and what may hold them; NOP stands for the top of a statement.
bool may_hold(int32_t parent, int32_t part) {
    switch (part) {
    case OP_LABEL:
        return parent == OP_COMMA || parent == OP_CASE || parent == OP_DEFAULT || parent == OP_BRANCH ||
               parent == OP_CBRANCH;
    case OP_FIELD: return parent == OP_STDOT || parent == OP_STREF || parent == OP_STFIELD;
    case OP_COLON: return parent == OP_QUEST;
    case OP_CASE:
    case OP_DEFAULT: return parent == OP_COMMA || parent == OP_SWITCH;
    case OP_STARG:
    case OP_COMMA:
        return parent == OP_COMMA || opcode_fact(parent).kind == OPCODE_CLASS::CALLS ||
               (part == OP_COMMA && (parent == OP_IF || parent == OP_SWITCH));
    case OP_PCOMMA: return parent == OP_PCOMMA;
    case OP_ENDINIT:
    case OP_SKIP: return false;
    default: return opcode_fact(part).kind != OPCODE_CLASS::CONTROL;
    }
}

// What stands under few operators only; everything else may stand under any.
bool is_part(int32_t op) {
    const OPCODE_CLASS kind = opcode_fact(op).kind;
    return kind == OPCODE_CLASS::PARTS || kind == OPCODE_CLASS::CONTROL || op == OP_STARG;
}

bool check_child(const NODE* node, const NODE* child, const TREE_PLACE& place) {
    child = without_versions(child);
    // The arity check tells what is no opcode.
    if (!child || opcode_arity(child->op) < 0 || !is_part(child->op)) return true;
    return require(may_hold(node->op, child->op), RULE_N5, "The operand stands where it cannot", child,
                   place);
}

// An assignment is a statement's part under PCOMMA, and any expression but the ones above may stand under any
// operator.
bool check_children(const NODE* node, const TREE_PLACE& place) {
    if (node->op >= OP_SSA_PHI || !opcode_fact(node->op).name) return true;
    return check_child(node, node->left, place) && check_child(node, node->right, place);
}

bool wants_void(const NODE* node) {
    const OPCODE_CLASS kind = opcode_fact(node->op).kind;
    if (kind == OPCODE_CLASS::CONTROL) return true;
    return kind == OPCODE_CLASS::PARTS && node->op != OP_FIELD && node->op != OP_DDNODE;
}

// Where a void expression makes sense.
bool may_be_void(const NODE* node) {
    switch (node->op) {
    case OP_NOP:
    case OP_NAME:
    case OP_QUEST:
    case OP_COMMAOP:
    case OP_SCONV:
    case OP_UMULT: return true; // of a pointer to void, for its side effects
    default: return opcode_fact(node->op).kind == OPCODE_CLASS::CALLS || !opcode_fact(node->op).name;
    }
}

bool check_has_type(const NODE* node, const TREE_PLACE& place) {
    if (wants_void(node))
        return require(is_void(node), RULE_N3, "The operator must have type void", node, place);
    return !is_void(node) || may_be_void(node) || node->op >= OP_SSA_PHI ||
           report_invalid_node(RULE_N3, "The expression has no type", node, place);
}

using CHECK = bool (*)(const NODE* node, const TREE_PLACE& place);

constexpr CHECK check_of(int32_t op) {
    if (opcode_is_relation(op)) return check_relation;
    switch (op) {
    case OP_NAME: return check_name;
    case OP_ICON: return check_integer;
    case OP_FCON: return check_float;
    case OP_SCON: return check_string;
    case OP_PLUS:
    case OP_MINUS:
    case OP_MULT:
    case OP_DIV:
    case OP_MOD:
    case OP_ANDB:
    case OP_ORB:
    case OP_XORB: return check_arithmetic;
    case OP_UMINUS:
    case OP_NOTB:
    case OP_ABS:
    case OP_SQRT:
    case OP_SQR:
    case OP_RECIP:
    case OP_NONALIGN:
    case OP_IDENTITY: return check_unary;
    case OP_SLL:
    case OP_SRL: return check_shift;
    case OP_ANDAND:
    case OP_OROR:
    case OP_EXCLAIM: return check_test;
    case OP_COMMAOP: return check_comma;
    case OP_QUEST: return check_choice;
    case OP_ASG: return check_assignment;
    case OP_PLUSASG:
    case OP_MINUSASG:
    case OP_MULTASG:
    case OP_DIVASG:
    case OP_MODASG:
    case OP_ANDBASG:
    case OP_ORBASG:
    case OP_XORBASG:
    case OP_SLLASG:
    case OP_SRLASG:
    case OP_PLUSPLUS:
    case OP_MINMIN: return check_compound;
    case OP_STASG: return check_structure_assignment;
    case OP_STARG: return check_structure_argument;
    case OP_UAND:
    case OP_ACONV: return check_address;
    case OP_UMULT: return check_object;
    case OP_STDOT: return check_dot;
    case OP_STREF: return check_arrow;
    case OP_ARGREF: return check_argument_walk;
    case OP_SCONV: return check_conversion;
    case OP_PCONV:
    case OP_ISP2CHAR: return check_pointer_conversion;
    case OP_CALL:
    case OP_UCALL: return check_call;
    default: return nullptr;
    }
}

constexpr std::array<CHECK, OPCODE_COUNT> build_checks() {
    std::array<CHECK, OPCODE_COUNT> table{};
    for (int32_t op = 0; op < OPCODE_COUNT; ++op) table[static_cast<size_t>(op)] = check_of(op);
    return table;
}
constexpr auto check_table = build_checks();

} // namespace

bool check_values(const NODE* node, const TREE_PLACE& place) {
    if (!check_has_type(node, place) || !check_children(node, place)) return false;
    const CHECK check = check_table[static_cast<size_t>(node->op)];
    return !check || check(node, place);
}

} // namespace pelorus
