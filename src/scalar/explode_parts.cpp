// The parts of a local structure, union or array; see explode_variables.h.
//
//   1. Parts that overlap, because a union is used through several members or an address of another type
//      leads to bits of a member, stay in memory, and so does what an assignment of a range cuts through.
//   2. What is read as a whole needs all that is in it, not only the parts that are accessed by name. The
//      type tells: members of structures, elements of arrays. Of a union those that are accessed must be all
//      of it; without accesses one member that fills it stands for it, one without floating-point arithmetic
//      if there is one. What is smaller than a word is moved by words.
#include <algorithm>

#include "ir/call.h"
#include "ir/effects.h"
#include "ir/funinfo.h"
#include "scalar/explode_variables.h"
#include "support/settings.h"

namespace pelorus {

// --- Accesses ---

namespace {

BIT_RANGE bits_of_field(const TYPE_PART* member, int64_t offset) {
    const TYPE* type = type_strip(member->type);
    const int64_t width = type->bit_width;
    const int64_t container = 8 * int64_t{type->other ? type->other->size : type->size};
    const int64_t shift = settings.big_endian ? container - type->bit_shift - width : type->bit_shift;
    return {8 * offset + shift, width};
}

} // namespace

BIT_RANGE bits_of_access(const LOCAL_PLACE& place, const TYPE* type) {
    if (place.bitfield) return bits_of_field(place.bitfield, place.offset);
    return range_of_bytes(place.offset, type->size);
}

bool same_values(const TYPE* a, const TYPE* b) {
    return type_same_representation(a, b) && type_is_bool(a) == type_is_bool(b) &&
           type_is_pointer(a) == type_is_pointer(b);
}

PART* find_part(EXPLODED& variable, BIT_RANGE bits, const TYPE* type) {
    for (PART& part : variable.parts)
        if (part.bits == bits && same_values(part.type, type)) return &part;
    return nullptr;
}

// --- What statements copy ---

namespace {

bool is_object(const NODE* node) {
    while (node->op == OP_STDOT) node = node->left;
    return node->op == OP_NAME || node->op == OP_UMULT || node->op == OP_STREF;
}

// `count` arguments from the first to the last; false when there are more or fewer.
bool take_arguments(NODE* list, NODE** arguments, int count) {
    for (int i = count - 1; i > 0; --i, list = list->left) {
        if (!list || list->op != OP_COMMA) return false;
        arguments[i] = list->right;
    }
    arguments[0] = list;
    return list && list->op != OP_COMMA;
}

BLOCK_COPY::KIND kind_of_call(const NODE* call) {
    const SYMBOL* callee = call->op == OP_CALL ? direct_callee(call) : nullptr;
    if (!callee || !(flags_of_function(callee) & FUN_is_SYSTEM)) return BLOCK_COPY::NONE;
    const std::string_view name = plain_name(callee->name);
    if (name == "memset") return BLOCK_COPY::SAME_BYTE;
    return name == "memcpy" || name == "memmove" ? BLOCK_COPY::BYTES : BLOCK_COPY::NONE;
}

BLOCK_COPY copy_by_call(NODE* call) {
    BLOCK_COPY copy{kind_of_call(call)};
    NODE* arguments[3];
    if (copy.kind == BLOCK_COPY::NONE || !take_arguments(call->right, arguments, 3)) return {};
    const NODE* size = arguments[2];
    if (size->op != OP_ICON || size->value_lo <= 0 || size->value_mid != 0) return {};
    copy.size = size->value_lo;
    copy.to = arguments[0];
    if (copy.kind == BLOCK_COPY::BYTES) {
        copy.from = arguments[1];
        return copy;
    }
    if (arguments[1]->op != OP_ICON) return {};
    copy.byte = static_cast<uint8_t>(arguments[1]->value_lo);
    return copy;
}

bool is_parameter(const NODE* object) {
    while (object->op == OP_STDOT) object = object->left;
    return object->op == OP_NAME && object->symbol()->level == PARAMETER_LEVEL;
}

// No pointer leads there, so that it does not matter when the address is computed.
bool is_variable(const NODE* object) {
    while (object->op == OP_STDOT) object = object->left;
    return object->op == OP_NAME;
}

} // namespace

// A parameter is read once, by the copy into its home, which stays.
BLOCK_COPY block_copy_of(NODE* statement) {
    if (is_call(statement)) return copy_by_call(statement);
    if (statement->op != OP_STASG) return {};
    NODE* to = statement->left;
    NODE* from = statement->right;
    while (from->op == OP_COMMAOP) from = from->right;
    const bool has_commas = from != statement->right;
    if (!is_object(to) || !is_object(from) || is_parameter(from)) return {};
    if (has_commas && !(is_variable(to) && is_variable(from))) return {};
    return {.kind = BLOCK_COPY::STRUCTURE,
            .to = to,
            .from = from,
            .commas = has_commas ? statement->right : nullptr,
            .size = to->type->size};
}

LOCAL_PLACE place_of_target(const BLOCK_COPY& copy) {
    if (!copy.to) return {};
    return copy.kind == BLOCK_COPY::STRUCTURE ? place_of_object(copy.to) : place_of_address(copy.to);
}

LOCAL_PLACE place_of_source(const BLOCK_COPY& copy) {
    if (!copy.from) return {};
    return copy.kind == BLOCK_COPY::STRUCTURE ? place_of_object(copy.from) : place_of_address(copy.from);
}

// --- 1 ---

namespace {

void sort_parts(std::vector<PART>& parts) {
    std::ranges::stable_sort(parts, {}, [](const PART& part) { return part.bits.first; });
}

constexpr const char* OVERLAPS = "accesses to parts of it overlap";

// Needs: sorted.
void keep_overlapping(std::vector<PART>& parts) {
    int64_t end = 0;    // of the parts before
    size_t longest = 0; // the one that reaches there
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i > 0 && parts[i].bits.first < end) {
            keep_part(parts[i], OVERLAPS);
            for (size_t j = longest; j < i; ++j)
                if (overlap(parts[j].bits, parts[i].bits)) keep_part(parts[j], OVERLAPS);
        }
        if (parts[i].bits.end() <= end) continue;
        end = parts[i].bits.end();
        longest = i;
    }
}

// Bytes that are no zeros say nothing of a float, and no bool is made of such.
bool can_be_filled(const PART& part, uint8_t byte) {
    return byte == 0 || !(type_is_floating(part.type) || type_is_bool(part.type));
}

bool is_cut(BIT_RANGE range, const PART& part) {
    return overlap(range, part.bits) && !covers(range, part.bits);
}

void keep_cut(const EXPLODED& variable, std::vector<PART>& parts) {
    for (PART& part : parts) {
        for (const WHOLE_USE& whole : variable.wholes)
            if (is_cut(whole.bits, part)) keep_part(part, OVERLAPS);
        for (const BYTE_FILL& fill : variable.fills)
            if (is_cut(fill.bits, part))
                keep_part(part, OVERLAPS);
            else if (overlap(fill.bits, part.bits) && !can_be_filled(part, fill.byte))
                keep_part(part, "what memset stores in a part is no value of it");
    }
}

// --- 2 ---

constexpr int MOST_NESTED = 8; // structures and arrays within each other

struct LEAVES {
    const EXPLODED& variable;
    std::vector<PART> found{};
};

bool add_leaf(LEAVES& leaves, BIT_RANGE bits, int64_t offset, TYPE* type, const TYPE_PART* bitfield) {
    if (leaves.found.size() >= MOST_PARTS || !type) return false;
    leaves.found.push_back({.bits = bits, .offset = offset, .type = type_strip(type), .bitfield = bitfield});
    return true;
}

bool add_leaves(LEAVES& leaves, TYPE* type, int64_t offset, int depth);

bool add_member(LEAVES& leaves, const TYPE_PART* member, int64_t offset, int depth) {
    const int64_t place = offset + member->value;
    if (!member->type || type_is_volatile(member->type)) return false;
    if (member->flag)
        return add_leaf(leaves, bits_of_field(member, place), place, type_strip(member->type)->base, member);
    return add_leaves(leaves, member->type, place, depth);
}

int64_t bits_in_accesses(const EXPLODED& variable, BIT_RANGE range) {
    int64_t bits = 0;
    for (const PART& part : variable.parts)
        if (overlap(part.bits, range)) bits += part.bits.count;
    return bits;
}

bool fills_union(const TYPE_PART* member, const TYPE* type) {
    return member->record_kind == TR_MEMBER && !member->flag && member->type &&
           type_is_scalar(member->type) && member->type->size == type->size;
}

bool add_union(LEAVES& leaves, const TYPE* type, int64_t offset, int depth) {
    const BIT_RANGE range = range_of_bytes(offset, type->size);
    if (const int64_t bits = bits_in_accesses(leaves.variable, range)) return bits == range.count;
    const TYPE_PART* chosen = nullptr;
    for (const TYPE_PART* member = type->parts; member; member = member->next)
        if (fills_union(member, type) && (!chosen || type_is_floating(chosen->type))) chosen = member;
    return chosen && add_member(leaves, chosen, offset, depth);
}

bool add_leaves(LEAVES& leaves, TYPE* type, int64_t offset, int depth) {
    type = type_strip(type);
    if (depth > MOST_NESTED) return false;
    switch (type->kind) {
    case TK_UNION: return add_union(leaves, type, offset, depth + 1);
    case TK_STRUCT:
        for (const TYPE_PART* part = type->parts; part; part = part->next)
            if (part->record_kind != TR_MEMBER || !add_member(leaves, part, offset, depth + 1)) return false;
        return type->parts != nullptr;
    case TK_ARRAY:
        if (!type->complete || type->count > MOST_PARTS) return false;
        for (uint64_t i = 0; i < type->count; ++i)
            if (!add_leaves(leaves, type->base, offset + static_cast<int64_t>(i * type->base->size),
                            depth + 1))
                return false;
        return true;
    case TK_INTEGER:
    case TK_ENUM:
    case TK_FLOATING:
    case TK_POINTER:
    case TK_REFERENCE: return add_leaf(leaves, range_of_bytes(offset, type->size), offset, type, nullptr);
    default: return false;
    }
}

// The leaves that nothing names; false when a part that something names is no leaf.
bool find_unnamed(EXPLODED& variable, const std::vector<PART>& leaves) {
    for (const PART& leaf : leaves) {
        if (find_part(variable, leaf.bits, leaf.type)) continue;
        for (const PART& part : variable.parts)
            if (overlap(part.bits, leaf.bits)) return false;
        variable.unnamed.push_back(leaf);
    }
    return true;
}

// Parts that are only copied, at the most: what more there is would not stay in registers between the copies,
// as measured with a row of 32 numbers that is exchanged with another one (1 KB of code more, nothing won).
constexpr size_t MOST_UNNAMED = 8;

// The word can be moved at once: nothing uses a part of it by itself.
bool is_moved_at_once(const EXPLODED& variable, BIT_RANGE word) {
    const auto cuts = [&](const auto& range) {
        return overlap(range.bits, word) && !covers(range.bits, word);
    };
    return std::ranges::none_of(variable.wholes, cuts) && std::ranges::none_of(variable.fills, cuts) &&
           std::ranges::none_of(variable.parts, [&](const PART& part) { return overlap(part.bits, word); });
}

// What is smaller than a word and has no name is moved by words, padding and all. Not where another variable
// is copied from or to, since that one may have other parts.
void join_words(EXPLODED& variable) {
    constexpr int64_t WORD = 4;
    const bool is_aligned = type_strip(variable.symbol->type)->align >= WORD;
    if (!is_aligned || std::ranges::any_of(variable.wholes, &WHOLE_USE::of_two)) return;
    std::vector<PART> joined;
    for (const PART& part : variable.unnamed) {
        const int64_t offset = part.bits.first / (8 * WORD) * WORD;
        const BIT_RANGE word = range_of_bytes(offset, WORD);
        if (!joined.empty() && covers(joined.back().bits, part.bits)) continue;
        const bool joins = part.bits.count < 8 * WORD && covers(word, part.bits) &&
                           offset + WORD <= int64_t{variable.symbol->size} &&
                           is_moved_at_once(variable, word);
        joined.push_back(joins ? PART{.bits = word,
                                      .offset = offset,
                                      .type = type_package()->unsigned_int_type(),
                                      .bitfield = nullptr}
                               : part);
    }
    variable.unnamed = joined;
}

// Padding would be lost where members are copied. Programs clear it with memset and compare bytes.
bool has_padding(const EXPLODED& variable) {
    int64_t bits = 0;
    for (const std::vector<PART>* parts : {&variable.parts, &variable.unnamed})
        for (const PART& part : *parts) bits += part.bits.count;
    return bits < 8 * int64_t{variable.symbol->size};
}

bool has_shape(const EXPLODED& variable) {
    return variable.symbol->size == type_strip(variable.symbol->type)->size;
}

} // namespace

bool stays_in_part(const EXPLODED& variable) {
    return std::ranges::any_of(variable.parts, [](const PART& part) { return part.why_it_stays != nullptr; });
}

void complete_parts(EXPLODED& variable) {
    sort_parts(variable.parts);
    keep_overlapping(variable.parts);
    keep_cut(variable, variable.parts);
    variable.may_copy_members = !stays_in_part(variable);
    if (!variable.is_read_whole || !variable.may_copy_members) return;
    LEAVES leaves{variable};
    variable.may_copy_members = has_shape(variable) && add_leaves(leaves, variable.symbol->type, 0, 0) &&
                                find_unnamed(variable, leaves.found);
    sort_parts(variable.unnamed);
    join_words(variable);
    keep_cut(variable, variable.unnamed);
    variable.may_copy_members &= variable.unnamed.size() <= MOST_UNNAMED && !has_padding(variable);
    for (const PART& part : variable.unnamed) variable.may_copy_members &= !part.why_it_stays;
}

void add_unnamed_parts(EXPLODED& variable) {
    variable.parts.insert(variable.parts.end(), variable.unnamed.begin(), variable.unnamed.end());
    sort_parts(variable.parts);
}

} // namespace pelorus
