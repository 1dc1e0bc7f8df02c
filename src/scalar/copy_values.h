// What fast_CP knows of the candidates' values while it sweeps.
#pragma once

#include <cstdint>
#include <vector>

#include "ir/node.h"

namespace pelorus {

struct BB;
struct STMT;
struct SYMBOL;

// How a candidate is assigned, in SYMBOL::assignment_count: 0, 1, more, or
constexpr int32_t NEVER_COPIED = -1;

// What is known of a candidate during a sweep. By candidate number; made anew for each sweep.
//
// The region is the extended basic block being walked: a path of blocks each of which is the only predecessor
// of the next. The clock counts assignments; a value that names another variable holds only as long as that
// one was not assigned after it was recorded.
struct COPY_STATE {
    uint32_t region;      // in which SYMBOL::single_asg was recorded
    uint32_t recorded_at; // the clock then
    uint32_t assigned_at; // the clock when the variable was assigned last
    bool is_home; // the unchanged home of a parameter: it holds one value as long as the function runs
};

// A global and the value that it was assigned (copied_globals.h).
struct GLOBAL_COPY {
    const SYMBOL* symbol;
    NODE* value;          // a copy of its own
    uint32_t region;      // in which it was recorded; 0: it is not known any more
    uint32_t recorded_at; // the clock then
};

struct COPY_SWEEP {
    COPY_STATE* states = nullptr; // function zone
    uint32_t region = 1;
    uint32_t clock = 1;
    bool combine = false;       // neighbouring assignments to memory may be combined
    int64_t replaced = 0;       // names replaced in the run
    bool replaced_here = false; // in the statement
    uint32_t line = 0;          // of the statement
    std::vector<GLOBAL_COPY> globals{};
};

// The value may stand for the variable it is assigned to, as far as its own parts are concerned:
//   a constant, a candidate, the address of a variable or of a part of it, with an offset,
//   and conversions of these and IDENTITY, which is never copied, but tells that an assignment repeats one.
bool is_copyable(const NODE* value);
// The same for every place in the function: what it names never changes.
bool is_copyable_everywhere(const COPY_SWEEP& sweep, const NODE* value);

// No assignment to what the copyable value reads was made since the clock stood there.
bool holds_since(const COPY_SWEEP& sweep, const NODE* value, uint32_t recorded_at);

// Rewrites one statement: names become the values that are known for them, in the order of evaluation, and
// what the statement assigns is taken note of. True when nothing is left of it; its tree is null then.
bool rewrite_copies(COPY_SWEEP& sweep, const BB* block, STMT* cell);

} // namespace pelorus
