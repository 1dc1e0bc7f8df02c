// Initializers, symbols and types; see passes.h.
#include <algorithm>
#include <set>

#include "icode/format.h"
#include "ir/opcodes.h"
#include "passes.h"
#include "unit.h"

namespace pelorus {

namespace {

// --- Initializers ---

std::vector<PARTS_RECORD*> initializers(PARTS_FILE& file) {
    std::vector<PARTS_RECORD*> found;
    for (std::vector<PARTS_RECORD>* records : {&file.records, &file.parts[SECTION_INITIALIZERS]})
        for (PARTS_RECORD& record : *records)
            if (record.kind == RK_INITIALIZER) found.push_back(&record);
    return found;
}

size_t count_initializers(PARTS_FILE& file) { return initializers(file).size(); }

bool drop_initializers(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<PARTS_RECORD*> all = initializers(file);
    const std::set<const PARTS_RECORD*> chosen(all.begin() + static_cast<std::ptrdiff_t>(first),
                                               all.begin() + static_cast<std::ptrdiff_t>(first + count));
    for (std::vector<PARTS_RECORD>* records : {&file.records, &file.parts[SECTION_INITIALIZERS]}) {
        std::vector<bool> gone;
        for (const PARTS_RECORD& record : *records) gone.push_back(chosen.contains(&record));
        remove_records(*records, gone);
    }
    return true;
}

// Items at the ends of initializers: what they leave is zero.
std::vector<PARTS_RECORD*> with_items(PARTS_FILE& file) {
    std::vector<PARTS_RECORD*> found;
    for (PARTS_RECORD* record : initializers(file))
        if (record->trees.size() > 1) found.push_back(record);
    return found;
}
size_t count_with_items(PARTS_FILE& file) { return with_items(file).size(); }
bool halve_items(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<PARTS_RECORD*> found = with_items(file);
    for (size_t i = first; i < first + count; ++i) {
        std::vector<PARTS_TREE>& trees = found[i]->trees;
        trees.erase(trees.begin() + static_cast<std::ptrdiff_t>((trees.size() - 1) / 2), trees.end() - 1);
    }
    return true;
}

// Addresses and other values that are not zero.
std::vector<PARTS_TREE*> initial_values(PARTS_FILE& file) {
    const std::vector<TYPE_ROW> types = type_rows(file);
    std::vector<PARTS_TREE*> found;
    for (PARTS_RECORD* record : initializers(file))
        for (PARTS_TREE& tree : record->trees) {
            PARTS_TREE copy = tree;
            if (tree.op != OP_ENDINIT && make_constant(copy, types, 0)) found.push_back(&tree);
        }
    return found;
}
size_t count_initial_values(PARTS_FILE& file) { return initial_values(file).size(); }
bool clear_initial_values(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<TYPE_ROW> types = type_rows(file);
    const std::vector<PARTS_TREE*> found = initial_values(file);
    for (size_t i = first; i < first + count; ++i) make_constant(*found[i], types, 0);
    return true;
}

// --- Symbols ---

void note_global(std::vector<bool>& used, uint32_t global) {
    if (global < used.size()) used[global] = true;
}

std::vector<uint32_t> unused_globals(PARTS_FILE& file) {
    std::vector<bool> used(symbol_places(file.parts[SECTION_SYMBOLS], -1).size());
    each_node(file, [&used](PARTS_TREE& node) {
        if (node.op != OP_NAME) return;
        const REFERENCE reference = reference_of(node);
        if (reference.scope == 0) note_global(used, reference.index);
    });
    for (const PARTS_RECORD& record : file.records)
        if (record.kind != RK_STATEMENT) note_global(used, global_of(record));
    for (const PARTS_RECORD& record : file.parts[SECTION_INITIALIZERS]) note_global(used, global_of(record));
    std::vector<uint32_t> unused;
    for (uint32_t global = 0; global < used.size(); ++global)
        if (!used[global]) unused.push_back(global);
    return unused;
}
size_t count_globals(PARTS_FILE& file) { return unused_globals(file).size(); }
bool drop_globals(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<uint32_t> unused = unused_globals(file);
    std::vector<bool> gone(symbol_places(file.parts[SECTION_SYMBOLS], -1).size());
    for (size_t i = first; i < first + count; ++i) gone[unused[i]] = true;
    remove_globals(file, gone);
    return true;
}

struct LOCAL {
    int function;
    uint32_t number;
};

// The symbols of a function's body that no tree names.
void collect_unused_locals(PARTS_FILE& file, int function, size_t parameters, std::vector<LOCAL>& unused) {
    std::vector<bool> used(symbol_places(file.records, function).size());
    for (PARTS_RECORD& record : file.records)
        if (record.function == function)
            for (PARTS_TREE& tree : record.trees)
                each_node(tree, [&used](PARTS_TREE& node) {
                    if (node.op != OP_NAME) return;
                    const REFERENCE reference = reference_of(node);
                    if (reference.scope == 1) note_global(used, reference.index);
                });
    for (size_t number = parameters; number < used.size(); ++number)
        if (!used[number]) unused.push_back({function, static_cast<uint32_t>(number)});
}

std::vector<LOCAL> unused_locals(PARTS_FILE& file) {
    std::vector<LOCAL> unused;
    for (const FUNCTION_PLACE& place : function_places(file))
        collect_unused_locals(file, file.records[place.begin].function, place.parameters, unused);
    return unused;
}
size_t count_locals(PARTS_FILE& file) { return unused_locals(file).size(); }
bool drop_locals(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<LOCAL> unused = unused_locals(file);
    for (size_t i = first; i < first + count;) {
        const int function = unused[i].function;
        std::vector<bool> gone(symbol_places(file.records, function).size());
        for (; i < first + count && unused[i].function == function; ++i) gone[unused[i].number] = true;
        remove_locals(file, function, gone);
    }
    return true;
}

// --- Types ---

// The types that a type record names, itself left out.
std::vector<uint32_t> named_types(const PARTS_RECORD& record) {
    std::vector<uint32_t> named;
    bool own = record.kind == RK_TYPE;
    for (const PARTS_FIELD& field : split_fields(record)) {
        if (field.code != 't') continue;
        if (!own) named.push_back(static_cast<uint32_t>(uleb_number(field.bytes)));
        own = false;
    }
    return named;
}

struct TYPE_USES {
    std::vector<std::vector<uint32_t>> named{}; // by type: those that its records name
    std::vector<bool> used{};

    void use(uint32_t type) {
        std::vector<uint32_t> waiting{type};
        while (!waiting.empty()) {
            const uint32_t next = waiting.back();
            waiting.pop_back();
            if (next >= used.size() || used[next]) continue;
            used[next] = true;
            waiting.insert(waiting.end(), named[next].begin(), named[next].end());
        }
    }
};

// A member: the structure's type and the key.
using MEMBER_KEY = std::pair<uint32_t, uint64_t>;

MEMBER_KEY member_of(const PARTS_TREE& field) {
    const std::string_view payload = std::string_view(field.payload).substr(1);
    size_t place = 0;
    while (place < payload.size() && (payload[place] & 0x80)) ++place;
    const uint64_t type = place + 1 < payload.size() ? uleb_number(payload.substr(place + 1)) : 0;
    return {static_cast<uint32_t>(type), uleb_number(payload)};
}

std::vector<uint32_t> unused_types(PARTS_FILE& file) {
    TYPE_USES uses;
    uint32_t last = 0;
    for (const PARTS_RECORD& record : file.parts[SECTION_TYPES])
        last = std::max(last, type_of_record(record));
    uses.named.resize(last + 1);
    uses.used.resize(last + 1);
    for (const PARTS_RECORD& record : file.parts[SECTION_TYPES])
        for (const uint32_t type : named_types(record)) uses.named[type_of_record(record)].push_back(type);
    for (const std::vector<PARTS_RECORD>* records : {&file.parts[SECTION_SYMBOLS], &file.records})
        for (const PARTS_RECORD& record : *records)
            if (record.kind == RK_SYMBOL) uses.use(type_of_symbol(record));
    each_node(file, [&uses](PARTS_TREE& node) {
        uses.use(node.type);
        if (node.op == OP_FIELD) uses.use(member_of(node).first);
    });
    std::vector<uint32_t> unused;
    for (uint32_t type = 1; type <= last; ++type)
        if (!uses.used[type]) unused.push_back(type);
    return unused;
}
size_t count_types(PARTS_FILE& file) { return unused_types(file).size(); }
bool drop_types(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<uint32_t> unused = unused_types(file);
    uint32_t last = 0;
    for (const PARTS_RECORD& record : file.parts[SECTION_TYPES])
        last = std::max(last, type_of_record(record));
    std::vector<bool> gone(last + 1);
    for (size_t i = first; i < first + count; ++i) gone[unused[i]] = true;
    remove_types(file, gone);
    return true;
}

// Enumerators, and members that no FIELD names. A FIELD may name its structure by another type that is made
// of it; the check of the rules finds that.
std::vector<size_t> type_parts(PARTS_FILE& file) {
    constexpr char ENUMERATOR = 23, MEMBER = 24;
    std::set<MEMBER_KEY> named;
    each_node(file, [&named](PARTS_TREE& node) {
        if (node.op == OP_FIELD) named.insert(member_of(node));
    });
    std::vector<size_t> parts;
    for (size_t i = 0; i < file.parts[SECTION_TYPES].size(); ++i) {
        const PARTS_RECORD& record = file.parts[SECTION_TYPES][i];
        const std::vector<PARTS_FIELD> fields = split_fields(record);
        if (fields.size() < 2) continue;
        const char kind = fields[1].bytes[0];
        const MEMBER_KEY key{type_of_record(record), uleb_number(fields.back().bytes)};
        if (kind == ENUMERATOR || (kind == MEMBER && !named.contains(key))) parts.push_back(i);
    }
    return parts;
}
size_t count_parts(PARTS_FILE& file) { return type_parts(file).size(); }
bool drop_parts(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<size_t> parts = type_parts(file);
    std::vector<bool> gone(file.parts[SECTION_TYPES].size());
    for (size_t i = first; i < first + count; ++i) gone[parts[i]] = true;
    remove_records(file.parts[SECTION_TYPES], gone);
    return true;
}

constexpr REDUCTION TABLES[] = {
    {"initializers", count_initializers, drop_initializers},
    {"ends of initializers", count_with_items, halve_items},
    {"initial values", count_initial_values, clear_initial_values},
    {"global symbols", count_globals, drop_globals},
    {"local symbols", count_locals, drop_locals},
    {"types", count_types, drop_types},
    {"members", count_parts, drop_parts},
};

} // namespace

std::span<const REDUCTION> table_reductions() { return TABLES; }

} // namespace pelorus
