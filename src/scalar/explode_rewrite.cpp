// Rewriting statements for variables that have become several; see explode_variables.h.
//
//   1. An access to a part becomes the variable of the part. What a bit-field is assigned loses the bits that
//      the field has no room for.
//   2. In front of a use of the whole variable those parts are stored that are ahead of what is in memory,
//      and behind an assignment of the whole those that are wanted are loaded. That is done by statements of
//      their own where nothing in the statement assigns the variable before, else by commas inside it.
//   3. A copy is made part by part, when one of its sides is a variable that copies members. The address of
//      the other side is computed once.
#include <algorithm>

#include "cfg/bb.h"
#include "cfg/statement_edit.h"
#include "ir/node_storage.h"
#include "ir/tree_text.h"
#include "ir/walk.h"
#include "scalar/assignment_query.h"
#include "scalar/explode_memory.h"
#include "scalar/explode_variables.h"
#include "support/decision.h"
#include "tree/access.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"
#include "tree/simplify.h"

namespace pelorus {

namespace {

// A statement that is being rewritten, and what comes in front of it and behind it.
struct REWRITING {
    EXPLOSION& explosion;
    NODE* tree; // null when nothing is left of it
    BLOCK_COPY copy;
    std::vector<TREE_ACCESS> accesses{};
    std::vector<const EXPLODED*> assigned{}; // inside, before its own operator is done; in order
    std::vector<NODE*> before{};
    std::vector<NODE*> after{};
    bool is_changed = false; // the tree itself
};

EXPLODED* exploded_at(EXPLOSION& explosion, const LOCAL_PLACE& place) {
    EXPLODED* variable = find_exploded(explosion, place);
    return variable && variable->is_exploded ? variable : nullptr;
}

NODE* name_of(const PART& part) { return new_name(part.symbol, part.symbol->type); }

NODE* assignment(NODE* place, NODE* value) { return new_binary(OP_ASG, place->type, place, value); }

NODE* with_comma(NODE* first, NODE* second) {
    return first ? new_binary(OP_COMMAOP, second->type, first, second) : second;
}

// --- 1 ---

void become_name(NODE* node, const PART& part) {
    node->op = OP_NAME;
    node->left = node->right = nullptr;
    node->field_info = nullptr;
    node->ref = part.symbol;
    set_type(node, part.symbol->type);
}

void become_value(NODE* node, const PART& part) {
    TYPE* wanted = type_strip(node->type);
    become_name(node, part);
    if (!type_is_pointer(wanted) || type_compatible(wanted, part.type)) return;
    node->op = OP_PCONV;
    node->ref = nullptr;
    node->left = name_of(part);
    set_type(node, wanted);
}

// What a bit-field of that width keeps of the value: its low bits, extended by their sign.
NODE* kept_bits(NODE* value, const PART& part) {
    const uint32_t spare = type_bits(part.type) - static_cast<uint32_t>(part.bits.count);
    if (spare == 0 || type_is_bool(part.type)) return value;
    TYPE* type = type_bits(part.type) < 32 ? type_package()->int_type() : part.type;
    value = converted_value(value, type);
    if (!type_is_signed(part.type)) {
        const uint64_t mask = (uint64_t{1} << part.bits.count) - 1;
        return converted_value(new_binary(OP_ANDB, type, value, new_wrapped_icon(type, mask)), part.type);
    }
    TYPE* count_type = type_package()->int_type();
    const uint64_t away = type_bits(type) - static_cast<uint64_t>(part.bits.count);
    value = new_binary(OP_SLL, type, value, new_wrapped_icon(count_type, away));
    value = new_binary(OP_SRL, type, value, new_wrapped_icon(count_type, away));
    return converted_value(value, part.type);
}

// f++ with a value that is wanted becomes t = f, f = t + 1, t.
void keep_old_value(NODE* counting, const PART& part) {
    SYMBOL* old = new_part('M', part.symbol, part.type);
    NODE* saved = assignment(new_name(old, old->type), name_of(part));
    NODE* step = assignment(name_of(part), counting->right);
    counting->op = OP_COMMAOP;
    counting->left = with_comma(saved, step);
    counting->right = new_name(old, old->type);
}

// The operator's left operand is the variable of a bit-field.
void assign_kept_bits(NODE* assign, const PART& part, bool is_statement) {
    const bool gives_old = assign->op == OP_PLUSPLUS || assign->op == OP_MINMIN;
    if (assign->op != OP_ASG) {
        NODE* expanded =
            expand_operator_assignment(new_binary(assign->op, assign->type, assign->left, assign->right));
        assign->op = OP_ASG;
        assign->left = expanded->left;
        assign->right = expanded->right;
        erase_node(expanded);
    }
    assign->right = kept_bits(assign->right, part);
    set_type(assign, part.symbol->type);
    if (gives_old && !is_statement) keep_old_value(assign, part);
}

void rewrite_part(REWRITING& rewriting, EXPLODED& variable, BIT_RANGE bits, const TREE_ACCESS& access) {
    const PART* part = find_part(variable, bits, access.object->type);
    if (!part || !part->symbol) return;
    rewriting.is_changed = true;
    if (!is_definition(access)) return become_value(access.object, *part);
    become_name(access.object, *part);
    if (part->bitfield) assign_kept_bits(access.by, *part, access.by == rewriting.tree);
}

// --- 2 ---

bool needs_loading(const EXPLODED& variable, const PART& part) {
    return part.is_read || (variable.is_read_whole && (part.is_ahead || variable.by_members));
}

NODE* part_in_memory(const EXPLODED& variable, const PART& part) {
    return object_of_part(new_name(variable.symbol, variable.symbol->type), part.offset, part);
}

// Calls visit(part) for the parts in the range that have variables.
template <class F>
void for_each_part(const EXPLODED& variable, BIT_RANGE bits, F visit) {
    for (const PART& part : variable.parts)
        if (part.symbol && overlap(part.bits, bits)) visit(part);
}

std::vector<NODE*> stores_of_parts(const EXPLODED& variable, BIT_RANGE bits) {
    std::vector<NODE*> stores;
    for_each_part(variable, bits, [&](const PART& part) {
        if (part.is_ahead) stores.push_back(assignment(part_in_memory(variable, part), name_of(part)));
    });
    if (!stores.empty()) follows(SITE_put_together, "{}", variable.symbol);
    return stores;
}

std::vector<NODE*> loads_of_parts(const EXPLODED& variable, BIT_RANGE bits) {
    std::vector<NODE*> loads;
    for_each_part(variable, bits, [&](const PART& part) {
        if (needs_loading(variable, part))
            loads.push_back(assignment(name_of(part), part_in_memory(variable, part)));
    });
    if (!loads.empty()) follows(SITE_take_apart, "{}", variable.symbol);
    return loads;
}

void append(std::vector<NODE*>& list, const std::vector<NODE*>& more) {
    list.insert(list.end(), more.begin(), more.end());
}

NODE* joined(const std::vector<NODE*>& trees) {
    NODE* all = nullptr;
    for (NODE* tree : trees) all = with_comma(all, tree);
    return all;
}

void put_in_front(NODE* value, const std::vector<NODE*>& trees) {
    if (trees.empty()) return;
    value->right = copy_tree(value);
    value->left = joined(trees);
    value->op = OP_COMMAOP;
    value->ref = nullptr;
    value->field_info = nullptr;
}

bool is_assigned_inside(const REWRITING& rewriting, const EXPLODED& variable) {
    return std::ranges::binary_search(rewriting.assigned, &variable);
}

// `value` is where the variable is read.
void put_together(REWRITING& rewriting, const EXPLODED& variable, BIT_RANGE bits, NODE* value) {
    const std::vector<NODE*> stores = stores_of_parts(variable, bits);
    if (!is_assigned_inside(rewriting, variable)) return append(rewriting.before, stores);
    put_in_front(value, stores);
    rewriting.is_changed = true;
}

bool is_at_top(const REWRITING& rewriting, const NODE* assign) {
    return assign == rewriting.tree || rewriting.tree->op == OP_PCOMMA;
}

// The value of an assignment inside is the variable, which is in memory at this point.
void take_apart(REWRITING& rewriting, const EXPLODED& variable, BIT_RANGE bits, NODE* assign) {
    const std::vector<NODE*> loads = loads_of_parts(variable, bits);
    if (is_at_top(rewriting, assign)) return append(rewriting.after, loads);
    if (loads.empty()) return;
    NODE* target = copy_tree(assign->left);
    NODE* first = new_binary(assign->op, assign->type, assign->left, assign->right);
    assign->op = OP_COMMAOP;
    assign->left = with_comma(first, joined(loads));
    assign->right = target;
    rewriting.is_changed = true;
}

bool is_side_of_copy(const REWRITING& rewriting, const TREE_ACCESS& access) {
    if (rewriting.copy.kind != BLOCK_COPY::STRUCTURE) return false;
    return access.object == (is_definition(access) ? rewriting.copy.to : rewriting.copy.from);
}

void rewrite_access(REWRITING& rewriting, const TREE_ACCESS& access) {
    if (is_side_of_copy(rewriting, access)) return;
    const LOCAL_PLACE place = place_of_object(access.object);
    EXPLODED* variable = exploded_at(rewriting.explosion, place);
    if (!variable) return;
    const BIT_RANGE bits = bits_of_access(place, access.object->type);
    if (type_is_scalar(access.object->type)) return rewrite_part(rewriting, *variable, bits, access);
    if (is_definition(access)) return take_apart(rewriting, *variable, bits, access.by);
    put_together(rewriting, *variable, bits, access.object);
}

// --- 3 ---

// One side of a copy: parts of a variable, or an object in memory.
struct SIDE {
    EXPLODED* variable = nullptr;
    int64_t offset = 0; // of what is copied, from the start of the variable
    BIT_RANGE bits{};
    bool has_members = false; // its parts are copied; else it is in memory
};

SIDE side_of(EXPLOSION& explosion, const LOCAL_PLACE& place, int64_t size) {
    EXPLODED* variable = place.is_fixed ? exploded_at(explosion, place) : nullptr;
    if (!variable) return {};
    return {variable, place.offset, range_of_bytes(place.offset, size), variable->by_members};
}

const PART* counterpart(const SIDE& side, const PART& part, int64_t distance) {
    const BIT_RANGE bits{part.bits.first + 8 * distance, part.bits.count};
    const PART* found = find_part(*side.variable, bits, part.type);
    return found && found->symbol && !found->bitfield == !part.bitfield ? found : nullptr;
}

bool overlaps_itself(const SIDE& to, const SIDE& from) {
    return to.variable == from.variable && to.bits != from.bits && overlap(to.bits, from.bits);
}

// The copies of variables to variables; false when the two sides do not have the same parts.
bool copy_parts(const SIDE& to, const SIDE& from, std::vector<NODE*>& copies) {
    if (overlaps_itself(to, from)) return false;
    bool all = true;
    for_each_part(*to.variable, to.bits, [&](const PART& part) {
        const PART* source = counterpart(from, part, from.offset - to.offset);
        all &= source != nullptr;
        if (source && source->symbol != part.symbol)
            copies.push_back(assignment(name_of(part), name_of(*source)));
    });
    return all;
}

// The copies between variables and an object in memory.
void copy_through_memory(const SIDE& side, const MEMORY_OBJECT& object, bool loads,
                         std::vector<NODE*>& copies) {
    for_each_part(*side.variable, side.bits, [&](const PART& part) {
        NODE* place = part_of_object(object, part);
        copies.push_back(loads ? assignment(name_of(part), place) : assignment(place, name_of(part)));
    });
}

// Nothing changes the variable while the parts of the copy's target are assigned.
bool stays_the_same(const REWRITING& rewriting, const SYMBOL* symbol, const SIDE& target) {
    const bool is_part = static_cast<size_t>(symbol->serial) >= rewriting.explosion.by_serial.size();
    if (symbol->level != BODY_LEVEL || !(is_part || symbol->candidate >= 0)) return false;
    return !target.variable || std::ranges::none_of(target.variable->parts,
                                                    [&](const PART& part) { return part.symbol == symbol; });
}

// The object on the other side of a copy of members, whose address can be evaluated for each of them.
MEMORY_OBJECT object_in_memory(REWRITING& rewriting, const SIDE& members, NODE* other, const SIDE& target) {
    MEMORY_OBJECT object = rewriting.copy.kind == BLOCK_COPY::BYTES
                               ? object_at_address(other, members.offset, members.variable->symbol->type)
                               : object_as_it_is(other, members.offset);
    if (!object.lvalue && !object.address) return object;
    NODE** pointer = pointer_to(object);
    const SYMBOL* base = nullptr;
    if (!pointer || (find_base(*pointer, base) && (!base || stays_the_same(rewriting, base, target))))
        return object;
    SYMBOL* address = new_part('M', members.variable->symbol, type_strip((*pointer)->type));
    rewriting.before.insert(rewriting.before.begin(), compute_pointer_once(pointer, address));
    return object;
}

// True when the copy has become copies of members.
bool copy_members(REWRITING& rewriting, const SIDE& to, const SIDE& from) {
    const BLOCK_COPY& copy = rewriting.copy;
    std::vector<NODE*> copies;
    if (to.has_members && from.has_members) {
        if (!copy_parts(to, from, copies)) return false;
    } else if (to.has_members || from.has_members) {
        NODE* other = to.has_members ? copy.from : copy.to;
        const SIDE& members = to.has_members ? to : from;
        const MEMORY_OBJECT object = object_in_memory(rewriting, members, other, to);
        if (!object.lvalue && !object.address) return false;
        copy_through_memory(members, object, to.has_members, copies);
    } else {
        return false;
    }
    follows(SITE_copy_members, "{}", rewriting.tree);
    for (NODE* comma = copy.commas; comma && comma != copy.from; comma = comma->right)
        rewriting.before.push_back(comma->left);
    append(rewriting.before, copies);
    rewriting.tree = nullptr;
    return true;
}

void rewrite_block_copy(REWRITING& rewriting) {
    const BLOCK_COPY& copy = rewriting.copy;
    const SIDE to = side_of(rewriting.explosion, place_of_target(copy), copy.size);
    const SIDE from = side_of(rewriting.explosion, place_of_source(copy), copy.size);
    if (!to.variable && !from.variable) return;
    const bool reads_memory = from.variable && !from.has_members;
    if (reads_memory) put_together(rewriting, *from.variable, from.bits, copy.from);
    const bool done =
        !(reads_memory && is_assigned_inside(rewriting, *from.variable)) && copy_members(rewriting, to, from);
    if (from.variable && from.has_members && !done)
        put_together(rewriting, *from.variable, from.bits, copy.from);
    if (to.variable && !(done && to.has_members))
        append(rewriting.after, loads_of_parts(*to.variable, to.bits));
}

// --- memset ---

bool is_wanted_in_memory(const EXPLODED& variable, BIT_RANGE bits) {
    if (variable.by_members) return false;
    return variable.is_read_whole || std::ranges::any_of(variable.parts, [&](const PART& part) {
               return part.why_it_stays && overlap(part.bits, bits);
           });
}

void rewrite_byte_fill(REWRITING& rewriting) {
    const BLOCK_COPY& copy = rewriting.copy;
    const SIDE to = side_of(rewriting.explosion, place_of_target(copy), copy.size);
    if (!to.variable) return;
    follows(SITE_assign_members, "{}", rewriting.tree);
    for_each_part(*to.variable, to.bits, [&](const PART& part) {
        rewriting.after.push_back(assignment(name_of(part), value_of_bytes(part, copy.byte)));
    });
    if (!is_wanted_in_memory(*to.variable, to.bits)) rewriting.tree = nullptr;
}

// --- Statements ---

bool mentions_exploded(EXPLOSION& explosion, const NODE* tree) {
    return any_node(tree, [&](const NODE* node) {
        const EXPLODED* variable = node->op == OP_NAME ? find_exploded(explosion, node->symbol()) : nullptr;
        return variable && variable->is_exploded;
    });
}

void note_assigned_inside(REWRITING& rewriting) {
    for (const TREE_ACCESS& access : rewriting.accesses) {
        if (!is_definition(access) || is_at_top(rewriting, access.by)) continue;
        if (const EXPLODED* variable = exploded_at(rewriting.explosion, place_of_object(access.object)))
            rewriting.assigned.push_back(variable);
    }
    std::ranges::sort(rewriting.assigned);
}

void rewrite_tree(REWRITING& rewriting) {
    for_each_access(rewriting.tree, [&](const TREE_ACCESS& access) { rewriting.accesses.push_back(access); });
    note_assigned_inside(rewriting);
    for (const TREE_ACCESS& access : rewriting.accesses) {
        if (access.kind == ACCESS::EXPOSE) continue;
        rewrite_access(rewriting, access);
    }
    if (rewriting.copy.kind == BLOCK_COPY::SAME_BYTE) rewrite_byte_fill(rewriting);
    if (rewriting.copy.from) rewrite_block_copy(rewriting);
}

// What is left of an expression whose value nobody wants; null for nothing.
NODE* without_value(NODE* tree) {
    const OPCODE_CLASS kind = opcode_fact(tree->op).kind;
    if (kind != OPCODE_CLASS::VALUE && kind != OPCODE_CLASS::COMMUTES) return tree;
    return tree_is_statement(tree) ? reduce_to_effects(tree) : nullptr;
}

void add_statements(std::vector<NODE*>& statements, NODE* tree) {
    std::vector<NODE*> waiting{tree};
    while (!waiting.empty()) {
        NODE* next = waiting.back();
        waiting.pop_back();
        if (next->op == OP_COMMAOP)
            waiting.insert(waiting.end(), {next->right, next->left});
        else if (NODE* rest = without_value(simplify_tree(next)))
            statements.push_back(rest);
    }
}

// Statements in a row; those of which nothing is left, as x = x, are dropped.
std::vector<NODE*> simplified(const REWRITING& rewriting) {
    std::vector<NODE*> trees;
    for (NODE* tree : rewriting.before) add_statements(trees, tree);
    if (rewriting.tree && rewriting.is_changed)
        add_statements(trees, rewriting.tree);
    else if (rewriting.tree)
        trees.push_back(rewriting.tree);
    for (NODE* tree : rewriting.after) add_statements(trees, tree);
    return trees;
}

// The cell of the next statement.
STMT* rewrite_cell(EXPLOSION& explosion, BB* block, STMT* cell) {
    if (!mentions_exploded(explosion, cell->tree)) return cell->next;
    stand_at(block, cell);
    REWRITING rewriting{explosion, cell->tree, block_copy_of(cell->tree)};
    rewrite_tree(rewriting);
    const std::vector<NODE*> trees = simplified(rewriting);
    trees_changed();
    if (trees.empty()) {
        remove_cell(block, cell);
        return cell;
    }
    const POSITION position = cell->position;
    for (size_t i = 0; i + 1 < trees.size(); ++i) cell = insert_before(block, cell, trees[i], position);
    cell->tree = trees.back();
    return cell->next;
}

} // namespace

void rewrite_exploded(EXPLOSION& explosion) {
    for (BB* block = flow_graph.bb_list; block; block = block->dflink)
        for (STMT* cell = block->stmts; cell;) cell = rewrite_cell(explosion, block, cell);
}

} // namespace pelorus
