// Debug information; see debug.h.
#include "debug.h"

#include <unistd.h>

#include <cstring>

#include "module.h"
#include "text.h"

namespace pelorus {

namespace {

std::string quoted(std::string_view text) {
    std::string result = "\"";
    put_escaped(result, text);
    return result + "\"";
}

std::string reference(uint32_t node) { return node ? joined("!", node) : "null"; }

uint32_t define_node(DEBUG& debug, uint32_t number, const std::string& text) {
    put(debug.nodes, "!", number, " = ", text, "\n");
    return number;
}

uint32_t new_node_of(DEBUG& debug, const std::string& text) { return define_node(debug, ++debug.last, text); }

std::string renamed_path(const PLACES& places, const std::string& path) {
    for (auto pair = places.renamed.rbegin(); pair != places.renamed.rend(); ++pair)
        if (path.starts_with(pair->first)) return pair->second + path.substr(pair->first.size());
    return path;
}

uint32_t file_node(DEBUG& debug, const char* name) {
    const std::string text = renamed_path(debug.places, name ? name : debug.main_file);
    const std::string folder = renamed_path(debug.places, debug.places.folder);
    uint32_t& node = debug.files[text];
    // The main file's folder is that of the compilation, however the file is named.
    const bool is_below = !name || text[0] != '/';
    if (!node)
        node = new_node_of(debug, joined("!DIFile(filename: ", quoted(text),
                                         ", directory: ", quoted(is_below ? folder : ""), ")"));
    return node;
}

// The source's name behind the underscore, and without the number of a static variable of a function.
std::string source_name(const SYMBOL* symbol) {
    std::string name = symbol->level ? symbol->name : plain_name(symbol->name);
    if (symbol->flags & SF_LOCAL_STATIC) name = name.substr(0, name.find('$'));
    return name;
}

uint32_t type_node(DEBUG& debug, const TYPE* type);

const char* encoding_of(const TYPE* type) {
    if (type_is_bool(type)) return "DW_ATE_boolean";
    if (type_is_floating(type)) return "DW_ATE_float";
    if (type_is_byte(type)) return type_is_signed(type) ? "DW_ATE_signed_char" : "DW_ATE_unsigned_char";
    return type_is_signed(type) ? "DW_ATE_signed" : "DW_ATE_unsigned";
}

std::string member_text(DEBUG& debug, const TYPE_PART* part, uint32_t owner) {
    const TYPE* type = type_strip(part->type);
    const bool is_bits = part->flag && type->kind == TK_BITFIELD;
    const int64_t start = part->value * 8;
    std::string text = joined(
        "!DIDerivedType(tag: DW_TAG_member, name: ", quoted(part->name ? part->name : ""), ", scope: !",
        owner, ", baseType: ", reference(type_node(debug, is_bits ? type->base : part->type)));
    put(text, ", size: ", is_bits ? uint32_t(type->bit_width) : type->size * 8,
        ", offset: ", start + (is_bits ? type->bit_shift : 0));
    if (is_bits) put(text, ", flags: DIFlagBitField, extraData: i64 ", start);
    return text + ")";
}

void define_structure(DEBUG& debug, const TYPE* type, uint32_t node) {
    std::string members;
    for (const TYPE_PART* part = type->parts; part; part = part->next)
        if (part->record_kind == TR_MEMBER)
            put(members, members.empty() ? "" : ", ", "!",
                new_node_of(debug, member_text(debug, part, node)));
    std::string text = joined("distinct !DICompositeType(tag: ",
                              type->kind == TK_UNION ? "DW_TAG_union_type" : "DW_TAG_structure_type");
    if (type->name && *type->name) put(text, ", name: ", quoted(type->name));
    if (type->complete)
        put(text, ", size: ", type->size * 8, ", elements: !{", members, "})");
    else
        put(text, ", flags: DIFlagFwdDecl)");
    define_node(debug, node, text);
}

void define_enumeration(DEBUG& debug, const TYPE* type, uint32_t node) {
    std::string values;
    for (const TYPE_PART* part = type->parts; part; part = part->next)
        if (part->record_kind == TR_ENUMERATOR)
            put(values, values.empty() ? "" : ", ", "!",
                new_node_of(debug, joined("!DIEnumerator(name: ", quoted(part->name),
                                          ", value: ", part->value, ")")));
    std::string text = "!DICompositeType(tag: DW_TAG_enumeration_type";
    if (type->name && *type->name) put(text, ", name: ", quoted(type->name));
    define_node(debug, node, joined(text, ", size: ", type->size * 8, ", elements: !{", values, "})"));
}

std::string signature_text(DEBUG& debug, const TYPE* type) {
    std::string types = reference(type_node(debug, type->base));
    for (const TYPE_PART* part = type->parts; part; part = part->next)
        if (part->record_kind == TR_PARAMETER) put(types, ", ", reference(type_node(debug, part->type)));
    if (type->variadic) types += ", null";
    return joined("!DISubroutineType(types: !{", types, "})");
}

// Arrays of arrays are one array of several dimensions.
std::string array_text(DEBUG& debug, const TYPE* type) {
    const uint32_t bits = type->size * 8;
    std::string ranges;
    for (; type->kind == TK_ARRAY; type = type_strip(type->base)) {
        const std::string count = type->complete ? joined(type->count) : "-1";
        put(ranges, ranges.empty() ? "" : ", ", "!",
            new_node_of(debug, joined("!DISubrange(count: ", count, ")")));
    }
    return joined("!DICompositeType(tag: DW_TAG_array_type, baseType: ", reference(type_node(debug, type)),
                  ", size: ", bits, ", elements: !{", ranges, "})");
}

std::string wrapped(DEBUG& debug, const char* tag, const TYPE* base, uint32_t bits) {
    std::string text = joined("!DIDerivedType(tag: ", tag, ", baseType: ", reference(type_node(debug, base)));
    if (bits) put(text, ", size: ", bits);
    return text + ")";
}

void define_type(DEBUG& debug, const TYPE* type, uint32_t node) {
    switch (type->kind) {
    case TK_STRUCT:
    case TK_UNION:
    case TK_CLASS: return define_structure(debug, type, node);
    case TK_ENUM: return define_enumeration(debug, type, node);
    case TK_ARRAY: define_node(debug, node, array_text(debug, type)); return;
    case TK_FUNCTION: define_node(debug, node, signature_text(debug, type)); return;
    case TK_POINTER:
    case TK_REFERENCE:
        define_node(debug, node, wrapped(debug, "DW_TAG_pointer_type", type->base, 32));
        return;
    default:
        define_node(debug, node,
                    joined("!DIBasicType(name: ", quoted(type_text(type)), ", size: ", type->size * 8,
                           ", encoding: ", encoding_of(type), ")"));
    }
}

// 0 for void. A type may lead to itself, so its number is known before its text.
uint32_t type_node(DEBUG& debug, const TYPE* type) {
    const TYPE* plain = type_strip(type);
    // Arrays of constants count as constant, but it is their elements that are.
    const bool is_const = type != plain && type_is_const(type),
               is_volatile = type != plain && type_is_volatile(type);
    if (type_is_void(type) && !is_const && !is_volatile) return 0;
    const TYPE* key = is_const || is_volatile ? type : plain;
    if (const auto known = debug.types.find(key); known != debug.types.end()) return known->second;
    const uint32_t node = debug.types[key] = ++debug.last;
    if (is_const || is_volatile)
        define_node(debug, node,
                    wrapped(debug, is_volatile ? "DW_TAG_volatile_type" : "DW_TAG_const_type", plain, 0));
    else
        define_type(debug, plain, node);
    return node;
}

} // namespace

void begin_debug(DEBUG& debug, const char* source, const PLACES& places) {
    char folder[4096];
    debug.main_file = source;
    debug.places = places;
    if (places.folder.empty()) debug.places.folder = getcwd(folder, sizeof folder) ? folder : "";
    debug.unit = ++debug.last; // its text comes last, when the list of variables is known
    file_node(debug, nullptr);
}

std::string debug_function(DEBUG& debug, const SYMBOL* symbol, const std::string& linkage_name) {
    if (!debug.wanted) return "";
    debug.locations.clear();
    const uint32_t file = file_node(debug, symbol->position.file);
    const uint32_t type = new_node_of(debug, signature_text(debug, type_strip(symbol->declared_type)));
    const bool is_local = symbol->storage_class == SC_STATIC;
    debug.function = new_node_of(debug, joined("distinct !DISubprogram(name: ", quoted(source_name(symbol)),
                                               ", linkageName: ", quoted(linkage_name), ", scope: !", file,
                                               ", file: !", file, ", line: ", symbol->position.line,
                                               ", scopeLine: ", symbol->position.line, ", type: !", type,
                                               ", spFlags: DISPFlagDefinition | DISPFlagOptimized",
                                               is_local ? " | DISPFlagLocalToUnit" : "", ", unit: !",
                                               debug.unit, ", retainedNodes: !{})"));
    return joined(" !dbg !", debug.function);
}

namespace {

uint32_t location_node(DEBUG& debug, const POSITION& position) {
    const uint32_t column = debug.places.columns ? position.column : 0;
    uint32_t& node = debug.locations[{position.line, column}];
    if (!node)
        node = new_node_of(debug, joined("!DILocation(line: ", position.line, ", column: ", column,
                                         ", scope: !", debug.function, ")"));
    return node;
}

} // namespace

std::string debug_location(DEBUG& debug, const POSITION& position) {
    return debug.wanted ? joined(", !dbg !", location_node(debug, position)) : "";
}

uint32_t debug_variable(DEBUG& debug, const SYMBOL* symbol, uint32_t argument) {
    if (!debug.wanted || !symbol->position.line || *symbol->name == '$') return 0;
    std::string text = joined("!DILocalVariable(name: ", quoted(source_name(symbol)));
    if (argument) put(text, ", arg: ", argument);
    put(text, ", scope: !", debug.function, ", file: !", file_node(debug, symbol->position.file),
        ", line: ", symbol->position.line, ", type: ", reference(type_node(debug, symbol->declared_type)),
        ")");
    return new_node_of(debug, text);
}

namespace {

std::string debug_record(DEBUG& debug, const char* kind, const SYMBOL* symbol, uint32_t variable,
                         const std::string& operand) {
    if (!variable) return "";
    const uint32_t location = location_node(debug, symbol->position);
    return joined("    #dbg_", kind, "(", operand, ", !", variable, ", !DIExpression(), !", location, ")\n");
}

} // namespace

std::string debug_place(DEBUG& debug, const SYMBOL* symbol, uint32_t variable, const std::string& address) {
    return debug_record(debug, "declare", symbol, variable, "ptr " + address);
}

std::string debug_value(DEBUG& debug, const SYMBOL* symbol, uint32_t variable, const std::string& value) {
    return debug_record(debug, "value", symbol, variable, value);
}

std::string debug_global(DEBUG& debug, const SYMBOL* symbol, const std::string& linkage_name) {
    const bool is_named = !strchr(symbol->name, '$') || (symbol->flags & SF_LOCAL_STATIC);
    if (!debug.wanted || !symbol->position.line || !is_named) return "";
    const uint32_t file = file_node(debug, symbol->position.file);
    const uint32_t variable =
        new_node_of(debug, joined("distinct !DIGlobalVariable(name: ", quoted(source_name(symbol)),
                                  ", linkageName: ", quoted(linkage_name), ", scope: !", debug.unit,
                                  ", file: !", file, ", line: ", symbol->position.line,
                                  ", type: ", reference(type_node(debug, symbol->declared_type)),
                                  ", isLocal: ", symbol->storage_class == SC_STATIC ? "true" : "false",
                                  ", isDefinition: true)"));
    const uint32_t node = new_node_of(
        debug, joined("!DIGlobalVariableExpression(var: !", variable, ", expr: !DIExpression())"));
    put(debug.globals, debug.globals.empty() ? "" : ", ", "!", node);
    return joined(", !dbg !", node);
}

std::string debug_nodes(const DEBUG& debug) {
    std::string text =
        joined("!", debug.unit, " = distinct !DICompileUnit(language: DW_LANG_C11, file: !", debug.unit + 1,
               ", producer: \"Pelorus\", isOptimized: true, runtimeVersion: 0, ",
               "emissionKind: FullDebug, globals: !{", debug.globals, "})\n");
    return text + debug.nodes;
}

} // namespace pelorus
