// See fingerprint.h.
#include "cfg/fingerprint.h"

#include "cfg/bb.h"
#include "ir/walk.h"
#include "support/hash.h"

namespace pelorus {

namespace {

struct HASH {
    uint64_t value = 0;

    void add(uint64_t word) { value = mix_hash(value, word); }
    void add_address(const void* record) { add(reinterpret_cast<uintptr_t>(record)); }
};

// What a node is by itself. A label is the block that it stands for, whatever it is numbered.
void add_node(HASH& hash, const NODE* node) {
    hash.add(static_cast<uint32_t>(node->op));
    hash.add_address(node->type);
    hash.add((node->left ? 1 : 0) + (node->right ? 2 : 0));
    const bool is_resolved = node->op == OP_LABEL && node->label();
    hash.add_address(is_resolved ? static_cast<const void*>(node->label()->block) : node->ref);
    hash.add_address(node->field_info);
    hash.add_address(node->text);
    if (is_resolved) return;
    hash.add(static_cast<uint32_t>(node->value_lo));
    hash.add(uint64_t{static_cast<uint32_t>(node->value_mid)} << 32 | static_cast<uint32_t>(node->value_hi));
}

void add_tree(HASH& hash, const NODE* tree) {
    for_each_node(tree, [&](const NODE* node) { add_node(hash, node); });
}

void add_statements(HASH& hash, const STMT* cells) {
    for (; cells; cells = cells->next) add_tree(hash, cells->tree);
}

// Sets have no order.
void add_set(HASH& hash, const BB_LIST* set) {
    uint64_t sum = 0;
    for (; set; set = set->next) {
        HASH member;
        member.add(set->block->uon);
        sum += member.value;
    }
    hash.add(sum);
}

} // namespace

uint64_t function_fingerprint() {
    HASH hash;
    add_statements(hash, function.statements);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        hash.add_address(block);
        add_set(hash, block->preds);
        add_set(hash, block->succs);
        add_statements(hash, block->stmts);
    }
    return hash.value;
}

} // namespace pelorus
