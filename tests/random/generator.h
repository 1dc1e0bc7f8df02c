// What the files of the generator share: the file being made, the function being made, and the verbs that
// make trees of them (trees are texts).
//
// The unit of choice is the PLACE: something that can be read and mostly be written, a variable, an element,
// a member, an object that a pointer points to. Places of the file are collected once, those of a function
// when it begins and as its scopes open; an expression of a type asks for a place of that type.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "random/dice.h"

namespace pelorus::generated {

enum class SORT : uint8_t { INTEGER, BOOL, ENUMERATION, FLOATING };

struct SCALAR {
    const char* label;
    uint32_t size; // bytes
    bool is_signed;
    SORT sort;
    uint32_t weight; // how often a type is chosen
};

enum SCALAR_ID : uint8_t {
    SCHAR,
    UCHAR,
    CHAR,
    SHORT,
    USHORT,
    INT,
    UINT,
    LONG,
    ULONG,
    LLONG,
    ULLONG,
    BOOL,
    SIGNED_ENUM,
    UNSIGNED_ENUM,
    WCHAR,
    FLOAT,
    DOUBLE,
    LONG_DOUBLE,
    SCALAR_COUNT
};
extern const SCALAR SCALARS[SCALAR_COUNT];

inline std::string text_of(uint64_t number) { return std::to_string(number); }

inline const SCALAR& scalar(SCALAR_ID id) { return SCALARS[id]; }
inline std::string label(SCALAR_ID id) { return SCALARS[id].label; }
inline bool is_floating(SCALAR_ID id) { return SCALARS[id].sort == SORT::FLOATING; }
inline bool is_wide(SCALAR_ID id) { return SCALARS[id].size == 8 && !is_floating(id); }
inline uint32_t bits_of(SCALAR_ID id) { return SCALARS[id].size * 8; }

struct PLACE {
    SCALAR_ID type = INT;
    std::string before, after; // the tree; with elements an offset in bytes comes between
    uint32_t elements = 0;     // a power of two; 0: there is nothing to choose
    bool is_volatile = false;
    bool read_only = false;   // constants, and what a loop counts with
    bool has_address = false; // that may be taken
    bool of_file = false;     // it lives as long as the program
    bool narrow = false;      // 64 bits wide, and only gets values of 32
    bool simple = false;      // a plain local variable: reading it twice gives the same
};

struct MEMBER {
    std::string name;
    SCALAR_ID type = INT;
    std::string field_type; // of the FIELD: a bit-field's or an array's own
    uint32_t offset = 0;
    uint32_t elements = 0; // of an array; 0: none
    const struct RECORD* nested = nullptr;
    bool bitfield = false;
    bool is_volatile = false;
};

struct RECORD {
    std::string label;
    uint32_t size = 0, alignment = 1;
    bool is_union = false;
    std::vector<MEMBER> members;
};

// SMALL ones are what inline expansion looks for; they call only those before them, so they need no budget.
enum class ROLE : uint8_t { PLAIN, TAIL_RECURSIVE, VARIADIC, LEAF, KEPT_ONLY, SMALL };

struct PARAMETER {
    enum KIND : uint8_t { VALUE, POINTER, STRUCTURE } kind = VALUE;
    SCALAR_ID type = INT; // of a value, or what a pointer points to
    const RECORD* record = nullptr;
    std::string name;
};

struct FUNCTION {
    std::string name; // linkage name with "@"
    std::string type; // label
    ROLE role = ROLE::PLAIN;
    std::vector<PARAMETER> parameters;
    bool returns_value = true;
    SCALAR_ID result = INT;
    const RECORD* record = nullptr; // of a structure that is returned
    bool checks_budget = false;     // itself; else its callers do
    bool is_static = false;
    bool is_uncalled = false;
    std::string pointer; // a variable of the file that points to it; "" for none
    std::string counter; // its static variable; "" for none
    std::string options; // its own
};

struct POINTER_VARIABLE {
    std::string name;
    SCALAR_ID type; // that it points to
    bool to_volatile = false;
    bool of_file = false;
};

struct GENERATOR {
    explicit GENERATOR(uint64_t seed) : dice(seed) {}

    SEEDED_DICE dice;

    // The file.
    std::vector<RECORD> records;
    std::vector<FUNCTION> functions;
    std::vector<PLACE> file_places;
    std::vector<POINTER_VARIABLE> file_pointers;
    std::vector<std::string> file_structures[3]; // names of variables, by record
    std::string structure_array;                 // of the first record, 4 elements
    std::string types, symbols, initializers, bodies;
    uint32_t helpers = 0;

    // The function being made.
    const FUNCTION* function = nullptr;
    std::string locals, statements;
    std::vector<PLACE> places; // those of the file first
    std::vector<POINTER_VARIABLE> pointers;
    std::vector<std::string> structures[3];
    std::vector<std::string> written; // statements that can be repeated
    uint32_t next_local = 0, next_label = 1, line = 0, statements_left = 0, loop_depth = 0;
    size_t scope_start = 0;      // in `statements`: behind the first ones of the innermost scope
    std::vector<uint32_t> exits; // labels behind the loops and switches that are open
    bool has_fuel = false;
    bool calls_allowed = true;
    std::string lent;         // the variable whose address goes to helpers; "" for none
    uint32_t first_place = 0; // of the function's own
};

using TREE = std::string;

// --- Types and places (world.cpp) ---

SCALAR_ID some_scalar(GENERATOR& g);
SCALAR_ID some_integer(GENERATOR& g); // one that arithmetic is done in mostly
SCALAR_ID same_representation(GENERATOR& g, SCALAR_ID type);
void add_places(std::vector<PLACE>& places, const RECORD& record, const std::string& base,
                bool through_pointer, const PLACE& kind);
PLACE array_place(const std::string& name, SCALAR_ID type, uint32_t elements, const PLACE& kind);
PLACE pointer_place(GENERATOR& g, const POINTER_VARIABLE& pointer);
void declare_world(GENERATOR& g);
std::string program_text(GENERATOR& g);

// --- Expressions (values.cpp) ---

TREE operation(const char* name, SCALAR_ID type, const TREE& operand);
TREE operation(const char* name, SCALAR_ID type, const TREE& left, const TREE& right);
TREE constant(GENERATOR& g, SCALAR_ID type);
TREE number(int64_t value, SCALAR_ID type);
// A value of the type. `depth` bounds the tree.
TREE value(GENERATOR& g, SCALAR_ID type, int depth);
// A condition: a value of a type that a test takes.
TREE condition(GENERATOR& g, int depth);
// The tree of a place.
TREE tree_of(GENERATOR& g, const PLACE& place, int depth);
const PLACE* some_place(GENERATOR& g, SCALAR_ID type, bool for_writing);
const PLACE* any_place(GENERATOR& g, bool for_writing);
// An assignment of whatever form to a place: its type is the place's.
TREE assignment(GENERATOR& g, const PLACE& place, int depth);
TREE address(GENERATOR& g, SCALAR_ID type, bool of_file, bool to_volatile);
TREE structure(GENERATOR& g, uint32_t record, bool for_writing, int depth);
TREE call(GENERATOR& g, const FUNCTION& callee, int depth);
// Whether the function being made may call it, and must have budget for that.
bool may_call(const GENERATOR& g, const FUNCTION& callee);
bool needs_budget(const GENERATOR& g, const FUNCTION& callee);
// A call whose callee ends when there are too many; a constant then.
TREE guarded_call(GENERATOR& g, SCALAR_ID type, int depth);
// A floating tree as an integer: 0 where it does not fit.
TREE fitting_integer(SCALAR_ID type, const TREE& floating, SCALAR_ID from);

// --- Statements (statements.cpp) ---

constexpr int TREE_DEPTH = 3; // of the trees of a statement

std::string label_leaf(uint32_t label);
uint32_t new_label(GENERATOR& g);
void put_label(GENERATOR& g, uint32_t label);
void put_statement(GENERATOR& g, const TREE& tree);
void branch(GENERATOR& g, uint32_t target);
void test(GENERATOR& g, const TREE& tree, uint32_t yes, uint32_t no);
// Repeats what `put_body` puts until the int variable `left` has come down to 0. The variable `sum`, in which
// the body gathers something, is a place of the function afterwards.
template <class F>
void summing_loop(GENERATOR& g, const std::string& left, const std::string& sum, F put_body) {
    const uint32_t head = new_label(g), body = new_label(g), behind = new_label(g);
    put_label(g, head);
    test(g, "GT:int(MINMIN:int(" + left + ", 1:int), 0:int)", body, behind);
    put_label(g, body);
    put_body();
    branch(g, head);
    put_label(g, behind);
    PLACE place;
    place.before = sum;
    place.simple = true;
    g.places.push_back(place);
}

// The name of a new variable of the function, or of its innermost scope.
std::string declare_local(GENERATOR& g, const std::string& stem, const std::string& type,
                          const char* storage = "auto");
// One that has a value.
void add_scalar_local(GENERATOR& g);
// What a function begins with.
void declare_locals(GENERATOR& g);
// The same for a scope inside it.
void declare_scope_locals(GENERATOR& g);
void simple_statement(GENERATOR& g);
void simple_statements(GENERATOR& g, uint32_t most);
void call_for_effect(GENERATOR& g);

// --- Control flow (flow.cpp) ---

void structured(GENERATOR& g, int depth);
void block_graph(GENERATOR& g);

// What ends the program where control seldom comes.
void stop_program(GENERATOR& g);
// Some cases that lead to labels of their own, and a default.
void switch_statement(GENERATOR& g, int depth);

// --- Functions that do a few things only (helpers.cpp) ---

void make_helpers(GENERATOR& g);
// The variable of a function whose address they get.
void declare_lent_local(GENERATOR& g);
// A call of one, an int. Needs: such a variable.
TREE helper_call(GENERATOR& g, int depth);
// Some statements with one.
void call_helper(GENERATOR& g);

// --- Several bit-fields of a structure (bitfields.cpp) ---

// Nothing where no structure has them.
void bitfield_statement(GENERATOR& g);
// A condition; "" where no structure has them.
TREE field_tests(GENERATOR& g);

// --- Small functions (small.cpp) ---

void small_body(GENERATOR& g);

// --- Functions (functions.cpp) ---

// A return.
void leave(GENERATOR& g);
void make_function(GENERATOR& g, const FUNCTION& function);
void make_quit(GENERATOR& g);
void make_main(GENERATOR& g);

} // namespace pelorus::generated
