// Parameters of functions; see passes.h.
//
// Functions share types, and calls go through pointers. So an item is a parameter of a function type: it goes
// from the type, from all functions of that type, and from all calls through a pointer to it. The variable
// that the parameter was copied into gets zero instead.
#include <algorithm>
#include <map>
#include <set>

#include "icode/format.h"
#include "ir/opcodes.h"
#include "passes.h"
#include "unit.h"

namespace pelorus {

namespace {

using CHOSEN = std::map<uint32_t, std::set<size_t>>; // numbers of parameters, by function type

constexpr char FUNCTION_TYPE = 18, PARAMETER_PART = 21;
enum FUNCTION_FIELD { COUNT = 3, PROTOTYPED = 6, VARIADIC = 7 }; // behind index and kind

char kind_of_type_record(const std::vector<PARTS_FIELD>& fields) {
    return fields.size() > 1 ? fields[1].bytes[0] : '\0';
}

// The parameters of types that have a function in this file and say what its parameters are.
std::vector<std::pair<uint32_t, size_t>> all_parameters(PARTS_FILE& file) {
    std::set<uint32_t> defined;
    const std::vector<size_t> globals = symbol_places(file.parts[SECTION_SYMBOLS], -1);
    for (const FUNCTION_PLACE& place : function_places(file))
        if (place.global < globals.size())
            defined.insert(type_of_symbol(file.parts[SECTION_SYMBOLS][globals[place.global]]));
    std::vector<std::pair<uint32_t, size_t>> all;
    for (const PARTS_RECORD& record : file.parts[SECTION_TYPES]) {
        const std::vector<PARTS_FIELD> fields = split_fields(record);
        if (kind_of_type_record(fields) != FUNCTION_TYPE || !defined.contains(type_of_record(record)) ||
            fields.size() <= VARIADIC || !fields[PROTOTYPED].bytes[0] || fields[VARIADIC].bytes[0])
            continue;
        for (size_t i = 0; i < uleb_number(fields[COUNT].bytes); ++i)
            all.emplace_back(type_of_record(record), i);
    }
    return all;
}

void drop_from_types(PARTS_FILE& file, const CHOSEN& chosen) {
    std::vector<PARTS_RECORD>& types = file.parts[SECTION_TYPES];
    std::vector<bool> gone(types.size());
    std::map<uint32_t, size_t> parameters; // seen of each type
    for (size_t i = 0; i < types.size(); ++i) {
        const auto found = chosen.find(type_of_record(types[i]));
        if (found == chosen.end()) continue;
        std::vector<PARTS_FIELD> fields = split_fields(types[i]);
        if (kind_of_type_record(fields) == PARAMETER_PART)
            gone[i] = found->second.contains(parameters[found->first]++);
        if (kind_of_type_record(fields) != FUNCTION_TYPE) continue;
        fields[COUNT].bytes = uleb_bytes(uleb_number(fields[COUNT].bytes) - found->second.size());
        join_fields(types[i], fields);
    }
    remove_records(types, gone);
}

// --- Left-leaning lists ---

void flatten(PARTS_TREE& list, uint8_t op, std::vector<PARTS_TREE>& items) {
    if (list.op != op) {
        items.push_back(std::move(list));
        return;
    }
    flatten(list.children[0], op, items);
    items.push_back(std::move(list.children[1]));
}

PARTS_TREE joined(std::vector<PARTS_TREE>& items, uint8_t op, uint32_t type) {
    PARTS_TREE list = std::move(items[0]);
    for (size_t i = 1; i < items.size(); ++i) list = {op, type, {}, {std::move(list), std::move(items[i])}};
    return list;
}

// --- Calls ---

void drop_arguments(PARTS_TREE& call, const std::set<size_t>& numbers) {
    const uint32_t list_type = call.children[1].type; // of a COMMA, when there is one
    std::vector<PARTS_TREE> arguments, kept;
    flatten(call.children[1], OP_COMMA, arguments);
    for (size_t i = 0; i < arguments.size(); ++i)
        if (!numbers.contains(i)) kept.push_back(std::move(arguments[i]));
    call.children.pop_back();
    if (kept.empty()) {
        call.op = OP_UCALL;
        call.payload.clear();
    } else {
        call.children.push_back(joined(kept, OP_COMMA, list_type));
    }
}

void drop_from_calls(PARTS_FILE& file, const CHOSEN& chosen) {
    const std::vector<TYPE_ROW> types = type_rows(file);
    each_node(file, [&](PARTS_TREE& node) {
        if (node.op != OP_CALL || node.children.size() != 2) return;
        const uint32_t callee = node.children[0].type;
        const auto found = callee < types.size() ? chosen.find(types[callee].base) : chosen.end();
        if (found != chosen.end()) drop_arguments(node, found->second);
    });
}

// --- Functions ---

// Which parameter a copy is of.
uint32_t copied(const PARTS_TREE& copy) {
    const PARTS_TREE* value = &copy.children[1];
    while (value->op != OP_NAME && !value->children.empty()) value = &value->children[0];
    return value->op == OP_NAME ? reference_of(*value).index : UINT32_MAX;
}

// What the statement that copies the parameters becomes: itself with fewer copies, and zeros behind it.
std::vector<PARTS_RECORD> without_copies(const PARTS_RECORD& statement, const std::set<size_t>& numbers,
                                         const std::vector<TYPE_ROW>& types) {
    PARTS_RECORD record = statement;
    const uint32_t list_type = record.trees[0].type;
    std::vector<PARTS_TREE> copies, kept;
    std::vector<PARTS_RECORD> records;
    flatten(record.trees[0], OP_PCOMMA, copies);
    for (PARTS_TREE& copy : copies) {
        if (!numbers.contains(copied(copy))) {
            kept.push_back(std::move(copy));
        } else if (make_constant(copy.children[1], types, 0)) {
            records.push_back(record);
            records.back().trees = {std::move(copy)};
        }
    }
    if (!kept.empty()) {
        record.trees = {joined(kept, OP_PCOMMA, list_type)};
        records.insert(records.begin(), record);
    }
    return records;
}

void drop_from_function(PARTS_FILE& file, size_t number, const std::set<size_t>& numbers,
                        const std::vector<TYPE_ROW>& types) {
    const FUNCTION_PLACE place = function_places(file)[number];
    const int function = file.records[place.begin].function;
    const auto records = [&file](size_t i) { return file.records.begin() + static_cast<std::ptrdiff_t>(i); };
    if (place.copies != SIZE_MAX) {
        const std::vector<PARTS_RECORD> others = without_copies(file.records[place.copies], numbers, types);
        file.records.erase(records(place.copies));
        file.records.insert(records(place.copies), others.begin(), others.end());
    }
    std::vector<bool> gone(symbol_places(file.records, function).size());
    for (const size_t parameter : numbers)
        if (parameter < gone.size()) gone[parameter] = true;
    remove_locals(file, function, gone);
}

void drop_from_functions(PARTS_FILE& file, const CHOSEN& chosen) {
    const std::vector<TYPE_ROW> types = type_rows(file);
    const std::vector<size_t> globals = symbol_places(file.parts[SECTION_SYMBOLS], -1);
    const std::vector<FUNCTION_PLACE> places = function_places(file);
    for (size_t i = 0; i < places.size(); ++i) {
        if (places[i].global >= globals.size()) continue;
        const uint32_t type = type_of_symbol(file.parts[SECTION_SYMBOLS][globals[places[i].global]]);
        if (const auto found = chosen.find(type); found != chosen.end())
            drop_from_function(file, i, found->second, types);
    }
}

size_t count_parameters(PARTS_FILE& file) { return all_parameters(file).size(); }

bool drop_parameters(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<std::pair<uint32_t, size_t>> all = all_parameters(file);
    CHOSEN chosen;
    for (size_t i = first; i < first + count; ++i) chosen[all[i].first].insert(all[i].second);
    drop_from_calls(file, chosen);
    drop_from_functions(file, chosen);
    drop_from_types(file, chosen);
    return true;
}

constexpr REDUCTION PARAMETERS[] = {{"parameters", count_parameters, drop_parameters}};

} // namespace

std::span<const REDUCTION> parameter_reductions() { return PARAMETERS; }

} // namespace pelorus
