// Words of the text form; see text_names.h.
#include "icode/text_names.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>

#include "icode/format.h"
#include "ir/opcodes.h"
#include "ir/symbol.h"
#include "ir/type.h"

namespace pelorus {

namespace {

// Keywords that are shorter than the names of the kinds; all others are the names in lower case.
struct KEYWORD {
    uint8_t kind;
    const char* word;
};
constexpr KEYWORD short_keywords[] = {
    {RK_FUNCTION_BEGIN, "function"}, {RK_FUNCTION_END, "end_function"}, {RK_BLOCK_BEGIN, "block"},
    {RK_BLOCK_END, "end_block"},     {RK_BODY_BEGIN, "body"},           {RK_LABEL_DEFINITION, "label"},
};

struct VALUE_NAME {
    const char* record;
    const char* field;
    NAMED how;
    uint64_t value;
    const char* name;
};
constexpr VALUE_NAME value_names[] = {
    {"SYMBOL", "class", NAMED::ENUM, SC_AUTO, "auto"},
    {"SYMBOL", "class", NAMED::ENUM, SC_EXTERN, "extern"},
    {"SYMBOL", "class", NAMED::ENUM, SC_STATIC, "static"},
    {"SYMBOL", "class", NAMED::ENUM, SC_REGISTER, "register"},
    {"SYMBOL", "class", NAMED::ENUM, SC_EXTERN_DEF, "extdef"},
    {"SYMBOL", "class", NAMED::ENUM, SC_LABEL, "label"},
    {"SYMBOL", "class", NAMED::ENUM, SC_ARGUMENT, "argument"},
    {"SYMBOL", "class", NAMED::ENUM, SC_TYPEDEF, "typedef"},
    {"SYMBOL", "class", NAMED::ENUM, SC_REGISTER_PARM, "register_argument"},
    {"SYMBOL", "class", NAMED::ENUM, SC_REGISTER_PARM2, "register_argument2"},
    {"SYMBOL", "class", NAMED::ENUM, SC_VARARG, "last_argument"},
    {"SYMBOL", "flags", NAMED::BITS, SF_INLINE, "inline"},
    {"SYMBOL", "flags", NAMED::BITS, SF_DEFINED, "defined"},
    {"SYMBOL", "flags", NAMED::BITS, SF_REFERENCED, "referenced"},
    {"SYMBOL", "flags", NAMED::BITS, SF_CALLED, "called"},
    {"SYMBOL", "flags", NAMED::BITS, SF_INTERNAL, "internal"},
    {"SYMBOL", "flags", NAMED::BITS, SF_NORETURN, "noreturn"},
    {"SYMBOL", "flags", NAMED::BITS, SF_ADDRESS_TAKEN, "address"},
    {"SYMBOL", "flags", NAMED::BITS, SF_LOCAL_STATIC, "local_static"},
    {"SYMBOL", "flags", NAMED::BITS, SF_WEAK, "weak"},
    {"SYMBOL", "flags", NAMED::BITS, SF_TENTATIVE, "tentative"},
    {"SYMBOL", "flags", NAMED::BITS, SF_THREAD, "thread"},
    {"SYMBOL", "flags", NAMED::BITS, SF_COMMON, "common"},
    {"SYMBOL", "flags", NAMED::BITS, SF_VARIADIC_WALK, "walks_arguments"},
    {"CSU", "tag", NAMED::ENUM, 0, "struct"},
    {"CSU", "tag", NAMED::ENUM, 1, "union"},
    {"CSU", "tag", NAMED::ENUM, 2, "class"},
    {"FUNCTION", "attributes", NAMED::BITS, FA_NORETURN, "noreturn"},
    {"FUNCTION", "attributes", NAMED::BITS, FA_PURE, "pure"},
    {"FUNCTION", "attributes", NAMED::BITS, FA_CONST, "const"},
    {"FUNCTION", "attributes", NAMED::BITS, FA_RETURNS_TWICE, "returns_twice"},
    {"LIST_COMPLETE", "list", NAMED::ENUM, LIST_PARAMETERS, "parameters"},
    {"LIST_COMPLETE", "list", NAMED::ENUM, LIST_ENUMERATORS, "enumerators"},
    {"LIST_COMPLETE", "list", NAMED::ENUM, LIST_MEMBERS, "members"},
    {"LAYOUT", "layout", NAMED::ENUM, LAYOUT_PACKED, "packed"},
    {"LAYOUT", "layout", NAMED::ENUM, LAYOUT_TRANSPARENT_UNION, "transparent_union"},
    {"LAYOUT", "layout", NAMED::ENUM, LAYOUT_MAY_ALIAS, "may_alias"},
    {"LAYOUT", "layout", NAMED::ENUM, LAYOUT_ALIGNED, "aligned"},
    {"LAYOUT", "layout", NAMED::ENUM, LAYOUT_VECTOR, "vector"},
};

bool names_field(const VALUE_NAME& row, std::string_view record, std::string_view field) {
    return row.record == record && row.field == field;
}

bool is_letter(char c) { return isalpha(static_cast<unsigned char>(c)) != 0; }

std::string lower_case(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return lower;
}

std::map<std::string, int, std::less<>> keyword_table() {
    std::map<std::string, int, std::less<>> table;
    for (int kind = 0; kind < RK_END; ++kind)
        if (record_layout(static_cast<uint8_t>(kind)))
            table[record_keyword(static_cast<uint8_t>(kind))] = kind;
    return table;
}

std::map<std::string, int, std::less<>> opcode_table() {
    std::map<std::string, int, std::less<>> table;
    for (int op = 0; op <= LAST_OPCODE; ++op)
        if (const char* name = opcode_facts[static_cast<size_t>(op)].name) table[name] = op;
    return table;
}

} // namespace

std::string record_keyword(uint8_t kind) {
    for (const KEYWORD& row : short_keywords)
        if (row.kind == kind) return row.word;
    return lower_case(record_layout(kind)->name);
}

int record_kind_of(std::string_view keyword) {
    static const auto table = keyword_table();
    const auto found = table.find(keyword);
    return found == table.end() ? -1 : found->second;
}

std::string_view section_name(int section) {
    for (const FIELD_LAYOUT& field : record_layout(RK_HEADER)->fields)
        if (field.code == 'w' && section-- == 0) return field.name;
    return "";
}

int section_of(std::string_view name) {
    for (int section = 0; section < SECTION_COUNT; ++section)
        if (section_name(section) == name) return section;
    return -1;
}

NAMED named_field(std::string_view record, std::string_view field) {
    for (const VALUE_NAME& row : value_names)
        if (names_field(row, record, field)) return row.how;
    return NAMED::NO;
}

std::string named_value(std::string_view record, std::string_view field, uint64_t value) {
    std::string text;
    for (const VALUE_NAME& row : value_names) {
        if (!names_field(row, record, field)) continue;
        if (row.how == NAMED::ENUM && row.value == value) return row.name;
        if (row.how != NAMED::BITS || !(value & row.value)) continue;
        if (!text.empty()) text += '+';
        text += row.name;
        value &= ~row.value;
    }
    if (!text.empty() && !value) return text;
    return (text.empty() ? "" : text + '+') + std::to_string(static_cast<int64_t>(value));
}

bool value_of_name(std::string_view record, std::string_view field, std::string_view name, uint64_t& value) {
    for (const VALUE_NAME& row : value_names) {
        if (!names_field(row, record, field) || row.name != name) continue;
        value = row.value;
        return true;
    }
    return false;
}

const char* naming_record(uint8_t kind, uint8_t type_kind) {
    const char* name = kind == RK_TYPE ? type_record_name(type_kind) : record_layout(kind)->name;
    return name ? name : "";
}

bool is_word_start(char c) { return is_letter(c) || c == '_' || c == '$'; }
bool is_word_part(char c) { return is_word_start(c) || is_digit(c) || (c && strchr(".*&[]'", c)); }

bool is_plain_name(std::string_view name) {
    return !name.empty() && is_word_start(name[0]) && std::all_of(name.begin(), name.end(), [](char c) {
        return is_word_start(c) || is_digit(c) || c == '.';
    });
}

int opcode_of_word(std::string_view word) {
    static const auto table = opcode_table();
    const auto found = table.find(word);
    if (found != table.end()) return found->second;
    if (word.size() < 3 || word.size() > 5 || !word.starts_with("OP")) return -1;
    int number = 0;
    for (const char c : word.substr(2)) {
        if (!is_digit(c)) return -1;
        number = number * 10 + (c - '0');
    }
    return number <= 255 ? number : -1;
}

std::string opcode_word(uint8_t op) {
    const char* name = op <= LAST_OPCODE ? opcode_facts[op].name : nullptr;
    return name ? name : "OP" + std::to_string(op);
}

bool is_tree_word(std::string_view word) {
    return opcode_of_word(word) >= 0 || word == "local" || word == "global" || word == "none" ||
           word == "scope";
}

bool is_float_text(std::string_view text) {
    size_t at = text.starts_with("-") ? 1 : 0;
    const auto digits = [&] {
        const size_t first = at;
        while (at < text.size() && is_digit(text[at])) ++at;
        return at > first;
    };
    if (!digits()) return false;
    const bool fraction = at < text.size() && text[at] == '.';
    if (fraction && (++at, !digits())) return false;
    if (at == text.size()) return fraction;
    if (text[at++] != 'e') return false;
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
    return digits() && at == text.size();
}

std::string hex_bytes(std::string_view bytes, std::string_view separator) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        if (!text.empty()) text += separator;
        text += digits[static_cast<uint8_t>(c) >> 4];
        text += digits[static_cast<uint8_t>(c) & 15];
    }
    return text;
}

std::string quoted(std::string_view bytes) {
    std::string text = "\"";
    for (const char c : bytes) {
        switch (c) {
        case '\0': text += "\\0"; break;
        case '\n': text += "\\n"; break;
        case '\t': text += "\\t"; break;
        case '"': text += "\\\""; break;
        case '\\': text += "\\\\"; break;
        default:
            if (c >= ' ' && c <= '~')
                text += c;
            else
                text += "\\x" + hex_bytes({&c, 1}, "");
        }
    }
    return text += '"';
}

} // namespace pelorus
