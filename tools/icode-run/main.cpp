// icode-run: runs the program of an icode file, or compares the runs of two.
//
//     icode-run [options] FILE [arguments]
//     icode-run [options] --compare A B [arguments]
//
// The exit status is the program's own; docs/icode-run.md lists those of the other outcomes.
#include <pthread.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "icode-run/machine.h"

namespace pelorus {

namespace {

// The compiler goes down right operands by recursion, which nest up to 10,000 deep in a file, and a callback
// of the library, such as that of qsort, is a call of the host.
constexpr size_t STACK_BYTES = size_t(1) << 29;

enum STATUS : int {
    BAD_INPUT = 1,
    DIFFERENT = 1, // of a comparison
    UNDECIDED_RUN = 2,
    BROKEN_PROMISE = 123,
    LIMIT_REACHED = 124,
    NOT_SUPPORTED = 125,
    TRAPPED = 126,
};

struct COMMAND {
    RUN_OPTIONS run;
    std::vector<std::string> files;
    bool compare = false;
    bool check_functions = false;
    int status = 0; // the answer
};

const char usage[] =
    "Usage: icode-run [options] FILE [arguments]\n"
    "       icode-run [options] --compare A B [arguments]\n"
    "Runs the program of an icode file on a checked machine and finds bad accesses, or says whether two\n"
    "programs behave alike.\n"
    "Example: icode-run --stats prog.opt words.txt\n\n"
    "  --stats          prints what was executed\n"
    "  --limit=STEPS    ends the run after so many operations\n"
    "  --entry=NAME     runs this function instead of main\n"
    "  --folder=DIR     where the program's files are\n"
    "  --fill=BYTE      what memory holds before something is stored there\n"
    "  --strict         stops at what C leaves undefined\n"
    "  --unaligned      lets accesses be unaligned\n"
    "  --check-functions\n"
    "                   stops at what the optimizer takes a function never to do\n";

[[noreturn]] void wrong_usage(const char* problem, const char* word) {
    fprintf(stderr, "icode-run: %s%s; see --help\n", problem, word);
    exit(BAD_INPUT);
}

// The text behind "--name=" when the word is that option.
const char* option_value(const char* word, const char* name) {
    const size_t length = strlen(name);
    return strncmp(word, name, length) == 0 && word[length] == '=' ? word + length + 1 : nullptr;
}

uint64_t number_of(const char* text, uint64_t most, const char* word) {
    uint64_t number = 0;
    const bool is_hexadecimal = !strncmp(text, "0x", 2);
    const char* begin = is_hexadecimal ? text + 2 : text;
    const char* end = begin + strlen(begin);
    const auto result = std::from_chars(begin, end, number, is_hexadecimal ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != end || begin == end || number > most)
        wrong_usage("bad number: ", word);
    return number;
}

void read_option(COMMAND& command, const char* word) {
    RUN_OPTIONS& run = command.run;
    if (!strcmp(word, "--compare"))
        command.compare = true;
    else if (!strcmp(word, "--stats"))
        run.statistics = true;
    else if (!strcmp(word, "--strict"))
        run.strict = true;
    else if (!strcmp(word, "--unaligned"))
        run.unaligned = true;
    else if (!strcmp(word, "--check-functions"))
        command.check_functions = true;
    else if (const char* steps = option_value(word, "--limit"))
        run.steps = number_of(steps, UINT64_MAX, word);
    else if (const char* fill = option_value(word, "--fill"))
        run.fill = uint8_t(number_of(fill, 255, word));
    else if (const char* entry = option_value(word, "--entry"))
        run.entry = std::string("_") + entry;
    else if (const char* folder = option_value(word, "--folder"))
        run.folder = folder;
    else
        wrong_usage("unknown option ", word);
}

COMMAND read_command(int count, char** words) {
    COMMAND command;
    int i = 1;
    for (; i < count && (words[i][0] == '-' || (command.compare && command.files.size() < 2)); i++) {
        if (!strcmp(words[i], "--help")) {
            fputs(usage, stdout);
            exit(0);
        }
        if (!strcmp(words[i], "--version")) {
            puts("icode-run " PELORUS_VERSION);
            exit(0);
        }
        if (words[i][0] == '-')
            read_option(command, words[i]);
        else
            command.files.emplace_back(words[i]);
    }
    if (!command.compare && i < count) command.files.emplace_back(words[i++]);
    if (command.files.size() != (command.compare ? 2 : 1)) wrong_usage("no input", "");
    command.run.arguments.push_back(command.files[0]);
    for (; i < count; i++) command.run.arguments.emplace_back(words[i]);
    return command;
}

struct RELEASE {
    void operator()(PROGRAM* program) const { release_program(program); }
};
using PROGRAM_POINTER = std::unique_ptr<PROGRAM, RELEASE>;

PROGRAM_POINTER load_or_exit(const std::string& name, bool check_functions) {
    FILE* stream = fopen(name.c_str(), "rb");
    if (!stream) {
        perror(name.c_str());
        exit(BAD_INPUT);
    }
    std::string message;
    PROGRAM_POINTER program(load_program(stream, name.c_str(), message, check_functions));
    if (program) return program;
    fprintf(stderr, "icode-run: %s\n", message.c_str());
    exit(BAD_INPUT);
}

// --- How it ended ---

void show_calls(const std::vector<CALL_PLACE>& calls) {
    constexpr size_t SHOWN = 12;
    for (size_t i = 0; i < calls.size(); i++) {
        if (i == SHOWN && calls.size() > SHOWN + 1) {
            fprintf(stderr, "    ... %zu calls\n", calls.size() - SHOWN);
            return;
        }
        const CALL_PLACE& call = calls[i];
        fprintf(stderr, "    %s %s", i ? "called by" : "in", call.function.c_str());
        if (call.line) fprintf(stderr, " (%s:%u:%u)", call.file.c_str(), call.line, call.column);
        fputc('\n', stderr);
    }
}

int show_outcome(const OUTCOME& outcome) {
    struct KIND {
        const char* text;
        int status;
    };
    constexpr KIND KINDS[] = {{"", 0},
                              {"trap: ", TRAPPED},
                              {"limit reached: ", LIMIT_REACHED},
                              {"not supported: ", NOT_SUPPORTED},
                              {"broken promise: ", BROKEN_PROMISE}};
    if (outcome.kind == OUTCOME_KIND::VALUE) return outcome.status;
    const KIND& kind = KINDS[size_t(outcome.kind)];
    fprintf(stderr, "icode-run: %s%s\n", kind.text, outcome.message.c_str());
    show_calls(outcome.calls);
    return kind.status;
}

// --- Commands ---

int run_one(const COMMAND& command) {
    const PROGRAM_POINTER program = load_or_exit(command.files[0], command.check_functions);
    const RUN_RESULT run = run_program(*program, command.run);
    const int status = show_outcome(run.outcome);
    if (command.run.statistics) fputs(statistics_text(run).c_str(), stderr);
    return status;
}

int compare_two(const COMMAND& command) {
    const PROGRAM_POINTER a = load_or_exit(command.files[0], command.check_functions);
    const PROGRAM_POINTER b = load_or_exit(command.files[1], command.check_functions);
    std::string text;
    const COMPARISON answer = compare_runs(*a, *b, command.run, text);
    fputs(text.c_str(), stdout);
    return answer == COMPARISON::SAME ? 0 : answer == COMPARISON::DIFFERENT ? int(DIFFERENT) : UNDECIDED_RUN;
}

void* work(void* argument) {
    COMMAND& command = *static_cast<COMMAND*>(argument);
    command.status = command.compare ? compare_two(command) : run_one(command);
    return nullptr;
}

} // namespace

} // namespace pelorus

int main(int argc, char** argv) {
    pelorus::COMMAND command = pelorus::read_command(argc, argv);
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, pelorus::STACK_BYTES);
    if (pthread_create(&thread, &attributes, pelorus::work, &command) != 0) {
        fputs("icode-run: no memory for the stack\n", stderr);
        return 1;
    }
    pthread_join(thread, nullptr);
    fflush(stdout);
    return command.status;
}
