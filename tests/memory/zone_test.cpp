// The zone allocator: placement, limits, release, out-of-memory paths, and what the reports say.
#include "memory/zone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "memory/failing_heap.h"
#include "memory/free_list.h"
#include "support/pseudo_options.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

class Zone : public testing::Test {
protected:
    void SetUp() override {
        reset_zones_for_test();
        use_failing_heap();
    }
    void TearDown() override { reset_zones_for_test(); }
};

char* bytes(void* block) { return static_cast<char*>(block); }

TEST_F(Zone, PlacesRequestsBackToBackAndCountsEachByte) {
    char* first = bytes(zalloc(3));
    EXPECT_EQ(bytes(zalloc(5)), first + 3);
    EXPECT_EQ(bytes(ZALLOC0(true, 1)), first + 8);
    EXPECT_EQ(bytes(zalloc(0)), first + 9);
    ZALLOC0(false, 100);
    ZALLOC0(false, 7);
    const ZONE_STATISTICS& statistics = zone_statistics();
    EXPECT_EQ(statistics.local_bytes, 9);
    EXPECT_EQ(statistics.local_calls, 4);
    EXPECT_EQ(statistics.largest_local, 5);
    EXPECT_EQ(statistics.global_bytes, 107);
    EXPECT_EQ(statistics.global_calls, 2);
    EXPECT_EQ(statistics.largest_global, 100);
}

TEST_F(Zone, LargeRequestsGetBuffersOfTheirOwnSize) {
    zalloc(16384);
    zalloc(16384); // fills the first buffer to the last byte
    EXPECT_THAT(failing_heap.requests, testing::ElementsAre(sizeof(ZONE_BUFFER), 32768));
    zalloc(16385);
    zalloc(1);
    EXPECT_THAT(failing_heap.requests, testing::ElementsAre(sizeof(ZONE_BUFFER), 32768, sizeof(ZONE_BUFFER),
                                                            16385, sizeof(ZONE_BUFFER), 32768));
}

TEST_F(Zone, LooksAtEightBuffersAndGivesTheNinthUp) {
    char* roomy = bytes(zalloc(100));
    for (int i = 0; i < 7; i++) zalloc(32700);
    EXPECT_EQ(bytes(zalloc(50)), roomy + 100); // the eighth
    zalloc(32700);
    size_t requests = failing_heap.requests.size();
    char* elsewhere = bytes(zalloc(50)); // would fit in the ninth only
    EXPECT_NE(elsewhere, roomy + 150);
    EXPECT_EQ(failing_heap.requests.size(), requests + 2);

    TraceCapture capture;
    report_zone_statistics();
    EXPECT_EQ(zone_statistics().fragmentation, 32768 - 150);
    release_local_zone();
    report_zone_statistics();
    EXPECT_EQ(zone_statistics().fragmentation, 0);
    EXPECT_EQ(zone_statistics().max_fragmentation, 32768 - 150);
}

TEST_F(Zone, KnowsItsAddresses) {
    int outside = 0;
    EXPECT_FALSE(in_zone(&outside));
    std::vector<std::pair<char*, size_t>> blocks;
    for (size_t i = 0; i < 40; i++) {
        size_t size = i % 3 ? 16385 + 977 * i : 32768;
        blocks.emplace_back(bytes(zalloc(size)), size);
        EXPECT_TRUE(in_zone(blocks.back().first)); // asked while the chain grows
    }
    void* global = ZALLOC0(false, 20000); // lies among the buffers, in the address range
    for (auto [block, size] : blocks) {
        EXPECT_TRUE(in_zone(block) && in_zone(block + size - 1));
    }
    EXPECT_FALSE(in_zone(global));
    set_zone_checking(true);
    EXPECT_FALSE(in_zone(blocks[0].first));
    set_zone_checking(false);
    release_local_zone();
    for (auto [block, size] : blocks) EXPECT_FALSE(in_zone(block) || in_zone(block + size - 1));
}

TEST_F(Zone, CheckingModeFreesItsBlocksLastFirst) {
    set_zone_checking(true);
    std::vector<void*> blocks;
    for (size_t size : std::initializer_list<size_t>{1, 40000, 0, 8, 8}) blocks.push_back(zalloc(size));
    EXPECT_EQ(failing_heap.requests[2], 40000u);
    EXPECT_FALSE(in_zone(blocks[1]));
    EXPECT_EQ(zone_statistics().local_bytes, 40017);
    failing_heap.freed.clear();
    release_local_zone();
    ASSERT_EQ(failing_heap.freed.size(), blocks.size() + 1); // and the array that recorded them
    for (size_t i = 0; i < blocks.size(); i++)
        EXPECT_EQ(failing_heap.freed[i], blocks[blocks.size() - 1 - i]);
}

int released_value = 0;
int hook_calls = 0;
int* watched = nullptr;
void read_watched() {
    hook_calls++;
    released_value = watched ? *watched : 0;
}

TEST_F(Zone, ReleaseGivesAllBackAndKeepsTheMaxima) {
    at_local_release(read_watched);
    at_local_release(read_watched);
    hook_calls = 0;
    watched = zone_new<int>(true);
    *watched = 42;
    zalloc(30000);
    zalloc(30000);
    release_local_zone();
    watched = nullptr;
    EXPECT_EQ(hook_calls, 1);
    EXPECT_EQ(released_value, 42); // the zone could still be read
    EXPECT_EQ(failing_heap.freed.size(), failing_heap.requests.size());

    zalloc(10);
    zalloc(10);
    zalloc(10);
    zalloc(10);
    release_local_zone();
    const ZONE_STATISTICS& statistics = zone_statistics();
    EXPECT_EQ(statistics.local_bytes, 0);
    EXPECT_EQ(statistics.local_calls, 0);
    EXPECT_EQ(statistics.max_local_bytes, 60008);
    EXPECT_EQ(statistics.max_local_calls, 4);
    EXPECT_EQ(statistics.largest_local, 30000);
}

TEST_F(Zone, RetriesWithHalfTheBufferWhileThatHoldsTheRequest) {
    testing::internal::CaptureStdout();
    failing_heap.fail_above = 4096;
    char* block = bytes(zalloc(100));
    EXPECT_THAT(failing_heap.requests, testing::ElementsAre(sizeof(ZONE_BUFFER), 32768, 16384, 8192, 4096));
    EXPECT_TRUE(in_zone(block + 4095));
    EXPECT_FALSE(in_zone(block + 4096));
    failing_heap.requests.clear();
    EXPECT_THROW(zalloc(4096), FatalExit); // 4096 is not more than the request
    EXPECT_THAT(failing_heap.requests, testing::ElementsAre(sizeof(ZONE_BUFFER), 32768, 16384, 8192));
    failing_heap.requests.clear();
    EXPECT_THROW(zalloc(20000), FatalExit);
    EXPECT_THAT(failing_heap.requests, testing::ElementsAre(sizeof(ZONE_BUFFER), 20000));
    testing::internal::GetCapturedStdout();
}

struct OUT_OF_MEMORY_CASE {
    const char* what;
    int fail_after;
    std::function<void()> request;
    const char* debug_text;
    const char* error_text;
    const char* output_text;
};

TEST_F(Zone, EveryWayOfRunningOutOfMemoryEndsTheRunWithItsMessages) {
    const char* abort_text = "\n>>>ERROR - OUT OF MEMORY - OPTIMIZER ABORTED";
    const char* buffer_text = "\n>>>ERROR - OUT OF MEMORY - OPTIMIZER ABORTED\n";
    const OUT_OF_MEMORY_CASE cases[] = {
        {"global request", 0, [] { ZALLOC0(false, 12); },
         "\n>>>ERROR - ZALLOC0(12) IS OUT OF MEMORY\n>>>      - OPTIMIZER ABORTED\n", abort_text, ""},
        {"checked request", 0,
         [] {
             set_zone_checking(true);
             zalloc(12);
         },
         "\n>>>ERROR - ZALLOC(12) IS OUT OF MEMORY\n>>>      - OPTIMIZER ABORTED\n", abort_text, ""},
        {"array of checked blocks", 1,
         [] {
             set_zone_checking(true);
             zalloc(12);
         },
         "\n>>>ERROR - ZALLOC(12) IS OUT OF MEMORY\n>>>      - OPTIMIZER ABORTED\n", abort_text, ""},
        {"buffer header", 0, [] { zalloc(12); },
         "\n>>>ERROR - ZALLOC_NEW_BUFFER(12) IS OUT OF MEMORY - OPTIMIZER ABORTED\n", "", buffer_text},
        {"buffer storage", 1, [] { zalloc(20000); },
         "\n>>>ERROR - ZALLOC_NEW_BUFFER(20000) IS OUT OF MEMORY - OPTIMIZER ABORTED\n", "", buffer_text},
        {"absurd size", -1, [] { zalloc(size_t(1) << 31); },
         "\n>>>ERROR - ZALLOC_NEW_BUFFER(-2147483648) IS OUT OF MEMORY - OPTIMIZER ABORTED\n", "",
         buffer_text},
        {"array too long", -1, [] { zone_array<int64_t>(false, SIZE_MAX / 4); },
         "\n>>>ERROR - ZALLOC0(4294967295) IS OUT OF MEMORY\n>>>      - OPTIMIZER ABORTED\n", abort_text, ""},
    };
    for (const OUT_OF_MEMORY_CASE& c : cases) {
        SCOPED_TRACE(c.what);
        reset_zones_for_test();
        use_failing_heap();
        failing_heap.fail_after = c.fail_after;
        TraceCapture capture;
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        EXPECT_THROW(c.request(), FatalExit);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.output_text);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.error_text);
        EXPECT_EQ(capture.text(), c.debug_text);
        size_t granted = c.fail_after > 0 ? size_t(c.fail_after) : 0;
        EXPECT_EQ(failing_heap.freed.size(), granted) << "something stays behind";
    }
}

TEST_F(Zone, ReportsItsStatisticsAndEmptiesTheHistogram) {
    ZALLOC0(false, 64);
    set_zone_histogram(true);
    for (size_t size : std::initializer_list<size_t>{100, 8, 100, 24}) zalloc(size);
    zone_statistics().local_bitvecs = 2;
    zone_statistics().local_bitvec_bits = 140;
    zone_statistics().max_bitvec_bits = 100;
    release_local_zone();
    zalloc(8);
    const std::string statistics = "\n ==== MEMORY USAGE STATISTICS ====\n"
                                   "        64 BYTES FOR LARGEST REQUEST/GLOBAL ZONE\n"
                                   "       100 BYTES FOR LARGEST REQUEST/LOCAL ZONE\n"
                                   "        64 BYTES ALLOCATED IN THE GLOBAL ZONE\n"
                                   "         8 BYTES ALLOCATED IN THE LOCAL ZONE\n"
                                   "       232 MAX BYTES ALLOCATED IN THE LOCAL ZONE\n"
                                   "         0 BYTES LOST TO FRAGMENTATION (LOCAL)\n"
                                   "         0 MAX BYTES LOST TO FRAGMENTATION\n"
                                   "         1 CALLS FOR GLOBAL ALLOCATION\n"
                                   "         1 CALLS FOR LOCAL ALLOCATION\n"
                                   "         4 MAX CALLS FOR LOCAL ALLOCATION\n"
                                   "         2 LOCAL BITVECS ALLOCATED\n"
                                   "       140 BITS IN LOCAL BITVECS\n"
                                   "       100 MAX BITVEC ALLOCATED\n";
    {
        TraceCapture capture;
        report_zone_statistics();
        EXPECT_EQ(capture.text(), statistics + "\nAllocation histogram:\n"
                                               "  8 bytes:  2 times\n"
                                               "  24 bytes:  1 times\n"
                                               "  100 bytes:  2 times\n");
    }
    TraceCapture again;
    report_zone_statistics();
    EXPECT_EQ(again.text(), statistics + "\nAllocation histogram:\n");
}

TEST_F(Zone, PseudoOptionsChooseCheckingAndHistogram) {
    add_pseudo_options("debug", "zalloc,allochist");
    zone_start();
    EXPECT_TRUE(zone_checking());
    zalloc(6);
    TraceCapture capture;
    report_zone_statistics();
    EXPECT_THAT(capture.text(), testing::HasSubstr("histogram:\n  6 bytes:  1 times\n"));
    clear_pseudo_options();
    release_local_zone();
    zone_start();
    EXPECT_FALSE(zone_checking());
}

struct RECORD {
    int64_t number;
    char letter;
    int32_t marked = -1;
};

TEST_F(Zone, TypedHelpersClearAlignAndCopy) {
    for (bool local : {true, false}) {
        char* text = zone_string(local, "seven b");
        char* odd = zone_bytes(local, "ab\0c", 4);
        RECORD* record = zone_new<RECORD>(local);
        int16_t* numbers = zone_array<int16_t>(local, 3);
        RECORD* next = zone_new<RECORD>(local);
        EXPECT_STREQ(text, "seven b");
        EXPECT_EQ(std::string(odd, 4), std::string("ab\0c", 4));
        EXPECT_EQ(record->number, 0);
        EXPECT_EQ(record->letter, 0);
        EXPECT_EQ(record->marked, -1);
        EXPECT_EQ(numbers[0] | numbers[1] | numbers[2], 0);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(next) % 8, 0u);
        EXPECT_EQ(in_zone(text) && in_zone(next), local);
        EXPECT_STREQ(zone_string(local, {}), "");
    }
}

} // namespace
} // namespace pelorus
