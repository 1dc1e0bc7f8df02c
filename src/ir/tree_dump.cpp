// Trees node by node; see tree_dump.h.
#include "ir/tree_dump.h"

#include "ir/tree_text.h"
#include "ir/walk.h"
#include "support/trace.h"

namespace pelorus {

namespace {

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
    for_each_node_down(tree, 0, [](const NODE* node, int depth) {
        dump_node(node, depth);
        return depth + 1;
    });
}

} // namespace pelorus
