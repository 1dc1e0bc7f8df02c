// The tree simplifier.
//
// One walk from the leaves to the root. At each node the rules of its opcode are tried in their order until
// none fits; the operands have been simplified before, and what a rule makes anew it makes simplified, or it
// stands at the top of its result and is tried again. So the work is linear in the tree.
//
// It ends, because every rule leaves the first of these numbers that it changes smaller than it was:
//   1. DIVs and MODs. The rules that spell out a signed division by a power of two make several operators of
//      one, but none of these.
//   2. Operators, of which a QUEST counts as four, since it tests and goes two ways. A conversion that
//      a rule puts in stands for an operator that it took away. So does each COMMAOP: a tree with so many
//      effects had as many operators, the one that dropped it included.
//   3. The sum of the weights of the operators, where UAND, STREF > PLUS, MINUS > SLL, SRL > ANDB, ORB >
//      COMMAOP and conversions; MULT > SLL and UMINUS; MINUS > UMINUS; PLUS, MINUS, XORB > NOTB; QUEST,
//      EXCLAIM, ANDAND, OROR > relations, MINUS; relations > conversions; MULTASG > SLLASG. PLUS and MINUS
//      weigh the same, ANDB and ORB do, and relations do. An operator of a wide type weighs more than the
//      same of a narrow one.
//   4. Operators above a sum with a constant, for all such sums: constants move out of sums and products.
//   5. Orderings; constants on the left of an operator that takes them on the right, or negative in a sum;
//      constants other than zero that a bit is compared with; floating constants as conditions.
// Checking builds count rewrites and end the run when they are out of proportion to the tree; the others then
// leave the tree as it is.
//
// What it does not do: look at other statements, or at what variables hold. Floating-point values are
// regrouped nowhere.
#include "tree/simplifier.h"

#include <array>
#include <iterator>
#include <string>
#include <vector>

#include "ir/tree_text.h"
#include "ir/walk.h"
#include "support/checking.h"
#include "support/decision.h"
#include "support/fatal.h"
#include "support/scratch.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

constexpr SIMPLIFY_RULE RULES[] = {
#define SIMPLIFY_RULE(op, rule, picture) {OP_##op, #op "." #rule, picture, rule},
#include "tree/rules.def"
#undef SIMPLIFY_RULE
};
constexpr int32_t RULE_COUNT = static_cast<int32_t>(std::size(RULES));

// Index of each opcode's first rule in RULES, and behind its last one.
struct RULE_SPAN {
    int16_t begin;
    int16_t end;
};

constexpr std::array<RULE_SPAN, OPCODE_COUNT> index_rules() {
    std::array<RULE_SPAN, OPCODE_COUNT> index{};
    for (int16_t i = 0; i < RULE_COUNT; ++i) {
        RULE_SPAN& span = index[static_cast<size_t>(RULES[i].op)];
        if (span.begin == span.end) span.begin = i;
        span.end = static_cast<int16_t>(i + 1);
    }
    return index;
}
constexpr std::array<RULE_SPAN, OPCODE_COUNT> RULE_INDEX = index_rules();

constexpr bool rules_stand_together() {
    for (int32_t i = 0; i < RULE_COUNT; ++i) {
        const RULE_SPAN span = RULE_INDEX[static_cast<size_t>(RULES[i].op)];
        for (int32_t j = span.begin; j < span.end; ++j)
            if (RULES[j].op != RULES[i].op) return false;
    }
    return true;
}
static_assert(rules_stand_together());

// A node was never seen to take more than some ten; see the file's head for why there is an end at all.
struct REWRITE_BUDGET {
    static constexpr int64_t FREE = 200;
    static constexpr int64_t PER_NODE = 40;
};

struct SIMPLIFIER {
    int64_t budget = REWRITE_BUDGET::FREE;
};

bool spend(SIMPLIFIER& simplifier) {
    if (simplifier.budget-- > 0) return true;
    if (CHECKING_BUILD && simplifier.budget == -1)
        fatal_error("INTERNAL ERROR: the tree simplifier does not come to an end\n");
    return false;
}

constexpr auto SITE_ROWS = [] {
    std::array<SITE_ROW, static_cast<size_t>(RULE_COUNT)> rows{};
    for (size_t i = 0; i < rows.size(); ++i) rows[i] = {"simplify", RULES[i].name, RULES[i].picture};
    return rows;
}();
// Each rule is a site; they stand in the order of the rules.
const SITE FIRST_RULE_SITE = add_sites(SITE_ROWS);

SITE site_of(int32_t rule) { return static_cast<SITE>(FIRST_RULE_SITE + rule); }

// For the trace, the tree before a rule takes it apart. Trees that are large are not worth their text.
std::string text_before(const NODE* node) {
    constexpr int32_t MOST_NODES = 200;
    int32_t nodes = 0;
    return any_node(node, [&](const NODE*) { return ++nodes > MOST_NODES; }) ? "a large tree"
                                                                             : tree_text(node);
}

const SIMPLIFY_RULE* apply_one(NODE*& node) {
    const RULE_SPAN span = RULE_INDEX[static_cast<size_t>(node->op)];
    for (int32_t i = span.begin; i < span.end; ++i)
        if (NODE* result = RULES[i].apply(node)) {
            ++decisions.changes;
            node = result;
            return &RULES[i];
        }
    return nullptr;
}

// The same when somebody watches. A rule finds out whether it fits while it takes the node apart, so that the
// limit is asked and the text made before.
const SIMPLIFY_RULE* apply_one_watched(NODE*& node) {
    const RULE_SPAN span = RULE_INDEX[static_cast<size_t>(node->op)];
    if (span.begin == span.end) return nullptr;
    const std::string before = decisions.texts ? text_before(node) : "";
    for (int32_t i = span.begin; i < span.end; ++i) {
        if (!may_change(site_of(i))) continue;
        NODE* result = RULES[i].apply(node);
        if (!result) continue;
        node = result;
        made(site_of(i), "{}  becomes  {}", before, decisions.texts ? text_before(node) : "");
        return &RULES[i];
    }
    return nullptr;
}

// An operator that works in bool and may give neither 0 nor 1. What rules make of it, they make of constants
// that are no values of bool.
bool leaves_bool(const NODE* node) {
    if (!node || !node->type) return false;
    const bool may_leave = is_op(node, OP_PLUS) || is_op(node, OP_MINUS) || is_op(node, OP_SLL) ||
                           is_op(node, OP_UMINUS) || is_op(node, OP_NOTB);
    return may_leave && type_is_bool(node->type);
}

bool is_constant_or_none(const NODE* operand) { return !operand || is_icon(operand); }

// Such an operator is left as it is, unless it has a constant result.
bool is_left_alone(const NODE* node) {
    if (leaves_bool(node->left) || leaves_bool(node->right)) return true;
    return leaves_bool(node) && !(is_constant_or_none(node->left) && is_constant_or_none(node->right));
}

// The operands of the node are simplified. Operands that a rule made are simplified by the rules themselves.
void simplify_node(SIMPLIFIER& simplifier, NODE*& node) {
    changed(node);
    if (opcode_arity(node->op) < 0 || is_left_alone(node)) return;
    while (spend(simplifier)) {
        const SIMPLIFY_RULE* rule = decisions.watched ? apply_one_watched(node) : apply_one(node);
        if (!rule) return;
        if (simplify_observer) simplify_observer(*rule);
    }
}

// Lists of labels hold nothing to simplify, and may be long.
bool holds_values(const NODE* node) {
    return node->op != OP_IF && node->op != OP_SWITCH && node->op != OP_BRANCH;
}

struct PENDING {
    NODE** place;
    bool operands_done;
};

} // namespace

void (*simplify_observer)(const SIMPLIFY_RULE& rule);

SIMPLIFY_RULES simplify_rules() { return {RULES, RULE_COUNT}; }

NODE* resimplified(NODE* node) {
    SIMPLIFIER simplifier;
    simplify_node(simplifier, node);
    return node;
}

NODE* simplify_tree(NODE* tree) {
    const SCRATCH_CLAIM claim(SCRATCH::NODE_SHORT, "simplify_tree");
    SIMPLIFIER simplifier;
    std::vector<PENDING> pending{{&tree, false}};
    while (!pending.empty()) {
        const PENDING top = pending.back();
        pending.pop_back();
        if (top.operands_done) {
            simplify_node(simplifier, *top.place);
            continue;
        }
        simplifier.budget += REWRITE_BUDGET::PER_NODE;
        NODE* node = *top.place;
        pending.push_back({top.place, true});
        if (node->right && holds_values(node)) pending.push_back({&node->right, false});
        if (node->left && node->op != OP_BRANCH) pending.push_back({&node->left, false});
    }
    return tree;
}

} // namespace pelorus
