// Variables in registers as values of static single assignment form.
//
// A variable of class 4 has no place in memory: the value that was assigned last stands where it is read, and
// where ways with several values join, a phi does. The form is made while the function is written, block by
// block in the order of the file, without sets computed before:
//
// 1. An assignment notes the value in the block. A read looks it up there, else in the block's only
//    predecessor and so on.
// 2. A block with several predecessors gets a phi, which is noted before its operands are looked up, so that
//    a loop finds it. While it is not sealed, that is, while a jump to it may still come, the operands wait.
// 3. A phi of one value, itself aside, is that value; phis that have it as an operand are looked at again.
// 4. What is written of a phi is a mark, since its text comes last: `finished_text` puts phis and values in
//    the place of the marks.
//
// What no assignment reaches is undefined.
//
// M. Braun, S. Buchwald, S. Hack, R. Leissa, C. Mallon, A. Zwinkau: Simple and Efficient Construction of
// Static Single Assignment Form (2013).
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "abi.h"
#include "ir/symbol.h"

namespace pelorus {

struct REGISTER_VARIABLE {
    const SYMBOL* symbol;
    LTYPE type;
    uint32_t debug; // metadata node of the variable; 0: none
};

struct PHI {
    uint32_t block;
    uint32_t variable;
    bool complete;                     // its operands are known; not while its block is not sealed
    std::vector<std::string> operands; // one for each predecessor
    std::vector<uint32_t> users;       // phis of which it is an operand
    std::string replacement;           // the value that it turned out to be; empty: it stays
};

struct FLOW_BLOCK {
    std::string name;
    std::vector<uint32_t> predecessors; // one for each edge
    std::vector<uint32_t> phis;
    bool sealed;   // all predecessors are known
    bool is_label; // it begins with a statement
    uint32_t walk; // number of the last walk that came here
};

// Of one function. Without variables nothing is noted.
struct SSA {
    std::vector<REGISTER_VARIABLE> variables;
    std::unordered_map<const SYMBOL*, uint32_t> numbers; // of variables
    std::vector<FLOW_BLOCK> blocks;
    std::unordered_map<std::string, uint32_t> block_numbers;
    std::unordered_map<uint64_t, std::string> values; // by block and variable: at the end of what is written
    std::vector<PHI> phis;
    uint32_t block = 0; // the open one
    uint32_t walks = 0;
};
constexpr uint32_t NO_REGISTER_VARIABLE = UINT32_MAX;

// Whether the file keeps a variable in a register. The reader makes its class that of others.
inline bool is_in_register(const SYMBOL* symbol) {
    return symbol->level == BODY_LEVEL && symbol->file_class == SC_REGISTER;
}
// The number of a variable in a register; NO_REGISTER_VARIABLE for others.
uint32_t register_variable(const SSA& ssa, const SYMBOL* symbol);

// The function begins; its variables are known, the entry block is open.
void begin_ssa(SSA& ssa, const std::string& entry);
void add_register_variable(SSA& ssa, const SYMBOL* symbol, LTYPE type, uint32_t debug);
// The scalars of a structure have numbers that follow on each other; the first is that of the structure.
void add_register_structure(SSA& ssa, const SYMBOL* symbol, const std::vector<LTYPE>& types);

// Control can go from the open block to another one.
void note_edge(SSA& ssa, const std::string& target);
// A block is opened, and what marks the place of its phis. One that is no label has all its predecessors.
std::string enter_block(SSA& ssa, const std::string& name, bool is_label);
// All jumps to the block have been written.
void seal_block(SSA& ssa, const std::string& name);

void write_variable(SSA& ssa, uint32_t variable, const std::string& value);
std::string read_variable(SSA& ssa, uint32_t variable);

// `body` with phis and values in the place of marks. `describe(variable, value)` gives the lines for a
// debugger behind the phis of a label.
using DESCRIBE = std::string (*)(void* context, uint32_t variable, const std::string& value);
std::string finished_text(const SSA& ssa, const std::string& body, DESCRIBE describe, void* context);

} // namespace pelorus
