// Every rule of a file, broken once: a good file, and for each rule the small change that breaks it and no
// other.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "icode/text_form.h"
#include "icode/validate_file.h"
#include "support/settings.h"

namespace pelorus {
namespace {

constexpr const char* GOOD = R"(header "f.c"

assembly ".text"
pragma 6 "-o2"
initializer @_table (1:int, SKIP 4, UAND:int*(@_count), SCON:char[3] "ab\0", SKIP 1, ENDINIT)

function @_f @1:1:1
    symbol "n" class=argument type=int
    symbol "last" class=last_argument type=int
    body
    symbol "n" class=auto type=int
    symbol "last" class=auto type=int
    symbol "a" class=auto type=int
    symbol "d" class=auto type=double
    symbol "w" class=auto type=llong
    symbol "s" class=auto type=struct.pair
    symbol "t" class=register type=struct.single
    symbol "p" class=auto type=struct.pair*
    symbol "q" class=auto type=int*
    symbol "spare" class=register type=int
    symbol "$ret" class=auto type=int
    statement PCOMMA(ASG:int(n, n'), ASG:int(last, last'))
    statement ASG:int(a, PLUS:int(n, 5:int))
    statement ASG:double(d, MULT:double(d, 0.5:double))
    statement ASG:llong(w, SCONV:llong(a))
    statement ASG:int*(q, ARGREF:int*(last'))
    statement ASG:int(a, UMULT:int(q))
    statement ASG:int(a, STREF:int(p, FIELD:int struct.pair "second"))
    statement ASG:int*(q, PCONV:int*(UAND:char*(SCON:char[4] "xyz\0")))
    statement ASG:int(a, QUEST:int(a, COLON(7:int, 8:int)))
    statement CALL:int(UAND:h*(@_h), COMMA(a, STARG:struct.pair(s)))
    block
        pragma 2 "4"
        statement SWITCH(a, COMMA(CASE(1:int, LABEL 1), CASE(2:int, LABEL 2), DEFAULT(LABEL 2)))
    end_block
  label 1
    statement IF(a, COMMA(LABEL 1, LABEL 2))
  label 2
    statement BRANCH(LABEL 3)
  label 3
    statement RETURN($ret, a)
end_function
end

section string_lists
string_list 1 "-o2"
end

section types
type void VOID
type int INT
type struct.pair CSU "pair" size=8 align=4
    part MEMBER "first" type=int
    part MEMBER "second" type=int offset=4
    part LIST_COMPLETE list=members
type struct.other CSU "other" size=4 align=4
    part MEMBER "only" type=int
type struct.single CSU "single" size=8 align=8
    part MEMBER "whole" type=double
type bits BITFIELD shift=3 width=5 declared=int container=uint
type enum.color ENUMERATION "color" underlying=uint
    part ENUMERATOR "red" value=7
type f FUNCTION return=int variadic
    part PARAMETER type=int
    part PARAMETER type=int
type h FUNCTION return=int
    part PARAMETER type=int
    part PARAMETER type=struct.pair
type h* POINTER target=h
type g FUNCTION return=int
    part PARAMETER type=int
    part PARAMETER type=int*
type triple ARRAY element=int count=3
type uchar CHAR unsigned
end

section file_names
file_name "f.c"
end

section symbols
symbol "_f" class=extdef flags=defined type=f align=4
symbol "_h" class=extern type=h align=4
symbol "_g" class=extern type=g align=4
    pragma 1 "assembly" "ldr %0, %2; add %0, %0, %1" "=&r" "r" "*m" "~cc"
symbol "_count" class=extern type=int
symbol "_table" class=static flags=defined+internal type=int[4]
    pragma 1 "aligned" "4"
symbol "_spare" class=extern type=int @1:9:9
end
)";

struct BREAKING_CASE {
    const char* rule;
    const char* from; // stands once in the good file
    const char* to;
    const char* message = ""; // part of what is said
};

const BREAKING_CASE CASES[] = {
    {"B1", "5:int", "ICON:int leb:80808080808001", "more than 32 bits"},
    {"B2", "assembly \".text\"", "record 47 (61 62)", "a string does not end"},
    {"B3", "5:int", "5~2:int"},
    {"B4", "CHAR unsigned", "CHAR unsigned=2", "a flag is 2"},
    {"B5", "@1:9:9", "@7:9:9", "file name 7 does not exist; there are 1"},

    {"F1", "header \"f.c\"", "header \"f.c\" version_b=401"},
    {"F2", "    body", "    body extra=00", "of kind 5 ends at"},
    {"F2", "statement RETURN($ret, a)", "record 46 (00 2f 00)", "where a tree is expected"},
    {"F3", "header \"f.c\"", "header \"f.c\" string_lists=99999999", "a section at 0x5f5e0ff"},
    {"F4", "@1:9:9\nend", "@1:9:9", "have no end"},
    {"F5", "file_name \"f.c\"", "file_name \"f.c\"\ncomment \"x\"", "kind 47 in the section for kind 126"},
    {"F6", "end_function", "end_function\nbytes 07 00", "kind 7 is not known"},
    {"F7", "@1:9:9\nend", "@1:9:9\nend\nbytes 01 02", "2 bytes"},
    {"F8", "end_function", "end_function\nsymbol \"_late\" class=extern type=int order=9",
     "kind 35 cannot stand here"},

    {"F8",
     "initializer @_table (1:int, SKIP 4, UAND:int*(@_count), SCON:char[3] \"ab\\0\", SKIP 1, "
     "ENDINIT)\n\nfunction @_f @1:1:1",
     "function @_f @1:1:1\n    initializer @_table (1:int, SKIP 4, ENDINIT)",
     "an initializer inside a function"},
    {"S1", "\"_spare\"", "\"spare\"", "no underscore"},
    {"S2", "\"_spare\" class=extern", "\"_spare\" class=register", "has class 4, which is none at level 0"},
    {"S2", "\"spare\" class=register", "class=extern", "none at level 2"},
    {"S3", "\"_spare\" class=extern", "\"_spare\" class=extern flags=defined", "class 2 and has the flag"},
    {"S3", "class=static flags=defined+internal", "class=static flags=internal", "lacks the flag"},
    {"S4", "symbol \"_spare\" class=extern type=int",
     "symbol \"_g\" class=static flags=defined type=h align=4", "defined and has 0 bodies"},
    {"S5", "\"_f\" class=extdef flags=defined", "\"_f\" class=extdef flags=defined+internal",
     "for other files"},
    {"S5", "class=static flags=defined+internal", "class=static flags=defined+internal+0x2000", "0x2000"},
    {"S6", "\"spare\" class=register type=int", "\"spare\" class=register type=h align=4", "cannot be"},
    {"S7", "\"spare\" class=register type=int", "\"spare\" class=register type=int size=3",
     "3 bytes and its type 4"},
    {"S8", "\"_spare\" class=extern type=int", "\"_spare\" class=extern type=int align=3"},
    {"S9", "type=int[4]", "type=int[4] pragmas=2", "followed by 1 pragmas, not 2"},
    {"S10", "\"_spare\" class=extern type=int", "\"_spare\" class=extern type=int order=0"},
    {"S10", "\"spare\" class=register type=int", "\"spare\" class=register type=int order=4"},
    {"S11", "MULT:double(d,", "MULT:double(NAME:double local 77,",
     "local symbol 77 does not exist; there are 13"},
    {"S11", "initializer @_table", "initializer global 77", "global symbol 77 does not exist; there are 6"},
    {"S12", "\"spare\" class=register type=int", "\"spare\" class=register type=triple", "register as"},
    {"S12", "\"spare\" class=register type=int", "\"spare\" class=register type=int.volatile", "register as"},

    {"T1", "type triple ARRAY element=int count=3", "record 116 (80 80 40 01 01 01 01 00)",
     "the index 1048576 is not"},
    {"T2", "type triple ARRAY element=int", "type triple ARRAY size=12 align=4 element=777",
     "type 777 is not described"},
    {"T3", "type triple ARRAY element=int count=3", "record 116 (02 01 01 01 01 00)",
     "type 2 is described already"},
    {"T4", "type triple ARRAY element=int count=3", "record 116 (20 3c)", "kind 60 of type 32"},
    {"T5", "part ENUMERATOR \"red\" value=7", "part MEMBER \"red\" type=int", "a MEMBER cannot belong"},
    {"T6", "\"only\" type=int", "\"only\" key=0 type=int", "the key 0 is not"},
    {"T7", "type triple ARRAY element=int", "type triple ARRAY size=12 align=4 element=void",
     "the type of an object"},
    {"T8", "size=4 align=4", "size=4 align=3", "the alignment is 3"},
    {"T9", "type triple ARRAY element=int", "type triple ARRAY size=13 element=int", "it must have 12"},
    {"T10", "shift=3 width=5", "shift=30 width=5", "5 bits at 30"},
    {"T11", "\"second\" type=int offset=4", "\"second\" type=int offset=5", "4 bytes at 5 pass the end"},
    {"T12", "\"only\" type=int", "\"only\" type=struct.other", "struct other contains itself"},
    {"T13", "list=members", "list=members\n    part LIST_COMPLETE list=members", "said of type"},
    {"T13", "return=int variadic", "return=int variadic parameters=3", "has 2 parameters and says 3"},
    {"T14", "\"red\" value=7", "\"red\" value=4294967296", "the value is none of"},
    {"T15", "\"only\" type=int", "\"only\" type=int*\n    part LAYOUT layout=vector",
     "struct other is no vector"},

    {"U1", "    end_block\n", "", "a block does not end"},
    {"U1", "    body\n", "    statement NASSERT(1:int)\n    body\n", "a statement outside a body"},
    {"U1", "function @_f @1:1:1", "function @_f @1:1:1\n    pragma 2 \"4\"", "a pragma before the body"},
    {"U2", "return=int variadic\n    part PARAMETER type=int",
     "return=int variadic\n    part PARAMETER type=llong", "parameter \"n\" has another type"},
    {"U3", "BRANCH(LABEL 3)", "BRANCH(LABEL 7)", "label 7 is not defined"},
    {"U4", "  label 3\n", "  label 3\n  label 3\n", "label 3 is defined a second time"},
    {"U5", "PCOMMA(ASG:int(n, n'), ASG:int(last, last'))", "ASG:int(a, 1:int)", "does not copy"},
    {"U5", "ASG:int(last, last')", "ASG:int(last, n')", "Improper PCOMMA tree"},
    {"U5", "    statement PCOMMA", "  label 9\n    statement PCOMMA", "a label in front"},
    {"U6", "PLUS:int(n, 5:int)", "PLUS:int(n', 5:int)"},
    {"U7", "statement BRANCH(LABEL 3)", "statement PLUS:int(a, a)", "no side effects"},
    {"U7", "statement BRANCH(LABEL 3)", "statement PCOMMA(ASG:int(a, 1:int), ASG:int(a, 2:int))", "no form"},
    {"U8", "UMULT:int(q)", "UMULT:int(OUIALIGN:int*(q))", "OUIALIGN"},
    {"U9", "CASE(2:int, LABEL 2)", "DEFAULT(LABEL 1)", "Multiple DEFAULTs"},
    {"U10", "CASE(2:int", "CASE(1:int", "Two cases"},
    {"U11", "CASE(1:int", "CASE(1:llong"},
    {"U12", "BRANCH(LABEL 3)", "URETURN(a)", "different variables"},
    {"U12", "BRANCH(LABEL 3)", "URETURN(NAME none)", "names no variable"},
    {"U13", "CALL:int(", "CALL:int 9(", "has number 9; it is the function's call 1"},
    {"U14", "  label 3\n", "  label 3\n    note 76\n", "makes calls"},
    {"U15", "ASG:int*(q, ARGREF:int*(last'))", "ASG:int*(q, UAND:int*(COMMAOP:int(a, spare)))", "address"},
    {"U15", "ASG:int*(q, ARGREF:int*(last'))",
     "ASG:int*(q, UAND:int*(STDOT:double(t, FIELD:double struct.single \"whole\")))", "wanted in memory"},
    {"U15", "ASG:int(a, UMULT:int(q))", "ASG:int(a, NAME:int.volatile spare)", "as a volatile one"},

    {"N1", "PLUS:int(n, 5:int)", "PLUS!:int(n)", "PLUS has 1 subtrees, not 2"},
    {"N1", "PLUS:int(n, 5:int)", "NOTB!:int(n, n)", "more subtrees than 1"},
    {"N2", "UMULT:int(q)", "OP28:int", "opcode 28 is not known"},
    {"N3", "ASG:int(a, UMULT:int(q))", "ASG(a, UMULT:int(q))", "has no type"},
    {"N3", "IF(a,", "IF:int(a,", "must have type void"},
    {"N4", "MULT:double(d, 0.5:double)", "MOD:double(d, 0.5:double)", "integer type"},
    {"N4", "PLUS:int(n, 5:int)", "ULT:int(d, d)", "not compared as unsigned"},
    {"N4", "PLUS:int(n, 5:int)", "NONALIGN:int(n)", "pointer type"},
    {"N4", "MULT:double(d, 0.5:double)", "ARGREF:double(last')", "pointer type"},
    {"N5", "BRANCH(LABEL 3)", "BRANCH(a)", "Unexpected operator"},
    {"N5", "ASG:int(a, UMULT:int(q))", "ASG:int(a, COMMAOP:int(COLON(a, a), a))", "stands where it cannot"},
    {"N6", "PLUS:int(n, 5:int)", "PLUS:int(n, 5:llong)"},
    {"N7", "SCONV:llong(a)", "PLUS:llong(a, a)"},
    {"N7", "IF(a,", "IF(EQ:llong(d, d),", "must be an int"},
    {"N8", "ASG:int(a, UMULT:int(q))", "ASG:int(5:int, UMULT:int(q))"},
    {"N8", "ASG:int(a, UMULT:int(q))", "ASG:int(IDENTITY:int(a), UMULT:int(q))", "no lvalue"},
    {"N8", "ARGREF:int*(last')", "UAND:int*(CALL:int(UAND:g*(@_g), COMMA(n, q)))", "has no address"},
    {"N9", "STARG:struct.pair(s)", "s", "The argument is no value"},
    {"N10", "SCONV:llong(a)", "NAME:llong a"},
    {"N10", "\"a\" class=auto", "\"a\" class=label", "of a label or of a type"},
    {"N10", "\"q\" class=auto", "\"q\" class=typedef", "of a label or of a type"},
    {"N11", "SCONV:llong(a)", "SCONV:llong(300:uchar)", "no value of its type"},
    {"N11", "SCONV:llong(a)", "SCONV:llong(2:bool)", "no value of its type"},
    {"N12", "0.5:double", "FCON:double \"half\"", "\"half\" is no floating-point number"},
    {"N13", "SCON:char[4]", "SCON:char[5]"},
    {"N14", "FIELD:int struct.pair \"second\"", "FIELD:int struct.single \"whole\"", "of another structure"},
    {"N15", "ASG:int(a, UMULT:int(q))", "ASG:llong(w, UMULT:llong(q))"},
    {"N16", "COMMA(a, STARG:struct.pair(s))", "a", "not as many arguments"},
    {"N16", "COMMA(a, STARG", "COMMA(w, STARG", "not of the parameter's type"},
    {"N17", "CALL:int(", "CALL:llong("},
    {"N18", "SCONV:llong(a)", "PCONV:llong(a)"},
    {"N19", "SCONV:llong(a)", "a"},
    {"N20", "ARGREF:int*(last')", "ARGREF:int*(n')"},

    {"I1", "UAND:int*(@_count)", "@_count"},
    {"I2", "SKIP 1", "SKIP 2", "2 bytes at 15 pass the end"},
    {"I3", "end_function", "end_function\ninitializer @_table (ENDINIT)"},
    {"I4", "end_function", "end_function\ninitializer @_count (1:int, ENDINIT)"},
    {"I5", "SKIP 1, ENDINIT", "SKIP 1", "no ENDINIT"},

    {"P1", "pragma 6 \"-o2\"", "pragma 9 \"-o2\""},
    {"P2", "pragma 2 \"4\"", "pragma 2 \"four\""},
    {"P2", "pragma 1 \"aligned\"", "pragma 1 \"shapely\"", "the attribute is not known"},
    {"P3", "pragma 6 \"-o2\"", "pragma 2 \"4\""},
    {"P4", "\"*m\"", "\"~r4\"", "a parameter is no operand"},
    {"P4", "\"=&r\"", "\"=*m\"", "is no address"},
    {"P4", "\"=&r\" \"r\"", "\"r\"", "is no operand of the assembly"},
    {"P4", "\"~cc\"", "\"i\"", "has no parameter"},
};

// The rules that a file breaks, and all that is said of it.
struct VERDICT {
    std::set<std::string> rules;
    std::string text;
};

void take_fault(void* context, const FILE_FAULT& fault) {
    auto* verdict = static_cast<VERDICT*>(context);
    verdict->rules.insert(rule_id(fault.rule));
    verdict->text += fault_text("f.if", fault);
}

VERDICT verdict_of_bytes(const std::string& bytes) {
    VERDICT verdict;
    validate_icode(bytes, UINT64_MAX, {take_fault, &verdict});
    return verdict;
}

VERDICT verdict_of(const std::string& text) {
    const ASSEMBLY assembly = assemble_icode(text, "f.ict");
    EXPECT_TRUE(assembly.good) << assembly.error;
    return verdict_of_bytes(assembly.bytes);
}

std::string changed(const std::string& from, const std::string& to) {
    std::string text = GOOD;
    const size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    EXPECT_EQ(text.find(from, at + 1), std::string::npos) << "twice: " << from;
    return text.replace(at, from.size(), to);
}

using RULES = std::set<std::string>;

std::string whole_text(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(name).rdbuf();
    return text.str();
}

TEST(ValidateRules, GoodFilesAreGood) {
    EXPECT_EQ(verdict_of(GOOD).text, "");
    for (const char* example : {"hello", "opcodes"}) {
        const std::string text = whole_text(std::string(PELORUS_TEST_DATA "/text/") + example + ".ict");
        EXPECT_EQ(verdict_of(text).text, "") << example;
    }
}

TEST(ValidateRules, EachChangeBreaksItsRuleAlone) {
    for (const BREAKING_CASE& broken : CASES) {
        SCOPED_TRACE(std::string(broken.rule) + ": " + broken.to);
        const VERDICT verdict = verdict_of(changed(broken.from, broken.to));
        EXPECT_EQ(verdict.rules, RULES{broken.rule}) << verdict.text;
        EXPECT_NE(verdict.text.find(broken.message), std::string::npos) << verdict.text;
    }
}

// --- Limits, which take a large file to pass ---

std::string repeated(const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
}

// The good file with more of its last statement. Text of that length would take its time.
std::string with_statements(int count) {
    const std::string statement = "    statement RETURN($ret, a)\n";
    const std::string once = assemble_icode(GOOD, "f.ict").bytes;
    std::string bytes = assemble_icode(changed(statement, statement + statement), "f.ict").bytes;
    const size_t size = bytes.size() - once.size(); // of the statement's record
    constexpr size_t OFFSETS = 16;                  // of the header's five words
    const auto word = [&](size_t i) {
        uint32_t value;
        memcpy(&value, bytes.data() + OFFSETS + 4 * i, sizeof value);
        return value;
    };
    const size_t end = word(0) - 4; // the function's end and the byte 255 stand in front of the first section
    const std::string record = bytes.substr(end - size, size);
    for (size_t i = 0; i < 5; ++i) {
        const uint32_t moved =
            word(i) ? word(i) + static_cast<uint32_t>(size) * static_cast<uint32_t>(count) : 0;
        memcpy(bytes.data() + OFFSETS + 4 * i, &moved, sizeof moved);
    }
    return bytes.insert(end, repeated(record, count));
}

TEST(ValidateRules, Limits) {
    const std::string statement = "    statement RETURN($ret, a)\n";
    const auto rules_with = [&](const std::string& to) { return verdict_of(changed(statement, to)).rules; };
    EXPECT_EQ(rules_with(statement + "    comment \"" + std::string(9000, 'x') + "\"\n"), RULES{"L2"});
    EXPECT_EQ(verdict_of_bytes(with_statements(32000)).text, "");
    EXPECT_EQ(verdict_of_bytes(with_statements(33000)).rules, RULES{"L3"});
    EXPECT_EQ(rules_with(statement + repeated("bytes 07 00\n", 1001)).contains("L4"), true);
    const auto nested = [&](int depth) {
        return "    statement ASG:int(a, " + repeated("PLUS:int(1:int, ", depth) + "2:int" +
               repeated(")", depth) + ")\n" + statement;
    };
    EXPECT_EQ(rules_with(nested(9990)), RULES{});
    EXPECT_EQ(rules_with(nested(10010)), RULES{"L1"});
}

// --- Any bytes ---

// Whatever stands in a byte, and wherever the file stops: the validator comes to an end, and a cut file has a
// fault.
TEST(ValidateRules, AnyBytesWillDo) {
    const std::string good = assemble_icode(GOOD, "f.ict").bytes;
    VERDICT verdict;
    testing::internal::CaptureStderr();
    for (size_t at = 0; at < good.size(); ++at) {
        EXPECT_NE(validate_icode(good.substr(0, at), 5, {take_fault, &verdict}), 0U) << at;
        std::string bytes = good;
        for (const int value : {1, 128, 255}) {
            bytes[at] = static_cast<char>(value);
            validate_icode(bytes, 5, {take_fault, &verdict});
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "only the sink is told";
}

TEST(ValidateRules, NoMoreFaultsAreHandedOnThanWanted) {
    const std::string bytes =
        assemble_icode(changed("BRANCH(LABEL 3)", "IF(a, COMMA(LABEL 7, LABEL 8))"), "f.ict").bytes;
    VERDICT verdict;
    EXPECT_EQ(validate_icode(bytes, 1, {take_fault, &verdict}), 2U);
    EXPECT_EQ(verdict.text.find("label 8"), std::string::npos) << verdict.text;
}

// A read alone does nothing, but for readers who take all that is not automatic for volatile.
TEST(ValidateRules, SettingsMakeStatementsOfReads) {
    for (const char* read :
         {"UMULT:int(q)", "STREF:int(p, FIELD:int struct.pair \"second\")", "ANDAND:int(a, UMULT:int(q))"}) {
        const std::string text = changed("BRANCH(LABEL 3)", read);
        settings.all_volatile = 0;
        EXPECT_EQ(verdict_of(text).rules, RULES{"U7"}) << read;
        settings.all_volatile = 1;
        EXPECT_EQ(verdict_of(text).text, "") << read;
        EXPECT_EQ(verdict_of(changed("BRANCH(LABEL 3)", "PLUS:int(a, a)")).rules, RULES{"U7"});
        settings.all_volatile = 0;
    }
}

// --- What a message says ---

TEST(ValidateRules, AMessageSaysWhereAndWhat) {
    const std::string text = changed("BRANCH(LABEL 3)", "BRANCH(LABEL 7)");
    const std::string bytes = assemble_icode(text, "f.ict").bytes;
    // The LABEL's record: kind, length, opcode, type, number.
    const size_t at = bytes.find(std::string("\x65\x03\x01\x01\x07", 5));
    char expected[200];
    snprintf(expected, sizeof expected,
             "f.if: offset 0x%zx: function _f: rule U3: label 7 is not defined\n    goto g7\n", at);
    EXPECT_EQ(verdict_of(text).text, expected);
}

// --- The document ---

TEST(ValidateRules, DocumentTableAndCasesNameTheSameRules) {
    RULES table;
#define RULE(id, text) table.insert(#id);
#define GRAPH_RULE(id, text)
#include "ir/rules.def"
#undef RULE
#undef GRAPH_RULE
    const std::string text = whole_text(PELORUS_TEST_DATA "/../../docs/icode.md");
    RULES named;
    const std::regex mark(R"(\*\*\[([A-Z]\d+)\]\*\*)");
    for (std::sregex_iterator match(text.begin(), text.end(), mark), end; match != end; ++match)
        EXPECT_TRUE(named.insert((*match)[1]).second) << "twice in the document: " << (*match)[1];
    EXPECT_EQ(named, table);
    RULES broken{"L1", "L2", "L3", "L4"}; // by the test above
    for (const BREAKING_CASE& one : CASES) broken.insert(one.rule);
    EXPECT_EQ(broken, table);
}

} // namespace
} // namespace pelorus
