// Loads a program: reads an icode file, compiles each function as soon as it has been read, and takes the
// globals and their initializers when everything is known.
//
// Symbols that mean the same object are one global: those that other files can see go by their linkage names,
// those of class 3 are each their own. Equal string literals are one object.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "compile.h"
#include "icode/unit_client.h"
#include "ipa/classify.h"
#include "ipa/function_effects.h"
#include "ir/funinfo.h"
#include "memory/zone.h"

namespace pelorus {

namespace {

// --- Symbols ---

std::string linkage_name(const SYMBOL* symbol) {
    const char* given = attribute_argument(symbol, "asm");
    return given ? "_" + std::string(given) : symbol->name;
}

bool is_defined(const SYMBOL* symbol) {
    return symbol->storage_class != SC_EXTERN && symbol->storage_class != SC_TYPEDEF;
}

struct KNOWN_NAME {
    std::string_view name;
    KNOWN_FUNCTION function;
};
constexpr KNOWN_NAME KNOWN_NAMES[] = {
    {"___builtin_alloca", KNOWN_FUNCTION::ALLOCA},
    {"___builtin_stack_save", KNOWN_FUNCTION::STACK_SAVE},
    {"___builtin_stack_restore", KNOWN_FUNCTION::STACK_RESTORE},
    {"___builtin_trap", KNOWN_FUNCTION::TRAP},
    {"___builtin_return_address", KNOWN_FUNCTION::RETURN_ADDRESS},
    {"___builtin_frame_address", KNOWN_FUNCTION::FRAME_ADDRESS},
    {"___builtin_flt_rounds", KNOWN_FUNCTION::ROUNDING},
    {"___builtin_atomic_load_8", KNOWN_FUNCTION::ATOMIC_LOAD_8},
    {"_setjmp", KNOWN_FUNCTION::SETJMP},
    {"__setjmp", KNOWN_FUNCTION::SETJMP},
    {"___sigsetjmp", KNOWN_FUNCTION::SETJMP},
    {"_sigsetjmp", KNOWN_FUNCTION::SETJMP},
    {"_longjmp", KNOWN_FUNCTION::LONGJMP},
    {"__longjmp", KNOWN_FUNCTION::LONGJMP},
    {"_siglongjmp", KNOWN_FUNCTION::LONGJMP},
};

void find_external_function(GLOBAL_OBJECT& global, const SYMBOL* symbol) {
    if (const PRAGMA* assembly = find_attribute(symbol, "assembly"); assembly && assembly->count >= 2) {
        const std::string_view text = assembly->strings[1];
        if (text.find_first_not_of(" \t\n;") == std::string_view::npos)
            global.known = KNOWN_FUNCTION::ASSEMBLY;
        for (uint32_t i = 2; i < assembly->count; i++) global.assembly.push_back(assembly->strings[i]);
        return;
    }
    for (const KNOWN_NAME& known : KNOWN_NAMES)
        if (known.name == global.name) global.known = known.function;
    if (global.known == KNOWN_FUNCTION::NONE) global.row = find_library_function(global.name);
}

bool is_constant(const SYMBOL* symbol) {
    const TYPE* type = symbol->declared_type;
    while (type_strip(type)->kind == TK_ARRAY) type = type_strip(type)->base;
    return type_is_const(type) && !type_is_volatile(type);
}

void describe_global(LOADER& loader, GLOBAL_OBJECT& global, const SYMBOL* symbol) {
    const bool is_function = type_is_function(symbol->declared_type);
    const char* alias = attribute_argument(symbol, "alias");
    const bool defined = is_defined(symbol) || alias;
    global.weak = symbol->flags & SF_WEAK;
    if (!defined) {
        global.kind = is_function ? GLOBAL_OBJECT::EXTERNAL_FUNCTION : GLOBAL_OBJECT::EXTERNAL_VARIABLE;
        if (is_function) find_external_function(global, symbol);
        return;
    }
    global.kind = is_function ? GLOBAL_OBJECT::FUNCTION : GLOBAL_OBJECT::VARIABLE;
    global.alignment = std::max(symbol->align, 1u);
    global.size = symbol->size ? symbol->size : type_strip(symbol->declared_type)->size;
    global.constant = is_constant(symbol);
    if (!alias) return;
    for (const SYMBOL* other : icode_global_symbols(*loader.reader))
        if (other != symbol && linkage_name(other) == alias && is_defined(other)) {
            const uint32_t aliased = global_of_symbol(loader, other);
            loader.program.globals[loader.symbol_globals[symbol]].alias_of = aliased;
            return;
        }
}

uint32_t new_global(LOADER& loader, const std::string& name, std::string_view shown) {
    GLOBAL_OBJECT global{};
    global.name = name;
    global.shown_name = shown;
    loader.program.globals.push_back(std::move(global));
    return uint32_t(loader.program.globals.size() - 1);
}

} // namespace

std::string_view intern_text(LOADER& loader, std::string_view text) {
    const auto found = loader.program.texts.find(text);
    return found != loader.program.texts.end() ? *found : *loader.program.texts.emplace(text).first;
}

uint32_t global_of_symbol(LOADER& loader, const SYMBOL* symbol) {
    if (const auto found = loader.symbol_globals.find(symbol); found != loader.symbol_globals.end())
        return found->second;
    const std::string name = linkage_name(symbol);
    const bool is_own = symbol->storage_class == SC_STATIC;
    const auto known = is_own ? loader.named_globals.end() : loader.named_globals.find(name);
    const bool is_new = known == loader.named_globals.end();
    const uint32_t number = is_new ? new_global(loader, name, plain_name(symbol->name)) : known->second;
    loader.symbol_globals[symbol] = number;
    if (!is_own) loader.named_globals[name] = number;
    const bool defines = is_defined(symbol) || attribute_argument(symbol, "alias");
    if (is_new || defines) {
        GLOBAL_OBJECT described = loader.program.globals[number];
        describe_global(loader, described, symbol);
        described.alias_of = loader.program.globals[number].alias_of;
        loader.program.globals[number] = std::move(described);
    }
    return number;
}

uint32_t global_of_string(LOADER& loader, std::string_view bytes, uint32_t alignment) {
    const std::string key = '"' + std::string(bytes);
    const auto [place, is_new] = loader.named_globals.try_emplace(key, 0);
    if (is_new) {
        place->second = new_global(loader, key, "");
        GLOBAL_OBJECT& global = loader.program.globals.back();
        global.kind = GLOBAL_OBJECT::STRING;
        global.size = uint32_t(bytes.size());
        global.constant = true;
        global.chunks.push_back({0, std::string(bytes)});
        constexpr size_t SHOWN = 30;
        const std::string_view text = bytes.substr(0, bytes.find('\0'));
        global.shown_name = '"' + std::string(text.substr(0, SHOWN)) + (text.size() > SHOWN ? "...\"" : "\"");
        std::ranges::replace_if(global.shown_name, [](char c) { return uint8_t(c) < ' '; }, '?');
    }
    GLOBAL_OBJECT& global = loader.program.globals[place->second];
    global.alignment = std::max(global.alignment, alignment);
    return place->second;
}

uint32_t place_number(LOADER& loader, uint32_t in_function, const POSITION& position) {
    uint32_t file = 0;
    if (position.file) {
        const auto [place, is_new] = loader.file_numbers.try_emplace(position.file, 0);
        if (is_new) {
            place->second = uint32_t(loader.program.files.size());
            loader.program.files.emplace_back(position.file);
        }
        file = place->second;
    }
    std::vector<SOURCE_PLACE>& places = loader.program.places;
    const SOURCE_PLACE wanted{in_function, file, position.line, position.column};
    if (!places.empty() && !memcmp(&places.back(), &wanted, sizeof wanted))
        return uint32_t(places.size() - 1);
    places.push_back(wanted);
    return uint32_t(places.size() - 1);
}

namespace {

// --- Initializers ---

std::string little_endian(uint64_t value, uint32_t size) {
    std::string bytes;
    for (uint32_t i = 0; i < size; i++) bytes += char(i < 8 ? value >> (8 * i) : 0);
    return bytes;
}

std::string constant_bytes(const NODE* tree) {
    const uint32_t size = type_strip(tree->type)->size;
    if (tree->op != OP_FCON) return little_endian(uint64_t(int96_to_int64(tree->value())), size);
    const double value = tree->floating()->value;
    const auto single = float(value);
    uint64_t bits = 0;
    memcpy(&bits, size == 4 ? static_cast<const void*>(&single) : &value, size == 4 ? 4 : 8);
    return little_endian(bits, size);
}

// An address, or a number when there is no target.
struct CONSTANT_ADDRESS {
    uint32_t target = NO_NUMBER;
    uint32_t addend = 0;
};

CONSTANT_ADDRESS address_of(LOADER& loader, const NODE* object) {
    CONSTANT_ADDRESS address;
    for (; object->op == OP_STDOT && object->right->field_info; object = object->left)
        address.addend += uint32_t(object->right->field_info->value);
    if (object->op == OP_NAME && object->ref)
        address.target = global_of_symbol(loader, object->symbol());
    else if (object->op == OP_SCON)
        address.target = global_of_string(loader, {object->text, size_t(object->value_lo)},
                                          std::max(type_strip(object->type)->align, 1u));
    return address;
}

CONSTANT_ADDRESS constant_address(LOADER& loader, const NODE* tree) {
    uint32_t addend = 0;
    for (;; tree = tree->left) {
        if ((tree->op == OP_PLUS || tree->op == OP_MINUS) && tree->right->op == OP_ICON) {
            const auto step = uint32_t(uint64_t(int96_to_int64(tree->right->value())));
            addend += tree->op == OP_PLUS ? step : 0 - step;
        } else if (tree->op != OP_PCONV && tree->op != OP_SCONV && tree->op != OP_ISP2CHAR)
            break;
    }
    CONSTANT_ADDRESS address;
    if (tree->op == OP_UAND || tree->op == OP_ACONV)
        address = address_of(loader, tree->left);
    else if (tree->op == OP_ICON)
        address.addend = uint32_t(uint64_t(int96_to_int64(tree->value())));
    address.addend += addend;
    return address;
}

// Adds an item at the offset; how many bytes it fills.
uint32_t lay_item(LOADER& loader, uint32_t global, uint32_t offset, const NODE* tree) {
    std::string bytes;
    switch (tree->op) {
    case OP_SKIP: return uint32_t(tree->value_lo);
    case OP_ICON:
    case OP_FCON: bytes = constant_bytes(tree); break;
    case OP_SCON: bytes.assign(tree->text, size_t(tree->value_lo)); break;
    default: {
        const CONSTANT_ADDRESS address = constant_address(loader, tree);
        const uint32_t size = type_strip(tree->type)->size;
        if (address.target == NO_NUMBER)
            bytes = little_endian(address.addend, size);
        else
            loader.program.globals[global].chunks.push_back({offset, {}, address.target, address.addend});
        if (address.target != NO_NUMBER) return 4;
    }
    }
    std::vector<GLOBAL_OBJECT::CHUNK>& chunks = loader.program.globals[global].chunks;
    const auto size = uint32_t(bytes.size());
    if (!chunks.empty() && chunks.back().target == NO_NUMBER &&
        chunks.back().offset + chunks.back().bytes.size() == offset)
        chunks.back().bytes += bytes;
    else
        chunks.push_back({offset, std::move(bytes)});
    return size;
}

void lay_variable(LOADER& loader, const SYMBOL* symbol) {
    const uint32_t global = global_of_symbol(loader, symbol);
    uint32_t offset = 0;
    for (const INIT_ITEM* item = symbol->init_trees; item && item->tree->op != OP_ENDINIT; item = item->next)
        offset += lay_item(loader, global, offset, item->tree);
}

void take_globals(LOADER& loader) {
    for (const SYMBOL* symbol : icode_global_symbols(*loader.reader)) {
        if (symbol->storage_class == SC_TYPEDEF || symbol->storage_class == SC_EXTERN) continue;
        if (type_is_function(symbol->declared_type))
            global_of_symbol(loader, symbol);
        else
            lay_variable(loader, symbol);
    }
}

// --- Functions that run by themselves ---

std::vector<uint32_t> run_list(LOADER& loader, const char* attribute) {
    std::vector<std::pair<int, uint32_t>> found;
    for (const SYMBOL* symbol : icode_global_symbols(*loader.reader)) {
        if (!find_attribute(symbol, attribute) || !(symbol->flags & SF_DEFINED)) continue;
        const char* priority = attribute_argument(symbol, attribute);
        found.emplace_back(priority ? atoi(priority) : 65535, global_of_symbol(loader, symbol));
    }
    std::ranges::stable_sort(found, {}, &std::pair<int, uint32_t>::first);
    std::vector<uint32_t> list;
    list.reserve(found.size());
    for (const auto& [priority, global] : found) list.push_back(global);
    return list;
}

// --- Calls whose callee is known ---

void link_calls(PROGRAM& program) {
    for (FUNCTION_CODE& function : program.functions)
        for (CALL_SITE_CODE& site : function.calls) {
            if (site.global == NO_NUMBER) continue;
            site.global = resolved_global(program, site.global);
            const uint32_t callee = program.globals[site.global].function;
            site.fits = callee != NO_NUMBER && why_call_does_not_fit(program.functions[callee], site).empty();
        }
}

// --- The check of functions ---

bool is_checked(uint16_t operation) {
    const auto is_access = [&](uint16_t first, uint16_t end) {
        return operation >= first && operation < end && (operation - first) % 4 != MC_IN_FRAME;
    };
    switch (operation) {
    case MC_COPY:
    case MC_STRETCH:
    case MC_RETURN:
    case MC_RETURN_OBJECT:
    case MC_RETURN_NOTHING:
    case MC_NOTE_READ:
    case MC_NOTE_WRITE: return true;
    default: return is_access(MC_LOAD_P_8U, MC_STORE_P_8) || is_access(MC_STORE_P_8, MC_CONSTANT);
    }
}

// Analyses the functions, and puts CHECKED in the place of what is looked at, so that nothing moves.
// What is only called keeps the flags that follow from its name.
void classify_undefined_functions() {
    for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next) {
        if (!type_is_function(symbol->type) || symbol->storage_class != SC_EXTERN) continue;
        if (!symbol->funinfo) symbol->funinfo = get_funinfo(symbol->name);
        if (!symbol->funinfo->symbol) symbol->funinfo->symbol = symbol;
        classify_function(*symbol->funinfo, false);
    }
}

void put_checks_in(LOADER& loader) {
    classify_undefined_functions();
    find_function_effects();
    for (size_t i = 0; i < loader.functions.size(); i++) {
        FUNCTION_CODE& code = loader.program.functions[i];
        code.flags = loader.functions[i]->flags;
        for (INSTRUCTION& instruction : code.code) {
            code.checked_operations.push_back(instruction.operation);
            if (is_checked(instruction.operation)) instruction.operation = MC_CHECKED;
        }
    }
}

// --- The reader's records ---

LOADER& loader_of(void* context) {
    return *static_cast<LOADER*>(static_cast<UNIT_CLIENT*>(context)->context);
}

void read_statement(void* context, NODE* tree, const POSITION& position) {
    LOADER& loader = loader_of(context);
    loader.unit.statement(context, tree, position);
    loader.items.push_back({FUNCTION_ITEM::STATEMENT, tree, position, 0});
}

void read_label(void* context, uint32_t number) {
    LOADER& loader = loader_of(context);
    loader.unit.label(context, number);
    loader.items.push_back({FUNCTION_ITEM::LABEL, nullptr, {}, number});
}

void read_assembly(void* context, int kind, const char* text, const POSITION& position, bool in_function) {
    LOADER& loader = loader_of(context);
    loader.unit.assembly(context, kind, text, position, in_function);
    if (in_function && function.statements)
        loader.items.push_back({FUNCTION_ITEM::STATEMENT, function.statements->tree, position, 0});
}

void read_block_begin(void* context, const POSITION&) {
    LOADER& loader = loader_of(context);
    loader.open_blocks.push_back(++loader.blocks);
    loader.items.push_back({FUNCTION_ITEM::BLOCK_BEGIN, nullptr, {}, 0});
}

void read_block_end(void* context, const POSITION&) {
    LOADER& loader = loader_of(context);
    if (loader.open_blocks.empty()) return;
    loader.open_blocks.pop_back();
    loader.items.push_back({FUNCTION_ITEM::BLOCK_END, nullptr, {}, 0});
}

void read_symbol(void* context, SYMBOL* symbol, int level) {
    LOADER& loader = loader_of(context);
    if (level >= BODY_LEVEL)
        loader.scopes.emplace_back(symbol, loader.open_blocks.empty() ? 0 : loader.open_blocks.back());
}

void forget_function(LOADER& loader) {
    loader.items.clear();
    loader.scopes.clear();
    loader.open_blocks.clear();
    loader.blocks = 0;
}

void read_function_begin(void* context, SYMBOL* symbol, const POSITION& position, uint64_t offset) {
    LOADER& loader = loader_of(context);
    forget_function(loader);
    loader.unit.begin_function(context, symbol, position, offset);
}

void function_read(void* context) {
    LOADER& loader = *static_cast<LOADER*>(context);
    if (loader.program.checks_functions) note_function_effects(*function.info);
    compile_function(loader);
    loader.functions.push_back(function.info);
    forget_function(loader);
    clear_function();
    release_local_zone();
}

ICODE_CLIENT loader_client(LOADER& loader, UNIT_CLIENT& unit) {
    loader.unit = unit_icode_client(unit);
    ICODE_CLIENT client = loader.unit;
    client.begin_function = read_function_begin;
    client.statement = read_statement;
    client.label = read_label;
    client.assembly = read_assembly;
    client.begin_block = read_block_begin;
    client.end_block = read_block_end;
    client.symbol = read_symbol;
    return client;
}

struct LOAD_FAULT {};

// The reader's faults become exceptions while a program is loaded, and its state goes at the end.
struct LOADING {
    LOADER& loader;
    void (*exit_before)(int) = icode_exit;
    void (*complain_before)(const char*) = icode_complain;
    static inline std::string* message = nullptr;

    LOADING(LOADER& its_loader, std::string& its_message) : loader(its_loader) {
        message = &its_message;
        clear_funinfo(); // what a run of the optimizer has left is about other functions
        clear_function_effects();
        set_type_package(&loader.types);
        icode_exit = [](int) { throw LOAD_FAULT(); };
        icode_complain = [](const char* text) { *message = text; };
    }
    ~LOADING() {
        icode_exit = exit_before;
        icode_complain = complain_before;
        clear_function();
        release_local_zone();
        if (loader.reader) close_icode(loader.reader);
        clear_file_symbols();
        clear_funinfo();
        clear_function_effects();
        set_type_package(nullptr);
    }
    LOADING(const LOADING&) = delete;
    LOADING& operator=(const LOADING&) = delete;
};

void load(LOADER& loader, FILE* stream, const char* name) {
    UNIT_CLIENT unit = {function_read, nullptr, nullptr, &loader};
    loader.reader = open_icode(stream, name, loader_client(loader, unit));
    if (!loader.reader) {
        fclose(stream);
        *LOADING::message = std::string(name) + ": not an icode file";
        throw LOAD_FAULT();
    }
    register_own_opcodes();
    read_whole_file(*loader.reader);
    take_globals(loader);
    loader.program.constructors = run_list(loader, "constructor");
    loader.program.destructors = run_list(loader, "destructor");
    std::ranges::reverse(loader.program.destructors);
    link_calls(loader.program);
    if (loader.program.checks_functions) put_checks_in(loader);
}

} // namespace

PROGRAM* load_program(FILE* stream, const char* name, std::string& message, bool check_functions) {
    auto program = std::make_unique<PROGRAM>();
    program->name = name;
    program->checks_functions = check_functions;
    LOADER loader{.program = *program};
    try {
        const LOADING loading(loader, message);
        load(loader, stream, name);
    } catch (const LOAD_FAULT&) {
        return nullptr;
    }
    return program.release();
}

void release_program(PROGRAM* program) { delete program; }

} // namespace pelorus
