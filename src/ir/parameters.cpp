// See parameters.h.
#include "ir/parameters.h"

#include <cstring>

#include "ir/symbol.h"
#include "ir/validate_tree.h"

namespace pelorus {

namespace {

const NODE* without_conversions(const NODE* node) {
    node = without_versions(node);
    while (node && (node->op == OP_SCONV || node->op == OP_PCONV || node->op == OP_ISP2CHAR))
        node = without_versions(node->left);
    return node;
}

bool is_name_of_level(const NODE* node, uint8_t level) {
    return node && node->op == OP_NAME && node->symbol() && node->symbol()->level == level;
}

} // namespace

const NODE* copied_parameter(const NODE* tree) {
    tree = without_versions(tree);
    if (!tree || (tree->op != OP_ASG && tree->op != OP_STASG)) return nullptr;
    const NODE* home = without_versions(tree->left);
    const NODE* parameter = without_conversions(tree->right);
    const bool is_copy = is_name_of_level(home, BODY_LEVEL) && is_name_of_level(parameter, PARAMETER_LEVEL) &&
                         !strcmp(home->symbol()->name, parameter->symbol()->name);
    return is_copy ? parameter : nullptr;
}

bool copies_parameters(const NODE* tree) {
    for (; tree && tree->op == OP_PCOMMA; tree = tree->left)
        if (!copied_parameter(tree->right)) return false;
    return copied_parameter(tree) != nullptr;
}

} // namespace pelorus
