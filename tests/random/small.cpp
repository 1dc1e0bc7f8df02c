// Small functions, such as are expanded where they are called: one or two things that a callee can do, and a
// return.
#include "random/generator.h"

namespace pelorus::generated {

namespace {

void early_return(GENERATOR& g) {
    const uint32_t yes = new_label(g), no = new_label(g);
    test(g, condition(g, 2), yes, no);
    put_label(g, yes);
    leave(g);
    put_label(g, no);
}

void write_place(GENERATOR& g) {
    const PLACE place = *any_place(g, true);
    put_statement(g, assignment(g, place, 2));
}

// The callee writes what its parameter points to, or reads it for a file-level variable.
void use_pointer(GENERATOR& g) {
    for (const POINTER_VARIABLE& pointer : g.pointers) {
        if (pointer.of_file || is_floating(pointer.type)) continue;
        const TREE object = "UMULT:" + label(pointer.type) + "(" + pointer.name + ")";
        if (g.dice.chance(50))
            return put_statement(g, operation("ASG", pointer.type, object, value(g, pointer.type, 2)));
        return put_statement(g, operation("PLUSASG", UINT, "@_seen", operation("SCONV", UINT, object)));
    }
    write_place(g);
}

// The address stays in a variable of the file for a while.
void keep_pointer(GENERATOR& g) {
    for (const POINTER_VARIABLE& kept : g.file_pointers)
        for (const POINTER_VARIABLE& pointer : g.pointers) {
            if (pointer.of_file || pointer.type != kept.type) continue;
            const std::string type = label(kept.type) + "*";
            const std::string before = declare_local(g, "before", type);
            put_statement(g, "ASG:" + type + "(" + before + ", " + kept.name + ")");
            put_statement(g, "ASG:" + type + "(" + kept.name + ", " + pointer.name + ")");
            write_place(g);
            put_statement(g, operation("ASG", kept.type, "UMULT:" + label(kept.type) + "(" + kept.name + ")",
                                       value(g, kept.type, 1)));
            return put_statement(g, "ASG:" + type + "(" + kept.name + ", " + before + ")");
        }
    use_pointer(g);
}

void count_calls(GENERATOR& g) {
    const std::string& counter = g.function->counter;
    if (counter.empty()) return write_place(g);
    put_statement(g, operation("PLUSASG", INT, counter, number(g.dice.between(1, 3), INT)));
    PLACE place;
    place.before = counter;
    place.of_file = true;
    g.places.push_back(place);
}

void short_loop(GENERATOR& g) {
    const std::string sum = declare_local(g, "sum", "int"), left = declare_local(g, "left", "int");
    put_statement(g, operation("ASG", INT, sum, value(g, INT, 1)));
    put_statement(g, operation("ASG", INT, left, "ANDB:int(" + value(g, INT, 1) + ", 3:int)"));
    summing_loop(g, left, sum, [&] {
        g.loop_depth++;
        put_statement(g, operation("PLUSASG", INT, sum, value(g, INT, 2)));
        if (g.dice.chance(20)) write_place(g);
        g.loop_depth--;
    });
}

void some_part(GENERATOR& g) {
    switch (g.dice.below(10)) {
    case 0:
    case 1: return early_return(g);
    case 2: return write_place(g);
    case 3: return use_pointer(g);
    case 4: return keep_pointer(g);
    case 5: return count_calls(g);
    case 6: return short_loop(g);
    case 7: return switch_statement(g, 1);
    case 8: return call_for_effect(g);
    default: return stop_program(g);
    }
}

} // namespace

void small_body(GENERATOR& g) {
    constexpr uint32_t PARTS[] = {0, 0, 1, 1, 1, 2};
    g.statements_left = 4;
    for (uint32_t count = g.dice.one_of(PARTS); count; --count) some_part(g);
}

} // namespace pelorus::generated
