// See reduce.h.
//
//   1. Each pass takes away runs of its items: all of them, then halves, then quarters, and so on to single
//      ones, from the first item to the last. A candidate that breaks rules is not tried.
//   2. Several candidates are tried at the same time, in the hope that those before them fail. When one is
//      good, those behind it are given up and made anew from the better file. So the result does not depend
//      on the number of jobs.
//   3. The passes are run from coarse to fine, and again from the start until none of them finds anything.
#include "reduce.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <unordered_set>
#include <vector>

#include "common/process.h"
#include "common/whole_file.h"
#include "icode/validate_file.h"
#include "passes.h"

namespace pelorus {

namespace fs = std::filesystem;

namespace {

using CLOCK = std::chrono::steady_clock;

double seconds_since(CLOCK::time_point start) {
    return std::chrono::duration<double>(CLOCK::now() - start).count();
}

enum class VERDICT : uint8_t { RUNNING, GOOD, BAD };

// A candidate that is being tried or waits for those before it.
struct ATTEMPT {
    size_t first; // item
    int number;   // of its job; 0: there is none
    VERDICT verdict;
    PARTS_FILE file;
    std::string bytes;
};

struct REDUCER {
    const REDUCE_REQUEST& request;
    std::string folder; // for candidates, with "/" at its end
    PARTS_FILE best;
    REDUCE_RESULT result{};
    CLOCK::time_point start = CLOCK::now();
    double seconds_a_run = 0;
    bool stopped = false;
    std::unordered_set<size_t> known{}; // hashes of candidates that were tried
    std::vector<JOB> jobs{};
    std::deque<ATTEMPT> attempts{};
    CLOCK::time_point last_word{};
};

bool obeys_rules(const std::string& bytes) { return validate_icode(bytes, 0, {}) == 0; }

// --- Runs ---

std::string folder_of(const REDUCER& reducer, int number) {
    return reducer.folder + std::to_string(number) + "/";
}

JOB start_run(REDUCER& reducer, int number, const std::string& bytes, double seconds) {
    const std::string folder = folder_of(reducer, number);
    std::error_code error;
    fs::create_directory(folder, error);
    const std::string name = folder + fs::path(reducer.request.input).filename().string();
    write_file_bytes(own_name, name, bytes);
    WORDS words = reducer.request.command;
    words.push_back(name);
    JOB job = start_job(words, folder + "messages", seconds);
    job.number = number;
    reducer.result.runs++;
    return job;
}

void end_run(REDUCER& reducer, const JOB& job) {
    std::error_code error;
    fs::remove_all(folder_of(reducer, job.number), error);
}

void give_up_attempts(REDUCER& reducer) {
    std::vector<JOB> jobs = reducer.jobs;
    stop_jobs(reducer.jobs);
    for (const JOB& job : jobs) end_run(reducer, job);
    reducer.attempts.clear();
}

// --- Progress ---

void say_progress(REDUCER& reducer, const REDUCTION& pass, size_t run) {
    constexpr double SELDOM = 0.5; // seconds
    if (seconds_since(reducer.last_word) < SELDOM) return;
    reducer.last_word = CLOCK::now();
    const FILE_SIZE size = file_size(reducer.best, 0);
    fprintf(stderr, "%6.1f s, %llu runs: %zu functions, %zu statements, %zu nodes; %s, %zu at a time\n",
            seconds_since(reducer.start), static_cast<unsigned long long>(reducer.result.runs),
            size.functions, size.statements, size.nodes, pass.name, run);
}

bool must_stop(REDUCER& reducer) {
    const REDUCE_REQUEST& request = reducer.request;
    const auto stop = [&reducer](bool now, REDUCE_END end) {
        if (now && !reducer.stopped) reducer.result.end = end;
        reducer.stopped |= now;
    };
    stop(is_interrupted(), REDUCE_END::INTERRUPTED);
    stop(request.most_runs && reducer.result.runs >= request.most_runs, REDUCE_END::RUNS);
    stop(request.most_seconds > 0 && seconds_since(reducer.start) >= request.most_seconds, REDUCE_END::TIME);
    return reducer.stopped;
}

// --- One pass, with runs of one length ---

struct SWEEP {
    const REDUCTION& pass;
    size_t length;   // of a run
    size_t items;    // in the best file
    size_t next = 0; // item of the next candidate
    bool found = false;
};

// Makes the next candidate. False when it is not worth a run.
bool make_candidate(REDUCER& reducer, SWEEP& sweep, ATTEMPT& attempt) {
    attempt.first = sweep.next;
    attempt.file = reducer.best;
    const size_t count = std::min(sweep.length, sweep.items - sweep.next);
    sweep.next += count;
    reducer.result.candidates++;
    if (!sweep.pass.apply(attempt.file, attempt.first, count)) return false;
    number_calls(attempt.file);
    attempt.bytes = put_together(attempt.file);
    return reducer.known.insert(std::hash<std::string>{}(attempt.bytes)).second && obeys_rules(attempt.bytes);
}

void start_attempts(REDUCER& reducer, SWEEP& sweep) {
    while (reducer.jobs.size() < static_cast<size_t>(reducer.request.jobs) && sweep.next < sweep.items) {
        if (must_stop(reducer)) return;
        ATTEMPT attempt{0, 0, VERDICT::RUNNING, {}, {}};
        if (!make_candidate(reducer, sweep, attempt)) continue;
        int number = 1;
        const auto is_taken = [&](const JOB& job) { return job.number == number; };
        while (std::any_of(reducer.jobs.begin(), reducer.jobs.end(), is_taken)) ++number;
        reducer.jobs.push_back(start_run(reducer, number, attempt.bytes, reducer.seconds_a_run));
        attempt.number = number;
        reducer.attempts.push_back(std::move(attempt));
    }
}

bool await_one(REDUCER& reducer) {
    JOB ended;
    if (!wait_for_job(reducer.jobs, ended)) return false;
    end_run(reducer, ended);
    for (ATTEMPT& attempt : reducer.attempts) {
        if (attempt.number != ended.number || attempt.verdict != VERDICT::RUNNING) continue;
        attempt.verdict = ended.status == 0 ? VERDICT::GOOD : VERDICT::BAD;
    }
    return true;
}

void accept(REDUCER& reducer, SWEEP& sweep, ATTEMPT& attempt) {
    reducer.best = std::move(attempt.file);
    write_file_bytes(own_name, reducer.request.output, attempt.bytes);
    reducer.result.after.bytes = attempt.bytes.size();
    sweep.next = attempt.first; // the items behind those that went have their places now
    sweep.items = sweep.pass.count(reducer.best);
    sweep.found = true;
    for (const ATTEMPT& other : reducer.attempts) // they may come again
        if (other.verdict == VERDICT::RUNNING) reducer.known.erase(std::hash<std::string>{}(other.bytes));
    give_up_attempts(reducer);
    say_progress(reducer, sweep.pass, sweep.length);
}

// Takes the verdicts of the attempts in their order, as far as they are there.
void take_verdicts(REDUCER& reducer, SWEEP& sweep) {
    while (!reducer.attempts.empty() && reducer.attempts.front().verdict != VERDICT::RUNNING) {
        ATTEMPT attempt = std::move(reducer.attempts.front());
        reducer.attempts.pop_front();
        if (attempt.verdict == VERDICT::GOOD) return accept(reducer, sweep, attempt);
    }
}

bool run_sweep(REDUCER& reducer, const REDUCTION& pass, size_t length) {
    SWEEP sweep{pass, length, pass.count(reducer.best)};
    for (;;) {
        start_attempts(reducer, sweep);
        say_progress(reducer, pass, length);
        if (reducer.jobs.empty() && reducer.attempts.empty()) return sweep.found;
        if (reducer.stopped || !await_one(reducer)) {
            must_stop(reducer);
            give_up_attempts(reducer);
            return sweep.found;
        }
        take_verdicts(reducer, sweep);
    }
}

// --- All passes ---

bool run_pass(REDUCER& reducer, const REDUCTION& pass) {
    bool found = false;
    for (size_t length = pass.count(reducer.best); length && !reducer.stopped;) {
        found |= run_sweep(reducer, pass, length);
        const size_t left = pass.count(reducer.best);
        length = length == 1 ? 0 : std::min((length + 1) / 2, std::max<size_t>(left, 1));
        if (!left) break;
    }
    return found;
}

// Is the command content with the file as it is? Learns how long a run takes.
bool try_input(REDUCER& reducer, const std::string& bytes) {
    constexpr double PATIENCE = 3600, FACTOR = 10, LEAST = 2;
    const double given = reducer.request.seconds;
    const CLOCK::time_point start = CLOCK::now();
    std::vector<JOB> jobs{start_run(reducer, 1, bytes, given > 0 ? given : PATIENCE)};
    JOB ended;
    if (!wait_for_job(jobs, ended)) {
        stop_jobs(jobs);
        end_interrupted();
    }
    end_run(reducer, ended);
    reducer.seconds_a_run = given > 0 ? given : std::max(LEAST, FACTOR * seconds_since(start));
    reducer.result.status = ended.status;
    return ended.status == 0;
}

} // namespace

std::span<const REDUCTION> reductions() {
    static const std::vector<REDUCTION> all = [] {
        std::vector<REDUCTION> rows;
        for (const auto& part : {function_reductions(), statement_reductions(), tree_reductions(),
                                 parameter_reductions(), table_reductions()})
            rows.insert(rows.end(), part.begin(), part.end());
        return rows;
    }();
    return all;
}

REDUCE_RESULT reduce(const REDUCE_REQUEST& request, const std::string& bytes, PARTS_FILE file) {
    REDUCER reducer{request, temporary_directory("", false), std::move(file)};
    reducer.result.before = reducer.result.after = file_size(reducer.best, bytes.size());
    if (!try_input(reducer, bytes)) {
        reducer.result.end = REDUCE_END::NOT_INTERESTING;
        return reducer.result;
    }
    if (!write_file_bytes(own_name, request.output, bytes)) {
        reducer.result.end = REDUCE_END::NO_OUTPUT;
        return reducer.result;
    }
    for (bool found = true; found && !reducer.stopped;) {
        found = false;
        for (const REDUCTION& pass : reductions())
            if (!must_stop(reducer)) found |= run_pass(reducer, pass);
    }
    reducer.result.after = file_size(reducer.best, reducer.result.after.bytes);
    reducer.result.seconds = seconds_since(reducer.start);
    return reducer.result;
}

} // namespace pelorus
