// The reduction: which candidates are made, in which order, and what becomes of them.
#pragma once

#include <cstdint>
#include <string>

#include "common/icode_parts.h"
#include "common/words.h"
#include "unit.h"

namespace pelorus {

struct REDUCE_REQUEST {
    std::string input, output;
    WORDS command;           // gets the name of a candidate as its last word
    int jobs = 1;            // runs at the same time
    double seconds = 0;      // for one run; 0: ten times what the input took, and two seconds at the least
    double most_seconds = 0; // for the whole reduction; 0: no limit
    uint64_t most_runs = 0;  // 0: no limit
};

enum class REDUCE_END : uint8_t { FIXED_POINT, RUNS, TIME, INTERRUPTED, NOT_INTERESTING, NO_OUTPUT };

struct REDUCE_RESULT {
    REDUCE_END end = REDUCE_END::FIXED_POINT;
    FILE_SIZE before, after;
    uint64_t runs = 0, candidates = 0; // candidates: made, those that broke rules or were known included
    double seconds = 0;
    int status = 0; // of the command for the input; with NOT_INTERESTING
};

// Reduces a file that obeys the rules, and writes the best one found to the output whenever there is a better
// one. Progress goes to the error stream.
REDUCE_RESULT reduce(const REDUCE_REQUEST& request, const std::string& bytes, PARTS_FILE file);

} // namespace pelorus
