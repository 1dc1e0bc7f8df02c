// See runs.h.
#include "runs.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "common/process.h"
#include "stand_in.h"

namespace pelorus {

// --- The optimizer's words ---

namespace {

// The level that the option at the place gives, -1 for another option. `next`: the place behind it.
int level_at(const WORDS& options, size_t place, size_t& next) {
    const std::string& option = options[place];
    const bool divided = option == "-o" && place + 1 < options.size();
    next = place + (divided ? 2 : 1);
    const std::string digits = divided                    ? options[place + 1]
                               : option.starts_with("-o") ? option.substr(2)
                                                          : "";
    return digits.size() == 1 && isdigit(static_cast<unsigned char>(digits[0])) ? digits[0] - '0' : -1;
}

} // namespace

int level_in(const WORDS& options) {
    int last = -1;
    for (size_t i = 0, next; i < options.size(); i = next)
        if (const int level = level_at(options, i, next); level >= 0) last = level;
    return last;
}

WORDS limited_options(const WORDS& options, int level, uint64_t limit) {
    // The optimizer takes a 32-bit number, and counts whenever it is given one.
    constexpr uint64_t LARGEST = INT32_MAX;
    WORDS words;
    for (size_t i = 0, next; i < options.size(); i = next) {
        const bool own = level_at(options, i, next) >= 0;
        for (; i < next; ++i)
            if (level == OWN_LEVEL || !own) words.push_back(options[i]);
    }
    if (level != OWN_LEVEL) words.push_back("-o" + std::to_string(level));
    words.push_back("--debug=stop_after=" + std::to_string(std::min(limit, LARGEST)));
    return words;
}

LIMIT_REPORT read_limit_report(const std::string& text) {
    LIMIT_REPORT report;
    const size_t start = text.find("Stopped after ");
    const size_t number = text.find("asked for: ", start);
    if (start == std::string::npos || number == std::string::npos) return report;
    report.made = strtoull(text.c_str() + number + sizeof "asked for: " - 1, nullptr, 10);
    constexpr const char* LAST = "The last one: ";
    const size_t last = text.find(LAST, number);
    if (last == std::string::npos) return report;
    std::istringstream words(text.substr(last + std::string_view(LAST).size()));
    for (std::string word; words >> word;) report.last += (report.last.empty() ? "" : " ") + word;
    return report;
}

// --- One run ---

std::string file_text(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(name, std::ios::binary).rdbuf();
    return text.str();
}

namespace {

struct RESULT {
    TRIAL trial;
    std::string words; // for the line about it
};

RESULT judge_command(const RUNS& runs, const WORDS& words) {
    const int status = run_job(words, runs.request.folder + "command.txt", runs.request.seconds);
    if (status == CANNOT_RUN) {
        fprintf(stderr, "%s: error: '%s' cannot be run, or runs what cannot be found\n", own_name,
                words[0].c_str());
        remove_temporary_directory();
        exit(1);
    }
    if (status == 0) return {{true}, "good"};
    return {{false}, "bad (" + status_text(status) + ")"};
}

RESULT judge_input(RUNS& runs, int level, uint64_t limit) {
    const REQUEST& request = runs.request;
    const std::string output = request.folder + "output.opt", said = request.folder + "optimizer.txt";
    unlink(output.c_str());
    WORDS words{request.optimizer};
    for (const std::string& word : limited_options(request.options, level, limit)) words.push_back(word);
    words.push_back(request.input);
    words.push_back(output);
    const int status = run_job(words, said, request.seconds);
    const LIMIT_REPORT report = read_limit_report(file_text(said));
    if (limit == NO_LIMIT)
        runs.complete[level] = {
            {"", request.input, request.input, request.options, report.made, report.last}};
    if (status) return {{false, report.made}, "bad, pelorus failed (" + status_text(status) + ")"};
    WORDS check = request.command;
    check.push_back(output);
    RESULT result = judge_command(runs, check);
    result.trial.made = report.made;
    return result;
}

// Gives each run of the optimizer its part of the limit.
PLAN plan_for(RUNS& runs, int level, uint64_t limit) {
    PLAN plan{runs.request.optimizer, level};
    if (limit == NO_LIMIT) return plan;
    plan.usual = 0;
    for (const OPTIMIZER_RUN& run : runs.complete[level]) {
        plan.limits[run.key] = std::min(limit, run.made);
        limit -= plan.limits[run.key];
    }
    return plan;
}

// Each input once, those whose number of changes is not known last: the command ended there.
std::vector<OPTIMIZER_RUN> distinct_runs(const std::vector<OPTIMIZER_RUN>& all) {
    std::vector<OPTIMIZER_RUN> runs;
    for (const OPTIMIZER_RUN& run : all) {
        const auto same = [&run](const OPTIMIZER_RUN& other) { return other.key == run.key; };
        if (std::none_of(runs.begin(), runs.end(), same)) runs.push_back(run);
    }
    std::stable_partition(runs.begin(), runs.end(),
                          [](const OPTIMIZER_RUN& run) { return run.made != UNKNOWN_CHANGES; });
    return runs;
}

uint64_t sum_of_changes(const std::vector<OPTIMIZER_RUN>& runs) {
    uint64_t sum = 0;
    for (const OPTIMIZER_RUN& run : runs) {
        if (run.made == UNKNOWN_CHANGES) return UNKNOWN_CHANGES;
        sum += run.made;
    }
    return sum;
}

RESULT judge_by_command(RUNS& runs, int level, uint64_t limit) {
    const REQUEST& request = runs.request;
    const std::string script = prepare_stand_in(request.folder, plan_for(runs, level, limit));
    setenv(OPTIMIZER_VARIABLE, script.c_str(), 1);
    RESULT result = judge_command(runs, request.command);
    const std::vector<OPTIMIZER_RUN> done = distinct_runs(read_stand_in(request.folder));
    if (limit == NO_LIMIT) runs.complete[level] = done;
    result.trial.made = sum_of_changes(done);
    if (done.empty()) result.words += ", and pelorus was not run";
    return result;
}

std::string limit_text(RUNS& runs, int level, uint64_t limit) {
    if (limit == NO_LIMIT) return "all changes";
    const uint64_t all = sum_of_changes(runs.complete[level]);
    std::string text = std::to_string(limit);
    if (all != UNKNOWN_CHANGES) text += " of " + std::to_string(all);
    return text + " changes";
}

} // namespace

TRIAL run_trial(RUNS& runs, int level, uint64_t limit) {
    const auto start = std::chrono::steady_clock::now();
    const std::string text = limit_text(runs, level, limit);
    const RESULT result =
        runs.request.input.empty() ? judge_by_command(runs, level, limit) : judge_input(runs, level, limit);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    fprintf(stderr, "run %d: ", ++runs.count);
    if (level != OWN_LEVEL) fprintf(stderr, "level %d, ", level);
    fprintf(stderr, "%s: %s, %.1f s\n", text.c_str(), result.words.c_str(), time.count());
    return result.trial;
}

bool input_is_good(const RUNS& runs) {
    WORDS check = runs.request.command;
    check.push_back(runs.request.input);
    return judge_command(runs, check).trial.good;
}

int level_of_options(const RUNS& runs) {
    constexpr int LEVEL_WITHOUT_OPTION = 1;
    int level = -1;
    if (const auto found = runs.complete.find(OWN_LEVEL); found != runs.complete.end())
        for (const OPTIMIZER_RUN& run : found->second) level = std::max(level, level_in(run.options));
    return level < 0 ? LEVEL_WITHOUT_OPTION : level;
}

const OPTIMIZER_RUN* run_at_limit(const RUNS& runs, int level, uint64_t limit, uint64_t& rest) {
    const auto complete = runs.complete.find(level);
    if (complete == runs.complete.end()) return nullptr;
    for (const OPTIMIZER_RUN& run : complete->second) {
        rest = limit;
        if (limit <= run.made) return &run;
        limit -= run.made;
    }
    return nullptr;
}

} // namespace pelorus
