// See register_structure.h.
//
// One walk over a statement finds the NAMEs that stand where a structure need not be in memory, and those
// whose address, or that of a part, is taken; a second one tells the others.
#include "ir/register_structure.h"

#include <algorithm>
#include <vector>

#include "ir/effects.h"
#include "ir/symbol.h"
#include "ir/type.h"
#include "ir/walk.h"

namespace pelorus {

// --- Types ---

namespace {

bool add_leaves(const TYPE* structure, uint32_t offset, STRUCTURE_LEAVES& found);

bool add_leaf(const TYPE_PART* member, uint32_t offset, STRUCTURE_LEAVES& found) {
    if (!member->type || member->flag || type_is_volatile(member->type)) return false;
    const TYPE* type = type_strip(member->type);
    if (type->kind == TK_STRUCT) return add_leaves(type, offset, found);
    const bool is_number = type_is_integer(type) || type_is_floating(type) || type_is_pointer(type);
    if (!is_number || found.count == STRUCTURE_LEAVES::MOST) return false;
    if (found.count == 0) found.size = type->size;
    if (type->size != found.size || offset != found.count * found.size) return false;
    found.leaves[found.count++] = {offset, member->type};
    return true;
}

bool add_leaves(const TYPE* structure, uint32_t offset, STRUCTURE_LEAVES& found) {
    for (const TYPE_PART* part = structure->parts; part; part = part->next)
        if (part->record_kind != TR_MEMBER ||
            !add_leaf(part, offset + static_cast<uint32_t>(part->value), found))
            return false;
    return true;
}

} // namespace

bool find_leaves(const TYPE* type, STRUCTURE_LEAVES& found) {
    found = {};
    const TYPE* structure = type_strip(type);
    return structure->kind == TK_STRUCT && !type_is_volatile(type) && add_leaves(structure, 0, found) &&
           (found.size == 4 || found.size == 8) && found.count * found.size == structure->size;
}

// --- Statements ---

namespace {

struct NAMES {
    std::vector<const NODE*> moved; // or members of it are used
    std::vector<const NODE*> exposed;
    bool all_exposed = false; // by an operator that does what it wants with its operands
};

bool is_local_structure(const NODE* node) {
    return node->op == OP_NAME && node->symbol() && node->symbol()->level == BODY_LEVEL &&
           type_is_csu(node->symbol()->declared_type);
}

void add_name(std::vector<const NODE*>& names, const NODE* node) {
    if (node && is_local_structure(node)) names.push_back(node);
}

// What has its value from the node: the right operand of a COMMAOP.
const NODE* value_behind(const NODE* node) {
    while (node && node->op == OP_COMMAOP) node = node->right;
    return node;
}

const NODE* structure_around(const NODE* member) {
    while (member && member->op == OP_STDOT) member = member->left;
    return member;
}

void note_scalar(NAMES& names, const NODE* member) {
    if (!member->type || !member->right || type_is_csu(member->type) || type_is_array(member->type) ||
        is_bitfield_member(member) || type_is_volatile(member->type))
        return;
    add_name(names.moved, structure_around(member));
}

// The node is evaluated, but not for its value.
void note_unused(NAMES& names, const NODE* node) {
    if (node && node->op == OP_STASG) add_name(names.moved, node->left);
}

void note_exposed(NAMES& names, const NODE* object) {
    add_name(names.exposed, structure_around(value_behind(object)));
}

void note_uses(NAMES& names, const NODE* node) {
    switch (node->op) {
    case OP_STDOT: return note_scalar(names, node);
    case OP_UAND:
    case OP_ACONV: return note_exposed(names, node->left);
    case OP_STASG: return add_name(names.moved, value_behind(node->right));
    case OP_STARG: return add_name(names.moved, value_behind(node->left));
    case OP_RETURN: return add_name(names.moved, value_behind(node->right));
    case OP_COMMAOP: return note_unused(names, node->left);
    case OP_PCOMMA: return note_unused(names, node->left), note_unused(names, node->right);
    case OP_ASM: names.all_exposed = true; return;
    default: names.all_exposed |= !opcode_fact(node->op).name; // as those without a name may
    }
}

bool has(const std::vector<const NODE*>& sorted, const NODE* name) {
    return std::binary_search(sorted.begin(), sorted.end(), name);
}

} // namespace

void visit_names_in_memory(const NODE* statement, NAME_VISITOR visit, void* context) {
    if (!any_node(statement, is_local_structure)) return;
    NAMES names;
    note_unused(names, statement);
    for_each_node(statement, [&](const NODE* node) { note_uses(names, node); });
    std::sort(names.moved.begin(), names.moved.end());
    std::sort(names.exposed.begin(), names.exposed.end());
    for_each_node(statement, [&](const NODE* node) {
        if (!is_local_structure(node)) return;
        const bool is_whole = type_strip(node->type) == type_strip(node->symbol()->declared_type);
        if (names.all_exposed || !is_whole || !has(names.moved, node) || has(names.exposed, node))
            visit(context, node);
    });
}

} // namespace pelorus
