// From options to settings, and the sets that functions start from.
#include <gmock/gmock.h>

#include "driver/options/option_sets.h"
#include "driver/options_fixture.h"
#include "ir/node.h"
#include "memory/zone.h"
#include "support/run.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

class OptionSettings : public OptionsTest {
protected:
    // The settings that the words of `texts` give, from the defaults.
    static SETTINGS applied(const std::vector<std::string>& texts) {
        OPTIONS* options = new_options();
        SETTINGS result;
        observe([&] {
            for (const std::string& text : texts) EXPECT_TRUE(parse_option(*options, text)) << text;
        });
        apply_options(*options, result);
        release_options(options);
        return result;
    }
};

TEST_F(OptionSettings, WithoutOptionsTheDefaultsStay) {
    const SETTINGS result = applied({});
    EXPECT_EQ(result.optimization_level, 1);
    EXPECT_EQ(result.inline_threshold, 1);
    EXPECT_EQ(result.code_size_level, -1);
    EXPECT_EQ(result.unroll_limit, 195);
    EXPECT_EQ(result.alias_precision, 2);
    EXPECT_EQ(result.symbolic_debug, 0);
}

TEST_F(OptionSettings, NumbersAndFlags) {
    const SETTINGS result =
        applied({"o3i25Z2op3", "-unroll_limit=7", "-no_system_functions", "-no_stack_sharing",
                 "-all_volatile", "-program_mode=2", "-alias_local", "-advice=A0"});
    EXPECT_EQ(result.optimization_level, 3);
    EXPECT_EQ(result.inline_threshold, 25);
    EXPECT_EQ(result.code_size_level, 2);
    EXPECT_EQ(result.file_level_mode, 3);
    EXPECT_EQ(result.unroll_limit, 7);
    EXPECT_EQ(result.system_functions, 0);
    EXPECT_EQ(result.stack_sharing, 0);
    EXPECT_EQ(result.all_volatile, 1);
    EXPECT_EQ(result.program_mode, 2);
    EXPECT_EQ(result.alias_precision, 1);
    EXPECT_EQ(result.advice_topics, 0xA0);
    EXPECT_EQ(result.level4_inlining, 0);
    const auto skipped = applied({"-skip_step=1,24,1803"}).skipped_steps;
    EXPECT_EQ(skipped.count(), 3u);
    EXPECT_TRUE(skipped[1] && skipped[24] && skipped[1803]);
    EXPECT_EQ(applied({"-alias_local", "-alias_none"}).alias_precision, 0);
}

TEST_F(OptionSettings, ValuesThatStandForOthers) {
    EXPECT_EQ(applied({"-code_state=16"}).thumb_state, 1);
    EXPECT_EQ(applied({"-code_state=32"}).thumb_state, 0);
    EXPECT_EQ(applied({"-thumb"}).thumb_state, 1);
    EXPECT_EQ(applied({"-thumb", "-code_state=32"}).thumb_state, 0);
    EXPECT_EQ(applied({"-arch=4"}).processor_version, 0);
    EXPECT_EQ(applied({"-arch=5"}).processor_version, 5);
    EXPECT_EQ(applied({"-arch=v6"}).processor_version, 6);
    EXPECT_EQ(applied({"-packed_data"}).packed_data, 1);
    EXPECT_EQ(applied({"-packed_data", "-simd=none"}).packed_data, 0);
    EXPECT_EQ(applied({"-simd=v6"}).packed_data, 1);
    EXPECT_EQ(applied({"-endian=big"}).big_endian, 1);
}

TEST_F(OptionSettings, SettingsThatFollowFromOthers) {
    EXPECT_EQ(applied({"o0"}).symbolic_debug, 1);
    EXPECT_EQ(applied({"o4"}).level4_inlining, 1);
    EXPECT_EQ(applied({"-interleave"}).output_comments, 1);
    const SETTINGS vectorizing = applied({"-vectorize"});
    EXPECT_EQ(vectorizing.vectorize + vectorizing.analyze_dependences, 2);
    EXPECT_EQ(vectorizing.convert_ifs + vectorizing.collapse_loops, 2);
    EXPECT_EQ(vectorizing.unroll_and_jam, 0);
}

TEST_F(OptionSettings, DebugDigitsCountOnlyWithTheTrace) {
    const std::vector<std::string> digits = {"-debug_digit=0", "-debug_digit=7", "-debug_digit=12"};
    SETTINGS result = applied(digits);
    EXPECT_EQ(result.debug_digits, (std::array<int32_t, 10>{}));
    EXPECT_EQ(result.trace_details, 1) << "12 is no digit";
    std::vector<std::string> with_trace = digits;
    with_trace.emplace_back("-trace");
    result = applied(with_trace);
    EXPECT_EQ(result.debug_digits, (std::array<int32_t, 10>{1, 0, 0, 0, 0, 0, 0, 1, 0, 0}));
    EXPECT_EQ(applied({"-trace", "-debug_digit=1"}).trace_details, 0);
}

TEST_F(OptionSettings, ListsReachThePseudoOptions) {
    applied({"-debug=zalloc,allochist", "-debug=unroll=4,debug:limit=2", "-disable=downcounters"});
    EXPECT_EQ(debug_switch("zalloc"), 1);
    EXPECT_EQ(debug_switch("allochist"), 1);
    EXPECT_EQ(debug_switch("unroll"), 4);
    EXPECT_EQ(debug_switch("limit"), 2);
    EXPECT_EQ(disable_switch("downcounters"), 1);
}

TEST_F(OptionSettings, AnOverrideStartsFromTheDefaultsAndIsUndone) {
    settings = applied({"o3i20Z1", "-thumb", "-no_unroll"});
    settings.debug_digits[4] = 1;
    save_options();
    TraceCapture capture;
    override_options("  -i5 word\t-no_such --no_tail_recursion ");
    EXPECT_EQ(settings.optimization_level, 1);
    EXPECT_EQ(settings.inline_threshold, 5);
    EXPECT_EQ(settings.code_size_level, -1);
    EXPECT_EQ(settings.thumb_state, 0);
    EXPECT_EQ(settings.no_tail_recursion, 1);
    EXPECT_EQ(settings.no_unroll, 1) << "the other settings keep what the command line gave";
    EXPECT_EQ(settings.keep_unoptimized, 0);
    restore_options();
    EXPECT_EQ(settings.optimization_level, 3);
    EXPECT_EQ(settings.no_tail_recursion, 0);
    EXPECT_EQ(settings.thumb_state, 1);
    EXPECT_EQ(settings.debug_digits[4], 1);
    EXPECT_EQ(capture.text(),
              "[Overriding options to be \"  -i5 word\t-no_such --no_tail_recursion \" --> -o1 -i5]\n"
              "[Restoring options --> -o3 -i20 -Z1]\n");
}

TEST_F(OptionSettings, WhatKeepsACopyOfASettingIsToldOfAnOverrideAndOfItsEnd) {
    add_pseudo_options("debug", "verify");
    save_options();
    override_options("--char_pointers --debug=zalloc,limit=3 --disable=simpcfg");
    EXPECT_TRUE(node_factory.char_pointer_operator);
    EXPECT_TRUE(zone_checking());
    EXPECT_EQ(disable_switch("simpcfg"), 1);
    EXPECT_EQ(debug_switch("verify"), 1) << "pseudo-options are added to those of the run";
    zalloc(8);
    restore_options();
    EXPECT_FALSE(node_factory.char_pointer_operator);
    EXPECT_EQ(debug_switch("verify"), 1);
    EXPECT_FALSE(has_debug_switch("limit") || disable_switch("simpcfg"));
    EXPECT_TRUE(zone_checking()) << "the function's storage still lives in blocks of its own";
    release_local_zone();
    zone_start();
    EXPECT_FALSE(zone_checking());

    global_override("--debug=limit=4");
    override_options("--debug=limit=5");
    restore_options();
    EXPECT_EQ(debug_switch("limit"), 4) << "what the file asks for stays";
}

TEST_F(OptionSettings, AnOverrideBelowLevel1KeepsTheCodeAsItIs) {
    save_options();
    override_options("-o0");
    EXPECT_EQ(settings.keep_unoptimized, 1);
    EXPECT_EQ(settings.symbolic_debug, 1);
    restore_options();
    EXPECT_EQ(settings.keep_unoptimized, 0);
}

TEST_F(OptionSettings, AGlobalOverrideBecomesTheBaseline) {
    save_options();
    TraceCapture capture;
    global_override("-o2 -Z0 --code_state=16");
    override_options("-o4");
    restore_options();
    EXPECT_EQ(settings.optimization_level, 2);
    EXPECT_EQ(settings.code_size_level, 0);
    EXPECT_EQ(settings.thumb_state, 1);
    EXPECT_EQ(capture.text(),
              "[Global override:  -o2 -Z0 --code_state=16]\n"
              "[Overriding options to be \"-o2 -Z0 --code_state=16\" --> -o2 -i1 -Z0 --code_state=16]\n"
              "[Overriding options to be \"-o4\" --> -o4 -i1]\n"
              "[Restoring options --> -o2 -i1 -Z0]\n");
}

TEST_F(OptionSettings, WhatALevelBringsGoesWhenAnOverrideSetsAnotherLevel) {
    settings = applied({"o4"});
    save_options();
    override_options("-o2");
    EXPECT_EQ(settings.level4_inlining, 0);
    restore_options();
    EXPECT_EQ(settings.level4_inlining, 1);
    global_override("-o0");
    EXPECT_EQ(settings.keep_unoptimized, 1);
    override_options("-o2");
    EXPECT_EQ(settings.keep_unoptimized, 0) << "the function asks for more than the file";
    restore_options();
    EXPECT_EQ(settings.keep_unoptimized, 1);
}

TEST_F(OptionSettings, AnOverrideTakesNoWordOfTheCommandLine) {
    run.input_name = "in.if";
    const Outcome outcome = observe([] { override_options("-o 2"); });
    run = RUN();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "ERROR: option o is missing its parameter 'level'\n\n"
                              ">>>>    in the file-level options of in.if\n");
}

} // namespace
} // namespace pelorus
