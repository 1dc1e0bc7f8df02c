// Choices between many labels; see switches.h.
#include "switches.h"

#include "expressions.h"
#include "scopes.h"
#include "statements.h"

namespace pelorus {

using namespace clang;

namespace {

constexpr uint64_t CASE_RANGE_LIMIT =
    64; // values of a GNU case range that become cases; larger ones are compared

// The case list under construction: a left-leaning chain.
struct CASE_LIST {
    NODE* chain;
    uint32_t count;
};

void add_case(BODY& body, CASE_LIST& list, NODE* entry) {
    list.chain = list.chain ? new_binary(OP_COMMA, void_type(body.unit), list.chain, entry) : entry;
    list.count++;
}

// The values of a case, both ends included.
struct CASE_RANGE {
    llvm::APSInt low, high;
    uint64_t distance() const { return (high - low).getZExtValue(); }
};

CASE_RANGE range_of(const BODY& body, const CaseStmt* entry) {
    const ASTContext& ast = *body.unit.ast;
    const llvm::APSInt low = entry->getLHS()->EvaluateKnownConstInt(ast);
    return {low, entry->getRHS() ? entry->getRHS()->EvaluateKnownConstInt(ast) : low};
}

bool is_large(const CASE_RANGE& range) {
    return range.low <= range.high && range.distance() >= CASE_RANGE_LIMIT;
}

void add_values(BODY& body, CASE_LIST& list, const CASE_RANGE& range, TYPE* type, uint32_t label) {
    if (range.low > range.high || is_large(range)) return;
    llvm::APSInt value = range.low;
    for (uint64_t left = range.distance() + 1; left; --left, ++value)
        add_case(body, list,
                 new_binary(OP_CASE, void_type(body.unit), integer_constant(type, value), label_leaf(label)));
}

// The cases in the order of the source.
std::vector<const SwitchCase*> cases_of(const SwitchStmt* statement) {
    std::vector<const SwitchCase*> cases;
    for (const SwitchCase* entry = statement->getSwitchCaseList(); entry; entry = entry->getNextSwitchCase())
        cases.push_back(entry);
    std::reverse(cases.begin(), cases.end());
    return cases;
}

// A switch on a constant goes to one place, and cases that nothing else leads to are not converted.
void convert_constant_switch(BODY& body, const SwitchStmt* statement, const llvm::APSInt& value) {
    const uint32_t end = new_label(body), start = new_label(body);
    const SwitchCase* target = nullptr;
    for (const SwitchCase* given : cases_of(statement)) {
        body.case_labels[given] = 0;
        const auto* entry = dyn_cast<CaseStmt>(given);
        if (!entry && !target) target = given;
        if (!entry) continue;
        const CASE_RANGE range = range_of(body, entry);
        if (range.low <= value && value <= range.high) target = given;
    }
    if (target) body.case_labels[target] = start;
    emit_branch(body, target ? start : end);
    convert_inside(body, statement->getBody(), {{end, body.held}, body.targets.continue_to});
    emit_label(body, end);
}

CASE_LIST collect_cases(BODY& body, const std::vector<const SwitchCase*>& cases, TYPE* type, uint32_t end) {
    CASE_LIST list{};
    uint32_t other = end;
    for (const SwitchCase* given : cases) {
        const uint32_t label = body.case_labels[given] = new_label(body);
        if (const auto* entry = dyn_cast<CaseStmt>(given))
            add_values(body, list, range_of(body, entry), type, label);
        else
            other = label;
    }
    add_case(body, list, new_unary(OP_DEFAULT, void_type(body.unit), label_leaf(other)));
    return list;
}

// Goes to the labels of large ranges by comparisons, and gives the selector for the rest.
NODE* test_large_ranges(BODY& body, const std::vector<const SwitchCase*>& cases, NODE* selector) {
    SYMBOL* saved = nullptr;
    for (const SwitchCase* given : cases) {
        const auto* entry = dyn_cast<CaseStmt>(given);
        if (!entry || !is_large(range_of(body, entry))) continue;
        const CASE_RANGE range = range_of(body, entry);
        if (!saved) {
            const SAVED_VALUE value = save_value(body, selector);
            emit(body, value.assignment);
            saved = value.symbol;
        }
        TYPE* number =
            saved->declared_type->size == 8 ? long_long_type(body.unit, true) : unsigned_type(body.unit);
        NODE* distance = new_binary(OP_MINUS, number, arithmetic_conversion(use_local(saved), number),
                                    integer_constant(number, range.low));
        NODE* inside = new_binary(OP_ULE, int_type(body.unit), distance,
                                  integer_constant(number, static_cast<int64_t>(range.distance())));
        const uint32_t next = new_label(body);
        emit_if(body, inside, body.case_labels.lookup(given), next);
        emit_label(body, next);
    }
    return saved ? use_local(saved) : selector;
}

} // namespace

void convert_switch(BODY& body, const SwitchStmt* statement) {
    if (statement->getInit()) convert_statement(body, statement->getInit());
    Expr::EvalResult constant;
    if (statement->getCond()->EvaluateAsInt(constant, *body.unit.ast) &&
        !has_side_effects(body, statement->getCond()))
        return convert_constant_switch(body, statement, constant.Val.getInt());
    emit_inner_statements(body, statement->getCond());
    NODE* selector = value_of(body, statement->getCond());
    TYPE* type = icode_type(body.unit, statement->getCond()->getType().getUnqualifiedType());
    if (type_strip(selector->type) != type) selector = new_unary(OP_SCONV, type, selector);
    const uint32_t end = new_label(body);
    const std::vector<const SwitchCase*> cases = cases_of(statement);
    const CASE_LIST list = collect_cases(body, cases, type, end);
    NODE* tree =
        new_binary(OP_SWITCH, void_type(body.unit), test_large_ranges(body, cases, selector), list.chain);
    tree->set_switch(list.count);
    emit(body, tree);
    body.reachable = false;
    convert_inside(body, statement->getBody(), {{end, body.held}, body.targets.continue_to});
    emit_label(body, end);
}

namespace {

// The label that a computed goto goes to for `target`: where scopes are left on the way, one in between.
uint32_t label_on_the_way(BODY& body, const LabelDecl* target,
                          std::vector<std::pair<uint32_t, const LabelDecl*>>& ways) {
    if (body.held_at.lookup(target) == body.held) return label_of(body, target);
    ways.push_back({new_label(body), target});
    return ways.back().first;
}

} // namespace

void convert_computed_goto(BODY& body, const IndirectGotoStmt* statement) {
    if (const LabelDecl* only = statement->getConstantTarget()) return convert_goto(body, only);
    emit_inner_statements(body, statement->getTarget());
    TYPE* number = unsigned_type(body.unit);
    NODE* selector = pointer_conversion(value_of(body, statement->getTarget()), number);
    std::vector<std::pair<uint32_t, const LabelDecl*>> ways;
    CASE_LIST list{};
    uint32_t label = 0;
    for (const LabelDecl* target : body.address_labels) {
        label = label_on_the_way(body, target, ways);
        add_case(body, list,
                 new_binary(OP_CASE, void_type(body.unit),
                            integer_constant(number, body.unit.label_numbers.lookup(target)),
                            label_leaf(label)));
    }
    add_case(body, list, new_unary(OP_DEFAULT, void_type(body.unit), label_leaf(label)));
    NODE* tree = new_binary(OP_SWITCH, void_type(body.unit), selector, list.chain);
    tree->set_switch(list.count);
    emit(body, tree);
    for (const auto& [way, target] : ways) {
        emit_label(body, way);
        convert_goto(body, target);
    }
}

} // namespace pelorus
