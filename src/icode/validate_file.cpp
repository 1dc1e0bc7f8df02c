// The validator's way through a file; see validate_file.h.
//
//   1. the header;
//   2. the sections, in the order in which one needs the other: file names, types, symbols, string lists,
//      initializers;
//   3. the records behind the header;
//   4. what only the whole shows: that no byte was left out, and what the symbols should have had.
#include "icode/validate_file.h"

#include <algorithm>

#include "icode/validate_state.h"
#include "memory/zone.h"

namespace pelorus {

namespace {

// A part of the file: from `start` to the byte behind its end marker.
struct BYTE_RANGE {
    size_t start;
    size_t end;
};

struct FILE_WALK {
    VALIDATOR& v;
    size_t header_end = 0;
    std::vector<BYTE_RANGE> extents;
    bool complete = true; // every part could be followed to its end
};

constexpr uint8_t SECTION_KINDS[SECTION_COUNT] = {RK_STRING_LIST, RK_INITIALIZER, RK_TYPE, RK_FILE_NAME,
                                                  RK_SYMBOL};

// --- The header ---

enum HEADER_FIELD { H_MAGIC, H_VERSION_A, H_VERSION_B, H_SECTIONS };

bool check_header(FILE_WALK& walk) {
    VALIDATOR& v = walk.v;
    v.limit = v.bytes.size();
    RECORD_FRAME frame;
    if (v.bytes.empty() || static_cast<uint8_t>(v.bytes[0]) != RK_HEADER) {
        file_fault(v, RULE_F1, 0, "the file does not begin with a header");
        return false;
    }
    if (!open_record(v, frame) || !take_fields(v, record_layout(RK_HEADER)->fields, nullptr)) return false;
    check_own_size(v, frame);
    const bool good = v.fields[H_MAGIC].text == std::string_view(ICODE_MAGIC) &&
                      v.fields[H_VERSION_A].number == static_cast<uint16_t>(ICODE_VERSION_A) &&
                      v.fields[H_VERSION_B].number == static_cast<uint16_t>(ICODE_VERSION_B);
    if (!good) file_fault(v, RULE_F1, 0, "the header has another magic text or version");
    for (size_t i = 0; i < SECTION_COUNT; ++i)
        v.sections[i] = static_cast<uint32_t>(v.fields[H_SECTIONS + i].number);
    close_record(v, frame);
    walk.header_end = frame.end;
    return good;
}

void check_offsets(FILE_WALK& walk) {
    VALIDATOR& v = walk.v;
    for (uint32_t& section : v.sections) {
        if (!section || (section >= walk.header_end && section < v.bytes.size())) continue;
        file_fault(v, RULE_F3, 0, "a section at 0x%x is not in the file behind the header", section);
        section = 0;
        walk.complete = false;
    }
}

// The first section behind an offset, or the end of the file.
size_t next_section(const VALIDATOR& v, size_t offset) {
    size_t next = v.bytes.size();
    for (const uint32_t section : v.sections)
        if (section > offset) next = std::min<size_t>(next, section);
    return next;
}

// --- Records ---

void pass_fields(VALIDATOR& v, const RECORD_FRAME& frame) {
    take_fields(v, record_layout(frame.kind)->fields, nullptr);
}

void take_file_name(VALIDATOR& v) {
    const std::string_view name = take_string(v);
    if (v.good) v.file_names.push_back(name);
}

void take_text(VALIDATOR& v, const RECORD_FRAME& frame) {
    pass_fields(v, frame);
    if (v.function.depth == 1) file_fault(v, RULE_U1, frame.start, "text before the body of its function");
}

// A record among those behind the header. Types and symbols there come too late for whoever has read the
// sections; they are not entered in the tables.
void stream_record(VALIDATOR& v, const RECORD_FRAME& frame) {
    if (is_function_record(frame.kind)) return validate_function_record(v, frame);
    switch (frame.kind) {
    case RK_INITIALIZER:
        // Bodies are read more than once, initializers are not.
        if (v.function.depth) file_fault(v, RULE_F8, frame.start, "an initializer inside a function");
        return validate_initializer_record(v, frame);
    case RK_PRAGMA: return validate_pragma_record(v, frame);
    case RK_ASSEMBLY:
    case RK_COMMENT: return take_text(v, frame);
    case RK_PLACE:
    case RK_NUMBERS_38:
    case RK_NUMBERS_45:
    case RK_NUMBERS_58:
    case RK_HALVES:
    case RK_SYMBOL_REFERENCE: return pass_fields(v, frame);
    default:
        file_fault(v, RULE_F8, frame.start, "a record of kind %d cannot stand here", frame.kind);
        v.at = v.limit;
    }
}

bool has_trees(uint8_t kind) { return record_layout(kind)->nested == NESTED::TREE || kind == RK_INITIALIZER; }

void section_record(VALIDATOR& v, const RECORD_FRAME& frame) {
    switch (frame.kind) {
    case RK_FILE_NAME: return take_file_name(v);
    case RK_TYPE: return validate_type_record(v, frame);
    case RK_INITIALIZER: return validate_initializer_record(v, frame);
    default: return pass_fields(v, frame);
    }
}

// The end of what was taken; the frame of a symbol is closed where its pragmas are.
void finish_record(VALIDATOR& v, const RECORD_FRAME& frame) {
    if (v.good && !has_trees(frame.kind)) check_own_size(v, frame);
    const bool whole = close_record(v, frame);
    if (!whole && v.function.depth) v.function.is_damaged = true;
    if (v.function.depth == 0) release_local_zone();
}

// What stands at the cursor is no record: it is passed as the reader passes it. False when there were too
// many.
bool pass_unknown(VALIDATOR& v, size_t start, uint8_t kind) {
    file_fault(v, RULE_F6, start, "kind %d is not known", kind);
    v.at = start + 1;
    take_uleb(v);
    if (!v.good || ++v.unknown_records <= icode_limits.unknown_records) return v.good;
    file_fault(v, RULE_L4, start, "more than %u unknown records", icode_limits.unknown_records);
    return false;
}

bool one_record(VALIDATOR& v, int section, uint8_t kind) {
    const size_t start = v.at;
    if (!record_layout(kind)) return pass_unknown(v, start, kind);
    RECORD_FRAME frame;
    if (!open_record(v, frame)) return false;
    if (section >= 0 && kind != SECTION_KINDS[section]) {
        file_fault(v, RULE_F5, start, "a record of kind %d in the section for kind %d", kind,
                   SECTION_KINDS[section]);
        close_record(v, {kind, start, frame.body, v.at = frame.end, frame.outer_limit});
        return true;
    }
    if (kind == RK_SYMBOL && (section >= 0 || v.function.depth)) {
        validate_symbol_record(v, frame);
        return true;
    }
    if (section >= 0)
        section_record(v, frame);
    else
        stream_record(v, frame);
    finish_record(v, frame);
    return true;
}

// Records up to an end marker. `section` is -1 for those behind the header.
void walk_records(FILE_WALK& walk, int section, size_t start) {
    VALIDATOR& v = walk.v;
    v.at = start;
    v.limit = next_section(v, start);
    v.good = true;
    for (;;) {
        if (v.at >= v.limit) {
            file_fault(v, RULE_F4, start, "the %s that begin here have no end",
                       section < 0 ? "records" : "records of a section");
            walk.complete = false;
            break;
        }
        const auto kind = static_cast<uint8_t>(v.bytes[v.at]);
        if (kind == RK_END) {
            v.at++;
            break;
        }
        if (one_record(v, section, kind)) continue;
        walk.complete = false;
        break;
    }
    walk.extents.push_back({start, v.at});
}

void walk_section(FILE_WALK& walk, int section) {
    if (walk.v.sections[section]) walk_records(walk, section, walk.v.sections[section]);
}

// Sections that are empty may be an end marker alone, which no offset names.
void check_extents(FILE_WALK& walk) {
    VALIDATOR& v = walk.v;
    walk.extents.push_back({v.bytes.size(), v.bytes.size()});
    std::sort(walk.extents.begin(), walk.extents.end(),
              [](const BYTE_RANGE& a, const BYTE_RANGE& b) { return a.start < b.start; });
    size_t end = walk.header_end;
    for (const BYTE_RANGE& extent : walk.extents) {
        while (end < extent.start && static_cast<uint8_t>(v.bytes[end]) == RK_END) ++end;
        if (end != extent.start)
            file_fault(v, RULE_F7, end, "%zu bytes belong to no section or to two",
                       end < extent.start ? extent.start - end : end - extent.start);
        end = extent.end;
    }
}

void walk_file(FILE_WALK& walk) {
    VALIDATOR& v = walk.v;
    check_offsets(walk);
    walk_section(walk, SECTION_FILE_NAMES);
    walk_section(walk, SECTION_TYPES);
    validate_all_types(v);
    walk_section(walk, SECTION_SYMBOLS);
    walk_section(walk, SECTION_STRING_LISTS);
    walk_section(walk, SECTION_INITIALIZERS);
    walk_records(walk, -1, walk.header_end);
    if (v.function.depth) {
        file_fault(v, RULE_U1, v.function.offset, "the file ends inside the function");
        leave_function(v);
    }
    if (!walk.complete) return; // what is missing may be in what could not be followed
    check_extents(walk);
    validate_all_symbols(v);
}

// The validator builds nodes and types where the rest of the program does; everything is put back.
struct BORROWED_STATE {
    TYPE_PKG* package = type_package();
    NODE_FACTORY_OPTIONS factory = node_factory;
    FUNCTION_NODE_STATE nodes = function_node_state;

    explicit BORROWED_STATE(TYPE_PKG& own) {
        set_type_package(&own);
        node_factory = {};
    }
    BORROWED_STATE(const BORROWED_STATE&) = delete;
    BORROWED_STATE& operator=(const BORROWED_STATE&) = delete;
    ~BORROWED_STATE() {
        set_type_package(package);
        node_factory = factory;
        function_node_state = nodes;
        release_local_zone();
    }
};

} // namespace

uint64_t validate_icode(std::string_view bytes, uint64_t most, const FILE_FAULT_SINK& sink) {
    VALIDATOR v;
    v.bytes = bytes;
    v.sink = sink;
    v.most = most;
    const BORROWED_STATE borrowed(v.types);
    FILE_WALK walk{v, 0, {}, true};
    if (check_header(walk)) walk_file(walk);
    return v.faults;
}

} // namespace pelorus
