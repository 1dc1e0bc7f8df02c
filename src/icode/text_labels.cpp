// Labels of types: short words that tell what a type is, such as "uint", "char.const*", "int[3][4]",
// "struct.list*".
//
// A label is put together from the label of the type that a type is made of, like a C declaration read from
// the name to the left. Where that gives nothing good (no tag, a label that another type has, too long) the
// index is added.
#include "icode/text_names.h"
#include "icode/text_tables.h"
#include "ir/type.h"

namespace pelorus {

const std::vector<BASIC_LABEL> basic_labels = {
    {"void", TR_VOID, false},       {"schar", TR_CHAR, false},          {"uchar", TR_CHAR, true},
    {"short", TR_SHORT, false},     {"ushort", TR_SHORT, true},         {"int", TR_INT, false},
    {"uint", TR_INT, true},         {"long", TR_LONG, false},           {"ulong", TR_LONG, true},
    {"llong", TR_LONG_LONG, false}, {"ullong", TR_LONG_LONG, true},     {"float", TR_FLOAT, false},
    {"double", TR_DOUBLE, false},   {"ldouble", TR_LONG_DOUBLE, false}, {"bool", TR_BOOL, true},
    {"wchar", TR_WCHAR, true},      {"nullptr", TR_NULLPTR, false},
};

namespace {

constexpr size_t LONGEST_LABEL = 60; // characters that still help a reader

std::string basic_label(const TEXT_TYPE& type) {
    if (type.kind == TR_CHAR && type.base) return "char"; // plain char, represented as another type
    for (const BASIC_LABEL& row : basic_labels)
        if (row.kind == type.kind && row.is_unsigned == type.is_unsigned) return row.label;
    return "";
}

// Dimensions stand in C's order, the outer one first.
std::string array_label(const std::string& element, const std::string& dimension) {
    size_t at = element.size();
    while (at && element[at - 1] == ']') at = element.rfind('[', at - 1);
    return element.substr(0, at) + dimension + element.substr(at);
}

std::string qualified_label(const std::string& base, uint64_t qualifiers) {
    return base + (qualifiers & Q_CONST ? ".const" : "") + (qualifiers & Q_VOLATILE ? ".volatile" : "") +
           (qualifiers & Q_RESTRICT ? ".restrict" : "") +
           (qualifiers >> 8 ? ".space" + std::to_string(qualifiers >> 8) : "");
}

const char* tag_word(const TEXT_TYPE& type) {
    if (type.kind == TR_ENUMERATION) return "enum.";
    return type.count == 0 ? "struct." : type.count == 1 ? "union." : "class.";
}

// "" when the type is made of one that has no label.
std::string derived_label(const TEXT_TYPE& type, const std::string& base) {
    if (base.empty()) return "";
    switch (type.kind) {
    case TR_POINTER: return base + "*";
    case TR_REFERENCE: return base + "&";
    case TR_RVALUE_REFERENCE: return base + "&&";
    case TR_ARRAY: return array_label(base, "[" + std::to_string(type.count) + "]");
    case TR_OPEN_ARRAY: return array_label(base, "[]");
    case TR_QUALIFIED: return qualified_label(base, type.count);
    case TR_FUNCTION: return base + ".fn";
    case TR_BITFIELD: return base + ".bits" + std::to_string(type.count);
    case TR_ATOMIC: return base + ".atomic";
    case TR_COMPLEX: return base + ".complex";
    default: return "";
    }
}

std::string wanted_label(const TEXT_TABLES& tables, const TEXT_TYPE& type) {
    const bool named = is_plain_name(type.name);
    switch (type.kind) {
    case TR_CSU:
    case TR_ENUMERATION: return named ? tag_word(type) + std::string(type.name) : "";
    case TR_TYPEDEF:
    case TR_NAMESPACE: return named ? std::string(type.name) : "";
    case TR_OPAQUE: return "opaque" + std::to_string(type.size);
    default: break;
    }
    std::string basic = basic_label(type);
    if (!basic.empty()) return basic;
    const TEXT_TYPE* base = tables.type(type.base);
    return derived_label(type, base ? base->label : type.base ? "" : "void");
}

} // namespace

void make_labels(TEXT_TABLES& tables) {
    for (const uint64_t index : tables.type_order) {
        TEXT_TYPE& type = tables.types[index];
        std::string label = wanted_label(tables, type);
        if (label.size() > LONGEST_LABEL) label.clear();
        if (label.empty())
            label = type.kind == TR_CSU || type.kind == TR_ENUMERATION
                        ? std::string(tag_word(type)) + std::to_string(index)
                        : "type." + std::to_string(index);
        if (tables.labels.contains(label)) label += "." + std::to_string(index);
        if (tables.labels.try_emplace(label, index).second) type.label = label;
    }
}

} // namespace pelorus
