// The reader on files made byte by byte: what good files mean, and that bad ones end with one message and
// status 1.
#include "icode/reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "icode/unit_client.h"
#include "icode_exit.h"
#include "icode_samples.h"
#include "ir/funinfo.h"
#include "ir/tree_text.h"
#include "ir/validate_tree.h"
#include "memory/zone.h"
#include "support/settings.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

// A function as its end record left it.
struct FUNCTION_TEXT {
    std::string name;
    std::vector<std::string> statements;
    uint64_t offset;
    uint32_t units;
};

// What a run over a file gave.
struct OUTCOME {
    bool opened = false;
    int status = 0; // of the exit; 0 when there was none
    std::string errors;
    std::vector<FUNCTION_TEXT> functions;
    std::vector<FUNCTION_TEXT> again; // read a second time by offset
};

void note_function(void* context) {
    FUNCTION_TEXT text{function.symbol->name, {}, function.info->body_offset, function.info->size};
    for (const STMT* cell = function.statements; cell; cell = cell->next)
        text.statements.insert(text.statements.begin(), tree_text(cell->tree));
    static_cast<std::vector<FUNCTION_TEXT>*>(context)->push_back(text);
    release_local_zone();
}

class Reader : public testing::Test {
protected:
    void SetUp() override {
        icode_exit = throw_exit;
        reset();
    }
    void TearDown() override {
        close();
        reset();
        set_type_package(nullptr);
        icode_exit = exit;
    }

    void reset() {
        reset_settings();
        clear_function();
        clear_file_symbols();
        clear_funinfo();
        node_factory = {};
        type_error_place = nullptr;
        types = TYPE_PKG();
        set_type_package(&types);
        reset_zones_for_test();
    }
    void close() {
        if (reader)
            close_icode(reader);
        else if (stream)
            fclose(stream);
        reader = nullptr;
        stream = nullptr;
    }

    // Opens the bytes as a file, with `skip` bytes in front that are not icode.
    bool open(const std::string& bytes, const ICODE_CLIENT& client, size_t skip = 0) {
        close();
        content = bytes;
        stream = content.empty() ? fopen("/dev/null", "rb") : fmemopen(content.data(), content.size(), "rb");
        fseek(stream, static_cast<long>(skip), SEEK_SET);
        reader = open_icode(stream, "in.if", client);
        return reader != nullptr;
    }

    // The whole way of a file: everything, then each function by its offset.
    OUTCOME run(const std::string& bytes, size_t skip = 0) {
        reset();
        OUTCOME outcome;
        UNIT_CLIENT unit;
        unit.function_read = note_function;
        unit.context = &outcome.functions;
        testing::internal::CaptureStderr();
        try {
            ICODE_CLIENT client = unit_icode_client(unit);
            client.wants_good_trees = wants_good_trees;
            outcome.opened = open(bytes, client, skip);
            if (outcome.opened) {
                read_whole_file(*reader);
                unit.context = &outcome.again;
                for (const FUNCTION_TEXT& text : outcome.functions) read_function_body(*reader, text.offset);
            }
        } catch (const ICODE_EXIT& exit) {
            outcome.status = exit.status;
        } catch (const FatalExit&) {
            outcome.status = 1;
        }
        outcome.errors = testing::internal::GetCapturedStderr();
        return outcome;
    }
    OUTCOME run(const ICODE_FILE& file) { return run(file.bytes()); }

    // The outcome of a file whose one function holds these records.
    OUTCOME run_body(const BYTES& body) { return run(with_body(body)); }
    std::vector<std::string> statements_of(const BYTES& body) {
        const OUTCOME outcome = run_body(body);
        EXPECT_EQ(outcome.errors, "");
        return outcome.functions.empty() ? std::vector<std::string>() : outcome.functions[0].statements;
    }
    // What went wrong, without the file and the offset.
    std::string fault_of(const BYTES& body) { return fault_of(run_body(body)); }
    std::string fault_of(const ICODE_FILE& file) { return fault_of(run(file)); }
    static std::string fault_of(const OUTCOME& outcome) {
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.errors, StartsWith("\n>> in.if: offset 0x"));
        const size_t end = outcome.errors.find(": ", outcome.errors.find("offset"));
        return end == std::string::npos ? outcome.errors : outcome.errors.substr(end + 2);
    }

    std::string content;
    FILE* stream = nullptr;
    ICODE_READER* reader = nullptr;
    bool wants_good_trees = false;
    TYPE_PKG types;
};

// --- Good files ---

TEST_F(Reader, OneOfEverything) {
    const OUTCOME outcome = run(full_file());
    EXPECT_EQ(outcome.errors, "");
    ASSERT_EQ(outcome.functions.size(), 1U);
    EXPECT_THAT(outcome.functions[0].statements,
                ElementsAre("i = i", "s.first = _puts(-5)", "g1:", "asm(\" nop\")", "comment(\"note\")",
                            "#pragma UNROLL(4)", "_g = (int)-9223372036854775808ll", "_g = (int)2.5",
                            "_puts(\"hi\")", "switch (i) { case 1: goto g1; default: goto g2; }",
                            "g2:", "return i = 0"));
    ASSERT_EQ(outcome.again.size(), 1U);
    EXPECT_EQ(outcome.again[0].statements, outcome.functions[0].statements);
    EXPECT_EQ(outcome.again[0].units, outcome.functions[0].units);
    EXPECT_STREQ(icode_source_name(*reader), "source.c");
    ASSERT_EQ(icode_string_lists(*reader).size(), 1U);
    EXPECT_EQ(icode_string_lists(*reader)[0].id, 3U);
    EXPECT_STREQ(icode_string_lists(*reader)[0].strings[1], "two");
}

TEST_F(Reader, SymbolsTypesAndInitializers) {
    run(full_file());
    const std::vector<SYMBOL*>& globals = icode_global_symbols(*reader);
    ASSERT_EQ(globals.size(), 4U);
    const SYMBOL* f = globals[FUNCTION_F];
    EXPECT_STREQ(f->funinfo->override_text, "-o3");
    EXPECT_TRUE(f->pragmas && !f->pragmas->next && f->pragmas->kind == PK_OPTIONS);
    EXPECT_STREQ(f->position.file, "source.c");
    EXPECT_TRUE(f->position.line == 3 && f->position.column == 5 && f->order == 1);
    const INIT_ITEM* item = globals[VARIABLE_G]->init_trees;
    ASSERT_TRUE(item && item->next && !item->next->next);
    EXPECT_TRUE(item->tree->value_lo == 7 && !item->tree->local && item->next->tree->op == OP_ENDINIT);
    EXPECT_EQ(globals[TABLE]->init_trees->next->tree->op_skip(), 12);
    const TYPE* pair = types.type_of(RECORD);
    EXPECT_STREQ(type_member(pair, 7)->name, "second");
    EXPECT_EQ(types.type_of(COLOUR)->parts->value, 0xFFFFFFFF);
    EXPECT_EQ(types.type_of(ROUTINE)->parts->type, types.type_of(INT));
}

TEST_F(Reader, IcodeMayBeginInTheMiddleOfAFile) {
    const std::string bytes = full_file().bytes();
    const OUTCOME plain = run(bytes);
    const OUTCOME shifted = run("\377library" + bytes, 8);
    EXPECT_EQ(shifted.errors, "");
    ASSERT_TRUE(shifted.functions.size() == 1 && shifted.again.size() == 1);
    EXPECT_EQ(shifted.functions[0].offset, plain.functions[0].offset);
    EXPECT_EQ(shifted.again[0].statements, plain.functions[0].statements);
}

TEST_F(Reader, AbsentSectionsAreNotRead) {
    ICODE_FILE file;
    file.records = record(47, BYTES().s("alone"));
    const OUTCOME outcome = run(file);
    EXPECT_TRUE(outcome.opened && outcome.errors.empty());
    EXPECT_TRUE(icode_global_symbols(*reader).empty() && !types.find_type(1));
}

TEST_F(Reader, BodiesAreSkippedByLength) {
    ICODE_FILE file = with_body(record(200, {}).add(assigned(name(1, 77)))); // neither of which is looked at
    file.records.add(record(1, BYTES().p(0).u(FUNCTION_PUTS))).add(record(2, BYTES().p(0)));
    ASSERT_TRUE(open(file.bytes(), {}));
    skip_function_body(*reader);
    skip_function_body(*reader);
    testing::internal::CaptureStderr();
    EXPECT_THROW(skip_function_body(*reader), ICODE_EXIT);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("the file ends inside a function"));
}

// --- What records mean ---

TEST_F(Reader, ConstantsTakeTheirTypesSign) {
    EXPECT_THAT(statements_of(assigned(number(-1))), ElementsAre("_g = -1"));
    EXPECT_THAT(statements_of(assigned(number(0xFFFFFFFF, UNSIGNED))), ElementsAre("_g = 4294967295u"));
    EXPECT_THAT(statements_of(assigned(number(0xFFFFFFFF, POINTER))), ElementsAre("_g = 0xffffffff"));
    EXPECT_THAT(statements_of(assigned(tree(OP_LCON, INT, BYTES().s("-0")))), ElementsAre("_g = 0"));
    EXPECT_THAT(statements_of(assigned(tree(OP_LCON, LONG_LONG, BYTES().s("99999999999999999999")))),
                ElementsAre("_g = 99999999999999999999ll"));
    EXPECT_THAT(statements_of(assigned(tree(OP_FCON, DOUBLE, BYTES().s("-inf")))), ElementsAre("_g = -inf"));
}

TEST_F(Reader, NamesWithoutSymbolsAndNodesWithoutOpcodes) {
    EXPECT_THAT(statements_of(statement(tree(OP_URETURN, VOID, {}, {name(0xFFFFFFFF, 5, VOID)}))),
                ElementsAre("return"));
    // The number of opcode 163 is read and dropped; a number that is no opcode reads as a leaf.
    EXPECT_THAT(statements_of(statement(tree(163, VOID, BYTES().l(-70)))), ElementsAre("BGNBLOCK"));
    EXPECT_THAT(statements_of(statement(tree(28, INT))), ElementsAre("<op 28>"));
    EXPECT_THAT(statements_of(statement(tree(100, INT, {}, {global(), number(1)}))),
                ElementsAre("op100(_g, 1)"));
    EXPECT_THAT(statements_of(statement(tree(119, VOID, BYTES().u(1).u(2).y(3), {number(4)}))),
                ElementsAre("DDNODE(4)"));
}

TEST_F(Reader, CallsAreNumberedInTheOrderOfTheirRecords) {
    const BYTES inner =
        tree(OP_UCALL, INT, {}, {tree(OP_UAND, ROUTINE_POINTER, {}, {name(0, FUNCTION_PUTS, ROUTINE)})});
    static std::vector<int32_t> numbers;
    numbers.clear();
    ICODE_CLIENT client;
    client.statement = [](void*, NODE* node, const POSITION&) {
        for (; node; node = node->right) numbers.push_back(node->op_call_number());
    };
    // A tree that stands alone is dropped, and its calls do not count.
    ASSERT_TRUE(open(with_body(statement(call(inner)).add(inner).add(statement(inner))).bytes(), client));
    read_whole_file(*reader);
    EXPECT_THAT(numbers, ElementsAre(1, 2, 3));
}

TEST_F(Reader, InitializersEndWithTheirEndinit) {
    ICODE_FILE file = base_file();
    file.records.add(record(105, BYTES().u(VARIABLE_G).add(number(7)).add(tree(OP_ENDINIT, VOID))))
        .add(number(8))
        .add(number(9));
    EXPECT_EQ(run(file).errors, "");
    const INIT_ITEM* item = icode_global_symbols(*reader)[VARIABLE_G]->init_trees;
    EXPECT_TRUE(item->next && !item->next->next);
}

TEST_F(Reader, CommentsWithASemicolonHaveNoEffect) {
    EXPECT_THAT(statements_of(record(47, BYTES().s(";gone")).add(record(47, BYTES().s(" ;kept")))),
                ElementsAre("comment(\" ;kept\")"));
}

TEST_F(Reader, TextOutsideFunctionsIsPassedOn) {
    static std::vector<std::string> texts;
    texts.clear();
    UNIT_CLIENT unit;
    unit.file_assembly = [](void*, int kind, const char* text, const POSITION&) {
        texts.push_back(std::to_string(kind) + text);
    };
    unit.file_pragma = [](void*, PRAGMA* pragma) { texts.emplace_back(pragma->strings[0]); };
    ICODE_FILE file;
    file.records.add(record(36, BYTES().s(".arm").p(0)))
        .add(record(47, BYTES().s(";x")))
        .add(record(47, BYTES().s("y")));
    file.records.add(record(94, BYTES().u(PK_OTHER).u(1).s("once")));
    ASSERT_TRUE(open(file.bytes(), unit_icode_client(unit)));
    read_whole_file(*reader);
    EXPECT_THAT(texts, ElementsAre("36.arm", "47y", "once"));
}

TEST_F(Reader, ScopesAndStorageClasses) {
    const auto local = [](const char* symbol_name, int storage_class) {
        return symbol_record({symbol_name, INT, storage_class});
    };
    const BYTES open_block = record(3, BYTES().p(1, 12, 1));
    const auto close_block = [](uint32_t line) { return record(4, BYTES().p(1, line, 1)); };
    ICODE_FILE file = base_file();
    file.records.add(record(1, BYTES().p(0).u(FUNCTION_F)))
        .add(local("p", SC_REGISTER_PARM2))
        .add(local("last", SC_VARARG));
    file.records.add(record(5, BYTES().p(0)))
        .add(local("r", SC_REGISTER))
        .add(open_block)
        .add(open_block)
        .add(local("deep", SC_AUTO));
    file.records.add(close_block(13)).add(close_block(14)).add(record(2, BYTES().p(1, 15, 1)));
    static std::vector<SYMBOL> seen;
    seen.clear();
    UNIT_CLIENT unit;
    unit.function_read = [](void*) {
        for (const SYMBOL_LIST* list : {&function_symbols.parameters, &function_symbols.variables})
            for (const SYMBOL* symbol = list->first; symbol; symbol = symbol->next) seen.push_back(*symbol);
    };
    ASSERT_TRUE(open(file.bytes(), unit_icode_client(unit)));
    read_whole_file(*reader);
    ASSERT_EQ(seen.size(), 4U);
    EXPECT_TRUE(seen[0].storage_class == SC_AUTO && seen[0].level == 1 && seen[0].scope_end.line == 15);
    EXPECT_EQ(seen[1].storage_class, SC_ARGUMENT);
    EXPECT_EQ(find_funinfo("_f")->flags & 0x40022U, 0x40022U);
    EXPECT_TRUE(seen[2].storage_class == SC_AUTO && seen[2].file_class == SC_REGISTER && seen[2].level == 2);
    EXPECT_TRUE(seen[3].level == 2 && seen[3].scope_end.line == 13);
}

// --- Faults ---

TEST_F(Reader, AnythingButTheHeaderIsNoIcodeFile) {
    const std::string good = full_file().bytes();
    const size_t header = good.find("source.c") + 9;
    std::vector<std::string> bad = {"", "x", std::string(1000, '\x08')};
    for (size_t length = 1; length < header; length += 5) bad.push_back(good.substr(0, length));
    for (size_t at = 0; at < 2 + 10 + 4; ++at) { // kind, length, magic and versions
        bad.push_back(good);
        bad.back()[at] ^= 1;
    }
    for (const std::string& bytes : bad) {
        const OUTCOME outcome = run(bytes);
        EXPECT_FALSE(outcome.opened) << bytes.substr(0, 20);
        EXPECT_TRUE(outcome.errors.empty() && outcome.status == 0);
    }
}

// One message, no matter where the file ends.
TEST_F(Reader, FilesThatEndTooEarly) {
    const std::string good = full_file().bytes();
    for (size_t length = good.find("source.c") + 9; length < good.size(); ++length) {
        const OUTCOME outcome = run(good.substr(0, length));
        ASSERT_EQ(outcome.status, 1) << length;
        const std::string& text = outcome.errors;
        ASSERT_EQ(text.find(">> in.if"), text.rfind(">> in.if")) << text;
        ASSERT_THAT(text, HasSubstr(">> in.if: offset 0x")) << length;
    }
}

TEST_F(Reader, LengthsThatLie) {
    const auto longer = [](BYTES bytes) { return bytes.text[1]++, bytes; };
    const auto shorter = [](BYTES bytes) { return bytes.text[1]--, bytes; };
    EXPECT_THAT(fault_of(longer(record(42, BYTES().u(1)))),
                HasSubstr("the length of this record of kind 42 ends at"));
    EXPECT_THAT(fault_of(shorter(assigned(number(1)))), HasSubstr("passes the end of what holds it"));
    EXPECT_THAT(fault_of(shorter(record(36, BYTES().s("abc").p(0)))),
                HasSubstr("the fields pass the end of their record"));
    EXPECT_THAT(fault_of(assigned(longer(number(1)))), HasSubstr("passes the end of what holds it"));
    EXPECT_THAT(fault_of(assigned(tree(OP_UMINUS, INT, {}, {number(1), number(2)}))),
                HasSubstr("the length of this tree record"));
    EXPECT_THAT(fault_of(BYTES().y(46).u(0xFFFFFFFF).p(0)), HasSubstr("passes the end of the file"));
    EXPECT_THAT(fault_of(record(47, BYTES().y('x'))), HasSubstr("the fields pass the end of their record"));
    EXPECT_THAT(fault_of(assigned(tree(OP_SCON, TEXT, BYTES().u(0xFFFFFFF0).y(0)))),
                HasSubstr("a count of bytes passes"));
    EXPECT_THAT(fault_of(record(94, BYTES().u(1).u(0xFFFFFFFF).s("x"))),
                HasSubstr("the fields pass the end"));
    EXPECT_THAT(run_body(record(46, BYTES().p(0).add(record(46, {})))).errors,
                StartsWith("\nINTERNAL ERROR: Invalid I-code record, aborting\n"));
}

TEST_F(Reader, IndicesThatNameNothing) {
    EXPECT_THAT(fault_of(assigned(name(0, 4))), HasSubstr("global symbol 4 does not exist; there are 4"));
    EXPECT_THAT(fault_of(assigned(name(1, 0))), HasSubstr("local symbol 0 does not exist; there are 0"));
    EXPECT_THAT(fault_of(assigned(number(1, 99))), HasSubstr("type 99 does not exist"));
    EXPECT_THAT(fault_of(assigned(tree(OP_FIELD, INT, BYTES().y(1).u(2).u(RECORD)))),
                HasSubstr("struct pair has no member with key 2"));
    EXPECT_THAT(fault_of(assigned(tree(OP_FIELD, INT, BYTES().y(1).u(1).u(INT)))),
                HasSubstr("int has no member with key 1"));
    EXPECT_THAT(fault_of(assigned(tree(OP_FIELD, INT, BYTES().y(2).u(1).u(RECORD)))),
                HasSubstr("a FIELD begins with 2, not 1"));
    EXPECT_THAT(fault_of(statement(tree(OP_BRANCH, VOID, {}, {label(0)}))),
                HasSubstr("label 0 is not in the range 1 to 32767"));
    EXPECT_THAT(fault_of(record(42, BYTES().u(32768))), HasSubstr("label 32768 is not in the range"));
    EXPECT_THAT(fault_of(statement(tree(171, VOID))), HasSubstr("opcode 171 is greater than 170"));
    EXPECT_THAT(fault_of(assigned(tree(OP_LCON, INT, BYTES().s("12a")))),
                HasSubstr("\"12a\" is no decimal number"));
    EXPECT_THAT(fault_of(assigned(tree(OP_FCON, DOUBLE, BYTES().s("pi")))),
                HasSubstr("\"pi\" is no floating-point number"));
    ICODE_FILE file = base_file();
    file.records = record(105, BYTES().u(9).add(tree(OP_ENDINIT, VOID)));
    EXPECT_THAT(fault_of(file), HasSubstr("global symbol 9 does not exist"));
    // A position may name a file that is not there.
    EXPECT_THAT(statements_of(record(6, BYTES().p(77, 1, 1))), ElementsAre());
}

TEST_F(Reader, NumbersThatOverflow) {
    const auto label_of = [](std::initializer_list<int> groups) {
        BYTES bytes;
        for (const int group : groups) bytes.y(group);
        return record(42, bytes);
    };
    EXPECT_THAT(
        statements_of(label_of({0x81, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0})),
        ElementsAre("g1:"));
    EXPECT_THAT(fault_of(label_of({0x80, 0x80, 0x80, 0x80, 0x10})),
                HasSubstr("a number needs more than 32 bits"));
    EXPECT_THAT(fault_of(label_of({0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x02})),
                HasSubstr("a number needs more than 64 bits"));
    EXPECT_THAT(statements_of(assigned(number(INT32_MIN))), ElementsAre("_g = -2147483648"));
    EXPECT_THAT(fault_of(assigned(number(int64_t{INT32_MAX} + 1))),
                HasSubstr("a number needs more than 32 bits"));
}

TEST_F(Reader, EnumeratorsTake64Bits) {
    ICODE_FILE file = base_file();
    file.types.add(type_record(14, TR_ENUMERATION, BYTES().s("wide").u(8).u(8).u(LONG_LONG).p(0).u(0)));
    const std::vector<int64_t> values = {0, -1, 63, 64, -64, -65, INT64_MAX, INT64_MIN};
    for (const int64_t value : values) file.types.add(type_record(14, 23, BYTES().s("e").l(value).p(0)));
    EXPECT_EQ(run(file).errors, "");
    const TYPE_PART* part = types.type_of(14)->parts;
    for (const int64_t value : values) {
        ASSERT_NE(part, nullptr);
        EXPECT_EQ(part->value, value);
        part = part->next;
    }
    BYTES excess = BYTES().s("e");
    for (int i = 0; i < 9; ++i) excess.y(0x80);
    file.types.add(type_record(14, 23, excess.y(0x01).p(0)));
    EXPECT_THAT(fault_of(file), HasSubstr("a number needs more than 64 bits"));
}

// `levels` nodes around a constant; each has `extra` in front of the nested tree.
BYTES nested(int32_t op, int levels, const BYTES& extra) {
    std::vector<std::string> heads;
    size_t size = number(1).text.size();
    for (int i = 0; i < levels; ++i) {
        BYTES head = BYTES().y(101).u(2 + extra.text.size() + size).y(op).u(INT).add(extra);
        size += head.text.size();
        heads.push_back(std::move(head.text));
    }
    BYTES all;
    while (!heads.empty()) all.text += heads.back(), heads.pop_back();
    return all.add(number(1));
}

TEST_F(Reader, TreesNestAsDeepAsTheLimitsSay) {
    EXPECT_EQ(run_body(statement(nested(OP_UMINUS, 99990, {}))).errors, "");
    EXPECT_EQ(run_body(statement(nested(OP_PLUS, 9990, number(2)))).errors, "");
    EXPECT_THAT(fault_of(statement(nested(OP_UMINUS, 1000000, {}))),
                HasSubstr("trees are nested deeper than"));
    EXPECT_THAT(fault_of(statement(nested(OP_PLUS, 10001, number(2)))), HasSubstr("right subtrees deep"));
}

TEST_F(Reader, UnknownKindsAreReadOn) {
    // The body of an unknown record is read as records.
    ICODE_FILE file = with_body(record(200, assigned(number(1))).add(record(0, {})).add(assigned(number(2))));
    const OUTCOME outcome = run(file);
    const auto offset = static_cast<unsigned long>(file.bytes().find('\xC8'));
    char expected[64];
    snprintf(expected, sizeof expected, "\n///ERROR @0x%lx\n\n", offset);
    EXPECT_EQ(outcome.errors.substr(0, strlen(expected)), expected);
    ASSERT_EQ(outcome.functions.size(), 1U);
    EXPECT_THAT(outcome.functions[0].statements, ElementsAre("_g = 1", "_g = 2"));
    // The body of a function is read more than once; each of its records counts once.
    BYTES many;
    for (int i = 0; i < 1000; ++i) many.add(record(200, {}));
    EXPECT_EQ(run_body(many).status, 0);
    EXPECT_THAT(run_body(many.add(record(200, {}))).errors, HasSubstr("more than 1000 unknown records"));
}

TEST_F(Reader, RecordsOutOfPlace) {
    const BYTES begin = record(1, BYTES().p(0).u(FUNCTION_F));
    const BYTES body = record(5, BYTES().p(0));
    const BYTES end = record(2, BYTES().p(0));
    const auto records = [](const std::initializer_list<BYTES>& all) {
        ICODE_FILE file = base_file();
        for (const BYTES& bytes : all) file.records.add(bytes);
        return file;
    };
    EXPECT_THAT(fault_of(records({end})), HasSubstr("outside the body of a function"));
    EXPECT_THAT(fault_of(records({begin, begin})), HasSubstr("a function begins inside another one"));
    EXPECT_THAT(fault_of(records({body})), HasSubstr("a body begins where no function has begun"));
    EXPECT_THAT(fault_of(records({begin, body, body})),
                HasSubstr("a body begins where no function has begun"));
    EXPECT_THAT(fault_of(records({begin, assigned(number(1))})),
                HasSubstr("a statement outside the body of a function"));
    EXPECT_THAT(fault_of(records({begin, body, record(4, BYTES().p(0))})), HasSubstr("a block end outside"));
    EXPECT_THAT(fault_of(records({begin, body})), HasSubstr("the file ends inside a function"));
    EXPECT_EQ(run(records({begin, body, record(3, BYTES().p(0)), end})).errors,
              ""); // an end closes open scopes
    const BYTES initializer = record(105, BYTES().u(VARIABLE_G).add(tree(OP_ENDINIT, VOID)));
    EXPECT_THAT(fault_of(records({initializer, initializer})),
                HasSubstr("a second initializer of symbol \"_g\""));
    ICODE_FILE file = base_file();
    file.symbols.add(number(1));
    EXPECT_THAT(fault_of(file), HasSubstr("a record of kind 101 in the section for kind 35"));
    file = base_file();
    file.symbols.add(symbol_record({"_x", INT, SC_EXTERN, 0, 2})).add(record(94, BYTES().u(1).u(0)));
    EXPECT_THAT(fault_of(file), HasSubstr("where a pragma of symbol \"_x\" is expected"));
}

TEST_F(Reader, TypesThatContradict) {
    const auto with_types = [&](const BYTES& bytes) {
        ICODE_FILE file = base_file();
        file.types.add(bytes);
        const OUTCOME outcome = run(file);
        EXPECT_EQ(outcome.status, 1);
        return outcome.errors;
    };
    const auto pointer = [](uint32_t index, uint32_t target) {
        return type_record(index, TR_POINTER, BYTES().u(target).u(4).u(4));
    };
    EXPECT_THAT(with_types(pointer(POINTER, INT)),
                StartsWith("TP>> internal error: read type twice\n>> in.if: offset 0x"));
    EXPECT_THAT(with_types(pointer(20, 21)),
                StartsWith("TP>> internal error: invalid foward reference\n>> in.if"));
    EXPECT_THAT(with_types(pointer(20, 20)), StartsWith("TP>> internal error: invalid foward reference\n"));
    EXPECT_THAT(with_types(pointer(0x7FFFFFFF, INT)),
                StartsWith("TP>> internal error: type number is larger than the file\n"));
    EXPECT_THAT(with_types(pointer(0, INT)), HasSubstr("a type with index 0"));
    // A kind that is not known has no effect.
    ICODE_FILE file = base_file();
    file.types.add(type_record(20, 99, BYTES().u(1).s("x")));
    EXPECT_EQ(run(file).errors, "");
    EXPECT_EQ(types.find_type(20), nullptr);
}

// Wrappers of nothing, and what asks them at once; in the section and among the top-level records.
TEST_F(Reader, TypesWithoutTheirComponents) {
    const BYTES hollow[] = {
        type_record(20, TR_QUALIFIED, BYTES().u(0).y(1).y(1).y(0).y(0).u(0)),
        type_record(20, TR_TYPEDEF, BYTES().s("t").u(0)),
        type_record(20, TR_ATOMIC, BYTES().u(0)),
        type_record(20, TR_COMPLEX, BYTES().u(0)),
        type_record(20, TR_ARRAY, BYTES().u(0).u(1).u(4).u(4)),
        type_record(20, TR_ENUMERATION, BYTES().s("").u(4).u(4).u(0).p(0).u(0)),
        type_record(20, TR_FUNCTION, BYTES().u(0).u(0).u(0).u(0).y(1).y(0).u(0)),
    };
    const BYTES users[] = {
        symbol_record({"_u", 20, SC_EXTERN}),
        type_record(21, TR_ENUMERATION, BYTES().s("e").u(4).u(4).u(20).p(0).u(0)),
        type_record(21, TR_BITFIELD, BYTES().y(0).y(3).u(20).u(20).u(4).u(4)),
        type_record(21, TR_QUALIFIED, BYTES().u(20).y(1).y(0).y(0).y(0).u(0)),
        type_record(20, 23, BYTES().s("e").u(1).p(0)),
        assigned(number(1, 20)),
    };
    for (const BYTES& type : hollow)
        for (const BYTES& user : users) {
            ICODE_FILE file = base_file();
            file.types.add(type).add(user);
            EXPECT_EQ(run(file).status, 1);
            file = with_body(type);
            file.records.text.insert(file.records.text.size() - 5, user.text); // before the function's end
            EXPECT_EQ(run(file).status, 1);
        }
}

// Whatever the bytes are, the run ends, and a run that fails says so.
TEST_F(Reader, DamagedFilesNeverCrash) {
    const std::string good = full_file().bytes();
    uint64_t state = 0x9E3779B97F4A7C15;
    const auto random = [&](size_t bound) {
        state ^= state << 13, state ^= state >> 7, state ^= state << 17;
        return static_cast<size_t>(state % bound);
    };
    int faults = 0;
    for (int round = 0; round < 6000; ++round) {
        std::string bytes = good;
        for (size_t changes = 1 + random(3); changes; --changes) {
            const size_t at = random(bytes.size());
            switch (random(4)) {
            case 0: bytes[at] = static_cast<char>(random(256)); break;
            case 1: bytes[at] = static_cast<char>(bytes[at] + (random(2) ? 1 : -1)); break;
            case 2: bytes.erase(at, 1 + random(4)); break;
            default: bytes.insert(at, good, random(good.size()), random(8)); break;
            }
        }
        const OUTCOME outcome = run(bytes);
        ASSERT_TRUE(outcome.status == 0 || !outcome.errors.empty());
        faults += outcome.status != 0;
    }
    EXPECT_GT(faults, 2000);
}

} // namespace
} // namespace pelorus
