// See strict.h.
#include "driver/options/strict.h"

#include <algorithm>
#include <string>
#include <vector>

#include "driver/files.h"
#include "driver/options/option_state.h"
#include "driver/options/pseudo_names.h"
#include "driver/pipeline.h"
#include "support/pseudo_options.h"

namespace pelorus {

namespace {

// --- Did you mean ---

// How many letters must be left out, put in, exchanged for others or swapped with their neighbours to make
// one text of the other.
size_t edit_distance(std::string_view a, std::string_view b) {
    std::vector<std::vector<size_t>> cost(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            if (!i || !j) {
                cost[i][j] = i + j;
                continue;
            }
            const bool same = a[i - 1] == b[j - 1];
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + !same});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
        }
    }
    return cost[a.size()][b.size()];
}

constexpr size_t LETTERS_PER_SLIP = 3; // one slip in three letters still reads as the same name
constexpr size_t LONGEST_TYPED = 64;   // nobody types a longer name
constexpr size_t MOST_NOTED = 20;      // of one object; a damaged file may hold thousands

struct SUGGESTION {
    std::string name;
    size_t distance = SIZE_MAX;
};

void consider(SUGGESTION& best, std::string_view typed, std::string_view name) {
    if (typed.size() > LONGEST_TYPED) return;
    const size_t distance = edit_distance(typed, name);
    const size_t most = std::max<size_t>(1, typed.size() / LETTERS_PER_SLIP);
    if (distance > most || distance >= std::min(typed.size(), name.size()) || distance >= best.distance)
        return;
    best = {std::string(name), distance};
}

std::string question(const SUGGESTION& best, const char* before) {
    return best.name.empty() ? "" : "; did you mean " + std::string(before) + best.name + "?";
}

std::string_view up_to_equals(std::string_view text) { return text.substr(0, text.find('=')); }

SUGGESTION closest_option(std::string_view rest, std::string_view last) {
    SUGGESTION best;
    for (const OPTION_ROW& row : option_rows()) {
        const OPTION_NAME name = option_name(row);
        consider(best, up_to_equals(rest), name.view());
        consider(best, up_to_equals(last), name.view());
    }
    return best;
}

SUGGESTION closest_name(std::string_view prefix, std::string_view typed) {
    // "debug:name" without a value is a name as well, but hardly meant as one.
    if (typed.starts_with(prefix) && typed.substr(prefix.size()).starts_with(':'))
        typed.remove_prefix(prefix.size() + 1);
    SUGGESTION best;
    for (const PSEUDO_NAME& known : pseudo_names())
        if (known.prefix == prefix) consider(best, typed, known.name);
    return best;
}

// --- Noting ---

bool has_noted_enough(const OPTIONS& options) { return options.unknown.size() >= MOST_NOTED; }

void note(OPTIONS& options, std::string text) {
    if (has_noted_enough(options)) return;
    text = "ERROR: " + text + "\n";
    if (!options.origin.empty()) text += origin_line(options);
    options.unknown.push_back(std::move(text));
}

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

void note_unknown_name(OPTIONS& options, std::string_view option, std::string_view prefix,
                       std::string_view name) {
    note(options, "unknown name " + quoted(name) + " in -" + std::string(option) +
                      question(closest_name(prefix, name), ""));
}

// An item with a value may name its prefix itself.
void note_unknown_item(OPTIONS& options, std::string_view option, std::string_view item) {
    std::string_view prefix = option.substr(1);
    const size_t equals = item.find('=');
    std::string_view name = item.substr(0, equals);
    if (equals != std::string_view::npos) {
        for (const std::string_view other : {"debug", "disable"}) {
            if (!name.starts_with(other) || !name.substr(other.size()).starts_with(':')) continue;
            prefix = other;
            name.remove_prefix(other.size() + 1);
            break;
        }
    }
    if (name.empty() && item.empty()) return;
    if (!is_pseudo_name(prefix, name)) return note_unknown_name(options, option, prefix, name);
    if (equals == std::string_view::npos || is_pseudo_value(item.substr(equals + 1))) return;
    note(options, "value " + quoted(item.substr(equals + 1)) + " of " + quoted(name) + " in -" +
                      std::string(option) + " is no number");
}

} // namespace

void note_unknown_text(OPTIONS& options, std::string_view rest, std::string_view last) {
    if (has_noted_enough(options)) return;
    const std::string better = question(closest_option(rest, last), "-");
    if (rest.size() == options.text.size())
        note(options, "unknown option -" + options.text + better);
    else
        note(options, quoted(rest) + " in -" + options.text + " is no option" + better);
}

void note_stray_word(OPTIONS& options, std::string_view word) {
    note(options, quoted(word) + " is no option");
}

void note_unknown_names(OPTIONS& options, const OPTION_ROW& row, std::string_view list) {
    const OPTION_NAME option = option_name(row);
    while (!has_noted_enough(options)) {
        const size_t comma = list.find(',');
        note_unknown_item(options, option.view(), list.substr(0, comma));
        if (comma == std::string_view::npos) return;
        list.remove_prefix(comma + 1);
    }
}

// The row that `--skip_step` calls `number`; null when there is none.
const PASS* row_of_number(long number) {
    const std::span<const PASS> steps = pipeline_steps().passes;
    const auto row_at = [](std::span<const PASS> rows, long place) {
        return place > 0 && place <= static_cast<long>(rows.size()) ? &rows[static_cast<size_t>(place - 1)]
                                                                    : nullptr;
    };
    if (number < MEMBER_FACTOR) return row_at(steps, number);
    const PASS* group = row_at(steps, number / MEMBER_FACTOR);
    return group ? row_at(group->members, number % MEMBER_FACTOR) : nullptr;
}

void note_fixed_step(OPTIONS& options, const OPTION_ROW& row, long number) {
    const PASS* pass = row_of_number(number);
    if (pass && pass->need == NEED::MAY_SKIP) return;
    const std::string step = "step " + std::to_string(number);
    const std::string option = std::string("-") + option_name(row).c_str();
    if (pass)
        note(options, step + " (" + pass->name + ") cannot be left out by " + option);
    else
        note(options, "there is no " + step + " for " + option);
}

void note_options_of_run(OPTIONS& options) {
    // They are done with before the first function is read.
    for (const int code :
         {OPT_HELP, OPT_HELP_SHORT, OPT_VERSION, OPT_DEBUG, OPT_INFO, OPT_INFO_FILE, OPT_IGNORE_FILE_SETS})
        if (option_given(options, code))
            note(options,
                 std::string("option -") + option_name(option_row(code)).c_str() + " is for the whole run");
}

void refuse_unknown_texts(const OPTIONS& options) {
    if (options.unknown.empty() || !debug_switch("strict")) return;
    for (const std::string& text : options.unknown) fputs(text.c_str(), stderr);
    leave_run();
}

} // namespace pelorus
