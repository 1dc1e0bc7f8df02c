// See memory.h.
//
// The whole address space is one reserved mapping of the host, and its map another; only pages that are
// touched exist. So making a memory costs two calls, and an access is one look into the map.
//
// Addresses are given out from the bottom of one of three arenas, so that the address of a block of the heap
// does not depend on the calls that are open:
//
//     0x00010000 globals, functions     0x20000000 heap     0x60000000 frames     0x80000000
//
// What is given out is a slot: a gap, the object, and at least the same gap again. Sizes of slots come in
// classes. The slot of an ended object waits in the queue of its class until others have ended after it.
#include "memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

namespace pelorus {

namespace {

constexpr uint64_t SPACE = uint64_t(1) << 31;     // bytes that are mapped
constexpr uint64_t MAP_BYTES = uint64_t(1) << 29; // of all addresses, so that any can be looked up
constexpr uint32_t LARGEST_FRAME = 1u << 29;      // bytes of the variables of one call
constexpr uint32_t GAP = 16;                      // the least gap, and the alignment of slots
constexpr uint32_t LARGEST_GAP = 2048;            // a quarter of an object's size up to this

// How long a slot rests. An error is found as long as it does; memory that is used again soon stays in the
// host's cache.
constexpr uint32_t RESTING_SLOTS = 32;        // of a class, at the least
constexpr uint64_t RESTING_BYTES = 16u << 20; // of an arena: above it no slot rests longer than that

// Classes of slots: each multiple of 16 up to 1024, then four for each doubling.
constexpr uint32_t FINE_CLASSES = 64;
constexpr uint32_t CLASSES = FINE_CLASSES + 4 * 22;

uint32_t class_of(uint32_t bytes) {
    if (bytes <= 1024) return (bytes + 15) / 16 - 1;
    const uint32_t power = 31 - uint32_t(std::countl_zero(bytes - 1)); // of the power of two below
    const uint32_t quarter = ((bytes - 1) >> (power - 2)) & 3;
    return FINE_CLASSES + 4 * (power - 10) + quarter;
}

uint64_t bytes_of_class(uint32_t number) {
    if (number < FINE_CLASSES) return uint64_t(number + 1) * 16;
    const uint32_t power = (number - FINE_CLASSES) / 4 + 10, quarter = (number - FINE_CLASSES) % 4;
    return (uint64_t(1) << power) + (uint64_t(quarter + 1) << (power - 2));
}

constexpr uint32_t NO_SLOT = UINT32_MAX;

} // namespace

struct SLOT {
    ADDRESS begin;
    uint32_t size_class;
    uint32_t next;              // in the queue of its class
    const FRAME_LAYOUT* layout; // of a frame; null for one object
    OBJECT object;              // of a frame: the whole piece
};

struct QUEUE {
    uint32_t first = NO_SLOT, last = NO_SLOT, count = 0;
};

struct ARENA {
    ADDRESS begin, end;
    ADDRESS top;             // nothing was given out from here on
    std::vector<SLOT> slots; // in the order of their addresses
    QUEUE resting[CLASSES];  // the longest at rest first
    uint64_t resting_bytes = 0;
};

namespace {

uint32_t gap_of(uint32_t size) { return std::clamp((size / 4) & ~(GAP - 1), GAP, LARGEST_GAP); }

constexpr uint64_t rounded_up(uint64_t value, uint64_t alignment) {
    return (value + alignment - 1) & ~(alignment - 1);
}

} // namespace

struct MEMORY {
    MEMORY_VIEW view{};
    uint64_t limit = 0, used = 0; // bytes of live objects
    uint32_t numbers[OBJECT_KINDS] = {};
    ARENA arenas[3] = {{0x00010000, 0x20000000, 0x00010000, {}, {}, 0},
                       {0x20000000, 0x60000000, 0x20000000, {}, {}, 0},
                       {0x60000000, 0x80000000, 0x60000000, {}, {}, 0}};
    mutable OBJECT found{}; // the answer about a variable of a frame
};

namespace {

ARENA& arena_of(MEMORY& memory, OBJECT_KIND kind) {
    switch (kind) {
    case OBJECT_KIND::HEAP: return memory.arenas[1];
    case OBJECT_KIND::LOCAL:
    case OBJECT_KIND::ARGUMENTS: return memory.arenas[2];
    default: return memory.arenas[0];
    }
}

// --- Slots ---

// The slot that an address belongs to; null when none was given out there.
const SLOT* find_slot(const MEMORY& memory, ADDRESS address) {
    for (const ARENA& arena : memory.arenas) {
        if (address < arena.begin || address >= arena.top) continue;
        auto behind = std::upper_bound(arena.slots.begin(), arena.slots.end(), address,
                                       [](ADDRESS value, const SLOT& slot) { return value < slot.begin; });
        return behind == arena.slots.begin() ? nullptr : &behind[-1];
    }
    return nullptr;
}

uint32_t take_rested(ARENA& arena, uint32_t size_class) {
    QUEUE& queue = arena.resting[size_class];
    const uint32_t slot = queue.first;
    if (slot == NO_SLOT) return NO_SLOT;
    if (queue.count <= RESTING_SLOTS && arena.resting_bytes < RESTING_BYTES) return NO_SLOT;
    queue.first = arena.slots[slot].next;
    if (queue.first == NO_SLOT) queue.last = NO_SLOT;
    queue.count--;
    arena.resting_bytes -= bytes_of_class(size_class);
    return slot;
}

void let_rest(ARENA& arena, uint32_t slot) {
    QUEUE& queue = arena.resting[arena.slots[slot].size_class];
    arena.slots[slot].next = NO_SLOT;
    (queue.last == NO_SLOT ? queue.first : arena.slots[queue.last].next) = slot;
    queue.last = slot;
    queue.count++;
    arena.resting_bytes += bytes_of_class(arena.slots[slot].size_class);
}

// A slot of at least `bytes`; `fresh` when its bytes and its map are zero. Null without room.
SLOT* take_slot(ARENA& arena, uint64_t bytes, bool& fresh) {
    if (bytes > SPACE) return nullptr;
    const uint32_t size_class = class_of(uint32_t(bytes));
    const uint32_t rested = take_rested(arena, size_class);
    fresh = rested == NO_SLOT;
    if (!fresh) return &arena.slots[rested];
    if (bytes_of_class(size_class) > arena.end - arena.top) return nullptr;
    arena.slots.push_back({arena.top, size_class, NO_SLOT, nullptr, {}});
    arena.top += uint32_t(bytes_of_class(size_class));
    return &arena.slots.back();
}

// A new object in a slot of its own, whose map is clear; its bytes are clear when `fresh`.
SLOT* place_object(MEMORY& memory, OBJECT_KIND kind, uint32_t size, uint32_t alignment, std::string_view name,
                   bool& fresh) {
    if (memory.used + size > memory.limit) return nullptr;
    const uint32_t gap = gap_of(size), slack = alignment > GAP ? alignment - GAP : 0;
    ARENA& arena = arena_of(memory, kind);
    SLOT* slot = take_slot(arena, uint64_t(gap) + slack + rounded_up(size, GAP) + gap, fresh);
    if (!slot) return nullptr;
    if (!fresh) memset(memory.view.map + (slot->begin >> 3), 0, bytes_of_class(slot->size_class) >> 3);
    const auto first = ADDRESS(rounded_up(slot->begin + gap, std::max(alignment, GAP)));
    slot->layout = nullptr;
    slot->object = {first, size, ++memory.numbers[uint32_t(kind)], kind, true, name};
    memory.used += size;
    return slot;
}

// --- The map ---

void set_map(MEMORY& memory, ADDRESS first, uint32_t size, uint8_t whole, uint8_t part) {
    uint8_t* map = memory.view.map + (first >> 3);
    memset(map, whole, size >> 3);
    if (size & 7) map[size >> 3] = part;
}

void let_access(MEMORY& memory, ADDRESS first, uint32_t size) {
    set_map(memory, first, size, MAP_WHOLE, uint8_t(size & 7));
}

void let_end(MEMORY& memory, ADDRESS first, uint32_t size) {
    set_map(memory, first, size, MAP_ENDED, MAP_ENDED);
}

// What is wrong with the byte at an address whose map says `code`.
ACCESS_FAULT fault_at(ADDRESS address, uint8_t code, bool write) {
    if (code == MAP_ENDED) return ACCESS_FAULT::ENDED;
    if (code == MAP_FUNCTION) return ACCESS_FAULT::FUNCTION;
    if ((address & 7) >= (code & MAP_READABLE))
        return address < 0x10000 ? ACCESS_FAULT::NULL_POINTER : ACCESS_FAULT::OUTSIDE;
    return write && (code & MAP_CONSTANT) ? ACCESS_FAULT::CONSTANT : ACCESS_FAULT::NONE;
}

void* reserve(uint64_t bytes) {
    void* block =
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return block == MAP_FAILED ? nullptr : block;
}

} // namespace

MEMORY* make_memory(uint64_t limit) {
    auto* memory = new MEMORY;
    memory->limit = limit;
    memory->view = {static_cast<uint8_t*>(reserve(SPACE)), static_cast<uint8_t*>(reserve(MAP_BYTES))};
    if (memory->view.bytes && memory->view.map) return memory;
    release_memory(memory);
    return nullptr;
}

void release_memory(MEMORY* memory) {
    if (memory->view.bytes) munmap(memory->view.bytes, SPACE);
    if (memory->view.map) munmap(memory->view.map, MAP_BYTES);
    delete memory;
}

MEMORY_VIEW view_of(MEMORY& memory) { return memory.view; }

// --- Objects ---

ADDRESS make_object(MEMORY& memory, OBJECT_KIND kind, uint32_t size, uint32_t alignment,
                    std::string_view name) {
    bool fresh;
    const SLOT* slot = place_object(memory, kind, size, alignment, name, fresh);
    if (!slot) return 0;
    const ADDRESS first = slot->object.first;
    if (!fresh) memset(memory.view.bytes + first, 0, size);
    if (kind == OBJECT_KIND::FUNCTION)
        set_map(memory, first, size, MAP_FUNCTION, MAP_FUNCTION);
    else
        let_access(memory, first, size);
    if (kind == OBJECT_KIND::CONSTANT) make_constant(memory, first);
    return first;
}

bool end_object(MEMORY& memory, ADDRESS first) {
    auto* slot = const_cast<SLOT*>(find_slot(memory, first));
    if (!slot || slot->object.first != first || !slot->object.live) return false;
    slot->object.live = false;
    memory.used -= slot->object.size;
    let_end(memory, first, std::max(slot->object.size, 1u));
    ARENA& arena = arena_of(memory, slot->object.kind);
    let_rest(arena, uint32_t(slot - arena.slots.data()));
    return true;
}

void make_constant(MEMORY& memory, ADDRESS first) {
    const OBJECT& object = find_slot(memory, first)->object;
    uint8_t* map = memory.view.map + (first >> 3);
    for (uint32_t i = 0; i < (object.size + 7) / 8; i++) map[i] |= MAP_CONSTANT;
}

// --- Frames ---

uint32_t add_variable(FRAME_LAYOUT& layout, uint32_t size, uint32_t alignment, std::string_view name,
                      bool at_entry) {
    const uint64_t offset = rounded_up(uint64_t{layout.size} + gap_of(size), std::max(alignment, 8u));
    layout.too_large |= offset + size > LARGEST_FRAME;
    if (layout.too_large) size = 0;
    layout.variables.push_back({layout.too_large ? 0 : uint32_t(offset), size, name, at_entry});
    if (!layout.too_large) layout.size = uint32_t(rounded_up(offset + size, GAP));
    layout.alignment = std::max(layout.alignment, alignment);
    return uint32_t(layout.variables.size() - 1);
}

void finish_layout(FRAME_LAYOUT& layout) {
    if (!layout.size || layout.too_large) return;
    layout.size += GAP;
    layout.map.assign(layout.size / 8, 0);
    for (const FRAME_VARIABLE& variable : layout.variables) {
        uint8_t* map = layout.map.data() + variable.offset / 8;
        memset(map, variable.at_entry ? MAP_WHOLE : MAP_ENDED, variable.size / 8);
        if (variable.size & 7)
            map[variable.size / 8] = variable.at_entry ? uint8_t(variable.size & 7) : uint8_t(MAP_ENDED);
    }
}

ADDRESS open_frame(MEMORY& memory, const FRAME_LAYOUT& layout, uint8_t fill) {
    if (layout.too_large) return 0;
    bool fresh;
    SLOT* slot =
        place_object(memory, OBJECT_KIND::LOCAL, layout.size, layout.alignment, layout.function, fresh);
    if (!slot) return 0;
    slot->layout = &layout;
    const ADDRESS frame = slot->object.first;
    memcpy(memory.view.map + (frame >> 3), layout.map.data(), layout.map.size());
    memset(memory.view.bytes + frame, fill, layout.size);
    return frame;
}

void close_frame(MEMORY& memory, ADDRESS frame) { end_object(memory, frame); }

void start_variable(MEMORY& memory, ADDRESS frame, const FRAME_VARIABLE& variable, uint8_t fill) {
    let_access(memory, frame + variable.offset, variable.size);
    memset(memory.view.bytes + frame + variable.offset, fill, variable.size);
}

void end_variable(MEMORY& memory, ADDRESS frame, const FRAME_VARIABLE& variable) {
    let_end(memory, frame + variable.offset, variable.size);
}

// --- Accesses ---

ACCESS_FAULT check_access(const MEMORY& memory, ADDRESS address, uint32_t size, bool write) {
    const uint64_t end = uint64_t(address) + size;
    for (uint64_t at = address; at < end;) {
        const uint8_t code = memory.view.map[at >> 3];
        const uint64_t next = std::min((at | 7) + 1, end);
        const auto last = ADDRESS(next - 1);
        if (code != MAP_WHOLE) {
            const ACCESS_FAULT fault = fault_at(last, code, write);
            if (fault != ACCESS_FAULT::NONE) return fault;
        }
        at = next;
        if (at >> 32) return ACCESS_FAULT::OUTSIDE;
    }
    return ACCESS_FAULT::NONE;
}

uint8_t* bytes_at(MEMORY& memory, ADDRESS address) { return memory.view.bytes + address; }
const uint8_t* bytes_at(const MEMORY& memory, ADDRESS address) { return memory.view.bytes + address; }

// --- Which object ---

namespace {

// The variable of a frame whose bytes, or the gap in front of them, the address is nearest to.
const FRAME_VARIABLE& variable_at(const FRAME_LAYOUT& layout, uint32_t offset) {
    const FRAME_VARIABLE* nearest = &layout.variables.front();
    for (const FRAME_VARIABLE& variable : layout.variables) {
        const uint32_t end = nearest->offset + nearest->size;
        if (variable.offset > offset && int32_t(offset - end) <= int32_t(variable.offset - offset)) break;
        nearest = &variable;
    }
    return *nearest;
}

// The object that is nearest to an address of a slot.
const OBJECT& object_in(const MEMORY& memory, const SLOT& slot, ADDRESS address) {
    if (!slot.layout || slot.layout->variables.empty()) return slot.object;
    const ADDRESS frame = slot.object.first;
    const FRAME_VARIABLE& variable = variable_at(*slot.layout, address > frame ? address - frame : 0);
    memory.found = slot.object;
    memory.found.first = frame + variable.offset;
    memory.found.size = variable.size;
    memory.found.name = variable.name;
    if (variable.size && memory.view.map[memory.found.first >> 3] == MAP_ENDED) memory.found.live = false;
    return memory.found;
}

uint32_t distance(const OBJECT& object, ADDRESS address) {
    if (address < object.first) return object.first - address;
    const uint32_t inside = address - object.first;
    return inside < object.size ? 0 : inside - object.size;
}

std::string quoted(std::string_view name) { return "`" + std::string(name) + "'"; }

std::string name_text(const SLOT& slot, const OBJECT& object) {
    const std::string number = std::to_string(object.number);
    switch (object.kind) {
    case OBJECT_KIND::HEAP: return "block " + number + " of the heap";
    case OBJECT_KIND::ARGUMENTS: return "the unnamed arguments of " + std::string(object.name);
    case OBJECT_KIND::FUNCTION: return "the function " + std::string(object.name);
    case OBJECT_KIND::LIBRARY: return "the library's " + quoted(object.name);
    case OBJECT_KIND::LOCAL:
        if (!slot.layout) return "memory of alloca";
        return object.name.empty() ? "a temporary of " + std::string(slot.layout->function)
                                   : quoted(object.name) + " of " + std::string(slot.layout->function);
    case OBJECT_KIND::CONSTANT:
        return object.name.starts_with('"') ? std::string(object.name) : quoted(object.name);
    case OBJECT_KIND::GLOBAL: break;
    }
    return quoted(object.name);
}

std::string end_text(const SLOT& slot, const OBJECT& object) {
    if (object.live) return "";
    if (object.kind == OBJECT_KIND::HEAP) return ", which has been freed";
    if (slot.object.live) return ", whose block has ended";
    return ", which has returned";
}

std::string bytes_text(uint32_t count) { return std::to_string(count) + (count == 1 ? " byte" : " bytes"); }

std::string place_text(const OBJECT& object, ADDRESS address) {
    if (address < object.first) return bytes_text(object.first - address) + " before ";
    const uint32_t inside = address - object.first;
    if (inside > object.size) return bytes_text(inside - object.size) + " behind the end of ";
    if (inside == object.size && inside) return "the end of ";
    return inside ? "byte " + std::to_string(inside) + " of " : "";
}

} // namespace

const OBJECT* object_at(const MEMORY& memory, ADDRESS address) {
    const SLOT* slot = find_slot(memory, address);
    if (!slot) return nullptr;
    const OBJECT& object = object_in(memory, *slot, address);
    return address >= object.first && address - object.first <= object.size ? &object : nullptr;
}

bool holds_address(const MEMORY& memory, ADDRESS first, uint32_t size,
                   const std::function<bool(ADDRESS)>& counts) {
    for (const ARENA& arena : memory.arenas)
        for (const SLOT& slot : arena.slots) {
            if (!slot.object.live) continue;
            for (ADDRESS at = slot.object.first; at + 4 <= slot.object.first + slot.object.size; at += 4) {
                uint32_t word = 0;
                if (check_access(memory, at, 4, false) != ACCESS_FAULT::NONE) continue;
                memcpy(&word, memory.view.bytes + at, 4);
                if (word - first < size && counts(at)) return true;
            }
        }
    return false;
}

std::string describe_address(const MEMORY& memory, ADDRESS address) {
    const SLOT* slot = find_slot(memory, address);
    char number[16];
    snprintf(number, sizeof number, "0x%x", address);
    if (!slot) return std::string("address ") + number;
    OBJECT object = object_in(memory, *slot, address);
    // What lies in the gap between two slots may be nearer to the one before.
    const bool is_first =
        std::ranges::any_of(memory.arenas, [slot](const ARENA& arena) { return slot->begin == arena.begin; });
    if (address < object.first && !is_first) {
        const OBJECT before = object_in(memory, slot[-1], address);
        if (distance(before, address) < distance(object, address)) object = before, slot--;
    }
    return place_text(object, address) + name_text(*slot, object) + " (" + bytes_text(object.size) + ")" +
           end_text(*slot, object);
}

} // namespace pelorus
