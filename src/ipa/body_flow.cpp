// See body_flow.h.
#include "ipa/body_flow.h"

#include "ir/node.h"
#include "ir/walk.h"

namespace pelorus {

namespace {

// Blocks are made as statements are come by, and their successors are label numbers until all are known.
void open_block(FLOW_BUILDER& builder) {
    const auto successors = static_cast<uint32_t>(builder.notes.successors.size());
    const auto stops = static_cast<uint32_t>(builder.notes.stops.size());
    builder.notes.flow.push_back({successors, successors, stops, stops, false});
    builder.is_open = true;
}

void close_block(FLOW_BUILDER& builder) {
    builder.notes.flow.back().end_successors = static_cast<uint32_t>(builder.notes.successors.size());
    builder.is_open = false;
}

constexpr uint32_t NEXT_BLOCK = 0; // no label has this number

void add_targets(FLOW_BUILDER& builder, const NODE* tree) {
    bool has_default = tree->op != OP_SWITCH;
    const NODE* targets = tree->op == OP_BRANCH ? tree->left : tree->right;
    for_each_node(targets, [&](const NODE* node) {
        if (node->op == OP_LABEL) builder.notes.successors.push_back(static_cast<uint32_t>(node->value_lo));
        has_default |= node->op == OP_DEFAULT;
    });
    if (!has_default) builder.notes.successors.push_back(NEXT_BLOCK);
}

bool ends_block(const NODE* tree) {
    return tree->op == OP_IF || tree->op == OP_SWITCH || tree->op == OP_BRANCH || tree->op == OP_RETURN ||
           tree->op == OP_URETURN;
}

// A call in it that never returns ends the block, and nothing leads on from there.
void end_block(FLOW_BUILDER& builder, const NODE* tree, bool stops) {
    if (!stops && (tree->op == OP_RETURN || tree->op == OP_URETURN)) builder.notes.flow.back().leaves = true;
    if (!stops && ends_block(tree)) add_targets(builder, tree);
    close_block(builder);
}

// Label numbers become block numbers. A label that nothing defines leads anywhere.
bool resolve_labels(const FLOW_BUILDER& builder) {
    bool all_known = true;
    for (uint32_t block = 0; block < builder.count(); ++block) {
        const FLOW_NOTE& note = builder.notes.flow[builder.first_flow + block];
        for (uint32_t i = note.first_successor; i < note.end_successors; ++i) {
            uint32_t& successor = builder.notes.successors[i];
            const auto found = builder.labels.find(static_cast<int32_t>(successor));
            all_known &= successor == NEXT_BLOCK || found != builder.labels.end();
            if (successor == NEXT_BLOCK)
                successor = block + 1;
            else
                successor = found == builder.labels.end() ? block : found->second;
        }
    }
    return all_known;
}

enum class VISIT : uint8_t { NONE, OPEN, DONE };

// Walks what can be reached from the entry, depth first. `has_loop`: a way leads back to an open block.
struct FLOW_SEARCH {
    const BODY_NOTES& notes;
    uint32_t first_flow;
    std::vector<VISIT> visits{};
    bool has_loop = false, has_choice = false;
    bool leaves = false;        // the function returns on some way
    bool leaves_freely = false; // on one without calls
};

void search_flow(FLOW_SEARCH& search) {
    std::vector<std::pair<uint32_t, uint32_t>> path; // block, the next of its successors
    const auto enter = [&](uint32_t block) {
        const FLOW_NOTE& note = search.notes.flow[search.first_flow + block];
        search.visits[block] = VISIT::OPEN;
        search.leaves |= note.leaves;
        search.has_choice |= note.end_successors - note.first_successor > 1;
        path.emplace_back(block, note.first_successor);
    };
    enter(0);
    while (!path.empty()) {
        const uint32_t block = path.back().first;
        if (path.back().second == search.notes.flow[search.first_flow + block].end_successors) {
            search.visits[block] = VISIT::DONE;
            path.pop_back();
            continue;
        }
        const uint32_t next = search.notes.successors[path.back().second++];
        search.has_loop |= search.visits[next] == VISIT::OPEN;
        if (search.visits[next] == VISIT::NONE) enter(next);
    }
}

bool leaves_without_calls(const FLOW_SEARCH& search) {
    std::vector<bool> seen(search.visits.size());
    std::vector<uint32_t> waiting{0};
    while (!waiting.empty()) {
        const uint32_t block = waiting.back();
        waiting.pop_back();
        const FLOW_NOTE& note = search.notes.flow[search.first_flow + block];
        if (seen[block] || note.first_stop != note.end_stops) continue;
        seen[block] = true;
        if (note.leaves) return true;
        for (uint32_t i = note.first_successor; i < note.end_successors; ++i)
            waiting.push_back(search.notes.successors[i]);
    }
    return false;
}

void forget_flow(BODY_NOTES& notes, const BODY_NOTE& note) {
    if (note.first_flow == notes.flow.size()) return;
    const FLOW_NOTE first = notes.flow[note.first_flow];
    notes.successors.resize(first.first_successor);
    notes.stops.resize(first.first_stop);
    notes.flow.resize(note.first_flow);
}

// The end of the list returns, and every block leads to one that there is.
void close_flow(FLOW_BUILDER& builder) {
    if (builder.is_open) {
        builder.notes.successors.push_back(NEXT_BLOCK);
        close_block(builder);
    }
    open_block(builder);
    builder.notes.flow.back().leaves = true;
    close_block(builder);
}

void note_flow(const FLOW_BUILDER& builder, BODY_NOTE& note) {
    const bool known = resolve_labels(builder);
    FLOW_SEARCH search{builder.notes, note.first_flow};
    search.visits.assign(builder.count(), VISIT::NONE);
    search_flow(search);
    note.has_loop = search.has_loop || !known;
    note.is_straight = known && !search.has_loop && !search.has_choice;
    note.never_returns = known && !search.leaves;
    if (note.has_loop) note.effects |= EFFECT_NO_END;
    if (!known || note.never_returns || leaves_without_calls(search)) forget_flow(builder.notes, note);
    note.end_flow = static_cast<uint32_t>(builder.notes.flow.size());
}

} // namespace

void begin_flow(FLOW_BUILDER& builder) { open_block(builder); }

void append_label(FLOW_BUILDER& builder, const NODE* label) {
    if (builder.is_open) {
        builder.notes.successors.push_back(NEXT_BLOCK);
        close_block(builder);
    }
    open_block(builder);
    builder.labels[label->value_lo] = builder.count() - 1;
}

void begin_statement(FLOW_BUILDER& builder) {
    if (!builder.is_open) open_block(builder);
}

void end_statement(FLOW_BUILDER& builder, const NODE* tree, bool never_ends) {
    builder.notes.flow.back().end_stops = static_cast<uint32_t>(builder.notes.stops.size());
    if (never_ends || ends_block(tree)) end_block(builder, tree, never_ends);
}

void finish_flow(FLOW_BUILDER& builder, BODY_NOTE& note) {
    close_flow(builder);
    note_flow(builder, note);
}

} // namespace pelorus
