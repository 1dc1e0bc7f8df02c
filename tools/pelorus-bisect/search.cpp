// See search.h.
//
//   1. The lowest level at which the check fails. Its run without a limit tells how many changes there are;
//      when it does not, because the optimizer itself failed, limits are raised until one fails.
//   2. Without any change the check must hold.
//   3. Halving between a good and a bad limit.
//   4. Both limits once more: the same answers must come.
//   5. A few limits elsewhere. A good one above the guilty change means that a later change hides the fault
//      again; a bad one below means that an earlier change fails as well, and the search goes on there.
#include "search.h"

#include <algorithm>
#include <map>

namespace pelorus {

namespace {

struct SEARCH {
    const TRY& run;
    SEARCH_LIMITS limits;
    FINDING finding{};
    std::map<uint64_t, bool> good{}; // by limit, at the level that was found
    int runs = 0;

    bool may_run(int more) const { return runs + more <= limits.runs; }
    TRIAL trial(int level, uint64_t limit) {
        ++runs;
        return run(level, limit);
    }
    bool is_good(uint64_t limit) {
        const auto known = good.find(limit);
        if (known != good.end()) return known->second;
        return good[limit] = trial(finding.level, limit).good;
    }
};

// --- The level ---

bool fails_at(SEARCH& search, int level) {
    const TRIAL trial = search.trial(level, NO_LIMIT);
    if (trial.good) return false;
    search.finding.level = level;
    search.finding.changes = trial.made;
    return true;
}

bool find_level(SEARCH& search, const std::function<int()>& highest_of) {
    if (search.limits.own_level) {
        if (!fails_at(search, OWN_LEVEL)) return false;
        search.limits.highest = highest_of() - 1;
    }
    for (int level = 0; level <= search.limits.highest; ++level)
        if (fails_at(search, level)) return true;
    return search.limits.own_level;
}

// --- The change ---

// A limit that fails, when the number of changes is not known.
uint64_t find_bad_limit(SEARCH& search) {
    constexpr uint64_t FIRST = 16, FACTOR = 8;
    constexpr uint64_t LAST = uint64_t{1} << 30;
    uint64_t limit = FIRST;
    while (limit < LAST && search.is_good(limit)) limit *= FACTOR;
    return limit;
}

// The first change whose limit is bad, between a good limit and a bad one.
uint64_t halve(SEARCH& search, uint64_t good, uint64_t bad) {
    while (bad - good > 1 && search.may_run(1)) {
        const uint64_t middle = good + (bad - good) / 2;
        (search.is_good(middle) ? good : bad) = middle;
    }
    return bad;
}

// What is known from all limits that were tried.
void compare_with_known(SEARCH& search) {
    FINDING& finding = search.finding;
    finding.good_again = finding.bad_before = 0;
    for (const auto& [limit, good] : search.good) {
        if (good && limit > finding.guilty && !finding.good_again) finding.good_again = limit;
        if (!good && limit + 1 < finding.guilty && !finding.bad_before) finding.bad_before = limit;
    }
}

void look_elsewhere(SEARCH& search) {
    const uint64_t guilty = search.finding.guilty;
    const uint64_t last = search.finding.changes == UNKNOWN_CHANGES ? guilty : search.finding.changes;
    const uint64_t below = guilty - 1;
    for (const uint64_t limit : {guilty + 1, guilty + (last - guilty) / 2, below / 2, below - below / 4})
        if (limit < last && search.may_run(1)) search.is_good(limit);
    compare_with_known(search);
}

bool is_steady(SEARCH& search) {
    const uint64_t guilty = search.finding.guilty;
    return search.trial(search.finding.level, guilty - 1).good &&
           !search.trial(search.finding.level, guilty).good;
}

void find_change(SEARCH& search) {
    FINDING& finding = search.finding;
    finding.answer = ANSWER::FAILS_WITHOUT_CHANGES;
    if (!search.is_good(0)) return;
    finding.answer = ANSWER::UNSTEADY;
    const uint64_t bad = finding.changes == UNKNOWN_CHANGES ? find_bad_limit(search) : finding.changes;
    if (bad == 0) return; // good and bad without a change
    search.good[bad] = false;
    finding.guilty = halve(search, 0, bad);
    look_elsewhere(search);
    if (finding.bad_before) {
        uint64_t good = 0;
        for (const auto& [limit, is_good] : search.good)
            if (is_good && limit < finding.bad_before) good = limit;
        finding.guilty = halve(search, good, finding.bad_before);
        compare_with_known(search);
    }
    if (is_steady(search)) finding.answer = ANSWER::FOUND;
}

} // namespace

FINDING search_change(const TRY& run, SEARCH_LIMITS limits, const std::function<int()>& highest_of) {
    SEARCH search{run, limits};
    constexpr int STEADY_RUNS = 2;
    search.limits.runs -= STEADY_RUNS;
    if (find_level(search, highest_of)) find_change(search);
    return search.finding;
}

} // namespace pelorus
