// See stand_in.h.
#include "stand_in.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "common/process.h"
#include "common/whole_file.h"
#include "icode/format.h"
#include "support/hash.h"

namespace pelorus {

namespace fs = std::filesystem;

namespace {

// Where an icode file's magic string is: behind kind and length of the first record.
constexpr size_t MAGIC_PLACES = 8;

bool is_icode(const std::string& word) {
    std::error_code error;
    if (word.starts_with("-") || !fs::is_regular_file(word, error)) return false;
    std::string head(MAGIC_PLACES + std::string_view(ICODE_MAGIC).size(), '\0');
    std::ifstream(word, std::ios::binary).read(head.data(), static_cast<std::streamsize>(head.size()));
    return head.find(ICODE_MAGIC) != std::string::npos;
}

// The place of the input among the words; their number when there is none.
size_t find_input(const WORDS& words) {
    size_t place = 0;
    while (place < words.size() && !is_icode(words[place])) ++place;
    return place;
}

std::string key_of(const std::string& bytes, const WORDS& options) {
    uint64_t hash = bytes.size();
    const auto mix = [&hash](const std::string& text) {
        for (const char c : text) hash = mix_hash(hash, static_cast<unsigned char>(c));
        hash = mix_hash(hash, text.size());
    };
    mix(bytes);
    for (const std::string& option : options) mix(option);
    char text[17];
    snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    return text;
}

// The file's own word on where it comes from.
std::string source_name(const std::string& bytes) {
    constexpr size_t OTHER_FIELDS = 2 * 2 + SECTION_COUNT * 4; // of the header, in front of the name
    size_t place = bytes.find(ICODE_MAGIC);
    place += std::string_view(ICODE_MAGIC).size() + 1 + OTHER_FIELDS;
    return place < bytes.size() ? std::string(bytes.c_str() + place) : "";
}

template <class T>
T number_in(const std::string& text, T otherwise) {
    std::from_chars(text.data(), text.data() + text.size(), otherwise);
    return otherwise;
}

// --- The plan: optimizer, level, usual limit, then a line for each key ---

std::string plan_name(const std::string& folder) { return folder + "plan"; }
std::string log_name(const std::string& folder) { return folder + "log"; }

PLAN read_plan(const std::string& folder) {
    PLAN plan;
    std::ifstream file(plan_name(folder));
    std::string line;
    std::getline(file, plan.optimizer);
    if (std::getline(file, line)) plan.level = number_in(line, OWN_LEVEL);
    if (std::getline(file, line)) plan.usual = number_in(line, NO_LIMIT);
    while (std::getline(file, line)) {
        const size_t blank = line.find(' ');
        if (blank != std::string::npos)
            plan.limits[line.substr(0, blank)] = number_in(line.substr(blank + 1), NO_LIMIT);
    }
    return plan;
}

// --- The log: a line a run, its parts divided by tabs ---

std::string log_line(const OPTIMIZER_RUN& run) {
    std::string line = run.key + "\t" + run.input + "\t" + std::to_string(run.made) + "\t" + run.name + "\t" +
                       run.last + "\t";
    for (const std::string& option : run.options) line += shell_quoted(option) + " ";
    return line + "\n";
}

OPTIMIZER_RUN parse_log_line(const std::string& line) {
    std::istringstream parts(line);
    OPTIMIZER_RUN run;
    std::string made, options;
    for (std::string* part : {&run.key, &run.input, &made, &run.name, &run.last, &options})
        std::getline(parts, *part, '\t');
    run.made = number_in(made, UNKNOWN_CHANGES);
    run.options = split_words(options);
    return run;
}

// One write, so that the lines of runs side by side do not mix.
void append_to_log(const std::string& folder, const OPTIMIZER_RUN& run) {
    const std::string line = log_line(run);
    const int file = open(log_name(folder).c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    if (file < 0 || write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        perror(log_name(folder).c_str());
    if (file >= 0) close(file);
}

// Runs the optimizer with the words. What it prints, without its report of the limit, goes to our output.
int run_limited(const std::string& folder, const WORDS& words, OPTIMIZER_RUN& run) {
    const std::string out = folder + "output." + std::to_string(getpid());
    const int status = run_program(words, out);
    const std::string text = file_text(out);
    unlink(out.c_str());
    const LIMIT_REPORT report = read_limit_report(text);
    run.made = report.made;
    run.last = report.last;
    fputs(text.substr(0, text.find("Stopped after ")).c_str(), stdout);
    return status;
}

} // namespace

std::string prepare_stand_in(const std::string& folder, const PLAN& plan) {
    const std::string script = folder + "pelorus";
    std::ofstream file(plan_name(folder));
    file << plan.optimizer << "\n" << plan.level << "\n" << plan.usual << "\n";
    for (const auto& [key, limit] : plan.limits) file << key << " " << limit << "\n";
    unlink(log_name(folder).c_str());
    std::ofstream(script) << "#!/bin/sh\nexec " << shell_quoted(own_directory() + "pelorus-bisect") << " "
                          << STAND_IN_WORD << " " << shell_quoted(folder) << " \"$@\"\n";
    fs::permissions(script, fs::perms::owner_all);
    return script;
}

std::vector<OPTIMIZER_RUN> read_stand_in(const std::string& folder) {
    std::vector<OPTIMIZER_RUN> runs;
    std::ifstream file(log_name(folder));
    std::string line;
    while (std::getline(file, line)) runs.push_back(parse_log_line(line));
    return runs;
}

int run_stand_in(const std::string& folder, const WORDS& words) {
    const PLAN plan = read_plan(folder);
    WORDS all{plan.optimizer};
    const size_t place = find_input(words);
    if (place == words.size()) { // a question, or an input that is refused anyway
        all.insert(all.end(), words.begin(), words.end());
        return run_program(all);
    }

    OPTIMIZER_RUN run;
    const std::string bytes = file_text(words[place]);
    for (size_t i = 0; i < place; ++i) run.options.push_back(words[i]);
    run.key = key_of(bytes, run.options);
    run.name = source_name(bytes);
    run.input = folder + run.key + ".if";
    if (!write_file_bytes(own_name, run.input, bytes)) return 1;

    const auto found = plan.limits.find(run.key);
    const uint64_t limit = found == plan.limits.end() ? plan.usual : found->second;
    for (const std::string& word : limited_options(run.options, plan.level, limit)) all.push_back(word);
    all.insert(all.end(), words.begin() + static_cast<std::ptrdiff_t>(place), words.end());
    const int status = run_limited(folder, all, run);
    append_to_log(folder, run);
    return status;
}

} // namespace pelorus
