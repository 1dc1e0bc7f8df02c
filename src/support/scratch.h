// Claims on scratch members of records.
//
// Some members belong to whoever works with them at the moment: marks of blocks, words of nodes. Whoever uses
// one claims it for the time, so that in checking builds two that use it at once are found; elsewhere a claim
// is nothing. What the member holds when a claim begins is anything.
#pragma once

#include <cstdint>

#include "support/checking.h"

namespace pelorus {

enum class SCRATCH : uint8_t {
    BB_MARK,       // BB::mark and flow_graph.stamp
    NODE_SHORT,    // NODE::scratch_short
    NODE_WORDS,    // NODE::scratch
    NODE_ANALYSIS, // NODE::analysis
    COUNT,
};

// Ends the run: `user` wants what `holder` still has.
[[noreturn]] void scratch_is_taken(SCRATCH member, const char* user, const char* holder);

// Who holds each member; null for nobody. Written in checking builds only.
extern const char* scratch_holders[static_cast<int>(SCRATCH::COUNT)];

class SCRATCH_CLAIM {
public:
    SCRATCH_CLAIM(SCRATCH member, const char* user) : member_(member) {
        if constexpr (CHECKING_BUILD) {
            if (holder()) scratch_is_taken(member, user, holder());
            holder() = user;
        }
    }
    ~SCRATCH_CLAIM() {
        if constexpr (CHECKING_BUILD) holder() = nullptr;
    }
    SCRATCH_CLAIM(const SCRATCH_CLAIM&) = delete;
    SCRATCH_CLAIM& operator=(const SCRATCH_CLAIM&) = delete;

private:
    const char*& holder() { return scratch_holders[static_cast<int>(member_)]; }
    [[maybe_unused]] SCRATCH member_;
};

} // namespace pelorus
