// The tables of opcodes in docs/icode.md and the program's own say the same.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "ir/opcodes.h"

namespace pelorus {
namespace {

struct OPCODE_ROW {
    int number = -1;
    std::string name, subtrees, payload;
    bool own = false; // stands below the heading of those that no file holds
};

std::vector<OPCODE_ROW> rows_of_document() {
    std::ifstream text(PELORUS_TEST_DATA "/../../docs/icode.md");
    const std::regex form(R"(\| (\d+) \| (\w+) \| (\d) \| ?([^|]*?) ?\|.*)");
    std::vector<OPCODE_ROW> rows;
    std::string heading, line;
    bool in_table = false; // the tables with these columns
    while (std::getline(text, line)) {
        if (line.starts_with("#")) heading = line;
        if (line.starts_with("| number | name | subtrees | payload |")) in_table = true;
        if (!line.starts_with("|")) in_table = false;
        std::smatch match;
        if (!in_table || !std::regex_match(line, match, form)) continue;
        rows.push_back(
            {std::stoi(match[1]), match[2], match[3], match[4], heading.find("own") != std::string::npos});
    }
    return rows;
}

std::string payload_text(PAYLOAD payload) {
    switch (payload) {
    case PAYLOAD::NONE: return "";
    case PAYLOAD::LABEL: return "u label";
    case PAYLOAD::SYMBOL: return "u scope, u index";
    case PAYLOAD::BYTES: return "counted bytes";
    case PAYLOAD::INTEGER: return "l or u";
    case PAYLOAD::FLOAT:
    case PAYLOAD::DECIMAL:
    case PAYLOAD::TEXT: return "s";
    case PAYLOAD::FIELD: return "b 1, u key, t structure";
    case PAYLOAD::SWITCH: return "u cases";
    case PAYLOAD::CALL: return "u call";
    case PAYLOAD::SKIP: return "u bytes";
    case PAYLOAD::DDNODE: return "u, u, y";
    case PAYLOAD::DROPPED: return "l";
    }
    return "unknown";
}

TEST(OpcodeTables, TheDocumentHasEveryOpcodeAsItIs) {
    std::set<int> seen;
    for (const OPCODE_ROW& row : rows_of_document()) {
        SCOPED_TRACE(row.number);
        EXPECT_TRUE(seen.insert(row.number).second) << "twice in the document";
        ASSERT_TRUE(row.number <= LAST_OPCODE && opcode_arity(row.number) >= 0) << "no opcode";
        const OPCODE_FACTS& facts = opcode_fact(row.number);
        EXPECT_EQ(row.name, facts.name ? facts.name : "none");
        EXPECT_EQ(row.subtrees, std::to_string(opcode_is_leaf_record(row.number) ? 0 : facts.arity));
        EXPECT_EQ(row.payload, payload_text(facts.payload));
        EXPECT_EQ(row.own, opcode_is_own(row.number));
    }
    for (int op = 0; op <= LAST_OPCODE; ++op)
        EXPECT_EQ(seen.contains(op), opcode_arity(op) >= 0) << "opcode " << op;
}

} // namespace
} // namespace pelorus
