// Types: from clang's to icode's; see types.h.
//
// A structure's type is entered in the map before its members are made, since they may point to it. Its size
// is known from the start, so types that contain it may be made in between.
//
// A bit-field's container is the smallest naturally aligned unsigned integer that holds the field and lies
// between the members around its run of bit-fields. Where there is none, as for a field of a packed structure
// that straddles such units, it gets the smallest integer from the field's first byte on, or the last one
// that ends with the run, or it is cut into pieces (pieces.h).
//
// Complex numbers and vectors are structures of their elements. A structure is marked that stands for a
// vector, since the calling convention passes it in another way.
#include "types.h"

#include "clang/AST/Attr.h"
#include "clang/AST/RecordLayout.h"

#include "scopes.h"

namespace pelorus {

using namespace clang;

namespace {

constexpr unsigned LARGEST_VECTOR = 1024; // elements, each of which becomes a tree

struct BASIC {
    uint8_t record_kind;
    bool is_unsigned;
    uint8_t size;
};

TYPE* make_basic(UNIT& unit, BASIC basic) {
    return unit.types.make_basic(basic.record_kind, basic.is_unsigned, basic.size,
                                 basic.size ? basic.size : 1u);
}

// Plain char is described by the character type that it is represented as.
TYPE* plain_char(UNIT& unit, bool is_unsigned) {
    return unit.types.make_basic(TR_CHAR, is_unsigned, 1, 1, char_type(unit, is_unsigned));
}

TYPE* basic_type(UNIT& unit, const BuiltinType* type) {
    switch (type->getKind()) {
    case BuiltinType::Void: return void_type(unit);
    case BuiltinType::Bool: return make_basic(unit, {TR_BOOL, true, 1});
    case BuiltinType::Char_U: return plain_char(unit, true);
    case BuiltinType::Char_S: return plain_char(unit, false);
    case BuiltinType::UChar: return char_type(unit, true);
    case BuiltinType::SChar: return char_type(unit, false);
    case BuiltinType::UShort: return make_basic(unit, {TR_SHORT, true, 2});
    case BuiltinType::Short: return make_basic(unit, {TR_SHORT, false, 2});
    case BuiltinType::UInt: return unsigned_type(unit);
    case BuiltinType::Int: return int_type(unit);
    case BuiltinType::ULong: return make_basic(unit, {TR_LONG, true, 4});
    case BuiltinType::Long: return make_basic(unit, {TR_LONG, false, 4});
    case BuiltinType::ULongLong: return long_long_type(unit, true);
    case BuiltinType::LongLong: return long_long_type(unit, false);
    case BuiltinType::Half: return make_basic(unit, {TR_SHORT, true, 2}); // its bits
    case BuiltinType::Float: return make_basic(unit, {TR_FLOAT, false, 4});
    case BuiltinType::Double: return make_basic(unit, {TR_DOUBLE, false, 8});
    case BuiltinType::LongDouble: return make_basic(unit, {TR_LONG_DOUBLE, false, 8});
    case BuiltinType::NullPtr: return void_pointer_type(unit);
    default: break;
    }
    refuse(unit, "the type '" + QualType(type, 0).getAsString() + "'");
    return int_type(unit);
}

TYPE* array_type(UNIT& unit, const ArrayType* array) {
    TYPE* element = icode_type(unit, array->getElementType());
    // An array of variable length is the open array of its innermost element of fixed size.
    if (is_variable_array(unit, array->getElementType())) return element;
    if (const auto* constant = dyn_cast<ConstantArrayType>(array))
        return unit.types.make_array(element, constant->getSize().getZExtValue());
    return unit.types.make_open_array(element);
}

void complete_list(UNIT& unit, TYPE* type, LIST_CODE list) {
    const TYPE_FIELD field{.number = list};
    unit.types.add_record(type->uid.number, TR_LIST_COMPLETE, &field);
}

void note_layout(UNIT& unit, TYPE* type, LAYOUT_CODE layout) {
    const TYPE_FIELD field{.number = layout};
    unit.types.add_record(type->uid.number, TR_LAYOUT, &field);
}

std::string name_text(UNIT& unit, const NamedDecl* declared) {
    const SourceLocation before = unit.here;
    unit.here = declared->getLocation();
    std::string text = fitting_text(unit, declared->getNameAsString(), "a name");
    unit.here = before;
    return text;
}

TYPE* enumeration_type(UNIT& unit, const EnumDecl* declared) {
    const EnumDecl* definition = declared->getDefinition();
    if (!definition) return int_type(unit);
    TYPE* underlying = icode_type(unit, definition->getIntegerType());
    const POSITION where = position_of(unit, definition->getLocation());
    TYPE* type = unit.types.make_enumeration(name_text(unit, definition).c_str(), underlying, &where);
    for (const EnumConstantDecl* constant : definition->enumerators()) {
        const POSITION place = position_of(unit, constant->getLocation());
        unit.types.add_enumerator(type, name_text(unit, constant).c_str(),
                                  constant->getInitVal().getExtValue(), &place);
    }
    complete_list(unit, type, LIST_ENUMERATORS);
    return type;
}

struct CONTAINER {
    uint32_t offset; // bytes from the structure's start
    uint32_t size;   // bytes; 0: there is none
};

// Bytes of the structure in which a container may lie: those of a run of bit-fields and of the padding around
// it. Other members may be written by another thread at the same time, and so may fields behind one of no
// width.
struct LIMITS {
    uint64_t low;
    uint64_t high;
};

CONTAINER find_container(uint64_t first_bit, uint32_t width, const LIMITS& limits) {
    for (uint32_t size = 1; size <= 8; size *= 2) {
        const uint64_t start = first_bit / 8 / size * size;
        if (first_bit + width <= (start + size) * 8 && start >= limits.low && start + size <= limits.high)
            return {static_cast<uint32_t>(start), size};
    }
    for (uint32_t size = 1; size <= 8; size *= 2) {
        if (limits.low + size > limits.high) break;
        const uint64_t start = std::min(first_bit / 8, limits.high - size);
        if (first_bit + width <= (start + size) * 8) return {static_cast<uint32_t>(start), size};
    }
    return {0, 0};
}

TYPE* container_type(UNIT& unit, uint32_t size) {
    switch (size) {
    case 1: return char_type(unit, true);
    case 2: return make_basic(unit, {TR_SHORT, true, 2});
    case 4: return unsigned_type(unit);
    default: return long_long_type(unit, true);
    }
}

struct MEMBER_PLACE {
    TYPE* type;
    uint32_t offset;
};

struct BITS {
    uint64_t first; // from the structure's start
    uint32_t width;
};

MEMBER_PLACE place_bits(UNIT& unit, TYPE* declared, BITS bits, const CONTAINER& container) {
    const int shift = static_cast<int>(bits.first - container.offset * 8ull);
    TYPE* type = unit.types.make_bitfield(declared, container_type(unit, container.size), shift,
                                          static_cast<int>(bits.width));
    return {type, container.offset};
}

// The members of a structure being made.
struct MEMBER_LIST {
    TYPE* type;
    LIMITS limits; // of the bit-fields that come next
    uint32_t last_key;
};

TYPE_PART* add_member(UNIT& unit, MEMBER_LIST& list, const FieldDecl* field, const std::string& name,
                      MEMBER_PLACE place) {
    const POSITION where = position_of(unit, field->getLocation());
    return unit.types.add_member(list.type, name.c_str(), place.type, place.offset, ++list.last_key, &where);
}

// As few pieces as can be: each takes all bits that some integer in the structure holds together with its
// lowest one.
void add_pieces(UNIT& unit, MEMBER_LIST& list, const FieldDecl* field, BITS rest) {
    std::vector<PIECE>& pieces = unit.pieces[field];
    const bool is_signed = field->getType()->isSignedIntegerOrEnumerationType();
    for (uint32_t done = 0; rest.width;) {
        uint32_t width = rest.width;
        while (!find_container(rest.first, width, list.limits).size) --width;
        const bool keeps_sign = is_signed && width == rest.width;
        TYPE* declared = width > 32   ? long_long_type(unit, !keeps_sign)
                         : keeps_sign ? int_type(unit)
                                      : unsigned_type(unit);
        const std::string name = name_text(unit, field) + (done ? "$" + std::to_string(done) : "");
        const MEMBER_PLACE place =
            place_bits(unit, declared, {rest.first, width}, find_container(rest.first, width, list.limits));
        pieces.push_back({add_member(unit, list, field, name, place), declared, done});
        done += width;
        rest = {rest.first + width, rest.width - width};
    }
    unit.members[field] = pieces[0].part;
}

void add_bitfield(UNIT& unit, MEMBER_LIST& list, const FieldDecl* field, uint64_t first_bit) {
    const BITS bits{first_bit, field->getBitWidthValue(*unit.ast)};
    const CONTAINER container = find_container(bits.first, bits.width, list.limits);
    if (!container.size) return add_pieces(unit, list, field, bits);
    const MEMBER_PLACE place = place_bits(unit, icode_type(unit, field->getType()), bits, container);
    unit.members[field] = add_member(unit, list, field, name_text(unit, field), place);
}

// A member that ends a run of bit-fields: the next one belongs to another memory location.
bool ends_run(const UNIT& unit, const FieldDecl* field) {
    return !field->isBitField() || field->isZeroLengthBitField(*unit.ast);
}

// Where the bit-fields that begin with the iterator's may have their containers.
LIMITS limits_of_run(const UNIT& unit, const ASTRecordLayout& layout, const RecordDecl* record, uint64_t low,
                     RecordDecl::field_iterator field) {
    const auto size = static_cast<uint64_t>(layout.getSize().getQuantity());
    if (record->isUnion()) return {0, size};
    while (field != record->field_end() && !ends_run(unit, *field)) ++field;
    if (field == record->field_end()) return {low, size};
    return {low, (layout.getFieldOffset(field->getFieldIndex()) + 7) / 8}; // a `: 0` may part no bytes
}

// The first byte behind a member that ends a run.
uint64_t end_of_member(UNIT& unit, const ASTRecordLayout& layout, const FieldDecl* field) {
    const uint64_t start = layout.getFieldOffset(field->getFieldIndex()) / 8;
    if (field->isBitField() || field->getType()->isIncompleteType()) return start;
    return start + static_cast<uint64_t>(unit.ast->getTypeSizeInChars(field->getType()).getQuantity());
}

void add_members(UNIT& unit, TYPE* type, const RecordDecl* record) {
    const ASTRecordLayout& layout = unit.ast->getASTRecordLayout(record);
    MEMBER_LIST list{type, limits_of_run(unit, layout, record, 0, record->field_begin()), 0};
    for (auto next = record->field_begin(); next != record->field_end();) {
        const FieldDecl* field = *next++;
        if (ends_run(unit, field))
            list.limits = limits_of_run(unit, layout, record, end_of_member(unit, layout, field), next);
        if (field->isUnnamedBitField()) continue;
        const uint64_t first_bit = layout.getFieldOffset(field->getFieldIndex());
        if (field->isBitField()) {
            add_bitfield(unit, list, field, first_bit);
            continue;
        }
        TYPE* member = icode_type(unit, field->getType());
        unit.members[field] = add_member(unit, list, field, name_text(unit, field),
                                         {member, static_cast<uint32_t>(first_bit / 8)});
    }
}

TYPE* record_type(UNIT& unit, const RecordDecl* declared) {
    const RecordDecl* definition = declared->getDefinition();
    const TYPE_KIND kind = declared->isUnion() ? TK_UNION : TK_STRUCT;
    const std::string tag = name_text(unit, declared);
    TYPE*& known = unit.type_map[unit.ast->getRecordType(declared).getCanonicalType().getAsOpaquePtr()];
    const POSITION where = position_of(unit, (definition ? definition : declared)->getLocation());
    if (!definition || definition->isInvalidDecl())
        return known = unit.types.make_csu(tag.c_str(), kind, 0, 1, false, &where);
    const ASTRecordLayout& layout = unit.ast->getASTRecordLayout(definition);
    TYPE* type =
        unit.types.make_csu(tag.c_str(), kind, static_cast<uint32_t>(layout.getSize().getQuantity()),
                            static_cast<uint32_t>(layout.getAlignment().getQuantity()), true, &where);
    known = type;
    if (definition->hasAttr<PackedAttr>()) note_layout(unit, type, LAYOUT_PACKED);
    if (definition->hasAttr<TransparentUnionAttr>()) note_layout(unit, type, LAYOUT_TRANSPARENT_UNION);
    if (definition->hasAttr<MayAliasAttr>()) note_layout(unit, type, LAYOUT_MAY_ALIAS);
    if (layout.getAlignment().getQuantity() >= 8 && layout.getUnadjustedAlignment().getQuantity() < 8)
        note_layout(unit, type, LAYOUT_ALIGNED);
    add_members(unit, type, definition);
    complete_list(unit, type, LIST_MEMBERS);
    return type;
}

// A word of a tag: the name of a type without blanks.
std::string tag_word(QualType type) {
    std::string text = type.getAsString();
    std::replace(text.begin(), text.end(), ' ', '_');
    return text;
}

// The structure of an array of elements that has no array.
TYPE* structure_of_elements(UNIT& unit, QualType whole, QualType element, const std::string& tag,
                            const std::vector<std::string>& names) {
    const auto align = static_cast<uint32_t>(unit.ast->getTypeAlignInChars(whole).getQuantity());
    const POSITION nowhere{};
    TYPE* type =
        unit.types.make_csu(tag.c_str(), TK_STRUCT, size_in_bytes(unit, whole), align, true, &nowhere);
    TYPE* member = icode_type(unit, element);
    std::vector<TYPE_PART*> parts;
    for (const std::string& name : names) {
        const auto number = static_cast<uint32_t>(parts.size());
        parts.push_back(
            unit.types.add_member(type, name.c_str(), member, number * member->size, number + 1, &nowhere));
    }
    unit.elements[type] = parts;
    return type;
}

TYPE* complex_type(UNIT& unit, QualType canonical) {
    const QualType element = canonical->castAs<ComplexType>()->getElementType();
    TYPE* type =
        structure_of_elements(unit, canonical, element, "complex." + tag_word(element), {"real", "imag"});
    complete_list(unit, type, LIST_MEMBERS);
    return type;
}

// Accesses of atomic objects happen as often as they are written, as those of volatile ones. A structure that
// atomic access pads has no description.
TYPE* atomic_type(UNIT& unit, const AtomicType* atomic) {
    const QualType value = atomic->getValueType();
    if (unit.ast->getTypeSize(atomic) != unit.ast->getTypeSize(value))
        refuse(unit, "the type '" + QualType(atomic, 0).getAsString() + "'");
    return icode_type(unit, value.withVolatile());
}

// Elements that are no numbers of C have no place in a structure of their own.
TYPE* vector_type(UNIT& unit, QualType canonical) {
    const auto* vector = canonical->castAs<VectorType>();
    const QualType element = vector->getElementType();
    const bool is_number = (element->isIntegerType() && !element->isBooleanType()) ||
                           element->isSpecificBuiltinType(BuiltinType::Float) ||
                           element->isSpecificBuiltinType(BuiltinType::Double);
    if (!is_number || vector->getNumElements() > LARGEST_VECTOR) {
        refuse(unit, "the type '" + canonical.getAsString() + "'");
        return int_type(unit);
    }
    std::vector<std::string> names;
    names.reserve(vector->getNumElements());
    for (unsigned i = 0; i < vector->getNumElements(); ++i) names.push_back("e" + std::to_string(i));
    const std::string tag = "vector" + std::to_string(vector->getNumElements()) + "." + tag_word(element);
    TYPE* type = structure_of_elements(unit, canonical, element, tag, names);
    note_layout(unit, type, LAYOUT_VECTOR);
    complete_list(unit, type, LIST_MEMBERS);
    return type;
}

TYPE* unqualified_type(UNIT& unit, QualType canonical) {
    if (const auto* basic = dyn_cast<BuiltinType>(canonical)) return basic_type(unit, basic);
    if (const auto* pointer = dyn_cast<PointerType>(canonical))
        return unit.types.make_pointer(icode_type(unit, pointer->getPointeeType()));
    if (const auto* record = dyn_cast<RecordType>(canonical)) return record_type(unit, record->getDecl());
    if (const auto* enumeration = dyn_cast<EnumType>(canonical))
        return enumeration_type(unit, enumeration->getDecl());
    if (isa<FunctionType>(canonical)) return function_type(unit, canonical, 0);
    if (const auto* atomic = dyn_cast<AtomicType>(canonical)) return atomic_type(unit, atomic);
    if (isa<ComplexType>(canonical)) return complex_type(unit, canonical);
    if (isa<VectorType>(canonical)) return vector_type(unit, canonical);
    refuse(unit, "the type '" + canonical.getAsString() + "'");
    return int_type(unit);
}

TYPE* convert_type(UNIT& unit, QualType canonical) {
    if (const ArrayType* array = unit.ast->getAsArrayType(canonical)) return array_type(unit, array);
    const Qualifiers local = canonical.getLocalQualifiers();
    if (local.empty()) return unqualified_type(unit, canonical);
    const auto bits =
        static_cast<uint8_t>((local.hasConst() ? Q_CONST : 0) | (local.hasVolatile() ? Q_VOLATILE : 0) |
                             (local.hasRestrict() ? Q_RESTRICT : 0));
    return unit.types.make_qualified(icode_type(unit, canonical.getLocalUnqualifiedType()), bits);
}

} // namespace

TYPE* void_type(UNIT& unit) { return unit.types.void_type(); }
TYPE* int_type(UNIT& unit) { return unit.types.int_type(); }
TYPE* unsigned_type(UNIT& unit) { return unit.types.unsigned_int_type(); }
TYPE* long_long_type(UNIT& unit, bool is_unsigned) {
    return make_basic(unit, {TR_LONG_LONG, is_unsigned, 8});
}
TYPE* char_type(UNIT& unit, bool is_unsigned) { return make_basic(unit, {TR_CHAR, is_unsigned, 1}); }
TYPE* void_pointer_type(UNIT& unit) { return unit.types.make_pointer(void_type(unit)); }
TYPE* char_pointer_type(UNIT& unit) { return unit.types.make_pointer(char_type(unit, true)); }

uint32_t size_in_bytes(const UNIT& unit, QualType type) {
    return static_cast<uint32_t>(unit.ast->getTypeSizeInChars(type).getQuantity());
}

TYPE* icode_type(UNIT& unit, QualType type) {
    const QualType canonical = type.getCanonicalType();
    const void* key = canonical.getAsOpaquePtr();
    if (const auto known = unit.type_map.find(key); known != unit.type_map.end()) return known->second;
    TYPE* made = convert_type(unit, canonical);
    return unit.type_map[key] = made;
}

TYPE* function_type(UNIT& unit, QualType type, uint32_t attributes) {
    const QualType canonical = type.getCanonicalType();
    const auto* function = cast<FunctionType>(canonical);
    if (function->getNoReturnAttr()) attributes |= FA_NORETURN;
    if (function->getCallConv() != CC_C && function->getCallConv() != CC_AAPCS_VFP)
        refuse(unit, "a function with a calling convention of its own");
    TYPE*& known = unit.function_types[{canonical.getAsOpaquePtr(), attributes}];
    if (known) return known;
    const auto* prototype = dyn_cast<FunctionProtoType>(function);
    TYPE* result = icode_type(unit, function->getReturnType());
    std::vector<TYPE*> parameters;
    bool moves_half = function->getReturnType()->isHalfType();
    if (prototype)
        for (const QualType parameter : prototype->param_types()) {
            moves_half = moves_half || parameter->isHalfType();
            parameters.push_back(icode_type(unit, parameter));
        }
    if (moves_half) refuse(unit, "an argument or result of the type '__fp16'");
    // A parameter's type may have made the same function type meanwhile, through a structure that points to
    // it.
    TYPE*& place = unit.function_types[{canonical.getAsOpaquePtr(), attributes}];
    if (place) return place;
    TYPE* made = unit.types.make_function(result, prototype != nullptr, prototype && prototype->isVariadic(),
                                          attributes);
    place = made;
    for (TYPE* parameter : parameters) unit.types.add_parameter(made, parameter);
    complete_list(unit, made, LIST_PARAMETERS);
    return made;
}

bool has_elements(QualType type) { return type->isAnyComplexType() || type->isVectorType(); }

QualType element_type(QualType given) {
    const QualType type = given.getAtomicUnqualifiedType();
    if (const auto* complex = type->getAs<ComplexType>()) return complex->getElementType();
    return type->castAs<VectorType>()->getElementType();
}

const std::vector<TYPE_PART*>& elements_of(UNIT& unit, QualType type) {
    return unit.elements[icode_type(unit, type.getAtomicUnqualifiedType())];
}

TYPE_PART* member_of(UNIT& unit, const FieldDecl* field) {
    icode_type(unit, unit.ast->getRecordType(field->getParent()));
    const auto found = unit.members.find(field);
    return found == unit.members.end() ? nullptr : found->second;
}

} // namespace pelorus
