// Inline expansion where small files do not lead: the limits, what marks a function as needed, and which
// texts of assembly may be repeated.
#include "ipa/inline.h"

#include <gtest/gtest.h>

#include <vector>

#include "ipa/file_level.h"
#include "ipa/inline_definition.h"
#include "ir/call.h"
#include "ir/stmt.h"
#include "support/fresh_state.h"
#include "support/settings.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

class InlineExpansion : public testing::Test {
protected:
    InlineExpansion() { fresh_state(types); }
    ~InlineExpansion() override {
        reset_settings();
        file_level = {};
        fresh_state(types);
    }

    FUNINFO* new_function(const char* name, STORAGE_CLASS storage_class) {
        SYMBOL_FIELDS fields{};
        fields.name = name;
        fields.type = types.make_function(types.void_type(), true, false, 0);
        fields.storage_class = static_cast<int8_t>(storage_class);
        fields.flags = SF_DEFINED | SF_INLINE;
        SYMBOL* symbol = new_file_symbol(fields, 0);
        FUNINFO* info = get_funinfo(name);
        info->symbol = symbol;
        symbol->funinfo = info;
        return info;
    }
    static void begin(FUNINFO* info, uint32_t size) {
        clear_function();
        function.symbol = info->symbol;
        function.info = info;
        function.size_units = size;
    }
    static void add(NODE* tree) { function.statements = new_stmt(tree, {}, function.statements); }
    void add_label(uint32_t number) {
        NODE* label = new_node(OP_LABELDEF, types.void_type());
        label->set_label(number);
        add(label);
    }
    void add_call(const FUNINFO* callee) {
        NODE* name = new_name(callee->symbol, callee->symbol->type);
        NODE* address = new_unary(OP_UAND, types.make_pointer(callee->symbol->type), name);
        add(new_unary(OP_UCALL, types.void_type(), address));
    }
    // A function of this size whose body is a label.
    FUNINFO* inlined_function(uint32_t size) {
        FUNINFO* info = new_function("_callee", SC_STATIC);
        begin(info, size);
        add_label(1);
        EXPECT_TRUE(prepare_inline(*info));
        info->flags |= FUN_is_inlined | FUN_is_suppressed;
        release_local_zone();
        begin(new_function("_caller", SC_EXTERN_DEF), 0);
        return info;
    }
    static int calls() {
        int count = 0;
        for (const STMT* cell = function.statements; cell; cell = cell->next) count += is_call(cell->tree);
        return count;
    }

    TYPE_PKG types;
};

TEST_F(InlineExpansion, AFunctionGrowsToALimit) {
    FUNINFO* callee = inlined_function(4000);
    function.size_units = 100;
    for (int i = 0; i < 3; ++i) add_call(callee);
    EXPECT_TRUE(expand_calls());
    EXPECT_EQ(calls(), 1);
    EXPECT_EQ(function.size_units, 8100u);
    EXPECT_TRUE(callee->flags & FUN_cannot_suppress);
}

TEST_F(InlineExpansion, ALargeFunctionGrowsToTwiceItsSize) {
    FUNINFO* callee = inlined_function(9000);
    function.size_units = 20000;
    for (int i = 0; i < 4; ++i) add_call(callee);
    EXPECT_TRUE(expand_calls());
    EXPECT_EQ(calls(), 2);
}

TEST_F(InlineExpansion, LabelsEndAtTheirHighestNumber) {
    FUNINFO* callee = inlined_function(1);
    add_label(32764);
    for (int i = 0; i < 3; ++i) add_call(callee);
    EXPECT_TRUE(expand_calls());
    EXPECT_EQ(calls(), 2);
    EXPECT_EQ(function_node_state.calls, 2);
}

TEST_F(InlineExpansion, AStayingCallNeedsItsFunction) {
    FUNINFO* own = new_function("_own", SC_STATIC);
    FUNINFO* shared = new_function("_shared", SC_EXTERN_DEF);
    for (FUNINFO* info : {own, shared}) {
        info->flags = FUN_is_suppressed;
        mark_cannot_suppress(*info);
    }
    EXPECT_EQ(own->flags, FUN_is_suppressed | FUN_cannot_suppress | FUN_is_unsuppressed);
    EXPECT_EQ(shared->flags, FUN_is_suppressed); // other files see it anyway
    file_level.whole_program = true;
    settings.optimization_level = 3;
    mark_cannot_suppress(*shared);
    EXPECT_EQ(shared->flags, FUN_is_suppressed | FUN_cannot_suppress);
}

TEST(InlineAssembly, TextsThatDefineNothingMayBeRepeated) {
    for (const char* text : {"", "nop", "\tmrs r0, cpsr\n\tcpsid i", "1: ldrex r1, [r0]; bne 1b", "a%=:nop",
                             "ldr r0, =other", "mov %0, %1 @ : no label", "1: 2: nop"})
        EXPECT_TRUE(can_repeat_assembly(text)) << text;
    for (const char* text : {"mine: nop", "nop\n mine:", "nop; mine :", ".section .text", "x = 5",
                             "1: mine:", "nop;.global mine", "\t.word 3"})
        EXPECT_FALSE(can_repeat_assembly(text)) << text;
}

} // namespace
} // namespace pelorus
