// Records, tables and sections of the output; see writer.h. Trees are in tree_writer.cpp.
#include "icode/writer.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "icode/writer_state.h"
#include "ir/funinfo.h"
#include "support/fatal.h"
#include "support/trace.h"

namespace pelorus {

// --- Bytes ---

void put_byte(ICODE_WRITER& writer, uint8_t byte) {
    if (writer.cursor == ICODE_BUFFER_SIZE) {
        fprintf(stderr, ">> ICODE Buffer size exceeded\n");
        fatal_exit();
    }
    writer.buffer[writer.cursor++] = byte;
}

void put_half(ICODE_WRITER& writer, uint16_t half) {
    put_byte(writer, static_cast<uint8_t>(half));
    put_byte(writer, static_cast<uint8_t>(half >> 8));
}

void put_word(ICODE_WRITER& writer, uint32_t word) {
    put_half(writer, static_cast<uint16_t>(word));
    put_half(writer, static_cast<uint16_t>(word >> 16));
}

size_t encode_uleb(uint64_t value, uint8_t* bytes) {
    size_t count = 0;
    for (; value >= 0x80; value >>= 7) bytes[count++] = static_cast<uint8_t>(value | 0x80);
    bytes[count++] = static_cast<uint8_t>(value);
    return count;
}

size_t uleb_size(uint64_t value) {
    size_t count = 1;
    while (value >>= 7) ++count;
    return count;
}

void put_uleb(ICODE_WRITER& writer, uint64_t value) {
    for (; value >= 0x80; value >>= 7) put_byte(writer, static_cast<uint8_t>(value | 0x80));
    put_byte(writer, static_cast<uint8_t>(value));
}

void put_sleb(ICODE_WRITER& writer, int64_t value) {
    for (;;) {
        const auto group = static_cast<uint8_t>(value & 0x7F);
        value >>= 7;
        if ((value == 0 && !(group & 0x40)) || (value == -1 && (group & 0x40)))
            return put_byte(writer, group);
        put_byte(writer, group | 0x80);
    }
}

void put_bytes(ICODE_WRITER& writer, const void* bytes, size_t count) {
    const auto* from = static_cast<const uint8_t*>(bytes);
    for (size_t i = 0; i < count; ++i) put_byte(writer, from[i]);
}

void put_string(ICODE_WRITER& writer, std::string_view text) {
    put_bytes(writer, text.data(), text.size());
    put_byte(writer, 0);
}

void emit_raw(ICODE_WRITER& writer, const void* bytes, size_t count) {
    fwrite_unlocked(bytes, 1, count, writer.stream); // failures show when the file is closed
    writer.offset += count;
}

void emit(ICODE_WRITER& writer, uint8_t kind, uint64_t nested) {
    uint8_t head[11] = {kind};
    const size_t length = 1 + encode_uleb(writer.cursor + nested, head + 1);
    emit_raw(writer, head, length);
    emit_raw(writer, writer.buffer, writer.cursor);
    writer.cursor = 0;
}

// --- Tables ---

namespace {

uint32_t file_number(ICODE_WRITER& writer, const char* name) {
    if (name == writer.last_file) return writer.last_file_number;
    const auto [known, added] = writer.file_numbers.try_emplace(name, writer.file_names.size() + 1);
    if (added) writer.file_names.push_back(name);
    writer.last_file = name;
    writer.last_file_number = known->second;
    return known->second;
}

// The class as the file had it where reading changed it without a pass's doing.
uint8_t output_class(const SYMBOL& symbol) {
    const bool walks = symbol.file_class == SC_VARARG && symbol.storage_class == SC_ARGUMENT;
    const bool in_register = symbol.file_class == SC_REGISTER_PARM2 && symbol.level == PARAMETER_LEVEL;
    return walks || in_register ? symbol.file_class : symbol.storage_class;
}

int pragma_count(const SYMBOL& symbol) {
    int count = 0;
    for (const PRAGMA* pragma = symbol.pragmas; pragma && count < INT8_MAX; pragma = pragma->next) ++count;
    return count;
}

void put_symbol(ICODE_WRITER& writer, const SYMBOL& symbol) {
    put_string(writer, symbol.name);
    put_uleb(writer, symbol.size);
    put_uleb(writer, symbol.offset);
    put_byte(writer, output_class(symbol));
    put_half(writer, symbol.flags & FILE_SYMBOL_FLAGS);
    put_uleb(writer, symbol.type->uid.number);
    put_uleb(writer, symbol.align);
    put_byte(writer, static_cast<uint8_t>(pragma_count(symbol)));
    put_uleb(writer, symbol.order);
    put_uleb(writer, symbol.fifth);
    put_position(writer, symbol.position);
}

void put_pragma(ICODE_WRITER& writer, const PRAGMA& pragma) {
    put_uleb(writer, pragma.kind);
    put_uleb(writer, pragma.count);
    for (uint32_t i = 0; i < pragma.count; ++i) put_string(writer, pragma.strings[i]);
}

} // namespace

void put_position(ICODE_WRITER& writer, const POSITION& position) {
    if (!position.present()) return put_byte(writer, 0);
    put_uleb(writer, file_number(writer, position.file ? position.file : "NO_FILE"));
    put_uleb(writer, position.line);
    put_uleb(writer, position.column);
}

uint32_t declare_global(ICODE_WRITER& writer, SYMBOL* symbol) {
    if (!symbol->out_index) {
        writer.symbols.push_back(symbol);
        symbol->out_index = static_cast<uint32_t>(writer.symbols.size());
    }
    return symbol->out_index - 1;
}

uint32_t symbol_reference(ICODE_WRITER& writer, SYMBOL* symbol) {
    if (!symbol->local) return declare_global(writer, symbol);
    if (!symbol->out_index)
        fatal_error("\n!!! Symbol \"%s\" is used but was not written !!!\n", symbol->name);
    return symbol->out_index - 1;
}

// --- Echo ---

namespace {

// A number, which says where or which, and a text.
void echo(const char* name, int kind, long number, const char* text) {
    trace("%s\t%d\t%ld\t\t\t;%s\n", name, kind, number, text);
}

void echo_scope(const char* name, int kind, const POSITION& position, const char* text) {
    echo(name, kind, static_cast<long>(position.line), text);
}

// Records without a form of their own go by the name of their kind.
void echo_record(RECORD_KIND kind, size_t number, const char* text) {
    if (debug_on()) echo(record_layout(kind)->name, kind, static_cast<long>(number), text);
}

void echo_pragma(const PRAGMA& pragma) {
    trace("%c[Pragma] %d %d\n", '#', pragma.kind, static_cast<int>(pragma.count));
}

} // namespace

void trace_symbol_header() { trace("-- variable -- size -- offset/class/scqual/aln/stype;\n"); }

void trace_symbol(char mark, const SYMBOL& symbol) {
    if (!debug_on()) return;
    trace("%c   %-11.32s %2ld\t%4ld   %2d  %#6x  %2ld %-16s", mark, symbol.name,
          static_cast<long>(symbol.size), static_cast<long>(symbol.offset), symbol.storage_class,
          symbol.flags, static_cast<long>(symbol.align), type_text(symbol.type).c_str());
    trace("\t; (%d,%d)\n", static_cast<int>(symbol.position.line), static_cast<int>(symbol.position.column));
}

// --- Symbols ---

namespace {

void emit_symbol(ICODE_WRITER& writer, const SYMBOL& symbol) {
    put_symbol(writer, symbol);
    emit(writer, RK_SYMBOL);
    trace_symbol('#', symbol);
    const PRAGMA* pragma = symbol.pragmas;
    for (int count = pragma_count(symbol); count > 0; --count, pragma = pragma->next) {
        put_pragma(writer, *pragma);
        emit(writer, RK_PRAGMA);
        echo_pragma(*pragma);
    }
}

} // namespace

// --- Records of functions ---

void write_function_begin(ICODE_WRITER& writer, SYMBOL* symbol, const POSITION& position) {
    writer.in_function = 1;
    writer.local_symbols = 0;
    writer.calls = 0;
    const uint32_t index = declare_global(writer, symbol);
    put_position(writer, position);
    put_uleb(writer, index);
    symbol->output_offset = writer.offset;
    emit(writer, RK_FUNCTION_BEGIN);
    echo_scope("I_BF", RK_FUNCTION_BEGIN, position, symbol->name);
}

void write_symbol(ICODE_WRITER& writer, SYMBOL* symbol) {
    symbol->out_index = ++writer.local_symbols;
    emit_symbol(writer, *symbol);
}

namespace {

void write_scope_record(ICODE_WRITER& writer, RECORD_KIND kind, const char* echo, const POSITION& position) {
    put_position(writer, position);
    emit(writer, kind);
    echo_scope(echo, kind, position, "");
}

} // namespace

void write_body_begin(ICODE_WRITER& writer, const POSITION& position) {
    writer.in_function = 2;
    write_scope_record(writer, RK_BODY_BEGIN, "I_EA", position);
}

void write_function_place(ICODE_WRITER& writer, const POSITION& position) {
    write_scope_record(writer, RK_FUNCTION_PLACE, "I_EL", position);
}

void write_block_begin(ICODE_WRITER& writer, const POSITION& position) {
    writer.in_function++;
    write_scope_record(writer, RK_BLOCK_BEGIN, "I_BB", position);
}

void write_block_end(ICODE_WRITER& writer, const POSITION& position) {
    writer.in_function--;
    write_scope_record(writer, RK_BLOCK_END, "I_EB", position);
}

void write_function_end(ICODE_WRITER& writer, const POSITION& position) {
    writer.in_function = 0;
    write_scope_record(writer, RK_FUNCTION_END, "I_EF", position);
}

void write_statement(ICODE_WRITER& writer, NODE* tree, const POSITION& position) {
    const uint64_t nested = prepare_tree(writer, wrtree(tree));
    put_position(writer, position);
    emit(writer, RK_STATEMENT, nested);
    emit_waiting(writer);
    trace(".%ld\n", static_cast<long>(position.line));
}

void write_label(ICODE_WRITER& writer, uint32_t number) {
    put_uleb(writer, number);
    emit(writer, RK_LABEL_DEFINITION);
    trace("g%ld:\n", static_cast<long>(number));
}

void write_leaf_note(ICODE_WRITER& writer, const char* function_name) {
    put_byte(writer, 'L');
    emit(writer, RK_NOTE);
    trace("\n%c\t'L':\t%s is a leaf function.\n", '#', function_name);
}

void write_assembly(ICODE_WRITER& writer, const char* text, const POSITION& position) {
    put_string(writer, text);
    put_position(writer, position);
    emit(writer, RK_ASSEMBLY);
    trace("%s\n", text);
}

void write_comment(ICODE_WRITER& writer, const char* text) {
    put_string(writer, text);
    emit(writer, RK_COMMENT);
    trace("%s\n", text);
}

void write_pragma(ICODE_WRITER& writer, const PRAGMA& pragma) {
    put_pragma(writer, pragma);
    emit(writer, RK_PRAGMA);
    echo_pragma(pragma);
}

void write_initializer(ICODE_WRITER& writer, SYMBOL* symbol) {
    uint64_t nested = 0;
    const uint32_t index = declare_global(writer, symbol);
    for (const INIT_ITEM* item = symbol->init_trees; item; item = item->next)
        nested += prepare_tree(writer, wrtree(item->tree));
    put_uleb(writer, index);
    emit(writer, RK_INITIALIZER, nested);
    emit_waiting(writer);
    echo_record(RK_INITIALIZER, index, symbol->name);
}

void write_string_list(ICODE_WRITER& writer, const STRING_LIST& list) { writer.string_lists.push_back(list); }

// --- The file ---

namespace {

void write_header(ICODE_WRITER& writer) {
    put_string(writer, ICODE_MAGIC);
    put_half(writer, static_cast<uint16_t>(ICODE_VERSION_A));
    put_half(writer, static_cast<uint16_t>(ICODE_VERSION_B));
    for (const uint32_t section : writer.sections) put_word(writer, section);
    put_string(writer, writer.source_name);
    emit(writer, RK_HEADER);
    echo_record(RK_HEADER, 0, writer.source_name.c_str());
}

void write_end(ICODE_WRITER& writer) {
    const uint8_t end = RK_END;
    emit_raw(writer, &end, 1);
    echo("END", RK_END, 0, "");
}

void begin_section(ICODE_WRITER& writer, SECTION section) {
    if (writer.offset > UINT32_MAX)
        fatal_error("\n>> %s: the output is larger than 4 GB\n", writer.name.c_str());
    writer.sections[section] = static_cast<uint32_t>(writer.offset);
}

void write_string_lists(ICODE_WRITER& writer) {
    begin_section(writer, SECTION_STRING_LISTS);
    for (const STRING_LIST& list : writer.string_lists) {
        put_uleb(writer, list.id);
        put_uleb(writer, list.strings.size());
        for (const char* text : list.strings) put_string(writer, text);
        emit(writer, RK_STRING_LIST);
        echo_record(RK_STRING_LIST, list.id, "");
    }
    write_end(writer);
}

bool has_signed_enumerators(const TYPE* owner) { return owner->base && type_is_signed(owner->base); }

void put_type_field(ICODE_WRITER& writer, char code, const TYPE_FIELD& field, const TYPE* owner) {
    switch (code) {
    case 'f':
    case 'y':
    case 'b': put_byte(writer, static_cast<uint8_t>(field.number)); break;
    case 'u': put_uleb(writer, static_cast<uint32_t>(field.number)); break;
    case 'l': put_sleb(writer, field.number); break;
    case 't': put_uleb(writer, field.type ? field.type->uid.number : 0); break;
    case 's': put_string(writer, field.text); break;
    case 'v':
        if (has_signed_enumerators(owner))
            put_sleb(writer, field.number);
        else
            put_uleb(writer, static_cast<uint64_t>(field.number));
        break;
    default: put_position(writer, field.position ? *field.position : POSITION{}); break;
    }
}

void echo_type(const TYPE_RECORD& record) {
    const std::string text =
        type_record_name(record.record_kind) + std::string(" ") + type_text(record.owner);
    echo_record(RK_TYPE, record.owner->uid.number, text.c_str());
}

void write_types(ICODE_WRITER& writer) {
    if (writer.types->first_record()) begin_section(writer, SECTION_TYPES);
    for (const TYPE_RECORD* record = writer.types->first_record(); record; record = record->next) {
        put_uleb(writer, record->owner->uid.number);
        put_byte(writer, record->record_kind);
        const TYPE_FIELD* field = record->fields;
        for (const FIELD_LAYOUT& layout : *type_layout(record->record_kind))
            put_type_field(writer, layout.code, *field++, record->owner);
        emit(writer, RK_TYPE);
        if (debug_on()) echo_type(*record);
    }
    write_end(writer);
}

void write_file_names(ICODE_WRITER& writer) {
    begin_section(writer, SECTION_FILE_NAMES);
    size_t number = 0;
    for (const char* name : writer.file_names) {
        put_string(writer, name);
        emit(writer, RK_FILE_NAME);
        echo_record(RK_FILE_NAME, ++number, name);
    }
    write_end(writer);
}

void write_symbols(ICODE_WRITER& writer) {
    begin_section(writer, SECTION_SYMBOLS);
    trace_symbol_header();
    for (const SYMBOL* symbol : writer.symbols) emit_symbol(writer, *symbol);
    write_end(writer);
}

// Sections that name files come before the section of file names wherever the order is free; the symbols'
// positions do not, so their files are entered first.
void enter_symbol_files(ICODE_WRITER& writer) {
    for (const SYMBOL* symbol : writer.symbols)
        if (symbol->position.present())
            file_number(writer, symbol->position.file ? symbol->position.file : "NO_FILE");
}

} // namespace

ICODE_WRITER* create_icode(FILE* stream, const char* name, const char* source_name, TYPE_PKG& types) {
    auto writer = std::make_unique<ICODE_WRITER>();
    setvbuf(stream, nullptr, _IOFBF, ICODE_BUFFER_SIZE);
    writer->stream = stream;
    writer->name = name;
    writer->source_name = source_name;
    writer->types = &types;
    write_header(*writer);
    return writer.release();
}

bool close_icode_writer(ICODE_WRITER* writer) {
    write_end(*writer);
    write_string_lists(*writer);
    write_types(*writer);
    enter_symbol_files(*writer);
    write_file_names(*writer);
    write_symbols(*writer);
    const char* reason = nullptr; // of the first failure
    const auto require = [&reason](bool good) {
        if (!good && !reason) reason = errno ? strerror(errno) : "write failed";
    };
    errno = 0;
    require(fflush(writer->stream) == 0 && !ferror(writer->stream));
    require(fseek(writer->stream, 0, SEEK_SET) == 0);
    if (!reason) write_header(*writer);
    require(fseek(writer->stream, 0, SEEK_END) == 0); // a stream to memory is as long as its position
    require(!ferror(writer->stream));
    require(fclose(writer->stream) == 0);
    if (reason)
        fprintf(stderr, "\n>> Cannot Write Output icode File, %s : %s, Aborting\n", reason,
                writer->name.c_str());
    delete writer;
    return !reason;
}

void abandon_icode_writer(ICODE_WRITER* writer) {
    fclose(writer->stream);
    delete writer;
}

} // namespace pelorus
