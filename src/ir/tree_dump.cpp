// Trees node by node; see tree_dump.h.
#include "ir/tree_dump.h"

#include <vector>

#include "ir/tree_text.h"
#include "support/trace.h"

namespace pelorus {

namespace {

struct LEVEL_NODE {
    const NODE* node;
    int depth;
};

void dump_node(const NODE* node, int depth) {
    trace("%d: %s depnum:%ld\t nsize:%2ld  type:%-16s", depth, opcode_spelling(node->op),
          static_cast<long>(node->depth_number), static_cast<long>(node->size),
          node->type ? type_text(node->type).c_str() : "(nil)");
    if (!node->left && !node->right) trace("  %s", tree_text(node).c_str());
    trace("\n");
}

} // namespace

void dump_tree(const NODE* tree) {
    if (!debug_on()) return;
    if (!tree) trace(">>>>>>>>>> ILLEGAL TREE: (nil) <<<<<<<<<<<<\n");
    std::vector<LEVEL_NODE> waiting{{tree, 0}}; // right subtrees; lists lean left and may be long
    while (!waiting.empty()) {
        auto [node, depth] = waiting.back();
        waiting.pop_back();
        for (; node; node = node->left, ++depth) {
            dump_node(node, depth);
            if (node->right) waiting.push_back({node->right, depth + 1});
        }
    }
}

} // namespace pelorus
