// See classify.h.
//
// The names of the C library are reserved: a program that defines one of them otherwise has no meaning,
// unless the compiler was told that there is no library (`--no_system_functions`).
#include "ipa/classify.h"

#include <algorithm>
#include <iterator>

#include "support/fatal.h"
#include "support/settings.h"

namespace pelorus {

namespace {

constexpr std::string_view SYSTEM_FUNCTIONS[] = {
#define SYSTEM_FUNCTION(name) #name,
#include "ipa/system_functions.def"
#undef SYSTEM_FUNCTION
};
static_assert(std::size(SYSTEM_FUNCTIONS) == 142);

void check_table() {
    static const bool ascends =
        std::ranges::adjacent_find(SYSTEM_FUNCTIONS, std::greater_equal{}) == std::end(SYSTEM_FUNCTIONS);
    if (!ascends) fatal_error("\n!!! OPTIMIZER ERROR in is_system_function() !!!\n");
}

// What is known of single functions beyond what all of the library have.
struct NAMED_FLAGS {
    std::string_view name;
    uint32_t flags;
};
constexpr uint32_t TOUCHES_NO_GLOBAL = FUN_no_global_asg | FUN_no_global_use;
constexpr uint32_t ONLY_READS = TOUCHES_NO_GLOBAL | FUN_no_byref_asg | FUN_no_ind_asg;
constexpr uint32_t ONLY_COMPUTES = ONLY_READS | FUN_is_pure_fun | FUN_no_ind_use;
constexpr NAMED_FLAGS KNOWN_FUNCTIONS[] = {
    {"strcmp", ONLY_READS},         {"strlen", ONLY_READS},      {"abs", ONLY_COMPUTES},
    {"labs", ONLY_COMPUTES},        {"fabs", ONLY_COMPUTES},     {"floor", ONLY_COMPUTES},
    {"_sqrt", ONLY_COMPUTES},       {"exit", FUN_never_returns}, {"abort", FUN_never_returns},
    {"longjmp", FUN_never_returns},
};

uint32_t known_flags(std::string_view name) {
    const auto known = std::ranges::find(KNOWN_FUNCTIONS, name, &NAMED_FLAGS::name);
    return known == std::end(KNOWN_FUNCTIONS) ? 0 : known->flags;
}

bool is_of_library(const FUNINFO& info, bool forced) {
    if (!settings.system_functions || (info.flags & FUN_is_defined)) return false;
    return forced || is_system_function(info.name);
}

void classify_library_function(FUNINFO& info) {
    const std::string_view name = info.name;
    info.flags |= FUN_is_SYSTEM | known_flags(name);
    // These two go on with the state of another place of the program.
    if (name != "longjmp" && name != "setjmp") info.flags |= TOUCHES_NO_GLOBAL;
}

bool has_cpp_name(const FUNINFO& info, std::string_view start) {
    return (info.flags & FUN_is_cpp) && std::string_view(info.name).starts_with(start);
}

} // namespace

bool is_system_function(std::string_view name) {
    check_table();
    return std::ranges::binary_search(SYSTEM_FUNCTIONS, name);
}

bool is_constructor(const FUNINFO& info) { return has_cpp_name(info, "__ct__"); }
bool is_destructor(const FUNINFO& info) { return has_cpp_name(info, "__dt__"); }
bool is_static_initializer(const FUNINFO& info) { return has_cpp_name(info, "__sti__"); }
bool is_allocation_operator(const FUNINFO& info) { return has_cpp_name(info, "__nw__"); }

void classify_function(FUNINFO& info, bool forced) {
    if (std::string_view(info.name) == "main") info.flags |= FUN_is_main;
    if (is_of_library(info, forced)) classify_library_function(info);
    if (is_static_initializer(info)) info.flags |= FUN_is_cg_root;
    if (is_allocation_operator(info)) {
        info.flags |= TOUCHES_NO_GLOBAL | FUN_no_byref_asg | FUN_no_ind_asg | FUN_no_ind_use;
        if (settings.system_functions) info.flags |= FUN_is_SYSTEM;
    }
}

} // namespace pelorus
