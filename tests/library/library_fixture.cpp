#include "library/library_fixture.h"

#include <cstdlib>
#include <filesystem>
#include <memory>

namespace pelorus {

namespace {

std::string formatted(const char* format, va_list arguments) {
    char text[1000];
    vsnprintf(text, sizeof text, format, arguments);
    return text;
}

const uint8_t* place(MACHINE& machine, ADDRESS address, uint32_t size, bool write) {
    if (check_access(*machine.memory, address, size, write) != ACCESS_FAULT::NONE)
        throw Trap("access: " + describe_address(*machine.memory, address));
    return bytes_at(*machine.memory, address);
}

} // namespace

// --- What the library works with ---

MEMORY& memory_of(MACHINE& machine) { return *machine.memory; }

void trap(MACHINE&, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string message = formatted(format, arguments);
    va_end(arguments);
    throw Trap(message);
}

void unsupported(MACHINE&, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string message = formatted(format, arguments);
    va_end(arguments);
    throw Unsupported(message);
}

void exit_program(MACHINE&, int status) { throw Exit{status}; }
void run_destructors(MACHINE& machine) { machine.output[1] += "[destructors]"; }

const uint8_t* read_place(MACHINE& machine, ADDRESS address, uint32_t size) {
    return place(machine, address, size, false);
}

uint8_t* write_place(MACHINE& machine, ADDRESS address, uint32_t size) {
    return const_cast<uint8_t*>(place(machine, address, size, true));
}

std::string_view read_text(MACHINE& machine, ADDRESS address) {
    uint32_t length = 0;
    while (*read_place(machine, address + length, 1)) ++length;
    return {reinterpret_cast<const char*>(bytes_at(*machine.memory, address)), length};
}

GUEST_VALUE call_guest(MACHINE& machine, ADDRESS function, const std::vector<GUEST_VALUE>& arguments,
                       const GUEST_VALUE& wanted_result) {
    if (!machine.functions.contains(function)) throw Trap("no function");
    GUEST_VALUE result = wanted_result;
    result.integer = machine.functions.at(function)(arguments);
    return result;
}

void put_output(MACHINE& machine, int descriptor, std::string_view bytes) {
    machine.output[descriptor] += bytes;
}

// --- The fixture ---

Library::Library() {
    char name[] = "/tmp/library-test-XXXXXX";
    folder = mkdtemp(name);
    machine.memory = make_memory(64u << 20);
    library = make_library(machine, folder);
}

Library::~Library() {
    release_library(library);
    release_memory(machine.memory);
    std::filesystem::remove_all(folder);
}

ADDRESS Library::text(std::string_view bytes) {
    const auto size = static_cast<uint32_t>(bytes.size());
    const ADDRESS place = block(size + 1);
    memcpy(write_place(machine, place, size + 1), std::string(bytes).c_str(), size + 1);
    return place;
}

std::string Library::at(ADDRESS place) { return std::string(read_text(machine, place)); }

GUEST_VALUE Library::call(std::string_view name, std::initializer_list<ARG> arguments, GUEST_VALUE::KIND kind,
                          uint8_t size) {
    const LIBRARY_ROW* row = find_library_function(name);
    if (!row) throw Unsupported(std::string(name));
    std::vector<GUEST_VALUE> values;
    for (const ARG& argument : arguments) values.push_back(argument.value);
    GUEST_VALUE result;
    result.kind = kind;
    result.size = size;
    GUEST_CALL made{machine, *library, values.data(), static_cast<uint32_t>(values.size()), result};
    row->function(made);
    return made.result;
}

std::string Library::trapped(std::string_view name, std::initializer_list<ARG> arguments) {
    try {
        call(name, arguments, GUEST_VALUE::NOTHING, 0);
        return "";
    } catch (const Trap& trap) {
        return trap.what();
    }
}

std::string Library::printed(std::string_view format, std::initializer_list<ARG> arguments) {
    std::vector<GUEST_VALUE> values = {ARG(text(format)).value};
    for (const ARG& argument : arguments) values.push_back(argument.value);
    machine.output[1].clear();
    GUEST_VALUE result;
    result.kind = GUEST_VALUE::INTEGER;
    result.size = 4;
    GUEST_CALL made{machine, *library, values.data(), static_cast<uint32_t>(values.size()), result};
    find_library_function("_printf")->function(made);
    EXPECT_EQ(made.result.integer, static_cast<int64_t>(machine.output[1].size())) << format;
    return machine.output[1];
}

ADDRESS Library::function(std::function<int64_t(const std::vector<GUEST_VALUE>&)> code) {
    const ADDRESS address = make_object(*machine.memory, OBJECT_KIND::FUNCTION, 4, 4, "function");
    machine.functions[address] = std::move(code);
    return address;
}

} // namespace pelorus
