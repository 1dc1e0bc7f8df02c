// The joined file.
//
// 1. Each input is taken apart, and what cannot be joined is refused: options that differ, classes of C++.
// 2. File names, types and symbols of all inputs become one table each (types.cpp, symbols.cpp).
// 3. The records follow, file by file, with the new numbers; what another file defines better is left out.
// 4. The result is checked as any other file: what the rules of icode do not allow is never written.
#include "join.h"

#include "icode/format.h"
#include "icode/validate_file.h"
#include "ir/opcodes.h"
#include "ir/symbol.h"

namespace pelorus {

uint32_t field_number(const PARTS_FIELD& field) { return static_cast<uint32_t>(uleb_number(field.bytes)); }

std::string field_text(const PARTS_FIELD& field) { return field.bytes.substr(0, field.bytes.size() - 1); }

namespace {

// --- References ---

uint32_t joined_type(const JOIN& join, const JOINED_INPUT& input, uint32_t type) {
    return type < input.types.size() ? join.nodes[input.types[type]].index : 0;
}

// A position begins with the number of its file.
std::string joined_position(const JOINED_INPUT& input, const std::string& bytes) {
    const uint64_t file = uleb_number(bytes);
    return file ? uleb_bytes(input.names[file]) + bytes.substr(uleb_bytes(file).size()) : bytes;
}

void carry_name(const JOIN& join, const JOINED_INPUT& input, PARTS_TREE& tree) {
    const uint64_t scope = uleb_number(tree.payload);
    if (scope != 0) return;
    const uint64_t index = uleb_number(tree.payload.substr(1));
    const GLOBAL_RECORD& global = input.globals[index];
    tree.payload = uleb_bytes(0) + uleb_bytes(global.index);
    if (global.other_type) tree.type = join.nodes[join.global_types[global.index]].index;
}

// The payload of a FIELD: a byte, the key, the structure.
void carry_field(const JOIN& join, const JOINED_INPUT& input, PARTS_TREE& tree) {
    const std::string key = uleb_bytes(uleb_number(tree.payload.substr(1)));
    const uint64_t type = uleb_number(tree.payload.substr(1 + key.size()));
    tree.payload =
        tree.payload.substr(0, 1) + key + uleb_bytes(joined_type(join, input, static_cast<uint32_t>(type)));
}

void carry_tree(const JOIN& join, const JOINED_INPUT& input, PARTS_TREE& tree) {
    tree.type = joined_type(join, input, tree.type);
    if (tree.op == OP_NAME) carry_name(join, input, tree);
    if (tree.op == OP_FIELD) carry_field(join, input, tree);
    for (PARTS_TREE& child : tree.children) carry_tree(join, input, child);
}

} // namespace

void carry_record(const JOIN& join, const JOINED_INPUT& input, PARTS_RECORD& record) {
    std::vector<PARTS_FIELD> fields = split_fields(record);
    for (PARTS_FIELD& field : fields) {
        if (field.code == 'p') field.bytes = joined_position(input, field.bytes);
        if (field.code == 't') field.bytes = uleb_bytes(joined_type(join, input, field_number(field)));
        if (field.code == 'g') field.bytes = uleb_bytes(input.globals[field_number(field)].index);
    }
    join_fields(record, fields);
    for (PARTS_TREE& tree : record.trees) carry_tree(join, input, tree);
}

namespace {

// --- 1. The inputs ---

void take_globals(JOINED_INPUT& input) {
    for (PARTS_RECORD& record : input.file.parts[SECTION_SYMBOLS]) {
        if (record.kind == RK_SYMBOL) input.globals.emplace_back();
        if (!input.globals.empty()) input.globals.back().records.push_back(record);
    }
}

bool take_input(JOIN& join, const std::string& name, const std::string& bytes) {
    JOINED_INPUT& input = join.inputs.emplace_back();
    input.name = name;
    input.types = {0};
    if (validate_icode(bytes, 0, {}) != 0 || !take_apart(bytes, input.file)) {
        join.problem = name + " breaks the rules of icode; icode-val tells where";
        return false;
    }
    take_globals(input);
    return true;
}

bool is_option(const PARTS_RECORD& record) {
    return record.kind == RK_PRAGMA && record.function < 0 &&
           field_number(split_fields(record)[0]) == PK_OPTIONS;
}

// What a file orders of the optimizer as a whole.
std::vector<std::string> options_of(const PARTS_FILE& file) {
    std::vector<std::string> options;
    for (const PARTS_RECORD& record : file.parts[SECTION_STRING_LISTS]) options.push_back(record.fields);
    for (const PARTS_RECORD& record : file.records)
        if (is_option(record) || record.kind == RK_STRING_LIST) options.push_back(record.fields);
    return options;
}

void check_input(JOIN& join, const JOINED_INPUT& input) {
    if (options_of(input.file) != options_of(join.inputs[0].file))
        join.problem =
            join.inputs[0].name + " and " + input.name + " have different options for the optimizer";
    for (const PARTS_RECORD& record : input.file.parts[SECTION_TYPES]) {
        const auto kind = static_cast<uint8_t>(split_fields(record)[1].bytes[0]);
        if (kind == TR_MEMBER_FUNCTION || kind == TR_STATIC_MEMBER)
            join.problem = input.name + " has classes of C++, which are not joined";
    }
}

// --- 2. File names ---

void join_file_names(JOIN& join) {
    for (JOINED_INPUT& input : join.inputs) {
        input.names = {0};
        for (const PARTS_RECORD& record : input.file.parts[SECTION_FILE_NAMES]) {
            const auto next = static_cast<uint32_t>(join.file_names.size() + 1);
            const auto [place, is_new] = join.file_names.emplace(record.fields, next);
            input.names.push_back(place->second);
            if (is_new) join.output.parts[SECTION_FILE_NAMES].push_back(record);
        }
    }
}

// --- 3. The records ---

bool is_dropped(const JOINED_INPUT& input, const PARTS_RECORD& record) {
    return input.globals[field_number(split_fields(record)[record.kind == RK_FUNCTION_BEGIN ? 1 : 0])]
        .is_dropped;
}

void carry_records(JOIN& join, const JOINED_INPUT& input, std::vector<PARTS_RECORD>& from,
                   std::vector<PARTS_RECORD>& to) {
    const bool is_first = &input == join.inputs.data();
    bool drops = false;
    for (PARTS_RECORD& record : from) {
        if (record.kind == RK_FUNCTION_BEGIN) drops = is_dropped(input, record);
        const bool is_repeated = !is_first && (is_option(record) || record.kind == RK_STRING_LIST);
        const bool goes =
            drops || is_repeated || (record.kind == RK_INITIALIZER && is_dropped(input, record));
        if (record.kind == RK_FUNCTION_END) drops = false;
        if (goes) continue;
        carry_record(join, input, record);
        to.push_back(std::move(record));
    }
}

void carry_input(JOIN& join, JOINED_INPUT& input) {
    carry_records(join, input, input.file.records, join.output.records);
    for (const int section : {SECTION_STRING_LISTS, SECTION_INITIALIZERS})
        carry_records(join, input, input.file.parts[section], join.output.parts[section]);
    for (int section = 0; section < SECTION_COUNT; ++section)
        join.output.present[section] = join.output.present[section] || input.file.present[section];
}

// --- 4. The check ---

void note_first_fault(void* context, const FILE_FAULT& fault) {
    std::string& problem = *static_cast<std::string*>(context);
    if (!problem.empty()) return;
    problem = "the files do not fit together: ";
    if (fault.function) problem += std::string("function ") + fault.function + ": ";
    problem += fault.message;
}

} // namespace

std::string join_icode(const std::vector<std::pair<std::string, std::string>>& files, std::string& problem) {
    JOIN join;
    for (const auto& [name, bytes] : files)
        if (!take_input(join, name, bytes)) return problem = join.problem, "";
    for (const JOINED_INPUT& input : join.inputs) check_input(join, input);
    if (!join.problem.empty()) return problem = join.problem, "";
    join.output.source = join.inputs[0].file.source;
    join_file_names(join);
    find_types(join);
    write_types(join);
    join_symbols(join);
    if (!join.problem.empty()) return problem = join.problem, "";
    for (JOINED_INPUT& input : join.inputs) carry_input(join, input);
    std::string bytes = put_together(join.output);
    validate_icode(bytes, 1, {note_first_fault, &problem});
    return problem.empty() ? bytes : "";
}

} // namespace pelorus
