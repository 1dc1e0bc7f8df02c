// See unit.h.
#include "unit.h"

#include <algorithm>

#include "icode/format.h"
#include "ir/opcodes.h"

namespace pelorus {

// --- Trees ---

REFERENCE reference_of(const PARTS_TREE& name) {
    const std::string& bytes = name.payload;
    const auto scope = static_cast<uint32_t>(uleb_number(bytes));
    size_t length = 0;
    while (length < bytes.size() && (bytes[length] & 0x80)) ++length;
    return {scope, static_cast<uint32_t>(uleb_number(std::string_view(bytes).substr(length + 1)))};
}

std::string reference_bytes(REFERENCE reference) {
    return uleb_bytes(reference.scope) + uleb_bytes(reference.index);
}

void each_root(PARTS_FILE& file, const std::function<void(PARTS_RECORD& record, PARTS_TREE& root)>& take) {
    for (std::vector<PARTS_RECORD>* records : {&file.records, &file.parts[SECTION_INITIALIZERS]})
        for (PARTS_RECORD& record : *records)
            for (PARTS_TREE& root : record.trees) take(record, root);
}

void each_node(PARTS_TREE& tree, const std::function<void(PARTS_TREE& node)>& take) {
    take(tree);
    for (PARTS_TREE& child : tree.children) each_node(child, take);
}

void each_node(PARTS_FILE& file, const std::function<void(PARTS_TREE& node)>& take) {
    each_root(file, [&take](PARTS_RECORD&, PARTS_TREE& root) { each_node(root, take); });
}

// --- Types ---

namespace {

constexpr size_t TYPE_INDEX = 0, TYPE_KIND = 1, FIRST_FIELD = 2; // of the fields of a type record

enum class ROLE : uint8_t { TYPE, PART, ATTRIBUTE };

ROLE role_of(uint8_t kind) {
    switch (kind) {
#define TYPE_RECORD_KIND(number, name, role, layout)                                                         \
    case number: return ROLE::role;
#include "ir/type_kinds.def"
#undef TYPE_RECORD_KIND
    default: return ROLE::ATTRIBUTE;
    }
}

bool defines_type(const std::vector<PARTS_FIELD>& fields) {
    return fields.size() > FIRST_FIELD &&
           role_of(static_cast<uint8_t>(fields[TYPE_KIND].bytes[0])) == ROLE::TYPE;
}

enum KIND : uint8_t {
#define TYPE_RECORD_KIND(number, name, role, layout) KIND_##name = (number),
#include "ir/type_kinds.def"
#undef TYPE_RECORD_KIND
};

uint64_t number_in(const std::vector<PARTS_FIELD>& fields, size_t field) {
    return field < fields.size() ? uleb_number(fields[field].bytes) : 0;
}

TYPE_ROW row_of(const std::vector<PARTS_FIELD>& fields) {
    TYPE_ROW row;
    row.kind = static_cast<uint8_t>(fields[TYPE_KIND].bytes[0]);
    const auto field = [&fields](size_t number) { return number_in(fields, FIRST_FIELD + number); };
    switch (row.kind) {
    case KIND_POINTER:
    case KIND_REFERENCE:
    case KIND_RVALUE_REFERENCE:
        row.base = static_cast<uint32_t>(field(0));
        row.size = field(1);
        row.is_unsigned = true;
        break;
    case KIND_FUNCTION:
    case KIND_QUALIFIED:
    case KIND_ATOMIC: row.base = static_cast<uint32_t>(field(0)); break;
    case KIND_TYPEDEF: row.base = static_cast<uint32_t>(field(1)); break;
    case KIND_BITFIELD: row.base = static_cast<uint32_t>(field(2)); break;
    case KIND_ENUMERATION:
        row.size = field(1);
        row.base = static_cast<uint32_t>(field(3));
        break;
    default:
        if (fields[FIRST_FIELD].code != 'f') break;
        row.is_unsigned = field(0) != 0;
        row.size = field(1);
    }
    return row;
}

} // namespace

uint32_t type_of_record(const PARTS_RECORD& record) {
    return static_cast<uint32_t>(uleb_number(record.fields));
}

std::vector<TYPE_ROW> type_rows(const PARTS_FILE& file) {
    std::vector<TYPE_ROW> rows(1);
    for (const PARTS_RECORD& record : file.parts[SECTION_TYPES]) {
        const std::vector<PARTS_FIELD> fields = split_fields(record);
        if (!defines_type(fields)) continue;
        const uint32_t type = type_of_record(record);
        if (type >= rows.size()) rows.resize(type + 1);
        rows[type] = row_of(fields);
    }
    return rows;
}

REPRESENTATION representation(const std::vector<TYPE_ROW>& types, uint32_t type) {
    constexpr int LONGEST_CHAIN = 100;
    for (int steps = 0; type < types.size() && steps < LONGEST_CHAIN; ++steps) {
        const TYPE_ROW& row = types[type];
        switch (row.kind) {
        case KIND_QUALIFIED:
        case KIND_ATOMIC:
        case KIND_TYPEDEF:
        case KIND_BITFIELD: type = row.base; continue;
        case KIND_CHAR:
        case KIND_SHORT:
        case KIND_INT:
        case KIND_LONG:
        case KIND_LONG_LONG:
        case KIND_WCHAR: return {CATEGORY::INTEGER, row.size, row.is_unsigned};
        case KIND_BOOL: return {CATEGORY::INTEGER, row.size, true, true};
        case KIND_ENUMERATION:
            return {CATEGORY::INTEGER, row.size, representation(types, row.base).is_unsigned};
        case KIND_FLOAT:
        case KIND_DOUBLE:
        case KIND_LONG_DOUBLE: return {CATEGORY::FLOATING, row.size};
        case KIND_POINTER:
        case KIND_REFERENCE:
        case KIND_RVALUE_REFERENCE: return {CATEGORY::POINTER, row.size, true};
        default: return {};
        }
    }
    return {};
}

// --- Symbols ---

uint32_t type_of_symbol(const PARTS_RECORD& symbol) {
    return static_cast<uint32_t>(number_in(split_fields(symbol), SYMBOL_TYPE));
}

uint32_t global_of(const PARTS_RECORD& record) {
    for (const PARTS_FIELD& field : split_fields(record))
        if (field.code == 'g') return static_cast<uint32_t>(uleb_number(field.bytes));
    return UINT32_MAX;
}

std::vector<size_t> symbol_places(const std::vector<PARTS_RECORD>& records, int function) {
    std::vector<size_t> places;
    for (size_t i = 0; i < records.size(); ++i)
        if (records[i].kind == RK_SYMBOL && records[i].function == function) places.push_back(i);
    return places;
}

void remove_records(std::vector<PARTS_RECORD>& records, const std::vector<bool>& gone) {
    size_t kept = 0;
    for (size_t i = 0; i < records.size(); ++i)
        if (!gone[i]) {
            if (kept != i) records[kept] = std::move(records[i]);
            ++kept;
        }
    records.resize(kept);
}

namespace {

// New numbers of what stays: the number of those before that stay.
std::vector<uint32_t> new_numbers(const std::vector<bool>& gone) {
    std::vector<uint32_t> numbers;
    numbers.reserve(gone.size());
    uint32_t next = 0;
    for (const bool away : gone) numbers.push_back(away ? next : next++);
    return numbers;
}

// Removes symbol records and the pragmas behind them.
void remove_symbols(std::vector<PARTS_RECORD>& records, int function, const std::vector<bool>& gone) {
    std::vector<bool> away(records.size());
    const std::vector<size_t> places = symbol_places(records, function);
    for (size_t number = 0; number < places.size(); ++number) {
        if (!gone[number]) continue;
        const size_t place = places[number];
        const uint64_t pragmas = number_in(split_fields(records[place]), SYMBOL_PRAGMAS);
        for (size_t i = place; i <= place + pragmas && i < records.size(); ++i) away[i] = true;
    }
    remove_records(records, away);
}

void set_number(PARTS_RECORD& record, char code, const std::vector<uint32_t>& numbers) {
    std::vector<PARTS_FIELD> fields = split_fields(record);
    for (PARTS_FIELD& field : fields) {
        if (field.code != code) continue;
        const uint64_t number = uleb_number(field.bytes);
        if (number < numbers.size()) field.bytes = uleb_bytes(numbers[number]);
    }
    join_fields(record, fields);
}

void set_reference(PARTS_TREE& node, bool local, const std::vector<uint32_t>& numbers) {
    if (node.op != OP_NAME) return;
    REFERENCE reference = reference_of(node);
    if (reference.scope == NO_SYMBOL_SCOPE || (reference.scope != 0) != local) return;
    if (reference.index >= numbers.size()) return;
    reference.index = numbers[reference.index];
    node.payload = reference_bytes(reference);
}

} // namespace

void remove_globals(PARTS_FILE& file, const std::vector<bool>& gone) {
    const std::vector<uint32_t> numbers = new_numbers(gone);
    remove_symbols(file.parts[SECTION_SYMBOLS], -1, gone);
    each_node(file, [&](PARTS_TREE& node) { set_reference(node, false, numbers); });
    for (std::vector<PARTS_RECORD>* records : {&file.records, &file.parts[SECTION_INITIALIZERS]})
        for (PARTS_RECORD& record : *records) set_number(record, 'g', numbers);
}

void remove_locals(PARTS_FILE& file, int function, const std::vector<bool>& gone) {
    const std::vector<uint32_t> numbers = new_numbers(gone);
    remove_symbols(file.records, function, gone);
    for (PARTS_RECORD& record : file.records)
        if (record.function == function)
            for (PARTS_TREE& tree : record.trees)
                each_node(tree, [&](PARTS_TREE& node) { set_reference(node, true, numbers); });
}

namespace {

void set_type_numbers(PARTS_TREE& node, const std::vector<uint32_t>& numbers) {
    const auto renumbered = [&numbers](uint64_t type) {
        return type < numbers.size() ? numbers[type] : static_cast<uint32_t>(type);
    };
    node.type = renumbered(node.type);
    if (node.op != OP_FIELD) return;
    const auto key = static_cast<uint32_t>(uleb_number(std::string_view(node.payload).substr(1)));
    const size_t place = 1 + uleb_bytes(key).size();
    if (place >= node.payload.size()) return;
    const uint64_t type = uleb_number(std::string_view(node.payload).substr(place));
    node.payload = node.payload.substr(0, place) + uleb_bytes(renumbered(type));
}

} // namespace

void remove_types(PARTS_FILE& file, const std::vector<bool>& gone) {
    std::vector<PARTS_RECORD>& types = file.parts[SECTION_TYPES];
    std::vector<bool> away;
    away.reserve(types.size());
    for (const PARTS_RECORD& record : types) away.push_back(gone[type_of_record(record)]);
    remove_records(types, away);
    const std::vector<uint32_t> numbers = new_numbers(gone); // 0, no type, never goes
    for (std::vector<PARTS_RECORD>* records : {&types, &file.parts[SECTION_SYMBOLS], &file.records})
        for (PARTS_RECORD& record : *records) set_number(record, 't', numbers);
    each_node(file, [&](PARTS_TREE& node) { set_type_numbers(node, numbers); });
}

void make_external(PARTS_FILE& file, uint32_t global) {
    constexpr char EXTERNAL = 2;
    constexpr unsigned char DEFINED = 0x02, OWN = 0x10 | 0x80; // in the flags' low byte
    std::vector<PARTS_RECORD>& symbols = file.parts[SECTION_SYMBOLS];
    const std::vector<size_t> places = symbol_places(symbols, -1);
    if (global >= places.size()) return;
    PARTS_RECORD& symbol = symbols[places[global]];
    std::vector<PARTS_FIELD> fields = split_fields(symbol);
    fields[SYMBOL_CLASS].bytes[0] = EXTERNAL;
    char& flags = fields[SYMBOL_FLAGS].bytes[0];
    flags = static_cast<char>(flags & ~(DEFINED | OWN));
    join_fields(symbol, fields);
}

// --- Records ---

std::vector<FUNCTION_PLACE> function_places(const PARTS_FILE& file) {
    std::vector<FUNCTION_PLACE> places;
    for (size_t i = 0; i < file.records.size(); ++i) {
        const PARTS_RECORD& record = file.records[i];
        if (record.function < 0) continue;
        if (record.kind == RK_FUNCTION_BEGIN) places.push_back({i, i, global_of(record), i});
        FUNCTION_PLACE& place = places.back();
        place.end = i;
        if (record.kind == RK_BODY_BEGIN) place.body = i;
        if (record.kind == RK_SYMBOL && place.body == place.begin) ++place.parameters;
        if (record.kind == RK_STATEMENT && place.parameters && place.copies == SIZE_MAX) place.copies = i;
    }
    return places;
}

bool is_statement(const PARTS_RECORD& record) {
    return record.kind == RK_STATEMENT || (record.kind == RK_ASSEMBLY && record.function >= 0);
}

void number_calls(PARTS_FILE& file) {
    int function = -1;
    uint32_t calls = 0;
    for (PARTS_RECORD& record : file.records) {
        if (record.function != function) function = record.function, calls = 0;
        for (PARTS_TREE& tree : record.trees)
            each_node(tree, [&calls](PARTS_TREE& node) {
                if (node.op == OP_CALL) node.payload = uleb_bytes(++calls);
                if (node.op == OP_UCALL) ++calls;
            });
    }
}

namespace {

size_t count_nodes(const PARTS_TREE& tree) {
    size_t count = 1;
    for (const PARTS_TREE& child : tree.children) count += count_nodes(child);
    return count;
}

} // namespace

FILE_SIZE file_size(const PARTS_FILE& file, size_t bytes) {
    FILE_SIZE size;
    size.bytes = bytes;
    size.symbols = symbol_places(file.parts[SECTION_SYMBOLS], -1).size();
    for (const PARTS_RECORD& record : file.parts[SECTION_TYPES])
        size.types += defines_type(split_fields(record));
    for (const PARTS_RECORD& record : file.records) {
        size.functions += record.kind == RK_FUNCTION_BEGIN;
        size.statements += is_statement(record);
        size.symbols += record.kind == RK_SYMBOL;
    }
    for (const std::vector<PARTS_RECORD>* records : {&file.records, &file.parts[SECTION_INITIALIZERS]})
        for (const PARTS_RECORD& record : *records)
            for (const PARTS_TREE& tree : record.trees) size.nodes += count_nodes(tree);
    return size;
}

} // namespace pelorus
