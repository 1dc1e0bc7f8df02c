// The names of the pseudo-options that some part of the program asks for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace pelorus {

struct PSEUDO_NAME {
    std::string prefix; // "debug" or "disable"
    std::string name;
};

// All names, from whatever table they come: pseudo_names.def, the passes that may be left out, the passes
// whose changes can be counted. Whoever asks for names that are rows of another table adds them here.
const std::vector<PSEUDO_NAME>& pseudo_names();

// True when something asks for the name.
bool is_pseudo_name(std::string_view prefix, std::string_view name);

} // namespace pelorus
