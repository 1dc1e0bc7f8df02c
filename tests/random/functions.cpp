// Whole random functions, main, and the program of a seed.
#include "random/generator.h"
#include "random/random_program.h"

namespace pelorus::generated {

namespace {

// Of a function's call of itself: mostly something that the parameters before and behind it take part in.
TREE next_argument(GENERATOR& g, size_t number_of_parameter) {
    const PARAMETER& parameter = g.function->parameters[number_of_parameter];
    if (parameter.kind == PARAMETER::STRUCTURE)
        return "STARG:" + parameter.record->label + "(" + parameter.name + ")";
    if (parameter.kind == PARAMETER::POINTER || g.dice.chance(20)) return parameter.name;
    const PARAMETER& other = g.dice.one_of(g.function->parameters);
    if (other.kind != PARAMETER::VALUE || is_floating(other.type) || is_floating(parameter.type) ||
        g.dice.chance(20))
        return value(g, parameter.type, 2);
    const TREE tree =
        other.type == parameter.type ? other.name : operation("SCONV", parameter.type, other.name);
    if (scalar(parameter.type).sort != SORT::INTEGER || g.dice.chance(50)) return tree;
    return operation("PLUS", parameter.type, value(g, parameter.type, 1), tree);
}

// What the function has computed goes where main sees it.
void show_locals(GENERATOR& g) {
    const size_t count = g.places.size();
    for (size_t i = g.first_place; i < count; ++i) {
        const PLACE place = g.places[i];
        if (is_floating(place.type) || place.is_volatile) continue;
        const TREE tree = tree_of(g, place, 1);
        put_statement(g, "ASG:uint(@_seen, PLUS:uint(MULT:uint(@_seen, 31:uint), " +
                             (place.type == UINT ? tree : operation("SCONV", UINT, tree)) + "))");
    }
}

} // namespace

void leave(GENERATOR& g) {
    const FUNCTION& function = *g.function;
    if (function.record) {
        const auto record = static_cast<uint32_t>(function.record - g.records.data());
        return put_statement(g, "RETURN($ret, " + structure(g, record, false, 2) + ")");
    }
    if (!function.returns_value) return put_statement(g, "URETURN(NAME:void none)");
    if (function.role == ROLE::TAIL_RECURSIVE && g.loop_depth == 0 && g.dice.chance(60)) {
        std::string list = "MINUS:int(q0, 1:int)";
        for (size_t i = 1; i < function.parameters.size(); ++i) list += ", " + next_argument(g, i);
        if (function.parameters.size() > 1) list = "COMMA(" + list + ")";
        const uint32_t yes = new_label(g), no = new_label(g);
        test(g, "GT:int(q0, 0:int)", yes, no);
        put_label(g, yes);
        put_statement(g, "RETURN($ret, CALL:" + label(function.result) + "(UAND:" + function.type + "*(" +
                             function.name + "), " + list + "))");
        put_label(g, no);
    }
    if (g.dice.chance(15)) {
        put_statement(g, "ASG:" + label(function.result) + "($ret, " + value(g, function.result, 2) + ")");
        return put_statement(g, "URETURN($ret)");
    }
    put_statement(g, "RETURN($ret, " + value(g, function.result, 2) + ")");
}

namespace {

void add_homes(GENERATOR& g) {
    std::string copies;
    uint32_t count = 0;
    for (const PARAMETER& parameter : g.function->parameters) {
        const bool is_structure = parameter.kind == PARAMETER::STRUCTURE;
        const std::string type =
            is_structure ? parameter.record->label
                         : label(parameter.type) + (parameter.kind == PARAMETER::POINTER ? "*" : "");
        g.locals += "    symbol \"" + parameter.name + "\" class=auto type=" + type + "\n";
        copies += std::string(count++ ? ", " : "") + (is_structure ? "STASG:" : "ASG:") + type + "(" +
                  parameter.name + ", " + parameter.name + "')";
        PLACE kind;
        if (is_structure) {
            const auto record = static_cast<uint32_t>(parameter.record - g.records.data());
            g.structures[record].push_back(parameter.name);
            kind.has_address = true;
            add_places(g.places, *parameter.record, parameter.name, false, kind);
        } else if (parameter.kind == PARAMETER::POINTER) {
            const POINTER_VARIABLE pointer{parameter.name, parameter.type};
            g.pointers.push_back(pointer);
            g.places.push_back(pointer_place(g, pointer));
        } else {
            kind.type = parameter.type;
            kind.before = parameter.name;
            kind.simple = true;
            const bool counts = count == 1 && (g.function->role == ROLE::TAIL_RECURSIVE ||
                                               g.function->role == ROLE::VARIADIC);
            kind.read_only = counts;
            kind.has_address = !counts && g.dice.chance(30);
            g.places.push_back(kind);
        }
    }
    if (count) put_statement(g, count == 1 ? copies : "PCOMMA(" + copies + ")");
}

std::string parameter_symbols(GENERATOR& g) {
    std::string text;
    for (const PARAMETER& parameter : g.function->parameters) {
        const bool last = g.function->role == ROLE::VARIADIC;
        const std::string type =
            parameter.kind == PARAMETER::STRUCTURE
                ? parameter.record->label
                : label(parameter.type) + (parameter.kind == PARAMETER::POINTER ? "*" : "");
        text += "    symbol \"" + parameter.name + "\" class=" + (last ? "last_argument" : "argument") +
                " type=" + type + "\n";
    }
    return text;
}

void begin_function(GENERATOR& g, const FUNCTION* function) {
    g.function = function;
    g.locals.clear();
    g.statements.clear();
    g.places = g.file_places;
    g.pointers = g.file_pointers;
    for (int i = 0; i < 3; ++i) g.structures[i] = g.file_structures[i];
    for (const POINTER_VARIABLE& pointer : g.pointers) g.places.push_back(pointer_place(g, pointer));
    g.written.clear();
    g.exits.clear();
    g.next_local = 0;
    g.next_label = 1;
    g.loop_depth = 0;
    g.lent.clear();
    g.first_place = static_cast<uint32_t>(g.places.size());
    g.statements_left = g.dice.between(5, 40);
    g.calls_allowed = !function || function->role == ROLE::PLAIN || function->role == ROLE::SMALL;
}

void end_function(GENERATOR& g, const std::string& name, const std::string& parameters,
                  const std::string& result) {
    g.bodies += "function " + name + " @1:" + text_of(++g.line) + ":1\n" + parameters + "    body\n";
    if (result != "void") g.bodies += "    symbol \"$ret\" class=auto type=" + result + "\n";
    for (const char* type : {"float", "double", "ldouble"})
        g.bodies += std::string("    symbol \"$") + type[0] + "\" class=auto type=" + type + "\n";
    g.bodies += g.locals + g.statements + "end_function @1:" + text_of(++g.line) + ":1\n\n";
}

void check_budget(GENERATOR& g) {
    const uint32_t none = new_label(g), some = new_label(g);
    test(g, "LE:int(MINMIN:int(@_budget, 1:int), 0:int)", none, some);
    put_label(g, none);
    leave(g);
    put_label(g, some);
}

void variadic_body(GENERATOR& g) {
    const std::string pointer = declare_local(g, "ap", "void*"), sum = declare_local(g, "sum", "int");
    const std::string left = declare_local(g, "left", "int");
    put_statement(g, "ASG:void*(" + pointer + ", ARGREF:void*(q0'))");
    put_statement(g, "ASG:int(" + sum + ", 0:int)");
    put_statement(g, "ASG:int(" + left + ", q0)");
    summing_loop(g, left, sum, [&] {
        const TREE next = "UMULT:int(PCONV:int*(PLUSPLUS:void*(" + pointer + ", 4:int)))";
        put_statement(g, "PLUSASG:int(" + sum + ", MULT:int(" + next + ", " + constant(g, INT) + "))");
    });
}

// Opcodes without a meaning of their own, in a function that nothing calls.
void kept_only_body(GENERATOR& g) {
    put_statement(g, "MEMCPY:int(" + value(g, INT, 1) + ")");
    put_statement(g, "ICALL:int \"_icall\"(COMMA(" + value(g, INT, 1) + ", 2:int))");
    put_statement(g, "UICALL:int \"_uicall\"");
    put_statement(g, "MCALL:void \"_mcall\"(" + value(g, INT, 1) + ")");
    put_statement(g, "UMCALL:void \"_umcall\"");
    if (const PLACE* found = some_place(g, INT, true)) {
        const PLACE place = *found;
        put_statement(g, "STFIELD:int(" + tree_of(g, place, 1) + ", " + value(g, INT, 1) + ")");
        put_statement(g, "ARASG:int(" + tree_of(g, place, 1) + ", " + value(g, INT, 1) + ")");
    }
    constexpr const char* OPCODES[] = {
        "OP100:int(%, %)", "OP102:int(%)",  "OP116:int(%)",  "OP117:int",        "DDNODE:int 1 2 0(%)",
        "NOP:int",         "TOIEEE:int(%)", "FRIEEE:int(%)", "PMCONV:int(%, %)", "PVCONV:int(%, %)"};
    for (std::string text : OPCODES) {
        for (size_t at = text.find('%'); at != std::string::npos; at = text.find('%'))
            text.replace(at, 1, value(g, INT, 1));
        put_statement(g, "ASG:int(" + declare_local(g, "k", "int") + ", " + text + ")");
    }
}

} // namespace

void make_function(GENERATOR& g, const FUNCTION& function) {
    begin_function(g, &function);
    add_homes(g);
    const bool is_small = function.role == ROLE::SMALL;
    if (!is_small) declare_locals(g);
    if (!is_small && g.calls_allowed) declare_lent_local(g);
    g.scope_start = g.statements.size();
    g.written.clear();
    if (function.checks_budget && function.role == ROLE::PLAIN) check_budget(g);
    if (function.role == ROLE::VARIADIC) variadic_body(g);
    if (function.role == ROLE::KEPT_ONLY) kept_only_body(g);
    if (is_small)
        small_body(g);
    else if (g.dice.chance(35))
        block_graph(g);
    else
        structured(g, 3);
    if (g.dice.chance(60) && !is_small) show_locals(g);
    if (function.returns_value || function.record || g.dice.chance(50)) leave(g);
    const std::string result = function.record          ? function.record->label
                               : function.returns_value ? label(function.result)
                                                        : "void";
    end_function(g, function.name, parameter_symbols(g), result);
}

namespace {

void hash(GENERATOR& g, SCALAR_ID type, const TREE& tree) {
    const TREE number = is_floating(type) ? fitting_integer(UINT, tree, type)
                        : type == UINT    ? tree
                                          : operation("SCONV", UINT, tree);
    put_statement(g, "ASG:uint(h, PLUS:uint(MULT:uint(h, 31:uint), " + number + "))");
}

void print_hash(GENERATOR& g) {
    put_statement(
        g, "CALL:int(UAND:fn.print*(@_printf), COMMA(UAND:char.const*(SCON:char[4] \"%u\\n\\0\"), h))");
}

void call_and_hash(GENERATOR& g, const FUNCTION& function) {
    put_statement(g, "ASG:int(@_budget, 12:int)");
    const TREE tree = call(g, function, 2);
    if (function.record) {
        const auto record = static_cast<uint32_t>(function.record - g.records.data());
        put_statement(g, "STASG:" + function.record->label + "(" + structure(g, record, true, 0) + ", " +
                             tree + ")");
    } else if (function.returns_value) {
        hash(g, function.result, tree);
    } else {
        put_statement(g, tree);
    }
}

void hash_file_places(GENERATOR& g) {
    for (const PLACE& place : g.file_places) {
        if (!place.elements) {
            hash(g, place.type, place.before);
            continue;
        }
        const uint32_t size = place.before.starts_with("STREF") ? g.records[0].size : scalar(place.type).size;
        for (uint32_t i = 0; i < place.elements; ++i)
            hash(g, place.type, place.before + number(int64_t{i} * size, INT) + place.after);
    }
}

} // namespace

// A function that never returns.
void make_quit(GENERATOR& g) {
    begin_function(g, nullptr);
    g.locals = "    symbol \"q\" class=auto type=int\n";
    put_statement(g, "ASG:int(q, q')");
    if (g.dice.chance(50)) put_statement(g, "CALL:int(UAND:fn.put*(@_putchar), 81:int)");
    put_statement(g, "CALL:void(UAND:fn.stop*(@_exit), q)");
    end_function(g, "@_quit", "    symbol \"q\" class=argument type=int\n", "void");
}

void make_main(GENERATOR& g) {
    begin_function(g, nullptr);
    g.locals = "    symbol \"h\" class=auto type=uint\n";
    put_statement(g, "ASG:uint(h, 1:uint)");
    for (uint32_t round = 0; round < 2; ++round)
        for (const FUNCTION& function : g.functions)
            if (may_call(g, function)) call_and_hash(g, function);
    hash(g, INT, "@_hidden");
    print_hash(g);
    hash(g, UINT, "@_seen");
    hash_file_places(g);
    print_hash(g);
    put_statement(g, "RETURN($ret, 0:int)");
    end_function(g, "@_main", "", "int");
}

} // namespace pelorus::generated

namespace pelorus {

RANDOM_PROGRAM random_program(uint64_t seed) {
    generated::GENERATOR g(seed);
    generated::declare_world(g);
    generated::make_helpers(g);
    for (const generated::FUNCTION& function : g.functions) generated::make_function(g, function);
    generated::make_quit(g);
    generated::make_main(g);
    return {generated::program_text(g), static_cast<uint32_t>(g.functions.size() + 2)};
}

} // namespace pelorus
