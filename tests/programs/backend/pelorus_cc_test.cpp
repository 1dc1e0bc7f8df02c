// How pelorus-cc reads its command line.
#include "command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace pelorus {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

WORDS input_texts(const COMMAND& command) {
    WORDS texts;
    for (const INPUT& input : command.inputs) texts.push_back(input.text);
    return texts;
}

TEST(PelorusCc, options_go_where_they_belong) {
    COMMAND command =
        read_command({"-O2", "-I", "dir", "-DX=1", "-Wall", "-Wl,-z,now", "-std=c99", "-pipe", "-g3", "-fPIC",
                      "a.c", "-lm", "b.o", "-o", "prog", "-Xpelorus", "-i10", "-pthread"});
    EXPECT_THAT(command.errors, IsEmpty());
    EXPECT_EQ(command.level, "2");
    EXPECT_EQ(command.output, "prog");
    EXPECT_TRUE(command.position_independent);
    EXPECT_THAT(command.front, ElementsAre("-I", "dir", "-DX=1", "-Wall", "-std=c99", "-fPIC", "-pthread"));
    EXPECT_THAT(command.optimizer, ElementsAre("-i125", "-i10"));
    EXPECT_THAT(input_texts(command), ElementsAre("-Wl,-z,now", "a.c", "-lm", "b.o", "-pthread"));
}

TEST(PelorusCc, levels) {
    struct ROW {
        const char *option, *level, *code_size, *limit;
    };
    for (const ROW& row : {ROW{"-O", "1", "", "-i125"},
                           {"-O0", "0", "", ""},
                           {"-O4", "4", "", "-i125"},
                           {"-O9", "4", "", "-i125"},
                           {"-Os", "2", "-Z1", "-i1"},
                           {"-Oz", "2", "-Z3", "-i1"},
                           {"-Og", "1", "", "-i125"},
                           {"-Ofast", "3", "", "-i125"}}) {
        COMMAND command = read_command({"-Os", row.option, "a.c"});
        EXPECT_EQ(command.level, row.level) << row.option;
        EXPECT_EQ(command.code_size, row.code_size) << row.option;
        EXPECT_EQ(command.inline_limit, row.limit) << row.option;
    }
    EXPECT_EQ(read_command({"a.c"}).level, "1");
    EXPECT_EQ(read_command({"-finline-limit=7", "-Os", "a.c"}).inline_limit, "-i7");
}

TEST(PelorusCc, the_last_option_of_a_group_wins) {
    COMMAND command =
        read_command({"-mthumb", "-fno-builtin-puts", "-fhosted", "-fno-inline", "-marm", "-fstack-protector",
                      "-fstack-protector-strong", "-Xpelorus", "-i9", "a.c"});
    EXPECT_THAT(command.errors, IsEmpty());
    EXPECT_THAT(command.optimizer, ElementsAre("-i125", "-i0", "-i9"));
    EXPECT_THAT(command.translator, ElementsAre("--stack-protector=sspstrong"));
    EXPECT_THAT(command.assembler, ElementsAre("-mthumb", "-marm"));

    command =
        read_command({"-ffunction-sections", "-fno-jump-tables", "-fno-function-sections",
                      "-falign-functions=4096", "-falign-functions=24", "--target=arm-linux-gnueabihf"});
    EXPECT_THAT(command.errors, IsEmpty());
    EXPECT_THAT(command.code_generator, ElementsAre("-min-jump-table-entries=4294967295"));
    EXPECT_EQ(command.function_alignment, "5");
}

// What changes the code and what is refused stands in the manual.
TEST(PelorusCc, options_of_the_manual) {
    std::ifstream file(PELORUS_MANUAL);
    const std::string manual(std::istreambuf_iterator<char>(file), {});
    struct ROW {
        const char *text, *use;
    };
    constexpr ROW rows[] = {
#define CC_OPTION(text, form, use)                                          {text, #use},
#define CC_CODE(text, form, group, tools, optimizer, translator, generator) {text, "CODE"},
#include "options.def"
    };
    for (const auto& [text, use] : rows) {
        if (use != std::string("CODE") && use != std::string("REFUSED")) continue;
        EXPECT_THAT(manual, testing::HasSubstr("`" + std::string(text))) << use;
    }
}

TEST(PelorusCc, the_earliest_stop_wins) {
    EXPECT_EQ(read_command({"-E", "-c", "a.c"}).stop, STOP::PREPROCESSED);
    EXPECT_EQ(read_command({"-c", "-S", "a.c"}).stop, STOP::ASSEMBLY);
    EXPECT_EQ(read_command({"-c", "-MM", "a.c"}).stop, STOP::DEPENDENCIES);
    EXPECT_THAT(read_command({"-", "-E"}).errors, IsEmpty());
}

TEST(PelorusCc, what_configure_scripts_expect_to_fail) {
    for (const char* word :
         {"-V", "-qversion", "-nonsense", "-fsanitize=address", "-mfloat-abi=soft", "x.cpp", "-o", "-ftrapv",
          "-fsplit-stack", "-march=armv6", "-p", "-fxray-instrument", "--target=x86_64-linux-gnu",
          "-falign-functions=x", "-mfpu=vfp", "-mlong-calls", "-fpack-struct=1", "-fshort-enums"})
        EXPECT_EQ(read_command({word}).errors.size(), 1u) << word;
    EXPECT_EQ(read_command({"-c", "a.c", "b.c", "-o", "x"}).errors.size(), 1u);
}

TEST(PelorusCc, dependencies_through_the_preprocessor) {
    COMMAND command = read_command({"-Wp,-MD,.deps/a.d,-DX", "-c", "a.c"});
    EXPECT_EQ(command.dependencies, "-MD");
    EXPECT_EQ(command.dependency_file, ".deps/a.d");
    EXPECT_THAT(command.front, ElementsAre("-DX"));
}

TEST(PelorusCc, words_are_split_and_quoted_alike) {
    EXPECT_THAT(split_words(" a 'b c' \"d\\\"e\" f\\ g '' "), ElementsAre("a", "b c", "d\"e", "f g", ""));
    for (std::string word : {"plain", "it's", "a b", "$x", "", "back\\slash"})
        EXPECT_THAT(split_words(shell_quoted(word)), ElementsAre(word));
}

TEST(PelorusCc, response_files) {
    char path[] = "/tmp/pelorus-cc-test-XXXXXX";
    close(mkstemp(path));
    std::ofstream(path) << "-c\n'a b.c'";
    EXPECT_THAT(expand_response_files({"-O2", std::string("@") + path, "@/nowhere"}),
                ElementsAre("-O2", "-c", "a b.c", "@/nowhere"));
    unlink(path);
}

} // namespace

} // namespace pelorus
