// Whether two programs behave alike, and what a run's counts look like.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "ir/opcodes.h"
#include "machine_state.h"

namespace pelorus {

namespace {

std::string outcome_text(const OUTCOME& outcome) {
    switch (outcome.kind) {
    case OUTCOME_KIND::VALUE: return "exits with " + std::to_string(outcome.status);
    case OUTCOME_KIND::TRAP: return "traps: " + outcome.message;
    case OUTCOME_KIND::LIMIT: return "reaches a limit: " + outcome.message;
    case OUTCOME_KIND::UNSUPPORTED: return "needs what is not supported: " + outcome.message;
    case OUTCOME_KIND::BROKEN: return "breaks a promise: " + outcome.message;
    }
    return {};
}

std::string calls_text(const OUTCOME& outcome) {
    constexpr size_t SHOWN = 4;
    std::string text;
    for (size_t i = 0; i < outcome.calls.size() && i < SHOWN; i++) {
        const CALL_PLACE& call = outcome.calls[i];
        text += "    " + std::string(i ? "called by " : "in ") + call.function;
        if (call.line) text += " (" + call.file + ":" + std::to_string(call.line) + ")";
        text += '\n';
    }
    return text;
}

// A text on one line.
std::string shown(const std::string& text) {
    constexpr size_t LONGEST = 200;
    std::string line;
    for (const char c : text.substr(0, LONGEST)) {
        char escaped[8];
        if (c == '\n')
            line += "\\n";
        else if (uint8_t(c) < ' ' || uint8_t(c) >= 127) {
            snprintf(escaped, sizeof escaped, "\\x%02x", uint8_t(c));
            line += escaped;
        } else
            line += c;
    }
    return text.size() > LONGEST ? line + "..." : line;
}

const char* kind_text(EVENT::KIND kind) {
    switch (kind) {
    case EVENT::VOLATILE_READ: return "volatile read ";
    case EVENT::VOLATILE_WRITE: return "volatile write ";
    case EVENT::CALL: return "call ";
    case EVENT::OUTPUT: return "output ";
    }
    return "";
}

std::string event_text(const PROGRAM& program, const RUN_RESULT& run, size_t number) {
    if (number >= run.events.size()) return outcome_text(run.outcome) + "\n" + calls_text(run.outcome);
    const EVENT& event = run.events[number];
    std::string text = kind_text(event.kind) + shown(event.text);
    if (event.place != NO_NUMBER) text += "\n    in " + place_text(program, event.place);
    return text + "\n";
}

// A copy of the programs' folder for one run, so that neither sees what the other writes.
struct FOLDER_COPY {
    std::filesystem::path place; // empty without a folder

    explicit FOLDER_COPY(const std::string& folder) {
        if (folder.empty()) return;
        std::error_code failed;
        std::string name = std::filesystem::temp_directory_path(failed) / "icode-run-XXXXXX";
        if (!mkdtemp(name.data())) return;
        place = name;
        std::filesystem::copy(folder, place, std::filesystem::copy_options::recursive, failed);
    }
    ~FOLDER_COPY() {
        std::error_code failed;
        if (!place.empty()) std::filesystem::remove_all(place, failed);
    }
    FOLDER_COPY(const FOLDER_COPY&) = delete;
    FOLDER_COPY& operator=(const FOLDER_COPY&) = delete;
};

RUN_RESULT recorded_run(const PROGRAM& program, RUN_OPTIONS options, const GLOBAL_LAYOUT& layout) {
    const FOLDER_COPY copy(options.folder);
    options.folder = copy.place;
    options.record = options.quiet = true;
    return run_with_layout(program, options, layout);
}

bool equal_events(const EVENT& a, const EVENT& b) { return a.kind == b.kind && a.text == b.text; }

// The first event in which they differ, which may be the end; SIZE_MAX for none.
size_t first_difference(const RUN_RESULT& a, const RUN_RESULT& b) {
    const size_t common = std::min(a.events.size(), b.events.size());
    for (size_t i = 0; i < common; i++)
        if (!equal_events(a.events[i], b.events[i])) return i;
    const bool same_end = a.events.size() == b.events.size() && a.outcome.kind == b.outcome.kind &&
                          a.outcome.status == b.outcome.status;
    return same_end ? SIZE_MAX : common;
}

// Does the program do something else when what nobody wrote holds other bytes? Then it may do anything.
bool depends_on_fill(const PROGRAM& program, const RUN_RESULT& run, RUN_OPTIONS options,
                     const GLOBAL_LAYOUT& layout) {
    for (const uint8_t fill : {uint8_t(~options.fill), uint8_t(0), uint8_t(1)}) {
        options.fill = fill;
        if (first_difference(run, recorded_run(program, options, layout)) != SIZE_MAX) return true;
    }
    return false;
}

std::string undecided_text(const PROGRAM& program, const OUTCOME& outcome) {
    return "undecided: " + program.name + " " + outcome_text(outcome) + "\n" + calls_text(outcome);
}

} // namespace

COMPARISON compare_runs(const PROGRAM& a, const PROGRAM& b, const RUN_OPTIONS& options, std::string& text) {
    GLOBAL_LAYOUT layout;
    add_to_layout(layout, a);
    add_to_layout(layout, b);
    const RUN_RESULT first = recorded_run(a, options, layout);
    if (first.outcome.kind == OUTCOME_KIND::BROKEN) {
        text = a.name + " " + outcome_text(first.outcome) + "\n" + calls_text(first.outcome);
        return COMPARISON::DIFFERENT;
    }
    if (first.outcome.kind != OUTCOME_KIND::VALUE) {
        text = undecided_text(a, first.outcome);
        return COMPARISON::UNDECIDED;
    }
    // What is optimized may take longer for once, but not much.
    RUN_OPTIONS longer = options;
    if (options.steps) longer.steps = options.steps * 2 + 1000;
    const RUN_RESULT second = recorded_run(b, longer, layout);
    if (second.outcome.kind == OUTCOME_KIND::UNSUPPORTED) {
        text = undecided_text(b, second.outcome);
        return COMPARISON::UNDECIDED;
    }
    const size_t number = first_difference(first, second);
    if (number == SIZE_MAX) {
        text =
            "same: " + std::to_string(first.events.size()) + " events, " + outcome_text(first.outcome) + "\n";
        return COMPARISON::SAME;
    }
    text = "different at event " + std::to_string(number + 1) + "\n" + a.name + ": " +
           event_text(a, first, number) + b.name + ": " + event_text(b, second, number);
    if (!depends_on_fill(a, first, options, layout)) return COMPARISON::DIFFERENT;
    text = "undecided: " + a.name + " depends on a variable that nobody has written\n" + text;
    return COMPARISON::UNDECIDED;
}

// --- Counts ---

namespace {

std::string counts_line(const std::string& name, const OPERATION_COUNTS& counts) {
    char line[200];
    snprintf(line, sizeof line, "%12llu %12llu %12llu %12llu %12llu  ",
             static_cast<unsigned long long>(counts.operations),
             static_cast<unsigned long long>(counts.loads), static_cast<unsigned long long>(counts.stores),
             static_cast<unsigned long long>(counts.calls), static_cast<unsigned long long>(counts.branches));
    return line + name + "\n";
}

} // namespace

std::string statistics_text(const RUN_RESULT& run) {
    std::string text = "  operations        loads       stores        calls     branches  function\n";
    std::vector<RUN_RESULT::FUNCTION_ROW> rows = run.functions;
    std::ranges::stable_sort(rows, std::ranges::greater(),
                             [](const RUN_RESULT::FUNCTION_ROW& row) { return row.counts.operations; });
    for (const RUN_RESULT::FUNCTION_ROW& row : rows) text += counts_line(row.name, row.counts);
    text += counts_line("all", run.counts) + "\n  operations  opcode\n";
    std::vector<std::pair<uint64_t, int32_t>> opcodes;
    for (int32_t op = 0; op <= LAST_OPCODE; op++)
        if (run.opcodes[op]) opcodes.emplace_back(run.opcodes[op], op);
    std::ranges::stable_sort(opcodes, std::ranges::greater(), &std::pair<uint64_t, int32_t>::first);
    for (const auto& [count, op] : opcodes)
        text +=
            counts_line(opcode_name(op), {.operations = count}).substr(0, 12) + "  " + opcode_name(op) + "\n";
    return text;
}

} // namespace pelorus
