// try-mutants: runs the optimizer, the interpreter and the translator on icode files whose structure was
// changed.
//
//     try-mutants [--runs=N] [--seed=N] [--jobs=N] [--keep=FOLDER] file.if file.ict...
//
// Every run makes one mutant, from a seed of its own, and hands it to the optimizer at a level and with
// options that the seed decides, and to the interpreter; some mutants go to the translator and the
// disassembler too. A job does all of this in one process; when it dies, the mutant that it was at was a bad
// run, and another process goes on behind it. A run is good when the program ends with 0, or with 1 and a
// message, and when neither optimizer nor interpreter refuses what obeys all rules of icode. A mutant whose
// run was bad is kept in the folder, and `--seed=N --runs=1` with the number in its name makes it again.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "icode-run/machine.h"
#include "icode/text_form.h"
#include "icode/validate_file.h"
#include "mutants/mutate.h"
#include "random/in_process.h"
#include "translate.h"

// A sanitizer's report ends the process with a status that no program of ours has.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "exitcode=86:detect_leaks=0:allocator_may_return_null=1";
}

namespace pelorus {

namespace {

constexpr unsigned SECONDS = 60; // a run takes milliseconds, but the machine may be busy

struct COMMAND {
    uint32_t runs = 1000;
    uint32_t seed = 1;
    uint32_t jobs = 1;
    std::string keep = ".";
    std::vector<std::string> names;
};

struct SAMPLE {
    std::string name;
    PARTS_FILE file;
};

// What a job has come to, in memory that the watching process sees.
struct PROGRESS {
    uint32_t number; // of the run, counted over all jobs
    uint32_t bad;
    char command[256]; // what is being done
};

std::string file_bytes(const std::string& name) {
    std::ostringstream text;
    text << std::ifstream(name, std::ios::binary).rdbuf();
    return text.str();
}

void write_bytes(const std::string& name, const std::string& bytes) {
    std::ofstream(name, std::ios::binary | std::ios::trunc) << bytes;
}

// --- Programs ---

FILE* stream_of(const std::string& bytes) {
    return fmemopen(const_cast<char*>(bytes.data()), bytes.size(), "rb");
}

int translate(const std::string& bytes) { return translate_unit(stream_of(bytes), "mutant.if", {}), 0; }

int disassemble(const std::string& bytes) { return disassemble_icode(bytes, false).text.empty(); }

int interpret(const std::string& bytes) {
    std::string message;
    PROGRAM* program = load_program(stream_of(bytes), "mutant.if", message);
    if (!program) return puts(message.c_str()), 1;
    RUN_OPTIONS options;
    options.quiet = options.record = true;
    options.steps = 200000;
    options.memory = 64u << 20;
    options.depth = 1000;
    run_program(*program, options);
    release_program(program);
    return 0;
}

// --- One mutant ---

std::string last_message(std::string text) {
    if (const size_t at = text.find("INTERNAL ERROR"); at != std::string::npos) text.erase(0, at);
    return text.substr(0, 1500);
}

// What is wrong with how a program ended; empty when nothing is.
std::string fault_of(const ENDED& ended, bool may_refuse) {
    const std::string status = "status " + std::to_string(ended.status);
    if (ended.status != 0 && ended.status != 1) return status + ": " + last_message(ended.messages);
    if (ended.status == 1 && ended.messages.empty()) return status + " without a message";
    if (ended.status == 1 && !may_refuse)
        return "refused, and obeys all rules: " + last_message(ended.messages);
    return {};
}

std::vector<std::string> some_options(DICE& dice) {
    constexpr const char* OPTIONS[] = {"",
                                       "",
                                       "",
                                       "",
                                       "--trace",
                                       "--interleave",
                                       "--debug=verify",
                                       "--all_volatile",
                                       "-ms3",
                                       "--aggressive"};
    std::vector<std::string> options{"-o" + std::to_string(dice() % 5)};
    const char* option = OPTIONS[dice() % std::size(OPTIONS)];
    if (*option) options.push_back(option);
    return options;
}

std::string mutant_of(const std::vector<SAMPLE>& samples, DICE& dice) {
    PARTS_FILE mutant = samples[dice() % samples.size()].file;
    mutate(mutant, dice);
    return put_together(mutant);
}

class TRIAL {
public:
    TRIAL(const WORKPLACE& workplace, PROGRESS& progress) : workplace_(workplace), progress_(progress) {}

    // Makes the mutant of a seed and runs the programs on it. What is wrong, or nothing.
    std::string run(const std::vector<SAMPLE>& samples, uint32_t seed);

private:
    void announce(const std::string& what) const {
        strncpy(progress_.command, what.c_str(), sizeof progress_.command - 1);
    }
    template <class F>
    std::string try_program(const std::string& command, bool may_refuse, F program) const {
        announce(command);
        const std::string fault = fault_of(program(), may_refuse);
        return fault.empty() ? fault : command + ": " + fault;
    }

    const WORKPLACE& workplace_;
    PROGRESS& progress_;
};

std::string TRIAL::run(const std::vector<SAMPLE>& samples, uint32_t seed) {
    announce("making the mutant");
    DICE dice(seed);
    const std::string bytes = mutant_of(samples, dice);
    announce("icode-val");
    const bool obeys = validate_icode(bytes, 0, {}) == 0;
    const std::vector<std::string> options = some_options(dice);
    const bool translated = dice() % 4 == 0;
    workplace_.put_input(bytes);
    std::string fault = try_program("pelorus" + words_of(options), !obeys,
                                    [&]() -> ENDED { return workplace_.optimize(options); });
    const auto try_on_bytes = [&](const char* name, bool may_refuse, int (*program)(const std::string&)) {
        if (fault.empty())
            fault =
                try_program(name, may_refuse, [&] { return workplace_.run([&] { return program(bytes); }); });
    };
    try_on_bytes("icode-run", !obeys, interpret);
    if (!translated) return fault;
    try_on_bytes("icode-llvm", true, translate); // it has no answer to some good icode
    try_on_bytes("icode-dis", false, disassemble);
    return fault;
}

void keep_mutant(const COMMAND& command, const std::vector<SAMPLE>& samples, uint32_t seed,
                 const std::string& fault, FILE* report) {
    DICE dice(seed);
    const std::string kept = command.keep + "/mutant-" + std::to_string(seed) + ".if";
    write_bytes(kept, mutant_of(samples, dice));
    fprintf(report, "%s: %s\n", kept.c_str(), fault.c_str());
    fflush(report);
}

// Every `jobs`th run, from the one that the progress names.
void run_job(const COMMAND& command, const std::vector<SAMPLE>& samples, PROGRESS& progress) {
    const WORKPLACE workplace;
    for (; progress.number < command.runs; progress.number += command.jobs) {
        alarm(SECONDS);
        const uint32_t seed = command.seed + progress.number;
        const std::string fault = TRIAL(workplace, progress).run(samples, seed);
        if (fault.empty()) continue;
        keep_mutant(command, samples, seed, fault, workplace.report());
        progress.bad++;
    }
}

pid_t start_job(const COMMAND& command, const std::vector<SAMPLE>& samples, PROGRESS& progress) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child != 0) return child;
    run_job(command, samples, progress);
    _exit(0);
}

void note_death(const COMMAND& command, const std::vector<SAMPLE>& samples, PROGRESS& progress, int status) {
    const std::string how =
        WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : "status " + std::to_string(WEXITSTATUS(status));
    keep_mutant(command, samples, command.seed + progress.number,
                std::string(progress.command) + ": died, " + how, stdout);
    progress.bad++;
    progress.number += command.jobs;
}

// The number of bad runs.
uint32_t run_jobs(const COMMAND& command, const std::vector<SAMPLE>& samples, PROGRESS* progress) {
    std::map<pid_t, PROGRESS*> children;
    for (uint32_t job = 0; job < command.jobs; ++job) {
        progress[job].number = job;
        children[start_job(command, samples, progress[job])] = &progress[job];
    }
    uint32_t bad = 0;
    for (int status = 0; !children.empty();) {
        const pid_t child = wait(&status);
        if (child < 0) return bad + 1;
        PROGRESS& ended = *children[child];
        children.erase(child);
        if (status == 0) {
            bad += ended.bad;
            continue;
        }
        note_death(command, samples, ended, status);
        children[start_job(command, samples, ended)] = &ended;
    }
    return bad;
}

// --- The command ---

bool take_number(const char* argument, const char* name, uint32_t& number) {
    const size_t length = strlen(name);
    if (strncmp(argument, name, length) != 0) return false;
    const char* end = argument + strlen(argument);
    return std::from_chars(argument + length, end, number).ptr == end;
}

bool parse_command(int count, char** arguments, COMMAND& command) {
    for (int i = 1; i < count; ++i) {
        const char* argument = arguments[i];
        if (take_number(argument, "--runs=", command.runs) ||
            take_number(argument, "--seed=", command.seed) || take_number(argument, "--jobs=", command.jobs))
            continue;
        if (!strncmp(argument, "--keep=", 7))
            command.keep = argument + 7;
        else if (argument[0] == '-')
            return false;
        else
            command.names.push_back(argument);
    }
    return command.jobs && !command.names.empty();
}

bool read_samples(const COMMAND& command, std::vector<SAMPLE>& samples) {
    for (const std::string& name : command.names) {
        SAMPLE& sample = samples.emplace_back();
        sample.name = name;
        std::string bytes = file_bytes(name);
        if (name.ends_with(".ict")) bytes = assemble_icode(bytes, name).bytes;
        if (take_apart(bytes, sample.file) && put_together(sample.file) == bytes) continue;
        samples.pop_back();
    }
    return !samples.empty();
}

} // namespace

} // namespace pelorus

int main(int count, char** arguments) {
    using namespace pelorus;
    COMMAND command;
    std::vector<SAMPLE> samples;
    if (!parse_command(count, arguments, command)) {
        fputs("usage: try-mutants [--runs=N] [--seed=N] [--jobs=N] [--keep=FOLDER] file.if file.ict...\n",
              stderr);
        return 2;
    }
    if (!read_samples(command, samples)) return 2;
    void* memory = mmap(nullptr, command.jobs * sizeof(PROGRESS), PROT_READ | PROT_WRITE,
                        MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return perror("mmap"), 2;
    const uint32_t bad = run_jobs(command, samples, static_cast<PROGRESS*>(memory));
    printf("%u mutants of %zu files, %u bad runs\n", command.runs, samples.size(), bad);
    return bad != 0;
}
