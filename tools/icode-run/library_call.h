// What the functions of the library share: the arguments and results of a call, accesses to memory, the
// library's own state, and the tables of functions.
#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "library.h"

namespace pelorus {

struct STREAM; // see streams.h
struct RANDOM_STATE;

// What the library keeps between the calls of one run.
struct LIBRARY {
    LIBRARY(MACHINE& its_machine, std::string_view its_folder);
    ~LIBRARY();

    MACHINE& machine;
    std::string folder; // where files may be; empty: nowhere

    std::map<std::string, ADDRESS, std::less<>> objects; // what has been made so far, by name
    ADDRESS character_tables[3] = {};                    // the tables' addresses of ctype.h; 0: not made
    ADDRESS standard_streams[3] = {};                    // 0: not made
    ADDRESS error_number = 0;                            // errno; 0: not made
    std::map<ADDRESS, std::unique_ptr<STREAM>> streams;  // by the address that the program has of each
    std::vector<ADDRESS> exit_functions;                 // of atexit, the last one is called first
    std::map<int, ADDRESS> signal_handlers;              // those that are not the default
    std::vector<ADDRESS> thread_results;                 // of the threads 1, 2, ...

    std::unique_ptr<RANDOM_STATE> random;
    ADDRESS token_rest = 0;    // where strtok goes on
    uint64_t microseconds = 0; // that have passed; see library_time.cpp
};

// --- Arguments and results ---

// Each ends the run when the argument is missing or is of another kind.
const GUEST_VALUE& argument(const GUEST_CALL& call, uint32_t index);
int64_t wide_argument(const GUEST_CALL& call, uint32_t index); // of 64 bits
int32_t int_argument(const GUEST_CALL& call, uint32_t index);
uint32_t word_argument(const GUEST_CALL& call, uint32_t index); // unsigned, size_t or a pointer
double real_argument(const GUEST_CALL& call, uint32_t index);

void give(GUEST_CALL& call, int64_t value); // an integer or a pointer

template <typename T>
void give_as(GUEST_CALL& call, T value) {
    give(call, static_cast<int64_t>(value));
}
void give_real(GUEST_CALL& call, double value);
// A structure that the function returns.
void give_structure(GUEST_CALL& call, const void* bytes, uint32_t size);

// --- Memory ---

template <typename T>
T load(MACHINE& machine, ADDRESS address) {
    T value;
    std::memcpy(&value, read_place(machine, address, sizeof value), sizeof value);
    return value;
}

template <typename T>
void store(MACHINE& machine, ADDRESS address, T value) {
    std::memcpy(write_place(machine, address, sizeof value), &value, sizeof value);
}

uint8_t load_byte(MACHINE& machine, ADDRESS address);
// At most `limit` bytes of a text, which need not end within them.
std::string_view read_text_within(MACHINE& machine, ADDRESS address, uint32_t limit);
// Stores the bytes and a zero byte.
void write_text(MACHINE& machine, ADDRESS address, std::string_view text);
// Ends the run when two places share a byte. `name` is the function that wants them apart.
void need_apart(MACHINE& machine, const char* name, ADDRESS a, uint32_t a_size, ADDRESS b, uint32_t b_size);

// --- State ---

ADDRESS errno_of(LIBRARY& library);
void set_errno(LIBRARY& library, int value);
// An object of the library, made when it is first asked for; `bytes` are what it holds then.
ADDRESS library_object(LIBRARY& library, std::string_view name, std::string_view bytes, uint32_t alignment);
// The bytes of an object that begins as zero.
std::string zeros(uint32_t size);
// Memory as of malloc; 0, with errno set, when there is none.
ADDRESS allocate(LIBRARY& library, uint32_t size, uint32_t alignment);
// Ends the run when no block begins there. `name` is the function that frees it.
void free_block(MACHINE& machine, const char* name, ADDRESS address);
ADDRESS allocate_text(LIBRARY& library, std::string_view text);
// Calls the functions given to atexit, then ends the program.
[[noreturn]] void leave_program(LIBRARY& library, int status);
// Ends the program as a signal that nobody handles does.
[[noreturn]] void die_of_signal(LIBRARY& library, int signal);

// --- The tables, each at the end of its file ---

std::span<const LIBRARY_ROW> allocation_functions();
std::span<const LIBRARY_ROW> atomic_functions();
std::span<const LIBRARY_ROW> character_functions();
std::span<const LIBRARY_ROW> compiler_functions();
std::span<const LIBRARY_ROW> complex_functions();
std::span<const LIBRARY_ROW> file_functions();
std::span<const LIBRARY_ROW> formatting_functions();
std::span<const LIBRARY_ROW> math_functions();
std::span<const LIBRARY_ROW> memory_functions();
std::span<const LIBRARY_ROW> number_functions();
std::span<const LIBRARY_ROW> process_functions();
std::span<const LIBRARY_ROW> random_functions();
std::span<const LIBRARY_ROW> sorting_functions();
std::span<const LIBRARY_ROW> string_functions();
std::span<const LIBRARY_ROW> thread_functions();
std::span<const LIBRARY_ROW> time_functions();
// All of them.
std::vector<std::span<const LIBRARY_ROW>> library_tables();

} // namespace pelorus
