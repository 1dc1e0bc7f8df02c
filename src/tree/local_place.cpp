// See local_place.h. The walk goes down one way, from the lvalue to the NAME.
#include "tree/local_place.h"

#include "ir/effects.h"
#include "ir/symbol.h"

namespace pelorus {

namespace {

bool names_bitfield(const NODE* field) { return field->field_info && field->field_info->flag; }

// Addresses wrap around at 32 bits, so that a large unsigned constant goes back.
int64_t distance(const NODE* constant) {
    return static_cast<int32_t>(static_cast<uint32_t>(constant->value_lo));
}

// Takes the amount of a sum into the place and answers the pointer that it is added to; null when that is not
// to be seen.
NODE* through_sum(LOCAL_PLACE& place, NODE* sum) {
    if (!type_is_pointer(sum->left->type)) return nullptr;
    if (sum->right->op == OP_ICON)
        place.offset += sum->op == OP_PLUS ? distance(sum->right) : -distance(sum->right);
    else
        place.is_fixed = false;
    return sum->left;
}

// The object whose address the pointer is, with what was added to that; null for any other pointer.
NODE* object_of(LOCAL_PLACE& place, NODE* pointer) {
    while (pointer) switch (pointer->op) {
        case OP_PLUS:
        case OP_MINUS: pointer = through_sum(place, pointer); break;
        case OP_PCONV:
        case OP_ISP2CHAR:
        case OP_NONALIGN: pointer = type_is_pointer(pointer->left->type) ? pointer->left : nullptr; break;
        case OP_UAND:
        case OP_ACONV: place.address = pointer; return pointer->left;
        default: return nullptr;
        }
    return nullptr;
}

LOCAL_PLACE find_variable(LOCAL_PLACE place, NODE* object) {
    while (object) switch (object->op) {
        case OP_STDOT:
            if (names_bitfield(object->right)) return {};
            place.offset += object->right->field_info->value;
            object = object->left;
            break;
        case OP_STREF:
            if (names_bitfield(object->right)) return {};
            place.offset += object->right->field_info->value;
            object = object_of(place, object->left);
            break;
        case OP_UMULT: object = object_of(place, object->left); break;
        case OP_NAME:
            if (!object->symbol() || object->symbol()->level != BODY_LEVEL) return {};
            place.name = object;
            return place;
        default: return {};
        }
    return {};
}

} // namespace

LOCAL_PLACE place_of_object(NODE* lvalue) {
    LOCAL_PLACE place;
    if ((lvalue->op != OP_STDOT && lvalue->op != OP_STREF) || !names_bitfield(lvalue->right))
        return find_variable(place, lvalue);
    place.bitfield = lvalue->right->field_info;
    place.offset = place.bitfield->value;
    NODE* object = lvalue->op == OP_STDOT ? lvalue->left : object_of(place, lvalue->left);
    return find_variable(place, object);
}

LOCAL_PLACE place_of_address(NODE* pointer) {
    LOCAL_PLACE place;
    NODE* object = object_of(place, pointer); // which notes in the place what it passes
    return find_variable(place, object);
}

} // namespace pelorus
