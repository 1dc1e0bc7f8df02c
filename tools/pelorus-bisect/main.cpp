// pelorus-bisect: finds the one change of the optimizer that breaks a program; see USAGE, and
// docs/finding-faults.md.
//
// main.cpp reads the command line, search.cpp decides what to try, runs.cpp and stand_in.cpp run it, and
// report.cpp tells what came out.
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "common/process.h"
#include "report.h"
#include "runs.h"
#include "search.h"
#include "stand_in.h"

namespace pelorus {

namespace {

constexpr const char* USAGE =
    "Usage: pelorus-bisect [options] [options of pelorus] x.if -- CHECK ...   runs CHECK with the output's "
    "name\n"
    "       pelorus-bisect [options] -- COMMAND ...    runs COMMAND, which compiles by pelorus-cc\n"
    "Finds the lowest level and the first change of the optimizer with which that ends with a status but 0.\n"
    "Example: pelorus-bisect -o3 x.if -- icode-run --compare x.if\n"
    "\n"
    "  --keep=FOLDER      keeps the icode before and after the change in a new folder\n"
    "  --timeout=SECONDS  a run that takes longer has failed (3600)\n"
    "  --pelorus=PROGRAM  the optimizer, when it is not the one beside this program\n"
    "Exit status: 0 when a change was found, 1 when not or when the command line is wrong.\n";

struct COMMAND_LINE {
    REQUEST request{};
    std::string kept;
    bool help = false;
    std::string error;
};

constexpr double USUAL_SECONDS = 3600;

bool take_value(std::string_view word, std::string_view name, std::string& value) {
    if (!word.starts_with(name)) return false;
    value = word.substr(name.size());
    return true;
}

bool take_own_option(const std::string& word, COMMAND_LINE& line) {
    std::string value;
    if (word == "--help")
        line.help = true;
    else if (take_value(word, "--timeout=", value)) {
        const auto [end, error] =
            std::from_chars(value.data(), value.data() + value.size(), line.request.seconds);
        if (error != std::errc() || *end || !(line.request.seconds > 0))
            line.error = "'" + value + "' is no number of seconds";
    } else if (take_value(word, "--keep=", value))
        line.kept = std::filesystem::absolute(value).string() + "/";
    else if (!take_value(word, "--pelorus=", line.request.optimizer))
        return false;
    return true;
}

void check_line(COMMAND_LINE& line, bool divided) {
    namespace fs = std::filesystem;
    std::error_code error;
    REQUEST& request = line.request;
    if (!request.options.empty()) {
        request.input = request.options.back();
        request.options.pop_back();
    }
    if (!divided || request.command.empty())
        line.error = "what is to be run is missing: put it behind '--'";
    else if (request.input.starts_with("-"))
        line.error = "the options of pelorus need an input behind them";
    else if (!request.input.empty() && !fs::is_regular_file(request.input, error))
        line.error = "there is no file '" + request.input + "'";
    else if (!line.kept.empty() && fs::exists(line.kept, error) && !fs::is_empty(line.kept, error))
        line.error = "'" + line.kept + "' is there already";
}

COMMAND_LINE read_line(const WORDS& words) {
    COMMAND_LINE line;
    line.request.optimizer = own_directory() + "pelorus";
    line.request.seconds = USUAL_SECONDS;
    size_t i = 0;
    for (; i < words.size() && words[i] != "--"; ++i)
        if (!take_own_option(words[i], line)) line.request.options.push_back(words[i]);
    if (i < words.size())
        line.request.command.assign(words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());
    if (!line.help && line.error.empty()) check_line(line, i < words.size());
    return line;
}

int bisect(const COMMAND_LINE& line) {
    RUNS runs{line.request};
    runs.request.folder = temporary_directory("", false);
    SEARCH_LIMITS limits;
    limits.own_level = runs.request.input.empty() || level_in(runs.request.options) >= 0;
    const FINDING finding =
        search_change([&runs](int level, uint64_t limit) { return run_trial(runs, level, limit); }, limits,
                      [&runs] { return level_of_options(runs); });
    report_finding(runs, finding, line.kept);
    remove_temporary_directory();
    return finding.answer == ANSWER::FOUND ? 0 : 1;
}

} // namespace

} // namespace pelorus

int main(int count, char** arguments) {
    using namespace pelorus;
    own_name = "pelorus-bisect";
    const WORDS words(arguments + 1, arguments + count);
    catch_signals();
    if (words.size() > 2 && words[0] == STAND_IN_WORD)
        return run_stand_in(words[1], WORDS(words.begin() + 2, words.end()));
    const COMMAND_LINE line = read_line(words);
    if (line.help) return fputs(USAGE, stdout) < 0;
    if (line.error.empty()) return bisect(line);
    fprintf(stderr, "pelorus-bisect: error: %s; see --help\n", line.error.c_str());
    return 1;
}
