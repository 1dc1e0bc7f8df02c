// See copied_globals.h.
#include "scalar/copied_globals.h"

#include "scalar/assignment_query.h"
#include "support/settings.h"
#include "tree/query.h"

namespace pelorus {

namespace {

// Each assignment and each name looks through the list, which a call empties.
constexpr size_t MOST_GLOBALS = 32;

bool may_be_copied(const NODE* name) {
    if (settings.program_mode != 2 || name->op != OP_NAME || !name->symbol()) return false;
    return name->symbol()->level == 0 && type_is_scalar(name->type) && !node_has_effect(name);
}

GLOBAL_COPY* find_copy(std::vector<GLOBAL_COPY>& globals, const SYMBOL* symbol) {
    for (GLOBAL_COPY& copy : globals)
        if (copy.symbol == symbol) return &copy;
    return nullptr;
}

} // namespace

const NODE* value_of_global(const COPY_SWEEP& sweep, const NODE* name) {
    if (sweep.globals.empty() || !may_be_copied(name)) return nullptr;
    for (const GLOBAL_COPY& copy : sweep.globals)
        if (copy.symbol == name->symbol())
            return copy.region == sweep.region && holds_since(sweep, copy.value, copy.recorded_at)
                       ? copy.value
                       : nullptr;
    return nullptr;
}

void note_store(COPY_SWEEP& sweep, const NODE* assignment) {
    if (sweep.globals.empty()) return;
    if (assignment->left->op != OP_NAME) return forget_globals(sweep);
    if (GLOBAL_COPY* copy = find_copy(sweep.globals, assignment->left->symbol())) copy->region = 0;
}

void note_global_value(COPY_SWEEP& sweep, const NODE* assignment) {
    if (assignment->op != OP_ASG || !may_be_copied(assignment->left) || !is_copyable(assignment->right))
        return;
    const SYMBOL* symbol = assignment->left->symbol();
    const GLOBAL_COPY known{symbol, copy_tree(assignment->right), sweep.region, ++sweep.clock};
    if (GLOBAL_COPY* copy = find_copy(sweep.globals, symbol)) {
        erase_tree(copy->value);
        *copy = known;
    } else if (sweep.globals.size() < MOST_GLOBALS) {
        sweep.globals.push_back(known);
    } else {
        erase_tree(known.value);
    }
}

void forget_globals(COPY_SWEEP& sweep) {
    for (const GLOBAL_COPY& copy : sweep.globals) erase_tree(copy.value);
    sweep.globals.clear();
}

} // namespace pelorus
