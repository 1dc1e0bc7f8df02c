// What is found out of functions' bodies: each flag where it is true, and where it just is not.
#include "ipa/function_effects.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

#include "icode/text_form.h"
#include "icode/unit_client.h"
#include "ir/symbol.h"
#include "support/fresh_state.h"

namespace pelorus {
namespace {

// A letter for each flag, in the order in which cases name them.
struct LETTER {
    char letter;
    uint32_t flag;
};
constexpr LETTER LETTERS[] = {{'G', FUN_no_global_asg}, {'g', FUN_no_global_use}, {'I', FUN_no_ind_asg},
                              {'i', FUN_no_ind_use},    {'B', FUN_no_byref_asg},  {'P', FUN_is_pure_fun},
                              {'N', FUN_never_returns}, {'1', FUN_has_1_BB},      {'R', FUN_no_RPT_loop}};

std::string letters_of(uint32_t flags) {
    std::string text;
    for (const LETTER& letter : LETTERS)
        if (flags & letter.flag) text += letter.letter;
    return text;
}

std::string function_text(const std::string& name, const std::string& parameters, const std::string& body) {
    std::string text = "function @_" + name + " @1:1:1\n" + parameters + "body\n";
    std::string homes = parameters;
    for (size_t at = 0; (at = homes.find("argument", at)) != std::string::npos;) homes.replace(at, 8, "auto");
    return text + homes + "symbol \"$ret\" class=auto type=int\n" + body + "end_function @1:9:1\n";
}

constexpr char POINTER_PARAMETER[] = "symbol \"p\" class=argument type=int*\n";
constexpr char ALL_PARAMETERS[] = "symbol \"n\" class=argument type=int\n"
                                  "symbol \"p\" class=argument type=int*\n"
                                  "symbol \"s\" class=argument type=struct.s\n";

std::string pointer_function(const std::string& name, const std::string& body) {
    return function_text(name, POINTER_PARAMETER, "statement ASG:int*(p, p')\n" + body);
}

// int f(int n, int *p, struct s s) with the body, and what it calls.
std::string unit_text(const std::string& body) {
    std::string text = "header \"t.c\"\n";
    text += function_text("f", ALL_PARAMETERS,
                          "symbol \"x\" class=auto type=int\nsymbol \"q\" class=auto type=int*\n"
                          "symbol \"a\" class=auto type=int[4]\nsymbol \"t\" class=auto type=struct.s\n"
                          "statement PCOMMA(ASG:int(n, n'), ASG:int*(p, p'), STASG:struct.s(s, s'))\n" +
                              body);
    text += pointer_function("set", "statement ASG:int(UMULT:int(p), 1:int)\n");
    text += pointer_function("get", "statement RETURN($ret, UMULT:int(p))\n");
    text += pointer_function("keep", "statement ASG:int*(@_gp, p)\n");
    text += pointer_function("pass", "statement CALL:int(UAND:fn*(@_keep), p)\n");
    text += function_text("weak", "", "statement RETURN($ret, 1:int)\n");
    text += function_text("stop", "", "label 1\nstatement BRANCH(LABEL 1)\n");
    text += function_text("stops_through", "", "statement UCALL:int(UAND:fv*(@_stop))\n");
    text += function_text("odd", "", "statement RETURN($ret, UCALL:int(UAND:fv*(@_even)))\n");
    text += function_text(
        "even", "", "statement ASG:int(@_g, 1:int)\nstatement RETURN($ret, UCALL:int(UAND:fv*(@_odd)))\n");
    text += "initializer @_k (3:int, ENDINIT)\n";
    return text + R"(end
section types
type struct.s CSU "s" size=8 align=4
    part MEMBER "q" type=int*
    part MEMBER "m" type=int offset=4
type fn FUNCTION return=int
    part PARAMETER type=int*
type fv FUNCTION return=int
type ff FUNCTION return=int
    part PARAMETER type=int
    part PARAMETER type=int*
    part PARAMETER type=struct.s
type old FUNCTION return=int prototyped=0
end
section file_names
file_name "t.c"
end
section symbols
symbol "_g" class=static flags=defined+internal type=int
symbol "_gp" class=extdef flags=defined type=int*
symbol "_k" class=static flags=defined+internal type=int.const
symbol "_v" class=extdef flags=defined type=int.volatile
symbol "_b" class=extdef flags=defined type=struct.s
symbol "_f" class=extdef flags=defined type=ff
symbol "_set" class=extdef flags=defined type=fn
symbol "_get" class=extdef flags=defined type=fn
symbol "_keep" class=extdef flags=defined type=fn
symbol "_pass" class=extdef flags=defined type=fn
symbol "_weak" class=extdef flags=defined+weak type=fv
symbol "_stop" class=extdef flags=defined type=fv
symbol "_stops_through" class=extdef flags=defined type=fv
symbol "_odd" class=extdef flags=defined type=fv
symbol "_even" class=extdef flags=defined type=fv
symbol "_unknown" class=extern type=fv
symbol "_reads_text" class=extern type=fn
symbol "_fabs" class=extern type=fv
symbol "_labs" class=extern type=fv
    pragma 1 "asm" "something_else"
symbol "_die" class=extern flags=noreturn type=fv
symbol "_exit" class=extern type=fv
end
)";
}

// What the names of functions that are not defined say, as the file-level analysis sets it.
void classify() {
    constexpr uint32_t OF_LIBRARY = FUN_is_SYSTEM | FUN_no_global_asg | FUN_no_global_use;
    constexpr uint32_t READS = OF_LIBRARY | FUN_no_byref_asg | FUN_no_ind_asg;
    const std::map<std::string, uint32_t> NAMES = {{"_reads_text", READS},
                                                   {"_fabs", READS | FUN_no_ind_use | FUN_is_pure_fun},
                                                   {"_labs", READS | FUN_no_ind_use | FUN_is_pure_fun},
                                                   {"_exit", OF_LIBRARY | FUN_never_returns}};
    for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next)
        if (const auto found = NAMES.find(symbol->name); found != NAMES.end()) {
            symbol->funinfo = get_funinfo(symbol->name);
            symbol->funinfo->flags |= found->second;
        }
}

void function_read(void*) {
    note_function_effects(*function.info);
    clear_function();
    release_local_zone();
}

// The letters of `name` in the unit of this body.
std::string found_flags(const std::string& body, const char* name = "f") {
    TYPE_PKG types;
    fresh_state(types);
    clear_function_effects();
    const ASSEMBLY assembly = assemble_icode(unit_text(body), "t.ict");
    EXPECT_TRUE(assembly.good) << assembly.error;
    FILE* stream = fmemopen(const_cast<char*>(assembly.bytes.data()), assembly.bytes.size(), "rb");
    UNIT_CLIENT unit{function_read, nullptr, nullptr, nullptr};
    ICODE_READER* reader = open_icode(stream, "t.if", unit_icode_client(unit));
    if (!reader) return "unreadable";
    register_own_opcodes();
    read_whole_file(*reader);
    classify();
    find_function_effects();
    const std::string letters = letters_of(find_funinfo(name)->flags);
    close_icode(reader);
    fresh_state(types);
    return letters;
}

// Of a body that returns its last value.
std::string of_value(const std::string& value, const std::string& before = "") {
    return found_flags(before + "statement RETURN($ret, " + value + ")\n");
}
std::string of_statement(const std::string& statement, const std::string& before = "") {
    return of_value("1:int", before + "statement " + statement + "\n");
}

TEST(FunctionEffects, NamedObjects) {
    EXPECT_EQ(of_value("PLUS:int(n, @_k)"), "GgIiBP1R") << "constants may be read";
    EXPECT_EQ(of_value("@_g"), "GIiB1R");
    EXPECT_EQ(of_statement("ASG:int(@_g, n)"), "gIiB1R");
    EXPECT_EQ(of_statement("PLUSASG:int(@_g, n)"), "IiB1R");
    EXPECT_EQ(of_statement("ASG:int(UMULT:int(PLUS:int*(UAND:int*(@_g), n)), 1:int)"), "gIiB1R")
        << "an address that is made of a name";
    EXPECT_EQ(of_statement("ASG:int(STDOT:int(@_b, FIELD:int struct.s \"m\"), n)"), "gIiB1R");
    EXPECT_EQ(of_statement("ASG:int(UMULT:int(q), n)", "statement ASG:int*(q, UAND:int*(@_g))\n"), "gIiB1R")
        << "through a variable that holds it";
    EXPECT_EQ(of_statement("ASG:int*(q, UAND:int*(@_g))"), "GgIiBP1R") << "an address alone is no access";
    EXPECT_EQ(of_statement("ASSERT(EQ:int(@_g, 1:int))"), "GgIiBP1R") << "it is not evaluated";
}

TEST(FunctionEffects, Pointers) {
    EXPECT_EQ(of_value("UMULT:int(p)"), "GgIB1R");
    EXPECT_EQ(of_statement("ASG:int(UMULT:int(p), 1:int)"), "Ggi1R");
    EXPECT_EQ(of_statement("ASG:int(UMULT:int(PLUS:int*(p, n)), 1:int)"), "Ggi1R");
    EXPECT_EQ(of_statement("ASG:int(UMULT:int(@_gp), 1:int)"), "GiB1R");
    EXPECT_EQ(of_statement("ASG:int(UMULT:int(PCONV:int*(n)), 1:int)"), "GgiB1R")
        << "a number that was made an address is nobody's argument";
    EXPECT_EQ(of_statement("ASG:int(UMULT:int(PCONV:int*(PLUS:int(PCONV:int(p), 4:int))), 1:int)"), "Ggi1R")
        << "unless it was made of one";
    EXPECT_EQ(of_statement("ASG:int(UMULT:int(4096:int*), 1:int)"), "GgiB1R");
    EXPECT_EQ(of_statement("ASG:int(UMULT:int(PLUS:int*(PCONV:int*(0:int), PCONV:int(p))), 1:int)"), "Ggi1R");
    EXPECT_EQ(of_statement("ASG:int(UMULT:int(STDOT:int*(s, FIELD:int* struct.s \"q\")), 1:int)"), "Ggi1R")
        << "a structure is passed with what it holds";
    EXPECT_EQ(of_value("STDOT:int(s, FIELD:int struct.s \"m\")"), "GgIiBP1R") << "the structure is our own";
}

TEST(FunctionEffects, OwnVariables) {
    EXPECT_EQ(of_value("UMULT:int(UAND:int*(a))",
                       "statement ASG:int(UMULT:int(PLUS:int*(UAND:int*(a), n)), 1:int)\n"),
              "GgIiBP1R");
    EXPECT_EQ(of_value("UMULT:int(q)", "statement ASG:int*(q, UAND:int*(x))\n"
                                       "statement ASG:int(UMULT:int(q), n)\n"),
              "GgIiBP1R");
    EXPECT_EQ(of_value("x", "statement ASG:int(x, 1:int)\n"
                            "statement CALL:int(UAND:fn*(@_set), UAND:int*(x))\n"),
              "GgIiBP1R")
        << "what a callee stores there is nobody else's business";
    EXPECT_EQ(of_statement("CALL:int(UAND:fn*(@_set), p)"), "Ggi1R");
    EXPECT_EQ(of_statement("CALL:int(UAND:fn*(@_set), UAND:int*(@_g))"), "gIiB1R");
    EXPECT_EQ(of_statement("CALL:int(UAND:fn*(@_set), @_gp)"), "GiB1R");
    EXPECT_EQ(of_value("CALL:int(UAND:fn*(@_get), UAND:int*(@_g))"), "GIiB1R");
    EXPECT_EQ(of_value("CALL:int(UAND:fn*(@_get), p)"), "GgIB1R");
}

TEST(FunctionEffects, KeptAddresses) {
    EXPECT_EQ(of_statement("ASG:int*(@_gp, p)"), "gIi1R");
    EXPECT_EQ(of_statement("ASG:int*(@_gp, q)", "statement ASG:int*(q, PLUS:int*(p, 4:int))\n"), "gIi1R");
    EXPECT_EQ(of_statement("STASG:struct.s(@_b, s)"), "gIi1R");
    EXPECT_EQ(of_statement("ASG:int(@_g, STDOT:int(s, FIELD:int struct.s \"m\"))"), "gIiB1R")
        << "a number is no address that was passed";
    EXPECT_EQ(of_value("PCONV:int(p)"), "GgIiP1R") << "a result is known to the caller";
    EXPECT_EQ(of_value("UMULT:int(p)"), "GgIB1R") << "what lies there is no address of it";
    EXPECT_EQ(of_value("SCONV:int(NEQ:int(p, q))"), "GgIiBP1R") << "nor is a comparison";
    EXPECT_EQ(of_value("MINUS:int(p, q)", "statement ASG:int*(q, p)\n"), "GgIiBP1R") << "nor a distance";
    EXPECT_EQ(of_statement("CALL:int(UAND:fn*(@_get), p)"), "GgIB1R");
    EXPECT_EQ(of_statement("CALL:int(UAND:fn*(@_keep), p)"), "gIi1R");
    EXPECT_EQ(of_statement("CALL:int(UAND:fn*(@_pass), p)"), "gIi1R");
    EXPECT_EQ(of_statement("CALL:int(UAND:fn*(@_keep), UAND:int*(x))"), "gIiB1R") << "no address of ours";
    EXPECT_EQ(of_statement("ASG:int*(STDOT:int*(t, FIELD:int* struct.s \"q\"), p)"), "GgIiBP1R");
    EXPECT_EQ(of_statement("CALL:int(UAND:fn*(@_get), PCONV:int*(UAND:struct.s*(t)))",
                           "statement ASG:int*(STDOT:int*(t, FIELD:int* struct.s \"q\"), p)\n"),
              "GgIiP1R")
        << "in a variable that others can look into";
    EXPECT_EQ(of_statement("CALL:int(UAND:old*(@_get), p)"), "1R") << "by another prototype";
}

TEST(FunctionEffects, OtherCode) {
    EXPECT_EQ(of_statement("UCALL:int(UAND:fv*(@_unknown))"), "B1R");
    EXPECT_EQ(of_statement("CALL:int(PCONV:fn*(p), p)"), "1R") << "through a pointer";
    EXPECT_EQ(of_statement("UCALL:int(UAND:fv*(@_weak))"), "B1R") << "others may replace it";
    EXPECT_EQ(found_flags("statement RETURN($ret, 1:int)\n", "weak"), "");
    EXPECT_EQ(found_flags("assembly \"nop\"\nstatement RETURN($ret, 1:int)\n"), "1R");
    EXPECT_EQ(found_flags("comment \"nop\"\nstatement RETURN($ret, 1:int)\n"), "GgIiBP1R");
    EXPECT_EQ(of_value("UCALL:int(UAND:fv*(@_fabs))"), "GgIiBP1R");
    EXPECT_EQ(of_value("UCALL:int(UAND:fv*(@_labs))"), "B1R") << "another function under that name";
    EXPECT_EQ(of_value("CALL:int(UAND:fn*(@_reads_text), p)"), "GgIB1R");
    EXPECT_EQ(of_value("CALL:int(UAND:fn*(@_reads_text), UAND:int*(x))"), "GgIiB1R");
    EXPECT_EQ(of_value("CALL:int(UAND:fn*(@_reads_text), PCONV:int*(UAND:fv*(@_fabs)))"), "GgIiB1R");
    EXPECT_EQ(of_statement("ASG:int(@_v, 1:int)"), "gIiB1R");
    EXPECT_EQ(of_value("x", "symbol \"w\" class=auto type=int.volatile\nstatement ASG:int(w, 1:int)\n"),
              "GgIiB1R")
        << "a volatile variable of its own is only not pure";
}

TEST(FunctionEffects, WaysThroughTheBody) {
    const std::string test = "statement IF(n, COMMA(LABEL 1, LABEL 2))\nlabel 1\n";
    EXPECT_EQ(of_statement("ASG:int(x, 1:int)", test + "statement ASG:int(x, 2:int)\nlabel 2\n"), "GgIiBPR");
    EXPECT_EQ(found_flags("label 1\nstatement IF(n, COMMA(LABEL 1, LABEL 2))\nlabel 2\n"), "GgIiB")
        << "its end is not certain";
    EXPECT_EQ(found_flags("statement BRANCH(LABEL 2)\nlabel 1\nstatement RETURN($ret, 1:int)\n"
                          "label 2\nstatement BRANCH(LABEL 1)\n"),
              "GgIiBP1R")
        << "backward, but not round";
    EXPECT_EQ(found_flags("label 1\nstatement BRANCH(LABEL 1)\n"), "GgIiBN") << "an endless loop";
    EXPECT_EQ(found_flags("statement UCALL:int(UAND:fv*(@_die))\n"), "BN1R");
    EXPECT_EQ(found_flags("statement UCALL:int(UAND:fv*(@_exit))\n"), "BN1R")
        << "functions of atexit may do anything";
    EXPECT_EQ(found_flags("statement UCALL:int(UAND:fv*(@_stops_through))\n"), "GgIiBN1R");
    EXPECT_EQ(found_flags(test + "statement UCALL:int(UAND:fv*(@_stops_through))\nlabel 2\n"), "GgIiBR")
        << "there is another way";
    EXPECT_EQ(found_flags(test +
                          "statement UCALL:int(UAND:fv*(@_stop))\nlabel 2\nstatement UCALL:int(UAND:fv*"
                          "(@_stop))\n"),
              "GgIiBNR");
    EXPECT_EQ(of_value("ANDAND:int(n, UCALL:int(UAND:fv*(@_stop)))"), "GgIiB1R") << "only perhaps";
    EXPECT_EQ(found_flags("statement SWITCH(n, CASE(1:int, LABEL 1))\nstatement UCALL:int(UAND:fv*(@_stop))\n"
                          "label 1\nstatement UCALL:int(UAND:fv*(@_stop))\n"),
              "GgIiBNR");
}

TEST(FunctionEffects, CirclesOfCalls) {
    const std::string any = "statement RETURN($ret, 1:int)\n";
    EXPECT_EQ(found_flags(any, "odd"), "gIiB1R")
        << "what one of them does, all do; nobody says that they end";
    EXPECT_EQ(found_flags(any, "even"), "gIiB1R");
    EXPECT_EQ(of_value("CALL:int(UAND:ff*(@_f), COMMA(n, p, STARG:struct.s(s)))"), "GgIiB1R");
    EXPECT_EQ(of_value("CALL:int(UAND:ff*(@_f), COMMA(n, UAND:int*(@_g), STARG:struct.s(s)))",
                       "statement ASG:int(UMULT:int(p), 1:int)\n"),
              "gi1R")
        << "a store by what it is passed is one to what it passes itself";
}

} // namespace
} // namespace pelorus
