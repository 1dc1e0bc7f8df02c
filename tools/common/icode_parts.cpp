// See icode_parts.h.
#include "common/icode_parts.h"

#include "icode/format.h"
#include "ir/opcodes.h"

namespace pelorus {

namespace {

// A place in the bytes. Reading behind the end makes `good` false and gives zeros.
struct CURSOR {
    std::string_view bytes;
    size_t at = 0;
    bool good = true;

    uint8_t byte() {
        if (at >= bytes.size()) good = false;
        return good ? static_cast<uint8_t>(bytes[at++]) : uint8_t{0};
    }
    uint64_t uleb() {
        uint64_t number = 0;
        for (unsigned shift = 0; shift < 64; shift += 7) {
            const uint8_t group = byte();
            number |= uint64_t{group & 0x7Fu} << shift;
            if (!(group & 0x80)) break;
        }
        return number;
    }
    std::string_view run(uint64_t count) {
        if (count > bytes.size() - at) good = false;
        if (!good) return {};
        at += count;
        return bytes.substr(at - count, count);
    }
    void leb() {
        while (good && (byte() & 0x80)) {
        }
    }
    void string() {
        while (good && byte()) {
        }
    }
};

void pass_field(CURSOR& in, char code) {
    switch (code) {
    case 'f':
    case 'y':
    case 'b': in.byte(); break;
    case 'h': in.run(2); break;
    case 'w': in.run(4); break;
    case 's': in.string(); break;
    case 'p':
        if (in.uleb()) in.leb(), in.leb();
        break;
    case 'n':
        for (uint64_t count = in.uleb(); count && in.good; --count) in.string();
        break;
    case 'm': in.run(uint64_t{2} * in.byte()); break;
    case 'r': in.run(in.bytes.size() - in.at); break;
    default: in.leb(); break;
    }
}

void pass_payload(CURSOR& in, PAYLOAD payload) {
    switch (payload) {
    case PAYLOAD::NONE: break;
    case PAYLOAD::SYMBOL: in.leb(), in.leb(); break;
    case PAYLOAD::BYTES: in.run(in.uleb()); break;
    case PAYLOAD::FLOAT:
    case PAYLOAD::DECIMAL:
    case PAYLOAD::TEXT: in.string(); break;
    case PAYLOAD::FIELD: in.byte(), in.leb(), in.leb(); break;
    case PAYLOAD::DDNODE: in.leb(), in.leb(), in.byte(); break;
    default: in.leb(); break;
    }
}

std::string_view record_body(CURSOR& in, uint8_t kind) {
    if (in.byte() != kind) in.good = false;
    return in.run(in.uleb());
}

bool take_tree(CURSOR& in, PARTS_TREE& tree) {
    tree.op = in.byte();
    tree.type = static_cast<uint32_t>(in.uleb());
    const size_t start = in.at;
    pass_payload(in, tree.op <= LAST_OPCODE ? opcode_fact(tree.op).payload : PAYLOAD::NONE);
    if (in.good) tree.payload = in.bytes.substr(start, in.at - start);
    while (in.good && in.at < in.bytes.size()) {
        CURSOR child{record_body(in, RK_TREE)};
        if (!in.good || !take_tree(child, tree.children.emplace_back())) return false;
    }
    return in.good;
}

bool take_record(CURSOR& in, PARTS_RECORD& record) {
    record.kind = static_cast<uint8_t>(in.bytes[in.at]);
    CURSOR body{record_body(in, record.kind)};
    const RECORD_LAYOUT* layout = record_layout(record.kind);
    if (!in.good || !layout) return false;
    for (const FIELD_LAYOUT& field : layout->fields) pass_field(body, field.code);
    const bool has_trees = layout->nested == NESTED::TREE || layout->nested == NESTED::TREES;
    record.fields = has_trees ? body.bytes.substr(0, body.at) : body.bytes;
    while (has_trees && body.good && body.at < body.bytes.size()) {
        CURSOR tree{record_body(body, RK_TREE)};
        if (!body.good || !take_tree(tree, record.trees.emplace_back())) return false;
    }
    return body.good;
}

bool take_records(CURSOR in, std::vector<PARTS_RECORD>& records) {
    while (in.at < in.bytes.size() && static_cast<uint8_t>(in.bytes[in.at]) != RK_END)
        if (!take_record(in, records.emplace_back())) return false;
    return true;
}

void number_functions(PARTS_FILE& file) {
    bool inside = false;
    for (PARTS_RECORD& record : file.records) {
        if (record.kind == RK_FUNCTION_BEGIN) inside = true, file.functions++;
        record.function = inside ? file.functions - 1 : -1;
        if (record.kind == RK_FUNCTION_END) inside = false;
    }
}

} // namespace

bool take_apart(std::string_view bytes, PARTS_FILE& file) {
    CURSOR in{bytes};
    CURSOR header{record_body(in, RK_HEADER)};
    if (!in.good) return false;
    header.string();
    header.run(4);
    for (int section = 0; section < SECTION_COUNT; ++section) {
        const std::string_view word = header.run(4);
        size_t offset = 0;
        for (size_t i = word.size(); i--;) offset = offset << 8 | static_cast<uint8_t>(word[i]);
        file.present[section] = offset != 0;
        if (offset && !take_records({bytes, offset}, file.parts[section])) return false;
    }
    if (!header.good) return false;
    file.source = header.bytes.substr(header.at);
    if (!take_records(in, file.records)) return false;
    number_functions(file);
    return true;
}

// --- Together again ---

std::string uleb_bytes(uint64_t number) {
    std::string bytes;
    for (; number >= 0x80; number >>= 7) bytes += static_cast<char>(number | 0x80);
    return bytes + static_cast<char>(number);
}

std::string sleb_bytes(int64_t number) {
    std::string bytes;
    for (; number < -0x40 || number > 0x3F; number >>= 7) bytes += static_cast<char>(number | 0x80);
    return bytes + static_cast<char>(number & 0x7F);
}

uint64_t uleb_number(std::string_view bytes) { return CURSOR{bytes}.uleb(); }

namespace {

std::string record_bytes(uint8_t kind, std::string_view body) {
    return static_cast<char>(kind) + uleb_bytes(body.size()).append(body);
}

std::string tree_bytes(const PARTS_TREE& tree) {
    std::string body(1, static_cast<char>(tree.op));
    body += uleb_bytes(tree.type) + tree.payload;
    for (const PARTS_TREE& child : tree.children) body += tree_bytes(child);
    return record_bytes(RK_TREE, body);
}

void append_records(std::string& bytes, const std::vector<PARTS_RECORD>& records) {
    for (const PARTS_RECORD& record : records) {
        std::string body = record.fields;
        for (const PARTS_TREE& tree : record.trees) body += tree_bytes(tree);
        bytes += record_bytes(record.kind, body);
    }
    bytes += static_cast<char>(RK_END);
}

std::string header_bytes(const PARTS_FILE& file, const size_t (&offsets)[SECTION_COUNT]) {
    std::string body(ICODE_MAGIC);
    body += '\0';
    const auto append = [&](uint64_t number, int bytes) {
        for (; bytes; --bytes, number >>= 8) body += static_cast<char>(number);
    };
    append(static_cast<uint16_t>(ICODE_VERSION_A), 2);
    append(static_cast<uint16_t>(ICODE_VERSION_B), 2);
    for (const size_t offset : offsets) append(offset, 4);
    return record_bytes(RK_HEADER, body + file.source);
}

} // namespace

std::string put_together(const PARTS_FILE& file) {
    size_t offsets[SECTION_COUNT] = {};
    std::string bytes = header_bytes(file, offsets);
    const size_t header_size = bytes.size();
    append_records(bytes, file.records);
    for (int section = 0; section < SECTION_COUNT; ++section) {
        if (!file.present[section]) continue;
        offsets[section] = bytes.size();
        append_records(bytes, file.parts[section]);
    }
    return bytes.replace(0, header_size, header_bytes(file, offsets));
}

std::vector<PARTS_FIELD> split_fields(const PARTS_RECORD& record) {
    CURSOR in{record.fields};
    std::vector<PARTS_FIELD> fields;
    const auto add = [&](char code) {
        const size_t start = in.at;
        pass_field(in, code);
        if (in.good) fields.push_back({code, std::string(in.bytes.substr(start, in.at - start))});
    };
    for (const FIELD_LAYOUT& field : record_layout(record.kind)->fields) add(field.code);
    if (record.kind == RK_TYPE) {
        add('t'), add('y');
        const auto* layout =
            fields.size() == 2 ? type_layout(static_cast<uint8_t>(fields[1].bytes[0])) : nullptr;
        for (size_t i = 0; layout && i < layout->size(); ++i) add((*layout)[i].code);
    }
    if (in.at < in.bytes.size()) fields.push_back({'r', std::string(in.bytes.substr(in.at))});
    return fields;
}

void join_fields(PARTS_RECORD& record, const std::vector<PARTS_FIELD>& fields) {
    record.fields.clear();
    for (const PARTS_FIELD& field : fields) record.fields += field.bytes;
}

} // namespace pelorus
