// Walking all nodes of a tree.
//
// Each node comes before its operands, and the left operand's before the right one's. The walk goes down left
// spines in a loop and keeps right operands in a list, so that neither long lists nor deep trees take stack.
#pragma once

#include <type_traits>
#include <utility>

#include "ir/node.h"
#include "support/small_stack.h"

namespace pelorus {

// Calls visit(node) for every node of the tree, which may be null; the visit may change what the node holds,
// and its operands, which are walked as they are afterwards.
template <class T, class F>
    requires std::is_same_v<std::remove_const_t<T>, NODE>
void for_each_node(T* tree, F visit) {
    SMALL_STACK<T*> waiting;
    for (T* node = tree;;) {
        for (; node; node = node->left) {
            visit(node);
            if (node->right) waiting.push(node->right);
        }
        if (waiting.empty()) return;
        node = waiting.pop();
    }
}

// The same for walks that need to know the way down to a node, as its depth or the node above it. Each node
// is visited with a value, the root with `start`; visit(node, value) answers the value of its operands.
template <class T, class V, class F>
    requires std::is_same_v<std::remove_const_t<T>, NODE>
void for_each_node_down(T* tree, V start, F visit) {
    struct OPERAND {
        T* node;
        V value;
    };
    SMALL_STACK<OPERAND> waiting;
    for (T* node = tree;;) {
        for (; node; node = node->left) {
            start = visit(node, start);
            if (node->right) waiting.push({node->right, start});
        }
        if (waiting.empty()) return;
        const OPERAND next = waiting.pop();
        node = next.node;
        start = next.value;
    }
}

// Whether holds(node) is true of some node of the tree. Stops at the first.
template <class F>
bool any_node(const NODE* tree, F holds) {
    SMALL_STACK<const NODE*> waiting;
    for (const NODE* node = tree;;) {
        for (; node; node = node->left) {
            if (holds(node)) return true;
            if (node->right) waiting.push(node->right);
        }
        if (waiting.empty()) return false;
        node = waiting.pop();
    }
}

} // namespace pelorus
