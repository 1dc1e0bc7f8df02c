// Runs the built program in a folder of its own.
#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "icode/icode_samples.h"

namespace pelorus {

struct PROGRAM_RUN {
    int status; // of the exit; -1 when it ended otherwise
    std::string output;
    std::string errors;
};

class ProgramTest : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "pelorus-test-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override { std::filesystem::remove_all(folder_); }

    std::filesystem::path path(const std::string& name) const { return folder_ / name; }
    bool exists(const std::string& name) const { return std::filesystem::exists(path(name)); }

    void put(const std::string& name, const std::string& bytes) const {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }
    std::string get(const std::string& name) const {
        std::ostringstream text;
        text << std::ifstream(path(name), std::ios::binary).rdbuf();
        return text.str();
    }

    // `arguments` are words of the shell.
    PROGRAM_RUN run_program(const std::string& arguments) const {
        const std::string command = "cd '" + folder_.string() + "' && '" PELORUS_EXECUTABLE "' " + arguments +
                                    " >stdout.txt 2>stderr.txt </dev/null";
        const int result = std::system(command.c_str());
        return {WIFEXITED(result) ? WEXITSTATUS(result) : -1, get("stdout.txt"), get("stderr.txt")};
    }

    void expect_run(const std::string& arguments, int status, const std::string& errors) const {
        const PROGRAM_RUN result = run_program(arguments);
        EXPECT_EQ(result.status, status) << arguments << "\n" << result.errors;
        EXPECT_EQ(result.errors, errors) << arguments;
    }

private:
    std::filesystem::path folder_;
};

// One function of a test file.
struct FUNCTION_SAMPLE {
    const char* name;
    uint32_t order;
    const char* options = nullptr; // its own
};

// A function whose body is one return.
inline ICODE_FILE file_of_functions(const std::vector<FUNCTION_SAMPLE>& functions) {
    ICODE_FILE file;
    file.file_names = record(126, BYTES().s("source.c"));
    file.types.add(basic(INT, TR_INT, 0, 4));
    file.types.add(type_record(ROUTINE, TR_FUNCTION, BYTES().u(INT).u(0).u(0).u(0).y(1).y(0).u(0)));
    uint32_t index = 0;
    for (const FUNCTION_SAMPLE& sample : functions) {
        file.symbols.add(record(35, BYTES()
                                        .s(sample.name)
                                        .u(0)
                                        .u(0)
                                        .y(SC_EXTERN_DEF)
                                        .h(SF_DEFINED | SF_REFERENCED)
                                        .u(ROUTINE)
                                        .u(1)
                                        .y(sample.options ? 1 : 0)
                                        .u(sample.order)
                                        .u(0)
                                        .p(1, 3, 5)));
        if (sample.options) file.symbols.add(record(94, BYTES().u(PK_OPTIONS).u(1).s(sample.options)));
        file.records.add(record(1, BYTES().p(1, 10, 1).u(index++))).add(record(5, BYTES().p(1, 11, 1)));
        file.records.add(symbol_record({"r", INT, SC_AUTO}));
        file.records.add(statement(tree(OP_RETURN, VOID, {}, {name(1, 0), number(0)}), 12));
        file.records.add(record(2, BYTES().p(1, 20, 1)));
    }
    return file;
}

} // namespace pelorus
