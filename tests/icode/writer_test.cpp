// Writing icode, mostly by reading it back.
#include "icode/writer.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <string>
#include <vector>

#include "cfg/bb.h"
#include "icode/function_writer.h"
#include "icode/unit_client.h"
#include "icode_exit.h"
#include "ir/funinfo.h"
#include "memory/zone.h"
#include "support/fresh_state.h"
#include "support/settings.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

class Writer : public testing::Test {
protected:
    void SetUp() override {
        icode_exit = throw_exit;
        fresh_state(types);
        stream = tmpfile();
        writer = create_icode(dup_stream(), "out.if", "source.c", types);
    }
    void TearDown() override {
        fclose(stream);
        fresh_state(types);
    }

    // The writer closes its stream; ours stays to be read.
    FILE* dup_stream() const { return fdopen(dup(fileno(stream)), "w+b"); }

    SYMBOL* global(const char* name, TYPE* type, int storage_class = SC_EXTERN_DEF) {
        SYMBOL_FIELDS fields{};
        fields.name = name;
        fields.type = type;
        fields.storage_class = static_cast<int8_t>(storage_class);
        fields.size = type->size;
        fields.align = type->align;
        fields.flags = SF_DEFINED;
        return new_file_symbol(fields, 0);
    }
    SYMBOL* local(const char* name, TYPE* type) {
        SYMBOL_FIELDS fields{};
        fields.name = name;
        fields.type = type;
        fields.storage_class = SC_AUTO;
        fields.size = type->size;
        return new_file_symbol(fields, 2);
    }
    // A symbol whose value is the list of constants.
    SYMBOL* initialized(const char* name, TYPE* type, const std::vector<NODE*>& items) {
        SYMBOL* symbol = global(name, type);
        INIT_ITEM** place = &symbol->init_trees;
        std::vector<NODE*> all = items;
        all.push_back(new_node(OP_ENDINIT, types.void_type()));
        for (NODE* tree : all) {
            *place = zone_new<INIT_ITEM>(false);
            (*place)->tree = tree;
            place = &(*place)->next;
        }
        return symbol;
    }
    NODE* constant(TYPE* type, int64_t value) { return new_icon(type, int96_from_int64(value)); }

    struct RESULT {
        std::vector<std::string> file_names; // of the positions of the statements
        int leaf_notes = 0;
    };

    // Closes the output and reads it as a new file.
    void close() { ASSERT_TRUE(close_icode_writer(writer)); }
    ICODE_READER* reopen(const ICODE_CLIENT& client) {
        fresh_state(types);
        FILE* copy = dup_stream();
        rewind(copy);
        ICODE_READER* reader = open_icode(copy, "out.if", client);
        EXPECT_TRUE(reader);
        return reader;
    }

    std::string bytes() const {
        std::string all(static_cast<size_t>(size()), '\0');
        rewind(stream);
        EXPECT_EQ(fread(all.data(), 1, all.size(), stream), all.size());
        return all;
    }
    long size() const {
        fseek(stream, 0, SEEK_END);
        return ftell(stream);
    }

    TYPE_PKG types;
    FILE* stream = nullptr;
    ICODE_WRITER* writer = nullptr;
};

TEST_F(Writer, EmptyFileReadsAndHeaderKeepsItsSize) {
    fflush(stream);
    close();
    const std::string all = bytes();
    EXPECT_EQ(all.substr(0, 12), std::string("\x08\x2B!<icode>\n", 11) + '\0');
    EXPECT_EQ(static_cast<uint8_t>(all[2 + 0x2B]), RK_END)
        << "the end of the records stands right behind the header";
    ICODE_READER* reader = reopen({});
    read_whole_file(*reader);
    EXPECT_STREQ(icode_source_name(*reader), "source.c");
    close_icode(reader);
}

TEST_F(Writer, ConstantsKeepTheirValueInTheFormTheyNeed) {
    TYPE* wide = types.make_basic(TR_LONG_LONG, false, 8, 8);
    TYPE* unsigned_wide = types.make_basic(TR_LONG_LONG, true, 8, 8);
    NODE* small = constant(wide, 5);
    NODE* large = constant(wide, int64_t{1} << 40);
    NODE* negative = constant(wide, -1);
    NODE* low = constant(unsigned_wide, 0xFFFFFFFF);
    NODE* high = constant(unsigned_wide, 0x100000000);
    NODE* least = constant(types.int_type(), INT32_MIN);
    declare_global(*writer,
                   initialized("_t", types.make_array(wide, 6), {small, large, negative, low, high, least}));
    write_initializer(*writer, file_symbols.first);
    EXPECT_EQ(small->op, OP_ICON);
    EXPECT_EQ(large->op, OP_LCON);
    EXPECT_EQ(negative->op, OP_ICON);
    EXPECT_EQ(low->op, OP_ICON);
    EXPECT_EQ(high->op, OP_LCON);
    close();
    ICODE_READER* reader = reopen({});
    read_whole_file(*reader);
    std::vector<int64_t> values;
    for (const INIT_ITEM* item = file_symbols.first->init_trees; item; item = item->next)
        if (item->tree->op == OP_ICON) values.push_back(int96_to_int64(item->tree->value()));
    EXPECT_EQ(values, (std::vector<int64_t>{5, int64_t{1} << 40, -1, 0xFFFFFFFF, 0x100000000, INT32_MIN}));
    close_icode(reader);
}

TEST_F(Writer, FloatsAndBytesComeBackExactly) {
    TYPE* real = types.make_basic(TR_DOUBLE, false, 8, 8);
    TYPE* single = types.make_basic(TR_FLOAT, false, 4, 4);
    const auto floating = [](TYPE* type, const char* text) {
        NODE* node = new_node(OP_FCON, type);
        node->set_float(text);
        return node;
    };
    NODE* bytes_node = new_node(OP_SCON, types.make_array(types.make_basic(TR_CHAR, true, 1, 1), 4));
    bytes_node->set_bytes("a\0\xFF", 4);
    initialized("_t", types.make_array(real, 9),
                {floating(real, "0.1"), floating(single, "0.1"), floating(real, "-inf"),
                 floating(real, "-0.0"), floating(real, "4.9e-324"), bytes_node});
    write_initializer(*writer, file_symbols.first);
    close();
    ICODE_READER* reader = reopen({});
    read_whole_file(*reader);
    const INIT_ITEM* item = file_symbols.first->init_trees;
    for (const double expected : {0.1, static_cast<double>(0.1F), -HUGE_VAL, -0.0, 4.9e-324}) {
        EXPECT_EQ(item->tree->floating()->value, expected);
        EXPECT_EQ(std::signbit(item->tree->floating()->value), std::signbit(expected));
        item = item->next;
    }
    EXPECT_EQ(std::string(item->tree->text, 4), std::string("a\0\xFF", 4));
    close_icode(reader);
}

TEST_F(Writer, TreesLargerThanTheBufferAreNoProblem) {
    std::vector<NODE*> items(10000, constant(types.int_type(), 1000000));
    initialized("_t", types.make_array(types.int_type(), 10000), items);
    write_initializer(*writer, file_symbols.first);
    SYMBOL* f = global("_f", types.make_function(types.void_type(), true, false, 0));
    write_function_begin(*writer, f, {});
    write_body_begin(*writer, {});
    NODE* sum = constant(types.int_type(), 0);
    for (int count = 0; count < 50000; ++count)
        sum = new_binary(OP_PLUS, types.int_type(), sum, constant(types.int_type(), count));
    write_statement(*writer, sum, {});
    write_function_end(*writer, {});
    close();

    int nodes = 0;
    ICODE_CLIENT client;
    client.context = &nodes;
    client.statement = [](void* context, NODE* tree, const POSITION&) {
        for (; tree; tree = tree->left) ++*static_cast<int*>(context);
    };
    ICODE_READER* reader = reopen(client);
    read_whole_file(*reader);
    EXPECT_EQ(nodes, 50001);
    close_icode(reader);
}

TEST_F(Writer, FieldsThatPassTheBufferEndTheRun) {
    write_comment(*writer, std::string(ICODE_BUFFER_SIZE - 1, 'x').c_str());
    EXPECT_THROW(write_comment(*writer, std::string(ICODE_BUFFER_SIZE, 'x').c_str()), FatalExit);
    abandon_icode_writer(writer);
}

TEST_F(Writer, OptimizersOpcodesMayNotComeOut) {
    NODE* inner = new_node(OP_CSE_ORIG, types.int_type());
    EXPECT_THROW(wrtree(new_binary(OP_PLUS, types.int_type(), constant(types.int_type(), 1), inner)),
                 FatalExit);
    abandon_icode_writer(writer);
}

TEST_F(Writer, PositionWithoutAFileNamesNoFileOnce) {
    SYMBOL* f = global("_f", types.make_function(types.void_type(), true, false, 0));
    write_function_begin(*writer, f, POSITION{nullptr, 3, 1});
    write_body_begin(*writer, POSITION{nullptr, 4, 1});
    write_function_end(*writer, {});
    close();
    const std::string all = bytes();
    const size_t first = all.find("NO_FILE");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(all.find("NO_FILE", first + 1), std::string::npos);
}

TEST_F(Writer, SymbolsKeepWhatTheFileSaidOfThem) {
    SYMBOL_FIELDS fields{};
    fields.name = "_f";
    fields.type = types.make_function(types.int_type(), true, true, 0);
    fields.storage_class = SC_EXTERN_DEF;
    fields.order = 7;
    fields.flags = SF_CALLED | SF_WEAK;
    SYMBOL* f = new_file_symbol(fields, 0);
    const char* strings[] = {"section", ".text.hot"};
    PRAGMA pragma{nullptr, strings, 2, PK_ATTRIBUTE};
    f->pragmas = &pragma;
    function.info = get_funinfo("_f");
    write_function_begin(*writer, f, {});
    fields = {};
    fields.name = "last";
    fields.type = types.int_type();
    fields.storage_class = SC_VARARG;
    SYMBOL* last = new_file_symbol(fields, 1);
    EXPECT_EQ(last->storage_class, SC_ARGUMENT);
    write_symbol(*writer, last);
    write_body_begin(*writer, {});
    write_function_end(*writer, {});
    close();

    UNIT_CLIENT unit;
    ICODE_READER* reader = reopen(unit_icode_client(unit));
    read_whole_file(*reader);
    const SYMBOL* again = file_symbols.first;
    EXPECT_EQ(again->order, 7U);
    EXPECT_EQ(again->flags & FILE_SYMBOL_FLAGS, SF_CALLED | SF_WEAK);
    ASSERT_TRUE(again->pragmas && again->pragmas->count == 2);
    EXPECT_STREQ(again->pragmas->strings[1], ".text.hot");
    EXPECT_EQ(again->funinfo->flags & 0x40022U, 0x40022U) << "it still walks its arguments";
    close_icode(reader);
}

// The trace names every record that goes into the file, in the order of the file.
TEST_F(Writer, EveryRecordIsEchoed) {
    TraceCapture capture;
    write_string_list(*writer, {7, {"a"}});
    TYPE* number = types.int_type();
    SYMBOL* f = global("_f", types.make_function(number, true, false, 0));
    SYMBOL* x = initialized("_x", number, {constant(number, 5)});
    write_function_begin(*writer, f, POSITION{"a.c", 3, 1});
    write_body_begin(*writer, POSITION{"a.c", 4, 1});
    write_block_begin(*writer, POSITION{"a.c", 5, 1});
    write_statement(*writer, new_binary(OP_ASG, number, new_name(x, number), constant(number, 1)),
                    POSITION{"a.c", 6, 1});
    write_block_end(*writer, POSITION{"a.c", 7, 1});
    write_function_place(*writer, POSITION{"a.c", 8, 1});
    write_leaf_note(*writer, "f");
    write_label(*writer, 2);
    write_pragma(*writer, PRAGMA{nullptr, nullptr, 0, PK_UNROLL});
    write_function_end(*writer, POSITION{"a.c", 9, 1});
    write_initializer(*writer, x);
    close();
    EXPECT_EQ(capture.text(), "I_BF\t1\t3\t\t\t;_f\n"
                              "I_EA\t5\t4\t\t\t;\n"
                              "I_BB\t3\t5\t\t\t;\n"
                              ".6\n"
                              "I_EB\t4\t7\t\t\t;\n"
                              "I_EL\t6\t8\t\t\t;\n"
                              "\n#\t'L':\tf is a leaf function.\n"
                              "g2:\n"
                              "#[Pragma] 2 0\n"
                              "I_EF\t2\t9\t\t\t;\n"
                              "INITIALIZER\t105\t1\t\t\t;_x\n"
                              "END\t255\t0\t\t\t;\n"
                              "STRING_LIST\t111\t7\t\t\t;\n"
                              "END\t255\t0\t\t\t;\n"
                              "TYPE\t116\t1\t\t\t;INT int\n"
                              "TYPE\t116\t2\t\t\t;FUNCTION int (void)\n"
                              "TYPE\t116\t3\t\t\t;VOID void\n"
                              "END\t255\t0\t\t\t;\n"
                              "FILE_NAME\t126\t1\t\t\t;a.c\n"
                              "END\t255\t0\t\t\t;\n"
                              "-- variable -- size -- offset/class/scqual/aln/stype;\n"
                              "#   _f           0\t   0    5  0xe002   1 int (void)      \t; (0,0)\n"
                              "#   _x           4\t   0    5  0xe002   4 int             \t; (0,0)\n"
                              "END\t255\t0\t\t\t;\n"
                              "HEADER\t8\t0\t\t\t;source.c\n");
}

// A whole function through the graph and out.
class FunctionOutput : public Writer {
protected:
    void begin(TYPE* result = nullptr) {
        f = global("_f", types.make_function(result ? result : types.void_type(), true, false, 0));
        function.symbol = f;
        function.info = get_funinfo("_f");
        function.info->symbol = f;
        f->funinfo = function.info;
    }
    void add(NODE* tree) { function.statements = new_stmt(tree, {}, function.statements); }
    void finish() {
        build_cfg();
        begin_function_output(*writer);
        write_function_blocks(*writer);
        close();
    }
    static int count_notes(const std::string& all) {
        int notes = 0;
        for (size_t at = 0; (at = all.find(std::string("\x40\x01L"), at)) != std::string::npos; ++at) ++notes;
        return notes;
    }
    SYMBOL* f = nullptr;
};

// Only the optimizer makes LOOPs, in a graph that stands.
TEST_F(FunctionOutput, ALoopIsShownAsItsControlAndThenItsTripCount) {
    TYPE* number = types.int_type();
    NODE* control = new_name(local("i", number), number);
    begin();
    add(constant(number, 1));
    build_cfg();
    flow_graph.bb_list->stmts->tree = new_binary(OP_LOOP, types.void_type(), control, constant(number, 8));
    settings.interleave_text = 1;
    begin_function_output(*writer);
    write_function_blocks(*writer);
    settings.interleave_text = 0;
    close();
    const std::string all = bytes();
    const size_t shown = all.find(";\ti");
    const size_t trips = all.find(";\ttrip count: 8");
    ASSERT_TRUE(shown != std::string::npos && trips != std::string::npos);
    EXPECT_LT(shown, trips);
}

TEST_F(FunctionOutput, LeafFunctionsAreNoted) {
    begin();
    SYMBOL* x = local("x", types.int_type());
    add(new_binary(OP_ASG, types.int_type(), new_name(x, x->type), constant(types.int_type(), 1)));
    finish();
    EXPECT_EQ(count_notes(bytes()), 1);
}

TEST_F(FunctionOutput, FunctionsWithCallsAreNot) {
    begin();
    NODE* callee = new_unary(OP_UAND, types.make_pointer(f->type), new_name(f, f->type));
    add(new_unary(OP_UCALL, types.void_type(), callee));
    finish();
    EXPECT_TRUE(function.info->referenced);
    EXPECT_EQ(count_notes(bytes()), 0);
}

TEST_F(FunctionOutput, LabelsComeBackAsBlockNumbers) {
    begin(types.int_type());
    SYMBOL* x = local("x", types.int_type());
    const auto label = [&](int number) {
        NODE* definition = new_node(OP_LABELDEF, types.void_type());
        definition->set_value(int96_signed(number));
        add(definition);
    };
    label(20);
    add(new_binary(OP_IF, types.void_type(), new_name(x, x->type),
                   new_binary(OP_COMMA, types.void_type(), new_label_leaf(20), new_label_leaf(9))));
    label(9);
    finish();

    std::vector<std::string> seen;
    ICODE_CLIENT client;
    client.context = &seen;
    client.statement = [](void* context, NODE* tree, const POSITION&) {
        std::string text = opcode_name(tree->op);
        for_each_label(tree, [&](const NODE* leaf) { text += " " + std::to_string(leaf->value_lo); });
        static_cast<std::vector<std::string>*>(context)->push_back(text);
    };
    client.label = [](void* context, uint32_t number) {
        static_cast<std::vector<std::string>*>(context)->push_back("g" + std::to_string(number));
    };
    ICODE_READER* reader = reopen(client);
    read_whole_file(*reader);
    EXPECT_EQ(seen,
              (std::vector<std::string>{"BRANCH 2", "g2", "IF 3 2", "g3", "BRANCH 4", "g4", "URETURN"}));
    close_icode(reader);
}

TEST(WriterStream, FullDiskIsReportedAtTheEnd) {
    TYPE_PKG types;
    fresh_state(types);
    FILE* full = fopen("/dev/full", "wb");
    if (!full) GTEST_SKIP() << "no /dev/full here";
    EXPECT_FALSE(close_icode_writer(create_icode(full, "/dev/full", "s.c", types)));
}

} // namespace
} // namespace pelorus
