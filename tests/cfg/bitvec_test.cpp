// Bit vectors: the set operations against a plain model, and the growth, tail and mismatch behaviour.
#include "cfg/bitvec.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <vector>

#include "support/test_support.h"

namespace pelorus {
namespace {

using MEMBERS = std::set<uint32_t>;

std::vector<std::string> reports;
void collect(const char* message) { reports.emplace_back(message); }

class Bitvec : public testing::Test {
protected:
    void SetUp() override {
        reset_zones_for_test();
        reports.clear();
        before_ = bv_report;
        bv_report = collect;
    }
    void TearDown() override {
        for (bitvec* v : made_) bv_free(v);
        bv_report = before_;
        reset_zones_for_test();
    }

    // A vector that ends with the test, with dirty tail bits when it has a tail.
    bitvec* make(uint32_t n, const MEMBERS& members = {}) {
        bitvec* v = new_bitvec(n, false);
        made_.push_back(v);
        for (uint32_t i : members) bv_set(v, i);
        bv_set_tail(v);
        return v;
    }

private:
    void (*before_)(const char*) = nullptr;
    std::vector<bitvec*> made_;
};

MEMBERS members(const bitvec* v) {
    MEMBERS result;
    for (uint32_t i = bv_next(v, 0); i != BV_NONE; i = bv_next(v, i + 1)) result.insert(i);
    return result;
}

MEMBERS from_to(uint32_t lo, uint32_t hi) {
    MEMBERS result;
    for (uint32_t i = lo; i <= hi; i++) result.insert(i);
    return result;
}

// The same set as tested member by member.
MEMBERS members_by_test(const bitvec* v) {
    MEMBERS result;
    for (uint32_t i = 0; i < v->n_bits + 40; i++)
        if (bv_test(v, i)) result.insert(i);
    return result;
}

class BitvecModel : public Bitvec {
protected:
    std::mt19937 random{20};
    uint32_t below(uint32_t n) { return uint32_t(random() % n); }

    MEMBERS some(uint32_t n) {
        MEMBERS result;
        for (uint32_t i = 0; i < n; i++)
            if (random() % 2) result.insert(i);
        return result;
    }
};

// Sizes around the word boundaries; the destination is big enough, and at times one of the sources.
TEST_F(BitvecModel, WholeSetOperationsAgreeWithSets) {
    const uint32_t sizes[] = {0, 1, 31, 32, 33, 63, 64, 65, 100, 128};
    for (int round = 0; round < 2000; round++) {
        uint32_t n_a = sizes[below(10)];
        uint32_t n_b = sizes[below(10)];
        uint32_t n_dst = std::max(n_a, n_b) + below(3) * 31;
        int alias = int(below(3));
        if (alias == 1) n_a = n_dst;
        if (alias == 2) n_b = n_dst;
        MEMBERS in_a = some(n_a);
        MEMBERS in_b = some(n_b);
        bitvec* a = make(n_a, in_a);
        bitvec* b = make(n_b, in_b);
        bitvec* dst = alias == 1 ? a : alias == 2 ? b : make(n_dst, some(n_dst));
        MEMBERS expected;
        bool changed = false;
        bool told = false;
        int operation = int(below(5));
        MEMBERS before = members(dst);
        switch (operation) {
        case 0:
            for (uint32_t i : in_a)
                if (in_b.count(i)) expected.insert(i);
            bv_and3(dst, a, b);
            break;
        case 1:
            for (uint32_t i : in_a)
                if (!in_b.count(i)) expected.insert(i);
            bv_diff(dst, a, b);
            break;
        case 2:
        case 3:
            expected = before;
            expected.insert(in_b.begin(), in_b.end());
            changed = told = expected != before;
            if (operation == 2)
                bv_merge(dst, b);
            else
                told = bv_union(dst, b);
            break;
        case 4:
            if (n_b != n_dst) continue;
            expected = in_b;
            changed = expected != before;
            told = bv_cmp_cpy(dst, b);
            break;
        }
        SCOPED_TRACE(testing::Message() << "operation " << operation << ", alias " << alias << ", sizes "
                                        << n_dst << " " << n_a << " " << n_b);
        ASSERT_EQ(members(dst), expected);
        ASSERT_EQ(members_by_test(dst), expected);
        ASSERT_EQ(told, changed);
        ASSERT_EQ(dst->n_bits, n_dst);
        ASSERT_TRUE(dst == a || members(a) == in_a);
        ASSERT_TRUE(dst == b || members(b) == in_b);
    }
    EXPECT_THAT(reports, testing::IsEmpty());
}

TEST_F(BitvecModel, RangesAgreeWithSets) {
    for (int round = 0; round < 2000; round++) {
        uint32_t n = 1 + below(140);
        uint32_t lo = below(n);
        uint32_t hi = lo + below(n - lo);
        MEMBERS in_dst = some(n);
        MEMBERS in_src = some(n);
        bitvec* dst = make(n, in_dst);
        bitvec* src = make(n, in_src);
        MEMBERS cleared;
        MEMBERS copied;
        for (uint32_t i = 0; i < n; i++) {
            bool inside = i >= lo && i <= hi;
            if (!inside && in_dst.count(i)) cleared.insert(i);
            if ((inside ? in_src : in_dst).count(i)) copied.insert(i);
        }
        SCOPED_TRACE(testing::Message() << lo << ".." << hi << " of " << n);
        bv_copy_range(dst, src, lo, hi);
        ASSERT_EQ(members(dst), copied);
        bv_clear_range(dst, lo, hi);
        ASSERT_EQ(members(dst), cleared);
    }
    EXPECT_THAT(reports, testing::IsEmpty());
}

TEST_F(Bitvec, GrowingBeyondTheStorageSetsTheWordsThatAreNew) {
    bitvec* v = make(40, {3, 39});
    bv_resize(v, 100);
    MEMBERS expected = from_to(64, 99);
    expected.insert({3, 39});
    EXPECT_EQ(members(v), expected);
    EXPECT_EQ(v->n_words, 4u);
    EXPECT_EQ(v->n_alloc, 4u);

    bv_resize(v, 20); // clears nothing
    EXPECT_EQ(v->n_words, 1u);
    EXPECT_EQ(v->n_alloc, 4u);
    bv_resize(v, 128); // inside the storage: what is new is clear
    EXPECT_EQ(members(v), MEMBERS{3});
}

TEST_F(Bitvec, SetGrowsAnEmptyVector) {
    bitvec* v = make(0);
    EXPECT_EQ(v->words, nullptr);
    bv_set(v, 5);
    EXPECT_EQ(v->n_bits, 6u);
    EXPECT_EQ(v->n_words, 1u);
    EXPECT_TRUE(bv_test(v, 5));
    EXPECT_FALSE(bv_test(v, 6) || bv_test(v, 1000) || bv_test(v, BV_NONE));
    bv_set(v, BV_NONE);
    EXPECT_EQ(v->n_bits, 6u);
    EXPECT_THAT(reports, testing::ElementsAre("Index beyond size", "Index beyond size"));
}

TEST_F(Bitvec, RangesBeyondTheEnd) {
    bitvec* v = make(10, {2, 9});
    bv_clear_range(v, 10, 4);
    bv_clear_range(v, 0, BV_NONE);
    bv_copy_range(v, make(10), 10, 4);
    bv_copy_range(v, make(10), 0, BV_NONE);
    EXPECT_EQ(members(v), (MEMBERS{2, 9}));
    EXPECT_THAT(reports, testing::IsEmpty());

    bv_clear_range(v, 9, 40);
    EXPECT_EQ(v->n_bits, 41u);
    EXPECT_EQ(members(v), MEMBERS{2});
    EXPECT_THAT(reports, testing::ElementsAre("Endpoint beyond size"));

    reports.clear();
    bitvec* dst = make(8);
    bv_copy_range(dst, make(20, {1, 7, 15}), 5, 60); // both end before 60
    EXPECT_EQ(dst->n_bits, 20u);
    EXPECT_EQ(members(dst), (MEMBERS{7, 15}));
    EXPECT_THAT(reports, testing::ElementsAre("Endpoint beyond size", "Endpoint beyond size"));

    reports.clear();
    bv_copy_range(dst, make(4, {1}), 5, 6); // all of it beyond the source
    bv_copy_range(dst, make(0), 0, 6);
    EXPECT_EQ(members(dst), (MEMBERS{7, 15}));
    EXPECT_THAT(reports, testing::ElementsAre("Endpoint beyond size", "Endpoint beyond size"));
}

TEST_F(Bitvec, MismatchedSizesAreReportedAndTheDestinationResized) {
    bitvec* merged = make(40, {1});
    bv_merge(merged, make(70, {50, 66}));
    MEMBERS expected = from_to(64, 69); // the word that is new
    expected.insert({1, 50});
    EXPECT_EQ(merged->n_bits, 70u);
    EXPECT_EQ(members(merged), expected);

    bitvec* united = make(3, {1});
    EXPECT_FALSE(bv_union(united, make(20, {1})));
    EXPECT_TRUE(bv_union(united, make(20, {19})));
    EXPECT_EQ(members(united), (MEMBERS{1, 19}));

    bitvec* both = make(10);
    bv_and3(both, make(50, {4, 45}), make(100, {4, 45, 80}));
    EXPECT_EQ(members(both), (MEMBERS{4, 45}));
    EXPECT_EQ(both->n_bits, 50u);

    bitvec* subtrahend = make(40, {4, 39});
    bv_diff(subtrahend, make(100, {4, 5, 70}), subtrahend); // grows under its own feet
    EXPECT_EQ(members(subtrahend), (MEMBERS{5, 70}));
    EXPECT_EQ(subtrahend->n_bits, 100u);

    bitvec* copy = make(100, {7, 80});
    EXPECT_TRUE(bv_cmp_cpy(copy, make(40, {7, 8})));
    bv_set_tail(copy); // which is no difference
    EXPECT_FALSE(bv_cmp_cpy(copy, make(40, {7, 8})));
    EXPECT_EQ(copy->n_bits, 40u);
    EXPECT_EQ(members(copy), (MEMBERS{7, 8}));

    bv_merge(copy, nullptr);
    EXPECT_FALSE(bv_union(copy, nullptr));
    EXPECT_THAT(reports,
                testing::ElementsAre("Vector size mismatch bv_merge", "Vector size mismatch bv_union",
                                     "Vector size mismatch bv_and3", "Vector size mismatch bv_diff",
                                     "Vector size mismatch bv_cmp_cpy"));
}

TEST_F(Bitvec, ReadingASourceClearsItsTail) {
    bitvec* src = make(40, {1});
    EXPECT_NE(src->words[1], 0u);
    bitvec* wider = make(64);
    bv_merge(wider, src);
    EXPECT_EQ(src->words[1], 0u);
    EXPECT_EQ(members(wider), MEMBERS{1});
    bv_set_tail(src);
    bv_assign(wider, src);
    bv_resize(wider, 64);
    EXPECT_EQ(members(wider), MEMBERS{1});
    bitvec* full = make(64);
    bv_set_tail(full);
    EXPECT_THAT(members(full), testing::IsEmpty()); // no tail
}

TEST_F(Bitvec, AssignmentTakesTheSizeOfTheSource) {
    bitvec* src = make(70, {0, 69});
    bitvec* unsized = make(0);
    EXPECT_EQ(bv_assign(unsized, src), unsized);
    EXPECT_EQ(members(unsized), (MEMBERS{0, 69}));
    EXPECT_EQ(unsized->n_alloc, 3u);
    EXPECT_EQ(bv_assign(unsized, unsized), unsized);
    bv_assign(unsized, make(5, {4}));
    EXPECT_EQ(unsized->n_bits, 5u);
    EXPECT_EQ(unsized->n_alloc, 3u);
    EXPECT_EQ(members(unsized), MEMBERS{4});
    EXPECT_THAT(reports, testing::IsEmpty());

    bitvec* small = make(5, {4});
    bv_assign(small, src);
    EXPECT_EQ(members(small), (MEMBERS{0, 69}));
    EXPECT_THAT(reports, testing::ElementsAre("Assigning a larger to smaller vector"));

    bv_resize(small, 0); // sized before, with storage of its own
    bv_assign(small, src);
    EXPECT_EQ(members(small), (MEMBERS{0, 69}));
    bv_assign(small, make(0));
    EXPECT_EQ(small->n_bits, 0u);
}

TEST_F(Bitvec, ZonedVectorsAreNotFreedAndMoveToTheHeapWhenTheyGrow) {
    for (const ZONE* zone : {&function_zone, &file_zone}) {
        reports.clear();
        bitvec v;
        bv_init(&v, 40, zone, true);
        EXPECT_EQ(in_zone(v.words), zone->local);
        EXPECT_EQ(members(&v), from_to(0, 39));
        uint32_t* storage = v.words;
        bv_free(&v);
        EXPECT_EQ(v.words, storage);
        bv_resize(&v, 65);
        EXPECT_EQ(members(&v).count(64), 1u);
        EXPECT_FALSE(bv_test(&v, 40));
        EXPECT_FALSE(in_zone(v.words));
        bv_free(&v);
        bv_free(&v);
        EXPECT_EQ(v.words, nullptr);
        EXPECT_THAT(reports, testing::ElementsAre("Should not free a zoned bitvector",
                                                  "Should not grow zoned bitvec"));
    }
}

TEST_F(Bitvec, LocalVectorsGoWithTheFunction) {
    new_bitvec(40, true);
    bitvec* freed_early = new_bitvec(100, true);
    bv_free(freed_early);
    bv_resize(new_bitvec(3, true), 300); // sanitizer builds see whether the storage is given back
    bv_free(new_bitvec(500, false));
    EXPECT_EQ(zone_statistics().local_bitvecs, 3);
    EXPECT_EQ(zone_statistics().local_bitvec_bits, 143);
    EXPECT_EQ(zone_statistics().max_bitvec_bits, 100);
    release_local_zone();

    bitvec* zoned = new_bitvec(40, true);
    bv_free(zoned);
    bv_init(zoned, 40, &function_zone, false);
    new_bitvec(40, true);
    TraceCapture capture;
    testing::internal::CaptureStderr();
    release_local_zone();
    const std::string message = "INTERNAL ERROR: Should not free a zoned bitvector\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), message);
    EXPECT_EQ(capture.text(), message);
    release_local_zone(); // the list is empty now
    EXPECT_EQ(capture.text(), message);
}

TEST_F(Bitvec, SearchesGoOnFromAnyPlaceAndPassWhatIsNoMember) {
    const MEMBERS all{0, 31, 32, 69};
    const bitvec* v = make(70, all);
    for (uint32_t place = 0; place <= 80; ++place) {
        const auto above = all.lower_bound(place);
        EXPECT_EQ(bv_next(v, place), above == all.end() ? BV_NONE : *above);
        EXPECT_EQ(bv_previous(v, place), above == all.begin() ? BV_NONE : *std::prev(above));
    }
}

TEST_F(Bitvec, ATableHasItsWordsTogetherAndItsVectorsApart) {
    BITVEC_TABLE table;
    bv_make_table(&table, 3, 40);
    for (uint32_t i = 0; i < table.count; ++i) bv_fill(&table.sets[i], i != 1);
    bv_set(&table.sets[1], 39);
    EXPECT_EQ(members(&table.sets[0]), from_to(0, 39));
    EXPECT_EQ(members(&table.sets[1]), MEMBERS{39});
    EXPECT_EQ(members(&table.sets[2]), from_to(0, 39));
    bv_resize(&table.sets[2], 200);
    EXPECT_EQ(reports, std::vector<std::string>{"Should not grow zoned bitvec"})
        << "it has no storage of its own";
    bv_free(&table.sets[2]);
    bv_free_table(&table);
    EXPECT_EQ(table.count, 0U);
}

TEST_F(Bitvec, DumpsItsMembers) {
    TraceCapture capture;
    bv_dump(make(70, {0, 31, 32, 69}));
    EXPECT_EQ(capture.text(), "\n\nBITVEC INFORMATION\n   Number of elements = 70\n"
                              "   Set elements: 0, 31, 32, 69, \n");
}

} // namespace
} // namespace pelorus
