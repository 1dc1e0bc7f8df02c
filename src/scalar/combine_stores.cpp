// Neighbouring assignments to memory; see assignments.h.
//
//     *p = a; *p = b;          *p = b;                 the place is overwritten
//     p->a = v; q = p->a;      p->a = v; q = v;        what was just stored is not loaded
//     s.lo = 1; s.hi = 2;      *(int *)&s = 0x20001;   late; the object is aligned for the wide access
//     x = *p; p += 4;          x = *p++;               late
//
// Two lvalues are the same place when their trees are equal and what their addresses are made of, constants
// and candidates, is not changed in between: a candidate cannot be changed by a store. Places that are
// volatile, and bit-fields, which are narrower than what is stored, are left alone.
#include <utility>

#include "cfg/candidate_fact.h"
#include "cfg/statement_edit.h"
#include "ir/effects.h"
#include "ir/node_storage.h"
#include "ir/parameters.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "scalar/assignment_query.h"
#include "scalar/assignments.h"
#include "support/decision.h"
#include "support/settings.h"
#include "support/trace.h"
#include "tree/access.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

constexpr char COMBINED[] = "\n\tCombining the assignments {}\n\t......................and {}\n"
                            "\t...................to get {}\n";

// --- Places ---

// How often the tree touches what a store may change.
int memory_accesses(const NODE* tree) {
    int accesses = 0;
    for_each_access(tree, [&](const TREE_ACCESS& access) {
        accesses += access.kind != ACCESS::EXPOSE && (!access.symbol || access.symbol->candidate < 0);
    });
    return accesses;
}

// A store to memory whose address reads no memory, and which is not volatile.
bool stores_plainly(const NODE* tree) {
    if (tree->op != OP_ASG || names_candidate(tree->left) || is_bitfield_member(tree->left)) return false;
    if (tree->left->op == OP_NAME) return !node_has_effect(tree->left);
    if (tree_has_effects(tree->left)) return false;
    return memory_accesses(tree->left) == 1; // the place itself
}

bool overwrites(const NODE* first, const NODE* next) {
    if (!stores_plainly(first) || !stores_plainly(next) || !equal_trees(first->left, next->left))
        return false;
    if (copied_parameter(first)) return refuse(SITE_overwritten_store, "it is the copy of a parameter");
    if (tree_has_effects(first->right) || tree_has_effects(next->right))
        return refuse(SITE_overwritten_store, "a value has effects", "{}", first);
    if (memory_accesses(next->right) > 0)
        return refuse(SITE_overwritten_store, "the next value may read it", "{}", next);
    return change_exactly(SITE_overwritten_store, COMBINED, first, next, next);
}

bool is_known_value(const NODE* value) {
    return value->op == OP_ICON || value->op == OP_FCON || names_candidate(value);
}

bool forwards(const NODE* first, NODE* next) {
    if (!stores_plainly(first) || next->op != OP_ASG || !equal_trees(first->left, next->right)) return false;
    if (!is_known_value(first->right))
        return refuse(SITE_forward_store, "the value would be computed twice", "{}", first);
    if (tree_has_effects(next->left)) return false;
    return change(SITE_forward_store, "{}, behind {}", next, first);
}

void forward(const NODE* first, NODE* next) {
    TYPE* type = next->right->type;
    erase_tree(next->right);
    next->right = converted_value(copy_tree(first->right), type);
}

// --- Wide stores ---

// A place as an offset from something whose alignment is known.
struct ANCHOR {
    const NODE* base = nullptr; // a NAME of the object, or of the pointer to it
    bool through_pointer = false;
    int64_t offset = 0;
    uint32_t align = 1;
};

bool add_offset(ANCHOR& anchor, const NODE* amount, int sign) {
    if (amount->op != OP_ICON) return false;
    anchor.offset += sign * int96_to_int64(amount->value());
    return true;
}

bool anchor_pointer(const NODE* pointer, ANCHOR& anchor);

bool anchor_object(const NODE* object, ANCHOR& anchor) {
    for (; object->op == OP_STDOT; object = object->left) anchor.offset += object->right->field_info->value;
    if (object->op == OP_STREF) {
        anchor.offset += object->right->field_info->value;
        return anchor_pointer(object->left, anchor);
    }
    if (object->op == OP_UMULT) return anchor_pointer(object->left, anchor);
    if (object->op != OP_NAME || !object->symbol() || object->symbol()->level > 0) return false;
    anchor.base = object;
    anchor.align = object->symbol()->align;
    return true;
}

bool anchor_pointer(const NODE* pointer, ANCHOR& anchor) {
    for (;; pointer = pointer->left) switch (pointer->op) {
        case OP_PLUS:
            if (!add_offset(anchor, pointer->right, 1)) return false;
            break;
        case OP_MINUS:
            if (!add_offset(anchor, pointer->right, -1)) return false;
            break;
        case OP_UAND: return anchor_object(pointer->left, anchor);
        case OP_NAME:
            if (!names_candidate(pointer)) return false;
            anchor.base = pointer;
            anchor.through_pointer = true;
            anchor.align = type_target(pointer->type) ? type_target(pointer->type)->align : 1;
            return true;
        default: return false;
        }
}

bool same_anchor(const ANCHOR& a, const ANCHOR& b) {
    return a.base->symbol() == b.base->symbol() && a.through_pointer == b.through_pointer;
}

struct STORE {
    ANCHOR anchor;
    uint32_t size;
    INT96 value;
};

bool is_narrow_constant_store(const NODE* tree, STORE& store) {
    if (!stores_plainly(tree) || tree->right->op != OP_ICON) return false;
    store.size = tree->left->type->size;
    store.value = tree->right->value();
    return (store.size == 1 || store.size == 2) && !type_is_bool(tree->left->type) &&
           anchor_object(tree->left, store.anchor);
}

NODE* address_of(const ANCHOR& anchor, TYPE* type) {
    NODE* base = copy_tree(anchor.base);
    if (!anchor.through_pointer) base = new_unary(OP_UAND, type, base);
    base = new_unary(OP_PCONV, type, base);
    if (anchor.offset == 0) return base;
    return new_binary(OP_PLUS, type, base,
                      new_icon(type_package()->int_type(), int96_from_int64(anchor.offset)));
}

TYPE* unsigned_of(uint32_t size) {
    if (size == 4) return type_package()->unsigned_int_type();
    return type_package()->make_basic(TR_SHORT, true, size, size);
}

// The store of both values; null when the two are no neighbours, or the place is not aligned for it.
NODE* wide_store(const NODE* first, const NODE* next) {
    STORE low;
    STORE high;
    if (!is_narrow_constant_store(first, low) || !is_narrow_constant_store(next, high)) return nullptr;
    if (low.size != high.size || !same_anchor(low.anchor, high.anchor)) return nullptr;
    if (low.anchor.offset > high.anchor.offset) std::swap(low, high);
    const uint32_t size = 2 * low.size;
    if (high.anchor.offset - low.anchor.offset != low.size) return nullptr;
    if (low.anchor.align < size || low.anchor.offset % size != 0) {
        refuse(SITE_widen_stores, "the place is not aligned", "{} and {}", first, next);
        return nullptr;
    }
    if (settings.big_endian) std::swap(low.value, high.value);
    const INT96 bits =
        int96_or(int96_truncate(low.value, 8 * low.size, true),
                 int96_shift_left(int96_truncate(high.value, 8 * low.size, true), 8 * low.size));
    TYPE* type = unsigned_of(size);
    NODE* place = new_unary(OP_UMULT, type, address_of(low.anchor, type_package()->make_pointer(type)));
    return new_binary(OP_ASG, type, place, new_icon(type, int96_truncate(bits, 8 * size, true)));
}

bool widens(const NODE* first, STMT* next) {
    NODE* wide = wide_store(first, next->tree);
    if (!wide) return false;
    if (!change_exactly(SITE_widen_stores, COMBINED, first, next->tree, wide)) return false;
    erase_tree(next->tree);
    next->tree = simplify_tree(wide);
    return true;
}

// --- Increments ---

// x = *p; p += 4: the one NAME of p in the first statement, right under the access.
NODE* access_through(NODE* first, const SYMBOL* pointer) {
    NODE* found = nullptr;
    int names = 0;
    for_each_node(first, [&](NODE* node) {
        names += node->op == OP_NAME && node->symbol() == pointer;
        if (node->op == OP_UMULT && node->left->op == OP_NAME && node->left->symbol() == pointer)
            found = node;
    });
    return names == 1 ? found : nullptr;
}

bool folds_increment(NODE* first, const NODE* next) {
    if (next->op != OP_PLUSASG && next->op != OP_MINUSASG) return false;
    if (!names_candidate(next->left) || !type_is_pointer(next->left->type) || next->right->op != OP_ICON)
        return false;
    if (first->op != OP_ASG || is_seen_by_debugger(next->left->symbol())) return false;
    const bool stores = first->left->op == OP_UMULT && first->left->left->op == OP_NAME;
    const bool loads = first->right->op == OP_UMULT && first->left->op == OP_NAME;
    NODE* access = stores || loads ? access_through(first, next->left->symbol()) : nullptr;
    if (!access || access != (stores ? first->left : first->right)) return false;
    if (!change(SITE_fold_increment, "{}, with {}", first, next)) return false;
    const int32_t op = next->op == OP_PLUSASG ? OP_PLUSPLUS : OP_MINMIN;
    access->left = new_binary(op, next->type, access->left, copy_tree(next->right));
    return true;
}

// --- Pairs ---

enum class STORES_OUTCOME : uint8_t { NOTHING, CHANGED, DROP_FIRST, DROP_NEXT };

STORES_OUTCOME combine_pair(STMT* first, STMT* next, bool late) {
    if (overwrites(first->tree, next->tree)) return STORES_OUTCOME::DROP_FIRST;
    if (forwards(first->tree, next->tree)) {
        forward(first->tree, next->tree);
        return STORES_OUTCOME::CHANGED;
    }
    if (!late) return STORES_OUTCOME::NOTHING;
    if (widens(first->tree, next)) return STORES_OUTCOME::DROP_FIRST;
    return folds_increment(first->tree, next->tree) ? STORES_OUTCOME::DROP_NEXT : STORES_OUTCOME::NOTHING;
}

// True when one of the two statements is gone, so that the cell has another pair.
bool combine_at(BB* block, STMT* cell, bool late) {
    STMT* dropped = nullptr;
    switch (combine_pair(cell, cell->next, late)) {
    case STORES_OUTCOME::NOTHING:
    case STORES_OUTCOME::CHANGED: return false;
    case STORES_OUTCOME::DROP_FIRST: dropped = cell; break;
    case STORES_OUTCOME::DROP_NEXT: dropped = cell->next; break;
    }
    erase_tree(dropped->tree);
    remove_cell(block, dropped);
    return true;
}

bool is_followed(const BB* block, const STMT* cell) { return cell->next && cell->next != block->last_stmt; }

void combine_block(BB* block, bool late) {
    for (STMT* cell = block->stmts; is_followed(block, cell);) {
        stand_at(block, cell);
        if (!combine_at(block, cell, late)) cell = cell->next;
    }
}

} // namespace

bool combine_with_next(BB* block, STMT* cell) {
    return is_followed(block, cell) && combine_at(block, cell, false);
}

bool combine_asgs_to_memory(bool late) {
    if (settings.optimization_level < 1) return false;
    trace("\n\n\t\t\t---------- ENTERING 'combine_asgs_to_memory' -------\n");
    build_facts(facts_of(FACT_candidates));
    const CHANGE_MARK mark;
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) combine_block(block, late);
    if (mark.any()) trees_changed();
    return mark.any();
}

} // namespace pelorus
