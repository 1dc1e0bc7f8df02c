// The evaluator of trees; see evaluator.h. One function a family of operators.
#include "evaluator.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "ir/validate_tree.h"
#include "support/settings.h"
#include "support/test_support.h"
#include "tree/query.h"

namespace pelorus {

namespace {

uint64_t mixed(uint64_t value) {
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}
uint64_t mixed(uint64_t a, uint64_t b) { return mixed(a ^ mixed(b + 0x9E3779B97F4A7C15u)); }

EVALUATED undefined(MACHINE& machine, const char* reason) {
    if (!machine.undefined) machine.undefined = reason;
    return {};
}

bool is_single(const TYPE* type) { return type->size == 4; }

double canonical(double value) {
    return std::isnan(value) ? std::numeric_limits<double>::quiet_NaN() : value;
}

bool is_true(const EVALUATED& value) {
    return value.kind == EVALUATED::FLOATING ? value.real != 0 : value.number != 0;
}

uint64_t hash_of(const EVALUATED& value) {
    uint64_t hash = mixed(static_cast<uint64_t>(value.number), std::bit_cast<uint64_t>(value.real));
    for (char c : value.bytes) hash = mixed(hash, static_cast<uint8_t>(c));
    return hash;
}

} // namespace

// --- Values ---

WIDE wrapped(const TYPE* type, WIDE value) {
    const uint32_t bits = type_bits(type);
    const WIDE modulus = WIDE(1) << bits;
    value &= modulus - 1;
    return type_is_signed(type) && value >= modulus / 2 ? value - modulus : value;
}

EVALUATED integer_value(const TYPE* type, WIDE value) {
    EVALUATED result;
    result.kind = EVALUATED::INTEGER;
    result.number = wrapped(type, value);
    return result;
}

EVALUATED floating_value(const TYPE* type, double value) {
    EVALUATED result;
    result.kind = EVALUATED::FLOATING;
    result.real = canonical(is_single(type) ? static_cast<float>(value) : value);
    return result;
}

namespace {

EVALUATED some_integer(const TYPE* type, uint64_t choice) {
    if (type_is_bool(type)) return integer_value(type, choice & 1);
    const uint64_t random = mixed(choice);
    const uint32_t power = static_cast<uint32_t>(random >> 32) % type_bits(type);
    switch (choice % 12) {
    case 0: return integer_value(type, 0);
    case 1: return integer_value(type, 1);
    case 2: return integer_value(type, -1);
    case 3: return integer_value(type, (WIDE(1) << (type_bits(type) - 1)) - 1); // the largest signed number
    case 4: return integer_value(type, WIDE(1) << (type_bits(type) - 1));       // the smallest signed number
    case 5: return integer_value(type, WIDE(1) << power);
    case 6: return integer_value(type, (WIDE(1) << power) - 1);
    case 7: return integer_value(type, -(WIDE(1) << power));
    case 8: return integer_value(type, static_cast<int>(random % 32) - 8);
    default: return integer_value(type, random);
    }
}

EVALUATED some_floating(const TYPE* type, uint64_t choice) {
    constexpr double INFINITE = std::numeric_limits<double>::infinity();
    static const double special[] = {0.0,   -0.0,     1.0,      -1.0,      0.5,          3.0,
                                     1e10,  -1e-10,   INFINITE, -INFINITE, std::nan(""), 1e38,
                                     1e-45, 16777217, 1e300,    1e-310,    255.999};
    constexpr uint64_t COUNT = std::size(special);
    if (choice % (COUNT + 6) < COUNT) return floating_value(type, special[choice % (COUNT + 6)]);
    const uint64_t random = mixed(choice);
    return floating_value(
        type, std::ldexp(static_cast<double>(static_cast<int64_t>(random)), -static_cast<int>(random % 100)));
}

} // namespace

EVALUATED some_value(const TYPE* type, uint64_t choice) {
    if (type_is_floating(type)) return some_floating(type, choice);
    if (type_is_integer(type) || type_is_pointer(type)) return some_integer(type, choice);
    EVALUATED result;
    if (type_is_void(type)) return result;
    result.kind = EVALUATED::BYTES;
    for (uint32_t i = 0; i < type->size; ++i) result.bytes += static_cast<char>(mixed(choice, i));
    return result;
}

// --- Memory ---

uint32_t place_object(MACHINE& machine, const SYMBOL* symbol) {
    const auto [place, is_new] = machine.objects->emplace(symbol, 0);
    if (is_new) {
        constexpr uint32_t ALIGNMENT = 8;
        const uint32_t size = type_is_function(symbol->type) ? 4 : symbol->type->size;
        place->second = ARENA_BASE + static_cast<uint32_t>(machine.arena.size());
        machine.arena.resize(machine.arena.size() + (size + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT);
    }
    return place->second;
}

namespace {

uint8_t load_byte(const MACHINE& machine, uint32_t address) {
    if (address - ARENA_BASE < machine.arena.size()) return machine.arena[address - ARENA_BASE];
    for (const auto* known : {&machine.elsewhere, &machine.constants})
        if (const auto byte = known->find(address); byte != known->end()) return byte->second;
    return static_cast<uint8_t>(mixed(machine.seed, address));
}

void store_byte(MACHINE& machine, uint32_t address, uint8_t byte) {
    if (address - ARENA_BASE < machine.arena.size())
        machine.arena[address - ARENA_BASE] = byte;
    else
        machine.elsewhere[address] = byte;
}

uint64_t load_bytes(const MACHINE& machine, uint32_t address, uint32_t size) {
    uint64_t value = 0;
    for (uint32_t i = size; i-- > 0;) value = value << 8 | load_byte(machine, address + i);
    return value;
}

void store_bytes(MACHINE& machine, uint32_t address, uint32_t size, uint64_t value) {
    for (uint32_t i = 0; i < size; ++i, value >>= 8)
        store_byte(machine, address + i, static_cast<uint8_t>(value));
}

// NaNs that no operation makes could be told apart by their bytes, which the target's instructions do not
// promise.
EVALUATED floating_of_bits(MACHINE& machine, const TYPE* type, uint64_t bits) {
    const double value = is_single(type)
                             ? static_cast<double>(std::bit_cast<float>(static_cast<uint32_t>(bits)))
                             : std::bit_cast<double>(bits);
    if (std::isnan(value) && (bits << (is_single(type) ? 41 : 12)) != 1ull << 63)
        return undefined(machine, "a NaN with a payload");
    return floating_value(type, value);
}

uint64_t bits_of_value(const TYPE* type, const EVALUATED& value) {
    if (value.kind != EVALUATED::FLOATING) return static_cast<uint64_t>(value.number);
    if (is_single(type)) return std::bit_cast<uint32_t>(static_cast<float>(value.real));
    return std::bit_cast<uint64_t>(value.real);
}

EVALUATED load_value(MACHINE& machine, uint32_t address, const TYPE* type) {
    if (type_is_csu(type)) {
        EVALUATED result;
        result.kind = EVALUATED::BYTES;
        for (uint32_t i = 0; i < type->size; ++i)
            result.bytes += static_cast<char>(load_byte(machine, address + i));
        return result;
    }
    const uint64_t bits = load_bytes(machine, address, type->size);
    if (type_is_floating(type)) return floating_of_bits(machine, type, bits);
    if (type_is_bool(type) && bits > 1) return undefined(machine, "a bool that is neither 0 nor 1");
    return integer_value(type, bits);
}

} // namespace

void store_value(MACHINE& machine, uint32_t address, const TYPE* type, const EVALUATED& value) {
    if (type_is_csu(type))
        for (uint32_t i = 0; i < type->size; ++i)
            store_byte(machine, address + i, static_cast<uint8_t>(value.bytes[i]));
    else
        store_bytes(machine, address, type->size, bits_of_value(type, value));
}

// --- Lvalues ---

namespace {

struct LVALUE {
    uint32_t address = 0;
    const TYPE* type = nullptr;
    const TYPE* bitfield = nullptr; // or null
    bool is_volatile = false;
};

bool names_place(const NODE* node) {
    while (node->op == OP_STDOT || node->op == OP_COMMAOP)
        node = node->op == OP_STDOT ? node->left : node->right;
    return node->op == OP_NAME || node->op == OP_UMULT || node->op == OP_STREF || node->op == OP_SCON;
}

uint32_t string_address(MACHINE& machine, const NODE* node) {
    uint64_t hash = 0;
    for (int32_t i = 0; i < node->value_lo; ++i) hash = mixed(hash, static_cast<uint8_t>(node->text[i]));
    const uint32_t address = 0x80000000u | static_cast<uint32_t>(hash << 8);
    for (int32_t i = 0; i < node->value_lo; ++i)
        machine.constants.emplace(address + static_cast<uint32_t>(i), static_cast<uint8_t>(node->text[i]));
    return address;
}

uint32_t address_of(MACHINE& machine, const NODE* pointer) {
    return static_cast<uint32_t>(evaluate(machine, pointer).number);
}

LVALUE lvalue_of(MACHINE& machine, const NODE* node) {
    LVALUE result{0, node->type, nullptr, type_is_volatile(node->type)};
    switch (node->op) {
    case OP_NAME: result.address = place_object(machine, node->symbol()); break;
    case OP_SCON: result.address = string_address(machine, node); break;
    case OP_UMULT: result.address = address_of(machine, node->left); break;
    case OP_COMMAOP: evaluate(machine, node->left); return lvalue_of(machine, node->right);
    case OP_STDOT:
    case OP_STREF:
        result.address =
            node->op == OP_STDOT ? lvalue_of(machine, node->left).address : address_of(machine, node->left);
        result.address += static_cast<uint32_t>(node->right->field_info->value);
        if (node->right->field_info->flag) result.bitfield = type_strip(node->right->field_info->type);
        break;
    default: undefined(machine, "no lvalue");
    }
    return result;
}

uint64_t volatile_place(const LVALUE& lvalue) {
    return lvalue.address | static_cast<uint64_t>(lvalue.type->size) << 32;
}

EVALUATED load_bitfield(MACHINE& machine, const LVALUE& lvalue) {
    const uint64_t container = load_bytes(machine, lvalue.address, lvalue.bitfield->other->size);
    return integer_value(lvalue.type, wrapped(lvalue.bitfield, container >> lvalue.bitfield->bit_shift));
}

EVALUATED load(MACHINE& machine, const LVALUE& lvalue) {
    if (lvalue.is_volatile) {
        machine.events.push_back({'r', volatile_place(lvalue), 0});
        const EVALUATED value =
            some_value(lvalue.type, mixed(machine.seed, machine.events.size() + lvalue.address));
        if (!lvalue.bitfield) return value;
        return integer_value(lvalue.type, wrapped(lvalue.bitfield, value.number));
    }
    return lvalue.bitfield ? load_bitfield(machine, lvalue)
                           : load_value(machine, lvalue.address, lvalue.type);
}

// Returns what was stored.
EVALUATED store(MACHINE& machine, const LVALUE& lvalue, EVALUATED value) {
    if (lvalue.bitfield) value = integer_value(lvalue.type, wrapped(lvalue.bitfield, value.number));
    if (lvalue.is_volatile) {
        machine.events.push_back({'w', volatile_place(lvalue), hash_of(value)});
        return value;
    }
    if (!lvalue.bitfield) {
        store_value(machine, lvalue.address, lvalue.type, value);
        return value;
    }
    const uint32_t size = lvalue.bitfield->other->size;
    const uint64_t ones = (1ull << lvalue.bitfield->bit_width) - 1;
    const auto shift = static_cast<uint32_t>(lvalue.bitfield->bit_shift);
    const uint64_t container = load_bytes(machine, lvalue.address, size);
    store_bytes(machine, lvalue.address, size,
                (container & ~(ones << shift)) | (static_cast<uint64_t>(value.number) & ones) << shift);
    return value;
}

// A member of a structure that is no lvalue.
EVALUATED member_of_value(MACHINE& machine, const NODE* node) {
    const EVALUATED whole = evaluate(machine, node->left);
    MACHINE scratch;
    scratch.arena.assign(whole.bytes.begin(), whole.bytes.end());
    LVALUE member{ARENA_BASE + static_cast<uint32_t>(node->right->field_info->value), node->type, nullptr,
                  false};
    if (node->right->field_info->flag) member.bitfield = type_strip(node->right->field_info->type);
    const EVALUATED result = load(scratch, member);
    if (scratch.undefined) undefined(machine, scratch.undefined);
    return result;
}

// --- Conversions ---

EVALUATED converted(MACHINE& machine, const TYPE* type, const EVALUATED& value) {
    if (type_is_void(type)) return {};
    if (type_is_bool(type)) return integer_value(type, is_true(value));
    if (type_is_floating(type)) {
        if (value.kind == EVALUATED::FLOATING) return floating_value(type, value.real);
        // One rounding: the host converts 64-bit integers to either format directly.
        const bool fits = value.number <= std::numeric_limits<int64_t>::max();
        if (!is_single(type))
            return floating_value(type, fits ? static_cast<double>(static_cast<int64_t>(value.number))
                                             : static_cast<double>(static_cast<uint64_t>(value.number)));
        return floating_value(type, fits ? static_cast<float>(static_cast<int64_t>(value.number))
                                         : static_cast<float>(static_cast<uint64_t>(value.number)));
    }
    if (value.kind != EVALUATED::FLOATING) return integer_value(type, value.number);
    if (!(std::fabs(value.real) < 0x1p64)) return undefined(machine, "a floating value out of range");
    const WIDE whole = static_cast<WIDE>(value.real);
    if (wrapped(type, whole) != whole) return undefined(machine, "a floating value out of range");
    return integer_value(type, whole);
}

// --- Operators ---

EVALUATED shifted(MACHINE& machine, int32_t op, const TYPE* type, WIDE a, WIDE amount) {
    if (amount < 0 || amount >= type_bits(type)) return undefined(machine, "a shift by more than the width");
    a = wrapped(type, a);
    return integer_value(type, op == OP_SLL ? a << static_cast<int>(amount) : a >> static_cast<int>(amount));
}

EVALUATED divided(MACHINE& machine, int32_t op, const TYPE* type, WIDE a, WIDE b) {
    a = wrapped(type, a);
    b = wrapped(type, b);
    if (b == 0) return undefined(machine, "a division by zero");
    if (wrapped(type, a / b) != a / b) return undefined(machine, "a quotient out of range");
    return integer_value(type, op == OP_DIV ? a / b : a % b);
}

EVALUATED float_binary(MACHINE& machine, int32_t op, const TYPE* type, double a, double b) {
    // A double holds the sum, difference, product and quotient of two singles well enough that rounding them
    // again is rounding once.
    switch (op) {
    case OP_PLUS: return floating_value(type, a + b);
    case OP_MINUS: return floating_value(type, a - b);
    case OP_MULT: return floating_value(type, a * b);
    case OP_DIV: return floating_value(type, a / b);
    default: return undefined(machine, "no such operator of floating values");
    }
}

EVALUATED binary(MACHINE& machine, int32_t op, const TYPE* type, const EVALUATED& x, const EVALUATED& y) {
    if (type_is_floating(type)) return float_binary(machine, op, type, x.real, y.real);
    const WIDE a = x.number;
    const WIDE b = y.number;
    switch (op) {
    case OP_PLUS: return integer_value(type, a + b);
    case OP_MINUS: return integer_value(type, a - b);
    case OP_MULT: return integer_value(type, static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
    case OP_ANDB: return integer_value(type, a & b);
    case OP_ORB: return integer_value(type, a | b);
    case OP_XORB: return integer_value(type, a ^ b);
    case OP_DIV:
    case OP_MOD: return divided(machine, op, type, a, b);
    case OP_SLL:
    case OP_SRL: return shifted(machine, op, type, a, b);
    default: return undefined(machine, "no such operator");
    }
}

EVALUATED unary(MACHINE& machine, int32_t op, const TYPE* type, const EVALUATED& x) {
    if (type_is_floating(type)) switch (op) {
        case OP_UMINUS: return floating_value(type, -x.real);
        case OP_ABS: return floating_value(type, std::fabs(x.real));
        case OP_SQRT: return floating_value(type, std::sqrt(x.real));
        case OP_SQR: return floating_value(type, x.real * x.real);
        case OP_RECIP: return floating_value(type, 1 / x.real);
        default: return undefined(machine, "no such operator of a floating value");
        }
    switch (op) {
    case OP_UMINUS: return integer_value(type, -x.number);
    case OP_NOTB: return integer_value(type, ~x.number);
    case OP_ABS:
        return integer_value(type, wrapped(type, x.number) < 0 ? -wrapped(type, x.number) : x.number);
    default: return undefined(machine, "no such operator");
    }
}

template <class NUMBER>
bool holds(int32_t op, NUMBER a, NUMBER b) {
    switch (op) {
    case OP_EQ: return a == b;
    case OP_NEQ: return a != b;
    case OP_LE:
    case OP_ULE: return a <= b;
    case OP_LT:
    case OP_ULT: return a < b;
    case OP_GE:
    case OP_UGE: return a >= b;
    default: return a > b;
    }
}

// The low bits of the number, which is of the type, read with or without sign.
WIDE read_as(const TYPE* type, WIDE value, bool as_unsigned) {
    const WIDE modulus = WIDE(1) << type_bits(type);
    value &= modulus - 1;
    return !as_unsigned && value >= modulus / 2 ? value - modulus : value;
}

EVALUATED relation(MACHINE& machine, const NODE* node) {
    const EVALUATED a = evaluate(machine, node->left);
    const EVALUATED b = evaluate(machine, node->right);
    if (a.kind == EVALUATED::FLOATING) return integer_value(node->type, holds(node->op, a.real, b.real));
    const bool as_unsigned = (node->op >= OP_ULE && node->op <= OP_UGT) ||
                             (!type_is_signed(node->left->type) && !type_is_signed(node->right->type));
    return integer_value(node->type, holds(node->op, read_as(node->left->type, a.number, as_unsigned),
                                           read_as(node->right->type, b.number, as_unsigned)));
}

// --- Assignments ---

// The type in which a compound assignment works.
const TYPE* working_type(const NODE* node, int32_t op) {
    const TYPE* type = node->left->type;
    if (type_is_pointer(type)) return type;
    if (op == OP_SLL || op == OP_SRL) return type_bits(type) < 32 ? type_package()->int_type() : type;
    return node->right->type;
}

EVALUATED compound_assignment(MACHINE& machine, const NODE* node) {
    const int32_t op = plain_operator(node->op);
    const LVALUE lvalue = lvalue_of(machine, node->left);
    const EVALUATED amount = evaluate(machine, node->right);
    const EVALUATED old = load(machine, lvalue);
    const TYPE* type = working_type(node, op);
    const EVALUATED result = binary(machine, op, type, converted(machine, type, old), amount);
    const EVALUATED stored = store(machine, lvalue, converted(machine, lvalue.type, result));
    return node->op == OP_PLUSPLUS || node->op == OP_MINMIN ? old : stored;
}

EVALUATED assignment(MACHINE& machine, const NODE* node) {
    const LVALUE lvalue = lvalue_of(machine, node->left);
    EVALUATED value = evaluate(machine, node->right);
    if (value.kind == EVALUATED::INTEGER) value = integer_value(lvalue.type, value.number);
    return store(machine, lvalue, value);
}

// --- Calls ---

void pass_arguments(MACHINE& machine, const NODE* arguments) {
    std::vector<const NODE*> list;
    for (; arguments && arguments->op == OP_COMMA; arguments = arguments->left)
        list.push_back(arguments->right);
    if (arguments) list.push_back(arguments);
    std::vector<uint64_t> values;
    while (!list.empty()) {
        const NODE* argument = list.back()->op == OP_STARG ? list.back()->left : list.back();
        values.push_back(hash_of(evaluate(machine, argument)));
        list.pop_back();
    }
    for (uint64_t value : values) machine.events.push_back({'a', 0, value});
}

EVALUATED call(MACHINE& machine, const NODE* node) {
    const uint32_t callee = address_of(machine, node->left);
    pass_arguments(machine, node->right);
    machine.events.push_back({'c', callee, 0});
    uint64_t hash = mixed(machine.seed, machine.events.size());
    for (const EVENT& event : machine.events) hash = mixed(hash, event.where + event.value);
    for (const SYMBOL* symbol : machine.clobbered)
        store_value(machine, place_object(machine, symbol), symbol->type,
                    some_value(symbol->type, hash = mixed(hash)));
    return some_value(node->type, hash);
}

// --- Control ---

void go_to_case(MACHINE& machine, const NODE* node) {
    const WIDE selector = evaluate(machine, node->left).number;
    machine.target = 0;
    for (const NODE* list = node->right; list; list = list->op == OP_COMMA ? list->left : nullptr) {
        const NODE* item = list->op == OP_COMMA ? list->right : list;
        if (item->op == OP_DEFAULT && machine.target == 0) machine.target = item->left->value_lo;
        if (item->op == OP_CASE && evaluate(machine, item->left).number == selector) {
            machine.target = item->right->value_lo;
            return;
        }
    }
}

EVALUATED control(MACHINE& machine, const NODE* node) {
    switch (node->op) {
    case OP_IF:
        machine.target =
            (is_true(evaluate(machine, node->left)) ? node->right->left : node->right->right)->value_lo;
        return {};
    case OP_SWITCH: go_to_case(machine, node); return {};
    case OP_BRANCH: machine.target = node->left->value_lo; return {};
    case OP_RETURN: return assignment(machine, node);
    default: return undefined(machine, "an operator that this does not know");
    }
}

EVALUATED of_type(const TYPE* type, EVALUATED value) {
    if (type_is_void(type)) return {};
    if (value.kind == EVALUATED::INTEGER) value.number = wrapped(type, value.number);
    return value;
}

EVALUATED choice(MACHINE& machine, const NODE* node) {
    const bool first = is_true(evaluate(machine, node->left));
    return of_type(node->type, evaluate(machine, first ? node->right->left : node->right->right));
}

EVALUATED conjunction(MACHINE& machine, const NODE* node) {
    const bool decisive = node->op == OP_OROR;
    if (is_true(evaluate(machine, node->left)) == decisive) return integer_value(node->type, decisive);
    return integer_value(node->type, is_true(evaluate(machine, node->right)));
}

EVALUATED constant(const NODE* node) {
    if (node->op == OP_FCON) return floating_value(node->type, node->floating()->value);
    const WIDE value = (WIDE(node->value_hi) << 64) + (WIDE(static_cast<uint32_t>(node->value_mid)) << 32) +
                       WIDE(static_cast<uint32_t>(node->value_lo));
    return integer_value(node->type, value);
}

} // namespace

EVALUATED evaluate(MACHINE& machine, const NODE* node) {
    if (plain_operator(node->op) != OP_NOP) return compound_assignment(machine, node);
    if (opcode_is_relation(node->op)) return relation(machine, node);
    switch (node->op) {
    case OP_ICON:
    case OP_FCON: return constant(node);
    case OP_NAME:
    case OP_UMULT:
    case OP_STREF: return load(machine, lvalue_of(machine, node));
    case OP_STDOT:
        return names_place(node->left) ? load(machine, lvalue_of(machine, node))
                                       : member_of_value(machine, node);
    case OP_UAND:
    case OP_ACONV: return integer_value(node->type, lvalue_of(machine, node->left).address);
    case OP_NONALIGN:
    case OP_IDENTITY: return evaluate(machine, node->left);
    case OP_SCONV:
    case OP_PCONV: return converted(machine, node->type, evaluate(machine, node->left));
    case OP_EXCLAIM: return integer_value(node->type, !is_true(evaluate(machine, node->left)));
    case OP_ANDAND:
    case OP_OROR: return conjunction(machine, node);
    case OP_QUEST: return choice(machine, node);
    case OP_COMMAOP:
        evaluate(machine, node->left);
        return of_type(node->type, evaluate(machine, node->right));
    case OP_ASG:
    case OP_STASG: return assignment(machine, node);
    case OP_CALL:
    case OP_UCALL: return call(machine, node);
    case OP_UMINUS:
    case OP_NOTB:
    case OP_ABS:
    case OP_SQRT:
    case OP_SQR:
    case OP_RECIP: return unary(machine, node->op, node->type, evaluate(machine, node->left));
    default: break;
    }
    if (opcode_fact(node->op).kind == OPCODE_CLASS::CONTROL) return control(machine, node);
    const EVALUATED left = evaluate(machine, node->left);
    return binary(machine, node->op, node->type, left, evaluate(machine, node->right));
}

// Storing what was there already changes nothing.
static bool holds_stores_of(const MACHINE& a, const MACHINE& b) {
    return std::ranges::all_of(b.elsewhere, [&](const auto& s) { return load_byte(a, s.first) == s.second; });
}

std::string difference(const MACHINE& a, const EVALUATED& x, const MACHINE& b, const EVALUATED& y) {
    if (b.undefined) return std::string("not defined any more: ") + b.undefined;
    if (a.events != b.events) return "other accesses and calls";
    if (a.arena != b.arena || !holds_stores_of(a, b) || !holds_stores_of(b, a)) return "another memory";
    if (a.target != b.target) return "another target";
    if (x.kind != y.kind) return "another kind of value";
    const bool same = x.number == y.number && x.bytes == y.bytes &&
                      std::bit_cast<uint64_t>(x.real) == std::bit_cast<uint64_t>(y.real);
    if (same) return "";
    const auto text = [](const EVALUATED& value) {
        return std::to_string(static_cast<int64_t>(value.number)) + "/" + std::to_string(value.real);
    };
    return "another value: " + text(x) + " became " + text(y);
}

bool is_sound(const NODE* tree) {
    TraceCapture capture;
    return validate_stmt(tree, 0, false) <= (tree_has_effects(tree) && !settings.all_volatile ? 0 : 1);
}

} // namespace pelorus
