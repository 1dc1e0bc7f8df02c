// The tables of a text form; see text_tables.h.
#include "icode/text_tables.h"

#include <algorithm>
#include <cstring>

#include "ir/type.h"

namespace pelorus {

namespace {

constexpr int DEEPEST_TYPE =
    64; // types that are looked through one after the other: what is nested deeper is damaged

// The value of a record's field by name; null when the kind has no such field.
const TEXT_VALUE* field_value(const TEXT_RECORD& record, std::string_view name) {
    for (size_t i = 0; i < record.fields->size(); ++i)
        if ((*record.fields)[i].name == name) return &record.values[i];
    return nullptr;
}

uint64_t field_number(const TEXT_RECORD& record, std::string_view name) {
    const TEXT_VALUE* value = field_value(record, name);
    return value ? value->numbers[0].value : 0;
}

// --- Types ---

// The name of the field that holds the type which a type of this kind is made of.
const char* base_field(uint8_t kind) {
    switch (kind) {
    case TR_POINTER:
    case TR_REFERENCE:
    case TR_RVALUE_REFERENCE: return "target";
    case TR_BITFIELD: return "declared";
    case TR_ARRAY:
    case TR_OPEN_ARRAY:
    case TR_COMPLEX: return "element";
    case TR_FUNCTION: return "return";
    case TR_QUALIFIED:
    case TR_ATOMIC: return "base";
    case TR_ENUMERATION: return "underlying";
    case TR_TYPEDEF: return "type";
    default: return "related";
    }
}

uint64_t qualifiers_of(const TEXT_RECORD& record) {
    return (field_number(record, "const") ? Q_CONST : 0) |
           (field_number(record, "volatile") ? Q_VOLATILE : 0) |
           (field_number(record, "restrict") ? Q_RESTRICT : 0) | field_number(record, "space") << 8;
}

uint64_t count_of(const TEXT_RECORD& record) {
    switch (record.type_kind) {
    case TR_ARRAY: return field_number(record, "count");
    case TR_BITFIELD: return field_number(record, "width");
    case TR_QUALIFIED: return qualifiers_of(record);
    case TR_CSU: return field_number(record, "tag");
    default: return 0;
    }
}

void define_type(TEXT_CONTEXT& context, const TEXT_RECORD& record) {
    TEXT_TABLES& tables = context.filling;
    context.place.last_type = record.type.value;
    if (!record.type.value) return; // 0 means no type
    const auto [place, added] = tables.types.try_emplace(record.type.value);
    if (!added) return;
    TEXT_TYPE& type = place->second;
    type.kind = record.type_kind;
    type.is_unsigned = field_number(record, "unsigned") != 0;
    type.base = field_number(record, base_field(record.type_kind));
    type.count = count_of(record);
    type.size = field_number(record, "size");
    type.align = field_number(record, "align");
    if (const TEXT_VALUE* name = field_value(record, "name")) type.name = name->text;
    tables.type_order.push_back(record.type.value);
    if (type.kind == TR_VOID && !tables.void_type) tables.void_type = record.type.value;
}

void add_member(TEXT_CONTEXT& context, const TEXT_RECORD& record) {
    const uint64_t key = field_number(record, "key");
    context.place.last_keys[record.type.value] = key;
    const auto owner = context.filling.types.find(record.type.value);
    if (owner == context.filling.types.end()) return;
    TEXT_MEMBER_NAMES& members = owner->second.members;
    const std::string_view name = field_value(record, "name")->text;
    if (!members.name_of.try_emplace(key, name).second) members.unique = false;
    if (!members.key_of.try_emplace(name, key).second) members.unique = false;
}

void note_type(TEXT_CONTEXT& context, const TEXT_RECORD& record) {
    if (context.place.section != SECTION_TYPES && context.place.section != TEXT_PLACE::STREAM) return;
    context.place.part_owner = record.type.value;
    if (type_record_role(record.type_kind) == TYPE_ROLE::TYPE) return define_type(context, record);
    if (record.type_kind == TR_MEMBER) add_member(context, record);
    if (record.type_kind != TR_PARAMETER) return;
    const auto owner = context.filling.types.find(record.type.value);
    if (owner != context.filling.types.end()) owner->second.parameters++;
}

// Typedef names, qualifiers and atomic types removed.
const TEXT_TYPE* strip(const TEXT_TABLES& tables, uint64_t index) {
    const TEXT_TYPE* type = tables.type(index);
    for (int depth = 0; type && depth < DEEPEST_TYPE; ++depth) {
        if (type->kind != TR_TYPEDEF && type->kind != TR_QUALIFIED && type->kind != TR_ATOMIC) return type;
        type = tables.type(type->base);
    }
    return nullptr;
}

// --- Symbols ---

void forget_locals(TEXT_PLACE& place, size_t keep) {
    for (; place.visible.size() > keep; place.visible.pop_back())
        place.by_name[place.locals[place.visible.back()].name].pop_back();
}

void leave_function(TEXT_PLACE& place) {
    place.in_function = false;
    if (!place.locals.empty()) place.by_name = {}; // clearing a large table costs its size every time
    place.locals.clear();
    place.visible.clear();
    place.scopes.clear();
    place.calls = 0;
}

void begin_function(TEXT_PLACE& place) {
    leave_function(place);
    place.in_function = true;
}

void end_block(TEXT_PLACE& place) {
    if (place.scopes.empty()) return;
    forget_locals(place, place.scopes.back());
    place.scopes.pop_back();
}

void note_symbol(TEXT_CONTEXT& context, const TEXT_RECORD& record) {
    const TEXT_SYMBOL symbol{field_value(record, "name")->text, field_number(record, "type")};
    TEXT_PLACE& place = context.place;
    if (place.section == SECTION_SYMBOLS) return context.filling.section_globals.push_back(symbol);
    if (place.section != TEXT_PLACE::STREAM) return;
    if (!place.in_function) return context.filling.stream_globals.push_back(symbol);
    place.by_name[symbol.name].push_back(place.locals.size());
    place.visible.push_back(place.locals.size());
    place.locals.push_back(symbol);
}

void note_file(TEXT_CONTEXT& context, std::string_view name) {
    if (context.place.section == SECTION_FILE_NAMES)
        context.filling.section_files.push_back(name);
    else if (context.place.section == TEXT_PLACE::STREAM)
        context.filling.stream_files.push_back(name);
}

// --- Values that are left out ---

struct TYPE_DEFAULT {
    uint8_t kind;
    uint64_t size, align;
};
// Sizes on the target. 0 and 0 where the records say nothing else.
constexpr TYPE_DEFAULT type_defaults[] = {
    {TR_VOID, 0, 1},        {TR_CHAR, 1, 1},        {TR_SHORT, 2, 2},
    {TR_INT, 4, 4},         {TR_LONG, 4, 4},        {TR_FLOAT, 4, 4},
    {TR_DOUBLE, 8, 8},      {TR_LONG_DOUBLE, 8, 8}, {TR_BOOL, 1, 1},
    {TR_WCHAR, 4, 4},       {TR_POINTER, 4, 4},     {TR_REFERENCE, 4, 4},
    {TR_ENUMERATION, 4, 4}, {TR_LONG_LONG, 8, 8},   {TR_RVALUE_REFERENCE, 4, 4},
    {TR_NULLPTR, 4, 4},
};

struct EXTENT {
    uint64_t size, align;
};

EXTENT extent_of(const TEXT_TABLES& tables, uint64_t index) {
    const TEXT_TYPE* type = strip(tables, index);
    return type ? EXTENT{type->size, type->align} : EXTENT{0, 0};
}

EXTENT default_extent(const TEXT_CONTEXT& context, const TEXT_RECORD& record) {
    for (const TYPE_DEFAULT& row : type_defaults)
        if (row.kind == record.type_kind) return {row.size, row.align};
    if (record.type_kind == TR_BITFIELD) return extent_of(context.filling, field_number(record, "container"));
    EXTENT element = extent_of(context.filling, field_number(record, "element"));
    element.size *= field_number(record, "count");
    return element;
}

uint64_t next_key(const TEXT_CONTEXT& context, const TEXT_RECORD& record) {
    const auto last = context.place.last_keys.find(record.type.value);
    return last == context.place.last_keys.end() ? 1 : last->second + 1;
}

uint64_t default_type_number(const TEXT_CONTEXT& context, const TEXT_RECORD& record, std::string_view field) {
    if (field == "size") return default_extent(context, record).size;
    if (field == "align") return default_extent(context, record).align;
    if (field == "unsigned") return record.type_kind == TR_BOOL || record.type_kind == TR_WCHAR;
    if (field == "complete" || field == "prototyped") return 1;
    if (record.type_kind == TR_MEMBER && field == "key") return next_key(context, record);
    if (record.type_kind != TR_FUNCTION || field != "parameters") return 0;
    const TEXT_TYPE* type = context.known.type(record.type.value);
    return type ? type->parameters : 0;
}

uint64_t default_symbol_number(const TEXT_CONTEXT& context, const TEXT_RECORD& record,
                               std::string_view field) {
    const EXTENT extent = extent_of(context.known, field_number(record, "type"));
    if (field == "size") return extent.size;
    if (field == "align") return extent.align;
    const bool ordered = field == "order" && context.place.section == SECTION_SYMBOLS;
    return ordered ? context.filling.section_globals.size() + 1 : 0;
}

uint64_t default_header_number(std::string_view field) {
    if (field == "version_a") return static_cast<uint16_t>(ICODE_VERSION_A);
    return field == "version_b" ? static_cast<uint16_t>(ICODE_VERSION_B) : 0;
}

} // namespace

const TEXT_TYPE* TEXT_TABLES::type(uint64_t index) const {
    const auto found = types.find(index);
    return found == types.end() ? nullptr : &found->second;
}

const TEXT_SYMBOL* TEXT_TABLES::global(uint64_t index) const {
    if (index < section_globals.size()) return &section_globals[index];
    index -= section_globals.size();
    return index < stream_globals.size() ? &stream_globals[index] : nullptr;
}

std::string_view TEXT_TABLES::file(uint64_t index) const {
    if (index-- == 0) return {};
    if (index < section_files.size()) return section_files[index];
    index -= section_files.size();
    return index < stream_files.size() ? stream_files[index] : std::string_view{};
}

void start_pass(TEXT_CONTEXT& context) {
    context.filling = {};
    context.place = {};
}

void finish_pass(TEXT_CONTEXT& context) {
    TEXT_TABLES& tables = context.filling;
    const size_t count = tables.section_globals.size() + tables.stream_globals.size();
    for (uint64_t index = 0; index < count; ++index) {
        const auto [place, added] = tables.global_names.try_emplace(tables.global(index)->name, index);
        if (!added) place->second = TEXT_TABLES::NOT_UNIQUE;
    }
    context.known = std::move(tables);
}

void note_section(TEXT_CONTEXT& context, int section) {
    leave_function(context.place);
    context.place.section = section;
}

void note_end(TEXT_CONTEXT& context) {
    leave_function(context.place);
    context.place.section = TEXT_PLACE::OUTSIDE;
}

void note_record(TEXT_CONTEXT& context, const TEXT_RECORD& record) {
    TEXT_PLACE& place = context.place;
    switch (record.kind) {
    case RK_TYPE: return note_type(context, record);
    case RK_SYMBOL: return note_symbol(context, record);
    case RK_FILE_NAME: return note_file(context, record.values[0].text);
    case RK_FUNCTION_BEGIN:
    case RK_OTHER_BEGIN:
        if (place.section == TEXT_PLACE::STREAM) begin_function(place);
        break;
    case RK_FUNCTION_END:
    case RK_OTHER_END: return leave_function(place);
    case RK_BLOCK_BEGIN: return place.scopes.push_back(place.visible.size());
    case RK_BLOCK_END: return end_block(place);
    default: break;
    }
}

uint64_t note_node(TEXT_CONTEXT& context, const TEXT_NODE& node) {
    return node.op == OP_CALL || node.op == OP_UCALL ? ++context.place.calls : 0;
}

std::optional<uint64_t> default_number(const TEXT_CONTEXT& context, const TEXT_RECORD& record, size_t field) {
    const FIELD_LAYOUT& layout = (*record.fields)[field];
    if (strchr("spnmrvc", layout.code)) return std::nullopt;
    switch (record.kind) {
    case RK_TYPE: return default_type_number(context, record, layout.name);
    case RK_SYMBOL: return default_symbol_number(context, record, layout.name);
    case RK_HEADER: return default_header_number(layout.name);
    default: return 0;
    }
}

bool is_section_offset(const TEXT_RECORD& record, const FIELD_LAYOUT& field) {
    return record.kind == RK_HEADER && field.code == 'w';
}

int unnamed_string(const TEXT_RECORD& record) {
    for (size_t i = 0; i < record.fields->size(); ++i)
        if ((*record.fields)[i].code == 's' && (*record.fields)[i].name != "magic")
            return static_cast<int>(i);
    return -1;
}

int unnamed_number(const TEXT_RECORD& record) {
    return record.kind != RK_TYPE && !record.fields->empty() && strchr("uyb", record.fields->front().code)
               ? 0
               : -1;
}

uint64_t default_node_type(const TEXT_CONTEXT& context, uint8_t op) {
    const OPCODE_CLASS kind = op <= LAST_OPCODE ? opcode_facts[op].kind : OPCODE_CLASS::VALUE;
    return kind == OPCODE_CLASS::CONTROL || kind == OPCODE_CLASS::PARTS ? context.known.void_type : 0;
}

bool text_type_is_signed(const TEXT_TABLES& tables, uint64_t index) {
    for (int depth = 0; depth < DEEPEST_TYPE; ++depth) {
        const TEXT_TYPE* type = strip(tables, index);
        if (!type) return false;
        switch (type->kind) {
        case TR_BITFIELD:
        case TR_ENUMERATION: index = type->base; continue;
        case TR_CHAR:
        case TR_SHORT:
        case TR_INT:
        case TR_LONG:
        case TR_LONG_LONG:
        case TR_BOOL:
        case TR_WCHAR: return !type->is_unsigned;
        default: return false;
        }
    }
    return false;
}

TEXT_RECORD new_record(uint8_t kind) {
    TEXT_RECORD record;
    record.kind = kind;
    record.fields = &record_layout(kind)->fields;
    record.values.resize(record.fields->size());
    return record;
}

bool choose_type_kind(TEXT_RECORD& record, uint8_t type_kind) {
    record.type_kind = type_kind;
    record.fields = type_layout(type_kind);
    if (record.fields) record.values.resize(record.fields->size());
    return record.fields != nullptr;
}

} // namespace pelorus
