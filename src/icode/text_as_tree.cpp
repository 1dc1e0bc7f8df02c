// Trees from text to bytes; see text_as.h.
//
// The nodes are read into a linked tree, since a list of operands may stand for a chain of nodes, then put in
// order, parents first, in which calls are numbered. The lengths of records are found from the leaves up. No
// step recurses.
#include <algorithm>

#include "icode/text_as.h"
#include "icode/text_names.h"

namespace pelorus {

namespace {

struct LINKED_NODE {
    TEXT_NODE node;
    int32_t first = -1, last = -1, next = -1; // subtrees, the next one of the same parent
    bool count_is_free = false;               // "!": any number of subtrees
    bool call_is_numbered = false;
    size_t start = 0; // in the text
};

using LINKED_TREE = std::vector<LINKED_NODE>;

void add_child(LINKED_TREE& tree, int32_t parent, int32_t child) {
    auto& node = tree[static_cast<size_t>(parent)];
    if (node.last < 0)
        node.first = child;
    else
        tree[static_cast<size_t>(node.last)].next = child;
    node.last = child;
    node.node.children++;
}

// --- Leaves ---

// A visible local by its name; each "'" behind it asks for one declared before of the same name.
uint64_t parse_local_name(ASSEMBLER& as) {
    std::string_view name = as.lexer.word;
    size_t back = 0;
    for (; name.ends_with('\''); name.remove_suffix(1)) ++back;
    const auto found = as.context.place.by_name.find(name);
    const bool known = found != as.context.place.by_name.end() && back < found->second.size();
    if (!known && as.last_pass)
        as.lexer.fail("no local symbol \"" + std::string(as.lexer.word) +
                      "\" is visible here (a global symbol is written with \"@\")");
    as.lexer.next();
    return known ? found->second[found->second.size() - 1 - back] : 0;
}

void parse_symbol(ASSEMBLER& as, TEXT_VALUE& value) {
    auto& [scope, index, unused] = value.numbers;
    const std::string_view word = as.lexer.word;
    if (as.lexer.kind == TOKEN::SYMBOL || (as.lexer.kind == TOKEN::WORD && word == "global")) {
        index = parse_global(as);
    } else if (as.lexer.kind != TOKEN::WORD) {
        as.lexer.expected("a symbol");
    } else if (word == "local") {
        as.lexer.next();
        scope.value = 1;
        index = parse_number(as);
        const auto& locals = as.context.place.locals;
        check_name(as, index.value < locals.size() ? &locals[index.value] : nullptr);
    } else if (word == "none") {
        as.lexer.next();
        scope.value = NO_SYMBOL_SCOPE;
        if (as.lexer.kind == TOKEN::NUMBER) index = parse_number(as);
    } else if (word == "scope") {
        as.lexer.next();
        scope = parse_number(as);
        index = parse_number(as);
    } else {
        scope.value = 1;
        index.value = parse_local_name(as);
    }
}

// The type that a symbol was declared with.
uint64_t declared_type(const ASSEMBLER& as, const TEXT_VALUE& reference) {
    const uint64_t index = reference.numbers[1].value;
    if (reference.numbers[0].value == 0) {
        const TEXT_SYMBOL* symbol = as.context.known.global(index);
        return symbol ? symbol->type : 0;
    }
    const auto& locals = as.context.place.locals;
    return index < locals.size() ? locals[index].type : 0;
}

// "x" or "@x".
void parse_short_name(ASSEMBLER& as, TEXT_NODE& node) {
    node.op = OP_NAME;
    parse_symbol(as, node.payload);
    node.type.value = declared_type(as, node.payload);
}

// "5:int" or "1.5:double".
void parse_short_number(ASSEMBLER& as, TEXT_NODE& node) {
    const std::string text(as.lexer.word);
    if (!is_float_text(text)) {
        const TEXT_NUMBER number = parse_number(as);
        expect(as, ':');
        node.op = OP_ICON;
        node.type = parse_type(as);
        const bool is_signed = text_type_is_signed(as.context.known, node.type.value);
        if (as.last_pass && !is_signed && text[0] == '-')
            as.lexer.fail("a negative number of an unsigned type");
        node.payload.text = encode_number(as, number, is_signed);
        return;
    }
    as.lexer.next();
    expect(as, ':');
    node.op = OP_FCON;
    node.type = parse_type(as);
    node.payload.text = keep(as, text);
}

// --- Payloads ---

// The key of the only member with this name; null when there is none.
const uint64_t* member_key(const TEXT_TYPE* type, const std::string& name) {
    if (!type || !type->members.unique) return nullptr;
    const auto found = type->members.key_of.find(name);
    return found == type->members.key_of.end() ? nullptr : &found->second;
}

void parse_field(ASSEMBLER& as, TEXT_VALUE& value) {
    auto& [check, key, owner] = value.numbers;
    check.value = 1;
    if (as.lexer.kind == TOKEN::WORD && as.lexer.word == "check") {
        as.lexer.next();
        expect(as, '=');
        check = parse_number(as);
    }
    owner = parse_type(as);
    if (as.lexer.kind != TOKEN::STRING) {
        key = parse_number(as);
        return;
    }
    const uint64_t* found = member_key(as.context.known.type(owner.value), as.lexer.string_value());
    if (found)
        key.value = *found;
    else if (as.last_pass)
        as.lexer.fail("the type has no member of this name, or several: give its key");
    as.lexer.next();
}

void parse_counted(ASSEMBLER& as, TEXT_VALUE& value) {
    value.text = parse_string(as, true);
    value.numbers[0].width = parse_width(as);
}

void parse_optional(ASSEMBLER& as, TEXT_VALUE& value) {
    if (as.lexer.kind == TOKEN::NUMBER) value.numbers[0] = parse_number(as);
}

void parse_payload(ASSEMBLER& as, LINKED_NODE& linked) {
    TEXT_NODE& node = linked.node;
    TEXT_VALUE& value = node.payload;
    switch (opcode_payload(node.op)) {
    case PAYLOAD::NONE: break;
    case PAYLOAD::LABEL:
    case PAYLOAD::SKIP: value.numbers[0] = parse_number(as); break;
    case PAYLOAD::SWITCH:
    case PAYLOAD::DROPPED: parse_optional(as, value); break;
    case PAYLOAD::SYMBOL: parse_symbol(as, value); break;
    case PAYLOAD::INTEGER:
        value.text = parse_encoded_number(as, text_type_is_signed(as.context.known, node.type.value));
        break;
    case PAYLOAD::BYTES: parse_counted(as, value); break;
    case PAYLOAD::FLOAT:
    case PAYLOAD::DECIMAL:
    case PAYLOAD::TEXT: value.text = parse_string(as, false); break;
    case PAYLOAD::FIELD: parse_field(as, value); break;
    case PAYLOAD::CALL:
        linked.call_is_numbered = as.lexer.kind == TOKEN::NUMBER;
        parse_optional(as, value);
        break;
    case PAYLOAD::DDNODE:
        for (TEXT_NUMBER& number : value.numbers) number = parse_number(as);
        break;
    }
}

// --- Nodes ---

// A node without its subtrees.
LINKED_NODE parse_node(ASSEMBLER& as) {
    LINKED_NODE linked;
    TEXT_NODE& node = linked.node;
    linked.start = as.lexer.start;
    const int op = as.lexer.kind == TOKEN::WORD ? opcode_of_word(as.lexer.word) : -1;
    if (as.lexer.kind == TOKEN::NUMBER) {
        parse_short_number(as, node);
    } else if (op >= 0) {
        if (op > LAST_OPCODE) as.lexer.fail("opcodes end with " + std::to_string(LAST_OPCODE));
        node.op = static_cast<uint8_t>(op);
        as.lexer.next();
        node.width = parse_width(as);
        linked.count_is_free = accept(as, '!');
        node.type.value = default_node_type(as.context, node.op);
        if (accept(as, ':')) node.type = parse_type(as);
        parse_payload(as, linked);
    } else if (as.lexer.kind == TOKEN::WORD || as.lexer.kind == TOKEN::SYMBOL) {
        parse_short_name(as, node);
    } else {
        as.lexer.expected("a tree");
    }
    return linked;
}

// A list of n operands becomes a chain of n - 1 nodes.
void make_chain(LINKED_TREE& tree, int32_t list) {
    const auto at = static_cast<size_t>(list);
    const int32_t first = tree[at].first;
    int32_t rest = tree[static_cast<size_t>(first)].next;
    int32_t inner = first;
    for (uint32_t left = tree[at].node.children; left > 2; --left) {
        const int32_t operand = rest;
        rest = tree[static_cast<size_t>(operand)].next;
        LINKED_NODE link;
        link.node.op = tree[at].node.op;
        link.node.type = tree[at].node.type;
        tree[static_cast<size_t>(inner)].next = tree[static_cast<size_t>(operand)].next = -1;
        const auto index = static_cast<int32_t>(tree.size());
        tree.push_back(link);
        add_child(tree, index, inner);
        add_child(tree, index, operand);
        inner = index;
    }
    tree[at].first = tree[at].last = -1;
    tree[at].node.children = 0;
    add_child(tree, list, inner);
    add_child(tree, list, rest);
}

void close_node(LINKED_TREE& tree, int32_t index) {
    const LINKED_NODE& linked = tree[static_cast<size_t>(index)];
    const TEXT_NODE& node = linked.node;
    if (linked.count_is_free) return;
    const uint32_t expected = record_children(node.op);
    if (node.children == expected) return;
    if ((node.op == OP_COMMA || node.op == OP_PCOMMA) && node.children > 2) return make_chain(tree, index);
    throw TEXT_ERROR{linked.start, opcode_word(node.op) + " takes " + std::to_string(expected) +
                                       " subtrees, not " + std::to_string(node.children)};
}

// Reads a tree, node 0 its root.
LINKED_TREE parse_linked_tree(ASSEMBLER& as) {
    LINKED_TREE tree;
    std::vector<int32_t> open;
    for (;;) {
        const auto index = static_cast<int32_t>(tree.size());
        tree.push_back(parse_node(as));
        if (!open.empty()) add_child(tree, open.back(), index);
        if (accept(as, '(')) {
            open.push_back(index);
            continue;
        }
        close_node(tree, index);
        while (!open.empty() && accept(as, ')')) {
            close_node(tree, open.back());
            open.pop_back();
        }
        if (open.empty()) return tree;
        if (!accept(as, ',')) as.lexer.expected("\",\" or \")\" behind an operand");
    }
}

// Appends the nodes in order, parents first, and numbers the calls.
void add_tree(ASSEMBLER& as, const LINKED_TREE& tree, TEXT_RECORD& record) {
    std::vector<int32_t> walk{0};
    while (!walk.empty()) {
        const LINKED_NODE& linked = tree[static_cast<size_t>(walk.back())];
        walk.pop_back();
        record.nodes.push_back(linked.node);
        const uint64_t number = note_node(as.context, linked.node);
        if (linked.node.op == OP_CALL && !linked.call_is_numbered)
            record.nodes.back().payload.numbers[0].value = number;
        const size_t first = walk.size();
        for (int32_t child = linked.first; child >= 0; child = tree[static_cast<size_t>(child)].next)
            walk.push_back(child);
        std::reverse(walk.begin() + static_cast<std::ptrdiff_t>(first), walk.end());
    }
    record.trees++;
}

void encode_node_fields(const TEXT_NODE& node, std::string& bytes) {
    bytes.push_back(static_cast<char>(node.op));
    encode_uleb(node.type, bytes);
    encode_payload(opcode_payload(node.op), node.payload, bytes);
}

// The length of every node's body, which holds the records of its subtrees.
std::vector<uint64_t> body_lengths(const std::vector<TEXT_NODE>& nodes,
                                   const std::vector<uint64_t>& own_lengths) {
    std::vector<uint64_t> bodies(own_lengths);
    std::vector<size_t> whole; // nodes whose parent has not come, the first in the text last
    for (size_t i = nodes.size(); i-- > 0;) {
        for (uint32_t child = nodes[i].children; child; --child) {
            const size_t c = whole.back();
            whole.pop_back();
            bodies[i] += 1 + std::max<uint64_t>(nodes[c].width, shortest_uleb(bodies[c])) + bodies[c];
        }
        whole.push_back(i);
    }
    return bodies;
}

} // namespace

void parse_trees(ASSEMBLER& as, TEXT_RECORD& record) {
    if (record_layout(record.kind)->nested != NESTED::TREES)
        return add_tree(as, parse_linked_tree(as), record);
    expect(as, '(');
    if (accept(as, ')')) return;
    do add_tree(as, parse_linked_tree(as), record);
    while (accept(as, ','));
    expect(as, ')');
}

void encode_trees(const TEXT_RECORD& record, std::string& bytes) {
    std::vector<uint64_t> own_lengths;
    std::string own;
    for (const TEXT_NODE& node : record.nodes) {
        const size_t before = own.size();
        encode_node_fields(node, own);
        own_lengths.push_back(own.size() - before);
    }
    const std::vector<uint64_t> bodies = body_lengths(record.nodes, own_lengths);
    const bool root_is_record = record_layout(record.kind)->nested == NESTED::NODE;
    size_t from = 0;
    for (size_t i = 0; i < record.nodes.size(); ++i) {
        if (i || !root_is_record) {
            bytes.push_back(static_cast<char>(RK_TREE));
            encode_uleb({bodies[i], record.nodes[i].width}, bytes);
        }
        bytes.append(own, from, own_lengths[i]);
        from += own_lengths[i];
    }
}

} // namespace pelorus
