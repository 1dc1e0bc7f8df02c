// What is taken for granted before, and without, an analysis of the file.
#include <gtest/gtest.h>

#include "ipa/file_level.h"
#include "ir/symbol.h"
#include "support/fresh_state.h"
#include "support/settings.h"

namespace pelorus {
namespace {

TEST(FileLevel, GlobalsOfAFileWithoutFunctionsMayChangeAnywhere) {
    TYPE_PKG types;
    fresh_state(types);
    settings.optimization_level = 3;
    SYMBOL_FIELDS fields{};
    fields.name = "_shared";
    fields.type = types.int_type();
    fields.storage_class = SC_EXTERN;
    const SYMBOL* shared = new_file_symbol(fields, 0);
    fields.name = "_own";
    fields.flags = SF_INTERNAL;
    fields.storage_class = SC_STATIC;
    const SYMBOL* own = new_file_symbol(fields, 0);
    fields.name = "_limit";
    fields.type = types.make_qualified(types.int_type(), Q_CONST);
    const SYMBOL* limit = new_file_symbol(fields, 0);
    EXPECT_EQ(shared->flags | own->flags, SF_INTERNAL);
    analyse_file("f.c", {});
    EXPECT_EQ(shared->flags, CQ_UNKNOWN | CQ_EXPOSED);
    EXPECT_EQ(own->flags, CQ_UNKNOWN | SF_INTERNAL);
    EXPECT_EQ(limit->flags, SF_INTERNAL);
    reset_settings();
    fresh_state(types);
}

} // namespace
} // namespace pelorus
