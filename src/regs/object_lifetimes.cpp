// The lifetimes of local variables in memory; see object_lifetimes.h.
//
//     { char a[80]; f(a); g = *a; }    a: from its first mention to the end of its block
//     { int b[20]; b[i] = 1; ... }     b: from its first mention to the last one that may read it
//
//   1. One walk over the statements notes which of the variables each one mentions, and whose address
//      escapes: it is taken for something else than to access the variable right there, as by a subscript.
//   2. Forwards: where a variable was mentioned on some way. Leaving its block ends that.
//   3. Backwards: where it may be read before it is assigned as a whole. Leaving the block ends that as well.
//      One whose address escapes may be read, and its address compared, as long as its block lasts.
//   4. A variable is alive where both hold. Of two that are alive at the same point one came last, and was
//      mentioned there: so it is enough to look at each statement at what it mentions and what is alive.
//
// Which block a statement is in goes with its position, through expanded calls as well: a variable of a
// callee lives as long as the copy of its body runs. A statement whose block is known runs in that block:
// cross_jump, which merges equal code of different blocks, comes later. A statement that was moved out of it,
// or one without a position, takes nothing away: a variable that is mentioned outside its block is taken to
// live in the whole function, and a statement of an unknown block ends no life.
#include "regs/object_lifetimes.h"

#include <algorithm>
#include <map>
#include <utility>

#include "cfg/bb.h"
#include "ir/symbol.h"
#include "tree/access.h"
#include "tree/local_place.h"

namespace pelorus {

namespace {

// A statement mentions an object.
struct MENTION {
    uint32_t object;
    bool reads;    // the value that it has
    bool replaces; // assigns all of it, without reading
};

// A statement that matters: it mentions objects, or stands in another block than the one before it.
struct CELL_NOTE {
    uint32_t place;      // number of its block
    uint32_t first, end; // of its mentions
};

using PLACE_KEY = std::pair<const INLINED_CALL*, uint32_t>;

struct LIFETIME_WALK {
    std::vector<STACK_OBJECT> objects;
    std::vector<int32_t> by_serial; // number of the object; -1: none
    std::vector<MENTION> mentions{};
    std::vector<CELL_NOTE> notes{};
    std::vector<uint32_t> first_note{};      // by block number, and one more
    std::map<PLACE_KEY, uint32_t> numbers{}; // of the blocks of the source
    std::vector<POSITION> places{};          // a position in each of them
};

// --- Blocks of the source ---

// Whether a statement at `position` runs while the block lasts that declares the variable. True when nobody
// knows.
bool is_in_scope(const POSITION& position, const SYMBOL& symbol) {
    const bool is_known = symbol.position.scope != UNKNOWN_SCOPE && symbol.scope_end.scope != UNKNOWN_SCOPE;
    if (!is_known || position.scope == UNKNOWN_SCOPE) return true;
    for (const POSITION* at = &position;; at = &at->call->position) {
        if (at->call == symbol.position.call)
            return at->scope == UNKNOWN_SCOPE ||
                   (symbol.position.scope <= at->scope && at->scope <= symbol.scope_end.scope);
        if (!at->call) return false;
    }
}

uint32_t number_of_place(LIFETIME_WALK& walk, const POSITION& position) {
    const auto count = static_cast<uint32_t>(walk.places.size());
    const auto [known, is_new] = walk.numbers.try_emplace({position.call, position.scope}, count);
    if (is_new) walk.places.push_back(position);
    return known->second;
}

// --- 1 ---

STACK_OBJECT* object_of(LIFETIME_WALK& walk, const SYMBOL* symbol) {
    if (!symbol || symbol->level != BODY_LEVEL) return nullptr;
    const int32_t number = walk.by_serial[static_cast<size_t>(symbol->serial)];
    return number < 0 ? nullptr : &walk.objects[static_cast<size_t>(number)];
}

// What one statement does.
struct CELL_WALK {
    LIFETIME_WALK& walk;
    std::vector<std::pair<STACK_OBJECT*, const NODE*>> exposed{}; // and the operators that expose them
    std::vector<const NODE*> followed{}; // addresses that lead to an access, and nowhere else
};

void mention(CELL_WALK& cell, const STACK_OBJECT* object, bool reads, bool replaces) {
    const auto number = static_cast<uint32_t>(object - cell.walk.objects.data());
    cell.walk.mentions.push_back({number, reads, replaces});
}

void note_access(CELL_WALK& cell, const TREE_ACCESS& access) {
    const LOCAL_PLACE place = access.symbol ? LOCAL_PLACE{} : place_of_object(access.object);
    STACK_OBJECT* object = object_of(cell.walk, place.name ? place.name->symbol() : access.symbol);
    if (!object) return;
    if (place.address) cell.followed.push_back(place.address);
    if (access.is_volatile) object->why_not = "it is volatile";
    if (access.kind == ACCESS::EXPOSE) cell.exposed.emplace_back(object, access.by);
    mention(cell, object, is_use(access), is_kill(access) && is_plain(access) && !is_use(access));
}

void note_escapes(CELL_WALK& cell) {
    for (const auto& [object, by] : cell.exposed)
        if (std::ranges::find(cell.followed, by) == cell.followed.end()) object->escapes = true;
}

void note_cell(LIFETIME_WALK& walk, const STMT& cell, bool is_first) {
    const auto first = static_cast<uint32_t>(walk.mentions.size());
    CELL_WALK mentions{walk};
    for_each_access(cell.tree, [&](const TREE_ACCESS& access) { note_access(mentions, access); });
    note_escapes(mentions);
    const auto end = static_cast<uint32_t>(walk.mentions.size());
    for (uint32_t i = first; i < end; ++i) {
        STACK_OBJECT& object = walk.objects[walk.mentions[i].object];
        object.knows_scope &= is_in_scope(cell.position, *object.symbol);
    }
    const uint32_t place = number_of_place(walk, cell.position);
    if (is_first || first != end || walk.notes.back().place != place)
        walk.notes.push_back({place, first, end});
}

void note_cells(LIFETIME_WALK& walk) {
    walk.first_note.assign(static_cast<size_t>(flow_graph.bb_count) + 2, 0);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
        walk.first_note[static_cast<size_t>(block->dfn)] = static_cast<uint32_t>(walk.notes.size());
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            note_cell(walk, *cell, cell == block->stmts);
    }
    walk.first_note[static_cast<size_t>(flow_graph.bb_count) + 1] = static_cast<uint32_t>(walk.notes.size());
}

// --- 2 and 3 ---

struct LIFETIME_SETS {
    BITVEC_TABLE in_scope;  // by place: the objects whose block has not ended there
    BITVEC_TABLE mentioned; // by block number: at its end, mentioned on some way
    BITVEC_TABLE needed;    // by block number: at its beginning, may be read
    bitvec* escaping;       // alive as long as their blocks last
    bitvec* state;          // scratch
};

void make_sets(BITVEC_TABLE& table, size_t count, size_t objects) {
    bv_make_table(&table, static_cast<uint32_t>(count), static_cast<uint32_t>(objects));
    for (uint32_t i = 0; i < table.count; ++i) bv_fill(&table.sets[i], false);
}

LIFETIME_SETS new_sets(const LIFETIME_WALK& walk) {
    const size_t objects = walk.objects.size();
    const auto blocks = static_cast<size_t>(flow_graph.bb_count) + 1;
    LIFETIME_SETS sets{};
    make_sets(sets.in_scope, walk.places.size(), objects);
    make_sets(sets.mentioned, blocks, objects);
    make_sets(sets.needed, blocks, objects);
    sets.escaping = new_bitvec(static_cast<uint32_t>(objects), true);
    sets.state = new_bitvec(static_cast<uint32_t>(objects), true);
    for (uint32_t i = 0; i < objects; ++i) {
        const STACK_OBJECT& object = walk.objects[i];
        if (object.escapes) bv_set(sets.escaping, i);
        for (size_t place = 0; place < walk.places.size(); ++place)
            if (!object.knows_scope || is_in_scope(walk.places[place], *object.symbol))
                bv_set(&sets.in_scope.sets[place], i);
    }
    return sets;
}

void free_sets(LIFETIME_SETS& sets) {
    bv_free_table(&sets.in_scope);
    bv_free_table(&sets.mentioned);
    bv_free_table(&sets.needed);
    bv_free(sets.escaping);
    bv_free(sets.state);
}

void pass_forwards(const LIFETIME_WALK& walk, LIFETIME_SETS& sets, const CELL_NOTE& note) {
    bv_and3(sets.state, sets.state, &sets.in_scope.sets[note.place]);
    for (uint32_t i = note.first; i < note.end; ++i) bv_set(sets.state, walk.mentions[i].object);
}

void pass_backwards(const LIFETIME_WALK& walk, LIFETIME_SETS& sets, const CELL_NOTE& note) {
    for (uint32_t i = note.first; i < note.end; ++i)
        if (const MENTION& mention = walk.mentions[i]; mention.replaces)
            bv_clear_range(sets.state, mention.object, mention.object);
    for (uint32_t i = note.first; i < note.end; ++i)
        if (walk.mentions[i].reads) bv_set(sets.state, walk.mentions[i].object);
    bv_and3(sets.state, sets.state, &sets.in_scope.sets[note.place]);
}

// The union of the sets of the neighbouring blocks becomes the state.
void gather(LIFETIME_SETS& sets, const BB_LIST* edges, const BITVEC_TABLE& table) {
    bv_fill(sets.state, false);
    for (; edges; edges = edges->next) bv_merge(sets.state, &table.sets[edges->block->dfn]);
}

uint32_t notes_begin(const LIFETIME_WALK& walk, const BB* block) {
    return walk.first_note[static_cast<size_t>(block->dfn)];
}
uint32_t notes_end(const LIFETIME_WALK& walk, const BB* block) {
    return walk.first_note[static_cast<size_t>(block->dfn) + 1];
}

void find_mentioned(const LIFETIME_WALK& walk, LIFETIME_SETS& sets) {
    for (bool again = true; again;) {
        again = false;
        for (const BB* block = flow_graph.bb_list; block; block = block->dflink) {
            gather(sets, block->preds, sets.mentioned);
            for (uint32_t i = notes_begin(walk, block); i < notes_end(walk, block); ++i)
                pass_forwards(walk, sets, walk.notes[i]);
            again |= bv_cmp_cpy(&sets.mentioned.sets[block->dfn], sets.state);
        }
    }
}

// From the last block to the first.
template <class F>
void for_each_block_backwards(F visit) {
    const BB* block = flow_graph.bb_list->rdflink;
    for (;; block = block->rdflink) {
        visit(block);
        if (block == flow_graph.bb_list) return;
    }
}

void find_needed(const LIFETIME_WALK& walk, LIFETIME_SETS& sets) {
    for (bool again = true; again;) {
        again = false;
        for_each_block_backwards([&](const BB* block) {
            gather(sets, block->succs, sets.needed);
            for (uint32_t i = notes_end(walk, block); i-- > notes_begin(walk, block);)
                pass_backwards(walk, sets, walk.notes[i]);
            again |= bv_cmp_cpy(&sets.needed.sets[block->dfn], sets.state);
        });
    }
}

// --- 4 ---

// What is mentioned at the statement lives together, and with what is alive behind it. `mentioned` is what
// was before the statement, the state what may be read behind it.
void add_overlaps(const LIFETIME_WALK& walk, const LIFETIME_SETS& sets, const CELL_NOTE& note,
                  bitvec* mentioned, BITVEC_TABLE& overlaps, bitvec* alive) {
    bv_assign(alive, sets.state);
    bv_merge(alive, sets.escaping);
    bv_and3(alive, alive, mentioned);
    bv_and3(alive, alive, &sets.in_scope.sets[note.place]);
    for (uint32_t i = note.first; i < note.end; ++i) bv_set(alive, walk.mentions[i].object);
    for (uint32_t i = note.first; i < note.end; ++i) bv_merge(&overlaps.sets[walk.mentions[i].object], alive);
}

void find_overlaps_in_block(const LIFETIME_WALK& walk, LIFETIME_SETS& sets, const BB* block,
                            BITVEC_TABLE& overlaps, bitvec* alive) {
    const uint32_t begin = notes_begin(walk, block);
    const uint32_t count = notes_end(walk, block) - begin;
    BITVEC_TABLE before; // each of the notes
    make_sets(before, count, walk.objects.size());
    gather(sets, block->preds, sets.mentioned);
    for (uint32_t i = 0; i < count; ++i) {
        bv_assign(&before.sets[i], sets.state);
        pass_forwards(walk, sets, walk.notes[begin + i]);
    }
    gather(sets, block->succs, sets.needed);
    for (uint32_t i = count; i-- > 0;) {
        const CELL_NOTE& note = walk.notes[begin + i];
        if (note.first != note.end) add_overlaps(walk, sets, note, &before.sets[i], overlaps, alive);
        pass_backwards(walk, sets, note);
    }
    bv_free_table(&before);
}

void make_symmetric(BITVEC_TABLE& overlaps) {
    for (uint32_t a = 0; a < overlaps.count; ++a)
        for (uint32_t b = bv_next(&overlaps.sets[a], 0); b != BV_NONE; b = bv_next(&overlaps.sets[a], b + 1))
            bv_set(&overlaps.sets[b], a);
}

BITVEC_TABLE find_overlaps(const LIFETIME_WALK& walk, LIFETIME_SETS& sets) {
    BITVEC_TABLE overlaps;
    make_sets(overlaps, walk.objects.size(), walk.objects.size());
    bitvec* alive = new_bitvec(static_cast<uint32_t>(walk.objects.size()), true);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        find_overlaps_in_block(walk, sets, block, overlaps, alive);
    bv_free(alive);
    make_symmetric(overlaps);
    return overlaps;
}

} // namespace

OBJECT_LIFETIMES find_object_lifetimes(const std::vector<SYMBOL*>& variables) {
    LIFETIME_WALK walk{{}, std::vector<int32_t>(static_cast<size_t>(function_symbols.serial), -1)};
    for (SYMBOL* symbol : variables) {
        walk.by_serial[static_cast<size_t>(symbol->serial)] = static_cast<int32_t>(walk.objects.size());
        walk.objects.push_back({symbol});
    }
    note_cells(walk);
    LIFETIME_SETS sets = new_sets(walk);
    find_mentioned(walk, sets);
    find_needed(walk, sets);
    OBJECT_LIFETIMES lifetimes{std::move(walk.objects), {}};
    walk.objects = lifetimes.objects;
    lifetimes.overlaps = find_overlaps(walk, sets);
    free_sets(sets);
    return lifetimes;
}

} // namespace pelorus
