// See scratch.h.
#include "support/scratch.h"

#include "support/fatal.h"

namespace pelorus {

const char* scratch_holders[static_cast<int>(SCRATCH::COUNT)];

void scratch_is_taken(SCRATCH member, const char* user, const char* holder) {
    static constexpr const char* NAMES[] = {"BB::mark", "NODE::scratch_short", "NODE::scratch",
                                            "NODE::analysis"};
    scratch_holders[static_cast<int>(member)] = nullptr;
    fatal_error("INTERNAL ERROR: '%s' claims %s, which '%s' holds\n", user, NAMES[static_cast<int>(member)],
                holder);
}

} // namespace pelorus
