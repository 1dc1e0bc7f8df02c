// How a run ends.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pelorus {

enum class OUTCOME_KIND : uint8_t {
    VALUE,       // main returned, or exit was called: `status`
    TRAP,        // the program did what has no meaning: `message`
    LIMIT,       // a limit was reached: steps, memory, depth of calls
    UNSUPPORTED, // icode-run does not know an opcode or a function: `message`
    BROKEN,      // a function did what its flags say that it never does: `message`
};

// A place in the source: a call that is open, innermost first.
struct CALL_PLACE {
    std::string function; // without the leading underscore
    std::string file;
    uint32_t line = 0; // 0: not known
    uint32_t column = 0;
};

struct OUTCOME {
    OUTCOME_KIND kind = OUTCOME_KIND::VALUE;
    int status = 0;                // exit status, 0 to 255
    std::string message;           // what happened; for a trap with what and where
    std::vector<CALL_PLACE> calls; // the calls that were open then
};

// Ends the run from anywhere inside it: the machine catches it. Its calls are filled in by the machine.
struct RUN_ENDS {
    OUTCOME outcome;
};

} // namespace pelorus
