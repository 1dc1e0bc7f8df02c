// Trees as text; see text_dis.h.
//
// A tree is a list of nodes, parents first. Each gets its own text, "PLUS:int" or "5:int"; then the width of
// each subtree is summed up from the leaves; then the list is printed in order, and what is wider than a line
// is broken, one operand a line. A left-leaning chain of list operators, COMMA(COMMA(a, b), c), is printed as
// one list, COMMA(a, b, c). No step recurses.
#include <algorithm>

#include "icode/text_dis.h"
#include "icode/text_names.h"

namespace pelorus {

namespace {

constexpr size_t DEEPEST_INDENT = 20; // levels; what is deeper is indented no further
constexpr size_t INDENT = 4;

struct PRINTED {
    size_t text_start = 0, text_size = 0; // own text, in TREE_PRINTER::texts_
    uint32_t operands = 0;                // printed behind it in parentheses
    uint32_t parent = 0;                  // whose operand it is printed as
    bool absorbed = false;                // an inner node of a chain: not printed
    size_t width = 0;                     // of the whole subtree on one line
};

bool is_list(const TEXT_NODE& node) { return node.op == OP_COMMA || node.op == OP_PCOMMA; }

// The inner node of a chain that its parent's list swallows.
bool continues_chain(const TEXT_NODE& parent, const TEXT_NODE& child) {
    return is_list(parent) && child.op == parent.op && child.type.value == parent.type.value &&
           !child.type.width && !parent.type.width && !child.width && parent.children == 2 &&
           child.children == 2;
}

std::string leaf_shorthand(const TEXT_CONTEXT& context, const TEXT_NODE& node) {
    if (node.width || node.children || node.type.width || !node.type.value) return "";
    const std::string type = ":" + type_reference(context, node.type);
    if (node.op == OP_FCON)
        return is_float_text(node.payload.text) ? std::string(node.payload.text) + type : "";
    if (node.op != OP_ICON) return "";
    const std::string number =
        encoded_number_text(node.payload.text, text_type_is_signed(context.known, node.type.value));
    return number.starts_with("leb") ? "" : number + type;
}

// A NAME of the type that its symbol was declared with is the symbol's name alone.
bool has_declared_type(const TEXT_CONTEXT& context, const TEXT_NODE& node) {
    const uint64_t index = node.payload.numbers[1].value;
    const TEXT_SYMBOL* symbol = node.payload.numbers[0].value == 0    ? context.known.global(index)
                                : index < context.place.locals.size() ? &context.place.locals[index]
                                                                      : nullptr;
    return symbol && symbol->type == node.type.value && !node.type.width && !node.width && !node.children;
}

std::string field_payload(const TEXT_CONTEXT& context, const TEXT_NODE& node) {
    const auto& [check, key, owner] = node.payload.numbers;
    const TEXT_TYPE* type = context.known.type(owner.value);
    std::string text;
    if (check.value != 1) text += "check=" + number_text(check, true) + " ";
    text += (owner.value ? "" : "0") + type_reference(context, owner) + " ";
    if (!type || !type->members.unique || key.width || !type->members.name_of.contains(key.value))
        return text + number_text(key, false);
    return text + quoted(type->members.name_of.at(key.value));
}

// The number of a call, unless it is the next one.
std::string call_payload(TEXT_CONTEXT& context, const TEXT_NODE& node) {
    const uint64_t expected = note_node(context, node);
    const TEXT_NUMBER& number = node.payload.numbers[0];
    return number.value == expected && !number.width ? "" : number_text(number, false);
}

std::string optional_number(const TEXT_NUMBER& number, bool is_signed) {
    return number.value == 0 && !number.width ? "" : number_text(number, is_signed);
}

std::string ddnode_payload(const TEXT_NODE& node) {
    const auto& [first, second, third] = node.payload.numbers;
    return number_text(first, false) + " " + number_text(second, false) + " " + number_text(third, false);
}

std::string payload_text(TEXT_CONTEXT& context, const TEXT_NODE& node) {
    const TEXT_VALUE& value = node.payload;
    switch (opcode_payload(node.op)) {
    case PAYLOAD::NONE: note_node(context, node); return "";
    case PAYLOAD::LABEL:
    case PAYLOAD::SKIP: return number_text(value.numbers[0], false);
    case PAYLOAD::SWITCH: return optional_number(value.numbers[0], false);
    case PAYLOAD::DROPPED: return optional_number(value.numbers[0], true);
    case PAYLOAD::SYMBOL: return symbol_reference_text(context, value.numbers[0], value.numbers[1]);
    case PAYLOAD::INTEGER:
        return encoded_number_text(value.text, text_type_is_signed(context.known, node.type.value));
    case PAYLOAD::BYTES: return quoted(value.text) + width_text(value.numbers[0].width);
    case PAYLOAD::FLOAT:
    case PAYLOAD::DECIMAL:
    case PAYLOAD::TEXT: return quoted(value.text);
    case PAYLOAD::FIELD: return field_payload(context, node);
    case PAYLOAD::CALL: return call_payload(context, node);
    case PAYLOAD::DDNODE: return ddnode_payload(node);
    }
    return "";
}

std::string node_text(TEXT_CONTEXT& context, const TEXT_NODE& node) {
    std::string text = leaf_shorthand(context, node);
    if (!text.empty()) return text;
    std::string payload = payload_text(context, node);
    if (node.op == OP_NAME && has_declared_type(context, node) &&
        (is_word_start(payload[0]) || payload[0] == '@') && payload.find(' ') == std::string::npos &&
        !is_tree_word(payload))
        return payload;
    text = opcode_word(node.op) + width_text(node.width);
    if (node.children != record_children(node.op)) text += "!";
    if (node.type.value != default_node_type(context, node.op) || node.type.width)
        text += ":" + (node.type.value ? "" : std::string("0")) + type_reference(context, node.type);
    return payload.empty() ? text : text + " " + payload;
}

class TREE_PRINTER {
public:
    TREE_PRINTER(TEXT_CONTEXT& context, const std::vector<TEXT_NODE>& nodes, std::string& text)
        : context_(context), nodes_(nodes), printed_(nodes.size()), text_(text) {}

    // Prints all trees, separated by commas.
    void print(size_t column, size_t indent, bool in_list, size_t trees) {
        prepare();
        measure();
        line_start_ = text_.size() - column;
        indent_ = indent;
        uint32_t node = 0;
        for (size_t tree = 0; tree < trees; ++tree) {
            if (tree) text_ += ',';
            if (in_list) begin_item(tree, node);
            node = print_tree(node);
        }
    }

private:
    struct OPEN {
        uint32_t left; // operands to come
        bool first;
        bool broken; // one operand a line
        size_t level;
    };

    // Texts, operands and printed parents.
    void prepare() {
        std::vector<std::pair<uint32_t, uint32_t>> open; // node, subtrees to come
        for (uint32_t i = 0; i < nodes_.size(); ++i) {
            const TEXT_NODE& node = nodes_[i];
            PRINTED& printed = printed_[i];
            printed.parent = i;
            if (!open.empty()) place_operand(i, open.back().first);
            printed.operands += printed.absorbed ? 0 : node.children;
            const std::string own = node_text(context_, node);
            printed.text_start = texts_.size();
            printed.text_size = own.size();
            texts_ += own;
            if (!open.empty()) open.back().second--;
            open.emplace_back(i, node.children);
            while (!open.empty() && !open.back().second) open.pop_back();
        }
    }

    void place_operand(uint32_t i, uint32_t parent) {
        const uint32_t head = printed_[parent].absorbed ? printed_[parent].parent : parent;
        printed_[i].parent = head;
        if (i != parent + 1 || !continues_chain(nodes_[parent], nodes_[i])) return;
        printed_[i].absorbed = true;
        printed_[head].operands++;
    }

    void measure() {
        for (size_t i = nodes_.size(); i-- > 0;) {
            PRINTED& printed = printed_[i];
            if (printed.absorbed) continue;
            printed.width += printed.text_size + (printed.operands ? 2 * printed.operands : 0);
            if (printed.parent != i) printed_[printed.parent].width += printed.width;
        }
    }

    size_t column() const { return text_.size() - line_start_; }
    void new_line(size_t level) {
        text_ += '\n';
        line_start_ = text_.size();
        text_.append(indent_ + INDENT * std::min(level, DEEPEST_INDENT), ' ');
    }

    // Items of a list fill lines.
    void begin_item(size_t tree, uint32_t node) {
        if (tree && column() + 1 + printed_[node].width > TEXT_COLUMNS)
            new_line(1);
        else if (tree)
            text_ += ' ';
    }

    void begin_operand(OPEN& parent) {
        if (!parent.first) text_ += ',';
        if (parent.broken)
            new_line(parent.level);
        else if (!parent.first)
            text_ += ' ';
        parent.first = false;
        parent.left--;
    }

    // Prints the tree that begins with `node` and returns the node behind it.
    uint32_t print_tree(uint32_t node) {
        std::vector<OPEN> open;
        do {
            const PRINTED& printed = printed_[node++];
            if (printed.absorbed) continue;
            if (!open.empty()) begin_operand(open.back());
            const bool may_break = open.empty() || open.back().broken;
            const bool broken = may_break && column() + printed.width > TEXT_COLUMNS;
            text_.append(texts_, printed.text_start, printed.text_size);
            if (printed.operands) {
                text_ += printed.text_size && texts_[printed.text_start + printed.text_size - 1] == '"' ? " ("
                                                                                                        : "(";
                open.push_back({printed.operands, true, broken, open.size() + 2});
            }
            while (!open.empty() && !open.back().left) {
                text_ += ')';
                open.pop_back();
            }
        } while (!open.empty());
        return node;
    }

    TEXT_CONTEXT& context_;
    const std::vector<TEXT_NODE>& nodes_;
    std::vector<PRINTED> printed_;
    std::string& text_;
    std::string texts_;
    size_t line_start_ = 0;
    size_t indent_ = 0;
};

} // namespace

std::string width_text(uint32_t width) { return width ? "~" + std::to_string(width) : ""; }

std::string number_text(const TEXT_NUMBER& number, bool is_signed) {
    return (is_signed ? std::to_string(static_cast<int64_t>(number.value)) : std::to_string(number.value)) +
           width_text(number.width);
}

std::string encoded_number_text(std::string_view encoding, bool is_signed) {
    TEXT_NUMBER number;
    size_t at = 0;
    const bool good = is_signed ? decode_sleb(encoding, at, number) : decode_uleb(encoding, at, number);
    return good ? number_text(number, is_signed) : "leb:" + hex_bytes(encoding, "");
}

std::string type_reference(const TEXT_CONTEXT& context, const TEXT_NUMBER& index) {
    const TEXT_TYPE* type = context.known.type(index.value);
    if (type && !type->label.empty()) return type->label + width_text(index.width);
    return (index.value ? std::to_string(index.value) : "") + width_text(index.width);
}

namespace {

std::string local_name(const TEXT_PLACE& place, uint64_t index) {
    const TEXT_SYMBOL& symbol = place.locals[index];
    const auto found = place.by_name.find(symbol.name);
    if (found == place.by_name.end() || !is_plain_name(symbol.name) || is_tree_word(symbol.name)) return "";
    std::string name(symbol.name);
    const std::vector<uint64_t>& same = found->second;
    for (size_t back = 0; back < same.size() && back < 4; ++back, name += '\'')
        if (same[same.size() - 1 - back] == index) return name;
    return "";
}

std::string numbered_symbol(const char* word, const TEXT_SYMBOL* symbol, const TEXT_NUMBER& index) {
    return word + (" " + number_text(index, false)) + (symbol ? " " + quoted(symbol->name) : "");
}

std::string global_text(const TEXT_CONTEXT& context, const TEXT_NUMBER& index) {
    const TEXT_SYMBOL* symbol = context.known.global(index.value);
    const auto same =
        symbol ? context.known.global_names.find(symbol->name) : context.known.global_names.end();
    const bool unique = same != context.known.global_names.end() && same->second == index.value;
    if (symbol && unique && !index.width && is_plain_name(symbol->name))
        return "@" + std::string(symbol->name);
    return numbered_symbol("global", symbol, index);
}

std::string local_text(const TEXT_CONTEXT& context, const TEXT_NUMBER& index) {
    if (index.value >= context.place.locals.size()) return numbered_symbol("local", nullptr, index);
    const std::string name = index.width ? "" : local_name(context.place, index.value);
    return name.empty() ? numbered_symbol("local", &context.place.locals[index.value], index) : name;
}

} // namespace

std::string symbol_reference_text(const TEXT_CONTEXT& context, const TEXT_NUMBER& scope,
                                  const TEXT_NUMBER& index) {
    if (!scope.width && scope.value == 0) return global_text(context, index);
    if (!scope.width && scope.value == 1) return local_text(context, index);
    if (!scope.width && scope.value == NO_SYMBOL_SCOPE)
        return index.value || index.width ? "none " + number_text(index, false) : "none";
    return "scope " + number_text(scope, false) + " " + number_text(index, false);
}

void print_trees(TEXT_CONTEXT& context, const TEXT_RECORD& record, size_t column, size_t indent,
                 std::string& text) {
    const bool in_list = record_layout(record.kind)->nested == NESTED::TREES;
    TREE_PRINTER(context, record.nodes, text).print(column, indent, in_list, record.trees);
}

} // namespace pelorus
