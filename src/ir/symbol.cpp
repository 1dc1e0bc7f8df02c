// Symbols and interned names; see symbol.h.
#include "ir/symbol.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "ir/funinfo.h"
#include "ir/stmt.h"
#include "memory/zone.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

SYMBOL_LIST file_symbols;
SYMBOL* errno_symbol;
FUNCTION_SYMBOLS function_symbols;

namespace {

// What a function loses when it walks its own arguments: its argument list is no list of variables.
constexpr uint32_t ARGUMENT_WALK_FLAGS = FUN_cannot_beta | FUN_cannot_inline | FUN_cannot_suppress;
static_assert(ARGUMENT_WALK_FLAGS == 0x40022);

void append(SYMBOL_LIST& list, SYMBOL* symbol) {
    (list.last ? list.last->next : list.first) = symbol;
    list.last = symbol;
}

bool is_register_class(uint8_t storage_class) {
    return storage_class == SC_REGISTER || storage_class == SC_REGISTER_PARM ||
           storage_class == SC_REGISTER_PARM2;
}

SYMBOL* make_symbol(const SYMBOL_FIELDS& fields, bool local) {
    auto* symbol = zone_new<SYMBOL>(local);
    symbol->local = local;
    symbol->name = local ? zone_string(true, fields.name) : intern_name(fields.name);
    symbol->size = fields.size;
    symbol->offset = fields.offset;
    symbol->storage_class = symbol->file_class = static_cast<uint8_t>(fields.storage_class);
    symbol->flags = fields.flags & FILE_SYMBOL_FLAGS;
    symbol->declared_type = fields.type;
    symbol->type = type_is_const(fields.type) ? fields.type : type_normalise(fields.type);
    symbol->align = fields.align;
    symbol->position = fields.position;
    symbol->order = fields.order;
    symbol->fifth = fields.fifth;
    symbol->keep = 1;
    symbol->candidate = NO_CANDIDATE;
    symbol->addressable = !is_register_class(symbol->storage_class);
    return symbol;
}

bool is_errno(const SYMBOL& symbol) { return !strcmp(symbol.name, "_errno") && type_is_integer(symbol.type); }

void place_in_function(SYMBOL* symbol, int level) {
    symbol->level = static_cast<uint8_t>(std::min(level, 2));
    symbol->serial = function_symbols.serial++;
    if (symbol->storage_class == SC_VARARG) {
        symbol->storage_class = SC_ARGUMENT;
        if (function.info) function.info->flags |= ARGUMENT_WALK_FLAGS;
    }
    if (symbol->storage_class == SC_REGISTER || symbol->storage_class == SC_REGISTER_PARM2)
        symbol->storage_class = SC_AUTO;
    if (symbol->storage_class == SC_LABEL) return;
    append(level == 1 ? function_symbols.parameters : function_symbols.variables, symbol);
}

} // namespace

const PRAGMA* find_attribute(const SYMBOL* symbol, std::string_view name) {
    for (const PRAGMA* pragma = symbol->pragmas; pragma; pragma = pragma->next)
        if (pragma->kind == PK_ATTRIBUTE && pragma->count && name == pragma->strings[0]) return pragma;
    return nullptr;
}

const char* attribute_argument(const SYMBOL* symbol, std::string_view name) {
    const PRAGMA* pragma = find_attribute(symbol, name);
    return pragma && pragma->count > 1 ? pragma->strings[1] : nullptr;
}

bool is_file_variable(const SYMBOL& symbol) {
    return symbol.storage_class != SC_TYPEDEF && symbol.storage_class != SC_LABEL && symbol.type &&
           !type_is_function(symbol.type);
}

SYMBOL* new_file_symbol(const SYMBOL_FIELDS& fields, int level) {
    SYMBOL* symbol = make_symbol(fields, level != 0);
    if (level) {
        place_in_function(symbol, level);
        return symbol;
    }
    if (symbol->storage_class == SC_VARARG) symbol->storage_class = SC_ARGUMENT;
    if (settings.optimization_level < FILE_LEVEL_ANALYSIS) assume_unseen_changes(*symbol);
    append(file_symbols, symbol);
    if (is_errno(*symbol)) errno_symbol = symbol;
    return symbol;
}

void assume_unseen_changes(SYMBOL& symbol) {
    if (type_is_const(symbol.declared_type)) return;
    const bool file_local = (symbol.flags & (SF_INTERNAL | SF_LOCAL_STATIC)) != 0;
    symbol.flags = static_cast<uint16_t>(symbol.flags | CQ_UNKNOWN | (file_local ? 0 : CQ_EXPOSED));
}

namespace {

SYMBOL* new_own_symbol(SYMBOL_LIST& list, char letter, TYPE* type, long number) {
    if (number < 0) number = function_symbols.temporary++;
    char name[32];
    snprintf(name, sizeof name, "%c$%ld", letter, number);
    SYMBOL_FIELDS fields{};
    fields.name = name;
    fields.size = type->size;
    fields.storage_class = SC_AUTO;
    fields.type = type;
    fields.align = type->align;
    SYMBOL* symbol = make_symbol(fields, true);
    symbol->level = 2;
    symbol->serial = function_symbols.serial++;
    append(list, symbol);
    return symbol;
}

} // namespace

SYMBOL* new_temporary(char letter, TYPE* type, long number) {
    return new_own_symbol(function_symbols.temporaries, letter, type, number);
}

SYMBOL* new_part(char letter, const SYMBOL* origin, TYPE* type) {
    SYMBOL* part = new_own_symbol(function_symbols.splits, letter, type, -1);
    part->position = origin->position;
    part->scope_end = origin->scope_end;
    return part;
}

SYMBOL* new_split(char letter, const SYMBOL* origin) {
    SYMBOL* split = new_part(letter, origin, origin->type);
    split->declared_type = origin->declared_type;
    return split;
}

SYMBOL* new_copied_variable(const SYMBOL* origin, const char* name) {
    SYMBOL_FIELDS fields{};
    fields.name = name;
    fields.size = origin->size;
    fields.storage_class = SC_AUTO;
    fields.flags = origin->flags;
    fields.type = origin->declared_type;
    fields.align = origin->align;
    fields.position = origin->position;
    SYMBOL* symbol = make_symbol(fields, true);
    symbol->position.scope = UNKNOWN_SCOPE;
    symbol->level = BODY_LEVEL;
    symbol->serial = function_symbols.serial++;
    append(function_symbols.variables, symbol);
    return symbol;
}

void end_symbol_scope(SYMBOL* symbol, const POSITION& end) { symbol->scope_end = end; }

namespace {
std::vector<SYMBOL*> exposed_file_symbols; // by the current function
}

void expose_symbol(SYMBOL* symbol) {
    if (symbol->level == 0 && !symbol->address_exposed) exposed_file_symbols.push_back(symbol);
    symbol->address_exposed = 1;
}

namespace {

void clear_exposures_of_file() {
    for (SYMBOL* symbol : exposed_file_symbols) symbol->address_exposed = 0;
    exposed_file_symbols.clear();
}

} // namespace

void clear_exposures() {
    for_each_function_symbol([](SYMBOL* symbol) { symbol->address_exposed = 0; });
    clear_exposures_of_file();
}

void clear_function_symbols() {
    clear_exposures_of_file();
    function_symbols = {};
}

// --- Interned names ---

namespace {

constexpr size_t NAME_CHAINS = 257;

// The statistics speak of chains by a small hash; the look-up itself is direct, since a file may have very
// many names.
struct NAME_TABLE {
    std::unordered_set<std::string_view> texts; // in the global zone
    std::array<int, NAME_CHAINS> chain_lengths{};
};
NAME_TABLE names;

uint32_t name_hash(const char* name) {
    uint32_t value = 0;
    for (; *name; ++name) value = value * 31 + static_cast<unsigned char>(*name);
    return value;
}

} // namespace

const char* intern_name(const char* name) {
    if (const auto known = names.texts.find(name); known != names.texts.end()) return known->data();
    const char* text = zone_string(false, name);
    names.texts.insert(text);
    names.chain_lengths[name_hash(name) % NAME_CHAINS]++;
    return text;
}

void print_name_statistics() {
    const auto has_no_function = [](std::string_view name) {
        return !find_funinfo(std::string(name).c_str());
    };
    const auto count = static_cast<int>(names.texts.size());
    const int longest = *std::max_element(names.chain_lengths.begin(), names.chain_lengths.end());
    const auto without_function =
        static_cast<int>(std::count_if(names.texts.begin(), names.texts.end(), has_no_function));
    constexpr char line[] = "\n%d interned symbols;  max chain %d, %d with NULL funinfo.\n";
    info(line, count, longest, without_function);
    trace(line, count, longest, without_function);
}

void clear_file_symbols() {
    file_symbols = {};
    exposed_file_symbols.clear();
    errno_symbol = nullptr;
    names = {};
}

} // namespace pelorus
