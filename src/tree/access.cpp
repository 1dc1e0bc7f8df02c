// What a tree defines, uses and exposes; see access.h.
//
// The tree is taken apart into tasks, the next one last, so that neither long lists nor deep trees take
// stack:
//   EVALUATE  a tree is evaluated for its value
//   REACH     what leads to an object is evaluated, but the object is not touched
//   TOUCH     the object is used, defined or exposed
// An assignment is REACH left, EVALUATE right, TOUCH left; a use of a member is REACH and TOUCH; an address
// is REACH and TOUCH as exposed.
#include "tree/access.h"

#include <vector>

#include "ir/call.h"
#include "ir/symbol.h"
#include "support/settings.h"

namespace pelorus {

namespace {

enum class WORK : uint8_t { EVALUATE, REACH, TOUCH };

// What is known of an object on the way from the operator to the variable.
struct FOUND {
    bool part = false;
    bool is_volatile = false; // a member of a volatile object is volatile
};

struct TASK {
    NODE* node;
    NODE* by; // TOUCH: the operator
    WORK work;
    ACCESS kind; // TOUCH
    bool conditional;
    FOUND found{}; // TOUCH: from what is above a choice between objects
};

struct WALK {
    std::vector<TASK> tasks;
    ACCESS_VISITOR visit;
    void* context;
};

// --- Lvalues ---

enum class LVALUE : uint8_t {
    NAMED,   // a variable
    POINTED, // through the pointer on the left
    MEMBER,  // of the left operand
    SAME,    // the left operand
    LAST,    // the right operand
    NONE,    // no lvalue: its value is a temporary
};

LVALUE lvalue_form(const NODE* node) {
    switch (node->op) {
    case OP_NAME: return LVALUE::NAMED;
    case OP_UMULT:
    case OP_STREF: return LVALUE::POINTED;
    case OP_STDOT:
    case OP_SCONV: // no conversion should stand there; the piece is what it would be
    case OP_PCONV:
    case OP_ISP2CHAR: return LVALUE::MEMBER;
    case OP_STASG: // a structure, whose value is read from its left operand
    case OP_IDENTITY:
    case OP_NONALIGN:
    case OP_SSA_USE:
    case OP_SSA_DEF:
    case OP_SSA_MU:
    case OP_SSA_CHI: return LVALUE::SAME;
    case OP_COMMAOP: return LVALUE::LAST;
    default: return LVALUE::NONE;
    }
}

bool is_piece(const NODE* name) {
    const TYPE* whole = name->symbol()->type;
    return name->type && whole && type_is_scalar(whole) && name->type->size != whole->size;
}

void report(const WALK& walk, const TASK& task, NODE* name, const FOUND& found) {
    if (name && !name->symbol()) return; // URETURN of a void function
    SYMBOL* symbol = name ? name->symbol() : nullptr;
    const bool is_elsewhere = !symbol || symbol->level == 0;
    walk.visit(walk.context,
               {task.kind, symbol, name, task.node, task.by, found.part || (name && is_piece(name)),
                task.conditional, found.is_volatile || (settings.all_volatile && is_elsewhere)});
}

// --- The three kinds of work ---

void add(WALK& walk, NODE* node, bool conditional) {
    if (node) walk.tasks.push_back({node, nullptr, WORK::EVALUATE, ACCESS::USE, conditional});
}
void add_reach(WALK& walk, NODE* node, bool conditional) {
    if (node) walk.tasks.push_back({node, nullptr, WORK::REACH, ACCESS::USE, conditional});
}
void add_touch(WALK& walk, NODE* node, NODE* by, ACCESS kind, bool conditional) {
    if (node) walk.tasks.push_back({node, by, WORK::TOUCH, kind, conditional});
}

// Both arms of a choice between structures.
NODE* arms_of(const NODE* node) {
    return node->op == OP_QUEST && node->right && node->right->op == OP_COLON ? node->right : nullptr;
}

void touch(WALK& walk, const TASK& task) {
    FOUND found = task.found;
    for (NODE* object = task.node; object;) {
        found.is_volatile |= object->type && type_is_volatile(object->type);
        switch (lvalue_form(object)) {
        case LVALUE::NAMED: return report(walk, task, object, found);
        case LVALUE::POINTED: // the address of what a pointer points to is the pointer's value
            if (task.kind != ACCESS::EXPOSE) report(walk, task, nullptr, found);
            return;
        case LVALUE::MEMBER: found.part = true, object = object->left; break;
        case LVALUE::SAME: object = object->left; break;
        case LVALUE::LAST: object = object->right; break;
        case LVALUE::NONE:
            if (const NODE* arms = arms_of(object)) {
                walk.tasks.push_back({arms->right, task.by, WORK::TOUCH, task.kind, true, found});
                walk.tasks.push_back({arms->left, task.by, WORK::TOUCH, task.kind, true, found});
            } else if (task.kind == ACCESS::EXPOSE && is_call(object)) {
                report(walk, task, nullptr, found);
            }
            return;
        }
    }
}

void reach(WALK& walk, NODE* object, bool conditional) {
    while (object) switch (object->op == OP_STASG ? LVALUE::NONE : lvalue_form(object)) {
        case LVALUE::NAMED: return;
        case LVALUE::POINTED: return add(walk, object->left, conditional);
        case LVALUE::MEMBER:
        case LVALUE::SAME: object = object->left; break;
        case LVALUE::LAST:
            add_reach(walk, object->right, conditional);
            return add(walk, object->left, conditional);
        case LVALUE::NONE:
            if (const NODE* arms = arms_of(object)) {
                add_reach(walk, arms->right, true);
                add_reach(walk, arms->left, true);
                return add(walk, object->left, conditional);
            }
            return add(walk, object, conditional);
        }
}

// `object` is reached, `between` evaluated, and the object touched. Tasks are put in the last one first.
void reach_and_touch(WALK& walk, NODE* object, NODE* between, NODE* by, ACCESS kind, bool conditional) {
    add_touch(walk, object, by, kind, conditional);
    add(walk, between, conditional);
    add_reach(walk, object, conditional);
}

// The operator accesses memory by itself, once its operands have been evaluated.
void touch_memory(WALK& walk, NODE* node, bool conditional) {
    const bool reads = may_read_memory(node);
    const bool writes = may_write_memory(node);
    if (!reads && !writes) return;
    const ACCESS kind = reads && writes ? ACCESS::USE_DEF : reads ? ACCESS::USE : ACCESS::DEF;
    walk.visit(walk.context, {kind, nullptr, nullptr, node, node, false, conditional, false});
}

void evaluate_operands(WALK& walk, const NODE* node, bool conditional) {
    add(walk, node->right, conditional);
    add(walk, node->left, conditional);
}

ACCESS assignment_kind(int32_t op) {
    return op == OP_ASG || op == OP_STASG || op == OP_ARASG ? ACCESS::DEF : ACCESS::USE_DEF;
}

// Variables are lent when all arguments have been evaluated. The last tasks are the first to be done.
void add_arguments(WALK& walk, const NODE* call, bool conditional) {
    const std::vector<LENT_ARGUMENT> lent = lent_arguments(call);
    if (lent.empty()) return add(walk, call->right, conditional);
    for (size_t i = lent.size(); i-- > 0;)
        add_touch(walk, lent[i].name, const_cast<NODE*>(call), ACCESS::LEND, conditional);
    size_t left = lent.size();
    const auto add_argument = [&](NODE* argument) {
        if (left > 0 && lent[left - 1].argument == argument)
            --left;
        else
            add(walk, argument, conditional);
    };
    NODE* list = call->right;
    for (; list->op == OP_COMMA; list = list->left) add_argument(list->right);
    add_argument(list);
}

// Operators of a class that needs no care of its own. Calls, assembly and numbers without a name touch memory
// when their operands have been evaluated: the task that stands for that is a TOUCH of the operator itself.
// What is called is no variable: the address of one is taken here as elsewhere.
bool calls_by_name(const NODE* call) {
    const NODE* name = named_callee(call);
    return name && (!name->symbol() || name->symbol()->level == FILE_SCOPE);
}

void evaluate_by_class(WALK& walk, NODE* node, bool conditional) {
    const bool known = opcode_arity(node->op) >= 0;
    const bool unnamed = known && !opcode_fact(node->op).name;
    if (opcode_assigns(node->op))
        return reach_and_touch(walk, node->left, node->right, node, assignment_kind(node->op), conditional);
    const bool calls = known && opcode_fact(node->op).kind == OPCODE_CLASS::CALLS;
    if (calls || unnamed || node->op == OP_ASM)
        walk.tasks.push_back({node, node, WORK::TOUCH, ACCESS::USE_DEF, conditional});
    if (unnamed) {
        reach_and_touch(walk, node->right, nullptr, node, ACCESS::EXPOSE, conditional);
        return reach_and_touch(walk, node->left, nullptr, node, ACCESS::EXPOSE, conditional);
    }
    if (is_call(node) && calls_by_name(node)) return add_arguments(walk, node, conditional);
    evaluate_operands(walk, node, conditional);
}

void evaluate(WALK& walk, NODE* node, bool conditional) {
    switch (node->op) {
    case OP_NAME: return touch(walk, {node, node, WORK::TOUCH, ACCESS::USE, conditional});
    case OP_UMULT:
    case OP_STREF:
    case OP_STDOT: return reach_and_touch(walk, node, nullptr, node, ACCESS::USE, conditional);
    case OP_UAND:
    case OP_ACONV: return reach_and_touch(walk, node->left, nullptr, node, ACCESS::EXPOSE, conditional);
    case OP_ARGREF: return add_touch(walk, node->left, node, ACCESS::USE_DEF, conditional);
    case OP_RETURN: return reach_and_touch(walk, node->left, node->right, node, ACCESS::DEF, conditional);
    case OP_LOOP:
    case OP_INITLOOP: return reach_and_touch(walk, node->left, node->right, node, ACCESS::DEF, conditional);
    case OP_ENDLOOP:
        return reach_and_touch(walk, node->left, node->right, node, ACCESS::USE_DEF, conditional);
    case OP_ANDAND:
    case OP_OROR: add(walk, node->right, true); return add(walk, node->left, conditional);
    case OP_COLON: add(walk, node->right, true); return add(walk, node->left, true);
    case OP_ASSERT:
    case OP_NASSERT: return add(walk, node->left, true);
    case OP_IF:
    case OP_SWITCH: return add(walk, node->left, conditional);
    case OP_BRANCH: return;
    default: return evaluate_by_class(walk, node, conditional);
    }
}

bool accesses_memory_itself(const TASK& task) { return task.node == task.by && task.kind == ACCESS::USE_DEF; }

} // namespace

void visit_accesses(NODE* tree, ACCESS_VISITOR visit, void* context) {
    WALK walk{{}, visit, context};
    walk.tasks.reserve(16);
    add(walk, tree, false);
    while (!walk.tasks.empty()) {
        const TASK task = walk.tasks.back();
        walk.tasks.pop_back();
        if (task.work == WORK::EVALUATE)
            evaluate(walk, task.node, task.conditional);
        else if (task.work == WORK::REACH)
            reach(walk, task.node, task.conditional);
        else if (accesses_memory_itself(task))
            touch_memory(walk, task.node, task.conditional);
        else
            touch(walk, task);
    }
}

SYMBOL* variable_of(const NODE* lvalue) {
    while (lvalue) switch (lvalue_form(lvalue)) {
        case LVALUE::NAMED: return lvalue->symbol();
        case LVALUE::MEMBER:
        case LVALUE::SAME: lvalue = lvalue->left; break;
        case LVALUE::LAST: lvalue = lvalue->right; break;
        case LVALUE::POINTED:
        case LVALUE::NONE: return nullptr;
        }
    return nullptr;
}

bool tree_defines(const NODE* tree, const SYMBOL* symbol) {
    bool defines = false;
    for_each_access(tree, [&](const TREE_ACCESS& access) {
        defines |= is_definition(access) && access.symbol == symbol;
    });
    return defines;
}

} // namespace pelorus
