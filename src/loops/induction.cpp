// Finding induction variables; see INDUCTION of cfg/loop.h.
//
//   1. basic ones: the only assignment in the loop adds a region constant to the variable, in a block that
//      every trip passes:      i = i + 4;  i -= n;  i++;  c = (char)(c + 1)
//   2. derived ones: the only assignment is linear in another one, also in such a block:
//                              j = 4 * i + n;  k = j - 1
//   3. initial values, by looking back from the end of the preheader through the blocks that lead nowhere
//      else
//
// The arithmetic is that of the variable's width throughout, so that nothing is lost when values wrap. What
// is computed in another width is taken only where the difference cannot be seen.
//
// Aho, Lam, Sethi, Ullman: Compilers, 2nd edition, section 9.1.8.
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "cfg/dominators.h"
#include "ir/symbol.h"
#include "loops/analyses.h"
#include "memory/zone.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

struct INDUCTION_LIMITS {
    int32_t affine_levels = 6;  // operators between a derived variable and its basis
    int32_t blocks_before = 32; // that are looked through for an initial value
    int32_t initial_size = 2;   // operators of an initial value; for a larger one the variable stands
};
constexpr INDUCTION_LIMITS LIMITS;

struct SEARCH {
    const LOOP_DEFINITIONS& definitions;
    LOOPREC* loop;
    INDUCTION** end = &loop->inductions;
    std::unordered_map<const SYMBOL*, INDUCTION*> found{};
};

// --- Trees ---

bool is_conversion(const NODE* node) { return node->op == OP_SCONV || node->op == OP_PCONV; }

// What is left of the tree when only its low `bits` bits count.
const NODE* without_conversions(const NODE* node, uint32_t bits) {
    while (is_conversion(node) && is_counted(node->type) && is_counted(node->left->type) &&
           type_bits(node->type) >= bits && type_bits(node->left->type) >= bits)
        node = node->left;
    return node;
}

bool is_name_of(const NODE* node, const SYMBOL* symbol) {
    return node->op == OP_NAME && node->symbol() == symbol;
}

// The number in the width of the type: for pointers an int.
NODE* number_for(const TYPE* type, INT96 value) {
    TYPE* number = type_is_pointer(type) ? type_package()->int_type() : type_strip(const_cast<TYPE*>(type));
    return new_wrapped_icon(number, value);
}

// A constant, or a region constant of the variable's own width; null for all else.
NODE* amount(const SEARCH& search, const NODE* tree, const TYPE* type, bool is_negative) {
    tree = without_conversions(tree, type_bits(type));
    if (tree->op == OP_ICON)
        return number_for(type, is_negative ? int96_negate(tree->value()) : tree->value());
    const bool fits = is_counted(tree->type) && type_bits(tree->type) == type_bits(type);
    if (!fits || type_is_pointer(tree->type) || !is_region_constant(search.definitions, search.loop, tree))
        return nullptr;
    NODE* copy = copy_tree(tree);
    return is_negative ? new_unary(OP_UMINUS, copy->type, copy) : copy;
}

// --- Basic ones ---

NODE* added_to(const SEARCH& search, const SYMBOL* symbol, const NODE* value) {
    const uint32_t bits = type_bits(symbol->type);
    value = without_conversions(value, bits);
    const bool adds = value->op == OP_PLUS;
    if ((!adds && value->op != OP_MINUS) || !is_counted(value->type) || type_bits(value->type) < bits)
        return nullptr;
    if (is_name_of(without_conversions(value->left, bits), symbol))
        return amount(search, value->right, symbol->type, !adds);
    if (adds && is_name_of(without_conversions(value->right, bits), symbol))
        return amount(search, value->left, symbol->type, false);
    return nullptr;
}

// An operator-assignment works in the type of its amount, which may not hold the variable's values.
bool wraps_early(const NODE* by, const SYMBOL* symbol) {
    return by->op != OP_ASG && by->right && !type_is_pointer(symbol->type) &&
           type_bits(by->right->type) < type_bits(symbol->type);
}

// What the definition adds to its variable; null when that is not known.
NODE* increment_of(const SEARCH& search, const DEFINITION& definition) {
    const SYMBOL* symbol = definition.symbol;
    const NODE* by = definition.by;
    if (wraps_early(by, symbol)) return nullptr;
    switch (by->op) {
    case OP_PLUSPLUS:
    case OP_PLUSASG: return amount(search, by->right, symbol->type, false);
    case OP_MINMIN:
    case OP_MINUSASG: return amount(search, by->right, symbol->type, true);
    case OP_ASG: return added_to(search, symbol, by->right);
    default: return nullptr;
    }
}

// The definition happens once in each trip, and no other one of its variable.
bool happens_once(const SEARCH& search, const DEFINITION& definition) {
    const SYMBOL* symbol = definition.symbol;
    return symbol->candidate >= 0 && definition.is_sure && is_counted(symbol->type) &&
           definition.block->loop == search.loop && dominates(definition.block, search.loop->tail) &&
           search.definitions.count_inside(search.loop, symbol) == 1;
}

INDUCTION* append(SEARCH& search, const DEFINITION& definition, SYMBOL* basis, NODE* increment) {
    auto* induction = zone_new<INDUCTION>(true);
    induction->symbol = definition.symbol;
    induction->basis = basis;
    induction->increment = simplify_tree(increment);
    induction->block = definition.block;
    induction->statement = definition.statement;
    *search.end = induction;
    search.end = &induction->next;
    return search.found[definition.symbol] = induction;
}

// --- Derived ones ---

// scale * basis + offset.
struct AFFINE {
    const INDUCTION* basis = nullptr;
    INT96 scale{};
    NODE* offset = nullptr; // null: 0
};

NODE* sum(int32_t op, TYPE* type, NODE* left, NODE* right) {
    if (!left) return right && op == OP_MINUS ? new_unary(OP_UMINUS, type, right) : right;
    return right ? new_binary(op, type, left, right) : left;
}

bool affine_sum(const SEARCH& search, const NODE* tree, int32_t level, AFFINE& form);

// NOLINTNEXTLINE(misc-no-recursion): a few levels at the most
bool affine_form(const SEARCH& search, const NODE* tree, int32_t level, AFFINE& form) {
    if (!is_counted(tree->type) || level > LIMITS.affine_levels) return false;
    tree = without_conversions(tree, type_bits(tree->type));
    if (tree->op == OP_NAME) {
        const auto found = search.found.find(tree->symbol());
        if (found == search.found.end()) return false;
        form = {found->second, int96_signed(1), nullptr};
        return true;
    }
    if (tree->op == OP_PLUS || tree->op == OP_MINUS) return affine_sum(search, tree, level, form);
    const bool multiplies = tree->op == OP_MULT || tree->op == OP_SLL;
    if (!multiplies || tree->right->op != OP_ICON || !affine_form(search, tree->left, level + 1, form))
        return false;
    const INT96 factor =
        tree->op == OP_MULT ? tree->right->value()
                            : int96_shift_left(int96_signed(1), static_cast<uint32_t>(tree->right->value_lo));
    form.scale = int96_multiply(form.scale, factor);
    if (form.offset)
        form.offset = new_binary(OP_MULT, tree->type, form.offset, number_for(tree->type, factor));
    return true;
}

// NOLINTNEXTLINE(misc-no-recursion): a few levels at the most
bool affine_sum(const SEARCH& search, const NODE* tree, int32_t level, AFFINE& form) {
    const bool is_left = affine_form(search, tree->left, level + 1, form);
    if (!is_left && !affine_form(search, tree->right, level + 1, form)) return false;
    NODE* other = amount(search, is_left ? tree->right : tree->left, tree->type, false);
    if (!other) return false;
    if (is_left) {
        form.offset = sum(tree->op, other->type, form.offset, other);
        return true;
    }
    if (tree->op == OP_MINUS) form.scale = int96_negate(form.scale);
    form.offset = sum(tree->op, other->type, other, form.offset);
    return true;
}

bool add_derived(SEARCH& search, const DEFINITION& definition) {
    const NODE* by = definition.by;
    if (by->op != OP_ASG || type_is_pointer(definition.symbol->type)) return false;
    AFFINE form;
    if (!affine_form(search, by->right, 0, form)) return false;
    const TYPE* type = definition.symbol->type;
    if (type_bits(form.basis->symbol->type) != type_bits(type)) return false;
    NODE* scale = number_for(type, form.scale);
    NODE* increment = new_binary(OP_MULT, scale->type, copy_tree(form.basis->increment), copy_tree(scale));
    INDUCTION* induction = append(search, definition, form.basis->symbol, increment);
    induction->scale = scale;
    induction->offset = form.offset ? simplify_tree(form.offset) : nullptr;
    return true;
}

// --- Initial values ---

bool stays_the_same(const std::vector<const SYMBOL*>& changed, const NODE* tree) {
    for (const SYMBOL* symbol : changed)
        if (tree_mentions(tree, symbol)) return false;
    return true;
}

// A value that gives the same when it is evaluated somewhat later.
bool may_be_evaluated_later(const NODE* tree) {
    if (operator_count(tree, LIMITS.initial_size) > LIMITS.initial_size) return false;
    tree = without_conversions(tree, type_bits(tree->type));
    if (tree->op == OP_ICON || (tree->op == OP_UAND && tree->left->op == OP_NAME)) return true;
    if (tree->op == OP_NAME) return tree->symbol() && tree->symbol()->candidate >= 0;
    return (tree->op == OP_PLUS || tree->op == OP_MINUS) && tree->right->op == OP_ICON &&
           may_be_evaluated_later(tree->left);
}

const BB* only_way_to(const BB* block) {
    const BB* before = block->preds && !block->preds->next ? block->preds->block : nullptr;
    return before && before->loop == block->loop ? before : nullptr;
}

// What the last assignment in front of the loop gives the variable; null when it is not to be had.
NODE* value_before(const LOOP_DEFINITIONS& definitions, const LOOPREC* loop, const SYMBOL* symbol) {
    std::vector<const SYMBOL*> changed;
    const BB* block = loop->preheader;
    for (int32_t i = 0; block && i < LIMITS.blocks_before; ++i, block = only_way_to(block)) {
        const auto in_block = definitions.in_block(block);
        for (size_t at = in_block.size(); at-- > 0;) {
            const DEFINITION& definition = in_block[at];
            if (definition.symbol != symbol) {
                changed.push_back(definition.symbol);
                continue;
            }
            const NODE* value = definition.by->op == OP_ASG ? definition.by->right : nullptr;
            const bool known = value && definition.is_sure && is_counted(value->type) &&
                               may_be_evaluated_later(value) && !tree_mentions(value, symbol) &&
                               stays_the_same(changed, value);
            return known ? copy_tree(value) : nullptr;
        }
    }
    return nullptr;
}

void set_initial(const SEARCH& search, INDUCTION* induction) {
    SYMBOL* symbol = induction->symbol;
    NODE* value = value_before(search.definitions, search.loop, symbol);
    induction->initial = value ? simplify_tree(value) : new_name(symbol, symbol->type);
}

// --- The other variables ---

// A list without repetitions.
struct SYMBOL_SET {
    SYMBOL_CELL** end;
    std::unordered_set<const SYMBOL*> members{};
    void add(SYMBOL* symbol) {
        if (!members.insert(symbol).second) return;
        auto* cell = zone_new<SYMBOL_CELL>(true);
        cell->symbol = symbol;
        *end = cell;
        end = &cell->next;
    }
};

template <class F>
void for_each_own_block(const LOOPREC* loop, F visit) {
    for (const BLOCK_CELL* cell = loop->contents; cell; cell = cell->next)
        if (cell->block->loop == loop) visit(cell->block);
}

void list_region_constants(const SEARCH& search) {
    SYMBOL_SET constants{&search.loop->region_constants};
    for_each_own_block(search.loop, [&](const BB* block) {
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            for_each_access(static_cast<const NODE*>(cell->tree), [&](const TREE_ACCESS& access) {
                if (access.kind == ACCESS::USE && access.symbol &&
                    is_region_constant(search.definitions, search.loop, access.symbol))
                    constants.add(access.symbol);
            });
    });
}

} // namespace

INDUCTION* induction_of(const LOOPREC* loop, const SYMBOL* symbol) {
    for (INDUCTION* induction = loop->inductions; induction; induction = induction->next)
        if (induction->symbol == symbol) return induction;
    return nullptr;
}

void find_inductions(const LOOP_DEFINITIONS& definitions, LOOPREC* loop) {
    SEARCH search{definitions, loop};
    std::vector<const DEFINITION*> others;
    for_each_own_block(loop, [&](const BB* block) {
        for (const DEFINITION& definition : definitions.in_block(block)) {
            NODE* increment = happens_once(search, definition) ? increment_of(search, definition) : nullptr;
            if (increment)
                set_initial(search, append(search, definition, definition.symbol, increment));
            else
                others.push_back(&definition);
        }
    });
    SYMBOL_SET altered{&loop->altered};
    for (const DEFINITION* definition : others) {
        if (happens_once(search, *definition) && add_derived(search, *definition)) continue;
        if (definition->symbol->candidate >= 0) altered.add(definition->symbol);
    }
    list_region_constants(search);
}

} // namespace pelorus
