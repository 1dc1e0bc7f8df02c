// How programs end, signals within the program, and what little there is of an environment.
#include <cerrno>
#include <csignal>
#include <string>

#include "library_call.h"

namespace pelorus {

namespace {

using namespace std::string_view_literals;

GUEST_VALUE int_value(int32_t number) {
    GUEST_VALUE value;
    value.kind = GUEST_VALUE::INTEGER;
    value.size = 4;
    value.integer = number;
    return value;
}

void call_exit(GUEST_CALL& call) { leave_program(call.library, int_argument(call, 0)); }

// Without the functions given to atexit.
void call_immediate_exit(GUEST_CALL& call) { exit_program(call.machine, int_argument(call, 0) & 0xFF); }

void call_atexit(GUEST_CALL& call) {
    call.library.exit_functions.push_back(word_argument(call, 0));
    give(call, 0);
}

void call_stack_check_fail(GUEST_CALL& call) { trap(call.machine, "the stack was overwritten"); }

// --- Signals, which only the program itself can raise ---

constexpr ADDRESS DEFAULT_HANDLER = 0, IGNORE = 1, FAILURE = UINT32_MAX;
constexpr int LAST_SIGNAL = 64;

void call_signal(GUEST_CALL& call) {
    const int number = int_argument(call, 0);
    if (number < 1 || number > LAST_SIGNAL || number == SIGKILL || number == SIGSTOP) {
        set_errno(call.library, EINVAL);
        return give(call, FAILURE);
    }
    ADDRESS& handler = call.library.signal_handlers[number];
    give(call, handler);
    handler = word_argument(call, 1);
}

bool is_ignored_by_default(int number) { return number == SIGCHLD || number == SIGURG || number == SIGWINCH; }

// Does what the program wants done about a signal.
void handle_signal(GUEST_CALL& call, int number) {
    const auto row = call.library.signal_handlers.find(number);
    const ADDRESS handler = row == call.library.signal_handlers.end() ? DEFAULT_HANDLER : row->second;
    if (handler == DEFAULT_HANDLER && !is_ignored_by_default(number)) die_of_signal(call.library, number);
    if (handler != DEFAULT_HANDLER && handler != IGNORE)
        call_guest(call.machine, handler, {int_value(number)}, GUEST_VALUE{});
}

void call_raise(GUEST_CALL& call) {
    const int number = int_argument(call, 0);
    if (number < 1 || number > LAST_SIGNAL) {
        set_errno(call.library, EINVAL);
        return give(call, -1);
    }
    handle_signal(call, number);
    give(call, 0);
}

// A handler that comes back changes nothing.
void call_abort(GUEST_CALL& call) {
    handle_signal(call, SIGABRT);
    die_of_signal(call.library, SIGABRT);
}

void call_assert_fail(GUEST_CALL& call) {
    const auto text = [&](uint32_t index) {
        const ADDRESS place = word_argument(call, index);
        return place ? std::string(read_text(call.machine, place)) : std::string("?");
    };
    put_output(call.machine, 2,
               text(1) + ":" + std::to_string(word_argument(call, 2)) + ": " + text(3) + ": Assertion `" +
                   text(0) + "' failed.\n");
    call_abort(call);
}

// --- The environment: no variables, a process by itself, no terminal ---

void call_getenv(GUEST_CALL& call) {
    read_text(call.machine, word_argument(call, 0));
    give(call, 0);
}

void call_getpid(GUEST_CALL& call) { give(call, 1000); }

void call_isatty(GUEST_CALL& call) {
    set_errno(call.library, ENOTTY);
    give(call, 0);
}

void call_errno_location(GUEST_CALL& call) { give(call, errno_of(call.library)); }

// There is one locale.
void call_setlocale(GUEST_CALL& call) {
    const ADDRESS wanted = word_argument(call, 1);
    const std::string_view name = wanted ? read_text(call.machine, wanted) : "";
    const bool known = name.empty() || name == "C" || name == "POSIX";
    give(call, known ? library_object(call.library, "the locale's name", "C\0"sv, 1) : 0);
}

// Ten texts, of which one is not empty, and 14 bytes that say "unknown" by the greatest char.
void call_localeconv(GUEST_CALL& call) {
    constexpr uint32_t TEXTS = 10, SIZE = 56;
    const ADDRESS conventions = library_object(call.library, "the locale's conventions", zeros(SIZE), 4);
    const ADDRESS empty = library_object(call.library, "an empty text of the locale", zeros(1), 1);
    const ADDRESS point = library_object(call.library, "the locale's decimal point", ".\0"sv, 1);
    for (uint32_t i = 0; i < TEXTS; ++i) store(call.machine, conventions + 4 * i, i ? empty : point);
    for (uint32_t i = 4 * TEXTS; i < SIZE - 2; ++i) store<uint8_t>(call.machine, conventions + i, UINT8_MAX);
    give(call, conventions);
}

const LIBRARY_ROW PROCESS_ROWS[] = {
    {"_exit", call_exit, CALL_EFFECT::SEEN},
    {"__exit", call_immediate_exit, CALL_EFFECT::SEEN},
    {"__Exit", call_immediate_exit, CALL_EFFECT::SEEN},
    {"_quick_exit", call_immediate_exit, CALL_EFFECT::SEEN},
    {"_atexit", call_atexit, CALL_EFFECT::INSIDE},
    {"_abort", call_abort, CALL_EFFECT::SEEN},
    {"___assert_fail", call_assert_fail, CALL_EFFECT::SEEN},
    {"___stack_chk_fail", call_stack_check_fail, CALL_EFFECT::SEEN},
    {"_signal", call_signal, CALL_EFFECT::INSIDE},
    {"_raise", call_raise, CALL_EFFECT::SEEN},
    {"_getenv", call_getenv, CALL_EFFECT::NONE},
    {"_getpid", call_getpid, CALL_EFFECT::NONE},
    {"_isatty", call_isatty, CALL_EFFECT::INSIDE},
    {"___errno_location", call_errno_location, CALL_EFFECT::NONE},
    {"_setlocale", call_setlocale, CALL_EFFECT::INSIDE},
    {"_localeconv", call_localeconv, CALL_EFFECT::INSIDE},
};

} // namespace

void leave_program(LIBRARY& library, int status) {
    while (!library.exit_functions.empty()) {
        const ADDRESS function = library.exit_functions.back();
        library.exit_functions.pop_back(); // it may register others, which come next
        call_guest(library.machine, function, {}, GUEST_VALUE{});
    }
    run_destructors(library.machine);
    close_library(library);
    exit_program(library.machine, status & 0xFF);
}

// A shell shows the same status.
void die_of_signal(LIBRARY& library, int signal) { exit_program(library.machine, 128 + signal); }

std::span<const LIBRARY_ROW> process_functions() { return PROCESS_ROWS; }

} // namespace pelorus
