// Static single assignment form of the current function: each definition of a variable has a version of its
// own, and where ways with different versions meet a phi chooses.
//
//      x = 1;                  DEF$01: x$01 = 1
//      while (c) {         BB2 DEF$02: x$02 = SSA_PHI(BB1: USE$01 x$01, BB3: USE$03 x$03)
//          use(x);             use(x$02)
//          x = x + 2;          DEF$03: x$03 = x$02 + 2
//      }
//
// While the form stands:
// - A version is a symbol: a copy of its variable's record, on no list, with the number of the version. The
//   only version of a variable that is assigned once is the variable itself, and needs no phi: a use that the
//   assignment does not come before reads what nobody wrote, so that any value will do.
// - An ASG that defines a version stands under SSA_DEF, whose number is the version's; its middle word is the
//   operator of an operator-assignment that the ASG stands for. Uses are plain NAMEs.
// - A phi is the ASG of an SSA_PHI, in front of all other statements of its block. Its operands are SSA_USEs,
//   one for each predecessor, in any order: a phi takes the operand of the block that control comes from.
// - Bit-fields are still bit-fields; members, memory and what is not tracked have no versions.
// - Nothing else knows the form: facts about candidates hold no longer, and passes of other folders do not
//   run on it, but for the simplification of single expressions.
//
// The form stays conventional: no pass moves a use to where another version of its variable is already
// defined, so that versions of one variable are never wanted at once and all may go by its name again.
//
// Sreedhar, Ju, Gillies, Santhanam: Translating Out of Static Single Assignment Form. SAS 1999 (conventional
// form).
#pragma once

#include <cstdint>
#include <vector>

#include "cfg/bb.h"
#include "ir/node.h"

namespace pelorus {

struct SSA_VERSION {
    SYMBOL* symbol;   // what NAMEs name
    SYMBOL* variable; // whose value it is
    NODE* definition; // the ASG; null: the value that the variable has at the entry, which nobody wrote
};

struct SSA_FORM {
    bool stands = false;
    std::vector<SSA_VERSION> versions{}; // by number; none has 0
};
extern SSA_FORM ssa_form;

// The version that a NAME means; 0 for all else.
int32_t version_of(const NODE* node);
// The ASG under an SSA_DEF; null for all else.
inline NODE* definition_of(const NODE* node) { return node->op == OP_SSA_DEF ? node->left : nullptr; }
// Whether some definition of a version stands in the tree.
bool has_definition(const NODE* tree);
inline bool is_phi(const NODE* statement) {
    return statement->op == OP_SSA_DEF && statement->left->right->op == OP_SSA_PHI;
}
// The block that control comes from when the phi takes this operand.
inline BB* block_of_operand(const NODE* operand) { return static_cast<BB*>(operand->ref); }

// Makes the form; versions.h says which variables are tracked. x op= e becomes x = x op e. True when any
// variable has versions.
// Needs: dfn. Breaks: candidates, live. Cost: that of finding the versions.
bool construct_SSA_form();

// Takes it down: versions go by the names of their variables again. Nothing without the form. Needs: dfn.
bool deconstruct_SSA_form();

// Gives each web of a variable, the definitions and uses that reach each other, a variable of its own; one
// keeps the variable, for a parameter's home the one of its copy. True when there is a new variable.
// Needs: dfn. Keeps: the graph and what is known of it. Cost: that of finding the versions.
bool rename_symbols();

// Checks all that is said above about the form; the first fault ends the run. In checking builds and with
// `--debug=verify`, else nothing. Needs: numbers.
void check_SSA_form();

// Conditional constant propagation over the versions. With `fold` branches that it decides become jumps, and
// blocks that nothing reaches any more go. True when the function changed.
// Needs: the form. Keeps: the form. Breaks: dfn when a branch was decided (and builds it anew).
bool propagate_SSA_constants(bool fold);
inline bool propagate_and_fold() { return propagate_SSA_constants(true); }

// Drops definitions that nothing with an effect depends on. True when the function changed.
// Needs: the form. Keeps: the form, dfn.
bool elim_dead_SSA_assignments();

} // namespace pelorus
