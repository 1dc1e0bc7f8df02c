// Statements: control flow as labels, IF and BRANCH; see statements.h.
#include "statements.h"

#include "clang/AST/Attr.h"

#include "arrays.h"
#include "assembly.h"
#include "atomics.h"
#include "expressions.h"
#include "objects.h"
#include "scopes.h"
#include "switches.h"

namespace pelorus {

using namespace clang;

namespace {

// Control may come into the statement from outside: by a label or, but for whole switches, a case.
bool holds_label(const Stmt* statement, bool in_switch = false) {
    if (!statement) return false;
    if (isa<LabelStmt>(statement) || (isa<SwitchCase>(statement) && !in_switch)) return true;
    in_switch = in_switch || isa<SwitchStmt>(statement);
    for (const Stmt* child : statement->children())
        if (holds_label(child, in_switch)) return true;
    return false;
}

bool holds_statement_expression(const Stmt* statement) {
    if (!statement) return false;
    if (isa<StmtExpr>(statement) || needs_atomic_loop(statement)) return true;
    for (const Stmt* child : statement->children())
        if (holds_statement_expression(child)) return true;
    return false;
}

// Emits a tree of effects, the operands of COMMAOP one by one. Such a chain may lean to both sides.
void emit_effects(BODY& body, NODE* tree) {
    std::vector<NODE*> rest{tree};
    while (!rest.empty()) {
        NODE* next = rest.back();
        rest.pop_back();
        if (!next) continue;
        if (next->op == OP_COMMAOP) {
            rest.push_back(next->right);
            rest.push_back(next->left);
        } else if (has_effects(next)) {
            emit(body, next);
        }
    }
}

NODE* condition_tree(BODY& body, const Expr* condition) {
    stand_at(body, condition->getBeginLoc());
    emit_inner_statements(body, condition);
    NODE* tree = condition_of(body, condition);
    for (; tree->op == OP_COMMAOP; tree = tree->right) emit(body, tree->left);
    return tree;
}

void convert_if(BODY& body, const IfStmt* statement) {
    NODE* condition = condition_tree(body, statement->getCond());
    const Stmt* other = statement->getElse();
    if (is_integer_constant(condition)) {
        const bool truth = !is_zero_constant(condition);
        const Stmt* taken = truth ? statement->getThen() : other;
        if (!holds_label(truth ? other : statement->getThen())) {
            if (taken) convert_statement(body, taken);
            return;
        }
    }
    const uint32_t yes = new_label(body), end = new_label(body);
    const uint32_t no = other ? new_label(body) : end;
    emit_if(body, condition, yes, no);
    emit_label(body, yes);
    convert_statement(body, statement->getThen());
    if (other) {
        emit_branch(body, end);
        emit_label(body, no);
        convert_statement(body, other);
    }
    emit_label(body, end);
}

// The condition of a loop, in which a statement expression may leave or continue that loop.
NODE* loop_condition(BODY& body, const Expr* condition, JUMP_TARGETS targets) {
    const JUMP_TARGETS outer = body.targets;
    body.targets = targets;
    NODE* tree = condition_tree(body, condition);
    body.targets = outer;
    return tree;
}

void leave_unless(BODY& body, NODE* condition, uint32_t more, uint32_t end) {
    if (is_integer_constant(condition) && !is_zero_constant(condition)) return;
    emit_if(body, condition, more, end);
}

void convert_while(BODY& body, const WhileStmt* statement) {
    const uint32_t top = new_label(body), more = new_label(body), end = new_label(body);
    const JUMP_TARGETS targets{{end, body.held}, {top, body.held}};
    emit_label(body, top);
    leave_unless(body, loop_condition(body, statement->getCond(), targets), more, end);
    emit_label(body, more);
    convert_inside(body, statement->getBody(), targets);
    emit_branch(body, top);
    emit_label(body, end);
}

void convert_do(BODY& body, const DoStmt* statement) {
    const uint32_t top = new_label(body), test = new_label(body), end = new_label(body);
    const JUMP_TARGETS targets{{end, body.held}, {test, body.held}};
    emit_label(body, top);
    convert_inside(body, statement->getBody(), targets);
    emit_label(body, test);
    NODE* condition = loop_condition(body, statement->getCond(), targets);
    if (!is_zero_constant(condition)) emit_if(body, condition, top, end);
    emit_label(body, end);
}

void convert_for(BODY& body, const ForStmt* statement) {
    const VarDecl* before = body.held;
    const OPEN_BLOCK open = begin_block(body);
    if (statement->getInit()) convert_statement(body, statement->getInit());
    const uint32_t top = new_label(body), more = new_label(body), step = new_label(body),
                   end = new_label(body);
    const JUMP_TARGETS targets{{end, body.held}, {step, body.held}};
    emit_label(body, top);
    if (const Expr* condition = statement->getCond())
        leave_unless(body, loop_condition(body, condition, targets), more, end);
    emit_label(body, more);
    convert_inside(body, statement->getBody(), targets);
    emit_label(body, step);
    if (const Expr* increment = statement->getInc()) {
        stand_at(body, increment->getBeginLoc());
        convert_inside(body, increment, targets);
    }
    emit_branch(body, top);
    emit_label(body, end);
    leave_scope(body, before);
    end_block(body, open, statement->getEndLoc());
}

NODE* return_name(BODY& body) {
    return body.return_symbol ? use_local(body.return_symbol) : new_name(nullptr, void_type(body.unit));
}

void emit_return(BODY& body, NODE* value) {
    NODE* name = return_name(body);
    emit(body, value ? new_binary(OP_RETURN, void_type(body.unit), name, value)
                     : new_unary(OP_URETURN, void_type(body.unit), name));
}

void convert_return(BODY& body, const ReturnStmt* statement) {
    const Expr* value = statement->getRetValue();
    if (!value || !body.return_symbol || value->getType()->isVoidType()) {
        if (value) convert_effects(body, value);
        release_scopes(body, nullptr, true);
        return emit_return(body, nullptr);
    }
    emit_inner_statements(body, value);
    if (!return_cleans_up(body)) return emit_return(body, value_of(body, value));
    emit(body,
         assignment(use_local(body.return_symbol), value_of(body, value), body.return_symbol->declared_type));
    release_scopes(body, nullptr, true);
    emit_return(body, nullptr);
}

void initialise_variable(BODY& body, const VarDecl* variable) {
    SYMBOL* symbol = variable_of(body, variable);
    if (!variable->hasInit()) return;
    emit_inner_statements(body, variable->getInit());
    std::vector<NODE*> trees;
    initialise_object(body, use_local(symbol), variable->getType(), variable->getInit(), trees);
    for (NODE* tree : trees) emit_effects(body, tree);
}

// The lengths of arrays in the type that a declaration writes.
void compute_lengths(BODY& body, const Decl* declared) {
    NODE* lengths = nullptr;
    if (const auto* variable = dyn_cast<VarDecl>(declared); variable && !variable->hasExternalStorage())
        lengths = lengths_of_type(body, variable->getType());
    if (const auto* name = dyn_cast<TypedefNameDecl>(declared))
        lengths = lengths_of_type(body, name->getUnderlyingType());
    if (lengths) emit(body, lengths);
}

void convert_declaration(BODY& body, const DeclStmt* statement) {
    convert_static_variables(body, statement);
    for (const Decl* declared : statement->decls()) {
        stand_at(body, declared->getLocation());
        compute_lengths(body, declared);
        const auto* variable = dyn_cast<VarDecl>(declared);
        if (!variable || !variable->hasLocalStorage()) continue;
        if (is_variable_array(body.unit, variable->getType())) {
            declare_array(body, variable);
            continue;
        }
        initialise_variable(body, variable);
        hold_variable(body, variable);
    }
}

void convert_block(BODY& body, const CompoundStmt* block) {
    const VarDecl* before = body.held;
    if (block == body.function->getBody()) {
        for (const Stmt* inner : block->body()) convert_statement(body, inner);
        return leave_scope(body, before, true);
    }
    const OPEN_BLOCK open = begin_block(body);
    for (const Stmt* inner : block->body()) convert_statement(body, inner);
    leave_scope(body, before);
    end_block(body, open, block->getEndLoc());
}

void convert_jump(BODY& body, const Stmt* statement, const JUMP& jump) {
    if (!jump.label)
        return refuse(body.unit, statement->getBeginLoc(), "a jump out of a statement expression");
    release_scopes(body, jump.held);
    emit_branch(body, jump.label);
}

void emit_unroll(BODY& body, uint64_t count) {
    if (body.reachable)
        body.items.push_back(
            {BODY_RECORD::UNROLL, nullptr, static_cast<uint32_t>(count), nullptr, body.position});
}

void convert_attributed(BODY& body, const AttributedStmt* statement) {
    for (const Attr* attribute : statement->getAttrs()) {
        const auto* hint = dyn_cast<LoopHintAttr>(attribute);
        if (!hint) continue;
        if (hint->getOption() == LoopHintAttr::UnrollCount && hint->getValue())
            emit_unroll(body, hint->getValue()->EvaluateKnownConstInt(*body.unit.ast).getZExtValue());
        if (hint->getOption() == LoopHintAttr::Unroll && hint->getState() == LoopHintAttr::Disable)
            emit_unroll(body, 1);
    }
    convert_statement(body, statement->getSubStmt());
}

} // namespace

void convert_inside(BODY& body, const Stmt* statement, JUMP_TARGETS targets) {
    const JUMP_TARGETS outer = body.targets;
    body.targets = targets;
    convert_statement(body, statement);
    body.targets = outer;
}

void convert_goto(BODY& body, const LabelDecl* label) {
    release_scopes(body, body.held_at.lookup(label));
    emit_branch(body, label_of(body, label));
}

uint32_t label_of(BODY& body, const LabelDecl* label) {
    uint32_t& number = body.labels[label];
    if (!number) number = new_label(body);
    return number;
}

void convert_static_variables(BODY& body, const DeclStmt* statement) {
    for (const Decl* declared : statement->decls()) {
        const auto* variable = dyn_cast<VarDecl>(declared);
        if (!variable || !variable->isStaticLocal()) continue;
        stand_at(body, variable->getLocation());
        variable_symbol(body.unit, variable);
        if (variable->hasInit()) queue_variable(body.unit, variable);
    }
}

namespace {

void effects_by_branches(BODY& body, const Expr* condition, const Expr* yes, const Expr* no) {
    NODE* test = condition_tree(body, condition);
    if (is_integer_constant(test)) {
        if (const Expr* taken = is_zero_constant(test) ? no : yes) convert_effects(body, taken);
        return;
    }
    const uint32_t yes_label = new_label(body), no_label = new_label(body), end = new_label(body);
    emit_if(body, test, yes_label, no_label);
    emit_label(body, yes_label);
    if (yes) convert_effects(body, yes);
    emit_branch(body, end);
    emit_label(body, no_label);
    if (no) convert_effects(body, no);
    emit_label(body, end);
}

const Expr* without_void_cast(const Expr* e) {
    for (;;) {
        e = e->IgnoreParens();
        const auto* cast = dyn_cast<CastExpr>(e);
        if (!cast || cast->getCastKind() != CK_ToVoid) return e;
        e = cast->getSubExpr();
    }
}

} // namespace

void convert_effects(BODY& body, const Expr* expression) {
    const Expr* e = without_void_cast(expression);
    if (!has_side_effects(body, e)) return;
    if (const auto* statements = dyn_cast<StmtExpr>(e))
        return convert_statement(body, statements->getSubStmt());
    if (const auto* conditional = dyn_cast<ConditionalOperator>(e))
        return effects_by_branches(body, conditional->getCond(), conditional->getTrueExpr(),
                                   conditional->getFalseExpr());
    if (const auto* binary = dyn_cast<BinaryOperator>(e)) {
        if (binary->getOpcode() == BO_LAnd)
            return effects_by_branches(body, binary->getLHS(), binary->getRHS(), nullptr);
        if (binary->getOpcode() == BO_LOr)
            return effects_by_branches(body, binary->getLHS(), nullptr, binary->getRHS());
        if (binary->getOpcode() == BO_Comma) {
            convert_effects(body, binary->getLHS());
            return convert_effects(body, binary->getRHS());
        }
    }
    emit_inner_statements(body, e);
    emit_effects(body, effects_of(body, e));
}

namespace {

// A statement with its labels and cases, of which there may be very many.
void convert_labelled(BODY& body, const Stmt* statement) {
    for (;;) {
        if (const auto* label = dyn_cast<LabelStmt>(statement)) {
            emit_label(body, label_of(body, label->getDecl()));
            statement = label->getSubStmt();
        } else if (const auto* entry = dyn_cast<SwitchCase>(statement)) {
            if (const uint32_t number = body.case_labels.lookup(entry)) emit_label(body, number);
            statement = entry->getSubStmt();
        } else {
            return convert_statement(body, statement);
        }
    }
}

} // namespace

void convert_statement(BODY& body, const Stmt* statement) {
    if (const auto* declaration = dyn_cast<DeclStmt>(statement))
        for (const Decl* declared : declaration->decls()) body.blocks[declared] = body.block;
    if (!body.reachable && !holds_label(statement)) {
        // Static variables have their values all the same, and a label behind may be in their scope.
        if (const auto* declaration = dyn_cast<DeclStmt>(statement))
            convert_static_variables(body, declaration);
        return;
    }
    stand_at(body, statement->getBeginLoc());
    switch (statement->getStmtClass()) {
    case Stmt::NullStmtClass: return;
    case Stmt::CompoundStmtClass: return convert_block(body, cast<CompoundStmt>(statement));
    case Stmt::DeclStmtClass: return convert_declaration(body, cast<DeclStmt>(statement));
    case Stmt::LabelStmtClass:
    case Stmt::CaseStmtClass:
    case Stmt::DefaultStmtClass: return convert_labelled(body, statement);
    case Stmt::AttributedStmtClass: return convert_attributed(body, cast<AttributedStmt>(statement));
    case Stmt::IfStmtClass: return convert_if(body, cast<IfStmt>(statement));
    case Stmt::WhileStmtClass: return convert_while(body, cast<WhileStmt>(statement));
    case Stmt::DoStmtClass: return convert_do(body, cast<DoStmt>(statement));
    case Stmt::ForStmtClass: return convert_for(body, cast<ForStmt>(statement));
    case Stmt::SwitchStmtClass: return convert_switch(body, cast<SwitchStmt>(statement));
    case Stmt::GotoStmtClass: return convert_goto(body, cast<GotoStmt>(statement)->getLabel());
    case Stmt::BreakStmtClass: return convert_jump(body, statement, body.targets.break_to);
    case Stmt::ContinueStmtClass: return convert_jump(body, statement, body.targets.continue_to);
    case Stmt::ReturnStmtClass: return convert_return(body, cast<ReturnStmt>(statement));
    case Stmt::GCCAsmStmtClass:
    case Stmt::MSAsmStmtClass: return convert_assembly(body, cast<AsmStmt>(statement));
    case Stmt::IndirectGotoStmtClass: return convert_computed_goto(body, cast<IndirectGotoStmt>(statement));
    default: break;
    }
    if (const auto* expression = dyn_cast<Expr>(statement)) return convert_effects(body, expression);
    refuse(body.unit, statement->getBeginLoc(),
           std::string("a statement of the kind ") + statement->getStmtClassName());
}

void convert_body(BODY& body, const Stmt* statement) {
    body.has_statement_expressions = holds_statement_expression(statement);
    convert_statement(body, statement);
    if (!body.function->isMain() || !body.return_symbol) return;
    stand_at(body, statement->getEndLoc());
    emit_return(body, integer_constant(body.return_symbol->declared_type, 0));
}

} // namespace pelorus
