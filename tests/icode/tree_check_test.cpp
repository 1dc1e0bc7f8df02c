// Trees that break the rules end the reading: each case is a statement or an initializer, and what is said of
// it. Most of them once crashed the optimizer at some place behind the reader.
#include <gmock/gmock.h>

#include <string>

#include "icode/reader.h"
#include "icode/text_form.h"
#include "icode/unit_client.h"
#include "icode_exit.h"
#include "ir/funinfo.h"
#include "memory/zone.h"

namespace pelorus {

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* FRAME = R"(header "in.c"
INITIALIZER
function @_f
    symbol "n" class=argument type=int
    body
    symbol "n" class=auto type=int
    symbol "p" class=auto type=struct.pair*
    symbol "s" class=auto type=struct.pair
    symbol "d" class=auto type=double
    symbol "$ret" class=auto type=int
    function_place
    statement ASG:int(n, n')
    label 1
    STATEMENT
    statement RETURN($ret, n)
end_function
LATER
end
section types
type struct.pair CSU "pair" size=8 align=4
    part MEMBER "first" type=int
    part MEMBER "second" type=int offset=4
type f FUNCTION return=int
    part PARAMETER type=int
end
section symbols
symbol "_f" class=extdef flags=defined type=f
symbol "_g" class=extdef flags=defined type=int
end
)";

class TreeCheck : public testing::Test {
protected:
    void SetUp() override {
        icode_exit = throw_exit;
        reset();
    }
    void TearDown() override {
        reset();
        set_type_package(nullptr);
        icode_exit = exit;
    }
    void reset() {
        clear_function();
        clear_file_symbols();
        clear_funinfo();
        node_factory = {};
        types = TYPE_PKG();
        set_type_package(&types);
        reset_zones_for_test();
    }

    // What the reader says of a file; "" when it has nothing to say.
    std::string said_of(const char* place, const std::string& line) {
        reset();
        std::string text = FRAME;
        for (const std::string name : {"INITIALIZER", "STATEMENT", "LATER"})
            text.replace(text.find(name), name.size(), name == place ? line : "");
        ASSEMBLY unit = assemble_icode(text, "in.ict");
        EXPECT_TRUE(unit.good) << unit.error << line;
        FILE* stream = fmemopen(unit.bytes.data(), unit.bytes.size(), "rb");
        UNIT_CLIENT client;
        ICODE_READER* reader = open_icode(stream, "in.if", unit_icode_client(client));
        testing::internal::CaptureStderr();
        try {
            read_whole_file(*reader);
        } catch (const ICODE_EXIT& exit) {
            EXPECT_EQ(exit.status, 1);
        }
        close_icode(reader);
        return testing::internal::GetCapturedStderr();
    }
    std::string said_of_statement(const std::string& tree) {
        return said_of("STATEMENT", "statement " + tree);
    }

    TYPE_PKG types;
};

TEST_F(TreeCheck, NamesFileOffsetFunctionAndRule) {
    EXPECT_EQ(said_of_statement("ASG:int(n, n)"), "");
    const std::string said = said_of_statement("BRANCH(n)");
    EXPECT_THAT(said, StartsWith("\n>> in.if: offset 0x"));
    EXPECT_THAT(said, HasSubstr(": function _f: rule N5: "));
}

TEST_F(TreeCheck, StatementsThatNobodyCanWorkOnAreRefused) {
    constexpr struct {
        const char* tree;
        const char* rule;
    } CASES[] = {
        // Labels where something else belongs, and the other way round.
        {"IF(n, COMMA(LABEL 1, n))", "N5"},
        {"IF(n, LABEL 1)", "N5"},
        {"SWITCH(n, COMMA(CASE(1:int, n), DEFAULT(LABEL 1)))", "U9"},
        {"SWITCH(n, COMMA(DEFAULT(LABEL 1), DEFAULT(LABEL 1)))", "U9"},
        {"SWITCH(n, COMMA(CASE(1:int, LABEL 1), CASE(1:int, LABEL 1)))", "U10"},
        {"SWITCH(d, CASE(1:int, LABEL 1))", "N4"},
        {"ASG:int(n, LABEL 1)", "N4"},
        // Members of what has none.
        {"ASG:int(STREF:int(p, n), n)", "N5"},
        {"ASG:int(STDOT:int(UAND:struct.pair*(s), FIELD:int struct.pair \"first\"), n)", "N8"},
        {"ASG:int(n, FIELD:int struct.pair \"first\")", "N5"},
        {"ASG:struct.pair*(p, UAND:struct.pair*(PLUS:int(n, n)))", "N8"},
        // Types that the operator does not work on, or none.
        {"ASG:double(d, ANDB:double(d, d))", "N4"},
        {"ASG:int(n, SLL:struct.pair(s, n))", "N4"},
        {"ASG:int(n, EQ:int(s, s))", "N4"},
        {"ASG:int(n, PLUS:void(n, n))", "N4"},
        {"ASG:int(n, UMULT:void(p))", "N4"},
        {"ASG:double(d, ICON:double 5)", "N11"},
        {"ASG:int(n, d)", "N19"},
        {"ASG:int(5:int, n)", "N8"},
        // The parts of statements by themselves, and the optimizer's own.
        {"COLON(n, n)", "U7"},
        {"ENDINIT", "U7"},
        {"PCOMMA(ASG:int(n, n), ASG:int(n, n))", "U7"},
        {"LOOP(n, n)", "U8"},
        {"ASG:int(n, CSE_DUPE:int(n, n))", "U8"},
        {"ASG:int(n, SSA_USE:int(n))", "U8"},
        {"RETURN(n, n)", "U12"},
        {"RETURN(5:int, n)", "N5"},
        {"UCALL:int(n)", "N4"},
        {"OP116(IF(n, COMMA(LABEL 1, LABEL 1)))", "N5"},
        {"CALL:int(UAND:f*(@_f), COMMA(n, n))", "N16"},
    };
    for (const auto& [tree, rule] : CASES)
        EXPECT_THAT(said_of_statement(tree), HasSubstr(std::string(": rule ") + rule + ": ")) << tree;
}

TEST_F(TreeCheck, InitializersHoldConstantsAndAddresses) {
    EXPECT_EQ(said_of("INITIALIZER", "initializer @_g (7:int, ENDINIT)"), "");
    EXPECT_THAT(said_of("INITIALIZER", "initializer @_g (PLUS:int(1:int, 2:int), ENDINIT)"),
                HasSubstr("rule I1"));
    EXPECT_THAT(said_of("INITIALIZER", "initializer @_g (5:double, ENDINIT)"), HasSubstr("rule N11"));
    // The symbols of a function end with it.
    EXPECT_THAT(said_of("LATER", "initializer @_g (NAME:int scope 1 2, ENDINIT)"),
                HasSubstr("local symbol 2 does not exist"));
}

} // namespace
} // namespace pelorus
