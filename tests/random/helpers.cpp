// Small functions that the random ones call with the address of a variable.
//
// Each may do some things only: read or write through its pointer, read or write a global, keep the pointer,
// touch a volatile variable, loop, call the helpers before it. So what the optimizer finds out about calls
// differs from one to the next.
#include "random/generator.h"

namespace pelorus::generated {

namespace {

struct HELPER {
    bool reads_argument, writes_argument, reads_hidden, writes_hidden, keeps, loops, is_volatile;
    uint32_t callable; // the helpers before it
};

HELPER some_helper(GENERATOR& g, uint32_t number) {
    HELPER helper{};
    if (g.dice.chance(20)) return helper; // a pure one
    helper.reads_argument = g.dice.chance(60);
    helper.writes_argument = g.dice.chance(30);
    helper.reads_hidden = g.dice.chance(20);
    helper.writes_hidden = g.dice.chance(15);
    helper.keeps = g.dice.chance(10);
    helper.loops = g.dice.chance(15);
    helper.is_volatile = g.dice.chance(8);
    helper.callable = g.dice.chance(40) ? number : 0;
    return helper;
}

TREE helper_name(uint32_t number) { return "@_h" + text_of(number); }

TREE call_of(uint32_t number, const TREE& amount, const TREE& pointer) {
    return "CALL:int(UAND:fn.help*(" + helper_name(number) + "), COMMA(" + amount + ", " + pointer + "))";
}

TREE helper_value(GENERATOR& g, const HELPER& helper, int depth) {
    switch (g.dice.below(depth > 0 ? 9 : 5)) {
    case 0: return number(g.dice.below(100), INT);
    case 1: return "x";
    case 2: return helper.reads_argument ? "UMULT:int(p)" : "n";
    case 3: return helper.reads_hidden ? "@_hidden" : "n";
    case 4:
        return "UMULT:int.const(PLUS:int.const*(UAND:int.const*(@_steps), MULT:int(ANDB:int(n, 3:int), "
               "4:int)))";
    case 5:
        if (helper.callable) {
            constexpr const char* POINTERS[] = {"p", "UAND:int*(x)", "UAND:int*(x)", "UAND:int*(@_hidden)"};
            return call_of(g.dice.below(helper.callable), helper_value(g, helper, depth - 1),
                           g.dice.one_of(POINTERS));
        }
        [[fallthrough]];
    default: {
        constexpr const char* NAMES[] = {"PLUS", "MINUS", "MULT", "XORB", "ANDB", "LT", "NEQ"};
        return operation(g.dice.one_of(NAMES), INT, helper_value(g, helper, depth - 1),
                         helper_value(g, helper, depth - 1));
    }
    }
}

void helper_statement(GENERATOR& g, const HELPER& helper) {
    const TREE tree = helper_value(g, helper, 2);
    switch (g.dice.below(6)) {
    case 0:
        if (helper.writes_argument) return put_statement(g, "PLUSASG:int(UMULT:int(p), " + tree + ")");
        break;
    case 1:
        if (helper.writes_hidden) return put_statement(g, "ASG:int(@_hidden, " + tree + ")");
        break;
    case 2:
        if (!helper.keeps) break;
        put_statement(g, "ASG:int*(@_kept, p)");
        return put_statement(g, "ASG:int(UMULT:int(@_kept), " + tree + ")");
    case 3:
        put_statement(g, "ASG:int*(q, UAND:int*(y))");
        return put_statement(g, "ASG:int(UMULT:int(q), " + tree + ")");
    case 4:
        if (helper.is_volatile) return put_statement(g, "ASG:int(w, " + tree + ")");
        break;
    default: break;
    }
    put_statement(g, "ASG:int(x, " + tree + ")");
}

void helper_statements(GENERATOR& g, const HELPER& helper) {
    for (uint32_t count = g.dice.between(1, 2); count; --count) helper_statement(g, helper);
}

void helper_body(GENERATOR& g, const HELPER& helper) {
    put_statement(g, "PCOMMA(ASG:int(n, n'), ASG:int*(p, p'))");
    put_statement(g, "ASG:int(x, n)");
    put_statement(g, "ASG:int(y, 1:int)");
    helper_statements(g, helper);
    if (g.dice.chance(30)) {
        const uint32_t yes = new_label(g), no = new_label(g);
        test(g, helper_value(g, helper, 1), yes, no);
        put_label(g, yes);
        helper_statements(g, helper);
        put_label(g, no);
    }
    if (helper.loops) {
        const uint32_t head = new_label(g), behind = new_label(g);
        put_statement(g, "ASG:int(i, " + number(g.dice.between(1, 4), INT) + ")");
        put_label(g, head);
        helper_statements(g, helper);
        test(g, "GT:int(MINMIN:int(i, 1:int), 0:int)", head, behind);
        put_label(g, behind);
    }
    put_statement(g, "RETURN($ret, PLUS:int(y, " + helper_value(g, helper, 2) + "))");
}

constexpr const char* HELPER_SYMBOLS =
    R"(symbol "_hidden" class=static flags=defined+referenced+internal type=int
symbol "_kept" class=static flags=defined+referenced+internal type=int*
symbol "_steps" class=static flags=defined+referenced+internal type=int.const[4]
)";

} // namespace

void make_helpers(GENERATOR& g) {
    g.types +=
        "type fn.help FUNCTION return=int\n    part PARAMETER type=int\n    part PARAMETER type=int*\n";
    g.symbols += HELPER_SYMBOLS;
    g.initializers += "initializer @_steps (1:int, 3:int, -5:int, 70000:int, ENDINIT)\n";
    g.helpers = g.dice.between(2, 6);
    for (uint32_t i = 0; i < g.helpers; ++i) {
        const bool is_static = g.dice.chance(50);
        g.symbols += "symbol \"_h" + text_of(i) + "\" class=" + (is_static ? "static" : "extdef") +
                     " flags=defined+referenced+called" + (is_static ? "+internal" : "") + " type=fn.help\n";
        g.statements.clear();
        g.next_label = 1;
        helper_body(g, some_helper(g, i));
        std::string symbols;
        for (const char* name : {"$ret", "x", "y", "i", "n"})
            symbols += std::string("    symbol \"") + name + "\" class=auto type=int\n";
        g.bodies += "function " + helper_name(i) + " @1:" + text_of(++g.line) + ":1\n";
        g.bodies +=
            "    symbol \"n\" class=argument type=int\n    symbol \"p\" class=argument type=int*\n"
            "    body\n    symbol \"p\" class=auto type=int*\n    symbol \"q\" class=auto type=int*\n" +
            symbols + "    symbol \"w\" class=auto type=int.volatile\n" + g.statements;
        g.bodies += "end_function @1:" + text_of(++g.line) + ":1\n\n";
    }
}

void declare_lent_local(GENERATOR& g) {
    g.lent = declare_local(g, "lent", "int");
    put_statement(g, "ASG:int(" + g.lent + ", " + constant(g, INT) + ")");
    PLACE place;
    place.before = g.lent;
    place.has_address = g.dice.chance(20);
    g.places.push_back(place);
}

TREE helper_call(GENERATOR& g, int depth) {
    TREE pointer = g.dice.chance(80) ? "" : address(g, INT, false, false);
    if (pointer.empty()) pointer = "UAND:int*(" + g.lent + ")";
    return call_of(g.dice.below(g.helpers), value(g, INT, depth - 1), pointer);
}

void call_helper(GENERATOR& g) {
    if (g.dice.chance(60))
        put_statement(g, "ASG:int(" + g.lent + ", " +
                             (g.dice.chance(50) ? constant(g, INT) : value(g, INT, 1)) + ")");
    if (g.dice.chance(30)) put_statement(g, "ASG:int(@_hidden, " + constant(g, INT) + ")");
    const TREE tree = helper_call(g, 2);
    const PLACE* place = g.dice.chance(60) ? some_place(g, INT, true) : nullptr;
    put_statement(g, place ? operation("ASG", INT, tree_of(g, *place, 1), tree) : tree);
    if (g.dice.chance(60)) put_statement(g, "PLUSASG:int(@_hidden, " + g.lent + ")");
}

} // namespace pelorus::generated
