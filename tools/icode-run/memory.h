// The memory of the machine that icode-run is: objects that stand apart from each other.
//
// Addresses have 32 bits, bytes lie least significant first. Every object has a gap on both sides that belongs
// to nobody, and an address is not given out again soon after its object has gone, so that an access outside
// an object or after its end finds itself. A map says of each byte whether it can be read and written.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace pelorus {

using ADDRESS = uint32_t;

enum class OBJECT_KIND : uint8_t {
    GLOBAL,    // a file-scope variable
    CONSTANT,  // a string literal or a const variable: not to be written
    LOCAL,     // a variable of a call, or memory of alloca
    ARGUMENTS, // the unnamed arguments of a call
    HEAP,      // of malloc and its kin
    LIBRARY,   // what the library owns: errno, streams, tables of ctype
    FUNCTION,  // the address of a function; no bytes that can be read
};

struct OBJECT {
    ADDRESS first;         // aligned as the object is
    uint32_t size;         // bytes
    uint32_t number;       // counts the objects of this kind in the order in which they were made, from 1
    OBJECT_KIND kind;      //
    bool live;             // false: it has ended
    std::string_view name; // of a variable or function, as messages show it; owned by the program
};

struct MEMORY; // see memory.cpp

// What is wrong with an access.
enum class ACCESS_FAULT : uint8_t {
    NONE,
    NULL_POINTER, // an address below the first object
    OUTSIDE,      // no object is there
    ENDED,        // the object that was there has ended
    CONSTANT,     // a write to a constant
    FUNCTION,     // a read or write of a function
    MISALIGNED,
};

MEMORY* make_memory(uint64_t limit); // bytes that all objects together may take
void release_memory(MEMORY* memory);

// An object of `size` bytes, all of them zero; 0 when the limit is reached. `alignment` is a power of two.
ADDRESS make_object(MEMORY& memory, OBJECT_KIND kind, uint32_t size, uint32_t alignment,
                    std::string_view name);
// The object ends; its bytes belong to nobody. False when no live object begins there.
bool end_object(MEMORY& memory, ADDRESS first);
// The object that an address lies in, or just behind the end of; also one that has ended, as long as that is
// known. Null for none.
const OBJECT* object_at(const MEMORY& memory, ADDRESS address);

// May `size` bytes at the address be read, or written too?
ACCESS_FAULT check_access(const MEMORY& memory, ADDRESS address, uint32_t size, bool write);
// The bytes themselves. Needs: the access was checked.
uint8_t* bytes_at(MEMORY& memory, ADDRESS address);
const uint8_t* bytes_at(const MEMORY& memory, ADDRESS address);

// "12 bytes behind the end of `table' (40 bytes)", "`x' of f, which has returned", "address 0x4".
std::string describe_address(const MEMORY& memory, ADDRESS address);

} // namespace pelorus
