// The file-scope symbols of all inputs become one table.
//
// 1. External symbols of one linkage name are one symbol. A definition goes before what a linker may merge,
//    that before a weak definition, and any of them before a reference; two definitions are refused, and so
//    are declarations whose types do not fit together.
// 2. All others are kept apart: one whose linkage name is taken gets another one.
// 3. The table is written in the order in which names come up.
#include <algorithm>
#include <set>

#include "icode/format.h"
#include "ir/symbol.h"
#include "join.h"

namespace pelorus {

namespace {

enum SYMBOL_PLACE {
    NAME_PLACE,
    SIZE_PLACE,
    CLASS_PLACE = 3,
    FLAGS_PLACE,
    TYPE_PLACE,
    ALIGN_PLACE,
    ORDER_PLACE = 8
};

// A symbol of an input, its words taken apart.
struct CANDIDATE {
    uint32_t input, global;
    std::string name; // linkage name as objects see it, behind an underscore
    uint8_t storage_class;
    uint16_t flags;
    uint32_t size, type, align, order; // type: node
    bool is_private;                   // no other file can name it
};

enum RANK { REFERENCE, WEAK_DEFINITION, MERGED_DEFINITION, DEFINITION };

// What one external name stands for.
struct ENTRY {
    CANDIDATE best;
    bool is_weak = true;         // all of its references are
    uint16_t noted = 0;          // how any file uses it
    uint32_t align = 1;          // of merged definitions
    uint32_t index = UINT32_MAX; // in the joined table
};

struct TABLE {
    JOIN& join;
    std::vector<std::vector<CANDIDATE>> candidates; // by input and symbol
    std::map<std::string, ENTRY> entries;
    std::set<std::string> taken; // linkage names
};

std::vector<std::string> strings_of(const PARTS_RECORD& pragma) {
    const std::string bytes = split_fields(pragma)[1].bytes;
    std::vector<std::string> strings;
    size_t at = uleb_bytes(uleb_number(bytes)).size();
    for (; at < bytes.size(); at += strings.back().size() + 1) strings.emplace_back(bytes.c_str() + at);
    return strings;
}

void set_strings(PARTS_RECORD& pragma, const std::vector<std::string>& strings) {
    std::vector<PARTS_FIELD> fields = split_fields(pragma);
    fields[1].bytes = uleb_bytes(strings.size());
    for (const std::string& text : strings) fields[1].bytes += text + '\0';
    join_fields(pragma, fields);
}

// The attribute's strings; none when the symbol does not have it.
std::vector<std::string> attribute(const GLOBAL_RECORD& global, const char* name) {
    for (size_t i = 1; i < global.records.size(); ++i) {
        std::vector<std::string> strings = strings_of(global.records[i]);
        if (field_number(split_fields(global.records[i])[0]) == PK_ATTRIBUTE && strings[0] == name)
            return strings;
    }
    return {};
}

uint16_t half(const std::string& bytes) {
    return static_cast<uint16_t>(static_cast<uint8_t>(bytes[0]) | static_cast<uint8_t>(bytes[1]) << 8);
}
std::string half_bytes(uint16_t number) {
    return {static_cast<char>(number & 0xFF), static_cast<char>(number >> 8)};
}

CANDIDATE take_candidate(const JOIN& join, uint32_t input, uint32_t number) {
    const GLOBAL_RECORD& global = join.inputs[input].globals[number];
    const std::vector<PARTS_FIELD> fields = split_fields(global.records[0]);
    const std::vector<std::string> given = attribute(global, "asm");
    const auto storage_class = static_cast<uint8_t>(fields[CLASS_PLACE].bytes[0]);
    const bool is_external = storage_class == SC_EXTERN || storage_class == SC_EXTERN_DEF;
    return {input,
            number,
            given.empty() ? field_text(fields[NAME_PLACE]) : "_" + given[1],
            storage_class,
            half(fields[FLAGS_PLACE].bytes),
            field_number(fields[SIZE_PLACE]),
            join.inputs[input].types[field_number(fields[TYPE_PLACE])],
            field_number(fields[ALIGN_PLACE]),
            field_number(fields[ORDER_PLACE]),
            !is_external || !attribute(global, "assembly").empty()};
}

RANK rank_of(const CANDIDATE& candidate) {
    if (candidate.storage_class != SC_EXTERN_DEF) return REFERENCE;
    if (candidate.flags & SF_COMMON) return MERGED_DEFINITION;
    return candidate.flags & SF_WEAK ? WEAK_DEFINITION : DEFINITION;
}

bool is_function_type(const JOIN& join, uint32_t node) { return join.nodes[node].kind == TR_FUNCTION; }

// Whether the second of two declarations of a name says more.
bool is_better(const CANDIDATE& before, const CANDIDATE& candidate) {
    const RANK rank = rank_of(candidate), other = rank_of(before);
    if (rank != other) return rank > other;
    return (rank == MERGED_DEFINITION || rank == REFERENCE) && candidate.size > before.size;
}

void add_to_entry(TABLE& table, const CANDIDATE& candidate) {
    const auto [place, is_new] = table.entries.try_emplace(candidate.name, ENTRY{candidate});
    ENTRY& entry = place->second;
    if (!is_new && rank_of(entry.best) == DEFINITION && rank_of(candidate) == DEFINITION) {
        table.join.problem = "'" + candidate.name.substr(1) + "' is defined in " +
                             table.join.inputs[entry.best.input].name + " and in " +
                             table.join.inputs[candidate.input].name;
        return;
    }
    entry.noted |= candidate.flags & (SF_REFERENCED | SF_CALLED | SF_ADDRESS_TAKEN);
    if (rank_of(candidate) == REFERENCE) entry.is_weak = entry.is_weak && (candidate.flags & SF_WEAK);
    if (rank_of(candidate) == MERGED_DEFINITION) entry.align = std::max(entry.align, candidate.align);
    if (!is_new && is_better(entry.best, candidate)) entry.best = candidate;
}

void check_with_entry(TABLE& table, const CANDIDATE& candidate) {
    const JOIN& join = table.join;
    const CANDIDATE& best = table.entries.at(candidate.name).best;
    GLOBAL_RECORD& global = table.join.inputs[candidate.input].globals[candidate.global];
    const bool is_best = best.input == candidate.input && best.global == candidate.global;
    global.is_dropped = candidate.storage_class == SC_EXTERN_DEF && !is_best;
    global.other_type = join.nodes[candidate.type].color != join.nodes[best.type].color;
    const bool fits = is_function_type(join, candidate.type) == is_function_type(join, best.type) &&
                      !((candidate.flags ^ best.flags) & SF_THREAD) &&
                      are_compatible(join, candidate.type, best.type);
    if (!fits)
        table.join.problem = "'" + candidate.name.substr(1) + "' has other types in " +
                             join.inputs[best.input].name + " and in " + join.inputs[candidate.input].name;
}

// --- Names of what is kept apart ---

bool is_name_character(char c) {
    return c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool has_word(const std::string& text, const std::string& word) {
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        const bool begins = at == 0 || !is_name_character(text[at - 1]);
        const size_t end = at + word.size();
        if (begins && (end == text.size() || !is_name_character(text[end]))) return true;
    }
    return false;
}

// Whether assembly of the file names something.
bool is_in_assembly(const JOINED_INPUT& input, const std::string& word) {
    for (const PARTS_RECORD& record : input.file.records)
        if (record.kind == RK_ASSEMBLY && has_word(field_text(split_fields(record)[0]), word)) return true;
    for (const GLOBAL_RECORD& global : input.globals)
        for (const std::string& text : attribute(global, "assembly"))
            if (has_word(text, word)) return true;
    return false;
}

// A name that nothing else has, marked with the number of the file.
std::string fresh_name(TABLE& table, const std::string& name, uint32_t input) {
    if (table.taken.insert(name).second) return name;
    const std::string stem = name + "$u" + std::to_string(input + 1);
    std::string fresh = stem;
    for (int i = 1; !table.taken.insert(fresh).second; ++i) fresh = stem + "_" + std::to_string(i);
    return fresh;
}

// The new names of an input's own symbols, by the old ones.
std::map<std::string, std::string> name_apart(TABLE& table, uint32_t input) {
    std::map<std::string, std::string> names;
    for (const CANDIDATE& candidate : table.candidates[input]) {
        if (!candidate.is_private || candidate.storage_class == SC_TYPEDEF) continue;
        const std::string fresh = fresh_name(table, candidate.name, input);
        if (fresh == candidate.name) continue;
        names[candidate.name] = fresh;
        const JOINED_INPUT& source = table.join.inputs[input];
        if (is_in_assembly(source, candidate.name.substr(1)) ||
            !attribute(source.globals[candidate.global], "asm").empty())
            table.join.problem = "assembly of " + source.name + " names '" + candidate.name.substr(1) +
                                 "', of which other files have one of their own";
    }
    return names;
}

// --- The joined table ---

// Everything of a symbol that is decided here; the rest of its records is carried over.
struct DECIDED {
    std::string name; // "" for its own
    uint16_t flags;
    uint32_t align, order;
};

void write_symbol(TABLE& table, const CANDIDATE& from, const DECIDED& decided,
                  const std::map<std::string, std::string>& names) {
    JOIN& join = table.join;
    const JOINED_INPUT& input = join.inputs[from.input];
    for (PARTS_RECORD record : input.globals[from.global].records) {
        carry_record(join, input, record);
        if (record.kind == RK_SYMBOL) {
            std::vector<PARTS_FIELD> fields = split_fields(record);
            if (!decided.name.empty()) fields[NAME_PLACE].bytes = decided.name + '\0';
            fields[FLAGS_PLACE].bytes = half_bytes(decided.flags);
            fields[ALIGN_PLACE].bytes = uleb_bytes(decided.align);
            fields[ORDER_PLACE].bytes = uleb_bytes(decided.order);
            join_fields(record, fields);
        } else {
            std::vector<std::string> strings = strings_of(record);
            if (strings.size() == 2 && strings[0] == "alias" && names.contains(strings[1])) {
                strings[1] = names.at(strings[1]);
                set_strings(record, strings);
            }
        }
        join.output.parts[SECTION_SYMBOLS].push_back(std::move(record));
    }
    join.global_types.push_back(from.type);
}

struct NAMES_OF_INPUTS {
    std::vector<std::map<std::string, std::string>> names;
    std::vector<uint32_t> first_order; // what an input's orders are counted from
};

void write_candidate(TABLE& table, const CANDIDATE& candidate, const NAMES_OF_INPUTS& inputs) {
    JOIN& join = table.join;
    uint32_t& index = join.inputs[candidate.input].globals[candidate.global].index;
    if (candidate.is_private) {
        const std::map<std::string, std::string>& names = inputs.names[candidate.input];
        const auto found = names.find(candidate.name);
        index = static_cast<uint32_t>(join.global_types.size());
        write_symbol(table, candidate,
                     {found == names.end() || candidate.storage_class == SC_TYPEDEF ? "" : found->second,
                      candidate.flags, candidate.align,
                      inputs.first_order[candidate.input] + candidate.order},
                     names);
        return;
    }
    ENTRY& entry = table.entries.at(candidate.name);
    if (entry.index == UINT32_MAX) {
        entry.index = static_cast<uint32_t>(join.global_types.size());
        const CANDIDATE& best = entry.best;
        auto flags = static_cast<uint16_t>(best.flags | entry.noted);
        if (rank_of(best) == REFERENCE && !entry.is_weak) flags &= static_cast<uint16_t>(~SF_WEAK);
        const uint32_t align = rank_of(best) == MERGED_DEFINITION ? entry.align : best.align;
        write_symbol(table, best, {"", flags, align, inputs.first_order[best.input] + best.order},
                     inputs.names[best.input]);
    }
    index = entry.index;
}

void check_classes(TABLE& table) {
    for (const std::vector<CANDIDATE>& candidates : table.candidates)
        for (const CANDIDATE& candidate : candidates)
            if (candidate.storage_class != SC_EXTERN && candidate.storage_class != SC_EXTERN_DEF &&
                candidate.storage_class != SC_STATIC && candidate.storage_class != SC_TYPEDEF)
                table.join.problem = table.join.inputs[candidate.input].name + " has '" +
                                     candidate.name.substr(1) + "' in a register for the whole program";
}

} // namespace

void join_symbols(JOIN& join) {
    TABLE table{join, {}, {}, {}};
    for (uint32_t input = 0; input < join.inputs.size(); ++input) {
        std::vector<CANDIDATE>& candidates = table.candidates.emplace_back();
        for (uint32_t i = 0; i < join.inputs[input].globals.size(); ++i)
            candidates.push_back(take_candidate(join, input, i));
    }
    check_classes(table);
    const auto each_external = [&](auto take) {
        for (const std::vector<CANDIDATE>& candidates : table.candidates)
            for (const CANDIDATE& candidate : candidates)
                if (!candidate.is_private && join.problem.empty()) take(table, candidate);
    };
    each_external(add_to_entry);
    each_external(check_with_entry);
    if (!join.problem.empty()) return;
    for (const auto& [name, entry] : table.entries) table.taken.insert(name);
    NAMES_OF_INPUTS inputs;
    uint32_t order = 0;
    for (uint32_t input = 0; input < join.inputs.size(); ++input) {
        inputs.names.push_back(name_apart(table, input));
        inputs.first_order.push_back(order);
        uint32_t most = 0;
        for (const CANDIDATE& candidate : table.candidates[input]) most = std::max(most, candidate.order);
        order += most;
    }
    for (const std::vector<CANDIDATE>& candidates : table.candidates)
        for (const CANDIDATE& candidate : candidates) write_candidate(table, candidate, inputs);
}

} // namespace pelorus
