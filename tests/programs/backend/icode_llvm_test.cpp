// icode-llvm on units that are written here record by record: what no C source easily brings about.
//
// Every text that a test gets is given to llc, which checks that it is well-formed.
#include "translate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

#include "icode/text_form.h"
#include "icode/unit_client.h"
#include "icode/writer.h"
#include "ir/stmt.h"
#include "memory/zone.h"
#include "support/test_support.h"

namespace pelorus {

namespace {

using testing::HasSubstr;
using testing::Not;

// A unit being written; `translated` closes it and gives LLVM's text.
class UNIT {
public:
    UNIT() {
        set_type_package(&types);
        register_file_opcodes();
        clear_file_symbols();
        writer_ = create_icode(tmpfile_keeping(), "unit", "unit.c", types);
        integer = types.int_type();
        nothing = types.void_type();
        byte = types.make_basic(TR_CHAR, true, 1, 1);
    }
    ~UNIT() { set_type_package(nullptr); }

    SYMBOL* global(const char* name, TYPE* type, uint8_t storage, uint32_t align = 4) {
        return new_file_symbol(
            {intern_name(name), type->size, 0, int8_t(storage), SF_DEFINED, type, align, ++order_, 0, {}}, 0);
    }
    SYMBOL* local(const char* name, TYPE* type, int level = 2) {
        uint8_t storage = level == 1 ? SC_ARGUMENT : SC_AUTO;
        SYMBOL* symbol =
            new_file_symbol({name, type->size, 0, int8_t(storage), 0, type, type->align, 0, 0, {}}, level);
        write_symbol(*writer_, symbol);
        return symbol;
    }
    TYPE* function_type(TYPE* result, std::initializer_list<TYPE*> parameters, bool variadic = false) {
        TYPE* type = types.make_function(result, true, variadic, 0);
        for (TYPE* parameter : parameters) types.add_parameter(type, parameter);
        return type;
    }
    void begin(const char* name, TYPE* result, std::initializer_list<TYPE*> parameters = {}) {
        SYMBOL* symbol = global(name, function_type(result, parameters), SC_EXTERN_DEF, 1);
        write_function_begin(*writer_, symbol, {});
    }
    void body() { write_body_begin(*writer_, {}); }
    void statement(NODE* tree) { write_statement(*writer_, tree, {}); }
    ICODE_WRITER& writer() { return *writer_; }
    void label(uint32_t number) { write_label(*writer_, number); }
    void end() {
        write_function_end(*writer_, {});
        clear_function();
        release_local_zone();
    }
    void initialize(SYMBOL* symbol, std::initializer_list<NODE*> trees) {
        INIT_ITEM** tail = &symbol->init_trees;
        for (NODE* tree : trees) {
            *tail = zone_new<INIT_ITEM>(false);
            (*tail)->tree = tree;
            tail = &(*tail)->next;
        }
        write_initializer(*writer_, symbol);
    }
    NODE* icon(int32_t value, TYPE* type = nullptr) {
        return new_icon(type ? type : integer, int96_signed(value));
    }
    NODE* assign(SYMBOL* symbol, NODE* value) {
        return new_binary(OP_ASG, symbol->type, new_name(symbol, symbol->declared_type), value);
    }
    NODE* field(TYPE* csu, TYPE_PART* member) {
        NODE* node = new_node(OP_FIELD, member->type);
        node->set_field(1, member, csu);
        return node;
    }
    NODE* scon(const char* bytes, uint32_t length) {
        NODE* node = new_node(OP_SCON, types.make_array(byte, length));
        node->set_bytes(bytes, length);
        return node;
    }

    // The text of the unit, or "" when it was refused.
    std::string translated() {
        if (!close_icode_writer(writer_)) ADD_FAILURE() << "cannot write the unit";
        clear_file_symbols();
        std::string text;
        try {
            text = translate_unit(fopen(path_, "rb"), "unit", {});
        } catch (FatalExit) {
        }
        unlink(path_);
        return text;
    }

    TYPE_PKG types;
    TYPE* integer;
    TYPE* nothing;
    TYPE* byte;

private:
    FILE* tmpfile_keeping() { return fdopen(mkstemp(path_), "w+b"); }

    ICODE_WRITER* writer_;
    uint32_t order_ = 0;
    char path_[32] = "/tmp/icode-llvm-XXXXXX";
};

// Whether llc takes the text; its complaint goes to the test's output.
bool llc_accepts(const std::string& text) {
    FILE* llc = popen("llc-19 -O2 -filetype=null -o /dev/null -", "w");
    fwrite(text.data(), 1, text.size(), llc);
    return pclose(llc) == 0;
}

TEST(IcodeLlvm, initializer_of_bytes_and_addresses) {
    UNIT unit;
    node_factory.local = false;
    TYPE* pointer = unit.types.make_pointer(unit.integer);
    SYMBOL* other = unit.global("_other", unit.integer, SC_STATIC);
    SYMBOL* table = unit.global("_table", unit.types.make_array(pointer, 40), SC_EXTERN_DEF);
    NODE* address = new_binary(OP_PLUS, pointer, new_unary(OP_UAND, pointer, new_name(other, unit.integer)),
                               unit.icon(-8));
    NODE* text = new_unary(OP_PCONV, pointer, new_unary(OP_UAND, pointer, unit.scon("a\"\\\n", 5)));
    NODE* skip = new_node(OP_SKIP, unit.nothing);
    skip->left = nullptr;
    skip->set_skip(100);
    unit.initialize(table,
                    {unit.icon(-2), address, text, skip, unit.icon(7), new_node(OP_ENDINIT, unit.nothing)});
    node_factory.local = true;
    std::string result = unit.translated();
    EXPECT_THAT(result,
                HasSubstr("[4 x i8] c\"\\FE\\FF\\FF\\FF\", ptr getelementptr (i8, ptr @other, i32 -8), ptr "
                          "@.str.0, [100 x i8] zeroinitializer, [4 x i8] c\"\\07\\00\\00\\00\", [44 x i8] "
                          "zeroinitializer"));
    EXPECT_THAT(result, HasSubstr("c\"a\\22\\5C\\0A\\00\""));
    EXPECT_THAT(result, HasSubstr("@other = internal global"));
    EXPECT_TRUE(llc_accepts(result));
}

TEST(IcodeLlvm, alignment_follows_from_the_way_to_the_object) {
    UNIT unit;
    TYPE* packed = unit.types.make_csu("packed", TK_STRUCT, 5, 1, true, nullptr);
    TYPE_PART* word = unit.types.add_member(packed, "word", unit.integer, 1, 1, nullptr);
    TYPE* loose = unit.types.make_csu("loose", TK_STRUCT, 16, 8, true, nullptr);
    TYPE_PART* inner = unit.types.add_member(loose, "inner", unit.integer, 12, 1, nullptr);
    TYPE* to_packed = unit.types.make_pointer(packed);
    TYPE* to_int = unit.types.make_pointer(unit.integer);
    unit.begin("_f", unit.nothing, {to_packed, to_int});
    SYMBOL* p = unit.local("p", to_packed, 1);
    SYMBOL* q = unit.local("q", to_int, 1);
    unit.body();
    SYMBOL* x = unit.local("x", unit.integer);
    SYMBOL* s = unit.local("s", loose);
    unit.statement(
        unit.assign(x, new_binary(OP_STREF, unit.integer, new_name(p, to_packed), unit.field(packed, word))));
    NODE* anywhere = new_unary(OP_UMULT, unit.integer, new_unary(OP_NONALIGN, to_int, new_name(q, to_int)));
    unit.statement(unit.assign(x, anywhere));
    unit.statement(unit.assign(x, new_unary(OP_UMULT, unit.integer, new_name(q, to_int))));
    unit.statement(
        unit.assign(x, new_binary(OP_STDOT, unit.integer, new_name(s, loose), unit.field(loose, inner))));
    unit.end();
    std::string result = unit.translated();
    EXPECT_THAT(result, HasSubstr("getelementptr i8, ptr %a0, i32 1\n  %t1 = load i32, ptr %t0, align 1"));
    EXPECT_THAT(result, HasSubstr("load i32, ptr %a1, align 1"));
    EXPECT_THAT(result, HasSubstr("load i32, ptr %a1, align 4"));
    EXPECT_THAT(result, HasSubstr("%s.4, i32 12\n  %t5 = load i32, ptr %t4, align 4"));
    EXPECT_TRUE(llc_accepts(result));
}

TEST(IcodeLlvm, long_lists_take_no_stack) {
    UNIT unit;
    unit.begin("_f", unit.integer, {unit.integer});
    SYMBOL* p = unit.local("p", unit.integer, 1);
    unit.body();
    SYMBOL* r = unit.local("$ret", unit.integer);
    constexpr int32_t cases = 20000;
    NODE* list = nullptr;
    NODE* sum = new_name(p, unit.integer);
    for (int32_t i = 0; i < cases; i++) {
        NODE* arm = new_binary(OP_CASE, unit.nothing, unit.icon(i - 5), new_label_leaf(1 + i % 2));
        list = list ? new_binary(OP_COMMA, unit.nothing, list, arm) : arm;
        sum = new_binary(OP_PLUS, unit.integer, sum, unit.icon(i));
    }
    NODE* selector = new_name(p, unit.integer);
    NODE* choice = new_binary(OP_SWITCH, unit.nothing, selector, list);
    unit.statement(choice);
    unit.label(1);
    unit.statement(new_binary(OP_RETURN, unit.nothing, new_name(r, unit.integer), sum));
    unit.label(2);
    unit.end();
    std::string result = unit.translated();
    EXPECT_THAT(result, HasSubstr("    i32 -5, label %L1\n    i32 -4, label %L2\n"));
    EXPECT_THAT(result, HasSubstr("i32 19994, label %L2"));
    EXPECT_TRUE(llc_accepts(result));
}

// f(s, g()): what g does to s comes too late for f.
TEST(IcodeLlvm, structure_argument_has_its_value_when_it_is_evaluated) {
    UNIT unit;
    TYPE* large = unit.types.make_csu("large", TK_STRUCT, 80, 4, true, nullptr);
    unit.types.add_member(large, "words", unit.types.make_array(unit.integer, 20), 0, 1, nullptr);
    SYMBOL* s = unit.global("_s", large, SC_EXTERN_DEF);
    TYPE* f_type = unit.function_type(unit.nothing, {large, unit.integer});
    TYPE* g_type = unit.function_type(unit.integer, {});
    SYMBOL* f = unit.global("_f", f_type, SC_EXTERN, 1);
    SYMBOL* g = unit.global("_g", g_type, SC_EXTERN, 1);
    unit.begin("_caller", unit.nothing);
    unit.body();
    NODE* inner = new_unary(OP_UCALL, unit.integer,
                            new_unary(OP_UAND, unit.types.make_pointer(g_type), new_name(g, g_type)));
    NODE* list = new_binary(OP_COMMA, unit.nothing, new_unary(OP_STARG, large, new_name(s, large)), inner);
    unit.statement(new_binary(OP_CALL, unit.nothing,
                              new_unary(OP_UAND, unit.types.make_pointer(f_type), new_name(f, f_type)),
                              list));
    unit.end();
    std::string result = unit.translated();
    EXPECT_THAT(
        result,
        HasSubstr("call void @llvm.memcpy.p0.p0.i32(ptr align 4 %t0, ptr align 4 @s, i32 80, i1 false)\n"
                  "  %t1 = call i32 @g()\n"
                  "  call void @f(ptr byval([80 x i8]) align 4 %t0, i32 %t1)"));
    EXPECT_TRUE(llc_accepts(result));
}

// Names stand for instructions only where nothing in the unit has the name, and only with the right
// arguments.
TEST(IcodeLlvm, functions_known_by_name) {
    const auto translate = [](const char* name, uint8_t storage, bool has_argument) {
        UNIT unit;
        TYPE* pointer = unit.types.make_pointer(unit.nothing);
        TYPE* type =
            has_argument ? unit.function_type(pointer, {unit.integer}) : unit.function_type(pointer, {});
        SYMBOL* callee = unit.global(name, type, storage, 1);
        if (storage == SC_EXTERN_DEF) {
            write_function_begin(unit.writer(), callee, {});
            unit.local("size", unit.integer, 1);
            unit.body();
            unit.end();
        }
        unit.begin("_caller", unit.nothing);
        unit.body();
        SYMBOL* kept = unit.local("kept", pointer);
        NODE* address = new_unary(OP_UAND, unit.types.make_pointer(type), new_name(callee, type));
        unit.statement(unit.assign(kept, has_argument ? new_binary(OP_CALL, pointer, address, unit.icon(20))
                                                      : new_unary(OP_UCALL, pointer, address)));
        unit.end();
        return unit.translated();
    };
    std::string known = translate("___builtin_alloca", SC_EXTERN, true);
    EXPECT_THAT(known, HasSubstr("alloca i8, i32 20, align 8"));
    EXPECT_THAT(known, Not(HasSubstr("@__builtin_alloca")));
    EXPECT_TRUE(llc_accepts(known));
    std::string own = translate("___builtin_alloca", SC_EXTERN_DEF, true);
    EXPECT_THAT(own, HasSubstr("call ptr @__builtin_alloca(i32 20)"));
    EXPECT_TRUE(llc_accepts(own));
    EXPECT_THAT(translate("_memcpy", SC_EXTERN, true), HasSubstr("call ptr @memcpy(i32 20)"));
    testing::internal::CaptureStderr();
    EXPECT_EQ(translate("___builtin_alloca", SC_EXTERN, false), "");
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("'___builtin_alloca' has 0 arguments"));
}

// The translation of a function of an int `n` in the text form, with the variables a, b and c in registers.
std::string translated_function(const std::string& statements) {
    const ASSEMBLY icode = assemble_icode(R"(header "f.c"
function @_f
    symbol "n" class=argument type=int
    body
    symbol "n" class=auto type=int
    symbol "a" class=register type=int
    symbol "b" class=register type=int
    symbol "c" class=register type=double
    symbol "$ret" class=auto type=int
    statement ASG:int(n, n')
)" + statements + R"(
end_function
end
section types
type f FUNCTION return=int
    part PARAMETER type=int
end
section file_names
file_name "f.c"
end
section symbols
symbol "_f" class=extdef flags=defined type=f
end
)",
                                          "f.ict");
    EXPECT_EQ(icode.error, "");
    TYPE_PKG types;
    set_type_package(&types);
    register_file_opcodes();
    clear_file_symbols();
    FILE* file = tmpfile();
    fwrite(icode.bytes.data(), 1, icode.bytes.size(), file);
    rewind(file);
    std::string text = translate_unit(file, "unit", {});
    clear_file_symbols();
    set_type_package(nullptr);
    EXPECT_TRUE(llc_accepts(text)) << text;
    return text.substr(text.find(" {\n"), text.find("\n}\n") - text.find(" {\n"));
}

// Two variables that exchange their values in a loop, and one that the loop only reads.
TEST(IcodeLlvm, variables_in_registers_become_values) {
    EXPECT_THAT(translated_function(R"(
    statement ASG:int(a, 1:int)
    statement ASG:double(c, 2.5:double)
  label 1
    statement ASG:int(b, a)
    statement ASG:int(a, n)
    statement ASG:int(n, b)
    statement IF(LT:int(c, SCONV:double(a)), COMMA(LABEL 1, LABEL 2))
  label 2
    statement RETURN($ret, b))"),
                HasSubstr("L1:\n"
                          "  %p0 = phi i32 [ 1, %entry ], [ %t0, %L1 ]\n"
                          "  %t0 = load i32, ptr %n.2, align 4\n"
                          "  store i32 %p0, ptr %n.2, align 4\n"
                          "  %t1 = sitofp i32 %t0 to double\n"
                          "  %t2 = fcmp olt double 0x4004000000000000, %t1\n"
                          "  br i1 %t2, label %L1, label %L2\n"
                          "L2:\n"
                          "  ret i32 %p0"));
}

// Edges that lead to one block several times, values from the arms of a choice, and ways that nothing takes.
TEST(IcodeLlvm, variables_in_registers_keep_their_values_where_ways_join) {
    const std::string joined = translated_function(R"(
    statement ASG:int(a, 1:int)
    statement SWITCH(n, COMMA(CASE(1:int, LABEL 2), CASE(2:int, LABEL 2), CASE(3:int, LABEL 1), DEFAULT(LABEL 2)))
  label 1
    statement ASG:int(b, QUEST:int(ANDAND:int(n, ASG:int(a, n)), COLON(ASG:int(a, 7:int), a)))
    statement IF(ANDAND:int(n, a), COMMA(LABEL 2, LABEL 2))
  label 2
    statement RETURN($ret, a))");
    EXPECT_THAT(joined,
                HasSubstr("L2:\n  %p2 = phi i32 [ 1, %entry ], [ 1, %entry ], [ 1, %entry ], [ %p1, %b2 ], "
                          "[ %p1, %b4 ], [ %p1, %b4 ]\n  ret i32 %p2"));
    EXPECT_THAT(joined, HasSubstr("b2:\n  %p1 = phi i32 [ 7, %b0 ], [ %p0, %b1 ]\n  %t5 = phi i32 "));
    EXPECT_THAT(translated_function(R"(
    statement ASG:int(a, 1:int)
    statement RETURN($ret, n)
  label 1
    statement IF(PLUSPLUS:int(a, 1:int), COMMA(LABEL 1, LABEL 2))
  label 2
    statement IF(b, COMMA(LABEL 2, LABEL 3))
  label 3
    statement RETURN($ret, PLUS:int(a, b))
  label 4
    statement RETURN($ret, a))"),
                HasSubstr("L4:\n  ret i32 undef"));
}

TEST(IcodeLlvm, refuses_what_has_no_translation) {
    UNIT unit;
    unit.begin("_broken", unit.nothing);
    unit.body();
    unit.statement(new_unary(OP_BRANCH, unit.nothing, new_label_leaf(9)));
    unit.end();
    testing::internal::CaptureStderr();
    EXPECT_EQ(unit.translated(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "icode-llvm: unit: function 'broken': label 9 is named but nowhere defined\n");

    UNIT other;
    other.begin("_f", other.nothing);
    other.body();
    SYMBOL* x = other.local("x", other.integer);
    NODE* name = new_name(x, other.integer);
    other.statement(new_binary(OP_STFIELD, other.integer, name, other.icon(1)));
    other.end();
    testing::internal::CaptureStderr();
    EXPECT_EQ(other.translated(), "");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("STFIELD (opcode 96) cannot be translated"));
}

} // namespace

} // namespace pelorus
