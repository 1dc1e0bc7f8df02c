// The validator's trees: records become nodes, which the checks of trees then look at; see validate_state.h.
//
// How many subtrees a node has is told by the lengths of the records, and compared with what the opcode
// wants. Trees nest as deep as the file says, so a stack of open nodes takes the place of recursion.
#include "icode/validate_state.h"
#include "memory/zone.h"

namespace pelorus {

namespace {

struct OPEN_TREE {
    NODE* node;
    RECORD_FRAME frame;
    uint32_t arity;
    uint32_t children;
    uint32_t right_depth;
};

struct TREE_BUILDER {
    VALIDATOR& v;
    std::vector<OPEN_TREE> open;
    bool whole = true; // false when the tree can be passed, but not be looked at

    template <class... T>
    void fault(RULE rule, uint64_t offset, const char* format, T... arguments) {
        file_fault(v, rule, offset, format, arguments...);
        whole = false;
    }
};

// --- Payloads ---

void take_label(TREE_BUILDER& builder, NODE* node) {
    const size_t start = builder.v.at;
    const uint32_t number = take_uleb(builder.v);
    if (!builder.v.good) return;
    if (number == 0 || number > icode_limits.labels)
        return builder.fault(RULE_U4, start, "label %u is not from 1 to %u", number, icode_limits.labels);
    node->set_label(number);
}

void take_symbol(TREE_BUILDER& builder, NODE* node) {
    VALIDATOR& v = builder.v;
    const size_t start = v.at;
    const uint32_t scope = take_uleb(v);
    const uint32_t index = take_uleb(v);
    if (!v.good || scope == NO_SYMBOL_SCOPE) return;
    const size_t count = scope ? v.function.locals.size() : v.globals.size();
    if (index >= count)
        return builder.fault(RULE_S11, start, "%s symbol %u does not exist; there are %zu",
                             scope ? "local" : "global", index, count);
    node->set_symbol(scope ? v.function.locals[index] : v.globals[index].symbol);
    if (!node->symbol()->declared_type) builder.whole = false;
}

void take_member(TREE_BUILDER& builder, NODE* node) {
    VALIDATOR& v = builder.v;
    const size_t start = v.at;
    const int check = take_byte(v);
    const uint32_t key = take_uleb(v);
    bool known = true;
    TYPE* owner = take_type(v, known);
    if (!v.good) return;
    if (check != 1) return builder.fault(RULE_N14, start, "a FIELD begins with %d, not 1", check);
    if (!known) {
        builder.whole = false;
        return;
    }
    TYPE_PART* member = owner && type_is_csu(owner) ? type_member(owner, key) : nullptr;
    if (!member) return builder.fault(RULE_N14, start, "no structure with a member of key %u", key);
    node->field_info = member;
    node->ref = owner;
}

void take_decimal(TREE_BUILDER& builder, NODE* node) {
    const size_t start = builder.v.at;
    const std::string digits(take_string(builder.v));
    INT96 value;
    if (!builder.v.good) return;
    if (!int96_parse(digits, value))
        return builder.fault(RULE_N11, start, "\"%.40s\" is no decimal number", digits.c_str());
    node->set_decimal(digits.c_str());
}

void take_float(TREE_BUILDER& builder, NODE* node) {
    const size_t start = builder.v.at;
    const std::string decimal(take_string(builder.v));
    TARGET_FLOAT value;
    if (!builder.v.good) return;
    if (!target_float_parse(decimal, value, 8))
        return builder.fault(RULE_N12, start, "\"%.40s\" is no floating-point number", decimal.c_str());
    node->set_float(decimal.c_str());
}

void take_integer(TREE_BUILDER& builder, NODE* node) {
    const bool is_signed = type_is_signed(node->type);
    node->set_integer(is_signed ? take_sleb(builder.v) : static_cast<int32_t>(take_uleb(builder.v)));
}

// In initializers calls are no calls of a function, and the tree's own checks tell that they cannot stand
// there.
void count_call(TREE_BUILDER& builder, NODE* node, size_t start) {
    VALIDATOR& v = builder.v;
    if (opcode_fact(node->op).kind == OPCODE_CLASS::CALLS && node->op != OP_MEMCPY)
        v.function.makes_calls = true;
    if (node->op != OP_CALL && node->op != OP_UCALL) return;
    const uint32_t number = ++v.function.calls;
    if (node->op == OP_UCALL || !v.in_statement || !v.good) return;
    const auto said = static_cast<uint32_t>(node->value_lo);
    if (said != number && !v.function.is_damaged)
        file_fault(v, RULE_U13, start, "the call has number %u; it is the function's call %u", said, number);
}

void take_text(TREE_BUILDER& builder, NODE* node) {
    const std::string text(take_string(builder.v));
    if (builder.v.good) node->set_callee_text(text.c_str());
}

void take_content(TREE_BUILDER& builder, NODE* node) {
    const std::string_view content = take_bytes(builder.v);
    node->set_bytes(content.data(), static_cast<uint32_t>(content.size()));
}

void take_payload(TREE_BUILDER& builder, NODE* node) {
    VALIDATOR& v = builder.v;
    switch (opcode_fact(node->op).payload) {
    case PAYLOAD::NONE: break;
    case PAYLOAD::LABEL: take_label(builder, node); break;
    case PAYLOAD::SYMBOL: take_symbol(builder, node); break;
    case PAYLOAD::BYTES: take_content(builder, node); break;
    case PAYLOAD::INTEGER: take_integer(builder, node); break;
    case PAYLOAD::FLOAT: take_float(builder, node); break;
    case PAYLOAD::DECIMAL: take_decimal(builder, node); break;
    case PAYLOAD::FIELD: take_member(builder, node); break;
    case PAYLOAD::SWITCH: node->set_switch(take_uleb(v)); break;
    case PAYLOAD::CALL: node->set_call(take_uleb(v)); break;
    case PAYLOAD::SKIP: node->set_skip(static_cast<int32_t>(take_uleb(v))); break;
    case PAYLOAD::DDNODE:
        take_uleb(v);
        take_uleb(v);
        take_byte(v);
        break;
    case PAYLOAD::TEXT: take_text(builder, node); break;
    case PAYLOAD::DROPPED: take_sleb(v); break;
    }
}

// --- Nodes ---

// Opcode, type and payload of the record whose frame is open. Null when the opcode cannot be an opcode at
// all.
NODE* take_node(TREE_BUILDER& builder, const RECORD_FRAME& frame) {
    VALIDATOR& v = builder.v;
    const int op = take_byte(v);
    bool known = true;
    TYPE* type = take_type(v, known);
    if (!v.good) return nullptr;
    if (op > LAST_OPCODE || opcode_arity(op) < 0)
        builder.fault(RULE_N2, frame.start, "opcode %d is not known", op);
    if (op > LAST_OPCODE) return nullptr;
    builder.whole &= known;
    NODE* node = new_node(op, type ? type : v.types.void_type());
    node->scratch[0] = static_cast<uint32_t>(frame.start);
    if (opcode_is_own(op))
        builder.fault(RULE_U8, frame.start, "%s is an opcode of the optimizer's own", opcode_name(op));
    take_payload(builder, node);
    count_call(builder, node, frame.start);
    check_own_size(v, frame);
    return v.good ? node : nullptr;
}

bool open_node(TREE_BUILDER& builder, uint32_t right_depth) {
    VALIDATOR& v = builder.v;
    RECORD_FRAME frame;
    if (!open_record(v, frame)) return false;
    if (frame.kind != RK_TREE) {
        builder.fault(RULE_F2, frame.start, "a record of kind %d where a tree is expected", frame.kind);
        return false;
    }
    if (builder.open.size() >= icode_limits.tree_depth || right_depth >= icode_limits.right_depth) {
        builder.fault(RULE_L1, frame.start,
                      "trees are nested deeper than %u, or more than %u right subtrees deep",
                      icode_limits.tree_depth, icode_limits.right_depth);
        return false;
    }
    NODE* node = take_node(builder, frame);
    if (!node) return false;
    // By the opcode that the node has now: an LCON has become an ICON, and both are leaves.
    builder.open.push_back({node, frame, opcode_record_arity(node->op), 0, right_depth});
    return true;
}

void check_subtrees(TREE_BUILDER& builder, const OPEN_TREE& done) {
    VALIDATOR& v = builder.v;
    if (done.children < done.arity)
        return builder.fault(RULE_N1, done.frame.start, "%s has %u subtrees, not %u",
                             opcode_name(done.node->op), done.children, done.arity);
    if (v.at == done.frame.end) return;
    const bool more = static_cast<uint8_t>(v.bytes[v.at]) == RK_TREE;
    builder.fault(more ? RULE_N1 : RULE_F2, done.frame.start,
                  more ? "%s has more subtrees than %u"
                       : "%s: the length ends behind its contents, the subtree %u",
                  opcode_name(done.node->op), done.arity);
}

// Builds what hangs on the node that was opened first. False when the bytes cannot be followed any further.
bool build_tree(TREE_BUILDER& builder) {
    VALIDATOR& v = builder.v;
    for (;;) {
        OPEN_TREE& parent = builder.open.back();
        if (parent.children < parent.arity && v.at < parent.frame.end) {
            const uint32_t right_depth = parent.right_depth + (parent.children++ == 1);
            if (!open_node(builder, right_depth)) return false;
            continue;
        }
        const OPEN_TREE done = parent;
        check_subtrees(builder, done);
        v.at = done.frame.end;
        v.limit = done.frame.outer_limit;
        builder.open.pop_back();
        if (builder.open.empty()) return true;
        const OPEN_TREE& above = builder.open.back();
        (above.children == 1 ? above.node->left : above.node->right) = done.node;
    }
}

} // namespace

NODE* validate_tree_record(VALIDATOR& v) {
    TREE_BUILDER builder{v, {}, true};
    if (!open_node(builder, 0)) {
        v.good = false;
        return nullptr;
    }
    NODE* root = builder.open.front().node;
    if (!build_tree(builder)) {
        v.good = false;
        return nullptr;
    }
    return builder.whole ? root : nullptr;
}

} // namespace pelorus
