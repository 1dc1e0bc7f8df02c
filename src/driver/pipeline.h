// The pipeline of one function: a constant table of steps, and the runner that owns gates, timing, checks and
// dumps.
#pragma once

#include <cstdint>
#include <span>

namespace pelorus {

// When a step runs.
enum class GATE : uint8_t {
    ALWAYS,
    LEVEL_1,        // level 1 or more
    LEVEL_2,        // level 2 or more
    NEVER,          // its own predicate always answers no
    NOT_SUPPRESSED, // unless the function is suppressed
};

// Whether a user, or a function that is to stay as it is, may leave a step out.
enum class NEED : uint8_t { MAY_SKIP, NEEDED };

struct PIPELINE_STEP {
    int number; // from 1
    const char* name;
    GATE gate;
    NEED need;
    void (*run)();    // null: not built
    const char* what; // for docs/passes.md
};

// A member of a smaller list of passes.
struct PASS {
    const char* name;
    void (*run)(); // null: not built
    const char* what;
};

// A place that is kept for a pass to come.
void empty_slot();

// All steps, by number.
std::span<const PIPELINE_STEP> pipeline_steps();
// The passes of the last group, between the function's begin record and its blocks.
std::span<const PASS> final_group();

// Says when a step runs; for documents and traces.
const char* gate_text(GATE gate);
bool gate_is_open(GATE gate);

// Runs the passes that are built, checks the function after each one that changed it, and names the others on
// the trace. `group` is what the list is called.
void run_passes(const char* group, std::span<const PASS> passes);

// Runs all steps on the current function.
// Needs: the function read, the output open. Breaks: everything of the function; settings are those of the
// baseline.
void run_function_pipeline();

// With "debug:timing", prints what each step took in the whole run on the debug stream.
void report_step_times();

} // namespace pelorus
