// The command line of pelorus-cc, read.
#pragma once

#include <string>
#include <vector>

#include "common/words.h"

namespace pelorus {

// Where the work ends.
enum class STOP { LINKED, OBJECT, ASSEMBLY, ICODE, SYNTAX, PREPROCESSED, DEPENDENCIES };

enum class INPUT_KIND {
    C,            // also headers
    PREPROCESSED, // .i
    ICODE,        // .if: goes on with the optimizer
    OPTIMIZED,    // .opt: goes on with icode-llvm
    LLVM,         // .ll: goes on with llc
    ASSEMBLY,     // .s
    CPP_ASSEMBLY, // .S
    LINKER,       // an object file or library
    LINKER_WORD,  // an option for the linker, at its place among the files
};

struct INPUT {
    INPUT_KIND kind;
    std::string text; // file name, "-" for the standard input, or the word
};

// Groups of options of which the last one given counts.
enum class CODE_GROUP {
    TAIL_CALLS,
    WHOLE_PROGRAM,
    INLINING, // wins over the next, since it stands behind that on the optimizer's command line
    AUTOMATIC_INLINING,
    FAST_MATH,
    BUILTINS,
    NULL_CHECKS,
    PROTECTOR,
    UNWINDING,
    FRAME,
    STATE,
    ALIGNMENT,
    FUNCTION_SECTIONS,
    DATA_SECTIONS,
    ZEROED_DATA,
    JUMP_TABLES,
    COLUMNS,
    DEBUG
};

struct COMMAND {
    STOP stop = STOP::LINKED;
    std::string output;                // "" when not given
    std::string level = "1";           // of the optimizer
    std::string code_size;             // option of the optimizer for code size, or ""
    std::string inline_limit;          // option of the optimizer, or ""
    bool is_whole_program = false;     // what is compiled together becomes one unit
    bool position_independent = false; // code for shared libraries
    bool show = false;                 // print the steps instead of running them
    bool verbose = false;              // print the steps while running them
    std::string kept_temporaries;      // the directory for them; "" when they are removed
    std::string time_report;           // the file to which each step appends its time; "" for none
    bool asks_version = false, asks_number = false, asks_help = false, asks_options = false;
    WORDS questions;                    // that the linker's driver answers
    std::vector<INPUT> inputs;          // files and linker words in order
    WORDS front;                        // for icode-cc
    WORDS optimizer;                    // for pelorus
    WORDS translator;                   // for icode-llvm
    WORDS code_generator;               // for llc
    std::string function_alignment;     // the logarithm of the bytes, for llc; "" for its own choice
    WORDS assembler;                    // for the assembler, in the form of the linker's driver
    std::string dependencies;           // "-MD", "-MMD" or ""
    std::string dependency_file;        // "" when not given
    bool has_dependency_target = false; // one of `front`
    WORDS errors;                       // what was wrong, a sentence each
};

// The options that are taken, for the completion of shells.
WORDS known_options();

// Whether a file becomes a part of the one unit that a whole program is compiled as.
bool is_joined(const COMMAND& command, const INPUT& input);

// Reads the words of a command line, the program's name left out.
COMMAND read_command(const WORDS& words);

} // namespace pelorus
