// The state of a run that has read nothing: for tests that build or read units.
#pragma once

#include "cfg/bb.h"
#include "icode/unit_client.h"
#include "ir/funinfo.h"
#include "memory/zone.h"

namespace pelorus {

// Forgets every function, symbol and type, and makes the emptied `types` the current package.
inline void fresh_state(TYPE_PKG& types) {
    release_local_zone();
    clear_flow_graph();
    clear_function();
    clear_file_symbols();
    clear_funinfo();
    types = TYPE_PKG();
    set_type_package(&types);
}

} // namespace pelorus
