// A function made by hand: statements in source order, from which build_cfg makes a graph.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "cfg/graph_edit.h"
#include "icode/unit_client.h"
#include "ir/funinfo.h"
#include "memory/zone.h"
#include "support/fresh_state.h"
#include "support/test_support.h"

namespace pelorus {

class FlowFixture : public testing::Test {
protected:
    void SetUp() override {
        fresh_state(types);
        declare_function("_f", types.void_type());
    }
    void TearDown() override {
        clear_flow_graph();
        clear_function();
        release_local_zone();
    }

    void declare_function(const char* name, TYPE* result) {
        clear_function();
        SYMBOL_FIELDS fields{};
        fields.name = name;
        fields.type = types.make_function(result, true, false, 0);
        fields.storage_class = SC_EXTERN_DEF;
        function.symbol = new_file_symbol(fields, 0);
        function.info = get_funinfo(name);
    }

    SYMBOL* variable(const char* name, int level = 2, int storage_class = SC_AUTO) {
        SYMBOL_FIELDS fields{};
        fields.name = name;
        fields.type = types.int_type();
        fields.storage_class = static_cast<int8_t>(storage_class);
        fields.size = fields.align = 4;
        return new_file_symbol(fields, level);
    }

    // Statements; each is appended to the function.
    void add(NODE* tree, uint32_t line = 0) {
        function.statements = new_stmt(tree, POSITION{nullptr, line, 0}, function.statements);
    }
    void assign(SYMBOL* to, int value) {
        add(new_binary(OP_ASG, types.int_type(), use(to), new_icon(types.int_type(), int96_signed(value))),
            ++lines);
    }
    void label(int number) {
        NODE* definition = new_node(OP_LABELDEF, types.void_type());
        definition->set_value(int96_signed(number));
        add(definition);
    }
    void branch(int number) { add(new_unary(OP_BRANCH, types.void_type(), new_label_leaf(number))); }
    void if_goes(SYMBOL* condition, int yes, int no) {
        add(new_binary(OP_IF, types.void_type(), use(condition),
                       list(new_label_leaf(yes), new_label_leaf(no))));
    }
    void switch_on(SYMBOL* selector, NODE* cases) {
        add(new_binary(OP_SWITCH, types.void_type(), use(selector), cases));
    }
    NODE* case_of(int value, int target) {
        return new_binary(OP_CASE, types.void_type(), new_icon(types.int_type(), int96_signed(value)),
                          new_label_leaf(target));
    }
    NODE* default_of(int target) { return new_unary(OP_DEFAULT, types.void_type(), new_label_leaf(target)); }
    NODE* list(NODE* left, NODE* right) { return new_binary(OP_COMMA, types.void_type(), left, right); }
    NODE* use(SYMBOL* symbol) { return new_name(symbol, symbol->type); }

    // The graph as "1>2,3 2>4 3>4 4>": depth-first numbers with their successors.
    static std::string shape() {
        std::string text;
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
            text += (text.empty() ? "" : " ") + std::to_string(block->dfn) + ">";
            const char* comma = "";
            for (const BB_LIST* cell = block->succs; cell; cell = cell->next, comma = ",")
                text += comma + std::to_string(cell->block->dfn);
        }
        return text;
    }

    static BB* block_number(int dfn) {
        for (BB* block = flow_graph.bb_list; block; block = block->dflink)
            if (block->dfn == dfn) return block;
        return nullptr;
    }

    // Opcodes of a block's statements.
    static std::vector<int> opcodes(const BB* block) {
        std::vector<int> list;
        for (const STMT* cell = block->stmts; cell; cell = cell->next) list.push_back(cell->tree->op);
        return list;
    }

    static void expect_sound() {
        TraceCapture capture;
        const CFG_ERRORS errors = check_cfg();
        EXPECT_EQ(errors.corrected + errors.uncorrected, 0) << capture.text();
    }

    TYPE_PKG types;
    uint32_t lines = 0;
};

} // namespace pelorus
