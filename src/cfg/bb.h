// Basic blocks: the records of the control-flow graph of the current function.
//
// Blocks are chained twice: by `all_link` in creation order, unreachable ones included, and by `dflink` in
// depth-first order (the reverse postorder of a search from the entry), until the last passes make a layout
// of it. A block's last statement is its
// ending branch: IF, SWITCH, BRANCH, RETURN or URETURN; control never falls through. A LABEL leaf names its
// target by a label record, whose index is the target's `dfn` after every renumbering.
//
// All records are the function zone's.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ir/label.h"
#include "ir/position.h"
#include "ir/stmt.h"
#include "support/decision.h"

namespace pelorus {

struct bitvec;

// A cell of a set of successors or predecessors. The two cells of an edge know each other, so that neither
// end has to be looked for in a long set.
struct BB_LIST {
    BB* block;
    BB_LIST* next;
    BB_LIST* previous; // null for the first
    BB_LIST* twin;     // the edge's cell in the set of the other end; null while that has none
};

// A variable that controls a loop.
struct LOOP_CONTROL {
    SYMBOL* symbol;
};

struct LOOPREC;

// The depth-first number of a block, from 1. A type of its own, so that nobody takes another 16-bit number, a
// candidate's or a creation number, for it.
enum BLOCK_NUMBER : int16_t {
    NOT_REACHED = 0,
    BEING_SEARCHED = -1, // on the stack of the depth-first search: seen, not numbered yet
};

struct BB {
    BB* dflink;                 // next in depth-first order; null for the last block
    BB* rdflink;                // previous in depth-first order; the entry's is the LAST block
    BB* all_link;               // next in creation order
    STMT* stmts;                // null only while the block is being deleted
    BB_LIST* preds;             // set
    BB_LIST* succs;             // set
    BB_LIST* dfs_cursor;        // scratch of the depth-first search, and of a set being made anew
    LABEL_RECORD* labels;       // the first one is the one that leaves are pointed to
    LOOPREC* loop;              // innermost loop; null without loop information
    LOOP_CONTROL* loop_control; // heads of loops: what controls the loop; null when not known
    NODE* loop_trips;           // heads of loops: tree of the iteration count; null when not known
    bitvec* descendants;        // by dfn; null when not built
    POSITION* start_pos;        // of the first and last statement; null when not known
    POSITION* end_pos;          //
    uint16_t uon;               // unique ordinal number: creation order, from 1
    BLOCK_NUMBER dfn;           // depth-first number
    int16_t loop_depth;         // loops around the block
    uint8_t flags;              // BBF_...
    STMT* last_stmt;            // the ending branch; valid when stmts is
    uint32_t mark;              // scratch (support/scratch.h); compared with a stamp
    // Live variables (facts.h), sets of candidates; null when the fact was never built.
    bitvec* live_in;  // live on entry
    bitvec* live_out; // live at the end
    bitvec* defs;     // certainly assigned before any use in the block
    bitvec* uses;     // used before any certain assignment in the block
    bitvec* all_defs; // assigned anywhere in the block, also in part
    bitvec* all_refs; // read anywhere in the block
    // Dominators (dominators.h), in either direction.
    int16_t dfs_num[2]; // depth-first number in that direction, from 1; 0: not reached
    int16_t idom[2];    // that number of the nearest block that dominates or post-dominates this one; 0: none
};
static_assert(std::is_trivially_destructible_v<BB>);

enum BB_FLAG : uint8_t {
    BBF_DIAMOND_JOIN = 1, // joins two blocks that make the same test
};

// The graph of the current function.
struct FLOW_GRAPH {
    BB* bb_list = nullptr;        // entry block, head of the dflink chain
    BB* all_blocks = nullptr;     // head of the all_link chain
    BB* exit_bb = nullptr;        // ends in the URETURN
    int32_t bb_count = 0;         // reachable blocks; all blocks while the graph is being built
    int32_t last_uon = 0;         // of the blocks ever made; there are no more than that
    int16_t fresh_label = 0;      // last fresh label index: -1, -2, ...
    LOOPREC* root_loop = nullptr; // see root_loop() of cfg/loop.h; means something while FACT_loops is valid
    bool labels_wrapped = false;  // fresh indices were used up and began again
    uint32_t stamp = 0;           // last mark handed out
};
extern FLOW_GRAPH flow_graph;

// Blocks and labels are numbered in 16 bits.
constexpr int32_t MOST_BLOCKS = 32767;
constexpr int16_t LOWEST_FRESH_LABEL = -30000;

// Forgets the graph. At the start of every function.
void clear_flow_graph();

// --- bb.cpp: blocks and labels ---

BB* new_block(STMT* stmts, STMT* last);
bool in_set(const BB_LIST* set, const BB* block);

// A new label record in front of `next`; an index below 1 asks for a fresh one (-1, -2, ... -30000, then
// again -1).
LABEL_RECORD* new_label(int32_t index, LABEL_RECORD* next, BB* block);

// The head of the label list of the block that owns a label with this index, the first in creation order. An
// index that no label has ends the run.
LABEL_RECORD* find_label(int32_t index);

// Calls visit(leaf) for each LABEL leaf of a branch, in the order in which successors are found: right
// operands before left ones.
template <class F>
void for_each_label(NODE* tree, F visit) {
    for (; tree; tree = tree->left) {
        if (tree->op == OP_LABEL) {
            visit(tree);
            return;
        }
        if (tree->right) for_each_label(tree->right, visit);
    }
}

bool is_ending_branch(int32_t op);

// "BB <number>", for the texts of decisions.
void append_text(std::string& text, const BB* block);
// The next decisions are about this block, or this statement of it.
inline void stand_at(const BB* block, const STMT* cell) { stand_at(block->dfn, *cell); }
inline void stand_at(const BB* block) { stand_at(block, block->last_stmt); }

// --- build_cfg.cpp ---

// Builds the graph of the current function (ir/stmt.h) from its statement list, numbers the blocks, and
// removes unreachable ones. Ends the run with a message that names the function when it needs more blocks or
// labels than 16 bits can number.
// Needs: `function` complete. Breaks: function.statements.
void build_cfg();
// The three parts of it, which the pipeline shows one by one; the third is tail-recursion removal
// (tail_recursion.h), between these two.
bool make_blocks_and_edges();
bool number_new_graph();

// --- validate_cfg.cpp ---

struct CFG_ERRORS {
    int corrected = 0;                                // that `validate_cfg` repairs
    int uncorrected = 0;                              //
    std::vector<std::pair<BB*, BB*>> missing_edges{}; // that a branch has and the sets have not
    std::vector<BB*> unreachable{};
};
struct FAULT_SINK; // ir/rules.h
// Checks the graph, reports on the debug trace and the standard error stream, and repairs what is called
// corrected: missing successors are added, unreachable blocks lose their edges. Only with the debug trace on.
void validate_cfg();
// The checks behind it, which change nothing; they report on the trace and to the sink, which may be null.
CFG_ERRORS check_cfg(const FAULT_SINK* sink = nullptr);
// Checks every statement of every block; returns the number of faults, which are on the trace and went to the
// sink.
int validate_stmts(const FAULT_SINK* sink = nullptr);

// --- dump_cfg.cpp ---

// The blocks first..last of the dflink chain (last null: to the end), as full records or as a compact
// listing.
void dump_bb(const BB* first, const BB* last);
void list_bb(const BB* first, const BB* last, FILE* stream);
void dump_stmt_list(const STMT* cells);

} // namespace pelorus
