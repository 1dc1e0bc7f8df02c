// Records taken apart into fields and trees; see text_dis.h.
//
// Trees nest as deep as the file says, so a stack of open records takes the place of recursion.
#include <vector>

#include "icode/text_dis.h"

namespace pelorus {

namespace {

struct OPEN_RECORD {
    size_t node; // in the record's list
    size_t end;  // of its body
};

// Kind and length of the record at `at`, which must fit in front of `limit`. Moves `at` to its body.
bool decode_head(std::string_view bytes, size_t& at, size_t limit, uint8_t& kind, uint32_t& width,
                 size_t& end) {
    if (at >= limit) return false;
    kind = static_cast<uint8_t>(bytes[at]);
    size_t body = at + 1;
    TEXT_NUMBER length;
    if (!decode_uleb(bytes.substr(0, limit), body, length) || length.value > limit - body) return false;
    width = length.width;
    end = body + length.value;
    at = body;
    return true;
}

bool decode_node_fields(std::string_view bytes, size_t& at, TEXT_NODE& node) {
    if (at >= bytes.size()) return false;
    node.op = static_cast<uint8_t>(bytes[at++]);
    return node.op <= LAST_OPCODE && decode_uleb(bytes, at, node.type) &&
           decode_payload(opcode_payload(node.op), bytes, at, node.payload);
}

class TREE_DECODER {
public:
    TREE_DECODER(std::string_view bytes, TEXT_RECORD& record) : bytes_(bytes), record_(record) {}

    // The node whose body is at `at` and ends at `end`, and its subtrees. Null when all is well.
    const char* decode(size_t& at, size_t end, uint32_t width) {
        if (!open(at, end, width)) return "a node is damaged or has an unknown opcode";
        while (!open_.empty()) {
            if (at == open_.back().end) {
                open_.pop_back();
                continue;
            }
            record_.nodes[open_.back().node].children++;
            uint8_t kind = 0;
            size_t child_end = 0;
            if (!decode_head(bytes_, at, open_.back().end, kind, width, child_end) || kind != RK_TREE)
                return "a subtree is no tree record or passes the end of what holds it";
            if (open_.size() >= icode_limits.tree_depth) return "trees are nested too deep";
            if (!open(at, child_end, width)) return "a node is damaged or has an unknown opcode";
        }
        return nullptr;
    }

private:
    bool open(size_t& at, size_t end, uint32_t width) {
        open_.push_back({record_.nodes.size(), end});
        record_.nodes.emplace_back().width = width;
        return decode_node_fields(bytes_.substr(0, end), at, record_.nodes.back());
    }

    std::string_view bytes_;
    TEXT_RECORD& record_;
    std::vector<OPEN_RECORD> open_;
};

bool decode_fields(std::string_view bytes, size_t& at, TEXT_RECORD& record) {
    if (record.kind == RK_TYPE) {
        if (!decode_uleb(bytes, at, record.type) || at >= bytes.size()) return false;
        if (!choose_type_kind(record, static_cast<uint8_t>(bytes[at++]))) return false;
    }
    for (size_t i = 0; i < record.values.size(); ++i)
        if (!decode_value((*record.fields)[i].code, bytes, at, record.values[i])) return false;
    return true;
}

// A complete tree record at `at`.
const char* decode_tree_record(std::string_view bytes, size_t& at, TEXT_RECORD& record) {
    uint8_t kind = 0;
    uint32_t width = 0;
    size_t end = 0;
    if (!decode_head(bytes, at, bytes.size(), kind, width, end) || kind != RK_TREE)
        return "a tree is missing";
    record.trees++;
    return TREE_DECODER(bytes, record).decode(at, end, width);
}

const char* decode_nested(std::string_view bytes, size_t& at, TEXT_RECORD& record) {
    switch (record_layout(record.kind)->nested) {
    case NESTED::TREE: return decode_tree_record(bytes, at, record);
    case NESTED::TREES:
        while (at < bytes.size() && static_cast<uint8_t>(bytes[at]) == RK_TREE)
            if (const char* damage = decode_tree_record(bytes, at, record)) return damage;
        return nullptr;
    case NESTED::NODE: record.trees = 1; return TREE_DECODER(bytes, record).decode(at, bytes.size(), 0);
    default: return nullptr;
    }
}

} // namespace

const char* decode_record(std::string_view bytes, size_t at, size_t limit, TEXT_RECORD& record, size_t& end) {
    uint8_t kind = 0;
    uint32_t width = 0;
    end = 0;
    if (!decode_head(bytes, at, limit, kind, width, end)) return "the length of the record passes the end";
    record.width = width;
    if (!record_layout(kind)) return "an unknown kind of record";
    const uint32_t length_width = record.width;
    record = new_record(kind);
    record.width = length_width;
    const std::string_view body = bytes.substr(0, end);
    if (!decode_fields(body, at, record)) return "a field is damaged, or the kind of the type is unknown";
    if (const char* damage = decode_nested(body, at, record)) return damage;
    record.extra = body.substr(at);
    return nullptr;
}

} // namespace pelorus
