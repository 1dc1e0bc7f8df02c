// The LLVM module being put together: names of globals, string literals, declarations, and the text of the
// functions.
//
// All text is kept until the unit is complete, so that a unit that cannot be translated leaves no output.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "debug.h"
#include "ir/node.h"
#include "ir/symbol.h"

namespace pelorus {

// What the code is made for.
struct CODE {
    bool interposable = false;       // for a shared library: another module may replace what this one exports
    bool thumb = false;              // in the Thumb state
    bool no_builtins = false;        // the library's names mean nothing special
    bool null_is_valid = false;      // there may be an object at address 0
    bool unwind_tables = false;      // exceptions of other languages may pass through
    bool frame_pointer = false;      // in every function
    bool strict_alignment = false;   // the processor traps accesses that are not aligned
    const char* protector = nullptr; // LLVM's attribute for guards on the stack
    uint32_t dwarf = 0;              // version of the debug information; 0: none
    PLACES places{};                 // in it
};

struct MODULE {
    std::string input_name;    // the icode file
    std::string source_name;   // the C file
    std::string function_name; // being translated; empty between functions
    CODE code{};
    DEBUG debug{};
    std::string assembly;     // module asm lines
    std::string functions;    // definitions
    std::string strings;      // string literals
    std::string globals;      // variables, aliases, lists of constructors
    std::string declarations; // functions and intrinsics of other modules

    const std::vector<SYMBOL*>* symbols = nullptr; // the file's global symbols; set before the first function
    std::unordered_map<const SYMBOL*, std::string> names;     // "@name", once named
    std::unordered_set<std::string> used;                     // "@name" of all that the text refers to
    std::unordered_map<std::string, uint32_t> string_numbers; // alignment byte and contents: number
    std::unordered_set<std::string> declared;                 // lines of `declarations`
};

// Ends the program with one message on the error stream that names file and function; there is no output.
[[noreturn]] void refuse(const MODULE& module, const char* format, ...) __attribute__((format(printf, 2, 3)));

// "name" with `sigil` in front, quoted when LLVM's syntax asks for it.
std::string llvm_name(char sigil, std::string_view name);

// Bytes as the inside of a string constant.
void put_escaped(std::string& text, std::string_view bytes);

// The text that refers to a global symbol, "@name"; from then on the module declares it.
const std::string& global_name(MODULE& module, const SYMBOL* symbol);

// The text that refers to a constant with these bytes.
std::string string_name(MODULE& module, std::string_view bytes, uint32_t align);

// Has the line of a declaration in the module.
void declare(MODULE& module, const std::string& line);

// Whether a call of the function may come back a second time, as that of setjmp does.
bool returns_twice(const SYMBOL* symbol);

// "hidden " and the like, or "".
std::string visibility_text(const SYMBOL* symbol);
// " section \"...\"" or "".
std::string section_text(const SYMBOL* symbol, const char* separator);
// "internal ", "weak " or "", followed by "dso_local " where it holds: of a definition.
std::string linkage_text(const MODULE& module, const SYMBOL* symbol);

// Variables, aliases, constructors and external declarations: after the last function.
void write_globals(MODULE& module);

// Assembly text outside functions.
void write_file_assembly(MODULE& module, const char* text);

// The whole module as text.
std::string module_text(const MODULE& module);

} // namespace pelorus
