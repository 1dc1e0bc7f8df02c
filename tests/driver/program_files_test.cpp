// Where the program writes, and where it must not: derived names, links, closed and standard streams, limits.
#include <filesystem>

#include "icode/text_form.h"
#include "icode/validate_file.h"
#include "program_fixture.h"

namespace pelorus {
namespace {

namespace fs = std::filesystem;

class ProgramFiles : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        put("in.if", good_file());
    }

    // Runs a line of the shell, in which $P is the program; its status and what it left in stderr.txt.
    PROGRAM_RUN run_shell(const std::string& line) const {
        fs::remove(path("stderr.txt"));
        const int result =
            std::system(("cd '" + path("").string() + "' && P='" PELORUS_EXECUTABLE "'; " + line).c_str());
        return {WIFEXITED(result) ? WEXITSTATUS(result) : -1, "", get("stderr.txt")};
    }

    static std::string good_file() {
        return assemble_icode(R"(header "f.c"
function @_f @1:1:1
    body @1:1:5
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
)",
                              "f.ict")
            .bytes;
    }

    // The output names its own command line, so files of different runs differ in that note.
    static bool is_icode(const std::string& bytes) {
        return validate_icode(bytes, 0, {[](void*, const FILE_FAULT&) {}, nullptr}) == 0;
    }
};

TEST_F(ProgramFiles, ADerivedNameDoesNotDestroyWhatIsPlainlyNotOurs) {
    put("prog.c.if", good_file());
    put("prog.c", "int main;");
    expect_run("--trace prog.c.if out.opt", 1,
               "\n>> Info File Exists And Is No Info File : prog.c, Aborting\n");
    EXPECT_EQ(get("prog.c"), "int main;");
    EXPECT_FALSE(exists("out.opt"));
    fs::remove(path("prog.c"));
    expect_run("--trace prog.c.if out.opt", 0, "");
    expect_run("--trace prog.c.if out.opt", 0, ""); // its own information file
    put("in.odb", std::string("PK\3\4\0\0", 6));
    expect_run("--trace in.if", 1, "\n>> Debug File Exists And Is No Debug File : in.odb, Aborting\n");
}

TEST_F(ProgramFiles, LinksToOneNewFileAreOneFile) {
    fs::create_symlink("new.opt", path("link"));
    expect_run("--trace --info_file=link in.if new.opt", 1,
               "\n>> Info File Is Also The Output icode File : link, Aborting\n");
}

TEST_F(ProgramFiles, AnEmptyNameOfTheInformationFileCannotBeOpened) {
    constexpr const char* ERROR = "\n>> Cannot Open Info File, No such file or directory : , Aborting\n";
    expect_run("-o3 --info --info_file= in.if", 1, ERROR);
    expect_run("--trace --info_file= in.if", 1, ERROR);
    expect_run("-o2 --info --info_file= in.if", 0, "");
}

TEST_F(ProgramFiles, AClosedStandardStreamIsNotReplacedByAFileOfTheRun) {
    EXPECT_EQ(run_shell("$P --all_volatile --trace in.if >&- 2>&- <&-").status, 0);
    EXPECT_TRUE(is_icode(get("in.opt")));
    const PROGRAM_RUN to_closed = run_shell("$P in.if - >&- 2>stderr.txt");
    EXPECT_EQ(to_closed.status, 1);
    EXPECT_EQ(to_closed.errors, "\n>> Cannot Open Output icode File, Bad file descriptor : -, Aborting\n");
}

TEST_F(ProgramFiles, TheStandardOutputTakesTheOutputAndNothingElse) {
    for (const char* line :
         {"$P --trace in.if - 2>stderr.txt | cat >out", "$P --trace in.if - >out 2>stderr.txt",
          "$P --trace in.if /dev/stdout 2>stderr.txt | cat >out",
          "$P --trace in.if /dev/stdout >out 2>stderr.txt"}) {
        const PROGRAM_RUN result = run_shell(line);
        EXPECT_EQ(result.status, 0) << line;
        EXPECT_EQ(result.errors, "Pelorus C/C++ Optimizer Pass 2\n") << line;
        EXPECT_TRUE(is_icode(get("out"))) << line;
    }
    EXPECT_EQ(run_shell("printf before >out && $P in.if - >>out && printf after >>out").status, 0);
    const std::string text = get("out");
    ASSERT_TRUE(text.starts_with("before") && text.ends_with("after"));
    EXPECT_TRUE(is_icode(text.substr(6, text.size() - 11)));

    EXPECT_EQ(run_shell("$P in.if - >in.if 2>stderr.txt").status, 1) << "the shell has emptied it already";
    put("in.if", good_file());
    EXPECT_EQ(run_shell("$P in.if - >>in.if 2>stderr.txt").errors,
              "\n>> Output icode File Is Also The Input icode File : /dev/stdout, Aborting\n");
    EXPECT_EQ(get("in.if"), good_file());
    EXPECT_EQ(run_shell("$P -# in.if - 2>stderr.txt >out").errors,
              "\n>> Standard Output Holds The Option Trace : -, Aborting\n");
}

TEST_F(ProgramFiles, AWriteThatFailsLeavesNoOutput) {
    ICODE_FILE file = file_of_functions({{"_f", 1}});
    for (int i = 0; i < 400; ++i) file.symbols.add(symbol_record({"_more_than_a_block", INT, SC_EXTERN_DEF}));
    put("in.if", file.bytes());
    // The pipe takes the message, which a file could not.
    const PROGRAM_RUN limited = run_shell("(ulimit -f 1; $P in.if; echo $? ) 2>&1 | cat >stderr.txt");
    EXPECT_EQ(limited.errors, "\n>> Cannot Write Output icode File, File too large : in.opt, Aborting\n1\n");
    EXPECT_FALSE(exists("in.opt"));
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "needs /dev/full";
    EXPECT_EQ(run_shell("$P in.if - >/dev/full 2>stderr.txt").errors,
              "\n>> Cannot Write Output icode File, No space left on device : -, Aborting\n");
    fs::create_symlink("/dev/full", path("in.odb"));
    EXPECT_EQ(run_shell("$P --trace in.if 2>stderr.txt >/dev/null").errors,
              "\n>> Cannot Write Debug File, No space left on device : in.odb\n");
}

} // namespace
} // namespace pelorus
