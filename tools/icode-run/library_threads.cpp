// Threads, as far as one machine has them: a thread runs to its end when it is made. That is one of the
// orders in which a processor may run it, unless it waits for the one that made it; then the run does not
// end.
#include <cerrno>

#include "library_call.h"

namespace pelorus {

namespace {

void call_pthread_create(GUEST_CALL& call) {
    const ADDRESS name_at = word_argument(call, 0);
    GUEST_VALUE wanted;
    wanted.kind = GUEST_VALUE::POINTER;
    wanted.size = 4;
    const uint32_t function = word_argument(call, 2);
    const ADDRESS result = call_guest(call.machine, function, {argument(call, 3)}, wanted).address;
    call.library.thread_results.push_back(result);
    store(call.machine, name_at, static_cast<uint32_t>(call.library.thread_results.size()));
    give(call, 0);
}

void call_pthread_join(GUEST_CALL& call) {
    const uint32_t name = word_argument(call, 0);
    if (name == 0 || name > call.library.thread_results.size()) return give(call, ESRCH);
    const ADDRESS result_at = word_argument(call, 1);
    if (result_at) store(call.machine, result_at, call.library.thread_results[name - 1]);
    give(call, 0);
}

const LIBRARY_ROW THREAD_ROWS[] = {
    {"_pthread_create", call_pthread_create, CALL_EFFECT::SEEN},
    {"_pthread_join", call_pthread_join, CALL_EFFECT::SEEN},
};

} // namespace

std::span<const LIBRARY_ROW> thread_functions() { return THREAD_ROWS; }

} // namespace pelorus
