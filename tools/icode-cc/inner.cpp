// Statement expressions, `({ ... })`; see expressions.h.
//
// One that holds only declarations and expressions becomes a COMMAOP chain in place. Any other is emitted as
// statements before the expression that it stands in, and its value kept in a temporary. C leaves the order
// of operands open, so this changes nothing that a program may rely on, except where operands are evaluated
// conditionally or in turn: such an operator (`&&`, `||`, `?:`, the comma) that holds one on its later side
// is turned into statements as well. An operator on an atomic object that needs a loop is treated alike.
#include "clang/AST/Attr.h"

#include "atomics.h"
#include "expressions.h"
#include "scopes.h"
#include "statements.h"

namespace pelorus {

using namespace clang;

namespace {

bool holds_loose_statements(const Stmt* statement);

// The declaration does no more than to give variables their values.
bool is_plain_declaration(const DeclStmt* statement) {
    for (const Decl* declared : statement->decls()) {
        const auto* value = dyn_cast<ValueDecl>(declared);
        const auto* name = dyn_cast<TypedefNameDecl>(declared);
        if (declared->hasAttr<CleanupAttr>() || (value && value->getType()->isVariablyModifiedType()) ||
            (name && name->getUnderlyingType()->isVariablyModifiedType()))
            return false;
    }
    return true;
}

// Only declarations and expressions.
bool is_plain(const StmtExpr* expression) {
    for (const Stmt* statement : expression->getSubStmt()->body()) {
        if (!isa<DeclStmt, Expr, NullStmt>(statement) || holds_loose_statements(statement)) return false;
        if (const auto* declaration = dyn_cast<DeclStmt>(statement);
            declaration && !is_plain_declaration(declaration))
            return false;
    }
    return true;
}

// Calls `visit` for each part of the statement or expression that is evaluated with it.
template <class VISIT>
void for_each_part(const Stmt* statement, VISIT visit) {
    if (!statement) return;
    if (const auto* size = dyn_cast<UnaryExprOrTypeTraitExpr>(statement);
        size && !size->getTypeOfArgument()->isVariablyModifiedType())
        return;
    if (const auto* selection = dyn_cast<GenericSelectionExpr>(statement))
        return visit(selection->getResultExpr());
    if (const auto* choice = dyn_cast<ChooseExpr>(statement)) return visit(choice->getChosenSubExpr());
    for (const Stmt* child : statement->children()) visit(child);
}

bool holds_loose_statements(const Stmt* statement) {
    if (!statement) return false;
    if (needs_atomic_loop(statement)) return true;
    if (const auto* inner = dyn_cast<StmtExpr>(statement)) return !is_plain(inner);
    bool found = false;
    for_each_part(statement, [&](const Stmt* part) { found = found || holds_loose_statements(part); });
    return found;
}

// The statement that gives the value, perhaps behind labels; null in an empty block.
const Stmt* last_statement(const StmtExpr* expression) {
    return expression->getSubStmt()->getStmtExprResult();
}

const Expr* last_expression(const StmtExpr* expression) {
    return dyn_cast_or_null<Expr>(last_statement(expression));
}

void keep_value(BODY& body, const Expr* whole, SYMBOL* symbol, const Expr* value) {
    emit_inner_statements(body, value);
    if (symbol)
        emit(body, assignment(use_local(symbol), value_of(body, value), symbol->declared_type));
    else
        convert_effects(body, value);
    body.saved[whole] = symbol;
}

SYMBOL* place_for(BODY& body, const Expr* expression) {
    const QualType type = expression->getType();
    return type->isVoidType() ? nullptr
                              : new_temporary_local(body, icode_type(body.unit, type.getUnqualifiedType()));
}

void emit_block(BODY& body, const StmtExpr* expression) {
    const VarDecl* before = body.held;
    const Stmt* last = last_statement(expression);
    for (const Stmt* statement : expression->getSubStmt()->body())
        if (statement != last) convert_statement(body, statement);
    SYMBOL* place = place_for(body, expression);
    while (const auto* label = dyn_cast_or_null<LabelStmt>(last)) {
        emit_label(body, label_of(body, label->getDecl()));
        last = label->getSubStmt();
    }
    if (const auto* value = dyn_cast_or_null<Expr>(last)) {
        keep_value(body, expression, place, value);
    } else {
        if (last) convert_statement(body, last);
        body.saved[expression] = place;
    }
    leave_scope(body, before);
}

void emit_conditional(BODY& body, const AbstractConditionalOperator* expression) {
    emit_inner_statements(body, expression->getCond());
    SYMBOL* place = place_for(body, expression);
    const uint32_t yes = new_label(body), no = new_label(body), end = new_label(body);
    emit_if(body, condition_of(body, expression->getCond()), yes, no);
    emit_label(body, yes);
    keep_value(body, expression, place, expression->getTrueExpr());
    emit_branch(body, end);
    emit_label(body, no);
    keep_value(body, expression, place, expression->getFalseExpr());
    emit_label(body, end);
}

// `a ?: b`.
void emit_default(BODY& body, const BinaryConditionalOperator* expression) {
    emit_inner_statements(body, expression->getCommon());
    const SAVED_VALUE common = save_value(body, value_of(body, expression->getCommon()));
    emit(body, common.assignment);
    body.saved[expression->getOpaqueValue()] = common.symbol;
    emit_conditional(body, expression);
}

void emit_logical(BODY& body, const BinaryOperator* expression) {
    const bool is_and = expression->getOpcode() == BO_LAnd;
    TYPE* type = int_type(body.unit);
    SYMBOL* place = new_temporary_local(body, type);
    const uint32_t more = new_label(body), end = new_label(body);
    emit_inner_statements(body, expression->getLHS());
    emit(body, assignment(use_local(place), integer_constant(type, is_and ? 0 : 1), type));
    emit_if(body, condition_of(body, expression->getLHS()), is_and ? more : end, is_and ? end : more);
    emit_label(body, more);
    emit_inner_statements(body, expression->getRHS());
    NODE* truth = condition_of(body, expression->getRHS());
    emit(body, assignment(use_local(place),
                          new_binary(OP_NEQ, type, truth, zero_constant(type_strip(truth->type))), type));
    emit_label(body, end);
    body.saved[expression] = place;
}

void emit_inner(BODY& body, const Stmt* statement) {
    if (!holds_loose_statements(statement)) return;
    if (const auto* expression = dyn_cast<StmtExpr>(statement)) return emit_block(body, expression);
    if (const auto* conditional = dyn_cast<ConditionalOperator>(statement))
        if (holds_loose_statements(conditional->getTrueExpr()) ||
            holds_loose_statements(conditional->getFalseExpr()))
            return emit_conditional(body, conditional);
    if (const auto* conditional = dyn_cast<BinaryConditionalOperator>(statement))
        return emit_default(body, conditional);
    if (const auto* binary = dyn_cast<BinaryOperator>(statement);
        binary && holds_loose_statements(binary->getRHS())) {
        if (binary->isLogicalOp()) return emit_logical(body, binary);
        if (binary->getOpcode() == BO_Comma) {
            emit_inner(body, binary->getLHS());
            convert_effects(body, binary->getLHS());
            body.saved[binary->getLHS()->IgnoreParens()] = nullptr;
        }
    }
    for_each_part(statement, [&](const Stmt* part) { emit_inner(body, part); });
    if (needs_atomic_loop(statement))
        body.saved[cast<Expr>(statement)] = emit_atomic_loop(body, cast<Expr>(statement));
}

void add_declaration(BODY& body, const DeclStmt* statement, NODE*& effects) {
    for (const Decl* declared : statement->decls()) {
        const auto* variable = dyn_cast<VarDecl>(declared);
        if (!variable || !variable->hasLocalStorage() || !variable->hasInit()) continue;
        std::vector<NODE*> trees;
        initialise_object(body, use_local(variable_of(body, variable)), variable->getType(),
                          variable->getInit(), trees);
        for (NODE* tree : trees) effects = sequence(effects, tree);
    }
}

} // namespace

void emit_inner_statements(BODY& body, const Expr* expression) {
    if (body.has_statement_expressions) emit_inner(body, expression);
}

NODE* value_of_statements(BODY& body, const StmtExpr* expression, bool value_needed) {
    const Expr* last = last_expression(expression);
    NODE* effects = nullptr;
    for (const Stmt* statement : expression->getSubStmt()->body()) {
        if (statement == last) break;
        if (const auto* declaration = dyn_cast<DeclStmt>(statement)) {
            convert_static_variables(body, declaration);
            add_declaration(body, declaration, effects);
        }
        if (const auto* value = dyn_cast<Expr>(statement))
            effects = sequence(effects, effects_of(body, value));
    }
    if (!last || !value_needed || expression->getType()->isVoidType()) {
        if (last) effects = sequence(effects, effects_of(body, last));
        return effects || !value_needed ? effects : zero_constant(int_type(body.unit));
    }
    return sequence(effects, value_of(body, last));
}

} // namespace pelorus
