// What is left of a tree when its value is not wanted; see tree/simplify.h. Walks go down left spines in
// loops, since lists lean left and may be long.
#include <vector>

#include "ir/node_storage.h"
#include "ir/walk.h"
#include "support/scratch.h"
#include "tree/query.h"
#include "tree/simplifier.h"
#include "tree/simplify.h"

namespace pelorus {

void erase_tree(NODE* tree) {
    std::vector<NODE*> nodes;
    for_each_node(tree, [&](NODE* node) { nodes.push_back(node); });
    for (NODE* node : nodes) erase_node(node);
}

namespace {

// Works out the purity of every node. They are listed with each in front of what hangs on it, and done from
// the end.
void mark_purity(NODE* tree) {
    std::vector<NODE*> nodes;
    for_each_node(tree, [&](NODE* node) { nodes.push_back(node); });
    for (size_t i = nodes.size(); i-- > 0;) changed(nodes[i]);
}

// Operators that choose what is evaluated are kept as they are when there is an effect to choose; so are
// addresses of objects behind a comma, which would be read without the operator.
bool is_kept_whole(const NODE* node) {
    if (takes_address(node)) return is_op(behind_address(node), OP_COMMAOP);
    if (node->op == OP_ANDAND || node->op == OP_OROR || node->op == OP_QUEST) return !is_pure(node->right);
    return node_has_effect(node);
}

// Gives back the node and lists what it evaluates, the last operand first.
void take_apart(NODE* node, std::vector<NODE*>& waiting) {
    if (!takes_address(node)) {
        if (node->right) waiting.push_back(node->right);
        if (node->left) waiting.push_back(node->left);
    } else {
        NODE* evaluated = const_cast<NODE*>(behind_address(node));
        for (NODE* object = node->left; object != evaluated;) {
            NODE* next = object->left;
            if (object->right) erase_node(object->right); // the FIELD
            erase_node(object);
            object = next;
        }
        waiting.push_back(evaluated);
    }
    erase_node(node);
}

} // namespace

NODE* effects_of(NODE* tree, bool look_behind_commas) {
    NODE* result = nullptr;
    const auto append = [&result](NODE* effect) {
        result = changed(result ? new_binary(OP_COMMAOP, effect->type, result, effect) : effect);
    };
    std::vector<NODE*> waiting{tree};
    while (!waiting.empty()) {
        NODE* node = waiting.back();
        waiting.pop_back();
        if (is_pure(node)) {
            erase_tree(node);
        } else if (is_op(node, OP_COMMAOP) && !look_behind_commas) {
            waiting.push_back(node->right);
            append(take_left(node));
        } else if (is_kept_whole(node)) {
            append(node);
        } else {
            take_apart(node, waiting);
        }
    }
    return result;
}

NODE* reduce_to_effects(NODE* tree) {
    const SCRATCH_CLAIM claim(SCRATCH::NODE_SHORT, "reduce_to_effects");
    mark_purity(tree);
    return effects_of(tree, true);
}

} // namespace pelorus
