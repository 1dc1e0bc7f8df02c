// Functions that call each other at random, for the tests of what is found out of the call graph.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ipa/file_level.h"
#include "ir/symbol.h"
#include "memory/zone.h"
#include "random/dice.h"
#include "support/fresh_state.h"

namespace pelorus {

class RandomCalls : public testing::Test {
protected:
    RandomCalls() { forget(); }
    ~RandomCalls() override { forget(); }

    void forget() {
        fresh_state(types);
        file_level = {};
        functions.clear();
    }

    void make_functions(size_t count) {
        for (size_t i = 0; i < count; ++i) {
            SYMBOL_FIELDS fields{};
            const std::string name = "_f" + std::to_string(i);
            fields.name = name.c_str();
            fields.type = types.make_function(types.void_type(), true, false, 0);
            fields.storage_class = SC_STATIC;
            fields.flags = SF_DEFINED | SF_INTERNAL;
            SYMBOL* symbol = new_file_symbol(fields, 0);
            FUNINFO* info = get_funinfo(fields.name);
            info->symbol = symbol;
            info->flags = FUN_is_defined;
            functions.push_back(info);
            file_level.defined.push_back(info);
        }
    }
    static void refer(FUNCTION_REFERENCE*& list, FUNINFO* target) {
        auto* made = zone_new<FUNCTION_REFERENCE>(false);
        *made = {list, target};
        list = made;
    }
    static void call(FUNINFO* caller, FUNINFO* callee) { refer(caller->callees, callee); }
    static void make_external(FUNINFO* info) {
        info->symbol->flags = SF_DEFINED;
        info->symbol->storage_class = SC_EXTERN_DEF;
    }

    // Up to 14 functions with about as many calls, and some whose address others take. A part of them is
    // external, or calls what the file does not show.
    void make_random_file(SEEDED_DICE& dice) {
        forget();
        make_functions(dice.between(1, 14));
        for (uint32_t edges = dice.below(2 * functions.size()); edges-- > 0;)
            call(dice.one_of(functions), dice.one_of(functions));
        for (uint32_t edges = dice.below(4); edges-- > 0;) {
            FUNINFO* taken = dice.one_of(functions);
            taken->flags |= FUN_is_anonymous;
            refer(dice.one_of(functions)->references, taken);
        }
        for (FUNINFO* info : functions) {
            if (dice.chance(25)) make_external(info);
            if (dice.chance(15)) info->flags |= FUN_calls_anonymous;
            if (dice.chance(10)) info->flags |= FUN_calls_OUTSIDE;
            if (dice.chance(5)) info->flags |= FUN_calls_SYSTEM;
        }
    }

    TYPE_PKG types;
    std::vector<FUNINFO*> functions;
};

} // namespace pelorus
