// The interpreter: loading any bytes ends with a message or a program, and running any program ends.
#include <cstdio>

#include "fuzz/target.h"
#include "icode-run/machine.h"
#include "memory/zone.h"
#include "support/fatal.h"

namespace pelorus {

namespace {

struct LOADING_ENDS {};

char messages[4096];

PROGRAM* load(const uint8_t* data, size_t size) {
    std::string message;
    FILE* stream = fmemopen(const_cast<uint8_t*>(data), size, "rb");
    try {
        PROGRAM* program = load_program(stream, "input", message);
        if (!program && message.empty()) found("refused without a message\n");
        return program;
    } catch (const LOADING_ENDS&) {
        return nullptr;
    }
}

void run(const PROGRAM& program) {
    RUN_OPTIONS options;
    options.arguments = {"program"};
    options.steps = 20000;
    options.memory = 4u << 20;
    options.depth = 200;
    options.record = options.quiet = true;
    const RUN_RESULT result = run_program(program, options);
    if (result.outcome.kind != OUTCOME_KIND::VALUE && result.outcome.message.empty())
        found("ended without a message\n");
}

} // namespace

// An error in the types, behind its message.
void fatal_exit() { throw LOADING_ENDS(); }

} // namespace pelorus

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace pelorus;
    static FILE* const quiet = stdout = stderr = fmemopen(messages, sizeof messages, "w");
    rewind(quiet);
    empty_zones();
    if (PROGRAM* program = size ? load(data, size) : nullptr) {
        run(*program);
        release_program(program);
    }
    return 0;
}
