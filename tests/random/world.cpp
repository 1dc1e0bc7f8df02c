// What a random file declares: structures and unions, variables, functions; and the file as a whole.
#include "random/generator.h"

#include <algorithm>

namespace pelorus::generated {

const SCALAR SCALARS[SCALAR_COUNT] = {
    {"schar", 1, true, SORT::INTEGER, 4},      {"uchar", 1, false, SORT::INTEGER, 5},
    {"char", 1, false, SORT::INTEGER, 4},      {"short", 2, true, SORT::INTEGER, 6},
    {"ushort", 2, false, SORT::INTEGER, 4},    {"int", 4, true, SORT::INTEGER, 24},
    {"uint", 4, false, SORT::INTEGER, 16},     {"long", 4, true, SORT::INTEGER, 3},
    {"ulong", 4, false, SORT::INTEGER, 3},     {"llong", 8, true, SORT::INTEGER, 8},
    {"ullong", 8, false, SORT::INTEGER, 6},    {"bool", 1, false, SORT::BOOL, 3},
    {"enum.E", 4, true, SORT::ENUMERATION, 2}, {"enum.F", 4, false, SORT::ENUMERATION, 2},
    {"wchar", 4, false, SORT::INTEGER, 1},     {"float", 4, true, SORT::FLOATING, 4},
    {"double", 8, true, SORT::FLOATING, 5},    {"ldouble", 8, true, SORT::FLOATING, 1}};

namespace {

constexpr uint32_t RECORD_COUNT = 3; // a plain one, one that holds it, a union

SCALAR_ID weighted(GENERATOR& g, bool (*wanted)(const SCALAR&)) {
    uint32_t sum = 0;
    for (const SCALAR& row : SCALARS) sum += wanted(row) ? row.weight : 0;
    uint32_t left = g.dice.below(sum);
    for (int id = 0;; ++id) {
        const uint32_t weight = wanted(SCALARS[id]) ? SCALARS[id].weight : 0;
        if (left < weight) return static_cast<SCALAR_ID>(id);
        left -= weight;
    }
}

std::string qualified(const std::string& label, bool is_volatile) {
    return is_volatile && !label.ends_with(".volatile") ? label + ".volatile" : label;
}

} // namespace

SCALAR_ID some_scalar(GENERATOR& g) {
    return weighted(g, [](const SCALAR&) { return true; });
}

SCALAR_ID some_integer(GENERATOR& g) {
    return weighted(g, [](const SCALAR& row) { return row.sort == SORT::INTEGER && row.size >= 4; });
}

SCALAR_ID same_representation(GENERATOR& g, SCALAR_ID type) {
    constexpr SCALAR_ID WORDS[] = {INT, UINT, LONG, ULONG, SIGNED_ENUM, UNSIGNED_ENUM};
    constexpr SCALAR_ID WIDE[] = {LLONG, ULLONG};
    if (is_floating(type) || scalar(type).size < 4 || !g.dice.chance(15)) return type;
    return is_wide(type) ? g.dice.one_of(WIDE) : g.dice.one_of(WORDS);
}

// --- Places ---

PLACE array_place(const std::string& name, SCALAR_ID type, uint32_t elements, const PLACE& kind) {
    PLACE place = kind;
    const std::string element = qualified(label(type), kind.is_volatile);
    place.type = type;
    place.elements = elements;
    place.before = "UMULT:" + element + "(PLUS:" + element + "*(UAND:" + element + "*(" + name + "), ";
    place.after = "))";
    return place;
}

PLACE pointer_place(GENERATOR& g, const POINTER_VARIABLE& pointer) {
    PLACE place;
    place.type = pointer.type;
    place.is_volatile = pointer.to_volatile;
    const std::string type = qualified(label(pointer.type), pointer.to_volatile);
    const std::string address =
        g.dice.chance(10) ? "NONALIGN:" + type + "*(" + pointer.name + ")" : pointer.name;
    place.before = "UMULT:" + type + "(" + address + ")";
    place.has_address = false; // `&*p` may outlive what p points to
    return place;
}

void add_places(std::vector<PLACE>& places, const RECORD& record, const std::string& base,
                bool through_pointer, const PLACE& kind) {
    for (const MEMBER& member : record.members) {
        PLACE place = kind;
        place.is_volatile |= member.is_volatile;
        place.simple = false;
        const std::string field = " " + record.label + " \"" + member.name + "\"";
        const std::string type = qualified(
            member.nested || member.elements ? member.field_type : label(member.type), place.is_volatile);
        const std::string tree =
            std::string(through_pointer ? "STREF:" : "STDOT:") + type + "(" + base + ", FIELD:" +
            (member.bitfield ? member.field_type : qualified(member.field_type, member.is_volatile)) + field +
            ")";
        if (member.nested) {
            add_places(places, *member.nested, tree, false, place);
        } else if (member.elements) {
            if (!place.is_volatile) places.push_back(array_place(tree, member.type, member.elements, place));
        } else {
            place.type = member.type;
            place.before = tree;
            place.has_address &=
                !member.bitfield && !record.is_union; // through a pointer only what was stored last
            places.push_back(place);
        }
    }
}

// --- Structures ---

namespace {

void place_member(RECORD& record, MEMBER& member, uint32_t size, uint32_t alignment) {
    record.alignment = std::max(record.alignment, alignment);
    member.offset = record.is_union ? 0 : (record.size + alignment - 1) / alignment * alignment;
    record.size = std::max(record.size, member.offset + size);
}

struct CONTAINER {
    const char* label;
    uint32_t bytes;
};
constexpr CONTAINER CONTAINERS[] = {{"uchar", 1}, {"ushort", 2}, {"uint", 4}, {"ullong", 8}};

// Where the bits are: the smallest container within the group, or the whole group.
const CONTAINER& container_of(uint32_t shift, uint32_t width, uint32_t group, bool smallest) {
    for (const CONTAINER& container : CONTAINERS) {
        const uint32_t bits = 8 * container.bytes;
        if (container.bytes == group || (smallest && shift / bits == (shift + width - 1) / bits))
            return container;
    }
    return CONTAINERS[3];
}

// Some fields in a group of 4 or 8 bytes, in one container or each in one of its own, as a compiler has it.
void add_bitfields(GENERATOR& g, RECORD& record, std::string& types) {
    const bool wide = g.dice.chance(25);
    const bool smallest = g.dice.chance(60);
    const uint32_t bytes = wide ? 8 : 4;
    uint32_t shift = g.dice.chance(50) ? 0 : g.dice.below(4);
    MEMBER group;
    place_member(record, group, bytes, bytes);
    for (uint32_t count = g.dice.between(1, smallest ? 5 : 3); count; --count) {
        constexpr SCALAR_ID DECLARED[] = {INT, UINT, INT, UINT, USHORT, BOOL, SIGNED_ENUM, UCHAR};
        MEMBER field;
        field.type =
            wide && g.dice.chance(70) ? (g.dice.chance(50) ? LLONG : ULLONG) : g.dice.one_of(DECLARED);
        if (shift >= bytes * 8) break;
        uint32_t most = field.type == BOOL ? 1 : std::min(bits_of(field.type), bytes * 8 - shift);
        if (smallest && g.dice.chance(70)) most = std::min(most, 10u);
        const uint32_t width = most == 1 ? 1 : g.dice.between(1, most);
        const CONTAINER& container = container_of(shift, width, bytes, smallest);
        const uint32_t before = shift / (8 * container.bytes) * container.bytes;
        field.name = "b" + text_of(record.members.size());
        field.field_type = record.label + "." + field.name;
        field.bitfield = true;
        field.offset = group.offset + before;
        types += "type " + field.field_type + " BITFIELD shift=" + text_of(shift - 8 * before) +
                 " width=" + text_of(width) + " declared=" + label(field.type) +
                 " container=" + container.label + "\n";
        shift += width + (g.dice.chance(60) ? 0 : g.dice.below(3));
        record.members.push_back(field);
    }
}

void add_scalar(GENERATOR& g, RECORD& record) {
    MEMBER member;
    // In a union every member shows the bytes of the others, which must then be values of its type.
    do member.type = some_scalar(g);
    while (record.is_union && scalar(member.type).sort != SORT::INTEGER);
    member.name = "m" + text_of(record.members.size());
    member.is_volatile = !record.is_union && g.dice.chance(5);
    member.field_type = label(member.type);
    place_member(record, member, scalar(member.type).size, scalar(member.type).size);
    record.members.push_back(member);
}

void add_array(GENERATOR& g, RECORD& record) {
    MEMBER member;
    do member.type = some_scalar(g);
    while (record.is_union && scalar(member.type).sort != SORT::INTEGER);
    member.name = "a" + text_of(record.members.size());
    member.elements = g.dice.chance(50) ? 2 : 4;
    member.field_type = label(member.type) + "[" + text_of(member.elements) + "]";
    const uint32_t size = scalar(member.type).size;
    place_member(record, member, size * member.elements, size);
    record.members.push_back(member);
}

void add_nested(RECORD& record, const RECORD& inner) {
    MEMBER member;
    member.name = "n" + text_of(record.members.size());
    member.nested = &inner;
    member.field_type = inner.label;
    place_member(record, member, inner.size, inner.alignment);
    record.members.push_back(member);
}

void describe_record(GENERATOR& g, const RECORD& record, const std::string& bitfields) {
    g.types += bitfields;
    g.types += "type " + record.label + " CSU \"" + record.label.substr(record.label.find('.') + 1) + "\"" +
               (record.is_union ? " tag=union" : "") + " size=" + text_of(record.size) +
               " align=" + text_of(record.alignment) + "\n";
    for (const MEMBER& member : record.members)
        g.types += "    part of=" + record.label + " MEMBER \"" + member.name + "\"" +
                   (member.bitfield ? " bitfield" : "") +
                   " type=" + qualified(member.field_type, member.is_volatile) +
                   " offset=" + text_of(member.offset) + "\n";
    g.types += "    part of=" + record.label + " LIST_COMPLETE list=members\n";
}

void declare_records(GENERATOR& g) {
    g.records.resize(RECORD_COUNT);
    for (uint32_t i = 0; i < RECORD_COUNT; ++i) {
        RECORD& record = g.records[i];
        std::string bitfields;
        record.is_union = i == 2;
        record.label = (record.is_union ? "union.U" : "struct.S") + text_of(i);
        for (uint32_t count = g.dice.between(1, 3); count; --count) {
            if (g.dice.chance(40))
                add_bitfields(g, record, bitfields);
            else if (g.dice.chance(30))
                add_array(g, record);
            else
                add_scalar(g, record);
        }
        if (i == 1) add_nested(record, g.records[0]);
        if (!record.is_union) add_scalar(g, record);
        record.size = (record.size + record.alignment - 1) / record.alignment * record.alignment;
        describe_record(g, record, bitfields);
    }
}

// --- Variables ---

std::string variable_flags(bool is_static, bool local_static, bool has_address) {
    return std::string("flags=defined+referenced") + (is_static ? "+internal" : "") +
           (local_static ? "+local_static" : "") + (has_address ? "+address" : "");
}

// Declares a variable of the file and gives its name as trees have it.
std::string declare_variable(GENERATOR& g, const std::string& stem, const std::string& type,
                             bool has_address = true) {
    const bool is_static = g.dice.chance(45);
    const bool local_static = is_static && g.dice.chance(40);
    const std::string name = "_" + stem + (local_static ? "$1" : "");
    g.symbols += "symbol \"" + name + "\" class=" + (is_static ? "static " : "extdef ") +
                 variable_flags(is_static, local_static, has_address) + " type=" + type + "\n";
    return "@" + name;
}

std::string initial(GENERATOR& g, SCALAR_ID type) { return constant(g, type); }

void declare_scalars(GENERATOR& g) {
    for (uint32_t i = 0; i < 10; ++i) {
        PLACE place;
        place.type = i == 0 ? INT : i == 1 ? UINT : some_scalar(g);
        place.is_volatile = i > 1 && g.dice.chance(20);
        place.read_only = i > 1 && !place.is_volatile && g.dice.chance(10);
        place.has_address = !place.read_only && g.dice.chance(75);
        place.of_file = true;
        const std::string type =
            qualified(label(place.type), place.is_volatile) + (place.read_only ? ".const" : "");
        place.before = declare_variable(g, "g" + text_of(i), type, place.has_address);
        if (place.read_only || g.dice.chance(60))
            g.initializers += "initializer " + place.before + " (" + initial(g, place.type) + ", ENDINIT)\n";
        g.file_places.push_back(place);
    }
}

// Variables that nothing writes, though they are not const.
void declare_unwritten(GENERATOR& g) {
    for (uint32_t i = 0; i < 3; ++i) {
        PLACE place;
        place.type = some_scalar(g);
        place.read_only = place.of_file = true;
        place.before = declare_variable(g, "c" + text_of(i), label(place.type), false);
        if (g.dice.chance(80))
            g.initializers += "initializer " + place.before + " (" + initial(g, place.type) + ", ENDINIT)\n";
        g.file_places.push_back(place);
    }
}

void declare_arrays(GENERATOR& g) {
    for (uint32_t i = 0; i < 4; ++i) {
        PLACE kind;
        kind.of_file = true;
        kind.read_only = i > 1 && g.dice.chance(40);
        kind.has_address = !kind.read_only;
        const SCALAR_ID type = i == 0 ? INT : some_scalar(g);
        const uint32_t elements = 2U << g.dice.below(3);
        const std::string element = label(type) + (kind.read_only ? ".const" : "");
        const std::string name =
            declare_variable(g, "a" + text_of(i), element + "[" + text_of(elements) + "]");
        PLACE place = array_place(name, type, elements, kind);
        if (kind.read_only) // the pointer that indices are added to points to const elements
            place.before =
                "UMULT:" + element + "(PLUS:" + element + "*(UAND:" + element + "*(" + name + "), ";
        g.file_places.push_back(place);
        if (!kind.read_only && g.dice.chance(40)) continue;
        g.initializers += "initializer " + name + " (";
        for (uint32_t item = g.dice.between(1, elements); item; --item)
            g.initializers += initial(g, type) + ", ";
        g.initializers += "ENDINIT)\n";
    }
}

void declare_structures(GENERATOR& g) {
    for (uint32_t i = 0; i < RECORD_COUNT; ++i) {
        const RECORD& record = g.records[i];
        PLACE kind;
        kind.of_file = kind.has_address = true;
        for (uint32_t number = 0; number < 2; ++number) {
            kind.is_volatile = number && g.dice.chance(30);
            const std::string name = declare_variable(g, "s" + text_of(i) + text_of(number),
                                                      qualified(record.label, kind.is_volatile));
            if (!kind.is_volatile) g.file_structures[i].push_back(name);
            add_places(g.file_places, record, name, false, kind);
        }
    }
    PLACE kind;
    kind.of_file = true;
    const RECORD& record = g.records[0];
    const std::string name = g.structure_array = declare_variable(g, "t", record.label + "[4]");
    for (const MEMBER& member : record.members) {
        if (member.elements || member.nested) continue;
        PLACE place = kind;
        place.type = member.type;
        place.is_volatile = member.is_volatile;
        place.elements = 4;
        place.before = "STREF:" + qualified(label(member.type), member.is_volatile) +
                       "(PLUS:" + record.label + "*(UAND:" + record.label + "*(" + name + "), ";
        place.after =
            "), FIELD:" +
            (member.bitfield ? member.field_type : qualified(member.field_type, member.is_volatile)) + " " +
            record.label + " \"" + member.name + "\")";
        g.file_places.push_back(place);
    }
}

void declare_pointers(GENERATOR& g) {
    for (uint32_t i = 0; i < 2; ++i) {
        const PLACE* target = nullptr;
        while (!target || !target->has_address || target->is_volatile || target->elements)
            target = &g.dice.one_of(g.file_places);
        POINTER_VARIABLE pointer{"", target->type, false, true};
        const std::string type = label(target->type) + "*";
        pointer.name = declare_variable(g, "p" + text_of(i), type);
        // An initializer may take the address of a whole variable only.
        const bool whole = target->before.starts_with("@");
        const std::string& name = whole ? target->before : g.file_places[0].before;
        if (!whole) pointer.type = INT;
        g.initializers +=
            "initializer " + pointer.name + " (UAND:" + label(pointer.type) + "*(" + name + "), ENDINIT)\n";
        if (!whole) { // declared before the target was found wanting
            const size_t at = g.symbols.rfind(" type=" + type + "\n");
            g.symbols.replace(at, std::string::npos, " type=int*\n");
        }
        g.file_pointers.push_back(pointer);
    }
}

// --- Functions ---

PARAMETER some_parameter(GENERATOR& g, uint32_t number) {
    PARAMETER parameter;
    parameter.name = "q" + text_of(number);
    if (g.dice.chance(12)) {
        parameter.kind = PARAMETER::POINTER;
        const PLACE* target = nullptr; // of the file, so that every caller has one
        while (!target || !target->has_address || target->is_volatile) target = &g.dice.one_of(g.file_places);
        parameter.type = target->type;
    } else if (g.dice.chance(10)) {
        parameter.kind = PARAMETER::STRUCTURE;
        parameter.record = &g.records[g.dice.below(RECORD_COUNT)];
    } else {
        parameter.type = some_scalar(g);
    }
    return parameter;
}

std::string parameter_type(const PARAMETER& parameter) {
    if (parameter.kind == PARAMETER::STRUCTURE) return parameter.record->label;
    return label(parameter.type) + (parameter.kind == PARAMETER::POINTER ? "*" : "");
}

std::string result_type(const FUNCTION& function) {
    if (function.record) return function.record->label;
    return function.returns_value ? label(function.result) : "void";
}

void choose_role(GENERATOR& g, FUNCTION& function, uint32_t number, bool is_small) {
    constexpr ROLE ROLES[] = {ROLE::PLAIN, ROLE::PLAIN, ROLE::PLAIN,
                              ROLE::LEAF,  ROLE::LEAF,  ROLE::TAIL_RECURSIVE};
    function.role = number == 0 ? ROLE::LEAF : g.dice.one_of(ROLES);
    if (g.dice.chance(4)) function.role = ROLE::VARIADIC;
    if (g.dice.chance(4)) function.role = ROLE::KEPT_ONLY;
    if (is_small) function.role = ROLE::SMALL;
    const bool counts = function.role == ROLE::TAIL_RECURSIVE || function.role == ROLE::VARIADIC;
    if (counts) function.parameters.push_back({PARAMETER::VALUE, INT, nullptr, "q0"});
    for (uint32_t count = g.dice.below(4); count && function.role != ROLE::VARIADIC; --count)
        function.parameters.push_back(some_parameter(g, static_cast<uint32_t>(function.parameters.size())));
    function.checks_budget = function.role == ROLE::PLAIN && g.dice.chance(50);
    if (g.dice.chance(15))
        function.returns_value = false;
    else if (g.dice.chance(10))
        function.record = &g.records[g.dice.below(RECORD_COUNT)];
    else
        function.result = g.dice.chance(50) ? INT : some_scalar(g);
}

void describe_function(GENERATOR& g, const FUNCTION& function) {
    g.types += "type " + function.type + " FUNCTION return=" + result_type(function) +
               (function.role == ROLE::VARIADIC ? " variadic" : "") + "\n";
    for (const PARAMETER& parameter : function.parameters)
        g.types += "    part of=" + function.type + " PARAMETER type=" + parameter_type(parameter) + "\n";
}

void declare_function_symbol(GENERATOR& g, const FUNCTION& function, bool has_address) {
    constexpr const char* OPTIONS[] = {
        "-o0",           "-o1",   "-o2", "-o3", "-o4 -Z1", "-o2 --interleave", "-Z2", "--disable=simpcfg",
        "--skip_step=2", "-o3 -g"};
    const bool is_called = function.role != ROLE::KEPT_ONLY && !function.is_uncalled;
    const bool is_small = function.role == ROLE::SMALL;
    const bool is_ordered = g.dice.chance(is_small ? 15 : 2); // always_inline
    const bool is_inline = is_ordered || g.dice.chance(is_small ? 30 : 5);
    g.symbols +=
        "symbol \"" + function.name.substr(1) + "\" class=" + (function.is_static ? "static" : "extdef") +
        " flags=defined" + (is_called ? "+referenced+called" : "") + (has_address ? "+address" : "") +
        (function.is_static ? "+internal" : "") + (is_inline ? "+inline" : "") +
        (function.role == ROLE::VARIADIC ? "+walks_arguments" : "") + " type=" + function.type + "\n";
    if (is_ordered)
        g.symbols += "pragma 1 \"always_inline\"\n";
    else if (g.dice.chance(8))
        g.symbols += "pragma 1 \"noinline\"\n";
    if (!is_called && g.dice.chance(20)) g.symbols += "pragma 1 \"used\"\n";
    if (g.dice.chance(6)) g.symbols += std::string("pragma 6 \"") + g.dice.one_of(OPTIONS) + "\"\n";
}

// A pointer to the function, which some calls go through, and a static variable of its own. Nothing writes
// the pointer, but not all of them show that.
void declare_companions(GENERATOR& g, FUNCTION& function, uint32_t number) {
    function.is_uncalled = number && function.role != ROLE::KEPT_ONLY && g.dice.chance(5);
    function.pointer.clear();
    function.counter.clear();
    if (!function.is_uncalled && function.role != ROLE::KEPT_ONLY && g.dice.chance(15)) {
        function.pointer = declare_variable(g, "r" + text_of(number), function.type + "*", g.dice.chance(50));
        g.initializers += "initializer " + function.pointer + " (UAND:" + function.type + "*(" +
                          function.name + "), ENDINIT)\n";
    }
    if (function.role != ROLE::SMALL || !g.dice.chance(25)) return;
    function.counter = "@_k$" + text_of(number);
    g.symbols += "symbol \"" + function.counter.substr(1) +
                 "\" class=static flags=defined+referenced+internal+local_static type=int\n";
}

// The address of a function is taken where a pointer or a choice of functions has it.
void declare_function_symbols(GENERATOR& g) {
    for (const FUNCTION& function : g.functions) {
        bool has_address = !function.pointer.empty();
        for (const FUNCTION& other : g.functions)
            has_address = has_address || (&other != &function && other.type == function.type);
        declare_function_symbol(g, function, has_address);
    }
}

void declare_functions(GENERATOR& g) {
    const uint32_t large = g.dice.between(4, 7), count = large + g.dice.between(2, 5);
    for (uint32_t i = 0; i < count; ++i) {
        FUNCTION function;
        // Some have one type, so that a call can choose between them.
        const bool is_small = i >= large;
        const bool twin = i && i != large && g.dice.chance(25) && g.functions.back().role != ROLE::KEPT_ONLY;
        if (twin) function = g.functions.back();
        function.name = "@_f" + text_of(i);
        function.is_static = g.dice.chance(40);
        if (!twin) {
            choose_role(g, function, i, is_small);
            function.type = "fn" + text_of(i);
            describe_function(g, function);
        }
        declare_companions(g, function, i);
        g.functions.push_back(function);
    }
    declare_function_symbols(g);
}

constexpr const char* FIXED_TYPES = R"(type enum.E ENUMERATION "E" underlying=int
    part ENUMERATOR "EA" value=-3
    part ENUMERATOR "EB" value=70000
    part LIST_COMPLETE list=enumerators
type enum.F ENUMERATION "F" underlying=uint
    part ENUMERATOR "FA" value=0
    part ENUMERATOR "FB" value=4294967295
    part LIST_COMPLETE list=enumerators
type fn.main FUNCTION return=int
type fn.print FUNCTION return=int variadic
    part PARAMETER type=char.const*
type fn.stop FUNCTION return=void attributes=noreturn
    part PARAMETER type=int
type fn.quit FUNCTION return=void
    part PARAMETER type=int
type fn.put FUNCTION return=int
    part PARAMETER type=int
type fn.take FUNCTION return=void*
    part PARAMETER type=uint
type fn.set FUNCTION return=void*
    part PARAMETER type=void*
    part PARAMETER type=int
    part PARAMETER type=uint
)";

constexpr const char* FIXED_SYMBOLS = R"(symbol "_main" class=extdef flags=defined type=fn.main
symbol "_printf" class=extern flags=referenced+called type=fn.print
symbol "_putchar" class=extern flags=referenced+called type=fn.put
symbol "_abs" class=extern flags=referenced+called type=fn.put
symbol "_memset" class=extern flags=referenced+called type=fn.set
symbol "___builtin_alloca" class=extern flags=referenced+called type=fn.take
symbol "_exit" class=extern flags=referenced+called+noreturn type=fn.stop
symbol "_quit" class=static flags=defined+referenced+called+internal type=fn.quit
symbol "_budget" class=static flags=defined+referenced+internal type=int
symbol "_seen" class=static flags=defined+referenced+internal type=uint
)";

} // namespace

void declare_world(GENERATOR& g) {
    g.types = FIXED_TYPES;
    g.symbols = FIXED_SYMBOLS;
    declare_records(g);
    declare_scalars(g);
    declare_unwritten(g);
    declare_arrays(g);
    declare_structures(g);
    declare_pointers(g);
    declare_functions(g);
}

std::string program_text(GENERATOR& g) {
    return "header \"random.c\"\n" + g.bodies + g.initializers + "end\n\nsection types\n" + g.types +
           "end\n\nsection file_names\nfile_name \"random.c\"\nend\n\nsection symbols\n" + g.symbols +
           "end\n";
}

} // namespace pelorus::generated
