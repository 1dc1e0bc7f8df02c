// See bitfield_words.h.
#include "scalar/bitfield_words.h"

#include <algorithm>

#include "ir/effects.h"
#include "ir/node_storage.h"
#include "ir/symbol.h"
#include "tree/operator_assignment.h"
#include "tree/query.h"

namespace pelorus {

namespace {

constexpr uint32_t LARGEST_WORD = 4; // bytes: what one register holds

// --- What leads to a field ---

uint32_t lowest_bit(int64_t number) {
    const auto bits = static_cast<uint64_t>(number);
    return static_cast<uint32_t>(std::min<uint64_t>(bits & -bits, 1u << 30));
}

uint32_t align_behind(const NODE* pointer);

// A packed structure on the way lowers what the object around it promises.
uint32_t align_of_object(const NODE* object) {
    uint32_t align = UINT32_MAX;
    for (; object->op == OP_STDOT || object->op == OP_STREF; object = object->left) {
        align = std::min(align, static_cast<const TYPE*>(object->right->ref)->align);
        if (object->op == OP_STREF) return std::min(align, align_behind(object->left));
    }
    if (object->op == OP_UMULT) return std::min(align, align_behind(object->left));
    if (object->op != OP_NAME || !object->symbol()) return 1;
    return std::min(align, object->symbol()->align);
}

// What the type of the pointer promises, unless the way to it shows less.
uint32_t align_behind(const NODE* pointer) {
    const TYPE* target = type_target(pointer->type);
    uint32_t align = target ? std::max(type_strip(target)->align, 1u) : 1;
    for (;; pointer = pointer->left) switch (pointer->op) {
        case OP_PLUS:
        case OP_MINUS:
            if (!type_is_pointer(pointer->left->type)) return 1;
            if (pointer->right->op == OP_ICON && !int96_is_zero(pointer->right->value()))
                align = std::min(align, lowest_bit(int96_to_int64(pointer->right->value())));
            break;
        case OP_UAND:
        case OP_ACONV: return std::min(align, align_of_object(pointer->left));
        case OP_NONALIGN: return 1;
        case OP_NAME:
        case OP_UMULT:
        case OP_STDOT:
        case OP_STREF:
        case OP_PCONV: return align;
        default: return 1;
        }
}

// Follows the lvalue to its root.
bool find_root(FIELD_PLACE& field) {
    NODE* object = field.lvalue;
    int64_t offset = 0;
    for (; object->op == OP_STDOT; object = object->left) offset += object->right->field_info->value;
    if (object->op == OP_STREF) offset += object->right->field_info->value;
    if (object->op == OP_STREF || object->op == OP_UMULT) {
        field.root = object->left;
        field.through_pointer = true;
        field.align = align_behind(field.root);
    } else if (object->op == OP_NAME && object->symbol()) {
        field.root = object;
        field.align = std::max(object->symbol()->align, 1u);
    } else {
        return false;
    }
    field.container = offset;
    return true;
}

// --- Members ---

// What may not be read along with the fields of its word. Parts of structures and arrays are not looked at.
bool has_to_stay(const TYPE_PART* member) {
    const TYPE* type = member->flag ? type_strip(member->type)->base : member->type;
    return type_is_volatile(member->type) || type_is_volatile(type) || !type_is_scalar(type);
}

BIT_SPAN span_of(const TYPE_PART* member) {
    const TYPE* type = type_strip(member->type);
    const int64_t first = 8 * member->value + (member->flag ? type->bit_shift : 0);
    return {first, first + (member->flag ? type->bit_width : 8 * int64_t{type->size})};
}

bool is_clear(const TYPE* structure, const BIT_SPAN& bits) {
    for (const TYPE_PART* member = structure->parts; member; member = member->next)
        if (member->record_kind == TR_MEMBER && overlap(span_of(member), bits) && has_to_stay(member))
            return false;
    return true;
}

TYPE* unsigned_of_size(uint32_t size) {
    if (size == 4) return word_type();
    return type_package()->make_basic(size == 1 ? TR_CHAR : TR_SHORT, true, size, size);
}

} // namespace

FIELD_PLACE field_at(NODE* lvalue) {
    if ((lvalue->op != OP_STDOT && lvalue->op != OP_STREF) || !is_bitfield_member(lvalue)) return {};
    FIELD_PLACE field{.lvalue = lvalue};
    const TYPE_PART* member = lvalue->right->field_info;
    const TYPE* bits = type_strip(member->type);
    if (bits->kind != TK_BITFIELD || !bits->other || !find_root(field)) return {};
    if (type_is_volatile(bits->base) || tree_has_effects(lvalue)) return {};
    field.first = 8 * field.container + bits->bit_shift;
    field.width = bits->bit_width;
    field.container_size = bits->other->size;
    if (field.width > 8 * LARGEST_WORD || field.container_size > LARGEST_WORD) return {};
    field.structure = static_cast<const TYPE*>(lvalue->right->ref);
    field.structure_offset = field.container - member->value;
    field.is_signed = type_is_signed(bits->base);
    field.is_bool = type_is_bool(bits->base);
    return field;
}

FIELD_PLACE field_behind(NODE* value) {
    if (value->op != OP_SCONV) return field_at(value);
    if (!type_is_integer(value->type) || type_is_bool(value->type)) return {};
    const FIELD_PLACE field = field_at(value->left);
    return field.lvalue && field.width <= type_bits(value->type) ? field : FIELD_PLACE{};
}

bool same_structure(const FIELD_PLACE& a, const FIELD_PLACE& b) {
    constexpr int32_t MOST_NODES = 64; // of what leads to a structure
    return a.structure == b.structure && a.structure_offset == b.structure_offset &&
           a.through_pointer == b.through_pointer && equal_trees(a.root, b.root, MOST_NODES);
}

bool same_field(const FIELD_PLACE& a, const FIELD_PLACE& b) {
    return a.lvalue && b.lvalue && a.first == b.first && a.width == b.width && same_structure(a, b);
}

bool is_word_of(const FIELD_PLACE& field, const WORD& word) {
    const int64_t start = word.offset - field.structure_offset;
    if (field.align < word.size || word.offset % word.size != 0 || start < 0 ||
        start + word.size > field.structure->size)
        return false;
    return is_clear(field.structure, {8 * start, 8 * (start + word.size)});
}

WORD word_around(const BIT_SPAN& bits) {
    WORD word{bits.first / 8, 1};
    while (bits.end > 8 * (word.offset + word.size)) {
        word.size *= 2;
        word.offset = bits.first / 8 / word.size * word.size;
    }
    return word;
}

int64_t unit_bits(const FIELD_PLACE& field) { return 8 * int64_t{std::min(field.align, LARGEST_WORD)}; }

int64_t unit_of(const FIELD_PLACE& field) { return field.first / unit_bits(field); }

bool lies_in_unit(const FIELD_PLACE& field) {
    return field.first >= 0 && (field.first + field.width - 1) / unit_bits(field) == unit_of(field);
}

// --- Trees ---

TYPE* word_type() { return type_package()->unsigned_int_type(); }

NODE* word_object(const FIELD_PLACE& field, const WORD& word) {
    TYPE* type = unsigned_of_size(word.size);
    TYPE* pointer = type_package()->make_pointer(type);
    NODE* address = new_unary(field.through_pointer ? OP_PCONV : OP_UAND, pointer, copy_tree(field.root));
    if (word.offset != 0)
        address = new_binary(OP_PLUS, pointer, address,
                             new_icon(type_package()->int_type(), int96_from_int64(word.offset)));
    SYMBOL* variable = field.through_pointer ? nullptr : field.root->symbol();
    if (variable && variable->level == FILE_SCOPE) variable->flags |= CQ_ALIASED;
    return new_unary(OP_UMULT, type, address);
}

NODE* word_value(const FIELD_PLACE& field, const WORD& word) {
    return converted_value(word_object(field, word), word_type());
}

NODE* word_store(const FIELD_PLACE& field, const WORD& word, NODE* value) {
    NODE* object = word_object(field, word);
    return new_binary(OP_ASG, object->type, object, converted_value(value, object->type));
}

NODE* word_constant(uint64_t bits) { return new_wrapped_icon(word_type(), bits); }

NODE* masked(NODE* value, uint64_t mask) {
    if (mask == ones(32)) return value;
    return new_binary(OP_ANDB, word_type(), value, word_constant(mask));
}

NODE* shifted_left(NODE* value, uint32_t places) {
    if (places == 0) return value;
    return new_binary(OP_SLL, word_type(), value,
                      new_icon(type_package()->int_type(), int96_from_int64(places)));
}

void become_tree(NODE* node, NODE* tree) {
    erase_tree(node->left);
    if (node->right) erase_tree(node->right);
    node->op = tree->op;
    node->left = tree->left;
    node->right = tree->right;
    node->ref = tree->ref;
    node->field_info = nullptr;
    node->set_value(tree->value());
    set_type(node, tree->type);
    erase_node(tree);
}

NODE* field_in_word(const FIELD_PLACE& field, const WORD& word) {
    TYPE* int_type = type_package()->int_type();
    const uint32_t shift = shift_in(word, field);
    NODE* value = word_value(field, word);
    if (field.is_signed) {
        const uint32_t above = 32 - field.width;
        value = converted_value(shifted_left(value, above - shift), int_type);
        value = new_binary(OP_SRL, int_type, value, new_icon(int_type, int96_from_int64(above)));
    } else {
        value = new_binary(OP_SRL, word_type(), value, new_icon(int_type, int96_from_int64(shift)));
        value = masked(value, ones(field.width));
    }
    return converted_value(value, field.lvalue->type);
}

} // namespace pelorus
