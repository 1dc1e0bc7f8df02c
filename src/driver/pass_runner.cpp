// See pass_runner.h.
#include "driver/pass_runner.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <unordered_map>

#include "cfg/bb.h"
#include "driver/graph_files.h"
#include "driver/verify.h"
#include "ir/funinfo.h"
#include "support/decision.h"
#include "support/pseudo_options.h"
#include "support/run.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

using CLOCK = std::chrono::steady_clock;

struct PASS_USE {
    CLOCK::duration time{};
    uint64_t runs = 0;
    uint64_t changed = 0; // runs that changed the function
    uint64_t changes = 0; // decisions
};

struct RUNNER {
    bool timing = false;
    int32_t dump_after = 0; // 0: no dumps; 1: after every pass; else after that one
    std::unordered_map<const PASS*, PASS_USE> uses{};
};
RUNNER runner;

// Where a row stands: in which list, at which place, and of which group.
struct PLACE {
    const PASS_LIST& list;
    int number;
    const PLACE* group; // null for a row of the list itself
};

// "step 18", "step 18.3", or the list's title.
std::string place_name(const PLACE& place) {
    if (place.list.title) return place.list.title;
    if (place.group) return place_name(*place.group) + "." + std::to_string(place.number);
    return "step " + std::to_string(place.number);
}

int skip_number(const PLACE& place) {
    if (place.list.title) return 0;
    return place.group ? skip_number(*place.group) * MEMBER_FACTOR + place.number : place.number;
}

bool is_left_out(const PASS& pass, const PLACE& place) {
    if (pass.need == NEED::NEEDED) return false;
    return settings.keep_unoptimized || settings.skipped_steps[static_cast<size_t>(skip_number(place))] ||
           disable_switch(pass.key);
}

void dump_after(const PASS& pass, const PLACE& place) {
    const int32_t wanted = runner.dump_after;
    if (!wanted || !fact_is_valid(FACT_numbers) || (wanted != 1 && wanted != skip_number(place))) return;
    fprintf(debug_file(), "\n\t    ===== %s() after %s, %s\n", run.current_function_name,
            place_name(place).c_str(), pass.name);
    list_bb(flow_graph.bb_list, nullptr, debug_file());
}

// Runs the pass; answers whether it says that it changed the function.
bool run_measured(const PASS& pass) {
    if (!runner.timing) return pass.run();
    PASS_USE& use = runner.uses[&pass];
    const uint64_t changes = decisions.changes;
    const CLOCK::time_point start = CLOCK::now();
    const bool changed = pass.run();
    use.time += CLOCK::now() - start;
    use.runs++;
    use.changed += changed;
    use.changes += decisions.changes - changes;
    return changed;
}

void run_one(const PASS& pass, const PLACE& place) {
    build_facts(pass.needs);
    const FACTS before = fact_state.valid;
    stand_at(0, 0);
    const bool changed = run_measured(pass);
    if (changed) forget_facts(ALL_FACTS & ~pass.keeps);
    if (verification_is_active())
        verify_after_pass({place_name(place), pass.name, changed, before & pass.keeps});
    dump_after(pass, place);
    if (debug_level() > 1 && changed && fact_is_valid(FACT_numbers)) validate_cfg();
}

void run_row(const PASS& pass, const PLACE& place);

void run_members(const PASS& pass, const PLACE& place) {
    int number = 0;
    for (const PASS& member : pass.members) run_row(member, {place.list, ++number, &place});
    if (runner.dump_after != 1) dump_after(pass, place);
}

void trace_not_run(const PASS& pass, const PLACE& place, const char* why) {
    if (!debug_on()) return;
    const std::string name = place_name(place);
    trace("[%c%s, %s: %s]\n", toupper(name[0]), name.c_str() + 1, pass.name, why);
}

void run_row(const PASS& pass, const PLACE& place) {
    if (!gate_is_open(pass.gate)) return;
    if (!pass.run && !is_built(pass)) return trace_not_run(pass, place, "not built");
    if (is_left_out(pass, place)) return trace_not_run(pass, place, "left out");
    if (!pass.members.empty()) return run_members(pass, place);
    run_one(pass, place);
}

void report_row(const PASS& pass, const PLACE& place) {
    if (const auto found = runner.uses.find(&pass); found != runner.uses.end()) {
        const PASS_USE& use = found->second;
        fprintf(debug_file(), "\t%10.6f  %8llu of %8llu runs  %10llu changes  %s, %s\n",
                std::chrono::duration<double>(use.time).count(), static_cast<unsigned long long>(use.changed),
                static_cast<unsigned long long>(use.runs), static_cast<unsigned long long>(use.changes),
                place_name(place).c_str(), pass.name);
    }
    int number = 0;
    for (const PASS& member : pass.members) report_row(member, {place.list, ++number, &place});
}

} // namespace

bool is_built(const PASS& pass) {
    return pass.run || std::any_of(pass.members.begin(), pass.members.end(), is_built);
}

void run_passes(const PASS_LIST& list) {
    int number = 0;
    for (const PASS& pass : list.passes) {
        run_row(pass, {list, ++number, nullptr});
        if (!list.title) draw_graph_after(number, pass.name);
    }
}

std::vector<std::string> pass_keys(std::span<const PASS> passes) {
    std::vector<std::string> keys;
    for (const PASS& pass : passes) {
        if (pass.need == NEED::MAY_SKIP && pass.key) keys.emplace_back(pass.key);
        for (std::string& key : pass_keys(pass.members)) keys.push_back(std::move(key));
    }
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    return keys;
}

void start_pass_runner() { runner = {}; }

void read_runner_switches() {
    runner.timing = debug_switch("timing") != 0;
    runner.dump_after = debug_switch("dump_after");
}

void report_pass_times(const PASS_LIST& list) {
    if (runner.uses.empty()) return; // the last function's own options need not ask as others did
    fprintf(debug_file(), "\n\t    ===== Seconds in each pass\n");
    int number = 0;
    for (const PASS& pass : list.passes) report_row(pass, {list, ++number, nullptr});
}

} // namespace pelorus
