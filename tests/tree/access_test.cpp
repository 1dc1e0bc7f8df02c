// What trees define, use and expose, and which variables are candidates.
//
// The statements of one function in the text form stand here with their accesses in the order of
// evaluation: `r` use, `w` definition, `rw` both, `&` exposed, `l` lent; `*` is memory, `?` the result of a
// call.
// Behind the name `.` says that only a part is meant, `?` that it may not happen, `!` that it is volatile.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "icode/text_form.h"
#include "icode/unit_client.h"
#include "ir/call.h"
#include "ir/funinfo.h"
#include "ir/tree_text.h"
#include "support/fresh_state.h"
#include "support/settings.h"
#include "support/test_support.h"
#include "tree/access.h"
#include "tree/candidates.h"

namespace pelorus {
namespace {

struct ACCESS_CASE {
    const char* tree;
    const char* accesses;
};

constexpr ACCESS_CASE CASES[] = {
    // Assignments come behind their right side, the address of the left one before it.
    {"ASG:int(a, PLUS:int(b, a))", "rb ra wa"},
    {"PLUSASG:int(a, PLUSPLUS:int(b, 1:int))", "rwb rwa"},
    {"ASG:int(UMULT:int(p), UCALL:int(UAND:f*(@_f)))", "rp rw* w*"},
    {"ASG:int(STREF:int(q, FIELD:int struct.s \"x\"), a)", "rq ra w*"},
    {"STASG:struct.s(s, UMULT:struct.s(q))", "rq r* ws"},
    // A member is a part of the variable, wherever the comma stands.
    {"ASG:int(STDOT:int(s, FIELD:int struct.s \"x\"), STDOT:int(s, FIELD:int struct.s \"y\"))", "rs. ws."},
    {"ASG:int(STDOT:int(COMMAOP:struct.s(ASG:int(a, 1:int), s), FIELD:int struct.s \"x\"), b)", "wa rb ws."},
    {"ASG:int(COMMAOP:int(ASG:int(a, b), a), 1:int)", "rb wa wa"},
    {"ASG:int(IDENTITY:int(a), b)", "rb wa"},
    {"ASG:int(a, STDOT:int(STASG:struct.s(s, t), FIELD:int struct.s \"x\"))", "rt ws rs. wa"},
    // An address reads nothing but what leads to the object.
    {"ASG:int*(p, UAND:int*(a))", "&a wp"},
    {"ASG:int*(p, UAND:int*(STDOT:int(s, FIELD:int struct.s \"y\")))", "&s. wp"},
    {"ASG:int*(p, UAND:int*(COMMAOP:int(ASG:int(a, b), c)))", "rb wa &c wp"},
    {"ASG:int*(p, UAND:int*(STREF:int(q, FIELD:int struct.s \"y\")))", "rq wp"},
    {"ASG:int*(p, ACONV:int*(v))", "&v wp"},
    {"ASG:int*(p, UAND:int*(STDOT:int(UCALL:struct.s(UAND:g*(@_g)), FIELD:int struct.s \"x\")))",
     "rw* &?. wp"},
    {"ASG:int*(p, UAND:int*(@_global))", "&_global wp"},
    // What may not be evaluated.
    {"ASG:int(a, ANDAND:int(b, ASG:int(c, 1:int)))", "rb wc? wa"},
    {"ASG:int(a, QUEST:int(b, COLON(a, PLUSASG:int(c, OROR:int(a, b)))))", "rb ra? ra? rb? rwc? wa"},
    {"ASG:int(a, STDOT:int(QUEST:struct.s(b, COLON(s, t)), FIELD:int struct.s \"x\"))", "rb rs.? rt.? wa"},
    {"ASSERT(ASG:int(a, b))", "rb? wa?"},
    // Volatile objects, and members of them.
    {"ASG:int(n, n)", "rn! wn!"},
    {"ASG:int(STDOT:int(o, FIELD:int struct.s \"x\"), UMULT:int.volatile(p))", "rp r*! wo.!"},
    {"ASG:int.volatile(COMMAOP:int.volatile(ASG:int(a, b), n), 1:int)", "rb wa wn!"},
    // Calls: the callee, the arguments first to last, then the call.
    {"CALL:int(UAND:h*(@_h), COMMA(PLUSPLUS:int(a, 1:int), STARG:struct.s(s)))", "rwa rs rw*"},
    {"CALL:int(k, COMMA(a, b))", "rk ra rb rw*"},
    {"CALL:int(UAND:m*(@_m), COMMA(UAND:int*(c), ASG:int(a, 1:int)))", "&c wa rw*"},
    {"ASG:int*(p, ARGREF:int*(last'))", "rwlast wp"},
    {"OP100:int(a, UMULT:int(p))", "&a rp rw*"},
    {"IF(ASG:int(a, b), COMMA(LABEL 1, LABEL 1))", "rb wa"},
    {"SWITCH(a, COMMA(CASE(1:int, LABEL 1), DEFAULT(LABEL 1)))", "ra"},
    {"RETURN($ret, a)", "ra w$ret"},
    {"URETURN($ret)", "r$ret"},
};

std::string unit_text() {
    std::string text = R"(header "accesses.c"
function @_f
    symbol "last" class=27 type=int
    body
    symbol "last" class=auto type=int
    symbol "a" class=auto type=int
    symbol "b" class=auto type=int
    symbol "c" class=auto type=int
    symbol "p" class=auto type=int*
    symbol "q" class=auto type=struct.s*
    symbol "s" class=auto type=struct.s
    symbol "t" class=auto type=struct.s
    symbol "o" class=auto type=struct.s.volatile
    symbol "n" class=auto type=int.volatile
    symbol "v" class=auto type=int[4]
    symbol "k" class=auto type=h*
    symbol "$ret" class=auto type=int
    statement ASG:int(last, last')
  label 1
)";
    for (const ACCESS_CASE& row : CASES) text += std::string("    statement ") + row.tree + "\n";
    return text + R"(end_function
end
section types
type struct.s CSU "s" size=8 align=4
    part MEMBER "x" type=int
    part MEMBER "y" type=int offset=4
    part LIST_COMPLETE list=members
type f FUNCTION return=int variadic
    part PARAMETER type=int
type g FUNCTION return=struct.s
type h FUNCTION return=int variadic
    part PARAMETER type=int
type m FUNCTION return=int
    part PARAMETER type=int*
    part PARAMETER type=int
end
section symbols
symbol "_f" class=extdef flags=defined type=f
symbol "_g" class=extern type=g
symbol "_h" class=extern type=h
symbol "_m" class=extern type=m
symbol "_global" class=extdef flags=defined type=int
end
)";
}

std::string text_of(const TREE_ACCESS& access) {
    const char* const kinds[] = {"r", "w", "rw", "&", "l"};
    std::string text = kinds[static_cast<int>(access.kind)];
    text += access.symbol ? access.symbol->name : access.kind == ACCESS::EXPOSE ? "?" : "*";
    return text + (access.part ? "." : "") + (access.conditional ? "?" : "") +
           (access.is_volatile ? "!" : "");
}

std::string accesses_of(NODE* tree) {
    std::string text;
    for_each_access(tree,
                    [&](const TREE_ACCESS& access) { text += (text.empty() ? "" : " ") + text_of(access); });
    return text;
}

class Access : public testing::Test {
protected:
    Access() { fresh_state(types); }
    ~Access() override {
        reset_settings();
        fresh_state(types);
    }

    // Reads the unit and calls check() while its function is there.
    void read(void (*check)(void*)) {
        const ASSEMBLY unit = assemble_icode(unit_text(), "accesses");
        ASSERT_TRUE(unit.good) << unit.error;
        std::string bytes = unit.bytes;
        FILE* stream = fmemopen(bytes.data(), bytes.size(), "rb");
        UNIT_CLIENT client{check, nullptr, nullptr, nullptr};
        ICODE_CLIENT operations = unit_icode_client(client);
        operations.wants_good_trees = false; // the order of evaluation is that of bad trees as well
        ICODE_READER* reader = open_icode(stream, "accesses", operations);
        ASSERT_NE(reader, nullptr);
        read_whole_file(*reader);
        close_icode(reader);
    }

    TYPE_PKG types;
};

TEST_F(Access, ComeInTheOrderOfEvaluation) {
    read([](void*) {
        size_t i = std::size(CASES); // the list runs backward
        for (const STMT* cell = function.statements; i > 0; cell = cell->next) {
            for_each_access(cell->tree, [&](const TREE_ACCESS& access) {
                EXPECT_EQ(access.symbol, access.name ? access.name->symbol() : nullptr);
            });
            EXPECT_EQ(accesses_of(cell->tree), CASES[--i].accesses) << tree_text(cell->tree);
        }
    });
}

TEST_F(Access, CallsDoWhatTheirFunctionsDo) {
    read([](void*) {
        const STMT* cell = function.statements;
        while (!direct_callee(cell->tree) || strcmp(direct_callee(cell->tree)->name, "_m")) cell = cell->next;
        FUNINFO* info = get_funinfo("_m");
        direct_callee(cell->tree)->funinfo = info;
        constexpr uint32_t READS_NONE = FUN_no_global_use | FUN_no_ind_use;
        constexpr uint32_t WRITES_NONE = FUN_no_global_asg | FUN_no_ind_asg;
        struct ROW {
            uint32_t flags;
            const char* accesses;
        };
        constexpr ROW ROWS[] = {{0, "&c wa rw*"},
                                {FUN_no_byref_asg, "wa lc rw*"},
                                {FUN_no_byref_asg | WRITES_NONE, "wa lc r*"},
                                {FUN_no_global_asg | FUN_no_ind_use, "&c wa rw*"},
                                {READS_NONE, "&c wa w*"},
                                {READS_NONE | WRITES_NONE, "&c wa"}};
        for (const int32_t level : {1, 0})
            for (const ROW& row : ROWS) {
                settings.optimization_level = level;
                info->flags = row.flags;
                EXPECT_EQ(accesses_of(cell->tree), level ? row.accesses : ROWS[0].accesses) << row.flags;
            }
        settings.optimization_level = 1;
        info->flags = FUN_no_byref_asg;
        cell->tree->left->type = type_package()->make_pointer(
            type_package()->make_function(type_package()->int_type(), false, false, 0));
        EXPECT_EQ(accesses_of(cell->tree), "&c wa rw*") << "by a type without prototype";
    });
}

TEST_F(Access, AllVolatileMeansWhatIsNotLocal) {
    settings.all_volatile = 1;
    read([](void*) {
        for (const STMT* cell = function.statements; cell; cell = cell->next)
            for_each_access(cell->tree, [](const TREE_ACCESS& access) {
                const bool is_local = access.symbol && access.symbol->level > 0;
                const bool touches_memory = access.by->op != OP_CALL && access.by->op != OP_UCALL &&
                                            opcode_fact(access.by->op).name && access.kind != ACCESS::EXPOSE;
                EXPECT_TRUE(is_local || !touches_memory || access.is_volatile) << text_of(access);
            });
    });
}

const SYMBOL* named(const char* name) {
    const SYMBOL* result = nullptr;
    for_each_function_symbol([&](const SYMBOL* symbol) {
        if (!strcmp(symbol->name, name) && symbol->level == 2) result = symbol;
    });
    return result;
}

// `a` is exposed, and assigned behind a comma; `s` by a member's address, `v` by ACONV, `n` is volatile.
TEST_F(Access, CandidatesAreLocalScalarsThatNothingElseReaches) {
    read([](void*) {
        const STMT* lists[] = {function.statements};
        SYMBOL* global = nullptr;
        for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next)
            if (!strcmp(symbol->name, "_global")) global = symbol;
        for (int round = 0; round < 2; ++round) { // the second finds what the first left behind
            CANDIDATES candidates = build_candidate_list(lists);
            std::vector<std::string> names;
            for (int32_t i = 0; i < candidates.count; ++i) names.emplace_back(candidates.symbols[i]->name);
            EXPECT_EQ(names, (std::vector<std::string>{"last", "b", "p", "q", "k", "$ret"}));
            for (const char* name : {"a", "c", "s", "v"}) EXPECT_TRUE(named(name)->address_exposed) << name;
            for (const char* name : {"b", "t", "n"}) EXPECT_FALSE(named(name)->address_exposed) << name;
            EXPECT_TRUE(global->address_exposed);
            // A dropped candidate leaves its number behind until the next numbering.
            drop_candidate(candidates, candidates.symbols[1]);
            EXPECT_TRUE(named("b")->candidate == -1 && named("p")->candidate == 2 && candidates.count == 6);
            number_candidates(candidates);
            EXPECT_TRUE(named("p")->candidate == 1 && named("$ret")->candidate == 4 && candidates.count == 5);
        }
        build_candidate_list({}); // without the statements nothing is exposed
        EXPECT_FALSE(named("s")->address_exposed || global->address_exposed);
        EXPECT_EQ(named("c")->candidate, 3);
        build_candidate_list(lists);
        clear_function_symbols();
        EXPECT_FALSE(global->address_exposed);
    });
}

TEST_F(Access, CandidateNumbersDoNotOverflow) {
    for (int i = 0; i < 32800; ++i) new_temporary('T', types.int_type(), -1);
    const CANDIDATES candidates = build_candidate_list({});
    EXPECT_EQ(candidates.count, 32768);
    EXPECT_EQ(candidates.symbols[32767]->candidate, 32767);
    EXPECT_EQ(function_symbols.temporaries.last->candidate, -1);
}

} // namespace
} // namespace pelorus
