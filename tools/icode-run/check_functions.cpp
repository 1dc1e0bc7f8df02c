// The check of functions: does each keep what its flags say that it never does (ipa/function_effects.h)?
//
// Every open call of a function is an activation. What the innermost one does, all of them do:
//
// - An access by the name of a global object breaks FUN_no_global_..., one by an address to a global object
//   both of FUN_no_global_... and FUN_no_ind_... together, since it may have been made of the name, one to
//   the heap FUN_no_ind_..., one to a variable of an activation FUN_no_ind_... of those that it called.
// - FUN_no_byref_asg: objects that arguments point to are lent to the activation. A store to one, or a store
//   of an address in it to anything but variables of the activation and of those that it called, breaks it,
//   as does a result that is such an address. All of that may happen when somebody else knows the address: so
//   memory is looked through for it before anything is said.
// - FUN_is_pure_fun is broken by volatile accesses and by calls that the world sees, FUN_never_returns by a
//   return, FUN_no_RPT_loop by coming to a stretch of code for the second time.
//
// Not checked: that a pure function gives the same for the same, that it ends, and that straight-line code
// (FUN_has_1_BB) has no test.
#include <algorithm>
#include <array>
#include <cstring>

#include "ir/funinfo.h"
#include "machine_state.h"

namespace pelorus {

namespace {

enum PROMISE : uint8_t {
    NAMED_STORES, // in the order of accesses: stores, then loads
    NAMED_LOADS,
    STATIC_STORES, // by name or address
    STATIC_LOADS,
    OTHER_STORES,
    OTHER_LOADS,
    UNSEEN,
    PROMISES,
};

struct PROMISE_FACT {
    uint32_t flags; // all of them make the promise
    const char* text;
};
constexpr PROMISE_FACT PROMISE_FACTS[PROMISES] = {
    {FUN_no_global_asg, "FUN_no_global_asg"},
    {FUN_no_global_use, "FUN_no_global_use"},
    {FUN_no_global_asg | FUN_no_ind_asg, "FUN_no_global_asg and FUN_no_ind_asg"},
    {FUN_no_global_use | FUN_no_ind_use, "FUN_no_global_use and FUN_no_ind_use"},
    {FUN_no_ind_asg, "FUN_no_ind_asg"},
    {FUN_no_ind_use, "FUN_no_ind_use"},
    {FUN_is_pure_fun, "FUN_is_pure_fun"},
};

struct PIECE {
    ADDRESS first;
    uint32_t size;
    bool holds(ADDRESS address) const { return address - first < size; }
};

struct LENT_OBJECT {
    PIECE piece;
    bool is_known = false; // others know an address in it
};

constexpr int32_t NOBODY = -1;

struct ACTIVATION {
    const FUNCTION_CODE* function;
    uint64_t serial;                         // of its CALL_FRAME
    std::array<int32_t, PROMISES> innermost; // the innermost activation up to here that promises this
    int32_t lends;                           // the innermost one up to here to which something is lent
    std::vector<ADDRESS> pieces;             // keys in CALL_CHECKS::owners
    std::vector<LENT_OBJECT> lent;
    std::vector<uint32_t> stretches; // that it came to
    bool may_repeat;
};

struct OWNED_PIECE {
    uint32_t size;
    int32_t owner; // activation
};

} // namespace

// The pieces of memory with the variables of the activations. Structures that are passed lie in the frame of
// the caller and are the callee's.
struct CALL_CHECKS {
    std::vector<ACTIVATION>
        open; // one for each frame of the machine, but for the innermost ones that just began
    std::map<ADDRESS, OWNED_PIECE> frames;
    std::map<ADDRESS, OWNED_PIECE> passed;
};

void RELEASE_CHECKS::operator()(CALL_CHECKS* checks) const { delete checks; }
void start_checks(MACHINE& machine) { machine.checks.reset(new CALL_CHECKS); }

namespace {

// --- Activations ---

void forget(std::map<ADDRESS, OWNED_PIECE>& pieces, ADDRESS first, int32_t owner) {
    const auto found = pieces.find(first);
    if (found != pieces.end() && found->second.owner == owner) pieces.erase(found);
}

// The calls that have ended since the last look.
void drop_ended(MACHINE& machine) {
    CALL_CHECKS& checks = *machine.checks;
    while (!checks.open.empty()) {
        const ACTIVATION& last = checks.open.back();
        const size_t depth = checks.open.size();
        if (depth <= machine.frames.size() && machine.frames[depth - 1].serial == last.serial) return;
        for (const ADDRESS first : last.pieces) {
            forget(checks.frames, first, int32_t(depth - 1));
            forget(checks.passed, first, int32_t(depth - 1));
        }
        checks.open.pop_back();
    }
}

void own(CALL_CHECKS& checks, ACTIVATION& activation, std::map<ADDRESS, OWNED_PIECE>& pieces, PIECE piece) {
    if (!piece.size) return;
    pieces[piece.first] = {piece.size, int32_t(checks.open.size())};
    activation.pieces.push_back(piece.first);
}

bool is_lendable(const OBJECT* object) {
    return object && object->live && object->size &&
           (object->kind == OBJECT_KIND::LOCAL || object->kind == OBJECT_KIND::HEAP);
}

// Objects that the arguments point to. A number that is the same address may tell somebody else.
void lend(MACHINE& machine, ACTIVATION& activation) {
    const FUNCTION_CODE& function = *activation.function;
    const uint64_t* slots = machine.slots.data() + machine.frames.back().base;
    for (size_t i = 0; i < function.parameters.size(); i++) {
        if (!function.parameters[i].is_pointer) continue;
        const OBJECT* object = object_at(*machine.memory, ADDRESS(slots[i]));
        if (is_lendable(object) && ADDRESS(slots[i]) - object->first < object->size)
            activation.lent.push_back({{object->first, object->size}});
    }
    for (LENT_OBJECT& lent : activation.lent)
        for (size_t i = 0; i < function.parameters.size(); i++)
            lent.is_known |= !function.parameters[i].is_pointer && lent.piece.holds(ADDRESS(slots[i]));
}

void open_activation(MACHINE& machine) {
    CALL_CHECKS& checks = *machine.checks;
    const CALL_FRAME& frame = machine.frames.back();
    const auto number = int32_t(checks.open.size());
    ACTIVATION made{.function = frame.function,
                    .serial = frame.serial,
                    .innermost = {},
                    .lends = number ? checks.open.back().lends : NOBODY,
                    .pieces = {},
                    .lent = {},
                    .stretches = {},
                    .may_repeat = !(frame.function->flags & FUN_no_RPT_loop)};
    made.innermost.fill(NOBODY);
    if (number) made.innermost = checks.open.back().innermost;
    for (size_t i = 0; i < PROMISES; i++)
        if ((frame.function->flags & PROMISE_FACTS[i].flags) == PROMISE_FACTS[i].flags)
            made.innermost[i] = number;
    if (frame.memory) own(checks, made, checks.frames, {frame.memory, frame.function->layout.size});
    const uint64_t* slots = machine.slots.data() + frame.base;
    for (size_t i = 0; i < frame.function->parameters.size(); i++)
        if (frame.function->parameters[i].kind == SHAPE::MEMORY)
            own(checks, made, checks.passed, {ADDRESS(slots[i]), frame.function->parameter_sizes[i]});
    if (frame.function->flags & FUN_no_byref_asg) lend(machine, made);
    if (!made.lent.empty()) made.lends = number;
    checks.open.push_back(std::move(made));
}

const OWNED_PIECE* piece_at(const std::map<ADDRESS, OWNED_PIECE>& pieces, ADDRESS address) {
    auto behind = pieces.upper_bound(address);
    if (behind == pieces.begin()) return nullptr;
    --behind;
    return address - behind->first < behind->second.size ? &behind->second : nullptr;
}

// The activation whose call of alloca gave the block.
int32_t owner_of_block(const MACHINE& machine, ADDRESS first) {
    const auto found = std::ranges::find(machine.allocas, first);
    const auto place = size_t(found - machine.allocas.begin());
    for (size_t depth = machine.frames.size(); depth-- > 0;)
        if (machine.frames[depth].first_alloca <= place) return int32_t(depth);
    return NOBODY;
}

// The activation that a variable belongs to. Needs: a LOCAL or ARGUMENTS object.
int32_t owner_of(const MACHINE& machine, const OBJECT& object, ADDRESS address) {
    const CALL_CHECKS& checks = *machine.checks;
    if (const OWNED_PIECE* piece = piece_at(checks.passed, address)) return piece->owner;
    if (const OWNED_PIECE* piece = piece_at(checks.frames, address)) return piece->owner;
    if (object.kind == OBJECT_KIND::LOCAL) return owner_of_block(machine, object.first);
    for (size_t depth = machine.frames.size(); depth-- > 0;)
        if (machine.frames[depth].unnamed_object == object.first) return int32_t(depth);
    return NOBODY;
}

// --- What is said ---

[[noreturn]] void broken(const ACTIVATION& activation, const char* flags, const std::string& what) {
    end_run(OUTCOME_KIND::BROKEN, activation.function->name + " has " + flags + ", and " + what);
}

std::string access_text(const MACHINE& machine, ADDRESS address, uint32_t size, bool write) {
    return std::string(write ? "writes " : "reads ") + std::to_string(size) +
           (size == 1 ? " byte at " : " bytes at ") + describe_address(*machine.memory, address);
}

// --- Accesses ---

struct CHECKED_ACCESS {
    ADDRESS address;
    uint32_t size;
    bool write;
    bool named;
};

// Ends the run when an activation above `owner` promises not to do it.
void demand(const MACHINE& machine, int32_t first_promise, int32_t owner, const CHECKED_ACCESS& access) {
    const int32_t promise = first_promise + !access.write;
    const std::vector<ACTIVATION>& open = machine.checks->open;
    const int32_t promises = open.back().innermost[size_t(promise)];
    if (promises > owner)
        broken(open[size_t(promises)], PROMISE_FACTS[promise].text,
               access_text(machine, access.address, access.size, access.write));
}

bool is_of_interest(const ACTIVATION& innermost, bool write) {
    const size_t kind = !write;
    return innermost.innermost[NAMED_STORES + kind] != NOBODY ||
           innermost.innermost[STATIC_STORES + kind] != NOBODY ||
           innermost.innermost[OTHER_STORES + kind] != NOBODY;
}

void check_access_of(const MACHINE& machine, const CHECKED_ACCESS& access) {
    if (!is_of_interest(machine.checks->open.back(), access.write)) return;
    const OBJECT* object = object_at(*machine.memory, access.address);
    if (!object) return; // which the access finds out
    switch (object->kind) {
    case OBJECT_KIND::CONSTANT:
    case OBJECT_KIND::FUNCTION: return;
    case OBJECT_KIND::GLOBAL:
    case OBJECT_KIND::LIBRARY:
        return demand(machine, access.named ? NAMED_STORES : STATIC_STORES, NOBODY, access);
    case OBJECT_KIND::HEAP: return demand(machine, OTHER_STORES, NOBODY, access);
    case OBJECT_KIND::LOCAL:
    case OBJECT_KIND::ARGUMENTS:
        return demand(machine, OTHER_STORES, owner_of(machine, *object, access.address), access);
    }
}

// --- Objects that are lent ---

// Somebody who is not called by the activation may know an address in the object.
bool is_known_elsewhere(const MACHINE& machine, int32_t activation, const PIECE& lent) {
    const auto is_other = [&](ADDRESS place) {
        const OWNED_PIECE* piece = piece_at(machine.checks->frames, place);
        return !piece || piece->owner < activation;
    };
    return holds_address(*machine.memory, lent.first, lent.size, is_other);
}

void break_loan(const MACHINE& machine, int32_t number, LENT_OBJECT& lent, const std::string& what) {
    if (lent.is_known) return;
    lent.is_known = is_known_elsewhere(machine, number, lent.piece);
    if (!lent.is_known) broken(machine.checks->open[size_t(number)], "FUN_no_byref_asg", what);
}

// Calls visit(number, lent) for all that is lent to open activations.
template <class F>
void for_each_lent(const MACHINE& machine, F visit) {
    std::vector<ACTIVATION>& open = machine.checks->open;
    for (int32_t number = open.back().lends; number != NOBODY;
         number = number ? open[size_t(number) - 1].lends : NOBODY)
        for (LENT_OBJECT& lent : open[size_t(number)].lent) visit(number, lent);
}

void check_store_to_lent(const MACHINE& machine, const CHECKED_ACCESS& access) {
    for_each_lent(machine, [&](int32_t number, LENT_OBJECT& lent) {
        if (lent.piece.holds(access.address))
            break_loan(machine, number, lent, access_text(machine, access.address, access.size, true));
    });
}

// Is a place one of the activation's own, or of one that it called?
bool is_own(const MACHINE& machine, int32_t activation, ADDRESS place) {
    const OBJECT* object = object_at(*machine.memory, place);
    const bool local =
        object && (object->kind == OBJECT_KIND::LOCAL || object->kind == OBJECT_KIND::ARGUMENTS);
    return local && owner_of(machine, *object, place) >= activation;
}

void check_stored_word(const MACHINE& machine, ADDRESS place, uint32_t word) {
    for_each_lent(machine, [&](int32_t number, LENT_OBJECT& lent) {
        if (lent.piece.holds(word) && !is_own(machine, number, place))
            break_loan(machine, number, lent,
                       "stores the address of " + describe_address(*machine.memory, word) + " at " +
                           describe_address(*machine.memory, place));
    });
}

void check_copied_words(const MACHINE& machine, ADDRESS to, ADDRESS from, uint32_t size) {
    if (machine.checks->open.back().lends == NOBODY) return;
    if (check_access(*machine.memory, from, size, false) != ACCESS_FAULT::NONE) return;
    for (uint32_t at = 0; at + 4 <= size; at += 4) {
        uint32_t word = 0;
        memcpy(&word, machine.view.bytes + from + at, 4);
        check_stored_word(machine, to + at, word);
    }
}

void check_result(const MACHINE& machine, uint64_t value) {
    const auto number = int32_t(machine.checks->open.size() - 1);
    ACTIVATION& activation = machine.checks->open.back();
    if (activation.function->result.size != 4) return;
    for (LENT_OBJECT& lent : activation.lent)
        if (lent.piece.holds(ADDRESS(value)))
            break_loan(machine, number, lent,
                       "returns the address of " + describe_address(*machine.memory, ADDRESS(value)));
}

// --- Instructions ---

uint32_t size_of_access(uint32_t operation) {
    constexpr uint32_t LOADED[] = {1, 1, 2, 2, 4, 8};
    constexpr uint32_t STORED[] = {1, 2, 4, 8};
    return operation < MC_STORE_P_8 ? LOADED[(operation - MC_LOAD_P_8U) / 4]
                                    : STORED[(operation - MC_STORE_P_8) / 4];
}

void check_scalar(const MACHINE& machine, const INSTRUCTION& i, uint32_t operation, const uint64_t* slots) {
    const bool write = operation >= MC_STORE_P_8;
    const uint32_t form = (operation - (write ? uint32_t{MC_STORE_P_8} : uint32_t{MC_LOAD_P_8U})) % 4;
    const bool named = form == MC_IN_GLOBAL;
    const ADDRESS address = (named ? machine.globals[i.b] : ADDRESS(slots[i.b])) + i.c;
    const CHECKED_ACCESS access{address, size_of_access(operation), write, named};
    check_access_of(machine, access);
    if (!write || machine.checks->open.back().lends == NOBODY) return;
    if (!named) check_store_to_lent(machine, access);
    if (access.size >= 4) check_stored_word(machine, address, uint32_t(slots[i.a]));
}

void check_copy(const MACHINE& machine, const INSTRUCTION& i, const uint64_t* slots) {
    const auto to = ADDRESS(slots[i.a]), from = ADDRESS(slots[i.b]);
    check_access_of(machine, {from, i.c, false, false});
    check_access_of(machine, {to, i.c, true, false});
    check_store_to_lent(machine, {to, i.c, true, false});
    check_copied_words(machine, to, from, i.c);
}

void check_unseen(const MACHINE& machine, const char* what) {
    const std::vector<ACTIVATION>& open = machine.checks->open;
    const int32_t number = open.back().innermost[UNSEEN];
    if (number != NOBODY) broken(open[size_t(number)], PROMISE_FACTS[UNSEEN].text, what);
}

void check_repetition(const MACHINE& machine, uint32_t stretch) {
    ACTIVATION& activation = machine.checks->open.back();
    if (activation.may_repeat) return;
    if (std::ranges::find(activation.stretches, stretch) != activation.stretches.end())
        broken(activation, "FUN_no_RPT_loop", "goes round");
    activation.stretches.push_back(stretch);
}

void check_return(const MACHINE& machine) {
    const ACTIVATION& activation = machine.checks->open.back();
    if (activation.function->flags & FUN_never_returns) broken(activation, "FUN_never_returns", "returns");
}

} // namespace

void check_instruction(MACHINE& machine, const INSTRUCTION& instruction, OPERATION operation) {
    machine.at = &instruction;
    drop_ended(machine);
    if (machine.checks->open.size() < machine.frames.size()) open_activation(machine);
    const uint64_t* slots = machine.slots.data() + machine.frames.back().base;
    switch (operation) {
    case MC_STRETCH: return check_repetition(machine, instruction.a);
    case MC_COPY: return check_copy(machine, instruction, slots);
    case MC_RETURN: check_result(machine, slots[instruction.a]); return check_return(machine);
    case MC_RETURN_OBJECT:
    case MC_RETURN_NOTHING: return check_return(machine);
    case MC_NOTE_READ: return check_unseen(machine, "reads a volatile object");
    case MC_NOTE_WRITE: return check_unseen(machine, "writes a volatile object");
    default: return check_scalar(machine, instruction, operation, slots);
    }
}

void check_library_access(MACHINE& machine, ADDRESS address, uint32_t size, bool write) {
    drop_ended(machine);
    if (machine.checks->open.empty() || size == 0) return;
    check_access_of(machine, {address, size, write, false});
    if (write) check_store_to_lent(machine, {address, size, write, false});
}

void check_library_effect(MACHINE& machine) {
    drop_ended(machine);
    if (!machine.checks->open.empty()) check_unseen(machine, "calls a function that the world sees");
}

void allow_second_return(MACHINE& machine) {
    if (!machine.checks->open.empty()) machine.checks->open.back().may_repeat = true;
}

} // namespace pelorus
