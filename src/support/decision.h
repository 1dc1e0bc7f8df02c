// Decisions: the one call that a pass makes before it changes anything, and the one it makes when it does
// not.
//
//          if (!change(SITE_thread_jump, "goes to {} past {}", target, first)) return false;
//          ...
//          if (is_loop_header(block)) return refuse(SITE_duplicate_tail, "the block heads a loop");
//
// From these calls come the lines of the trace, the counts of `--debug=stats`, the search for a guilty change
// with `--debug=stop_after=N`, and the answer to "why not". A site is a row of support/sites.def, or one of a
// family that a folder adds for a table of its own (the rules of the tree simplifier).
//
// When nobody asked for any of that, a change costs the increment of a counter and a refusal nothing.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace pelorus {

enum SITE : uint16_t {
#define SITE(id, pass, name, what) SITE_##id,
#include "support/sites.def"
#undef SITE
    FIRST_ADDED_SITE, // families of sites follow
};

struct SITE_ROW {
    const char* pass; // as `--disable=` names it
    const char* name; // of the transformation
    const char* what; // it does, in one line
};

// All sites, by number: the table's, then the added ones.
std::span<const SITE_ROW> decision_sites();
// Adds a family; answers the number of its first site. Before the run, from the initializer of a constant:
// the numbers are for the run only.
SITE add_sites(std::span<const SITE_ROW> rows);

struct DECISIONS {
    bool watched = false;   // a trace, statistics or a limit is wanted
    bool texts = false;     // a trace is written or a limit will name a change; valid when watched
    uint64_t changes = 0;   // made in this run
    int32_t block = 0;      // where the pass stands: the block's number; 0 before there are blocks
    uint32_t line = 0;      // of the source; 0 when unknown
    uint32_t call_line = 0; // of the call that was expanded into the line; 0 for none
};
extern DECISIONS decisions;

// Whether anything was changed since the mark was made.
struct CHANGE_MARK {
    uint64_t changes = decisions.changes;
    bool any() const { return decisions.changes != changes; }
};

// Where the next decisions are made, for their lines on the trace.
inline void stand_at(int32_t block, uint32_t line, uint32_t call_line = 0) {
    decisions.block = block, decisions.line = line, decisions.call_line = call_line;
}

// --- The texts of decisions. "{}" stands for the next argument. A folder that wants its records in them
//     declares `append_text` for a pointer to them beside the record. ---

void append_text(std::string& text, std::string_view word);
void append_text(std::string& text, long long number);
inline void append_text(std::string& text, const char* word) { append_text(text, std::string_view(word)); }
inline void append_text(std::string& text, const std::string& word) {
    append_text(text, std::string_view(word));
}
inline void append_text(std::string& text, int number) { append_text(text, static_cast<long long>(number)); }
inline void append_text(std::string& text, long number) { append_text(text, static_cast<long long>(number)); }
inline void append_text(std::string& text, unsigned number) {
    append_text(text, static_cast<long long>(number));
}

// Takes the format up to its next "{}" over into the text, which it answers without.
std::string_view append_format(std::string& text, std::string_view format);

template <class... T>
std::string decision_text(std::string_view format, const T&... arguments) {
    std::string text;
    ((format = append_format(text, format), append_text(text, arguments)), ...);
    return text.append(format);
}

// --- Behind the calls ---

// How the line of a change is printed.
enum class LINE : uint8_t { USUAL, EXACT };
// The limit of `--debug=stop_after` is not reached for this site.
bool is_within_limit(SITE site);
// Counts and traces a change that is made; `followed` says that it follows from an earlier one.
void note_change(SITE site, LINE line, const std::string& text, bool followed);
void note_refusal(SITE site, const char* why, const std::string& details);

template <class... T>
std::string watched_text(const char* format, const T&... arguments) {
    return decisions.texts ? decision_text(format, arguments...) : std::string();
}

// --- The calls ---

template <class... T>
bool ask(SITE site, LINE line, const char* text, const T&... arguments) {
    if (decisions.watched) {
        if (!is_within_limit(site)) return false;
        note_change(site, line, watched_text(text, arguments...), false);
    }
    ++decisions.changes;
    return true;
}

// May this change be made? It is counted and traced as made when the answer is yes. The text says what
// becomes of what; trees in it are as they are before the change.
template <class... T>
[[nodiscard]] bool change(SITE site, const char* text, const T&... arguments) {
    return ask(site, LINE::USUAL, text, arguments...);
}

// The same; the text is the whole line as it is to stand on the trace.
template <class... T>
[[nodiscard]] bool change_exactly(SITE site, const char* text, const T&... arguments) {
    return ask(site, LINE::EXACT, text, arguments...);
}

// For work that knows only afterwards whether it changed something: `may_change` is asked before, and `made`
// said after.
[[nodiscard]] inline bool may_change(SITE site) { return !decisions.watched || is_within_limit(site); }
template <class... T>
void made(SITE site, const char* text, const T&... arguments) {
    if (decisions.watched) note_change(site, LINE::USUAL, watched_text(text, arguments...), false);
    ++decisions.changes;
}

// What must follow from changes already made, such as the removal of a block that lost its last predecessor.
// Counted and traced, never forbidden.
template <class... T>
void follows(SITE site, const char* text, const T&... arguments) {
    if (decisions.watched) note_change(site, LINE::USUAL, watched_text(text, arguments...), true);
    ++decisions.changes;
}

// A change that its site was about to make is not made. `why` is one of a few texts, by which refusals are
// counted; details are for the trace. Answers false, so that a check can end with it.
inline bool refuse(SITE site, const char* why) {
    if (decisions.watched) note_refusal(site, why, "");
    return false;
}
template <class... T>
bool refuse(SITE site, const char* why, const char* details, const T&... arguments) {
    if (decisions.watched) note_refusal(site, why, watched_text(details, arguments...));
    return false;
}

// --- The run ---

// Reads what is wanted from the pseudo-options and the trace. At the start of the run and of each function,
// since a function's own options may ask.
void watch_decisions();
// The function whose decisions follow, and its end, which files them under its name.
void begin_function_decisions(const char* name);
void end_function_decisions();
// How often each site changed something in this run, by its number; counted only while `--debug=stats` asks.
std::vector<uint64_t> changes_by_site();
// Prints what `--debug=stats` and `--debug=stats_json` asked for. At the end of the run.
void report_decisions(FILE* stream);
// Forgets everything, for a run that starts again (tests).
void reset_decisions();

} // namespace pelorus
