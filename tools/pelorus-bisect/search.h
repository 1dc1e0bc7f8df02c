// The search for the change that breaks a program, apart from how it is run.
//
// The optimizer makes its changes in one order, and a limit N allows the first N of them only. The search
// wants two limits N - 1 and N of which the first is good and the second is not: then change N is guilty.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace pelorus {

constexpr uint64_t NO_LIMIT = UINT64_MAX;
constexpr uint64_t UNKNOWN_CHANGES = UINT64_MAX;
constexpr int OWN_LEVEL = -1; // the one that the options give

// What came out of one run.
struct TRIAL {
    bool good = false;
    uint64_t made = UNKNOWN_CHANGES; // changes under the limit; unknown when the optimizer did not report
};
// Runs optimizer and check at a level and with a limit.
using TRY = std::function<TRIAL(int level, uint64_t limit)>;

enum class ANSWER : uint8_t {
    FOUND,
    NEVER_FAILS,           // at no level
    FAILS_WITHOUT_CHANGES, // with the limit 0
    UNSTEADY,              // the same run was good once and bad once
};

struct FINDING {
    ANSWER answer = ANSWER::NEVER_FAILS;
    int level = OWN_LEVEL;              // at which it fails; the lowest one
    uint64_t changes = UNKNOWN_CHANGES; // there are in all at this level
    uint64_t guilty = 0;                // the number of the change; valid when FOUND
    uint64_t good_again = 0;            // a limit above it that is good; 0: none was seen
    uint64_t bad_before = 0;            // a limit below it that is bad, when the runs did not last; else 0
};

struct SEARCH_LIMITS {
    int highest = 4;        // level
    bool own_level = false; // the options give the level: it is tried first, then those below `highest`
    int runs = 39;          // at the most
};

// `highest_of` tells, after the first run at the options' own level, which level that was.
FINDING search_change(const TRY& run, SEARCH_LIMITS limits, const std::function<int()>& highest_of);

} // namespace pelorus
