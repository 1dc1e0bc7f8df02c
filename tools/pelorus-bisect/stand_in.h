// What a command runs in the place of the optimizer: a small script in the folder of the search calls this
// program again with the words of the optimizer's command line. It adds level and limit as the plan says,
// runs the optimizer, and leaves what the optimizer said of its changes.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "runs.h"

namespace pelorus {

// The script is named by this variable of the environment.
constexpr const char* OPTIMIZER_VARIABLE = "PELORUS_OPTIMIZER";
// The first word of the stand-in's command line; the folder and the optimizer's words follow.
constexpr const char* STAND_IN_WORD = "--stand-in";

struct PLAN {
    std::string optimizer;
    int level = OWN_LEVEL;
    uint64_t usual = NO_LIMIT;                // the limit of inputs that are not in the list
    std::map<std::string, uint64_t> limits{}; // by key
};

// Writes plan and script, and takes away what was left by the run before. Returns the script's name.
std::string prepare_stand_in(const std::string& folder, const PLAN& plan);
// What was left by the runs since, in their order.
std::vector<OPTIMIZER_RUN> read_stand_in(const std::string& folder);

// The stand-in itself. Returns its exit status.
int run_stand_in(const std::string& folder, const WORDS& words);

} // namespace pelorus
