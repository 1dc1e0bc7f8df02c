// Which pictures `--graph` writes, under which names, and what becomes of the run when it cannot.
#include "driver/graph_files.h"

#include "driver/program_fixture.h"
#include "support/run.h"

namespace pelorus {
namespace {

class GraphFiles : public ProgramTest {
protected:
    void SetUp() override {
        ProgramTest::SetUp();
        put("in.if", file_of_functions({{"_f", 1}, {"_g", 2}}).bytes());
    }
    std::vector<std::string> pictures() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path("")))
            if (entry.path().extension() == ".dot") names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    using NAMES = std::vector<std::string>;
};

TEST_F(GraphFiles, OneForEachFunctionAndChosenStep) {
    expect_run("--graph=400011 in.if out.opt", 0, "");
    EXPECT_EQ(pictures(),
              (NAMES{"out.f.step05.dot", "out.f.step23.dot", "out.g.step05.dot", "out.g.step23.dot"}))
        << "step 1 comes before there are blocks";
    EXPECT_NE(get("out.g.step23.dot").find("label=\"g() after step 23, output\""), std::string::npos);
}

TEST_F(GraphFiles, LeavesTheTraceAlone) {
    const auto trace_of = [&](const char* options) {
        EXPECT_EQ(run_program(std::string("--trace=1 ") + options + " in.if out.opt").status, 0);
        const std::string text = get("in.odb");
        return text.substr(text.find("---------- ENTERING"));
    };
    EXPECT_EQ(trace_of("--graph=FFFFFF"), trace_of(""));
    EXPECT_EQ(pictures().size(), 2U * 21) << "steps 3 to 23";
}

TEST_F(GraphFiles, TheRunGoesOnAndFailsWhenOneCannotBeWritten) {
    std::filesystem::create_directory(path("out.f.step05.dot"));
    expect_run("--graph=10 in.if out.opt", 1,
               "\n>> Cannot Open Graph File, Is a directory : out.f.step05.dot\n");
    EXPECT_TRUE(exists("out.opt"));
    EXPECT_FALSE(exists("out.g.step05.dot")) << "one message is enough";
    put("out.f.step07.dot", get("in.if"));
    expect_run("--graph=40 out.f.step07.dot out.opt", 1,
               "\n>> Graph File Is Also The Input icode File : out.f.step07.dot\n");
    EXPECT_EQ(get("out.f.step07.dot"), get("in.if"));
}

TEST(GraphFileNames, AreThoseOfTheOutputWithFunctionAndStep) {
    const RUN before = run;
    run.input_name = "dir.x/in.if";
    run.output_name = "dir.x/out";
    EXPECT_EQ(graph_file_name("f", 5), "dir.x/out.f.step05.dot");
    EXPECT_EQ(graph_file_name("a.b/c", 12), "dir.x/out.a=2Eb=2Fc.step12.dot");
    const std::string long_name(400, 'x');
    EXPECT_LT(graph_file_name(long_name, 5).size(), 200U);
    EXPECT_NE(graph_file_name(long_name, 5), graph_file_name(long_name + "y", 5));
    run.output_name = "-";
    EXPECT_EQ(graph_file_name("f", 5), "dir.x/in.f.step05.dot");
    run = before;
}

} // namespace
} // namespace pelorus
