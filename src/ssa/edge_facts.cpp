// See edge_facts.h.
//
//   1. Each edge of a branch is asked what its condition says of versions there: that one is equal to a
//      constant, or not zero. Conversions are gone through where they lose nothing.
//   2. Where an edge is the only way into a block, but for the ends of loops that the block heads, its facts
//      hold in all that the block dominates.
//   3. Blocks are numbered so that those that a block dominates come right behind it. The facts of a version
//      are sorted by these numbers, so that the one that holds at a block is found by halving, and by going
//      outwards from there.
//
// What it does not do: learn ranges, or that two versions are equal.
#include "ssa/edge_facts.h"

#include <algorithm>

#include "cfg/dominators.h"
#include "cfg/graph_edit.h"
#include "ir/node_storage.h"
#include "ir/symbol.h"
#include "ssa/ssa.h"
#include "tree/fold.h"
#include "tree/query.h"

namespace pelorus {

namespace {

using FACT_LIST = std::vector<std::pair<int32_t, KNOWN_VALUE>>;

// --- 1 ---

int32_t version_under(const NODE* tree) { return tree->op == OP_SSA_DEF ? tree->value_lo : version_of(tree); }

// The value is one of `type`.
void add_fact(FACT_LIST& facts, const NODE* tree, const KNOWN_VALUE& value, const TYPE* type) {
    const int32_t version = version_under(tree);
    if (!version) return;
    const TYPE* own = ssa_form.versions[static_cast<size_t>(version)].variable->type;
    const KNOWN_VALUE known = value_as(value, type, own);
    if (known.known != KNOWN::VARIES) facts.emplace_back(version, known);
}

bool is_whole_number(const TYPE* type) { return type_is_integer(type) || type_is_pointer(type); }

bool converts_numbers(const NODE* tree) {
    return (tree->op == OP_SCONV || tree->op == OP_PCONV) && is_whole_number(tree->type) &&
           is_whole_number(tree->left->type);
}

// What is not zero behind a conversion was not zero before.
void add_not_zero(FACT_LIST& facts, const NODE* tree) {
    while (converts_numbers(tree)) tree = tree->left;
    if (is_whole_number(tree->type)) add_fact(facts, tree, NOT_ZERO_VALUE, tree->type);
}

INT96 as_type(INT96 number, const TYPE* type) {
    return int96_truncate(number, type_bits(type), !type_is_signed(type));
}

// The tree is this number. A conversion that keeps all values can be gone back through.
void add_number(FACT_LIST& facts, const NODE* tree, INT96 number) {
    for (; converts_numbers(tree); tree = tree->left) {
        const TYPE* from = tree->left->type;
        if (type_is_bool(tree->type) && !type_is_bool(from)) {
            if (!int96_is_zero(number)) return add_not_zero(facts, tree->left);
            continue;
        }
        if (type_bits(from) > type_bits(tree->type)) return;
        const INT96 before = as_type(number, from);
        if (as_type(before, tree->type) != number) return; // no value of the operand becomes it
        number = before;
    }
    if (!is_whole_number(tree->type)) return;
    const bool fits_bool = int96_is_zero(number) || number == int96_signed(1);
    if (type_is_bool(tree->type) && !fits_bool) return;
    add_fact(facts, tree, {.known = KNOWN::CONSTANT, .op = OP_ICON, .integer = number}, tree->type);
}

// -0.0 is equal to 0.0, and nothing to what is no number.
bool is_one_float(const TARGET_FLOAT& number) {
    const std::partial_ordering order = target_float_compare(number, TARGET_FLOAT{});
    return order == std::partial_ordering::less || order == std::partial_ordering::greater;
}

void add_equal(FACT_LIST& facts, const NODE* tree, const NODE* constant) {
    if (constant->op == OP_ICON && is_whole_number(tree->type))
        return add_number(facts, tree, as_type(constant->value(), tree->type));
    if (constant->op == OP_FCON && is_one_float(*constant->floating()))
        add_fact(facts, tree, {.known = KNOWN::CONSTANT, .op = OP_FCON, .floating = *constant->floating()},
                 tree->type);
    else if (constant->op == OP_UAND)
        add_not_zero(facts, tree);
}

// The relation's left side is not zero, when it would not hold, or hold, for zero.
bool excludes_zero(const NODE* relation, bool holds) {
    if (relation->right->op != OP_ICON || !is_whole_number(relation->left->type)) return false;
    NODE zero{};
    zero.op = OP_ICON;
    zero.type = relation->left->type;
    NODE test{};
    test.op = relation->op;
    test.type = relation->type;
    test.left = &zero;
    test.right = relation->right;
    NODE* result = fold_binary(&test);
    if (!result) return false;
    const bool excludes = int96_is_zero(result->value()) == holds;
    erase_node(result);
    return excludes;
}

void add_relation(FACT_LIST& facts, const NODE* relation, bool holds) {
    if (relation->op == (holds ? OP_EQ : OP_NEQ)) add_equal(facts, relation->left, relation->right);
    if (excludes_zero(relation, holds)) add_not_zero(facts, relation->left);
}

constexpr int MOST_CONDITIONS = 100; // nested ones; deeper ones say nothing

void add_condition(FACT_LIST& facts, const NODE* tree, bool holds, int depth) {
    if (depth > MOST_CONDITIONS) return;
    if (tree->op == OP_EXCLAIM) return add_condition(facts, tree->left, !holds, depth + 1);
    if (tree->op == OP_COMMAOP) return add_condition(facts, tree->right, holds, depth + 1);
    if (tree->op == (holds ? OP_ANDAND : OP_OROR)) {
        add_condition(facts, tree->left, holds, depth + 1);
        return add_condition(facts, tree->right, holds, depth + 1);
    }
    if (opcode_is_relation(tree->op)) return add_relation(facts, tree, holds);
    if (holds)
        add_not_zero(facts, tree);
    else
        add_number(facts, tree, INT96{});
}

// What the cases say that lead to one block.
struct CASES_OF_BLOCK {
    int count = 0;
    bool has_default = false;
    INT96 value{}; // of the last one
};

struct SWITCH_CASES {
    std::unordered_map<const BB*, CASES_OF_BLOCK> of_block{};
    const BB* of_zero = nullptr; // null: no case for it
};

SWITCH_CASES cases_of(const NODE* branch) {
    SWITCH_CASES cases;
    const auto note = [&](const NODE* item) {
        const bool is_case = item->op == OP_CASE;
        const BB* target = target_of(is_case ? item->right : item->left);
        CASES_OF_BLOCK& own = cases.of_block[target];
        own.has_default |= !is_case;
        if (!is_case) return;
        own.count++;
        own.value = item->left->value();
        if (int96_is_zero(own.value)) cases.of_zero = target;
    };
    const NODE* list = branch->right;
    for (; list->op == OP_COMMA; list = list->left) note(list->right);
    note(list);
    return cases;
}

FACT_LIST facts_of_cases(const NODE* selector, const SWITCH_CASES& cases, const BB* target) {
    FACT_LIST facts;
    const auto found = cases.of_block.find(target);
    if (found == cases.of_block.end()) return facts;
    const CASES_OF_BLOCK& own = found->second;
    if (!own.has_default && own.count == 1)
        add_number(facts, selector, own.value);
    else if (cases.of_zero != target && (!own.has_default || cases.of_zero))
        add_not_zero(facts, selector);
    return facts;
}

// Calls visit(to, facts) for each edge of the block's branch that says something.
template <class F>
void for_each_edge_fact(const BB* from, F visit) {
    const NODE* branch = ending_tree(from);
    const NODE* selector = branch->left;
    SWITCH_CASES cases;
    if (branch->op == OP_SWITCH) {
        while (converts_numbers(selector)) selector = selector->left;
        if (!version_under(selector)) return;
        cases = cases_of(branch);
    }
    for (const BB_LIST* edge = from->succs; edge; edge = edge->next) {
        FACT_LIST facts;
        if (branch->op == OP_SWITCH)
            facts = facts_of_cases(branch->left, cases, edge->block);
        else if (branch->op == OP_IF)
            add_condition(facts, branch->left, target_of(branch->right->left) == edge->block, 0);
        if (!facts.empty()) visit(edge->block, std::move(facts));
    }
}

// --- 2 and 3 ---

struct FACTS_OF_EDGE {
    const BB* from;
    const BB* to;
    FACT_LIST facts;
};

// Numbers of the blocks, and behind the last one that each dominates.
struct DOMINATED {
    std::vector<uint32_t> first, end; // by dfn
};

DOMINATED number_by_dominance() {
    build_facts(facts_of(FACT_dominators));
    const auto blocks = static_cast<size_t>(flow_graph.bb_count) + 1;
    DOMINATED numbers{std::vector<uint32_t>(blocks), std::vector<uint32_t>(blocks, 1)}; // `end`: how many
    const BB* entry = flow_graph.bb_list;
    for (const BB* block = entry->rdflink; block != entry; block = block->rdflink)
        numbers.end[static_cast<size_t>(immediate_dominator(block)->dfn)] +=
            numbers.end[static_cast<size_t>(block->dfn)];
    std::vector<uint32_t> next(blocks); // number for the next block that it dominates immediately
    for (const BB* block = entry; block; block = block->dflink) {
        const auto own = static_cast<size_t>(block->dfn);
        uint32_t& number = numbers.first[own];
        if (block != entry) {
            uint32_t& free = next[static_cast<size_t>(immediate_dominator(block)->dfn)];
            number = free;
            free += numbers.end[own];
        }
        next[own] = number + 1;
        numbers.end[own] += number;
    }
    return numbers;
}

bool says_more(const KNOWN_VALUE& a, const KNOWN_VALUE& b) {
    return a.known == KNOWN::CONSTANT && b.known != KNOWN::CONSTANT;
}

// The facts of one version: what an outer one says holds inside as well.
void nest(std::vector<BLOCK_FACT>& facts) {
    std::ranges::stable_sort(facts, [](const BLOCK_FACT& a, const BLOCK_FACT& b) {
        return a.first != b.first ? a.first < b.first : a.end > b.end;
    });
    int32_t around = -1;
    for (size_t i = 0; i < facts.size(); ++i) {
        while (around >= 0 && facts[static_cast<size_t>(around)].end <= facts[i].first)
            around = facts[static_cast<size_t>(around)].outer;
        facts[i].outer = around;
        if (around >= 0 && says_more(facts[static_cast<size_t>(around)].value, facts[i].value))
            facts[i].value = facts[static_cast<size_t>(around)].value;
        around = static_cast<int32_t>(i);
    }
}

bool is_dominated(const DOMINATED& numbers, const BB* block, const BB* by) {
    const uint32_t number = numbers.first[static_cast<size_t>(block->dfn)];
    const auto above = static_cast<size_t>(by->dfn);
    return numbers.first[above] <= number && number < numbers.end[above];
}

// Control comes to the block by this edge, or from what the block dominates, where the fact held already.
bool is_only_way_in(const DOMINATED& numbers, const FACTS_OF_EDGE& edge) {
    if (is_dominated(numbers, edge.from, edge.to)) return false;
    for (const BB_LIST* other = edge.to->preds; other; other = other->next)
        if (other->block != edge.from && !is_dominated(numbers, other->block, edge.to)) return false;
    return true;
}

void place_facts(EDGE_FACTS& all, std::vector<FACTS_OF_EDGE>& edges) {
    DOMINATED numbers = number_by_dominance();
    all.of_version.resize(ssa_form.versions.size());
    for (FACTS_OF_EDGE& edge : edges) {
        const auto block = static_cast<size_t>(edge.to->dfn);
        if (is_only_way_in(numbers, edge))
            for (const auto& [version, value] : edge.facts)
                all.of_version[static_cast<size_t>(version)].push_back(
                    {numbers.first[block], numbers.end[block], -1, value});
        else if (is_phi(edge.to->stmts->tree))
            all.of_edge.emplace(key_of_edge(edge.from, edge.to), std::move(edge.facts));
    }
    for (std::vector<BLOCK_FACT>& facts : all.of_version) nest(facts);
    all.numbers = std::move(numbers.first);
}

} // namespace

EDGE_FACTS find_edge_facts() {
    std::vector<FACTS_OF_EDGE> edges;
    for (const BB* from = flow_graph.bb_list; from; from = from->dflink)
        if (has_several(from->succs))
            for_each_edge_fact(from, [&](const BB* to, FACT_LIST&& facts) {
                edges.push_back({from, to, std::move(facts)});
            });
    EDGE_FACTS all;
    if (!edges.empty()) place_facts(all, edges);
    return all;
}

KNOWN_VALUE fact_in_block(const EDGE_FACTS& facts, int32_t version, const BB* block) {
    if (facts.of_version.empty()) return ANY_VALUE;
    const std::vector<BLOCK_FACT>& known = facts.of_version[static_cast<size_t>(version)];
    const uint32_t number = facts.numbers[static_cast<size_t>(block->dfn)];
    const auto behind = std::ranges::upper_bound(known, number, {}, &BLOCK_FACT::first);
    int32_t place = static_cast<int32_t>(behind - known.begin()) - 1;
    while (place >= 0 && known[static_cast<size_t>(place)].end <= number)
        place = known[static_cast<size_t>(place)].outer;
    return place < 0 ? ANY_VALUE : known[static_cast<size_t>(place)].value;
}

KNOWN_VALUE fact_on_edge(const EDGE_FACTS& facts, int32_t version, const BB* from, const BB* to) {
    KNOWN_VALUE value = fact_in_block(facts, version, from);
    const auto known = facts.of_edge.find(key_of_edge(from, to));
    if (known == facts.of_edge.end()) return value;
    for (const auto& [other, found] : known->second)
        if (other == version && (value.known == KNOWN::VARIES || says_more(found, value))) value = found;
    return value;
}

} // namespace pelorus
