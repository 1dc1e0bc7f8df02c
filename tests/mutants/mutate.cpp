// See mutate.h.
//
// A change is made at a tree, a statement or another record, chosen at random; what goes in comes from the
// same function (local symbols and labels mean something there only) or is made up.
#include "mutants/mutate.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "icode/format.h"
#include "ir/opcodes.h"

namespace pelorus {

namespace {

struct MUTATION {
    PARTS_FILE& file;
    DICE& dice;
    bool careful;

    uint32_t below(size_t count) { return static_cast<uint32_t>(dice() % count); }
    bool chance(uint32_t percent) { return dice() % 100 < percent; }
    template <class T>
    auto& one_of(T& list) {
        return list[below(std::size(list))];
    }
};

void collect(PARTS_TREE& tree, std::vector<PARTS_TREE*>& all) {
    all.push_back(&tree);
    for (PARTS_TREE& child : tree.children) collect(child, all);
}

// All nodes of a function's statements, or of the initializers for -1.
std::vector<PARTS_TREE*> nodes_of(PARTS_FILE& file, int function) {
    std::vector<PARTS_TREE*> all;
    for (PARTS_RECORD& record : file.records)
        if (record.function == function)
            for (PARTS_TREE& tree : record.trees) collect(tree, all);
    for (PARTS_RECORD& record : file.parts[SECTION_INITIALIZERS])
        if (function < 0)
            for (PARTS_TREE& tree : record.trees) collect(tree, all);
    return all;
}

// --- What goes into trees ---

int64_t some_number(MUTATION& m) {
    constexpr int64_t NUMBERS[] = {0,   1,     -1,    2,          3,          4,          7,          8,
                                   31,  32,    33,    63,         64,         127,        128,        255,
                                   256, 32767, 32768, 65535,      0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, -128,
                                   -2,  -31,   -32,   -0x8000000, INT32_MIN,  100,        5,          6};
    return m.chance(80) ? m.one_of(NUMBERS) : static_cast<int64_t>(m.dice() % 1000);
}

std::string some_text(MUTATION& m) {
    constexpr const char* TEXTS[] = {"0",
                                     "1",
                                     "-1",
                                     "1.5",
                                     "inf",
                                     "nan",
                                     "-0",
                                     "1e300",
                                     "4294967296",
                                     "x",
                                     "",
                                     "9223372036854775807",
                                     "-9223372036854775808",
                                     "1e-46",
                                     "2"};
    return std::string(m.one_of(TEXTS)) + '\0';
}

uint32_t some_type(MUTATION& m) {
    if (m.chance(5)) return m.below(3) ? 0 : m.below(100000);
    return 1 + m.below(m.file.parts[SECTION_TYPES].size() + 1);
}

std::string some_payload(MUTATION& m, uint8_t op) {
    const auto small = [&] { return uleb_bytes(m.below(m.chance(80) ? 12 : 300)); };
    const PAYLOAD payload = op <= LAST_OPCODE ? opcode_fact(op).payload : PAYLOAD::NONE;
    switch (payload) {
    case PAYLOAD::NONE: return {};
    case PAYLOAD::SYMBOL:
        return m.chance(10) ? uleb_bytes(NO_SYMBOL_SCOPE) + uleb_bytes(0) : uleb_bytes(m.below(2)) + small();
    case PAYLOAD::BYTES: return uleb_bytes(4) + "abc" + std::string(1, '\0');
    case PAYLOAD::FLOAT:
    case PAYLOAD::DECIMAL:
    case PAYLOAD::TEXT: return some_text(m);
    case PAYLOAD::FIELD: return std::string(1, '\1') + small() + uleb_bytes(some_type(m));
    case PAYLOAD::DDNODE: return small() + small() + '\0';
    case PAYLOAD::INTEGER:
    case PAYLOAD::DROPPED: return sleb_bytes(some_number(m));
    default: return small();
    }
}

uint8_t some_opcode(MUTATION& m) {
    if (m.chance(3)) return static_cast<uint8_t>(m.dice());
    for (;;) {
        const auto op = static_cast<int32_t>(m.below(OPCODE_COUNT));
        if (opcode_arity(op) >= 0) return static_cast<uint8_t>(op);
    }
}

// Operators that can often stand for each other.
uint8_t similar_opcode(MUTATION& m, uint8_t op) {
    constexpr uint8_t GROUPS[][16] = {
        {OP_PLUS, OP_MINUS, OP_MULT, OP_DIV, OP_MOD, OP_ANDB, OP_ORB, OP_XORB, OP_SLL, OP_SRL, OP_COMMAOP},
        {OP_PLUSASG, OP_MINUSASG, OP_MULTASG, OP_DIVASG, OP_MODASG, OP_ANDBASG, OP_ORBASG, OP_XORBASG,
         OP_SLLASG, OP_SRLASG, OP_PLUSPLUS, OP_MINMIN, OP_ASG},
        {OP_EQ, OP_NEQ, OP_LE, OP_LT, OP_GE, OP_GT, OP_ULE, OP_ULT, OP_UGE, OP_UGT, OP_ANDAND, OP_OROR},
        {OP_UMINUS, OP_NOTB, OP_ABS, OP_SQR, OP_SQRT, OP_RECIP, OP_IDENTITY, OP_SCONV, OP_EXCLAIM,
         OP_NONALIGN, OP_PCONV},
        {OP_ASG, OP_STASG, OP_PCOMMA},
        {OP_UAND, OP_ACONV, OP_PCONV, OP_ISP2CHAR},
        {OP_STDOT, OP_STREF},
        {OP_RETURN, OP_URETURN, OP_BRANCH, OP_IF, OP_SWITCH},
        {OP_CALL, OP_UCALL, OP_MCALL, OP_UMCALL, OP_ICALL, OP_UICALL, OP_MEMCPY}};
    for (int tries = 0; tries < 30; ++tries) {
        const auto& group = m.one_of(GROUPS);
        const auto count = static_cast<size_t>(std::find(group, group + 16, 0) - group);
        if (std::find(group, group + count, op) != group + count) return group[m.below(count)];
    }
    return some_opcode(m);
}

// --- Changes of a tree ---

using TREE_CHANGE = void (*)(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>& donors);

const PARTS_TREE& some_donor(MUTATION& m, const PARTS_TREE& tree, const std::vector<PARTS_TREE*>& donors) {
    for (int tries = 0; tries < 200; ++tries) {
        const PARTS_TREE& donor = *donors[m.below(donors.size())];
        if (!m.careful || donor.type == tree.type) return donor;
    }
    return tree;
}

void fit_children(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>& donors) {
    const int arity = opcode_is_leaf_record(tree.op) ? 0 : std::max(0, opcode_arity(tree.op));
    while (tree.children.size() > static_cast<size_t>(arity)) tree.children.pop_back();
    while (tree.children.size() < static_cast<size_t>(arity)) {
        PARTS_TREE donor = some_donor(m, tree, donors);
        tree.children.push_back(std::move(donor));
    }
}

void change_opcode(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>& donors) {
    const uint8_t old = tree.op;
    tree.op = m.careful || m.chance(50) ? similar_opcode(m, old) : some_opcode(m);
    const auto payload = [](uint8_t op) {
        return op <= LAST_OPCODE ? opcode_fact(op).payload : PAYLOAD::NONE;
    };
    if (payload(old) != payload(tree.op)) tree.payload = some_payload(m, tree.op);
    if (m.careful || m.chance(80)) fit_children(m, tree, donors);
}

void change_type(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>& donors) {
    tree.type = m.chance(60) ? donors[m.below(donors.size())]->type : some_type(m);
}

void change_payload(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>& donors) {
    for (int tries = 0; m.chance(60) && tries < 20; ++tries) {
        const PARTS_TREE& donor = *donors[m.below(donors.size())];
        if (donor.op != tree.op || donor.payload == tree.payload) continue;
        tree.payload = donor.payload;
        if (m.careful) tree.type = donor.type;
        return;
    }
    tree.payload = some_payload(m, tree.op);
}

void replace(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>& donors) {
    PARTS_TREE donor = some_donor(m, tree, donors);
    tree = std::move(donor);
}

void exchange_children(MUTATION&, PARTS_TREE& tree, const std::vector<PARTS_TREE*>&) {
    if (tree.children.size() == 2) std::swap(tree.children[0], tree.children[1]);
}

void drop_child(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>&) {
    if (!tree.children.empty()) tree.children.erase(tree.children.begin() + m.below(tree.children.size()));
}

void double_child(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>&) {
    if (tree.children.empty()) return;
    PARTS_TREE child = m.one_of(tree.children);
    tree.children.push_back(std::move(child));
}

void become_child(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>&) {
    if (tree.children.empty()) return;
    PARTS_TREE child = std::move(m.one_of(tree.children));
    tree = std::move(child);
}

// The tree becomes an operand of a new operator, with its own type.
void wrap(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>& donors) {
    PARTS_TREE inner = tree;
    tree.op = m.careful ? similar_opcode(m, m.chance(50) ? OP_PLUS : OP_UMINUS) : some_opcode(m);
    if (!m.careful) tree.type = some_type(m);
    tree.payload = some_payload(m, tree.op);
    tree.children = {std::move(inner)};
    fit_children(m, tree, donors);
}

// A choice or a comma around the tree: they may stand nearly everywhere.
void wrap_in_choice(MUTATION& m, PARTS_TREE& tree, const std::vector<PARTS_TREE*>& donors) {
    PARTS_TREE inner = tree;
    PARTS_TREE condition = *donors[m.below(donors.size())];
    if (m.chance(50)) {
        tree.op = OP_COMMAOP;
        tree.children = {std::move(condition), std::move(inner)};
    } else {
        PARTS_TREE other = some_donor(m, tree, donors);
        uint32_t void_type = 0;
        for (const PARTS_TREE* donor : donors)
            if (donor->op == OP_LABEL || donor->op == OP_COLON) void_type = donor->type;
        tree.op = OP_QUEST;
        tree.children = {std::move(condition),
                         {OP_COLON, void_type, {}, {std::move(inner), std::move(other)}}};
    }
    tree.payload.clear();
}

constexpr TREE_CHANGE TREE_CHANGES[] = {
    change_opcode,     change_opcode, change_type,    change_payload, replace, replace,       drop_child,
    exchange_children, double_child,  change_payload, become_child,   wrap,    wrap_in_choice};

bool is_part(uint8_t op) { return op <= LAST_OPCODE && opcode_fact(op).kind == OPCODE_CLASS::PARTS; }

void change_tree(MUTATION& m) {
    const int function = static_cast<int>(m.below(static_cast<size_t>(m.file.functions) + 1)) - 1;
    std::vector<PARTS_TREE*> nodes = nodes_of(m.file, function);
    if (nodes.empty()) return;
    uint32_t at = m.below(nodes.size());
    for (int tries = 0; m.careful && is_part(nodes[at]->op) && tries < 10; ++tries)
        at = m.below(nodes.size());
    PARTS_TREE& tree = *nodes[at];
    // What hangs on the tree may be gone before a donor is taken; it stands right behind it in the list.
    std::vector<PARTS_TREE*> own;
    collect(tree, own);
    const auto first = nodes.begin() + at;
    if (own.size() < nodes.size())
        nodes.erase(first, first + static_cast<std::ptrdiff_t>(own.size()));
    else
        nodes.resize(1);
    m.one_of(TREE_CHANGES)(m, tree, nodes);
}

// --- Changes of records ---

// Any record outside the sections but those that only position.
size_t some_record(MUTATION& m) { return m.below(m.file.records.size()); }

void move_record(MUTATION& m) {
    auto& records = m.file.records;
    const size_t from = some_record(m);
    if (m.careful && records[from].kind != RK_STATEMENT && records[from].kind != RK_LABEL_DEFINITION) return;
    const size_t to = m.careful ? from + 1 + m.below(5) : some_record(m);
    if (to >= records.size() || (m.careful && records[to].function != records[from].function)) return;
    std::swap(records[from], records[to]);
}

void drop_record(MUTATION& m) {
    const size_t at = some_record(m);
    if (!m.careful || m.file.records[at].kind == RK_STATEMENT)
        m.file.records.erase(m.file.records.begin() + static_cast<std::ptrdiff_t>(at));
}

void double_record(MUTATION& m) {
    const size_t at = some_record(m);
    if (m.careful && m.file.records[at].kind != RK_STATEMENT) return;
    PARTS_RECORD copy = m.file.records[at];
    m.file.records.insert(m.file.records.begin() + static_cast<std::ptrdiff_t>(at), std::move(copy));
}

// A field of a record of any section: a type, a symbol, a label, a pragma.
void change_field(MUTATION& m) {
    std::vector<PARTS_RECORD*> records;
    if (m.chance(40)) {
        for (PARTS_RECORD& record : m.file.records)
            if (record.kind != RK_STATEMENT) records.push_back(&record);
    } else {
        for (PARTS_RECORD& record : m.file.parts[m.chance(60) ? SECTION_TYPES : SECTION_SYMBOLS])
            records.push_back(&record);
    }
    if (records.empty()) return;
    PARTS_RECORD& record = *m.one_of(records);
    std::vector<PARTS_FIELD> fields = split_fields(record);
    if (fields.empty()) return;
    PARTS_FIELD& field = m.one_of(fields);
    switch (field.code) {
    case 't': field.bytes = uleb_bytes(some_type(m)); break;
    case 'g':
    case 'u':
        field.bytes = uleb_bytes(m.chance(70) ? m.below(10) : static_cast<uint32_t>(some_number(m)));
        break;
    case 'f': field.bytes[0] ^= 1; break;
    case 'b':
    case 'y': field.bytes[0] = static_cast<char>(m.below(m.chance(80) ? 40 : 256)); break;
    case 'l':
    case 'v': field.bytes = sleb_bytes(some_number(m)); break;
    case 'h': field.bytes[m.below(2)] = static_cast<char>(m.dice()); break;
    default: return;
    }
    join_fields(record, fields);
}

using RECORD_CHANGE = void (*)(MUTATION& m);
constexpr RECORD_CHANGE RECORD_CHANGES[] = {move_record, drop_record, double_record, change_field,
                                            change_field};

} // namespace

void mutate(PARTS_FILE& file, DICE& dice) {
    MUTATION m{file, dice, dice() % 2 == 0};
    uint32_t changes = 1 + m.below(m.careful ? 12 : 4);
    for (; changes && !file.records.empty(); --changes) {
        if (m.chance(80))
            change_tree(m);
        else
            m.one_of(RECORD_CHANGES)(m);
    }
}

} // namespace pelorus
