// Running the optimizer with a limit, and the check.
//
// With an input, pelorus and the check are run one after the other. With a command, the command runs pelorus,
// once or many times, and what it runs for it is a stand-in (stand_in.h), which takes the limits from a plan.
// The changes of all its runs count as one sequence: those of the first file, then those of the second, so
// that a limit means all changes of some files, a part of those of one, and none of those of the others.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "common/words.h"
#include "search.h"

namespace pelorus {

struct REQUEST {
    std::string optimizer; // the program
    WORDS options;         // of the optimizer, when there is an input
    std::string input;     // "" when the command runs the optimizer
    WORDS command;         // the check, or what is run
    double seconds;        // for one run of the command
    std::string folder;    // for files in between, with "/" at its end
};

// One run of the optimizer, among those that belong to one run of the command.
struct OPTIMIZER_RUN {
    std::string key;  // of input and options
    std::string name; // of the source file, for messages
    std::string input;
    WORDS options;
    uint64_t made = UNKNOWN_CHANGES;
    std::string last; // what it said of its last change
};

struct RUNS {
    REQUEST request;
    // By level: the runs of the optimizer when all changes were made, whose order is that of the changes.
    std::map<int, std::vector<OPTIMIZER_RUN>> complete{};
    int count = 0;
};

// One run, with a line about it on the error stream.
TRIAL run_trial(RUNS& runs, int level, uint64_t limit);

// Whether the check holds for the input itself. Only with an input.
bool input_is_good(const RUNS& runs);

// The level that the options themselves give: the highest one.
int level_of_options(const RUNS& runs);
// The level that options give; -1 when they give none.
int level_in(const WORDS& options);

// Which run of the optimizer a limit ends in, and what is left of the limit there. Null when there is none.
const OPTIMIZER_RUN* run_at_limit(const RUNS& runs, int level, uint64_t limit, uint64_t& rest);

std::string file_text(const std::string& name);

// What `pelorus` prints of a limit.
struct LIMIT_REPORT {
    uint64_t made = UNKNOWN_CHANGES;
    std::string last; // in one line
};
LIMIT_REPORT read_limit_report(const std::string& text);
// The options with a level in place of their own, unless it is OWN_LEVEL, and with a limit.
WORDS limited_options(const WORDS& options, int level, uint64_t limit);

} // namespace pelorus
