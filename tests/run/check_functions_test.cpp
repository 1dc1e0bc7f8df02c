// The check of functions: a flag that is wrong is found, and what flags allow is let pass.
#include "icode-run/program.h"
#include "ir/funinfo.h"
#include "run/run_fixture.h"

namespace pelorus {
namespace {

// main passes the address of its variable x to f, of one variable of the heap and of the global g.
std::string unit_of(const std::string& body, const std::string& main_body) {
    const std::string parameter = "symbol \"p\" class=argument type=int*\n";
    const std::string f = "function @_f @1:1:1\n" + parameter +
                          "body\nsymbol \"p\" class=auto type=int*\nsymbol \"$ret\" class=auto type=int*\n"
                          "symbol \"x\" class=auto type=int\nsymbol \"w\" class=auto type=int.volatile\n"
                          "statement @1:2:1 ASG:int*(p, p')\n" +
                          body + "end_function @1:9:1\n";
    const std::string main_text = "symbol \"x\" class=auto type=int\nsymbol \"b\" class=auto type=int*\n" +
                                  main_body + "statement @2:9:1 RETURN($ret, 7:int)\n";
    return UNIT_TEXT{f + function_text("main", main_text),
                     "symbol \"_f\" class=extdef flags=defined type=f\n"
                     "symbol \"_g\" class=extdef flags=defined type=int\n"
                     "symbol \"_gp\" class=extdef flags=defined type=int*\n"
                     "symbol \"_k\" class=extdef flags=defined type=int.const\n"
                     "symbol \"_malloc\" class=extern type=m\nsymbol \"_setjmp\" class=extern type=m\n"
                     "symbol \"_putchar\" class=extern type=i\n",
                     "type f FUNCTION return=int*\npart PARAMETER type=int*\n"
                     "type m FUNCTION return=int* prototyped=0\n"
                     "type i FUNCTION return=int\npart PARAMETER type=int\n"}
        .text();
}

const char CALL_WITH_X[] = "statement @2:1:1 CALL:int*(UAND:f*(@_f), UAND:int*(x))\n";

RUN_RESULT run_planted(const std::string& body, uint32_t flags, const std::string& main_body = CALL_WITH_X) {
    const ASSEMBLY assembly = assemble_icode(unit_of(body, main_body), "t.ict");
    EXPECT_TRUE(assembly.good) << assembly.error;
    std::string message;
    FILE* stream = fmemopen(const_cast<char*>(assembly.bytes.data()), assembly.bytes.size(), "rb");
    const Program program(load_program(stream, "t.if", message, true));
    if (!program) return {};
    expect_value(run_program(*program, quiet_options()), 7); // with the flags that were found
    program->functions[0].flags |= flags;
    return run_program(*program, quiet_options());
}

void expect_broken(const RUN_RESULT& run, const std::string& message) {
    EXPECT_EQ(run.outcome.kind, OUTCOME_KIND::BROKEN) << message;
    EXPECT_THAT(run.outcome.message, testing::HasSubstr(message));
}

std::string statement(const std::string& tree) { return "statement @1:3:1 " + tree + "\n"; }

TEST(CheckFunctions, AccessesByNameAndAddress) {
    const std::string store = statement("ASG:int(@_g, 1:int)");
    expect_broken(run_planted(store, FUN_no_global_asg),
                  "f has FUN_no_global_asg, and writes 4 bytes at `g'");
    expect_broken(run_planted(statement("ASG:int(x, @_g)"), FUN_no_global_use),
                  "f has FUN_no_global_use, and reads 4 bytes at `g'");
    expect_value(run_planted(statement("ASG:int(x, @_k)"), FUN_no_global_use), 7); // a constant
    expect_value(run_planted(store, FUN_no_ind_asg | FUN_no_byref_asg), 7);
    const std::string indirect = statement("ASG:int(UMULT:int(p), UMULT:int(p))");
    expect_broken(run_planted(indirect, FUN_no_ind_asg),
                  "f has FUN_no_ind_asg, and writes 4 bytes at `x' of main");
    expect_broken(run_planted(indirect, FUN_no_ind_use),
                  "f has FUN_no_ind_use, and reads 4 bytes at `x' of main");
    const std::string with_global = "statement @2:1:1 CALL:int*(UAND:f*(@_f), UAND:int*(@_g))\n";
    expect_broken(run_planted(indirect, FUN_no_global_asg | FUN_no_ind_asg, with_global),
                  "f has FUN_no_global_asg and FUN_no_ind_asg");
    const std::string with_block =
        "statement @2:1:1 CALL:int*(UAND:f*(@_f), CALL:int*(UAND:m*(@_malloc), 4:int))\n";
    expect_broken(run_planted(indirect, FUN_no_ind_asg, with_block), "at block 1 of the heap");
    const std::string own = statement("ASG:int*(p, UAND:int*(x))") + indirect;
    expect_value(run_planted(own, FUN_no_ind_asg | FUN_no_ind_use), 7);
}

TEST(CheckFunctions, AddressesThatAreLent) {
    expect_broken(run_planted(statement("ASG:int(UMULT:int(p), 1:int)"), FUN_no_byref_asg),
                  "f has FUN_no_byref_asg, and writes 4 bytes at `x' of main");
    expect_broken(run_planted(statement("ASG:int*(@_gp, p)"), FUN_no_byref_asg),
                  "stores the address of `x' of main (4 bytes) at `gp'");
    expect_broken(run_planted(statement("RETURN($ret, p)"), FUN_no_byref_asg),
                  "returns the address of `x' of main");
    const std::string known = "statement @2:1:1 ASG:int*(@_gp, UAND:int*(x))\n" + std::string(CALL_WITH_X);
    expect_value(run_planted(statement("ASG:int(UMULT:int(@_gp), 1:int)"), FUN_no_byref_asg, known), 7);
    expect_value(run_planted(statement("ASG:int*(p, PLUS:int*(p, 4:int))"), FUN_no_byref_asg), 7);
}

TEST(CheckFunctions, ReturnsAndWaysBack) {
    expect_broken(run_planted("", FUN_never_returns), "f has FUN_never_returns, and returns");
    expect_broken(run_planted(statement("ASG:int(w, 1:int)"), FUN_is_pure_fun),
                  "f has FUN_is_pure_fun, and writes a volatile object");
    expect_broken(run_planted(statement("CALL:int(UAND:i*(@_putchar), 65:int)"), FUN_is_pure_fun),
                  "the world sees");
    const std::string loop = statement("ASG:int(x, 3:int)") + "label 1\n" +
                             statement("IF(MINMIN:int(x, 1:int), COMMA(LABEL 1, LABEL 2))") + "label 2\n";
    expect_broken(run_planted(loop, FUN_no_RPT_loop), "f has FUN_no_RPT_loop, and goes round");
}

TEST(CheckFunctions, NothingIsCheckedUnlessAsked) {
    const Program program = load_text(unit_of(statement("ASG:int(@_g, 1:int)"), CALL_WITH_X));
    program->functions[0].flags = FUN_no_global_asg | FUN_never_returns;
    expect_value(run_program(*program, quiet_options()), 7);
}

} // namespace
} // namespace pelorus
