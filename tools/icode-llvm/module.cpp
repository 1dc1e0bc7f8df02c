// See module.h. Variables and their initializers are in globals.cpp.
#include "module.h"

#include <cstdarg>
#include <cstdio>

#include "support/fatal.h"
#include "text.h"

namespace pelorus {

namespace {

// What clang's compilations for the triple ask of the code generator, so that both get the same instructions.
constexpr const char* DATA_LAYOUT = "e-m:e-p:32:32-Fi8-i64:64-v128:64:128-a:0:32-n32-S64";
constexpr const char* TRIPLE = "v7-unknown-linux-gnueabihf"; // behind "arm" or "thumb"
constexpr const char* FEATURES =
    "+armv7-a,+dsp,+fp64,+vfp2,+vfp2sp,+vfp3d16,+vfp3d16sp,-aes,-d32,-fp-armv8,-fp-armv8d16,-fp-armv8d16sp,"
    "-fp-armv8sp,-fp16,-fp16fml,-fullfp16,-neon,-sha2,-vfp3,-vfp3sp,-vfp4,-vfp4d16,-vfp4d16sp,-vfp4sp";

std::string function_attributes(const CODE& code) {
    std::string text = code.unwind_tables ? "uwtable" : "nounwind";
    put(text, " \"frame-pointer\"=\"", code.frame_pointer ? "all" : "none",
        "\" \"no-trapping-math\"=\"true\"");
    put(text, " \"stack-protector-buffer-size\"=\"8\" \"target-cpu\"=\"generic\" \"target-features\"=\"");
    put(text, FEATURES, code.strict_alignment ? ",+strict-align" : "", code.thumb ? ",+" : ",-",
        "thumb-mode\"");
    if (code.no_builtins) put(text, " \"no-builtins\"");
    if (code.null_is_valid) put(text, " null_pointer_is_valid");
    if (code.protector) put(text, " ", code.protector);
    return text;
}

bool is_name_character(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '.' || c == '$' || c == '-';
}

// The name of a symbol in the object file.
std::string_view object_name(const SYMBOL* symbol) {
    if (const char* given = attribute_argument(symbol, "asm")) return given;
    return *symbol->name == '_' ? symbol->name + 1 : symbol->name;
}

bool is_internal(const SYMBOL* symbol) { return symbol->storage_class == SC_STATIC; }

// Names are shared by all symbols that mean the same object; only internal ones that happen to have the same
// name are told apart.
void assign_names(MODULE& module) {
    std::unordered_set<std::string> taken;
    for (const SYMBOL* symbol : *module.symbols)
        if (!is_internal(symbol)) taken.insert(module.names[symbol] = llvm_name('@', object_name(symbol)));
    uint32_t number = 0;
    for (const SYMBOL* symbol : *module.symbols) {
        if (!is_internal(symbol)) continue;
        std::string name = llvm_name('@', object_name(symbol));
        while (!taken.insert(name).second) name = llvm_name('@', joined(object_name(symbol), ".", number++));
        module.names[symbol] = name;
    }
}

} // namespace

void refuse(const MODULE& module, const char* format, ...) {
    fprintf(stderr, "icode-llvm: %s: ", module.input_name.c_str());
    if (!module.function_name.empty()) fprintf(stderr, "function '%s': ", module.function_name.c_str());
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
    fputc('\n', stderr);
    fatal_exit();
}

void put_escaped(std::string& text, std::string_view bytes) {
    static const char digits[] = "0123456789ABCDEF";
    for (char c : bytes) {
        if (c >= ' ' && c <= '~' && c != '"' && c != '\\') {
            text.push_back(c);
            continue;
        }
        text.push_back('\\');
        text.push_back(digits[(c >> 4) & 15]);
        text.push_back(digits[c & 15]);
    }
}

std::string llvm_name(char sigil, std::string_view name) {
    std::string text(1, sigil);
    bool plain = !name.empty() && !(name[0] >= '0' && name[0] <= '9');
    for (char c : name) plain = plain && is_name_character(c);
    if (plain) return text.append(name);
    text.push_back('"');
    put_escaped(text, name);
    text.push_back('"');
    return text;
}

const std::string& global_name(MODULE& module, const SYMBOL* symbol) {
    if (module.names.empty()) assign_names(module);
    auto found = module.names.find(symbol);
    if (found == module.names.end()) refuse(module, "symbol '%s' is not in the file's table", symbol->name);
    module.used.insert(found->second);
    return found->second;
}

std::string string_name(MODULE& module, std::string_view bytes, uint32_t align) {
    std::string key(1, char(align));
    key.append(bytes);
    auto [entry, is_new] =
        module.string_numbers.try_emplace(std::move(key), uint32_t(module.string_numbers.size()));
    std::string name = joined("@.str.", entry->second);
    if (!is_new) return name;
    put(module.strings, name, " = private unnamed_addr constant [", bytes.size(), " x i8] c\"");
    put_escaped(module.strings, bytes);
    put(module.strings, "\", align ", align, "\n");
    return name;
}

void declare(MODULE& module, const std::string& line) {
    if (module.declared.insert(line).second) put(module.declarations, line, "\n");
}

bool returns_twice(const SYMBOL* symbol) {
    static constexpr std::string_view names[] = {"_setjmp", "__setjmp", "_sigsetjmp", "___sigsetjmp",
                                                 "_vfork"};
    for (std::string_view name : names)
        if (name == symbol->name) return true;
    const TYPE* type = type_strip(symbol->declared_type);
    return find_attribute(symbol, "returns_twice") ||
           (type->kind == TK_FUNCTION && (type->attributes & FA_RETURNS_TWICE));
}

std::string visibility_text(const SYMBOL* symbol) {
    const char* visibility = attribute_argument(symbol, "visibility");
    if (!visibility || is_internal(symbol)) return "";
    std::string_view name = visibility;
    if (name == "internal") name = "hidden";
    return name == "hidden" || name == "protected" ? joined(name, " ") : "";
}

std::string section_text(const SYMBOL* symbol, const char* separator) {
    const char* section = attribute_argument(symbol, "section");
    if (!section) return "";
    std::string text = joined(separator, " section \"");
    put_escaped(text, section);
    return text.append("\"");
}

std::string linkage_text(const MODULE& module, const SYMBOL* symbol) {
    if (is_internal(symbol)) return "internal ";
    std::string text = symbol->flags & (SF_WEAK | SF_COMMON) ? "weak " : "";
    return module.code.interposable ? text : text.append("dso_local ");
}

void write_file_assembly(MODULE& module, const char* text) {
    std::string_view rest = text;
    while (!rest.empty()) {
        size_t end = rest.find('\n');
        put(module.assembly, "module asm \"");
        put_escaped(module.assembly, rest.substr(0, end));
        put(module.assembly, "\"\n");
        rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    }
}

std::string module_text(const MODULE& module) {
    std::string text = "source_filename = \"";
    put_escaped(text, module.source_name);
    put(text, "\"\ntarget datalayout = \"", DATA_LAYOUT, "\"\ntarget triple = \"");
    put(text, module.code.thumb ? "thumb" : "arm", TRIPLE, "\"\n\n");
    put(text, module.assembly, module.strings, module.globals, "\n", module.functions, module.declarations);
    put(text, "\nattributes #0 = { ", function_attributes(module.code), " }\n");
    put(text, "attributes #1 = { returns_twice }\nattributes #2 = { noreturn }\n\n");
    put(text, "!llvm.module.flags = !{!0, !1, !2", module.code.interposable ? "" : ", !3",
        module.debug.wanted ? ", !4, !5" : "", "}\n");
    put(text, "!0 = !{i32 1, !\"wchar_size\", i32 4}\n!1 = !{i32 1, !\"min_enum_size\", i32 4}\n");
    put(text, "!2 = !{i32 8, !\"PIC Level\", i32 2}\n!3 = !{i32 7, !\"PIE Level\", i32 2}\n");
    if (!module.debug.wanted) return text;
    put(text, "!4 = !{i32 2, !\"Debug Info Version\", i32 3}\n!5 = !{i32 7, !\"Dwarf Version\", i32 ",
        module.code.dwarf, "}\n!llvm.dbg.cu = !{!", module.debug.unit, "}\n");
    put(text, debug_nodes(module.debug));
    return text;
}

} // namespace pelorus
