// Prints docs/passes.md from the driver's tables:
//
//   gen-passes-doc > docs/passes.md
//
// What a step is called, when it runs and whether it is built comes from the tables that the program itself
// runs by.
#include <cstdio>
#include <span>

#include "driver/call_points.h"
#include "driver/pass_1_5.h"
#include "driver/pipeline.h"

namespace pelorus {

namespace {

struct PSEUDO_NAME_DOC {
    const char* prefix;
    const char* name;
    const char* what;
};

constexpr PSEUDO_NAME_DOC PSEUDO_NAMES[] = {
#define PSEUDO_NAME(prefix, name, what) {prefix, name, what},
#include "driver/options/pseudo_names.def"
#undef PSEUDO_NAME
};

constexpr const char* INTRODUCTION = R"(# The passes of the optimizer

This file is printed by `gen-passes-doc` from the tables in `src/driver/`; change those, not this text.

## The run

1. **Phase 1** reads the whole file: its types, symbols and initializers, and each function once, whose
   storage is released again at once. Then comes the file-level analysis.
2. **Pass 1.5**, at level 4 only, reads every function again and looks at all of them together.
3. **Phase 2** writes the global declarations, takes the functions one at a time through the pipeline, and
   writes the global definitions.

The functions come in the order of their declarations below level 3; from level 3 on in the reversed order of
the call graph.

The **file-level analysis is not built**: the call graph is the list of defined functions in the order of the
file, nothing is known of calls, nothing is inlined or suppressed, and every function is compiled.

A step that is not built does nothing; the trace (`--trace`) names each one where it would have run.

## The pipeline

A step marked * may be left out: by `--skip_step`, and in a function whose own options ask for level 0.

)";

constexpr const char* FINAL_GROUP_TEXT = R"(
### The final group

Step 23 runs these between the function's begin record and its symbols and blocks.

)";

constexpr const char* PASS_1_5_TEXT = R"(
## Pass 1.5

Run on each function in turn; nothing is written.

)";

constexpr const char* CALL_POINTS_TEXT = R"(
## Outside the pipeline

Places in the run where something is called that is not built.

| What | When |
|---|---|
)";

constexpr const char* PSEUDO_OPTIONS_TEXT = R"(
## Pseudo-options

All names that something asks for. `--debug=NAME` and `--disable=NAME` set them; `docs/options.md` has the
rules.

| Key | What it does |
|---|---|
)";

const char* state(void (*function)()) {
    if (function == empty_slot) return "empty";
    return function ? "built" : "**not built**";
}

void print_pipeline() {
    fputs("| # | Step | Runs when | State | What it does |\n|---|---|---|---|---|\n", stdout);
    for (const PIPELINE_STEP& step : pipeline_steps())
        printf("| %d%s | %s | %s | %s | %s |\n", step.number, step.need == NEED::MAY_SKIP ? "*" : "",
               step.name, gate_text(step.gate), state(step.run), step.what);
}

void print_passes(std::span<const PASS> passes) {
    fputs("| Pass | State | What it does |\n|---|---|---|\n", stdout);
    for (const PASS& pass : passes) printf("| %s | %s | %s |\n", pass.name, state(pass.run), pass.what);
}

void print_call_points() {
    fputs(CALL_POINTS_TEXT, stdout);
    for (const CALL_POINT_ROW& row : call_points()) printf("| %s | %s |\n", row.name, row.when);
}

void print_pseudo_names() {
    fputs(PSEUDO_OPTIONS_TEXT, stdout);
    for (const PSEUDO_NAME_DOC& doc : PSEUDO_NAMES)
        printf("| `%s:%s` | %s |\n", doc.prefix, doc.name, doc.what);
}

} // namespace

} // namespace pelorus

int main() {
    fputs(pelorus::INTRODUCTION, stdout);
    pelorus::print_pipeline();
    fputs(pelorus::FINAL_GROUP_TEXT, stdout);
    pelorus::print_passes(pelorus::final_group());
    fputs(pelorus::PASS_1_5_TEXT, stdout);
    pelorus::print_passes(pelorus::pass_1_5_passes());
    pelorus::print_call_points();
    pelorus::print_pseudo_names();
    return fflush(stdout) == 0 ? 0 : 1;
}
