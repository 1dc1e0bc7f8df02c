// Calls of the machine: frames, unnamed arguments, functions that it knows, and those of the library.
#include <algorithm>
#include <array>
#include <cstring>

#include "machine_state.h"

namespace pelorus {

namespace {

constexpr size_t MOST_SLOTS = size_t(1) << 27; // 1 GB

// --- Frames ---

// Room for the slots of a function above those of the innermost call; where it begins.
uint32_t slots_for(MACHINE& machine, const FUNCTION_CODE& function) {
    size_t base = 0;
    if (!machine.frames.empty())
        base = size_t(machine.frames.back().base) + machine.frames.back().function->slots;
    const size_t end = base + function.slots + 1;
    if (machine.frames.size() >= machine.options.depth || end > MOST_SLOTS)
        end_run(OUTCOME_KIND::LIMIT, std::to_string(machine.frames.size()) + " open calls");
    if (end > machine.slots.size()) machine.slots.resize(std::max(end, machine.slots.size() * 2));
    return uint32_t(base);
}

void fill_variables(MACHINE& machine, const FUNCTION_CODE& function, uint64_t* slots) {
    const uint64_t fill = 0x0101010101010101u * machine.options.fill;
    std::fill(slots + function.first_variable, slots + function.end_variables, fill);
    for (const FUNCTION_CODE::NARROW& narrow : function.narrow) switch (narrow.conversion) {
        case MC_TO_8S: slots[narrow.slot] = uint32_t(int8_t(fill)); break;
        case MC_TO_8U: slots[narrow.slot] = uint8_t(fill); break;
        case MC_TO_16S: slots[narrow.slot] = uint32_t(int16_t(fill)); break;
        default: slots[narrow.slot] = uint16_t(fill);
        }
}

ADDRESS open_frame_of(MACHINE& machine, const FUNCTION_CODE& function) {
    if (!function.layout.size && !function.layout.too_large) return 0;
    const ADDRESS memory = open_frame(*machine.memory, function.layout, machine.options.fill);
    if (!memory) end_run(OUTCOME_KIND::LIMIT, "memory for the variables of " + function.name);
    return memory;
}

// Opens a call whose arguments are still to be put into its slots.
void push_frame(MACHINE& machine, const FUNCTION_CODE& function, uint32_t result_slot) {
    const uint32_t base = slots_for(machine, function);
    const ADDRESS memory = open_frame_of(machine, function);
    machine.frames.push_back({.function = &function,
                              .next = function.code.data(),
                              .base = base,
                              .memory = memory,
                              .unnamed = 0,
                              .unnamed_object = 0,
                              .result_slot = result_slot,
                              .result_object = 0,
                              .first_alloca = machine.allocas.size(),
                              .serial = ++machine.calls});
    fill_variables(machine, function, machine.slots.data() + base);
}

// --- Arguments ---

uint32_t rounded(uint32_t bytes, uint32_t alignment) { return (bytes + alignment - 1) & ~(alignment - 1); }

uint32_t argument_bytes(const ARGUMENT& argument) {
    return argument.shape.kind == SHAPE::MEMORY ? argument.size : std::max<uint32_t>(argument.shape.size, 4);
}

// The unnamed arguments as the convention lays them out in memory: behind the named ones, in words, what is
// aligned to 8 at a multiple of 8.
void lay_unnamed(MACHINE& machine, const FUNCTION_CODE& function, const CALL_SITE_CODE& site,
                 uint32_t caller_base) {
    const uint32_t begin = function.named_bytes & 7;
    uint32_t end = begin;
    const auto walk = [&](auto&& put) {
        end = begin;
        for (size_t i = function.parameters.size(); i < site.arguments.size(); i++) {
            const ARGUMENT& argument = site.arguments[i];
            end = rounded(end, argument.alignment);
            put(argument);
            end += rounded(argument_bytes(argument), 4);
        }
    };
    walk([](const ARGUMENT&) {});
    CALL_FRAME& frame = machine.frames.back();
    const ADDRESS block =
        make_object(*machine.memory, OBJECT_KIND::ARGUMENTS, end, 8, function.layout.function);
    if (!block) end_run(OUTCOME_KIND::LIMIT, "memory for the arguments of " + function.name);
    frame.unnamed_object = block;
    frame.unnamed = block + begin;
    walk([&](const ARGUMENT& argument) {
        const uint64_t value = machine.slots[caller_base + argument.slot];
        uint8_t* to = machine.view.bytes + block + end;
        if (argument.shape.kind == SHAPE::MEMORY)
            memcpy(to, machine.view.bytes + ADDRESS(value), argument.size);
        else
            memcpy(to, &value, argument_bytes(argument));
    });
}

int64_t extended_integer(uint64_t slot, const SHAPE& shape) {
    if (shape.size == 8) return int64_t(slot);
    return shape.is_signed ? int64_t(int32_t(slot)) : int64_t(uint32_t(slot));
}

GUEST_VALUE guest_value(uint64_t slot, const SHAPE& shape, uint32_t structure_size) {
    GUEST_VALUE value;
    value.size = shape.size;
    switch (shape.kind) {
    case SHAPE::INTEGER:
        value.kind = shape.is_pointer ? GUEST_VALUE::POINTER : GUEST_VALUE::INTEGER;
        if (shape.is_pointer)
            value.address = ADDRESS(slot);
        else
            value.integer = extended_integer(slot, shape);
        break;
    case SHAPE::FLOATING:
        value.kind = GUEST_VALUE::FLOATING;
        if (float single; shape.size == 4) {
            memcpy(&single, &slot, 4);
            value.floating = double(single);
        } else
            memcpy(&value.floating, &slot, 8);
        break;
    case SHAPE::MEMORY:
        value.kind = GUEST_VALUE::STRUCTURE;
        value.structure_size = structure_size;
        value.address = ADDRESS(slot);
        break;
    default: break;
    }
    return value;
}

uint64_t slot_of(const GUEST_VALUE& value) {
    uint64_t slot = 0;
    switch (value.kind) {
    case GUEST_VALUE::NOTHING: break;
    case GUEST_VALUE::INTEGER: slot = uint64_t(value.integer); break;
    case GUEST_VALUE::POINTER:
    case GUEST_VALUE::STRUCTURE: slot = value.address; break;
    case GUEST_VALUE::FLOATING:
        if (value.size == 4) {
            const auto single = float(value.floating);
            memcpy(&slot, &single, 4);
        } else
            memcpy(&slot, &value.floating, 8);
    }
    return slot;
}

SHAPE shape_of_value(const GUEST_VALUE& value) {
    switch (value.kind) {
    case GUEST_VALUE::NOTHING: return {};
    case GUEST_VALUE::INTEGER: return {SHAPE::INTEGER, value.size, true};
    case GUEST_VALUE::POINTER: return {SHAPE::INTEGER, 4, false, false, true};
    case GUEST_VALUE::FLOATING: return {SHAPE::FLOATING, value.size};
    case GUEST_VALUE::STRUCTURE: break;
    }
    return {SHAPE::MEMORY, 4};
}

// --- The call being made ---

struct PENDING_CALL {
    MACHINE& machine;
    const CALL_SITE_CODE& site;
    const GLOBAL_OBJECT& callee;
    uint32_t result_slot;
    uint32_t base; // of the caller

    uint64_t slot(size_t argument) const { return machine.slots[base + site.arguments[argument].slot]; }
    uint32_t word(size_t argument) const { return uint32_t(slot(argument)); }
    void give(uint64_t value) const { machine.slots[base + result_slot] = value; }
};

ADDRESS result_object(const MACHINE& machine, const CALL_SITE_CODE& site) {
    if (site.result_variable == NO_NUMBER) return 0;
    const CALL_FRAME& caller = machine.frames.back();
    return caller.memory + caller.function->layout.variables[site.result_variable].offset;
}

// --- Functions that the machine knows ---

void do_alloca(const PENDING_CALL& call) {
    MACHINE& machine = call.machine;
    const ADDRESS block = make_object(*machine.memory, OBJECT_KIND::LOCAL, call.word(0), 8, "");
    if (!block) end_run(OUTCOME_KIND::LIMIT, "memory for alloca");
    memset(machine.view.bytes + block, machine.options.fill, call.word(0));
    machine.allocas.push_back(block);
    call.give(block);
}

void release_allocas(MACHINE& machine, size_t kept) {
    for (; machine.allocas.size() > kept; machine.allocas.pop_back())
        end_object(*machine.memory, machine.allocas.back());
}

// Where the stack ends is told by the number of blocks that alloca gave in this call.
void do_stack_save(const PENDING_CALL& call) {
    call.give(call.machine.allocas.size() - call.machine.frames.back().first_alloca + 1);
}

void do_stack_restore(const PENDING_CALL& call) {
    MACHINE& machine = call.machine;
    const size_t kept = machine.frames.back().first_alloca + call.word(0) - 1;
    if (!call.word(0) || kept > machine.allocas.size())
        end_run(OUTCOME_KIND::TRAP, "the stack is restored to a place that it has left");
    release_allocas(machine, kept);
}

void do_atomic_load(const PENDING_CALL& call) {
    const ADDRESS address = call.word(0);
    if (check_access(*call.machine.memory, address, 8, false) != ACCESS_FAULT::NONE || (address & 7))
        bad_access(call.machine, address, 8, false, 8);
    uint64_t value;
    memcpy(&value, call.machine.view.bytes + address, 8);
    call.give(value);
}

uint32_t read_word(MACHINE& machine, ADDRESS address) {
    uint32_t word;
    memcpy(&word, read_place(machine, address, 4), 4);
    return word;
}

void do_setjmp(const PENDING_CALL& call) {
    MACHINE& machine = call.machine;
    const CALL_FRAME& frame = machine.frames.back();
    uint32_t number = read_word(machine, call.word(0));
    const auto known = machine.jumps.find(number);
    if (known == machine.jumps.end() || known->second.serial != frame.serial) number = ++machine.jump_number;
    memcpy(write_place(machine, call.word(0), 4), &number, 4);
    machine.jumps[number] = {machine.frames.size(), frame.serial, frame.next, call.result_slot,
                             machine.allocas.size()};
    call.give(0);
    if (machine.checks) allow_second_return(machine);
}

void do_longjmp(const PENDING_CALL& call) {
    MACHINE& machine = call.machine;
    const auto found = machine.jumps.find(read_word(machine, call.word(0)));
    if (found == machine.jumps.end()) end_run(OUTCOME_KIND::TRAP, "longjmp with what setjmp has not set");
    const JUMP_TARGET target = found->second;
    const bool open =
        target.depth <= machine.frames.size() && machine.frames[target.depth - 1].serial == target.serial;
    if (!open) end_run(OUTCOME_KIND::TRAP, "longjmp into a call that has returned");
    const uint32_t value = call.word(1);
    unwind(machine, target.depth);
    release_allocas(machine, std::min(target.allocas, machine.allocas.size()));
    CALL_FRAME& frame = machine.frames.back();
    frame.next = target.next;
    machine.slots[frame.base + target.result_slot] = value ? value : 1;
    machine.library_function = {};
    throw LONG_JUMP{target.depth};
}

// Assembly without a text: outputs keep what the inputs of the same number have.
void do_assembly(const PENDING_CALL& call) {
    std::vector<uint64_t> outputs;
    std::vector<size_t> places; // arguments with the addresses of outputs; SIZE_MAX: the result
    size_t next = 0;
    bool has_result = false;
    const uint64_t fill = 0x0101010101010101u * call.machine.options.fill;
    for (const std::string& operand : call.callee.assembly) {
        if (operand[0] == '~') continue;
        const bool in_memory = operand.find('*') != std::string::npos;
        const bool is_output = operand[0] == '=';
        if (is_output && !in_memory && !has_result) {
            has_result = true;
            outputs.push_back(fill);
            places.push_back(SIZE_MAX);
            continue;
        }
        if (next >= call.site.arguments.size()) end_run(OUTCOME_KIND::TRAP, "assembly without its operands");
        if (is_output) {
            outputs.push_back(fill);
            places.push_back(in_memory ? SIZE_MAX - 1 : next);
        } else if (operand[0] >= '0' && operand[0] <= '9' && size_t(atoi(operand.c_str())) < outputs.size())
            outputs[size_t(atoi(operand.c_str()))] = call.slot(next);
        next++;
    }
    for (size_t i = 0; i < outputs.size(); i++)
        if (places[i] == SIZE_MAX)
            call.give(outputs[i]);
        else if (places[i] != SIZE_MAX - 1) {
            const uint32_t size = std::clamp(call.site.arguments[places[i]].size, 1u, 8u);
            memcpy(write_place(call.machine, call.word(places[i]), size), &outputs[i], size);
        }
}

void call_known(const PENDING_CALL& call) {
    constexpr uint32_t ARGUMENTS[] = {0, 1, 0, 1, 0, 1, 1, 0, 1, 1, 2, 0}; // of KNOWN_FUNCTION, at the least
    if (call.site.arguments.size() < ARGUMENTS[size_t(call.callee.known)])
        end_run(OUTCOME_KIND::TRAP, "a call of " + call.callee.shown_name + " without its arguments");
    switch (call.callee.known) {
    case KNOWN_FUNCTION::ALLOCA: return do_alloca(call);
    case KNOWN_FUNCTION::STACK_SAVE: return do_stack_save(call);
    case KNOWN_FUNCTION::STACK_RESTORE: return do_stack_restore(call);
    case KNOWN_FUNCTION::TRAP: end_run(OUTCOME_KIND::TRAP, "__builtin_trap");
    case KNOWN_FUNCTION::RETURN_ADDRESS: {
        const size_t depth = call.machine.frames.size();
        const uint32_t caller = depth > 1 ? call.machine.frames[depth - 2].function->global : 0;
        return call.give(call.machine.globals[caller]);
    }
    case KNOWN_FUNCTION::FRAME_ADDRESS: return call.give(0x5FFFFFF0 - 16 * call.machine.frames.size());
    case KNOWN_FUNCTION::ROUNDING: return call.give(1);
    case KNOWN_FUNCTION::ATOMIC_LOAD_8: return do_atomic_load(call);
    case KNOWN_FUNCTION::SETJMP: return do_setjmp(call);
    case KNOWN_FUNCTION::LONGJMP: return do_longjmp(call);
    case KNOWN_FUNCTION::ASSEMBLY: return do_assembly(call);
    case KNOWN_FUNCTION::NONE: break;
    }
}

// --- The library ---

void run_library_function(MACHINE& machine, const LIBRARY_ROW& row, GUEST_CALL& call) {
    const std::string_view before = machine.library_function;
    machine.library_function = row.name.substr(1);
    if (machine.options.record && row.effect == CALL_EFFECT::SEEN)
        note_call(machine, machine.library_function, call.arguments, call.count);
    if (machine.checks && row.effect == CALL_EFFECT::SEEN) check_library_effect(machine);
    row.function(call);
    machine.library_function = before;
}

void call_library(const PENDING_CALL& pending) {
    constexpr size_t FEW = 16;
    MACHINE& machine = pending.machine;
    const std::vector<ARGUMENT>& given = pending.site.arguments;
    std::array<GUEST_VALUE, FEW> few;
    std::vector<GUEST_VALUE> many(given.size() > FEW ? given.size() : 0);
    GUEST_VALUE* values = given.size() > FEW ? many.data() : few.data();
    for (size_t i = 0; i < given.size(); i++)
        values[i] = guest_value(pending.slot(i), given[i].shape, given[i].size);
    GUEST_CALL call{machine, *machine.library, values, uint32_t(given.size()), {}};
    call.result =
        guest_value(result_object(machine, pending.site), pending.site.result, pending.site.result_size);
    run_library_function(machine, *pending.callee.row, call);
    pending.give(slot_of(call.result));
}

// The function that a call is of; `site` says where its address is.
const GLOBAL_OBJECT& called_global(MACHINE& machine, const CALL_SITE_CODE& site, uint32_t base) {
    if (site.global != NO_NUMBER) return machine.program.globals[site.global];
    const auto address = ADDRESS(machine.slots[base + site.slot]);
    const auto found = machine.functions.find(address);
    if (found == machine.functions.end())
        end_run(OUTCOME_KIND::TRAP,
                "a call of what is no function: " + describe_address(*machine.memory, address));
    return machine.program.globals[found->second];
}

} // namespace

void enter_function(MACHINE& machine, const FUNCTION_CODE& function, const CALL_SITE_CODE& site,
                    uint32_t result_slot) {
    const uint32_t caller_base = machine.frames.back().base;
    const ADDRESS object = result_object(machine, site);
    push_frame(machine, function, result_slot);
    machine.frames.back().result_object = object;
    uint64_t* slots = machine.slots.data();
    const uint32_t base = machine.frames.back().base;
    for (size_t i = 0; i < function.parameters.size(); i++)
        slots[base + i] = slots[caller_base + site.arguments[i].slot];
    if (function.walks_arguments) lay_unnamed(machine, function, site, caller_base);
}

void leave_function(MACHINE& machine) {
    const CALL_FRAME frame = machine.frames.back();
    release_allocas(machine, frame.first_alloca);
    if (frame.unnamed_object) end_object(*machine.memory, frame.unnamed_object);
    if (frame.memory) close_frame(*machine.memory, frame.memory);
    machine.frames.pop_back();
}

void unwind(MACHINE& machine, size_t depth) {
    while (machine.frames.size() > depth) leave_function(machine);
}

bool make_call(MACHINE& machine, const INSTRUCTION& call) {
    const CALL_FRAME& caller = machine.frames.back();
    const CALL_SITE_CODE& site = caller.function->calls[call.b];
    const GLOBAL_OBJECT& callee = called_global(machine, site, caller.base);
    if (callee.function != NO_NUMBER) {
        const FUNCTION_CODE& function = machine.program.functions[callee.function];
        if (!site.fits)
            if (const std::string reason = why_call_does_not_fit(function, site); !reason.empty())
                end_run(OUTCOME_KIND::TRAP, "a call of the wrong type: " + reason);
        enter_function(machine, function, site, call.a);
        return true;
    }
    const PENDING_CALL pending{machine, site, callee, call.a, caller.base};
    if (callee.known != KNOWN_FUNCTION::NONE)
        call_known(pending);
    else if (callee.row)
        call_library(pending);
    else
        end_run(OUTCOME_KIND::UNSUPPORTED,
                callee.assembly.empty() ? "the function " + callee.shown_name : std::string("assembly"));
    return false;
}

// --- Calls that the library makes ---

namespace {

GUEST_VALUE call_program_function(MACHINE& machine, const FUNCTION_CODE& function,
                                  const std::vector<GUEST_VALUE>& arguments, const GUEST_VALUE& wanted) {
    CALL_SITE_CODE site;
    for (const GUEST_VALUE& value : arguments)
        site.arguments.push_back({0, shape_of_value(value), value.structure_size});
    site.result = shape_of_value(wanted);
    site.result_size = wanted.structure_size;
    if (const std::string reason = why_call_does_not_fit(function, site); !reason.empty())
        end_run(OUTCOME_KIND::TRAP, "a call of the wrong type: " + reason);
    const std::string_view library_function = machine.library_function;
    machine.library_function = {};
    push_frame(machine, function, 0);
    CALL_FRAME& frame = machine.frames.back();
    if (wanted.kind == GUEST_VALUE::STRUCTURE) frame.result_object = wanted.address;
    for (size_t i = 0; i < function.parameters.size(); i++)
        machine.slots[frame.base + i] = slot_of(arguments[i]);
    if (function.walks_arguments) lay_unnamed(machine, function, {}, frame.base);
    execute(machine);
    machine.library_function = library_function;
    return guest_value(machine.returned, site.result, site.result_size);
}

} // namespace

GUEST_VALUE call_guest(MACHINE& machine, ADDRESS address, const std::vector<GUEST_VALUE>& arguments,
                       const GUEST_VALUE& wanted) {
    const auto found = machine.functions.find(address);
    if (found == machine.functions.end())
        end_run(OUTCOME_KIND::TRAP,
                "a call of what is no function: " + describe_address(*machine.memory, address));
    const GLOBAL_OBJECT& callee = machine.program.globals[found->second];
    if (callee.function != NO_NUMBER)
        return call_program_function(machine, machine.program.functions[callee.function], arguments, wanted);
    if (!callee.row) end_run(OUTCOME_KIND::UNSUPPORTED, "the function " + callee.shown_name);
    GUEST_CALL call{machine, *machine.library, arguments.data(), uint32_t(arguments.size()), wanted};
    run_library_function(machine, *callee.row, call);
    return call.result;
}

} // namespace pelorus
