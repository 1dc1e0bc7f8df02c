// What a comparison sees: accesses to volatile objects, and calls whose effects the world can see.
//
// Pointers are shown as the object and an offset, since addresses need not be the same in two runs: globals
// by name, blocks of the heap by number, variables of calls by their kind alone, since several of them may
// have become parts of one.
#include <cstdio>
#include <cstring>

#include "machine_state.h"

namespace pelorus {

namespace {

std::string object_text(const OBJECT& object) {
    switch (object.kind) {
    case OBJECT_KIND::LOCAL: return "a local";
    case OBJECT_KIND::ARGUMENTS: return "an argument";
    case OBJECT_KIND::HEAP: return "block " + std::to_string(object.number);
    default: return std::string(object.name);
    }
}

std::string floating_text(double value) {
    char text[40];
    snprintf(text, sizeof text, "%.17g", value);
    return text;
}

// The bytes of a structure, as numbers.
std::string bytes_text(const MACHINE& machine, ADDRESS address, uint32_t size) {
    std::string text = "{";
    char digits[4];
    for (uint32_t i = 0; i < size && i < 64; i++) {
        snprintf(digits, sizeof digits, "%02x", machine.view.bytes[address + i]);
        text += digits;
    }
    return text + "}";
}

} // namespace

std::string address_text(const MACHINE& machine, ADDRESS address) {
    const OBJECT* object = object_at(*machine.memory, address);
    if (!object) return std::to_string(address);
    const std::string text = "&" + object_text(*object);
    const bool is_whole = address == object->first || object->kind == OBJECT_KIND::LOCAL;
    return is_whole ? text : text + "+" + std::to_string(address - object->first);
}

std::string value_text(const MACHINE& machine, const GUEST_VALUE& value) {
    switch (value.kind) {
    case GUEST_VALUE::NOTHING: return "nothing";
    case GUEST_VALUE::INTEGER: return std::to_string(value.integer);
    case GUEST_VALUE::FLOATING: return floating_text(value.floating);
    case GUEST_VALUE::POINTER: return address_text(machine, value.address);
    case GUEST_VALUE::STRUCTURE: return bytes_text(machine, value.address, value.structure_size);
    }
    return {};
}

void note_access(MACHINE& machine, ADDRESS address, uint64_t value, uint32_t size, bool write) {
    std::string text = address_text(machine, address).substr(1) + (write ? " <- " : " -> ");
    const bool is_pointer = size & NOTED_POINTER;
    size &= ~NOTED_POINTER;
    const uint64_t mask = size && size < 8 ? (uint64_t(1) << (size * 8)) - 1 : ~uint64_t(0);
    if (!size)
        text += "a structure";
    else if (is_pointer) // an integer may be the number of an address by chance
        text += address_text(machine, ADDRESS(value));
    else
        text +=
            std::to_string(value & mask) + " (" + std::to_string(size) + (size == 1 ? " byte)" : " bytes)");
    record_event(machine, write ? EVENT::VOLATILE_WRITE : EVENT::VOLATILE_READ, std::move(text));
}

void note_call(MACHINE& machine, std::string_view name, const GUEST_VALUE* arguments, uint32_t count) {
    std::string text(name);
    for (uint32_t i = 0; i < count; i++) text += (i ? ", " : "(") + value_text(machine, arguments[i]);
    record_event(machine, EVENT::CALL, text + (count ? ")" : "()"));
}

} // namespace pelorus
