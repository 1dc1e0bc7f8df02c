// The opcode tables and their start-up check; see opcodes.h.
//
// There are two sets of tables on purpose: `opcode_facts`, which is constant, and `if_node_info`, which is
// filled at run time: the file format's opcodes when a header was accepted, the optimizer's own at the check.
// The reader goes by `if_node_info`; the check proves that the two agree.
#include "ir/opcodes.h"

#include <array>
#include <cstring>

#include "support/fatal.h"
#include "support/trace.h"

namespace pelorus {

namespace {

constexpr int32_t LAST_FILE_OPCODE = 133; // 0..133 are the file format's
constexpr int32_t FIRST_OWN_OPCODE = 143; // 143..169 are the optimizer's own
constexpr int32_t LAST_OWN_OPCODE = 169;

constexpr std::array<OPCODE_FACTS, OPCODE_COUNT> build_facts() {
    std::array<OPCODE_FACTS, OPCODE_COUNT> facts{};
    for (OPCODE_FACTS& row : facts)
        row = {nullptr, -1, PAYLOAD::NONE, OPCODE_CLASS::VALUE, OP_NOP, OP_NOP, nullptr};
#define OPCODE(number, name, arity, spelling, payload, kind, complement, swapped)                            \
    facts[number] = {#name,           arity,        PAYLOAD::payload, OPCODE_CLASS::kind,                    \
                     OP_##complement, OP_##swapped, spelling};
#define OPCODE_UNNAMED(number, arity)                                                                        \
    facts[number] = {nullptr, arity, PAYLOAD::NONE, OPCODE_CLASS::VALUE, OP_NOP, OP_NOP, nullptr};
#include "ir/opcodes.def"
#undef OPCODE
#undef OPCODE_UNNAMED
    return facts;
}

} // namespace

constexpr std::array<OPCODE_FACTS, OPCODE_COUNT> opcode_facts = build_facts();

namespace {

constexpr bool relations_are_symmetric() {
    for (int32_t op = 0; op < OPCODE_COUNT; ++op) {
        const OPCODE_FACTS& row = opcode_facts[static_cast<size_t>(op)];
        if (row.complement != OP_NOP && opcode_facts[static_cast<size_t>(row.complement)].complement != op)
            return false;
        if (row.swapped != OP_NOP && opcode_facts[static_cast<size_t>(row.swapped)].swapped != op)
            return false;
    }
    return true;
}
static_assert(relations_are_symmetric());

using SPELLING = std::array<char, 9>;

constexpr std::array<SPELLING, OPCODE_COUNT> build_spellings() {
    std::array<SPELLING, OPCODE_COUNT> spellings{};
    for (size_t op = 0; op < spellings.size(); ++op) {
        const char* text = opcode_facts[op].spelling ? opcode_facts[op].spelling : " ?ILLOP?";
        size_t length = 0;
        while (text[length]) spellings[op][length] = text[length], ++length;
        while (length < 8) spellings[op][length++] = ' ';
    }
    spellings[OP_ULE] = {'U', 'L', 'E'};
    return spellings;
}

constexpr auto spelling_table = build_spellings();

} // namespace

std::array<IF_NODE_INFO, OPCODE_COUNT> if_node_info;

void register_opcode(int32_t number, const char* name, int8_t arity) {
    if_node_info[static_cast<size_t>(number)] = {number, name, arity};
}

void register_file_opcodes() {
    static bool registered = false;
    if (registered) return;
    registered = true;
    for (int32_t op = 0; op <= LAST_FILE_OPCODE; ++op) {
        const OPCODE_FACTS& row = opcode_fact(op);
        if (row.arity >= 0) register_opcode(op, row.name, row.arity);
    }
    register_opcode(OP_BGNBLOCK, "VREG", 0);
}

void register_own_opcodes() {
    for (int32_t op = FIRST_OWN_OPCODE; op <= LAST_OWN_OPCODE; ++op) {
        const OPCODE_FACTS& row = opcode_fact(op);
        if (row.arity >= 0) register_opcode(op, row.name, row.arity);
    }
}

namespace {

bool entry_is(int32_t number, const char* name) {
    const IF_NODE_INFO& entry = if_node_info[static_cast<size_t>(number)];
    return entry.number == number && entry.name && !strcmp(entry.name, name);
}

bool entry_matches(int32_t number) {
    const OPCODE_FACTS& fact = opcode_fact(number);
    const IF_NODE_INFO& entry = if_node_info[static_cast<size_t>(number)];
    const bool name_differs = !entry.name || strcmp(entry.name, fact.name) != 0;
    if (entry.number == number && entry.arity == fact.arity && !name_differs) return true;
    trace("OP#%d: %d || %d || (%d != %d) <<%s>> <<%s>>", number, entry.number, name_differs, entry.arity,
          fact.arity, entry.name ? entry.name : "", fact.name);
    trace("\tNo match for %s\n", fact.name);
    return false;
}

} // namespace

void validate_opcode_tables() {
    trace(" *** VALIDATING OPCODE TABLES\n");
    if (!entry_is(OP_NAME, "NAME") || !entry_is(OP_UMINUS, "UMINUS") || !entry_is(OP_CALL, "CALL"))
        fatal_error("INTERNAL ERROR: if_node_info[] mismatch\n");
    register_own_opcodes();
    bool all_match = true;
    for (int32_t op = 0; op <= LAST_OPCODE; ++op)
        if (opcode_fact(op).name && !entry_matches(op)) all_match = false;
    if (!all_match) fatal_exit();
    trace(" *** OPCODE TABLES ARE OK\n\n");
}

const char* opcode_spelling(int32_t number) {
    if (number < 1 || number > 255) return " ?NODE? ";
    if (number > LAST_OPCODE) return " ?ILLOP?";
    return spelling_table[static_cast<size_t>(number)].data();
}

const char* opcode_name(int32_t number) {
    if (number < 0 || number > LAST_OPCODE) return "?";
    const char* name = opcode_fact(number).name;
    return name ? name : "?";
}

bool opcode_is_own(int32_t number) {
    switch (number) {
    case OP_CBRANCH:
    case OP_LOOP:
    case OP_ENDLOOP:
    case OP_INITLOOP: return true;
    case OP_IF:
    case OP_NONALIGN:
    case OP_IDENTITY:
    case OP_ISP2CHAR:
    case OP_BGNBLOCK: return false;
    default: return number >= FIRST_OWN_OPCODE && number <= LAST_OWN_OPCODE;
    }
}

bool opcode_has_side_effect(int32_t number) {
    if (number < 0 || number > LAST_OPCODE) return false;
    if (number == OP_SSA_PHI) return true;
    if (opcode_arity(number) >= 0 && !opcode_fact(number).name) return true; // may do anything
    const OPCODE_CLASS kind = opcode_fact(number).kind;
    return kind == OPCODE_CLASS::ASSIGNS || kind == OPCODE_CLASS::CALLS || kind == OPCODE_CLASS::CONTROL;
}

int32_t plain_operator(int32_t op) {
    switch (op) {
    case OP_PLUSASG:
    case OP_PLUSPLUS: return OP_PLUS;
    case OP_MINUSASG:
    case OP_MINMIN: return OP_MINUS;
    case OP_MULTASG: return OP_MULT;
    case OP_DIVASG: return OP_DIV;
    case OP_MODASG: return OP_MOD;
    case OP_ANDBASG: return OP_ANDB;
    case OP_ORBASG: return OP_ORB;
    case OP_XORBASG: return OP_XORB;
    case OP_SLLASG: return OP_SLL;
    case OP_SRLASG: return OP_SRL;
    default: return OP_NOP;
    }
}

uint8_t opcode_record_arity(int32_t number) {
    if (opcode_is_leaf_record(number)) return 0;
    return static_cast<uint8_t>(std::max(opcode_arity(number), 0));
}

bool opcode_starts_with_left_value(int32_t op) {
    switch (op) {
    case OP_PLUS:
    case OP_MINUS:
    case OP_MULT:
    case OP_DIV:
    case OP_MOD:
    case OP_SLL:
    case OP_SRL:
    case OP_ANDB:
    case OP_ORB:
    case OP_XORB:
    case OP_UMINUS:
    case OP_NOTB:
    case OP_ABS:
    case OP_SQRT:
    case OP_SQR:
    case OP_RECIP:
    case OP_EXCLAIM:
    case OP_SCONV:
    case OP_PCONV:
    case OP_ISP2CHAR:
    case OP_NONALIGN:
    case OP_IDENTITY:
    case OP_COMMAOP:
    case OP_PCOMMA:
    case OP_UMULT:
    case OP_STREF: return true;
    default: return opcode_is_relation(op);
    }
}

} // namespace pelorus
