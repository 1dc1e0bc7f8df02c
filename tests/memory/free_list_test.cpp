// Free lists: reuse, the bounds of what they write, release and reports.
#include "memory/free_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

#include "memory/failing_heap.h"
#include "support/run.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

class FreeList : public testing::Test {
protected:
    void SetUp() override { reset_zones_for_test(); }
    void TearDown() override {
        run.current_function_name = nullptr;
        reset_zones_for_test();
    }
};

TEST_F(FreeList, GivesBackTheLastObjectAndKeepsItsFirstWord) {
    void* objects[3];
    for (uintptr_t i = 0; i < 3; i++) {
        objects[i] = zalloc(24);
        memcpy(objects[i], &i, sizeof i);
        put_free(objects[i], 24);
    }
    EXPECT_EQ(get_free(32), nullptr);
    for (uintptr_t i = 3; i-- > 0;) {
        void* object = get_free(24);
        EXPECT_EQ(object, objects[i]);
        EXPECT_EQ(memcmp(object, &i, sizeof i), 0);
    }
    EXPECT_EQ(get_free(24), nullptr);
}

TEST_F(FreeList, TheTableGrowsForPutOnly) {
    size_t beyond = free_list_table_length() + 5000;
    EXPECT_EQ(get_free(beyond), nullptr);
    EXPECT_LT(free_list_table_length(), beyond);
    put_free(zalloc(beyond), beyond);
    EXPECT_EQ(free_list_table_length(), beyond + 1);
    EXPECT_EQ(get_free(beyond - 1), nullptr);
    EXPECT_NE(get_free(beyond), nullptr);
}

TEST_F(FreeList, SmallObjectsAreNotWrittenBeyondTheirEnd) {
    for (size_t size = 4; size <= 33; size++) {
        char room[3][40];
        memset(room, 0x55, sizeof room);
        for (char* object : room) put_free(object, size);
        for (const char* object : room)
            for (size_t i = size; i < 40; i++) EXPECT_EQ(object[i], 0x55) << size;
        for (size_t i = 3; i-- > 0;) EXPECT_EQ(get_free(size), room[i]) << size;
        EXPECT_EQ(get_free(size), nullptr);
    }
}

TEST_F(FreeList, SizesBelowFourEndTheRun) {
    char object[4];
    for (size_t size : std::initializer_list<size_t>{0, 1, 3}) {
        EXPECT_THROW(put_free(object, size), FatalExit);
        EXPECT_THROW(get_free(size), FatalExit);
    }
}

TEST_F(FreeList, OutOfMemoryEndsTheRunAndLosesNothing) {
    char small[5];
    char large[64];
    put_free(large, 64);
    testing::internal::CaptureStderr();
    use_failing_heap();
    failing_heap.fail_after = 0;
    EXPECT_THROW(put_free(large, free_list_table_length()), FatalExit);
    EXPECT_THROW(for (int i = 0; i < 10000; i++) put_free(small, 5);, FatalExit);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(get_free(64), large);
}

struct CELL {
    int32_t number;
    CELL* link;
    char name[9];
};

TEST_F(FreeList, RecycledRecordsAreClear) {
    CELL* cell = new_recycled<CELL>();
    *cell = CELL{7, cell, "occupied"};
    recycle(cell);
    CELL* again = new_recycled<CELL>();
    EXPECT_EQ(again, cell);
    EXPECT_TRUE(again->number == 0 && !again->link && !again->name[0]);
    EXPECT_NE(new_recycled<CELL>(), cell);
}

TEST_F(FreeList, ReleaseEmptiesAllLists) {
    put_free(zalloc(48), 48);
    put_free(zalloc(8), 8);
    CELL* cell = zone_new<CELL>(true);
    put_typed(free_MIXB_list, cell, &CELL::link);
    release_local_zone();
    EXPECT_EQ(get_free(48), nullptr);
    EXPECT_EQ(get_free(8), nullptr);
    EXPECT_EQ(get_typed(free_MIXB_list, &CELL::link), nullptr);
    EXPECT_EQ(free_MIXB_list.count, 0);
}

TEST_F(FreeList, ReportsWhatTheListsHold) {
    CELL* cells = zone_array<CELL>(true, 3);
    for (int i = 0; i < 3; i++) put_typed(free_SUBRANGE_list, &cells[i], &CELL::link);
    EXPECT_EQ(get_typed(free_SUBRANGE_list, &CELL::link), &cells[2]);
    for (int i = 0; i < 3; i++) put_free(zalloc(16), 16);
    put_free(zalloc(104), 104);
    put_free(zalloc(6), 6);
    TraceCapture capture;
    run.current_function_name = "sort";
    report_typed_free_lists();
    report_generic_free_lists();
    EXPECT_EQ(capture.text(), "\n ==== CURRENT FREE LIST STORAGE CAPACITY ====\t\tsort()\n"
                              "   free_NODE_list:\t     0 objects,        0 bytes\n"
                              "   free_SUBRANGE_list:\t     2 objects,       64 bytes\n"
                              "   free_SIMDPAIR_list:\t     0 objects,        0 bytes\n"
                              "   free_MIXB_list:\t     0 objects,        0 bytes\n"
                              " ==== TOTAL:\t\t     2 objects,       64 bytes\n\n"
                              "\n ==== CURRENT GENERIC FREE LIST STORAGE CAPACITY ====\t\tsort()\n"
                              "     6-byte free list:\t     1 objects,        6 bytes\n"
                              "    16-byte free list:\t     3 objects,       48 bytes\n"
                              "   104-byte free list:\t     1 objects,      104 bytes\n"
                              " ==== TOTAL:\t\t     5 objects,      158 bytes\n\n");
}

TEST_F(FreeList, ReportsStandInOrderAndNameTheIntermission) {
    {
        TraceCapture capture;
        report_memory();
        std::string text = capture.text();
        size_t typed = text.find("==== CURRENT FREE LIST STORAGE CAPACITY ====\t\tIntermission\n");
        size_t generic = text.find("==== CURRENT GENERIC FREE LIST STORAGE CAPACITY ====\t\tIntermission\n");
        size_t statistics = text.find("==== MEMORY USAGE STATISTICS");
        EXPECT_LT(typed, generic);
        EXPECT_LT(generic, statistics);
        EXPECT_NE(statistics, std::string::npos);
    }
    TraceCapture off;
    trace_state.debug_output = false;
    report_memory();
    EXPECT_EQ(off.text(), "");
}

} // namespace
} // namespace pelorus
