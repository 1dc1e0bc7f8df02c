// Static objects; see objects.h.
//
// A value is laid out as a list of typed constants in order of their offsets. Zeros and gaps are skipped. The
// bits of bit-fields gather in whole bytes, which are written as unsigned integers. Arrays of characters
// become strings, cut into pieces that fit a record.
#include "objects.h"

#include "clang/AST/Attr.h"
#include "clang/AST/RecordLayout.h"

#include "build.h"
#include "half.h"
#include "memory/zone.h"

namespace pelorus {

using namespace clang;

namespace {

struct LAYING {
    UNIT& unit;
    std::vector<NODE*> trees;
    uint64_t cursor = 0;       // bytes laid so far
    uint64_t bits_start = 0;   // offset of the first byte of `bits`
    std::vector<uint8_t> bits; // bytes of bit-fields that are not written yet
};

void lay_tree(LAYING& laying, NODE* tree, uint64_t offset, uint64_t size) {
    if (offset > laying.cursor) {
        NODE* gap = new_node(OP_SKIP, void_type(laying.unit));
        gap->set_skip(static_cast<int32_t>(offset - laying.cursor));
        laying.trees.push_back(gap);
    }
    laying.trees.push_back(tree);
    laying.cursor = offset + size;
}

TYPE* bytes_type(UNIT& unit, uint64_t size) {
    const QualType types[] = {unit.ast->UnsignedCharTy, unit.ast->UnsignedShortTy, unit.ast->UnsignedIntTy};
    return icode_type(unit, types[size == 4 ? 2 : size - 1]);
}

void flush_bits(LAYING& laying) {
    size_t at = 0;
    while (at < laying.bits.size()) {
        const uint64_t offset = laying.bits_start + at;
        uint64_t size = 4;
        while (size > 1 && (offset % size || at + size > laying.bits.size())) size /= 2;
        uint32_t value = 0;
        for (uint64_t i = 0; i < size; ++i) value |= static_cast<uint32_t>(laying.bits[at + i]) << (8 * i);
        if (value) lay_tree(laying, integer_constant(bytes_type(laying.unit, size), value), offset, size);
        at += size;
    }
    laying.bits.clear();
}

void lay_constant(LAYING& laying, NODE* tree, uint64_t offset, uint64_t size) {
    flush_bits(laying);
    lay_tree(laying, tree, offset, size);
}

void lay_bits(LAYING& laying, uint64_t first_bit, uint32_t width, const llvm::APSInt& value) {
    if (laying.bits.empty()) laying.bits_start = first_bit / 8;
    const uint64_t last = (first_bit + width - 1) / 8 - laying.bits_start;
    if (laying.bits.size() <= last) laying.bits.resize(last + 1);
    for (uint32_t i = 0; i < width; ++i) {
        const uint64_t bit = first_bit + i - laying.bits_start * 8;
        if (i < value.getBitWidth() && value[i])
            laying.bits[bit / 8] |= static_cast<uint8_t>(1u << (bit % 8));
    }
}

void lay_string(LAYING& laying, const std::string& bytes, uint64_t offset) {
    const size_t end = bytes.find_last_not_of('\0');
    const size_t used = end == std::string::npos ? 0 : end + 1;
    for (size_t at = 0; at < used; at += STRING_PIECE_BYTES) {
        const std::string piece = bytes.substr(at, std::min(STRING_PIECE_BYTES, used - at));
        TYPE* array = laying.unit.types.make_array(char_type(laying.unit, true), piece.size());
        lay_constant(laying, string_constant(array, piece), offset + at, piece.size());
    }
}

// The address of what an lvalue value is based on; null for none.
NODE* base_address(UNIT& unit, const APValue& value, TYPE* type) {
    const APValue::LValueBase base = value.getLValueBase();
    if (!base) return nullptr;
    if (const auto* declared = base.dyn_cast<const ValueDecl*>()) {
        const auto* function = dyn_cast<FunctionDecl>(declared);
        SYMBOL* symbol =
            function ? function_symbol(unit, function) : variable_symbol(unit, cast<VarDecl>(declared));
        return address_of(use_of(symbol, symbol->declared_type), type);
    }
    const Expr* expression = base.dyn_cast<const Expr*>();
    if (const auto* literal = dyn_cast_or_null<StringLiteral>(expression)) {
        const std::string bytes = literal_bytes(unit, literal);
        if (bytes.size() <= STRING_PIECE_BYTES)
            return address_of(string_constant(icode_type(unit, literal->getType()), bytes), type);
        SYMBOL* object = literal_object(unit, literal);
        return address_of(use_of(object, object->declared_type), type);
    }
    if (expression && isa<CompoundLiteralExpr>(expression)) {
        SYMBOL* object = literal_object(unit, expression);
        return address_of(use_of(object, object->declared_type), type);
    }
    refuse(unit, expression ? expression->getBeginLoc() : SourceLocation(), "an address of this kind");
    return nullptr;
}

// The label whose address the value is; null for others.
const AddrLabelExpr* label_address(const APValue& value) {
    return dyn_cast_or_null<AddrLabelExpr>(value.getLValueBase().dyn_cast<const Expr*>());
}

int64_t label_number(const UNIT& unit, const AddrLabelExpr* label) {
    return unit.label_numbers.lookup(label->getLabel());
}

void lay_number(LAYING& laying, int64_t number, QualType type, uint64_t offset) {
    TYPE* slot = icode_type(laying.unit, type.getAtomicUnqualifiedType());
    if (number) lay_constant(laying, integer_constant(slot, number), offset, slot->size);
}

void lay_label_difference(LAYING& laying, const APValue& value, QualType type, uint64_t offset) {
    const int64_t left = label_number(laying.unit, value.getAddrLabelDiffLHS());
    lay_number(laying, left - label_number(laying.unit, value.getAddrLabelDiffRHS()), type, offset);
}

void lay_address(LAYING& laying, const APValue& value, QualType type, uint64_t offset) {
    UNIT& unit = laying.unit;
    if (const AddrLabelExpr* label = label_address(value))
        return lay_number(laying, label_number(unit, label) + value.getLValueOffset().getQuantity(), type,
                          offset);
    TYPE* slot = icode_type(unit, type.getAtomicUnqualifiedType());
    TYPE* pointer = type_is_pointer(slot) ? slot : void_pointer_type(unit);
    NODE* address = base_address(unit, value, pointer);
    const int64_t distance = value.getLValueOffset().getQuantity();
    if (!address) {
        if (distance) lay_constant(laying, integer_constant(slot, distance), offset, slot->size);
        return;
    }
    if (distance) address = new_binary(OP_PLUS, pointer, address, integer_constant(int_type(unit), distance));
    if (slot != pointer) address = new_unary(OP_PCONV, slot, address);
    lay_constant(laying, address, offset, 4);
}

void lay_value(LAYING& laying, const APValue& value, QualType type, uint64_t offset);

void lay_characters(LAYING& laying, const APValue& value, uint64_t offset) {
    std::string bytes;
    const auto character = [](const APValue& element) {
        return element.isInt() ? static_cast<char>(element.getInt().extOrTrunc(8).getZExtValue()) : '\0';
    };
    for (unsigned i = 0; i < value.getArrayInitializedElts(); ++i)
        bytes.push_back(character(value.getArrayInitializedElt(i)));
    if (value.hasArrayFiller()) bytes.resize(value.getArraySize(), character(value.getArrayFiller()));
    lay_string(laying, bytes, offset);
}

void lay_array(LAYING& laying, const APValue& value, QualType type, uint64_t offset) {
    const QualType element = laying.unit.ast->getAsArrayType(type)->getElementType();
    const uint32_t size = size_in_bytes(laying.unit, element);
    if (size == 1 && element->isIntegerType() && value.getArraySize() > 1)
        return lay_characters(laying, value, offset);
    const unsigned given = value.getArrayInitializedElts();
    for (unsigned i = 0; i < given; ++i)
        lay_value(laying, value.getArrayInitializedElt(i), element, offset + uint64_t(i) * size);
    if (!value.hasArrayFiller() || is_zero_value(value.getArrayFiller())) return;
    for (unsigned i = given; i < value.getArraySize(); ++i)
        lay_value(laying, value.getArrayFiller(), element, offset + uint64_t(i) * size);
}

void lay_member(LAYING& laying, const APValue& value, const FieldDecl* field, uint64_t record_offset) {
    const ASTRecordLayout& layout = laying.unit.ast->getASTRecordLayout(field->getParent());
    const uint64_t first_bit = record_offset * 8 + layout.getFieldOffset(field->getFieldIndex());
    if (!field->isBitField()) return lay_value(laying, value, field->getType(), first_bit / 8);
    if (value.isInt())
        return lay_bits(laying, first_bit, field->getBitWidthValue(*laying.unit.ast), value.getInt());
    if (value.isLValue()) refuse(laying.unit, field->getLocation(), "an address in a bit-field");
}

void lay_structure(LAYING& laying, const APValue& value, QualType type, uint64_t offset) {
    const RecordDecl* record = type->castAs<RecordType>()->getDecl()->getDefinition();
    for (const FieldDecl* field : record->fields())
        if (!field->isUnnamedBitField())
            lay_member(laying, value.getStructField(field->getFieldIndex()), field, offset);
}

void lay_scalar(LAYING& laying, const APValue& value, QualType type, uint64_t offset) {
    TYPE* slot = icode_type(laying.unit, type.getAtomicUnqualifiedType());
    NODE* tree = value.isInt() ? integer_constant(slot, value.getInt())
                 : type.getAtomicUnqualifiedType()->isHalfType()
                     ? integer_constant(slot, half_bits(value.getFloat()))
                     : float_constant(slot, value.getFloat());
    lay_constant(laying, tree, offset, slot->size);
}

// The elements of a complex number or vector.
void lay_elements(LAYING& laying, const APValue& value, QualType type, uint64_t offset) {
    const auto lay = [&](const APValue& element, unsigned number) {
        const QualType own = element_type(type);
        lay_value(laying, element, own, offset + uint64_t(number) * size_in_bytes(laying.unit, own));
    };
    if (value.isVector())
        for (unsigned i = 0; i < value.getVectorLength(); ++i) lay(value.getVectorElt(i), i);
    if (value.isComplexInt()) {
        lay(APValue(value.getComplexIntReal()), 0);
        lay(APValue(value.getComplexIntImag()), 1);
    }
    if (value.isComplexFloat()) {
        lay(APValue(value.getComplexFloatReal()), 0);
        lay(APValue(value.getComplexFloatImag()), 1);
    }
}

void lay_value(LAYING& laying, const APValue& value, QualType type, uint64_t offset) {
    switch (value.getKind()) {
    case APValue::None:
    case APValue::Indeterminate: return;
    case APValue::Int:
    case APValue::Float:
        if (!is_zero_value(value)) lay_scalar(laying, value, type, offset);
        return;
    case APValue::LValue: {
        const auto* base = value.getLValueBase().dyn_cast<const Expr*>();
        const auto* literal = dyn_cast_or_null<StringLiteral>(base);
        if (literal && type->isArrayType())
            return lay_string(laying, literal_bytes(laying.unit, literal), offset);
        return lay_address(laying, value, type, offset);
    }
    case APValue::Array: return lay_array(laying, value, type, offset);
    case APValue::Struct: return lay_structure(laying, value, type, offset);
    case APValue::Union:
        if (value.getUnionField()) lay_member(laying, value.getUnionValue(), value.getUnionField(), offset);
        return;
    case APValue::ComplexInt:
    case APValue::ComplexFloat:
    case APValue::Vector: return lay_elements(laying, value, type, offset);
    case APValue::AddrLabelDiff: return lay_label_difference(laying, value, type, offset);
    default: refuse(laying.unit, "an initializer of this kind");
    }
}

// The initializer of a structure with a flexible array member, which clang does not evaluate as a whole.
void lay_list(LAYING& laying, const Expr* given, QualType type, uint64_t offset) {
    const Expr* value = given->IgnoreParens();
    const auto* list = dyn_cast<InitListExpr>(value);
    if (list && list->isStringLiteralInit()) value = list->getInit(0)->IgnoreParens();
    if (const auto* literal = dyn_cast<StringLiteral>(value); literal && type->isArrayType())
        return lay_string(laying, literal_bytes(laying.unit, literal), offset);
    if (list && type->isIncompleteArrayType()) {
        const QualType element = laying.unit.ast->getAsArrayType(type)->getElementType();
        for (unsigned i = 0; i < list->getNumInits(); ++i)
            lay_list(laying, list->getInit(i), element,
                     offset + uint64_t(i) * size_in_bytes(laying.unit, element));
        return;
    }
    Expr::EvalResult result;
    if (!value->EvaluateAsRValue(result, *laying.unit.ast, true))
        return refuse(laying.unit, value->getBeginLoc(), "an initializer that is not constant");
    lay_value(laying, result.Val, type, offset);
}

void lay_flexible(LAYING& laying, const Expr* given, QualType type) {
    const auto* list = dyn_cast<InitListExpr>(given->IgnoreParens());
    if (!list) return refuse(laying.unit, given->getBeginLoc(), "an initializer that is not constant");
    const RecordDecl* record = type->castAs<RecordType>()->getDecl()->getDefinition();
    const ASTRecordLayout& layout = laying.unit.ast->getASTRecordLayout(record);
    unsigned index = 0;
    for (const FieldDecl* field : record->fields()) {
        if (field->isUnnamedBitField()) continue;
        if (index >= list->getNumInits()) break;
        const Expr* value = list->getInit(index++);
        Expr::EvalResult result;
        if (!field->isBitField())
            lay_list(laying, value, field->getType(), layout.getFieldOffset(field->getFieldIndex()) / 8);
        else if (value->EvaluateAsRValue(result, *laying.unit.ast, true))
            lay_member(laying, result.Val, field, 0);
    }
}

void write_value(UNIT& unit, const PENDING_OBJECT& object) {
    SYMBOL* symbol = object.symbol;
    LAYING laying{.unit = unit, .trees = {}, .bits = {}};
    if (object.list)
        lay_flexible(laying, object.list, object.type);
    else
        lay_value(laying, object.value, object.type, 0);
    flush_bits(laying);
    laying.trees.push_back(new_node(OP_ENDINIT, void_type(unit)));
    INIT_ITEM* item = nullptr;
    for (size_t i = laying.trees.size(); i-- > 0;) {
        auto* next = item;
        item = zone_new<INIT_ITEM>(true);
        item->next = next;
        item->tree = laying.trees[i];
    }
    symbol->init_trees = item;
    write_initializer(*unit.writer, symbol);
    symbol->init_trees = nullptr; // the trees are the function zone's
    release_local_zone();
}

bool is_zero_array(const APValue& value) {
    for (unsigned i = 0; i < value.getArrayInitializedElts(); ++i)
        if (!is_zero_value(value.getArrayInitializedElt(i))) return false;
    return !value.hasArrayFiller() || is_zero_value(value.getArrayFiller());
}

bool is_zero_vector(const APValue& value) {
    for (unsigned i = 0; i < value.getVectorLength(); ++i)
        if (!is_zero_value(value.getVectorElt(i))) return false;
    return true;
}

} // namespace

bool is_zero_value(const APValue& value) {
    switch (value.getKind()) {
    case APValue::None:
    case APValue::Indeterminate: return true;
    case APValue::Int: return value.getInt().isZero();
    case APValue::Float: return value.getFloat().isPosZero();
    case APValue::LValue: return !value.getLValueBase() && value.getLValueOffset().isZero();
    case APValue::Array: return is_zero_array(value);
    case APValue::ComplexInt: return value.getComplexIntReal().isZero() && value.getComplexIntImag().isZero();
    case APValue::ComplexFloat:
        return value.getComplexFloatReal().isPosZero() && value.getComplexFloatImag().isPosZero();
    case APValue::Vector: return is_zero_vector(value);
    case APValue::Union: return !value.getUnionField() || is_zero_value(value.getUnionValue());
    case APValue::Struct:
        for (unsigned i = 0; i < value.getStructNumFields(); ++i)
            if (!is_zero_value(value.getStructField(i))) return false;
        return true;
    default: return false;
    }
}

void write_variable(UNIT& unit, const VarDecl* definition) {
    unit.here = definition->getLocation();
    SYMBOL* symbol = variable_symbol(unit, definition);
    declare_global(*unit.writer, symbol);
    if (!alias_of(definition) && definition->hasInit()) queue_variable(unit, definition);
    write_pending_objects(unit);
}

void queue_variable(UNIT& unit, const VarDecl* definition) {
    PENDING_OBJECT object{
        variable_symbol(unit, definition), {}, nullptr, definition->getType(), definition->getLocation()};
    if (definition->hasFlexibleArrayInit(*unit.ast)) {
        object.list = definition->getInit();
    } else if (const APValue* value = definition->evaluateValue()) {
        object.value = *value;
    } else {
        return refuse(unit, definition->getLocation(), "an initializer that is not constant");
    }
    unit.pending_objects.push_back(object);
}

void write_pending_objects(UNIT& unit) {
    while (!unit.pending_objects.empty()) {
        const PENDING_OBJECT object = unit.pending_objects.back();
        unit.pending_objects.pop_back();
        unit.here = object.place;
        declare_global(*unit.writer, object.symbol);
        write_value(unit, object);
    }
}

} // namespace pelorus
