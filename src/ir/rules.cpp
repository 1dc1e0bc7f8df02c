// See rules.h.
#include "ir/rules.h"

#include <array>

namespace pelorus {

namespace {

struct RULE_ROW {
    const char* id;
    const char* text;
};

constexpr std::array<RULE_ROW, RULE_COUNT> rows = {{
#define RULE(id, text)       {#id, text},
#define GRAPH_RULE(id, text) {#id, text},
#include "ir/rules.def"
#undef RULE
#undef GRAPH_RULE
}};

} // namespace

const char* rule_id(RULE rule) { return rows[rule].id; }
const char* rule_text(RULE rule) { return rows[rule].text; }

} // namespace pelorus
