// Subtrees that give way to a constant, to one of their own subtrees, or to a variable; see passes.h.
#include <algorithm>

#include "icode/format.h"
#include "ir/opcodes.h"
#include "passes.h"
#include "unit.h"

namespace pelorus {

bool make_constant(PARTS_TREE& tree, std::span<const TYPE_ROW> types, int value) {
    const REPRESENTATION is = representation({types.begin(), types.end()}, tree.type);
    PARTS_TREE constant{OP_ICON, tree.type, std::string(1, static_cast<char>(value)), {}};
    if (is.category == CATEGORY::FLOATING) {
        constant.op = OP_FCON;
        constant.payload = value ? "1" : "0";
        constant.payload += '\0';
    } else if (is.category == CATEGORY::OTHER || (is.category == CATEGORY::POINTER && value)) {
        return false;
    }
    if (tree.op == constant.op && tree.payload == constant.payload) return false;
    tree = std::move(constant);
    return true;
}

namespace {

// --- Places ---

// What may stand in the place of a node.
enum class PLACE : uint8_t {
    NONE,   // what stands there must stay: a label, a list, a field, a callee
    VALUE,  // any value of its type
    OBJECT, // an lvalue
    EFFECT, // the top of a statement
};

struct TREE_PLACE {
    PARTS_TREE* tree;
    PLACE place;
    int function;
    size_t depth;
};

bool is_list(uint8_t op) {
    return op == OP_COMMA || op == OP_COLON || op == OP_PCOMMA || op == OP_CASE || op == OP_DEFAULT;
}

bool is_fixed(uint8_t op) {
    return op == OP_LABEL || op == OP_FIELD || op == OP_STARG || op == OP_SKIP || op == OP_ENDINIT ||
           is_list(op);
}

// `lists_values`: the parent is a list of values.
PLACE place_below(const PARTS_TREE& parent, size_t child, bool lists_values) {
    switch (parent.op) {
    case OP_IF:
    case OP_SWITCH: return child == 0 ? PLACE::VALUE : PLACE::NONE;
    case OP_RETURN: return child == 1 ? PLACE::VALUE : PLACE::NONE;
    case OP_URETURN:
    case OP_BRANCH:
    case OP_ARGREF:
    case OP_UCALL:
    case OP_CASE:
    case OP_DEFAULT:
    case OP_PCOMMA: return PLACE::NONE;
    case OP_CALL: return child == 1 ? PLACE::VALUE : PLACE::NONE;
    case OP_COMMA: return lists_values ? PLACE::VALUE : PLACE::NONE;
    case OP_UAND:
    case OP_ACONV: return PLACE::OBJECT;
    case OP_STDOT: return child == 0 ? PLACE::OBJECT : PLACE::NONE;
    default: break;
    }
    const bool assigns = parent.op <= LAST_OPCODE && opcode_fact(parent.op).kind == OPCODE_CLASS::ASSIGNS;
    return assigns && child == 0 ? PLACE::OBJECT : PLACE::VALUE;
}

struct COLLECTION {
    std::vector<TREE_PLACE> places{};
    int function = -1;

    void collect(PARTS_TREE& tree, PLACE place, size_t depth, bool lists_values) {
        if (!is_fixed(tree.op)) places.push_back({&tree, place, function, depth});
        const bool has_values = tree.op == OP_CALL || tree.op == OP_COLON || tree.op == OP_QUEST ||
                                (tree.op == OP_COMMA && lists_values);
        for (size_t i = 0; i < tree.children.size(); ++i)
            collect(tree.children[i], place_below(tree, i, lists_values), depth + 1, has_values);
    }
};

// All places of the functions' statements, those near the tops first. The copies of parameters are left out.
std::vector<TREE_PLACE> all_places(PARTS_FILE& file) {
    COLLECTION all;
    std::vector<bool> copies(file.records.size());
    for (const FUNCTION_PLACE& function : function_places(file))
        if (function.copies != SIZE_MAX) copies[function.copies] = true;
    for (size_t i = 0; i < file.records.size(); ++i) {
        PARTS_RECORD& record = file.records[i];
        if (record.kind != RK_STATEMENT || copies[i]) continue;
        all.function = record.function;
        all.collect(record.trees[0], PLACE::EFFECT, 0, false);
    }
    std::stable_sort(all.places.begin(), all.places.end(),
                     [](const TREE_PLACE& a, const TREE_PLACE& b) { return a.depth < b.depth; });
    return all.places;
}

// --- Replacements: each changes a place, or says that it does not fit, without changing it ---

struct SURROUNDINGS {
    std::vector<TYPE_ROW> types;
    std::vector<std::vector<uint32_t>> local_types{}; // by function: of each symbol
    std::vector<std::vector<bool>> variables{};       // by function: whether the symbol may be named
};
using REPLACEMENT = bool (*)(const TREE_PLACE& place, const SURROUNDINGS& around);

bool put_zero(const TREE_PLACE& place, const SURROUNDINGS& around) {
    return place.place == PLACE::VALUE && make_constant(*place.tree, around.types, 0);
}

bool is_constant(uint8_t op) { return op == OP_ICON || op == OP_FCON || op == OP_LCON; }

bool put_one(const TREE_PLACE& place, const SURROUNDINGS& around) {
    return place.place == PLACE::VALUE && !is_constant(place.tree->op) &&
           make_constant(*place.tree, around.types, 1);
}

// The subtrees that are values: those of lists are their parents', and callees are none.
void collect_operands(PARTS_TREE& tree, std::vector<PARTS_TREE*>& operands) {
    const bool is_call = tree.op == OP_CALL || tree.op == OP_UCALL;
    for (size_t i = is_call ? 1 : 0; i < tree.children.size(); ++i) {
        PARTS_TREE& child = tree.children[i];
        if (child.op == OP_COLON || child.op == OP_COMMA)
            collect_operands(child, operands);
        else if (!is_fixed(child.op))
            operands.push_back(&child);
    }
}

bool has_effect(const PARTS_TREE& tree) {
    return opcode_has_side_effect(tree.op) ||
           std::any_of(tree.children.begin(), tree.children.end(), has_effect);
}

bool put_operand(const TREE_PLACE& place, const SURROUNDINGS& around, size_t number) {
    if (place.place == PLACE::NONE) return false;
    PARTS_TREE& tree = *place.tree;
    std::vector<PARTS_TREE*> operands;
    collect_operands(tree, operands);
    if (number >= operands.size()) return false;
    PARTS_TREE operand = *operands[number];
    const REPRESENTATION wanted = representation(around.types, tree.type);
    const REPRESENTATION given = representation(around.types, operand.type);
    const bool is_like = operand.type == tree.type || (wanted == given && wanted.category != CATEGORY::OTHER);
    if (place.place == PLACE::EFFECT ? has_effect(operand) : is_like) {
        tree = std::move(operand);
        return true;
    }
    const auto is_number = [](const REPRESENTATION& is) {
        return is.category == CATEGORY::INTEGER || is.category == CATEGORY::FLOATING;
    };
    if (place.place != PLACE::VALUE || tree.op == OP_SCONV || !is_number(wanted) || !is_number(given))
        return false;
    tree = {OP_SCONV, tree.type, {}, {std::move(operand)}};
    return true;
}
bool put_first_operand(const TREE_PLACE& place, const SURROUNDINGS& around) {
    return put_operand(place, around, 0);
}
bool put_second_operand(const TREE_PLACE& place, const SURROUNDINGS& around) {
    return put_operand(place, around, 1);
}
bool put_third_operand(const TREE_PLACE& place, const SURROUNDINGS& around) {
    return put_operand(place, around, 2);
}

// The first variable of the function that has the very type.
bool put_name(const TREE_PLACE& place, const SURROUNDINGS& around) {
    if (place.place != PLACE::VALUE && place.place != PLACE::OBJECT) return false;
    PARTS_TREE& tree = *place.tree;
    if (tree.children.empty() || place.function < 0) return false;
    const auto function = static_cast<size_t>(place.function);
    const std::vector<uint32_t>& types = around.local_types[function];
    for (uint32_t symbol = 0; symbol < types.size(); ++symbol) {
        if (types[symbol] != tree.type || !around.variables[function][symbol]) continue;
        tree = {OP_NAME, tree.type, reference_bytes({1, symbol}), {}};
        return true;
    }
    return false;
}

void look_at_symbols(const PARTS_FILE& file, SURROUNDINGS& around) {
    constexpr char AUTOMATIC = 1, REGISTER = 4;
    around.local_types.resize(static_cast<size_t>(file.functions));
    around.variables.resize(static_cast<size_t>(file.functions));
    for (const PARTS_RECORD& record : file.records) {
        if (record.kind != RK_SYMBOL || record.function < 0) continue;
        const char storage = split_fields(record)[SYMBOL_CLASS].bytes[0];
        around.local_types[static_cast<size_t>(record.function)].push_back(type_of_symbol(record));
        around.variables[static_cast<size_t>(record.function)].push_back(storage == AUTOMATIC ||
                                                                         storage == REGISTER);
    }
}

SURROUNDINGS surroundings(const PARTS_FILE& file) {
    SURROUNDINGS around{type_rows(file)};
    look_at_symbols(file, around);
    return around;
}

// The places that a replacement fits.
std::vector<TREE_PLACE> fitting_places(PARTS_FILE& file, const SURROUNDINGS& around, REPLACEMENT replace) {
    std::vector<TREE_PLACE> fitting;
    for (const TREE_PLACE& place : all_places(file)) {
        PARTS_TREE copy = *place.tree;
        if (replace({&copy, place.place, place.function, place.depth}, around)) fitting.push_back(place);
    }
    return fitting;
}

size_t count_fitting(PARTS_FILE& file, REPLACEMENT replace) {
    return fitting_places(file, surroundings(file), replace).size();
}

// From the leaves to the tops, since a place below another one goes with it.
bool replace_fitting(PARTS_FILE& file, size_t first, size_t count, REPLACEMENT replace) {
    const SURROUNDINGS around = surroundings(file);
    const std::vector<TREE_PLACE> places = fitting_places(file, around, replace);
    for (size_t i = first + count; i-- > first;) replace(places[i], around);
    return true;
}

template <REPLACEMENT replace>
constexpr REDUCTION row(const char* name) {
    return {name, [](PARTS_FILE& file) { return count_fitting(file, replace); },
            [](PARTS_FILE& file, size_t first, size_t count) {
                return replace_fitting(file, first, count, replace);
            }};
}

constexpr REDUCTION TREES[] = {
    row<put_zero>("subtrees, zero"),
    row<put_first_operand>("subtrees, first operand"),
    row<put_second_operand>("subtrees, second operand"),
    row<put_third_operand>("subtrees, third operand"),
    row<put_name>("subtrees, a variable"),
    row<put_one>("subtrees, one"),
};

} // namespace

std::span<const REDUCTION> tree_reductions() { return TREES; }

} // namespace pelorus
