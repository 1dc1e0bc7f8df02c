// The C library of the machine: functions that a program calls and does not define.
//
// A library function gets its arguments as the machine has them and works on the machine's memory through the
// checked functions below, so that a wrong pointer given to it is found as one of the program itself is.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "memory.h"
#include "outcome.h"

namespace pelorus {

struct MACHINE;
struct LIBRARY; // streams, the heap's list, the random numbers' seed: one for each machine; see library.cpp

// An argument or a result. Integers are extended to 64 bits as their types say, float and double are a
// double, pointers and the address of a structure's copy are an address.
struct GUEST_VALUE {
    enum KIND : uint8_t { NOTHING, INTEGER, FLOATING, POINTER, STRUCTURE } kind = NOTHING;
    uint8_t size = 0;            // bytes of its type, 1 to 8; of a structure see `structure_size`
    uint32_t structure_size = 0; // bytes
    union {
        int64_t integer = 0;
        double floating;
        ADDRESS address;
    };
};

// A call in progress. The named and unnamed arguments stand in one list.
struct GUEST_CALL {
    MACHINE& machine;
    LIBRARY& library;
    const GUEST_VALUE* arguments;
    uint32_t count;
    GUEST_VALUE result; // set by the function; its kind and size are those that the caller wants
};

using LIBRARY_FUNCTION = void (*)(GUEST_CALL& call);

// What a comparison of two runs has to see of a call.
enum class CALL_EFFECT : uint8_t {
    NONE,   // a function of its arguments and memory: an optimizer may leave it out or make it anew
    INSIDE, // changes memory or the library's state, which later calls can see
    SEEN,   // input, output, exit: the call, its arguments and their order are the program's behaviour
};

struct LIBRARY_ROW {
    std::string_view name; // linkage name, with its underscore
    LIBRARY_FUNCTION function;
    CALL_EFFECT effect;
};

// The row of a function, null when the library does not have it.
const LIBRARY_ROW* find_library_function(std::string_view linkage_name);
// An external variable that the library has (`_stdout`, `_environ`): its address, 0 when there is none.
ADDRESS find_library_variable(LIBRARY& library, std::string_view linkage_name);

// `folder`: where the program's files are; no other file can be opened. Empty: none can.
LIBRARY* make_library(MACHINE& machine, std::string_view folder);
void release_library(LIBRARY* library);
// Writes out what is in the buffers, as exit does.
void close_library(LIBRARY& library);

// --- What library functions work with; the machine has them (machine.cpp) ---

MEMORY& memory_of(MACHINE& machine);

// End the run. The message names the function that was called and what was wrong with it.
[[noreturn]] void trap(MACHINE& machine, const char* format, ...) __attribute__((format(printf, 2, 3)));
[[noreturn]] void unsupported(MACHINE& machine, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
[[noreturn]] void exit_program(MACHINE& machine, int status);
// Calls the program's functions with the attribute `destructor`: exit does it behind the functions of atexit
// and before it closes the library. When main returns, the machine calls the library's exit.
void run_destructors(MACHINE& machine);

// The bytes of an access that is checked first: a trap when it is none.
const uint8_t* read_place(MACHINE& machine, ADDRESS address, uint32_t size);
uint8_t* write_place(MACHINE& machine, ADDRESS address, uint32_t size);
// The bytes up to the first zero byte, without it.
std::string_view read_text(MACHINE& machine, ADDRESS address);

// Calls a function of the program (qsort, bsearch, atexit). A longjmp past it ends the host's call too.
GUEST_VALUE call_guest(MACHINE& machine, ADDRESS function, const std::vector<GUEST_VALUE>& arguments,
                       const GUEST_VALUE& wanted_result);

// setjmp and longjmp are the machine's, which knows the frames.

// What the program writes to its standard output and error stream goes here, so that a comparison can keep
// it.
void put_output(MACHINE& machine, int descriptor, std::string_view bytes); // 1 or 2

} // namespace pelorus
