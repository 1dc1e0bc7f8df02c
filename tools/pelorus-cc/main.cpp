// pelorus-cc: the compiler driver, with the habits of cc.
//
//     pelorus-cc -O2 prog.c -o prog
//
// It reads the command line (command.cpp) and runs the other programs (steps.cpp). The optimizer's levels are
// -O0 to -O4; everything else is as a makefile expects it from a C compiler.
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "command.h"
#include "common/process.h"
#include "steps.h"

namespace pelorus {

namespace {

const char usage[] =
    "Usage: pelorus-cc [options] file...\n"
    "Compiles C for 32-bit ARM (hard-float EABI) through the Pelorus optimizer.\n\n"
    "  -o FILE            the output\n"
    "  -O0 to -O4         the optimizer's level; -O1 when nothing is said, -Os and -Oz for size\n"
    "  -c, -S, -E         stop after the object file, the assembly, the preprocessor\n"
    "  -g                 debug information; the code stays the same\n"
    "  --icode            stop after the optimizer and keep its input NAME.if and its output NAME.opt\n"
    "  -Xpelorus OPTION   an option for the optimizer\n"
    "  -v                 show the steps that are run, where headers are looked for and how ld is called\n"
    "  --version, -dumpmachine, -print-prog-name=NAME, -print-file-name=NAME, -print-search-dirs, ...\n"
    "  --time-report=FILE append a line for each step: program, seconds, source and output, divided by tabs\n"
    "  --keep-temps=DIR   keep the files between the steps, in a new directory in DIR\n"
    "  -###               show the steps and run none\n"
    "  -I -D -U -std= -W... -f... -M... -include ...   for the preprocessor and the compiler\n"
    "  -l -L -static -shared -Wl,... ...               for the linker\n"
    "  @FILE              options from a file\n"
    "Files: .c, .i, .s, .S, .if (icode), .opt (optimized icode), .ll; others go to the linker.\n";

constexpr const char* TARGET = "arm-linux-gnueabihf";
constexpr const char* LINKER = "arm-linux-gnueabihf-gcc";

// Build systems take the first number for that of the compiler whose name they find, and ask clang's to know
// what options and standards there are.
void print_version(FILE* stream) {
    fprintf(stream, "pelorus-cc" PELORUS_FRONT_END " %s\nTarget: %s\n", PELORUS_VERSION, TARGET);
}

// Words for the linker alone are also something to do: -Wl,--version asks which one it is.
bool has_input(const COMMAND& command) {
    for (const INPUT& input : command.inputs)
        if (input.kind != INPUT_KIND::LINKER_WORD || input.text.starts_with("-Wl,")) return true;
    return false;
}

// The linker's driver knows the programs and the files of the target's tools and libraries. The programs of
// this tool chain and the headers that belong to the front end are ours.
int answer(const std::string& question) {
    const std::string name = question.substr(question.find('=') + 1);
    const std::string own = own_directory() + name;
    if (question.find("-print-prog-name=") != std::string::npos && access(own.c_str(), X_OK) == 0)
        return puts(own.c_str()) < 0;
    if (question.ends_with("-print-target-triple") || question.ends_with("-print-effective-triple"))
        return puts(TARGET) < 0;
    if (question.ends_with("-print-resource-dir") || question.ends_with("-print-file-name=include"))
        return run_program({own_directory() + "icode-cc", question});
    return run_program({LINKER, question});
}

// Questions, and commands without a file. True when there is nothing left to do; `status` is then set.
bool answered(const COMMAND& command, int& status) {
    status = 0;
    if (command.asks_help)
        fputs(usage, stdout);
    else if (command.asks_version)
        print_version(stdout);
    else if (command.asks_number)
        puts(PELORUS_VERSION);
    else if (command.asks_options)
        for (const std::string& option : known_options()) puts(option.c_str());
    else if (!command.questions.empty())
        for (const std::string& question : command.questions) status = std::max(status, answer(question));
    else if (!has_input(command)) {
        if (command.verbose || command.show) {
            print_version(stderr);
            // Configuration scripts look for this name to learn what options a compiler has.
            fprintf(stderr, "Linker: %s\n", LINKER);
        } else {
            fputs("pelorus-cc: error: no input files\n", stderr);
            status = 1;
        }
    } else
        return false;
    return true;
}

} // namespace

} // namespace pelorus

int main(int argc, char** argv) {
    using namespace pelorus;
    own_name = "pelorus-cc";
    COMMAND command = read_command(expand_response_files(WORDS(argv + 1, argv + argc)));
    for (const std::string& error : command.errors) fprintf(stderr, "pelorus-cc: error: %s\n", error.c_str());
    if (!command.errors.empty()) return 1;
    int status;
    if (answered(command, status)) return status;
    catch_signals();
    return run_command(command);
}
