// Icode files byte by byte, right and wrong ones, for tests of the reader.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

namespace pelorus {

// Bytes in the format's primitives. Each call appends and returns the whole.
struct BYTES {
    std::string text;

    BYTES& y(int value) { return text.push_back(static_cast<char>(value)), *this; }
    BYTES& h(int value) { return y(value).y(value >> 8); }
    BYTES& w(uint32_t value) { return h(static_cast<int>(value & 0xFFFF)).h(static_cast<int>(value >> 16)); }
    BYTES& u(uint64_t value) {
        for (; value >= 0x80; value >>= 7) y(static_cast<int>(value & 0x7F) | 0x80);
        return y(static_cast<int>(value));
    }
    BYTES& l(int64_t value) {
        for (; value < -64 || value > 63; value >>= 7) y(static_cast<int>(value & 0x7F) | 0x80);
        return y(static_cast<int>(value & 0x7F));
    }
    BYTES& s(const std::string& value) { return text.append(value).push_back('\0'), *this; }
    BYTES& p(uint32_t file, uint32_t line = 0, uint32_t column = 0) {
        return file ? u(file).u(line).u(column) : u(0);
    }
    BYTES& add(const BYTES& more) { return text.append(more.text), *this; }
};

inline BYTES record(int kind, const BYTES& body) { return BYTES().y(kind).u(body.text.size()).add(body); }

// A tree record: opcode, type, payload, then the subtrees' records.
inline BYTES tree(int op, uint32_t type, const BYTES& payload = {},
                  std::initializer_list<BYTES> subtrees = {}) {
    BYTES body = BYTES().y(op).u(type).add(payload);
    for (const BYTES& subtree : subtrees) body.add(subtree);
    return record(101, body);
}
inline BYTES statement(const BYTES& node, uint32_t line = 0) {
    return record(46, BYTES().p(line ? 1 : 0, line, 1).add(node));
}

inline BYTES type_record(uint32_t index, int kind, const BYTES& fields) {
    return record(116, BYTES().u(index).y(kind).add(fields));
}

struct SYMBOL_BYTES {
    const char* name;
    uint32_t type;
    int storage_class;
    int flags = 0;
    int pragmas = 0;
    uint32_t size = 4;
};
inline BYTES symbol_record(const SYMBOL_BYTES& symbol) {
    return record(35, BYTES()
                          .s(symbol.name)
                          .u(symbol.size)
                          .u(0)
                          .y(symbol.storage_class)
                          .h(symbol.flags)
                          .u(symbol.type)
                          .u(4)
                          .y(symbol.pragmas)
                          .u(1)
                          .u(0)
                          .p(1, 3, 5));
}

// The parts of a file. A section that is left empty is absent.
struct ICODE_FILE {
    BYTES string_lists, initializers, types, file_names, symbols;
    BYTES records; // the stream behind the header
    std::string magic = "!<icode>\n";
    int version_a = -89;
    int version_b = 400;
    int header_kind = 8;

    std::string bytes() const {
        const BYTES* sections[] = {&string_lists, &initializers, &types, &file_names, &symbols};
        const auto header = [&](const uint32_t(&offsets)[5]) {
            BYTES body = BYTES().s(magic).h(version_a).h(version_b);
            for (const uint32_t offset : offsets) body.w(offset);
            return record(header_kind, body.s("source.c")).text;
        };
        uint32_t offsets[5] = {};
        std::string behind = records.text + '\xFF';
        const size_t start = header(offsets).size();
        for (int i = 0; i < 5; ++i) {
            if (sections[i]->text.empty()) continue;
            offsets[i] = static_cast<uint32_t>(start + behind.size());
            behind += sections[i]->text + '\xFF';
        }
        return header(offsets) + behind;
    }
};

} // namespace pelorus
