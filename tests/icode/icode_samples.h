// Sample files for the tests of the reader: a base of types and symbols, a function around given records, and
// a file that holds one of everything.
#pragma once

#include "icode_bytes.h"
#include "ir/symbol.h"
#include "ir/type.h"

namespace pelorus {

// Numbers of the base file's types and global symbols.
enum TYPES : uint32_t {
    VOID,
    INT = 1,
    UNSIGNED,
    DOUBLE,
    LONG_LONG,
    CHAR,
    RECORD,
    ROUTINE,
    POINTER,
    NUMBERS,
    COLOUR,
    ROUTINE_POINTER,
    TEXT
};
enum GLOBALS : uint32_t { FUNCTION_F, VARIABLE_G, FUNCTION_PUTS, TABLE };

inline BYTES basic(uint32_t index, int kind, int is_unsigned, uint32_t size) {
    return type_record(index, kind, BYTES().y(is_unsigned).u(size).u(size).u(0));
}
inline BYTES member(const char* name, uint32_t type, uint32_t offset, uint32_t key, int is_bitfield = 0) {
    return type_record(RECORD, 24,
                       BYTES().y(0).s(name).y(is_bitfield).u(type).u(offset).y(0).p(1, 2, 2).u(key));
}

// File names, types and symbols; no function.
inline ICODE_FILE base_file() {
    ICODE_FILE file;
    file.file_names = record(126, BYTES().s("source.c")).add(record(126, BYTES().s("header.h")));
    file.types.add(basic(INT, TR_INT, 0, 4))
        .add(basic(UNSIGNED, TR_INT, 1, 4))
        .add(basic(DOUBLE, TR_DOUBLE, 0, 8));
    file.types.add(basic(LONG_LONG, TR_LONG_LONG, 0, 8)).add(basic(CHAR, TR_CHAR, 1, 1));
    file.types.add(type_record(RECORD, TR_CSU, BYTES().s("pair").u(0).u(12).u(4).y(1).p(1, 2, 1).u(0)));
    file.types.add(member("first", INT, 0, 1)).add(member("second", DOUBLE, 4, 7));
    file.types.add(type_record(RECORD, 254, BYTES().y(LIST_MEMBERS)));
    file.types.add(type_record(ROUTINE, TR_FUNCTION, BYTES().u(INT).u(1).u(0).u(0).y(1).y(0).u(0)));
    file.types.add(type_record(ROUTINE, 21, BYTES().u(INT).y(0)));
    file.types.add(type_record(POINTER, TR_POINTER, BYTES().u(INT).u(4).u(4)));
    file.types.add(type_record(NUMBERS, TR_ARRAY, BYTES().u(INT).u(4).u(16).u(4)));
    file.types.add(type_record(COLOUR, TR_ENUMERATION, BYTES().s("colour").u(4).u(4).u(UNSIGNED).p(0).u(0)));
    file.types.add(type_record(COLOUR, 23, BYTES().s("red").u(0xFFFFFFFF).p(1, 4, 4)));
    file.types.add(type_record(ROUTINE_POINTER, TR_POINTER, BYTES().u(ROUTINE).u(4).u(4)));
    file.types.add(type_record(TEXT, TR_ARRAY, BYTES().u(CHAR).u(3).u(3).u(1)));
    file.symbols.add(symbol_record({"_f", ROUTINE, SC_EXTERN_DEF, SF_DEFINED, 1}));
    file.symbols.add(record(94, BYTES().u(PK_OPTIONS).u(1).s("-o3")));
    file.symbols.add(symbol_record({"_g", INT, SC_EXTERN_DEF, SF_DEFINED}));
    file.symbols.add(symbol_record({"_puts", ROUTINE, SC_EXTERN}));
    file.symbols.add(symbol_record({"_table", NUMBERS, SC_STATIC, SF_DEFINED | SF_INTERNAL, 0, 16}));
    return file;
}

// Trees and statements of a body.
inline BYTES number(int64_t value, uint32_t type = INT) {
    return tree(OP_ICON, type, type == INT ? BYTES().l(value) : BYTES().u(static_cast<uint64_t>(value)));
}
inline BYTES name(uint32_t scope, uint32_t index, uint32_t type = INT) {
    return tree(OP_NAME, type, BYTES().u(scope).u(index));
}
inline BYTES global() { return name(0, VARIABLE_G); }
inline BYTES assigned(const BYTES& value, uint32_t type = INT) {
    return statement(tree(OP_ASG, type, {}, {name(0, VARIABLE_G, type), value}));
}
inline BYTES as_int(const BYTES& value) { return tree(OP_SCONV, INT, {}, {value}); }
inline BYTES label(uint32_t index) { return tree(OP_LABEL, VOID, BYTES().u(index)); }
inline BYTES call(const BYTES& argument) {
    return tree(OP_CALL, INT, BYTES().u(99),
                {tree(OP_UAND, ROUTINE_POINTER, {}, {name(0, FUNCTION_PUTS, ROUTINE)}), argument});
}

// The base file with one function that holds these records in its body.
inline ICODE_FILE with_body(const BYTES& body) {
    ICODE_FILE file = base_file();
    file.records.add(record(1, BYTES().p(1, 10, 1).u(FUNCTION_F))).add(record(5, BYTES().p(1, 11, 1)));
    file.records.add(body).add(record(2, BYTES().p(1, 20, 1)));
    return file;
}

// One of everything, and every ignored kind.
inline ICODE_FILE full_file() {
    BYTES body = symbol_record({"i", INT, SC_AUTO});
    body.add(record(6, BYTES().p(1, 12, 1)));
    body.add(statement(tree(OP_ASG, INT, {}, {name(1, 1), name(1, 0)}), 12));
    body.add(record(3, BYTES().p(1, 13, 1)));
    body.add(symbol_record({"s", RECORD, SC_AUTO, 0, 0, 8}));
    body.add(statement(
        tree(OP_ASG, INT, {},
             {tree(OP_STDOT, INT, {}, {name(1, 2, RECORD), tree(OP_FIELD, INT, BYTES().y(1).u(1).u(RECORD))}),
              call(number(-5))}),
        14));
    body.add(record(4, BYTES().p(1, 15, 1)));
    body.add(record(42, BYTES().u(1)))
        .add(record(36, BYTES().s(" nop").p(0)))
        .add(record(47, BYTES().s("note")));
    body.add(record(94, BYTES().u(PK_UNROLL).u(1).s("4"))).add(record(64, BYTES().y('L')));
    body.add(assigned(as_int(tree(OP_LCON, LONG_LONG, BYTES().s("-9223372036854775808")))));
    body.add(assigned(as_int(tree(OP_FCON, DOUBLE, BYTES().s("2.5")))));
    body.add(
        statement(call(tree(OP_UAND, POINTER, {}, {tree(OP_SCON, TEXT, BYTES().u(3).y('h').y('i').y(0))}))));
    body.add(statement(tree(OP_SWITCH, VOID, BYTES().u(2),
                            {name(1, 1), tree(OP_COMMA, VOID, {},
                                              {tree(OP_CASE, VOID, {}, {number(1), label(1)}),
                                               tree(OP_DEFAULT, VOID, {}, {label(2)})})})));
    body.add(record(42, BYTES().u(2)));
    body.add(record(34, BYTES().p(1, 1, 1).s("whatever")))
        .add(record(38, BYTES().u(1).u(2).u(3).u(4).u(5).h(6)));
    body.add(record(45, BYTES().u(1).u(2).u(3).u(4).u(5))).add(record(58, BYTES().u(1).u(2).u(3)));
    body.add(record(59, BYTES().u(1).y(2).y(2).h(3).h(4))).add(record(124, BYTES().u(1).l(-1).l(2).y(3)));
    body.add(tree(OP_NOP, VOID));
    body.add(statement(tree(OP_RETURN, VOID, {}, {name(1, 1), number(0)})));
    ICODE_FILE file = base_file();
    file.string_lists = record(111, BYTES().u(3).u(2).s("one").s("two"));
    file.initializers = record(105, BYTES().u(VARIABLE_G).add(number(7)).add(tree(OP_ENDINIT, VOID)));
    file.records.add(record(
        105,
        BYTES().u(TABLE).add(number(1)).add(tree(OP_SKIP, VOID, BYTES().u(12))).add(tree(OP_ENDINIT, VOID))));
    file.records.add(record(47, BYTES().s("top"))).add(record(94, BYTES().u(PK_OTHER).u(1).s("p")));
    file.records.add(record(1, BYTES().p(1, 10, 1).u(FUNCTION_F)))
        .add(symbol_record({"i", INT, SC_ARGUMENT}));
    file.records.add(record(5, BYTES().p(1, 11, 1))).add(body).add(record(2, BYTES().p(1, 20, 1)));
    return file;
}

} // namespace pelorus
