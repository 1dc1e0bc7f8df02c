// try-mutants: runs the optimizer, the interpreter and the translator on icode files whose structure was
// changed.
//
//     try-mutants [--runs=N] [--seed=N] [--jobs=N] [--keep=FOLDER] file.if file.ict...
//
// Every run makes one mutant, from a seed of its own, and hands it to the optimizer at a level and with
// options that the seed decides, and to the interpreter; some mutants go to the translator and the
// disassembler too. Each program runs in a process that was split off, so that nothing is loaded anew and a
// crash ends that process alone. A run is good when the program ends with 0, or with 1 and a message, and
// when neither optimizer nor interpreter refuses what obeys all rules of icode. A mutant whose run was bad is
// kept in the folder, and `--seed=N --runs=1` with the number in its name makes it again.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "driver/driver.h"
#include "icode-run/machine.h"
#include "icode/text_form.h"
#include "icode/validate_file.h"
#include "mutants/mutate.h"
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

// Where one job puts its files.
struct PLACE {
    std::string input, output, trace, messages;
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

// Runs `program` in a process of its own, its output into a file, and returns its wait status.
template <class F>
int run_apart(const PLACE& place, F program) {
    const pid_t child = fork();
    if (child < 0) {
        perror("fork");
        exit(2);
    }
    if (child == 0) {
        const int file = open(place.messages.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(file, 1);
        dup2(file, 2);
        alarm(SECONDS);
        exit(program());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return status;
}

int optimize(const PLACE& place, const std::vector<std::string>& options) {
    std::vector<std::string> words{"pelorus"};
    words.insert(words.end(), options.begin(), options.end());
    words.push_back(place.input);
    words.push_back(place.output);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    return run_optimizer(static_cast<int>(words.size()), arguments.data());
}

int translate(const PLACE& place) {
    FILE* stream = fopen(place.input.c_str(), "rb");
    return stream ? (translate_unit(stream, place.input.c_str(), {}), 0) : 1;
}

int interpret(const PLACE& place) {
    FILE* stream = fopen(place.input.c_str(), "rb");
    std::string message;
    PROGRAM* program = stream ? load_program(stream, place.input.c_str(), message) : nullptr;
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

int disassemble(const PLACE& place) { return disassemble_icode(file_bytes(place.input), false).text.empty(); }

int count_faults(const PLACE& place) {
    return validate_icode(file_bytes(place.input), 20,
                          {[](void* name, const FILE_FAULT& fault) {
                               fputs(fault_text(*static_cast<std::string*>(name), fault).c_str(), stdout);
                           },
                           const_cast<std::string*>(&place.input)}) != 0;
}

// --- One mutant ---

std::string last_message(const PLACE& place) {
    std::string text = file_bytes(place.messages);
    for (size_t at = text.find("Sanitizer"); at != std::string::npos && at < text.size();
         at = std::string::npos)
        text.erase(0, at);
    for (const char* mark : {"Sanitizer", "runtime error:", "INTERNAL ERROR"})
        if (const size_t at = text.find(mark); at != std::string::npos) text.erase(0, at);
    return text.substr(0, 1500);
}

// What is wrong with how a program ended; empty when nothing is.
std::string fault_of(const PLACE& place, int status, bool may_refuse) {
    if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
    const int code = WEXITSTATUS(status);
    if (code != 0 && code != 1) return "status " + std::to_string(code) + ": " + last_message(place);
    if (code == 1 && file_bytes(place.messages).empty()) return "status 1 without a message";
    if (code == 1 && !may_refuse) return "refused, and obeys all rules: " + last_message(place);
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

std::string words_of(const std::vector<std::string>& options) {
    std::string text;
    for (const std::string& option : options) text += " " + option;
    return text;
}

// Makes the mutant of a seed and runs the programs on it. What is wrong, or nothing.
std::string try_seed(const std::vector<SAMPLE>& samples, const PLACE& place, uint32_t seed) {
    DICE dice(seed);
    PARTS_FILE mutant = samples[dice() % samples.size()].file;
    mutate(mutant, dice);
    write_bytes(place.input, put_together(mutant));
    const bool obeys = run_apart(place, [&] { return count_faults(place); }) == 0;
    const std::vector<std::string> options = some_options(dice);
    std::string fault = fault_of(place, run_apart(place, [&] { return optimize(place, options); }), !obeys);
    if (!fault.empty()) return "pelorus" + words_of(options) + ": " + fault;
    fault = fault_of(place, run_apart(place, [&] { return interpret(place); }), !obeys);
    if (!fault.empty()) return "icode-run: " + fault;
    if (dice() % 4) return {};
    // The translator has no answer to some good icode.
    fault = fault_of(place, run_apart(place, [&] { return translate(place); }), true);
    if (!fault.empty()) return "icode-llvm: " + fault;
    fault = fault_of(place, run_apart(place, [&] { return disassemble(place); }), false);
    return fault.empty() ? fault : "icode-dis: " + fault;
}

PLACE place_of_job(uint32_t job) {
    const char* folder = getenv("TMPDIR");
    const std::string base = std::string(folder ? folder : "/tmp") + "/try-mutants-" +
                             std::to_string(getpid()) + "-" + std::to_string(job);
    return {base + ".if", base + ".opt", base + ".odb", base + ".messages"};
}

void remove_files(const PLACE& place) {
    for (const std::string& name : {place.input, place.output, place.trace, place.messages})
        unlink(name.c_str());
    unlink((place.input.substr(0, place.input.size() - 3) + ".nfo").c_str());
}

// Every `jobs`th run. The number of bad ones, at most 250.
int run_job(const COMMAND& command, const std::vector<SAMPLE>& samples, uint32_t job) {
    const PLACE place = place_of_job(job);
    int bad = 0;
    for (uint32_t number = job; number < command.runs; number += command.jobs) {
        const uint32_t seed = command.seed + number;
        const std::string fault = try_seed(samples, place, seed);
        if (fault.empty()) continue;
        const std::string kept = command.keep + "/mutant-" + std::to_string(seed) + ".if";
        write_bytes(kept, file_bytes(place.input));
        printf("%s: %s\n", kept.c_str(), fault.c_str());
        fflush(stdout);
        bad += bad < 250;
    }
    remove_files(place);
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
    std::vector<pid_t> children;
    for (uint32_t job = 0; job < command.jobs; ++job) {
        fflush(stdout);
        const pid_t child = fork();
        if (child == 0) _exit(run_job(command, samples, job));
        children.push_back(child);
    }
    int bad = 0;
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        bad += WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    }
    printf("%u mutants of %zu files, %d bad runs\n", command.runs, samples.size(), bad);
    return bad != 0;
}
