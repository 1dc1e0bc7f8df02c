// The items of an initializer: trees that stand for bytes of an object.
#pragma once

#include <cstdint>

#include "ir/node.h"

namespace pelorus {

// The bytes that an item fills; -1 for one that cannot stand in an initializer.
int64_t initializer_item_size(const NODE* item);

// The tree names a symbol of a function, or none.
bool names_local(const NODE* node);

} // namespace pelorus
