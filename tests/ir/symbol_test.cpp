// Symbols from file records, temporaries, candidates, interned names and the table of functions.
#include "ir/symbol.h"

#include <gmock/gmock.h>

#include "ir_fixture.h"
#include "support/test_support.h"

namespace pelorus {
namespace {

class Symbol : public IrTest {
protected:
    FUNINFO* start_function() {
        function.info = get_funinfo("_f");
        return function.info;
    }
};

std::vector<std::string> names_of(const SYMBOL_LIST& list) {
    std::vector<std::string> names;
    for (const SYMBOL* symbol = list.first; symbol; symbol = symbol->next) names.emplace_back(symbol->name);
    return names;
}

using testing::ElementsAre;

TEST_F(Symbol, StorageClassesInsideAFunction) {
    FUNINFO* info = start_function();
    const SYMBOL* in_register = symbol("r", int_type, 2, SC_REGISTER);
    EXPECT_EQ(in_register->storage_class, SC_AUTO);
    EXPECT_EQ(in_register->file_class, SC_REGISTER);
    EXPECT_FALSE(in_register->addressable);
    EXPECT_EQ(symbol("p", int_type, 1, SC_REGISTER_PARM2)->storage_class, SC_AUTO);
    EXPECT_FALSE(symbol("q", int_type, 1, SC_REGISTER_PARM)->addressable);
    EXPECT_EQ(info->flags, 0U);
    EXPECT_EQ(symbol("last", int_type, 1, SC_VARARG)->storage_class, SC_ARGUMENT);
    EXPECT_EQ(info->flags, 0x40022U);
    symbol("label", void_type, 2, SC_LABEL);
    EXPECT_THAT(names_of(function_symbols.parameters), ElementsAre("p", "q", "last"));
    EXPECT_THAT(names_of(function_symbols.variables), ElementsAre("r"));
}

TEST_F(Symbol, LevelsStopAtTwoAndSerialsCount) {
    EXPECT_EQ(symbol("a", int_type, 1)->level, 1);
    EXPECT_EQ(symbol("b", int_type, 4)->level, 2);
    EXPECT_EQ(symbol("c", int_type, 2)->serial, 2);
    clear_function_symbols();
    EXPECT_EQ(symbol("d", int_type, 2)->serial, 0);
    const SYMBOL* d = function_symbols.variables.first;
    EXPECT_TRUE(d->keep == 1 && d->candidate == -1 && d->local == 1);
}

TEST_F(Symbol, FileScopeFlagsWithoutFileAnalysis) {
    TYPE* constant = types.make_qualified(int_type, Q_CONST);
    settings.optimization_level = 2;
    EXPECT_EQ(symbol("_a", int_type, 0, SC_EXTERN, 0xFFFF)->flags, 0x1FFF | 0xC000);
    EXPECT_EQ(symbol("_b", int_type, 0, SC_EXTERN, 0x0002)->flags, 0xE002);
    EXPECT_EQ(symbol("_c", int_type, 0, SC_STATIC, 0x0010)->flags, 0xC010);
    EXPECT_EQ(symbol("_d", int_type, 0, SC_STATIC, 0x0080)->flags, 0xC080);
    EXPECT_EQ(symbol("_e", constant, 0, SC_EXTERN, 0x0002)->flags, 0x0002);
    settings.optimization_level = 3;
    EXPECT_EQ(symbol("_f", int_type, 0, SC_EXTERN, 0x0002)->flags, 0x0002);
    EXPECT_THAT(names_of(file_symbols), ElementsAre("_a", "_b", "_c", "_d", "_e", "_f"));
    EXPECT_FALSE(in_zone(file_symbols.first));
}

TEST_F(Symbol, WorkingTypesLoseWhatDoesNotChangeTheRepresentation) {
    TYPE* name = types.make_typedef("count", types.make_qualified(int_type, Q_VOLATILE));
    const SYMBOL* counter = symbol("n", name);
    EXPECT_EQ(counter->declared_type, name);
    EXPECT_EQ(counter->type, types.make_qualified(int_type, Q_VOLATILE));
    TYPE* constant = types.make_typedef("limit", types.make_qualified(int_type, Q_CONST));
    EXPECT_EQ(symbol("m", constant)->type, constant); // stays const
}

TEST_F(Symbol, ErrnoIsRememberedWhenItIsAnInteger) {
    symbol("_errno", double_type, 0, SC_EXTERN);
    EXPECT_EQ(errno_symbol, nullptr);
    symbol("_errno", int_type, 2);
    EXPECT_EQ(errno_symbol, nullptr);
    const SYMBOL* variable = symbol("_errno", int_type, 0, SC_EXTERN);
    EXPECT_EQ(errno_symbol, variable);
}

TEST_F(Symbol, Temporaries) {
    const SYMBOL* temporary = new_temporary('T', double_type, 3);
    EXPECT_STREQ(temporary->name, "T$3");
    EXPECT_TRUE(temporary->size == 8 && temporary->align == 8 && temporary->storage_class == SC_AUTO &&
                temporary->level == 2);
    EXPECT_STREQ(new_temporary('C', int_type, -1)->name, "C$0");
    EXPECT_STREQ(new_temporary('T', int_type, -1)->name, "T$1");
    const SYMBOL* origin = symbol("n", types.make_qualified(int_type, Q_CONST));
    const SYMBOL* split = new_split('S', origin);
    EXPECT_STREQ(split->name, "S$2");
    EXPECT_TRUE(split->type == origin->type && split->level == 2 && function_symbols.splits.last == split);
    clear_function_symbols();
    EXPECT_STREQ(new_temporary('T', int_type, -1)->name, "T$0");
}

TEST_F(Symbol, InternedNamesAreOneAndAreCounted) {
    std::string text = "_name";
    const char* first = intern_name(text.c_str());
    text[1] = 'g';
    EXPECT_STREQ(first, "_name");
    EXPECT_EQ(intern_name("_name"), first);
    EXPECT_NE(intern_name(text.c_str()), first);
    get_funinfo("_name");
    TraceCapture capture;
    print_name_statistics();
    EXPECT_EQ(capture.text(), "\n2 interned symbols;  max chain 1, 1 with NULL funinfo.\n");
}

TEST_F(Symbol, FunctionsAreFoundByTheirPlainName) {
    FUNINFO* main_function = get_funinfo("_main");
    EXPECT_STREQ(main_function->name, "main");
    for (const char* name : {"main", "$main", ".main"}) EXPECT_EQ(find_funinfo(name), main_function) << name;
    EXPECT_EQ(find_funinfo("__main"), nullptr); // one character only
    EXPECT_NE(get_funinfo("__main"), main_function);
    for (int i = 0; i < 3000; ++i) get_funinfo(std::to_string(i).c_str());
    int count = 0;
    for (const FUNINFO* info = first_funinfo(); info; info = info->next) ++count;
    EXPECT_EQ(count, 3002);
    EXPECT_STREQ(find_funinfo("_2999")->name, "2999");
}

TEST_F(Symbol, TracesTheFlagsOfAFunction) {
    FUNINFO* info = get_funinfo("_f");
    info->flags = FUN_cannot_inline | FUN_is_cpp;
    TraceCapture capture;
    trace_fun_flags(*info);
    EXPECT_EQ(capture.text(), "\nf() has these properties: 0x80000020\n\tFUN_cannot_inline\n\tFUN_is_cpp\n");
}

} // namespace
} // namespace pelorus
