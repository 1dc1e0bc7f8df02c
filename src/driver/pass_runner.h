// The runner of passes: gates, what a user leaves out, facts, timing, checks and dumps, for each row of each
// table alike.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "driver/pass.h"

namespace pelorus {

// A list of passes and how its rows are called: with a title, each is "<title>, <name>", else a step with a
// number from 1. Members of a step are numbered behind a point: 18.3.
struct PASS_LIST {
    const char* title; // null: steps of the pipeline
    std::span<const PASS> passes;
};

// Runs the passes on the current function, one after another. For each:
//   1. a closed gate, a row without a pass and one that was left out are passed over, the last two with a
//      word on the trace;
//   2. the facts that it needs are built, if they are not valid;
//   3. when it changed the function, what its row does not keep is forgotten;
//   4. graph and statements are checked, where checks are wanted (verify.h), and in checking builds the row's
//      promises: that nothing changed when it says so, and that what is still called valid is true;
//   5. with "debug:dump_after" the blocks are listed, at trace level 2 the graph that the pass changed is
//      validated and listed, and after a step a picture of the graph is written if "--graph" asks for it.
void run_passes(const PASS_LIST& list);

// The numbers that `--skip_step` takes for the rows: 18 for a step, 1803 for its third member.
constexpr int MEMBER_FACTOR = 100;

// What a user may name in `--disable=`: the keys of all rows that may be left out, each once.
std::vector<std::string> pass_keys(std::span<const PASS> passes);

// The start of a run: nothing has been asked for, and nothing measured.
void start_pass_runner();
// Reads what the runner itself was asked for; at each function, since its options may ask.
void read_runner_switches();
// With "debug:timing", prints what each pass took in the whole run, and how often it changed something, on
// the debug stream.
void report_pass_times(const PASS_LIST& list);

} // namespace pelorus
