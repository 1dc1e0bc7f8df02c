// Statements: control flow as labels, IF, BRANCH and SWITCH; see statements.h.
#include "statements.h"

#include "clang/AST/Attr.h"

#include "expressions.h"
#include "objects.h"

namespace pelorus {

using namespace clang;

namespace {

constexpr int64_t CASE_RANGE_LIMIT = 1024; // values that a GNU case range may stand for

void stand_at(BODY& body, SourceLocation place) {
    if (place.isInvalid()) return;
    body.unit.here = place;
    body.position = position_of(body.unit, place);
}

bool holds_label(const Stmt* statement) {
    if (!statement) return false;
    if (isa<LabelStmt, SwitchCase>(statement)) return true;
    for (const Stmt* child : statement->children())
        if (holds_label(child)) return true;
    return false;
}

bool holds_statement_expression(const Stmt* statement) {
    if (!statement) return false;
    if (isa<StmtExpr>(statement)) return true;
    for (const Stmt* child : statement->children())
        if (holds_statement_expression(child)) return true;
    return false;
}

NODE* condition_tree(BODY& body, const Expr* condition) {
    stand_at(body, condition->getBeginLoc());
    emit_inner_statements(body, condition);
    return condition_of(body, condition);
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

void convert_loop_body(BODY& body, const Stmt* statement, JUMP_TARGETS targets) {
    const JUMP_TARGETS outer = body.targets;
    body.targets = targets;
    convert_statement(body, statement);
    body.targets = outer;
}

void leave_unless(BODY& body, const Expr* condition, uint32_t more, uint32_t end) {
    NODE* tree = condition_tree(body, condition);
    if (is_integer_constant(tree) && !is_zero_constant(tree)) return;
    emit_if(body, tree, more, end);
}

void convert_while(BODY& body, const WhileStmt* statement) {
    const uint32_t top = new_label(body), more = new_label(body), end = new_label(body);
    emit_label(body, top);
    leave_unless(body, statement->getCond(), more, end);
    emit_label(body, more);
    convert_loop_body(body, statement->getBody(), {end, top});
    emit_branch(body, top);
    emit_label(body, end);
}

void convert_do(BODY& body, const DoStmt* statement) {
    const uint32_t top = new_label(body), test = new_label(body), end = new_label(body);
    emit_label(body, top);
    convert_loop_body(body, statement->getBody(), {end, test});
    emit_label(body, test);
    NODE* condition = condition_tree(body, statement->getCond());
    if (!is_zero_constant(condition)) emit_if(body, condition, top, end);
    emit_label(body, end);
}

void convert_for(BODY& body, const ForStmt* statement) {
    if (statement->getInit()) convert_statement(body, statement->getInit());
    const uint32_t top = new_label(body), more = new_label(body), step = new_label(body),
                   end = new_label(body);
    emit_label(body, top);
    if (statement->getCond()) leave_unless(body, statement->getCond(), more, end);
    emit_label(body, more);
    convert_loop_body(body, statement->getBody(), {end, step});
    emit_label(body, step);
    if (statement->getInc()) {
        stand_at(body, statement->getInc()->getBeginLoc());
        convert_effects(body, statement->getInc());
    }
    emit_branch(body, top);
    emit_label(body, end);
}

// The case list under construction: a left-leaning chain.
struct CASE_LIST {
    NODE* chain;
    uint32_t count;
};

void add_case(BODY& body, CASE_LIST& list, NODE* entry) {
    list.chain = list.chain ? new_binary(OP_COMMA, void_type(body.unit), list.chain, entry) : entry;
    list.count++;
}

void add_values(BODY& body, CASE_LIST& list, const CaseStmt* entry, TYPE* type, uint32_t label) {
    const ASTContext& ast = *body.unit.ast;
    const int64_t low = entry->getLHS()->EvaluateKnownConstInt(ast).extOrTrunc(64).getSExtValue();
    const int64_t high =
        entry->getRHS() ? entry->getRHS()->EvaluateKnownConstInt(ast).extOrTrunc(64).getSExtValue() : low;
    if (high - low >= CASE_RANGE_LIMIT)
        return refuse(body.unit, entry->getCaseLoc(), "a case range of more than 1024 values");
    for (int64_t value = low; value <= high; ++value)
        add_case(body, list,
                 new_binary(OP_CASE, void_type(body.unit), integer_constant(type, value), label_leaf(label)));
}

CASE_LIST collect_cases(BODY& body, const SwitchStmt* statement, TYPE* type, uint32_t end) {
    std::vector<const SwitchCase*> cases;
    for (const SwitchCase* entry = statement->getSwitchCaseList(); entry; entry = entry->getNextSwitchCase())
        cases.push_back(entry);
    CASE_LIST list{};
    uint32_t other = end;
    for (size_t i = cases.size(); i-- > 0;) {
        const uint32_t label = body.case_labels[cases[i]] = new_label(body);
        if (const auto* entry = dyn_cast<CaseStmt>(cases[i]))
            add_values(body, list, entry, type, label);
        else
            other = label;
    }
    add_case(body, list, new_unary(OP_DEFAULT, void_type(body.unit), label_leaf(other)));
    return list;
}

void convert_switch(BODY& body, const SwitchStmt* statement) {
    if (statement->getInit()) convert_statement(body, statement->getInit());
    emit_inner_statements(body, statement->getCond());
    NODE* selector = value_of(body, statement->getCond());
    TYPE* type = icode_type(body.unit, statement->getCond()->getType().getUnqualifiedType());
    if (type_strip(selector->type) != type) selector = new_unary(OP_SCONV, type, selector);
    const uint32_t end = new_label(body);
    const CASE_LIST list = collect_cases(body, statement, type, end);
    NODE* tree = new_binary(OP_SWITCH, void_type(body.unit), selector, list.chain);
    tree->set_switch(list.count);
    emit(body, tree);
    body.reachable = false;
    convert_loop_body(body, statement->getBody(), {end, body.targets.continue_label});
    emit_label(body, end);
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
    if (!value) return emit_return(body, nullptr);
    if (!body.return_symbol || value->getType()->isVoidType()) {
        convert_effects(body, value);
        return emit_return(body, nullptr);
    }
    emit_inner_statements(body, value);
    emit_return(body, value_of(body, value));
}

void convert_assembly(BODY& body, const AsmStmt* statement) {
    const auto* assembly = dyn_cast<GCCAsmStmt>(statement);
    bool plain =
        assembly && !assembly->getNumOutputs() && !assembly->getNumInputs() && !assembly->isAsmGoto();
    for (unsigned i = 0; plain && i < assembly->getNumClobbers(); ++i)
        plain = assembly->getClobber(i) == "memory" || assembly->getClobber(i) == "cc";
    if (!plain) return refuse(body.unit, statement->getAsmLoc(), "inline assembly with operands");
    std::string text = assembly->getAsmString()->getString().str();
    if (!assembly->isSimple())
        for (size_t at = 0; (at = text.find("%%", at)) != std::string::npos; ++at) text.erase(at, 1);
    emit_assembly(body, text);
}

void convert_declaration(BODY& body, const DeclStmt* statement) {
    convert_static_variables(body, statement);
    for (const Decl* declared : statement->decls()) {
        const auto* variable = dyn_cast<VarDecl>(declared);
        if (!variable || !variable->hasLocalStorage()) continue;
        stand_at(body, variable->getLocation());
        if (variable->hasAttr<CleanupAttr>()) refuse(body.unit, "the attribute cleanup");
        if (variable->getStorageClass() == SC_Register && variable->hasAttr<AsmLabelAttr>())
            refuse(body.unit, "a variable in a given register");
        SYMBOL* symbol = variable_of(body, variable);
        if (!variable->hasInit()) continue;
        emit_inner_statements(body, variable->getInit());
        std::vector<NODE*> trees;
        initialise_object(body, use_local(symbol), variable->getType(), variable->getInit(), trees);
        for (NODE* tree : trees) emit(body, tree);
    }
}

void convert_jump(BODY& body, const Stmt* statement, uint32_t target) {
    if (!target) return refuse(body.unit, statement->getBeginLoc(), "a jump out of a statement expression");
    emit_branch(body, target);
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

// Emits a tree of effects, the operands of COMMAOP one by one.
void emit_effects(BODY& body, NODE* tree) {
    for (; tree && tree->op == OP_COMMAOP; tree = tree->right) emit(body, tree->left);
    if (tree && tree->op != OP_ICON && tree->op != OP_FCON && tree->op != OP_NAME) emit(body, tree);
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
    if (!e->HasSideEffects(*body.unit.ast)) return;
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

void convert_statement(BODY& body, const Stmt* statement) {
    stand_at(body, statement->getBeginLoc());
    switch (statement->getStmtClass()) {
    case Stmt::NullStmtClass: return;
    case Stmt::CompoundStmtClass:
        for (const Stmt* inner : cast<CompoundStmt>(statement)->body()) convert_statement(body, inner);
        return;
    case Stmt::DeclStmtClass: return convert_declaration(body, cast<DeclStmt>(statement));
    case Stmt::LabelStmtClass:
        emit_label(body, label_of(body, cast<LabelStmt>(statement)->getDecl()));
        return convert_statement(body, cast<LabelStmt>(statement)->getSubStmt());
    case Stmt::CaseStmtClass:
    case Stmt::DefaultStmtClass:
        emit_label(body, body.case_labels.lookup(cast<SwitchCase>(statement)));
        return convert_statement(body, cast<SwitchCase>(statement)->getSubStmt());
    case Stmt::AttributedStmtClass: return convert_attributed(body, cast<AttributedStmt>(statement));
    case Stmt::IfStmtClass: return convert_if(body, cast<IfStmt>(statement));
    case Stmt::WhileStmtClass: return convert_while(body, cast<WhileStmt>(statement));
    case Stmt::DoStmtClass: return convert_do(body, cast<DoStmt>(statement));
    case Stmt::ForStmtClass: return convert_for(body, cast<ForStmt>(statement));
    case Stmt::SwitchStmtClass: return convert_switch(body, cast<SwitchStmt>(statement));
    case Stmt::GotoStmtClass: return emit_branch(body, label_of(body, cast<GotoStmt>(statement)->getLabel()));
    case Stmt::BreakStmtClass: return convert_jump(body, statement, body.targets.break_label);
    case Stmt::ContinueStmtClass: return convert_jump(body, statement, body.targets.continue_label);
    case Stmt::ReturnStmtClass: return convert_return(body, cast<ReturnStmt>(statement));
    case Stmt::GCCAsmStmtClass:
    case Stmt::MSAsmStmtClass: return convert_assembly(body, cast<AsmStmt>(statement));
    case Stmt::IndirectGotoStmtClass: return refuse(body.unit, statement->getBeginLoc(), "a computed goto");
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
