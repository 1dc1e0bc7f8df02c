// What the operators compute, at the corners of their types.
#include "run/run_fixture.h"

namespace pelorus {
namespace {

struct CASE {
    const char* tree;     // over the variables below
    const char* expected; // a constant of its type
};

// Variables, so that nothing is a constant: their types and values.
const char VARIABLES[] = "symbol \"c\" class=auto type=schar\n"
                         "symbol \"uc\" class=auto type=uchar\n"
                         "symbol \"s\" class=auto type=short\n"
                         "symbol \"i\" class=auto type=int\n"
                         "symbol \"u\" class=auto type=uint\n"
                         "symbol \"l\" class=auto type=llong\n"
                         "symbol \"ul\" class=auto type=ullong\n"
                         "symbol \"f\" class=auto type=float\n"
                         "symbol \"d\" class=auto type=double\n"
                         "symbol \"n\" class=auto type=int\n"
                         "statement ASG:schar(c, ICON:schar -128)\n"
                         "statement ASG:uchar(uc, ICON:uchar 200)\n"
                         "statement ASG:short(s, ICON:short -32768)\n"
                         "statement ASG:int(i, ICON:int -2147483648)\n"
                         "statement ASG:uint(u, ICON:uint 4294967295)\n"
                         "statement ASG:llong(l, LCON:llong \"-9223372036854775808\")\n"
                         "statement ASG:ullong(ul, LCON:ullong \"18446744073709551615\")\n"
                         "statement ASG:float(f, FCON:float \"2.5\")\n"
                         "statement ASG:double(d, FCON:double \"-1e10\")\n"
                         "statement ASG:int(n, 40:int)\n";

RUN_RESULT run_case(const CASE& one, const std::string& before = "",
                    const RUN_OPTIONS& options = quiet_options()) {
    return run_main(VARIABLES + before + "statement RETURN($ret, EQ:int(" + one.tree + ", " + one.expected +
                        "))\n",
                    options);
}

void expect_cases(std::initializer_list<CASE> cases) {
    for (const CASE& one : cases) {
        const RUN_RESULT run = run_case(one);
        EXPECT_EQ(run.outcome.kind, OUTCOME_KIND::VALUE) << one.tree << ": " << run.outcome.message;
        EXPECT_EQ(run.outcome.status, 1) << one.tree;
    }
}

TEST(RunOperators, Integers) {
    expect_cases({
        {"MINUS:int(i, 1:int)", "2147483647:int"}, // wraps around
        {"MULT:llong(l, LCON:llong \"-1\")", "LCON:llong \"-9223372036854775808\""},
        {"PLUS:schar(c, c)", "ICON:schar 0"}, // narrow types too
        {"MINUS:uchar(uc, ICON:uchar 201)", "ICON:uchar 255"},
        {"DIV:int(i, -1:int)", "ICON:int -2147483648"}, // as the processor divides
        {"MOD:int(i, -1:int)", "0:int"},
        {"DIV:llong(l, ICON:llong -1)", "LCON:llong \"-9223372036854775808\""},
        {"DIV:int(-7:int, 2:int)", "-3:int"},
        {"MOD:int(-7:int, 2:int)", "-1:int"},
        {"DIV:uint(u, 2:uint)", "2147483647:uint"},
        {"DIV:schar(c, ICON:schar -1)", "ICON:schar -128"},
        {"UMINUS:int(i)", "ICON:int -2147483648"},
        {"ABS:schar(c)", "ICON:schar -128"},
        {"ABS:llong(SCONV:llong(i))", "LCON:llong \"2147483648\""},
        {"NOTB:uchar(uc)", "ICON:uchar 55"},
        {"SQR:short(SCONV:short(257:int))", "ICON:short 513"},
        {"XORB:ullong(ul, SCONV:ullong(i))", "LCON:ullong \"2147483647\""},
    });
}

// A register's shift takes the amount's lowest byte, and all that is shifted out is gone.
TEST(RunOperators, Shifts) {
    expect_cases({
        {"SRL:int(i, 31:int)", "-1:int"},
        {"SRL:uint(u, 31:int)", "1:uint"},
        {"SLL:int(1:int, n)", "0:int"},
        {"SRL:int(i, n)", "-1:int"},
        {"SRL:uint(u, n)", "0:uint"},
        {"SLL:int(3:int, PLUS:int(n, 217:int))", "6:int"}, // 257
        {"SLL:ullong(ul, n)", "LCON:ullong \"18446742974197923840\""},
        {"SRL:llong(l, LCON:llong \"64\")", "-1:llong"},
        {"SLL:uchar(uc, 1:int)", "ICON:uchar 144"},
        {"SRL:schar(c, 3:int)", "ICON:schar -16"},
    });
    RUN_OPTIONS strict = quiet_options();
    strict.strict = true;
    expect_trap(run_case({"SLL:int(1:int, n)", "0:int"}, "", strict), "shift by 40 bits");
    expect_trap(run_case({"SCONV:int(d)", "0:int"}, "", strict), "integer type");
    expect_value(run_case({"SRL:int(i, 31:int)", "-1:int"}, "", strict), 1);
}

TEST(RunOperators, Relations) {
    expect_cases({
        {"LT:int(i, 0:int)", "1:int"},
        {"LT:int(u, 0:uint)", "0:int"},
        {"LT:int(i, u)", "1:int"}, // one is signed, so both are: MIN < -1
        {"ULT:int(i, -1:int)", "1:int"},
        {"UGE:int(i, 5:int)", "1:int"},
        {"EQ:int(uc, ICON:schar -56)", "1:int"}, // one representation
        {"GT:int(l, LCON:llong \"-1\")", "0:int"},
        {"UGT:int(ul, l)", "1:int"},
        {"EXCLAIM:int(l)", "0:int"},
        {"LT:int(d, FCON:double \"nan\")", "0:int"},
        {"NEQ:int(FCON:double \"nan\", FCON:double \"nan\")", "1:int"},
        {"EQ:int(FCON:double \"-0.0\", FCON:double \"0.0\")", "1:int"},
        {"EXCLAIM:int(FCON:float \"nan\")", "0:int"},
        {"QUEST:int(d, COLON(1:int, DIV:int(1:int, EXCLAIM:int(i))))", "1:int"}, // one arm alone
        {"ANDAND:int(EXCLAIM:int(i), DIV:int(1:int, EXCLAIM:int(i)))", "0:int"},
        {"OROR:int(l, DIV:int(1:int, EXCLAIM:int(i)))", "1:int"},
    });
}

TEST(RunOperators, Conversions) {
    expect_cases({
        {"SCONV:int(c)", "-128:int"},
        {"SCONV:llong(u)", "LCON:llong \"4294967295\""},
        {"SCONV:ullong(i)", "LCON:ullong \"18446744071562067968\""},
        {"SCONV:uchar(i)", "ICON:uchar 0"},
        {"SCONV:schar(uc)", "ICON:schar -56"},
        {"SCONV:ushort(c)", "ICON:ushort 65408"},
        {"SCONV:short(SCONV:uint(s))", "ICON:short -32768"},
        {"SCONV:bool(l)", "ICON:bool 1"},
        {"SCONV:bool(FCON:double \"0.5\")", "ICON:bool 1"},
        {"SCONV:int(f)", "2:int"},
        {"SCONV:int(d)", "ICON:int -2147483648"}, // saturates
        {"SCONV:uint(d)", "ICON:uint 0"},
        {"SCONV:llong(d)", "LCON:llong \"-10000000000\""},
        {"SCONV:ullong(FCON:double \"1e30\")", "LCON:ullong \"18446744073709551615\""},
        {"SCONV:int(FCON:float \"nan\")", "0:int"},
        {"SCONV:float(16777217:int)", "FCON:float \"16777216\""},
        {"SCONV:double(ul)", "FCON:double \"18446744073709551616\""},
        {"SCONV:float(FCON:double \"1e39\")", "FCON:float \"inf\""},
        {"PCONV:uint(PCONV:char*(i))", "ICON:uint 2147483648"},
    });
}

// The sign of what is no number can be seen by copying bytes.
TEST(RunOperators, NotANumberHasTheProcessorsSign) {
    const std::string body =
        "symbol \"z\" class=auto type=double\n"
        "statement ASG:double(z, FCON:double \"0\")\n"
        "symbol \"q\" class=auto type=double\n"
        "statement ASG:double(q, DIV:double(z, z))\n"
        "statement RETURN($ret, SCONV:int(SRL:ullong(UMULT:ullong(PCONV:ullong*(UAND:double*(q))), "
        "52:int)))\n";
    expect_value(run_main(body), 0x7FF & 0xFF);
    expect_value(
        run_main("symbol \"q\" class=auto type=double\n"
                 "statement ASG:double(q, SQRT:double(FCON:double \"-1\"))\n"
                 "statement RETURN($ret, SCONV:int(SRL:ullong(UMULT:ullong(PCONV:ullong*(UAND:double*(q))), "
                 "63:int)))\n"),
        0);
}

// The old value is read just before the operator is applied, in the type of the right side.
TEST(RunOperators, CompoundAssignments) {
    const struct {
        const char* statement;
        CASE then;
    } ROWS[] = {
        {"PLUSASG:uchar(uc, 100:int)", {"uc", "ICON:uchar 44"}},
        {"MULTASG:int(n, FCON:double \"1.5\")", {"n", "60:int"}},
        {"DIVASG:schar(c, 3:int)", {"c", "ICON:schar -42"}},
        {"SRLASG:schar(c, LCON:llong \"2\")", {"c", "ICON:schar -32"}},
        {"SLLASG:int(n, LCON:ullong \"3\")", {"n", "320:int"}},
        {"PLUSASG:int(n, ASG:int(n, 5:int))", {"n", "10:int"}},
        {"ASG:int(i, PLUS:int(n, ASG:int(n, 2:int)))", {"i", "42:int"}}, // left before right
        {"ASG:int(i, PLUS:int(PLUSPLUS:int(n, 1:int), MULT:int(n, 100:int)))", {"i", "4140:int"}},
        {"ASG:int(n, PLUS:int(MINMIN:int(n, 1:int), n))", {"n", "79:int"}},
        {"ASG:int(i, COMMAOP:int(ASG:int(n, 7:int), MINUS:int(n, 1:int)))", {"i", "6:int"}},
        {"ASG:int(n, QUEST:int(n, COLON(COMMAOP:int(ASG:int(n, 9:int), PLUS:int(n, 1:int)), 0:int)))",
         {"n", "10:int"}},
    };
    for (const auto& row : ROWS) {
        const RUN_RESULT run = run_case(row.then, std::string("statement ") + row.statement + "\n");
        EXPECT_EQ(run.outcome.kind, OUTCOME_KIND::VALUE) << row.statement << run.outcome.message;
        EXPECT_EQ(run.outcome.status, 1) << row.statement;
    }
}

TEST(RunOperators, Switch) {
    const auto chosen = [](const std::string& type, const std::string& value, const std::string& cases) {
        return run_main("symbol \"x\" class=auto type=" + type + "\nstatement ASG:" + type + "(x, " + value +
                        ")\nstatement SWITCH(x, " + cases +
                        ")\nstatement RETURN($ret, 3:int)\n"
                        "label 1\nstatement RETURN($ret, 1:int)\nlabel 2\nstatement RETURN($ret, 2:int)\n")
            .outcome.status;
    };
    const std::string dense = "COMMA(CASE(-1:int, LABEL 1), CASE(0:int, LABEL 2), CASE(1:int, LABEL 1))";
    EXPECT_EQ(chosen("int", "-1:int", dense), 1);
    EXPECT_EQ(chosen("int", "0:int", dense), 2);
    EXPECT_EQ(chosen("int", "2:int", dense), 3);
    const std::string sparse = "COMMA(CASE(5:uint, LABEL 1), CASE(4000000000:uint, LABEL 2))";
    EXPECT_EQ(chosen("uint", "4000000000:uint", sparse), 2);
    EXPECT_EQ(chosen("uint", "6:uint", sparse), 3);
    const std::string wide = "COMMA(CASE(LCON:llong \"4294967296\", LABEL 1), CASE(0:llong, LABEL 2))";
    EXPECT_EQ(chosen("llong", "LCON:llong \"4294967296\"", wide), 1);
    EXPECT_EQ(chosen("llong", "0:llong", wide), 2);
    EXPECT_EQ(chosen("llong", "LCON:llong \"8589934592\"", wide), 3);
    EXPECT_EQ(chosen("schar", "ICON:schar -3", "COMMA(CASE(ICON:schar -3, LABEL 1), DEFAULT(LABEL 2))"), 1);
    EXPECT_EQ(chosen("int", "7:int", "DEFAULT(LABEL 2)"), 2);
}

} // namespace
} // namespace pelorus
