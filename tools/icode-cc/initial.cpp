// The initial values of objects in functions; see expressions.h.
//
// 1. A large constant value becomes a static object that is copied. 2. A large object that is given in part
// is cleared and then assigned element by element. 3. Others are assigned element by element, zeros included.
#include "clang/AST/Attr.h"

#include "elements.h"
#include "memory/zone.h"
#include "objects.h"
#include "pieces.h"

namespace pelorus {

using namespace clang;

namespace {

struct INITIAL_LIMITS {
    uint32_t whole_bytes =
        32; // above: objects are copied or cleared as a whole, which a call does with less code
    uint64_t elements = 4096; // assignments that one initializer may become
};
constexpr INITIAL_LIMITS limits;

struct FILLING {
    BODY& body;
    std::vector<NODE*>& statements;
    bool zeroed; // the object is clear already
};

// The address of an object; the tree itself stays usable.
NODE* address_of_copy(BODY& body, const NODE* target) {
    return address_of(copy_tree(target), void_pointer_type(body.unit));
}

NODE* clear_call(BODY& body, const NODE* target, uint32_t bytes) {
    UNIT& unit = body.unit;
    TYPE* pointer = void_pointer_type(unit);
    SYMBOL* clear = library_function(unit, "memset", pointer, {pointer, int_type(unit), unsigned_type(unit)});
    return direct_call(unit, pointer, clear,
                       {address_of_copy(body, target), integer_constant(int_type(unit), 0),
                        integer_constant(unsigned_type(unit), bytes)});
}

NODE* copy_call(BODY& body, NODE* target_address, NODE* source_address, uint32_t bytes) {
    UNIT& unit = body.unit;
    TYPE* pointer = void_pointer_type(unit);
    TYPE* constant = unit.types.make_pointer(unit.types.make_qualified(void_type(unit), Q_CONST));
    SYMBOL* copy = library_function(unit, "memcpy", pointer, {pointer, constant, unsigned_type(unit)});
    return direct_call(unit, pointer, copy,
                       {target_address, source_address, integer_constant(unsigned_type(unit), bytes)});
}

void fill(FILLING& filling, NODE* target, QualType type, const Expr* value);

NODE* element_of(FILLING& filling, const NODE* array, QualType element, uint64_t index) {
    UNIT& unit = filling.body.unit;
    TYPE* type = icode_type(unit, element);
    TYPE* pointer_type = unit.types.make_pointer(type);
    NODE* first = address_of(copy_tree(array), pointer_type);
    if (first->op == OP_NONALIGN) first = first->left;
    NODE* pointer = pointer_plus(first, static_cast<int64_t>(index * type->size), pointer_type);
    if (known_alignment(array) < type_strip(type)->align)
        pointer = new_unary(OP_NONALIGN, pointer_type, pointer);
    return object_at(pointer, type);
}

void fill_zero(FILLING& filling, NODE* target, QualType type) {
    if (filling.zeroed) return;
    TYPE* made = icode_type(filling.body.unit, type);
    if (type_is_scalar(made))
        filling.statements.push_back(assignment(target, zero_constant(type_strip(made)), type_strip(made)));
    else if (made->size)
        filling.statements.push_back(clear_call(filling.body, target, made->size));
}

void fill_string(FILLING& filling, NODE* target, QualType type, const StringLiteral* literal) {
    BODY& body = filling.body;
    const uint32_t size = size_in_bytes(body.unit, type);
    std::string bytes = literal_bytes(body.unit, literal);
    if (bytes.size() > size) bytes.resize(size);
    const size_t used =
        std::min(bytes.find_last_not_of('\0') + 1 + literal->getCharByteWidth(), bytes.size());
    if (bytes.size() < size && !filling.zeroed) {
        if (size <= limits.whole_bytes)
            bytes.resize(size);
        else
            filling.statements.push_back(clear_call(body, target, size));
    } else if (filling.zeroed) {
        bytes.resize(used);
    }
    if (bytes.empty()) return;
    NODE* source = nullptr;
    if (bytes.size() <= STRING_PIECE_BYTES)
        source = string_constant(body.unit.types.make_array(char_type(body.unit, true), bytes.size()), bytes);
    else
        source = use_local(literal_object(body.unit, literal));
    TYPE* pointer = void_pointer_type(body.unit);
    filling.statements.push_back(copy_call(body, address_of(target, pointer), address_of(source, pointer),
                                           static_cast<uint32_t>(bytes.size())));
}

void fill_array(FILLING& filling, NODE* target, QualType type, const InitListExpr* list) {
    const ArrayType* array = filling.body.unit.ast->getAsArrayType(type);
    const auto* constant = dyn_cast<ConstantArrayType>(array);
    const uint64_t count = constant ? constant->getSize().getZExtValue() : list->getNumInits();
    if (!filling.zeroed && count > limits.elements) {
        filling.statements.push_back(
            clear_call(filling.body, target, size_in_bytes(filling.body.unit, type)));
        filling.zeroed = true;
    }
    const QualType element = array->getElementType();
    for (uint64_t i = 0; i < list->getNumInits() && i < count; ++i) {
        const Expr* value = list->getInit(static_cast<unsigned>(i));
        if (!value) value = list->getArrayFiller();
        if (!isa<NoInitExpr>(value)) fill(filling, element_of(filling, target, element, i), element, value);
    }
    const Expr* filler = list->getArrayFiller();
    if (!filler || isa<NoInitExpr>(filler)) return;
    if (filling.zeroed && isa<ImplicitValueInitExpr>(filler)) return;
    for (uint64_t i = list->getNumInits(); i < count; ++i)
        fill(filling, element_of(filling, target, element, i), element, filler);
}

void fill_member(FILLING& filling, NODE* target, QualType type, const FieldDecl* field, const Expr* value) {
    UNIT& unit = filling.body.unit;
    TYPE_PART* part = member_of(unit, field);
    if (!part || isa<NoInitExpr>(value)) return;
    if (unit.pieces.count(field)) {
        filling.statements.push_back(fill_pieces(filling.body, target, field, value_of(filling.body, value)));
        return;
    }
    NODE* place = member_of_value(copy_tree(target), part, icode_type(unit, type.getUnqualifiedType()),
                                  icode_type(unit, field->getType()));
    fill(filling, place, field->getType(), value);
}

void fill_structure(FILLING& filling, NODE* target, QualType type, const InitListExpr* list) {
    const RecordDecl* record = type->castAs<RecordType>()->getDecl()->getDefinition();
    if (record->isUnion()) {
        const FieldDecl* field = list->getInitializedFieldInUnion();
        if (field && list->getNumInits()) return fill_member(filling, target, type, field, list->getInit(0));
        return fill_zero(filling, target, type);
    }
    unsigned index = 0;
    for (const FieldDecl* field : record->fields()) {
        if (field->isUnnamedBitField()) continue;
        if (index >= list->getNumInits()) break;
        fill_member(filling, target, type, field, list->getInit(index++));
    }
}

const StringLiteral* string_of(const Expr* value) {
    value = value->IgnoreParens();
    if (const auto* list = dyn_cast<InitListExpr>(value); list && list->isStringLiteralInit())
        value = list->getInit(0)->IgnoreParens();
    if (const auto* predefined = dyn_cast<PredefinedExpr>(value)) return predefined->getFunctionName();
    return dyn_cast<StringLiteral>(value);
}

void fill_scalar(FILLING& filling, NODE* target, QualType type, const Expr* value) {
    TYPE* made = icode_type(filling.body.unit, type.getUnqualifiedType());
    NODE* tree = value_of(filling.body, value);
    if (filling.zeroed && is_zero_constant(tree) && type_is_scalar(made)) return;
    filling.statements.push_back(assignment(target, tree, made));
}

void fill(FILLING& filling, NODE* target, QualType type, const Expr* value) {
    value = value->IgnoreParens();
    if (const auto* constant = dyn_cast<ConstantExpr>(value))
        return fill(filling, target, type, constant->getSubExpr());
    if (isa<ImplicitValueInitExpr>(value)) return fill_zero(filling, target, type);
    if (const auto* update = dyn_cast<DesignatedInitUpdateExpr>(value)) {
        fill(filling, copy_tree(target), type, update->getBase());
        return fill(filling, target, type, update->getUpdater());
    }
    if (type->isArrayType()) {
        if (const StringLiteral* literal = string_of(value))
            return fill_string(filling, target, type, literal);
        if (const auto* literal = dyn_cast<CompoundLiteralExpr>(value))
            return fill(filling, target, type, literal->getInitializer());
    }
    if (const auto* list = dyn_cast<InitListExpr>(value)) {
        if (list->isTransparent() && list->getNumInits() == 1)
            return fill(filling, target, type, list->getInit(0));
        if (type->isArrayType()) return fill_array(filling, target, type, list);
        if (type->isRecordType()) return fill_structure(filling, target, type, list);
    }
    if (computes_elements(filling.body, value)) {
        NODE* effects = store_elements(filling.body, target, type, elements_of_value(filling.body, value));
        return filling.statements.push_back(effects);
    }
    fill_scalar(filling, target, type, value);
}

// Some part of the object is not mentioned: it is zero by rule.
bool leaves_parts_out(const Expr* value) {
    value = value->IgnoreParens();
    if (isa<ImplicitValueInitExpr>(value)) return true;
    if (const auto* list = dyn_cast<InitListExpr>(value)) {
        if (list->hasArrayFiller() || (list->getType()->isUnionType() && !list->getNumInits())) return true;
        for (const Expr* item : list->inits())
            if (!item || leaves_parts_out(item)) return true;
    }
    return false;
}

// A constant value as a static object, copied.
bool copy_constant(FILLING& filling, NODE* target, QualType type, const Expr* value) {
    BODY& body = filling.body;
    Expr::EvalResult result;
    if (!value->isConstantInitializer(*body.unit.ast, false)) return false;
    if (!value->EvaluateAsRValue(result, *body.unit.ast, true) || result.HasSideEffects) return false;
    TYPE* made = icode_type(body.unit, type.getUnqualifiedType());
    if (is_zero_value(result.Val)) {
        filling.statements.push_back(clear_call(body, target, made->size));
        return true;
    }
    TYPE* constant = icode_type(body.unit, body.unit.ast->getConstType(type.getUnqualifiedType()));
    SYMBOL* object =
        unnamed_object(body.unit, "initial", constant, made->size, made->align, value->getBeginLoc());
    body.unit.pending_objects.push_back({object, result.Val, nullptr, type, value->getBeginLoc()});
    TYPE* pointer = void_pointer_type(body.unit);
    if (type->isRecordType())
        filling.statements.push_back(assignment(target, use_local(object), made));
    else
        filling.statements.push_back(
            copy_call(body, address_of(target, pointer), address_of(use_local(object), pointer), made->size));
    return true;
}

} // namespace

void initialise_object(BODY& body, NODE* target, QualType type, const Expr* value,
                       std::vector<NODE*>& statements) {
    FILLING filling{body, statements, false};
    const Expr* inner = value->IgnoreParens();
    const bool is_list =
        isa<InitListExpr>(inner) && (type->isArrayType() || type->isRecordType()) && !string_of(inner);
    if (is_list && size_in_bytes(body.unit, type) > limits.whole_bytes) {
        if (copy_constant(filling, copy_tree(target), type, inner)) return;
        if (leaves_parts_out(inner)) {
            statements.push_back(clear_call(body, target, size_in_bytes(body.unit, type)));
            filling.zeroed = true;
        }
    }
    fill(filling, target, type, value);
}

} // namespace pelorus
