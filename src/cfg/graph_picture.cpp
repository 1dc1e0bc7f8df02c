// See graph_picture.h.
//
//   1. Loops: a cluster each, one inside the other. They are walked in pre-order and opened and closed on the
//      way, so that a deep nest takes no call stack. The blocks of a loop stand in its cluster.
//   2. Edges. A back edge is one whose target dominates its source; another that goes back in the depth-first
//      order leads into a loop past its head. One to the next block in the layout is thick: it costs no jump.
//   3. The trees of dominators and the layout, by the numbers of the blocks.
//
// Blocks are called by their creation numbers in the text, which stay the same from step to step, so that two
// pictures can be compared; what a reader sees are the numbers that the trace has, too.
#include "cfg/graph_picture.h"

#include <algorithm>
#include <array>
#include <vector>

#include "cfg/bb.h"
#include "cfg/dominators.h"
#include "cfg/graph_edit.h"
#include "cfg/loop.h"
#include "ir/tree_text.h"

namespace pelorus {

namespace {

// A picture is for reading: what is cut can be read with `--debug=dump_after`.
struct PICTURE_LIMITS {
    size_t statement = 100; // characters of a statement's text
    size_t statements = 40; // of a block: a box that fills a screen
};
constexpr PICTURE_LIMITS PICTURE_LIMIT;

struct PICTURE {
    std::string text;
    std::vector<const BB*> blocks{nullptr};              // by number
    std::array<std::vector<uint64_t>, DIRECTIONS> above; // by number: of the immediate dominator; 0: none
};

// --- Texts ---

// Inside double quotes. What is not ASCII is written as a number, since `dot` wants UTF-8 and names need not
// be.
std::string escaped(const std::string& text) {
    std::string result;
    for (const char at : text) {
        const auto byte = static_cast<unsigned char>(at);
        char number[8];
        if (at == '"' || at == '\\')
            result += {'\\', at};
        else if (at == '\n')
            result += "\\l";
        else if (byte < ' ' || byte > '~')
            snprintf(number, sizeof number, "\\\\x%02X", byte), result += number;
        else
            result += at;
    }
    return result;
}

// A line of a label that is adjusted to the left.
std::string label_line(const std::string& text) { return escaped(text) + "\\l"; }

std::string block_text(const BB* block) { return block ? "BB " + std::to_string(block->dfn) : "none"; }
std::string node_name(const char* kind, const BB* block) { return kind + std::to_string(block->uon); }

std::string range_text(uint32_t first, uint32_t last) {
    return first == last ? "line " + std::to_string(first)
                         : "lines " + std::to_string(first) + "-" + std::to_string(last);
}

// --- Blocks ---

std::string source_lines(const BB* block) {
    uint32_t first = UINT32_MAX;
    uint32_t last = 0;
    for (const STMT* cell = block->stmts; cell; cell = cell->next) {
        if (!cell->position.line) continue;
        first = std::min(first, cell->position.line);
        last = std::max(last, cell->position.line);
    }
    return last ? ", " + range_text(first, last) : "";
}

std::string statement_lines(const BB* block) {
    std::string text;
    size_t count = 0;
    for (const STMT* cell = block->stmts; cell; cell = cell->next)
        if (count++ < PICTURE_LIMIT.statements)
            text += label_line(short_tree_text(cell->tree, PICTURE_LIMIT.statement));
    if (count > PICTURE_LIMIT.statements)
        text += label_line("... " + std::to_string(count - PICTURE_LIMIT.statements) + " more");
    return text;
}

void draw_block(PICTURE& picture, const BB* block) {
    picture.text += node_name("b", block) + " [label=\"" +
                    label_line(block_text(block) + source_lines(block)) + statement_lines(block) + "\"];\n";
}

// --- 1: loops ---

const std::pair<uint32_t, const char*> LOOP_FLAG_TEXTS[] = {
    {LOOP_EARLY_EXIT, "early exit"},
    {LOOP_NON_ALIASED, "clone for what does not overlap"},
    {LOOP_ALIGNED, "clone for what is aligned"},
    {LOOP_CONSERVATIVE_CLONE, "conservative clone"},
    {LOOP_AGGRESSIVE_CLONE, "aggressive clone"},
    {LOOP_FAVORED_CLONE, "favored clone"},
    {LOOP_DEPRECATED_CLONE, "deprecated clone"},
};

std::string structure_lines(const LOOPREC* loop) {
    std::string text =
        label_line("loop " + std::to_string(loop->number) + ", level " + std::to_string(loop->level));
    std::string line = "head " + block_text(loop->head) + ", tail " + block_text(loop->tail) +
                       ", preheader " + block_text(loop->preheader);
    for (const BLOCK_CELL* cell = loop->exits; cell; cell = cell->next)
        line += (cell == loop->exits ? ", exits " : ", ") + block_text(cell->block);
    text += label_line(line);
    if (loop->source_start.line)
        text += label_line(range_text(loop->source_start.line, loop->source_end.line));
    for (const auto& [flag, name] : LOOP_FLAG_TEXTS)
        if (loop->flags & flag) text += label_line(name);
    return text;
}

std::string pragma_lines(const LOOP_PRAGMAS& pragmas) {
    std::string text;
    const auto numbers = [](std::initializer_list<uint32_t> list) {
        std::string result;
        for (const uint32_t number : list) result += (result.empty() ? "(" : ", ") + std::to_string(number);
        return result + ")";
    };
    if (pragmas.must_minimum || pragmas.must_maximum || pragmas.must_multiple)
        text += label_line("MUST_ITERATE" +
                           numbers({pragmas.must_minimum, pragmas.must_maximum, pragmas.must_multiple}));
    if (pragmas.probable_minimum || pragmas.probable_maximum)
        text += label_line("PROB_ITERATE" + numbers({pragmas.probable_minimum, pragmas.probable_maximum}));
    if (pragmas.unroll) text += label_line("UNROLL" + numbers({pragmas.unroll}));
    return text;
}

std::string tree_or_unknown(const NODE* tree) {
    return tree ? short_tree_text(tree, PICTURE_LIMIT.statement) : "?";
}

std::string control_line(const LOOPREC* loop) {
    if (!loop->LCV) return "";
    return label_line("control " + symbol_text(loop->LCV) + " = " + tree_or_unknown(loop->LCV_initial) +
                      ", by " + tree_or_unknown(loop->LCV_increment) + " while " +
                      tree_or_unknown(loop->LCV_test) + ", last " + tree_or_unknown(loop->LCV_last));
}

std::string trip_line(const LOOPREC* loop) {
    const std::string most = loop->trips_max == UINT64_MAX ? "?" : std::to_string(loop->trips_max);
    std::string line =
        "trips " + tree_or_unknown(loop->trips) + ", " + std::to_string(loop->trips_min) + " to " + most;
    if (loop->trip_factor > 1) line += ", a multiple of " + std::to_string(loop->trip_factor);
    if (loop->flags & LOOP_NOT_AFFINE) line += ", not affine";
    if (loop->flags & LOOP_MAY_BE_ENDLESS) line += ", if it ends";
    return label_line(line);
}

std::string induction_line(const INDUCTION* induction) {
    std::string line = "induction " + symbol_text(induction->symbol);
    if (induction->basis == induction->symbol)
        return label_line(line + ", by " + tree_or_unknown(induction->increment));
    line += " = " + tree_or_unknown(induction->scale) + " * " + symbol_text(induction->basis);
    return label_line(induction->offset ? line + " + " + tree_or_unknown(induction->offset) : line);
}

std::string symbol_line(const char* title, const SYMBOL_CELL* cell) {
    if (!cell) return "";
    std::string line = title;
    for (const char* comma = " "; cell; cell = cell->next, comma = ", ")
        line += comma + symbol_text(cell->symbol);
    return label_line(line);
}

std::string analysis_lines(const LOOPREC* loop) {
    if (!fact_is_valid(FACT_loop_analyses)) return "";
    std::string text = control_line(loop) + trip_line(loop);
    for (const INDUCTION* induction = loop->inductions; induction; induction = induction->next)
        text += induction_line(induction);
    text += symbol_line("constant", loop->region_constants) + symbol_line("altered", loop->altered);
    for (const ADVICE* advice = loop->advice; advice; advice = advice->next) text += label_line(advice->text);
    return text;
}

void draw_blocks_of(PICTURE& picture, const LOOPREC* loop) {
    for (const BLOCK_CELL* cell = loop->contents; cell; cell = cell->next)
        if (cell->block->loop == loop) draw_block(picture, cell->block);
}

void open_cluster(PICTURE& picture, const LOOPREC* loop) {
    picture.text += "subgraph cluster_loop" + std::to_string(loop->number) + " {\nlabel=\"" +
                    structure_lines(loop) + pragma_lines(loop->pragmas) + analysis_lines(loop) + "\";\n";
}

void draw_loops(PICTURE& picture, LOOPREC* root) {
    draw_blocks_of(picture, root);
    const LOOPREC* open = root;
    const auto close_until = [&](const LOOPREC* around) {
        for (; open != around; open = open->parent) picture.text += "}\n";
    };
    for_each_loop(root, [&](const LOOPREC* loop) {
        if (loop == root) return;
        close_until(loop->parent);
        open_cluster(picture, loop);
        open = loop;
        draw_blocks_of(picture, loop);
    });
    close_until(root);
}

void draw_blocks(PICTURE& picture) {
    if (LOOPREC* root = fact_is_valid(FACT_loops) ? root_loop() : nullptr) return draw_loops(picture, root);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) draw_block(picture, block);
}

// --- 2: edges ---

bool is_dominated_by(const PICTURE& picture, const BB* block, const BB* other) {
    auto number = static_cast<uint64_t>(block->dfn);
    while (number && number != static_cast<uint64_t>(other->dfn)) number = picture.above[FORWARD][number];
    return number != 0;
}

// What the condition is when the edge is taken.
const char* condition_label(const BB* block, const BB* successor) {
    const NODE* branch = ending_tree(block);
    if (branch->op != OP_IF || has_one(block->succs)) return "";
    return target_of(branch->right->left) == successor ? ", label=\" true\"" : ", label=\" false\"";
}

const char* color_of(const PICTURE& picture, const BB* block, const BB* successor) {
    if (is_dominated_by(picture, block, successor)) return ", color=\"blue\"";
    const bool goes_back = fact_is_valid(FACT_dfn) && successor->dfn <= block->dfn;
    return goes_back ? ", color=\"red\", style=\"dashed\"" : "";
}

const char* weight_of(const BB* block, const BB* successor) {
    return successor == block->dflink ? ", penwidth=2, weight=4" : "";
}

// One that goes back is written from its target, with the arrow at the other end: so its source comes below.
void draw_edge(PICTURE& picture, const BB* block, const BB* successor) {
    const std::string color = color_of(picture, block, successor);
    const BB* above = color.empty() ? block : successor;
    const BB* below = color.empty() ? successor : block;
    const std::string attributes = condition_label(block, successor) + color + weight_of(block, successor) +
                                   (color.empty() ? "" : ", dir=\"back\"");
    picture.text += node_name("b", above) + " -> " + node_name("b", below);
    if (!attributes.empty()) picture.text += " [" + attributes.substr(2) + "]";
    picture.text += ";\n";
}

void draw_edges(PICTURE& picture) {
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const BB_LIST* edge = block->succs; edge; edge = edge->next)
            draw_edge(picture, block, edge->block);
}

// --- 3: trees and layout ---

void draw_tree(PICTURE& picture, const char* title, const char* kind, DIRECTION direction) {
    picture.text += std::string("subgraph cluster_") + kind + " {\nlabel=\"" + title +
                    "\";\nnode [shape=\"circle\", margin=\"0.03\"];\n";
    for (size_t number = 1; number < picture.blocks.size(); ++number) {
        const BB* block = picture.blocks[number];
        picture.text += node_name(kind, block) + " [label=\"" + std::to_string(number) + "\"];\n";
        if (const uint64_t parent = picture.above[direction][number])
            picture.text += node_name(kind, picture.blocks[parent]) + " -> " + node_name(kind, block) + ";\n";
    }
    picture.text += "}\n";
}

// There are no post-dominators when there is no single exit at the end.
void draw_trees(PICTURE& picture) {
    draw_tree(picture, "dominators", "d", FORWARD);
    if (picture.blocks.size() == 2 || picture.above[REVERSE][1])
        draw_tree(picture, "post-dominators", "p", REVERSE);
}

// One below the other, with the jumps back beside them. A dotted line joins blocks of which the first does
// not go on in the second.
void draw_layout(PICTURE& picture) {
    picture.text += "subgraph cluster_layout {\nlabel=\"layout\";\nnode [margin=\"0.03\"];\n";
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        picture.text += node_name("l", block) + " [label=\"" + std::to_string(block->dfn) + "\"];\n";
        if (block->dflink)
            picture.text +=
                node_name("l", block) + " -> " + node_name("l", block->dflink) +
                (in_set(block->succs, block->dflink) ? " [penwidth=2];\n"
                                                     : " [style=\"dotted\", arrowhead=\"none\"];\n");
        for (const BB_LIST* edge = block->succs; edge; edge = edge->next)
            if (edge->block->dfn <= block->dfn)
                picture.text += node_name("l", block) + " -> " + node_name("l", edge->block) +
                                " [constraint=\"false\"" + color_of(picture, block, edge->block) + "];\n";
    }
    picture.text += "}\n";
}

void find_trees(PICTURE& picture) {
    for (std::vector<uint64_t>& tree : picture.above) tree.push_back(0);
    const FACT_RECORD record = computed_dominators();
    size_t at = 0;
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        picture.blocks.push_back(block);
        for (std::vector<uint64_t>& tree : picture.above) tree.push_back(record[at++]);
    }
}

} // namespace

std::string graph_picture(const std::string& title) {
    PICTURE picture;
    find_trees(picture);
    picture.text = "digraph \"" + escaped(title) + "\" {\nlabel=\"" + escaped(title) +
                   "\";\nlabelloc=\"t\";\nlabeljust=\"l\";\n"
                   "graph [fontname=\"Helvetica\", fontsize=\"11\", style=\"rounded\", color=\"gray50\"];\n"
                   "node [shape=\"box\", fontname=\"Courier\", fontsize=\"10\"];\n"
                   "edge [fontname=\"Helvetica\", fontsize=\"9\"];\n";
    draw_blocks(picture);
    draw_edges(picture);
    draw_trees(picture);
    draw_layout(picture);
    picture.text += "}\n";
    return picture.text;
}

} // namespace pelorus
