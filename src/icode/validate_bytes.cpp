// The validator's bytes: faults, primitives, fields, frames; see validate_state.h.
#include <cstdarg>
#include <cstdio>

#include "icode/validate_state.h"
#include "ir/tree_text.h"

namespace pelorus {

namespace {

void hand_on(VALIDATOR& v, RULE rule, uint64_t offset, const char* message, const NODE* stmt) {
    if (v.faults++ >= v.most) return;
    const std::string text = stmt ? short_tree_text(stmt, FAULT_TEXT_LENGTH) : "";
    const char* function = v.function.symbol ? v.function.symbol->name : nullptr;
    v.sink.take(v.sink.context, {rule, offset, function, message, stmt ? text.c_str() : nullptr});
}

// Nodes remember the offset of their record in the first word of their scratch.
void take_tree_fault(void* context, const FAULT& fault) {
    const NODE* node = fault.node ? fault.node : fault.stmt;
    hand_on(*static_cast<VALIDATOR*>(context), fault.rule, node ? node->scratch[0] : 0, fault.message,
            fault.stmt);
}

} // namespace

void file_fault(VALIDATOR& v, RULE rule, uint64_t offset, const char* format, ...) {
    char message[400];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    hand_on(v, rule, offset, message, v.stmt);
}

FAULT_SINK tree_sink(VALIDATOR& v) { return {take_tree_fault, &v}; }

std::string fault_text(std::string_view file, const FILE_FAULT& fault) {
    char offset[32];
    snprintf(offset, sizeof offset, ": offset 0x%llx: ", static_cast<unsigned long long>(fault.offset));
    std::string text = std::string(file) + offset;
    if (fault.function) text += std::string("function ") + fault.function + ": ";
    text += std::string("rule ") + rule_id(fault.rule) + ": " + fault.message + "\n";
    if (fault.statement) text += std::string("    ") + fault.statement + "\n";
    return text;
}

bool is_power_of_two(uint64_t number) { return number && !(number & (number - 1)); }

// --- Primitives ---

namespace {

// The first thing wrong with a record is told, the rest of it is not read.
void give_up(VALIDATOR& v, RULE rule, const char* message) {
    if (v.good) file_fault(v, rule, v.at, "%s", message);
    v.good = false;
}

void check_shortest(VALIDATOR& v, size_t start, bool redundant) {
    if (redundant) file_fault(v, RULE_B3, start, "a number is longer than it needs to be");
}

uint64_t take_word(VALIDATOR& v, int bytes) {
    uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) value |= uint64_t{take_byte(v)} << (8 * i);
    return value;
}

void require_width(VALIDATOR& v, size_t start, bool fits, int bits) {
    if (v.good && !fits) file_fault(v, RULE_B1, start, "a number needs more than %d bits", bits);
    v.good &= fits;
}

} // namespace

uint8_t take_byte(VALIDATOR& v) {
    if (v.at >= v.limit) give_up(v, RULE_F2, "the fields pass the end of their record");
    return v.good ? static_cast<uint8_t>(v.bytes[v.at++]) : uint8_t{0};
}

uint64_t take_uleb64(VALIDATOR& v) {
    const size_t start = v.at;
    uint64_t value = 0;
    uint8_t group = 0x80;
    bool fits = true;
    for (unsigned shift = 0; group & 0x80; shift += 7) {
        group = take_byte(v);
        const uint64_t bits = group & 0x7F;
        if (shift < 64) value |= bits << shift;
        if (bits && (shift > 63 || bits << shift >> shift != bits)) fits = false;
    }
    require_width(v, start, fits, 64);
    if (v.good) check_shortest(v, start, group == 0 && v.at - start > 1);
    return v.good ? value : 0;
}

uint32_t take_uleb(VALIDATOR& v) {
    const size_t start = v.at;
    const uint64_t value = take_uleb64(v);
    require_width(v, start, value <= UINT32_MAX, 32);
    return v.good ? static_cast<uint32_t>(value) : 0;
}

// Bits from the 64th on must all be copies of the sign.
int64_t take_sleb64(VALIDATOR& v) {
    const size_t start = v.at;
    uint64_t value = 0;
    uint8_t group = 0x80, before = 0;
    bool fits = true;
    unsigned shift = 0;
    for (; group & 0x80; shift += 7) {
        before = group;
        group = take_byte(v);
        const uint64_t bits = group & 0x7F;
        if (shift < 64) value |= bits << shift;
        if (shift < 63) continue;
        const uint64_t sign = static_cast<int64_t>(value) < 0 ? 0x7F : 0;
        fits &= bits == sign;
    }
    if ((group & 0x40) && shift < 64) value |= ~uint64_t{0} << shift;
    require_width(v, start, fits, 64);
    const bool copies_sign = group == (before & 0x40 ? 0x7F : 0);
    if (v.good) check_shortest(v, start, v.at - start > 1 && copies_sign);
    return v.good ? static_cast<int64_t>(value) : 0;
}

int32_t take_sleb(VALIDATOR& v) {
    const size_t start = v.at;
    const int64_t value = take_sleb64(v);
    require_width(v, start, value >= INT32_MIN && value <= INT32_MAX, 32);
    return v.good ? static_cast<int32_t>(value) : 0;
}

std::string_view take_string(VALIDATOR& v) {
    if (!v.good) return {};
    const std::string_view rest = v.bytes.substr(v.at, v.limit - v.at);
    const size_t length = rest.find('\0');
    if (length == std::string_view::npos) {
        give_up(v, RULE_B2, "a string does not end inside its record");
        return {};
    }
    v.at += length + 1;
    return rest.substr(0, length);
}

std::string_view take_bytes(VALIDATOR& v) {
    const uint32_t count = take_uleb(v);
    if (v.good && count > v.limit - v.at)
        give_up(v, RULE_B2, "a count of bytes passes the end of its record");
    if (!v.good) return {};
    v.at += count;
    return v.bytes.substr(v.at - count, count);
}

// --- Fields ---

TYPE* take_type(VALIDATOR& v, bool& known) {
    const size_t start = v.at;
    const uint32_t index = take_uleb(v);
    known = true;
    if (!index) return nullptr;
    const auto found = v.type_states.find(index);
    if (found == v.type_states.end() && v.good)
        file_fault(v, RULE_T2, start, "type %u is not described", index);
    known = found != v.type_states.end() && found->second.type;
    return known ? found->second.type : nullptr;
}

namespace {

void take_position(VALIDATOR& v, FIELD_VALUE& field) {
    const uint32_t file = take_uleb(v);
    field.present = file != 0;
    if (!file) return;
    if (v.good && file > v.file_names.size())
        file_fault(v, RULE_B5, field.offset, "file name %u does not exist; there are %zu", file,
                   v.file_names.size());
    take_uleb(v);
    take_uleb(v);
}

void take_global(VALIDATOR& v, FIELD_VALUE& field) {
    field.number = take_uleb(v);
    if (!v.good) return;
    if (field.number < v.globals.size())
        field.symbol = v.globals[field.number].symbol;
    else
        file_fault(v, RULE_S11, field.offset, "global symbol %llu does not exist; there are %zu",
                   static_cast<unsigned long long>(field.number), v.globals.size());
}

void take_strings(VALIDATOR& v) {
    v.strings.clear();
    for (uint32_t count = take_uleb(v); count && v.good; --count) v.strings.push_back(take_string(v));
}

void take_flag(VALIDATOR& v, FIELD_VALUE& field) {
    field.number = take_byte(v);
    if (field.number > 1)
        file_fault(v, RULE_B4, field.offset, "a flag is %u", static_cast<unsigned>(field.number));
}

void take_enumerator_value(VALIDATOR& v, FIELD_VALUE& field, const TYPE* owner) {
    const bool is_signed = owner && owner->kind == TK_ENUM && owner->base && type_is_signed(owner->base);
    field.number = is_signed ? static_cast<uint64_t>(take_sleb64(v)) : take_uleb64(v);
}

void take_field(VALIDATOR& v, char code, FIELD_VALUE& field, const TYPE* owner) {
    switch (code) {
    case 'y': field.number = take_byte(v); break;
    case 'b': field.number = static_cast<uint64_t>(int64_t{static_cast<int8_t>(take_byte(v))}); break;
    case 'f': take_flag(v, field); break;
    case 'h': field.number = take_word(v, 2); break;
    case 'w': field.number = take_word(v, 4); break;
    case 'u': field.number = take_uleb(v); break;
    case 'l': field.number = static_cast<uint64_t>(take_sleb64(v)); break;
    case 'v': take_enumerator_value(v, field, owner); break;
    case 's': field.text = take_string(v); break;
    case 'p': take_position(v, field); break;
    case 't': field.type = take_type(v, field.present); break;
    case 'g': take_global(v, field); break;
    case 'n': take_strings(v); break;
    case 'm':
        for (int count = take_byte(v); count && v.good; --count) take_word(v, 2);
        break;
    default: v.at = v.limit; break; // the rest of the body
    }
}

} // namespace

bool take_fields(VALIDATOR& v, const std::vector<FIELD_LAYOUT>& layout, const TYPE* owner) {
    v.fields.clear();
    for (const FIELD_LAYOUT& item : layout) {
        FIELD_VALUE& field = v.fields.emplace_back();
        field.offset = v.at;
        take_field(v, item.code, field, owner);
        if (!v.good) return false;
    }
    return true;
}

// --- Frames ---

bool open_record(VALIDATOR& v, RECORD_FRAME& frame) {
    frame.start = v.at;
    frame.outer_limit = v.limit;
    frame.kind = take_byte(v);
    const uint32_t length = take_uleb(v);
    frame.body = v.at;
    frame.end = v.at + length;
    if (v.good && length > v.limit - v.at) {
        file_fault(v, RULE_F2, frame.start, "a record of kind %d and %u bytes passes the end of %s",
                   frame.kind, length, v.limit == v.bytes.size() ? "the file" : "what holds it");
        v.good = false;
    }
    if (v.good) v.limit = frame.end;
    return v.good;
}

bool close_record(VALIDATOR& v, const RECORD_FRAME& frame) {
    if (v.good && v.at != frame.end)
        file_fault(v, RULE_F2, frame.start,
                   "the length of this record of kind %d ends at 0x%zx, its contents at 0x%zx", frame.kind,
                   frame.end, v.at);
    const bool whole = v.good;
    v.good = true;
    v.at = frame.end;
    v.limit = frame.outer_limit;
    return whole;
}

void check_own_size(VALIDATOR& v, const RECORD_FRAME& frame) {
    if (v.at - frame.body <= ICODE_BUFFER_SIZE) return;
    file_fault(v, RULE_L2, frame.start, "the own fields of this record take %zu bytes", v.at - frame.body);
}

} // namespace pelorus
