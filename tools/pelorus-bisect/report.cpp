// See report.h.
//
// The trees before and after the change come from the outputs of two runs, one with the change and one that
// stops in front of it. All later changes are forbidden in both, so that their texts differ by this change
// and what follows from it.
#include "report.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "common/difference.h"
#include "common/process.h"
#include "common/words.h"
#include "icode/text_form.h"
#include "stand_in.h"

namespace pelorus {

namespace fs = std::filesystem;

namespace {

// The optimizer's run with the guilty change.
struct CASE {
    const OPTIMIZER_RUN* run;
    int level;
    uint64_t number; // of the change within the run
};

WORDS optimizer_words(const RUNS& runs, const CASE& found, uint64_t limit, const std::string& output) {
    WORDS words{runs.request.optimizer};
    for (const std::string& word : limited_options(found.run->options, found.level, limit))
        words.push_back(word);
    words.push_back(found.run->input);
    words.push_back(output);
    return words;
}

std::string joined(const WORDS& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " ") + shell_quoted(word);
    return text;
}

// --- The change ---

// "f(): simpcfg: BB 4, line 17: jump threading: to BB 7, past BB 5", taken apart.
struct CHANGE_WORDS {
    std::string function, pass, place, site, text;
};

bool take_apart(std::string line, CHANGE_WORDS& words) {
    for (std::string* part : {&words.function, &words.pass, &words.place, &words.site}) {
        const size_t end = line.find(": ");
        if (end == std::string::npos) return false;
        *part = line.substr(0, end);
        line.erase(0, end + 2);
    }
    words.text = line;
    return true;
}

void print_change(const std::string& line) {
    CHANGE_WORDS words;
    if (!take_apart(line, words)) {
        printf("  change    %s\n", line.c_str());
        return;
    }
    printf("  function  %s\n  pass      %s\n  site      %s\n  place     %s\n  change    %s\n",
           words.function.c_str(), words.pass.c_str(), words.site.c_str(), words.place.c_str(),
           words.text.c_str());
}

// The word between the first two quotation marks.
std::string quoted_name(std::string_view line) {
    line.remove_prefix(line.find('\'') + 1);
    return std::string(line.substr(0, line.find('\'')));
}

// An optimizer that fails in the change does not come to name it; its trace does.
std::string last_traced_change(const RUNS& runs, const CASE& found) {
    const std::string trace = runs.request.folder + "trace.txt";
    WORDS words = optimizer_words(runs, found, found.number, runs.request.folder + "traced.opt");
    words.insert(words.begin() + 1, {"--trace", "--print_debug"});
    run_job(words, trace, runs.request.seconds);
    std::string function, pass, change;
    const std::string text = file_text(trace);
    for (const std::string_view line : split_lines(text)) {
        const size_t banner = line.find("ENTERING '"), summary = line.find("() has these properties: ");
        if (banner != std::string_view::npos) pass = quoted_name(line.substr(banner));
        if (summary != std::string_view::npos) function = line.substr(0, summary + 2);
        if (line.starts_with("\t") && line.find("line ") != std::string_view::npos &&
            line.find(" refused: ") == std::string_view::npos)
            change = line.substr(1);
    }
    if (change.empty()) return "(pelorus fails before it can name the change)";
    const size_t site = change.find(": ") + 2;
    // The sites of the tree simplifier have names such as PLUS.add_sums, whoever calls it.
    if (change.substr(site, change.find(": ", site) - site).find('.') != std::string::npos) pass = "simplify";
    return function + ": " + pass + ": " + change;
}

// --- The trees ---

// The text of a file without the comment that has the optimizer's command line.
std::string icode_text(const std::string& file) {
    std::string kept;
    const std::string text = disassemble_icode(file_text(file), false).text;
    for (const std::string_view line : split_lines(text))
        if (!line.starts_with("comment \";")) kept.append(line).append("\n");
    return kept;
}

bool is_function_line(std::string_view line) { return line.starts_with("function "); }

void print_trees(const std::string& before, const std::string& after) {
    const std::string difference = difference_text(before, after, is_function_line);
    if (difference.empty()) {
        puts("The output is the same with and without this change.");
        return;
    }
    constexpr size_t LONGEST = 20'000;
    printf("The icode without this change (-) and with it (+):\n%s", difference.substr(0, LONGEST).c_str());
    if (difference.size() > LONGEST) puts("... and so on; --keep=FOLDER keeps all of it.");
}

// --- What is kept ---

void write_again(const RUNS& runs, const CASE& found, const std::string& kept) {
    CASE copy = found;
    OPTIMIZER_RUN run = *found.run;
    run.input = kept + "input.if";
    copy.run = &run;
    const std::string script = kept + "again";
    std::ofstream file(script);
    file << "#!/bin/sh\n# Optimizes with the change and without it";
    file << (runs.request.input.empty() ? ".\n" : ", and checks both.\n");
    for (const char* name : {"after", "before"}) {
        const std::string output = kept + name + ".opt";
        const uint64_t limit = *name == 'a' ? found.number : found.number - 1;
        file << joined(optimizer_words(runs, copy, limit, output)) << "\n";
        if (runs.request.input.empty()) continue;
        WORDS check = runs.request.command;
        check.push_back(output);
        file << joined(check) << "\necho \"" << name << ": status $?\"\n";
    }
    file.close();
    fs::permissions(script, fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec,
                    fs::perm_options::add);
}

void keep_files(const RUNS& runs, const CASE& found, const std::string& kept) {
    std::error_code error;
    fs::create_directories(kept, error);
    const auto copy = [&error](const std::string& from, const std::string& to) {
        if (!error) fs::copy_file(from, to, error);
    };
    copy(found.run->input, kept + "input.if");
    for (const std::string name : {"before", "after"}) {
        const std::string output = runs.request.folder + name + ".opt";
        if (!fs::exists(output)) continue;
        copy(output, kept + name + ".opt");
        std::ofstream(kept + name + ".ict") << icode_text(output);
    }
    if (!error) write_again(runs, found, kept);
    if (error)
        fprintf(stderr, "%s: error: cannot write to '%s': %s\n", own_name, kept.c_str(),
                error.message().c_str());
    else
        printf("Kept: %sinput.if, before and after as .opt and .ict; %sagain shows it.\n", kept.c_str(),
               kept.c_str());
}

// --- The answers ---

std::string level_text(const RUNS& runs, int level) {
    return "level " + std::to_string(level == OWN_LEVEL ? level_of_options(runs) : level);
}

void print_steadiness(const FINDING& finding) {
    if (finding.good_again)
        printf("Not monotonic: with %llu changes the check holds again. A later change hides the fault or "
               "undoes this one.\n",
               static_cast<unsigned long long>(finding.good_again));
    if (finding.bad_before)
        printf("Not monotonic: with %llu changes the check fails, too. There are several faults, or an "
               "earlier change lays the ground.\n",
               static_cast<unsigned long long>(finding.bad_before));
}

void report_change(RUNS& runs, const FINDING& finding, const std::string& kept) {
    CASE found{nullptr, finding.level, 0};
    found.run = run_at_limit(runs, finding.level, finding.guilty, found.number);
    if (!found.run) return;
    const std::string folder = runs.request.folder;
    const std::string before = folder + "before.opt", after = folder + "after.opt";
    run_job(optimizer_words(runs, found, found.number - 1, before), folder + "optimizer.txt",
            runs.request.seconds);
    const int status = run_job(optimizer_words(runs, found, found.number, after), folder + "optimizer.txt",
                               runs.request.seconds);
    const LIMIT_REPORT said = read_limit_report(file_text(folder + "optimizer.txt"));

    printf("At %s the check fails from change %llu", level_text(runs, finding.level).c_str(),
           static_cast<unsigned long long>(finding.guilty));
    if (finding.changes != UNKNOWN_CHANGES)
        printf(" of %llu", static_cast<unsigned long long>(finding.changes));
    printf(" on:\n  input     %s\n", found.run->name.c_str());
    print_change(said.last.empty() ? last_traced_change(runs, found) : said.last);
    print_steadiness(finding);
    if (status == 0)
        print_trees(icode_text(before), icode_text(after));
    else
        printf("pelorus itself fails in it (%s).\n", status_text(status).c_str());
    if (!kept.empty())
        keep_files(runs, found, kept);
    else if (!runs.request.input.empty())
        printf("Again: %s\n",
               joined(optimizer_words(runs, found, found.number, runs.request.input + ".bad")).c_str());
}

void report_without_changes(RUNS& runs, const FINDING& finding) {
    printf("At %s the check fails even when the optimizer makes no change.\n",
           level_text(runs, finding.level).c_str());
    if (runs.request.input.empty())
        puts("The fault is in what runs before or behind the optimizer, in the command, or in reading and "
             "writing icode.");
    else if (input_is_good(runs))
        puts("For the input itself it holds: reading, building the graph or writing is to blame.");
    else
        puts("For the input itself it fails, too: the optimizer is not to blame.");
}

} // namespace

void report_finding(RUNS& runs, const FINDING& finding, const std::string& kept) {
    switch (finding.answer) {
    case ANSWER::FOUND: report_change(runs, finding, kept); break;
    case ANSWER::NEVER_FAILS: puts("The check holds at every level that was tried."); break;
    case ANSWER::FAILS_WITHOUT_CHANGES: report_without_changes(runs, finding); break;
    case ANSWER::UNSTEADY:
        printf("At %s the check does not give the same answer for the same changes twice: it depends on "
               "something else.\n",
               level_text(runs, finding.level).c_str());
        break;
    }
    printf("%d runs\n", runs.count);
}

} // namespace pelorus
