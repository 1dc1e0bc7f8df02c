// Records, tables and sections of an icode file; see reader.h. Trees are in tree_reader.cpp.
//
// Each record is read inside a frame, which keeps the fields from passing the record's end and, when the
// record is done, tells whether its length was right. Whatever is wrong ends in icode_fault.
#include "icode/reader.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "icode/reader_state.h"
#include "ir/funinfo.h"
#include "memory/zone.h"
#include "support/trace.h"

namespace pelorus {

void (*icode_exit)(int status) = exit;

void (*icode_complain)(const char* message) = [](const char* message) {
    fprintf(stderr, "\n>> %s\n", message);
    fflush(stderr);
};

namespace {

// "FILE: offset 0x12: " and the formatted text.
std::string fault_text(const ICODE_READER& reader, uint64_t offset, const char* format, va_list arguments) {
    char place[40];
    snprintf(place, sizeof place, ": offset 0x%lx: ", static_cast<unsigned long>(offset));
    char* text = nullptr;
    if (vasprintf(&text, format, arguments) < 0) text = nullptr;
    std::string message = reader.name + place + (text ? text : format);
    free(text);
    return message;
}

} // namespace

void icode_fault(const ICODE_READER& reader, uint64_t offset, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string message = fault_text(reader, offset, format, arguments);
    va_end(arguments);
    icode_complain(message.c_str());
    icode_exit(1);
    abort();
}

FRAME open_frame(ICODE_READER& reader, uint8_t kind, uint64_t start) {
    const uint32_t length = reader.in.uleb();
    const uint64_t end = reader.in.offset() + length;
    const uint64_t outer_limit = reader.in.limit();
    if (end > outer_limit)
        icode_fault(reader, start, "a record of kind %d and %u bytes passes the end of %s", kind, length,
                    outer_limit == reader.in.size() ? "the file" : "what holds it");
    reader.in.set_limit(end);
    return {kind, start, end, outer_limit};
}

void close_frame(ICODE_READER& reader, const FRAME& frame) {
    if (reader.in.offset() != frame.end)
        icode_fault(reader, frame.start,
                    "the length of this record of kind %d ends at 0x%lx, its contents at 0x%lx", frame.kind,
                    static_cast<unsigned long>(frame.end), static_cast<unsigned long>(reader.in.offset()));
    reader.in.set_limit(frame.outer_limit);
}

namespace {

// The tables grow with the file; what the heap cannot hold ends the run with the tables' own message.
template <class T>
void append(std::vector<T>& table, const T& item) {
    try {
        table.push_back(item);
    } catch (const std::bad_alloc&) {
        fprintf(stderr, ">> out of memory\n");
        icode_exit(1);
    }
}

const char* file_name_of(const ICODE_READER& reader, uint32_t index) {
    return index && index <= reader.file_names.size() ? reader.file_names[index - 1] : nullptr;
}

} // namespace

POSITION read_position(ICODE_READER& reader) {
    const uint32_t file = reader.in.uleb();
    if (!file) return {};
    const uint32_t line = reader.in.uleb();
    return {file_name_of(reader, file), line, reader.in.uleb()};
}

TYPE* read_type_index(ICODE_READER& reader) {
    const uint64_t at = reader.in.offset();
    const uint32_t number = reader.in.uleb();
    if (!number) return type_package()->void_type();
    TYPE* type = type_package()->find_type(number);
    if (!type) icode_fault(reader, at, "type %u does not exist", number);
    return type;
}

namespace {

SYMBOL* read_global_index(ICODE_READER& reader) {
    const uint64_t at = reader.in.offset();
    const uint32_t index = reader.in.uleb();
    if (index >= reader.global_symbols.size())
        icode_fault(reader, at, "global symbol %u does not exist; there are %zu", index,
                    reader.global_symbols.size());
    return reader.global_symbols[index];
}

// uleb count, then strings, kept in the zone.
std::vector<const char*> read_strings(ICODE_READER& reader, bool local) {
    std::vector<const char*> strings;
    for (uint32_t count = reader.in.uleb(); count; --count) {
        const std::string_view text = reader.in.string();
        append(strings, static_cast<const char*>(zone_string(local, text)));
    }
    return strings;
}

// --- Pragmas and symbols ---

PRAGMA* read_pragma_body(ICODE_READER& reader, bool local) {
    auto* pragma = zone_new<PRAGMA>(local);
    pragma->kind = static_cast<uint8_t>(reader.in.uleb());
    const std::vector<const char*> strings = read_strings(reader, local);
    pragma->count = static_cast<uint32_t>(strings.size());
    pragma->strings = zone_array<const char*>(local, strings.size());
    std::copy(strings.begin(), strings.end(), pragma->strings);
    return pragma;
}

// The 94 records that stand behind a symbol's own record.
void read_attached_pragmas(ICODE_READER& reader, SYMBOL* symbol, int count) {
    PRAGMA** place = &symbol->pragmas;
    for (; count > 0; --count) {
        const uint64_t start = reader.in.offset();
        const uint8_t kind = reader.in.byte();
        if (kind != RK_PRAGMA)
            icode_fault(reader, start, "a record of kind %d where a pragma of symbol \"%.80s\" is expected",
                        kind, symbol->name);
        const FRAME frame = open_frame(reader, kind, start);
        *place = read_pragma_body(reader, symbol->local != 0);
        place = &(*place)->next;
        close_frame(reader, frame);
    }
}

SYMBOL* read_symbol_body(ICODE_READER& reader, int level, int8_t& pragmas) {
    SYMBOL_FIELDS fields{};
    const std::string name(reader.in.string());
    fields.name = name.c_str();
    fields.size = reader.in.uleb();
    fields.offset = reader.in.uleb();
    fields.storage_class = reader.in.signed_byte();
    fields.flags = reader.in.half() & FILE_SYMBOL_FLAGS;
    fields.type = read_type_index(reader);
    fields.align = reader.in.uleb();
    pragmas = reader.in.signed_byte();
    fields.order = reader.in.uleb();
    fields.fifth = reader.in.uleb();
    fields.position = read_position(reader);
    return new_file_symbol(fields, level);
}

// A whole symbol; `start` is the offset of its kind byte, which was read. Positions take their file names
// from the table, so that a global symbol's file is in it already.
void read_symbol(ICODE_READER& reader, uint64_t start) {
    const int level = reader.in_function;
    const FRAME frame = open_frame(reader, RK_SYMBOL, start);
    int8_t pragmas = 0;
    SYMBOL* symbol = read_symbol_body(reader, level, pragmas);
    close_frame(reader, frame);
    read_attached_pragmas(reader, symbol, pragmas);
    append(level ? reader.local_symbols : reader.global_symbols, symbol);
    if (level) {
        append(reader.open_symbols, symbol);
        symbol->position.scope = reader.scope_numbers.back();
    }
    if (reader.client.symbol) reader.client.symbol(reader.client.context, symbol, level);
}

// --- Types ---

TYPE_FIELD read_position_field(ICODE_READER& reader) {
    TYPE_FIELD field{.position = nullptr};
    const POSITION position = read_position(reader);
    if (position.present()) {
        field.position = zone_new<POSITION>(false);
        *field.position = position;
    }
    return field;
}

bool enumeration_is_signed(const TYPE* owner) { return owner && owner->base && type_is_signed(owner->base); }

TYPE_FIELD read_type_field(ICODE_READER& reader, char code, const TYPE* owner) {
    switch (code) {
    case 'f':
    case 'y': return {.number = reader.in.byte()};
    case 'b': return {.number = reader.in.signed_byte()};
    case 'u': return {.number = reader.in.uleb()};
    case 'l': return {.number = reader.in.sleb64()};
    case 't': return {.type = type_package()->type_of(reader.in.uleb())};
    case 's': return {.text = zone_string(false, reader.in.string())};
    case 'v':
        return {.number = enumeration_is_signed(owner) ? reader.in.sleb64()
                                                       : static_cast<int64_t>(reader.in.uleb64())};
    default: return read_position_field(reader);
    }
}

const ICODE_READER* type_reader; // whose types are being read, for the place of a type error

void print_type_place() {
    fprintf(stderr, ">> %s: offset 0x%lx\n", type_reader->name.c_str(),
            static_cast<unsigned long>(type_reader->in.offset()));
}

void read_type(ICODE_READER& reader, uint64_t start) {
    const FRAME frame = open_frame(reader, RK_TYPE, start);
    const uint32_t number = reader.in.uleb();
    if (number == 0) icode_fault(reader, start, "a type with index 0");
    const uint8_t kind = reader.in.byte();
    const std::vector<FIELD_LAYOUT>* layout = type_layout(kind);
    if (!layout) { // a kind that is not known has no effect
        reader.in.seek(frame.end);
        close_frame(reader, frame);
        return;
    }
    TYPE* owner = type_package()->find_type(number);
    reader.type_fields.clear();
    for (const FIELD_LAYOUT& field : *layout)
        reader.type_fields.push_back(read_type_field(reader, field.code, owner));
    close_frame(reader, frame);
    type_package()->add_record(number, kind, reader.type_fields.data());
}

// --- Functions and scopes ---

void require_function(ICODE_READER& reader, int depth, const char* what) {
    if (reader.in_function < depth)
        icode_fault(reader, reader.record_start, "%s outside the body of a function", what);
}

// Parameters live as long as the body.
void open_function_scopes(ICODE_READER& reader) {
    reader.scopes.assign(1, 0);
    reader.scope_numbers.assign(1, WHOLE_FUNCTION);
    reader.last_scope = WHOLE_FUNCTION;
}

void open_scope(ICODE_READER& reader, uint32_t number) {
    append(reader.scopes, reader.open_symbols.size());
    append(reader.scope_numbers, number);
}

uint32_t innermost_scope(const ICODE_READER& reader) {
    return reader.scope_numbers.empty() ? UNKNOWN_SCOPE : reader.scope_numbers.back();
}

void begin_function(ICODE_READER& reader) {
    if (reader.in_function) icode_fault(reader, reader.record_start, "a function begins inside another one");
    const POSITION position = read_position(reader);
    SYMBOL* symbol = read_global_index(reader);
    reader.in_function = 1;
    reader.local_symbols.clear();
    reader.open_symbols.clear();
    open_function_scopes(reader);
    begin_checks(reader, symbol);
    trace("<> %s FUNCTION \"%s\" **********\n", "BEGIN", symbol->name);
    if (reader.client.begin_function)
        reader.client.begin_function(reader.client.context, symbol, position, reader.record_start);
}

// Ends the innermost scope: its symbols learn where it ended, and the number of the last scope inside it.
void close_scope(ICODE_READER& reader, const POSITION& position) {
    const size_t first = reader.scopes.back();
    reader.scopes.pop_back();
    reader.scope_numbers.pop_back();
    POSITION end = position;
    end.scope = reader.last_scope;
    for (size_t i = first; i < reader.open_symbols.size(); ++i) end_symbol_scope(reader.open_symbols[i], end);
    reader.open_symbols.resize(first);
}

void end_function(ICODE_READER& reader) {
    require_function(reader, 1, "a function end");
    const POSITION position = read_position(reader);
    while (!reader.scopes.empty()) close_scope(reader, position);
    reader.in_function = 0;
    reader.function = nullptr;
    reader.local_symbols.clear(); // they end with the function; nothing behind it can name them
    reader.function_ended = true;
    if (reader.client.end_function) reader.client.end_function(reader.client.context, position);
}

void begin_block(ICODE_READER& reader) {
    require_function(reader, 2, "a block begin");
    const POSITION position = read_position(reader);
    reader.in_function++;
    open_scope(reader, ++reader.last_scope);
    if (reader.client.begin_block) reader.client.begin_block(reader.client.context, position);
}

void end_block(ICODE_READER& reader) {
    require_function(reader, 3, "a block end");
    const POSITION position = read_position(reader);
    reader.in_function--;
    close_scope(reader, position);
    if (reader.client.end_block) reader.client.end_block(reader.client.context, position);
}

void begin_body(ICODE_READER& reader) {
    if (reader.in_function != 1)
        icode_fault(reader, reader.record_start, "a body begins where no function has begun");
    const POSITION position = read_position(reader);
    reader.in_function = 2;
    open_scope(reader, WHOLE_FUNCTION);
    if (reader.client.begin_body) reader.client.begin_body(reader.client.context, position);
}

// --- Statements and what else has text ---

void read_statement(ICODE_READER& reader) {
    require_function(reader, 2, "a statement");
    POSITION position = read_position(reader);
    position.scope = innermost_scope(reader);
    const uint64_t start = reader.in.offset();
    reader.in_statement = true;
    NODE* tree = read_tree(reader, true);
    reader.in_statement = false;
    check_statement(reader, tree, start);
    if (reader.client.statement) reader.client.statement(reader.client.context, tree, position);
}

void read_label_definition(ICODE_READER& reader) {
    require_function(reader, 2, "a label definition");
    const uint32_t number = reader.in.uleb();
    if (number == 0 || number > icode_limits.labels)
        icode_fault(reader, reader.record_start, "label %u is not in the range 1 to %u", number,
                    icode_limits.labels);
    if (reader.client.label) reader.client.label(reader.client.context, number);
}

void read_text_record(ICODE_READER& reader, uint8_t kind) {
    const std::string text(reader.in.string());
    POSITION position = kind == RK_ASSEMBLY ? read_position(reader) : POSITION{};
    position.scope = innermost_scope(reader);
    if (kind == RK_COMMENT && text.starts_with(";")) return;
    if (reader.in_function == 1)
        icode_fault(reader, reader.record_start, "text before the body of its function");
    if (reader.client.assembly)
        reader.client.assembly(reader.client.context, kind, text.c_str(), position, reader.in_function != 0);
}

void read_pragma(ICODE_READER& reader) {
    const bool in_function = reader.in_function != 0;
    PRAGMA* pragma = read_pragma_body(reader, in_function);
    if (reader.client.pragma) reader.client.pragma(reader.client.context, pragma, in_function);
}

void read_initializer(ICODE_READER& reader, uint64_t start) {
    SYMBOL* symbol = read_global_index(reader);
    if (symbol->init_trees)
        icode_fault(reader, start, "a second initializer of symbol \"%.80s\"", symbol->name);
    const bool local = node_factory.local;
    node_factory.local = false;
    INIT_ITEM** place = &symbol->init_trees;
    for (bool more = true; more;) {
        auto* item = zone_new<INIT_ITEM>(false);
        const uint64_t item_start = reader.in.offset();
        item->tree = read_tree(reader, true);
        check_item(reader, item->tree, item_start);
        *place = item;
        place = &item->next;
        more = item->tree->op != OP_ENDINIT;
    }
    while (reader.in.offset() < reader.in.limit()) read_tree(reader, true); // behind ENDINIT nothing counts
    node_factory.local = local;
    if (reader.client.initializer) reader.client.initializer(reader.client.context, symbol);
}

// --- Records that are decoded for their form alone ---

void skip_field(ICODE_READER& reader, char code) {
    switch (code) {
    case 'y':
    case 'b': reader.in.byte(); break;
    case 'h': reader.in.half(); break;
    case 'w': reader.in.word(); break;
    case 'u': reader.in.uleb(); break;
    case 'l': reader.in.sleb64(); break;
    case 's': reader.in.string(); break;
    case 'p': read_position(reader); break;
    case 't': read_type_index(reader); break;
    case 'g': reader.in.uleb(); break;
    case 'm':
        for (int count = reader.in.byte(); count; --count) reader.in.half();
        break;
    default: reader.in.seek(reader.in.limit()); break;
    }
}

void skip_fields(ICODE_READER& reader, const RECORD_LAYOUT& layout) {
    for (const FIELD_LAYOUT& field : layout.fields) skip_field(reader, field.code);
}

// The second form of function begin and end only moves the counter.
void other_begin(ICODE_READER& reader) {
    if (reader.in_function) icode_fault(reader, reader.record_start, "a function begins inside another one");
    skip_fields(reader, *record_layout(RK_OTHER_BEGIN));
    reader.in_function = 1;
    reader.local_symbols.clear();
    reader.open_symbols.clear();
    open_function_scopes(reader);
    begin_checks(reader, nullptr);
}

void other_end(ICODE_READER& reader) {
    skip_fields(reader, *record_layout(RK_OTHER_END));
    reader.in_function = 0;
    reader.local_symbols.clear();
}

void add_file_name(ICODE_READER& reader) {
    const std::string_view name = reader.in.string();
    append(reader.file_names, static_cast<const char*>(zone_string(false, name)));
}

void function_place(ICODE_READER& reader) {
    const POSITION position = read_position(reader);
    if (reader.client.function_place) reader.client.function_place(reader.client.context, position);
}

// The body of a top-level record of a known kind.
void dispatch(ICODE_READER& reader, const RECORD_LAYOUT& layout, uint64_t start) {
    switch (layout.kind) {
    case RK_FUNCTION_BEGIN: begin_function(reader); break;
    case RK_FUNCTION_END: end_function(reader); break;
    case RK_BLOCK_BEGIN: begin_block(reader); break;
    case RK_BLOCK_END: end_block(reader); break;
    case RK_BODY_BEGIN: begin_body(reader); break;
    case RK_FUNCTION_PLACE: function_place(reader); break;
    case RK_ASSEMBLY:
    case RK_COMMENT: read_text_record(reader, layout.kind); break;
    case RK_LABEL_DEFINITION: read_label_definition(reader); break;
    case RK_STATEMENT: read_statement(reader); break;
    case RK_PRAGMA: read_pragma(reader); break;
    case RK_TREE: read_tree(reader, false); break;
    case RK_INITIALIZER: read_initializer(reader, start); break;
    case RK_OTHER_BEGIN: other_begin(reader); break;
    case RK_OTHER_END: other_end(reader); break;
    case RK_FILE_NAME: add_file_name(reader); break;
    default: skip_fields(reader, layout); break;
    }
}

bool is_top_level(uint8_t kind) { return record_layout(kind) && kind != RK_HEADER && kind != RK_STRING_LIST; }

void report_unknown_record(ICODE_READER& reader, uint8_t kind, uint64_t start) {
    reader.in.uleb(); // its body is read as records
    fprintf(stderr, "\n///ERROR @0x%lx\n\n", static_cast<unsigned long>(start));
    if (start <= reader.last_unknown) return; // a body that is read again
    reader.last_unknown = start;
    if (++reader.unknown_records > icode_limits.unknown_records)
        icode_fault(reader, start, "kind %d: more than %u unknown records", kind,
                    icode_limits.unknown_records);
}

} // namespace

int read_record(ICODE_READER& reader) {
    const uint64_t start = reader.record_start = reader.in.offset();
    const uint8_t kind = reader.in.byte();
    if (kind == RK_END) return kind;
    if (!is_top_level(kind)) {
        report_unknown_record(reader, kind, start);
    } else if (kind == RK_SYMBOL) { // its pragmas stand behind its body
        read_symbol(reader, start);
    } else if (kind == RK_TYPE) {
        read_type(reader, start);
    } else {
        const FRAME frame = open_frame(reader, kind, start);
        dispatch(reader, *record_layout(kind), start);
        close_frame(reader, frame);
    }
    return kind;
}

// --- Sections ---

namespace {

// Reads the records of a section with `read_one`, which takes the offset of the kind byte, up to the end
// marker.
template <class F>
void read_section(ICODE_READER& reader, SECTION section, uint8_t expected, F read_one) {
    if (!reader.sections[section]) return;
    reader.in.seek(reader.sections[section]);
    for (;;) {
        const uint64_t start = reader.record_start = reader.in.offset();
        const uint8_t kind = reader.in.byte();
        if (kind == RK_END) return;
        if (expected && kind != expected) {
            if (expected == RK_FILE_NAME) return;
            icode_fault(reader, start, "a record of kind %d in the section for kind %d", kind, expected);
        }
        read_one(start);
    }
}

void read_string_list(ICODE_READER& reader, uint64_t start) {
    const FRAME frame = open_frame(reader, RK_STRING_LIST, start);
    STRING_LIST list;
    list.id = reader.in.uleb();
    list.strings = read_strings(reader, false);
    close_frame(reader, frame);
    append(reader.string_lists, list);
}

void read_framed(ICODE_READER& reader, uint8_t kind, uint64_t start) {
    const FRAME frame = open_frame(reader, kind, start);
    dispatch(reader, *record_layout(kind), start);
    close_frame(reader, frame);
}

} // namespace

void read_whole_file(ICODE_READER& reader) {
    register_own_opcodes();
    const uint64_t stream = reader.in.offset();
    // A type record takes at least three bytes, so that a larger number is no count of anything.
    type_package()->set_number_limit(reader.in.size() / 3 + 1);
    type_reader = &reader;
    type_error_place = print_type_place;
    reader.checks_trees = reader.client.wants_good_trees;
    read_section(reader, SECTION_FILE_NAMES, RK_FILE_NAME,
                 [&](uint64_t start) { read_framed(reader, RK_FILE_NAME, start); });
    read_section(reader, SECTION_TYPES, RK_TYPE, [&](uint64_t start) { read_type(reader, start); });
    type_package()->finish_types();
    read_section(reader, SECTION_SYMBOLS, RK_SYMBOL, [&](uint64_t start) { read_symbol(reader, start); });
    read_section(reader, SECTION_INITIALIZERS, RK_INITIALIZER,
                 [&](uint64_t start) { read_framed(reader, RK_INITIALIZER, start); });
    reader.in.seek(stream);
    while (read_record(reader) != RK_END) {
    }
    reader.checks_trees = false;
    type_error_place = nullptr;
    if (reader.in_function) icode_fault(reader, reader.record_start, "the file ends inside a function");
}

void read_function_body(ICODE_READER& reader, uint64_t offset) {
    if (offset) reader.in.seek(offset);
    reader.function_ended = false;
    while (!reader.function_ended)
        if (read_record(reader) == RK_END)
            icode_fault(reader, reader.record_start, "the file ends inside a function");
}

void skip_function_body(ICODE_READER& reader) {
    uint8_t kind;
    do {
        reader.record_start = reader.in.offset();
        kind = reader.in.byte();
        if (kind == RK_END) icode_fault(reader, reader.record_start, "the file ends inside a function");
        const FRAME frame = open_frame(reader, kind, reader.record_start);
        reader.in.seek(frame.end);
        close_frame(reader, frame);
    } while (kind != RK_FUNCTION_END);
    reader.in_function = 0;
}

// --- Opening and closing ---

namespace {

struct NOT_ICODE {};

// Reads the header; throws NOT_ICODE when it is none. An exception, so that whatever is wrong with the bytes
// of the header means the same: this is no icode file.
void read_header(ICODE_READER& reader) {
    const auto require = [](bool condition) {
        if (!condition) throw NOT_ICODE();
    };
    require(reader.in.byte() == RK_HEADER);
    const uint32_t length = reader.in.uleb();
    const uint64_t end = reader.in.offset() + length;
    require(end <= reader.in.size());
    reader.in.set_limit(end);
    require(reader.in.string() == ICODE_MAGIC);
    require(static_cast<int16_t>(reader.in.half()) == ICODE_VERSION_A);
    require(static_cast<int16_t>(reader.in.half()) == ICODE_VERSION_B);
    for (uint32_t& section : reader.sections) section = reader.in.word();
    reader.source_name = reader.in.string();
    require(reader.in.offset() == end);
    reader.in.set_no_limit();
}

void header_fault(void*, const char*) { throw NOT_ICODE(); }
void record_fault(void* context, const char* message) {
    const auto& reader = *static_cast<ICODE_READER*>(context);
    icode_fault(reader, reader.in.offset(), "%s", message);
}

bool open_header(ICODE_READER& reader, FILE* stream) {
    reader.in.fault = header_fault;
    if (!reader.in.open(stream)) return false;
    try {
        read_header(reader);
    } catch (const NOT_ICODE&) {
        return false;
    }
    reader.in.fault = record_fault;
    reader.in.fault_context = &reader;
    return true;
}

} // namespace

ICODE_READER* open_icode(FILE* stream, const char* name, const ICODE_CLIENT& client) {
    auto reader = std::make_unique<ICODE_READER>();
    reader->name = name;
    reader->client = client;
    if (!open_header(*reader, stream)) return nullptr;
    register_file_opcodes();
    const uint64_t records = reader->in.offset();
    ICODE_READER& opened = *reader;
    read_section(opened, SECTION_STRING_LISTS, 0, [&](uint64_t start) { read_string_list(opened, start); });
    opened.in.seek(records);
    return reader.release();
}

void close_icode(ICODE_READER* reader) {
    reader->in.close();
    delete reader;
}

const char* icode_source_name(const ICODE_READER& reader) { return reader.source_name.c_str(); }
const std::vector<STRING_LIST>& icode_string_lists(const ICODE_READER& reader) { return reader.string_lists; }
const std::vector<SYMBOL*>& icode_global_symbols(const ICODE_READER& reader) { return reader.global_symbols; }

} // namespace pelorus
