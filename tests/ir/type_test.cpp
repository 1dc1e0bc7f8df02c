// Types made from records: interning, sizes, qualifiers, categories, text, and the errors of bad records.
#include "ir/type.h"

#include <gmock/gmock.h>

#include "ir_fixture.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

using testing::HasSubstr;

TYPE_FIELD num(int64_t number) { return {.number = number}; }
TYPE_FIELD typ(TYPE* type) { return {.type = type}; }

class Type : public IrTest {
protected:
    // The message of the internal error that `action` ends the run with; empty when it does not.
    template <class F>
    std::string error_of(F action) {
        testing::internal::CaptureStderr();
        try {
            action();
        } catch (const FatalExit&) {
            return testing::internal::GetCapturedStderr();
        }
        testing::internal::GetCapturedStderr();
        return "";
    }
    static std::string error(const char* message) {
        return std::string("TP>> internal error: ") + message + "\n";
    }
    TYPE* structure(const char* name = "s") { return types.make_csu(name, TK_STRUCT, 8, 4, true, nullptr); }
};

TEST_F(Type, OneTypeForTheSameOperands) {
    EXPECT_EQ(types.make_pointer(int_type), int_pointer);
    EXPECT_EQ(types.make_array(int_type, 3), types.make_array(int_type, 3));
    EXPECT_NE(types.make_array(int_type, 3), types.make_array(int_type, 4));
    EXPECT_NE(types.make_array(int_type, 0), types.make_open_array(int_type));
    EXPECT_EQ(types.make_qualified(int_type, Q_CONST), types.make_qualified(int_type, Q_CONST));
    EXPECT_EQ(types.make_qualified(int_type, 0), int_type);
    EXPECT_NE(structure(), structure());
}

TEST_F(Type, ABasicTypeOfTheFileMayHaveSeveralNumbers) {
    const TYPE_FIELD fields[] = {num(0), num(4), num(4), typ(nullptr)};
    EXPECT_EQ(types.add_record(900, TR_INT, fields), int_type);
    EXPECT_EQ(types.type_of(900), int_type);
    EXPECT_THAT(error_of([&] { types.add_record(900, TR_INT, fields); }), error("read type twice"));
}

TEST_F(Type, QualifiersAreSeenThroughNamesAndArrays) {
    TYPE* constant = types.make_qualified(types.make_typedef("word", int_type), Q_CONST);
    TYPE* both = types.make_qualified(types.make_typedef("fixed", constant), Q_VOLATILE);
    EXPECT_EQ(type_qualifiers(both), Q_CONST | Q_VOLATILE);
    EXPECT_TRUE(type_is_const(types.make_array(types.make_array(constant, 2), 3)));
    EXPECT_FALSE(type_is_const(types.make_pointer(constant)));
    EXPECT_EQ(type_normalise(constant), int_type);
    EXPECT_EQ(type_normalise(both), types.make_qualified(int_type, Q_VOLATILE));
    EXPECT_EQ(type_strip(both), int_type);
    EXPECT_EQ(type_normalise(type_normalise(both)), type_normalise(both));
}

TEST_F(Type, Categories) {
    TYPE* enumeration = types.make_typedef("e", types.make_enumeration("e", unsigned_type, nullptr));
    TYPE* record = structure();
    TYPE* bits = types.make_bitfield(short_type, unsigned_type, 4, 5);
    EXPECT_TRUE(type_is_integer(enumeration) && !type_is_signed(enumeration) && type_is_scalar(enumeration));
    EXPECT_TRUE(type_is_integer(bits) && type_is_signed(bits) && type_bits(bits) == 5);
    EXPECT_TRUE(type_is_csu(record) && !type_is_scalar(record));
    EXPECT_TRUE(type_is_floating(float_type) && type_is_arithmetic(float_type) &&
                !type_is_signed(float_type));
    EXPECT_TRUE(type_is_pointer(int_pointer) && type_is_scalar(int_pointer) &&
                !type_is_arithmetic(int_pointer));
    EXPECT_TRUE(type_is_void(void_type) && !type_is_scalar(void_type));
    EXPECT_TRUE(type_is_byte(char_type) && !type_is_plain_char(char_type));
    EXPECT_EQ(type_target(types.make_typedef("p", int_pointer)), int_type);
    EXPECT_EQ(type_target(double_type), nullptr);
}

TEST_F(Type, RepresentationAndCompatibility) {
    EXPECT_TRUE(type_same_representation(unsigned_type, int_pointer));
    EXPECT_FALSE(type_same_representation(int_type, unsigned_type));
    EXPECT_FALSE(type_same_representation(float_type, int_type));
    EXPECT_TRUE(type_same_representation(structure("a"), structure("a")));
    EXPECT_FALSE(type_same_representation(structure(""), structure("")));
    EXPECT_TRUE(type_compatible(types.make_array(int_type, 3), types.make_open_array(int_type)));
    EXPECT_FALSE(type_compatible(types.make_array(int_type, 3), types.make_array(int_type, 4)));
    EXPECT_TRUE(type_compatible(types.make_enumeration("e", int_type, nullptr), int_type));
    EXPECT_FALSE(type_compatible(int_pointer, types.make_pointer(char_type)));
    EXPECT_FALSE(type_compatible(types.make_basic(TR_LONG, false, 4, 4), int_type));
    TYPE* one = types.make_function(int_type, true, false, 0);
    TYPE* two = types.make_function(int_type, true, false, 0);
    TYPE* any = types.make_function(int_type, false, false, 0);
    types.add_parameter(one, int_pointer);
    types.add_parameter(two, float_type);
    EXPECT_FALSE(type_compatible(one, two));
    EXPECT_TRUE(type_compatible(types.make_pointer(one), types.make_pointer(any)));
}

TEST_F(Type, MembersAreFoundByKeyThroughQualifiers) {
    TYPE* record = structure();
    types.add_member(record, "a", int_type, 0, 5, nullptr);
    types.add_member(record, "b", types.make_bitfield(int_type, unsigned_type, 0, 3), 4, 2, nullptr);
    const TYPE_PART* b = type_member(types.make_qualified(record, Q_CONST), 2);
    ASSERT_NE(b, nullptr);
    EXPECT_TRUE(b->flag && b->value == 4 && b->owner == record);
    EXPECT_EQ(type_member(record, 5)->flag, 0);
    EXPECT_EQ(type_member(record, 1), nullptr);
    types.finish_types();
}

TEST_F(Type, Text) {
    TYPE* constant_char = types.make_qualified(types.make_basic(TR_CHAR, true, 1, 1, char_type), Q_CONST);
    TYPE* handler = types.make_function(void_type, true, true, 0);
    types.add_parameter(handler, types.make_pointer(constant_char));
    EXPECT_EQ(type_text(types.make_pointer(constant_char)), "const char *");
    EXPECT_EQ(type_text(types.make_qualified(types.make_pointer(constant_char), Q_CONST)),
              "const char *const");
    EXPECT_EQ(type_declaration(types.make_pointer(handler), "f"), "void (*f)(const char *, ...)");
    EXPECT_EQ(type_declaration(types.make_pointer(types.make_array(unsigned_type, 3)), "p"),
              "unsigned int (*p)[3]");
    EXPECT_EQ(type_declaration(types.make_array(types.make_pointer(handler), 2), "t"),
              "void (*t[2])(const char *, ...)");
    EXPECT_EQ(type_text(types.make_function(int_type, true, false, 0)), "int (void)");
    EXPECT_EQ(type_text(structure("")), "struct <unnamed>");
    TYPE* deep = int_type;
    for (int i = 0; i < 100000; ++i) deep = types.make_pointer(deep);
    EXPECT_THAT(type_text(deep), HasSubstr("... *"));
}

TEST_F(Type, BadRecordsAreInternalErrors) {
    const TYPE_FIELD list[] = {num(LIST_PARAMETERS)};
    const TYPE_FIELD layout[] = {num(LAYOUT_PACKED)};
    const TYPE_FIELD enumerators[] = {num(LIST_ENUMERATORS)};
    const TYPE_FIELD member[] = {typ(int_type), num(0)};
    TYPE* routine = types.make_function(int_type, true, false, 0);
    TYPE* enumeration = types.make_enumeration("e", int_type, nullptr);
    TYPE* record = structure();
    const auto add = [&](TYPE* owner, uint8_t kind, const TYPE_FIELD* fields) {
        return error_of([&] { types.add_record(owner->uid.number, kind, fields); });
    };
    EXPECT_EQ(error_of([&] { types.type_of(12345); }), error("invalid foward reference"));
    EXPECT_EQ(error_of([&] { types.add_record(12345, TR_PARAMETER, member); }),
              error("invalid foward reference"));
    EXPECT_EQ(add(int_type, TR_LIST_COMPLETE, list), error("Unexpected type attribute"));
    EXPECT_EQ(add(int_type, TR_LAYOUT, layout), error("Unexpected type attribute"));
    EXPECT_EQ(add(routine, TR_LIST_COMPLETE, list), "");
    EXPECT_EQ(add(routine, TR_LIST_COMPLETE, list), error("Duplicate function parameters"));
    EXPECT_EQ(add(enumeration, TR_LIST_COMPLETE, enumerators), "");
    EXPECT_EQ(add(enumeration, TR_LIST_COMPLETE, enumerators), error("Duplicate enumerator attributes"));
    EXPECT_EQ(add(record, TR_LAYOUT, layout), "");
    EXPECT_EQ(add(record, TR_LAYOUT, layout), error("Duplicate CSU attributes"));
    for (const int code : {8 + LAYOUT_PACKED, -1}) { // not taken for another code
        const TYPE_FIELD unknown[] = {num(code)};
        EXPECT_EQ(add(record, TR_LAYOUT, unknown), error("Unexpected type attribute")) << code;
    }
    TraceCapture capture;
    error_of([&] { types.type_of(12345); });
    EXPECT_EQ(capture.text(), error("invalid foward reference"));
}

TEST_F(Type, TheWholeShowsWhatNoRecordAloneCould) {
    TYPE* inner = structure("inner");
    TYPE* outer = structure("outer");
    types.add_member(outer, "self", types.make_pointer(outer), 0, 1, nullptr);
    types.add_member(outer, "a", types.make_array(inner, 1), 0, 2, nullptr);
    types.add_member(outer, "b", inner, 0, 3, nullptr); // twice is no cycle
    types.finish_types();
    types.add_member(inner, "back", types.make_typedef("t", outer), 0, 1, nullptr);
    EXPECT_EQ(error_of([&] { types.finish_types(); }), error("structure contains itself"));
}

TEST_F(Type, ATypeIsSoundFromTheStart) {
    types.make_bitfield(int_type, unsigned_type, 29, 3);
    EXPECT_EQ(error_of([&] { types.make_bitfield(int_type, unsigned_type, 30, 3); }),
              error("bit-field does not fit its container"));
    const TYPE_FIELD hollow[] = {typ(nullptr), num(1), num(0), num(0), num(0), typ(nullptr)};
    EXPECT_EQ(error_of([&] { types.add_record(0, TR_QUALIFIED, hollow); }),
              error("type without its component type"));
    TYPE* routine = types.make_function(int_type, true, false, 0);
    EXPECT_EQ(error_of([&] { types.add_parameter(routine, nullptr); }),
              error("type without its component type"));
    const TYPE_FIELD crooked[] = {typ(int_type), num(4), num(3)};
    EXPECT_EQ(error_of([&] { types.add_record(0, TR_POINTER, crooked); }),
              error("alignment is no power of two"));
}

// A table that is searched would take minutes.
TEST_F(Type, TheLargestScalarsOfTheTargetAreThoseOf64Bits) {
    types.find_target_limits();
    EXPECT_TRUE(types.largest_scalar_size() == 8 && types.largest_scalar_align() == 8);
}

TEST_F(Type, ManyTypes) {
    types.set_number_limit(100); // of the numbers that a file gives, not of what is made
    TYPE* last = int_type;
    for (uint64_t i = 1; i <= 100000; ++i) {
        last = types.make_pointer(last);
        types.make_array(last, i);
    }
    types.finish_types();
    EXPECT_EQ(last->variants->size, 400000U);
    EXPECT_EQ(types.type_of(last->uid.number), last);
    const TYPE_FIELD fields[] = {typ(int_type), num(4), num(4)};
    EXPECT_EQ(error_of([&] { types.add_record(1000000, TR_POINTER, fields); }),
              error("type number is larger than the file"));
}

} // namespace
} // namespace pelorus
