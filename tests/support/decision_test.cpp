// The calls that passes make before they change something: the answer, the trace, the counts, the limit.
#include "support/decision.h"

#include <gtest/gtest.h>

#include <set>

#include "support/pseudo_options.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

class Decisions : public testing::Test {
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override {
        reset_decisions();
        clear_pseudo_options();
    }

    static void watch(const char* options) {
        add_pseudo_options("debug", options);
        begin_function_decisions("f");
    }
    static bool thread(int from) { return change(SITE_thread_jump, "to BB {}", from); }
    static bool merge(int block) { return change(SITE_merge_blocks, "{}", block); }

    static std::string report() {
        end_function_decisions();
        char* text = nullptr;
        size_t size = 0;
        FILE* stream = open_memstream(&text, &size);
        report_decisions(stream);
        fclose(stream);
        std::string result(text, size);
        free(text);
        return result;
    }
};

TEST_F(Decisions, EverythingIsAllowedWhenNobodyAsks) {
    const CHANGE_MARK mark;
    EXPECT_FALSE(mark.any());
    EXPECT_TRUE(thread(1));
    EXPECT_TRUE(may_change(SITE_thread_jump));
    EXPECT_FALSE(refuse(SITE_thread_jump, "no"));
    EXPECT_TRUE(mark.any());
    EXPECT_EQ(decisions.changes, 1U);
    EXPECT_EQ(report(), "");
}

TEST_F(Decisions, TheTraceSaysWhatWhereAndWhyNot) {
    TraceCapture capture;
    watch("");
    stand_at(4, 17);
    EXPECT_TRUE(change(SITE_thread_jump, "{} and {}{}", "x", -2, std::string("!")));
    stand_at(0, 9);
    refuse(SITE_duplicate_tail, "too long");
    refuse(SITE_duplicate_tail, "too long", "{} operators", 7U);
    EXPECT_TRUE(change_exactly(SITE_merge_blocks, "just {}\n", "this"));
    EXPECT_EQ(capture.text(), "\n\tBB 4, line 17: jump threading: x and -2!\n"
                              "\n\tline 9: tail duplication refused: too long\n"
                              "\n\tline 9: tail duplication refused: too long (7 operators)\n"
                              "just this\n");
}

TEST_F(Decisions, TheFirstChangesAreAllowedAndTheLastOneIsNamed) {
    watch("stop_after=2");
    stand_at(3, 5);
    EXPECT_TRUE(thread(1));
    EXPECT_TRUE(may_change(SITE_merge_blocks)) << "asking takes nothing away";
    follows(SITE_unreachable_block, "BB 9"); // follows from the first, and is not counted
    EXPECT_TRUE(merge(8));
    EXPECT_FALSE(thread(2));
    EXPECT_FALSE(may_change(SITE_merge_blocks));
    begin_function_decisions("g"); // the count is that of the run
    EXPECT_FALSE(merge(1));
    EXPECT_EQ(report(), "Stopped after 2 of the changes asked for: 2 made\n"
                        "The last one: f(): simpcfg: BB 3, line 5: block merging: 8\n");
}

TEST_F(Decisions, ALimitMayBeThatOfOnePassAndMayBeZero) {
    watch("stop_after=0,stop_in:rewrite_statements");
    EXPECT_TRUE(thread(1));
    EXPECT_FALSE(change(SITE_dead_store, ""));
    EXPECT_EQ(report(), "Stopped after 0 of the changes asked for: 0 made\n");
}

TEST_F(Decisions, CountsComeByFunctionAndForTheFile) {
    watch("stats");
    thread(1);
    thread(2);
    refuse(SITE_thread_jump, "a circle");
    end_function_decisions();
    begin_function_decisions("g");
    thread(1);
    refuse(SITE_duplicate_tail, "long");
    const std::string text = report();
    EXPECT_EQ(
        text.find("Decisions in f()\n         2  simpcfg: jump threading\n            refused 1: a circle\n"
                  "Decisions in g()\n         1  simpcfg: jump threading\n"
                  "         0  simpcfg: tail duplication\n            refused 1: long\n"
                  "Decisions in the file\n         3  simpcfg: jump threading\n"),
        0U)
        << text;
    const size_t never = text.find("Never made\n");
    EXPECT_EQ(text.find("simpcfg: jump threading\n", never), std::string::npos);
    EXPECT_NE(text.find("simpcfg: tail duplication\n", never), std::string::npos) << "refused is not made";
    EXPECT_TRUE(text.ends_with("         3  changes in all\n"));
}

TEST_F(Decisions, TheSameAsJson) {
    watch("stats_json");
    thread(1);
    refuse(SITE_thread_jump, "say \"no\"");
    const std::string text = report();
    EXPECT_EQ(
        text.find(
            "{\"changes\": 1,\n \"functions\": [\n  {\"name\": \"f\", \"sites\": [{\"pass\": \"simpcfg\", "
            "\"name\": \"jump threading\", \"changes\": 1, \"refused\": 1, \"reasons\": {\"say "
            "\\\"no\\\"\": 1}}]}],\n \"file\": "),
        0U)
        << text;
}

// Two rows that read alike could not be told apart in the counts.
TEST_F(Decisions, NoTwoSitesHaveTheSameName) {
    std::set<std::string> names;
    for (const SITE_ROW& row : decision_sites())
        EXPECT_TRUE(names.insert(std::string(row.pass) + ": " + row.name).second) << row.pass << row.name;
}

} // namespace
} // namespace pelorus
