// Variables: their initializers as bytes and addresses, aliases, constructors, and what other modules define.
//
// An initializer's items are laid into the object one after another. Here they become chunks, of which each
// is a run of bytes or one address; what lies between chunks is zero. The variable's LLVM type is made to
// fit: a byte array when there are only bytes, else a packed structure of arrays and pointers.
#include <algorithm>
#include <cstring>

#include "abi.h"
#include "module.h"
#include "text.h"

namespace pelorus {

namespace {

constexpr size_t ZERO_RUN = 64; // zero bytes within a run that are worth a chunk of their own

struct CHUNK {
    uint32_t offset;
    std::string bytes;   // when `address` is empty
    std::string address; // constant expression of type ptr, 4 bytes

    uint32_t size() const { return address.empty() ? uint32_t(bytes.size()) : 4; }
};

struct LAYOUT {
    MODULE& module;
    const SYMBOL* symbol;
    std::vector<CHUNK> chunks;
    uint64_t offset = 0;
};

void lay_bytes(LAYOUT& layout, std::string_view bytes) {
    uint32_t offset = uint32_t(layout.offset);
    layout.offset += bytes.size();
    if (!layout.chunks.empty()) {
        CHUNK& last = layout.chunks.back();
        if (last.address.empty() && last.offset + last.bytes.size() == offset) {
            last.bytes.append(bytes);
            return;
        }
    }
    layout.chunks.push_back({offset, std::string(bytes), {}});
}

void lay_integer(LAYOUT& layout, uint64_t value, uint32_t size) {
    char bytes[8];
    for (uint32_t i = 0; i < 8; i++) bytes[i] = char(value >> (8 * i));
    lay_bytes(layout, {bytes, std::min(size, 8u)});
}

void lay_floating(LAYOUT& layout, double value, uint32_t size) {
    uint64_t bits = 0;
    float single = float(value);
    if (size == 4)
        memcpy(&bits, &single, 4);
    else
        memcpy(&bits, &value, 8);
    lay_integer(layout, bits, size);
}

std::string_view scon_bytes(const NODE* scon) { return {scon->text, size_t(scon->value_lo)}; }

// An address or an integer: `base` is empty for an integer.
struct ADDRESS {
    std::string base;
    int64_t addend = 0;
};

ADDRESS address_of_object(LAYOUT& layout, const NODE* object) {
    int64_t addend = 0;
    for (; object->op == OP_STDOT && object->right->field_info; object = object->left)
        addend += object->right->field_info->value;
    if (object->op == OP_NAME && object->ref) return {global_name(layout.module, object->symbol()), addend};
    if (object->op == OP_SCON)
        return {string_name(layout.module, scon_bytes(object), type_strip(object->type)->align), addend};
    refuse(layout.module, "initializer of '%s': no address of %s", layout.symbol->name,
           opcode_name(object->op));
}

ADDRESS address_value(LAYOUT& layout, const NODE* tree) {
    int64_t addend = 0;
    for (;; tree = tree->left) {
        if ((tree->op == OP_PLUS || tree->op == OP_MINUS) && tree->right->op == OP_ICON) {
            int64_t step = int96_to_int64(tree->right->value());
            addend += tree->op == OP_PLUS ? step : -step;
        } else if (tree->op != OP_PCONV && tree->op != OP_SCONV && tree->op != OP_ISP2CHAR)
            break;
    }
    ADDRESS address;
    if (tree->op == OP_UAND || tree->op == OP_ACONV)
        address = address_of_object(layout, tree->left);
    else if (tree->op == OP_ICON)
        address.addend = int96_to_int64(tree->value());
    else
        refuse(layout.module, "initializer of '%s': %s is not constant", layout.symbol->name,
               opcode_name(tree->op));
    address.addend += addend;
    return address;
}

void lay_address(LAYOUT& layout, const NODE* tree) {
    ADDRESS address = address_value(layout, tree);
    if (address.base.empty())
        return lay_integer(layout, uint64_t(address.addend), type_strip(tree->type)->size);
    CHUNK chunk = {uint32_t(layout.offset), {}, address.base};
    if (address.addend)
        chunk.address =
            joined("getelementptr (i8, ptr ", address.base, ", i32 ", int32_t(address.addend), ")");
    layout.chunks.push_back(std::move(chunk));
    layout.offset += 4;
}

// Lays one item; false at the end of the list.
bool lay_item(LAYOUT& layout, const NODE* tree) {
    uint32_t size = tree->type ? type_strip(tree->type)->size : 0;
    switch (tree->op) {
    case OP_ENDINIT: return false;
    case OP_SKIP: layout.offset += uint32_t(tree->value_lo); break;
    case OP_ICON: lay_integer(layout, uint64_t(int96_to_int64(tree->value())), size); break;
    case OP_FCON: lay_floating(layout, tree->floating()->value, size); break;
    case OP_SCON: lay_bytes(layout, scon_bytes(tree)); break;
    default: lay_address(layout, tree);
    }
    return true;
}

// Splits runs of bytes at long stretches of zeros, and drops these.
std::vector<CHUNK> without_zeros(const std::vector<CHUNK>& chunks) {
    std::vector<CHUNK> result;
    for (const CHUNK& chunk : chunks) {
        if (!chunk.address.empty()) {
            result.push_back(chunk);
            continue;
        }
        std::string_view bytes = chunk.bytes;
        size_t at = 0;
        while ((at = bytes.find_first_not_of('\0', at)) != std::string_view::npos) {
            size_t end = bytes.find(std::string(ZERO_RUN, '\0'), at);
            end = std::min(end, bytes.size());
            result.push_back({uint32_t(chunk.offset + at), std::string(bytes.substr(at, end - at)), {}});
            at = end;
        }
    }
    return result;
}

struct PACKED {
    std::string types, values;
    uint32_t parts = 0;
};

void put_part(PACKED& packed, const std::string& type, const std::string& value) {
    put(packed.types, packed.parts ? ", " : "", type);
    put(packed.values, packed.parts++ ? ", " : "", type, " ", value);
}

void put_chunk(PACKED& packed, const CHUNK& chunk) {
    if (!chunk.address.empty()) return put_part(packed, "ptr", chunk.address);
    std::string text = "c\"";
    put_escaped(text, chunk.bytes);
    put_part(packed, ltype_bytes(chunk.size()), text.append("\""));
}

// "<type> <value>" for an object of `size` bytes.
std::string initial_value(const std::vector<CHUNK>& chunks, uint32_t size) {
    if (chunks.empty()) return joined(ltype_bytes(size), " zeroinitializer");
    PACKED packed;
    uint32_t offset = 0;
    for (const CHUNK& chunk : chunks) {
        if (chunk.offset > offset) put_part(packed, ltype_bytes(chunk.offset - offset), "zeroinitializer");
        put_chunk(packed, chunk);
        offset = chunk.offset + chunk.size();
    }
    if (offset < size) put_part(packed, ltype_bytes(size - offset), "zeroinitializer");
    return packed.parts == 1 ? packed.values : joined("<{ ", packed.types, " }> <{ ", packed.values, " }>");
}

uint32_t object_size(const SYMBOL* symbol) {
    return symbol->size ? symbol->size : type_strip(symbol->declared_type)->size;
}

std::string variable_value(MODULE& module, const SYMBOL* symbol) {
    LAYOUT layout = {module, symbol, {}, 0};
    for (const INIT_ITEM* item = symbol->init_trees; item && lay_item(layout, item->tree);
         item = item->next) {
    }
    uint32_t size = object_size(symbol);
    if (layout.offset > size)
        refuse(module, "initializer of '%s' is larger than its %u bytes", symbol->name, size);
    return initial_value(without_zeros(layout.chunks), size);
}

bool is_constant(const SYMBOL* symbol) {
    const TYPE* type = symbol->declared_type;
    while (type_strip(type)->kind == TK_ARRAY) type = type_strip(type)->base;
    return type_is_const(type) && !type_is_volatile(type);
}

const char* storage_text(const SYMBOL* symbol) {
    if (symbol->flags & SF_THREAD) return "thread_local ";
    return "";
}

void write_variable(MODULE& module, const SYMBOL* symbol, const std::string& name) {
    std::string linkage = linkage_text(module, symbol);
    bool common = (symbol->flags & SF_COMMON) && symbol->storage_class == SC_EXTERN_DEF &&
                  !symbol->init_trees && !(symbol->flags & (SF_WEAK | SF_THREAD)) &&
                  !attribute_argument(symbol, "section");
    if (common) linkage.replace(0, 4, "common");
    put(module.globals, name, " = ", linkage, visibility_text(symbol), storage_text(symbol),
        is_constant(symbol) && !common ? "constant " : "global ", variable_value(module, symbol),
        section_text(symbol, ","), ", align ", std::max(symbol->align, 1u),
        debug_global(module.debug, symbol, name.substr(1)), "\n");
}

void declare_function(MODULE& module, const SYMBOL* symbol, const std::string& name) {
    const TYPE* type = type_strip(symbol->declared_type);
    SIGNATURE signature = signature_of(type);
    std::string line = symbol->flags & SF_WEAK ? "declare extern_weak " : "declare ";
    put(line, visibility_text(symbol), signature.result, " ", name, "(", signature.parameters, ")");
    if (returns_twice(symbol)) line += " #1";
    if (symbol->flags & SF_NORETURN) line += " #2";
    declare(module, line);
}

void write_external(MODULE& module, const SYMBOL* symbol, const std::string& name) {
    const char* linkage = symbol->flags & SF_WEAK ? "extern_weak " : "external ";
    if (type_is_function(symbol->declared_type)) return declare_function(module, symbol, name);
    put(module.globals, name, " = ", linkage, visibility_text(symbol), storage_text(symbol), "global ",
        ltype_bytes(object_size(symbol)), ", align ", std::max(symbol->align, 1u), "\n");
}

const SYMBOL* find_linkage_name(const MODULE& module, std::string_view name) {
    const SYMBOL* found = nullptr;
    for (const SYMBOL* symbol : *module.symbols)
        if (name == symbol->name && (!found || (symbol->flags & SF_DEFINED))) found = symbol;
    return found;
}

void write_alias(MODULE& module, const SYMBOL* symbol, const std::string& name) {
    const char* target = attribute_argument(symbol, "alias");
    const SYMBOL* aliased = find_linkage_name(module, target);
    if (!aliased)
        refuse(module, "'%s' is an alias of '%s', which the file does not define", symbol->name, target);
    const char* type = type_is_function(symbol->declared_type) ? "void (...)" : "i8";
    put(module.globals, name, " = ", linkage_text(module, symbol), visibility_text(symbol),
        storage_text(symbol), "alias ", type, ", ptr ", global_name(module, aliased), "\n");
}

// A list that LLVM knows by its name, of functions that run before or after the program.
void write_run_list(MODULE& module, const char* list, const char* attribute) {
    PACKED entries;
    for (const SYMBOL* symbol : *module.symbols) {
        if (!find_attribute(symbol, attribute) || !(symbol->flags & SF_DEFINED)) continue;
        const char* priority = attribute_argument(symbol, attribute);
        put_part(entries, "{ i32, ptr, ptr }",
                 joined("{ i32 ", priority ? priority : "65535", ", ptr ", global_name(module, symbol),
                        ", ptr null }"));
    }
    if (entries.parts)
        put(module.globals, "@", list, " = appending global [", entries.parts, " x { i32, ptr, ptr }] [",
            entries.values, "]\n");
}

void write_used_list(MODULE& module) {
    PACKED entries;
    for (const SYMBOL* symbol : *module.symbols)
        if (find_attribute(symbol, "used") && (symbol->flags & SF_DEFINED))
            put_part(entries, "ptr", global_name(module, symbol));
    if (entries.parts)
        put(module.globals, "@llvm.compiler.used = appending global [", entries.parts, " x ptr] [",
            entries.values, "], section \"llvm.metadata\"\n");
}

bool is_defined(const SYMBOL* symbol) {
    return symbol->storage_class == SC_EXTERN_DEF || symbol->storage_class == SC_STATIC;
}

bool is_object_or_function(const SYMBOL* symbol) {
    return is_defined(symbol) || symbol->storage_class == SC_EXTERN;
}

} // namespace

void write_globals(MODULE& module) {
    std::unordered_set<std::string> written;
    for (const SYMBOL* symbol : *module.symbols) {
        if (!is_object_or_function(symbol)) continue;
        bool alias = attribute_argument(symbol, "alias") != nullptr;
        if (!alias && !is_defined(symbol)) continue;
        const std::string& name = global_name(module, symbol);
        if (!written.insert(name).second) continue;
        if (alias)
            write_alias(module, symbol, name);
        else if (!type_is_function(symbol->declared_type))
            write_variable(module, symbol, name);
    }
    write_run_list(module, "llvm.global_ctors", "constructor");
    write_run_list(module, "llvm.global_dtors", "destructor");
    write_used_list(module);
    for (const SYMBOL* symbol : *module.symbols)
        if (is_object_or_function(symbol) && module.names.contains(symbol)) {
            const std::string& name = module.names[symbol];
            if (module.used.contains(name) && written.insert(name).second)
                write_external(module, symbol, name);
        }
}

} // namespace pelorus
