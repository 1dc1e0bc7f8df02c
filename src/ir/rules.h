// The rules of icode by number, and how a fault is handed on.
//
// Files and the trees in memory obey the same rules, so whoever finds one broken, the reader of a file or the
// runner of the passes, names it alike.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pelorus {

struct NODE;

enum RULE : uint8_t {
#define RULE(id, text)       RULE_##id,
#define GRAPH_RULE(id, text) RULE_##id,
#include "ir/rules.def"
#undef RULE
#undef GRAPH_RULE
    RULE_COUNT,
};

const char* rule_id(RULE rule);   // "U3"
const char* rule_text(RULE rule); // what should hold

constexpr size_t FAULT_TEXT_LENGTH = 160; // characters of a statement's text in a message

// A rule that does not hold in a tree or graph. Valid only while it is handed on.
struct FAULT {
    RULE rule;
    const char* message; // what is wrong, without a period
    const NODE* node;    // the node that is wrong; null when it is missing or the fault is none of a node
    const NODE* stmt;    // the statement that holds it; null when there is none
    int bb;              // number of its block; 0 when it is not known
};

// Where faults go besides the trace.
struct FAULT_SINK {
    void (*take)(void* context, const FAULT& fault) = nullptr;
    void* context = nullptr;
};

} // namespace pelorus
