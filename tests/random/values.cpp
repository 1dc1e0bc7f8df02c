// Random expressions. Each function makes a tree of the type that it is asked for; `depth` bounds it.
//
// Operands are evaluated left before right, each side effect before the operator's own, so that side effects
// may stand anywhere. What could have no meaning is made harmless where it stands: a divisor is given a bit,
// an amount a mask, a floating value a range.
#include "random/generator.h"

#include <algorithm>

namespace pelorus::generated {

TREE operation(const char* name, SCALAR_ID type, const TREE& operand) {
    return std::string(name) + ":" + label(type) + "(" + operand + ")";
}
TREE operation(const char* name, SCALAR_ID type, const TREE& left, const TREE& right) {
    return std::string(name) + ":" + label(type) + "(" + left + ", " + right + ")";
}

// --- Constants ---

namespace {

int64_t wrapped(int64_t value, SCALAR_ID type) {
    const uint32_t bits = bits_of(type);
    if (type == BOOL) return value & 1;
    if (bits == 64) return value;
    const uint64_t low = static_cast<uint64_t>(value) << (64 - bits);
    return scalar(type).is_signed ? static_cast<int64_t>(low) >> (64 - bits)
                                  : static_cast<int64_t>(low >> (64 - bits));
}

TREE floating_constant(GENERATOR& g, SCALAR_ID type) {
    constexpr const char* TEXTS[] = {"0",    "1",   "-1", "2",   "0.5",  "0.25", "3",     "10",     "-0",
                                     "1e10", "0.1", "4",  "1.5", "-2.5", "1e-3", "65536", "2.5e-5", "100"};
    constexpr const char* RARE[] = {"inf", "-inf", "nan", "1e300", "1e-310", "3.4e38", "1e-40"};
    const char* text = g.dice.chance(95) ? g.dice.one_of(TEXTS) : g.dice.one_of(RARE);
    return "FCON:" + label(type) + " \"" + text + "\"";
}

} // namespace

TREE number(int64_t value, SCALAR_ID type) {
    value = wrapped(value, type);
    const bool fits = scalar(type).is_signed ? value >= INT32_MIN && value <= INT32_MAX
                                             : value >= 0 && value <= int64_t{UINT32_MAX};
    const std::string digits =
        scalar(type).is_signed ? std::to_string(value) : std::to_string(static_cast<uint64_t>(value));
    return fits ? digits + ":" + label(type) : "LCON:" + label(type) + " \"" + digits + "\"";
}

TREE constant(GENERATOR& g, SCALAR_ID type) {
    if (is_floating(type)) return floating_constant(g, type);
    constexpr int64_t SMALL[] = {0, 1, 2, 3, 4, 5, 7, 8, 10, -1, -2};
    constexpr int64_t EDGES[] = {15,         16,         31,   32,        63,        64,         100,
                                 127,        128,        255,  256,       1000,      32767,      32768,
                                 65535,      65536,      -128, -129,      -32768,    0x7FFFFFFF, 0x80000000,
                                 0xFFFFFFFF, 0x40000000, -3,   1LL << 32, 1LL << 40, INT64_MAX,  INT64_MIN,
                                 0xFF00,     0xF0F0F0F0, 12345};
    if (g.dice.chance(60)) return number(g.dice.one_of(SMALL), type);
    if (g.dice.chance(85)) return number(g.dice.one_of(EDGES), type);
    return number(static_cast<int64_t>(g.dice.next()), type);
}

// --- Places ---

namespace {

bool fits(const PLACE& place, SCALAR_ID type, bool for_writing) {
    return place.type == type && !(for_writing && (place.read_only || place.narrow));
}

} // namespace

// A function's own places are three times as likely as the file's.
const PLACE* some_place(GENERATOR& g, SCALAR_ID type, bool for_writing) {
    for (int tries = 0; tries < 2; ++tries) {
        const size_t first = tries == 0 && g.dice.chance(75) ? g.first_place : 0;
        const size_t count = g.places.size() - first;
        if (!count) continue;
        const uint32_t start = g.dice.below(count);
        for (size_t i = 0; i < count; ++i) {
            const PLACE& place = g.places[first + (start + i) % count];
            if (fits(place, type, for_writing)) return &place;
        }
    }
    return nullptr;
}

const PLACE* any_place(GENERATOR& g, bool for_writing) {
    for (;;) {
        const size_t first = g.dice.chance(75) && g.first_place < g.places.size() ? g.first_place : 0;
        const PLACE& place = g.places[first + g.dice.below(g.places.size() - first)];
        if (fits(place, place.type, for_writing)) return &place;
    }
}

TREE tree_of(GENERATOR& g, const PLACE& place, int depth) {
    if (!place.elements) return place.before;
    const uint32_t size = place.before.starts_with("STREF") ? g.records[0].size : scalar(place.type).size;
    const PLACE copy = place; // the list may grow while the index is made
    if (g.dice.chance(30)) {
        const int64_t offset = int64_t{g.dice.below(place.elements)} * size;
        return copy.before + number(offset, INT) + copy.after;
    }
    const TREE index = "ANDB:int(" + value(g, INT, depth - 2) + ", " + number(copy.elements - 1, INT) + ")";
    return copy.before + "MULT:int(" + index + ", " + number(size, INT) + ")" + copy.after;
}

TREE address(GENERATOR& g, SCALAR_ID type, bool of_file, bool to_volatile) {
    const std::string pointer = label(type) + (to_volatile ? ".volatile*" : "*");
    std::vector<const PLACE*> targets;
    for (const PLACE& place : g.places)
        if (place.type == type && place.has_address && (to_volatile || !place.is_volatile) &&
            (place.of_file || !of_file))
            targets.push_back(&place);
    for (const POINTER_VARIABLE& known : g.pointers)
        if (known.type == type && known.to_volatile == to_volatile && (known.of_file || !of_file) &&
            g.dice.chance(20))
            return known.name;
    if (targets.empty()) return "";
    const PLACE* target = g.dice.one_of(targets);
    return (g.dice.chance(10) ? "ACONV:" : "UAND:") + pointer + "(" + tree_of(g, *target, 1) + ")";
}

TREE structure(GENERATOR& g, uint32_t record, bool for_writing, int depth) {
    const std::string& type = g.records[record].label;
    if (!for_writing && depth > 0) {
        if (g.dice.chance(15))
            return "QUEST:" + type + "(" + condition(g, depth - 1) + ", COLON(" +
                   structure(g, record, false, depth - 1) + ", " + structure(g, record, false, depth - 1) +
                   "))";
        if (g.dice.chance(8))
            return "COMMAOP:" + type + "(" + assignment(g, *any_place(g, true), depth - 1) + ", " +
                   structure(g, record, false, depth - 1) + ")";
        if (g.dice.chance(8))
            return "STASG:" + type + "(" + structure(g, record, true, 0) + ", " +
                   structure(g, record, false, depth - 1) + ")";
    }
    if (record == 0 && g.dice.chance(10))
        return "UMULT:" + type + "(PLUS:" + type + "*(UAND:" + type + "*(" + g.structure_array +
               "), MULT:int(ANDB:int(" + value(g, INT, 1) + ", 3:int), " + number(g.records[0].size, INT) +
               ")))";
    return g.dice.one_of(g.structures[record]);
}

// --- Calls ---

namespace {

TREE argument(GENERATOR& g, const FUNCTION& callee, size_t number_of_argument, int depth) {
    const PARAMETER& parameter = callee.parameters[number_of_argument];
    if (parameter.kind == PARAMETER::STRUCTURE) {
        const auto record = static_cast<uint32_t>(parameter.record - g.records.data());
        return "STARG:" + parameter.record->label + "(" + structure(g, record, false, depth) + ")";
    }
    if (parameter.kind == PARAMETER::POINTER)
        return address(g, parameter.type, false, false); // there is one: see some_parameter
    if (number_of_argument == 0 && callee.role == ROLE::TAIL_RECURSIVE)
        return "ANDB:int(" + value(g, INT, depth - 1) + ", 7:int)";
    return value(g, parameter.type, depth - 1);
}

TREE callee_tree(GENERATOR& g, const FUNCTION& callee) {
    const std::string pointer = "UAND:" + callee.type + "*(";
    std::vector<const FUNCTION*> twins;
    for (const FUNCTION& other : g.functions)
        if (other.type == callee.type && other.role == callee.role && may_call(g, other))
            twins.push_back(&other);
    if (!callee.pointer.empty() && g.dice.chance(40)) return callee.pointer;
    if (twins.size() < 2 || !g.dice.chance(40)) return pointer + callee.name + ")";
    return "QUEST:" + callee.type + "*(" + condition(g, 1) + ", COLON(" + pointer + callee.name + "), " +
           pointer + g.dice.one_of(twins)->name + ")))";
}

} // namespace

bool may_call(const GENERATOR& g, const FUNCTION& callee) {
    if (callee.role == ROLE::KEPT_ONLY || callee.is_uncalled) return false;
    if (!g.function || g.function->role != ROLE::SMALL) return true;
    return callee.role == ROLE::SMALL && &callee < g.function;
}

bool needs_budget(const GENERATOR& g, const FUNCTION& callee) {
    if (callee.checks_budget || callee.role == ROLE::SMALL) return false;
    return callee.role == ROLE::PLAIN || g.loop_depth != 0;
}

TREE call(GENERATOR& g, const FUNCTION& callee, int depth) {
    const std::string type = callee.record          ? callee.record->label
                             : callee.returns_value ? label(callee.result)
                                                    : "void";
    std::vector<TREE> arguments;
    if (callee.role == ROLE::VARIADIC) {
        const uint32_t count = g.dice.below(4);
        arguments.push_back(number(count, INT));
        for (uint32_t i = 0; i < count; ++i) arguments.push_back(value(g, INT, depth - 1));
    } else {
        for (size_t i = 0; i < callee.parameters.size(); ++i)
            arguments.push_back(argument(g, callee, i, depth));
    }
    const TREE target = callee_tree(g, callee);
    if (arguments.empty()) return "UCALL:" + type + "(" + target + ")";
    std::string list;
    for (const TREE& tree : arguments) list += (list.empty() ? "" : ", ") + tree;
    return "CALL:" + type + "(" + target + ", " + (arguments.size() == 1 ? list : "COMMA(" + list + ")") +
           ")";
}

TREE fitting_integer(SCALAR_ID type, const TREE& floating, SCALAR_ID from) {
    if (type == BOOL) return operation("SCONV", type, floating);
    const char* name = from == FLOAT ? "$f" : from == DOUBLE ? "$d" : "$l";
    const uint32_t size = scalar(type).size;
    const char* high = size == 1 ? "100" : size == 2 ? "30000" : size == 4 ? "1000000000" : "1e15";
    const std::string kept = name;
    const std::string low = scalar(type).is_signed ? "-" + std::string(high) : "0";
    const auto bound = [&](const std::string& text) { return "FCON:" + label(from) + " \"" + text + "\""; };
    return operation("COMMAOP", type, operation("ASG", from, kept, floating),
                     operation("QUEST", type,
                               operation("ANDAND", INT, operation("GE", INT, kept, bound(low)),
                                         operation("LE", INT, kept, bound(high))),
                               "COLON(" + operation("SCONV", type, kept) + ", " + number(0, type) + ")"));
}

namespace {

TREE converted(SCALAR_ID type, SCALAR_ID from, const TREE& tree) {
    if (type == from) return tree;
    if (is_floating(from) && !is_floating(type)) return fitting_integer(type, tree, from);
    return operation("SCONV", type, tree);
}

} // namespace

TREE guarded_call(GENERATOR& g, SCALAR_ID type, int depth) {
    std::vector<const FUNCTION*> candidates;
    for (const FUNCTION& callee : g.functions)
        if (callee.returns_value && !callee.record && may_call(g, callee) &&
            (callee.role != ROLE::TAIL_RECURSIVE || &callee != g.function))
            candidates.push_back(&callee);
    if (candidates.empty() || !g.calls_allowed) return constant(g, type);
    const FUNCTION& callee = *g.dice.one_of(candidates);
    const TREE tree = converted(type, callee.result, call(g, callee, depth));
    if (!needs_budget(g, callee)) return tree;
    return operation("QUEST", type, "GT:int(MINUSASG:int(@_budget, 1:int), 0:int)",
                     "COLON(" + tree + ", " + constant(g, type) + ")");
}

// --- Integers ---

namespace {

// Something that can stand twice in a tree: a variable that only assignments change.
TREE repeatable(GENERATOR& g, SCALAR_ID type) {
    for (int tries = 0; tries < 4; ++tries)
        if (const PLACE* place = some_place(g, type, false); place && place->simple) return place->before;
    return constant(g, type);
}

TREE amount(GENERATOR& g, SCALAR_ID type, int depth) {
    const uint32_t bits = std::max(32U, bits_of(type));
    if (g.dice.chance(60)) return number(g.dice.below(bits), INT);
    const SCALAR_ID kind = g.dice.chance(70) ? INT : some_integer(g);
    return operation("ANDB", kind, value(g, kind, depth - 1), number(bits - 1, kind));
}

// Not zero; of a signed type not negative, since the least value cannot be divided by -1.
TREE divisor(GENERATOR& g, SCALAR_ID type, int depth) {
    constexpr int64_t DIVISORS[] = {1, 2, 3, 4, 5, 7, 8, 10, 16, 64, 100, 127};
    if (g.dice.chance(70)) return number(g.dice.one_of(DIVISORS), type);
    const TREE masked = operation("ANDB", type, value(g, type, depth - 1), number(0x7F, type));
    return operation("ORB", type, masked, number(1, type));
}

TREE quotient(GENERATOR& g, SCALAR_ID type, int depth) {
    const char* name = g.dice.chance(50) ? "DIV" : "MOD";
    if (scalar(type).is_signed && g.dice.chance(10)) {
        const TREE small = operation("ANDB", type, value(g, type, depth - 1), number(0x7F, type));
        return operation(name, type, small, number(g.dice.chance(50) ? -1 : -4, type));
    }
    return operation(name, type, g.dice.chance(30) ? repeatable(g, type) : value(g, type, depth - 1),
                     divisor(g, type, depth));
}

// With a constant: what the rules about sums, products and masks look for.
TREE with_constant(GENERATOR& g, SCALAR_ID type, int depth) {
    constexpr const char* NAMES[] = {"PLUS", "PLUS", "MINUS", "MULT", "ANDB", "ORB", "XORB"};
    TREE tree = g.dice.chance(50) ? repeatable(g, type) : value(g, type, depth - 1);
    for (uint32_t count = g.dice.between(1, 3); count; --count) {
        const char* name = g.dice.one_of(NAMES);
        const TREE right = constant(g, type);
        if (g.dice.chance(15)) {
            const bool left = g.dice.chance(50);
            const TREE distance = number(g.dice.below(bits_of(type)), INT);
            tree = operation(left ? "SLL" : "SRL", type, tree, distance);
            if (g.dice.chance(50)) tree = operation(left ? "SRL" : "SLL", type, tree, distance);
        } else if (g.dice.chance(6)) {
            constexpr int64_t DIVISORS[] = {2, 3, 5, 8, 10, 1000};
            tree = operation("DIV", type, tree, number(g.dice.one_of(DIVISORS), type));
            tree = operation(g.dice.chance(80) ? "DIV" : "MOD", type, tree,
                             number(g.dice.one_of(DIVISORS), type));
        } else if (g.dice.chance(80)) {
            tree = operation(name, type, tree, right);
        } else {
            tree = operation(name, type, right, tree);
        }
    }
    return tree;
}

// With the same operand twice, or its opposite.
TREE with_twin(GENERATOR& g, SCALAR_ID type) {
    constexpr const char* NAMES[] = {"PLUS", "MINUS", "ANDB", "ORB", "XORB", "MULT"};
    const TREE operand = repeatable(g, type);
    const auto variant = [&]() -> TREE {
        switch (g.dice.below(6)) {
        case 0: return operation("NOTB", type, operand);
        case 1: return operation("UMINUS", type, operand);
        case 2: return operation("MULT", type, operand, constant(g, type));
        case 3: return operation("PLUS", type, operand, constant(g, type));
        case 4: return operation("NOTB", type, repeatable(g, type));
        default: return operand;
        }
    };
    return operation(g.dice.one_of(NAMES), type, variant(), variant());
}

// Two terms that share an operand: what the rules about common factors and few operands look for.
TREE with_shared(GENERATOR& g, SCALAR_ID type) {
    constexpr const char* INNER[] = {"ANDB", "ORB", "XORB", "PLUS", "MINUS", "MULT", "SLL", "SRL"};
    constexpr const char* OUTER[] = {"ANDB", "ORB", "XORB", "PLUS", "MINUS"};
    const char* inner = g.dice.one_of(INNER);
    const bool shifts = inner == INNER[6] || inner == INNER[7];
    const TREE x = shifts ? number(g.dice.below(bits_of(type)), INT) : repeatable(g, type);
    const auto term = [&] {
        const TREE other = g.dice.chance(75) ? repeatable(g, type) : constant(g, type);
        const char* name = g.dice.chance(75) ? inner : g.dice.one_of(OUTER);
        if (shifts) return operation(inner, type, other, x);
        return g.dice.chance(50) ? operation(name, type, x, other) : operation(name, type, other, x);
    };
    TREE left = term();
    if (g.dice.chance(25)) left = operation("NOTB", type, left);
    return operation(g.dice.one_of(OUTER), type, left, shifts || g.dice.chance(70) ? term() : x);
}

TREE arithmetic(GENERATOR& g, SCALAR_ID type, int depth) {
    constexpr const char* NAMES[] = {"PLUS", "MINUS", "MULT", "ANDB", "ORB", "XORB", "PLUS", "MINUS"};
    switch (g.dice.below(11)) {
    case 10: return with_shared(g, type);
    case 0: return quotient(g, type, depth);
    case 1:
        return operation(g.dice.chance(50) ? "SLL" : "SRL", type, value(g, type, depth - 1),
                         amount(g, type, depth));
    case 2:
    case 3:
    case 4: return with_constant(g, type, depth);
    case 5: return with_twin(g, type);
    default:
        return operation(g.dice.one_of(NAMES), type, value(g, type, depth - 1),
                         value(g, same_representation(g, type), depth - 1));
    }
}

TREE unary(GENERATOR& g, SCALAR_ID type, int depth) {
    switch (g.dice.below(6)) {
    case 0: return operation("UMINUS", type, value(g, type, depth - 1));
    case 1: return operation("NOTB", type, value(g, type, depth - 1));
    case 2: return operation("IDENTITY", type, value(g, type, depth - 1));
    case 3: return operation("SQR", type, value(g, type, depth - 1));
    case 4:
        if (scalar(type).is_signed)
            return operation("ABS", type, operation("SCONV", type, value(g, SHORT, depth - 1)));
        return operation("NOTB", type, value(g, type, depth - 1));
    default: return operation("UMINUS", type, arithmetic(g, type, depth - 1));
    }
}

constexpr const char* RELATIONS[] = {"EQ", "NEQ", "LE", "LT", "GE", "GT", "EQ", "NEQ"};
constexpr const char* UNSIGNED_RELATIONS[] = {"ULE", "ULT", "UGE", "UGT"};

const char* some_relation(GENERATOR& g, SCALAR_ID type) {
    if (!is_floating(type) && g.dice.chance(25)) return g.dice.one_of(UNSIGNED_RELATIONS);
    return g.dice.one_of(RELATIONS);
}

TREE truth(GENERATOR& g, int depth);

// Of a value with another form of it, or of a form of it with a constant.
TREE derived_relation(GENERATOR& g, SCALAR_ID type, const TREE& x) {
    const TREE y = repeatable(g, type);
    const TREE z = repeatable(g, type);
    const TREE small = number(g.dice.between(0, 8), type);
    const TREE places = number(g.dice.below(bits_of(type)), INT);
    const char* equality = g.dice.chance(50) ? "EQ" : "NEQ";
    switch (g.dice.below(8)) {
    case 0: return operation(some_relation(g, type), INT, operation("PLUS", type, y, constant(g, type)), y);
    case 1: return operation(some_relation(g, type), INT, operation("SRL", type, x, places), small);
    case 2: return operation(equality, INT, operation("SRL", type, x, number(bits_of(type) - 1, INT)), small);
    case 3: return operation(equality, INT, operation("SLL", type, x, places), small);
    case 4: {
        constexpr const char* NAMES[] = {"PLUS", "MINUS", "XORB"};
        const char* name = g.dice.one_of(NAMES);
        return operation(equality, INT, operation(name, type, y, z),
                         g.dice.chance(30) ? y : operation(name, type, x, z));
    }
    case 5: return operation(equality, INT, operation("MINUS", type, constant(g, type), x), small);
    case 6:
        return operation(equality, INT,
                         operation(g.dice.chance(50) ? "ORB" : "MULT", type, x, constant(g, type)), small);
    default: {
        constexpr int64_t POWERS[] = {2, 4, 8, 16, 32};
        return operation(equality, INT, operation("MOD", type, x, number(g.dice.one_of(POWERS), type)),
                         small);
    }
    }
}

// Of floating values whose signs or widths a comparison need not look at.
TREE floating_relation(GENERATOR& g) {
    constexpr const char* CONSTANTS[] = {"1", "0.5", "-2", "0.1", "3"};
    const std::string constant = std::string("FCON:double \"") + g.dice.one_of(CONSTANTS) + "\"";
    const TREE wide = operation("SCONV", DOUBLE, value(g, FLOAT, 1));
    if (g.dice.chance(30))
        return operation(g.dice.one_of(RELATIONS), INT, wide, operation("SCONV", DOUBLE, value(g, FLOAT, 1)));
    return operation(g.dice.one_of(RELATIONS), INT,
                     g.dice.chance(70) ? wide : operation("UMINUS", DOUBLE, value(g, DOUBLE, 1)), constant);
}

// Two tests of one value, of which often one would do.
TREE two_tests(GENERATOR& g, SCALAR_ID type) {
    const TREE x = repeatable(g, type);
    const auto test = [&] {
        const TREE small = number(g.dice.between(0, 10), type);
        const TREE masked =
            operation("ANDB", type, x, number(int64_t{1} << g.dice.below(bits_of(type)), type));
        if (g.dice.chance(15)) return masked;
        if (g.dice.chance(15)) return operation("EQ", INT, masked, number(0, type));
        return operation(some_relation(g, type), INT, x, small);
    };
    const TREE left = test();
    return operation(g.dice.chance(50) ? "ANDAND" : "OROR", INT, left, test());
}

// What the rules about comparisons look for.
TREE special_relation(GENERATOR& g, int depth) {
    const SCALAR_ID type = some_integer(g);
    const TREE x = g.dice.chance(60) ? repeatable(g, type) : value(g, type, depth - 1);
    const auto mask = [&] { return number(int64_t{1} << g.dice.below(bits_of(type)), type); };
    switch (g.dice.below(15)) {
    case 13: return floating_relation(g);
    case 11:
    case 12: return two_tests(g, type);
    case 8:
    case 9:
    case 10: return derived_relation(g, type, x);
    case 0: { // a bit
        const TREE bit = mask();
        return operation(g.dice.chance(50) ? "EQ" : "NEQ", INT, operation("ANDB", type, x, bit),
                         g.dice.chance(50) ? bit : number(0, type));
    }
    case 1: { // a shifted field
        const TREE shifted = operation("SRL", type, x, number(g.dice.below(bits_of(type)), INT));
        return operation("NEQ", INT, operation("ANDB", type, shifted, number(g.dice.between(1, 15), type)),
                         number(0, type));
    }
    case 2: { // both sides alike
        const TREE y = repeatable(g, type);
        const TREE c = constant(g, type);
        return operation(some_relation(g, type), INT, operation("PLUS", type, x, c),
                         operation("PLUS", type, y, g.dice.chance(50) ? c : constant(g, type)));
    }
    case 3: // a truth value
        return operation(g.dice.chance(50) ? "EQ" : "NEQ", INT, truth(g, depth - 1),
                         number(g.dice.below(2), INT));
    case 4: { // narrow operands
        constexpr SCALAR_ID NARROW[] = {SCHAR, UCHAR, CHAR, SHORT, USHORT, BOOL, INT, UINT};
        const SCALAR_ID narrow = g.dice.one_of(NARROW);
        const SCALAR_ID wide = scalar(narrow).size < 4 ? INT : LLONG;
        const TREE left = operation("SCONV", wide, value(g, narrow, depth - 1));
        return operation(some_relation(g, wide), INT, left,
                         g.dice.chance(60) ? constant(g, wide)
                                           : operation("SCONV", wide, value(g, narrow, depth - 1)));
    }
    case 5:
        return operation(some_relation(g, type), INT, x,
                         x.find('(') == std::string::npos ? x : constant(g, type));
    case 6: {
        constexpr const char* SIDES[] = {"UMINUS", "NOTB"};
        return operation(g.dice.chance(50) ? "EQ" : "NEQ", INT, operation(g.dice.one_of(SIDES), type, x),
                         constant(g, type));
    }
    case 7: {
        constexpr const char* DIFFERENCES[] = {"MINUS", "XORB", "PLUS"};
        return operation(g.dice.chance(50) ? "EQ" : "NEQ", INT,
                         operation(g.dice.one_of(DIFFERENCES), type, x, repeatable(g, type)),
                         number(0, type));
    }
    default: { // the ends of the range
        constexpr int64_t ENDS[] = {
            0, 1, -1, INT32_MAX, INT32_MIN, INT32_MAX - 1, INT32_MIN + 1LL, UINT32_MAX, UINT32_MAX - 1LL};
        return operation(some_relation(g, type), INT, x, number(g.dice.one_of(ENDS), type));
    }
    }
}

TREE pointer_test(GENERATOR& g) {
    const POINTER_VARIABLE& pointer = g.dice.one_of(g.pointers);
    const std::string type = label(pointer.type) + (pointer.to_volatile ? ".volatile*" : "*");
    switch (g.dice.below(4)) {
    case 0:
        return "NEQ:int(" + pointer.name + ", " +
               (g.dice.chance(50) ? "0:" + type : "PCONV:" + type + "(0:int)") + ")";
    case 1: return "EXCLAIM:int(" + pointer.name + ")";
    case 2: {
        const TREE other = address(g, pointer.type, pointer.of_file, pointer.to_volatile);
        if (!other.empty()) return "EQ:int(" + pointer.name + ", " + other + ")";
        [[fallthrough]];
    }
    default: return "SCONV:int(SCONV:bool(" + pointer.name + "))";
    }
}

// The distance of two elements of one array.
TREE distance(GENERATOR& g) {
    for (int tries = 0; tries < 20; ++tries) {
        const PLACE& place = g.dice.one_of(g.places);
        if (!place.elements || !place.has_address || place.is_volatile || !place.before.starts_with("UMULT"))
            continue;
        const std::string pointer = "UAND:" + label(place.type) + "*(";
        const uint32_t size = scalar(place.type).size;
        const PLACE copy = place;
        const TREE left = pointer + tree_of(g, copy, 2) + ")", right = pointer + tree_of(g, copy, 2) + ")";
        if (g.dice.chance(50)) return operation(g.dice.chance(50) ? "ULT" : "UGE", INT, left, right);
        return "DIV:int(MINUS:int(" + left + ", " + right + "), " + number(size, INT) + ")";
    }
    return constant(g, INT);
}

// A value of type int that is 0 or 1.
TREE truth(GENERATOR& g, int depth) {
    const auto operand = [&] { return condition(g, depth - 1); };
    switch (g.dice.below(9)) {
    case 0: return operation("ANDAND", INT, operand(), operand());
    case 1: return operation("OROR", INT, operand(), operand());
    case 2: return operation("EXCLAIM", INT, operand());
    case 3:
    case 4: return special_relation(g, depth);
    case 5: {
        if (g.dice.chance(30)) return pointer_test(g);
        const TREE tests = g.dice.chance(30) ? field_tests(g) : "";
        return tests.empty() ? special_relation(g, depth) : tests;
    }
    case 6: {
        const TREE same = repeatable(g, INT);
        const char* name = g.dice.chance(50) ? "ANDAND" : "OROR";
        if (g.dice.chance(30)) return operation(name, INT, same, same);
        if (g.dice.chance(50))
            return operation(name, INT, operation("EXCLAIM", INT, operand()),
                             operation("EXCLAIM", INT, operand()));
        return operation(name, INT, g.dice.chance(50) ? constant(g, INT) : operand(),
                         g.dice.chance(30) ? constant(g, INT)
                                           : operation("NEQ", INT, truth(g, depth - 1), number(0, INT)));
    }
    default: {
        const SCALAR_ID type = g.dice.chance(70) ? some_integer(g) : some_scalar(g);
        return operation(some_relation(g, type), INT, value(g, type, depth - 1),
                         g.dice.chance(40) ? constant(g, type) : value(g, type, depth - 1));
    }
    }
}

// Arms that have to do with the condition or with each other.
TREE special_choice(GENERATOR& g, SCALAR_ID type, int depth) {
    const TREE x = repeatable(g, type);
    const TREE y = repeatable(g, type);
    const auto choose = [&](const TREE& test, const TREE& first, const TREE& second) {
        const bool exchange = g.dice.chance(50);
        return operation("QUEST", type, test,
                         "COLON(" + (exchange ? second : first) + ", " + (exchange ? first : second) + ")");
    };
    const int64_t near = g.dice.between(0, 9);
    switch (g.dice.below(5)) {
    case 0: return choose(operation(g.dice.chance(50) ? "EQ" : "NEQ", INT, x, y), x, y);
    case 1: return choose(condition(g, depth - 1), number(near, type), number(near + 1, type));
    case 2: return choose(condition(g, depth - 1), number(0, type), number(int64_t{1} << near, type));
    case 3:
        return choose(operation(some_relation(g, type), INT, x, number(0, type)), x,
                      operation("UMINUS", type, x));
    default:
        if (type != INT) return choose(condition(g, depth - 1), x, number(0, type));
        return operation("QUEST", INT, condition(g, depth - 1),
                         g.dice.chance(50) ? "COLON(" + truth(g, depth - 1) + ", 0:int)"
                                           : "COLON(1:int, " + truth(g, depth - 1) + ")");
    }
}

TREE choice(GENERATOR& g, SCALAR_ID type, int depth) {
    if (type == INT && g.dice.chance(10))
        return operation("QUEST", INT, condition(g, depth - 1),
                         g.dice.chance(50) ? "COLON(1:int, 0:int)" : "COLON(0:int, 1:int)");
    if (!is_floating(type) && bits_of(type) >= 32 && g.dice.chance(30)) return special_choice(g, type, depth);
    const TREE left = value(g, type, depth - 1);
    const TREE test =
        g.dice.chance(20) ? operation("EXCLAIM", INT, condition(g, depth - 1)) : condition(g, depth - 1);
    if (g.dice.chance(10)) {
        const TREE same = repeatable(g, type);
        return operation("QUEST", type, test, "COLON(" + same + ", " + same + ")");
    }
    return operation("QUEST", type, test, "COLON(" + left + ", " + value(g, type, depth - 1) + ")");
}

TREE conversion(GENERATOR& g, SCALAR_ID type, int depth) {
    const SCALAR_ID from = is_floating(type) || g.dice.chance(85) ? some_scalar(g) : INT;
    if (from == type && g.dice.chance(80)) return value(g, type, depth - 1);
    if (!is_floating(from) && !is_floating(type) && g.dice.chance(20)) {
        const TREE masked = operation("ANDB", INT, value(g, INT, depth - 1), constant(g, INT));
        return operation("SCONV", type, masked);
    }
    if (type == BOOL && g.dice.chance(30)) return operation("SCONV", BOOL, condition(g, depth - 1));
    if (from == type) return operation("SCONV", type, value(g, type, depth - 1));
    return converted(type, from, value(g, from, depth - 1));
}

// --- Floating values ---

TREE floating(GENERATOR& g, SCALAR_ID type, int depth) {
    constexpr const char* NAMES[] = {"PLUS", "MINUS", "MULT", "DIV", "PLUS", "MULT"};
    constexpr const char* UNARY[] = {"UMINUS", "ABS", "SQR", "SQRT", "RECIP", "IDENTITY"};
    if (g.dice.chance(20)) return operation(g.dice.one_of(UNARY), type, value(g, type, depth - 1));
    if (g.dice.chance(30)) return conversion(g, type, depth);
    return operation(g.dice.one_of(NAMES), type, value(g, type, depth - 1),
                     g.dice.chance(40) ? constant(g, type) : value(g, type, depth - 1));
}

TREE leaf(GENERATOR& g, SCALAR_ID type, int depth) {
    const PLACE* place = g.dice.chance(75) ? some_place(g, type, false) : nullptr;
    return place ? tree_of(g, *place, depth) : constant(g, type);
}

} // namespace

TREE condition(GENERATOR& g, int depth) {
    if (depth <= 0) return leaf(g, INT, 0);
    if (g.dice.chance(5)) return constant(g, INT);
    if (g.dice.chance(15)) return value(g, some_scalar(g), depth - 1);
    return truth(g, depth);
}

TREE value(GENERATOR& g, SCALAR_ID type, int depth) {
    if (depth <= 0 || g.dice.chance(20)) return leaf(g, type, depth);
    const uint32_t kind = g.dice.below(100);
    if (kind < 6) return choice(g, type, depth);
    if (kind < 9)
        return operation("COMMAOP", type, assignment(g, *any_place(g, true), depth - 1),
                         value(g, type, depth - 1));
    if (kind < 13)
        if (const PLACE* place = some_place(g, type, true)) return assignment(g, *place, depth - 1);
    if (kind < 18) return guarded_call(g, type, depth - 1);
    if (kind < 19)
        return operation("COMMAOP", type, value(g, some_scalar(g), depth - 1), value(g, type, depth - 1));
    if (is_floating(type)) return floating(g, type, depth);
    if (kind < 32 || scalar(type).sort != SORT::INTEGER) return conversion(g, type, depth);
    if (scalar(type).size < 4) {
        if (g.dice.chance(85)) return conversion(g, type, depth);
        constexpr const char* NAMES[] = {"PLUS", "MINUS", "MULT", "ANDB", "ORB", "XORB"};
        return operation(g.dice.one_of(NAMES), type, value(g, type, depth - 1), value(g, type, depth - 1));
    }
    if (type == INT && kind < 50) return truth(g, depth);
    if (type == INT && kind < 52) return distance(g);
    if (type == INT && kind < 55 && !g.lent.empty()) return helper_call(g, depth);
    if (kind < 60) return unary(g, type, depth);
    return arithmetic(g, type, depth);
}

// --- Assignments ---

namespace {

// A 64-bit variable that narrowing is to find gets nothing else.
TREE narrow_value(GENERATOR& g, SCALAR_ID type, int depth) {
    constexpr SCALAR_ID NARROW[] = {INT, SHORT, UCHAR, INT, USHORT, SCHAR};
    if (g.dice.chance(25)) return number(g.dice.below(1000), type);
    return operation("SCONV", type, value(g, g.dice.one_of(NARROW), depth - 1));
}

TREE compound(GENERATOR& g, SCALAR_ID type, const TREE& object, int depth) {
    constexpr const char* FLOATING[] = {"PLUSASG", "MINUSASG", "MULTASG", "DIVASG"};
    constexpr const char* NAMES[] = {"PLUSASG", "MINUSASG", "MULTASG", "ANDBASG",
                                     "ORBASG",  "XORBASG",  "PLUSASG"};
    if (is_floating(type)) {
        if (g.dice.chance(15))
            return operation(g.dice.chance(50) ? "PLUSPLUS" : "MINMIN", type, object,
                             "FCON:" + label(type) + " \"1\"");
        constexpr SCALAR_ID KINDS[] = {FLOAT, DOUBLE, LONG_DOUBLE};
        const SCALAR_ID kind = g.dice.chance(70) ? type : g.dice.one_of(KINDS);
        return operation(g.dice.one_of(FLOATING), type, object, value(g, kind, depth - 1));
    }
    const SCALAR_ID kind =
        type != BOOL && g.dice.chance(50) && scalar(type).size >= 4 ? type : some_integer(g);
    switch (g.dice.below(8)) {
    case 0: return operation(g.dice.chance(50) ? "DIVASG" : "MODASG", type, object, divisor(g, kind, depth));
    case 1: return operation(g.dice.chance(50) ? "SLLASG" : "SRLASG", type, object, amount(g, type, depth));
    case 2:
    case 3: return operation(g.dice.chance(50) ? "PLUSPLUS" : "MINMIN", type, object, number(1, kind));
    case 4: return operation(g.dice.one_of(NAMES), type, object, constant(g, kind));
    default: return operation(g.dice.one_of(NAMES), type, object, value(g, kind, depth - 1));
    }
}

} // namespace

TREE assignment(GENERATOR& g, const PLACE& place, int depth) {
    const PLACE copy = place;
    TREE object = tree_of(g, copy, depth);
    if (g.dice.chance(3))
        object = (copy.is_volatile ? "COMMAOP:" + label(copy.type) + ".volatile("
                                   : "COMMAOP:" + label(copy.type) + "(") +
                 value(g, INT, depth - 1) + ", " + object + ")";
    if (copy.narrow) return operation("ASG", copy.type, object, narrow_value(g, copy.type, depth));
    if (g.dice.chance(40)) return compound(g, copy.type, object, depth);
    if (copy.simple && g.dice.chance(5)) return operation("ASG", copy.type, object, object);
    return operation("ASG", copy.type, object, value(g, copy.type, depth));
}

} // namespace pelorus::generated
