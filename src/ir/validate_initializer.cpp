// See validate_initializer.h.
#include "ir/validate_initializer.h"

#include "ir/symbol.h"

namespace pelorus {

namespace {

// A constant address: of an object or function or string, or a member of one, with conversions and offsets
// around it.
bool is_address(const NODE* node) {
    for (; node; node = node->left) {
        switch (node->op) {
        case OP_PCONV:
        case OP_SCONV:
        case OP_ISP2CHAR:
        case OP_NONALIGN: continue;
        case OP_PLUS:
        case OP_MINUS:
            if (!node->right || node->right->op != OP_ICON) return false;
            continue;
        case OP_UAND:
        case OP_ACONV: return node->left && (node->left->op == OP_NAME || node->left->op == OP_SCON);
        default: return false;
        }
    }
    return false;
}

bool has_size(const TYPE* type) { return !type_is_void(type) && !type_is_function(type); }

} // namespace

int64_t initializer_item_size(const NODE* item) {
    switch (item->op) {
    case OP_ICON:
    case OP_FCON: return has_size(item->type) ? int64_t{type_strip(item->type)->size} : -1;
    case OP_SCON: return item->value_lo;
    case OP_SKIP: return static_cast<uint32_t>(item->value_lo);
    default: return is_address(item) ? int64_t{type_strip(item->type)->size} : -1;
    }
}

bool names_local(const NODE* node) {
    for (; node; node = node->left)
        if (node->op == OP_NAME && (!node->symbol() || node->symbol()->level)) return true;
    return false;
}

} // namespace pelorus
