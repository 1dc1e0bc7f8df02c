// See global_variables.h.
//
// A variable is the file's own when no other file can name it: it has internal linkage, or the mode says that
// nothing outside names the data of the file. Only of those is it known what happens to them. What may be
// merged with, or replaced by, a definition of another file has no known value either.
#include "ipa/global_variables.h"

#include <string>
#include <vector>

#include "ipa/file_level.h"
#include "ipa/references.h"
#include "ipa/reports.h"
#include "ir/node.h"
#include "ir/symbol.h"
#include "ir/tree_text.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

template <class F>
void for_each_variable(F visit) {
    for (SYMBOL* symbol = file_symbols.first; symbol; symbol = symbol->next)
        if (is_file_variable(*symbol)) visit(*symbol);
}

// --- What the file shows of a variable ---

bool is_private(const SYMBOL& variable) {
    if (variable.flags & SF_WEAK) return false;
    for (const char* attribute : {"used", "alias", "asm", "section"})
        if (find_attribute(&variable, attribute)) return false;
    if (variable.flags & SF_INTERNAL) return true;
    return (variable.flags & SF_DEFINED) && (file_level.whole_program || file_level.library_entry);
}

bool keeps_first_value(const SYMBOL& variable) {
    const VARIABLE_FACTS facts = variable_facts(variable);
    return is_private(variable) && facts.read && !facts.assigned && !facts.exposed &&
           !type_is_volatile(variable.type);
}

// --- Values ---

// The file's own definition is the one that counts.
bool has_final_definition(const SYMBOL& variable) {
    if (!(variable.flags & SF_DEFINED) || (variable.flags & SF_WEAK)) return false;
    if (is_private(variable)) return true;
    return !(variable.flags & (SF_TENTATIVE | SF_COMMON)) && !find_attribute(&variable, "alias");
}

bool is_number(const NODE* tree) { return tree->op == OP_ICON || tree->op == OP_FCON; }

bool is_value_of(const NODE* tree, const TYPE* type) {
    return is_number(tree) && tree->type->size == type->size &&
           type_is_floating(tree->type) == type_is_floating(type);
}

NODE* zero_of(TYPE* type) {
    if (type_is_floating(type)) return nullptr; // a zero that nobody wrote has no text
    node_factory.local = false;
    NODE* zero = new_icon(type, {});
    node_factory.local = true;
    return zero;
}

// The number that the initializer gives to a scalar, in the file zone; null when it is none.
NODE* initial_value(const SYMBOL& variable) {
    TYPE* type = type_strip(variable.type);
    if (!type_is_scalar(type)) return nullptr;
    const INIT_ITEM* first = variable.init_trees;
    if (!first || first->tree->op == OP_ENDINIT) return zero_of(type);
    return is_value_of(first->tree, type) ? first->tree : nullptr;
}

std::string value_text(const SYMBOL& variable) { return tree_text(variable.constant_value); }

// --- Reports ---

void report_list(const char* head, bool (*belongs)(const SYMBOL&, const VARIABLE_FACTS&)) {
    bool found = false;
    for_each_variable([&](const SYMBOL& variable) {
        if (!belongs(variable, variable_facts(variable))) return;
        if (!found) report("\n%s", head);
        found = true;
        report("\t%s\n", plain_name(variable.name));
    });
}

bool is_used_without_value(const SYMBOL& variable, const VARIABLE_FACTS& facts) {
    return is_private(variable) && facts.read && !facts.assigned && !facts.exposed && !variable.init_trees;
}

void report_variables() {
    for_each_variable([](const SYMBOL& variable) {
        if (is_used_without_value(variable, variable_facts(variable)))
            report("\nVariable has no explicitly assigned value:\n\t%s\n", plain_name(variable.name));
    });
    report_list("Global variable is not referenced in this file:\n",
                [](const SYMBOL&, const VARIABLE_FACTS& facts) {
                    return !facts.read && !facts.assigned && !facts.exposed;
                });
    report_list("Address of global variable is never taken:\n",
                [](const SYMBOL&, const VARIABLE_FACTS& facts) {
                    return (facts.read || facts.assigned) && !facts.exposed;
                });
    report_list("Global variable is not modified in this file:\n",
                [](const SYMBOL&, const VARIABLE_FACTS& facts) {
                    return (facts.read || facts.exposed) && !facts.assigned;
                });
}

void make_const(SYMBOL& variable) {
    variable.type = type_package()->make_qualified(variable.type, Q_CONST);
    const std::string value = value_text(variable);
    trace("\nMaking unmodified global variable CONST: %s = %s\n", plain_name(variable.name), value.c_str());
    info("\nMaking unmodified global variable CONST:\n\t%s = %s\n", plain_name(variable.name), value.c_str());
}

bool is_constant(const SYMBOL& variable) {
    return type_is_const(variable.type) && !type_is_volatile(variable.type) && has_final_definition(variable);
}

} // namespace

void report_global_variables() {
    report_variables();
    if (settings.optimization_level < 1) return;
    for_each_variable([](SYMBOL& variable) {
        if (!has_final_definition(variable) || type_is_const(variable.type) || !keeps_first_value(variable))
            return;
        variable.constant_value = initial_value(variable);
        if (variable.constant_value) make_const(variable);
    });
}

void find_constant_values() {
    for_each_variable([](SYMBOL& variable) {
        if (is_constant(variable)) variable.constant_value = initial_value(variable);
    });
}

void set_unseen_changes() {
    if (settings.optimization_level < FILE_LEVEL_ANALYSIS) return;
    for_each_variable([](SYMBOL& variable) {
        const VARIABLE_FACTS facts = variable_facts(variable);
        const bool aliased = facts.exposed || !is_private(variable);
        const bool written = !type_is_const(variable.type) && (facts.assigned || aliased);
        int flags = variable.flags & ~(CQ_ALIASED | CQ_WRITTEN);
        if (!(variable.flags & SF_INTERNAL)) flags |= CQ_EXPOSED;
        variable.flags =
            static_cast<uint16_t>(flags | (aliased ? CQ_ALIASED : 0) | (written ? CQ_WRITTEN : 0));
    });
}

void report_constant_values() {
    bool found = false;
    for_each_variable([&](const SYMBOL& variable) {
        if (!variable.constant_value) return;
        if (!found) report("\nVariable's value is constant in this file:\n");
        found = true;
        report("    %s = ", plain_name(variable.name));
        report("%s", value_text(variable).c_str());
        report("\tCQ_ALIASED=%d, CQ_WRITTEN=%d, sym: %s", (variable.flags & CQ_ALIASED) != 0,
               (variable.flags & CQ_WRITTEN) != 0, variable.name);
        report("\n");
    });
}

} // namespace pelorus
