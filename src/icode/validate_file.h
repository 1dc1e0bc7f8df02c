// Does a file obey the rules of docs/icode.md?
//
// The validator takes the bytes of a whole file, whatever they are, and hands on a fault for every rule that
// it finds broken, with the offset of the record. It never ends the run: a record that cannot be taken apart
// is passed by its length, and what depends on it is not looked at, so that one mistake makes few messages.
// Files that it accepts are files that the reader accepts.
//
// What it does not do: it knows no more of a pragma's text or of C++ types than the document says, and it
// does not judge what a program means.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ir/rules.h"

namespace pelorus {

// A rule that a file breaks. The texts live only while it is handed on.
struct FILE_FAULT {
    RULE rule;
    uint64_t offset;       // of the record or node, from the first byte of the file
    const char* function;  // name of the symbol of the function; null outside functions
    const char* message;   // what is wrong, without a period
    const char* statement; // text of the statement, cut when it is long; null when there is none
};

struct FILE_FAULT_SINK {
    void (*take)(void* context, const FILE_FAULT& fault) = nullptr;
    void* context = nullptr;
};

// Checks a file and returns the number of faults, of which the sink gets the first `most`. Time and memory
// are linear in the file's size but for chains of types that lead from one to the next.
// Needs: no function in the function zone; leaves the zone empty and the current type package as it was.
uint64_t validate_icode(std::string_view bytes, uint64_t most, const FILE_FAULT_SINK& sink);

// "file: offset 0x1a2b: function _main: rule U3: label 7 is not defined\n", and a second line with the
// statement.
std::string fault_text(std::string_view file, const FILE_FAULT& fault);

} // namespace pelorus
