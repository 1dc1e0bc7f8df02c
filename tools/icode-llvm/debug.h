// Debug information: what a debugger needs to show the C source, as LLVM's metadata.
//
// Instructions carry the position of their statement, so that code that the optimizer moved or merged shows
// the line that it came from. Variables that live in memory are described by their place there, those in
// registers by each value that they get, types by what the file says of them. Blocks are not told apart: all
// variables of a function are in its scope.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ir/position.h"
#include "ir/symbol.h"
#include "ir/type.h"

namespace pelorus {

// What is written about places, so that the same source gives the same bytes in every folder.
struct PLACES {
    std::string folder; // that of the compilation; "": the current one
    std::vector<std::pair<std::string, std::string>>
        renamed{};       // beginnings of names; a later pair goes first
    bool columns = true; // within lines
};

// All numbers are those of metadata nodes; 0: none.
struct DEBUG {
    bool wanted = false;
    uint32_t last = 15;    // the module's own nodes come first
    uint32_t unit = 0;     // the compile unit
    std::string nodes;     // text of the nodes
    std::string globals;   // the list of global variables
    std::string main_file; //
    PLACES places{};       //
    std::map<std::string, uint32_t> files{};
    std::unordered_map<const TYPE*, uint32_t> types{};
    // Of the current function.
    uint32_t function = 0;
    std::map<std::pair<uint32_t, uint32_t>, uint32_t> locations{}; // by line and column
};

void begin_debug(DEBUG& debug, const char* source_name, const PLACES& places);

// " !dbg !n" for the definition of a function; "" when nothing is wanted. Its instructions come next.
std::string debug_function(DEBUG& debug, const SYMBOL* symbol, const std::string& linkage_name);
// ", !dbg !n" for instructions of a statement, or without a position for others of the function.
std::string debug_location(DEBUG& debug, const POSITION& position);
// The node of a variable of the current function; 0 for one without a name in the source. `argument` is the
// number of the parameter, from 1; 0 for others.
uint32_t debug_variable(DEBUG& debug, const SYMBOL* symbol, uint32_t argument);
// The line that says that a variable with such a node lies at `address`, and the one that says that it has
// `value`, a type and an operand, from here on. "" without a node.
std::string debug_place(DEBUG& debug, const SYMBOL* symbol, uint32_t variable, const std::string& address);
std::string debug_value(DEBUG& debug, const SYMBOL* symbol, uint32_t variable, const std::string& value);
// ", !dbg !n" for the definition of a global variable.
std::string debug_global(DEBUG& debug, const SYMBOL* symbol, const std::string& linkage_name);

// The lines for the module's flags and nodes.
std::string debug_nodes(const DEBUG& debug);

} // namespace pelorus
