// Functions, statements, branches, labels and scopes; see passes.h.
#include <algorithm>
#include <set>

#include "icode/format.h"
#include "ir/opcodes.h"
#include "passes.h"
#include "unit.h"

namespace pelorus {

namespace {

// --- Functions ---

// The global that a call calls directly; UINT32_MAX for others.
uint32_t callee_of(const PARTS_TREE& call) {
    if ((call.op != OP_CALL && call.op != OP_UCALL) || call.children.empty()) return UINT32_MAX;
    const PARTS_TREE& callee = call.children[0];
    if (callee.op != OP_UAND || callee.children.size() != 1 || callee.children[0].op != OP_NAME)
        return UINT32_MAX;
    const REFERENCE reference = reference_of(callee.children[0]);
    return reference.scope == 0 ? reference.index : UINT32_MAX;
}

// How often trees name each global.
std::vector<size_t> global_uses(PARTS_FILE& file) {
    std::vector<size_t> uses(symbol_places(file.parts[SECTION_SYMBOLS], -1).size());
    each_node(file, [&uses](PARTS_TREE& node) {
        if (node.op != OP_NAME) return;
        const REFERENCE reference = reference_of(node);
        if (reference.scope == 0 && reference.index < uses.size()) uses[reference.index]++;
    });
    return uses;
}

// Functions with a call that can go: a statement, or one that zero can stand for.
std::vector<uint32_t> called_functions(PARTS_FILE& file) {
    const std::vector<TYPE_ROW> types = type_rows(file);
    std::set<uint32_t> called;
    each_root(file, [&](PARTS_RECORD& record, PARTS_TREE& root) {
        if (record.kind != RK_STATEMENT) return;
        each_node(root, [&](PARTS_TREE& node) {
            PARTS_TREE copy{node.op, node.type, {}, {}};
            const uint32_t callee = callee_of(node);
            if (callee != UINT32_MAX && (&node == &root || make_constant(copy, types, 0)))
                called.insert(callee);
        });
    });
    return {called.begin(), called.end()};
}

// Puts zero in the place of the calls; those of structure type stay.
bool drop_inner_calls(PARTS_TREE& tree, const std::set<uint32_t>& functions,
                      const std::vector<TYPE_ROW>& types) {
    bool changed = false;
    for (PARTS_TREE& child : tree.children) {
        if (functions.contains(callee_of(child)) && make_constant(child, types, 0))
            changed = true;
        else
            changed |= drop_inner_calls(child, functions, types);
    }
    return changed;
}

bool drop_calls(PARTS_FILE& file, const std::set<uint32_t>& functions) {
    const std::vector<TYPE_ROW> types = type_rows(file);
    std::vector<bool> gone(file.records.size());
    bool changed = false;
    for (size_t i = 0; i < file.records.size(); ++i) {
        PARTS_RECORD& record = file.records[i];
        if (record.kind != RK_STATEMENT || record.trees.empty()) continue;
        gone[i] = functions.contains(callee_of(record.trees[0]));
        changed |= gone[i] || drop_inner_calls(record.trees[0], functions, types);
    }
    remove_records(file.records, gone);
    return changed;
}

size_t count_called(PARTS_FILE& file) { return called_functions(file).size(); }

bool drop_called(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<uint32_t> called = called_functions(file);
    return drop_calls(file, {called.begin() + static_cast<std::ptrdiff_t>(first),
                             called.begin() + static_cast<std::ptrdiff_t>(first + count)});
}

// Functions that nothing names.
std::vector<FUNCTION_PLACE> unused_functions(PARTS_FILE& file) {
    const std::vector<size_t> uses = global_uses(file);
    std::vector<FUNCTION_PLACE> unused;
    for (const FUNCTION_PLACE& place : function_places(file))
        if (place.global < uses.size() && !uses[place.global]) unused.push_back(place);
    return unused;
}

size_t count_unused(PARTS_FILE& file) { return unused_functions(file).size(); }

bool drop_unused(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<FUNCTION_PLACE> unused = unused_functions(file);
    std::vector<bool> gone(file.records.size());
    for (size_t i = first; i < first + count; ++i) {
        std::fill(gone.begin() + static_cast<std::ptrdiff_t>(unused[i].begin),
                  gone.begin() + static_cast<std::ptrdiff_t>(unused[i].end) + 1, true);
        make_external(file, unused[i].global);
    }
    remove_records(file.records, gone);
    return true;
}

// What a body can do without: all but the records that frame it, symbols with their pragmas, the copies of
// the parameters and one return.
std::vector<bool> inessential(const PARTS_FILE& file, const FUNCTION_PLACE& place) {
    std::vector<bool> gone(file.records.size());
    bool returned = false, behind_symbol = false;
    for (size_t i = place.body + 1; i < place.end; ++i) {
        const PARTS_RECORD& record = file.records[i];
        behind_symbol = record.kind == RK_SYMBOL || (behind_symbol && record.kind == RK_PRAGMA);
        if (behind_symbol || record.kind == RK_FUNCTION_PLACE || i == place.copies) continue;
        const bool is_return = record.kind == RK_STATEMENT &&
                               (record.trees[0].op == OP_RETURN || record.trees[0].op == OP_URETURN);
        gone[i] = !is_return || returned;
        returned |= is_return;
    }
    return gone;
}

std::vector<FUNCTION_PLACE> full_bodies(PARTS_FILE& file) {
    std::vector<FUNCTION_PLACE> full;
    for (const FUNCTION_PLACE& place : function_places(file)) {
        const std::vector<bool> gone = inessential(file, place);
        if (std::find(gone.begin(), gone.end(), true) != gone.end()) full.push_back(place);
    }
    return full;
}

size_t count_bodies(PARTS_FILE& file) { return full_bodies(file).size(); }

bool empty_bodies(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<FUNCTION_PLACE> full = full_bodies(file);
    const std::vector<TYPE_ROW> types = type_rows(file);
    std::vector<bool> gone(file.records.size());
    for (size_t i = first; i < first + count; ++i) {
        const std::vector<bool> own = inessential(file, full[i]);
        for (size_t place = full[i].body; place < full[i].end; ++place) {
            gone[place] = own[place];
            PARTS_RECORD& record = file.records[place];
            if (record.kind == RK_STATEMENT && record.trees[0].op == OP_RETURN)
                make_constant(record.trees[0].children[1], types, 0);
        }
    }
    remove_records(file.records, gone);
    return true;
}

// --- Records of bodies, and of the file ---

using IS_ITEM = bool (*)(const PARTS_FILE& file, const FUNCTION_PLACE& function, size_t place);

std::vector<size_t> items_in_bodies(const PARTS_FILE& file, IS_ITEM is_item) {
    std::vector<size_t> items;
    for (const FUNCTION_PLACE& function : function_places(file))
        for (size_t i = function.body + 1; i < function.end; ++i)
            if (i != function.copies && is_item(file, function, i)) items.push_back(i);
    return items;
}

bool drop_items(PARTS_FILE& file, const std::vector<size_t>& items, size_t first, size_t count) {
    std::vector<bool> gone(file.records.size());
    for (size_t i = first; i < first + count; ++i) gone[items[i]] = true;
    remove_records(file.records, gone);
    return true;
}

bool is_removable_statement(const PARTS_FILE& file, const FUNCTION_PLACE&, size_t place) {
    return is_statement(file.records[place]);
}
size_t count_statements(PARTS_FILE& file) { return items_in_bodies(file, is_removable_statement).size(); }
bool drop_statements(PARTS_FILE& file, size_t first, size_t count) {
    return drop_items(file, items_in_bodies(file, is_removable_statement), first, count);
}

bool is_remark(const PARTS_FILE& file, const FUNCTION_PLACE&, size_t place) {
    const uint8_t kind = file.records[place].kind;
    const uint8_t before = file.records[place - 1].kind;
    if (kind == RK_PRAGMA) return before != RK_SYMBOL && before != RK_PRAGMA;
    return kind == RK_COMMENT || kind == RK_NOTE || kind == RK_SYMBOL_REFERENCE || kind == RK_FUNCTION_PLACE;
}
size_t count_remarks(PARTS_FILE& file) { return items_in_bodies(file, is_remark).size(); }
bool drop_remarks(PARTS_FILE& file, size_t first, size_t count) {
    return drop_items(file, items_in_bodies(file, is_remark), first, count);
}

// Records outside functions but initializers.
std::vector<size_t> outer_records(const PARTS_FILE& file) {
    std::vector<size_t> items;
    for (size_t i = 0; i < file.records.size(); ++i)
        if (file.records[i].function < 0 && file.records[i].kind != RK_INITIALIZER) items.push_back(i);
    return items;
}
size_t count_outer(PARTS_FILE& file) { return outer_records(file).size(); }
bool drop_outer(PARTS_FILE& file, size_t first, size_t count) {
    return drop_items(file, outer_records(file), first, count);
}

// --- Labels ---

uint32_t label_of(const PARTS_TREE& leaf) { return static_cast<uint32_t>(uleb_number(leaf.payload)); }

// The label definitions that no tree of their function names.
std::vector<size_t> unused_labels(PARTS_FILE& file) {
    std::set<std::pair<int, uint32_t>> named;
    each_root(file, [&named](PARTS_RECORD& record, PARTS_TREE& root) {
        each_node(root, [&](PARTS_TREE& node) {
            if (node.op == OP_LABEL) named.insert({record.function, label_of(node)});
        });
    });
    std::vector<size_t> unused;
    for (size_t i = 0; i < file.records.size(); ++i) {
        const PARTS_RECORD& record = file.records[i];
        if (record.kind == RK_LABEL_DEFINITION &&
            !named.contains({record.function, static_cast<uint32_t>(uleb_number(record.fields))}))
            unused.push_back(i);
    }
    return unused;
}
size_t count_labels(PARTS_FILE& file) { return unused_labels(file).size(); }
bool drop_labels(PARTS_FILE& file, size_t first, size_t count) {
    return drop_items(file, unused_labels(file), first, count);
}

// --- Scopes ---

struct SCOPE_PLACE {
    size_t begin, end;
};
std::vector<SCOPE_PLACE> scopes(const PARTS_FILE& file) {
    std::vector<SCOPE_PLACE> found;
    std::vector<size_t> open;
    for (size_t i = 0; i < file.records.size(); ++i) {
        if (file.records[i].kind == RK_BLOCK_BEGIN) {
            open.push_back(found.size());
            found.push_back({i, i});
        } else if (file.records[i].kind == RK_BLOCK_END && !open.empty()) {
            found[open.back()].end = i;
            open.pop_back();
        }
    }
    return found;
}
size_t count_scopes(PARTS_FILE& file) { return scopes(file).size(); }
bool open_scopes(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<SCOPE_PLACE> found = scopes(file);
    std::vector<bool> gone(file.records.size());
    for (size_t i = first; i < first + count; ++i) gone[found[i].begin] = gone[found[i].end] = true;
    remove_records(file.records, gone);
    return true;
}

// --- Branches ---

std::vector<PARTS_TREE*> statements_with(PARTS_FILE& file, uint8_t op) {
    std::vector<PARTS_TREE*> found;
    for (PARTS_RECORD& record : file.records)
        if (record.kind == RK_STATEMENT && record.trees[0].op == op) found.push_back(&record.trees[0]);
    return found;
}

void make_branch(PARTS_TREE& statement, const PARTS_TREE& label) {
    std::vector<PARTS_TREE> leaf{label}; // which hangs on the statement
    statement.op = OP_BRANCH;
    statement.payload.clear();
    statement.children = std::move(leaf);
}

size_t count_tests(PARTS_FILE& file) { return statements_with(file, OP_IF).size(); }
bool decide_tests(PARTS_FILE& file, size_t first, size_t count, size_t way) {
    const std::vector<PARTS_TREE*> tests = statements_with(file, OP_IF);
    for (size_t i = first; i < first + count; ++i)
        make_branch(*tests[i], tests[i]->children[1].children[way]);
    return true;
}
bool take_first_way(PARTS_FILE& file, size_t first, size_t count) {
    return decide_tests(file, first, count, 0);
}
bool take_second_way(PARTS_FILE& file, size_t first, size_t count) {
    return decide_tests(file, first, count, 1);
}

// The items of the left-leaning lists of cases, and what holds each: the SWITCH, when the item is alone, or a
// COMMA.
struct CASE_PLACE {
    PARTS_TREE* holder;
    size_t child;
};
void collect_cases(PARTS_TREE& holder, size_t child, std::vector<CASE_PLACE>& cases) {
    PARTS_TREE& tree = holder.children[child];
    if (tree.op != OP_COMMA) {
        cases.push_back({&holder, child});
        return;
    }
    collect_cases(tree, 0, cases);
    collect_cases(tree, 1, cases);
}
std::vector<CASE_PLACE> all_cases(PARTS_FILE& file) {
    std::vector<CASE_PLACE> cases;
    for (PARTS_TREE* statement : statements_with(file, OP_SWITCH)) collect_cases(*statement, 1, cases);
    return cases;
}
size_t count_cases(PARTS_FILE& file) { return all_cases(file).size(); }

constexpr uint8_t TAKEN_AWAY = 255; // the opcode of a case that goes

// Closes the gaps in a list. False when nothing is left of it.
bool close_gaps(PARTS_TREE& list) {
    if (list.op != OP_COMMA) return list.op != TAKEN_AWAY;
    const bool left = close_gaps(list.children[0]), right = close_gaps(list.children[1]);
    if (left && right) return true;
    if (!left && !right) return false;
    PARTS_TREE rest = std::move(list.children[left ? 0 : 1]);
    list = std::move(rest);
    return true;
}

bool drop_cases(PARTS_FILE& file, size_t first, size_t count) {
    const std::vector<CASE_PLACE> cases = all_cases(file);
    for (size_t i = first; i < first + count; ++i) {
        PARTS_TREE& item = cases[i].holder->children[cases[i].child];
        const PARTS_TREE label = item.children.back();
        item = {TAKEN_AWAY, item.type, {}, {label}};
    }
    for (PARTS_TREE* statement : statements_with(file, OP_SWITCH)) {
        statement->payload = uleb_bytes(0); // the number of cases is not known any more
        PARTS_TREE* leftmost = &statement->children[1];
        while (leftmost->op == OP_COMMA) leftmost = &leftmost->children[0];
        const PARTS_TREE label = leftmost->children.back();
        if (!close_gaps(statement->children[1])) make_branch(*statement, label);
    }
    return true;
}

constexpr REDUCTION FUNCTIONS[] = {
    {"calls", count_called, drop_called},
    {"unused functions", count_unused, drop_unused},
    {"bodies", count_bodies, empty_bodies},
    {"records outside functions", count_outer, drop_outer},
};

constexpr REDUCTION STATEMENTS[] = {
    {"statements", count_statements, drop_statements},
    {"tests, first way", count_tests, take_first_way},
    {"tests, second way", count_tests, take_second_way},
    {"cases", count_cases, drop_cases},
    {"labels", count_labels, drop_labels},
    {"scopes", count_scopes, open_scopes},
    {"remarks", count_remarks, drop_remarks},
};

} // namespace

std::span<const REDUCTION> function_reductions() { return FUNCTIONS; }
std::span<const REDUCTION> statement_reductions() { return STATEMENTS; }

} // namespace pelorus
