// Evaluates trees as docs/icode.md describes them, over a memory of its own: what the tests of the simplifier
// compare with.
//
// Integers are computed in 128 bits and floating values by the host, so that nothing here rests on the
// folding that is being tested. What the machine does not say counts as `undefined`: comparisons with such a
// run mean nothing.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "ir/node.h"
#include "ir/symbol.h"

namespace pelorus {

__extension__ typedef __int128 WIDE;

struct EVALUATED {
    enum KIND : uint8_t { NOTHING, INTEGER, FLOATING, BYTES };
    KIND kind = NOTHING;
    WIDE number = 0;   // INTEGER: a value of its type; pointers are unsigned
    double real = 0;   // FLOATING: rounded to its type; every NaN is the same one
    std::string bytes; // BYTES: a structure
};

// A volatile access or a call.
struct EVENT {
    char what; // 'r' read, 'w' write, 'c' call, 'a' argument
    uint64_t where;
    uint64_t value;

    bool operator==(const EVENT&) const = default;
};

// Addresses. Copies of a machine share them: objects are placed before the first run.
using OBJECT_PLACES = std::unordered_map<const SYMBOL*, uint32_t>;

// A machine is copied to run another tree from the same state.
struct MACHINE {
    uint64_t seed = 1; // of what volatile reads, calls and unknown bytes give
    std::shared_ptr<OBJECT_PLACES> objects = std::make_shared<OBJECT_PLACES>();
    std::vector<const SYMBOL*> clobbered;  // variables that every call overwrites
    std::vector<uint8_t> arena;            // the bytes of the objects
    std::map<uint32_t, uint8_t> elsewhere; // bytes that were stored outside of it
    std::map<uint32_t, uint8_t> constants; // bytes of strings that were evaluated
    std::vector<EVENT> events;
    const char* undefined = nullptr; // the first reason
    int64_t target = -1;             // label that an IF, SWITCH or BRANCH goes to
};
constexpr uint32_t ARENA_BASE = 0x10000;

// Gives the symbol an address; a variable gets room for its type.
uint32_t place_object(MACHINE& machine, const SYMBOL* symbol);

// An integer as a value of the type: its low bits, extended as the type says.
WIDE wrapped(const TYPE* type, WIDE value);
EVALUATED integer_value(const TYPE* type, WIDE value);
EVALUATED floating_value(const TYPE* type, double value);
// Some value of the type, chosen by `choice`; often a special one.
EVALUATED some_value(const TYPE* type, uint64_t choice);
void store_value(MACHINE& machine, uint32_t address, const TYPE* type, const EVALUATED& value);

// Evaluates a statement or an expression.
EVALUATED evaluate(MACHINE& machine, const NODE* tree);

// The tree obeys the rules as a statement. One of which nothing is left that does something is all right
// but for that.
bool is_sound(const NODE* tree);

// "" when both runs ended in the same state with the same value, else what differs.
std::string difference(const MACHINE& a, const EVALUATED& x, const MACHINE& b, const EVALUATED& y);

} // namespace pelorus
