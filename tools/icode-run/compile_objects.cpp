// Objects: where they are, how they are read, written and assigned to.
//
// The alignment of an access is what the way to the object promises: that of the variable or of the type
// behind the pointer, lowered by each member's offset. A bit-field is read and written through its container,
// an unsigned integer at the member's offset.
#include <algorithm>

#include "compile.h"

namespace pelorus {

namespace {

uint32_t alignment_at(uint32_t alignment, uint32_t offset) {
    return offset ? std::min(alignment, offset & (0 - offset)) : alignment;
}

uint32_t alignment_of_object(const NODE* lvalue, uint32_t depth);

constexpr uint32_t DEEPEST_PATH =
    50; // of addresses of members behind addresses; none is asked of a longer one

uint32_t target_alignment(const NODE* pointer) {
    const TYPE* target = type_target(type_strip(pointer->type));
    return target ? std::max(type_strip(target)->align, 1u) : 1;
}

// What the way to a pointer promises about the address; 0 when that is what its type says. Indices are taken
// to count whole elements.
uint32_t promised_alignment(const NODE* pointer, uint32_t depth) {
    if (depth > DEEPEST_PATH) return 1;
    bool converted = false; // from a pointer to something else: the new type's promise holds
    uint32_t step = 0;      // all constants that are added
    for (;;) switch (pointer->op) {
        case OP_NONALIGN: return 1;
        case OP_PCONV:
        case OP_ISP2CHAR:
            converted |= target_alignment(pointer) != target_alignment(pointer->left);
            pointer = pointer->left;
            break;
        case OP_PLUS:
        case OP_MINUS:
            if (pointer->right->op == OP_ICON) step |= uint32_t(pointer->right->value_lo);
            pointer = pointer->left;
            break;
        case OP_COMMAOP: pointer = pointer->right; break;
        case OP_IDENTITY: pointer = pointer->left; break;
        case OP_UAND:
        case OP_ACONV:
            return converted ? 0 : alignment_at(alignment_of_object(pointer->left, depth + 1), step);
        default: return 0;
        }
}

uint32_t alignment_behind(const NODE* pointer, const TYPE* type, uint32_t depth = 0) {
    const uint32_t own = std::max(type_strip(type)->align, 1u), promised = promised_alignment(pointer, depth);
    return promised ? std::min(own, promised) : own;
}

uint32_t alignment_of_object(const NODE* lvalue, uint32_t depth) {
    uint32_t offset = 0; // all members' offsets, of which the lowest bit counts
    while (lvalue->op == OP_COMMAOP || lvalue->op == OP_STDOT) {
        if (lvalue->op == OP_STDOT) offset |= uint32_t(lvalue->right->field_info->value);
        lvalue = lvalue->op == OP_STDOT ? lvalue->left : lvalue->right;
    }
    uint32_t own = std::max(type_strip(lvalue->type)->align, 1u);
    if (lvalue->op == OP_STREF) {
        offset |= uint32_t(lvalue->right->field_info->value);
        own = alignment_behind(lvalue->left, static_cast<const TYPE*>(lvalue->right->ref), depth);
    } else if (lvalue->op == OP_UMULT)
        own = alignment_behind(lvalue->left, lvalue->type, depth);
    else if (lvalue->op == OP_NAME && lvalue->symbol())
        own = std::max(own, lvalue->symbol()->align);
    return alignment_at(own, offset);
}

OBJECT_PLACE place_of_global(COMPILER& compiler, const NODE* tree, const SYMBOL* symbol) {
    OBJECT_PLACE place{.kind = OBJECT_PLACE::GLOBAL, .number = global_of_symbol(compiler.loader, symbol)};
    const bool defined = symbol->storage_class != SC_EXTERN && !type_is_function(symbol->declared_type);
    place.room = defined && compiler.program.globals[place.number].alias_of == NO_NUMBER
                     ? compiler.program.globals[place.number].size
                     : 0;
    place.alignment = std::max(symbol->align, 1u);
    place.is_constant = compiler.program.globals[place.number].constant;
    place.type = tree->type;
    return place;
}

OBJECT_PLACE place_of_name(COMPILER& compiler, const NODE* tree) {
    const SYMBOL* symbol = tree->symbol();
    OBJECT_PLACE place{.type = tree->type};
    if (!symbol || !symbol->level)
        place = symbol ? place_of_global(compiler, tree, symbol) : place;
    else if (auto local = compiler.locals.find(symbol); local != compiler.locals.end()) {
        place.number = local->second.number;
        switch (local->second.kind) {
        case LOCAL_PLACE::SLOT: place.kind = OBJECT_PLACE::SLOT; break;
        case LOCAL_PLACE::FRAME:
            place.kind = OBJECT_PLACE::FRAME;
            place.room = compiler.function.layout.variables[place.number].size;
            [[fallthrough]];
        case LOCAL_PLACE::ADDRESS_IN_SLOT:
            place.alignment = std::max(symbol->align, type_strip(tree->type)->align);
        }
    } else
        place.number = emit_unsupported(compiler, std::string("the variable ") + symbol->name);
    place.is_volatile = type_is_volatile(tree->type);
    return place;
}

OBJECT_PLACE place_of_string(COMPILER& compiler, const NODE* tree) {
    const auto size = uint32_t(tree->value_lo);
    const uint32_t alignment = std::max(type_strip(tree->type)->align, 1u);
    OBJECT_PLACE place{.kind = OBJECT_PLACE::GLOBAL,
                       .number = global_of_string(compiler.loader, {tree->text, size}, alignment)};
    place.room = size;
    place.type = tree->type;
    place.alignment = alignment;
    place.is_constant = true;
    return place;
}

OBJECT_PLACE member_of(COMPILER& compiler, const OBJECT_PLACE& whole, const NODE* field, const TYPE* type) {
    const TYPE_PART* member = field->field_info;
    OBJECT_PLACE place = whole;
    const auto offset = uint32_t(member->value);
    place.offset += offset;
    place.room -= std::min(offset, place.room);
    place.alignment = alignment_at(whole.alignment, offset);
    place.type = type;
    place.is_volatile = whole.is_volatile || type_is_volatile(type);
    if (!member->flag) return place;
    const TYPE* bits = type_strip(member->type);
    if (bits->kind == TK_BITFIELD && bits->other) place.container = shape_of(bits->other);
    place.container.is_signed = place.container.is_bool = false;
    const uint32_t width = bits->bit_width, container_bits = place.container.size * 8u;
    if (bits->bit_shift < 0 || !width || uint32_t(bits->bit_shift) + width > container_bits)
        emit_unsupported(compiler, "a bit-field outside of its container");
    else
        place.bits = {uint32_t(bits->bit_shift), width, shape_of(type).is_signed};
    return place;
}

// The object that a tree denotes which is no member of another.
OBJECT_PLACE place_of_whole(COMPILER& compiler, const NODE* tree, const NODE* later) {
    for (; tree->op == OP_COMMAOP; tree = tree->right) emit_value(compiler, tree->left);
    switch (tree->op) {
    case OP_NAME: return place_of_name(compiler, tree);
    case OP_SCON: return place_of_string(compiler, tree);
    case OP_UMULT:
    case OP_STREF: return place_behind(compiler, tree, emit_kept_value(compiler, tree->left, later));
    case OP_STDOT: return emit_place(compiler, tree, later);
    default: break;
    }
    OBJECT_PLACE place{.number = emit_kept_value(compiler, tree, later), .type = tree->type};
    place.alignment = type_strip(tree->type)->align;
    place.is_volatile = type_is_volatile(tree->type);
    return place;
}

// --- Accesses ---

struct ACCESS {
    uint32_t load, store;
};

ACCESS access_of(const SHAPE& shape) {
    switch (shape.size) {
    case 1: return {shape.is_signed ? MC_LOAD_P_8S : MC_LOAD_P_8U, MC_STORE_P_8};
    case 2: return {shape.is_signed ? MC_LOAD_P_16S : MC_LOAD_P_16U, MC_STORE_P_16};
    case 4: return {MC_LOAD_P_32, MC_STORE_P_32};
    default: return {MC_LOAD_P_64, MC_STORE_P_64};
    }
}

// Lies the access in its object for certain?
bool needs_no_check(const OBJECT_PLACE& place, uint32_t size) {
    return (place.kind == OBJECT_PLACE::FRAME || place.kind == OBJECT_PLACE::GLOBAL) && !place.is_volatile &&
           size <= place.room;
}

// The same place with its address in a slot.
OBJECT_PLACE through_pointer(COMPILER& compiler, const OBJECT_PLACE& place) {
    OBJECT_PLACE behind = place;
    if (place.kind == OBJECT_PLACE::POINTER) return behind;
    behind.number = emit_address(compiler, place);
    behind.kind = OBJECT_PLACE::POINTER;
    behind.offset = 0;
    return behind;
}

void emit_access(COMPILER& compiler, uint32_t operation, uint32_t value, const OBJECT_PLACE& place,
                 uint32_t size) {
    const uint32_t offset = place.kind == OBJECT_PLACE::FRAME
                                ? compiler.function.layout.variables[place.number].offset + place.offset
                                : place.offset;
    uint32_t form = place.alignment < size ? MC_ANY_ALIGNMENT : 0;
    if (place.kind == OBJECT_PLACE::FRAME) form = MC_IN_FRAME;
    if (place.kind == OBJECT_PLACE::GLOBAL) form = MC_IN_GLOBAL;
    emit(compiler, operation + form, value, place.number, offset);
}

// What a note says of the value: its size, and whether it is an address.
uint32_t noted_shape(const OBJECT_PLACE& place, const SHAPE& shape) {
    return place.type && type_is_pointer(place.type) ? shape.size | NOTED_POINTER : shape.size;
}

uint32_t load_scalar(COMPILER& compiler, const OBJECT_PLACE& place, const SHAPE& shape, uint32_t wanted) {
    OBJECT_PLACE from = needs_no_check(place, shape.size) ? place : through_pointer(compiler, place);
    const uint32_t pointer = from.number;
    // A note needs the address once more.
    const uint32_t result = wanted != NO_NUMBER ? wanted : new_slot(compiler);
    if (place.is_volatile && result == pointer) {
        from.number = new_slot(compiler);
        emit(compiler, MC_MOVE, from.number, pointer, 0);
    }
    open_stretch(compiler).loads++;
    emit_access(compiler, access_of(shape).load, result, from, shape.size);
    if (place.is_volatile)
        emit(compiler, MC_NOTE_READ, from.number, result, from.offset, noted_shape(place, shape));
    return result;
}

void store_scalar(COMPILER& compiler, const OBJECT_PLACE& place, const SHAPE& shape, uint32_t value) {
    const bool direct = needs_no_check(place, shape.size) && !place.is_constant;
    const OBJECT_PLACE to = direct ? place : through_pointer(compiler, place);
    open_stretch(compiler).stores++;
    emit_access(compiler, access_of(shape).store, value, to, shape.size);
    if (place.is_volatile)
        emit(compiler, MC_NOTE_WRITE, to.number, value, to.offset, noted_shape(place, shape));
}

uint32_t extract(COMPILER& compiler, uint32_t container, const BIT_RANGE& bits, uint32_t wanted) {
    const uint32_t result = wanted != NO_NUMBER ? wanted : new_slot(compiler);
    emit(compiler, MC_EXTRACT, result, container, pack_bits(bits));
    return result;
}

uint32_t store_bits(COMPILER& compiler, const OBJECT_PLACE& place, uint32_t value) {
    uint32_t whole = value;
    if (place.bits.width < place.container.size * 8u) {
        const uint32_t old = load_scalar(compiler, place, place.container, NO_NUMBER);
        whole = new_slot(compiler);
        emit(compiler, MC_INSERT, whole, old, value, pack_bits(place.bits));
    }
    store_scalar(compiler, place, place.container, whole);
    return extract(compiler, value, {0, place.bits.width, place.bits.is_signed}, NO_NUMBER);
}

// --- Assignments ---

// What the operator of a compound assignment works on: v's type; for shifts x's own, promoted.
SHAPE working_shape(const SHAPE& own, const SHAPE& right, int32_t op) {
    if (own.is_pointer) return own;
    if (op != OP_SLL && op != OP_SRL) return right;
    return own.size < 4 ? SHAPE{SHAPE::INTEGER, 4, true} : own;
}

uint32_t compound_assignment(COMPILER& compiler, const NODE* tree, int32_t op, uint32_t wanted, bool used) {
    const OBJECT_PLACE place = emit_place(compiler, tree->left, tree->right);
    const SHAPE own = shape_of(tree->left->type), right_shape = shape_of(tree->right->type);
    const SHAPE working = working_shape(own, right_shape, op);
    const bool is_shift = op == OP_SLL || op == OP_SRL;
    uint32_t right = 0;
    const bool constant = small_constant(tree->right, is_shift ? right_shape : working, right);
    if (!constant) right = emit_value_as(compiler, tree->right, is_shift ? right_shape : working);
    uint32_t old = emit_load(compiler, place);
    const bool gives_old = used && (tree->op == OP_PLUSPLUS || tree->op == OP_MINMIN);
    if (gives_old && place.kind == OBJECT_PLACE::SLOT) {
        const uint32_t copy = new_slot(compiler);
        emit(compiler, MC_MOVE, copy, old, 0);
        old = copy;
    }
    const uint32_t left = convert(compiler, old, own, working);
    const bool in_place = place.kind == OBJECT_PLACE::SLOT && converts_nothing(working, own);
    uint32_t result =
        emit_binary(compiler, op, working, left, right, constant, in_place ? place.number : NO_NUMBER);
    result = convert(compiler, result, working, own);
    result = emit_store(compiler, place, result);
    if (gives_old) result = old;
    if (wanted == NO_NUMBER || !used) return result;
    emit(compiler, MC_MOVE, wanted, result, 0);
    return wanted;
}

uint32_t structure_assignment(COMPILER& compiler, const NODE* tree, const OBJECT_PLACE& place) {
    uint32_t to = emit_address(compiler, place);
    const uint32_t from = emit_value(compiler, tree->right);
    emit_copy(compiler, to, from, type_strip(tree->left->type)->size);
    if (place.is_volatile) emit(compiler, MC_NOTE_WRITE, to, to, 0, 0);
    return to;
}

} // namespace

OBJECT_PLACE place_behind(COMPILER& compiler, const NODE* tree, uint32_t pointer) {
    const bool is_member = tree->op == OP_STREF;
    const TYPE* type = is_member ? static_cast<const TYPE*>(tree->right->ref) : tree->type;
    OBJECT_PLACE place{.number = pointer, .type = type};
    place.alignment = alignment_behind(tree->left, type);
    place.is_volatile = type_is_volatile(tree->type);
    count_operator(compiler, tree);
    return is_member ? member_of(compiler, place, tree->right, tree->type) : place;
}

OBJECT_PLACE emit_place(COMPILER& compiler, const NODE* tree, const NODE* later) {
    TREE_LIST members;
    for (; tree->op == OP_STDOT; tree = tree->left) members.push_back(tree);
    OBJECT_PLACE place = place_of_whole(compiler, tree, later);
    for (; !members.empty(); members.pop_back())
        place = member_of(compiler, place, members.back()->right, members.back()->type);
    return place;
}

uint32_t emit_address(COMPILER& compiler, const OBJECT_PLACE& place, uint32_t wanted) {
    if (place.kind == OBJECT_PLACE::POINTER && !place.offset) return place.number;
    const uint32_t result = wanted != NO_NUMBER ? wanted : new_slot(compiler);
    switch (place.kind) {
    case OBJECT_PLACE::POINTER: emit(compiler, MC_ADD_32I, result, place.number, place.offset); break;
    case OBJECT_PLACE::GLOBAL: emit(compiler, MC_GLOBAL_ADDRESS, result, place.number, place.offset); break;
    case OBJECT_PLACE::FRAME:
        emit(compiler, MC_FRAME_ADDRESS, result, 0,
             compiler.function.layout.variables[place.number].offset + place.offset);
        break;
    case OBJECT_PLACE::SLOT: return emit_unsupported(compiler, "the address of a variable that has none");
    }
    return result;
}

uint32_t emit_load(COMPILER& compiler, const OBJECT_PLACE& place, uint32_t wanted) {
    if (place.bits.width) {
        const uint32_t container = load_scalar(compiler, place, place.container, NO_NUMBER);
        return extract(compiler, container, place.bits, wanted);
    }
    const SHAPE shape = shape_of(place.type);
    switch (shape.kind) {
    case SHAPE::NOTHING: return 0;
    case SHAPE::MEMORY: return emit_address(compiler, place, wanted);
    case SHAPE::UNKNOWN: return emit_unsupported(compiler, "values of type " + type_text(place.type));
    default: break;
    }
    if (place.kind == OBJECT_PLACE::SLOT) return place.number;
    return load_scalar(compiler, place, shape, wanted);
}

uint32_t emit_store(COMPILER& compiler, const OBJECT_PLACE& place, uint32_t value) {
    if (place.bits.width) return store_bits(compiler, place, value);
    const SHAPE shape = shape_of(place.type);
    if (!is_number(shape)) return emit_unsupported(compiler, "values of type " + type_text(place.type));
    if (place.kind != OBJECT_PLACE::SLOT) {
        store_scalar(compiler, place, shape, value);
        return value;
    }
    if (value != place.number) emit(compiler, MC_MOVE, place.number, value, 0);
    return place.number;
}

void emit_copy(COMPILER& compiler, uint32_t to, uint32_t from, uint32_t size) {
    if (!size) return;
    open_stretch(compiler).loads += (size + 3) / 4;
    open_stretch(compiler).stores += (size + 3) / 4;
    emit(compiler, MC_COPY, to, from, size);
}

uint32_t emit_assignment(COMPILER& compiler, const NODE* tree, uint32_t wanted, bool used) {
    count_operator(compiler, tree);
    if (const int32_t op = plain_operator(tree->op); op != OP_NOP)
        return compound_assignment(compiler, tree, op, wanted, used);
    const OBJECT_PLACE place = emit_place(compiler, tree->left, tree->right);
    const SHAPE shape = shape_of(place.type);
    if (shape.kind == SHAPE::MEMORY) return structure_assignment(compiler, tree, place);
    const uint32_t target = place.kind == OBJECT_PLACE::SLOT ? place.number : NO_NUMBER;
    return emit_store(compiler, place, emit_value_as(compiler, tree->right, shape, target));
}

} // namespace pelorus
