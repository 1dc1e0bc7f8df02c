// Building and numbering the graph of a function.
#include "cfg/flow_fixture.h"

namespace pelorus {
namespace {

using BuildCfg = FlowFixture;

TEST_F(BuildCfg, EmptyBodyBecomesEntryAndExit) {
    build_cfg();
    EXPECT_EQ(shape(), "1>2 2>");
    EXPECT_EQ(opcodes(block_number(1)), std::vector<int>{OP_BRANCH})
        << "the entry's URETURN became a branch to the exit";
    EXPECT_EQ(opcodes(flow_graph.exit_bb), std::vector<int>{OP_URETURN});
    EXPECT_EQ(flow_graph.exit_bb->stmts->tree->left->symbol(), nullptr)
        << "a void function returns no variable";
    expect_sound();
}

TEST_F(BuildCfg, FunctionWithValueReturnsAVariable) {
    declare_function("_g", types.int_type());
    build_cfg();
    const SYMBOL* returned = flow_graph.exit_bb->stmts->tree->left->symbol();
    ASSERT_TRUE(returned);
    EXPECT_STREQ(returned->name, "R$0");
    EXPECT_EQ(type_strip(returned->type), types.int_type());
}

TEST_F(BuildCfg, FallThroughBecomesABranchAtTheLastPosition) {
    SYMBOL* x = variable("x");
    assign(x, 1);
    label(5);
    assign(x, 2);
    build_cfg();
    EXPECT_EQ(shape(), "1>2 2>3 3>");
    EXPECT_EQ(opcodes(block_number(1)), (std::vector<int>{OP_ASG, OP_BRANCH}));
    EXPECT_EQ(block_number(1)->last_stmt->position.line, 1U);
    EXPECT_EQ(block_number(1)->last_stmt->tree->left->label()->index, 2)
        << "labels are numbered as their blocks";
    expect_sound();
}

TEST_F(BuildCfg, LabelAtTheStartGetsAnEntryOfItsOwn) {
    label(1);
    assign(variable("x"), 1);
    branch(1);
    build_cfg();
    EXPECT_EQ(shape(), "1>2 2>2") << "the exit cannot be reached and is gone";
    EXPECT_EQ(flow_graph.exit_bb, nullptr);
    expect_sound();
}

TEST_F(BuildCfg, StatementsBehindABranchDisappear) {
    SYMBOL* x = variable("x");
    branch(1);
    assign(x, 1);
    assign(x, 2);
    label(1);
    build_cfg();
    EXPECT_EQ(shape(), "1>2 2>3 3>");
    EXPECT_EQ(opcodes(block_number(1)), std::vector<int>{OP_BRANCH});
}

TEST_F(BuildCfg, ConsecutiveLabelsShareABlock) {
    SYMBOL* x = variable("x");
    if_goes(x, 1, 2);
    label(1);
    label(2);
    assign(x, 1);
    build_cfg();
    EXPECT_EQ(shape(), "1>2 2>3 3>");
    const LABEL_RECORD* labels = block_number(2)->labels;
    ASSERT_TRUE(labels && labels->next);
    EXPECT_EQ(labels->index, 2);
    EXPECT_EQ(find_label(2), labels);
    relink_blocks();
    EXPECT_EQ(labels->next->index, 2) << "relinking renumbers every label";
}

TEST_F(BuildCfg, SuccessorsWithOneWayOnComeFirst) {
    SYMBOL* x = variable("x");
    if_goes(x, 1, 2); // 1 returns, 2 goes on
    label(1);
    add(new_binary(OP_RETURN, types.void_type(), use(x), use(x)));
    label(2);
    assign(x, 2);
    build_cfg();
    EXPECT_EQ(opcodes(block_number(2)), (std::vector<int>{OP_RETURN}))
        << "what is searched last is numbered first";
    EXPECT_EQ(shape(), "1>3,2 2> 3>4 4>");
    expect_sound();
}

TEST_F(BuildCfg, SwitchWithoutDefaultGetsTheFollowingBranch) {
    SYMBOL* x = variable("x");
    switch_on(x, list(case_of(1, 1), case_of(2, 2)));
    branch(3);
    for (int number = 1; number <= 3; ++number) label(number), assign(x, number);
    build_cfg();
    const NODE* cases = block_number(1)->last_stmt->tree->right;
    ASSERT_EQ(cases->right->op, OP_DEFAULT);
    EXPECT_EQ(cases->right->left->label()->block, block_number(4)) << "label 3";
    EXPECT_EQ(opcodes(block_number(1)), std::vector<int>{OP_SWITCH}) << "the branch is absorbed";
    expect_sound();
}

TEST_F(BuildCfg, SwitchFollowedByCodeGetsAFreshLabel) {
    SYMBOL* x = variable("x");
    switch_on(x, case_of(1, 1));
    assign(x, 7);
    label(1);
    build_cfg();
    const NODE* fallback = block_number(1)->last_stmt->tree->right->right;
    ASSERT_EQ(fallback->op, OP_DEFAULT);
    EXPECT_EQ(opcodes(fallback->left->label()->block), (std::vector<int>{OP_ASG, OP_BRANCH}));
    expect_sound();
}

TEST_F(BuildCfg, DefaultAnywhereInTheListIsTheOnlyOne) {
    SYMBOL* x = variable("x");
    switch_on(x, list(default_of(1), case_of(1, 2)));
    label(1);
    label(2);
    build_cfg();
    EXPECT_EQ(block_number(1)->last_stmt->tree->right->right->op, OP_CASE);
    EXPECT_EQ(shape(), "1>2 2>3 3>");
}

TEST_F(BuildCfg, ParameterCopiesStayAheadOfPragmas) {
    SYMBOL* parameter = variable("p", 1, SC_ARGUMENT);
    SYMBOL* home = variable("p");
    add(new_node(OP_PPRAGMA, types.void_type()));
    add(new_binary(OP_ASG, types.int_type(), use(home), use(parameter)));
    assign(home, 3);
    build_cfg();
    EXPECT_EQ(opcodes(block_number(1)), (std::vector<int>{OP_ASG, OP_PPRAGMA, OP_ASG, OP_BRANCH}));
}

TEST_F(BuildCfg, UnreachableBlocksGoAndAreReported) {
    TraceCapture capture;
    SYMBOL* x = variable("x");
    branch(2);
    label(1);
    assign(x, 1);
    branch(1);
    label(2);
    build_cfg();
    EXPECT_EQ(shape(), "1>2 2>3 3>");
    EXPECT_NE(capture.text().find("\nUNREACHABLE BASIC BLOCK: UON==2\n"), std::string::npos);
    for (const BB* block = flow_graph.all_blocks; block; block = block->all_link) EXPECT_GT(block->dfn, 0);
}

TEST_F(BuildCfg, FunctionThatNeverEndsIsMarked) {
    function.info->flags = FUN_is_pure_fun;
    label(1);
    branch(1);
    build_cfg();
    relink_blocks();
    EXPECT_EQ(function.info->flags, uint32_t{FUN_never_returns});
}

TEST_F(BuildCfg, RenumberingFollowsChangedEdges) {
    SYMBOL* x = variable("x");
    if_goes(x, 1, 2);
    label(1);
    assign(x, 1);
    branch(3);
    label(2);
    assign(x, 2);
    label(3);
    build_cfg();
    ASSERT_EQ(flow_graph.bb_count, 5);
    BB* dropped = block_number(1)->succs->block;
    remove_edge(block_number(1), dropped);
    renumber_cfg();
    EXPECT_EQ(flow_graph.bb_count, 4);
    EXPECT_EQ(shape(), "1>2 2>3 3>4 4>");
}

TEST_F(BuildCfg, UnknownLabelEndsTheRun) {
    branch(9);
    EXPECT_THROW(build_cfg(), FatalExit);
}

TEST_F(BuildCfg, FreshLabelsStartAgainBelowTheirLowest) {
    BB* block = new_block(nullptr, nullptr);
    for (int count = 0; count < 30000; ++count) new_label(0, nullptr, block);
    EXPECT_EQ(flow_graph.fresh_label, -30000);
    EXPECT_EQ(new_label(0, nullptr, block)->index, -1);
    EXPECT_EQ(new_label(12, nullptr, block)->index, 12);
}

TEST_F(BuildCfg, MoreBlocksThanNumbersAreRefused) {
    SYMBOL* x = variable("x");
    const auto chain = [&](int blocks) {
        for (int number = 1; number < blocks; ++number) assign(x, number), label(number);
    };
    chain(32766); // with the exit
    build_cfg();
    EXPECT_EQ(flow_graph.bb_count, 32767);
    EXPECT_EQ(flow_graph.bb_list->rdflink->dfn, 32767);
    SetUp();
    x = variable("x");
    chain(32767);
    EXPECT_THROW(build_cfg(), FatalExit);
}

TEST_F(BuildCfg, FreshLabelsThatWouldRepeatAreRefused) {
    SYMBOL* x = variable("x");
    label(1);
    for (int count = 0; count < 30001; ++count) {
        switch_on(x, case_of(1, 1));
        assign(x, count);
    }
    EXPECT_THROW(build_cfg(), FatalExit);
}

using ValidateCfg = FlowFixture;

TEST_F(ValidateCfg, FaultsAreFoundAndTwoKindsMended) {
    SYMBOL* x = variable("x");
    if_goes(x, 1, 2);
    label(1);
    assign(x, 1);
    label(2);
    build_cfg();
    expect_sound();
    TraceCapture capture;
    BB* entry = block_number(1);
    remove_edge(entry, block_number(2)); // 2 > 3 is left, and 2 has no predecessor
    CFG_ERRORS errors = check_cfg();
    EXPECT_EQ(errors.corrected, 1) << "an edge that only the sets miss keeps its block in reach\n"
                                   << capture.text();
    EXPECT_NE(capture.text().find(" ----- BB1's successors must include BB2\n"), std::string::npos);
    EXPECT_FALSE(in_set(entry->succs, block_number(2))) << "the check only looks";
    testing::internal::CaptureStderr();
    validate_cfg();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "\n\n ----- 1 Corrected CFG errors!!!");
    EXPECT_TRUE(in_set(entry->succs, block_number(2)) && in_set(block_number(2)->preds, entry));
    EXPECT_EQ(check_cfg().corrected, 0);

    add_edge(entry, flow_graph.exit_bb);
    errors = check_cfg();
    EXPECT_EQ(errors.uncorrected, 1);
    EXPECT_NE(capture.text().find(" +++++ BB1 has bogus successor: BB4\n"), std::string::npos);
    remove_edge(entry, flow_graph.exit_bb);

    BB_LIST* preds = block_number(3)->preds;
    BB* const second = preds->next->block;
    preds->next->block = preds->block; // one predecessor twice, and the other not at all
    errors = check_cfg();
    EXPECT_NE(capture.text().find(" +++++ BB3 succeeds BB1 but BB1 doesn't precede BB3\n"), std::string::npos)
        << capture.text();
    preds->next->block = second;

    block_number(2)->rdflink = block_number(3);
    errors = check_cfg();
    EXPECT_NE(capture.text().find(" +++++ BB2 has improper <rdflink>\n"), std::string::npos);
    EXPECT_NE(capture.text().find(" +++++ BB1 has improper <dflink>\n"), std::string::npos);
}

TEST_F(ValidateCfg, BlocksThatNothingReachesAreCutOffEachOnce) {
    SYMBOL* x = variable("x");
    if_goes(x, 1, 2);
    label(1);
    assign(x, 1);
    branch(3);
    label(2);
    assign(x, 2);
    label(3);
    add(new_binary(OP_RETURN, types.void_type(), use(x), use(x)));
    build_cfg();
    expect_sound();
    ASSERT_EQ(shape(), "1>3,2 2>4 3>4 4>");
    // The entry now goes nowhere: both arms and then their join, which has no successors, are out of reach.
    BB* entry = block_number(1);
    while (entry->succs) remove_edge(entry, entry->succs->block);
    entry->last_stmt->tree = new_ureturn();
    TraceCapture capture;
    CFG_ERRORS errors = check_cfg();
    EXPECT_EQ(errors.corrected, 3) << capture.text();
    EXPECT_EQ(errors.uncorrected, 0) << capture.text();
    EXPECT_NE(capture.text().find(" ----- BB4 cannot be reached from the entry block\n"), std::string::npos);
    testing::internal::CaptureStderr();
    validate_cfg();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(block_number(2)->succs, nullptr) << "repaired";
}

TEST_F(ValidateCfg, BranchesStandLastAndOnlyThere) {
    SYMBOL* x = variable("x");
    assign(x, 1);
    build_cfg();
    TraceCapture capture;
    EXPECT_EQ(validate_stmts(), 0) << capture.text();
    STMT* first = block_number(1)->stmts;
    std::swap(first->tree, first->next->tree);
    EXPECT_EQ(validate_stmts(), 2);
    EXPECT_NE(capture.text().find("This branch is not the last statement of its block"), std::string::npos);
    EXPECT_NE(capture.text().find("The last statement of a block must be a branch"), std::string::npos);
}

TEST_F(ValidateCfg, ListingLeavesOutBranchesToTheNextBlock) {
    SYMBOL* x = variable("x");
    assign(x, 4);
    label(1);
    if_goes(x, 1, 2);
    label(2);
    build_cfg();
    TraceCapture capture;
    list_bb(flow_graph.bb_list, nullptr, debug_file());
    const std::string text = capture.text();
    EXPECT_EQ(text.find("\t    BB 1:  g1\t\t// f\n\t    BB 1:   \tx = 4\n\t    BB 2:  g2\n"), 0U) << text;
    dump_bb(flow_graph.bb_list, nullptr);
    EXPECT_NE(capture.text().find(":::: BASIC BLOCK DUMP, UON=2, DFN=2\n\tDFLINK=BB3, RDFLINK=BB1\n"
                                  "\tLABEL, INDEX=2, REFCOUNT=2, NAME=<NONE>\n"),
              std::string::npos)
        << capture.text();
}

} // namespace
} // namespace pelorus
