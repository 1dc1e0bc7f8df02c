// Finding local structures, unions and arrays, and every access to them; see explode_variables.h.
//
//   1. The variables that could be exploded by what their declarations say.
//   2. One walk over each statement. What it accesses is looked at when the whole statement is known, since
//      an address that leads to a member alone is told of as an exposed variable first.
//
// How often a statement runs is guessed by the loops around it, of which the edges that go back in
// depth-first order tell enough: nothing has built loops yet.
#include <algorithm>

#include "cfg/bb.h"
#include "ir/call.h"
#include "ir/walk.h"
#include "scalar/assignment_query.h"
#include "scalar/explode_variables.h"
#include "tree/access.h"
#include "tree/query.h"

namespace pelorus {

namespace {

struct WEIGHT_MODEL {
    int64_t in_loop =
        8; // times that a loop is taken to go round: most go round more often than few words move
    int32_t most_loops = 4; // loops around a statement that count, so that sums of weights stay small
};
constexpr WEIGHT_MODEL WEIGHTS;

// --- 1 ---

bool is_candidate_type(const TYPE* type) {
    return (type_is_csu(type) || type_is_array(type)) && type_strip(type)->size > 0;
}

const char* why_declared_whole(const SYMBOL* symbol) {
    if (is_seen_by_debugger(symbol)) return "a debugger must see the variable";
    if (type_is_volatile(symbol->type)) return "it is volatile";
    if (type_strip(symbol->type)->kind == TK_CLASS) return "it is of a class";
    return nullptr;
}

void find_variables(EXPLOSION& explosion) {
    explosion.by_serial.assign(static_cast<size_t>(function_symbols.serial), -1);
    for_each_function_symbol([&](SYMBOL* symbol) {
        const bool may_explode = symbol->level == BODY_LEVEL && symbol->storage_class == SC_AUTO &&
                                 symbol != function.return_symbol && is_candidate_type(symbol->type);
        if (!may_explode) return;
        explosion.by_serial[static_cast<size_t>(symbol->serial)] =
            static_cast<int32_t>(explosion.variables.size());
        explosion.variables.push_back({.symbol = symbol, .why_not = why_declared_whole(symbol)});
    });
}

// --- How often blocks run ---

// By block number. A loop is taken to be the blocks between the target of an edge that goes back and the last
// block that such an edge to it comes from.
std::vector<int64_t> block_weights() {
    const auto blocks = static_cast<size_t>(flow_graph.bb_count) + 2;
    std::vector<int32_t> last(blocks), depth(blocks);
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const BB_LIST* edge = block->succs; edge; edge = edge->next)
            if (edge->block->dfn <= block->dfn) {
                int32_t& end = last[static_cast<size_t>(edge->block->dfn)];
                end = std::max(end, int32_t{block->dfn});
            }
    for (size_t header = 0; header < blocks; ++header) {
        if (!last[header]) continue;
        depth[header]++;
        depth[static_cast<size_t>(last[header]) + 1]--;
    }
    std::vector<int64_t> weights(blocks, 1);
    int32_t loops = 0;
    for (size_t block = 0; block < blocks; ++block) {
        loops += depth[block];
        for (int32_t i = 0; i < std::min(loops, WEIGHTS.most_loops); ++i) weights[block] *= WEIGHTS.in_loop;
    }
    return weights;
}

// --- 2 ---

struct STATEMENT_NOTES {
    EXPLOSION& explosion;
    NODE* tree;
    BLOCK_COPY copy;
    int64_t weight;
    bool copies_variables = false; // both sides of the copy are variables that may be exploded
    std::vector<TREE_ACCESS> accesses{};
    std::vector<const NODE*> followed{}; // addresses that lead to a known place, and nowhere else
};

void keep_whole(EXPLODED& variable, const char* why) {
    if (!variable.why_not) variable.why_not = why;
}

bool is_inside(const EXPLODED& variable, BIT_RANGE bits) {
    return bits.first >= 0 && bits.count > 0 && bits.end() <= 8 * int64_t{variable.symbol->size};
}

bool is_part_type(const TYPE* type) {
    const uint8_t kind = type_strip(type)->kind;
    return kind == TK_INTEGER || kind == TK_ENUM || kind == TK_FLOATING || kind == TK_POINTER ||
           kind == TK_REFERENCE;
}

// A bit-field keeps some bits of what it is assigned, so that `f op= e` is written out, which evaluates e
// after f. A pointer to another type would have to be converted where it is assigned.
bool may_assign_variable(const PART& part, const NODE* assignment) {
    if (assignment->op != OP_ASG && plain_operator(assignment->op) == OP_NOP) return false;
    if (type_is_pointer(part.type) && !type_compatible(part.type, assignment->left->type)) return false;
    if (!part.bitfield || assignment->op == OP_ASG) return true;
    const bool counts = assignment->op == OP_PLUSPLUS || assignment->op == OP_MINMIN;
    return counts ? assignment->right->op == OP_ICON : !tree_has_effects(assignment->right);
}

PART& part_of_access(EXPLODED& variable, const LOCAL_PLACE& place, BIT_RANGE bits, TYPE* type) {
    if (PART* known = find_part(variable, bits, type)) return *known;
    if (variable.parts.size() >= MOST_PARTS) keep_whole(variable, "it has too many parts");
    return variable.parts.emplace_back(
        PART{.bits = bits, .offset = place.offset, .type = type_strip(type), .bitfield = place.bitfield});
}

void note_part(STATEMENT_NOTES& notes, EXPLODED& variable, const LOCAL_PLACE& place,
               const TREE_ACCESS& access) {
    TYPE* type = access.object->type;
    const BIT_RANGE bits = bits_of_access(place, type);
    if (!is_part_type(type)) return keep_whole(variable, "a part of it is no number and no pointer");
    if (!is_inside(variable, bits)) return keep_whole(variable, "an access reaches beyond it");
    PART& part = part_of_access(variable, place, bits, type);
    part.accesses += access.kind == ACCESS::USE_DEF ? 2 * notes.weight : notes.weight;
    part.is_read |= is_use(access);
    part.is_assigned |= is_definition(access);
    if (is_definition(access) && !may_assign_variable(part, access.by))
        keep_part(part, "a part is not assigned as a variable can be");
}

void note_whole(STATEMENT_NOTES& notes, EXPLODED& variable, BIT_RANGE bits, bool reads, bool may_copy) {
    if (!is_inside(variable, bits)) return keep_whole(variable, "an access reaches beyond it");
    variable.is_read_whole |= reads;
    variable.wholes.push_back({bits, notes.weight, reads, may_copy, may_copy && notes.copies_variables});
}

// It is one side of the statement's copy, which can be made by members.
bool is_side_of_copy(const STATEMENT_NOTES& notes, const TREE_ACCESS& access) {
    if (notes.copy.kind != BLOCK_COPY::STRUCTURE) return false;
    return access.object == (is_definition(access) ? notes.copy.to : notes.copy.from);
}

void note_access(STATEMENT_NOTES& notes, const TREE_ACCESS& access) {
    if (!access.symbol && is_call(access.by))
        notes.explosion.can_be_returned_to |= may_return_twice(access.by);
    const LOCAL_PLACE place = place_of_object(access.object);
    if (!place.name) {
        if (EXPLODED* variable = find_exploded(notes.explosion, access.symbol))
            keep_whole(*variable, "an access to it is hard to see");
        return;
    }
    EXPLODED* variable = find_exploded(notes.explosion, place);
    if (!variable) return;
    if (place.address) notes.followed.push_back(place.address);
    if (variable->why_not) return;
    if (access.is_volatile) return keep_whole(*variable, "it is volatile");
    if (!place.is_fixed) return keep_whole(*variable, "a subscript is not constant");
    if (type_is_scalar(access.object->type)) return note_part(notes, *variable, place, access);
    note_whole(notes, *variable, bits_of_access(place, access.object->type), is_use(access),
               is_side_of_copy(notes, access));
}

// The statement assigns something in the variable before it is done with the rest.
bool assigns_inside(const STATEMENT_NOTES& notes, const SYMBOL* symbol) {
    return std::ranges::any_of(notes.accesses, [&](const TREE_ACCESS& access) {
        if (!is_definition(access) || access.by == notes.tree) return false;
        const LOCAL_PLACE place = place_of_object(access.object);
        return access.symbol == symbol || (place.name && place.name->symbol() == symbol);
    });
}

// A call reads the variable by its address, when its arguments have been evaluated; the variable is put
// together before the statement.
void note_lending(STATEMENT_NOTES& notes, const TREE_ACCESS& access) {
    EXPLODED* variable = find_exploded(notes.explosion, access.symbol);
    if (!variable) return;
    if (assigns_inside(notes, access.symbol)) return keep_whole(*variable, "its address is taken");
    note_whole(notes, *variable, range_of_bytes(0, variable->symbol->size), true, false);
}

void note_block_copy(STATEMENT_NOTES& notes) {
    const BLOCK_COPY& copy = notes.copy;
    if (copy.kind != BLOCK_COPY::BYTES && copy.kind != BLOCK_COPY::SAME_BYTE) return;
    const LOCAL_PLACE to = place_of_target(copy), from = place_of_source(copy);
    EXPLODED* target = find_exploded(notes.explosion, to);
    EXPLODED* source = find_exploded(notes.explosion, from);
    if (target && target == source) return; // the two may overlap; its address is taken
    if (target && to.is_fixed) {
        notes.followed.push_back(to.address);
        const BIT_RANGE bits = range_of_bytes(to.offset, copy.size);
        if (copy.kind == BLOCK_COPY::BYTES)
            note_whole(notes, *target, bits, false, true);
        else if (is_inside(*target, bits))
            target->fills.push_back({bits, notes.weight, copy.byte});
        else
            keep_whole(*target, "an access reaches beyond it");
    }
    if (source && from.is_fixed) {
        notes.followed.push_back(from.address);
        note_whole(notes, *source, range_of_bytes(from.offset, copy.size), true, true);
    }
}

void note_exposure(STATEMENT_NOTES& notes, const TREE_ACCESS& access) {
    EXPLODED* variable = find_exploded(notes.explosion, access.symbol);
    if (variable && !std::ranges::binary_search(notes.followed, access.by))
        keep_whole(*variable, "its address is taken");
}

bool is_of_interest(EXPLOSION& explosion, const NODE* tree) {
    return any_node(tree, [&](const NODE* node) {
        if (node->op == OP_NAME) return find_exploded(explosion, node->symbol()) != nullptr;
        return is_call(node) && may_return_twice(node);
    });
}

bool may_explode(EXPLOSION& explosion, const LOCAL_PLACE& place) {
    const EXPLODED* variable = find_exploded(explosion, place);
    return variable && !variable->why_not;
}

void note_statement(EXPLOSION& explosion, NODE* tree, int64_t weight) {
    if (!is_of_interest(explosion, tree)) return;
    STATEMENT_NOTES notes{explosion, tree, block_copy_of(tree), weight};
    for_each_access(tree, [&](const TREE_ACCESS& access) { notes.accesses.push_back(access); });
    notes.copies_variables = may_explode(explosion, place_of_target(notes.copy)) &&
                             may_explode(explosion, place_of_source(notes.copy));
    note_block_copy(notes);
    for (const TREE_ACCESS& access : notes.accesses)
        if (access.kind == ACCESS::LEND)
            note_lending(notes, access);
        else if (access.kind != ACCESS::EXPOSE)
            note_access(notes, access);
    std::ranges::sort(notes.followed);
    for (const TREE_ACCESS& access : notes.accesses)
        if (access.kind == ACCESS::EXPOSE) note_exposure(notes, access);
}

} // namespace

EXPLOSION collect_structs() {
    EXPLOSION explosion;
    find_variables(explosion);
    if (explosion.variables.empty()) return explosion;
    const std::vector<int64_t> weights = block_weights();
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (const STMT* cell = block->stmts; cell; cell = cell->next)
            note_statement(explosion, cell->tree, weights[static_cast<size_t>(block->dfn)]);
    return explosion;
}

} // namespace pelorus
