// A label of a basic block: what a resolved LABEL leaf points to.
#pragma once

#include <cstdint>
#include <type_traits>

namespace pelorus {

struct BB; // cfg/bb.h

struct LABEL_RECORD {
    LABEL_RECORD* next; // of the same block
    BB* block;          // owner
    int16_t
        index; // what LABEL leaves name it by: from the file (positive), fresh (negative), or the block's dfn
    int16_t refcount; // LABEL leaves that name it, as dump_bb counted them last
};
static_assert(std::is_trivially_destructible_v<LABEL_RECORD>);

} // namespace pelorus
