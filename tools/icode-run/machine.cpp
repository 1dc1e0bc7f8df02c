// A run from its beginning to its end, and what library functions ask of the machine.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "machine_state.h"

namespace pelorus {

void end_run(OUTCOME_KIND kind, std::string message) {
    RUN_ENDS ends;
    ends.outcome.kind = kind;
    ends.outcome.message = std::move(message);
    throw ends;
}

namespace {

const char* access_text(ACCESS_FAULT fault, bool write) {
    switch (fault) {
    case ACCESS_FAULT::NULL_POINTER:
        return write ? "write through a null pointer" : "read through a null pointer";
    case ACCESS_FAULT::ENDED:
        return write ? "write to an object that has ended" : "read of an object that has ended";
    case ACCESS_FAULT::CONSTANT: return "write to a constant";
    case ACCESS_FAULT::FUNCTION: return write ? "write to a function" : "read of a function";
    case ACCESS_FAULT::MISALIGNED: return write ? "misaligned write" : "misaligned read";
    default: return write ? "write outside of all objects" : "read outside of all objects";
    }
}

} // namespace

void bad_access(MACHINE& machine, ADDRESS address, uint32_t size, bool write, uint32_t alignment) {
    ACCESS_FAULT fault = check_access(*machine.memory, address, size, write);
    if (fault == ACCESS_FAULT::NONE && (address & (alignment - 1))) fault = ACCESS_FAULT::MISALIGNED;
    if (const OBJECT* object = object_at(*machine.memory, address))
        if (const auto missing = machine.missing.find(object->first); missing != machine.missing.end())
            end_run(OUTCOME_KIND::UNSUPPORTED,
                    "the variable " + machine.program.globals[missing->second].shown_name);
    end_run(OUTCOME_KIND::TRAP, std::string(access_text(fault, write)) + ": " + std::to_string(size) +
                                    (size == 1 ? " byte at " : " bytes at ") +
                                    describe_address(*machine.memory, address));
}

uint32_t current_place(const MACHINE& machine) {
    const CALL_FRAME& frame = machine.frames.back();
    const std::vector<INSTRUCTION>& code = frame.function->code;
    const bool is_inside = machine.at >= code.data() && machine.at < code.data() + code.size();
    const INSTRUCTION* at = is_inside ? machine.at : frame.next - 1;
    return frame.function->places[size_t(std::max(at, code.data()) - code.data())];
}

void record_event(MACHINE& machine, EVENT::KIND kind, std::string text) {
    if (machine.run.events.size() >= machine.options.events)
        end_run(OUTCOME_KIND::LIMIT, std::to_string(machine.options.events) + " events");
    const uint32_t place = machine.frames.empty() ? NO_NUMBER : current_place(machine);
    machine.run.events.push_back({kind, place, std::move(text)});
}

// --- What library functions ask for ---

MEMORY& memory_of(MACHINE& machine) { return *machine.memory; }

namespace {

// "name: " in front of a message about a call of a library function, unless it begins so.
std::string library_message(const MACHINE& machine, const char* format, va_list arguments) {
    char text[1000];
    vsnprintf(text, sizeof text, format, arguments);
    const std::string name(machine.library_function);
    return name.empty() || std::string_view(text).starts_with(name) ? text : name + ": " + text;
}

} // namespace

void trap(MACHINE& machine, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string message = library_message(machine, format, arguments);
    va_end(arguments);
    end_run(OUTCOME_KIND::TRAP, message);
}

void unsupported(MACHINE& machine, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string message = library_message(machine, format, arguments);
    va_end(arguments);
    end_run(OUTCOME_KIND::UNSUPPORTED, message);
}

void exit_program(MACHINE&, int status) {
    RUN_ENDS ends;
    ends.outcome.status = status & 0xFF;
    throw ends;
}

void run_destructors(MACHINE& machine) {
    if (machine.destroyed) return;
    machine.destroyed = true;
    for (const uint32_t global : machine.program.destructors)
        call_guest(machine, machine.globals[global], {}, {});
}

namespace {

[[noreturn]] void bad_library_access(MACHINE& machine, ADDRESS address, uint32_t size, bool write) {
    try {
        bad_access(machine, address, size, write, 1);
    } catch (RUN_ENDS& ends) {
        if (!machine.library_function.empty())
            ends.outcome.message = std::string(machine.library_function) + ": " + ends.outcome.message;
        throw;
    }
}

} // namespace

const uint8_t* read_place(MACHINE& machine, ADDRESS address, uint32_t size) {
    if (check_access(*machine.memory, address, size, false) != ACCESS_FAULT::NONE)
        bad_library_access(machine, address, size, false);
    if (machine.checks) check_library_access(machine, address, size, false);
    return machine.view.bytes + address;
}

uint8_t* write_place(MACHINE& machine, ADDRESS address, uint32_t size) {
    if (check_access(*machine.memory, address, size, true) != ACCESS_FAULT::NONE)
        bad_library_access(machine, address, size, true);
    if (machine.checks) check_library_access(machine, address, size, true);
    return machine.view.bytes + address;
}

std::string_view read_text(MACHINE& machine, ADDRESS address) {
    if (machine.checks) check_library_access(machine, address, 1, false);
    const uint8_t* begin = machine.view.bytes + address;
    for (ADDRESS at = address;; at = (at | 7) + 1) {
        const uint32_t size = (at | 7) + 1 - at;
        const uint32_t readable = machine.view.map[at >> 3] & MAP_READABLE;
        const uint32_t count = readable > (at & 7) ? readable - (at & 7) : 0;
        if (count)
            if (const void* end = memchr(machine.view.bytes + at, 0, count))
                return {reinterpret_cast<const char*>(begin),
                        size_t(static_cast<const uint8_t*>(end) - begin)};
        if (count < size) bad_library_access(machine, at + count, 1, false);
    }
}

void put_output(MACHINE& machine, int descriptor, std::string_view bytes) {
    const bool is_error = descriptor == 2;
    if (machine.options.record || machine.options.quiet)
        (is_error ? machine.run.errors : machine.run.output) += bytes;
    if (machine.options.record)
        record_event(machine, EVENT::OUTPUT, (is_error ? "2:" : "1:") + std::string(bytes));
    if (machine.options.quiet) return;
    FILE* stream = is_error ? stderr : stdout;
    fwrite(bytes.data(), 1, bytes.size(), stream);
    if (is_error) fflush(stream);
}

// --- Globals ---

std::string global_key(const PROGRAM& program, uint32_t global,
                       std::unordered_map<std::string, uint32_t>& seen) {
    const GLOBAL_OBJECT& object = program.globals[global];
    if (object.kind == GLOBAL_OBJECT::STRING) return object.name;
    return object.name + "#" + std::to_string(seen[object.name]++);
}

void add_to_layout(GLOBAL_LAYOUT& layout, const PROGRAM& program) {
    std::unordered_map<std::string, uint32_t> seen;
    for (uint32_t i = 0; i < program.globals.size(); i++) {
        const GLOBAL_OBJECT& global = program.globals[i];
        const auto [place, is_new] =
            layout.numbers.try_emplace(global_key(program, i, seen), uint32_t(layout.rows.size()));
        if (is_new) layout.rows.push_back({global.kind, global.shown_name, 0, 1});
        GLOBAL_LAYOUT::ROW& row = layout.rows[place->second];
        row.size = std::max(row.size, global.size);
        row.alignment = std::max(row.alignment, global.alignment);
    }
}

namespace {

constexpr uint32_t FUNCTION_BYTES = 4; // what a function's address stands for

bool is_function(GLOBAL_OBJECT::KIND kind) {
    return kind == GLOBAL_OBJECT::FUNCTION || kind == GLOBAL_OBJECT::EXTERNAL_FUNCTION;
}

// Is there nothing behind the name, and may there be nothing?
bool is_absent(const GLOBAL_OBJECT& global) {
    if (!global.weak || global.alias_of != NO_NUMBER) return false;
    return global.kind == GLOBAL_OBJECT::EXTERNAL_VARIABLE ||
           (global.kind == GLOBAL_OBJECT::EXTERNAL_FUNCTION && !global.row &&
            global.known == KNOWN_FUNCTION::NONE);
}

ADDRESS place_global(MACHINE& machine, const GLOBAL_OBJECT* global, const GLOBAL_LAYOUT::ROW& row) {
    const GLOBAL_OBJECT::KIND kind = global ? global->kind : row.kind;
    OBJECT_KIND object = OBJECT_KIND::GLOBAL;
    if (is_function(kind) || kind == GLOBAL_OBJECT::EXTERNAL_VARIABLE) object = OBJECT_KIND::FUNCTION;
    if (kind == GLOBAL_OBJECT::STRING || (global && global->constant)) object = OBJECT_KIND::CONSTANT;
    const uint32_t size = std::max(row.size, FUNCTION_BYTES);
    const uint32_t alignment = std::max(row.alignment, FUNCTION_BYTES);
    const std::string_view name = global ? global->shown_name : row.shown_name;
    const ADDRESS address =
        make_object(*machine.memory, object, global && row.size ? row.size : size, alignment, name);
    if (!address) end_run(OUTCOME_KIND::LIMIT, "memory for the global variables");
    return address;
}

// The number of each row's global in this program; NO_NUMBER for none.
std::vector<uint32_t> globals_of_rows(const PROGRAM& program, const GLOBAL_LAYOUT& layout) {
    std::vector<uint32_t> globals(layout.rows.size(), NO_NUMBER);
    std::unordered_map<std::string, uint32_t> seen;
    for (uint32_t i = 0; i < program.globals.size(); i++)
        globals[layout.numbers.at(global_key(program, i, seen))] = i;
    return globals;
}

void take_external_variable(MACHINE& machine, uint32_t number, ADDRESS reserved) {
    const GLOBAL_OBJECT& global = machine.program.globals[number];
    ADDRESS& address = machine.globals[number];
    address = find_library_variable(*machine.library, global.name);
    if (address || global.weak) return;
    address = reserved;
    machine.missing[reserved] = number;
}

void place_globals(MACHINE& machine, const GLOBAL_LAYOUT& layout) {
    const std::vector<uint32_t> numbers = globals_of_rows(machine.program, layout);
    machine.globals.assign(machine.program.globals.size(), 0);
    for (size_t i = 0; i < numbers.size(); i++) {
        const GLOBAL_OBJECT* global =
            numbers[i] == NO_NUMBER ? nullptr : &machine.program.globals[numbers[i]];
        const ADDRESS address = place_global(machine, global, layout.rows[i]);
        if (!global) continue;
        if (global->kind == GLOBAL_OBJECT::EXTERNAL_VARIABLE)
            take_external_variable(machine, numbers[i], address);
        else if (!is_absent(*global))
            machine.globals[numbers[i]] = address;
        if (is_function(global->kind))
            machine.functions[address] = resolved_global(machine.program, numbers[i]);
    }
    for (uint32_t i = 0; i < machine.globals.size(); i++)
        machine.globals[i] = machine.globals[resolved_global(machine.program, i)];
}

void fill_globals(MACHINE& machine) {
    for (size_t i = 0; i < machine.globals.size(); i++)
        for (const GLOBAL_OBJECT::CHUNK& chunk : machine.program.globals[i].chunks) {
            uint8_t* to = machine.view.bytes + machine.globals[i] + chunk.offset;
            if (chunk.target == NO_NUMBER) {
                std::copy(chunk.bytes.begin(), chunk.bytes.end(), to);
                continue;
            }
            const uint32_t address = machine.globals[chunk.target] + chunk.addend;
            memcpy(to, &address, 4);
        }
}

// --- The run ---

ADDRESS guest_text(MACHINE& machine, const std::string& text) {
    const auto size = uint32_t(text.size() + 1);
    const ADDRESS address = make_object(*machine.memory, OBJECT_KIND::LIBRARY, size, 1, "argv");
    if (!address) end_run(OUTCOME_KIND::LIMIT, "memory for main's arguments");
    memcpy(machine.view.bytes + address, text.data(), text.size()); // the byte behind it is zero already
    return address;
}

std::vector<GUEST_VALUE> main_arguments(MACHINE& machine, const FUNCTION_CODE& function) {
    std::vector<uint32_t> words;
    words.reserve(machine.options.arguments.size() + 1);
    for (const std::string& text : machine.options.arguments) words.push_back(guest_text(machine, text));
    const auto count = int64_t(words.size());
    words.push_back(0);
    const auto size = uint32_t(words.size() * 4);
    const ADDRESS list = make_object(*machine.memory, OBJECT_KIND::LIBRARY, size, 4, "argv");
    const ADDRESS environment = make_object(*machine.memory, OBJECT_KIND::LIBRARY, 4, 4, "envp");
    memcpy(machine.view.bytes + list, words.data(), size);
    std::vector<GUEST_VALUE> values(3);
    values[0].kind = GUEST_VALUE::INTEGER;
    values[0].size = 4;
    values[0].integer = count;
    values[1].kind = values[2].kind = GUEST_VALUE::POINTER;
    values[1].size = values[2].size = 4;
    values[1].address = list;
    values[2].address = environment;
    values.resize(std::min(values.size(), function.parameters.size()));
    return values;
}

uint32_t find_entry(MACHINE& machine) {
    const std::vector<GLOBAL_OBJECT>& globals = machine.program.globals;
    for (uint32_t i = 0; i < globals.size(); i++)
        if (globals[i].function != NO_NUMBER && globals[i].name == machine.options.entry) return i;
    end_run(OUTCOME_KIND::UNSUPPORTED, "there is no function " + machine.options.entry.substr(1));
}

// Leaves the program with the value of its first function, as exit does.
[[noreturn]] void leave(MACHINE& machine, const GUEST_VALUE& value) {
    const LIBRARY_ROW* row = find_library_function("_exit");
    const auto status = int(value.integer & 0xFF);
    if (!row) exit_program(machine, status);
    GUEST_VALUE argument;
    argument.kind = GUEST_VALUE::INTEGER;
    argument.size = 4;
    argument.integer = status;
    GUEST_CALL call{machine, *machine.library, &argument, 1, {}};
    row->function(call);
    exit_program(machine, status);
}

[[noreturn]] void run_to_end(MACHINE& machine, const GLOBAL_LAYOUT& layout) {
    place_globals(machine, layout);
    fill_globals(machine);
    const uint32_t entry = find_entry(machine);
    for (const uint32_t global : machine.program.constructors)
        call_guest(machine, machine.globals[global], {}, {});
    const FUNCTION_CODE& function = machine.program.functions[machine.program.globals[entry].function];
    GUEST_VALUE status;
    if (function.result.kind == SHAPE::INTEGER) {
        status.kind = GUEST_VALUE::INTEGER;
        status.size = function.result.size;
    }
    const std::vector<GUEST_VALUE> arguments = main_arguments(machine, function);
    leave(machine, call_guest(machine, machine.globals[entry], arguments, status));
}

CALL_PLACE call_place(const PROGRAM& program, uint32_t place) {
    const SOURCE_PLACE& source = program.places[place];
    return {program.functions[source.function].name, program.files[source.file], source.line, source.column};
}

std::vector<CALL_PLACE> open_calls(const MACHINE& machine) {
    constexpr size_t SHOWN = 1000;
    std::vector<CALL_PLACE> calls;
    for (size_t i = machine.frames.size(); i-- && calls.size() < SHOWN;) {
        const CALL_FRAME& frame = machine.frames[i];
        uint32_t place = 0;
        if (i + 1 == machine.frames.size())
            place = current_place(machine);
        else
            place = frame.function->places[size_t(frame.next - frame.function->code.data()) - 1];
        calls.push_back(call_place(machine.program, place));
    }
    return calls;
}

void add_counts(OPERATION_COUNTS& counts, const STRETCH& stretch, uint64_t times) {
    counts.operations += times * stretch.operations;
    counts.loads += times * stretch.loads;
    counts.stores += times * stretch.stores;
    counts.calls += times * stretch.calls;
    counts.branches += times * stretch.branches;
}

void take_statistics(MACHINE& machine) {
    const PROGRAM& program = machine.program;
    std::vector<OPERATION_COUNTS> functions(program.functions.size());
    for (size_t i = 0; i < machine.stretches.size(); i++) {
        const uint64_t times = machine.stretches[i];
        if (!times) continue;
        const STRETCH& stretch = program.stretches[i];
        add_counts(machine.run.counts, stretch, times);
        add_counts(functions[stretch.function], stretch, times);
        for (const STRETCH::OPCODE_COUNT& count : stretch.opcodes)
            machine.run.opcodes[count.opcode] += times * count.count;
    }
    if (!machine.options.statistics) return;
    for (size_t i = 0; i < functions.size(); i++)
        if (functions[i].operations)
            machine.run.functions.push_back({program.functions[i].name, functions[i]});
}

// Writes out what a program that ended otherwise has in its buffers.
void flush_output(MACHINE& machine) {
    try {
        close_library(*machine.library);
    } catch (const RUN_ENDS& ends) {
        machine.run.outcome.message += "; its output is not complete: " + ends.outcome.message;
    }
}

struct MACHINE_OWNER {
    MACHINE machine;

    MACHINE_OWNER(const PROGRAM& program, const RUN_OPTIONS& options) : machine{program, options} {
        machine.memory = make_memory(options.memory);
        if (!machine.memory) end_run(OUTCOME_KIND::LIMIT, "address space of the host");
        machine.view = view_of(*machine.memory);
        machine.library = make_library(machine, options.folder);
        machine.steps_left = options.steps ? options.steps : UINT64_MAX;
        machine.stretches.assign(program.stretches.size(), 0);
        if (program.checks_functions) start_checks(machine);
    }
    ~MACHINE_OWNER() {
        if (machine.library) release_library(machine.library);
        if (machine.memory) release_memory(machine.memory);
    }
    MACHINE_OWNER(const MACHINE_OWNER&) = delete;
    MACHINE_OWNER& operator=(const MACHINE_OWNER&) = delete;
};

} // namespace

RUN_RESULT run_with_layout(const PROGRAM& program, const RUN_OPTIONS& options,
                           const GLOBAL_LAYOUT& layout) try {
    MACHINE_OWNER owner(program, options);
    MACHINE& machine = owner.machine;
    try {
        run_to_end(machine, layout);
    } catch (const RUN_ENDS& ends) {
        machine.run.outcome = ends.outcome;
    }
    if (machine.run.outcome.kind != OUTCOME_KIND::VALUE) {
        machine.run.outcome.calls = open_calls(machine);
        flush_output(machine);
    }
    if (!options.quiet) fflush(stdout);
    take_statistics(machine);
    return std::move(machine.run);
} catch (const RUN_ENDS& ends) { // before there was a machine
    RUN_RESULT run;
    run.outcome = ends.outcome;
    return run;
}

RUN_RESULT run_program(const PROGRAM& program, const RUN_OPTIONS& options) {
    GLOBAL_LAYOUT layout;
    add_to_layout(layout, program);
    return run_with_layout(program, options, layout);
}

} // namespace pelorus
