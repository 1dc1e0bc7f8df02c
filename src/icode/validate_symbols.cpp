// The validator's symbols and pragmas; see validate_state.h.
#include <charconv>
#include <cstring>
#include <span>
#include <string_view>
#include <unordered_set>

#include "icode/validate_state.h"
#include "ir/register_structure.h"
#include "memory/zone.h"

namespace pelorus {

namespace {

// --- Pragmas ---

enum class ARGUMENT : uint8_t { TEXT, NUMBER };

struct PRAGMA_FORM {
    PRAGMA_KIND kind;
    size_t least, most; // strings
    ARGUMENT argument;
};

constexpr PRAGMA_FORM PRAGMA_FORMS[] = {
    {PK_ATTRIBUTE, 1, 64, ARGUMENT::TEXT},     {PK_UNROLL, 1, 1, ARGUMENT::NUMBER},
    {PK_MUST_ITERATE, 1, 3, ARGUMENT::NUMBER}, {PK_PROB_ITERATE, 1, 2, ARGUMENT::NUMBER},
    {PK_OTHER, 1, 1, ARGUMENT::TEXT},          {PK_OPTIONS, 1, 1, ARGUMENT::TEXT},
};

// Attributes by name, with the least and most number of arguments.
struct ATTRIBUTE_FORM {
    std::string_view name;
    size_t least, most;
    ARGUMENT argument;
};

constexpr ATTRIBUTE_FORM ATTRIBUTE_FORMS[] = {
    {"section", 1, 1, ARGUMENT::TEXT},       {"alias", 1, 1, ARGUMENT::TEXT},
    {"aligned", 1, 1, ARGUMENT::NUMBER},     {"visibility", 1, 1, ARGUMENT::TEXT},
    {"constructor", 0, 1, ARGUMENT::NUMBER}, {"destructor", 0, 1, ARGUMENT::NUMBER},
    {"used", 0, 0, ARGUMENT::TEXT},          {"asm", 1, 1, ARGUMENT::TEXT},
    {"noinline", 0, 0, ARGUMENT::TEXT},      {"returns_twice", 0, 0, ARGUMENT::TEXT},
    {"assembly", 1, 63, ARGUMENT::TEXT},     {"naked", 0, 0, ARGUMENT::TEXT},
    {"interrupt", 0, 1, ARGUMENT::TEXT},     {"always_inline", 0, 0, ARGUMENT::TEXT},
};

bool is_number(std::string_view text) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

// A number that is not given may be left out or be an empty text.
bool are_arguments(const std::vector<std::string_view>& strings, size_t first, ARGUMENT argument) {
    if (argument == ARGUMENT::TEXT) return true;
    for (size_t i = first; i < strings.size(); ++i)
        if (!strings[i].empty() && !is_number(strings[i])) return false;
    return true;
}

const char* attribute_problem(const std::vector<std::string_view>& strings) {
    for (const ATTRIBUTE_FORM& form : ATTRIBUTE_FORMS) {
        if (form.name != strings[0]) continue;
        const size_t arguments = strings.size() - 1;
        if (arguments < form.least || arguments > form.most || !are_arguments(strings, 1, form.argument))
            return "the attribute has other arguments";
        return nullptr;
    }
    return "the attribute is not known";
}

enum class PLACE_OF_PRAGMA : uint8_t { SYMBOL, FUNCTION, FILE };

bool may_stand(uint64_t kind, PLACE_OF_PRAGMA place) {
    switch (kind) {
    case PK_ATTRIBUTE: return place == PLACE_OF_PRAGMA::SYMBOL;
    case PK_UNROLL:
    case PK_MUST_ITERATE:
    case PK_PROB_ITERATE: return place == PLACE_OF_PRAGMA::FUNCTION;
    case PK_OPTIONS: return place != PLACE_OF_PRAGMA::FUNCTION;
    default: return true;
    }
}

// The body of a pragma whose frame is open; its strings are left in v.strings.
void validate_pragma(VALIDATOR& v, const RECORD_FRAME& frame, PLACE_OF_PRAGMA place) {
    if (!take_fields(v, record_layout(RK_PRAGMA)->fields, nullptr)) return;
    const uint64_t kind = v.fields[0].number;
    if (kind < PK_ATTRIBUTE || kind > PK_OPTIONS)
        return file_fault(v, RULE_P1, frame.start, "kind %u is not known", static_cast<unsigned>(kind));
    const PRAGMA_FORM& form = PRAGMA_FORMS[kind - 1];
    if (v.strings.size() < form.least || v.strings.size() > form.most ||
        !are_arguments(v.strings, 0, form.argument))
        file_fault(v, RULE_P2, frame.start, "a pragma of kind %u has other strings",
                   static_cast<unsigned>(kind));
    else if (kind == PK_ATTRIBUTE)
        if (const char* problem = attribute_problem(v.strings))
            file_fault(v, RULE_P2, frame.start, "\"%.40s\": %s", std::string(v.strings[0]).c_str(), problem);
    if (!may_stand(kind, place))
        file_fault(v, RULE_P3, frame.start, "a pragma of kind %u cannot stand here",
                   static_cast<unsigned>(kind));
}

// --- Symbols ---

enum SYMBOL_FIELD { F_NAME, F_SIZE, F_OFFSET, F_CLASS, F_FLAGS, F_TYPE, F_ALIGN, F_PRAGMAS, F_ORDER };

// Storage classes by where a symbol stands. In an optimizer's output a global may live in a register of its
// own.
constexpr uint8_t GLOBAL_IN_REGISTER[] = {108, 109};

bool is_class_of(int level, int64_t storage_class) {
    switch (storage_class) {
    case SC_EXTERN:
    case SC_STATIC:
    case SC_EXTERN_DEF: return level == 0;
    case SC_AUTO:
    case SC_REGISTER:
    case SC_LABEL: return level >= 2;
    case SC_REGISTER_PARM2: return level >= 1;
    case SC_ARGUMENT:
    case SC_REGISTER_PARM:
    case SC_VARARG: return level == 1;
    case SC_TYPEDEF: return level != 1;
    default:
        return level == 0 &&
               (storage_class == GLOBAL_IN_REGISTER[0] || storage_class == GLOBAL_IN_REGISTER[1]);
    }
}

SYMBOL* build_symbol(VALIDATOR& v, int level) {
    const std::vector<FIELD_VALUE>& fields = v.fields;
    auto* symbol = zone_new<SYMBOL>(level != 0);
    symbol->local = level != 0;
    symbol->name = zone_string(level != 0, fields[F_NAME].text);
    symbol->size = static_cast<uint32_t>(fields[F_SIZE].number);
    symbol->storage_class = symbol->file_class = static_cast<uint8_t>(fields[F_CLASS].number);
    symbol->flags = static_cast<uint16_t>(fields[F_FLAGS].number);
    symbol->type = symbol->declared_type = fields[F_TYPE].type; // null when it is not known
    symbol->align = static_cast<uint32_t>(fields[F_ALIGN].number);
    symbol->level = static_cast<uint8_t>(level > 2 ? 2 : level);
    return symbol;
}

bool is_object_class(const SYMBOL* symbol) {
    return symbol->storage_class != SC_TYPEDEF && symbol->storage_class != SC_LABEL;
}

void check_size(VALIDATOR& v, const SYMBOL* symbol, uint64_t start) {
    const TYPE* type = symbol->declared_type;
    const TYPE* core = type_strip(type);
    const bool is_function = core->kind == TK_FUNCTION;
    if (!is_function && !core->complete) return; // the size of another declaration, or none
    const uint32_t size = is_function ? 0 : core->size;
    // With the members that the initializer gives a flexible array.
    const bool is_longer = type_is_csu(core) && (symbol->flags & SF_DEFINED) && symbol->size > size;
    if (symbol->size != size && !is_longer)
        file_fault(v, RULE_S7, start, "\"%.80s\" has %u bytes and its type %u", symbol->name, symbol->size,
                   size);
}

bool fits_registers(const TYPE* type) {
    STRUCTURE_LEAVES leaves;
    const bool is_number = type_is_integer(type) || type_is_floating(type) || type_is_pointer(type);
    return is_number ? !type_is_volatile(type) : find_leaves(type, leaves);
}

void check_symbol_type(VALIDATOR& v, const SYMBOL* symbol, uint64_t start) {
    const TYPE* type = symbol->declared_type;
    if (!is_object_class(symbol)) return;
    const bool defined = (symbol->flags & SF_DEFINED) || symbol->level;
    const bool good =
        symbol->level ? !type_is_function(type) && !type_is_void(type) : !defined || !type_is_void(type);
    if (!good)
        return file_fault(v, RULE_S6, start, "\"%.80s\" cannot be %s", symbol->name, type_text(type).c_str());
    check_size(v, symbol, start);
    if (symbol->level && symbol->storage_class == SC_REGISTER && !fits_registers(type))
        file_fault(v, RULE_S12, start, "\"%.80s\" cannot live in a register as %s", symbol->name,
                   type_text(type).c_str());
}

void check_flags(VALIDATOR& v, const SYMBOL* symbol, uint64_t start) {
    const uint32_t flags = symbol->flags;
    const bool is_static = symbol->storage_class == SC_STATIC;
    if (flags & ~uint32_t{FILE_SYMBOL_FLAGS})
        file_fault(v, RULE_S5, start, "\"%.80s\" has flags 0x%x, which no file holds", symbol->name,
                   flags & ~uint32_t{FILE_SYMBOL_FLAGS});
    if ((flags & SF_LOCAL_STATIC) && !(is_static && (flags & SF_INTERNAL)))
        file_fault(v, RULE_S5, start, "\"%.80s\" is a function's static variable without internal linkage",
                   symbol->name);
    if ((flags & SF_INTERNAL) && symbol->storage_class == SC_EXTERN_DEF)
        file_fault(v, RULE_S5, start, "\"%.80s\" has internal linkage and is defined for other files",
                   symbol->name);
    if ((flags & SF_INTERNAL) && (flags & SF_COMMON))
        file_fault(v, RULE_S5, start, "\"%.80s\" has internal linkage and is shared with other files",
                   symbol->name);
}

void check_global(VALIDATOR& v, const SYMBOL* symbol, uint64_t start) {
    if (symbol->storage_class == SC_TYPEDEF) return;
    if (symbol->name[0] != '_') file_fault(v, RULE_S1, start, "\"%.80s\" has no underscore", symbol->name);
    const bool defines = symbol->storage_class == SC_EXTERN_DEF || symbol->storage_class == SC_STATIC;
    if (defines != ((symbol->flags & SF_DEFINED) != 0) && symbol->storage_class <= SC_VARARG)
        file_fault(v, RULE_S3, start, "\"%.80s\" has class %d and %s the flag of a definition", symbol->name,
                   symbol->storage_class, defines ? "lacks" : "has");
}

void check_symbol(VALIDATOR& v, const SYMBOL* symbol, uint64_t start) {
    const auto storage_class = v.fields[F_CLASS].signed_number();
    const bool known_class = is_class_of(symbol->level, static_cast<uint8_t>(storage_class));
    if (!known_class)
        file_fault(v, RULE_S2, start, "\"%.80s\" has class %d, which is none at level %d", symbol->name,
                   static_cast<int>(storage_class), symbol->level);
    const bool is_function = symbol->declared_type && type_is_function(symbol->declared_type);
    if (!is_power_of_two(symbol->align) && !(is_function && !symbol->align))
        file_fault(v, RULE_S8, start, "\"%.80s\" is aligned to %u", symbol->name, symbol->align);
    const uint64_t order = v.fields[F_ORDER].number;
    if ((order != 0) != (symbol->level == 0))
        file_fault(v, RULE_S10, start, "\"%.80s\" has order %u", symbol->name, static_cast<unsigned>(order));
    check_flags(v, symbol, start);
    if (!known_class) return; // what else it should be depends on the class
    if (!symbol->level) check_global(v, symbol, start);
    if (symbol->declared_type) check_symbol_type(v, symbol, start);
}

// What is wrong with the operands of a function that stands for assembly; null: nothing. The result is its
// first output in a register, and every other operand takes an argument, the address of an object where it
// says so.
const char* assembly_problem(const SYMBOL* symbol, const std::vector<std::string_view>& strings) {
    const TYPE* type = symbol->declared_type ? type_strip(symbol->declared_type) : nullptr;
    if (!type || type->kind != TK_FUNCTION || !type->prototyped || type->variadic ||
        symbol->storage_class != SC_EXTERN)
        return "assembly belongs to an external function with a prototype";
    const TYPE_PART* parameter = type->parts;
    bool has_result = false;
    for (std::string_view operand : std::span(strings).subspan(2)) {
        if (operand.starts_with('~')) continue;
        const bool in_memory = operand.find('*') < 3, is_output = operand.starts_with('=');
        if (is_output && !in_memory && !has_result) {
            has_result = true;
            continue;
        }
        while (parameter && parameter->record_kind != TR_PARAMETER) parameter = parameter->next;
        if (!parameter) return "an operand of the assembly has no parameter";
        if ((is_output || in_memory) && (!parameter->type || !type_is_pointer(parameter->type)))
            return "an operand of the assembly is no address";
        parameter = parameter->next;
    }
    while (parameter && parameter->record_kind != TR_PARAMETER) parameter = parameter->next;
    if (parameter) return "a parameter is no operand of the assembly";
    return has_result == (!type->base || type_is_void(type->base))
               ? "the result is no operand of the assembly"
               : nullptr;
}

// The pragmas behind a symbol. True when one makes it an alias.
bool validate_attached_pragmas(VALIDATOR& v, const SYMBOL* symbol, uint64_t start, int64_t count) {
    bool is_alias = false;
    int64_t found = 0;
    for (; v.at < v.limit && static_cast<uint8_t>(v.bytes[v.at]) == RK_PRAGMA && found < count; ++found) {
        RECORD_FRAME frame;
        if (!open_record(v, frame)) break;
        validate_pragma(v, frame, PLACE_OF_PRAGMA::SYMBOL);
        is_alias |= v.good && !v.strings.empty() && v.strings[0] == "alias";
        if (v.good && v.strings.size() > 1 && v.strings[0] == "assembly")
            if (const char* problem = assembly_problem(symbol, v.strings))
                file_fault(v, RULE_P4, frame.start, "\"%.80s\": %s", symbol->name, problem);
        close_record(v, frame);
    }
    if (count < 0 || found != count)
        file_fault(v, RULE_S9, start, "\"%.80s\" is followed by %d pragmas, not %d", symbol->name,
                   static_cast<int>(found), static_cast<int>(count));
    return is_alias;
}

} // namespace

void validate_symbol_record(VALIDATOR& v, const RECORD_FRAME& frame) {
    const int level = v.function.depth;
    if (!take_fields(v, record_layout(RK_SYMBOL)->fields, nullptr)) {
        close_record(v, frame);
        // What counts symbols would count wrong from here on.
        if (level) v.function.is_damaged = true;
        return;
    }
    check_own_size(v, frame);
    SYMBOL* symbol = build_symbol(v, level);
    if (v.fields[F_TYPE].present && !symbol->declared_type) symbol->declared_type = v.types.void_type();
    check_symbol(v, symbol, frame.start);
    const int64_t pragmas = v.fields[F_PRAGMAS].signed_number();
    close_record(v, frame);
    const bool is_alias = validate_attached_pragmas(v, symbol, frame.start, pragmas);
    if (level) {
        v.function.locals.push_back(symbol);
        if (level == 1) v.function.parameters.push_back(symbol);
        return;
    }
    GLOBAL_STATE& global = v.globals.emplace_back();
    global.symbol = symbol;
    global.offset = frame.start;
    global.is_alias = is_alias;
}

void validate_pragma_record(VALIDATOR& v, const RECORD_FRAME& frame) {
    if (v.function.depth == 1)
        file_fault(v, RULE_U1, frame.start, "a pragma before the body of its function");
    validate_pragma(v, frame, v.function.depth ? PLACE_OF_PRAGMA::FUNCTION : PLACE_OF_PRAGMA::FILE);
}

namespace {

bool is_function(const GLOBAL_STATE& global) {
    return global.symbol->declared_type && type_is_function(global.symbol->declared_type);
}

void check_bodies(VALIDATOR& v, const GLOBAL_STATE& global) {
    const SYMBOL* symbol = global.symbol;
    const bool defined = (symbol->flags & SF_DEFINED) != 0;
    if (global.bodies > 1 || (defined && !global.is_alias && !global.bodies) || (global.bodies && !defined))
        file_fault(v, RULE_S4, global.offset, "function \"%.80s\" is %sdefined and has %u bodies",
                   symbol->name, defined ? "" : "not ", global.bodies);
}

} // namespace

void validate_all_symbols(VALIDATOR& v) {
    std::unordered_set<std::string_view> with_body;
    for (const GLOBAL_STATE& global : v.globals) {
        if (!is_function(global)) continue;
        check_bodies(v, global);
        if (global.bodies && !with_body.insert(global.symbol->name).second)
            file_fault(v, RULE_S4, global.offset, "a second function \"%.80s\" with a body",
                       global.symbol->name);
    }
}

} // namespace pelorus
