// Prints docs/passes.md from the driver's tables:
//
//   gen-passes-doc > docs/passes.md
//
// What a step is called, when it runs and whether it is built comes from the tables that the program itself
// runs by.
#include <cstdio>
#include <span>
#include <string>
#include <utility>

#include "driver/pass_1_5.h"
#include "driver/pipeline.h"
#include "support/call_points.h"

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
   storage is released again at once. Then comes the file-level analysis ([functions.md](functions.md)), which
   reads the functions that are to be inlined once more.
2. **Pass 1.5**, at level 4 only, reads every function again and looks at all of them together.
3. **Phase 2** writes the global declarations, takes the functions one at a time through the pipeline, and
   writes the global definitions.

The functions come in the order of their declarations below level 3; from level 3 on in the reversed order of
the call graph, callees before their callers.

When a function has been read, calls in it are expanded ([inlining.md](inlining.md)) before its first step.

A step that is not built does nothing; the trace (`--trace`) names each one where it would have run.

## The pipeline

A pass marked * may be left out: by `--skip_step` with its number (1803 for 18.3), by `--disable` with its
key, and in a function whose own options ask for level 0. Members of a group have a point in their number.

)";

constexpr std::pair<EDIT, const char*> EDIT_NAMES[] = {
    {EDIT_EDGES, "edges"}, {EDIT_BLOCKS, "blocks"}, {EDIT_TREES, "trees"}, {EDIT_SYMBOLS, "symbols"}};

constexpr const char* FACTS_TEXT = R"(
## Facts

What analyses find out about a function, and what loses it. The runner builds what a pass needs and is not
valid; an edit of the graph or of statements loses what the table says, and nothing is patched.

| Fact | Built from | Lost by changes of | Where it is stored | What it means |
|---|---|---|---|---|
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

const char* state(const PASS& pass) {
    if (pass.run == empty_slot) return "empty";
    return is_built(pass) ? "built" : "**not built**";
}

// What others of the set are built from goes without saying.
void print_facts(const char* title, FACTS facts) {
    FACTS implied = NO_FACTS;
    for (int fact = 0; fact < FACT_COUNT; ++fact)
        if (facts >> fact & 1) implied |= fact_row(static_cast<FACT>(fact)).depends;
    const char* between = title;
    for (int fact = 0; fact < FACT_COUNT; ++fact) {
        if (!((facts & ~implied) >> fact & 1)) continue;
        printf("%s%s", between, fact_row(static_cast<FACT>(fact)).name);
        between = ", ";
    }
}

// Rows that keep everything change nothing; that is not worth a list.
void print_row(const std::string& number, const PASS& pass) {
    printf("| %s%s | %s | `%s` | %s | %s | ", number.c_str(), pass.need == NEED::MAY_SKIP ? "*" : "",
           pass.name, pass.key, gate_text(pass.gate), state(pass));
    print_facts("needs ", pass.needs);
    if (pass.keeps != ALL_FACTS) print_facts(pass.needs ? "; keeps " : "keeps ", pass.keeps);
    printf(" | %s |\n", pass.why);
}

void print_rows(std::span<const PASS> passes, const std::string& prefix) {
    int number = 0;
    for (const PASS& pass : passes) {
        const std::string own = prefix + std::to_string(++number);
        print_row(own, pass);
        print_rows(pass.members, own + ".");
    }
}

void print_passes(const PASS_LIST& list) {
    fputs("| # | Pass | Key | Runs when | State | Facts | What it does, and why here |\n", stdout);
    fputs("|---|---|---|---|---|---|---|\n", stdout);
    print_rows(list.passes, "");
}

void print_fact_table() {
    fputs(FACTS_TEXT, stdout);
    for (int i = 0; i < FACT_COUNT; ++i) {
        const FACT_ROW& row = fact_row(static_cast<FACT>(i));
        printf("| %s | ", row.name);
        print_facts("", row.depends);
        const char* between = " | ";
        for (const auto& [edit, name] : EDIT_NAMES) {
            if (!(row.lost & edit)) continue;
            printf("%s%s", between, name);
            between = ", ";
        }
        printf("%s | %s | %s |\n", row.lost ? "" : " | ", row.where, row.what);
    }
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
    pelorus::print_passes(pelorus::pipeline_steps());
    fputs(pelorus::PASS_1_5_TEXT, stdout);
    pelorus::print_passes(pelorus::pass_1_5_passes());
    pelorus::print_fact_table();
    pelorus::print_call_points();
    pelorus::print_pseudo_names();
    return fflush(stdout) == 0 ? 0 : 1;
}
