// Building the control-flow graph of a function from its statement list.
//
//   1. Blocks. The list is walked from the last statement to the first, so that what follows a statement is
//      known when its turn comes. The statements behind the current one that belong to no block yet form the
//      "chain"; a statement that ends a block turns the chain into a block of its own, and fall-through into
//      a label becomes a BRANCH.
//
//          s1; s2; IF c g1 else g2; g1: s3; g2: s4
//          walk:   s4 <- g2 <- s3 <- g1 <- IF <- s2 <- s1
//          blocks: [s1 s2 IF]  [g1: s3 BRANCH g2]  [g2: s4 BRANCH exit]  [exit: URETURN]
//
//   2. Successors. Labels are looked up in a table over all blocks, and returns become branches to the one
//      exit block. Tail calls of the function itself become branches to its first block (tail_recursion.cpp).
//   3. Order. Each successor list is put so that the search of phase 4 visits straight-line code first and
//      exits last.
//   4. Depth-first numbering, 5. predecessors and unreachable blocks: number_cfg.cpp.
//
// Every phase is linear in statements, blocks and edges.
#include <algorithm>
#include <vector>

#include "cfg/graph_edit.h"
#include "cfg/tail_recursion.h"
#include "ir/funinfo.h"
#include "ir/node_storage.h"
#include "ir/parameters.h"
#include "memory/zone.h"
#include "support/fatal.h"
#include "support/scratch.h"
#include "support/trace.h"

namespace pelorus {

namespace {

[[noreturn]] void refuse_function(const char* what) {
    fatal_error("\n>>>> ERROR: function %s() is too large: it has more than %s\n", function.info->name, what);
}

// Statements behind the current one, in program order, that no block holds yet.
struct CHAIN {
    STMT* first = nullptr;
    STMT* last = nullptr;

    void push_front(STMT* statement) {
        statement->next = first;
        if (!first) last = statement;
        first = statement;
    }
    void restart(STMT* statement) { *this = {}, push_front(statement); }
};

struct BUILDER {
    CHAIN chain;
    int32_t blocks = 0;
};

// The chain becomes a block in front of all others.
void chain_to_block(BUILDER& builder) {
    if (++builder.blocks > MOST_BLOCKS) refuse_function("32767 basic blocks");
    BB* block = new_block(builder.chain.first, builder.chain.last);
    push_block(block);
    builder.chain = {};
}

// --- Phase 1: blocks ---

void make_exit_block(BUILDER& builder) {
    builder.chain.push_front(new_stmt(new_ureturn(), function.end, nullptr));
    chain_to_block(builder);
    BB* exit_block = flow_graph.all_blocks;
    exit_block->labels = new_label(0, nullptr, exit_block);
    flow_graph.exit_bb = exit_block;
}

bool leaves_unconditionally(int32_t op) { return op == OP_RETURN || op == OP_BRANCH || op == OP_URETURN; }

void end_with_return() {
    const STMT* last = function.statements;
    if (last && leaves_unconditionally(last->tree->op)) return;
    function.statements = new_stmt(new_ureturn(), function.end, function.statements);
}

bool has_default(const NODE* cases) {
    for (; cases; cases = cases->left) {
        if (cases->op == OP_DEFAULT) return true;
        if (cases->op != OP_COMMA) return false;
        if (cases->right && cases->right->op == OP_DEFAULT) return true;
    }
    return false;
}

bool ends_in_case(const NODE* cases) {
    return cases &&
           (cases->op == OP_CASE || (cases->op == OP_COMMA && cases->right && cases->right->op == OP_CASE));
}

// Where a SWITCH goes for values without a case: to what follows it.
NODE* following_target(const NODE* absorbed_branch) {
    if (absorbed_branch) return absorbed_branch->left;
    BB* following = flow_graph.all_blocks;
    if (!following->labels) following->labels = new_label(0, nullptr, following);
    return new_label_leaf(following->labels->index);
}

void add_switch(BUILDER& builder, STMT* statement) {
    NODE* following_branch = nullptr;
    if (builder.chain.first) {
        if (builder.chain.first->tree->op == OP_BRANCH)
            following_branch = builder.chain.first->tree;
        else
            chain_to_block(builder);
    }
    NODE* tree = statement->tree;
    // A DEFAULT may stand anywhere in the list; a second one would be an error.
    if (ends_in_case(tree->right) && !has_default(tree->right)) {
        TYPE* void_type = type_package()->void_type();
        NODE* entry = new_unary(OP_DEFAULT, void_type, following_target(following_branch));
        tree->right = new_binary(OP_COMMA, void_type, tree->right, entry);
    }
    builder.chain.restart(statement);
}

// Copies of parameters stay ahead of pragmas.
void add_pragma(CHAIN& chain, STMT* pragma) {
    STMT* copy = chain.first;
    if (!copy || !copies_parameters(copy->tree)) return chain.push_front(pragma);
    pragma->next = copy->next;
    copy->next = pragma;
    if (chain.last == copy) chain.last = pragma;
}

bool falls_into_label(int32_t op) {
    return !leaves_unconditionally(op) && op != OP_CBRANCH && op != OP_IF && op != OP_LABELDEF;
}

// Names the block that begins here, and returns the statement to go on with: a BRANCH to the label where
// control would fall into it.
STMT* define_label(BUILDER& builder, STMT* definition) {
    if (builder.chain.first) chain_to_block(builder);
    BB* block = flow_graph.all_blocks;
    const int32_t index = definition->tree->value_lo;
    block->labels = new_label(index, block->labels, block);
    erase_node(definition->tree);
    STMT* before = definition->next;
    if (before && !falls_into_label(before->tree->op)) return before;
    NODE* branch = new_unary(OP_BRANCH, type_package()->void_type(), new_label_leaf(index));
    return new_stmt(branch, before ? before->position : POSITION{}, before);
}

// Takes one statement into the graph and returns the one before it.
STMT* add_statement(BUILDER& builder, STMT* statement) {
    STMT* before = statement->next;
    switch (statement->tree->op) {
    case OP_RETURN:
    case OP_BRANCH:
    case OP_URETURN: // what follows it before the next label can never run
        builder.chain.restart(statement);
        break;
    case OP_IF:
        if (builder.chain.first) chain_to_block(builder);
        builder.chain.restart(statement);
        break;
    case OP_SWITCH: add_switch(builder, statement); break;
    case OP_PPRAGMA: add_pragma(builder.chain, statement); break;
    case OP_LABELDEF: return define_label(builder, statement);
    case OP_CBRANCH:
    case OP_LOOP:
    case OP_ENDLOOP:
    case OP_INITLOOP:
        fatal_error("\n>>>> ERROR: function %s() holds a %s statement, which no file may\n",
                    function.info->name, opcode_name(statement->tree->op));
    default: builder.chain.push_front(statement); break;
    }
    return before;
}

void make_blocks() {
    BUILDER builder;
    make_exit_block(builder);
    end_with_return();
    STMT* statement = function.statements;
    function.statements = nullptr;
    while (statement) statement = add_statement(builder, statement);
    chain_to_block(builder);
    if (flow_graph.labels_wrapped) refuse_function("30000 unnamed labels");
    chain_all_blocks();
}

// --- Phase 2: successors ---

// Label records by index: the head of the list of the first block, in creation order, that has a label with
// the index.
class LABEL_TABLE {
public:
    LABEL_TABLE() {
        int32_t highest = 0;
        for_all([&](const LABEL_RECORD* label) { highest = std::max<int32_t>(highest, label->index); });
        lowest_ = flow_graph.fresh_label;
        heads_.resize(slot(highest) + 1);
        for (BB* block = flow_graph.all_blocks; block; block = block->all_link)
            for (const LABEL_RECORD* label = block->labels; label; label = label->next)
                if (LABEL_RECORD*& head = heads_[slot(label->index)]; !head) head = block->labels;
    }

    LABEL_RECORD* head(int32_t index) const {
        const bool known = index >= lowest_ && slot(index) < heads_.size() && heads_[slot(index)];
        return known ? heads_[slot(index)] : find_label(index); // which reports that there is none
    }

private:
    template <class F>
    void for_all(F visit) {
        for (const BB* block = flow_graph.all_blocks; block; block = block->all_link)
            for (const LABEL_RECORD* label = block->labels; label; label = label->next) visit(label);
    }
    size_t slot(int32_t index) const { return static_cast<size_t>(index - lowest_); }

    int32_t lowest_ = 0; // fresh labels are negative
    std::vector<LABEL_RECORD*> heads_;
};

// Marks tell which blocks are in the set already: one cell each, at the head, as a set insertion would do it.
void add_successor(BB* block, BB* successor) {
    if (successor->mark == flow_graph.stamp) return;
    successor->mark = flow_graph.stamp;
    push_successor(block, successor);
}

void return_through_exit(BB* block) {
    NODE* tree = block->last_stmt->tree;
    LABEL_RECORD* exit_label = flow_graph.exit_bb->labels;
    erase_node(tree->left);
    tree->op = OP_BRANCH;
    set_type(tree, type_package()->void_type());
    tree->left = new_label_leaf(exit_label->index);
    tree->left->ref = exit_label;
    add_successor(block, flow_graph.exit_bb);
}

void find_successors(BB* block, const LABEL_TABLE& labels) {
    ++flow_graph.stamp;
    for_each_label(block->last_stmt->tree, [&](NODE* leaf) {
        LABEL_RECORD* head = labels.head(leaf->value_lo);
        leaf->ref = head;
        add_successor(block, head->block);
    });
    if (block->last_stmt->tree->op == OP_URETURN && block != flow_graph.exit_bb) return_through_exit(block);
}

void find_all_successors() {
    const SCRATCH_CLAIM claim(SCRATCH::BB_MARK, "build_cfg");
    const LABEL_TABLE labels;
    flow_graph.last_uon = 0;
    for (BB* block = flow_graph.all_blocks; block; block = block->all_link) {
        block->uon = static_cast<uint16_t>(++flow_graph.last_uon);
        block->dfn = NOT_REACHED;
        find_successors(block, labels);
    }
    flow_graph.bb_count = flow_graph.last_uon;
}

} // namespace

bool make_blocks_and_edges() {
    trace_entering("build_cfg");
    clear_flow_graph();
    make_blocks();
    find_all_successors();
    return true;
}

bool number_new_graph() {
    for (BB* block = flow_graph.all_blocks; block; block = block->all_link) order_successors(block);
    number_depth_first();
    find_predecessors();
    return true;
}

void build_cfg() {
    make_blocks_and_edges();
    remove_tail_recursion();
    number_new_graph();
}

} // namespace pelorus
