// The reader's look at the trees that it has read.
//
// Whoever gets a tree from the reader counts on its shape: on subtrees that are there, on operands of the
// types that their operator works on, on labels where labels belong. So every statement and every item of an
// initializer is checked by the rules that the validator of files goes by too, and what breaks one ends the
// run before anything is made of it. Bodies are read more than once, but their bytes stay what they are:
// later readings find nothing new, and are not checked.
#include "icode/reader_state.h"
#include "ir/tree_text.h"
#include "ir/validate_initializer.h"

namespace pelorus {

namespace {

struct TREE_FAULT {
    ICODE_READER& reader;
    uint64_t start;
};

[[noreturn]] void refuse(ICODE_READER& reader, uint64_t start, RULE rule, const char* message,
                         const NODE* tree) {
    const std::string text = short_tree_text(tree, FAULT_TEXT_LENGTH);
    icode_fault(reader, start, "%s%.80s%srule %s: %s: %s", reader.function ? "function " : "",
                reader.function ? reader.function->name : "", reader.function ? ": " : "", rule_id(rule),
                message, text.c_str());
}

// The first fault is the last one.
void take_fault(void* context, const FAULT& fault) {
    const TREE_FAULT& place = *static_cast<TREE_FAULT*>(context);
    refuse(place.reader, place.start, fault.rule, fault.message, fault.stmt);
}

} // namespace

void begin_checks(ICODE_READER& reader, const SYMBOL* symbol) {
    reader.function = symbol;
    reader.check = {};
    reader.check.minds_parameters = false;
    const TYPE* type = symbol && symbol->declared_type ? type_strip(symbol->declared_type) : nullptr;
    if (type && type->kind == TK_FUNCTION) reader.check.returned = type->base;
}

void check_statement(ICODE_READER& reader, const NODE* stmt, uint64_t start) {
    if (!reader.checks_trees) return;
    TREE_FAULT place{reader, start};
    const FAULT_SINK sink{take_fault, &place};
    if (reader.own_opcode >= 0) refuse(reader, start, RULE_U8, "an opcode of the optimizer's own", stmt);
    validate_stmt(stmt, 0, reader.check.first, &sink);
    check_in_function(reader.check, stmt, {stmt, 0, &sink});
}

void check_item(ICODE_READER& reader, const NODE* item, uint64_t start) {
    TREE_FAULT place{reader, start};
    const FAULT_SINK sink{take_fault, &place};
    if (item->op == OP_ENDINIT || !reader.checks_trees) return;
    if (initializer_item_size(item) < 0 || names_local(item))
        refuse(reader, start, RULE_I1, "the item is no constant, string, address or SKIP", item);
    if (item->op != OP_SKIP) validate_expression(item, {item, 0, &sink});
}

} // namespace pelorus
