// icode-run as a library: loading a file, running it, comparing two runs.
//
// A program is loaded once and owns everything it needs; the zones, the type package and the reader's tables
// of the icode library are free again when it has been loaded, so that several programs can be held at a time
// and the optimizer can run between.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "outcome.h"

namespace pelorus {

struct PROGRAM; // the code of all functions, the globals with their initial bytes, positions; see program.h

// Compiles the icode at the stream, which is closed. Null, and one message in `message`, when the file is
// damaged; what cannot be run is found when control comes there. It recurses as deep as right operands nest,
// 10,000 at the most: a stack of 64 MB is enough for every file. Types that contradict each other end the
// process by the fatal exit, as everywhere in the icode library.
//
// With `check_functions` the functions are analysed as the optimizer does (ipa/function_effects.h), and every
// run ends as BROKEN where one does what its flags say that it never does. Without it nothing of that costs
// anything.
PROGRAM* load_program(FILE* stream, const char* name, std::string& message, bool check_functions = false);
void release_program(PROGRAM* program);

struct RUN_OPTIONS {
    std::string entry = "_main";        // linkage name of the function that is run
    std::vector<std::string> arguments; // main's, from argv[0] on
    uint64_t steps = 0;                 // operations that may be executed, 0 for no limit
    uint64_t memory = 512u << 20;       // bytes of all objects
    uint32_t depth = 100000;            // open calls
    uint32_t host_depth = 1000;         // of them by the library, which take the host's stack
    uint32_t events = 2'000'000;        // that may be kept
    std::string folder;                 // see make_library
    uint8_t fill = 0xA5;                // what the bytes of variables hold before something is stored there
    bool strict = false;    // shifts and conversions out of range, whose result C leaves open, are traps
    bool unaligned = false; // an access may lie at any address
    bool statistics = false;
    bool record = false; // keep the events for a comparison
    bool quiet = false;  // the output is kept only
};

// What a comparison looks at, in the order in which it happened.
struct EVENT {
    enum KIND : uint8_t { VOLATILE_READ, VOLATILE_WRITE, CALL, OUTPUT } kind;
    uint32_t place;   // of the statement: function and position, see `place_text`
    std::string text; // "printf("%d\n", 5)", "flag <- 3 (4 bytes)", the bytes that were written
};

struct OPERATION_COUNTS {
    uint64_t operations = 0, loads = 0, stores = 0, calls = 0, branches = 0;
};

struct RUN_RESULT {
    OUTCOME outcome;
    OPERATION_COUNTS counts; // always there; the rows below only with `statistics`
    struct FUNCTION_ROW {
        std::string name;
        OPERATION_COUNTS counts;
    };
    std::vector<FUNCTION_ROW> functions;
    uint64_t opcodes[256] = {}; // how often each was executed
    std::string output, errors; // what went to the standard streams, with `record` or `quiet`
    std::vector<EVENT> events;  // with `record`
};

RUN_RESULT run_program(const PROGRAM& program, const RUN_OPTIONS& options);

// A table of the counts; needs a run with `statistics`.
std::string statistics_text(const RUN_RESULT& run);

// Where a step is, as messages show it: "f, a.c:12:3".
std::string place_text(const PROGRAM& program, uint32_t place);

enum class COMPARISON : uint8_t { SAME, DIFFERENT, UNDECIDED };
// Do both behave alike? UNDECIDED when the first run has no meaning (trap) or did not end. `text` tells the
// first difference with function and position of both, or why there is no answer.
COMPARISON compare_runs(const PROGRAM& a, const PROGRAM& b, const RUN_OPTIONS& options, std::string& text);

} // namespace pelorus
