// The types of all inputs.
//
// Two types are the same when what their records say is the same, positions apart, and the types that they
// refer to are the same in turn. That is the coarsest partition that no reference tells apart, so structures
// that point to each other compare equal: types begin in one class when their own words agree, and a class is
// split as long as references of its members lead to different classes.
//
// A structure that one file leaves incomplete is the complete one of that tag, when all files that complete
// it agree. That makes more types the same, so the search is repeated until nothing new is found.
#include "icode/format.h"
#include "ir/type.h"
#include "join.h"

namespace pelorus {

uint32_t complete_node(const JOIN& join, uint32_t node) {
    const uint32_t other = join.nodes[node].stands_for;
    return other ? other : node;
}

namespace {

uint32_t node_of(JOIN& join, JOINED_INPUT& input, uint32_t type) {
    if (type == 0) return 0;
    if (input.types.size() <= type) input.types.resize(type + size_t{1});
    if (!input.types[type]) {
        input.types[type] = static_cast<uint32_t>(join.nodes.size());
        join.nodes.emplace_back().input = static_cast<uint32_t>(&input - join.inputs.data());
    }
    return input.types[type];
}

// The first field is the index of the type, the second one the kind.
void take_type_record(JOIN& join, JOINED_INPUT& input, const PARTS_RECORD& record) {
    const std::vector<PARTS_FIELD> fields = split_fields(record);
    const uint32_t node = node_of(join, input, field_number(fields[0]));
    std::string own;
    std::vector<uint32_t> refers;
    for (size_t i = 1; i < fields.size(); ++i) {
        if (fields[i].code == 't')
            refers.push_back(node_of(join, input, field_number(fields[i])));
        else if (fields[i].code != 'p')
            own += fields[i].bytes;
    }
    TYPE_NODE& taken = join.nodes[node];
    if (taken.records.empty()) taken.kind = static_cast<uint8_t>(fields[1].bytes[0]);
    taken.records.push_back(&record);
    taken.own += own;
    taken.refers.insert(taken.refers.end(), refers.begin(), refers.end());
}

// One round: splits the classes by where references lead. Answers how many there are then.
size_t split_classes(JOIN& join) {
    std::map<std::vector<uint32_t>, uint32_t> classes;
    std::vector<uint32_t> colors(join.nodes.size());
    for (uint32_t i = 1; i < join.nodes.size(); ++i) {
        const TYPE_NODE& node = join.nodes[complete_node(join, i)];
        std::vector<uint32_t> key = {node.color};
        for (const uint32_t other : node.refers) key.push_back(join.nodes[complete_node(join, other)].color);
        colors[i] = classes.emplace(std::move(key), static_cast<uint32_t>(classes.size() + 1)).first->second;
    }
    for (uint32_t i = 1; i < join.nodes.size(); ++i) join.nodes[i].color = colors[i];
    return classes.size();
}

void color_types(JOIN& join) {
    std::map<std::string, uint32_t> texts;
    for (uint32_t i = 1; i < join.nodes.size(); ++i) {
        const std::string& own = join.nodes[complete_node(join, i)].own;
        join.nodes[i].color = texts.emplace(own, static_cast<uint32_t>(texts.size() + 1)).first->second;
    }
    for (size_t before = 0, count = texts.size(); count != before;) {
        before = count;
        count = split_classes(join);
    }
}

enum CSU_FIELD { CSU_TAG = 2, CSU_WHAT = 3, CSU_COMPLETE = 6 };

// Lets incomplete structures stand for complete ones. Answers whether one did that did not before.
bool complete_structures(JOIN& join) {
    struct TAGGED {
        uint32_t complete = 0;
        bool is_unique = true;
        std::vector<uint32_t> incomplete;
    };
    std::map<std::string, TAGGED> tags;
    for (uint32_t i = 1; i < join.nodes.size(); ++i) {
        const TYPE_NODE& node = join.nodes[i];
        if (node.kind != TR_CSU || node.stands_for) continue;
        const std::vector<PARTS_FIELD> fields = split_fields(*node.records[0]);
        if (field_text(fields[CSU_TAG]).empty()) continue;
        TAGGED& tagged = tags[fields[CSU_TAG].bytes + fields[CSU_WHAT].bytes];
        if (!fields[CSU_COMPLETE].bytes[0])
            tagged.incomplete.push_back(i);
        else if (!tagged.complete)
            tagged.complete = i;
        else
            tagged.is_unique = tagged.is_unique && join.nodes[tagged.complete].color == node.color;
    }
    bool changed = false;
    for (const auto& [tag, tagged] : tags) {
        if (!tagged.complete || !tagged.is_unique) continue;
        for (const uint32_t node : tagged.incomplete) join.nodes[node].stands_for = tagged.complete;
        changed = changed || !tagged.incomplete.empty();
    }
    return changed;
}

// --- Into the joined file ---

bool defines_type(const PARTS_RECORD& record, const TYPE_NODE& node) { return node.records[0] == &record; }

// The first one of each class is written, a structure when it is first needed: an incomplete one that another
// file completes is written complete, and its members follow with that file's.
void write_input_types(JOIN& join, const JOINED_INPUT& input, std::map<uint32_t, uint32_t>& owners) {
    for (const PARTS_RECORD& record : input.file.parts[SECTION_TYPES]) {
        const uint32_t number = input.types[field_number(split_fields(record)[0])];
        const uint32_t complete = complete_node(join, number);
        const uint32_t owner = owners.emplace(join.nodes[number].color, complete).first->second;
        const bool is_definition = defines_type(record, join.nodes[number]);
        if (is_definition && join.nodes[owner].index) join.nodes[number].index = join.nodes[owner].index;
        if (is_definition ? join.nodes[owner].index != 0 : owner != number) continue;
        if (is_definition) join.nodes[number].index = join.nodes[owner].index = ++join.last_type;
        PARTS_RECORD written = is_definition ? *join.nodes[owner].records[0] : record;
        carry_record(join, join.inputs[join.nodes[owner].input], written);
        std::vector<PARTS_FIELD> fields = split_fields(written);
        fields[0].bytes = uleb_bytes(join.nodes[owner].index);
        join_fields(written, fields);
        join.output.parts[SECTION_TYPES].push_back(std::move(written));
    }
}

} // namespace

void find_types(JOIN& join) {
    for (JOINED_INPUT& input : join.inputs)
        for (const PARTS_RECORD& record : input.file.parts[SECTION_TYPES])
            take_type_record(join, input, record);
    do color_types(join);
    while (complete_structures(join));
}

void write_types(JOIN& join) {
    std::map<uint32_t, uint32_t> owners; // by class
    for (const JOINED_INPUT& input : join.inputs) write_input_types(join, input, owners);
}

} // namespace pelorus
