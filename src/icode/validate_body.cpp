// The validator's functions: their records, scopes, labels and statements; see validate_state.h.
#include "icode/validate_state.h"
#include "memory/zone.h"

namespace pelorus {

namespace {

constexpr int PARAMETERS = 1; // depth among the parameters
constexpr int BODY = 2;       // depth of the body

bool require_depth(VALIDATOR& v, const RECORD_FRAME& frame, bool good, const char* what) {
    if (!good) file_fault(v, RULE_U1, frame.start, "%s", what);
    return good;
}

// --- Begin and end ---

void check_function_symbol(VALIDATOR& v, const RECORD_FRAME& frame) {
    SYMBOL* symbol = v.function.symbol;
    GLOBAL_STATE& global = v.globals[v.fields[1].number];
    global.bodies++;
    const TYPE* type = symbol->declared_type ? type_strip(symbol->declared_type) : nullptr;
    if (!type) return;
    if (type->kind != TK_FUNCTION)
        return file_fault(v, RULE_S6, frame.start, "\"%.80s\" has a body and is %s", symbol->name,
                          type_text(type).c_str());
    v.function.check.returned = type->base;
}

void begin_function(VALIDATOR& v, const RECORD_FRAME& frame) {
    if (v.function.depth) {
        file_fault(v, RULE_U1, frame.start, "a function begins inside another one");
        leave_function(v);
    }
    if (!take_fields(v, record_layout(frame.kind)->fields, nullptr)) return;
    v.function.offset = frame.start;
    v.function.depth = PARAMETERS;
    v.function.is_other = frame.kind == RK_OTHER_BEGIN;
    if (v.function.is_other) return;
    v.function.symbol = v.fields[1].symbol;
    if (v.function.symbol)
        check_function_symbol(v, frame);
    else
        v.function.is_damaged = true;
}

void check_labels(VALIDATOR& v) {
    for (const LABEL_USE& use : v.function.uses) {
        const auto number = static_cast<uint32_t>(use.leaf->value_lo);
        if (v.function.labels.contains(number)) continue;
        v.stmt = use.stmt;
        file_fault(v, RULE_U3, use.leaf->scratch[0], "label %u is not defined", number);
        v.stmt = nullptr;
    }
}

void end_function(VALIDATOR& v, const RECORD_FRAME& frame) {
    take_fields(v, record_layout(frame.kind)->fields, nullptr);
    const bool is_other = frame.kind == RK_OTHER_END;
    if (!v.function.depth || is_other != v.function.is_other) {
        file_fault(v, RULE_U1, frame.start, "a function ends that did not begin");
    } else if (!is_other) {
        if (v.function.depth != BODY)
            file_fault(v, RULE_U1, frame.start,
                       v.function.depth < BODY ? "the function has no body" : "a block does not end");
        if (!v.function.is_damaged) check_labels(v);
        if (v.function.noted_as_leaf && v.function.makes_calls)
            file_fault(v, RULE_U14, v.function.offset, "the function is noted as a leaf and makes calls");
        if (v.function.blocks > icode_limits.labels)
            file_fault(v, RULE_L3, v.function.offset, "the function has %u blocks", v.function.blocks);
    }
    leave_function(v);
}

// --- Scopes ---

void check_parameters(VALIDATOR& v, const RECORD_FRAME& frame) {
    const SYMBOL* symbol = v.function.symbol;
    const TYPE* type = symbol && symbol->declared_type ? type_strip(symbol->declared_type) : nullptr;
    v.function.check.has_parameters = !v.function.parameters.empty();
    if (!type || type->kind != TK_FUNCTION || !type->prototyped || v.function.is_damaged) return;
    size_t next = 0;
    for (const TYPE_PART* part = type->parts; part; part = part->next) {
        if (part->record_kind != TR_PARAMETER) continue;
        const SYMBOL* parameter = next < v.function.parameters.size() ? v.function.parameters[next] : nullptr;
        next++;
        if (!parameter || !parameter->declared_type ||
            same_representation(parameter->declared_type, part->type))
            continue;
        file_fault(v, RULE_U2, frame.start, "parameter \"%.80s\" has another type than its function says",
                   parameter->name);
    }
    if (next != v.function.parameters.size())
        file_fault(v, RULE_U2, frame.start, "%zu parameters; the function's type has %zu",
                   v.function.parameters.size(), next);
}

void begin_body(VALIDATOR& v, const RECORD_FRAME& frame) {
    take_fields(v, record_layout(frame.kind)->fields, nullptr);
    if (!require_depth(v, frame, v.function.depth == PARAMETERS, "a body begins where no function has begun"))
        return;
    if (!v.function.is_other) check_parameters(v, frame);
    v.function.depth = BODY;
}

void change_scope(VALIDATOR& v, const RECORD_FRAME& frame) {
    take_fields(v, record_layout(frame.kind)->fields, nullptr);
    const bool begins = frame.kind == RK_BLOCK_BEGIN;
    if (!require_depth(v, frame, v.function.depth >= (begins ? BODY : BODY + 1),
                       begins ? "a block begins outside a body" : "a block ends that did not begin"))
        return;
    v.function.depth += begins ? 1 : -1;
}

// --- Labels and statements ---

bool ends_block(int32_t op) {
    return op == OP_IF || op == OP_SWITCH || op == OP_BRANCH || op == OP_RETURN || op == OP_URETURN;
}

void begin_block(VALIDATOR& v) {
    v.function.blocks++;
    v.function.block_is_open = true;
}

void define_label(VALIDATOR& v, const RECORD_FRAME& frame) {
    const uint32_t number = take_uleb(v);
    if (!v.good || !require_depth(v, frame, v.function.depth >= BODY, "a label outside a body")) return;
    begin_block(v);
    // Whoever comes back to the label would read the parameters again.
    if (v.function.check.has_parameters && v.function.check.first && !v.function.is_damaged)
        file_fault(v, RULE_U5, frame.start, "a label in front of the statement that copies the parameters");
    if (number == 0 || number > icode_limits.labels)
        return file_fault(v, RULE_U4, frame.start, "label %u is not from 1 to %u", number,
                          icode_limits.labels);
    if (!v.function.labels.insert(number).second)
        file_fault(v, RULE_U4, frame.start, "label %u is defined a second time", number);
}

void note_labels(VALIDATOR& v, const NODE* stmt) {
    std::vector<const NODE*> waiting{stmt};
    while (!waiting.empty()) {
        const NODE* node = waiting.back();
        waiting.pop_back();
        for (; node; node = node->left) {
            if (node->op == OP_LABEL) v.function.uses.push_back({node, stmt});
            if (node->right) waiting.push_back(node->right);
        }
    }
}

// What the statement is, when its form was good.
void check_statement(VALIDATOR& v, const NODE* stmt) {
    const FAULT_SINK sink = tree_sink(v);
    const TREE_PLACE place{stmt, 0, &sink};
    const bool is_branch = ends_block(stmt->op);
    if (!v.function.block_is_open) begin_block(v);
    v.function.block_is_open = !is_branch;
    if (opcode_arity(stmt->op) >= 0) note_labels(v, stmt);
    if (validate_stmt(stmt, 0, v.function.check.first, &sink))
        v.function.check.first = false;
    else if (!v.function.is_damaged)
        check_in_function(v.function.check, stmt, place);
}

void take_statement(VALIDATOR& v, const RECORD_FRAME& frame) {
    if (!take_fields(v, record_layout(frame.kind)->fields, nullptr)) return;
    check_own_size(v, frame);
    if (!require_depth(v, frame, v.function.depth >= BODY, "a statement outside a body")) v.good = false;
    if (!v.good) return;
    v.in_statement = true;
    const NODE* stmt = validate_tree_record(v);
    v.in_statement = false;
    if (v.function.is_other) return;
    if (stmt)
        check_statement(v, stmt);
    else
        v.function.check.first = false;
    v.function.is_damaged |= !v.good;
}

void take_note(VALIDATOR& v, const RECORD_FRAME& frame) {
    if (!take_fields(v, record_layout(frame.kind)->fields, nullptr)) return;
    if (v.fields[0].number != 'L') return file_fault(v, RULE_U14, frame.start, "a note that has no meaning");
    v.function.noted_as_leaf = true;
}

} // namespace

bool is_function_record(uint8_t kind) {
    switch (kind) {
    case RK_FUNCTION_BEGIN:
    case RK_FUNCTION_END:
    case RK_OTHER_BEGIN:
    case RK_OTHER_END:
    case RK_BODY_BEGIN:
    case RK_BLOCK_BEGIN:
    case RK_BLOCK_END:
    case RK_FUNCTION_PLACE:
    case RK_LABEL_DEFINITION:
    case RK_STATEMENT:
    case RK_NOTE: return true;
    default: return false;
    }
}

void leave_function(VALIDATOR& v) {
    v.function = {};
    release_local_zone();
}

void validate_function_record(VALIDATOR& v, const RECORD_FRAME& frame) {
    switch (frame.kind) {
    case RK_FUNCTION_BEGIN:
    case RK_OTHER_BEGIN: return begin_function(v, frame);
    case RK_FUNCTION_END:
    case RK_OTHER_END: return end_function(v, frame);
    case RK_BODY_BEGIN: return begin_body(v, frame);
    case RK_BLOCK_BEGIN:
    case RK_BLOCK_END: return change_scope(v, frame);
    case RK_LABEL_DEFINITION: return define_label(v, frame);
    case RK_STATEMENT: return take_statement(v, frame);
    case RK_NOTE: return take_note(v, frame);
    default:
        take_fields(v, record_layout(frame.kind)->fields, nullptr);
        require_depth(v, frame, v.function.depth != 0, "the place of a function outside functions");
    }
}

} // namespace pelorus
