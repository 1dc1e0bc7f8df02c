// SYMBOL: one variable, function, parameter or temporary.
//
// File-scope symbols live in the global zone for the whole run; those of a function live in the function zone
// until the function has been written.
#pragma once

#include <cstdint>
#include <string_view>
#include <type_traits>

#include "ir/node.h"
#include "ir/position.h"
#include "ir/type.h"

namespace pelorus {

struct FUNINFO;
struct SYMBOL;

enum STORAGE_CLASS : uint8_t {
    SC_NONE = 0,
    SC_AUTO = 1,
    SC_EXTERN = 2, // external reference
    SC_STATIC = 3,
    SC_REGISTER = 4,   // a local variable without a place in memory
    SC_EXTERN_DEF = 5, // external definition
    SC_LABEL = 6,      // not on any symbol list
    SC_ARGUMENT = 9,
    SC_TYPEDEF = 13,
    SC_REGISTER_PARM = 17,
    SC_REGISTER_PARM2 = 22, // a register parameter's home
    SC_VARARG = 27,         // the last named argument of a function that walks its own arguments
};

// Bits of the flag word. A file carries the low 13.
enum SYMBOL_FLAG : uint16_t {
    SF_INLINE = 0x0001,  // declared inline
    SF_DEFINED = 0x0002, // this file holds its definition
    SF_REFERENCED =
        0x0004,         // something in the file refers to it; functions: cleared while their own body is read
    SF_CALLED = 0x0008, // something in the file calls it; the same
    SF_INTERNAL = 0x0010,      // internal linkage: a file-scope static
    SF_NORETURN = 0x0020,      // a function that does not return
    SF_ADDRESS_TAKEN = 0x0040, // its address is taken somewhere in the file
    SF_LOCAL_STATIC = 0x0080,  // a static variable of a function, kept at file scope under a name of its own
    SF_WEAK = 0x0100,          //
    SF_TENTATIVE = 0x0200,     // a definition without an initializer
    SF_THREAD = 0x0400,        // one object a thread
    SF_COMMON = 0x0800,        // may be merged with definitions of other files
    SF_VARIADIC_WALK = 0x1000, // the body walks its unnamed arguments
    CQ_EXPOSED = 0x2000,       // other files can name it
    CQ_WRITTEN = 0x4000,       // its value may change after the program's start
    CQ_ALIASED = 0x8000,       // may be reached through pointers, or by other files
};
constexpr uint16_t FILE_SYMBOL_FLAGS = 0x1FFF;
constexpr uint16_t CQ_UNKNOWN = 0xC000; // what a global gets without file-level analysis

// A pragma or attribute record: {kind, n, strings}. The strings are in the symbol's zone.
struct PRAGMA {
    PRAGMA* next;
    const char** strings;
    uint32_t count;
    uint8_t kind; // PK_...
};
enum PRAGMA_KIND : uint8_t {
    PK_ATTRIBUTE = 1,    // attribute of the symbol it follows: name and arguments, one string each
    PK_UNROLL = 2,       // of the loop that follows: count
    PK_MUST_ITERATE = 3, // of the loop that follows: minimum, maximum, multiple
    PK_PROB_ITERATE = 4, // of the loop that follows: minimum, maximum
    PK_OTHER = 5,        // any other pragma: its text
    PK_OPTIONS = 6,      // option text: behind a function's symbol for that function, else for all functions
};

// The attribute record of that name among the symbol's pragmas; null without one.
const PRAGMA* find_attribute(const SYMBOL* symbol, std::string_view name);
// The first argument of the attribute; null without the attribute, or without arguments.
const char* attribute_argument(const SYMBOL* symbol, std::string_view name);

// The file-scope symbol stands for storage: it is no function, type name or label.
bool is_file_variable(const SYMBOL& symbol);

// One tree of an initializer.
struct INIT_ITEM {
    INIT_ITEM* next;
    NODE* tree;
};

enum SYMBOL_LEVEL : uint8_t { FILE_SCOPE = 0, PARAMETER_LEVEL = 1, BODY_LEVEL = 2 };

// The number of a variable that data-flow passes track, from 0. A type of its own, so that nobody takes a
// block's number for it.
enum CANDIDATE_NUMBER : int16_t { NO_CANDIDATE = -1 };

struct SYMBOL {
    const char* name;      // in the zone of the symbol; file-scope names are interned
    uint32_t size;         // bytes (first number from the file); a temporary: of its type
    uint32_t offset;       // second number; 0 for temporaries
    uint8_t storage_class; // STORAGE_CLASS
    uint16_t flags;        // SYMBOL_FLAG
    TYPE* type;            // working type: the declared type, normalised unless it is const
    TYPE* declared_type;   //
    uint32_t align;        // bytes (third number)
    POSITION position;     // of the declaration; its scope is the first of those that the variable lives in
    uint32_t order;   // fourth number: place of the declaration in the source, from 1; the functions' order
                      //   key below level 3
    uint32_t fifth;   // fifth number; carried through
    uint8_t keep;     // 1 at creation; a symbol that is no longer kept is not written
    uint8_t replaced; // the NAMEs of this variable are written as `replacement`
    SYMBOL* next;     // on its list
    uint8_t level;    // 0 file, 1 parameters, 2 body and nested blocks
    int32_t serial;   // per function, from 0
    CANDIDATE_NUMBER candidate; // number in a data-flow problem
    bool addressable;           // false for the register classes 4, 17 and 22
    uint8_t file_class;         // the storage class as the file had it
    uint8_t promoted;           // a global that lives in a register for the whole program
    // Working values of the data-flow passes; each pass resets them before use.
    int32_t reference_count;  //
    int32_t assignment_count; //
    uint8_t address_exposed;  // its address, or that of a part of it, is taken: see expose_symbol
    NODE* single_asg;         // the one assignment whose value may stand for the variable; null: none
    // What hangs on the symbol.
    PRAGMA* pragmas;        // in file order
    INIT_ITEM* init_trees;  // in file order, ENDINIT last; null without an initializer
    FUNINFO* funinfo;       // functions that are defined, called or referred to
    NODE* constant_value;   // what every read of the variable gives; null: not known. File-level analysis
    NODE* replacement;      // tree that stands for the variable when `replaced`; null otherwise
    POSITION scope_end;     // end of the block that declares it, whose scope is the last one that the
                            //   variable lives in; missing for file scope
    int32_t ssa_version;    // printed by the tree printer; 0 without SSA form
    int32_t ssa_copy;       // tells apart the variables made for one version; 0: the version itself
    uint32_t out_index;     // index in the output's symbol table, counted from 1; 0: not entered yet
    uint64_t output_offset; // functions: of their begin record in the output; 0 before it was written
    uint8_t local;          // 1: in the function zone
};
static_assert(std::is_trivially_destructible_v<SYMBOL>);

// Everything a symbol record of a file says.
struct SYMBOL_FIELDS {
    const char* name;
    uint32_t size, offset;
    int8_t storage_class;
    uint16_t flags; // low 13 bits
    TYPE* type;
    uint32_t align, order, fifth;
    POSITION position;
};

// Lists of symbols in order of creation.
struct SYMBOL_LIST {
    SYMBOL* first = nullptr;
    SYMBOL* last = nullptr;
};

// The file-scope symbols, functions included, in order of creation.
extern SYMBOL_LIST file_symbols;
// The errno variable of the file, or null.
extern SYMBOL* errno_symbol;

// The symbols of the current function: parameters (level 1), variables of the file's records, temporaries,
// and symbols that passes split from others. The last three are level 2.
struct FUNCTION_SYMBOLS {
    SYMBOL_LIST parameters;
    SYMBOL_LIST variables;
    SYMBOL_LIST temporaries;
    SYMBOL_LIST splits;
    int32_t serial = 0;    // next serial number
    int32_t temporary = 0; // next number of a temporary's name
};
extern FUNCTION_SYMBOLS function_symbols;

// Calls visit(symbol) for each symbol of the current function, list by list in the order above.
template <class F>
void for_each_function_symbol(F visit) {
    for (const SYMBOL_LIST* list : {&function_symbols.parameters, &function_symbols.variables,
                                    &function_symbols.temporaries, &function_symbols.splits})
        for (SYMBOL* symbol = list->first; symbol; symbol = symbol->next) visit(symbol);
}

// Makes a symbol from a file record. `level` is the reader's in-function counter: 0 puts it into the global
// zone and on `file_symbols`; otherwise it goes to the function zone and, unless its class is 6, on the
// function's lists. Storage classes 27, 4 and 22 and the flags change as the table of the fields above tells;
// class 27 adds 0x40022 to the current function's flags.
SYMBOL* new_file_symbol(const SYMBOL_FIELDS& fields, int level);

// From this optimization level on the analysis of the file says of each global how it may change.
constexpr int32_t FILE_LEVEL_ANALYSIS = 3;
// Without that, a global that is not const may be written and reached where the optimizer does not see it,
// and what is not local to the file by other files. Below that level symbols are made so.
void assume_unseen_changes(SYMBOL& symbol);

// Makes a temporary of the current function, named "<letter>$<number>". `number` below 0 takes the
// function's next number.
SYMBOL* new_temporary(char letter, TYPE* type, long number);
// The same on the list of splits, with the function's next number: a variable that takes over a part of the
// life or of the values of `origin`, whose type and position it has.
SYMBOL* new_split(char letter, const SYMBOL* origin);
// The same for a variable of another type, which holds a part of what `origin` is, or leads to it.
SYMBOL* new_part(char letter, const SYMBOL* origin, TYPE* type);

// A copy of a variable of another function, on the list of variables: all that its declaration says, but for
// its name, and local to the current function. Where it lives is unknown.
SYMBOL* new_copied_variable(const SYMBOL* origin, const char* name);

// Notes that the current function takes the symbol's address, and forgets all such notes, those about symbols
// of the file as well.
void expose_symbol(SYMBOL* symbol);
void clear_exposures();

// Start and end of a function: empties the lists and counters. The symbols themselves go with the zone.
void clear_function_symbols();
// Forgets every file-scope symbol and interned name. At the start of a run.
void clear_file_symbols();

// The end of the block in which `symbol` was declared.
void end_symbol_scope(SYMBOL* symbol, const POSITION& end);

// Names. `intern_name` returns the one copy of the text in the global zone.
const char* intern_name(const char* name);
// "\n%d interned symbols;  max chain %d, %d with NULL funinfo.\n" on the info and debug streams.
void print_name_statistics();

// A linkage name without one leading "_", "$" or ".".
inline const char* plain_name(const char* name) {
    return *name == '_' || *name == '$' || *name == '.' ? name + 1 : name;
}

} // namespace pelorus
