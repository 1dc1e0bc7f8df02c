// Every rule of the tree simplifier applies where it should, not where it must not, and keeps what the tree
// means.
//
// The cases of rule_cases.def become the statements of a unit in the text form, one function for each type.
// Each tree is simplified, the rules that were applied are noted, and both trees are evaluated over boundary
// and random values of the variables.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <sstream>

#include "evaluator.h"
#include "icode/text_form.h"
#include "icode/unit_client.h"
#include "ir/tree_text.h"
#include "ir/validate_tree.h"
#include "support/fresh_state.h"
#include "support/settings.h"
#include "support/test_support.h"
#include "tree/query.h"
#include "tree/simplifier.h"
#include "tree/simplify.h"

namespace pelorus {
namespace {

struct RULE_CASE_ROW {
    const char* operators;
    const char* rule;
    const char* types;
    const char* fits;
    const char* refused;
};
constexpr RULE_CASE_ROW ROWS[] = {
#define RULE_CASE(operators, rule, types, fits, refused) {operators, #rule, types, fits, refused},
#include "rule_cases.def"
#undef RULE_CASE
};

struct CASE_TYPE {
    const char* name;
    char kind; // the letter of its class in rule_cases.def
    uint32_t bits;
    const char* other; // the integer type of the other signedness
};
constexpr CASE_TYPE TYPES[] = {
    {"schar", 's', 8, "uchar"},   {"short", 's', 16, "ushort"}, {"int", 's', 32, "uint"},
    {"llong", 's', 64, "ullong"}, {"uchar", 'u', 8, "schar"},   {"ushort", 'u', 16, "short"},
    {"uint", 'u', 32, "int"},     {"ullong", 'u', 64, "llong"}, {"bool", 'b', 8, "schar"},
    {"float", 'f', 32, "int"},    {"double", 'f', 64, "llong"}, {"int*", 'p', 32, "uint"},
    {"int", '-', 32, "uint"}};

// --- Texts ---

std::string integer_text(WIDE value, const std::string& type) {
    std::string digits;
    for (WIDE rest = value < 0 ? -value : value; rest || digits.empty(); rest /= 10)
        digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(rest % 10)));
    if (value < 0) digits.insert(digits.begin(), '-');
    const bool is_long = type == "llong" || type == "ullong";
    return is_long ? "LCON:" + type + " \"" + digits + "\"" : digits + ":" + type;
}

std::string call_text(const std::string& type) {
    const std::string label = type == "int*" ? "pointer" : type;
    return "UCALL:" + type + "(UAND:fn." + label + "*(@_g." + label + "))";
}

std::string field_text(const std::string& name) {
    static const std::map<std::string, std::string> members = {
        {"i", "int struct.s"},          {"a", "int struct.s"},    {"w", "llong struct.s"},
        {"mid", "struct.mid struct.s"}, {"k", "short struct.in"}, {"in", "struct.in struct.mid"}};
    return "FIELD:" + members.at(name) + " \"" + name + "\"";
}

// The text behind a "$".
std::string special_text(const std::string& word, const CASE_TYPE& type) {
    if (word.starts_with("F.")) return field_text(word.substr(2));
    const bool is_signed = type.kind == 's';
    const WIDE modulus = WIDE(1) << type.bits;
    const WIDE low = is_signed ? -modulus / 2 : 0;
    const WIDE high = is_signed ? modulus / 2 - 1 : modulus - 1;
    if (word == "MIN") return integer_text(low, type.name);
    if (word == "MIN1") return integer_text(low + 1, type.name);
    if (word == "MAX1") return integer_text(high - 1, type.name);
    if (word == "MAX") return integer_text(high, type.name);
    if (word == "TOP") return integer_text(is_signed ? low : modulus / 2, type.name);
    if (word == "TOPU") return integer_text(is_signed ? modulus / 2 : low, type.other);
    if (word == "ONES") return integer_text(is_signed ? -1 : high, type.name);
    if (word == "ONESU") return integer_text(is_signed ? modulus - 1 : -1, type.other);
    if (word == "LAST") return integer_text(type.bits - 1, "int");
    if (word == "BITS") return integer_text(type.bits, "int");
    return type.kind == 'f' ? std::string("0.0:") + type.name : integer_text(0, type.name);
}

// The case's tree for the operator and the type. Words are replaced as a whole.
std::string instance(const char* pattern, const std::string& op, const CASE_TYPE& type) {
    std::string text;
    for (const char* p = pattern; *p;) {
        if (*p == '@' && p[1] != '_') {
            text += op;
            ++p;
        } else if (*p == '$') {
            size_t length = strcspn(++p, "(), ");
            text += special_text(std::string(p, length), type);
            p += length;
        } else if (const size_t length =
                       strspn(p, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz_0123456789")) {
            const std::string word(p, length);
            text += word == "T"    ? type.name
                    : word == "U"  ? type.other
                    : word == "G"  ? call_text(type.name)
                    : word == "G8" ? call_text("uchar")
                                   : word;
            p += length;
        } else {
            text += *p++;
        }
    }
    return text;
}

std::vector<std::string> words_of(const char* text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

struct INSTANCE {
    std::string rule; // "op.rule"
    std::string text;
    bool fits;
};

std::vector<INSTANCE> instances_of(const CASE_TYPE& type) {
    std::vector<INSTANCE> list;
    for (const RULE_CASE_ROW& row : ROWS)
        for (const std::string& op : words_of(row.operators)) {
            if (!strchr(row.types, type.kind)) continue;
            const std::string rule = op + "." + row.rule;
            if (*row.fits) list.push_back({rule, instance(row.fits, op, type), true});
            if (*row.refused) list.push_back({rule, instance(row.refused, op, type), false});
        }
    return list;
}

constexpr const char* LOCALS = R"(
    symbol "i" class=auto type=int
    symbol "j" class=auto type=int
    symbol "u" class=auto type=uint
    symbol "c" class=auto type=schar
    symbol "h" class=auto type=uchar
    symbol "w" class=auto type=llong
    symbol "n" class=auto type=bool
    symbol "m" class=auto type=float
    symbol "d" class=auto type=double
    symbol "e" class=auto type=double
    symbol "s" class=auto type=struct.s
    symbol "t" class=auto type=struct.t
    symbol "ps" class=auto type=struct.s*
    symbol "pa" class=auto type=int[4]*
    symbol "array" class=auto type=int[4]
)";

constexpr const char* STRUCTURES = R"(
type struct.in CSU "in" size=8 align=4
    part MEMBER "k" type=short offset=4
type struct.mid CSU "mid" size=12 align=4
    part MEMBER "in" type=struct.in offset=4
type bits3 BITFIELD shift=2 width=3 declared=int container=int
type struct.s CSU "s" size=32 align=8
    part MEMBER "i" type=int
    part MEMBER "a" type=bits3 offset=4 bitfield
    part MEMBER "w" type=llong offset=8
    part MEMBER "mid" type=struct.mid offset=16
type struct.t CSU "t" size=32 align=8
    part MEMBER "i" type=int
)";

std::string function_text(const CASE_TYPE& type, const std::vector<INSTANCE>& cases, size_t number) {
    const std::string name = type.name;
    std::string text = "function @_f" + std::to_string(number) + "\n    body\n" + LOCALS;
    for (const char* variable : {"x", "y", "z"})
        text += std::string("    symbol \"") + variable + "\" class=auto type=" + name + "\n";
    text += "    symbol \"px\" class=auto type=" + name + "*\n    symbol \"v\" class=auto type=" + name +
            ".volatile\n    symbol \"ux\" class=auto type=" + type.other + "\n";
    for (const INSTANCE& item : cases) text += "    statement " + item.text + "\n";
    return text + "end_function\n";
}

std::string unit_text(const std::vector<std::vector<INSTANCE>>& cases) {
    std::string functions;
    std::string types = STRUCTURES;
    std::string symbols =
        "symbol \"_weak\" class=extern flags=weak type=int\nsymbol \"_inside\" class=extern type=fn.in\n";
    types += "type fn.void FUNCTION return=void\ntype fn.in FUNCTION return=struct.in\n";
    for (size_t i = 0; i < cases.size(); ++i) {
        functions += function_text(TYPES[i], cases[i], i);
        symbols += "symbol \"_f" + std::to_string(i) + "\" class=extdef type=fn.void\n";
        if (TYPES[i].kind == '-') continue;
        const std::string label = TYPES[i].kind == 'p' ? "pointer" : TYPES[i].name;
        types += "type fn." + label + " FUNCTION return=" + TYPES[i].name + "\n";
        symbols += "symbol \"_g." + label + "\" class=extern type=fn." + label + "\n";
    }
    return "header \"rules\"\n" + functions + "end\nsection types\n" + types + "end\nsection symbols\n" +
           symbols + "end\n";
}

// --- Runs ---

std::vector<std::string> applied; // rules, in their order

std::vector<SYMBOL*> variables_in_scope() {
    std::vector<SYMBOL*> list;
    for (const SYMBOL_LIST* symbols : {&file_symbols, &function_symbols.variables})
        for (SYMBOL* symbol = symbols->first; symbol; symbol = symbol->next) list.push_back(symbol);
    return list;
}

SYMBOL* variable_named(const char* name) {
    for (SYMBOL* symbol : variables_in_scope())
        if (!strcmp(symbol->name, name)) return symbol;
    return nullptr;
}

void set(MACHINE& machine, const char* name, const EVALUATED& value) {
    const SYMBOL* symbol = variable_named(name);
    store_value(machine, place_object(machine, symbol), symbol->type, value);
}

#ifdef NDEBUG
constexpr uint64_t VALUES = 17; // of x and of y
#else
constexpr uint64_t VALUES = 12; // one of each sort
#endif

// The state of run number `run`: x and y go through all pairs of special values, the others take any.
MACHINE machine_of_run(uint64_t run) {
    MACHINE machine;
    machine.seed = run + 1;
    uint64_t number = 0;
    for (const SYMBOL* symbol : variables_in_scope()) {
        const uint32_t address = place_object(machine, symbol);
        if (type_is_scalar(symbol->type))
            store_value(machine, address, symbol->type, some_value(symbol->type, run * 131 + ++number));
        else if (!type_is_function(symbol->type))
            for (uint32_t i = 0; i < symbol->type->size; ++i)
                machine.arena[address - ARENA_BASE + i] = static_cast<uint8_t>(run * 57 + i * 101);
    }
    const SYMBOL* x = variable_named("x");
    set(machine, "x", some_value(x->type, run % VALUES));
    set(machine, "y", some_value(x->type, run / VALUES));
    const auto pointer = [&](const char* name, const char* to) {
        const SYMBOL* symbol = variable_named(name);
        set(machine, name, integer_value(symbol->type, place_object(machine, variable_named(to))));
    };
    pointer("px", run % 3 ? "y" : "x");
    pointer("ps", "s");
    pointer("pa", "array");
    for (const char* name : {"x", "i", "s", "ux"}) machine.clobbered.push_back(variable_named(name));
    return machine;
}

std::vector<MACHINE> machines_of_function() {
    std::vector<MACHINE> machines;
    for (uint64_t run = 0; run < VALUES * VALUES; ++run) machines.push_back(machine_of_run(run));
    return machines;
}

// Evaluates both trees in many states; returns how many of them count.
int expect_same_meaning(const std::vector<MACHINE>& machines, const NODE* before, const NODE* after) {
    int counted = 0;
    for (const MACHINE& machine : machines) {
        MACHINE first = machine;
        MACHINE second = machine;
        const EVALUATED expected = evaluate(first, before);
        if (first.undefined) continue;
        ++counted;
        const std::string found = difference(first, expected, second, evaluate(second, after));
        EXPECT_EQ(found, "") << "run " << machine.seed << ": " << tree_text(before) << " became "
                             << tree_text(after);
        if (!found.empty()) break;
    }
    return counted;
}

struct READING {
    std::vector<std::vector<INSTANCE>> cases;
    size_t function = 0;
    int compared = 0;
    size_t trees = 0;
};

void check_instance(const INSTANCE& item, NODE* tree, const std::vector<MACHINE>& machines, int& compared) {
    SCOPED_TRACE(item.rule + ": " + item.text);
    const NODE* before = copy_tree(tree);
    applied.clear();
    NODE* after = simplify_tree(tree);
    if (item.fits) {
        EXPECT_EQ(applied.empty() ? "none" : applied.front(), item.rule) << tree_text(after);
    } else {
        EXPECT_EQ(std::count(applied.begin(), applied.end(), item.rule), 0) << tree_text(after);
    }
    EXPECT_EQ(after->type == before->type || type_compatible(after->type, before->type), true)
        << tree_text(after);
    EXPECT_TRUE(is_sound(after)) << tree_text(after);
    const int counted = expect_same_meaning(machines, before, after);
    EXPECT_TRUE(counted > 0 || !item.fits) << "never defined";
    compared += counted;
    applied.clear();
    EXPECT_TRUE(equal_trees(simplify_tree(copy_tree(after)), after) && applied.empty()) << tree_text(after);
}

void check_function(void* context) {
    auto& reading = *static_cast<READING*>(context);
    std::vector<NODE*> trees;
    for (const STMT* cell = function.statements; cell; cell = cell->next)
        trees.insert(trees.begin(), cell->tree);
    const std::vector<INSTANCE>& cases = reading.cases[reading.function++];
    ASSERT_EQ(trees.size(), cases.size());
    reading.trees += trees.size();
    const std::vector<MACHINE> machines = machines_of_function();
    for (size_t i = 0; i < cases.size(); ++i) check_instance(cases[i], trees[i], machines, reading.compared);
}

class RulesTest : public testing::Test {
protected:
    RulesTest() {
        fresh_state(types);
        reset_settings();
        applied.clear();
        simplify_observer = [](const SIMPLIFY_RULE& rule) { applied.push_back(rule.name); };
    }
    ~RulesTest() override {
        simplify_observer = nullptr;
        reset_settings();
    }

    void read(const std::string& text, UNIT_CLIENT& client) {
        const ASSEMBLY unit = assemble_icode(text, "rules");
        ASSERT_TRUE(unit.good) << unit.error;
        std::string bytes = unit.bytes;
        FILE* stream = fmemopen(bytes.data(), bytes.size(), "rb");
        ICODE_CLIENT operations = unit_icode_client(client);
        operations.wants_good_trees = false; // a rule's example need not do anything
        ICODE_READER* reader = open_icode(stream, "rules", operations);
        ASSERT_NE(reader, nullptr);
        read_whole_file(*reader);
        close_icode(reader);
    }

    TYPE_PKG types;
};

TEST_F(RulesTest, EachRuleHasItsCases) {
    std::set<std::string> applying, refusing;
    for (const RULE_CASE_ROW& row : ROWS)
        for (const std::string& op : words_of(row.operators)) {
            if (*row.fits) applying.insert(op + "." + row.rule);
            if (*row.refused) refusing.insert(op + "." + row.rule);
        }
    const SIMPLIFY_RULES rules = simplify_rules();
    std::set<std::string> names;
    for (int32_t i = 0; i < rules.count; ++i) {
        names.insert(rules.first[i].name);
        EXPECT_TRUE(applying.contains(rules.first[i].name)) << "no case: " << rules.first[i].name;
        EXPECT_TRUE(refusing.contains(rules.first[i].name)) << "no near miss: " << rules.first[i].name;
    }
    for (const std::string& name : applying) EXPECT_TRUE(names.contains(name)) << "no rule: " << name;
}

TEST_F(RulesTest, RulesApplyWhereTheyShouldAndKeepTheMeaning) {
    READING reading;
    for (const CASE_TYPE& type : TYPES) reading.cases.push_back(instances_of(type));
    UNIT_CLIENT client{check_function, nullptr, nullptr, &reading};
    read(unit_text(reading.cases), client);
    EXPECT_EQ(reading.function, std::size(TYPES));
    RecordProperty("compared", reading.compared);
    printf("%zu trees, %d runs compared\n", reading.trees, reading.compared);
}

TEST_F(RulesTest, SettingsKeepRulesBack) {
    settings.no_divide_replacement = 1;
    settings.all_volatile = 1;
    READING reading;
    reading.cases = {{{"DIV.divide_variable_by_power", "DIV:schar(x, 8:schar)", false},
                      {"DIV.divide_by_power", "DIV:uchar(h, 8:uchar)", false},
                      {"MOD.remainder_by_power", "MOD:uchar(h, 8:uchar)", false},
                      {"MOD.remainder_of_variable", "MOD:schar(x, 8:schar)", false},
                      {"DIV.divide_nothing", "DIV:schar(x, 1:schar)", true},
                      {"ORB.or_same", "ORB:int(@_weak, @_weak)", false},
                      {"ORB.or_same", "ORB:int(i, i)", true}}};
    UNIT_CLIENT client{check_function, nullptr, nullptr, &reading};
    read(unit_text(reading.cases), client);
    EXPECT_EQ(reading.function, 1u);
}

} // namespace
} // namespace pelorus
