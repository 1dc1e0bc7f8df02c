// Reading option texts: names, arguments, conflicts, messages.
#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "driver/options/option_state.h"
#include "driver/options_fixture.h"
#include "support/run.h"

namespace pelorus {
namespace {

using testing::HasSubstr;
using testing::Not;

using Options = OptionsTest;

TEST_F(Options, OneTextHoldsSeveralOptions) {
    EXPECT_EQ(parse("o2gi=10Z1-trace-debug=zalloc").errors, "");
    EXPECT_EQ(option_value(*options_, OPT_LEVEL), 2);
    EXPECT_EQ(option_value(*options_, OPT_INLINE), 10);
    EXPECT_EQ(option_value(*options_, OPT_CODE_SIZE), 1);
    EXPECT_EQ(option_value(*options_, OPT_SYMBOLIC_DEBUG), 1);
    EXPECT_EQ(option_value(*options_, OPT_DEBUG), 1);
    EXPECT_STREQ(option_text(*options_, OPT_PSEUDO_DEBUG), "zalloc");
    EXPECT_FALSE(option_given(*options_, OPT_INFO));
    EXPECT_EQ(option_value(*options_, OPT_INFO), 0);
}

TEST_F(Options, TheLongestNameCounts) {
    parse("op1");
    parse("-info_file=x");
    parse("-debug_digit=3");
    EXPECT_EQ(option_value(*options_, OPT_FILE_LEVEL), 1);
    EXPECT_STREQ(option_text(*options_, OPT_INFO_FILE), "x");
    EXPECT_STREQ(option_text(*options_, OPT_DEBUG_DIGIT), "3");
    EXPECT_FALSE(option_given(*options_, OPT_LEVEL) || option_given(*options_, OPT_INFO) ||
                 option_given(*options_, OPT_PSEUDO_DEBUG));
}

TEST_F(Options, ATextThatIsNoOptionFailsButKeepsWhatStoodBeforeIt) {
    for (const char* text : {"!", "=", "2", "v5", "w", "-nonsense", "--", "k"}) {
        EXPECT_FALSE(parse_option(*options_, text)) << text;
    }
    EXPECT_FALSE(parse_option(*options_, "o3-help=1"));
    EXPECT_EQ(option_value(*options_, OPT_LEVEL), 3);
    EXPECT_TRUE(option_given(*options_, OPT_HELP));
    EXPECT_TRUE(parse_option(*options_, ""));
}

TEST_F(Options, AnArgumentMayBeTheNextWord) {
    words_ = {"3", "out.nfo", "", "2x"};
    parse("Z1o");
    parse("-info_file");
    EXPECT_EQ(option_value(*options_, OPT_LEVEL), 3);
    EXPECT_STREQ(option_text(*options_, OPT_INFO_FILE), "out.nfo");
    parse("-info_file");
    EXPECT_STREQ(option_text(*options_, OPT_INFO_FILE), "") << "a text may be empty";
    EXPECT_EQ(observe([&] { parse_option(*options_, "o", words()); }).errors,
              "ERROR: argument to option o (\"2x\") is out of range (must be from 0 to 4)\n\n")
        << "a word of its own is the argument as a whole";
}

TEST_F(Options, TheLevelOfTheTraceMayBeLeftOutAndIsNoWordOfItsOwn) {
    words_ = {"2"};
    parse("-trace");
    EXPECT_EQ(option_value(*options_, OPT_DEBUG), 1);
    EXPECT_EQ(words_.size(), 1u);
    parse("-trace2-info");
    EXPECT_EQ(option_value(*options_, OPT_DEBUG), 2);
    EXPECT_TRUE(option_given(*options_, OPT_INFO));
    parse("-trace=0");
    EXPECT_EQ(option_value(*options_, OPT_DEBUG), 0);
    EXPECT_EQ(error_of("-trace="), "ERROR: option -trace is missing its parameter 'level'\n\n");
    EXPECT_EQ(error_of("-trace=10"),
              "ERROR: argument to option -trace (\"10\") is out of range (must be from 0 to 9)\n\n");
}

TEST_F(Options, AMissingArgumentEndsTheRun) {
    EXPECT_EQ(error_of("o"), "ERROR: option o is missing its parameter 'level'\n\n");
    EXPECT_EQ(error_of("-code_state="), "ERROR: option -code_state is missing its parameter 'state'\n\n");
    EXPECT_EQ(error_of("-debug"), "ERROR: option -debug is missing its parameter 'names'\n\n");
}

TEST_F(Options, NumbersOutOfRangeEndTheRun) {
    EXPECT_EQ(error_of("o5"),
              "ERROR: argument to option o (\"5\") is out of range (must be from 0 to 4)\n\n");
    EXPECT_EQ(error_of("Z-1"),
              "ERROR: argument to option Z (\"-1\") is out of range (must be from 0 to 3)\n\n");
    EXPECT_EQ(error_of("output"),
              "ERROR: argument to option o (\"utput\") is out of range (must be from 0 to 4)\n\n");
    EXPECT_EQ(error_of("i-5"),
              "ERROR: argument to option i (\"-5\") is out of range (must be a non-negative number)\n\n");
    EXPECT_EQ(error_of("i2147483648"), "ERROR: argument to option i (\"2147483648\") is out of range\n\n");
    EXPECT_EQ(error_of("i99999999999999999999"),
              "ERROR: argument to option i (\"99999999999999999999\") is out of range\n\n");
    EXPECT_EQ(error_of("-graph=-1"),
              "ERROR: argument to option -graph (\"-1\") is out of range (must be a non-negative number)\n\n"
              "         it is a hexadecimal number from 0x0 to 0xFFFFFFFF\n\n");
    for (const std::string text : {"0x100", "0x"})
        EXPECT_EQ(error_of("-advice=" + text),
                  "ERROR: argument to option -advice (\"" + text +
                      "\") is out of range (must be a number from 0 to 255)\n\n"
                      "         it is a hexadecimal number from 0x0 to 0xFF\n\n");
    EXPECT_EQ(error_of("-skip_step=3,,4"),
              "ERROR: argument to option -skip_step (\"\") is out of range (must be from 1 to 2499)\n\n");
}

TEST_F(Options, NumbersAtTheEndsOfTheirRangesAreTaken) {
    parse("i2147483647");
    parse("op=-1");
    parse("-graph=FFFFffffo4");
    EXPECT_EQ(option_value(*options_, OPT_INLINE), INT32_MAX);
    EXPECT_EQ(option_value(*options_, OPT_FILE_LEVEL), -1);
    EXPECT_EQ(static_cast<unsigned long>(option_value(*options_, OPT_GRAPH)), UINT32_MAX);
    EXPECT_EQ(option_value(*options_, OPT_LEVEL), 4);
    parse("o0");
    EXPECT_EQ(option_value(*options_, OPT_LEVEL), 0) << "the last argument counts";
}

TEST_F(Options, EnumeratedValues) {
    parse("-arch=V5tE");
    EXPECT_EQ(option_value(*options_, OPT_PROCESSOR), 19);
    EXPECT_EQ(error_of("-arch=7"), "ERROR: bad argument to option -arch: should be one of { 4 5 6 }\n")
        << "values without the mark are not shown";
    EXPECT_EQ(error_of("-code_state=160"),
              "ERROR: bad argument to option -code_state: should be one of { 16 32 }\n");
}

TEST_F(Options, ANameInAnotherCaseIsTakenWithAWarning) {
    EXPECT_EQ(parse("O2").errors, "WARNING: Case insensitivity of options has been deprecated;\n"
                                  "         -O must be written as\n         -o in future \n");
    EXPECT_EQ(option_value(*options_, OPT_LEVEL), 2);
    EXPECT_THAT(parse("-Code_State=16").errors,
                HasSubstr("--Code_State must be written as\n         --code_state in"));
    EXPECT_EQ(option_value(*options_, OPT_CODE_STATE), 4);
}

TEST_F(Options, AConflictClearsOverridesOrFails) {
    EXPECT_EQ(parse("-packed_data-simd=none").errors, "");
    EXPECT_FALSE(option_given(*options_, OPT_PACKED_DATA));
    EXPECT_TRUE(option_given(*options_, OPT_SIMD));

    EXPECT_EQ(parse("-code_state=32").errors, "");
    EXPECT_EQ(parse("-thumb").errors, "WARNING: option -thumb overrides preceding option -code_state\n");
    EXPECT_FALSE(option_given(*options_, OPT_CODE_STATE));
    EXPECT_EQ(option_text(*options_, OPT_CODE_STATE), nullptr) << "a cleared option forgets its argument";

    const Outcome outcome = observe([&] { parse_option(*options_, "-vectorize"); });
    EXPECT_EQ(outcome.errors, "ERROR: option -vectorize conflicts with previous option -thumb\n");
    EXPECT_EQ(outcome.status, 1);
}

TEST_F(Options, ListsGatherTheirArguments) {
    EXPECT_EQ(option_count(*options_, OPT_PSEUDO_DEBUG), 0);
    parse("-debug=zalloc,allochist");
    parse("-debug=debug:unroll=4");
    parse("-skip_step=3,15");
    parse("-skip_step=24");
    ASSERT_EQ(option_count(*options_, OPT_PSEUDO_DEBUG), 2);
    EXPECT_STREQ(option_text(*options_, OPT_PSEUDO_DEBUG, 0), "zalloc,allochist");
    EXPECT_STREQ(option_text(*options_, OPT_PSEUDO_DEBUG, 1), "debug:unroll=4");
    ASSERT_EQ(option_count(*options_, OPT_SKIP_STEP), 3);
    EXPECT_EQ(option_value(*options_, OPT_SKIP_STEP, 2), 24);
    EXPECT_EQ(option_value(*options_, OPT_SKIP_STEP, 3), 0);
}

TEST_F(Options, WrongQuestionsAreInternalErrors) {
    const auto error = [](const std::function<void()>& call) { return observe(call).errors; };
    EXPECT_EQ(error([&] { option_count(*options_, OPT_LEVEL); }),
              "INTERNAL ERROR: list handler for non-list option [31]\n");
    EXPECT_EQ(error([&] { option_value(*options_, OPT_LEVEL, 1); }),
              "INTERNAL ERROR: list handler for non-list option [31]\n");
    EXPECT_EQ(error([&] { option_value(*options_, 46); }), "INTERNAL ERROR: option handler [46]\n");
    EXPECT_EQ(error([&] { option_given(*options_, -1); }), "INTERNAL ERROR: option handler [-1]\n");
    EXPECT_EQ(error([&] { set_option_argument(*options_, option_row(OPT_HELP), {}); }),
              "INTERNAL ERROR: unhandled clause in setarg() [0]\n");
}

TEST_F(Options, TheDriverSwitchesOptionsOnAndOff) {
    set_option(*options_, OPT_INFO, 1);
    EXPECT_TRUE(option_enabled(*options_, OPT_INFO));
    set_option(*options_, OPT_INFO, 0);
    EXPECT_TRUE(option_given(*options_, OPT_INFO));
    EXPECT_FALSE(option_enabled(*options_, OPT_INFO));
    clear_option(*options_, OPT_INFO);
    EXPECT_FALSE(option_given(*options_, OPT_INFO));
}

TEST_F(Options, OptionDebugTracesEveryStepOnTheStandardOutput) {
    EXPECT_EQ(parse("o1").output, "");
    EXPECT_EQ(parse("#o2").output, "option debug: Set    option id # to state 1\n"
                                   "option debug: Parsed option id #/19\n"
                                   "option debug: about to parse '2' as signed, radix 10\n"
                                   "option debug: check 0 <= 2 <= 4\n"
                                   "option debug: Set    option id o arg to value '2' (level)\n"
                                   "option debug: Set    option id o to state 1\n"
                                   "option debug: Parsed option id o/31\n");
    EXPECT_THAT(parse("-advice=1f").output,
                HasSubstr("option debug: about to parse '1f' as unsigned, radix 16\n"
                          "option debug: check 0x0 <= 0x1F <= 0xFF\n"));
    EXPECT_THAT(parse("-debug=zalloc").output,
                HasSubstr("option debug: Set    option id -debug arg to value 'zalloc' (names)\n"));
    parse("-packed_data");
    EXPECT_THAT(parse("-simd=v6").output,
                HasSubstr("option debug: Clear  option id -packed_data to state 0\n"));
}

TEST_F(Options, TheHelpListingShowsEveryOption) {
    run.program_name = "pelorus";
    parse("-trace-info_file=x.nfo");
    parse("o2i10-graph=ff");
    parse("-skip_step=3,15");
    set_option(*options_, OPT_INFO, 0);
    const std::string text = observe([&] { print_help(*options_, stdout); }).output;
    EXPECT_THAT(text, testing::StartsWith("Pelorus C/C++ Optimizer " PELORUS_VERSION
                                          "\nUsage: pelorus [-options] filename\n\n"
                                          "This tool is designed to be invoked by the compiler.\n"));
    EXPECT_THAT(text, HasSubstr("\n-trace                      SEEN      ENABLED   NUMBER ARG: 1\n"));
    EXPECT_THAT(text, HasSubstr("\n-info                       SEEN      disabled  NO ARGS\n"));
    EXPECT_THAT(text, HasSubstr("\no                           SEEN      ENABLED   NUMBER ARG: 2\n"));
    EXPECT_THAT(
        text,
        HasSubstr("\nZ                           not seen  disabled  NUMBER ARG: <arg not provided>\n"));
    EXPECT_THAT(text, HasSubstr("ENABLED   HEXNUM ARG: 0xFF\n"));
    EXPECT_THAT(text, HasSubstr("ENABLED   NUMBER LIST ARG: 3 15\n"));
    EXPECT_THAT(text, HasSubstr("ENABLED   STRING ARG: x.nfo\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5 + OPTION_COUNT);
    EXPECT_THAT(text, testing::EndsWith("\ndocs/options.md tells what each option does.\n"));
}

TEST_F(Options, NoNameStandsInThePlainInTheProgram) {
    std::ifstream file(PELORUS_EXECUTABLE, std::ios::binary);
    const std::string program((std::istreambuf_iterator<char>(file)), {});
    ASSERT_THAT(program, HasSubstr("should be one of"));
    for (const int code :
         {OPT_IGNORE_FILE_SETS, OPT_KEEP_OUTPUT, OPT_NO_DIVIDE_REPLACEMENT, OPT_ALIAS_FULL}) {
        const std::string name(option_name(option_row(code)).view());
        EXPECT_EQ(match_option_name(name), code);
        EXPECT_EQ(program.find(name), std::string::npos) << name;
    }
}

} // namespace
} // namespace pelorus
