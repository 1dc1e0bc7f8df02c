// See definitions.h.
#include "loops/definitions.h"

#include <algorithm>

#include "ir/call.h"
#include "ir/effects.h"
#include "ir/symbol.h"
#include "ir/walk.h"
#include "tree/query.h"

namespace pelorus {

namespace {

// A larger tree is taken for changing: whoever evaluates it anew would pay for it.
constexpr int32_t MOST_OPERATORS = 6;

size_t number_of(const LOOPREC* loop) { return static_cast<size_t>(loop->number); }
size_t number_of(const BB* block) { return static_cast<size_t>(block->dfn); }

void note_access(LOOP_DEFINITIONS& found, BB* block, STMT* cell, const TREE_ACCESS& access) {
    if (!is_definition(access)) return;
    if (access.symbol)
        found.all.push_back({access.symbol, block, cell, access.by, is_kill(access) && is_plain(access)});
    else
        found.writes_memory[number_of(block->loop)] = 1;
}

void collect(LOOP_DEFINITIONS& found) {
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) {
        found.first_in_block.push_back(static_cast<uint32_t>(found.all.size()));
        for (STMT* cell = block->stmts; cell; cell = cell->next)
            for_each_access(cell->tree,
                            [&](const TREE_ACCESS& access) { note_access(found, block, cell, access); });
    }
    found.first_in_block.push_back(static_cast<uint32_t>(found.all.size()));
}

int16_t loop_number(const LOOP_DEFINITIONS& definitions, uint32_t index) {
    return definitions.all[index].block->loop->number;
}

void sort_by_loops(LOOP_DEFINITIONS& found) {
    for (uint32_t i = 0; i < found.all.size(); ++i) found.of[found.all[i].symbol].push_back(i);
    for (auto& [symbol, indices] : found.of)
        std::stable_sort(indices.begin(), indices.end(), [&](uint32_t a, uint32_t b) {
            return loop_number(found, a) < loop_number(found, b);
        });
}

// What is so of a loop inside is so of the loop around it.
void sum_up(LOOP_DEFINITIONS& found, LOOPREC* root) {
    for_each_loop_inside_first(root, [&](const LOOPREC* loop) {
        const size_t number = number_of(loop);
        found.last_inside[number] = std::max(found.last_inside[number], loop->number);
        if (!loop->parent) return;
        const size_t around = number_of(loop->parent);
        found.last_inside[around] = std::max(found.last_inside[around], found.last_inside[number]);
        found.writes_memory[around] |= found.writes_memory[number];
    });
}

void find_exiting(LOOP_DEFINITIONS& found, BB* block) {
    for (const BB_LIST* cell = block->succs; cell; cell = cell->next)
        for (const LOOPREC* loop = block->loop; !loop_contains(loop, cell->block); loop = loop->parent) {
            std::vector<BB*>& exiting = found.exiting[number_of(loop)];
            if (exiting.empty() || exiting.back() != block) exiting.push_back(block);
        }
}

} // namespace

LOOP_DEFINITIONS find_definitions(LOOPREC* root) {
    LOOP_DEFINITIONS found;
    size_t loops = 0;
    for_each_loop(root, [&](const LOOPREC*) { ++loops; });
    found.first_in_block.push_back(0); // there is no block 0
    found.last_inside.resize(loops);
    found.writes_memory.resize(loops);
    found.exiting.resize(loops);
    collect(found);
    sort_by_loops(found);
    sum_up(found, root);
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) find_exiting(found, block);
    return found;
}

std::span<const DEFINITION> LOOP_DEFINITIONS::in_block(const BB* block) const {
    const uint32_t first = first_in_block[number_of(block)];
    return {all.data() + first, first_in_block[number_of(block) + 1] - first};
}

uint32_t LOOP_DEFINITIONS::count_inside(const LOOPREC* loop, const SYMBOL* symbol) const {
    const auto found = of.find(symbol);
    if (found == of.end()) return 0;
    const auto before = [&](uint32_t index, int number) { return loop_number(*this, index) < number; };
    const auto& indices = found->second;
    const auto first = std::lower_bound(indices.begin(), indices.end(), loop->number, before);
    const auto last = std::lower_bound(first, indices.end(), last_inside[number_of(loop)] + 1, before);
    return static_cast<uint32_t>(last - first);
}

bool is_counted(const TYPE* type) {
    return (type_is_integer(type) && !type_is_bool(type)) || type_is_pointer(type);
}

bool is_region_constant(const LOOP_DEFINITIONS& definitions, const LOOPREC* loop, const SYMBOL* symbol) {
    if (!type_is_scalar(symbol->type) || type_is_volatile(symbol->type)) return false;
    if (symbol->candidate < 0 && definitions.writes_memory[number_of(loop)]) return false;
    return definitions.count_inside(loop, symbol) == 0;
}

namespace {

bool has_result_for_all(const NODE* node) {
    switch (node->op) {
    case OP_PLUS:
    case OP_MINUS:
    case OP_MULT:
    case OP_SLL:
    case OP_SRL:
    case OP_UMINUS:
    case OP_ANDB:
    case OP_ORB:
    case OP_XORB:
    case OP_NOTB:
    case OP_SCONV:
    case OP_PCONV: return !type_is_floating(node->type) && !type_is_floating(node->left->type);
    default: return false;
    }
}

bool is_address(const NODE* node) {
    return node->op == OP_UAND && (node->left->op == OP_NAME || node->left->op == OP_SCON);
}

} // namespace

bool is_region_constant(const LOOP_DEFINITIONS& definitions, const LOOPREC* loop, const NODE* tree) {
    if (operator_count(tree, MOST_OPERATORS) > MOST_OPERATORS) return false;
    const auto is_constant = [&](const auto& self, const NODE* node) -> bool {
        if (node->op == OP_ICON || is_address(node)) return true;
        if (node->op == OP_NAME)
            return node->symbol() && !type_is_volatile(node->type) &&
                   is_region_constant(definitions, loop, node->symbol());
        return has_result_for_all(node) && self(self, node->left) &&
               (!node->right || self(self, node->right));
    };
    return is_constant(is_constant, tree);
}

} // namespace pelorus
