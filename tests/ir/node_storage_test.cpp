// Erasing nodes, and the check for pointers that leave their zone.
#include "ir/node_storage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "memory/free_list.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

using testing::HasSubstr;
using testing::Not;

class NodeStorage : public testing::Test {
protected:
    void SetUp() override { reset_zones_for_test(); }
    void TearDown() override { reset_zones_for_test(); }
};

NODE* node_in(bool local, int32_t op, NODE* left = nullptr, NODE* right = nullptr) {
    NODE* node = zone_new<NODE>(local);
    node->op = op;
    node->local = local;
    node->left = left;
    node->right = right;
    return node;
}

std::string formatted(const char* format, const void* a, const void* b = nullptr) {
    char text[200];
    snprintf(text, sizeof text, format, a, b);
    return text;
}

TEST_F(NodeStorage, ErasedNodesComeBackClear) {
    NODE* leaf = node_in(true, OP_ICON);
    NODE* node = node_in(true, OP_UMINUS, leaf);
    node->text = "text";
    node->ref = leaf;
    node->value_lo = node->size = 7;
    erase_node(leaf);
    erase_node(node);
    EXPECT_EQ(node->op, OP_ERASED);
    EXPECT_EQ(free_NODE_list.count, 2);
    NODE* again = recycled_node();
    EXPECT_EQ(again, node);
    EXPECT_TRUE(!again->left && !again->right && !again->ref && !again->text && !again->type);
    EXPECT_TRUE(again->value_lo == 0 && again->size == 0 && again->op == OP_ERASED);
    EXPECT_EQ(again->op_is_node(), 1); // its operations still work
    EXPECT_EQ(recycled_node(), leaf);
    EXPECT_EQ(recycled_node(), nullptr);
    erase_node(node_in(true, OP_ICON));
    release_local_zone();
    EXPECT_EQ(recycled_node(), nullptr);
}

TEST_F(NodeStorage, ErasingTwiceEndsTheRun) {
    NODE* node = node_in(true, OP_ICON);
    erase_node(node);
    TraceCapture capture;
    testing::internal::CaptureStderr();
    EXPECT_THROW(erase_node(node), FatalExit);
    std::string text = formatted("\n\n!!! COMPILER (OPTIMIZER) ERROR IN 'erase_node' %p !!!\n\n", node);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), text);
    EXPECT_EQ(capture.text(), text);
}

TEST_F(NodeStorage, ErasingANodeOfTheFileIsOnlyReported) {
    NODE* node = node_in(false, OP_ICON);
    NODE* another = node_in(false, OP_ICON);
    TraceCapture capture;
    erase_node(node);
    EXPECT_EQ(
        capture.text(),
        formatted("\n\n!!! COMPILER (OPTIMIZER) ERROR IN 'erase_node':  erasing zone-0 %p !!!\n\n", node));
    EXPECT_EQ(free_NODE_list.head, node);
    set_zone_checking(true);
    erase_node(another);
    EXPECT_THAT(capture.text(), Not(HasSubstr(formatted("%p", another))));
}

TEST_F(NodeStorage, WarnsOfEachPointerThatLeavesItsZone) {
    NODE* local = node_in(true, OP_ICON);
    NODE* global = node_in(false, OP_ICON);
    SYMBOL* local_symbol = zone_new<SYMBOL>(true);
    NODE* name = node_in(false, OP_NAME);
    name->ref = local_symbol;
    NODE* text = node_in(false, OP_SCON);
    text->text = zone_string(true, "text");
    NODE* number = node_in(true, OP_FCON);
    number->ref = ZALLOC0(false, 16);
    NODE* upper = node_in(false, OP_PLUS, local, node_in(false, OP_MINUS, name, text));
    NODE* tree = node_in(true, OP_COMMA, node_in(true, OP_COMMA, number, upper), global);

    TraceCapture capture;
    EXPECT_EQ(check_cross_zone(tree), 3); // left of `upper`, the symbol and the text
    std::string found = capture.text();
    const NODE* inner = tree->left;
    EXPECT_THAT(found,
                HasSubstr(formatted("Warning:  zone-0 node %p's left is zone-1 node %p\n", upper, local)));
    EXPECT_THAT(found,
                HasSubstr(formatted("Warning:  zone-1 node %p's right is zone-0 node %p\n", tree, global)));
    EXPECT_THAT(found,
                HasSubstr(formatted("Warning:  zone-1 node %p's right is zone-0 node %p\n", inner, upper)));
    EXPECT_THAT(found, HasSubstr(formatted("Warning:  zone-0 node %p's u.rval is zone-1 symbol %p\n", name,
                                           local_symbol)));
    EXPECT_THAT(found, HasSubstr(formatted("Warning:  zone-0 node %p's (SCON) dval is zone-1 pointer %p\n",
                                           text, text->text)));
    EXPECT_THAT(found, HasSubstr(formatted("Warning:  zone-1 node %p's (FCON) dval is zone-0 pointer %p\n",
                                           number, number->ref)));
    EXPECT_EQ(std::count(found.begin(), found.end(), '\n'), 6);
}

TEST_F(NodeStorage, ALocalNodeMayNameTheFile) {
    NODE* name = node_in(true, OP_NAME);
    name->ref = zone_new<SYMBOL>(false);
    NODE* field = node_in(true, OP_FIELD);
    field->ref = ZALLOC0(false, 16);
    NODE* text = node_in(true, OP_SCON);
    text->text = "shared";
    TraceCapture capture;
    EXPECT_EQ(check_cross_zone(node_in(true, OP_COMMA, name, node_in(true, OP_COMMA, field, text))), 0);
    EXPECT_EQ(capture.text(), "");
}

TEST_F(NodeStorage, WalksDeepTreesOfEitherLean) {
    NODE* left_spine = node_in(true, OP_ICON);
    NODE* right_spine = node_in(true, OP_ICON);
    for (int i = 0; i < 100000; i++) {
        left_spine = node_in(true, OP_COMMA, left_spine, nullptr);
        right_spine = node_in(true, OP_COMMA, nullptr, right_spine);
    }
    NODE* bottom = right_spine;
    while (bottom->right) bottom = bottom->right;
    bottom->left = node_in(false, OP_ICON);
    TraceCapture capture;
    EXPECT_EQ(check_cross_zone(left_spine), 0);
    EXPECT_EQ(capture.text(), "");
    check_cross_zone(right_spine);
    EXPECT_THAT(capture.text(), HasSubstr(formatted("node %p's left is zone-0", bottom)));
}

struct SYMBOLS {
    SYMBOL* file = zone_new<SYMBOL>(false);
    SYMBOL* local = zone_new<SYMBOL>(true);
    INIT_ITEM* item = zone_new<INIT_ITEM>(false);
};

TEST_F(NodeStorage, ASpuriousPointerOfTheFileEndsTheRun) {
    SYMBOLS symbols;
    symbols.item->tree = node_in(true, OP_ICON);
    symbols.file->init_trees = symbols.item;
    symbols.file->next = symbols.local;
    symbols.local->next = symbols.file;
    SYMBOL* list[] = {symbols.file, symbols.local};
    TraceCapture capture;
    testing::internal::CaptureStderr();
    EXPECT_THROW(check_zones({.symbols = list}), FatalExit);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Spurious cross-zone pointer found.\n");
    EXPECT_THAT(capture.text(),
                HasSubstr(formatted("Warning:  zone-0 symbol %p's init_trees is zone-1 node %p\n",
                                    symbols.file, symbols.item->tree)));
    EXPECT_THAT(capture.text(), HasSubstr(formatted("Warning:  zone-0 symbol %p's next is zone-1 symbol %p\n",
                                                    symbols.file, symbols.local)));
    EXPECT_THAT(capture.text(), HasSubstr(formatted("Warning:  zone-1 symbol %p's next is zone-0 symbol %p\n",
                                                    symbols.local, symbols.file)));
    EXPECT_THAT(capture.text(), HasSubstr(" sec for allocation check.)"));
}

TEST_F(NodeStorage, OfARecordOnlyTheFirstTreeIsLookedAt) {
    SYMBOLS symbols;
    INIT_ITEM* later = zone_new<INIT_ITEM>(false);
    symbols.item->tree = node_in(false, OP_ICON);
    symbols.item->next = later;
    later->tree = node_in(true, OP_ICON);
    symbols.file->init_trees = symbols.item;
    SYMBOL* list[] = {symbols.file};
    TraceCapture capture;
    check_zones({.records = list});
    testing::internal::CaptureStderr();
    EXPECT_THROW(check_zones({.symbols = list}), FatalExit);
    symbols.file->init_trees = later;
    EXPECT_THROW(check_zones({.records = list}), FatalExit);
    testing::internal::GetCapturedStderr();
}

TEST_F(NodeStorage, WhatGoesWithTheFunctionOnlyWarns) {
    NODE* global = node_in(false, OP_UMINUS, node_in(true, OP_ICON));
    NODE* function_trees[] = {node_in(true, OP_UMINUS, global)};
    NODE* file_trees[] = {global};
    {
        TraceCapture capture;
        check_zones({.function_trees = function_trees});
        EXPECT_THAT(capture.text(), HasSubstr("zone-0 node"));
        testing::internal::CaptureStderr();
        EXPECT_THROW(check_zones({.file_trees = file_trees}), FatalExit);
        testing::internal::GetCapturedStderr();
        set_zone_checking(true);
        std::string before = capture.text();
        check_zones({.file_trees = file_trees}); // no zones to compare
        EXPECT_EQ(capture.text(), before);
    }
    set_zone_checking(false);
    check_zones({.file_trees = file_trees}); // no debug output
}

} // namespace
} // namespace pelorus
