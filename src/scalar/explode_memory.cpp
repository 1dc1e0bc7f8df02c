// See explode_memory.h.
#include "scalar/explode_memory.h"

#include "ir/effects.h"
#include "ir/walk.h"
#include "scalar/explode_variables.h"
#include "support/settings.h"

namespace pelorus {

// --- Parts of objects ---

namespace {

NODE* member_of(NODE* base, TYPE_PART* member) {
    NODE* field = new_node(OP_FIELD, member->type);
    field->set_field(1, member, type_strip(base->type));
    TYPE* type = type_strip(member->type);
    return new_binary(OP_STDOT, type->kind == TK_BITFIELD ? type_strip(type->base) : type, base, field);
}

bool may_lie_anywhere(const NODE* address) {
    return any_node(address, [](const NODE* node) { return node->op == OP_NONALIGN; });
}

// What the object lies in promises the alignment; a packed structure does not, nor a pointer to what may lie
// anywhere.
bool is_aligned_object(const NODE* object, uint32_t align) {
    if (may_lie_anywhere(object)) return false;
    for (; object->op == OP_STDOT || object->op == OP_STREF; object = object->left) {
        if (static_cast<const TYPE*>(object->right->ref)->align < align) return false;
        if (object->op == OP_STREF) return true;
    }
    return object->op == OP_NAME ? object->symbol()->align >= align
                                 : type_strip(object->type)->align >= align;
}

// `type` at a distance from the start of the object.
NODE* object_behind(NODE* base, int64_t offset, TYPE* type) {
    const bool is_aligned = is_aligned_object(base, type->align) && offset % type->align == 0;
    TYPE* pointer = type_package()->make_pointer(type);
    NODE* address = new_unary(OP_UAND, pointer, base);
    if (offset != 0)
        address = new_binary(OP_PLUS, pointer, address,
                             new_icon(type_package()->int_type(), int96_from_int64(offset)));
    if (!is_aligned) address = new_unary(OP_NONALIGN, pointer, address);
    return new_unary(OP_UMULT, type, address);
}

// Bytes from the start of the part to its end.
int64_t size_of(const PART& part) { return part.bitfield ? 0 : part.bits.count / 8; }

// The member in which the part lies; of a union's the one that is the part, or else the first that can hold
// it.
TYPE_PART* member_with(const TYPE* type, int64_t offset, const PART& part) {
    TYPE_PART* found = nullptr;
    for (TYPE_PART* member = type->parts; member; member = member->next) {
        if (member->record_kind != TR_MEMBER || !member->type) continue;
        if (part.bitfield == member && member->value == offset) return member;
        if (member->flag || member->value > offset || offset >= member->value + int64_t{member->type->size})
            continue;
        if (!part.bitfield && member->value == offset && type_is_scalar(member->type) &&
            same_values(member->type, part.type))
            return member;
        const bool holds = offset + size_of(part) <= member->value + int64_t{member->type->size};
        if (!found && holds && !type_is_scalar(member->type)) found = member;
    }
    return found;
}

} // namespace

NODE* object_of_part(NODE* base, int64_t offset, const PART& part) {
    for (;;) {
        TYPE* type = type_strip(base->type);
        if (type->kind == TK_ARRAY && type->base->size > 0 && size_of(part) <= int64_t{type->base->size}) {
            TYPE* element = type_strip(type->base);
            const int64_t start = offset / element->size * element->size;
            base = object_behind(base, start, element);
            offset -= start;
            continue;
        }
        TYPE_PART* member = type_is_csu(type) ? member_with(type, offset, part) : nullptr;
        if (!member) break;
        base = member_of(base, member);
        offset -= member->value;
        if (member == part.bitfield) return base;
    }
    if (offset == 0 && type_is_scalar(base->type) && same_values(base->type, part.type)) return base;
    return object_behind(base, offset, part.type);
}

NODE* value_of_bytes(const PART& part, uint8_t byte) {
    TYPE* type = part.type;
    if (type_is_floating(type)) {
        TYPE* int_type = type_package()->int_type();
        return new_unary(OP_SCONV, type, new_icon(int_type, int96_from_int64(0)));
    }
    const uint64_t bits = byte * uint64_t{0x0101010101010101};
    if (!part.bitfield) return new_wrapped_icon(type, bits);
    const INT96 kept = int96_truncate(int96_from_uint64(bits), static_cast<uint32_t>(part.bits.count),
                                      !type_is_signed(type));
    return new_wrapped_icon(type, kept);
}

// --- Objects ---

MEMORY_OBJECT object_as_it_is(NODE* lvalue, int64_t start) {
    if (node_has_effect(lvalue)) return {};
    return {.lvalue = lvalue, .start = start};
}

namespace {

int64_t constant_of(const NODE* node) { return static_cast<int32_t>(static_cast<uint32_t>(node->value_lo)); }

const NODE* behind_constants(const NODE* pointer, int64_t& offset) {
    for (;; pointer = pointer->left) switch (pointer->op) {
        case OP_PCONV:
        case OP_ISP2CHAR:
        case OP_NONALIGN: break;
        case OP_PLUS:
            if (pointer->right->op != OP_ICON) return pointer;
            offset += constant_of(pointer->right);
            break;
        case OP_MINUS:
            if (pointer->right->op != OP_ICON) return pointer;
            offset -= constant_of(pointer->right);
            break;
        default: return pointer;
        }
}

// What the address is made of promises an alignment: the variable, or the type that the pointer points to.
bool is_aligned_for(const NODE* address, const TYPE* type, int64_t offset) {
    if (may_lie_anywhere(address)) return false;
    const NODE* base = behind_constants(address, offset);
    if (offset % type->align != 0) return false;
    if (takes_address(base) && base->left->op == OP_NAME) return base->left->symbol()->align >= type->align;
    const TYPE* target = takes_address(base) ? nullptr : type_target(base->type);
    return target && type_is_pointer(base->type) && target->align >= type->align;
}

} // namespace

MEMORY_OBJECT object_at_address(NODE* address, int64_t start, TYPE* type) {
    if (settings.all_volatile) return {};
    type = type_strip(type);
    return {.address = address,
            .start = start,
            .type = type,
            .is_aligned = is_aligned_for(address, type, -start)};
}

namespace {

// `type` at a distance from the address.
NODE* object_at(const MEMORY_OBJECT& object, int64_t distance, TYPE* type) {
    TYPE* pointer_type = type_package()->make_pointer(type);
    NODE* pointer = new_unary(OP_PCONV, pointer_type, copy_tree(object.address));
    if (distance != 0)
        pointer = new_binary(OP_PLUS, pointer_type, pointer,
                             new_icon(type_package()->int_type(), int96_from_int64(distance)));
    if (!object.is_aligned) pointer = new_unary(OP_NONALIGN, pointer_type, pointer);
    return new_unary(OP_UMULT, type, pointer);
}

} // namespace

// A bit-field is one of a structure only, which is taken to lie around the address.
NODE* part_of_object(const MEMORY_OBJECT& object, const PART& part) {
    if (object.lvalue) return object_of_part(copy_tree(object.lvalue), part.offset - object.start, part);
    if (!part.bitfield) return object_at(object, part.offset - object.start, part.type);
    return object_of_part(object_at(object, -object.start, object.type), part.offset, part);
}

NODE** pointer_to(MEMORY_OBJECT& object) {
    if (object.address) return &object.address;
    NODE* lvalue = object.lvalue;
    while (lvalue->op == OP_STDOT) lvalue = lvalue->left;
    return lvalue->op == OP_UMULT || lvalue->op == OP_STREF ? &lvalue->left : nullptr;
}

bool find_base(const NODE* pointer, const SYMBOL*& base) {
    int64_t offset = 0;
    base = nullptr;
    pointer = behind_constants(pointer, offset);
    if (takes_address(pointer)) return !behind_address(pointer);
    if (pointer->op != OP_NAME) return false;
    base = pointer->symbol();
    return true;
}

NODE* compute_pointer_once(NODE** pointer, SYMBOL* address) {
    NODE* computed = *pointer;
    NODE* name = new_name(address, address->type);
    *pointer = may_lie_anywhere(computed) ? new_unary(OP_NONALIGN, name->type, name) : name;
    return new_binary(OP_ASG, address->type, new_name(address, address->type), computed);
}

} // namespace pelorus
