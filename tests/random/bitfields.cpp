// Several bit-fields of one structure: assigned, tested and read together.
#include "random/generator.h"

namespace pelorus::generated {

namespace {

struct FIELDS {
    const RECORD* record = nullptr; // null: no structure has several
    uint32_t number = 0;            // of the record
    std::vector<MEMBER> members;
};

FIELDS some_fields(GENERATOR& g) {
    for (int tries = 0; tries < 6; ++tries) {
        FIELDS fields;
        fields.number = g.dice.below(g.records.size());
        fields.record = &g.records[fields.number];
        for (const MEMBER& member : fields.record->members)
            if (member.bitfield) fields.members.push_back(member);
        if (fields.members.size() > 1 && !g.structures[fields.number].empty()) return fields;
    }
    return {};
}

TREE field_of(const FIELDS& fields, const MEMBER& member, const TREE& object) {
    return "STDOT:" + label(member.type) + "(" + object + ", FIELD:" + member.field_type + " " +
           fields.record->label + " \"" + member.name + "\")";
}

TREE some_object(GENERATOR& g, const FIELDS& fields) { return structure(g, fields.number, false, 0); }

// A constant that the field often holds.
TREE field_constant(GENERATOR& g, const MEMBER& member) {
    return g.dice.chance(80) ? number(g.dice.below(member.type == BOOL ? 2 : 4), member.type)
                             : constant(g, member.type);
}

TREE field_value(GENERATOR& g, const FIELDS& fields, const MEMBER& member, const TREE& other) {
    switch (g.dice.below(6)) {
    case 0:
    case 1: return field_constant(g, member);
    case 2:
    case 3: return field_of(fields, member, other);
    case 4: return value(g, member.type, 0);
    default: return value(g, member.type, 2);
    }
}

void assign_fields(GENERATOR& g, const FIELDS& fields) {
    const TREE object = some_object(g, fields);
    const TREE other = some_object(g, fields);
    const bool is_copy = g.dice.chance(30);
    for (const MEMBER& member : fields.members) {
        if (g.dice.chance(15)) continue;
        const TREE from = is_copy ? field_of(fields, member, other) : field_value(g, fields, member, other);
        put_statement(g, operation("ASG", member.type, field_of(fields, member, object), from));
        if (g.dice.chance(10)) put_statement(g, assignment(g, *any_place(g, true), 1));
    }
}

void read_fields(GENERATOR& g, const FIELDS& fields) {
    const TREE object = some_object(g, fields);
    TREE sum = value(g, INT, 0);
    for (const MEMBER& member : fields.members)
        sum = operation("PLUS", INT, sum,
                        member.type == INT ? field_of(fields, member, object)
                                           : "SCONV:int(" + field_of(fields, member, object) + ")");
    if (const PLACE* place = some_place(g, INT, true))
        put_statement(g, operation("ASG", INT, tree_of(g, *place, 1), sum));
}

// A field by its own value.
void update_field(GENERATOR& g, const FIELDS& fields) {
    const MEMBER& member = g.dice.one_of(fields.members);
    const TREE field = field_of(fields, member, some_object(g, fields));
    constexpr const char* OPERATORS[] = {"PLUSASG", "MINUSASG", "ANDBASG", "ORBASG", "XORBASG"};
    if (member.type == BOOL || g.dice.chance(30)) {
        const TREE answer = operation("EQ", INT, field, number(0, member.type));
        return put_statement(
            g, operation("ASG", member.type, field,
                         member.type == INT ? answer : "SCONV:" + label(member.type) + "(" + answer + ")"));
    }
    put_statement(g, operation(g.dice.one_of(OPERATORS), member.type, field,
                               g.dice.chance(40) ? number(g.dice.below(9), INT) : value(g, INT, 1)));
}

TREE field_test(GENERATOR& g, const FIELDS& fields, const MEMBER& member, const TREE& object,
                const TREE& other) {
    TREE field = field_of(fields, member, object);
    const char* relation = g.dice.chance(60) ? "EQ" : "NEQ";
    switch (g.dice.below(5)) {
    case 0: return field;
    case 1: return operation("EXCLAIM", INT, field);
    case 2: return operation(relation, INT, field, field_of(fields, member, other));
    default: return operation(relation, INT, field, field_constant(g, member));
    }
}

} // namespace

void bitfield_statement(GENERATOR& g) {
    const FIELDS fields = some_fields(g);
    if (!fields.record) return;
    const uint32_t kind = g.dice.below(100);
    if (kind < 50) return assign_fields(g, fields);
    return kind < 75 ? read_fields(g, fields) : update_field(g, fields);
}

TREE field_tests(GENERATOR& g) {
    const FIELDS fields = some_fields(g);
    if (!fields.record) return "";
    const TREE object = some_object(g, fields);
    const TREE other = some_object(g, fields);
    const char* joined = g.dice.chance(50) ? "ANDAND" : "OROR";
    TREE tests;
    for (const MEMBER& member : fields.members) {
        const TREE test = field_test(g, fields, member, object, other);
        tests = tests.empty() ? test : operation(joined, INT, tests, test);
    }
    return tests;
}

} // namespace pelorus::generated
