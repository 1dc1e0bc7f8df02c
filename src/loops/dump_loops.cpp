// The dump of the loop hierarchy; see loop_checks.h.
//
//      Loop #1 at level 1:  head=BB3  tail=BB5  preheader=BB2  parent=#0
//     | SOURCE START, END   of its statements
//     | LCV                 the loop-control variable, the test under which the loop goes on, what it changes
//                           by, its first and its last value; the trips, their limits and a factor of them
//     | VLCV                variant_conditions: what the tests that leave the loop read and the loop changes
//     | RC, ALT, IV         region constants, altered variables, induction variables
//     | LVs                 the induction variables with increment, initial and final value
//     | exitBBs, contents   blocks; an inner loop by its head
//
// Loops inside follow with a bar more in front of their lines, up to a depth that people can read.
#include <cstdint>
#include <string>

#include "cfg/loop.h"
#include "ir/funinfo.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "loops/loop_checks.h"
#include "support/trace.h"

namespace pelorus {

namespace {

constexpr int MOST_BARS = 16; // in front of a line; the level says the rest

// The lines of one loop.
class LINES {
public:
    explicit LINES(const LOOPREC* loop) {
        for (int i = 0; i < loop->level && i < MOST_BARS; ++i) bars_ += " |    ";
    }
    void begin(const std::string& text) { trace("%s%s", bars_.c_str(), text.c_str()); }
    void line(const std::string& text) { trace("%s%s\n", bars_.c_str(), text.c_str()); }

private:
    std::string bars_;
};

// --- Texts ---

std::string text_of(const NODE* tree) { return tree ? tree_text(tree) : "<none>"; }
std::string text_of(const SYMBOL* symbol) { return symbol ? symbol->name : "<none>"; }
std::string text_of(uint64_t count) { return count == UINT64_MAX ? "<none>" : std::to_string(count); }
std::string block_text(const BB* block) { return "BB" + std::to_string(block->dfn); }

void append(std::string& list, const std::string& word) {
    if (!list.empty()) list += ' ';
    list += word;
}
std::string or_none(const std::string& list) { return list.empty() ? "<none>" : list; }

std::string blocks_text(const BLOCK_CELL* cells) {
    std::string list;
    for (; cells; cells = cells->next) append(list, block_text(cells->block));
    return or_none(list);
}

// Of a list of records with a symbol each.
template <class T>
std::string symbols_text(const T* cells) {
    std::string list;
    for (; cells; cells = cells->next) append(list, text_of(cells->symbol));
    return or_none(list);
}

// --- The lines, in their order ---

std::string title(const LOOPREC* loop) {
    std::string text =
        "Loop #" + std::to_string(loop->number) + " at level " + std::to_string(loop->level) + ":";
    if (loop->head) text += "  head=" + block_text(loop->head);
    if (loop->tail) text += "  tail=" + block_text(loop->tail);
    if (loop->preheader) text += "  preheader=" + block_text(loop->preheader);
    if (loop->parent) text += "  parent=#" + std::to_string(loop->parent->number);
    return text;
}

struct FLAG_TEXT {
    LOOP_FLAG flag;
    const char* text;
};
constexpr FLAG_TEXT FLAG_TEXTS[] = {
    {LOOP_NON_ALIASED, "Aggressively NON-aliased"},      {LOOP_ALIGNED, "Aggressively ALIGNED"},
    {LOOP_CONSERVATIVE_CLONE, "the Conservative clone"}, {LOOP_AGGRESSIVE_CLONE, "the Aggressive clone"},
    {LOOP_FAVORED_CLONE, "the Favored clone"},           {LOOP_DEPRECATED_CLONE, "the Deprecated clone"},
    {LOOP_MAY_BE_ENDLESS, "possibly ENDLESS"},
};

void dump_flags(LINES& lines, const LOOPREC* loop) {
    for (const auto& [flag, text] : FLAG_TEXTS)
        if (loop->flags & flag) lines.line(std::string(" | LOOP IS ") + text);
    if (loop->sibling_clone != NO_SIBLING_CLONE)
        lines.line(" | SIBLING CLONE: #" + std::to_string(loop->sibling_clone));
}

void dump_position(LINES& lines, const char* title, const POSITION& position) {
    lines.begin(title);
    trace(" %s\tline %ld, column %ld\n", position_file(position), static_cast<long>(position.line),
          static_cast<long>(position.column));
}

void dump_control(LINES& lines, const LOOPREC* loop) {
    lines.line(" | LCV sym: " + text_of(loop->LCV) +
               (loop->flags & LOOP_NOT_AFFINE ? "  **NOT AFFINE**" : ""));
    lines.line(" |    test:  " + text_of(loop->LCV_test) + "  incr: " + text_of(loop->LCV_increment) +
               "  init: " + text_of(loop->LCV_initial) + "  last: " + text_of(loop->LCV_last));
    lines.line(" |    trips: " + text_of(loop->trips) + "  minval: " + text_of(loop->trips_min) +
               ";  maxval: " + text_of(loop->trips_max) +
               ";  max factor: " + std::to_string(loop->trip_factor) + ";" +
               (loop->flags & LOOP_EARLY_EXIT ? "  *EARLY EXIT*" : ""));
}

void dump_variables(LINES& lines, const LOOPREC* loop) {
    lines.line(" | VLCV syms: " + symbols_text(loop->variant_conditions));
    lines.line(" | RC syms: " + symbols_text(loop->region_constants));
    lines.line(" | ALT syms: " + symbols_text(loop->altered));
    lines.line(" | IV syms: " + symbols_text(loop->inductions));
    lines.line(std::string(" | LVs:") + (loop->inductions ? "" : " <none>"));
    for (const INDUCTION* variable = loop->inductions; variable; variable = variable->next)
        lines.line(" |    " + text_of(variable->symbol) + "  incr: " + text_of(variable->increment) +
                   "  init: " + text_of(variable->initial) + "  last: " + text_of(variable->final));
}

std::string number_text(uint32_t number) { return number ? std::to_string(number) : "<none>"; }

void dump_pragmas(LINES& lines, const LOOPREC* loop) {
    const LOOP_PRAGMAS& pragmas = loop->pragmas;
    if (pragmas.must_minimum || pragmas.must_maximum || pragmas.must_multiple)
        lines.line(" | MUST_ITERATE: " + number_text(pragmas.must_minimum) + ", " +
                   number_text(pragmas.must_maximum) + ", " + number_text(pragmas.must_multiple));
    if (pragmas.probable_minimum || pragmas.probable_maximum)
        lines.line(" | PROB_ITERATE: " + number_text(pragmas.probable_minimum) + ", " +
                   number_text(pragmas.probable_maximum));
    if (pragmas.unroll) lines.line(" | UNROLL: " + std::to_string(pragmas.unroll));
    lines.line(" | UNROLL AMOUNT: " + std::to_string(loop->max_unroll));
    for (const ADVICE* advice = loop->advice; advice; advice = advice->next)
        lines.line(std::string(" | ADVICE: ") + advice->text);
}

void dump_loop(const LOOPREC* loop) {
    LINES lines(loop);
    lines.line(title(loop));
    dump_flags(lines, loop);
    dump_position(lines, " | SOURCE START:", loop->source_start);
    dump_position(lines, " | SOURCE END:  ", loop->source_end);
    if (loop->head) {
        dump_control(lines, loop);
        dump_variables(lines, loop);
        dump_pragmas(lines, loop);
        lines.line(" | exitBBs: " + blocks_text(loop->exits));
    }
    lines.line(" | contents: " + blocks_text(loop->contents));
}

} // namespace

void dump_loops(const LOOPREC* root) {
    if (!debug_on()) return;
    trace("\n  LOOP HIERARCHY DUMP FOR THESE BASIC BLOCKS IN %s()\n", function.info->name);
    list_bb(flow_graph.bb_list, nullptr, debug_file());
    trace("\n");
    for_each_loop(root, dump_loop);
}

} // namespace pelorus
