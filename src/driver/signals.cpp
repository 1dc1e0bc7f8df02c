// The report of fatal signals; see signals.h.
//
// It prints with stdio, which a handler may not do by the letter. What matters is that the words come out in
// nearly every crash, and that nothing else happens: no destructor, no flush of other streams, no file is
// touched. It runs on a stack of its own, since a stack that has overflowed has no room for it. When it
// crashes itself, the process ends with the same status and without more words.
#include "driver/signals.h"

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "ir/funinfo.h"
#include "support/run.h"

namespace pelorus {

namespace {

constexpr int FATAL_SIGNALS[] = {SIGILL, SIGABRT, SIGFPE, SIGSEGV, SIGTERM, SIGINT};
constexpr int SIGNAL_STATUS = 2;

// What stdio needs to print unbuffered, several times over.
constexpr size_t HANDLER_STACK_BYTES = size_t{64} * 1024;
alignas(16) char handler_stack[HANDLER_STACK_BYTES];

// The state may be what caused the crash: small numbers are no pointers.
constexpr uintptr_t LOWEST_POINTER = 1001;

bool is_pointer(const void* pointer) { return reinterpret_cast<uintptr_t>(pointer) >= LOWEST_POINTER; }

const char* reported_function() {
    if (!is_pointer(run.current_function) || !is_pointer(run.current_function->name)) return "<unknown>";
    return run.current_function->name;
}

const char* signal_description(int signal_number) {
    switch (signal_number) {
    case SIGILL: return "executed an illegal instruction";
    case SIGFPE: return "received a floating point exception";
    case SIGSEGV: return "experienced a segmentation fault";
    case SIGABRT: return "aborted";
    default: return "experienced a fatal internal fault";
    }
}

void handle_signal(int signal_number) {
    static volatile sig_atomic_t reporting = 0;
    if (reporting) _Exit(SIGNAL_STATUS);
    reporting = 1;
    report_signal(signal_number);
    _Exit(SIGNAL_STATUS);
}

} // namespace

void report_signal(int signal_number) {
    const char* program = run.program_name.c_str();
    if (signal_number == SIGTERM) {
        fprintf(stderr, "[%s received a terminate signal]\n", program);
        fflush(stderr);
        return;
    }
    fprintf(stderr, "\nINTERNAL ERROR: %s %s while\n", program, signal_description(signal_number));
    fflush(stderr);
    fprintf(stderr, "                processing function %s", reported_function());
    fprintf(stderr, " file %s", run.input_name.c_str());
    fprintf(stderr, "\n\n");
    fflush(stderr);
    fprintf(stderr, "This is a serious problem.  Please contact Customer\n"
                    "Support with this message and a copy of the input file\n"
                    "and help us to continue to make the tools more robust.\n\n");
    fflush(stderr);
}

void install_signal_handlers() {
    stack_t stack{};
    stack.ss_sp = handler_stack;
    stack.ss_size = sizeof handler_stack;
    struct sigaction action{};
    action.sa_handler = handle_signal;
    action.sa_flags = SA_NODEFER; // a blocked signal would kill the process with a status of its own
    if (sigaltstack(&stack, nullptr) == 0) action.sa_flags |= SA_ONSTACK;
    for (const int signal_number : FATAL_SIGNALS) sigaction(signal_number, &action, nullptr);
    // A reader that went away and a file that reached the limit of its size are writes that failed, which the
    // files' ends report.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

} // namespace pelorus
