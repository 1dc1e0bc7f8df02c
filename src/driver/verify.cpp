// See verify.h.
#include "driver/verify.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cfg/bb.h"
#include "cfg/fingerprint.h"
#include "driver/files.h"
#include "icode/validate_file.h"
#include "ir/tree_text.h"
#include "ir/validate_function.h"
#include "support/checking.h"
#include "support/fatal.h"
#include "support/internal_error.h"
#include "support/pseudo_options.h"
#include "support/run.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

constexpr uint64_t MOST_OUTPUT_FAULTS = 20; // named of one file
constexpr size_t LONGEST_STATEMENT = 200;   // characters of a statement's text

struct FOUND_FAULT {
    std::string what;  // rule and message
    std::string place; // of the node: what tells two faults of one kind apart
    std::string text;  // block and statement, for the user
};

struct VERIFICATION {
    bool active = false;
    uint64_t fingerprint = 0;
    bool unchecked = false;         // something changed while the function could not be checked
    std::vector<FOUND_FAULT> known; // of the last check
    uint64_t faults = 0;            // named in the whole run
};
VERIFICATION verification;

bool is_asked_for() { return debug_switch("verify") != 0; }

// --- Collecting ---

void collect(void* context, const FAULT& fault) {
    FOUND_FAULT found;
    found.what = std::string("rule ") + rule_id(fault.rule) + ": " + fault.message;
    if (fault.node) found.place = short_tree_text(fault.node, LONGEST_STATEMENT);
    if (fault.bb) found.text = "BB" + std::to_string(fault.bb) + ": ";
    if (fault.stmt) found.text += short_tree_text(fault.stmt, LONGEST_STATEMENT);
    static_cast<std::vector<FOUND_FAULT>*>(context)->push_back(found);
}

FUNCTION_CHECK function_check() {
    FUNCTION_CHECK check;
    check.returned = function_return_type();
    for (const SYMBOL* symbol = function_symbols.parameters.first; symbol; symbol = symbol->next)
        check.has_parameters |= symbol->keep != 0;
    return check;
}

void check_together(FUNCTION_CHECK& check, const STMT* cells, int bb, const FAULT_SINK& sink) {
    for (; cells; cells = cells->next) check_in_function(check, cells->tree, {cells->tree, bb, &sink});
}

std::vector<FOUND_FAULT> faults_of_graph() {
    std::vector<FOUND_FAULT> found;
    const FAULT_SINK sink{collect, &found};
    check_cfg(&sink);
    // The checks of statements among each other count on each one being well-formed.
    if (validate_stmts(&sink)) return found;
    FUNCTION_CHECK check = function_check();
    for (const BB* block = flow_graph.bb_list; block; block = block->dflink)
        check_together(check, block->stmts, block->dfn, sink);
    return found;
}

std::vector<FOUND_FAULT> faults_of_list() {
    std::vector<FOUND_FAULT> found;
    const FAULT_SINK sink{collect, &found};
    std::vector<const STMT*> cells; // in the order of the function
    for (const STMT* cell = function.statements; cell; cell = cell->next) cells.push_back(cell);
    FUNCTION_CHECK check = function_check();
    for (auto cell = cells.rbegin(); cell != cells.rend(); ++cell) {
        const NODE* stmt = (*cell)->tree;
        if (stmt->op == OP_LABELDEF || stmt->op == OP_ASM || stmt->op == OP_PPRAGMA) continue;
        if (validate_stmt(stmt, 0, check.first, &sink))
            check.first = false;
        else
            check_in_function(check, stmt, {stmt, 0, &sink});
    }
    return found;
}

std::vector<FOUND_FAULT> faults_of_function() {
    return flow_graph.bb_list ? faults_of_graph() : faults_of_list();
}

// --- Comparing ---

// Faults of a kind that has become more frequent, without those that were at the same place before. A pass
// that moves a statement that was bad before is not to blame, and text alone does not tell, since labels get
// other numbers.
std::vector<FOUND_FAULT> new_faults(const std::vector<FOUND_FAULT>& before,
                                    const std::vector<FOUND_FAULT>& after) {
    std::map<std::string, int> surplus;
    std::set<std::pair<std::string, std::string>> places;
    for (const FOUND_FAULT& fault : after) surplus[fault.what]++;
    for (const FOUND_FAULT& fault : before) {
        surplus[fault.what]--;
        places.insert({fault.what, fault.place});
    }
    std::vector<FOUND_FAULT> result;
    for (const FOUND_FAULT& fault : after)
        if (surplus[fault.what] > 0 && !places.contains({fault.what, fault.place})) result.push_back(fault);
    return result;
}

void name_faults(const std::string& when, const std::vector<FOUND_FAULT>& faults) {
    for (const FOUND_FAULT& fault : faults) {
        fprintf(stderr, ">>>> %s() %s: %s\n", run.current_function_name, when.c_str(), fault.what.c_str());
        if (!fault.text.empty()) fprintf(stderr, "         %s\n", fault.text.c_str());
    }
    verification.faults += faults.size();
}

} // namespace

void start_verification() { verification = {}; }

void verify_function_as_read() {
    verification.active = is_asked_for() || (CHECKING_BUILD && !debug_on());
    if (!verification.active) return;
    verification.known = faults_of_function();
    verification.fingerprint = function_fingerprint();
    // Pass 1.5 reads every function once more.
    if (is_asked_for() && run.phase == 2) name_faults("as it was read", verification.known);
}

namespace {

std::vector<FOUND_FAULT> untrue_claims(const PASS_CLAIM& claim, bool changed) {
    std::vector<FOUND_FAULT> found;
    const auto add = [&](const std::string& what) { found.push_back({what, "", ""}); };
    if (changed && !claim.changed) add("it changed the function and says that it did not");
    for (int fact = 0; fact < FACT_COUNT; ++fact)
        if ((claim.kept & ~fact_state.valid) >> fact & 1)
            add(std::string("it keeps the fact '") + fact_row(static_cast<FACT>(fact)).name +
                "' by its row, and lost it");
    if (const FACT stale = find_stale_fact(); stale != FACT_COUNT)
        add(std::string("the fact '") + fact_row(stale).name + "' is called valid and is stale");
    return found;
}

bool is_checkable() { return !flow_graph.bb_list || fact_is_valid(FACT_numbers); }

} // namespace

bool verification_is_active() { return verification.active; }

void verify_after_pass(const PASS_CLAIM& claim) {
    const std::string when = "after " + (claim.place.empty() ? "" : claim.place + ", ") + claim.name;
    const uint64_t fingerprint = function_fingerprint();
    const bool changed = fingerprint != verification.fingerprint;
    name_faults(when, untrue_claims(claim, changed));
    verification.fingerprint = fingerprint;
    verification.unchecked |= changed;
    if (!verification.unchecked || !is_checkable()) return;
    verification.unchecked = false;
    const std::vector<FOUND_FAULT> found = faults_of_function();
    name_faults(when, new_faults(verification.known, found));
    verification.known = found;
}

void end_function_verification() { verification.active = false; }

// --- The output ---

namespace {

void print_file_fault(void* file, const FILE_FAULT& fault) {
    fputs(fault_text(*static_cast<const std::string*>(file), fault).c_str(), stderr);
}
void ignore_file_fault(void*, const FILE_FAULT&) {}

// Devices and pipes cannot be read again.
bool read_again(const std::string& name, std::string& bytes) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(name, error)) return false;
    std::ostringstream text;
    text << std::ifstream(name, std::ios::binary).rdbuf();
    bytes = text.str();
    return true;
}

bool input_is_good() {
    std::string bytes;
    return read_again(run.input_name, bytes) && !validate_icode(bytes, 0, {ignore_file_fault, nullptr});
}

bool output_is_good() {
    std::string bytes;
    if (!read_again(run.output_name, bytes) || !validate_icode(bytes, 0, {ignore_file_fault, nullptr}))
        return true;
    const bool input_good = input_is_good();
    // Whoever gave a faulty input gets a faulty output, and is told when asking.
    if (!input_good && !is_asked_for()) return true;
    validate_icode(bytes, MOST_OUTPUT_FAULTS, {print_file_fault, &run.output_name});
    if (!input_good) fprintf(stderr, ">>>> the input breaks rules of icode, too\n");
    if (!input_good || is_asked_for()) return false;
    internal_error("the output breaks rules of icode");
    if (!settings.keep_output) remove_output();
    fatal_exit();
}

} // namespace

bool verify_output() {
    const bool good = !(CHECKING_BUILD || is_asked_for()) || output_is_good();
    if (verification.faults)
        fprintf(stderr, ">>>> %llu broken rules were named\n",
                static_cast<unsigned long long>(verification.faults));
    return std::exchange(verification.faults, 0) == 0 && good;
}

} // namespace pelorus
