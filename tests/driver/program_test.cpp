// The program as its caller sees it: files, messages, exit statuses.
#include <csignal>
#include <filesystem>

#include "icode/text_form.h"
#include "program_fixture.h"

namespace pelorus {
namespace {

using Program = ProgramTest;
namespace fs = std::filesystem;

// --- Names and files ---

TEST_F(Program, DerivesTheNamesOfItsFilesFromTheInput) {
    put("in.if", full_file().bytes());
    expect_run("in.if", 0, "");
    EXPECT_TRUE(exists("in.opt"));
    EXPECT_FALSE(exists("in.nfo"));
    EXPECT_FALSE(exists("in.odb"));

    expect_run("in.if out.x --trace", 0, "");
    EXPECT_TRUE(exists("out.x"));
    EXPECT_TRUE(exists("in.nfo"));
    EXPECT_TRUE(exists("in.odb"));

    fs::create_directory(path("dir.v"));
    put("dir.v/file", full_file().bytes());
    expect_run("dir.v/file", 0, "");
    EXPECT_TRUE(exists("dir.v/file.opt"));
}

TEST_F(Program, WritesTheInfoFileFromLevel3OnOrWithTheTrace) {
    put("in.if", full_file().bytes());
    expect_run("-o2 --info in.if", 0, "");
    EXPECT_FALSE(exists("in.nfo"));
    expect_run("-o3 --info in.if", 0, "");
    const std::string text = get("in.nfo");
    EXPECT_TRUE(text.starts_with("Pelorus C/C++ Optimizer " PELORUS_VERSION "\nBuild Number ")) << text;
    EXPECT_TRUE(text.ends_with("\n== END OF INFO OUTPUT==\n")) << text;
    expect_run("-o3 --info --info_file=other.txt in.if", 0, "");
    EXPECT_EQ(get("other.txt"), text);
}

TEST_F(Program, RefusesToOverwriteOneOfItsOwnFilesBeforeAnythingIsLost) {
    const std::string input = full_file().bytes();
    put("in.if", input);
    fs::create_symlink("in.if", path("link"));
    fs::create_hard_link(path("in.if"), path("hard"));
    for (const char* name : {"in.if", "./in.if", "link", "hard"})
        expect_run(std::string("in.if ") + name, 1,
                   std::string("\n>> Output icode File Is Also The Input icode File : ") + name +
                       ", Aborting\n");
    expect_run("--trace --info_file=x in.if x", 1,
               "\n>> Info File Is Also The Output icode File : x, Aborting\n");
    put("in.odb", input);
    expect_run("--trace in.odb x", 1, "\n>> Debug File Is Also The Input icode File : in.odb, Aborting\n");
    EXPECT_EQ(get("in.if"), input);
    EXPECT_EQ(get("in.odb"), input);
    EXPECT_FALSE(exists("x"));

    put("prog.c.if", input);
    put("prog.c", "int main;");
    expect_run("prog.c.if", 1, "\n>> Output File Exists And Is No icode File : prog.c, Aborting\n");
    EXPECT_EQ(get("prog.c"), "int main;");
}

// --- The command line ---

TEST_F(Program, CountsPositionalArguments) {
    put("a", full_file().bytes());
    expect_run("", 1, "Usage: " PELORUS_EXECUTABLE " [-options] filename\n");
    expect_run("a b c", 1, "\n>>>> OPTIMIZER ERROR: Garbage on command line\n\n");
    expect_run("a b c d", 1,
               "\n>>>> OPTIMIZER ERROR: Unexpected options: a b d\n"
               "\n>>>> OPTIMIZER ERROR: Garbage on command line\n\n");
    EXPECT_FALSE(exists("b"));
}

TEST_F(Program, AnswersQuestionsAboutItself) {
    const PROGRAM_RUN help = run_program("-Z1 --help");
    EXPECT_EQ(help.status, 0);
    EXPECT_TRUE(help.output.starts_with("Pelorus C/C++ Optimizer ")) << help.output;
    EXPECT_NE(help.output.find("SEEN      ENABLED   NUMBER ARG: 1"), std::string::npos);
    const PROGRAM_RUN version = run_program("--version missing_is_not_looked_at_first");
    EXPECT_EQ(version.status, 1) << "the input is opened before questions are answered";
    EXPECT_EQ(run_program("--version").output, "Pelorus C/C++ Optimizer " PELORUS_VERSION "\n");
}

TEST_F(Program, SaysWhichFileCannotBeOpened) {
    put("in.if", full_file().bytes());
    put("text", "no icode");
    constexpr const char* NONE = "No such file or directory";
    const auto cannot = [](const char* what, const char* why, const char* name) {
        return std::string("\n>> Cannot Open ") + what + ", " + why + " : " + name + ", Aborting\n";
    };
    expect_run("missing", 1, cannot("Input icode File", NONE, "missing"));
    expect_run("text", 1, "\n>> Error when opening input icode file : text, Aborting\n");
    expect_run(".", 1, "\n>> Error when opening input icode file : ., Aborting\n");
    expect_run("in.if no/out", 1, cannot("Output icode File", NONE, "no/out"));
    expect_run("--info --info_file=no/info -o3 in.if", 1, cannot("Info File", NONE, "no/info"));
    fs::create_directory(path("in.odb"));
    expect_run("in.if --trace", 1, cannot("Debug File", "Is a directory", "in.odb"));
    // Without the trace option nobody counts on the file: the run goes on with the error stream in its place.
    const PROGRAM_RUN dump = run_program("in.if --debug=dump_after");
    EXPECT_EQ(dump.status, 0);
    EXPECT_TRUE(dump.errors.starts_with(cannot("Debug File", "Is a directory", "in.odb"))) << dump.errors;
    EXPECT_NE(dump.errors.find("f() after step 3.3, numbers"), std::string::npos);
}

TEST_F(Program, WarnsOfWhatChangesTheMeaningOfTheProgram) {
    put("in.if", full_file().bytes());
    constexpr const char* VOLATILE = "\n>>>> Warning: All non-auto lvalues are considered VOLATILE.\n\n";
    expect_run("in.if --all_volatile", 0, VOLATILE);
    expect_run("in.if --all_volatile -Z1 --trace", 0,
               std::string("\n\t*** Optimizing code size, not speed ***\n\n") + VOLATILE);
    EXPECT_NE(get("in.odb").find(VOLATILE), std::string::npos);
}

// --- Decisions ---

constexpr const char* FUNCTION_WITH_WORK = R"(header "f.c"
function @_f @1:1:1
    body @1:1:5
    symbol "x" class=auto type=int
    statement @1:2:5 ASG:int(x, PLUS:int(1:int, 2:int))
    statement @1:3:5 ASG:int(x, PLUS:int(x, 0:int))
end_function @1:4:1
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

// As a person would look for the change that does harm: fewer and fewer are allowed.
TEST_F(Program, StopsAfterTheChangesThatWereAskedFor) {
    put("f.if", assemble_icode(FUNCTION_WITH_WORK, "f.ict").bytes);
    const auto output_of = [&](const std::string& options) {
        const PROGRAM_RUN result = run_program(options + " f.if f.opt");
        EXPECT_EQ(result.status, 0) << result.errors;
        // Without the comment that repeats the command line.
        return std::pair(result.output, disassemble_icode(get("f.opt"), false).text);
    };
    const auto statements = [](const std::string& text) { return text.substr(text.find("function")); };
    const std::string whole = statements(output_of("-o1").second);
    const auto [said0, none] = output_of("-o1 --debug=stop_after=0");
    const auto [said1, one] = output_of("-o1 --debug=stop_after=1");
    const auto [said99, all] = output_of("-o1 --debug=stop_after=99");
    EXPECT_NE(none.find("PLUS:int(1"), std::string::npos);
    EXPECT_NE(one.find("PLUS:int(1"), std::string::npos) << "the last statement comes first";
    EXPECT_EQ(one.find("PLUS:int(x"), std::string::npos);
    EXPECT_EQ(statements(all), whole);
    EXPECT_NE(said1.find("The last one: f(): simplify: line 3: PLUS.add_nothing: x + 0  becomes  x\n"),
              std::string::npos)
        << said1;
    EXPECT_NE(said99.find("asked for: "), std::string::npos);
    const auto [counts, counted] = output_of("-o1 --debug=stats");
    EXPECT_EQ(statements(counted), whole);
    EXPECT_NE(counts.find("Decisions in f()\n"), std::string::npos) << counts;
}

// --- Options that the file carries ---

TEST_F(Program, LetsTheCommandLineWinOverTheFilesOptionSets) {
    ICODE_FILE file = file_of_functions({{"_f", 1}});
    file.string_lists =
        record(111, BYTES().u(1).u(3).s("-o3").s("-Z").s("2")).add(record(111, BYTES().u(2).u(1).s("-o1")));
    put("in.if", file.bytes());
    const auto restored = [&](const std::string& options) {
        EXPECT_EQ(run_program("in.if --trace " + options).status, 0);
        const std::string text = get("in.odb");
        const size_t start = text.find("[Restoring options");
        return text.substr(start, text.find('\n', start) - start);
    };
    EXPECT_EQ(restored("--ignore_file_options"), "[Restoring options --> -o1 -i1]");
    EXPECT_EQ(restored("-o2"), "[Restoring options --> -o2 -i1 -Z2]");
    EXPECT_EQ(restored(""), "[Restoring options --> -o3 -i1 -Z2]");
    // The sets go on to the output.
    fs::rename(path("in.opt"), path("in.if"));
    EXPECT_EQ(restored(""), "[Restoring options --> -o3 -i1 -Z2]");
}

TEST_F(Program, LaysAFunctionsOptionsOverTheBaselineAndTakesThemBack) {
    ICODE_FILE file = file_of_functions({{"_a", 1, "-Z3 word"}, {"_b", 2}});
    put("in.if", file.bytes());
    expect_run("in.if -o2 -i7 --trace", 0, "");
    const std::string text = get("in.odb");
    const size_t overriding = text.find("[Overriding options to be \"-Z3 word\" --> -o1 -i1 -Z3]");
    ASSERT_NE(overriding, std::string::npos) << text;
    const size_t restoring = text.find("[Restoring options --> -o2 -i7]", overriding);
    EXPECT_GT(text.find("SSA promotion", overriding), restoring) << "step 12 is not for level 1";
    EXPECT_NE(text.find("SSA promotion", restoring), std::string::npos)
        << "the next function has level 2 again";

    file.records.add(record(94, BYTES().u(PK_OPTIONS).u(1).s("-o0")));
    put("in.if", file.bytes());
    expect_run("in.if -o2 --trace", 0, "");
    EXPECT_NE(get("in.odb").find("[Global override:  -o0]\n[Overriding options to be \"-o0\" --> -o0 -i1]"),
              std::string::npos);
    EXPECT_EQ(get("in.odb").find("SSA promotion"), std::string::npos)
        << "the file's options hold for every function";
}

TEST_F(Program, SaysWhereAnOptionWithAnErrorStands) {
    ICODE_FILE file = file_of_functions({{"_f", 1, "-o9"}});
    put("in.if", file.bytes());
    constexpr const char* RANGE =
        "ERROR: argument to option o (\"9\") is out of range (must be from 0 to 4)\n\n";
    expect_run("in.if", 1, std::string(RANGE) + ">>>>    in the options of function f()\n");
    file.records.add(record(94, BYTES().u(PK_OPTIONS).u(1).s("-o9")));
    put("in.if", file.bytes());
    expect_run("in.if", 1, std::string(RANGE) + ">>>>    in the file-level options of in.if\n");
    file.string_lists = record(111, BYTES().u(1).u(2).s("-O1").s("-o9"));
    put("in.if", file.bytes());
    expect_run("in.if", 1,
               "WARNING: Case insensitivity of options has been deprecated;\n"
               "         -O must be written as\n         -o in future \n>>>>    in option set 1 of in.if\n" +
                   std::string(RANGE) + ">>>>    in option set 1 of in.if\n");
    expect_run("in.if -o9", 1, RANGE);
}

TEST_F(Program, RefusesWhatMeansNothingWhenItIsStrict) {
    ICODE_FILE file = file_of_functions({{"_f", 1}});
    file.string_lists = record(111, BYTES().u(1).u(1).s("-i10k"));
    put("in.if", file.bytes());
    expect_run("in.if --tarce", 0, "");
    fs::remove(path("in.opt"));
    expect_run("in.if --tarce --debug=strict", 1,
               "ERROR: \"k\" in -i10k is no option\n>>>>    in option set 1 of in.if\n"
               "ERROR: unknown option --tarce; did you mean --trace?\n");
    EXPECT_FALSE(exists("in.opt"));
    expect_run("in.if --trace=2 --debug=strict --ignore_file_options", 0, "");
}

TEST_F(Program, GivesASwitchOfOneFunctionToThatFunctionOnly) {
    put("in.if",
        file_of_functions({{"_a", 1}, {"_b", 2, "--debug=dump_after=3,allochist"}, {"_c", 3}}).bytes());
    expect_run("in.if", 0, "");
    std::string text = get("in.odb");
    EXPECT_NE(text.find("b() after step 3, build_cfg"), std::string::npos) << text;
    EXPECT_EQ(text.find("c() after step"), std::string::npos) << text;
    expect_run("in.if --trace", 0, "");
    text = get("in.odb");
    const size_t histogram = text.find("\nAllocation histogram:\n");
    EXPECT_NE(histogram, std::string::npos);
    EXPECT_EQ(text.find("\nAllocation histogram:\n", histogram + 1), std::string::npos);
}

// --- What is written ---

TEST_F(Program, WritesItsOwnOutputAgainUnchanged) {
    put("in.if", full_file().bytes());
    for (const char* level : {"-o0", "-o1", "-o2", "-o3", "-o4"}) {
        SCOPED_TRACE(level);
        put("in.if", full_file().bytes());
        const std::string arguments = std::string(level) + " in.if out.if";
        expect_run(arguments, 0, "");
        const std::string first = get("out.if");
        EXPECT_NE(first.find(";\t" + arguments + " "), std::string::npos) << "the command line is noted";
        put("in.if", first);
        expect_run(arguments, 0, "");
        EXPECT_EQ(get("out.if"), first);
    }
}

TEST_F(Program, CarriesAFileWithoutFunctions) {
    put("in.if", base_file().bytes());
    expect_run("in.if", 0, "");
    for (const char* name : {"_f", "_g", "_puts", "_table"})
        EXPECT_NE(get("in.opt").find(name), std::string::npos) << name;
}

TEST_F(Program, VisitsFunctionsByDeclarationAndFromLevel3OnInReverse) {
    put("in.if", file_of_functions({{"_c", 3}, {"_a", 1}, {"_b", 1}}).bytes());
    const auto visited = [&](const std::string& options) {
        expect_run("in.if --trace " + options, 0, "");
        const std::string text = get("in.odb");
        std::string names;
        for (size_t at = 0; (at = text.find("I_BF\t", at)) != std::string::npos; ++at)
            names += text[text.find(";_", at) + 2];
        return names;
    };
    EXPECT_EQ(visited("-o2"), "abc");
    EXPECT_EQ(visited("-o3"), "bac");
    EXPECT_EQ(visited("-o4"), "bac");
    EXPECT_NE(get("stdout.txt").find("Pelorus C/C++ Optimizer Pass 1.5\nPelorus C/C++ Optimizer Pass 2\n"),
              std::string::npos);
}

// --- Failures behind the start ---

TEST_F(Program, LeavesNoOutputOfABadInput) {
    const std::string good = full_file().bytes();
    for (const size_t length : {good.size() / 3, good.size() / 2, good.size() - 9}) {
        put("in.if", good.substr(0, length));
        const PROGRAM_RUN result = run_program("in.if");
        EXPECT_EQ(result.status, 1);
        EXPECT_TRUE(result.errors.starts_with("\n>> in.if: offset 0x")) << result.errors;
        EXPECT_EQ(result.errors.find("terminated abnormally"), std::string::npos) << result.errors;
        EXPECT_FALSE(exists("in.opt"));
    }
    put("in.if", file_of_functions({{"_f", 1}, {"_f", 2}}).bytes());
    EXPECT_NE(run_program("in.if").errors.find("a second definition of function \"f\""), std::string::npos);
    EXPECT_FALSE(exists("in.opt"));
    put("in.if", file_of_functions({{"_f", 1, "-o9"}}).bytes());
    EXPECT_EQ(run_program("in.if").status, 1);
    EXPECT_FALSE(exists("in.opt"));
}

TEST_F(Program, EndsAbnormallyWithoutOutputUnlessItIsWanted) {
    // A branch to a label that nothing defines: the graph cannot be built.
    put("in.if", with_body(statement(tree(OP_BRANCH, VOID, {}, {label(7)}))).bytes());
    constexpr const char* ENDING = "\n>>>> Optimizer terminated abnormally\n"
                                   ">>>>    in function f()\n>>>>    in file \"source.c\"\n";
    const PROGRAM_RUN result = run_program("in.if --trace");
    EXPECT_EQ(result.status, 1);
    EXPECT_TRUE(result.errors.ends_with(ENDING)) << result.errors;
    EXPECT_FALSE(exists("in.opt"));
    EXPECT_TRUE(get("in.odb").ends_with("\n>>>> Optimizer terminated abnormally.\n"));
    EXPECT_EQ(run_program("in.if --keep_opt_ifile").status, 1);
    EXPECT_TRUE(exists("in.opt"));
}

TEST_F(Program, ReportsAnOutputThatCannotBeWrittenInFull) {
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "needs /dev/full";
    put("in.if", full_file().bytes());
    expect_run("in.if /dev/full", 1,
               "\n>> Cannot Write Output icode File, No space left on device : /dev/full, Aborting\n");
    EXPECT_TRUE(fs::exists("/dev/full")) << "a device is never removed";
    expect_run("in.if --info -o3 --info_file=/dev/full", 1,
               "\n>> Cannot Write Info File, No space left on device : /dev/full\n");
    EXPECT_TRUE(exists("in.opt")) << "the output itself is complete";
    EXPECT_EQ(std::system(PELORUS_EXECUTABLE " --help >/dev/full 2>/dev/null"), 1 << 8);
}

TEST_F(Program, TakesAClosedPipeForAnErrorAndNotForASignal) {
    ICODE_FILE file = full_file();
    for (int i = 0; i < 4000; ++i)
        file.symbols.add(symbol_record({"_more_than_a_pipe_holds", INT, SC_EXTERN_DEF}));
    put("in.if", file.bytes());
    const std::string command = "cd '" + path("").string() +
                                "' && ('" PELORUS_EXECUTABLE "' in.if /dev/stdout 2>stderr.txt; "
                                "echo $? >status.txt) | head -c 1 >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(get("status.txt"), "1\n");
    EXPECT_TRUE(get("stderr.txt").starts_with("\n>> Cannot Write Output icode File, ")) << get("stderr.txt");
}

} // namespace
} // namespace pelorus
