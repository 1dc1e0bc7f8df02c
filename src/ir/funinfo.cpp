// The table of functions; see funinfo.h.
#include "ir/funinfo.h"

#include <array>
#include <cstring>

#include "ir/symbol.h"
#include "memory/zone.h"
#include "support/trace.h"

namespace pelorus {

namespace {

struct FUN_TABLE {
    std::array<FUNINFO*, 1024> buckets{}; // enough for short chains in files of some thousand functions
    FUNINFO* first = nullptr;
    FUNINFO* last = nullptr;
};
FUN_TABLE table;

// FNV-1a; the name's hash must not depend on the machine.
uint32_t hash(const char* name) {
    uint32_t value = 2166136261U;
    for (; *name; ++name) value = (value ^ static_cast<unsigned char>(*name)) * 16777619U;
    return value;
}

FUNINFO*& bucket_of(const char* plain) { return table.buckets[hash(plain) % table.buckets.size()]; }

} // namespace

FUNINFO* find_funinfo(const char* name) {
    const char* plain = plain_name(name);
    for (FUNINFO* function_info = bucket_of(plain); function_info; function_info = function_info->hash_next)
        if (!strcmp(function_info->name, plain)) return function_info;
    return nullptr;
}

FUNINFO* get_funinfo(const char* name) {
    if (FUNINFO* known = find_funinfo(name)) return known;
    auto* made = zone_new<FUNINFO>(false);
    made->name = zone_string(false, plain_name(name));
    made->number = NO_CALL_GRAPH_NUMBER;
    FUNINFO*& bucket = bucket_of(made->name);
    made->hash_next = bucket;
    bucket = made;
    (table.last ? table.last->next : table.first) = made;
    table.last = made;
    return made;
}

FUNINFO* first_funinfo() { return table.first; }
void clear_funinfo() { table = {}; }

void trace_fun_flags(const FUNINFO& function_info) {
    trace("\n%s() has these properties: 0x%08lx\n", function_info.name,
          static_cast<unsigned long>(function_info.flags));
#define FUN_FLAG(value, flag)                                                                                \
    if (function_info.flags & FUN_##flag) trace("\tFUN_" #flag "\n");
#include "ir/fun_flags.def"
#undef FUN_FLAG
}

} // namespace pelorus
