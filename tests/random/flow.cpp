// Random shapes of control flow.
//
// A function is made in one of two ways: structured, of nested tests, loops and switches as a programmer
// writes them; or as a graph of blocks whose branches go anywhere. Loops of the first count, with a variable
// that nothing else writes; edges backwards in the second use up fuel.
#include "random/generator.h"

#include <algorithm>
#include <utility>

namespace pelorus::generated {

namespace {

void maybe_dead_code(GENERATOR& g) {
    if (g.dice.chance(20)) simple_statements(g, 2);
}

// A variable that counts, and that nothing else writes. It is set where its scope begins, since the loop may
// be passed by.
std::string counter(GENERATOR& g) {
    PLACE place;
    constexpr SCALAR_ID TYPES[] = {INT, INT, UINT, LLONG, SHORT, UCHAR};
    place.type = g.dice.one_of(TYPES);
    place.read_only = true;
    place.simple = true;
    place.before = declare_local(g, "i", label(place.type));
    g.statements.insert(g.scope_start, "    statement " +
                                           operation("ASG", place.type, place.before, number(0, place.type)) +
                                           "\n");
    g.places.push_back(place);
    return place.before;
}

void counted_loop(GENERATOR& g, int depth) {
    const std::string name = counter(g);
    const SCALAR_ID type = g.places.back().type;
    const uint32_t head = new_label(g), body = new_label(g), next = new_label(g), behind = new_label(g);
    const uint32_t trips = g.dice.between(1, g.loop_depth ? 3 : 6);
    const uint32_t step = g.dice.between(1, 2);
    const bool down = g.dice.chance(30);
    const TREE at_end =
        down ? operation("GT", INT, name, number(0, type))
             : operation(g.dice.chance(80) ? "LT" : "NEQ", INT, name, number(int64_t{trips} * step, type));
    put_statement(g, operation("ASG", type, name, number(down ? int64_t{trips} * step : 0, type)));
    const bool test_first = g.dice.chance(60);
    if (g.dice.chance(15)) g.statements += "    pragma 3 \"1\" \"100\" \"1\"\n";
    put_label(g, head);
    if (test_first) {
        test(g, at_end, body, behind);
        put_label(g, body);
    }
    g.loop_depth++;
    g.exits.push_back(behind);
    g.exits.push_back(next);
    structured(g, depth - 1);
    g.exits.resize(g.exits.size() - 2);
    g.loop_depth--;
    put_label(g, next);
    put_statement(g, operation(down ? (step == 1 && g.dice.chance(50) ? "MINMIN" : "MINUSASG") : "PLUSASG",
                               type, name, number(step, type)));
    if (test_first)
        branch(g, head);
    else
        test(g, at_end, head, behind);
    if (!test_first) g.statements += "  label " + text_of(body) + "\n";
    put_label(g, behind);
    maybe_dead_code(g);
}

// Down a string or an array by a pointer.
void pointer_loop(GENERATOR& g) {
    const PLACE* array = nullptr;
    for (int tries = 0; tries < 20 && !array; ++tries) {
        const PLACE& place = g.dice.one_of(g.places);
        if (place.elements && place.has_address && !place.is_volatile &&
            place.before.starts_with("UMULT:" + label(place.type) + "(PLUS"))
            array = &place;
    }
    if (!array) return simple_statement(g);
    const PLACE place = *array;
    const std::string pointer = label(place.type) + "*";
    const uint32_t size = scalar(place.type).size;
    const std::string name = declare_local(g, "w", pointer);
    const auto element = [&](uint32_t index) {
        return place.before + number(int64_t{index} * size, INT) + place.after;
    };
    const uint32_t body = new_label(g), behind = new_label(g), head = new_label(g);
    put_statement(g, "ASG:" + pointer + "(" + name + ", UAND:" + pointer + "(" + element(0) + "))");
    put_label(g, head);
    put_statement(g, "IF(" + std::string(g.dice.chance(50) ? "ULT" : "NEQ") + ":int(" + name +
                         ", PLUS:" + pointer + "(UAND:" + pointer + "(" + element(0) + "), " +
                         number(int64_t{place.elements} * size, INT) + ")), COMMA(" + label_leaf(body) +
                         ", " + label_leaf(behind) + "))");
    put_label(g, body);
    const TREE amount = "(" + name + ", " + number(size, INT) + ")";
    const bool apart = g.dice.chance(40); // the pointer moves on in a statement of its own
    const TREE object =
        "UMULT:" + label(place.type) + "(" + (apart ? name : "PLUSPLUS:" + pointer + amount) + ")";
    if (place.read_only || g.dice.chance(50)) {
        const PLACE* sum = any_place(g, true);
        if (sum->narrow || sum->type != place.type) sum = some_place(g, place.type, true);
        put_statement(g, sum     ? operation("ASG", place.type, tree_of(g, *sum, 1), object)
                         : apart ? "SCONV:void(" + object + ")"
                                 : "SCONV:void(PLUSPLUS:" + pointer + amount + ")");
    } else {
        put_statement(g, operation("ASG", place.type, object, value(g, place.type, 2)));
    }
    if (apart) put_statement(g, "PLUSASG:" + pointer + amount);
    branch(g, head);
    put_label(g, behind);
}

void test_statement(GENERATOR& g, int depth) {
    const uint32_t yes = new_label(g), no = new_label(g), behind = new_label(g);
    const TREE tree = condition(g, TREE_DEPTH);
    test(g, tree, yes, no);
    put_label(g, yes);
    if (!g.dice.chance(8)) structured(g, depth - 1);
    const bool has_else = g.dice.chance(50);
    if (has_else) branch(g, behind);
    put_label(g, no);
    if (has_else) structured(g, depth - 1);
    put_label(g, behind);
    // The same test once more: what lies between may have left it alone.
    if (g.dice.chance(10) && tree.find("ASG") == std::string::npos &&
        tree.find("CALL") == std::string::npos) {
        const uint32_t again = new_label(g), other = new_label(g);
        test(g, tree, again, other);
        put_label(g, again);
        structured(g, depth - 1);
        put_label(g, other);
    }
}

// The values of a switch, each once.
std::vector<int64_t> case_values(GENERATOR& g, SCALAR_ID type) {
    std::vector<int64_t> values;
    const bool dense = g.dice.chance(60);
    const int64_t first = dense ? int64_t{g.dice.below(5)} : 0;
    constexpr int64_t SPARSE[] = {0, 1, 5, 31, 100, 127, 60, 77, 3, 20};
    for (uint32_t count = g.dice.between(1, g.dice.chance(50) ? 3 : 8), i = 0; i < count; ++i)
        values.push_back(dense ? first + i : g.dice.one_of(SPARSE));
    if (g.dice.chance(10) && scalar(type).size >= 4)
        values.push_back(scalar(type).is_signed ? -5 : 0xFFFFFFFF);
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

TREE switch_tree(GENERATOR& g, const std::vector<uint32_t>& targets, uint32_t otherwise) {
    constexpr SCALAR_ID TYPES[] = {INT, INT, UINT, LLONG, UCHAR, SIGNED_ENUM, ULLONG, SHORT};
    const SCALAR_ID type = g.dice.one_of(TYPES);
    TREE selector = value(g, type, 2);
    if (g.dice.chance(50) && scalar(type).size >= 4)
        selector = operation("ANDB", type, selector, number(7, type));
    if (g.dice.chance(4)) selector = number(g.dice.below(5), type);
    if (g.dice.chance(30))
        if (const PLACE* place = some_place(g, type, false)) selector = tree_of(g, *place, 1);
    std::string cases;
    uint32_t count = 0;
    for (const int64_t item : case_values(g, type)) {
        cases += std::string(count++ ? ", " : "") + "CASE(" + number(item, type) + ", " +
                 label_leaf(g.dice.one_of(targets)) + ")";
    }
    if (otherwise) cases += std::string(count++ ? ", " : "") + "DEFAULT(" + label_leaf(otherwise) + ")";
    return "SWITCH" + (g.dice.chance(50) ? " " + text_of(count) : "") + "(" + selector + ", " +
           (count == 1 ? cases : "COMMA(" + cases + ")") + ")";
}

} // namespace

void switch_statement(GENERATOR& g, int depth) {
    std::vector<uint32_t> targets;
    for (uint32_t count = g.dice.between(1, 4); count; --count) targets.push_back(new_label(g));
    const uint32_t behind = new_label(g);
    if (g.dice.chance(5)) { // wherever it goes
        put_statement(g, switch_tree(g, {behind}, behind));
        return put_label(g, behind);
    }
    const uint32_t otherwise = g.dice.chance(20) ? 0 : g.dice.chance(50) ? behind : g.dice.one_of(targets);
    put_statement(g, switch_tree(g, targets, otherwise));
    if (!otherwise && g.dice.chance(50)) simple_statement(g);
    g.exits.push_back(behind);
    for (const uint32_t target : targets) {
        put_label(g, target);
        structured(g, depth - 1);
        if (g.dice.chance(65)) branch(g, behind);
    }
    g.exits.pop_back();
    put_label(g, behind);
}

// A scope of its own, with variables that are set where it begins.

namespace {

void nested_scope(GENERATOR& g, int depth) {
    const size_t places = g.places.size(), pointers = g.pointers.size();
    size_t structures[3];
    for (int i = 0; i < 3; ++i) structures[i] = g.structures[i].size();
    const std::string outer_locals = std::move(g.locals);
    g.locals.clear();
    const size_t outer_start = std::exchange(g.scope_start, g.statements.size());
    const std::string outer_lent = g.lent;
    declare_scope_locals(g);
    // Nothing may point to them when they are gone; a variable may be several places.
    for (size_t place = places; place < g.places.size(); ++place) g.places[place].has_address = false;
    structured(g, depth - 1);
    g.statements.insert(g.scope_start, "    block\n" + g.locals);
    g.scope_start = outer_start;
    g.statements += "    end_block\n";
    g.locals = outer_locals;
    g.lent = outer_lent;
    g.places.resize(places);
    g.pointers.resize(pointers);
    for (int i = 0; i < 3; ++i) g.structures[i].resize(structures[i]);
    g.written.clear(); // they may name what is gone
}

} // namespace

void stop_program(GENERATOR& g) {
    const uint32_t yes = new_label(g), no = new_label(g);
    put_statement(g, "IF(EQ:int(" + value(g, INT, 1) + ", 123456789:int), COMMA(" + label_leaf(yes) + ", " +
                         label_leaf(no) + "))");
    put_label(g, yes);
    put_statement(g, std::string("CALL:void(UAND:fn.") +
                         (g.dice.chance(50) ? "stop*(@_exit" : "quit*(@_quit") + "), 3:int)");
    if (g.dice.chance(50)) simple_statement(g);
    put_label(g, no);
}

void structured(GENERATOR& g, int depth) {
    if (depth <= 0 || g.statements_left == 0) return simple_statements(g, 3);
    for (uint32_t count = g.dice.between(1, 3); count; --count) {
        const uint32_t kind = g.dice.below(100);
        if (kind < 35)
            simple_statements(g, 3);
        else if (kind < 60)
            test_statement(g, depth);
        else if (kind < 74)
            g.loop_depth < 2 ? counted_loop(g, depth) : simple_statements(g, 2);
        else if (kind < 77)
            pointer_loop(g);
        else if (kind < 86)
            switch_statement(g, depth);
        else if (kind < 91)
            nested_scope(g, depth);
        else if (kind < 96 && !g.exits.empty()) {
            branch(g, g.dice.one_of(g.exits));
            return maybe_dead_code(g);
        } else if (kind < 98) {
            leave(g);
            return maybe_dead_code(g);
        } else
            stop_program(g);
    }
}

// --- A graph of blocks ---

namespace {

struct GRAPH {
    std::vector<uint32_t> labels;                        // of the blocks
    uint32_t exit;                                       //
    std::string fuel;                                    //
    std::vector<std::pair<uint32_t, uint32_t>> backward; // edges that use fuel: their label, where they lead
};

// The label that leads to a block: its own, or one in front of it that costs fuel.
uint32_t target_from(GENERATOR& g, GRAPH& graph, uint32_t from) {
    const uint32_t to = g.dice.below(graph.labels.size() + 1);
    if (to == graph.labels.size()) return graph.exit;
    if (to > from) return graph.labels[to];
    graph.backward.emplace_back(new_label(g), graph.labels[to]);
    return graph.backward.back().first;
}

void end_block(GENERATOR& g, GRAPH& graph, uint32_t block) {
    const uint32_t kind = g.dice.below(100);
    const auto target = [&] { return target_from(g, graph, block); };
    if (kind < 20) return; // into the next one
    if (kind < 35) return branch(g, target());
    if (kind < 45) {
        std::vector<uint32_t> targets;
        for (uint32_t count = g.dice.between(1, 4); count; --count) targets.push_back(target());
        return put_statement(g, switch_tree(g, targets, g.dice.chance(80) ? target() : 0));
    }
    if (kind < 50) return leave(g);
    if (kind < 54) { // the labels' numbers are values
        const std::string name = declare_local(g, "j", "uint");
        std::string cases;
        const uint32_t count = g.dice.between(2, 4);
        uint32_t last = 0;
        for (uint32_t i = 1; i <= count; ++i)
            cases += "CASE(" + number(i, UINT) + ", " + label_leaf(last = target()) + "), ";
        put_statement(g, "ASG:uint(" + name + ", QUEST:uint(" + condition(g, 2) + ", COLON(1:uint, " +
                             number(count, UINT) + ")))");
        return put_statement(g,
                             "SWITCH(" + name + ", COMMA(" + cases + "DEFAULT(" + label_leaf(last) + ")))");
    }
    const uint32_t yes = target();
    test(g, condition(g, TREE_DEPTH), yes, g.dice.chance(8) ? yes : target());
}

} // namespace

void block_graph(GENERATOR& g) {
    GRAPH graph;
    graph.exit = new_label(g);
    graph.fuel = declare_local(g, "fuel", "int");
    put_statement(g, operation("ASG", INT, graph.fuel, number(g.dice.between(2, 8), INT)));
    const uint32_t count = g.dice.between(3, 12);
    for (uint32_t i = 0; i < count; ++i) graph.labels.push_back(new_label(g));
    if (g.dice.chance(30)) branch(g, g.dice.one_of(graph.labels));
    std::vector<std::string> bodies;
    for (uint32_t i = 0; i < count; ++i) {
        put_label(g, graph.labels[i]);
        const size_t start = g.statements.size();
        if (!bodies.empty() && g.dice.chance(20))
            g.statements += g.dice.one_of(bodies); // equal code
        else if (!g.dice.chance(20))
            simple_statements(g, 3);
        const std::string body = g.statements.substr(start);
        if (body.find("label") == std::string::npos) bodies.push_back(body);
        end_block(g, graph, i);
    }
    branch(g, graph.exit);
    for (const auto& [from, to] : graph.backward) {
        put_label(g, from);
        put_statement(g, "IF(GT:int(MINMIN:int(" + graph.fuel + ", 1:int), 0:int), COMMA(" + label_leaf(to) +
                             ", " + label_leaf(graph.exit) + "))");
    }
    put_label(g, graph.exit);
}

} // namespace pelorus::generated
