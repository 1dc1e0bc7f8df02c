// The validator's initializers; see validate_state.h.
//
// The items are laid one behind the other into the object, so their sizes add up to at most its own.
#include "icode/validate_state.h"
#include "ir/validate_initializer.h"

namespace pelorus {

namespace {

struct LAYOUT {
    VALIDATOR& v;
    const SYMBOL* symbol; // null when it is not known
    uint64_t offset = 0;  // behind the items so far
};

void lay_item(LAYOUT& layout, const NODE* item) {
    VALIDATOR& v = layout.v;
    const int64_t size = initializer_item_size(item);
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
