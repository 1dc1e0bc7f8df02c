// Nodes and their subtrees, and the three places where trees stand: statements, initializers, alone.
//
// Nodes nest as deep as the file says, so an explicit stack takes the place of recursion and its depth is
// limited.
#include <cstdio>

#include "icode/reader_state.h"
#include "memory/zone.h"

namespace pelorus {

namespace {

SYMBOL* symbol_of_table(ICODE_READER& reader, const std::vector<SYMBOL*>& table, uint32_t index,
                        const char* what) {
    if (index >= table.size())
        icode_fault(reader, reader.in.offset(), "%s symbol %u does not exist; there are %zu", what, index,
                    table.size());
    return table[index];
}

SYMBOL* read_symbol_reference(ICODE_READER& reader) {
    const uint32_t scope = reader.in.uleb();
    const uint32_t index = reader.in.uleb();
    if (scope == NO_SYMBOL_SCOPE) return nullptr;
    if (scope == 0) return symbol_of_table(reader, reader.global_symbols, index, "global");
    return symbol_of_table(reader, reader.local_symbols, index, "local");
}

void read_field(ICODE_READER& reader, NODE* node) {
    const uint64_t at = reader.in.offset();
    const int8_t check = reader.in.signed_byte();
    const uint32_t key = reader.in.uleb();
    TYPE* owner = read_type_index(reader);
    if (check != 1) icode_fault(reader, at, "a FIELD begins with %d, not 1", check);
    TYPE_PART* member = type_member(owner, key);
    if (!member || !member->type)
        icode_fault(reader, at, "%s has no member with key %u", type_text(owner).c_str(), key);
    node->set_field(check, member, owner);
}

void read_decimal(ICODE_READER& reader, NODE* node) {
    const uint64_t at = reader.in.offset();
    const std::string& digits = reader.in.string();
    INT96 value;
    if (!int96_parse(digits, value))
        icode_fault(reader, at, "\"%.40s\" is no decimal number", digits.c_str());
    node->set_decimal(digits.c_str());
}

void read_float(ICODE_READER& reader, NODE* node) {
    const uint64_t at = reader.in.offset();
    const std::string& decimal = reader.in.string();
    TARGET_FLOAT value;
    if (!target_float_parse(decimal, value, 8))
        icode_fault(reader, at, "\"%.40s\" is no floating-point number", decimal.c_str());
    node->set_float(decimal.c_str());
}

void read_label_number(ICODE_READER& reader, NODE* node) {
    const uint64_t at = reader.in.offset();
    const uint32_t number = reader.in.uleb();
    if (number == 0 || number > icode_limits.labels)
        icode_fault(reader, at, "label %u is not in the range 1 to %u", number, icode_limits.labels);
    node->set_label(number);
}

void read_integer(ICODE_READER& reader, NODE* node) {
    node->set_integer(type_is_signed(node->type) ? reader.in.sleb() : static_cast<int32_t>(reader.in.uleb()));
}

void read_ddnode(ICODE_READER& reader, NODE* node) {
    const uint32_t first = reader.in.uleb();
    const uint32_t second = reader.in.uleb();
    node->set_ddnode(first, second, reader.in.byte());
}

void read_bytes(ICODE_READER& reader, NODE* node) {
    const std::string_view bytes = reader.in.bytes(reader.in.uleb());
    node->set_bytes(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

void read_payload(ICODE_READER& reader, NODE* node) {
    switch (opcode_fact(node->op).payload) {
    case PAYLOAD::NONE: break;
    case PAYLOAD::LABEL: read_label_number(reader, node); break;
    case PAYLOAD::SYMBOL: node->set_symbol(read_symbol_reference(reader)); break;
    case PAYLOAD::BYTES: read_bytes(reader, node); break;
    case PAYLOAD::INTEGER: read_integer(reader, node); break;
    case PAYLOAD::FLOAT: read_float(reader, node); break;
    case PAYLOAD::DECIMAL: read_decimal(reader, node); break;
    case PAYLOAD::FIELD: read_field(reader, node); break;
    case PAYLOAD::SWITCH: node->set_switch(reader.in.uleb()); break;
    case PAYLOAD::CALL: node->set_call(reader.in.uleb()); break;
    case PAYLOAD::SKIP: node->set_skip(static_cast<int32_t>(reader.in.uleb())); break;
    case PAYLOAD::DDNODE: read_ddnode(reader, node); break;
    case PAYLOAD::TEXT: node->set_callee_text(reader.in.string().c_str()); break;
    case PAYLOAD::DROPPED: node->set_nothing(reader.in.sleb()); break;
    }
}

// Opcode, type and payload of the record whose frame is open.
NODE* read_node_fields(ICODE_READER& reader) {
    const uint64_t at = reader.in.offset();
    const int op = reader.in.byte();
    if (op > LAST_OPCODE) icode_fault(reader, at, "opcode %d is greater than %d", op, LAST_OPCODE);
    if (opcode_is_own(op)) reader.own_opcode = op;
    NODE* node = new_node(op, read_type_index(reader));
    read_payload(reader, node);
    if (reader.in_statement && (op == OP_CALL || op == OP_UCALL))
        node->set_call(static_cast<uint32_t>(++function_node_state.calls));
    return node;
}

// Kind and length of a tree record. Any other kind is an internal error of whoever wrote the file.
void open_tree_record(ICODE_READER& reader, uint64_t& start, uint64_t& end) {
    start = reader.in.offset();
    const uint8_t kind = reader.in.byte();
    if (kind != RK_TREE) {
        fprintf(stderr, "\nINTERNAL ERROR: Invalid I-code record, aborting\n");
        icode_fault(reader, start, "a record of kind %d where a tree is expected", kind);
    }
    const uint32_t length = reader.in.uleb();
    end = reader.in.offset() + length;
    if (end > reader.in.limit())
        icode_fault(reader, start, "a tree record of %u bytes passes the end of what holds it", length);
}

void check_tree_end(ICODE_READER& reader, const OPEN_NODE& open) {
    if (reader.in.offset() != open.end)
        icode_fault(reader, open.start, "the length of this tree record ends at 0x%lx, its contents at 0x%lx",
                    static_cast<unsigned long>(open.end), static_cast<unsigned long>(reader.in.offset()));
}

void push_node(ICODE_READER& reader, uint64_t start, uint64_t end, uint32_t right_depth) {
    if (reader.open_nodes.size() >= icode_limits.tree_depth || right_depth >= icode_limits.right_depth)
        icode_fault(reader, start, "trees are nested deeper than %u, or more than %u right subtrees deep",
                    icode_limits.tree_depth, icode_limits.right_depth);
    NODE* node = read_node_fields(reader);
    // By the opcode that the node has now: an LCON has become an ICON, and both are leaves.
    reader.open_nodes.push_back({node, start, end, opcode_record_arity(node->op), 0, right_depth});
}

} // namespace

NODE* read_tree(ICODE_READER& reader, bool check_header) {
    uint64_t start = reader.in.offset();
    uint64_t end = reader.in.limit();
    const uint64_t outer_limit = end;
    if (check_header) open_tree_record(reader, start, end);
    reader.in.set_limit(end);
    reader.open_nodes.clear();
    reader.own_opcode = -1;
    push_node(reader, start, end, 0);
    for (;;) {
        OPEN_NODE& open = reader.open_nodes.back();
        if (open.children < open.arity) {
            const bool right = open.children++ == 1;
            const uint32_t right_depth = open.right_depth + right;
            reader.in.set_limit(open.end);
            open_tree_record(reader, start, end);
            reader.in.set_limit(end);
            push_node(reader, start, end, right_depth);
            continue;
        }
        const OPEN_NODE done = open;
        reader.open_nodes.pop_back();
        check_tree_end(reader, done);
        if (reader.open_nodes.empty()) {
            reader.in.set_limit(outer_limit);
            return done.node;
        }
        const OPEN_NODE& parent = reader.open_nodes.back();
        (parent.children == 1 ? parent.node->left : parent.node->right) = done.node;
    }
}

} // namespace pelorus
