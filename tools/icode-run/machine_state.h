// A running machine: what execute.cpp, calls.cpp and machine.cpp share.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "program.h"

namespace pelorus {

// An open call.
struct CALL_FRAME {
    const FUNCTION_CODE* function;
    const INSTRUCTION* next; // where it goes on, when it is not the innermost one
    uint32_t base;           // of its slots
    ADDRESS memory;          // of its frame; 0 when it has none
    ADDRESS unnamed;         // the first unnamed argument
    ADDRESS unnamed_object;  // 0 without one
    uint32_t result_slot;    // in the caller
    ADDRESS result_object;   // where a structure goes
    size_t first_alloca;     // in MACHINE::allocas
    uint64_t serial;         // no two calls have the same
};

// Where longjmp goes.
struct JUMP_TARGET {
    size_t depth; // open calls then
    uint64_t serial;
    const INSTRUCTION* next;
    uint32_t result_slot;
    size_t allocas;
};

// Thrown to leave the host's calls up to the machine's loop that has the frame.
struct LONG_JUMP {
    size_t depth;
};

// Where each global lies, so that two programs can have theirs at the same addresses.
struct GLOBAL_LAYOUT {
    struct ROW {
        GLOBAL_OBJECT::KIND kind;
        std::string shown_name;
        uint32_t size, alignment;
    };
    std::vector<ROW> rows;
    std::unordered_map<std::string, uint32_t> numbers; // by key
};
// What a global is known by in all programs.
std::string global_key(const PROGRAM& program, uint32_t global,
                       std::unordered_map<std::string, uint32_t>& seen);
void add_to_layout(GLOBAL_LAYOUT& layout, const PROGRAM& program);

struct CALL_CHECKS; // see check_functions.cpp
struct RELEASE_CHECKS {
    void operator()(CALL_CHECKS* checks) const;
};

struct MACHINE {
    const PROGRAM& program;
    const RUN_OPTIONS& options;
    MEMORY* memory = nullptr;
    MEMORY_VIEW view{};
    LIBRARY* library = nullptr;

    std::vector<uint64_t> slots{};
    std::vector<CALL_FRAME> frames{};
    std::vector<ADDRESS> allocas{};
    std::vector<ADDRESS> globals{};                    // addresses; 0 for a weak one that is nowhere
    std::unordered_map<ADDRESS, uint32_t> functions{}; // globals, by address
    std::unordered_map<ADDRESS, uint32_t> missing{};   // external variables that nobody has
    std::unordered_map<uint32_t, JUMP_TARGET> jumps{}; // by the number in the jmp_buf
    uint32_t jump_number = 0;
    uint64_t calls = 0; // serial numbers given
    uint64_t steps_left = 0;
    std::vector<uint64_t> stretches{};   // how often each was entered
    uint64_t returned = 0;               // the last function's value, or the address of its structure
    const INSTRUCTION* at = nullptr;     // of the innermost call, while it is not in the loop
    std::string_view library_function{}; // being called; empty for none
    uint32_t host_depth = 0;             // calls by the library that are open
    bool destroyed = false;              // the destructors have been called
    std::unique_ptr<CALL_CHECKS, RELEASE_CHECKS> checks{}; // null when functions are not checked
    RUN_RESULT run{};
};

// --- execute.cpp ---

// Runs the innermost call until it returns.
void execute(MACHINE& machine);

// --- calls.cpp ---

// Opens the call of a function of the program whose arguments are in `site`, from slots of the frame.
void enter_function(MACHINE& machine, const FUNCTION_CODE& function, const CALL_SITE_CODE& site,
                    uint32_t result_slot);
void leave_function(MACHINE& machine);
// Makes the call of instruction `call`: a function of the program is entered, any other is run. True when one
// was entered.
bool make_call(MACHINE& machine, const INSTRUCTION& call);
// Ends the calls above `depth`.
void unwind(MACHINE& machine, size_t depth);

// --- machine.cpp ---

RUN_RESULT run_with_layout(const PROGRAM& program, const RUN_OPTIONS& options, const GLOBAL_LAYOUT& layout);
[[noreturn]] void end_run(OUTCOME_KIND kind, std::string message);
// Ends the run: the access has the fault, or is not aligned.
[[noreturn]] void bad_access(MACHINE& machine, ADDRESS address, uint32_t size, bool write,
                             uint32_t alignment);
// The place of an instruction of the innermost call.
uint32_t current_place(const MACHINE& machine);
void record_event(MACHINE& machine, EVENT::KIND kind, std::string text);

// --- events.cpp ---

// A number, or a pointer as the object's name and an offset.
std::string value_text(const MACHINE& machine, const GUEST_VALUE& value);
std::string address_text(const MACHINE& machine, ADDRESS address);
void note_access(MACHINE& machine, ADDRESS address, uint64_t value, uint32_t size, bool write);
void note_call(MACHINE& machine, std::string_view name, const GUEST_VALUE* arguments, uint32_t count);

// --- check_functions.cpp ---

void start_checks(MACHINE& machine);
// The innermost call is about to execute the instruction.
void check_instruction(MACHINE& machine, const INSTRUCTION& instruction, OPERATION operation);
// The library is about to read or write for the innermost call, or to do what the world sees. Needs: checks.
void check_library_access(MACHINE& machine, ADDRESS address, uint32_t size, bool write);
void check_library_effect(MACHINE& machine);
// The innermost call can be returned to twice, so that it may go through its statements again.
void allow_second_return(MACHINE& machine);

} // namespace pelorus
