// random-icode: random programs through the optimizer at all levels, each run before and after.
//
//     random-icode COUNT [--seed=N] [--jobs=N] [--keep=FOLDER] [--silent=FILE]
//     random-icode --print=SEED
//
// COUNT is the least number of functions. Every program is checked against the rules of icode, optimized at
// the five levels with options that its seed decides, checked again, and compared with what it was, by
// running both. All of it happens in one process for each job, which another one watches: when it dies, the
// program that it was at is kept, and a new one goes on behind it.
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "icode-run/machine.h"
#include "icode/text_form.h"
#include "icode/validate_file.h"
#include "random/dice.h"
#include "random/in_process.h"
#include "random/random_program.h"
#include "support/decision.h"
#include "support/settings.h"

namespace pelorus {

namespace {

constexpr unsigned SECONDS = 60;               // for one program, which takes some milliseconds
constexpr uint64_t STEPS = 3'000'000;          // of one run, which takes some ten thousand mostly
constexpr uint64_t ENOUGH_FUNCTIONS = 100'000; // for every site to fire that can
constexpr size_t MOST_SITES = 1024;
constexpr uint32_t MOST_FAILURES = 50; // then it is known that something is wrong

struct COMMAND {
    uint64_t functions = 0;
    uint64_t seed = 1;
    uint32_t jobs = 1;
    std::string keep = "fuzz-failures";
    std::string silent; // table of the sites that need not fire
    bool print = false;
};

// What a job has done, in memory that the watching process sees.
struct TALLY {
    uint64_t next_seed; // to be tried, or being tried
    uint64_t functions, programs, runs, same, equal_bytes, undecided, failures;
    uint64_t sites[MOST_SITES];
    char command[256]; // what is being done
};

// --- One program ---

struct FAILURE {
    std::string command, message;
};

// What counts where the file is looked at as a whole. It is the whole program.
void add_file_options(SEEDED_DICE& dice, std::vector<std::string>& options) {
    constexpr const char* MODES[] = {"-op2", "-op2", "-op1", "-op3", "-op-1"};
    constexpr const char* THRESHOLDS[] = {"-i0", "-i5", "-i30", "-i100", "-i100", "-i1000", "-i100000"};
    if (dice.chance(60)) options.emplace_back(dice.one_of(MODES));
    if (dice.chance(60)) options.emplace_back(dice.one_of(THRESHOLDS));
    if (dice.chance(5)) options.emplace_back("--info");
}

std::vector<std::string> options_of_level(SEEDED_DICE& dice, int level) {
    constexpr const char* OPTIONS[] = {"--debug=check_trips",
                                       "--debug=verify,check_trips",
                                       "--debug=verify",
                                       "--all_volatile",
                                       "-Z1",
                                       "-Z3",
                                       "-g",
                                       "-i100",
                                       "--interleave",
                                       "--program_mode=2",
                                       "--char_pointers",
                                       "--no_tail_recursion",
                                       "--no_divide_replacement",
                                       "--disable=cross_jump",
                                       "--disable=simpcfg",
                                       "--trace",
                                       "--debug=zalloc",
                                       "-op1",
                                       "--skip_step=4",
                                       "--no_stack_sharing",
                                       "--thumb"};
    std::vector<std::string> options{"-o" + std::to_string(level)};
    // Counting costs a little, and every change of one level is one of another level, too, mostly.
    if (dice.chance(50)) options.emplace_back("--debug=stats");
    if (dice.chance(35)) options.emplace_back(dice.one_of(OPTIONS));
    if (level >= 3) add_file_options(dice, options);
    if (dice.chance(5)) options.push_back("--debug=stop_after=" + std::to_string(dice.below(200)));
    if (dice.chance(5)) options.push_back("--skip_step=" + std::to_string(dice.between(1, 24)));
    return options;
}

bool is_among(const std::vector<std::string>& options, const char* option) {
    return std::find(options.begin(), options.end(), option) != options.end();
}

std::string first_fault(const std::string& bytes) {
    std::string text;
    validate_icode(bytes, 1,
                   {[](void* context, const FILE_FAULT& fault) {
                        *static_cast<std::string*>(context) = fault_text("file", fault);
                    },
                    &text});
    return text;
}

// Without the comment that repeats the command line.
std::string comparable(std::string bytes) {
    const size_t at = bytes.find(";\t");
    const size_t end = at == std::string::npos ? at : bytes.find('\0', at);
    return end == std::string::npos ? bytes : bytes.substr(end);
}

class TRIAL {
public:
    TRIAL(const WORKPLACE& workplace, TALLY& tally, uint64_t seed)
        : workplace_(workplace), tally_(tally), seed_(seed), dice_(~seed) {}
    ~TRIAL() { release_program(before_); }
    TRIAL(const TRIAL&) = delete;
    TRIAL& operator=(const TRIAL&) = delete;

    bool run();
    FAILURE failure;

private:
    bool fails(std::string command, std::string message) {
        failure = {std::move(command), std::move(message)};
        return false;
    }
    void announce(const std::string& what) const {
        strncpy(tally_.command, what.c_str(), sizeof tally_.command - 1);
    }
    PROGRAM* load(const std::string& bytes, std::string& message) const;
    bool optimize(int level);
    bool compare(const std::string& command, const std::string& output);

    const WORKPLACE& workplace_;
    TALLY& tally_;
    uint64_t seed_;
    SEEDED_DICE dice_;
    PROGRAM* before_ = nullptr;
    std::set<std::string> seen_; // outputs that were compared
};

PROGRAM* TRIAL::load(const std::string& bytes, std::string& message) const {
    FILE* stream = fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "rb");
    return load_program(stream, "random", message, true);
}

bool TRIAL::compare(const std::string& command, const std::string& output) {
    if (!seen_.insert(comparable(output)).second) return tally_.equal_bytes++, true;
    announce(command + ", running");
    std::string message;
    PROGRAM* after = load(output, message);
    if (!after) return fails(command, "the output cannot be loaded: " + message);
    RUN_OPTIONS options;
    options.steps = STEPS;
    options.record = options.quiet = true;
    const COMPARISON result = compare_runs(*before_, *after, options, message);
    release_program(after);
    tally_.runs++;
    tally_.same += result == COMPARISON::SAME;
    tally_.undecided += result == COMPARISON::UNDECIDED;
    if (result == COMPARISON::DIFFERENT) return fails(command, message);
    if (result == COMPARISON::UNDECIDED && message.find("limit") == std::string::npos)
        return fails(command, "no answer: " + message);
    return true;
}

bool TRIAL::optimize(int level) {
    const std::vector<std::string> options = options_of_level(dice_, level);
    const std::string command = "pelorus" + words_of(options);
    announce(command);
    const OPTIMIZED result = workplace_.optimize(options);
    if (result.status != 0)
        return fails(command, "status " + std::to_string(result.status) + ": " + result.messages);
    if (result.messages.find("ERROR") != std::string::npos) return fails(command, result.messages);
    if (is_among(options, "--debug=stats")) {
        const std::vector<uint64_t> changes = changes_by_site();
        for (size_t i = 0; i < std::min(changes.size(), MOST_SITES); ++i) tally_.sites[i] += changes[i];
    }
    // Such a run keeps accesses that are statements only for a reader who takes everything for volatile, too.
    settings.all_volatile = is_among(options, "--all_volatile");
    const std::string fault = first_fault(result.output);
    const bool good = fault.empty() ? compare(command, result.output)
                                    : fails(command, "the output breaks a rule: " + fault);
    reset_settings();
    return good;
}

bool TRIAL::run() {
    announce("making the program");
    const RANDOM_PROGRAM program = random_program(seed_);
    const ASSEMBLY assembly = assemble_icode(program.text, "program.ict");
    if (!assembly.good) return fails("icode-as", assembly.error);
    if (const std::string fault = first_fault(assembly.bytes); !fault.empty())
        return fails("icode-val", fault);
    workplace_.put_input(assembly.bytes);
    std::string message;
    before_ = load(assembly.bytes, message);
    if (!before_) return fails("icode-run", message);
    for (int level = 0; level <= 4; ++level)
        if (!optimize(level)) return false;
    tally_.functions += program.functions;
    return true;
}

// --- Jobs ---

void write_file(const std::string& name, const std::string& bytes) {
    std::ofstream(name, std::ios::binary) << bytes;
}

void keep_failure(const COMMAND& command, uint64_t seed, const FAILURE& failure, FILE* report) {
    const std::string folder = command.keep + "/seed-" + std::to_string(seed);
    mkdir(command.keep.c_str(), 0777);
    mkdir(folder.c_str(), 0777);
    const RANDOM_PROGRAM program = random_program(seed);
    write_file(folder + "/program.ict", program.text);
    write_file(folder + "/program.if", assemble_icode(program.text, "program.ict").bytes);
    const std::string text = failure.command + "\n" + failure.message + "\n";
    write_file(folder + "/report.txt", text);
    fprintf(report, "seed %llu: %s  kept in %s\n", static_cast<unsigned long long>(seed), text.c_str(),
            folder.c_str());
}

void run_job(const COMMAND& command, TALLY& tally, uint64_t share) {
    const WORKPLACE workplace;
    for (; tally.functions < share && tally.failures < MOST_FAILURES; tally.next_seed += command.jobs) {
        alarm(SECONDS);
        TRIAL trial(workplace, tally, tally.next_seed);
        tally.programs++;
        if (trial.run()) continue;
        tally.failures++;
        keep_failure(command, tally.next_seed, trial.failure, workplace.report());
    }
}

// Runs a job in a process of its own, and in another one when that dies.
pid_t start_job(const COMMAND& command, TALLY& tally, uint64_t share) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child != 0) return child;
    run_job(command, tally, share);
    _exit(0);
}

void note_death(const COMMAND& command, TALLY& tally, int status) {
    tally.failures++;
    std::string how =
        WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "status " + std::to_string(WEXITSTATUS(status));
    keep_failure(command, tally.next_seed, {tally.command, "died: " + how}, stdout);
    tally.next_seed += command.jobs;
}

void run_jobs(const COMMAND& command, TALLY* tallies) {
    const uint64_t share = (command.functions + command.jobs - 1) / command.jobs;
    std::map<pid_t, uint32_t> children;
    for (uint32_t job = 0; job < command.jobs; ++job) {
        tallies[job].next_seed = command.seed + job;
        children[start_job(command, tallies[job], share)] = job;
    }
    while (!children.empty()) {
        int status = 0;
        const pid_t child = wait(&status);
        if (child < 0) break;
        const uint32_t job = children[child];
        children.erase(child);
        if (status == 0 || tallies[job].failures >= MOST_FAILURES) continue;
        note_death(command, tallies[job], status);
        children[start_job(command, tallies[job], share)] = job;
    }
}

// --- The report ---

// The sites that the table says need not fire: "pass: name", and behind a tab why.
std::set<std::string> excused_sites(const std::string& name) {
    std::set<std::string> sites;
    std::ifstream file(name);
    for (std::string line; std::getline(file, line);)
        if (!line.empty() && line[0] != '#') sites.insert(line.substr(0, line.find('\t')));
    return sites;
}

// Prints the sites that never fired. False when one has no excuse, or one fired that has.
bool report_sites(const COMMAND& command, const uint64_t* fired) {
    std::set<std::string> excused;
    if (!command.silent.empty()) excused = excused_sites(command.silent);
    const std::span<const SITE_ROW> rows = decision_sites();
    bool good = true;
    size_t silent = 0;
    for (size_t i = 0; i < rows.size(); ++i) {
        const std::string name = std::string(rows[i].pass) + ": " + rows[i].name;
        const bool has_excuse = excused.erase(name) != 0;
        silent += !fired[i];
        good &= has_excuse == !fired[i];
        if (!fired[i]) printf("never fired%s: %s\n", has_excuse ? ", as expected" : "", name.c_str());
        if (fired[i] && has_excuse) printf("fired, and should never: %s\n", name.c_str());
    }
    for (const std::string& name : excused) printf("there is no such site: %s\n", name.c_str());
    printf("%zu of %zu sites fired\n", rows.size() - silent, rows.size());
    return good && excused.empty();
}

double processor_seconds() {
    rusage use{};
    getrusage(RUSAGE_CHILDREN, &use);
    const auto seconds = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(use.ru_utime) + seconds(use.ru_stime);
}

bool report(const COMMAND& command, const TALLY* tallies) {
    TALLY sum{};
    for (uint32_t job = 0; job < command.jobs; ++job) {
        const TALLY& tally = tallies[job];
        sum.functions += tally.functions;
        sum.programs += tally.programs;
        sum.runs += tally.runs;
        sum.same += tally.same;
        sum.equal_bytes += tally.equal_bytes;
        sum.undecided += tally.undecided;
        sum.failures += tally.failures;
        for (size_t i = 0; i < MOST_SITES; ++i) sum.sites[i] += tally.sites[i];
    }
    const auto number = [](uint64_t value) { return static_cast<unsigned long long>(value); };
    printf("%llu functions in %llu programs: %llu runs the same, %llu outputs equal to one that was run, "
           "%llu not decided, %llu failures\n",
           number(sum.functions), number(sum.programs), number(sum.same), number(sum.equal_bytes),
           number(sum.undecided), number(sum.failures));
    printf("%.0f functions a second of processor time\n",
           static_cast<double>(sum.functions) / processor_seconds());
    const bool sites_good = report_sites(command, sum.sites) || sum.functions < ENOUGH_FUNCTIONS;
    return sum.failures == 0 && (command.silent.empty() || sites_good);
}

// --- The command ---

template <class T>
bool take_number(const char* argument, const char* name, T& number) {
    const size_t length = strlen(name);
    if (strncmp(argument, name, length) != 0) return false;
    const char* end = argument + strlen(argument);
    return std::from_chars(argument + length, end, number).ptr == end;
}

bool take_text(const char* argument, const char* name, std::string& text) {
    if (strncmp(argument, name, strlen(name)) != 0) return false;
    text = argument + strlen(name);
    return true;
}

bool parse_command(int count, char** arguments, COMMAND& command) {
    for (int i = 1; i < count; ++i) {
        const char* argument = arguments[i];
        if (take_number(argument, "--print=", command.seed))
            command.print = true;
        else if (!take_number(argument, "--seed=", command.seed) &&
                 !take_number(argument, "--jobs=", command.jobs) &&
                 !take_text(argument, "--keep=", command.keep) &&
                 !take_text(argument, "--silent=", command.silent) &&
                 !take_number(argument, "", command.functions))
            return false;
    }
    return command.print || (command.functions && command.jobs);
}

int fuzz(const COMMAND& command) {
    void* memory = mmap(nullptr, command.jobs * sizeof(TALLY), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return perror("mmap"), 2;
    auto* tallies = static_cast<TALLY*>(memory);
    run_jobs(command, tallies);
    return report(command, tallies) ? 0 : 1;
}

} // namespace

} // namespace pelorus

int main(int count, char** arguments) {
    pelorus::COMMAND command;
    if (!pelorus::parse_command(count, arguments, command)) {
        fputs("usage: random-icode COUNT [--seed=N] [--jobs=N] [--keep=FOLDER] [--silent=FILE]\n       "
              "random-icode --print=SEED\n",
              stderr);
        return 2;
    }
    if (!command.print) return pelorus::fuzz(command);
    fputs(pelorus::random_program(command.seed).text.c_str(), stdout);
}
