// The memory of the machine that icode-run is: objects that stand apart from each other.
//
// Addresses have 32 bits, bytes lie least significant first. Every object has a gap on both sides that
// belongs to nobody, and an address is not given out again soon after its object has gone, so that an access
// outside an object or after its end finds itself. A map says of each byte whether it can be read and
// written.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

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
constexpr uint32_t OBJECT_KINDS = 7;

struct OBJECT {
    ADDRESS first;         // aligned as the object is
    uint32_t size;         // bytes
    uint32_t number;       // counts the objects of this kind in the order in which they were made, from 1
    OBJECT_KIND kind;      //
    bool live;             // false: it has ended
    std::string_view name; // of a variable or function, as messages show it; owned by the program
};

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

// One byte for 8 bytes of memory: how many of them, from the first on, can be read, 0 to 8, and in the upper
// half why they cannot be written or read; as a signed number the byte is then less than any count. A page
// that nobody touched is zero, so 0 is memory that belongs to nobody.
enum MAP_CODE : uint8_t {
    MAP_READABLE = 0x0F, // the count
    MAP_WHOLE = 8,
    MAP_CONSTANT = 0x80, // with the count
    MAP_FUNCTION = 0xA0,
    MAP_ENDED = 0xC0,
};

// The part of the memory that each access looks at.
struct MEMORY_VIEW {
    uint8_t* bytes; // of address 0
    uint8_t* map;   // of address 0, one for 8 bytes
};
struct MEMORY; // see memory.cpp

MEMORY* make_memory(uint64_t limit); // bytes that all objects together may take; null when there is no room
void release_memory(MEMORY* memory);
MEMORY_VIEW view_of(MEMORY& memory); // good for the memory's whole life

// An object of `size` bytes, all of them zero; 0 when the limit is reached. `alignment` is a power of two.
ADDRESS make_object(MEMORY& memory, OBJECT_KIND kind, uint32_t size, uint32_t alignment,
                    std::string_view name);
// The object ends; its bytes belong to nobody. False when no live object begins there.
bool end_object(MEMORY& memory, ADDRESS first);
// The object that an address lies in, or just behind the end of; also one that has ended, as long as that is
// known. Null for none. Good until the next question.
const OBJECT* object_at(const MEMORY& memory, ADDRESS address);

// From now on the object's bytes cannot be written. Needs: a live object begins there.
void make_constant(MEMORY& memory, ADDRESS first);

// --- The variables of a call that lie in memory; all of them are in one piece ---

struct FRAME_VARIABLE {
    uint32_t offset; // bytes from the frame's first one
    uint32_t size;   // bytes
    std::string_view name;
    bool at_entry; // it lives from the entry on; else from start_variable on
};

struct FRAME_LAYOUT {
    std::vector<FRAME_VARIABLE> variables; // in the order of their offsets
    uint32_t size = 0;                     // bytes, a multiple of 16; 0 without variables
    uint32_t alignment = 16;               // bytes
    bool too_large = false;                // no memory holds it: such a frame cannot be opened
    std::vector<uint8_t> map;              // what the map is at the entry
    std::string_view function;             // its name in messages
};
// Adds a variable behind the others. `alignment` is a power of two. Its place in `variables`.
uint32_t add_variable(FRAME_LAYOUT& layout, uint32_t size, uint32_t alignment, std::string_view name,
                      bool at_entry);
// To be called when all are there.
void finish_layout(FRAME_LAYOUT& layout);

// A frame, its variables filled with `fill`. 0 when the limit is reached. The layout must live as long as the
// memory.
ADDRESS open_frame(MEMORY& memory, const FRAME_LAYOUT& layout, uint8_t fill);
void close_frame(MEMORY& memory, ADDRESS frame);
// A variable's life begins anew or ends, while the frame lives.
void start_variable(MEMORY& memory, ADDRESS frame, const FRAME_VARIABLE& variable, uint8_t fill);
void end_variable(MEMORY& memory, ADDRESS frame, const FRAME_VARIABLE& variable);

// --- Accesses ---

// May `size` bytes at the address be read, or written too?
ACCESS_FAULT check_access(const MEMORY& memory, ADDRESS address, uint32_t size, bool write);

// The same for SIZE bytes at an address that is a multiple of SIZE, 1, 2, 4 or 8.
template <uint32_t SIZE>
inline bool can_read(const MEMORY_VIEW& view, ADDRESS address) {
    return (address & 7) + SIZE <= uint32_t(view.map[address >> 3] & MAP_READABLE);
}
template <uint32_t SIZE>
inline bool can_write(const MEMORY_VIEW& view, ADDRESS address) {
    return int32_t((address & 7) + SIZE) <= int8_t(view.map[address >> 3]);
}

// The bytes themselves. Needs: the access was checked.
uint8_t* bytes_at(MEMORY& memory, ADDRESS address);
const uint8_t* bytes_at(const MEMORY& memory, ADDRESS address);

// Does a word of live memory hold an address of the piece? Asked of the places that `counts` is true of.
bool holds_address(const MEMORY& memory, ADDRESS first, uint32_t size,
                   const std::function<bool(ADDRESS)>& counts);

// "12 bytes behind the end of `table' (40 bytes)", "`x' of f, which has returned", "address 0x4".
std::string describe_address(const MEMORY& memory, ADDRESS address);

} // namespace pelorus
