// The checks after passes name the pass that broke something, and no other.
#include "driver/verify.h"

#include "cfg/fingerprint.h"
#include "cfg/flow_fixture.h"
#include "driver/pass_runner.h"
#include "driver/program_fixture.h"
#include "icode/text_form.h"
#include "support/pseudo_options.h"
#include "support/run.h"
#include "support/settings.h"

namespace pelorus {
namespace {

// --- Passes that do harm, each in its own way ---

STMT* statement_with(int32_t op) {
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (STMT* cell = block->stmts; cell; cell = cell->next)
            if (cell->tree->op == op) return cell;
    return nullptr;
}

bool build_graph() {
    build_cfg();
    return true;
}
bool look_around() {
    for (BB* block = flow_graph.bb_list; block; block = block->dflink) block->mark = ++flow_graph.stamp;
    return false;
}
bool change_well() {
    static int32_t number = 99; // another one each time, so that the function changes
    statement_with(OP_ASG)->tree->right = new_icon(type_package()->int_type(), int96_signed(number++));
    return true;
}
bool retarget_branch() {
    statement_with(OP_BRANCH)->tree->left->ref = flow_graph.bb_list->dflink->labels;
    return true;
}
void swap_targets() {
    NODE* targets = statement_with(OP_IF)->tree->right;
    std::swap(targets->left, targets->right);
}
bool widen_constant() {
    TYPE* wide = type_package()->make_basic(TR_LONG_LONG, false, 8, 8);
    statement_with(OP_ASG)->tree->right = new_icon(wide, int96_signed(1));
    return true;
}
bool drop_operand() {
    statement_with(OP_ASG)->tree->right = nullptr;
    return true;
}
bool end_early() {
    std::swap(statement_with(OP_ASG)->tree, statement_with(OP_ASG)->next->tree);
    return true;
}
// The value must go where all returns look for it.
bool return_number() {
    SYMBOL* number = new_temporary('R', type_package()->make_basic(TR_DOUBLE, false, 8, 8), -1);
    statement_with(OP_URETURN)->tree->left = new_name(number, number->type);
    return true;
}

PASS row(const char* name, bool (*run)()) {
    return {.name = name, .key = name, .run = run, .keeps = DFN_FACT};
}

class Verify : public FlowFixture {
protected:
    void SetUp() override {
        reset_settings();
        clear_pseudo_options();
        add_pseudo_options("debug", "verify");
        run = RUN();
        run.phase = 2;
        FlowFixture::SetUp();
        declare_function("_f", types.int_type());
        run.current_function_name = "f";
        x = variable("x");
    }
    void TearDown() override {
        verify_output(); // forgets what was found
        clear_pseudo_options();
        run = RUN();
        FlowFixture::TearDown();
    }

    // if (x) { x = 1; goto 2; } x = 2; goto 2; 2: return x, in memory as a URETURN
    void make_function() {
        if_goes(x, 1, 3);
        label(1);
        assign(x, 1);
        branch(2);
        label(3);
        assign(x, 2);
        branch(2);
        label(2);
        add(new_unary(OP_URETURN, types.void_type(), use(x)));
    }

    // What is said when the passes run one after the other on a function as read.
    std::string said_of(std::span<const PASS> passes) {
        testing::internal::CaptureStderr();
        verify_function_as_read();
        run_passes({"group", passes});
        end_function_verification();
        return testing::internal::GetCapturedStderr();
    }

    SYMBOL* x = nullptr;
};

TEST_F(Verify, NamesThePassThatBrokeARule) {
    struct HARM {
        bool (*run)();
        const char* said; // behind the name of the pass
    };
    const HARM harms[] = {
        {retarget_branch, "rule G3: BB2's successors must include BB2\n         BB2: goto g2"},
        {widen_constant,
         "rule N19: The value has another representation than what it is assigned to\n         BB2: x = 1"},
        {drop_operand, "rule N1: Node has too few subtrees\n         BB2: x = ((nil))"},
        {end_early, "rule G2: "},
        {return_number, "rule U12: The variable that the return names has not the function's return type"},
    };
    for (const HARM& harm : harms) {
        SCOPED_TRACE(harm.said);
        TearDown();
        SetUp();
        make_function();
        const PASS passes[] = {row("build_cfg", build_graph),         row("look_around", look_around),
                               row("change_well", change_well),       row("harmful", harm.run),
                               row("look_around again", look_around), row("not built", nullptr)};
        const std::string said = said_of(passes);
        EXPECT_EQ(said.find(">>>> f() after group, harmful: " + std::string(harm.said)), 0U) << said;
        EXPECT_EQ(said.find("look_around"), std::string::npos) << said;
        EXPECT_FALSE(verify_output()) << "the run must fail";
        EXPECT_TRUE(verify_output()) << "what was told is forgotten";
    }
}

TEST_F(Verify, WhatWasWrongBeforeIsTheInputsFault) {
    make_function();
    add(new_unary(OP_URETURN, types.void_type(), use(variable("y"))));
    const PASS passes[] = {row("build_cfg", build_graph), row("change_well", change_well)};
    const std::string said = said_of(passes);
    EXPECT_EQ(said,
              ">>>> f() as it was read: rule U12: The returns name different variables\n         return y\n");
}

TEST_F(Verify, TheFingerprintTellsChangesFromNotes) {
    make_function();
    const uint64_t as_read = function_fingerprint();
    build_cfg();
    const uint64_t built = function_fingerprint();
    EXPECT_NE(as_read, built);
    look_around();
    relink_blocks();
    EXPECT_EQ(function_fingerprint(), built);
    swap_targets();
    EXPECT_NE(function_fingerprint(), built);
    swap_targets();
    EXPECT_EQ(function_fingerprint(), built);
    remove_edge(block_number(2), block_number(2)->succs->block);
    EXPECT_NE(function_fingerprint(), built);
}

// --- Passes that say of themselves what is not true ---

bool change_silently() { return !change_well(); }
bool lose_numbers() {
    lose_facts(EDIT_EDGES);
    return change_well();
}
// As an edit would that does not report itself.
bool renumber_by_hand() {
    BB* second = flow_graph.bb_list->dflink;
    second->dfn = static_cast<BLOCK_NUMBER>(second->dfn + 1);
    return change_well();
}
bool cut_edge_by_hand() {
    statement_with(OP_IF)->tree->right->left = copy_tree(statement_with(OP_IF)->tree->right->right);
    flow_graph.bb_list->succs->next = nullptr;
    return true;
}

TEST_F(Verify, NamesThePassThatSaysWhatIsNotTrue) {
    struct LIE {
        bool (*run)();
        const char* said;
    };
    const LIE lies[] = {
        {change_silently, "it changed the function and says that it did not"},
        {lose_numbers, "it keeps the fact 'block numbers' by its row, and lost it"},
        {renumber_by_hand, "the fact 'block numbers' is called valid and is stale"},
        {cut_edge_by_hand, "the fact 'block numbers' is called valid and is stale"},
    };
    for (const LIE& lie : lies) {
        SCOPED_TRACE(lie.said);
        TearDown();
        SetUp();
        make_function();
        const PASS passes[] = {row("build_cfg", build_graph), row("look_around", look_around),
                               row("liar", lie.run)};
        const std::string said = said_of(passes);
        EXPECT_EQ(said.find(">>>> f() after group, liar: " + std::string(lie.said)), 0U) << said;
        EXPECT_FALSE(verify_output());
    }
}

// --- The program ---

using VerifyProgram = ProgramTest;

constexpr const char* FUNCTION_WITH_A_BAD_SYMBOL = R"(header "f.c"
function @_f @1:1:1
    body @1:1:5
    symbol "x" class=auto type=int size=5
    statement @1:2:5 ASG:int(x, 1:int)
end_function @1:3:1
end
section types
type f FUNCTION return=void
end
section file_names
file_name "f.c"
end
section symbols
symbol "_f" class=extdef flags=defined type=f @1:1:1
end
)";

TEST_F(VerifyProgram, AFaultyInputIsToldWhoAsksAndTheOutputStays) {
    put("bad.if", assemble_icode(FUNCTION_WITH_A_BAD_SYMBOL, "bad.ict").bytes);
    EXPECT_EQ(run_program("-o0 bad.if out.opt").status, 0) << "nobody asked";
    std::filesystem::remove(path("out.opt"));
    const PROGRAM_RUN asked = run_program("-o0 --debug=verify bad.if out.opt");
    EXPECT_EQ(asked.status, 1);
    EXPECT_NE(asked.errors.find("out.opt: offset 0x"), std::string::npos) << asked.errors;
    EXPECT_NE(asked.errors.find("the input breaks rules"), std::string::npos) << asked.errors;
    EXPECT_TRUE(exists("out.opt"));
}

TEST_F(VerifyProgram, AGoodFileIsNotMentioned) {
    std::string text = FUNCTION_WITH_A_BAD_SYMBOL;
    text.erase(text.find(" size=5"), 7);
    put("good.if", assemble_icode(text, "good.ict").bytes);
    for (const char* level : {"-o0", "-o4"})
        expect_run(std::string(level) + " --debug=verify good.if out.opt", 0, "");
}

} // namespace
} // namespace pelorus
