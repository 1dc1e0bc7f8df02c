// The interpreter's memory: what an access may touch, how long an error can be found, how objects are named.
#include "icode-run/memory.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

namespace pelorus {
namespace {

struct Release {
    void operator()(MEMORY* memory) const { release_memory(memory); }
};

struct RunMemory : testing::Test {
    std::unique_ptr<MEMORY, Release> owner{make_memory(64u << 20)};
    MEMORY& memory = *owner;
    ADDRESS make(uint32_t size, OBJECT_KIND kind = OBJECT_KIND::HEAP, uint32_t alignment = 8,
                 std::string_view name = "x") {
        return make_object(memory, kind, size, alignment, name);
    }
    ACCESS_FAULT read(ADDRESS address, uint32_t size) { return check_access(memory, address, size, false); }
    ACCESS_FAULT write(ADDRESS address, uint32_t size) { return check_access(memory, address, size, true); }
};

TEST_F(RunMemory, AnObjectIsItsBytesAndNoOther) {
    for (uint32_t size : {1u, 3u, 8u, 13u, 40u, 4096u, 100001u}) {
        const ADDRESS a = make(size), b = make(size);
        for (ADDRESS object : {a, b}) {
            EXPECT_EQ(write(object, size), ACCESS_FAULT::NONE);
            EXPECT_EQ(read(object - 1, 1), ACCESS_FAULT::OUTSIDE);
            EXPECT_EQ(read(object, size + 1), ACCESS_FAULT::OUTSIDE);
            EXPECT_EQ(read(object + size, 1), ACCESS_FAULT::OUTSIDE);
        }
    }
    EXPECT_EQ(read(4, 4), ACCESS_FAULT::NULL_POINTER);
    EXPECT_EQ(read(0xFFFFFFFE, 8), ACCESS_FAULT::OUTSIDE);
}

// The quick question of the interpreter and the long one must agree at every offset.
TEST_F(RunMemory, QuickChecksAgree) {
    const MEMORY_VIEW view = view_of(memory);
    const ADDRESS fixed = make(21, OBJECT_KIND::CONSTANT), plain = make(21), gone = make(21);
    const ADDRESS code = make(4, OBJECT_KIND::FUNCTION);
    end_object(memory, gone);
    for (ADDRESS object : {fixed, plain, gone, code})
        for (ADDRESS at = object - 16; at < object + 40; at += 4) {
            EXPECT_EQ(can_read<4>(view, at), read(at, 4) == ACCESS_FAULT::NONE);
            EXPECT_EQ(can_write<4>(view, at), write(at, 4) == ACCESS_FAULT::NONE);
            EXPECT_EQ(can_read<1>(view, at + 1), read(at + 1, 1) == ACCESS_FAULT::NONE);
            if (at % 8 == 0) {
                EXPECT_EQ(can_write<8>(view, at), write(at, 8) == ACCESS_FAULT::NONE);
            }
        }
    EXPECT_EQ(write(fixed, 4), ACCESS_FAULT::CONSTANT);
    EXPECT_EQ(write(gone, 4), ACCESS_FAULT::ENDED);
    EXPECT_EQ(read(code, 4), ACCESS_FAULT::FUNCTION);
}

TEST_F(RunMemory, EndedObjectsRestAndComeBackClear) {
    const ADDRESS first = make(24);
    memset(bytes_at(memory, first), 0xFF, 24);
    EXPECT_TRUE(end_object(memory, first));
    EXPECT_FALSE(end_object(memory, first));
    EXPECT_FALSE(end_object(memory, first + 8));
    for (int i = 0; i < 20; i++) end_object(memory, make(24));
    EXPECT_EQ(read(first, 1), ACCESS_FAULT::ENDED);
    bool came_back = false;
    for (int i = 0; i < 200; i++) {
        const ADDRESS next = make(24);
        came_back |= next == first;
        EXPECT_EQ(*bytes_at(memory, next), 0);
        EXPECT_EQ(read(next, 24), ACCESS_FAULT::NONE);
        EXPECT_EQ(read(next, 25), ACCESS_FAULT::OUTSIDE);
        end_object(memory, next);
    }
    EXPECT_TRUE(came_back);
}

TEST_F(RunMemory, TheLimitCountsWhatLives) {
    EXPECT_EQ(make(65u << 20), 0u);
    EXPECT_EQ(make(0xFFFFFFF0), 0u);
    for (int i = 0; i < 100; i++) EXPECT_TRUE(end_object(memory, make(30u << 20)));
    const ADDRESS most = make(60u << 20);
    EXPECT_NE(most, 0u);
    EXPECT_EQ(make(30u << 20), 0u);
    end_object(memory, most);
    EXPECT_NE(make(30u << 20), 0u);
}

TEST_F(RunMemory, Alignment) {
    for (uint32_t alignment : {1u, 16u, 64u, 4096u, 65536u})
        for (int i = 0; i < 3; i++) {
            const ADDRESS object = make(100, OBJECT_KIND::GLOBAL, alignment);
            EXPECT_EQ(object % alignment, 0u);
            EXPECT_EQ(write(object, 100), ACCESS_FAULT::NONE);
        }
}

TEST_F(RunMemory, Frames) {
    FRAME_LAYOUT layout;
    layout.function = "f";
    add_variable(layout, 4, 4, "count", true);
    add_variable(layout, 40, 64, "table", true);
    add_variable(layout, 13, 1, "inner", false);
    finish_layout(layout);
    const ADDRESS frame = open_frame(memory, layout, 0xA5), other = open_frame(memory, layout, 0xA5);
    const FRAME_VARIABLE &count = layout.variables[0], &table = layout.variables[1],
                         &inner = layout.variables[2];
    EXPECT_EQ((frame + table.offset) % 64, 0u);
    EXPECT_EQ(write(frame + count.offset, 4), ACCESS_FAULT::NONE);
    EXPECT_EQ(read(frame + count.offset, 5), ACCESS_FAULT::OUTSIDE);
    EXPECT_EQ(bytes_at(memory, frame)[table.offset + 39], 0xA5);
    EXPECT_EQ(read(frame + inner.offset, 1), ACCESS_FAULT::ENDED);
    start_variable(memory, frame, inner, 0);
    EXPECT_EQ(write(frame + inner.offset, 13), ACCESS_FAULT::NONE);
    EXPECT_EQ(describe_address(memory, frame + table.offset + 52),
              "12 bytes behind the end of `table' of f (40 bytes)");
    EXPECT_EQ(object_at(memory, frame + table.offset + 8)->name, "table");
    end_variable(memory, frame, inner);
    EXPECT_EQ(describe_address(memory, frame + inner.offset),
              "`inner' of f (13 bytes), whose block has ended");
    close_frame(memory, frame);
    EXPECT_EQ(write(other + count.offset, 4), ACCESS_FAULT::NONE);
    EXPECT_EQ(describe_address(memory, frame + count.offset), "`count' of f (4 bytes), which has returned");
}

// The sizes of a file's symbols can add up to more than an address counts.
TEST_F(RunMemory, AFrameThatNoMemoryHoldsIsNotOpened) {
    FRAME_LAYOUT layout;
    add_variable(layout, 4, 4, "i", true);
    add_variable(layout, 0xFFFFFFF0, 8, "a", true);
    add_variable(layout, 0x20, 8, "b", true);
    finish_layout(layout);
    EXPECT_EQ(open_frame(memory, layout, 0), 0u);
}

TEST_F(RunMemory, Descriptions) {
    const ADDRESS table = make(40, OBJECT_KIND::GLOBAL, 4, "table"),
                  flag = make(1, OBJECT_KIND::GLOBAL, 1, "flag");
    EXPECT_EQ(describe_address(memory, table), "`table' (40 bytes)");
    EXPECT_EQ(describe_address(memory, table + 4), "byte 4 of `table' (40 bytes)");
    EXPECT_EQ(describe_address(memory, table + 41), "1 byte behind the end of `table' (40 bytes)");
    EXPECT_EQ(describe_address(memory, flag - 2), "2 bytes before `flag' (1 byte)");
    EXPECT_EQ(describe_address(memory, 4), "address 0x4");
    const ADDRESS block = make(7);
    end_object(memory, block);
    EXPECT_EQ(describe_address(memory, block + 3),
              "byte 3 of block 1 of the heap (7 bytes), which has been freed");
    EXPECT_EQ(object_at(memory, block + 7)->number, 1u);
    EXPECT_EQ(object_at(memory, 0x10), nullptr);
}

} // namespace
} // namespace pelorus
