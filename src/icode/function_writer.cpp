// The output of one function; see function_writer.h. The order of the records is format.h's.
#include "icode/function_writer.h"

#include <algorithm>
#include <string>
#include <vector>

#include "cfg/graph_edit.h"
#include "ir/funinfo.h"
#include "ir/tree_text.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

constexpr const char* COMMENT_SEPARATOR =
    ";----------------------------------------------------------------------";
constexpr size_t LONGEST_COMMENT = 2000; // of a statement's text; a record's fields have a limit

// --- Symbols ---

void write_parameters(ICODE_WRITER& writer) {
    std::vector<SYMBOL*> kept;
    for (SYMBOL* symbol = function_symbols.parameters.first; symbol; symbol = symbol->next)
        if (symbol->keep) kept.push_back(symbol);
    std::stable_sort(kept.begin(), kept.end(),
                     [](const SYMBOL* a, const SYMBOL* b) { return a->serial < b->serial; });
    for (SYMBOL* symbol : kept) write_symbol(writer, symbol);
}

void write_list(ICODE_WRITER& writer, const SYMBOL_LIST& list) {
    for (SYMBOL* symbol = list.first; symbol; symbol = symbol->next)
        if (symbol->level == 2) write_symbol(writer, symbol);
}

void write_variables(ICODE_WRITER& writer) {
    write_list(writer, function_symbols.variables);
    write_list(writer, function_symbols.temporaries);
    write_list(writer, function_symbols.splits);
}

// --- Statements ---

bool holds_call(const NODE* tree) {
    for (; tree; tree = tree->left) {
        if (opcode_fact(tree->op).kind == OPCODE_CLASS::CALLS && tree->op != OP_MEMCPY) return true;
        if (tree->right && holds_call(tree->right)) return true;
    }
    return false;
}

bool is_leaf_function() {
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            if (holds_call(cell->tree)) return false;
    return true;
}

void write_collected_comments(ICODE_WRITER& writer) {
    if (!function.comments) return;
    write_comment(writer, COMMENT_SEPARATOR);
    for (const STMT* line = function.comments; line; line = line->next)
        write_comment(writer, line->tree->text);
    write_comment(writer, COMMENT_SEPARATOR);
}

// A comment that begins with ";" has no effect on whoever reads the file.
void write_statement_text(ICODE_WRITER& writer, const NODE* tree) {
    const NODE* shown = tree->op == OP_LOOP ? tree->left : tree;
    write_comment(writer, (";\t" + tree_text(shown)).substr(0, LONGEST_COMMENT).c_str());
    if (tree->op == OP_LOOP && tree->right)
        write_comment(writer,
                      (";\ttrip count: " + tree_text(tree->right)).substr(0, LONGEST_COMMENT).c_str());
}

static_assert(int{TEXT_ASSEMBLY} == int{RK_ASSEMBLY} && int{TEXT_COMMENT} == int{RK_COMMENT});

void write_text(ICODE_WRITER& writer, const NODE* tree, const POSITION& position) {
    if (tree->value_lo == RK_ASSEMBLY)
        write_assembly(writer, tree->text, position);
    else
        write_comment(writer, tree->text);
}

void write_cell(ICODE_WRITER& writer, const STMT* cell) {
    if (cell->tree->op == OP_ASM) return write_text(writer, cell->tree, cell->position);
    if (cell->tree->op == OP_PPRAGMA)
        return write_pragma(writer, *static_cast<const PRAGMA*>(cell->tree->ref));
    if (settings.interleave_text) write_statement_text(writer, cell->tree);
    write_statement(writer, cell->tree, cell->position);
}

// --- Blocks ---

void trace_set(const char* title, const BB_LIST* set) {
    trace("%s", title);
    for (; set; set = set->next) trace(" BB%d", set->block->dfn);
    trace("\n");
}

void trace_block(const BB* block) {
    if (!debug_on()) return;
    trace("\n++++(WRBBLOCKS): START NEXT BB, UON=%d, DFN=%d\n", block->uon, block->dfn);
    if (block->labels) trace("\tlabel: g%d\n", block->labels->index);
    trace_set("\tpredecessors:", block->preds);
    trace_set("\tsuccessors:  ", block->succs);
    trace("\tloop depth: %d\n", block->loop_depth);
}

void write_block(ICODE_WRITER& writer, const BB* block) {
    trace_block(block);
    // All labels of a block have its number, so that one definition serves whatever targets them.
    if (block->preds) write_label(writer, static_cast<uint32_t>(block->dfn));
    for (const STMT* cell = block->stmts; cell; cell = cell->next) write_cell(writer, cell);
}

} // namespace

void begin_function_output(ICODE_WRITER& writer) {
    write_function_begin(writer, function.symbol, function.begin);
}

void write_function_blocks(ICODE_WRITER& writer) {
    relink_blocks();
    trace_symbol_header();
    write_parameters(writer);
    write_body_begin(writer, function.body);
    write_variables(writer);
    write_function_place(writer, function.current);
    if (is_leaf_function()) write_leaf_note(writer, function.info->name);
    write_collected_comments(writer);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) write_block(writer, block);
    write_function_end(writer, function.end);
    function.info->flags |= FUN_is_processed;
}

} // namespace pelorus
