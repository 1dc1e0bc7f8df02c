// The machine's loop.
//
// Each instruction ends with a jump to the code of the next one, so that the processor predicts each of these
// jumps by itself. The code of the families in operations.def is made from their rows.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#include "machine_state.h"

namespace pelorus {

namespace {

// --- Values in slots ---

template <class T>
T from_slot(uint64_t slot) {
    if constexpr (sizeof(T) == 8)
        return std::bit_cast<T>(slot);
    else if constexpr (std::is_floating_point_v<T>)
        return std::bit_cast<T>(uint32_t(slot));
    else
        return T(slot);
}

template <class T>
uint64_t to_slot(T value) {
    if constexpr (sizeof(T) == 8)
        return std::bit_cast<uint64_t>(value);
    else if constexpr (std::is_floating_point_v<T>)
        return std::bit_cast<uint32_t>(value);
    else
        return uint32_t(value);
}

// The integers of a width: what `unsigned_` and `signed_` are in the rows.
struct BITS_32 {
    using unsigned_ = uint32_t;
    using signed_ = int32_t;
};
struct BITS_64 {
    using unsigned_ = uint64_t;
    using signed_ = int64_t;
};

template <class T>
T negated(T value) {
    return T(0 - std::make_unsigned_t<T>(value));
}

// A result that is no number though the operands are has no sign on this processor, but on the host's.
template <class T>
T without_sign(T result, T x, T y) {
    if (std::isnan(result) && !std::isnan(x) && !std::isnan(y)) return std::numeric_limits<T>::quiet_NaN();
    return result;
}

// Toward zero; the nearest value for one that is out of range, 0 for what is no number.
template <class T, class F>
T saturated(F value) {
    if (std::isnan(value)) return 0;
    constexpr F most = F(std::numeric_limits<T>::max());
    // The largest integer may be rounded up when it is converted.
    if (value >= most && (value > most || F(T(most / 2)) * 2 == most)) return std::numeric_limits<T>::max();
    if (value <= F(std::numeric_limits<T>::min())) return std::numeric_limits<T>::min();
    return T(value);
}

template <class T>
T load_bytes(const uint8_t* bytes) {
    T value;
    memcpy(&value, bytes, sizeof value);
    return value;
}

template <class T>
void store_bytes(uint8_t* bytes, uint64_t slot) {
    const T value = T(slot);
    memcpy(bytes, &value, sizeof value);
}

template <class T>
uint64_t extended(T value) {
    return std::is_signed_v<T> ? uint64_t(uint32_t(int32_t(value))) : uint64_t(value);
}

// --- What is too rare to be in the loop ---

[[noreturn]] __attribute__((noinline)) void stop(MACHINE& machine, const INSTRUCTION* at, const char* what) {
    machine.at = at;
    end_run(OUTCOME_KIND::TRAP, what);
}

// An access that the quick check did not let pass: returns when it may be made all the same.
__attribute__((noinline)) void doubtful_access(MACHINE& machine, const INSTRUCTION* at, ADDRESS address,
                                               uint32_t size, bool write, uint32_t alignment) {
    const ACCESS_FAULT fault = check_access(*machine.memory, address, size, write);
    if (fault == ACCESS_FAULT::NONE && (machine.options.unaligned || !(address & (alignment - 1)))) return;
    machine.at = at;
    bad_access(machine, address, size, write, alignment);
}

[[noreturn]] __attribute__((noinline)) void stop_at_limit(MACHINE& machine, const INSTRUCTION* at) {
    machine.at = at;
    machine.steps_left = 0;
    end_run(OUTCOME_KIND::LIMIT, std::to_string(machine.options.steps) + " steps");
}

template <bool WRITE>
void check_any(MACHINE& machine, const INSTRUCTION* at, ADDRESS address, uint32_t size) {
    if (check_access(*machine.memory, address, size, WRITE) != ACCESS_FAULT::NONE) [[unlikely]]
        doubtful_access(machine, at, address, size, WRITE, 1);
}

uint64_t extract_bits(uint64_t whole, BIT_RANGE bits) {
    const uint32_t above = 64 - bits.width;
    const uint64_t high = whole << (above - bits.shift);
    return bits.is_signed ? uint64_t(int64_t(high) >> above) : high >> above;
}

uint64_t insert_bits(uint64_t whole, uint64_t value, BIT_RANGE bits) {
    const uint64_t mask = (bits.width < 64 ? (uint64_t(1) << bits.width) - 1 : ~uint64_t(0)) << bits.shift;
    return (whole & ~mask) | (value << bits.shift & mask);
}

const INSTRUCTION* switch_target(const FUNCTION_CODE& function, const SWITCH_TABLE& table,
                                 uint64_t selector) {
    const uint64_t value = table.wide ? selector : uint32_t(selector);
    const INSTRUCTION* code = function.code.data();
    if (!table.targets.empty()) {
        const uint64_t place = value - table.lowest;
        return code + (place < table.targets.size() ? table.targets[place] : table.otherwise);
    }
    const auto found = std::ranges::lower_bound(table.cases, value, {}, &SWITCH_TABLE::CASE::value);
    return code + (found != table.cases.end() && found->value == value ? found->target : table.otherwise);
}

bool fits_integer(const INSTRUCTION& check, uint64_t slot) {
    const double value = check.b == 8 ? from_slot<double>(slot) : double(from_slot<float>(slot));
    const uint32_t bits = (check.c & 0xFF) * 8;
    const bool is_signed = check.c >> 8;
    const double whole = std::trunc(value), limit = std::ldexp(1.0, int(is_signed ? bits - 1 : bits));
    return whole < limit && whole >= (is_signed ? -limit : 0);
}

void copy_object(MACHINE& machine, const INSTRUCTION* at, ADDRESS to, ADDRESS from) {
    check_any<false>(machine, at, from, at->c);
    check_any<true>(machine, at, to, at->c);
    memmove(machine.view.bytes + to, machine.view.bytes + from, at->c);
}

void out_of_range_shift(MACHINE& machine, const INSTRUCTION* at, uint32_t amount) {
    if (!machine.options.strict) return;
    machine.at = at;
    end_run(OUTCOME_KIND::TRAP, "a shift by " + std::to_string(amount) + " bits");
}

void note_volatile(MACHINE& machine, const INSTRUCTION& note, const uint64_t* slots, bool write) {
    if (!machine.options.record) return;
    machine.at = &note;
    note_access(machine, ADDRESS(slots[note.a]) + note.c, slots[note.b], note.extra, write);
}

// Runs until the call at `depth` has returned.
void run_loop(MACHINE& machine, size_t depth) {
    static const void* const LABELS[] = {
#define WIDTHS(name)                           &&L_##name##_32, &&L_##name##_32I, &&L_##name##_64, &&L_##name##_64I,
#define ARITHMETIC(name, sort, expression)     WIDTHS(name)
#define SHIFT(name, sort, expression)          WIDTHS(name)
#define DIVISION(name, sort, expression)       WIDTHS(name)
#define COMPARISON(name, sort, expression)     WIDTHS(name) WIDTHS(JUMP_##name)
#define FLOATING(name, expression)             &&L_##name##_32, &&L_##name##_64,
#define FLOATING_COMPARISON(name, expression)  &&L_##name##_32, &&L_##name##_64,
#define CONVERSION(name, from, to, expression) &&L_##name,
#define LOAD(suffix, type)                     &&L_LOAD_P_##suffix, &&L_LOAD_N_##suffix, &&L_LOAD_F_##suffix, &&L_LOAD_G_##suffix,
#define STORE(suffix, type)                                                                                  \
    &&L_STORE_P_##suffix, &&L_STORE_N_##suffix, &&L_STORE_F_##suffix, &&L_STORE_G_##suffix,
#define OTHER(name) &&L_##name,
#include "operations.def"
#undef WIDTHS
    };
    const MEMORY_VIEW view = machine.view;
    const ADDRESS* globals = machine.globals.data();
    uint64_t* stretches = machine.stretches.data();
    // These follow the innermost call.
    const FUNCTION_CODE* function;
    const INSTRUCTION* i; // being executed
    const INSTRUCTION* code;
    uint64_t* slots;
    ADDRESS frame;
    const auto follow = [&] {
        const CALL_FRAME& innermost = machine.frames.back();
        function = innermost.function;
        code = function->code.data();
        slots = machine.slots.data() + innermost.base;
        frame = innermost.memory;
        i = innermost.next;
    };
    follow();

#define DISPATCH                                                                                             \
    {                                                                                                        \
        goto* LABELS[i->operation];                                                                          \
    }
#define NEXT                                                                                                 \
    i++;                                                                                                     \
    DISPATCH
#define GO_TO(target)                                                                                        \
    i = code + (target);                                                                                     \
    DISPATCH
    DISPATCH;

    // The operands of the four forms of an operation: two widths, slots or a slot and a constant.
#define FORM(label, width, T, y_value, action)                                                               \
    L_##label : {                                                                                            \
        using BITS = width;                                                                                  \
        [[maybe_unused]] constexpr uint32_t bits = sizeof(BITS::unsigned_) * 8;                              \
        using T_X = BITS::T;                                                                                 \
        const T_X x = from_slot<T_X>(slots[i->b]);                                                           \
        const auto y = y_value;                                                                              \
        action;                                                                                              \
        NEXT;                                                                                                \
    }
#define FORMS(name, sort, action)                                                                            \
    FORM(name##_32, BITS_32, sort, from_slot<T_X>(slots[i->c]), action)                                      \
    FORM(name##_32I, BITS_32, sort, T_X(i->c), action)                                                       \
    FORM(name##_64, BITS_64, sort, from_slot<T_X>(slots[i->c]), action)                                      \
    FORM(name##_64I, BITS_64, sort, T_X(int64_t(int32_t(i->c))), action)
#define RESULT(T, expression) slots[i->a] = to_slot<T>(T(expression))

#define ARITHMETIC(name, sort, expression) FORMS(name, sort, RESULT(T_X, expression))
#define DIVISION(name, sort, expression)                                                                     \
    FORMS(name, sort, if (y == 0) stop(machine, i, "integer division by zero"); RESULT(T_X, expression))
#define SHIFT(name, sort, expression)                                                                        \
    FORM(name##_32, BITS_32, sort, uint32_t(slots[i->c] & 0xFF),                                             \
         if (y >= bits) [[unlikely]] out_of_range_shift(machine, i, uint32_t(slots[i->c]));                  \
         RESULT(T_X, expression))                                                                            \
    FORM(name##_32I, BITS_32, sort, i->c & 0xFF,                                                             \
         if (y >= bits) [[unlikely]] out_of_range_shift(machine, i, i->c);                                   \
         RESULT(T_X, expression))                                                                            \
    FORM(name##_64, BITS_64, sort, uint32_t(slots[i->c] & 0xFF),                                             \
         if (y >= bits) [[unlikely]] out_of_range_shift(machine, i, uint32_t(slots[i->c]));                  \
         RESULT(T_X, expression))                                                                            \
    FORM(name##_64I, BITS_64, sort, i->c & 0xFF,                                                             \
         if (y >= bits) [[unlikely]] out_of_range_shift(machine, i, i->c);                                   \
         RESULT(T_X, expression))
    // A relation as a value, and as a jump, whose operands are a and b.
#define JUMP_FORM(label, width, T, y_value, expression)                                                      \
    L_##label : {                                                                                            \
        using T_X = width::T;                                                                                \
        const T_X x = from_slot<T_X>(slots[i->a]);                                                           \
        const T_X y = y_value;                                                                               \
        i = (expression) ? code + i->c : i + 1;                                                              \
        DISPATCH;                                                                                            \
    }
#define COMPARISON(name, sort, expression)                                                                   \
    FORMS(name, sort, RESULT(uint32_t, expression))                                                          \
    JUMP_FORM(JUMP_##name##_32, BITS_32, sort, from_slot<T_X>(slots[i->b]), expression)                      \
    JUMP_FORM(JUMP_##name##_32I, BITS_32, sort, T_X(i->b), expression)                                       \
    JUMP_FORM(JUMP_##name##_64, BITS_64, sort, from_slot<T_X>(slots[i->b]), expression)                      \
    JUMP_FORM(JUMP_##name##_64I, BITS_64, sort, T_X(int64_t(int32_t(i->b))), expression)
#define FLOATING_FORM(label, T, action)                                                                      \
    L_##label : {                                                                                            \
        const T x = from_slot<T>(slots[i->b]), y = from_slot<T>(slots[i->c]);                                \
        action;                                                                                              \
        NEXT;                                                                                                \
    }
#define FLOATING(name, expression)                                                                           \
    FLOATING_FORM(name##_32, float, RESULT(float, without_sign<float>(expression, x, y)))                    \
    FLOATING_FORM(name##_64, double, RESULT(double, without_sign<double>(expression, x, y)))
#define FLOATING_COMPARISON(name, expression)                                                                \
    FLOATING_FORM(name##_32, float, RESULT(uint32_t, expression))                                            \
    FLOATING_FORM(name##_64, double, RESULT(uint32_t, expression))
#define CONVERSION(name, from, to, expression)                                                               \
    L_##name : {                                                                                             \
        const from x = from_slot<from>(slots[i->b]);                                                         \
        RESULT(to, expression);                                                                              \
        NEXT;                                                                                                \
    }
#define LOAD(suffix, type)                                                                                   \
    L_LOAD_P_##suffix : {                                                                                    \
        const ADDRESS address = ADDRESS(slots[i->b]) + i->c;                                                 \
        if (!can_read<sizeof(type)>(view, address) || (address & (sizeof(type) - 1))) [[unlikely]]           \
            doubtful_access(machine, i, address, sizeof(type), false, sizeof(type));                         \
        slots[i->a] = extended(load_bytes<type>(view.bytes + address));                                      \
        NEXT;                                                                                                \
    }                                                                                                        \
    L_LOAD_N_##suffix : {                                                                                    \
        const ADDRESS address = ADDRESS(slots[i->b]) + i->c;                                                 \
        check_any<false>(machine, i, address, sizeof(type));                                                 \
        slots[i->a] = extended(load_bytes<type>(view.bytes + address));                                      \
        NEXT;                                                                                                \
    }                                                                                                        \
    L_LOAD_F_##suffix : {                                                                                    \
        slots[i->a] = extended(load_bytes<type>(view.bytes + frame + i->c));                                 \
        NEXT;                                                                                                \
    }                                                                                                        \
    L_LOAD_G_##suffix : {                                                                                    \
        slots[i->a] = extended(load_bytes<type>(view.bytes + globals[i->b] + i->c));                         \
        NEXT;                                                                                                \
    }
#define STORE(suffix, type)                                                                                  \
    L_STORE_P_##suffix : {                                                                                   \
        const ADDRESS address = ADDRESS(slots[i->b]) + i->c;                                                 \
        if (!can_write<sizeof(type)>(view, address) || (address & (sizeof(type) - 1))) [[unlikely]]          \
            doubtful_access(machine, i, address, sizeof(type), true, sizeof(type));                          \
        store_bytes<type>(view.bytes + address, slots[i->a]);                                                \
        NEXT;                                                                                                \
    }                                                                                                        \
    L_STORE_N_##suffix : {                                                                                   \
        const ADDRESS address = ADDRESS(slots[i->b]) + i->c;                                                 \
        check_any<true>(machine, i, address, sizeof(type));                                                  \
        store_bytes<type>(view.bytes + address, slots[i->a]);                                                \
        NEXT;                                                                                                \
    }                                                                                                        \
    L_STORE_F_##suffix : {                                                                                   \
        store_bytes<type>(view.bytes + frame + i->c, slots[i->a]);                                           \
        NEXT;                                                                                                \
    }                                                                                                        \
    L_STORE_G_##suffix : {                                                                                   \
        store_bytes<type>(view.bytes + globals[i->b] + i->c, slots[i->a]);                                   \
        NEXT;                                                                                                \
    }
#include "operations.def"

L_CONSTANT:
    slots[i->a] = uint64_t(i->c) << 32 | i->b;
    NEXT;
L_FRAME_ADDRESS:
    slots[i->a] = frame + i->c;
    NEXT;
L_GLOBAL_ADDRESS:
    slots[i->a] = globals[i->b] + i->c;
    NEXT;
L_ARGUMENTS:
    slots[i->a] = machine.frames.back().unnamed;
    NEXT;
L_COPY:
    copy_object(machine, i, ADDRESS(slots[i->a]), ADDRESS(slots[i->b]));
    NEXT;
L_EXTRACT:
    slots[i->a] = extract_bits(slots[i->b], unpack_bits(i->c));
    NEXT;
L_INSERT:
    slots[i->a] = insert_bits(slots[i->b], slots[i->c], unpack_bits(i->extra));
    NEXT;
L_TRUTH_32:
    slots[i->a] = uint32_t(slots[i->b]) != 0;
    NEXT;
L_TRUTH_64:
    slots[i->a] = slots[i->b] != 0;
    NEXT;
L_IS_ZERO_32:
    slots[i->a] = uint32_t(slots[i->b]) == 0;
    NEXT;
L_IS_ZERO_64:
    slots[i->a] = slots[i->b] == 0;
    NEXT;
L_STRETCH:
    stretches[i->a]++;
    if (machine.steps_left < i->b) [[unlikely]]
        stop_at_limit(machine, i);
    machine.steps_left -= i->b;
    NEXT;
L_JUMP:
    GO_TO(i->c);
L_JUMP_TRUE_32:
    i = uint32_t(slots[i->a]) ? code + i->c : i + 1;
    DISPATCH;
L_JUMP_TRUE_64:
    i = slots[i->a] ? code + i->c : i + 1;
    DISPATCH;
L_JUMP_FALSE_32:
    i = uint32_t(slots[i->a]) ? i + 1 : code + i->c;
    DISPATCH;
L_JUMP_FALSE_64:
    i = slots[i->a] ? i + 1 : code + i->c;
    DISPATCH;
L_SWITCH:
    i = switch_target(*function, function->switches[i->b], slots[i->a]);
    DISPATCH;
L_CALL:
    machine.frames.back().next = i + 1;
    machine.at = i;
    make_call(machine, *i);
    follow();
    DISPATCH;
L_RETURN:
    machine.returned = slots[i->a];
    goto leave;
L_RETURN_OBJECT: {
    const ADDRESS to = machine.frames.back().result_object;
    if (to && i->c) {
        check_any<false>(machine, i, ADDRESS(slots[i->a]), i->c);
        memmove(view.bytes + to, view.bytes + ADDRESS(slots[i->a]), i->c);
    }
    machine.returned = to;
    goto leave;
}
L_RETURN_NOTHING:
    machine.returned = machine.frames.back().result_object ? machine.frames.back().result_object
                                                           : 0x0101010101010101u * machine.options.fill;
leave: {
    const uint32_t result = machine.frames.back().result_slot;
    machine.at = i;
    leave_function(machine);
    if (machine.frames.size() < depth) return;
    follow();
    slots[result] = machine.returned;
    DISPATCH;
}
L_START_VARIABLE:
    start_variable(*machine.memory, frame, function->layout.variables[i->c], machine.options.fill);
    NEXT;
L_END_VARIABLE:
    end_variable(*machine.memory, frame, function->layout.variables[i->c]);
    NEXT;
L_NOTE_READ:
    note_volatile(machine, *i, slots, false);
    NEXT;
L_NOTE_WRITE:
    note_volatile(machine, *i, slots, true);
    NEXT;
L_CHECK_INTEGER:
    if (machine.options.strict && !fits_integer(*i, slots[i->a]))
        stop(machine, i, "a floating-point value that its integer type does not hold");
    NEXT;
L_UNSUPPORTED:
    machine.at = i;
    end_run(OUTCOME_KIND::UNSUPPORTED, machine.program.messages[i->c]);
L_CHECKED: {
    const auto operation = OPERATION(function->checked_operations[size_t(i - code)]);
    check_instruction(machine, *i, operation);
    goto* LABELS[operation];
}
#undef DISPATCH
#undef NEXT
#undef GO_TO
}

} // namespace

void execute(MACHINE& machine) {
    const size_t depth = machine.frames.size();
    struct NESTING {
        uint32_t& depth;
        ~NESTING() { depth--; }
    };
    const NESTING nesting{machine.host_depth};
    if (++machine.host_depth > machine.options.host_depth)
        end_run(OUTCOME_KIND::LIMIT,
                std::to_string(machine.options.host_depth) + " open calls by the library");
    machine.frames.back().next = machine.frames.back().function->code.data();
    for (;;) try {
            return run_loop(machine, depth);
        } catch (const LONG_JUMP& jump) {
            if (jump.depth < depth) throw;
        }
}

} // namespace pelorus
