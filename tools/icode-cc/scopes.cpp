// Scopes that cannot simply be left; see scopes.h.
#include "scopes.h"

#include "clang/AST/Attr.h"

#include "arrays.h"
#include "expressions.h"

namespace pelorus {

using namespace clang;

namespace {

void survey(BODY& body, const Stmt* statement, const VarDecl*& held);

void survey_children(BODY& body, const Stmt* statement, const VarDecl*& held) {
    for (const Stmt* child : statement->children())
        if (child) survey(body, child, held);
}

void survey_declarations(BODY& body, const DeclStmt* statement, const VarDecl*& held) {
    for (const Decl* declared : statement->decls()) {
        const auto* variable = dyn_cast<VarDecl>(declared);
        if (!variable || !is_held(body.unit, variable)) continue;
        body.around[variable] = held;
        held = variable;
    }
}

// A type in the expression, its own or one that it asks about, has an array of variable length.
bool writes_lengths(const Expr* expression) {
    const auto* size = dyn_cast<UnaryExprOrTypeTraitExpr>(expression);
    const QualType type = size ? size->getTypeOfArgument() : expression->getType();
    return type->isVariablyModifiedType();
}

// `held` is in force at the statement; changes when it declares a further one in the scope that it stands in.
void survey(BODY& body, const Stmt* statement, const VarDecl*& held) {
    if (isa<CompoundStmt, ForStmt>(statement)) {
        const VarDecl* inner = held;
        return survey_children(body, statement, inner);
    }
    if (const auto* declaration = dyn_cast<DeclStmt>(statement)) survey_declarations(body, declaration, held);
    if (const auto* label = dyn_cast<LabelStmt>(statement)) body.held_at[label->getDecl()] = held;
    if (const auto* address = dyn_cast<AddrLabelExpr>(statement)) {
        uint32_t& number = body.unit.label_numbers[address->getLabel()];
        if (!number) number = static_cast<uint32_t>(body.address_labels.size() + 1);
        if (number > body.address_labels.size()) body.address_labels.push_back(address->getLabel());
    }
    if (const auto* expression = dyn_cast<Expr>(statement))
        body.has_lengths = body.has_lengths || writes_lengths(expression);
    survey_children(body, statement, held);
}

void call_cleanup(BODY& body, const VarDecl* variable) {
    const FunctionDecl* function = variable->getAttr<CleanupAttr>()->getFunctionDecl();
    SYMBOL* callee = called_symbol(body.unit, function);
    TYPE* pointer = icode_type(body.unit, function->getParamDecl(0)->getType());
    NODE* object = address_of(variable_object(body, variable), pointer);
    TYPE* result = icode_type(body.unit, function->getReturnType());
    emit(body, direct_call(body.unit, result, callee, {object}));
}

} // namespace

bool is_variable_array(const UNIT& unit, QualType type) {
    while (const ArrayType* array = unit.ast->getAsArrayType(type)) {
        if (isa<VariableArrayType>(array)) return true;
        type = array->getElementType();
    }
    return false;
}

bool is_held(const UNIT& unit, const VarDecl* variable) {
    if (!variable->hasLocalStorage()) return false;
    return variable->hasAttr<CleanupAttr>() || is_variable_array(unit, variable->getType());
}

void survey_body(BODY& body, const Stmt* statement) {
    const VarDecl* held = nullptr;
    survey(body, statement, held);
}

void release_scopes(BODY& body, const VarDecl* target, bool returns) {
    SYMBOL* stack = nullptr; // what the stack is to be set back to; only the outermost array's counts
    for (const VarDecl* held = body.held; held && held != target; held = body.around.lookup(held)) {
        if (held->hasAttr<CleanupAttr>()) {
            if (stack) emit(body, restore_stack(body, stack));
            stack = nullptr;
            call_cleanup(body, held);
        }
        if (!returns && is_variable_array(body.unit, held->getType())) stack = body.stacks.lookup(held);
    }
    if (stack) emit(body, restore_stack(body, stack));
}

bool return_cleans_up(const BODY& body) {
    for (const VarDecl* held = body.held; held; held = body.around.lookup(held))
        if (held->hasAttr<CleanupAttr>()) return true;
    return false;
}

void leave_scope(BODY& body, const VarDecl* before, bool returns) {
    release_scopes(body, before, returns);
    body.held = before;
}

void hold_variable(BODY& body, const VarDecl* variable) {
    if (is_held(body.unit, variable)) body.held = variable;
}

} // namespace pelorus
