// The text form. Whatever the bytes are, text -> bytes gives them back; golden cases show what the text looks
// like.
//
// PELORUS_REFRESH=1 in the environment writes the expected texts anew.
#include "icode/text_form.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "icode/format.h"
#include "icode/text_value.h"
#include "ir/type.h"

namespace pelorus {
namespace {

using testing::HasSubstr;

const std::filesystem::path golden_folder = std::filesystem::path(PELORUS_TEST_DATA) / "text";
constexpr const char* golden_names[] = {"hello", "names", "kinds", "opcodes"};

std::string read_file(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    std::stringstream text;
    text << stream.rdbuf();
    return text.str();
}

std::string assembled(std::string_view text) {
    ASSEMBLY result = assemble_icode(text, "test");
    EXPECT_TRUE(result.good) << result.error;
    return result.bytes;
}

std::string golden_bytes(const std::string& name) {
    return assembled(read_file(golden_folder / (name + ".ict")));
}

// Bytes -> text -> bytes. Returns the text.
DISASSEMBLY expect_round_trip(std::string_view bytes, bool offsets = false) {
    DISASSEMBLY text = disassemble_icode(bytes, offsets);
    const ASSEMBLY again = assemble_icode(text.text, "again");
    EXPECT_TRUE(again.good) << again.error << text.text.substr(0, 4000);
    EXPECT_TRUE(again.bytes == bytes) << text.text.substr(0, 4000);
    return text;
}

std::string error_of(std::string_view text) {
    const ASSEMBLY result = assemble_icode(text, "t.ict");
    EXPECT_FALSE(result.good);
    EXPECT_TRUE(result.bytes.empty());
    return result.error;
}

TEST(TextForm, GoldenTexts) {
    for (const std::string name : golden_names) {
        SCOPED_TRACE(name);
        const auto expected = golden_folder / (name + ".expected");
        const std::string text = expect_round_trip(golden_bytes(name)).text;
        if (getenv("PELORUS_REFRESH")) std::ofstream(expected, std::ios::binary) << text;
        EXPECT_EQ(text, read_file(expected));
    }
}

TEST(TextForm, OffsetsAreThoseOfTheRecordsAndAreIgnoredByTheAssembler) {
    const std::string bytes = golden_bytes("hello");
    const std::string text = expect_round_trip(bytes, true).text;
    const size_t end = bytes.find("e\x02p"); // ENDINIT, the last node of the first record behind the header
    EXPECT_THAT(text, HasSubstr("[0x00000000] header"));
    ASSERT_NE(end, std::string::npos);
    char offset[32];
    snprintf(offset, sizeof offset, "[0x%08zx] function", end + 4);
    EXPECT_THAT(text, HasSubstr(offset));
}

// --- Damage ---

void mutate(std::string& bytes, std::mt19937& random) {
    const auto below = [&](size_t limit) { return std::uniform_int_distribution<size_t>(0, limit)(random); };
    for (size_t count = 1 + below(3); count && !bytes.empty(); --count) {
        const size_t at = below(bytes.size() - 1);
        switch (below(6)) {
        case 0: bytes[at] = static_cast<char>(below(255)); break;
        case 1: bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(7))); break;
        case 2: bytes.erase(at, 1 + below(8)); break;
        case 3: bytes.insert(at, 1 + below(3), static_cast<char>(below(255))); break;
        case 4: bytes.insert(at, bytes.substr(below(bytes.size() - 1), below(40))); break;
        case 5: bytes[at] = static_cast<char>(0xFF); break;
        default: bytes.resize(at); break;
        }
    }
}

TEST(TextForm, DamagedFilesComeBackByteForByte) {
    std::mt19937 random(20240);
    for (const char* name : golden_names) {
        const std::string good = golden_bytes(name);
        for (int i = 0; i < 300; ++i) {
            std::string bytes = good;
            mutate(bytes, random);
            expect_round_trip(bytes);
            ASSERT_FALSE(HasFailure()) << name << ", mutation " << i;
        }
    }
}

TEST(TextForm, DamageIsCountedAndPassed) {
    const std::string good = golden_bytes("hello");
    EXPECT_EQ(disassemble_icode(good, false).damaged, 0u);
    EXPECT_EQ(disassemble_icode("", false).damaged, 0u);

    const size_t branches = good.find("e\x0c\x38"); // the COMMA of the loop's IF
    ASSERT_NE(branches, std::string::npos);
    std::string wrong_opcode = good;
    wrong_opcode[branches + 2] = static_cast<char>(200);
    DISASSEMBLY text = expect_round_trip(wrong_opcode);
    EXPECT_EQ(text.damaged, 1u);
    EXPECT_THAT(text.text, HasSubstr("record 46 ("));
    EXPECT_THAT(text.text, HasSubstr("RETURN($ret, sum)"));

    std::string wrong_length = good;
    wrong_length[good.rfind(".", branches) + 1] = 0x7F;
    text = expect_round_trip(wrong_length);
    EXPECT_GE(text.damaged, 1u);
    EXPECT_THAT(text.text, HasSubstr("RETURN"));
    EXPECT_THAT(text.text, HasSubstr("symbol \"_printf\" class=extern flags=referenced+called type=int.fn"));

    text = expect_round_trip(good.substr(0, good.size() / 3));
    EXPECT_GE(text.damaged, 1u);
    EXPECT_THAT(text.text, HasSubstr("types=")); // an offset that the file does not reach
}

// A record of any kind with any values, by the tables.
void random_value(char code, std::mt19937& random, std::string& bytes) {
    const uint64_t number = random() >> (random() % 32);
    TEXT_VALUE value;
    const std::string text(random() % 5, static_cast<char>('!' + random() % 90));
    value.numbers.fill({number, random() % 8 ? 0 : static_cast<uint32_t>(random() % LONGEST_NUMBER)});
    value.text = text;
    std::string encoding;
    if (code == 'i' || code == 'v') {
        encode_sleb(value.numbers[0], encoding);
        value.text = encoding;
    }
    if (code == 'm') value.text = std::string_view(text).substr(0, text.size() & ~size_t{1});
    if (code == 'n') value.strings.assign(random() % 3, value.text);
    if (code == 'p' && random() % 3 == 0) value.numbers[0].value = 0;
    encode_value(code, value, bytes);
}

void add_framed(uint8_t kind, const std::string& body, std::string& bytes) {
    bytes.push_back(static_cast<char>(kind));
    encode_uleb({body.size(), 0}, bytes);
    bytes += body;
}

void random_node(int depth, std::mt19937& random, std::string& bytes) {
    const auto op = static_cast<uint8_t>(random() % (LAST_OPCODE + 1));
    bytes.push_back(static_cast<char>(op));
    encode_uleb({random() % 12, 0}, bytes);
    const std::string codes = payload_codes(opcode_payload(op));
    for (const char code : codes) random_value(code, random, bytes);
    uint32_t children = random() % 8 ? record_children(op) : static_cast<uint32_t>(random() % 4);
    if (depth > 6) children = 0;
    for (; children; --children) {
        std::string child;
        random_node(depth + 1, random, child);
        add_framed(RK_TREE, child, bytes);
    }
}

void random_record(uint8_t kind, std::mt19937& random, std::string& bytes) {
    std::string body;
    const RECORD_LAYOUT& layout = *record_layout(kind);
    for (const FIELD_LAYOUT& field : layout.fields) random_value(field.code, random, body);
    if (layout.nested == NESTED::TYPE) {
        uint8_t type_kind = 0;
        do type_kind = static_cast<uint8_t>(random());
        while (!type_layout(type_kind));
        encode_uleb({random() % 12, 0}, body);
        body.push_back(static_cast<char>(type_kind));
        for (const FIELD_LAYOUT& field : *type_layout(type_kind)) random_value(field.code, random, body);
    }
    if (layout.nested == NESTED::NODE) random_node(0, random, body);
    if (layout.nested == NESTED::TREE || layout.nested == NESTED::TREES) {
        std::string node;
        random_node(0, random, node);
        add_framed(RK_TREE, node, body);
    }
    add_framed(kind, body, bytes);
}

TEST(TextForm, RecordsOfEveryKindWithAnyValuesAreUnderstood) {
    std::mt19937 random(7);
    for (int file = 0; file < 300; ++file) {
        std::string bytes;
        size_t known = 0;
        random_record(RK_NOTE, random, bytes); // not a header, whose offsets would cut the file anywhere
        for (int i = 0; i < 60; ++i) {
            const auto kind = static_cast<uint8_t>(random() % 130);
            if (!record_layout(kind)) continue;
            random_record(kind, random, bytes);
            ++known;
        }
        EXPECT_EQ(expect_round_trip(bytes).damaged, 0u);
        ASSERT_FALSE(HasFailure()) << "file " << file << ", " << known << " records";
    }
}

std::string nested_tree(size_t depth) {
    std::string node = {static_cast<char>(OP_NOP), 0};
    std::vector<uint64_t> lengths{node.size()};
    for (size_t i = 1; i < depth; ++i)
        lengths.push_back(2 + 1 + shortest_uleb(lengths.back()) + lengths.back());
    std::string bytes;
    for (size_t i = depth; i-- > 0;) {
        bytes.push_back(static_cast<char>(RK_TREE));
        encode_uleb({lengths[i], 0}, bytes);
        bytes += i ? std::string{static_cast<char>(OP_UMULT), 0} : node;
    }
    return bytes;
}

TEST(TextForm, DeepTreesNeedNoStack) {
    EXPECT_EQ(expect_round_trip(nested_tree(icode_limits.tree_depth)).damaged, 0u);
    EXPECT_GE(expect_round_trip(nested_tree(icode_limits.tree_depth + 1)).damaged, 1u);
    std::string open = "tree ";
    for (int i = 0; i < 1000000; ++i) open += "UMULT(";
    EXPECT_THAT(error_of(open), HasSubstr("inside parentheses"));
}

TEST(TextForm, AListOfManyOperandsIsAChainOfNodes) {
    std::string text = "tree COMMA(LABEL 0";
    for (int i = 1; i < 20000; ++i) text += ", LABEL 1";
    const std::string bytes = assembled(text + ")\n");
    EXPECT_THAT(expect_round_trip(bytes).text, HasSubstr("tree COMMA(\n"));
    const auto lists = std::count(bytes.begin(), bytes.end(), static_cast<char>(OP_COMMA));
    EXPECT_GE(lists, 19999);
    EXPECT_EQ(assembled("tree COMMA(LABEL 1, LABEL 2, LABEL 3)"),
              assembled("tree COMMA(COMMA(LABEL 1, LABEL 2), LABEL 3)"));
    EXPECT_NE(assembled("tree COMMA(LABEL 1, LABEL 2, LABEL 3)"),
              assembled("tree COMMA(LABEL 1, COMMA(LABEL 2, LABEL 3))"));
}

// --- Writing by hand ---

TEST(TextForm, WhatIsLeftOutIsPutIn) {
    // The shortest program and the same with everything spelled out.
    const char* brief = "header \"a.c\"\nend\nsection types\ntype int[2] ARRAY element=int count=2\nend\n"
                        "section symbols\nsymbol \"_a\" class=extern type=int[2]\npragma 1 \"used\"\nend\n";
    const char* full =
        "header \"a.c\" magic=\"!<icode>\\n\" version_a=-89 version_b=400 types=41 symbols=58\nend\n"
        "type 1 INT unsigned=0 size=4 align=4 related=0\ntype 2 ARRAY element=1 count=2 size=8 align=4\nend\n"
        "symbol \"_a\" size=8 offset=0 class=2 flags=0 type=2 align=4 pragmas=1 order=1 fifth=0\n"
        "pragma 1 \"used\"\nend\n";
    EXPECT_EQ(assembled(brief), assembled(full));
}

TEST(TextForm, TypesWithoutARecordStandInFrontOfTheirFirstUse) {
    const std::string text = "header \"a.c\"\nsymbol \"_x\" type=struct.s.const*[2][]\nend\nsection types\n"
                             "type struct.s CSU \"s\"\n part MEMBER \"next\" type=struct.s*\nend\n";
    const std::string result = expect_round_trip(assembled(text)).text;
    EXPECT_LT(result.find("POINTER target=struct.s\n"), result.find("MEMBER \"next\""));
    EXPECT_THAT(result, HasSubstr("type struct.s.const*[] OPEN_ARRAY element=struct.s.const*\n"
                                  "type struct.s.const*[2][] ARRAY element=struct.s.const*[] count=2\n"));
    EXPECT_THAT(expect_round_trip(assembled("header \"a.c\"\ntree 1:int\nend\n")).text,
                HasSubstr("section types\ntype int INT\nend"));
}

TEST(TextForm, ErrorsNameThePlaceAndWhatWasExpected) {
    struct CASE {
        const char* text;
        const char* error;
    };
    static const CASE cases[] = {
        {"header \"a\n", "t.ict:1:8: a string without end"},
        {"\n  wrong 1\n", "t.ict:2:3: expected a keyword, found \"wrong\""},
        {"label 1 2\n", "t.ict:1:9: the field \"label\" is given twice"},
        {"label -1", "t.ict:1:7: expected a number that is not negative"},
        {"note 200", "does not fit"},
        {"tree PLUS:int(1:int)", "t.ict:1:6: PLUS takes 2 subtrees, not 1"},
        {"tree PLUS:int(1:int 2:int)", "t.ict:1:21: expected \",\" or \")\" behind an operand, found \"2\""},
        {"tree ICON:nothing 1", "t.ict:1:11: no type has the label \"nothing\""},
        {"tree -1:uint", "a negative number of an unsigned type"},
        {"tree x", "no local symbol \"x\" is visible here"},
        {"tree @x", "no global symbol has the name \"x\""},
        {"symbol \"x\"\nsymbol \"x\"\ntree @x", "t.ict:3:6: several global symbols have this name"},
        {"symbol \"x\"\ntree NAME global 0 \"y\"", "t.ict:2:20: the symbol with this number is \"x\""},
        {"symbol \"a\\0b\"", "a zero byte inside"},
        {"symbol \"a\" class=strange", "expected a number or the name of a value of \"class\""},
        {"symbol \"a\" flag=1", "t.ict:1:12: expected a field of the record, found \"flag\""},
        {"type a INT\ntype a INT", "the label \"a\" is declared twice"},
        {"type a MEMBER", "write \"part\""},
        {"section types\nend\nsection types\n", "the section begins twice"},
        {"comment \"\\q\"", "t.ict:1:10: an escape that is none of"},
        {"bytes 0a 0", "expected the end of the line, found \"0\""},
        {"statement @1:2:3", "t.ict:1:17: expected a tree, found the end of the line"},
        {"tree LABEL 99999999999999999999", "expected an integer of at most 64 bits"},
        {"tree NAME none)", "a \")\" without \"(\""},
    };
    for (const CASE& test : cases) EXPECT_THAT(error_of(test.text), HasSubstr(test.error)) << test.text;
}

TEST(TextForm, AnyTextIsAcceptedOrRefusedWithOneLine) {
    std::mt19937 random(99);
    size_t good = 0;
    for (int i = 0; i < 400; ++i) {
        std::string text = read_file(golden_folder / (std::string(golden_names[i % 3]) + ".expected"));
        if (i % 2)
            mutate(text, random);
        else if (const size_t digit = text.find_first_of("0123456789", random() % text.size());
                 digit < text.size())
            text[digit] = static_cast<char>('0' + random() % 10);
        const ASSEMBLY result = assemble_icode(text, "t");
        good += result.good;
        if (result.good)
            expect_round_trip(result.bytes);
        else
            EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 1) << result.error;
        ASSERT_FALSE(HasFailure()) << text;
    }
    EXPECT_GT(good, 50u); // or the mutations were too wild to try anything
}

} // namespace
} // namespace pelorus
