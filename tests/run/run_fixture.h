// Programs in the text form of icode, loaded and run in one process.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "icode-run/machine.h"
#include "icode/text_form.h"

namespace pelorus {

struct ReleaseProgram {
    void operator()(PROGRAM* program) const { release_program(program); }
};
using Program = std::unique_ptr<PROGRAM, ReleaseProgram>;

// A function of no parameters; `body` are its lines behind the symbol of the returns.
inline std::string function_text(const std::string& name, const std::string& body,
                                 const std::string& result = "int") {
    return "function @_" + name + " @1:1:1\nbody\n" +
           (result == "void" ? "" : "symbol \"$ret\" class=auto type=" + result + "\n") + body +
           "end_function @1:99:1\n";
}

struct UNIT_TEXT {
    std::string functions; // and initializers
    std::string symbols{}; // but _main
    std::string types{};

    std::string text() const {
        return "header \"t.c\"\n" + functions + "end\nsection types\ntype int.main FUNCTION return=int\n" +
               types +
               "end\nsection file_names\nfile_name \"t.c\"\nend\nsection symbols\n"
               "symbol \"_main\" class=extdef flags=defined type=int.main\n" +
               symbols + "end\n";
    }
};

inline Program load_bytes(const std::string& bytes, std::string& message) {
    FILE* stream = fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "rb");
    return Program(load_program(stream, "t.if", message));
}

inline Program load_text(const std::string& text) {
    const ASSEMBLY assembly = assemble_icode(text, "t.ict");
    EXPECT_TRUE(assembly.good) << assembly.error << text;
    std::string message;
    Program program = load_bytes(assembly.bytes, message);
    EXPECT_TRUE(program) << message << "\n" << text;
    return program;
}

inline RUN_OPTIONS quiet_options() {
    RUN_OPTIONS options;
    options.quiet = true;
    options.steps = 10'000'000;
    options.arguments = {"t"};
    return options;
}

inline RUN_RESULT run_text(const std::string& text, const RUN_OPTIONS& options = quiet_options()) {
    const Program program = load_text(text);
    return program ? run_program(*program, options) : RUN_RESULT{};
}
inline RUN_RESULT run_unit(const UNIT_TEXT& unit, const RUN_OPTIONS& options = quiet_options()) {
    return run_text(unit.text(), options);
}
// Of a main with this body.
inline RUN_RESULT run_main(const std::string& body, const RUN_OPTIONS& options = quiet_options()) {
    return run_unit({function_text("main", body)}, options);
}

inline void expect_value(const RUN_RESULT& run, int status) {
    EXPECT_EQ(run.outcome.kind, OUTCOME_KIND::VALUE) << run.outcome.message;
    EXPECT_EQ(run.outcome.status, status);
}
inline void expect_trap(const RUN_RESULT& run, const std::string& message) {
    EXPECT_EQ(run.outcome.kind, OUTCOME_KIND::TRAP) << run.outcome.message;
    EXPECT_THAT(run.outcome.message, testing::HasSubstr(message));
}

} // namespace pelorus
