// Expressions: the choice by kind, leaves, lvalues, conditions and effects; see expressions.h.
#include "expressions.h"

#include "clang/AST/Attr.h"

#include "arrays.h"
#include "atomics.h"
#include "elements.h"
#include "half.h"
#include "pieces.h"
#include "scopes.h"

namespace pelorus {

using namespace clang;

namespace {

NODE* refused_value(BODY& body, const Expr* expression, const std::string& what) {
    refuse(body.unit, expression->getExprLoc(), what);
    return zero_constant(int_type(body.unit));
}

NODE* literal_string(BODY& body, const StringLiteral* literal) {
    const std::string bytes = literal_bytes(body.unit, literal);
    if (bytes.size() <= STRING_PIECE_BYTES)
        return string_constant(icode_type(body.unit, literal->getType()), bytes);
    return use_local(literal_object(body.unit, literal));
}

NODE* compound_literal(BODY& body, const CompoundLiteralExpr* literal) {
    if (literal->isFileScope()) return use_local(literal_object(body.unit, literal));
    SYMBOL*& symbol = body.literals[literal];
    const QualType type = literal->getType();
    if (!symbol) {
        TYPE* object = icode_type(body.unit, type->isArrayType() ? type : type.getUnqualifiedType());
        symbol = new_local(body, "$lit", object, object->align, literal->getBeginLoc(), body.block);
    }
    SYMBOL* object = symbol;
    NODE* effects = lengths_of_type(body, literal->getTypeSourceInfo()->getType());
    std::vector<NODE*> trees;
    initialise_object(body, use_local(object), type, literal->getInitializer(), trees);
    for (NODE* tree : trees) effects = sequence(effects, tree);
    return sequence(effects, use_local(object));
}

NODE* named_object(BODY& body, const DeclRefExpr* name) {
    if (const auto* function = dyn_cast<FunctionDecl>(name->getDecl())) {
        SYMBOL* symbol = function_symbol(body.unit, function);
        symbol->flags |= SF_REFERENCED | SF_ADDRESS_TAKEN;
        return new_name(symbol, symbol->declared_type);
    }
    if (const auto* variable = dyn_cast<VarDecl>(name->getDecl())) return variable_object(body, variable);
    if (const auto* constant = dyn_cast<EnumConstantDecl>(name->getDecl()))
        return integer_constant(icode_type(body.unit, name->getType()), constant->getInitVal());
    return refused_value(body, name, "this name");
}

// Selecting from a structure value works on objects and calls only; any other value goes through a temporary.
bool can_select_from(const NODE* node) {
    switch (node->op) {
    case OP_NAME:
    case OP_UMULT:
    case OP_STDOT:
    case OP_STREF:
    case OP_CALL:
    case OP_UCALL: return true;
    case OP_COMMAOP: return can_select_from(node->right);
    default: return false;
    }
}

NODE* member(BODY& body, const MemberExpr* expression) {
    const auto* field = dyn_cast<FieldDecl>(expression->getMemberDecl());
    if (!field) return refused_value(body, expression, "this member");
    TYPE* owner = icode_type(body.unit, body.unit.ast->getRecordType(field->getParent()));
    TYPE_PART* part = member_of(body.unit, field);
    if (!part) return refused_value(body, expression, "this member");
    TYPE* type = icode_type(body.unit, expression->getType());
    const Expr* base = expression->getBase();
    if (expression->isArrow()) {
        NODE* pointer = marked_pointer(body, value_of(body, base), base->getType()->getPointeeType());
        return member_of_pointer(pointer, part, owner, type);
    }
    NODE* structure = value_of(body, base);
    const bool is_temporary = !base->isGLValue() && (type_is_array(type) || !can_select_from(structure));
    if (is_temporary) {
        const SAVED_VALUE saved = save_value(body, structure);
        structure = sequence(saved.assignment, use_local(saved.symbol));
    }
    return member_of_value(structure, part, owner, type);
}

NODE* element(BODY& body, const ArraySubscriptExpr* expression) {
    const QualType type = expression->getType();
    if (expression->getBase()->getType()->isVectorType()) return vector_subscript(body, expression);
    NODE* pointer = value_of(body, expression->getBase());
    NODE* index = value_of(body, expression->getIdx());
    TYPE* pointer_type = body.unit.types.make_pointer(icode_type(body.unit, type));
    NODE* place = pointer_index(body.unit, pointer, index, size_of(body, type), false, pointer_type);
    return object_at(marked_pointer(body, place, type), icode_type(body.unit, type));
}

NODE* dereference(BODY& body, const UnaryOperator* expression) {
    const QualType type = expression->getType();
    NODE* pointer = value_of(body, expression->getSubExpr());
    if (type->isFunctionType() && pointer->op == OP_UAND) return pointer->left;
    return object_at(marked_pointer(body, pointer, type), type->isFunctionType()
                                                              ? function_type(body.unit, type, 0)
                                                              : icode_type(body.unit, type));
}

NODE* unary_lvalue(BODY& body, const UnaryOperator* expression) {
    switch (expression->getOpcode()) {
    case UO_Deref: return dereference(body, expression);
    case UO_Extension: return lvalue_of(body, expression->getSubExpr());
    default: return complex_part_lvalue(body, expression);
    }
}

NODE* opaque_value(BODY& body, const OpaqueValueExpr* expression) {
    if (SYMBOL* saved = body.saved.lookup(expression)) return use_local(saved);
    return value_of(body, expression->getSourceExpr());
}

NODE* scalar_in_braces(BODY& body, const InitListExpr* list) {
    if (list->getType()->isRecordType() || list->getType()->isArrayType()) {
        const SAVED_VALUE object{new_temporary_local(body, icode_type(body.unit, list->getType())), nullptr};
        std::vector<NODE*> trees;
        initialise_object(body, use_local(object.symbol), list->getType(), list, trees);
        NODE* effects = nullptr;
        for (NODE* tree : trees) effects = sequence(effects, tree);
        return sequence(effects, use_local(object.symbol));
    }
    return list->getNumInits() ? value_of(body, list->getInit(0))
                               : zero_constant(icode_type(body.unit, list->getType()));
}

NODE* known_constant(BODY& body, const Expr* expression) {
    if (NODE* constant = constant_of(body, expression)) return constant;
    return refused_value(body, expression, "a value that is not constant");
}

// `sizeof` of an array of variable length, whose operand is evaluated.
bool is_computed_size(const BODY& body, const UnaryExprOrTypeTraitExpr* e) {
    return e->getKind() == UETT_SizeOf && is_variable_array(body.unit, e->getTypeOfArgument());
}

NODE* operand_effects(BODY& body, const UnaryExprOrTypeTraitExpr* e) {
    if (!is_computed_size(body, e)) return nullptr;
    return e->isArgumentType() ? lengths_of_type(body, e->getArgumentType())
                               : effects_of(body, e->getArgumentExpr());
}

NODE* size_or_alignment(BODY& body, const UnaryExprOrTypeTraitExpr* e) {
    if (!is_computed_size(body, e)) return known_constant(body, e);
    NODE* effects = operand_effects(body, e);
    return sequence(effects, size_of(body, e->getTypeOfArgument()));
}

// `offsetof` with an index that is not constant.
NODE* member_offset(BODY& body, const OffsetOfExpr* e) {
    if (NODE* constant = constant_of(body, e)) return constant;
    TYPE* number = unsigned_type(body.unit);
    NODE* sum = integer_constant(number, 0);
    QualType type = e->getTypeSourceInfo()->getType();
    for (unsigned i = 0; i < e->getNumComponents(); ++i) {
        const OffsetOfNode& part = e->getComponent(i);
        if (part.getKind() == OffsetOfNode::Field) {
            const uint64_t offset = body.unit.ast->getFieldOffset(part.getField()) / 8;
            sum = new_binary(OP_PLUS, number, sum, integer_constant(number, static_cast<int64_t>(offset)));
            type = part.getField()->getType();
        } else if (part.getKind() == OffsetOfNode::Array) {
            type = body.unit.ast->getAsArrayType(type)->getElementType();
            NODE* index = value_of(body, e->getIndexExpr(part.getArrayExprIndex()));
            sum = new_binary(OP_PLUS, number, sum, scaled_index(body.unit, index, size_of(body, type)));
        }
    }
    return sum;
}

// `__builtin_LINE()` and its kin.
NODE* source_location(BODY& body, const SourceLocExpr* e) {
    Expr::EvalResult result;
    if (e->isIntType() || !e->EvaluateAsRValue(result, *body.unit.ast) || !result.Val.isLValue())
        return known_constant(body, e);
    const auto* text = dyn_cast_or_null<StringLiteral>(result.Val.getLValueBase().dyn_cast<const Expr*>());
    if (!text) return refused_value(body, e, "a place of this kind");
    return address_of(literal_string(body, text), icode_type(body.unit, e->getType()));
}

NODE* label_address(BODY& body, const AddrLabelExpr* e) {
    return integer_constant(void_pointer_type(body.unit), body.unit.label_numbers.lookup(e->getLabel()));
}

NODE* value_by_kind(BODY& body, const Expr* e) {
    switch (e->getStmtClass()) {
    case Stmt::IntegerLiteralClass:
    case Stmt::CharacterLiteralClass:
    case Stmt::FloatingLiteralClass:
    case Stmt::TypeTraitExprClass: return known_constant(body, e);
    case Stmt::UnaryExprOrTypeTraitExprClass:
        return size_or_alignment(body, cast<UnaryExprOrTypeTraitExpr>(e));
    case Stmt::SourceLocExprClass: return source_location(body, cast<SourceLocExpr>(e));
    case Stmt::OffsetOfExprClass: return member_offset(body, cast<OffsetOfExpr>(e));
    case Stmt::ImplicitCastExprClass:
    case Stmt::CStyleCastExprClass: return value_of_cast(body, cast<CastExpr>(e));
    case Stmt::UnaryOperatorClass: return value_of_unary(body, cast<UnaryOperator>(e));
    case Stmt::BinaryOperatorClass:
    case Stmt::CompoundAssignOperatorClass: return value_of_binary(body, cast<BinaryOperator>(e));
    case Stmt::ConditionalOperatorClass:
    case Stmt::BinaryConditionalOperatorClass:
        return value_of_conditional(body, cast<AbstractConditionalOperator>(e));
    case Stmt::CallExprClass: return value_of_call(body, cast<CallExpr>(e));
    case Stmt::VAArgExprClass: return value_of_va_arg(body, cast<VAArgExpr>(e));
    case Stmt::StmtExprClass: return value_of_statements(body, cast<StmtExpr>(e), true);
    case Stmt::ConstantExprClass: return value_of(body, cast<ConstantExpr>(e)->getSubExpr());
    case Stmt::GenericSelectionExprClass:
        return value_of(body, cast<GenericSelectionExpr>(e)->getResultExpr());
    case Stmt::ChooseExprClass: return value_of(body, cast<ChooseExpr>(e)->getChosenSubExpr());
    case Stmt::ImplicitValueInitExprClass: return zero_constant(icode_type(body.unit, e->getType()));
    case Stmt::InitListExprClass: return scalar_in_braces(body, cast<InitListExpr>(e));
    case Stmt::DeclRefExprClass: return named_object(body, cast<DeclRefExpr>(e));
    case Stmt::OpaqueValueExprClass: return opaque_value(body, cast<OpaqueValueExpr>(e));
    case Stmt::MemberExprClass:
        return field_in_pieces(body, e) ? read_pieces(body, e) : member(body, cast<MemberExpr>(e));
    case Stmt::CompoundLiteralExprClass: // the argument of a parameter that is a transparent union
        return compound_literal(body, cast<CompoundLiteralExpr>(e));
    case Stmt::ArraySubscriptExprClass: // of a vector that is no object
        return element(body, cast<ArraySubscriptExpr>(e));
    case Stmt::ExtVectorElementExprClass: {
        const ELEMENTS elements = named_elements(body, cast<ExtVectorElementExpr>(e));
        return sequence(elements.effects, elements.values[0]);
    }
    case Stmt::AddrLabelExprClass: return label_address(body, cast<AddrLabelExpr>(e));
    case Stmt::AtomicExprClass: return value_of_atomic(body, cast<AtomicExpr>(e));
    default: return refused_value(body, e, std::string("an expression of the kind ") + e->getStmtClassName());
    }
}

} // namespace

NODE* use_local(SYMBOL* symbol) { return use_of(symbol, symbol->declared_type); }

SAVED_VALUE save_value(BODY& body, NODE* value) {
    SYMBOL* symbol = new_temporary_local(body, value->type);
    return {symbol, assignment(use_local(symbol), value, symbol->declared_type)};
}

NODE* marked_pointer(BODY& body, NODE* pointer, QualType pointee) {
    if (pointee->isIncompleteType() || pointee->isFunctionType() || pointee->isVoidType()) return pointer;
    const ASTContext& ast = *body.unit.ast;
    if (ast.getTypeAlign(pointee) >= ast.getTypeAlign(pointee.getCanonicalType())) return pointer;
    return new_unary(OP_NONALIGN, pointer->type, pointer);
}

NODE* value_of(BODY& body, const Expr* expression) {
    expression = expression->IgnoreParens();
    if (const auto saved = body.saved.find(expression); saved != body.saved.end())
        return saved->second ? use_local(saved->second) : zero_constant(int_type(body.unit));
    if (expression->isGLValue()) return lvalue_of(body, expression);
    if (computes_elements(body, expression)) return value_by_elements(body, expression);
    return value_by_kind(body, expression);
}

NODE* lvalue_of(BODY& body, const Expr* expression) {
    const Expr* e = expression->IgnoreParens();
    if (SYMBOL* saved = body.saved.lookup(e)) return use_local(saved);
    switch (e->getStmtClass()) {
    case Stmt::DeclRefExprClass: return named_object(body, cast<DeclRefExpr>(e));
    case Stmt::StringLiteralClass: return literal_string(body, cast<StringLiteral>(e));
    case Stmt::PredefinedExprClass: return literal_string(body, cast<PredefinedExpr>(e)->getFunctionName());
    case Stmt::ArraySubscriptExprClass: return element(body, cast<ArraySubscriptExpr>(e));
    case Stmt::MemberExprClass: return member(body, cast<MemberExpr>(e));
    case Stmt::ExtVectorElementExprClass: return named_element_lvalue(body, cast<ExtVectorElementExpr>(e));
    case Stmt::UnaryOperatorClass: return unary_lvalue(body, cast<UnaryOperator>(e));
    case Stmt::CompoundLiteralExprClass: return compound_literal(body, cast<CompoundLiteralExpr>(e));
    case Stmt::ConstantExprClass: return lvalue_of(body, cast<ConstantExpr>(e)->getSubExpr());
    case Stmt::GenericSelectionExprClass:
        return lvalue_of(body, cast<GenericSelectionExpr>(e)->getResultExpr());
    case Stmt::ChooseExprClass: return lvalue_of(body, cast<ChooseExpr>(e)->getChosenSubExpr());
    case Stmt::OpaqueValueExprClass: return opaque_value(body, cast<OpaqueValueExpr>(e));
    case Stmt::ImplicitCastExprClass:
    case Stmt::CStyleCastExprClass: return lvalue_of(body, cast<CastExpr>(e)->getSubExpr());
    default: return refused_value(body, e, std::string("an object of the kind ") + e->getStmtClassName());
    }
}

namespace {

// The expression holds a type whose lengths are computed with effects; clang does not count these.
bool holds_length_effects(const BODY& body, const Stmt* statement) {
    if (!body.has_lengths || !statement) return false;
    if (const auto* written = dyn_cast<CStyleCastExpr>(statement))
        if (lengths_have_effects(body, written->getTypeAsWritten())) return true;
    if (const auto* literal = dyn_cast<CompoundLiteralExpr>(statement))
        if (lengths_have_effects(body, literal->getTypeSourceInfo()->getType())) return true;
    if (const auto* size = dyn_cast<UnaryExprOrTypeTraitExpr>(statement)) {
        if (!is_computed_size(body, size)) return false;
        return size->isArgumentType() ? lengths_have_effects(body, size->getArgumentType())
                                      : has_side_effects(body, size->getArgumentExpr());
    }
    for (const Stmt* child : statement->children())
        if (holds_length_effects(body, child)) return true;
    return false;
}

// The expression is made for an instruction that gives no value, such as a barrier, which clang takes for a
// function without effects.
bool holds_instruction(const Expr* expression) {
    const Expr* e = expression->IgnoreParens();
    if (const auto* call = dyn_cast<CallExpr>(e))
        return call->getBuiltinCallee() && e->getType()->isVoidType();
    if (const auto* cast = dyn_cast<CastExpr>(e)) return holds_instruction(cast->getSubExpr());
    if (const auto* binary = dyn_cast<BinaryOperator>(e))
        return holds_instruction(binary->getLHS()) || holds_instruction(binary->getRHS());
    const auto* conditional = dyn_cast<ConditionalOperator>(e);
    return conditional &&
           (holds_instruction(conditional->getTrueExpr()) || holds_instruction(conditional->getFalseExpr()));
}

} // namespace

bool has_side_effects(const BODY& body, const Expr* expression) {
    return expression->HasSideEffects(*body.unit.ast) || holds_length_effects(body, expression) ||
           holds_instruction(expression);
}

NODE* constant_of(BODY& body, const Expr* expression) {
    const QualType type = expression->getType();
    if (!type->isScalarType() || has_elements(type)) return nullptr;
    Expr::EvalResult result;
    if (!expression->EvaluateAsRValue(result, *body.unit.ast) || result.HasSideEffects) return nullptr;
    if (holds_length_effects(body, expression)) return nullptr;
    TYPE* made = icode_type(body.unit, type.getUnqualifiedType());
    if (result.Val.isInt()) return integer_constant(made, result.Val.getInt());
    if (result.Val.isFloat() && type->isHalfType())
        return integer_constant(made, half_bits(result.Val.getFloat()));
    if (result.Val.isFloat()) return float_constant(made, result.Val.getFloat());
    if (result.Val.isLValue() && !result.Val.getLValueBase())
        return integer_constant(made, result.Val.getLValueOffset().getQuantity());
    return nullptr;
}

namespace {

NODE* negated(NODE* condition, TYPE* type) {
    if (is_integer_constant(condition)) return integer_constant(type, is_zero_constant(condition));
    return new_unary(OP_EXCLAIM, type, condition);
}

NODE* both_conditions(BODY& body, const BinaryOperator* expression) {
    const bool is_and = expression->getOpcode() == BO_LAnd;
    TYPE* type = int_type(body.unit);
    NODE* left = condition_of(body, expression->getLHS());
    if (is_integer_constant(left)) {
        if (is_zero_constant(left) == is_and) return integer_constant(type, is_and ? 0 : 1);
        return condition_of(body, expression->getRHS());
    }
    NODE* right = condition_of(body, expression->getRHS());
    if (is_integer_constant(right)) {
        if (is_zero_constant(right) != is_and) return left;
        return sequence(effects_of(body, expression->getLHS()), integer_constant(type, is_and ? 0 : 1));
    }
    return new_binary(is_and ? OP_ANDAND : OP_OROR, type, left, right);
}

// Conversions that keep whether the value is zero, and hints.
const Expr* strip_condition(const Expr* e) {
    for (;;) {
        e = e->IgnoreParens();
        if (const auto* converted = dyn_cast<ImplicitCastExpr>(e)) {
            const CastKind kind = converted->getCastKind();
            const bool widens =
                kind == CK_IntegralCast && converted->getSubExpr()->getType()->isBooleanType();
            const bool tests = kind == CK_IntegralToBoolean || kind == CK_PointerToBoolean ||
                               kind == CK_FloatingToBoolean || kind == CK_FloatingComplexToBoolean ||
                               kind == CK_IntegralComplexToBoolean;
            if (!tests && !widens) return e;
            e = converted->getSubExpr();
        } else if (const auto* constant = dyn_cast<ConstantExpr>(e)) {
            e = constant->getSubExpr();
        } else {
            return e;
        }
    }
}

NODE* leaf_condition(BODY& body, const Expr* e) {
    bool truth = false;
    if (!body.saved.count(e) && !has_side_effects(body, e) &&
        e->EvaluateAsBooleanCondition(truth, *body.unit.ast))
        return integer_constant(int_type(body.unit), truth);
    if (e->getType()->isAnyComplexType()) return complex_truth(body, e);
    NODE* value = e->getType()->isHalfType() ? value_of_half(body, e) : value_of(body, e);
    if (!type_is_floating(value->type)) return value;
    return new_binary(OP_NEQ, int_type(body.unit), value, zero_constant(type_strip(value->type)));
}

} // namespace

NODE* condition_of(BODY& body, const Expr* expression) {
    const Expr* e = strip_condition(expression);
    if (body.saved.count(e)) return leaf_condition(body, e);
    if (const auto* unary = dyn_cast<UnaryOperator>(e); unary && unary->getOpcode() == UO_LNot)
        return negated(condition_of(body, unary->getSubExpr()), int_type(body.unit));
    if (const auto* binary = dyn_cast<BinaryOperator>(e)) {
        if (binary->isLogicalOp()) return both_conditions(body, binary);
        if (binary->getOpcode() == BO_Comma)
            return sequence(effects_of(body, binary->getLHS()), condition_of(body, binary->getRHS()));
    }
    return leaf_condition(body, e);
}

namespace {

NODE* nothing(BODY& body) { return zero_constant(int_type(body.unit)); }

NODE* effects_or_nothing(BODY& body, NODE* effects) { return effects ? effects : nothing(body); }

NODE* conditional_effects(BODY& body, const Expr* condition, const Expr* yes, const Expr* no) {
    NODE* test = condition_of(body, condition);
    if (is_integer_constant(test)) {
        const Expr* taken = is_zero_constant(test) ? no : yes;
        return taken ? effects_of(body, taken) : nullptr;
    }
    NODE* yes_effects = yes ? effects_of(body, yes) : nullptr;
    NODE* no_effects = no ? effects_of(body, no) : nullptr;
    if (!yes_effects && !no_effects) return effects_of(body, condition);
    return choice(void_type(body.unit), test, effects_or_nothing(body, yes_effects),
                  effects_or_nothing(body, no_effects));
}

NODE* binary_effects(BODY& body, const BinaryOperator* e) {
    if (changes_elements(e)) return element_assignment(body, e).effects;
    if (e->isAssignmentOp()) return value_of(body, e);
    if (e->getOpcode() == BO_LAnd) return conditional_effects(body, e->getLHS(), e->getRHS(), nullptr);
    if (e->getOpcode() == BO_LOr) return conditional_effects(body, e->getLHS(), nullptr, e->getRHS());
    NODE* left = effects_of(body, e->getLHS());
    return sequence(left, effects_of(body, e->getRHS()));
}

NODE* cast_effects(BODY& body, const CastExpr* e) {
    const Expr* inner = e->getSubExpr();
    if (e->getCastKind() == CK_LValueToRValue && inner->getType().isVolatileQualified())
        return save_value(body, lvalue_of(body, inner)).assignment;
    const auto* written = dyn_cast<CStyleCastExpr>(e);
    NODE* lengths = written ? lengths_of_type(body, written->getTypeAsWritten()) : nullptr;
    return sequence(lengths, effects_of(body, inner));
}

} // namespace

NODE* effects_of(BODY& body, const Expr* expression) {
    const Expr* e = expression->IgnoreParens();
    if (body.saved.count(e) || !has_side_effects(body, e)) return nullptr;
    if (const auto* unary = dyn_cast<UnaryOperator>(e))
        return unary->isIncrementDecrementOp() ? increment_of(body, unary, false)
                                               : effects_of(body, unary->getSubExpr());
    if (const auto* binary = dyn_cast<BinaryOperator>(e)) return binary_effects(body, binary);
    if (const auto* conditional = dyn_cast<ConditionalOperator>(e))
        return conditional_effects(body, conditional->getCond(), conditional->getTrueExpr(),
                                   conditional->getFalseExpr());
    if (const auto* converted = dyn_cast<CastExpr>(e)) return cast_effects(body, converted);
    if (const auto* selected = dyn_cast<MemberExpr>(e)) return effects_of(body, selected->getBase());
    if (const auto* statements = dyn_cast<StmtExpr>(e)) return value_of_statements(body, statements, false);
    if (const auto* size = dyn_cast<UnaryExprOrTypeTraitExpr>(e)) return operand_effects(body, size);
    if (const auto* subscript = dyn_cast<ArraySubscriptExpr>(e)) {
        NODE* left = effects_of(body, subscript->getBase());
        return sequence(left, effects_of(body, subscript->getIdx()));
    }
    return value_of(body, e);
}

} // namespace pelorus
