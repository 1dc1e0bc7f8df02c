// Joining icode files: several translation units become one, as a linker would put their objects together.
//
//   types.cpp       types of all files, merged where they are the same
//   compatible.cpp  whether two types may be those of one variable or function
//   symbols.cpp     external names unified, internal ones kept apart
//   join.cpp        everything that refers to them carried over
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "common/icode_parts.h"

namespace pelorus {

// A type of an input file as the joined file has it. Numbers of such records are called nodes; 0 is no type.
struct TYPE_NODE {
    std::vector<const PARTS_RECORD*> records; // that describe it, in their order
    std::string own;                          // what they say, but for positions and other types
    std::vector<uint32_t> refers;             // nodes, in the order of the fields
    uint8_t kind = 0;                         // of the first record
    uint32_t input = 0;                       // whose type it is
    uint32_t stands_for = 0; // the complete structure that this incomplete one is; 0: nothing else
    uint32_t color = 0;      // equal for types that are the same
    uint32_t index = 0;      // in the joined file; 0: not written yet
};

// A file-scope symbol of an input, with the attributes behind it.
struct GLOBAL_RECORD {
    std::vector<PARTS_RECORD> records; // 35, then 94s
    uint32_t index = 0;                // in the joined file
    bool is_dropped = false;           // defined better elsewhere: its body or initializer goes
    bool other_type = false;           // the joined symbol has another type, which its NAMEs take over
};

struct JOINED_INPUT {
    std::string name; // of the file, for messages
    PARTS_FILE file;
    std::vector<uint32_t> types; // nodes, by index; 0 where there is none
    std::vector<uint32_t> names; // file names of the joined file, by index
    std::vector<GLOBAL_RECORD> globals;
};

struct JOIN {
    std::vector<JOINED_INPUT> inputs;
    std::vector<TYPE_NODE> nodes = std::vector<TYPE_NODE>(1);
    PARTS_FILE output;
    std::map<std::string, uint32_t> file_names;
    uint32_t last_type = 0;
    std::vector<uint32_t> global_types; // nodes of the joined symbols' types
    std::string problem;                // why it cannot be done; "" as long as it can
};

// What stands for a node: itself, or the complete structure that it is.
uint32_t complete_node(const JOIN& join, uint32_t node);

// Finds the nodes of all inputs and which of them are the same.
void find_types(JOIN& join);
// Writes the types into the joined file, and gives the nodes their indices.
void write_types(JOIN& join);

// Whether declarations with these types may be of one variable or function, by C's rules.
bool are_compatible(const JOIN& join, uint32_t a, uint32_t b);

// Decides which symbols of the inputs are one, and writes the joined table.
void join_symbols(JOIN& join);

// Puts the parts of one record over to the joined file: file names, types and symbols.
void carry_record(const JOIN& join, const JOINED_INPUT& input, PARTS_RECORD& record);

// The number of a field that is a LEB128 or begins with one.
uint32_t field_number(const PARTS_FIELD& field);
// A string field without its end.
std::string field_text(const PARTS_FIELD& field);

// Joins the files, given by name and bytes, which obey the rules of icode. The answer is the joined file; on
// failure "", and `problem` says why.
std::string join_icode(const std::vector<std::pair<std::string, std::string>>& files, std::string& problem);

} // namespace pelorus
