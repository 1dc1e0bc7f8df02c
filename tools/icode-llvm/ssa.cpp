// See ssa.h.
#include "ssa.h"

#include <charconv>

#include "text.h"

namespace pelorus {

namespace {

// Names of values have no such characters, and strings have them escaped.
constexpr char PHI_MARK[] = "%\x01"; // followed by the number of a phi
constexpr char BLOCK_MARK = '\x02';  // followed by the number of a block and the end of the line

constexpr uint32_t NO_PHI = UINT32_MAX;
constexpr char UNDEFINED[] = "undef";

uint32_t number_at(std::string_view text, size_t start) {
    uint32_t number = 0;
    std::from_chars(text.data() + start, text.data() + text.size(), number);
    return number;
}

uint32_t phi_number(std::string_view value) {
    return value.starts_with(PHI_MARK) ? number_at(value, sizeof PHI_MARK - 1) : NO_PHI;
}

// What a value turned out to be.
const std::string& resolved(const SSA& ssa, const std::string& value) {
    const std::string* found = &value;
    for (uint32_t phi = phi_number(*found); phi != NO_PHI; phi = phi_number(*found)) {
        if (ssa.phis[phi].replacement.empty()) break;
        found = &ssa.phis[phi].replacement;
    }
    return *found;
}

uint64_t key_of(uint32_t block, uint32_t variable) { return uint64_t(block) << 32 | variable; }

uint32_t block_number(SSA& ssa, const std::string& name) {
    const auto [entry, is_new] = ssa.block_numbers.try_emplace(name, uint32_t(ssa.blocks.size()));
    if (is_new) ssa.blocks.push_back({name, {}, {}, false, false, 0});
    return entry->second;
}

uint32_t new_phi(SSA& ssa, uint32_t block, uint32_t variable) {
    const auto number = uint32_t(ssa.phis.size());
    ssa.phis.push_back({block, variable, false, {}, {}, {}});
    ssa.blocks[block].phis.push_back(number);
    ssa.values[key_of(block, variable)] = joined(PHI_MARK, number);
    return number;
}

// --- Reading ---

// The value at the end of a block where ways join or begin. A new phi whose operands can be found goes behind
// `made`.
std::string look_up_at_join(SSA& ssa, uint32_t variable, uint32_t block, std::vector<uint32_t>& made) {
    const bool is_sealed = ssa.blocks[block].sealed;
    if (is_sealed && ssa.blocks[block].predecessors.empty()) return UNDEFINED;
    const uint32_t phi = new_phi(ssa, block, variable);
    if (is_sealed) made.push_back(phi);
    return joined(PHI_MARK, phi);
}

// Goes back over blocks with one predecessor. Blocks that nothing reaches may lead back to themselves.
std::string look_up(SSA& ssa, uint32_t variable, uint32_t block, std::vector<uint32_t>& made) {
    const uint32_t walk = ++ssa.walks;
    std::vector<uint32_t> passed;
    std::string value = UNDEFINED;
    for (; ssa.blocks[block].walk != walk; block = ssa.blocks[block].predecessors[0]) {
        FLOW_BLOCK& at = ssa.blocks[block];
        at.walk = walk;
        const auto known = ssa.values.find(key_of(block, variable));
        if (known != ssa.values.end()) {
            value = resolved(ssa, known->second);
            break;
        }
        if (!at.sealed || at.predecessors.size() != 1) {
            value = look_up_at_join(ssa, variable, block, made);
            break;
        }
        passed.push_back(block);
    }
    for (const uint32_t number : passed) ssa.values[key_of(number, variable)] = value;
    return value;
}

void add_operands(SSA& ssa, uint32_t number, std::vector<uint32_t>& made) {
    const uint32_t block = ssa.phis[number].block, variable = ssa.phis[number].variable;
    for (const uint32_t predecessor : ssa.blocks[block].predecessors) {
        std::string operand = look_up(ssa, variable, predecessor, made);
        if (const uint32_t other = phi_number(operand); other != NO_PHI)
            ssa.phis[other].users.push_back(number);
        ssa.phis[number].operands.push_back(std::move(operand));
    }
    ssa.phis[number].complete = true;
}

// The one value of a phi, itself aside; empty when there are several.
std::string only_value(const SSA& ssa, uint32_t number) {
    std::string value;
    for (const std::string& operand : ssa.phis[number].operands) {
        const std::string& found = resolved(ssa, operand);
        if (found == value || phi_number(found) == number) continue;
        if (!value.empty()) return {};
        value = found;
    }
    return value.empty() ? UNDEFINED : value;
}

// Replaces the phis that are one value; the last of `rest` goes first.
void simplify_phis(SSA& ssa, std::vector<uint32_t> rest) {
    while (!rest.empty()) {
        const uint32_t number = rest.back();
        rest.pop_back();
        PHI& phi = ssa.phis[number];
        if (!phi.replacement.empty() || !phi.complete) continue;
        phi.replacement = only_value(ssa, number);
        if (phi.replacement.empty()) continue;
        rest.insert(rest.end(), phi.users.begin(), phi.users.end());
        if (const uint32_t other = phi_number(phi.replacement); other != NO_PHI) {
            std::vector<uint32_t>& users = ssa.phis[other].users;
            users.insert(users.end(), phi.users.begin(), phi.users.end());
        }
    }
}

// Finds the operands of phis, and of those that this makes. Those made last are nearest to the assignments,
// so that what they turn out to be is known when the others are looked at.
void complete_phis(SSA& ssa, std::vector<uint32_t> made) {
    for (size_t i = 0; i < made.size(); i++) {
        const uint32_t number = made[i];
        add_operands(ssa, number, made);
    }
    simplify_phis(ssa, std::move(made));
}

// --- Putting the text together ---

std::string phi_lines(const SSA& ssa, const FLOW_BLOCK& block, DESCRIBE describe, void* context) {
    std::string text, descriptions;
    for (const uint32_t number : block.phis) {
        const PHI& phi = ssa.phis[number];
        if (!phi.replacement.empty()) continue;
        put(text, "  ", PHI_MARK, number, " = phi ", ltype_text(ssa.variables[phi.variable].type));
        for (size_t i = 0; i < phi.operands.size(); i++)
            put(text, i ? ", [ " : " [ ", phi.operands[i], ", %", ssa.blocks[block.predecessors[i]].name,
                " ]");
        text += '\n';
        if (block.is_label) descriptions += describe(context, phi.variable, joined(PHI_MARK, number));
    }
    return text + descriptions;
}

// Copies `from` behind `text`, with names of values in the place of their marks.
void put_values(const SSA& ssa, std::string& text, std::string_view from) {
    for (;;) {
        const size_t mark = from.find(PHI_MARK);
        text.append(from.substr(0, mark));
        if (mark == std::string_view::npos) return;
        size_t end = mark + sizeof PHI_MARK - 1;
        while (end < from.size() && from[end] >= '0' && from[end] <= '9') end++;
        const std::string value = resolved(ssa, std::string(from.substr(mark, end - mark)));
        const uint32_t phi = phi_number(value);
        text.append(phi == NO_PHI ? value : joined("%p", phi));
        from.remove_prefix(end);
    }
}

} // namespace

uint32_t register_variable(const SSA& ssa, const SYMBOL* symbol) {
    const auto known = ssa.numbers.find(symbol);
    return known == ssa.numbers.end() ? NO_REGISTER_VARIABLE : known->second;
}

void begin_ssa(SSA& ssa, const std::string& entry) {
    ssa.block = block_number(ssa, entry);
    ssa.blocks[ssa.block].sealed = true;
}

void add_register_variable(SSA& ssa, const SYMBOL* symbol, LTYPE type, uint32_t debug) {
    ssa.numbers[symbol] = uint32_t(ssa.variables.size());
    ssa.variables.push_back({symbol, type, debug});
}

void add_register_structure(SSA& ssa, const SYMBOL* symbol, const std::vector<LTYPE>& types) {
    ssa.numbers[symbol] = uint32_t(ssa.variables.size());
    for (const LTYPE type : types) ssa.variables.push_back({symbol, type, 0});
}

void note_edge(SSA& ssa, const std::string& target) {
    if (!ssa.variables.empty()) ssa.blocks[block_number(ssa, target)].predecessors.push_back(ssa.block);
}

std::string enter_block(SSA& ssa, const std::string& name, bool is_label) {
    if (ssa.variables.empty()) return {};
    ssa.block = block_number(ssa, name);
    ssa.blocks[ssa.block].sealed = !is_label;
    ssa.blocks[ssa.block].is_label = is_label;
    return joined(BLOCK_MARK, ssa.block, '\n');
}

void seal_block(SSA& ssa, const std::string& name) {
    if (ssa.variables.empty()) return;
    FLOW_BLOCK& block = ssa.blocks[block_number(ssa, name)];
    block.sealed = true;
    complete_phis(ssa, block.phis); // all that it has by now were waiting
}

void write_variable(SSA& ssa, uint32_t variable, const std::string& value) {
    ssa.values[key_of(ssa.block, variable)] = value;
}

std::string read_variable(SSA& ssa, uint32_t variable) {
    std::vector<uint32_t> made;
    const std::string value = look_up(ssa, variable, ssa.block, made);
    complete_phis(ssa, std::move(made));
    return resolved(ssa, value);
}

std::string finished_text(const SSA& ssa, const std::string& body, DESCRIBE describe, void* context) {
    if (ssa.variables.empty()) return body;
    std::string text;
    std::string_view rest = body;
    for (;;) {
        const size_t mark = rest.find(BLOCK_MARK);
        put_values(ssa, text, rest.substr(0, mark));
        if (mark == std::string_view::npos) return text;
        const FLOW_BLOCK& block = ssa.blocks[number_at(rest, mark + 1)];
        put_values(ssa, text, phi_lines(ssa, block, describe, context));
        rest.remove_prefix(rest.find('\n', mark) + 1);
    }
}

} // namespace pelorus
