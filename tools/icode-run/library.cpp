// The library as a whole: finding functions and variables, its state, arguments and results; see library.h.
#include "library.h"

#include <algorithm>
#include <cerrno>
#include <unordered_map>
#include <vector>

#include "library_call.h"
#include "library_random.h"
#include "streams.h"

namespace pelorus {

namespace {

using ROW_MAP = std::unordered_map<std::string_view, const LIBRARY_ROW*>;

ROW_MAP all_rows() {
    ROW_MAP rows;
    for (const auto& table : library_tables())
        for (const LIBRARY_ROW& row : table) rows.emplace(row.name, &row);
    return rows;
}

// The addresses and names of the two places, for messages.
std::string two_places(MACHINE& machine, ADDRESS a, ADDRESS b) {
    const MEMORY& memory = memory_of(machine);
    return describe_address(memory, a) + " and " + describe_address(memory, b);
}

std::string word_bytes(uint32_t word) {
    return std::string(reinterpret_cast<const char*>(&word), sizeof word);
}

// A variable that holds the address of something else.
ADDRESS pointer_variable(LIBRARY& library, std::string_view name, ADDRESS target) {
    return library_object(library, name, word_bytes(target), 4);
}

const char* const STREAM_NAMES[] = {"stdin", "stdout", "stderr"};

} // namespace

// --- Finding ---

std::vector<std::span<const LIBRARY_ROW>> library_tables() {
    return {allocation_functions(), atomic_functions(), character_functions(),  compiler_functions(),
            complex_functions(),    file_functions(),   formatting_functions(), math_functions(),
            memory_functions(),     number_functions(), process_functions(),    random_functions(),
            sorting_functions(),    string_functions(), thread_functions(),     time_functions()};
}

const LIBRARY_ROW* find_library_function(std::string_view linkage_name) {
    static const ROW_MAP rows = all_rows();
    const auto found = rows.find(linkage_name);
    return found == rows.end() ? nullptr : found->second;
}

ADDRESS find_library_variable(LIBRARY& library, std::string_view linkage_name) {
    if (linkage_name.empty() || linkage_name[0] != '_') return 0;
    const std::string_view name = linkage_name.substr(1);
    for (int i = 0; i < 3; ++i)
        if (name == STREAM_NAMES[i]) return pointer_variable(library, name, standard_stream(library, i));
    if (name == "environ" || name == "__environ")
        return pointer_variable(library, "environ", library_object(library, "the environment", zeros(4), 4));
    if (name == "signgam") return library_object(library, name, zeros(4), 4);
    return 0;
}

// --- State ---

LIBRARY::LIBRARY(MACHINE& its_machine, std::string_view its_folder)
    : machine(its_machine), folder(its_folder), random(std::make_unique<RANDOM_STATE>()) {}
LIBRARY::~LIBRARY() = default;

LIBRARY* make_library(MACHINE& machine, std::string_view folder) { return new LIBRARY(machine, folder); }

void release_library(LIBRARY* library) { delete library; }

void close_library(LIBRARY& library) {
    for (auto& [address, stream] : library.streams) flush_stream(*stream);
}

ADDRESS library_object(LIBRARY& library, std::string_view name, std::string_view bytes, uint32_t alignment) {
    const auto found = library.objects.find(name);
    if (found != library.objects.end()) return found->second;
    const auto row = library.objects.emplace(std::string(name), 0).first;
    MEMORY& memory = memory_of(library.machine);
    const auto size = static_cast<uint32_t>(bytes.size());
    const ADDRESS address = make_object(memory, OBJECT_KIND::LIBRARY, size, alignment, row->first);
    if (!address) unsupported(library.machine, "the library has no memory for %s", row->first.c_str());
    std::copy(bytes.begin(), bytes.end(), bytes_at(memory, address));
    row->second = address;
    return address;
}

std::string zeros(uint32_t size) { return std::string(size, '\0'); }

ADDRESS errno_of(LIBRARY& library) {
    if (!library.error_number) library.error_number = library_object(library, "errno", zeros(4), 4);
    return library.error_number;
}

void set_errno(LIBRARY& library, int value) { store(library.machine, errno_of(library), value); }

ADDRESS allocate(LIBRARY& library, uint32_t size, uint32_t alignment) {
    const ADDRESS address =
        make_object(memory_of(library.machine), OBJECT_KIND::HEAP, size, std::max(alignment, 8u), {});
    if (!address) set_errno(library, ENOMEM);
    return address;
}

ADDRESS allocate_text(LIBRARY& library, std::string_view text) {
    const std::string copy(text); // the memory may move when it grows
    const ADDRESS address = allocate(library, static_cast<uint32_t>(copy.size() + 1), 1);
    if (address) write_text(library.machine, address, copy);
    return address;
}

// --- Arguments and results ---

const GUEST_VALUE& argument(const GUEST_CALL& call, uint32_t index) {
    if (index >= call.count) trap(call.machine, "argument %u is missing", index + 1);
    return call.arguments[index];
}

int64_t wide_argument(const GUEST_CALL& call, uint32_t index) {
    const GUEST_VALUE& value = argument(call, index);
    if (value.kind == GUEST_VALUE::INTEGER) return value.integer;
    if (value.kind != GUEST_VALUE::POINTER)
        trap(call.machine, "argument %u is neither an integer nor a pointer", index + 1);
    return value.address;
}

int32_t int_argument(const GUEST_CALL& call, uint32_t index) {
    return static_cast<int32_t>(wide_argument(call, index));
}

uint32_t word_argument(const GUEST_CALL& call, uint32_t index) {
    return static_cast<uint32_t>(wide_argument(call, index));
}

double real_argument(const GUEST_CALL& call, uint32_t index) {
    const GUEST_VALUE& value = argument(call, index);
    if (value.kind != GUEST_VALUE::FLOATING)
        trap(call.machine, "argument %u is no floating-point number", index + 1);
    return value.floating;
}

void give(GUEST_CALL& call, int64_t value) {
    switch (call.result.kind) {
    case GUEST_VALUE::NOTHING: break;
    case GUEST_VALUE::INTEGER: call.result.integer = value; break;
    case GUEST_VALUE::POINTER: call.result.address = static_cast<ADDRESS>(value); break;
    case GUEST_VALUE::FLOATING:
    case GUEST_VALUE::STRUCTURE: trap(call.machine, "the function returns an integer or a pointer");
    }
}

void give_real(GUEST_CALL& call, double value) {
    if (call.result.kind == GUEST_VALUE::NOTHING) return;
    if (call.result.kind != GUEST_VALUE::FLOATING)
        trap(call.machine, "the function returns a floating-point number");
    call.result.floating = value;
}

void give_structure(GUEST_CALL& call, const void* bytes, uint32_t size) {
    if (call.result.kind == GUEST_VALUE::NOTHING) return;
    if (call.result.kind != GUEST_VALUE::STRUCTURE || call.result.structure_size != size)
        trap(call.machine, "the function returns a structure of %u bytes", size);
    std::memcpy(write_place(call.machine, call.result.address, size), bytes, size);
}

// --- Memory ---

uint8_t load_byte(MACHINE& machine, ADDRESS address) { return *read_place(machine, address, 1); }

std::string_view read_text_within(MACHINE& machine, ADDRESS address, uint32_t limit) {
    uint32_t length = 0;
    while (length < limit && load_byte(machine, address + length)) ++length;
    if (length == 0) return {};
    return {reinterpret_cast<const char*>(read_place(machine, address, length)), length};
}

void write_text(MACHINE& machine, ADDRESS address, std::string_view text) {
    const auto size = static_cast<uint32_t>(text.size());
    uint8_t* place = write_place(machine, address, size + 1);
    if (size) std::memmove(place, text.data(), size);
    place[size] = 0;
}

void need_apart(MACHINE& machine, const char* name, ADDRESS a, uint32_t a_size, ADDRESS b, uint32_t b_size) {
    if (a_size == 0 || b_size == 0) return;
    if (a - b < b_size || b - a < a_size)
        trap(machine, "%s: the places overlap: %s", name, two_places(machine, a, b).c_str());
}

} // namespace pelorus
