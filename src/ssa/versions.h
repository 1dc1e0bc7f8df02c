// Which definition of its variable each use means: what SSA form is made of, before any tree is changed.
//
// Each definition begins a version. Where several blocks with different versions lead to one, a phi stands
// for the version there; more phis are found than the form needs, since many choose among versions that turn
// out to be one.
//
// Braun, Buchwald, Hack, Leissa, Mallon, Zwinkau: Simple and Efficient Construction of Static Single
// Assignment Form. CC 2013.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "cfg/bb.h"
#include "ir/node.h"

namespace pelorus {

struct SYMBOL;

using VERSION = uint32_t;
constexpr VERSION NO_VERSION = 0;
constexpr uint32_t NO_PHI = UINT32_MAX;

struct DRAFT_VERSION {
    SYMBOL* variable;
    NODE* definition; // ASG or operator-assignment; null: at the entry, or a phi
    STMT* cell;       // the statement that it stands in
    uint32_t phi;     // its place among the phis; NO_PHI: none
    bool is_single;   // the variable is assigned once: this is its only version
};

struct DRAFT_PHI {
    BB* block;
    VERSION version;
    uint32_t first_operand; // in `operands`, one for each predecessor, in their order
    uint32_t operand_count;
};

// Of an operator-assignment it is the NAME that is assigned, too.
struct VERSION_USE {
    NODE* name;
    VERSION version;
};

// A variable that is assigned several times and has no versions.
struct UNTRACKED {
    const SYMBOL* symbol;
    const char* why;
};

struct VERSIONS {
    std::vector<DRAFT_VERSION> drafts{1}; // by version
    std::vector<DRAFT_PHI> phis{};
    std::vector<VERSION> operands{};
    std::vector<VERSION_USE> uses{};
    std::vector<UNTRACKED> untracked{};
    bool gave_up = false; // there are no versions

    std::span<const VERSION> operands_of(const DRAFT_PHI& phi) const {
        return {operands.data() + phi.first_operand, phi.operand_count};
    }
};

bool is_operator_assignment(const NODE* node);

// The versions of the variables that are assigned at least so often. A variable is tracked when it is a
// candidate that no debugger looks for, all of whose definitions are assignments by its name, at most one in
// a statement, that happen whenever the statement is executed.
// Needs: dfn. Builds: candidates. Cost: linear in the statements, and in the uses times the joins that lie
// between them and their definitions. With `may_give_up` linear in the statements, since what takes much
// longer ends without versions.
VERSIONS find_versions(uint32_t least_definitions, bool may_give_up);

} // namespace pelorus
