// The validator's initializers; see validate_state.h.
//
// The items are laid one behind the other into the object, so their sizes add up to at most its own.
#include "icode/validate_state.h"

namespace pelorus {

namespace {

struct LAYOUT {
    VALIDATOR& v;
    const SYMBOL* symbol; // null when it is not known
    uint64_t offset = 0;  // behind the items so far
};

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

// The bytes that an item fills; -1 for one that cannot stand in an initializer.
int64_t item_size(const NODE* item) {
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

void lay_item(LAYOUT& layout, const NODE* item) {
    VALIDATOR& v = layout.v;
    const int64_t size = item_size(item);
    v.stmt = item;
    if (size < 0 || names_local(item)) {
        file_fault(v, RULE_I1, item->scratch[0], "the item is no constant, string, address or SKIP");
    } else {
        const FAULT_SINK sink = tree_sink(v);
        if (item->op != OP_SKIP) validate_expression(item, {item, 0, &sink});
        const uint64_t end = layout.offset + static_cast<uint64_t>(size);
        if (layout.symbol && end > layout.symbol->size && layout.offset <= layout.symbol->size)
            file_fault(v, RULE_I2, item->scratch[0],
                       "%lld bytes at %llu pass the end of \"%.80s\", which has %u",
                       static_cast<long long>(size), static_cast<unsigned long long>(layout.offset),
                       layout.symbol->name, layout.symbol->size);
        layout.offset = end;
    }
    v.stmt = nullptr;
}

void check_variable(VALIDATOR& v, const RECORD_FRAME& frame, GLOBAL_STATE& global) {
    const SYMBOL* symbol = global.symbol;
    if (++global.initializers > 1)
        file_fault(v, RULE_I3, frame.start, "a second initializer of \"%.80s\"", symbol->name);
    const bool is_function = symbol->declared_type && type_is_function(symbol->declared_type);
    if (is_function || (symbol->storage_class != SC_EXTERN_DEF && symbol->storage_class != SC_STATIC))
        file_fault(v, RULE_I4, frame.start, "\"%.80s\" is no variable that this file defines", symbol->name);
}

} // namespace

void validate_initializer_record(VALIDATOR& v, const RECORD_FRAME& frame) {
    if (!take_fields(v, record_layout(RK_INITIALIZER)->fields, nullptr)) return;
    const SYMBOL* symbol = v.fields[0].symbol;
    if (symbol) check_variable(v, frame, v.globals[v.fields[0].number]);
    LAYOUT layout{v, symbol};
    bool ended = false;
    while (v.good && v.at < frame.end && !ended) {
        const NODE* item = validate_tree_record(v);
        ended = item && item->op == OP_ENDINIT;
        if (!item)
            layout.symbol = nullptr; // its size is not known
        else if (!ended)
            lay_item(layout, item);
    }
    if (!v.good) return;
    if (!ended) file_fault(v, RULE_I5, frame.start, "the initializer has no ENDINIT");
    if (ended && v.at < frame.end) {
        file_fault(v, RULE_I5, frame.start, "something follows the ENDINIT");
        v.at = frame.end;
    }
}

} // namespace pelorus
