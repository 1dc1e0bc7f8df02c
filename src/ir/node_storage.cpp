// Erasing nodes and the cross-zone check; see node_storage.h.
#include "ir/node_storage.h"

#include <cstdio>
#include <ctime>

#include "ir/walk.h"
#include "memory/free_list.h"
#include "support/fatal.h"
#include "support/trace.h"

namespace pelorus {

namespace {

bool check_is_on() { return debug_on() && !zone_checking(); }

// One object whose pointers are looked at, and what was found.
struct HOLDER {
    bool zone;
    int32_t dangling = 0; // pointers from the global zone into the function zone
};

// True when a warning is due: `target` lies in the other zone.
bool leaves_zone(HOLDER& holder, const void* target) {
    if (!target || in_zone(target) == holder.zone) return false;
    if (!holder.zone) holder.dangling++;
    return true;
}

void check_subtree(HOLDER& holder, const NODE* node, const NODE* subtree, const char* side) {
    if (leaves_zone(holder, subtree))
        trace("Warning:  zone-%d node %p's %s is zone-%d node %p\n", holder.zone,
              static_cast<const void*>(node), side, !holder.zone, static_cast<const void*>(subtree));
}

void check_data(HOLDER& holder, const NODE* node, const void* data) {
    if (leaves_zone(holder, data))
        trace("Warning:  zone-%d node %p's (%s) dval is zone-%d pointer %p\n", holder.zone,
              static_cast<const void*>(node), opcode_name(node->op), !holder.zone, data);
}

// A NAME in a function may name a global, and a FIELD's type is always the file's, so only the pointer that
// would dangle counts there. The same holds for texts, which trees of a function share with the file.
void check_payload(HOLDER& holder, const NODE* node) {
    if (node->op == OP_NAME) {
        if (!holder.zone && leaves_zone(holder, node->ref))
            trace("Warning:  zone-0 node %p's u.rval is zone-1 symbol %p\n", static_cast<const void*>(node),
                  node->ref);
    } else if (node->op != OP_FIELD) {
        check_data(holder, node, node->ref);
    }
    if (!holder.zone) check_data(holder, node, node->text);
}

int32_t check_node(const NODE* node) {
    HOLDER holder{in_zone(node)};
    check_subtree(holder, node, node->left, "left");
    check_subtree(holder, node, node->right, "right");
    check_payload(holder, node);
    return holder.dangling;
}

void check_initializer(HOLDER& holder, const SYMBOL* symbol, const void* target) {
    if (leaves_zone(holder, target))
        trace("Warning:  zone-%d symbol %p's init_trees is zone-%d node %p\n", holder.zone,
              static_cast<const void*>(symbol), !holder.zone, target);
}

} // namespace

void erase_node(NODE* node) {
    if (node->op == OP_ERASED)
        fatal_error("\n\n!!! COMPILER (OPTIMIZER) ERROR IN 'erase_node' %p !!!\n\n",
                    static_cast<void*>(node));
    if (check_is_on() && !in_zone(node))
        trace("\n\n!!! COMPILER (OPTIMIZER) ERROR IN 'erase_node':  erasing zone-0 %p !!!\n\n",
              static_cast<void*>(node));
    *node = NODE();
    node->op = OP_ERASED;
    put_typed(free_NODE_list, node, &NODE::left);
}

NODE* recycled_node() { return get_typed(free_NODE_list, &NODE::left); }

int32_t check_cross_zone(const NODE* tree) {
    if (!check_is_on()) return 0;
    int32_t dangling = 0;
    for_each_node(tree, [&](const NODE* node) { dangling += check_node(node); });
    return dangling;
}

namespace {

// Checks a symbol and the first `items` items of its initializer.
int32_t check_symbol(const SYMBOL* symbol, size_t items) {
    if (!check_is_on()) return 0;
    HOLDER holder{in_zone(symbol)};
    int32_t inside = 0;
    for (const INIT_ITEM* item = symbol->init_trees; item && items; item = item->next, --items) {
        check_initializer(holder, symbol, item);
        check_initializer(holder, symbol, item->tree);
        inside += check_cross_zone(item->tree);
    }
    if (leaves_zone(holder, symbol->next))
        trace("Warning:  zone-%d symbol %p's next is zone-%d symbol %p\n", holder.zone,
              static_cast<const void*>(symbol), !holder.zone, static_cast<const void*>(symbol->next));
    return holder.dangling + inside;
}

// What dangles in symbols of the file; those of the function go with the release.
int32_t count_dangling(std::span<SYMBOL* const> symbols, size_t items) {
    int32_t dangling = 0;
    for (const SYMBOL* symbol : symbols) {
        const int32_t found = check_symbol(symbol, items);
        if (!in_zone(symbol)) dangling += found;
    }
    return dangling;
}

} // namespace

int32_t check_cross_zone(const SYMBOL* symbol) { return check_symbol(symbol, SIZE_MAX); }

void check_zones(const ZONE_CHECK& what) {
    if (!check_is_on()) return;
    std::clock_t start = std::clock();
    for (const NODE* tree : what.function_trees) check_cross_zone(tree); // all of it goes with the release
    int32_t dangling = 0;
    for (const NODE* tree : what.file_trees) dangling += check_cross_zone(tree);
    dangling += count_dangling(what.symbols, SIZE_MAX);
    dangling += count_dangling(what.records, 1);
    trace("(%.1f sec for allocation check.)", double(std::clock() - start) / CLOCKS_PER_SEC);
    if (dangling) {
        fprintf(stderr, "Spurious cross-zone pointer found.\n");
        fatal_exit();
    }
}

} // namespace pelorus
