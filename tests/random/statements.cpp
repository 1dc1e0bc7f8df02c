// Random statements that let control run on, and the variables that a function begins with.
#include "random/generator.h"

namespace pelorus::generated {

std::string label_leaf(uint32_t label) { return "LABEL " + text_of(label); }
uint32_t new_label(GENERATOR& g) { return g.next_label++; }
void put_label(GENERATOR& g, uint32_t label) { g.statements += "  label " + text_of(label) + "\n"; }

void put_statement(GENERATOR& g, const TREE& tree) {
    g.statements += "    statement @1:" + text_of(++g.line) + ":5 " + tree + "\n";
    if (g.statements_left) g.statements_left--;
}

void branch(GENERATOR& g, uint32_t target) { put_statement(g, "BRANCH(" + label_leaf(target) + ")"); }

void test(GENERATOR& g, const TREE& tree, uint32_t yes, uint32_t no) {
    const auto labels = [](uint32_t first, uint32_t second) {
        return "COMMA(" + label_leaf(first) + ", " + label_leaf(second) + "))";
    };
    if (g.dice.chance(15))
        put_statement(g, "IF(EXCLAIM:int(" + tree + "), " + labels(no, yes));
    else
        put_statement(g, "IF(" + tree + ", " + labels(yes, no));
}

std::string declare_local(GENERATOR& g, const std::string& stem, const std::string& type,
                          const char* storage) {
    const std::string name = stem + text_of(g.next_local++);
    g.locals += "    symbol \"" + name + "\" class=" + storage + " type=" + type + "\n";
    return name;
}

// --- Variables ---

void add_scalar_local(GENERATOR& g) {
    PLACE place;
    place.type = some_scalar(g);
    place.is_volatile = g.dice.chance(6);
    const bool in_register = g.dice.chance(15);
    place.has_address = !in_register && g.dice.chance(40);
    place.narrow = is_wide(place.type) && !place.is_volatile && g.dice.chance(40);
    if (place.narrow) place.has_address = false;
    place.simple = !place.is_volatile;
    // What is volatile can only be declared as one that wants a register.
    const char* storage = !in_register ? "auto" : place.is_volatile ? "register_argument2" : "register";
    place.before = declare_local(g, "x", label(place.type) + (place.is_volatile ? ".volatile" : ""), storage);
    put_statement(g,
                  operation("ASG", place.type, place.before,
                            place.narrow ? number(g.dice.below(100), place.type) : constant(g, place.type)));
    g.places.push_back(place);
    if (!place.has_address || !g.dice.chance(15)) return;
    place.before = "UMULT:" + label(place.type) + "(UAND:" + label(place.type) + "*(" + place.before + "))";
    place.simple = false;
    if (!place.is_volatile) g.places.push_back(place);
}

namespace {

void add_array_local(GENERATOR& g) {
    const SCALAR_ID type = g.dice.chance(40) ? INT : some_scalar(g);
    const uint32_t elements = 2U << g.dice.below(3);
    const std::string name = declare_local(g, "v", label(type) + "[" + text_of(elements) + "]");
    PLACE kind;
    kind.has_address = true;
    const PLACE place = array_place(name, type, elements, kind);
    const uint32_t size = scalar(type).size;
    if (!is_floating(type) && type != BOOL && g.dice.chance(30))
        put_statement(g, "CALL:void*(UAND:fn.set*(@_memset), COMMA(UAND:void*(" + name + "), " +
                             number(g.dice.below(256), INT) + ", " + number(elements * size, UINT) + "))");
    else
        for (uint32_t i = 0; i < elements; ++i)
            put_statement(g, operation("ASG", type, place.before + number(i * size, INT) + place.after,
                                       constant(g, type)));
    g.places.push_back(place);
}

void add_structure_local(GENERATOR& g) {
    const uint32_t record = g.dice.below(g.records.size());
    const std::string& type = g.records[record].label;
    const std::string name = declare_local(g, "s", type);
    put_statement(g, "STASG:" + type + "(" + name + ", " + g.file_structures[record].front() + ")");
    g.structures[record].push_back(name);
    PLACE kind;
    kind.has_address = true;
    add_places(g.places, g.records[record], name, false, kind);
    if (g.dice.chance(15))
        add_places(g.places, g.records[record], "UAND:" + type + "*(" + name + ")", true, {});
}

void add_structure_pointer(GENERATOR& g) {
    const uint32_t record = g.dice.below(g.records.size());
    const std::string& type = g.records[record].label;
    const std::string name = declare_local(g, "r", type + "*");
    put_statement(g, "ASG:" + type + "*(" + name + ", UAND:" + type + "*(" +
                         g.dice.one_of(g.structures[record]) + "))");
    g.structures[record].push_back("UMULT:" + type + "(" + name + ")");
    add_places(g.places, g.records[record], name, true, {});
    if (g.dice.chance(20)) add_places(g.places, g.records[record], g.structures[record].back(), false, {});
}

void add_pointer_local(GENERATOR& g) {
    POINTER_VARIABLE pointer;
    pointer.type = any_place(g, true)->type;
    pointer.to_volatile = g.dice.chance(15);
    const TREE target = address(g, pointer.type, false, pointer.to_volatile);
    if (target.empty()) return;
    const std::string type = label(pointer.type) + (pointer.to_volatile ? ".volatile*" : "*");
    pointer.name = declare_local(g, "p", type);
    put_statement(g, "ASG:" + type + "(" + pointer.name + ", " + target + ")");
    g.pointers.push_back(pointer);
    g.places.push_back(pointer_place(g, pointer));
}

// Four elements in memory that the function takes from its frame.
void add_frame_array(GENERATOR& g) {
    const SCALAR_ID type = some_integer(g);
    const std::string pointer = label(type) + "*";
    const std::string name = declare_local(g, "z", pointer);
    const uint32_t size = scalar(type).size;
    put_statement(g, "ASG:" + pointer + "(" + name + ", PCONV:" + pointer +
                         "(CALL:void*(UAND:fn.take*(@___builtin_alloca), " + number(int64_t{4} * size, UINT) +
                         ")))");
    PLACE place;
    place.type = type;
    place.elements = 4;
    place.before = "UMULT:" + label(type) + "(PLUS:" + pointer + "(" + name + ", ";
    place.after = "))";
    for (int64_t i = 0; i < 4; ++i)
        put_statement(
            g, operation("ASG", type, place.before + number(i * size, INT) + place.after, constant(g, type)));
    g.places.push_back(place);
}

// The bytes of an integer variable.
void add_byte_place(GENERATOR& g) {
    PLACE place;
    place.type = UCHAR;
    const PLACE* whole = some_place(g, g.dice.chance(50) ? INT : UINT, true);
    if (!whole || !whole->has_address || whole->elements || whole->is_volatile) return;
    const char* conversion = g.dice.chance(50) ? "PCONV" : "ISP2CHAR";
    place.before = std::string("UMULT:uchar(PLUS:uchar*(") + conversion +
                   ":uchar*(UAND:" + label(whole->type) + "*(" + whole->before + ")), ";
    place.after = "))";
    place.elements = 4;
    g.places.push_back(place);
}

} // namespace

void declare_locals(GENERATOR& g) {
    for (uint32_t count = g.dice.between(3, 9); count; --count) add_scalar_local(g);
    for (uint32_t count = g.dice.below(3); count; --count) add_array_local(g);
    for (uint32_t count = g.dice.below(3); count; --count) add_structure_local(g);
    for (uint32_t count = g.dice.below(3); count; --count) add_pointer_local(g);
    if (g.dice.chance(25)) add_structure_pointer(g);
    if (g.dice.chance(20)) add_byte_place(g);
    if (g.dice.chance(6)) add_frame_array(g);
}

// Those in memory are what scopes beside each other may have in the same place.
void declare_scope_locals(GENERATOR& g) {
    for (uint32_t count = g.dice.between(1, 2); count; --count) add_scalar_local(g);
    if (g.dice.chance(35)) add_array_local(g);
    if (g.dice.chance(25)) add_structure_local(g);
    if (!g.lent.empty() && g.dice.chance(30)) declare_lent_local(g);
}

// --- Statements ---

namespace {

void assign(GENERATOR& g) {
    const PLACE* narrow = nullptr;
    if (g.dice.chance(15))
        for (const PLACE& place : g.places)
            if (place.narrow && (!narrow || g.dice.chance(50))) narrow = &place;
    const TREE tree = assignment(g, narrow ? *narrow : *any_place(g, true), TREE_DEPTH);
    put_statement(g, tree);
    if (g.dice.chance(30)) g.written.push_back(tree);
}

// Two in a row on one variable.
void assign_twice(GENERATOR& g) {
    const PLACE place = *any_place(g, true);
    if (!place.simple || is_floating(place.type)) return assign(g);
    const std::string& type = label(place.type);
    const auto set = [&](const TREE& tree) {
        put_statement(g, "ASG:" + type + "(" + place.before + ", " + tree + ")");
    };
    switch (g.dice.below(4)) {
    case 0:
        set(value(g, place.type, 2));
        return set(g.dice.chance(50) ? constant(g, place.type) : value(g, place.type, 1));
    case 1: {
        const TREE same = constant(g, place.type);
        set(same);
        return set(same);
    }
    case 2: {
        const bool is_bool = place.type == BOOL; // sums and differences of which are no bool
        const TREE step = operation(g.dice.chance(50) && !is_bool ? "MINUS" : "XORB", place.type,
                                    value(g, place.type, 1), place.before);
        set(step);
        return set(g.dice.chance(70) || is_bool
                       ? step
                       : operation("PLUS", place.type, place.before, constant(g, place.type)));
    }
    default:
        if (place.type == BOOL) return assign(g);
        for (int i = 0; i < 2; ++i)
            put_statement(g, operation(g.dice.chance(70) ? "PLUSASG" : "MINUSASG", place.type, place.before,
                                       constant(g, INT)));
    }
}

} // namespace

void call_for_effect(GENERATOR& g) {
    if (g.dice.chance(25) || !g.calls_allowed)
        return put_statement(g, "CALL:int(UAND:fn.put*(@_putchar), PLUS:int(ANDB:int(" + value(g, INT, 2) +
                                    ", 31:int), 65:int))");
    const FUNCTION& callee = g.dice.one_of(g.functions);
    if (!may_call(g, callee)) return;
    const TREE tree = call(g, callee, 2);
    if (needs_budget(g, callee)) {
        const uint32_t yes = new_label(g), no = new_label(g);
        put_statement(g, "IF(GT:int(MINMIN:int(@_budget, 1:int), 0:int), COMMA(" + label_leaf(yes) + ", " +
                             label_leaf(no) + "))");
        put_label(g, yes);
        put_statement(g, tree);
        return put_label(g, no);
    }
    if (callee.record && g.dice.chance(60)) {
        const auto record = static_cast<uint32_t>(callee.record - g.records.data());
        return put_statement(g, "STASG:" + callee.record->label + "(" + structure(g, record, true, 0) + ", " +
                                    tree + ")");
    }
    put_statement(g, tree);
}

namespace {

void assign_structure(GENERATOR& g) {
    const uint32_t record = g.dice.below(g.records.size());
    put_statement(g, "STASG:" + g.records[record].label + "(" + structure(g, record, true, 0) + ", " +
                         structure(g, record, false, 2) + ")");
}

void assign_pointer(GENERATOR& g) {
    const POINTER_VARIABLE pointer = g.dice.one_of(g.pointers);
    const std::string type = label(pointer.type) + (pointer.to_volatile ? ".volatile*" : "*");
    TREE target = address(g, pointer.type, pointer.of_file, pointer.to_volatile);
    if (target.empty()) return;
    if (g.dice.chance(20))
        target = "QUEST:" + type + "(" + condition(g, 1) + ", COLON(" + target + ", " + pointer.name + "))";
    if (g.dice.chance(15))
        target = "PCONV:" + type + "(PCONV:" + (g.dice.chance(50) ? "void*(" : "uint(") + target + "))";
    put_statement(g, "ASG:" + type + "(" + pointer.name + ", " + target + ")");
}

// An expression whose value nobody wants.
void drop_value(GENERATOR& g) {
    const TREE effect = assignment(g, *any_place(g, true), 2);
    switch (g.dice.below(6)) {
    case 0:
        return put_statement(g, "QUEST:void(" + condition(g, 2) + ", COLON(" + "SCONV:void(" + effect +
                                    "), SCONV:void(" + assignment(g, *any_place(g, true), 2) + ")))");
    case 1:
        return put_statement(
            g, operation(g.dice.chance(50) ? "ANDAND" : "OROR", INT, condition(g, 2),
                         operation("NEQ", INT, operation("COMMAOP", INT, effect, value(g, INT, 1)),
                                   number(0, INT))));
    case 2:
        return put_statement(g, "COMMAOP:void(" + effect + ", SCONV:void(" +
                                    assignment(g, *any_place(g, true), 2) + "))");
    case 3:
        return put_statement(g,
                             "SCONV:void(" +
                                 operation("PLUS", INT, operation("COMMAOP", INT, effect, value(g, INT, 1)),
                                           value(g, INT, 2)) +
                                 ")");
    case 4:
        return put_statement(g, operation("COMMAOP", INT, value(g, INT, 1),
                                          operation("COMMAOP", INT, effect, value(g, INT, 1))));
    default: {
        const PLACE* place = any_place(g, true);
        return put_statement(
            g, operation("MULT", INT, operation("COMMAOP", INT, assignment(g, *place, 1), constant(g, INT)),
                         value(g, INT, 2)));
    }
    }
}

void say_something(GENERATOR& g) {
    switch (g.dice.below(6)) {
    case 0: g.statements += "    comment \"text\"\n"; return;
    case 1: g.statements += "    assembly \"\"\n"; return;
    case 2: g.statements += "    pragma 2 \"4\"\n"; return;
    case 3: return put_statement(g, g.dice.chance(50) ? "ASSERT(1:int)" : "NASSERT(1:int)");
    case 4: return put_statement(g, "BGNBLOCK 0");
    default: // true of whatever loop comes next
        g.statements += "    pragma 3 \"0\" \"100000\" \"1\"\n";
        return;
    }
}

} // namespace

namespace {

// Constants into elements of an array of bytes or halves that lie side by side.
void assign_neighbours(GENERATOR& g) {
    for (int tries = 0; tries < 20; ++tries) {
        const PLACE& place = g.dice.one_of(g.places);
        const uint32_t size = scalar(place.type).size;
        if (place.elements < 2 || size > 2 || place.is_volatile || place.read_only || place.type == BOOL)
            continue;
        const uint32_t pair = g.dice.below(place.elements / 2) * 2;
        for (uint32_t index = pair; index < pair + 2; ++index)
            put_statement(g, operation("ASG", place.type,
                                       place.before + number(int64_t{index} * size, INT) + place.after,
                                       number(g.dice.below(100), place.type)));
        return;
    }
    assign(g);
}

} // namespace

void simple_statement(GENERATOR& g) {
    const uint32_t kind = g.dice.below(100);
    if (kind < 12 && !g.written.empty()) return put_statement(g, TREE(g.dice.one_of(g.written)));
    if (kind < 58) return assign(g);
    if (kind < 62) return bitfield_statement(g);
    if (kind < 72) return assign_twice(g);
    if (kind < 80 && !g.lent.empty() && g.dice.chance(60)) return call_helper(g);
    if (kind < 80) return call_for_effect(g);
    if (kind < 86) return assign_structure(g);
    if (kind < 90 && !g.pointers.empty()) return assign_pointer(g);
    if (kind < 93) return assign_neighbours(g);
    if (kind < 97) return drop_value(g);
    say_something(g);
}

void simple_statements(GENERATOR& g, uint32_t most) {
    for (uint32_t count = g.dice.between(1, most); count; --count) simple_statement(g);
}

} // namespace pelorus::generated
