// The search for a guilty change, with optimizers that are made up.
#include "search.h"

#include <gtest/gtest.h>

#include <set>

namespace pelorus {
namespace {

struct MADE_UP {
    int lowest_bad_level = 0;
    uint64_t changes = 1000;
    std::function<bool(uint64_t limit)> is_bad; // limit: at most `changes`
    bool reports = true;                        // a failing run says how many changes it made
    int own_level = -1;                         // what OWN_LEVEL means; -1: no level is given
    int runs = 0;
    std::vector<uint64_t> last{};

    TRIAL run(int level, uint64_t limit) {
        ++runs;
        last.push_back(limit);
        const uint64_t made = std::min(limit, changes);
        const bool bad = (level == OWN_LEVEL ? own_level : level) >= lowest_bad_level && is_bad(made);
        return {!bad, bad && !reports ? UNKNOWN_CHANGES : made};
    }
    FINDING search() {
        SEARCH_LIMITS limits;
        limits.own_level = own_level >= 0;
        return search_change([this](int level, uint64_t limit) { return run(level, limit); }, limits,
                             [this] { return own_level; });
    }
};

TEST(ChangeSearch, FindsEachPlaceInFewerThanFortyRuns) {
    for (const uint64_t changes : {1U, 2U, 3U, 1000U, 1'000'000U, 60'000'000U})
        for (const uint64_t guilty : {uint64_t{1}, changes / 3 + 1, changes})
            for (const bool reports : {true, false}) {
                if (!reports && changes > 1'000'000) continue;
                MADE_UP made_up{3, changes, [guilty](uint64_t limit) { return limit >= guilty; }, reports};
                const FINDING finding = made_up.search();
                EXPECT_EQ(finding.answer, ANSWER::FOUND);
                EXPECT_EQ(finding.level, 3);
                EXPECT_EQ(finding.guilty, guilty);
                EXPECT_EQ(finding.good_again + finding.bad_before, 0U);
                EXPECT_LT(made_up.runs, 40);
                const size_t end = made_up.last.size();
                EXPECT_EQ(made_up.last[end - 2], guilty - 1)
                    << "the last two runs are those before and after";
                EXPECT_EQ(made_up.last[end - 1], guilty);
            }
}

TEST(ChangeSearch, LooksBelowTheLevelThatIsGiven) {
    MADE_UP made_up{1, 50, [](uint64_t limit) { return limit >= 7; }, true, 4};
    EXPECT_EQ(made_up.search().level, 1);
    made_up.own_level = 1;
    EXPECT_EQ(made_up.search().level, OWN_LEVEL);
    made_up.own_level = 0;
    EXPECT_EQ(made_up.search().answer, ANSWER::NEVER_FAILS);
    EXPECT_EQ((MADE_UP{5, 50, made_up.is_bad}).search().answer, ANSWER::NEVER_FAILS);
}

TEST(ChangeSearch, SaysWhenNoChangeIsToBlame) {
    MADE_UP always{0, 50, [](uint64_t) { return true; }};
    EXPECT_EQ(always.search().answer, ANSWER::FAILS_WITHOUT_CHANGES);
    EXPECT_EQ(always.runs, 2);
    int calls = 0;
    MADE_UP unsteady{0, 50, [&calls](uint64_t limit) { return limit > 20 && ++calls <= 4; }};
    EXPECT_EQ(unsteady.search().answer, ANSWER::UNSTEADY);
    MADE_UP nothing_to_do{0, 0, [&calls](uint64_t) { return calls++ == 0; }};
    calls = 0;
    EXPECT_EQ(nothing_to_do.search().answer, ANSWER::UNSTEADY);
}

TEST(ChangeSearch, RecognisesFaultsThatComeAndGo) {
    MADE_UP hidden{0, 1000, [](uint64_t limit) { return limit == 1000 || (limit >= 700 && limit < 800); }};
    const FINDING behind = hidden.search();
    EXPECT_EQ(behind.answer, ANSWER::FOUND);
    EXPECT_TRUE(behind.guilty == 700 || behind.guilty == 1000) << behind.guilty;
    EXPECT_TRUE(behind.good_again || behind.bad_before || behind.guilty == 1000);
    // Bad from 100 to 600 as well: the search goes on at the earlier one when it meets it.
    MADE_UP twice{0, 1000, [](uint64_t limit) { return limit >= 900 || (limit >= 100 && limit < 450); }};
    const FINDING first = twice.search();
    EXPECT_EQ(first.answer, ANSWER::FOUND);
    EXPECT_EQ(first.guilty, 100U);
    EXPECT_GT(first.good_again, first.guilty);
    EXPECT_LT(twice.runs, 40);
}

} // namespace
} // namespace pelorus
