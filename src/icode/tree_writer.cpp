// Trees as records, and the walk that prepares them; see writer.h.
//
// A record's length stands in front of it and counts its subtrees. So a tree is put together first: the own
// fields of every node, parents before children; then the lengths, children before parents; then everything
// goes out in order. Nothing here recurses down left spines.
#include "icode/writer_state.h"
#include "ir/call.h"
#include "ir/funinfo.h"
#include "memory/zone.h"
#include "support/fatal.h"

namespace pelorus {

namespace {

// --- The pre-write walk ---

bool is_wide(const NODE* node) { return node->type && type_bits(node->type) > 32; }

bool needs_long_constant(const NODE* node) {
    if (!is_wide(node)) return false;
    return type_is_signed(node->type) ? !int96_fits_signed32(node->value())
                                      : !int96_fits_unsigned32(node->value());
}

void prepare_address(NODE* node) {
    NODE* name = node->left;
    SYMBOL* symbol = name && name->op == OP_NAME ? name->symbol() : nullptr;
    if (!symbol) return;
    if (symbol->funinfo) symbol->funinfo->referenced = 1;
}

// What stands for the variable is an lvalue, and so can stand wherever its NAME can.
void prepare_name(NODE* node) {
    const SYMBOL* symbol = node->symbol();
    if (symbol && symbol->replaced && symbol->replacement) *node = *copy_tree(symbol->replacement);
}

bool is_member_function(const SYMBOL* symbol) {
    const TYPE* type = type_strip(symbol->declared_type);
    return type->kind == TK_FUNCTION && type->record->fields[6].type;
}

// A direct call of a member function names it by its encoded name.
void prepare_call(NODE* node) {
    const SYMBOL* symbol = direct_callee(node);
    if (!symbol || !is_member_function(symbol)) return;
    node->op = node->op == OP_CALL ? OP_MCALL : OP_UMCALL;
    node->left = node->right;
    node->right = nullptr;
    node->set_callee_text(symbol->name);
}

void prepare_node(NODE* node) {
    switch (node->op) {
    case OP_LABEL:
        if (node->label()) node->set_value(int96_signed(node->label()->index));
        break;
    case OP_ICON:
        if (needs_long_constant(node)) node->op = OP_LCON;
        break;
    case OP_UAND: prepare_address(node); break;
    case OP_NAME: prepare_name(node); break;
    case OP_CALL:
    case OP_UCALL: prepare_call(node); break;
    case OP_CSE_DUPE:
    case OP_CSE_ORIG:
    case OP_ERASED:
        fatal_error("\n\n   !!! Error in 'wrtree', opcode=%d %s !!!\n", node->op, opcode_spelling(node->op));
    default: break;
    }
}

// --- The fields of a node ---

void put_reference(ICODE_WRITER& writer, SYMBOL* symbol) {
    put_uleb(writer, !symbol ? NO_SYMBOL_SCOPE : symbol->local ? 1 : 0);
    put_uleb(writer, symbol ? symbol_reference(writer, symbol) : 0);
}

void put_field(ICODE_WRITER& writer, const NODE* node) {
    put_byte(writer, 1);
    put_uleb(writer, node->field_info->key);
    put_uleb(writer, static_cast<const TYPE*>(node->ref)->uid.number);
}

void put_integer(ICODE_WRITER& writer, const NODE* node) {
    if (type_is_signed(node->type))
        put_sleb(writer, node->value_lo);
    else
        put_uleb(writer, static_cast<uint32_t>(node->value_lo));
}

void put_payload(ICODE_WRITER& writer, const NODE* node) {
    const auto number = static_cast<uint32_t>(node->value_lo);
    switch (opcode_fact(node->op).payload) {
    case PAYLOAD::NONE: break;
    case PAYLOAD::LABEL:
    case PAYLOAD::SKIP: put_uleb(writer, number); break;
    case PAYLOAD::CALL: put_uleb(writer, writer.calls); break;
    case PAYLOAD::SYMBOL: put_reference(writer, node->symbol()); break;
    case PAYLOAD::BYTES:
        put_uleb(writer, number);
        put_bytes(writer, node->text, number);
        break;
    case PAYLOAD::INTEGER: put_integer(writer, node); break;
    case PAYLOAD::FLOAT: put_string(writer, target_float_text(*node->floating())); break;
    case PAYLOAD::DECIMAL: put_string(writer, int96_text(node->value())); break;
    case PAYLOAD::FIELD: put_field(writer, node); break;
    case PAYLOAD::SWITCH: put_uleb(writer, static_cast<uint32_t>(node->size)); break;
    case PAYLOAD::DDNODE:
        put_uleb(writer, 0);
        put_uleb(writer, 0);
        put_byte(writer, 0);
        break;
    case PAYLOAD::TEXT: put_string(writer, static_cast<const char*>(node->ref)); break;
    case PAYLOAD::DROPPED: put_sleb(writer, 0); break;
    }
}

// Moves the node's own fields from the record buffer to the waiting bytes.
uint32_t add_waiting(ICODE_WRITER& writer, const NODE* node, uint32_t parent) {
    // Passes move and copy statements, so the order of the records makes the numbers.
    if (node->op == OP_CALL || node->op == OP_UCALL) writer.calls++;
    put_byte(writer, static_cast<uint8_t>(node->op));
    put_uleb(writer, node->type ? node->type->uid.number : 0);
    put_payload(writer, node);
    const auto index = static_cast<uint32_t>(writer.waiting.size());
    writer.waiting.push_back(
        {writer.tree_bytes.size(), writer.cursor, writer.cursor, parent == UINT32_MAX ? index : parent});
    writer.tree_bytes.insert(writer.tree_bytes.end(), writer.buffer, writer.buffer + writer.cursor);
    writer.cursor = 0;
    return index;
}

uint64_t framed_size(uint64_t body) { return 1 + uleb_size(body) + body; }

} // namespace

NODE* wrtree(NODE* tree) {
    for (NODE* node = tree; node; node = node->left) {
        prepare_node(node);
        if (node->right) wrtree(node->right);
    }
    return tree;
}

uint64_t prepare_tree(ICODE_WRITER& writer, const NODE* tree) {
    const size_t first = writer.waiting.size();
    writer.walk.assign(1, {tree, UINT32_MAX});
    while (!writer.walk.empty()) {
        const auto [node, parent] = writer.walk.back();
        writer.walk.pop_back();
        const uint32_t index = add_waiting(writer, node, parent);
        if (opcode_is_leaf_record(node->op)) continue;
        const int arity = opcode_arity(node->op);
        if (arity == 2 && node->right) writer.walk.emplace_back(node->right, index);
        if (arity >= 1 && node->left) writer.walk.emplace_back(node->left, index);
    }
    for (size_t i = writer.waiting.size() - 1; i > first; --i)
        writer.waiting[writer.waiting[i].parent].body += framed_size(writer.waiting[i].body);
    return framed_size(writer.waiting[first].body);
}

void emit_waiting(ICODE_WRITER& writer) {
    for (const WAITING_NODE& node : writer.waiting) {
        uint8_t head[11] = {RK_TREE};
        const size_t length = 1 + encode_uleb(node.body, head + 1);
        emit_raw(writer, head, length);
        emit_raw(writer, writer.tree_bytes.data() + node.own_start, node.own_size);
    }
    writer.waiting.clear();
    writer.tree_bytes.clear();
}

} // namespace pelorus
