// Decisions: the texts, the limit, the counts and their report; see decision.h.
#include "support/decision.h"

#include <cstring>
#include <map>
#include <vector>

#include "support/pseudo_options.h"
#include "support/trace.h"

namespace pelorus {

DECISIONS decisions;

namespace {

// Made on first use, since families are added while the program starts.
std::vector<SITE_ROW>& rows() {
    static std::vector<SITE_ROW> all{
#define SITE(id, pass, name, what) {pass, name, what},
#include "support/sites.def"
#undef SITE
    };
    return all;
}

} // namespace

std::span<const SITE_ROW> decision_sites() { return rows(); }

SITE add_sites(std::span<const SITE_ROW> added) {
    const auto first = static_cast<SITE>(rows().size());
    rows().insert(rows().end(), added.begin(), added.end());
    return first;
}

// --- Texts ---

void append_text(std::string& text, std::string_view word) { text += word; }
void append_text(std::string& text, long long number) { text += std::to_string(number); }

std::string_view append_format(std::string& text, std::string_view format) {
    const size_t hole = format.find("{}");
    text += format.substr(0, hole);
    return hole == std::string_view::npos ? std::string_view() : format.substr(hole + 2);
}

// --- Counts and the limit ---

namespace {

using REASON_COUNTS = std::map<std::string, uint64_t>;

struct SITE_COUNT {
    uint64_t changes = 0;
    REASON_COUNTS refusals{};

    uint64_t refused() const {
        uint64_t sum = 0;
        for (const auto& [reason, count] : refusals) sum += count;
        return sum;
    }
};
using SITE_COUNTS = std::map<uint16_t, SITE_COUNT>;

struct FUNCTION_COUNTS {
    std::string name;
    SITE_COUNTS sites;
};

struct WATCH {
    bool statistics = false;
    bool json = false;
    bool limited = false;
    uint64_t limit = 0;              // changes that may be made at the sites under the limit
    uint64_t counted = 0;            // of those, made so far
    std::vector<bool> under_limit{}; // by site; empty: all of them
    std::string last_allowed{};      // line of the last change under the limit
    std::string function{};          // being processed; empty between functions
    SITE_COUNTS current{};           // of the function
    std::vector<FUNCTION_COUNTS> functions{};
};
WATCH watch;

// The sites of the passes that `--debug=stop_in:PASS` names; none named: all sites.
std::vector<bool> sites_under_limit() {
    std::vector<bool> chosen;
    bool any = false;
    for (const SITE_ROW& row : rows()) {
        chosen.push_back(debug_switch(std::string("stop_in:") + row.pass) != 0);
        any |= chosen.back();
    }
    return any ? chosen : std::vector<bool>();
}

bool is_under_limit(SITE site) {
    return watch.limited && (watch.under_limit.empty() || watch.under_limit[site]);
}

std::string place_text() {
    std::string place;
    if (decisions.block) place = "BB " + std::to_string(decisions.block) + ", ";
    place += "line " + std::to_string(decisions.line);
    if (decisions.call_line) place += " called in line " + std::to_string(decisions.call_line);
    return place;
}

std::string change_line(SITE site, const std::string& text) {
    return place_text() + ": " + rows()[site].name + ": " + text;
}

} // namespace

bool is_within_limit(SITE site) { return !is_under_limit(site) || watch.counted < watch.limit; }

void note_change(SITE site, LINE line, const std::string& text, bool followed) {
    if (is_under_limit(site) && !followed && ++watch.counted == watch.limit)
        watch.last_allowed = watch.function + "(): " + rows()[site].pass + ": " + change_line(site, text);
    if (watch.statistics) watch.current[site].changes++;
    if (!debug_on()) return;
    if (line == LINE::EXACT)
        fputs(text.c_str(), debug_file());
    else
        fprintf(debug_file(), "\n\t%s\n", change_line(site, text).c_str());
}

void note_refusal(SITE site, const char* why, const std::string& details) {
    if (watch.statistics) watch.current[site].refusals[why]++;
    if (!debug_on()) return;
    fprintf(debug_file(), "\n\t%s: %s refused: %s%s%s%s\n", place_text().c_str(), rows()[site].name, why,
            details.empty() ? "" : " (", details.c_str(), details.empty() ? "" : ")");
}

// --- The run ---

void watch_decisions() {
    watch.json = debug_switch("stats_json") != 0;
    watch.statistics = watch.json || debug_switch("stats") != 0;
    watch.limited = has_debug_switch("stop_after");
    if (watch.limited) {
        watch.limit = static_cast<uint32_t>(debug_switch("stop_after"));
        watch.under_limit = sites_under_limit();
    }
    decisions.watched = debug_on() || watch.statistics || watch.limited;
    decisions.texts = debug_on() || watch.limited;
}

void begin_function_decisions(const char* name) {
    watch_decisions();
    watch.function = name;
    stand_at(0, 0);
}

void end_function_decisions() {
    if (!watch.current.empty()) watch.functions.push_back({watch.function, std::move(watch.current)});
    watch.current.clear();
    watch.function.clear();
}

void reset_decisions() {
    watch = WATCH();
    decisions = DECISIONS();
}

// --- The report ---

namespace {

SITE_COUNTS counts_of_file() {
    SITE_COUNTS sum;
    for (const FUNCTION_COUNTS& function : watch.functions)
        for (const auto& [site, counts] : function.sites) {
            sum[site].changes += counts.changes;
            for (const auto& [reason, count] : counts.refusals) sum[site].refusals[reason] += count;
        }
    return sum;
}

} // namespace

std::vector<uint64_t> changes_by_site() {
    std::vector<uint64_t> changes(rows().size());
    for (const auto& [site, counts] : counts_of_file()) changes[site] = counts.changes;
    return changes;
}

namespace {

// Sites that never changed anything, refused or not.
std::vector<uint16_t> silent_sites(const SITE_COUNTS& counts) {
    std::vector<uint16_t> silent;
    for (size_t i = 0; i < rows().size(); ++i) {
        const auto found = counts.find(static_cast<uint16_t>(i));
        if (found == counts.end() || !found->second.changes) silent.push_back(static_cast<uint16_t>(i));
    }
    return silent;
}

unsigned long long number(uint64_t value) { return value; }

void print_counts(FILE* stream, const char* title, const SITE_COUNTS& counts) {
    fprintf(stream, "%s\n", title);
    for (const auto& [site, count] : counts) {
        fprintf(stream, "%10llu  %s: %s\n", number(count.changes), rows()[site].pass, rows()[site].name);
        for (const auto& [reason, times] : count.refusals)
            fprintf(stream, "%10s  refused %llu: %s\n", "", number(times), reason.c_str());
    }
}

void print_statistics(FILE* stream) {
    for (const FUNCTION_COUNTS& function : watch.functions)
        print_counts(stream, ("Decisions in " + function.name + "()").c_str(), function.sites);
    const SITE_COUNTS sum = counts_of_file();
    print_counts(stream, "Decisions in the file", sum);
    fprintf(stream, "Never made\n");
    for (const uint16_t site : silent_sites(sum))
        fprintf(stream, "%10s  %s: %s\n", "", rows()[site].pass, rows()[site].name);
    fprintf(stream, "%10llu  changes in all\n", number(decisions.changes));
}

std::string json_text(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        if (static_cast<unsigned char>(c) >= 0x20) quoted += c;
    }
    return quoted + "\"";
}

void print_json_site(FILE* stream, uint16_t site) {
    fprintf(stream, "{\"pass\": %s, \"name\": %s", json_text(rows()[site].pass).c_str(),
            json_text(rows()[site].name).c_str());
}

void print_json_counts(FILE* stream, const SITE_COUNTS& counts) {
    fputs("[", stream);
    const char* between = "";
    for (const auto& [site, count] : counts) {
        fputs(between, stream);
        print_json_site(stream, site);
        fprintf(stream, ", \"changes\": %llu, \"refused\": %llu, \"reasons\": {", number(count.changes),
                number(count.refused()));
        const char* comma = "";
        for (const auto& [reason, times] : count.refusals) {
            fprintf(stream, "%s%s: %llu", comma, json_text(reason).c_str(), number(times));
            comma = ", ";
        }
        fputs("}}", stream);
        between = ",\n    ";
    }
    fputs("]", stream);
}

void print_json(FILE* stream) {
    const SITE_COUNTS sum = counts_of_file();
    fprintf(stream, "{\"changes\": %llu,\n \"functions\": [", number(decisions.changes));
    const char* between = "\n  ";
    for (const FUNCTION_COUNTS& function : watch.functions) {
        fprintf(stream, "%s{\"name\": %s, \"sites\": ", between, json_text(function.name).c_str());
        print_json_counts(stream, function.sites);
        fputs("}", stream);
        between = ",\n  ";
    }
    fputs("],\n \"file\": ", stream);
    print_json_counts(stream, sum);
    fputs(",\n \"never\": [", stream);
    between = "";
    for (const uint16_t site : silent_sites(sum)) {
        fputs(between, stream);
        print_json_site(stream, site);
        fputs("}", stream);
        between = ",\n    ";
    }
    fputs("]}\n", stream);
}

} // namespace

void report_decisions(FILE* stream) {
    if (watch.json)
        print_json(stream);
    else if (watch.statistics)
        print_statistics(stream);
    if (!watch.limited) return;
    fprintf(stream, "Stopped after %llu of the changes asked for: %llu made\n", number(watch.limit),
            number(watch.counted));
    if (!watch.last_allowed.empty()) fprintf(stream, "The last one: %s\n", watch.last_allowed.c_str());
}

} // namespace pelorus
