// The pipeline's tables, the order of the functions, and the names of the files.
#include "driver/pipeline.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "driver/files.h"
#include "driver/phases.h"
#include "ipa/file_level.h"
#include "ir/symbol.h"
#include "support/decision.h"
#include "support/run.h"
#include "support/settings.h"

namespace pelorus {
namespace {

TEST(FileNames, AnExtensionIsWhatFollowsTheLastDotOfTheLastName) {
    EXPECT_EQ(without_extension("x.if"), "x");
    EXPECT_EQ(without_extension("a.b.if"), "a.b");
    EXPECT_EQ(without_extension("dir.v/file"), "dir.v/file");
    EXPECT_EQ(without_extension("dir.v\\file"), "dir.v\\file");
    EXPECT_EQ(without_extension("dir/x."), "dir/x");
    EXPECT_EQ(with_extension("dir.v/file", ".opt", false), "dir.v/file.opt");
    EXPECT_EQ(with_extension("a.b", ".opt", false), "a.b") << "an extension that is there stays";
    EXPECT_EQ(with_extension("a.b", ".odb", true), "a.odb");
}

class Pipeline : public testing::Test {
protected:
    void SetUp() override { reset_settings(), file_level = {}; }
    void TearDown() override { reset_settings(), file_level = {}, run = RUN(); }

    // The numbers of the steps whose gates are open.
    static std::string open_steps(int32_t level) {
        settings.optimization_level = level;
        std::string steps;
        int number = 0;
        for (const PASS& step : pipeline_steps().passes) {
            ++number;
            if (gate_is_open(step.gate)) steps += std::to_string(number) + " ";
        }
        return steps;
    }
};

TEST_F(Pipeline, TheLevelSelectsTheSteps) {
    FUNINFO info{};
    run.current_function = &info;
    const std::string level0 = "1 2 3 4 5 6 7 8 9 10 13 14 15 16 17 20 22 23 24 ";
    EXPECT_EQ(open_steps(0), level0);
    EXPECT_EQ(open_steps(1), "1 2 3 4 5 6 7 8 9 10 13 14 15 16 17 19 20 22 23 24 ");
    const std::string level2 = "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 22 23 24 ";
    EXPECT_EQ(open_steps(2), level2);
    EXPECT_EQ(open_steps(4), level2);
    info.flags = FUN_is_suppressed;
    EXPECT_EQ(open_steps(0), "1 2 3 4 5 6 7 8 9 10 13 14 15 16 17 20 22 24 ");
}

TEST_F(Pipeline, FunctionsOfOneOrderKeyKeepTheirPlaces) {
    EXPECT_TRUE(function_order().empty()) << "without a call graph";
    SYMBOL symbols[4] = {};
    FUNINFO infos[4] = {};
    const uint32_t keys[4] = {7, 2, 7, 1};
    for (size_t i = 0; i < 4; ++i) {
        symbols[i].order = keys[i];
        infos[i].symbol = &symbols[i];
        file_level.functions.push_back(&infos[i]);
    }
    file_level.has_call_graph = true;
    using ORDER = std::vector<FUNINFO*>;
    EXPECT_EQ(function_order(), (ORDER{&infos[3], &infos[1], &infos[0], &infos[2]}));
    settings.optimization_level = 3;
    EXPECT_EQ(function_order(), (ORDER{&infos[3], &infos[2], &infos[1], &infos[0]}));
}

FUNINFO* needed_later[2]; // suppressed ones that the functions before them turn out to need
std::string visits;

void visit_function(FUNINFO* info) {
    visits += info->name;
    info->flags |= FUN_is_processed;
    if (*info->name == 'c') needed_later[0]->flags |= FUN_cannot_suppress;
    if (info == needed_later[0]) needed_later[1]->flags |= FUN_cannot_suppress;
}

// `c` needs `b`, which stands before it and needs `a`: each takes a sweep of its own. `d` stays suppressed,
// `e` cannot, `f` was done before.
TEST_F(Pipeline, SuppressedFunctionsAreTakenWhenTheyTurnOutToBeNeeded) {
    FUNINFO infos[6] = {};
    const char* const names[] = {"a", "b", "c", "d", "e", "f"};
    const uint32_t flags[] = {
        FUN_is_suppressed, FUN_is_suppressed, 0, FUN_is_suppressed, FUN_is_suppressed | FUN_cannot_suppress,
        FUN_is_processed};
    std::vector<FUNINFO*> order;
    for (size_t i = 0; i < 6; ++i) {
        infos[i].name = names[i];
        infos[i].flags = flags[i];
        order.push_back(&infos[i]);
    }
    needed_later[0] = &infos[1];
    needed_later[1] = &infos[0];
    visits.clear();
    optimize_functions(order, visit_function);
    EXPECT_EQ(visits, "cbea");
    EXPECT_TRUE(infos[3].flags == FUN_is_suppressed && !(infos[4].flags & FUN_is_suppressed));
}

TEST_F(Pipeline, TheModeOfTheFileCountsFromLevel3On) {
    const auto switches = [](int32_t level, int32_t mode) {
        settings.optimization_level = level;
        settings.file_level_mode = mode;
        start_file_level();
        return std::pair(file_level.whole_program, file_level.library_entry);
    };
    EXPECT_EQ(switches(3, 0), std::pair(false, false));
    EXPECT_EQ(switches(3, 1), std::pair(true, false));
    EXPECT_EQ(switches(3, 3), std::pair(false, true));
    EXPECT_EQ(switches(3, 2), std::pair(true, true));
    EXPECT_EQ(switches(4, -1), std::pair(true, true));
    EXPECT_EQ(switches(2, 1), std::pair(false, false));
    EXPECT_EQ(settings.file_level_mode, 0);
    clear_funinfo();
}

// A name in the documents that nothing asks for, or the other way round, misleads whoever types it.
TEST(PseudoNames, TheTableListsWhatTheSourcesAskFor) {
    std::set<std::string> listed;
#define PSEUDO_NAME(prefix, name, what) listed.insert(prefix ":" name);
#include "driver/options/pseudo_names.def"
#undef PSEUDO_NAME
    std::set<std::string> asked;
    const std::regex question("(debug|disable)_switch\\(\"([^\"]+)\"\\)|pseudo_option\\(\"([^\"]+)\"\\)");
    for (const auto& entry : std::filesystem::recursive_directory_iterator(PELORUS_SOURCES)) {
        if (!entry.is_regular_file()) continue;
        std::ostringstream text;
        text << std::ifstream(entry.path()).rdbuf();
        const std::string source = text.str();
        for (std::sregex_iterator match(source.begin(), source.end(), question), end; match != end; ++match)
            asked.insert((*match)[3].matched ? (*match)[3].str()
                                             : (*match)[1].str() + ":" + (*match)[2].str());
    }
    EXPECT_EQ(listed, asked);
}

// Whoever reads a name on the trace looks it up in the document.
TEST(Documents, EveryKindOfChangeIsDescribed) {
    std::ostringstream text;
    text << std::ifstream(std::filesystem::path(PELORUS_SOURCES).parent_path() / "docs" /
                          "transformations.md")
                .rdbuf();
    const std::string page = text.str();
    ASSERT_FALSE(page.empty());
    for (const SITE_ROW& row : decision_sites().first(FIRST_ADDED_SITE))
        EXPECT_NE(page.find(std::string("| ") + row.name + " |"), std::string::npos) << row.name;
}

// A site's pass is what users disable and stop in.
TEST(Documents, EverySiteBelongsToAPassThatTheRunKnows) {
    std::vector<std::string> keys = pass_keys(pipeline_steps().passes);
    keys.insert(keys.end(), {"simplify", "cross_jump", "inline"}); // parts of others
    for (const SITE_ROW& row : decision_sites())
        EXPECT_NE(std::find(keys.begin(), keys.end(), row.pass), keys.end()) << row.pass;
}

} // namespace
} // namespace pelorus
