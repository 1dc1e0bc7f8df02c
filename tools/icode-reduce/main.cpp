// icode-reduce: shrinks an icode file while a command goes on to find it interesting; see USAGE, and
// docs/finding-faults.md.
//
// main.cpp reads the command line, reduce.cpp decides what is tried, and statements.cpp, trees.cpp,
// parameters.cpp and tables.cpp make the candidates.
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>

#include "common/process.h"
#include "common/same_file.h"
#include "common/whole_file.h"
#include "icode/validate_file.h"
#include "reduce.h"

namespace pelorus {

namespace {

constexpr const char* USAGE =
    "Usage: icode-reduce [options] FILE.if -- COMMAND ...    runs COMMAND with the name of a smaller file\n"
    "Shrinks FILE.if while COMMAND ends with 0: still interesting, the fault still shows. Each file that is\n"
    "tried obeys the rules of icode; several COMMANDs run at once; the result goes to FILE.reduced.if.\n"
    "Example: icode-reduce x.if -- sh -c 'pelorus $0 $0.opt && icode-run --compare $0 $0.opt | grep ^diff'\n"
    "\n"
    "  -o FILE            the result; it may be the input only with --in-place\n"
    "  --in-place         writes the result over the input\n"
    "  --jobs=N           commands at the same time (as many as there are processors)\n"
    "  --timeout=SECONDS  a command that takes longer is not interested (ten times what the input takes)\n"
    "  --max-runs=N, --max-time=SECONDS   stops there, with the smallest file so far\n"
    "Exit status: 0 when a result was written, 1 when not.\n";

struct COMMAND_LINE {
    REDUCE_REQUEST request{};
    bool help = false, in_place = false;
    std::string error;
};

template <class T>
bool take_number(std::string_view word, std::string_view name, T& number, std::string& error) {
    if (!word.starts_with(name)) return false;
    word.remove_prefix(name.size());
    const auto [end, fault] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (fault != std::errc() || end != word.data() + word.size() || !(number > 0))
        error = "'" + std::string(word) + "' behind " + std::string(name) + " is no number above 0";
    return true;
}

std::string usual_output(const std::string& input) {
    const std::string ending = ".if";
    const bool has_ending = input.ends_with(ending) && input.size() > ending.size();
    return (has_ending ? input.substr(0, input.size() - ending.size()) : input) + ".reduced.if";
}

void check_line(COMMAND_LINE& line) {
    REDUCE_REQUEST& request = line.request;
    std::error_code error;
    if (request.input.empty())
        line.error = "no file is given";
    else if (request.command.empty())
        line.error = "what is to be run is missing: put it behind '--'";
    else if (!std::filesystem::is_regular_file(request.input, error))
        line.error = "there is no file '" + request.input + "'";
    if (line.in_place && request.output.empty()) request.output = request.input;
    if (request.output.empty()) request.output = usual_output(request.input);
    if (line.error.empty() && !line.in_place && is_same_file(request.input, request.output))
        line.error = "the result would overwrite the input; --in-place allows it";
}

void take_word(COMMAND_LINE& line, const WORDS& words, size_t& i) {
    REDUCE_REQUEST& request = line.request;
    const std::string& word = words[i];
    if (word == "--help")
        line.help = true;
    else if (word == "--in-place")
        line.in_place = true;
    else if (word == "-o" && i + 1 < words.size())
        request.output = words[++i];
    else if (take_number(word, "--jobs=", request.jobs, line.error) ||
             take_number(word, "--timeout=", request.seconds, line.error) ||
             take_number(word, "--max-runs=", request.most_runs, line.error) ||
             take_number(word, "--max-time=", request.most_seconds, line.error))
        return;
    else if (word.starts_with("-"))
        line.error = "'" + word + "' is no option";
    else if (!request.input.empty())
        line.error = "more than one file is given";
    else
        request.input = word;
}

COMMAND_LINE read_line(const WORDS& words) {
    COMMAND_LINE line;
    line.request.jobs = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    size_t i = 0;
    for (; i < words.size() && words[i] != "--" && line.error.empty(); ++i) take_word(line, words, i);
    if (i < words.size())
        line.request.command.assign(words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());
    if (!line.help && line.error.empty()) check_line(line);
    return line;
}

void print_fault(void* name, const FILE_FAULT& fault) {
    fprintf(stderr, "icode-reduce: error: the input is not good icode: %s",
            fault_text(*static_cast<const std::string*>(name), fault).c_str());
}

bool read_input(std::string& name, std::string& bytes, PARTS_FILE& file) {
    if (!read_file_bytes(own_name, name, bytes)) return false;
    if (validate_icode(bytes, 1, {print_fault, &name})) return false;
    if (take_apart(bytes, file)) return true;
    fprintf(stderr, "icode-reduce: error: '%s' cannot be taken apart\n", name.c_str());
    return false;
}

const char* end_text(REDUCE_END end) {
    switch (end) {
    case REDUCE_END::FIXED_POINT: return "nothing more can be taken away";
    case REDUCE_END::RUNS: return "the limit of runs";
    case REDUCE_END::TIME: return "the limit of time";
    case REDUCE_END::INTERRUPTED: return "interrupted";
    case REDUCE_END::NOT_INTERESTING:
    case REDUCE_END::NO_OUTPUT: break;
    }
    return "";
}

void print_result(const REDUCE_REQUEST& request, const REDUCE_RESULT& result) {
    const FILE_SIZE &before = result.before, &after = result.after;
    printf("%-12s %10s %10s\n", "", "before", "after");
    const auto row = [](const char* name, size_t a, size_t b) { printf("%-12s %10zu %10zu\n", name, a, b); };
    row("functions", before.functions, after.functions);
    row("statements", before.statements, after.statements);
    row("nodes", before.nodes, after.nodes);
    row("symbols", before.symbols, after.symbols);
    row("types", before.types, after.types);
    row("bytes", before.bytes, after.bytes);
    printf("Stopped after %llu runs and %.1f s: %s. The result is %s.\n",
           static_cast<unsigned long long>(result.runs), result.seconds, end_text(result.end),
           request.output.c_str());
}

int run(REDUCE_REQUEST& request) {
    std::string bytes;
    PARTS_FILE file;
    if (!read_input(request.input, bytes, file)) return 1;
    const REDUCE_RESULT result = reduce(request, bytes, std::move(file));
    remove_temporary_directory();
    if (result.end == REDUCE_END::NOT_INTERESTING) {
        fprintf(stderr, "icode-reduce: error: the command is not interested in the input itself: %s\n",
                status_text(result.status).c_str());
        return 1;
    }
    if (result.end == REDUCE_END::NO_OUTPUT) return 1;
    print_result(request, result);
    return 0;
}

} // namespace

} // namespace pelorus

int main(int count, char** arguments) {
    using namespace pelorus;
    own_name = "icode-reduce";
    COMMAND_LINE line = read_line(WORDS(arguments + 1, arguments + count));
    if (line.help) return fputs(USAGE, stdout) < 0;
    if (!line.error.empty()) {
        fprintf(stderr, "icode-reduce: error: %s; see --help\n", line.error.c_str());
        return 1;
    }
    catch_signals();
    return run(line.request);
}
