// C text of types; see type.h.
//
// A declarator grows around the name from the inside out: pointers in front, arrays and parameter lists
// behind, with parentheses where a pointer stands inside one of the latter.
#include <string>

#include "ir/type.h"

namespace pelorus {

namespace {

constexpr int DEEPEST = 64; // nesting that text can still help with

std::string declare(const TYPE* type, std::string name, int depth);

std::string qualifier_text(uint8_t qualifiers) {
    std::string text;
    if (qualifiers & Q_CONST) text += "const ";
    if (qualifiers & Q_VOLATILE) text += "volatile ";
    if (qualifiers & Q_RESTRICT) text += "restrict ";
    return text;
}

std::string basic_text(const TYPE* type) {
    const std::string sign = type->is_unsigned ? "unsigned " : "";
    switch (type->record_kind) {
    case TR_VOID: return "void";
    case TR_CHAR: return type->other ? "char" : type->is_unsigned ? "unsigned char" : "signed char";
    case TR_SHORT: return sign + "short";
    case TR_INT: return sign + "int";
    case TR_LONG: return sign + "long";
    case TR_LONG_LONG: return sign + "long long";
    case TR_FLOAT: return "float";
    case TR_DOUBLE: return "double";
    case TR_LONG_DOUBLE: return "long double";
    case TR_BOOL: return "_Bool";
    case TR_WCHAR: return "wchar_t";
    case TR_NULLPTR: return "nullptr_t";
    default: return "?";
    }
}

std::string tagged(const char* keyword, const TYPE* type) {
    return std::string(keyword) + ' ' + (type->name && *type->name ? type->name : "<unnamed>");
}

std::string parameter_text(const TYPE* type, int depth) {
    std::string text = "(";
    const char* separator = "";
    for (const TYPE_PART* part = type->parts; part; part = part->next) {
        if (part->record_kind != TR_PARAMETER || !part->type) continue;
        text += separator + declare(part->type, "", depth + 1);
        separator = ", ";
    }
    if (type->variadic) text += std::string(separator) + "...";
    if (text == "(" && type->prototyped) text += "void";
    return text + ")";
}

std::string parenthesised(const std::string& name) {
    return name.starts_with("*") || name.starts_with("&") ? "(" + name + ")" : name;
}

std::string join(const std::string& base, const std::string& name) {
    if (name.empty()) return base;
    return base + (name[0] == '[' ? "" : " ") + name;
}

// Kinds that wrap a declarator around the name and go on with their base.
bool declarator_step(const TYPE*& type, std::string& name, int depth) {
    switch (type->kind) {
    case TK_POINTER:
    case TK_REFERENCE:
        if (!type->base) return false;
        name = (type->kind == TK_POINTER ? "*" : type->record_kind == TR_REFERENCE ? "&" : "&&") + name;
        break;
    case TK_ARRAY:
        name = parenthesised(name) + (type->complete ? "[" + std::to_string(type->count) + "]" : "[]");
        break;
    case TK_FUNCTION: name = parenthesised(name) + parameter_text(type, depth); break;
    case TK_BITFIELD: name += " : " + std::to_string(type->bit_width); break;
    default: return false;
    }
    type = type->base;
    return true;
}

std::string leaf_text(const TYPE* type) {
    switch (type->kind) {
    case TK_STRUCT: return tagged("struct", type);
    case TK_UNION: return tagged("union", type);
    case TK_CLASS: return tagged("class", type);
    case TK_ENUM: return tagged("enum", type);
    case TK_TYPEDEF: return type->name;
    case TK_NAMESPACE: return tagged("namespace", type);
    case TK_OPAQUE: return "opaque" + std::to_string(type->size);
    case TK_ATOMIC: return "_Atomic";
    case TK_COMPLEX: return "_Complex";
    case TK_MEMBER_POINTER:
    case TK_METHOD_POINTER: return "member pointer";
    default: return basic_text(type);
    }
}

std::string declare(const TYPE* type, std::string name, int depth) {
    std::string qualifiers;
    for (; depth < DEEPEST; ++depth) {
        if (!type) return join("void", name);
        if (type->kind == TK_QUALIFIED) {
            // Qualifiers of a pointer stand behind its "*", all others in front of the whole.
            const TYPE* base = type->base;
            const std::string text = qualifier_text(type->qualifiers);
            if (base->kind == TK_POINTER || base->kind == TK_REFERENCE)
                name.insert(0, text, 0, text.size() - name.empty()); // nothing follows: no blank either
            else
                qualifiers += text;
            type = base;
        } else if (!declarator_step(type, name, depth)) {
            return qualifiers + join(leaf_text(type), name);
        }
    }
    return qualifiers + join("...", name);
}

} // namespace

std::string type_text(const TYPE* type) { return declare(type, "", 0); }
std::string type_declaration(const TYPE* type, const char* name) { return declare(type, name, 0); }

} // namespace pelorus
