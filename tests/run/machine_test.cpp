// Runs of whole programs: calls, objects, blocks, jumps across calls, and how runs end.
#include "ir/opcodes.h"
#include "run/run_fixture.h"

namespace pelorus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const char PAIR[] = "type struct.pair CSU \"pair\" size=12 align=4\n"
                    "part MEMBER \"first\" type=int offset=0 key=1\n"
                    "part MEMBER \"second\" type=int offset=4 key=2\n"
                    "part MEMBER \"third\" type=int offset=8 key=3\n";

// --- Calls ---

TEST(RunMachine, CallsNestAndRecursionEndsAtItsLimit) {
    UNIT_TEXT unit{function_text("main", "statement RETURN($ret, CALL:int(UAND:int.one*(@_fib), 10:int))\n"),
                   "symbol \"_fib\" class=static flags=defined+internal type=int.one\n",
                   "type int.one FUNCTION return=int\npart PARAMETER type=int\n"};
    unit.functions +=
        "function @_fib @1:20:1\nsymbol \"n\" class=argument type=int\nbody\n"
        "symbol \"n\" class=auto type=int\nsymbol \"$ret\" class=auto type=int\n"
        "statement ASG:int(n, n')\n"
        "statement IF(LT:int(n, 2:int), COMMA(LABEL 1, LABEL 2))\n"
        "label 1\nstatement RETURN($ret, n)\nlabel 2\n"
        "statement @1:25:5 RETURN($ret, PLUS:int(CALL:int(UAND:int.one*(@_fib), MINUS:int(n, 1:int)), "
        "CALL:int(UAND:int.one*(@_fib), MINUS:int(n, 2:int))))\nend_function\n";
    const RUN_RESULT run = run_unit(unit);
    expect_value(run, 55);
    EXPECT_EQ(run.counts.calls, 177u);
    RUN_OPTIONS shallow = quiet_options();
    shallow.depth = 8;
    const RUN_RESULT stopped = run_unit(unit, shallow);
    EXPECT_EQ(stopped.outcome.kind, OUTCOME_KIND::LIMIT);
    ASSERT_EQ(stopped.outcome.calls.size(), 8u);
    EXPECT_EQ(stopped.outcome.calls[0].function, "fib");
    EXPECT_EQ(stopped.outcome.calls[0].line, 25u);
    EXPECT_EQ(stopped.outcome.calls[7].function, "main");
}

// A callee that changes its copy, and one that returns a structure; the results of two calls live together.
TEST(RunMachine, StructuresTravelByValue) {
    UNIT_TEXT unit{
        function_text("main",
                      "symbol \"p\" class=auto type=struct.pair\n"
                      "statement ASG:int(STDOT:int(p, FIELD:int struct.pair \"first\"), 5:int)\n"
                      "statement ASG:int(STDOT:int(p, FIELD:int struct.pair \"third\"), 7:int)\n"
                      "statement RETURN($ret, PLUS:int(PLUS:int("
                      "STDOT:int(CALL:struct.pair(UAND:twice*(@_twice), STARG:struct.pair(p)), FIELD:int "
                      "struct.pair 3),"
                      "STDOT:int(CALL:struct.pair(UAND:twice*(@_twice), STARG:struct.pair(CALL:struct.pair("
                      "UAND:twice*(@_twice), STARG:struct.pair(p)))), FIELD:int struct.pair 3)),"
                      "STDOT:int(p, FIELD:int struct.pair 3)))\n"),
        "symbol \"_twice\" class=static flags=defined+internal type=twice\n",
        std::string(PAIR) + "type twice FUNCTION return=struct.pair\npart PARAMETER type=struct.pair\n"};
    unit.functions +=
        "function @_twice\nsymbol \"q\" class=argument type=struct.pair\nbody\n"
        "symbol \"q\" class=auto type=struct.pair\nsymbol \"$ret\" class=auto type=struct.pair\n"
        "statement STASG:struct.pair(q, q')\n"
        "statement MULTASG:int(STDOT:int(q, FIELD:int struct.pair 3), 2:int)\n"
        "statement RETURN($ret, q)\nend_function\n";
    expect_value(run_unit(unit), 14 + 28 + 7);
}

// Named: an int. Unnamed: a double, which skips a word; an int; a structure; a long long, which skips one.
TEST(RunMachine, UnnamedArgumentsLieAsTheConventionSays) {
    UNIT_TEXT unit{function_text("main",
                                 "symbol \"p\" class=auto type=struct.pair\n"
                                 "statement ASG:int(STDOT:int(p, FIELD:int struct.pair 2), 30:int)\n"
                                 "statement RETURN($ret, CALL:int(UAND:walk*(@_walk), COMMA(1:int, "
                                 "FCON:double \"2\", 10:int, STARG:struct.pair(p), LCON:llong \"40\")))\n"),
                   "symbol \"_walk\" class=static flags=defined+internal type=walk\n",
                   std::string(PAIR) + "type walk FUNCTION return=int variadic\npart PARAMETER type=int\n"};
    const auto word = [](const char* type, int offset) {
        return std::string("UMULT:") + type + "(PCONV:" + type + "*(PLUS:char*(ap, " +
               std::to_string(offset) + ":int)))";
    };
    unit.functions += "function @_walk\nsymbol \"n\" class=27 type=int\nbody\n"
                      "symbol \"n\" class=auto type=int\nsymbol \"$ret\" class=auto type=int\n"
                      "symbol \"ap\" class=auto type=char*\n"
                      "statement ASG:int(n, n')\nstatement ASG:char*(ap, ARGREF:char*(n'))\n"
                      "statement RETURN($ret, PLUS:int(PLUS:int(PLUS:int(PLUS:int(n, SCONV:int(" +
                      word("double", 4) + ")), " + word("int", 12) + "), " + word("int", 20) +
                      "), SCONV:int(" + word("llong", 28) + ")))\nend_function\n";
    expect_value(run_unit(unit), 1 + 2 + 10 + 30 + 40);
    const size_t last = unit.functions.rfind("28:int");
    unit.functions.replace(last, 6, "36:int");
    expect_trap(run_unit(unit), "the end of the unnamed arguments of walk (40 bytes)");
}

TEST(RunMachine, CallsThatDoNotFitAreTraps) {
    const std::string symbols = "symbol \"_f\" class=static flags=defined+internal type=int.one\n"
                                "symbol \"_data\" class=static flags=defined+internal type=int\n"
                                "symbol \"_nowhere\" class=extern flags=called type=int.main\n";
    const std::string types = "type int.one FUNCTION return=int\npart PARAMETER type=int\n"
                              "type loose FUNCTION return=int prototyped=0\n";
    const std::string f = "function @_f\nsymbol \"n\" class=argument type=int\nbody\n"
                          "symbol \"n\" class=auto type=int\nsymbol \"$ret\" class=auto type=int\n"
                          "statement ASG:int(n, n')\nstatement RETURN($ret, n)\nend_function\n";
    const auto run = [&](const std::string& call) {
        return run_unit(
            {function_text("main", "statement RETURN($ret, " + call + ")\n") + f, symbols, types});
    };
    expect_value(run("CALL:int(UAND:loose*(@_f), 4:int)"), 4);
    expect_value(run("CALL:int(UAND:loose*(@_f), COMMA(4:int, 5:int))"), 4);
    expect_trap(run("UCALL:int(UAND:loose*(@_f))"), "f takes 1 arguments and gets 0");
    expect_trap(run("CALL:int(UAND:loose*(@_f), FCON:double \"1\")"),
                "f takes an int as argument 1 and gets a double");
    expect_trap(run("UCALL:int(PCONV:int.main*(UAND:int*(@_data)))"),
                "a call of what is no function: `data'");
    const RUN_RESULT unknown = run("UCALL:int(UAND:int.main*(@_nowhere))");
    EXPECT_EQ(unknown.outcome.kind, OUTCOME_KIND::UNSUPPORTED);
    EXPECT_THAT(unknown.outcome.message, HasSubstr("nowhere"));
}

// --- Objects ---

// Writes fields one by one, and compares the whole: what belongs to the neighbours must stay.
TEST(RunMachine, BitFields) {
    const std::string types = "type struct.bits CSU \"bits\" size=8 align=8\n"
                              "type low BITFIELD shift=0 width=3 declared=int container=uint\n"
                              "type mid BITFIELD shift=3 width=13 declared=uint container=uint\n"
                              "type high BITFIELD shift=20 width=40 declared=llong container=ullong\n"
                              "part of=struct.bits MEMBER \"low\" bitfield type=low key=1\n"
                              "part of=struct.bits MEMBER \"mid\" bitfield type=mid key=2\n"
                              "part of=struct.bits MEMBER \"high\" bitfield type=high key=3\n";
    const std::string body =
        "symbol \"b\" class=auto type=struct.bits\nsymbol \"v\" class=auto type=int\n"
        "statement ASG:ullong(UMULT:ullong(PCONV:ullong*(UAND:struct.bits*(b))), ICON:ullong 0)\n"
        "statement ASG:int(v, ASG:int(STDOT:int(b, FIELD:low struct.bits 1), 7:int))\n" // reads back -1
        "statement ASG:uint(STDOT:uint(b, FIELD:mid struct.bits 2), 8193:uint)\n"       // keeps 1
        "statement MINUSASG:llong(STDOT:llong(b, FIELD:high struct.bits 3), ICON:llong 2)\n"
        "statement RETURN($ret, ANDAND:int(EQ:int(v, -1:int), "
        "EQ:int(UMULT:ullong(PCONV:ullong*(UAND:struct.bits*(b))), "
        "LCON:ullong \"1152921504604749839\")))\n"; // 0x0FFFFFFFFFE0000F: -2 of 40 bits at 20, 1 at 3, 7 at 0
    expect_value(run_unit({function_text("main", body), "", types}), 1);
}

// A short, a gap, the address of the third word, and that of a string, which the third word is.
TEST(RunMachine, InitializersAndStrings) {
    UNIT_TEXT unit{"initializer @_list (ICON:short 258, SKIP 2, PLUS:int*(UAND:int*(@_list), 8:int), "
                   "UAND:char*(SCON:char[3] \"ab\\0\"), ENDINIT)\n"};
    const std::string head = "SCONV:int(UMULT:short(PCONV:short*(UAND:int*(@_list))))";
    const std::string third = "UMULT:int*(PCONV:int**(PLUS:int*(UAND:int*(@_list), 4:int)))";
    const std::string letter = "SCONV:int(UMULT:char(UMULT:char*(PCONV:char**(" + third + "))))";
    unit.functions +=
        function_text("main", "statement RETURN($ret, PLUS:int(" + head + ", " + letter + "))\n");
    unit.symbols = "symbol \"_list\" class=static flags=defined+internal type=int[4]\n";
    unit.types = "type int[4] ARRAY element=int count=4\n";
    expect_value(run_unit(unit), (258 + 'a') & 0xFF);
}

// --- Traps ---

TEST(RunMachine, BadAccesses) {
    const std::string symbols = "symbol \"_table\" class=static flags=defined+internal type=int[10]\n"
                                "symbol \"_fixed\" class=static flags=defined+internal type=int.const\n"
                                "symbol \"_gone\" class=extern flags=referenced type=int\n";
    const struct {
        const char* statement;
        const char* message;
    } ROWS[] = {
        {"ASG:int(UMULT:int(PLUS:int*(UAND:int*(@_table), 40:int)), 1:int)",
         "write outside of all objects: 4 bytes at the end of `table' (40 bytes)"},
        {"ASG:int(x, UMULT:int(MINUS:int*(UAND:int*(@_table), 4:int)))", "4 bytes before `table'"},
        {"ASG:int(x, UMULT:int(PCONV:int*(PLUS:char*(PCONV:char*(UAND:int*(@_table)), 2:int))))",
         "misaligned read: 4 bytes at byte 2 of `table'"},
        {"ASG:int(x, UMULT:int(0:int*))", "read through a null pointer"},
        {"ASG:int(UMULT:int(PCONV:int*(UAND:int.const*(@_fixed))), 1:int)",
         "write to a constant: 4 bytes at `fixed'"},
        {"ASG:char(UMULT:char(PCONV:char*(UAND:char.const*(SCON:char[3] \"ab\\0\"))), ICON:char 1)",
         "write to a constant: 1 byte at \"ab\""},
        {"ASG:int(x, UMULT:int(PCONV:int*(UAND:int.main*(@_main))))", "read of a function"},
        {"ASG:int(x, DIV:int(1:int, MINUS:int(x, x)))", "integer division by zero"},
        {"ASG:int(x, MOD:int(1:int, 0:int))", "integer division by zero"},
        {"UCALL:void(UAND:stop*(@___builtin_trap))", "__builtin_trap"},
    };
    for (const auto& row : ROWS) {
        const std::string body =
            std::string("symbol \"x\" class=auto type=int\nstatement ASG:int(x, 1:int)\n") +
            "statement @1:7:3 " + row.statement + "\nstatement RETURN($ret, 0:int)\n";
        const RUN_RESULT run =
            run_unit({function_text("main", body),
                      symbols + "symbol \"___builtin_trap\" class=extern flags=called type=stop\n",
                      "type int[10] ARRAY element=int count=10\ntype stop FUNCTION return=void\n"});
        expect_trap(run, row.message);
        ASSERT_EQ(run.outcome.calls.size(), 1u);
        EXPECT_EQ(run.outcome.calls[0].line, 7u) << row.statement;
    }
    const RUN_RESULT missing = run_unit({function_text("main", "statement RETURN($ret, @_gone)\n"), symbols,
                                         "type int[10] ARRAY element=int count=10\n"});
    EXPECT_EQ(missing.outcome.kind, OUTCOME_KIND::UNSUPPORTED);
    EXPECT_THAT(missing.outcome.message, HasSubstr("gone"));
}

TEST(RunMachine, LoweredAlignment) {
    const std::string types =
        "type struct.tight CSU \"tight\" size=5 align=1\n"
        "part MEMBER \"c\" type=char offset=0 key=1\npart MEMBER \"i\" type=int offset=1 key=2\n";
    const auto run = [&](const std::string& tree, bool unaligned) {
        RUN_OPTIONS options = quiet_options();
        options.unaligned = unaligned;
        return run_unit(
            {function_text("main",
                           "symbol \"t\" class=auto type=struct.tight\nsymbol \"p\" class=auto type=int*\n"
                           "statement ASG:int(STDOT:int(t, FIELD:int struct.tight 2), 9:int)\n"
                           "statement ASG:int*(p, UAND:int*(STDOT:int(t, FIELD:int struct.tight 2)))\n"
                           "statement RETURN($ret, " +
                               tree + ")\n"),
             "", types},
            options);
    };
    expect_value(run("UMULT:int(UAND:int*(STDOT:int(t, FIELD:int struct.tight 2)))", false), 9);
    expect_value(run("UMULT:int(NONALIGN:int*(p))", false), 9);
    expect_trap(run("UMULT:int(p)", false), "misaligned read");
    expect_value(run("UMULT:int(p)", true), 9);
}

// --- Blocks ---

TEST(RunMachine, ObjectsEndWithTheirBlocks) {
    const std::string open =
        "symbol \"p\" class=auto type=int*\nblock @1:2:1\nsymbol \"x\" class=auto type=int\n"
        "statement ASG:int*(p, UAND:int*(x))\nstatement ASG:int(x, 5:int)\n";
    expect_trap(run_main(open + "end_block @1:3:1\nstatement RETURN($ret, UMULT:int(p))\n"),
                "`x' of main (4 bytes), whose block has ended");
    expect_trap(
        run_main(open +
                 "statement BRANCH(LABEL 1)\nend_block @1:3:1\nstatement RETURN($ret, 1:int)\nlabel 1\n"
                 "statement RETURN($ret, UMULT:int(p))\n"),
        "whose block has ended"); // left by a jump
    // A jump into the block begins its object's life, one within it leaves it alone.
    expect_value(
        run_main("symbol \"n\" class=auto type=int\nstatement ASG:int(n, 0:int)\n"
                 "statement BRANCH(LABEL 1)\nblock @1:2:1\nsymbol \"x\" class=auto type=int\n"
                 "label 1\nstatement ASG:int(UMULT:int(UAND:int*(x)), 3:int)\n"
                 "label 2\nstatement PLUSASG:int(n, UMULT:int(UAND:int*(x)))\n"
                 "statement IF(LT:int(n, 9:int), COMMA(LABEL 2, LABEL 3))\nlabel 3\nend_block @1:3:1\n"
                 "statement RETURN($ret, n)\n"),
        9);
}

TEST(RunMachine, VariablesOfACallEndWithIt) {
    UNIT_TEXT unit{
        function_text("main", "statement RETURN($ret, UMULT:int(UCALL:int*(UAND:leak*(@_leak))))\n") +
            function_text("leak", "symbol \"x\" class=auto type=int\nstatement RETURN($ret, UAND:int*(x))\n",
                          "int*"),
        "symbol \"_leak\" class=static flags=defined+internal type=leak\n",
        "type leak FUNCTION return=int*\n"};
    expect_trap(run_unit(unit), "`x' of leak (4 bytes), which has returned");
}

// What nobody wrote reads as the fill.
TEST(RunMachine, Fill) {
    RUN_OPTIONS options = quiet_options();
    const std::string body = "symbol \"a\" class=auto type=schar\nsymbol \"b\" class=auto type=schar\n"
                             "statement RETURN($ret, ANDAND:int(EQ:int(a, UMULT:schar(UAND:schar*(b))), "
                             "EQ:int(SCONV:int(a), ";
    expect_value(run_main(body + "-91:int)))\n", options), 1);
    options.fill = 0x12;
    expect_value(run_main(body + "18:int)))\n", options), 1);
}

// --- Jumps across calls, memory of alloca ---

const char JUMPS[] = "symbol \"_buffer\" class=static flags=defined+internal type=int[40]\n"
                     "symbol \"_setjmp\" class=extern flags=called type=set\n"
                     "symbol \"_longjmp\" class=extern flags=called type=jump\n"
                     "symbol \"_deep\" class=static flags=defined+internal type=deep\n";
const char JUMP_TYPES[] =
    "type int[40] ARRAY element=int count=40\n"
    "type set FUNCTION return=int attributes=8\npart PARAMETER type=int*\n"
    "type jump FUNCTION return=void\npart PARAMETER type=int*\npart PARAMETER type=int\n"
    "type deep FUNCTION return=void\npart PARAMETER type=int\n";
const char SET[] = "CALL:int(UAND:set*(@_setjmp), UAND:int*(@_buffer))";
const char DEEP[] =
    "function @_deep\nsymbol \"n\" class=argument type=int\nbody\nsymbol \"n\" class=auto type=int\n"
    "statement ASG:int(n, n')\nstatement IF(n, COMMA(LABEL 1, LABEL 2))\n"
    "label 1\nstatement CALL:void(UAND:deep*(@_deep), MINUS:int(n, 1:int))\nlabel 2\n"
    "statement CALL:void(UAND:jump*(@_longjmp), COMMA(UAND:int*(@_buffer), 0:int))\nend_function\n";

TEST(RunMachine, LongjmpUnwindsToItsCall) {
    const std::string body =
        std::string("symbol \"n\" class=auto type=int\nstatement ASG:int(n, 40:int)\nstatement IF(") + SET +
        ", COMMA(LABEL 2, LABEL 1))\nlabel 1\nstatement PLUSASG:int(n, 2:int)\n"
        "statement CALL:void(UAND:deep*(@_deep), 20:int)\nlabel 2\nstatement RETURN($ret, n)\n";
    expect_value(run_unit({function_text("main", body) + DEEP, JUMPS, JUMP_TYPES}), 42);
}

TEST(RunMachine, LongjmpIntoNothing) {
    const std::string call =
        "statement CALL:void(UAND:deep*(@_deep), 0:int)\nstatement RETURN($ret, 1:int)\n";
    expect_trap(run_unit({function_text("main", call) + DEEP, JUMPS, JUMP_TYPES}), "what setjmp has not set");
    const UNIT_TEXT unit{
        function_text("main", "statement UCALL:int(UAND:int.main*(@_sets))\n" + call) + DEEP +
            function_text("sets", std::string("statement RETURN($ret, ") + SET + ")\n"),
        std::string(JUMPS) + "symbol \"_sets\" class=static flags=defined+internal type=int.main\n",
        JUMP_TYPES};
    expect_trap(run_unit(unit), "into a call that has returned");
}

TEST(RunMachine, Alloca) {
    const std::string symbols =
        "symbol \"___builtin_alloca\" class=extern flags=called type=take\n"
        "symbol \"___builtin_stack_save\" class=extern flags=called type=save\n"
        "symbol \"___builtin_stack_restore\" class=extern flags=called type=restore\n";
    const std::string types =
        "type take FUNCTION return=void*\npart PARAMETER type=uint\n"
        "type save FUNCTION return=void*\ntype restore FUNCTION return=void\npart PARAMETER type=void*\n";
    const std::string body =
        "symbol \"p\" class=auto type=int*\nsymbol \"q\" class=auto type=int*\nsymbol \"s\" class=auto "
        "type=void*\n"
        "statement ASG:int*(p, PCONV:int*(CALL:void*(UAND:take*(@___builtin_alloca), 8:uint)))\n"
        "statement ASG:void*(s, UCALL:void*(UAND:save*(@___builtin_stack_save)))\n"
        "statement ASG:int*(q, PCONV:int*(CALL:void*(UAND:take*(@___builtin_alloca), 8:uint)))\n"
        "statement ASG:int(UMULT:int(p), 3:int)\nstatement ASG:int(UMULT:int(q), 4:int)\n"
        "statement CALL:void(UAND:restore*(@___builtin_stack_restore), s)\n";
    expect_value(
        run_unit({function_text("main", body + "statement RETURN($ret, UMULT:int(p))\n"), symbols, types}),
        3);
    expect_trap(
        run_unit({function_text("main", body + "statement RETURN($ret, UMULT:int(q))\n"), symbols, types}),
        "memory of alloca (8 bytes), which has returned");
}

// Outputs have what the inputs that lie in the same registers have: an int, and a long long by its address.
TEST(RunMachine, AssemblyWithoutAText) {
    const std::string body =
        "symbol \"x\" class=auto type=int\nsymbol \"l\" class=auto type=llong\n"
        "statement ASG:int(x, CALL:int(UAND:keep*(@___builtin_asm$1), COMMA(UAND:llong*(l), 5:int, "
        "LCON:llong \"8589934592\")))\n"
        "statement RETURN($ret, PLUS:int(x, SCONV:int(SRL:llong(l, 32:int))))\n";
    const auto run = [&](const std::string& text) {
        return run_unit({function_text("main", body),
                         "symbol \"___builtin_asm$1\" class=extern flags=called type=keep\n"
                         "pragma 1 \"assembly\" \"" +
                             text + "\" \"=r\" \"=r\" \"0\" \"1\" \"~memory\"\n",
                         "type keep FUNCTION return=int\npart PARAMETER type=llong*\n"
                         "part PARAMETER type=int\npart PARAMETER type=llong\n"});
    };
    expect_value(run(" "), 7);
    const RUN_RESULT unknown = run("nop");
    EXPECT_EQ(unknown.outcome.kind, OUTCOME_KIND::UNSUPPORTED);
    EXPECT_EQ(unknown.outcome.message, "assembly");
}

// --- Limits, counts, loading ---

const char LOOP[] = "symbol \"i\" class=auto type=int\nstatement ASG:int(i, 0:int)\n"
                    "label 1\nstatement IF(LT:int(i, 10:int), COMMA(LABEL 2, LABEL 3))\n"
                    "label 2\nstatement PLUSASG:int(@_total, i)\nstatement PLUSPLUS:int(i, 1:int)\nstatement "
                    "BRANCH(LABEL 1)\n"
                    "label 3\nstatement RETURN($ret, @_total)\n";

TEST(RunMachine, CountsAndSteps) {
    const UNIT_TEXT unit{function_text("main", LOOP),
                         "symbol \"_total\" class=static flags=defined+internal type=int\n"};
    RUN_OPTIONS options = quiet_options();
    options.statistics = true;
    const RUN_RESULT run = run_unit(unit, options);
    expect_value(run, 45);
    // ASG; 11 times IF and LT; 10 times +=, ++ and the branch; RETURN.
    EXPECT_EQ(run.counts.operations, 1u + 22 + 30 + 1);
    EXPECT_EQ(run.counts.loads, 11u);
    EXPECT_EQ(run.counts.stores, 10u);
    EXPECT_EQ(run.counts.branches, 21u);
    ASSERT_EQ(run.functions.size(), 1u);
    EXPECT_EQ(run.functions[0].name, "main");
    EXPECT_EQ(run.opcodes[OP_PLUSASG], 10u);
    options.steps = 54;
    expect_value(run_unit(unit, options), 45);
    options.steps = 53;
    EXPECT_EQ(run_unit(unit, options).outcome.kind, OUTCOME_KIND::LIMIT);
}

TEST(RunMachine, SeveralProgramsLiveAtOnce) {
    const Program first =
        load_text(UNIT_TEXT{function_text("main", "statement RETURN($ret, 1:int)\n")}.text());
    std::string message;
    EXPECT_EQ(load_bytes("no icode", message), nullptr);
    EXPECT_EQ(message, "t.if: not an icode file");
    std::string damaged =
        assemble_icode(UNIT_TEXT{function_text("main", LOOP), "symbol \"_total\" class=static "
                                                              "flags=defined+internal type=int\n"}
                           .text(),
                       "t")
            .bytes;
    damaged.resize(damaged.size() / 2);
    EXPECT_EQ(load_bytes(damaged, message), nullptr);
    EXPECT_THAT(message, HasSubstr("t.if: offset 0x"));
    const Program second =
        load_text(UNIT_TEXT{function_text("main", "statement RETURN($ret, 2:int)\n")}.text());
    expect_value(run_program(*first, quiet_options()), 1);
    expect_value(run_program(*second, quiet_options()), 2);
    expect_value(run_program(*first, quiet_options()), 1);
}

TEST(RunMachine, MainGetsItsArguments) {
    const std::string main =
        "function @_main\nsymbol \"n\" class=argument type=int\nsymbol \"v\" class=argument "
        "type=char**\nbody\n"
        "symbol \"n\" class=auto type=int\nsymbol \"v\" class=auto type=char**\nsymbol \"$ret\" class=auto "
        "type=int\n"
        "statement PCOMMA(ASG:int(n, n'), ASG:char**(v, v'))\n"
        "statement RETURN($ret, PLUS:int(MULT:int(n, 10:int), "
        "PLUS:int(EXCLAIM:int(UMULT:char*(PLUS:char**(v, 8:int))), "
        "EQ:int(UMULT:char(UMULT:char*(PLUS:char**(v, 4:int))), ICON:char 120))))\nend_function\n";
    const std::string text =
        "header \"t.c\"\n" + main +
        "end\nsection types\ntype both FUNCTION return=int\npart PARAMETER type=int\n"
        "part PARAMETER type=char**\nend\nsection file_names\nfile_name \"t.c\"\nend\nsection symbols\n"
        "symbol \"_main\" class=extdef flags=defined type=both\nend\n";
    RUN_OPTIONS options = quiet_options();
    options.arguments = {"t", "x"};
    expect_value(run_text(text, options), 22);
}

// --- Comparisons ---

COMPARISON compare_texts(const std::string& a, const std::string& b, std::string& text) {
    const std::string symbols = "symbol \"_flag\" class=static flags=defined+internal type=int.volatile\n"
                                "symbol \"_x\" class=static flags=defined+internal type=int\n"
                                "symbol \"_puts\" class=extern flags=called type=show\n";
    const std::string types = "type show FUNCTION return=int\npart PARAMETER type=char*\n";
    const Program first = load_text(UNIT_TEXT{function_text("main", a), symbols, types}.text());
    const Program second = load_text(UNIT_TEXT{function_text("main", b), symbols, types}.text());
    return compare_runs(*first, *second, quiet_options(), text);
}

TEST(RunMachine, Comparisons) {
    std::string text;
    const std::string end = "statement RETURN($ret, 0:int)\n";
    const std::string write = "statement @1:3:1 ASG:int.volatile(@_flag, 1:int)\n";
    const std::string put =
        "statement @1:4:1 CALL:int(UAND:show*(@_puts), UAND:char*(SCON:char[2] \"a\\0\"))\n";
    EXPECT_EQ(
        compare_texts(write + put + end, write + put + "statement BRANCH(LABEL 1)\nlabel 1\n" + end, text),
        COMPARISON::SAME);
    EXPECT_EQ(compare_texts(put + write + end, write + put + end, text), COMPARISON::DIFFERENT);
    EXPECT_THAT(text, HasSubstr("different at event 1"));
    EXPECT_THAT(text, HasSubstr("volatile write flag <- 1 (4 bytes)\n    in main, t.c:3:1"));
    // An integer is shown as one, also when it happens to be the address of a variable.
    const std::string room = "symbol \"room\" class=auto type=char[65536]\n"
                             "symbol \"p\" class=auto type=char*\nstatement ASG:char*(p, UAND:char*(room))\n";
    const std::string number = "statement @1:5:1 ASG:int.volatile(@_flag, 1610614000:int)\n";
    EXPECT_EQ(compare_texts(room + number + end, room + write + end, text), COMPARISON::DIFFERENT);
    EXPECT_THAT(text, HasSubstr("volatile write flag <- 1610614000 (4 bytes)"));
    EXPECT_EQ(compare_texts(write + write + end, write + end, text), COMPARISON::DIFFERENT);
    EXPECT_THAT(text, HasSubstr("exits with 0"));
    EXPECT_EQ(compare_texts(end, "statement RETURN($ret, 1:int)\n", text), COMPARISON::DIFFERENT);
    const std::string trap = "statement ASG:int(@_x, DIV:int(1:int, @_x))\n";
    EXPECT_EQ(compare_texts(trap + end, end, text), COMPARISON::UNDECIDED);
    EXPECT_EQ(compare_texts(end, trap + end, text), COMPARISON::DIFFERENT);
    EXPECT_THAT(text, HasSubstr("division by zero"));
    // What nobody wrote may be anything, so nothing can be said of a program that shows it.
    const std::string unwritten = "symbol \"u\" class=auto type=int\n";
    EXPECT_EQ(compare_texts(unwritten + "statement RETURN($ret, u)\n", end, text), COMPARISON::UNDECIDED);
    EXPECT_THAT(text, HasSubstr("a variable that nobody has written"));
    // A string that only the second program has moves nothing of the first one's.
    const std::string shown = "statement CALL:int(UAND:show*(@_puts), PCONV:char*(UAND:int*(@_x)))\n";
    EXPECT_EQ(
        compare_texts(shown + end,
                      "statement ASG:int(@_x, SCONV:int(UMULT:char(UAND:char*(SCON:char[2] \"\\0\\0\"))))\n" +
                          shown + end,
                      text),
        COMPARISON::SAME)
        << text;
}

} // namespace
} // namespace pelorus
