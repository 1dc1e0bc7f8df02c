// What means nothing in option texts, as --debug=strict refuses it.
#include "driver/options/strict.h"

#include <gmock/gmock.h>

#include "driver/options/option_sets.h"
#include "driver/options/pseudo_names.h"
#include "driver/options_fixture.h"
#include "support/run.h"

namespace pelorus {
namespace {

class Strict : public OptionsTest {
protected:
    void SetUp() override {
        OptionsTest::SetUp();
        add_pseudo_options("debug", "strict");
        save_options();
    }
    void TearDown() override {
        OptionsTest::TearDown();
        save_options();
    }

    // The messages about a text that is taken without strictness.
    static std::string refused(const std::string& text) {
        OPTIONS* options = new_options();
        const Outcome outcome = observe([&] {
            parse_option(*options, text);
            refuse_unknown_texts(*options);
        });
        release_options(options);
        EXPECT_EQ(outcome.status, outcome.errors.empty() ? -1 : 1) << text;
        return outcome.errors;
    }
};

TEST_F(Strict, WordsAndTheirEndsThatAreNoOption) {
    EXPECT_EQ(refused("w"), "ERROR: unknown option -w\n");
    EXPECT_EQ(refused("-tarce=2"), "ERROR: unknown option --tarce=2; did you mean --trace?\n");
    EXPECT_EQ(refused("-no-unroll"), "ERROR: unknown option --no-unroll; did you mean --no_unroll?\n");
    EXPECT_EQ(refused("trace"), "ERROR: unknown option -trace; did you mean --trace?\n");
    EXPECT_EQ(refused("-nonsense"), "ERROR: unknown option --nonsense\n");
    EXPECT_EQ(refused("i10k"), "ERROR: \"k\" in -i10k is no option\n");
    EXPECT_EQ(refused("o3x"), "ERROR: \"x\" in -o3x is no option\n");
    EXPECT_EQ(refused("-info_fiel=x"),
              "ERROR: \"_fiel=x\" in --info_fiel=x is no option; did you mean --info_file?\n");
    EXPECT_EQ(refused("o2-traec"), "ERROR: \"-traec\" in -o2-traec is no option; did you mean --trace?\n");
    EXPECT_EQ(refused("i10g-trace=2-debug_digit=1"), "");
}

TEST_F(Strict, NamesAndStepsThatNothingAsksFor) {
    EXPECT_EQ(refused("-debug=verify,,dump_after=3,debug:timing=1,disable:simpcfg=0"), "");
    EXPECT_EQ(refused("-debug=verfiy,simpcfg,dump_after=x,debug:verify"),
              "ERROR: unknown name \"verfiy\" in --debug; did you mean verify?\n"
              "ERROR: unknown name \"simpcfg\" in --debug\n"
              "ERROR: value \"x\" of \"dump_after\" in --debug is no number\n"
              "ERROR: unknown name \"debug:verify\" in --debug; did you mean verify?\n");
    EXPECT_EQ(refused("-disable=simpcgf"),
              "ERROR: unknown name \"simpcgf\" in --disable; did you mean simpcfg?\n");
    EXPECT_EQ(refused("-debug=stop_after=0,stop_in:simpcfg,stop_in:cross_jump"), "");
    EXPECT_EQ(refused("-debug=stop_in:simpfcg"),
              "ERROR: unknown name \"stop_in:simpfcg\" in --debug; did you mean stop_in:simpcfg?\n");
    EXPECT_EQ(refused("-skip_step=2,24,1803,1809"),
              "ERROR: step 24 (restore options) cannot be left out by --skip_step\n"
              "ERROR: there is no step 1809 for --skip_step\n");
    for (const PSEUDO_NAME& known : pseudo_names()) EXPECT_TRUE(is_pseudo_name(known.prefix, known.name));
}

TEST_F(Strict, OptionsOfAFunctionSayWhereTheyStandAndLeaveTheRunAlone) {
    run.current_function_name = "work";
    const Outcome outcome = observe([] { override_options("-o2 word --version --trcae"); });
    run = RUN();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "ERROR: \"word\" is no option\n>>>>    in the options of function work()\n"
                              "ERROR: unknown option --trcae; did you mean --trace?\n"
                              ">>>>    in the options of function work()\n"
                              "ERROR: option --version is for the whole run\n"
                              ">>>>    in the options of function work()\n");
}

TEST_F(Strict, IsAskedFor) {
    clear_pseudo_options();
    EXPECT_EQ(refused("-tarce"), "");
    EXPECT_EQ(observe([] { override_options("word --debug=typo"); }).errors, "");
}

} // namespace
} // namespace pelorus
