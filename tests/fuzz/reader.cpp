// The reader: whatever the bytes are, it ends with a message or with the unit, and it takes every file that
// obeys the rules.
#include <cstdio>

#include "fuzz/target.h"
#include "icode/reader.h"
#include "icode/unit_client.h"
#include "icode/validate_file.h"
#include "support/fatal.h"
#include "support/fresh_state.h"
#include "support/settings.h"

namespace pelorus {

namespace {

struct READING_ENDS {};

FILE* const report = stderr;

void function_was_read(void*) {
    clear_function();
    release_local_zone();
}

// True when the reader took the file.
bool is_read(FILE* stream) {
    static UNIT_CLIENT unit{function_was_read, nullptr, nullptr, nullptr};
    ICODE_READER* reader = open_icode(stream, "input", unit_icode_client(unit));
    if (!reader) {
        fclose(stream);
        return false;
    }
    bool good = true;
    try {
        read_whole_file(*reader);
    } catch (const READING_ENDS&) {
        good = false;
    }
    close_icode(reader);
    return good;
}

// The reader of a header may give up, too.
bool is_opened_and_read(FILE* stream) {
    try {
        return is_read(stream);
    } catch (const READING_ENDS&) {
        fclose(stream);
        return false;
    }
}

char message[4096];

void start() {
    static TYPE_PKG types;
    icode_exit = [](int) { throw READING_ENDS(); };
    if (stderr == report) stdout = stderr = fmemopen(message, sizeof message, "w");
    rewind(stderr);
    empty_zones();
    reset_settings();
    fresh_state(types);
    node_factory = {};
}

} // namespace

void fatal_exit() { throw READING_ENDS(); }

} // namespace pelorus

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace pelorus;
    if (size == 0) return 0;
    start();
    const bool obeys = validate_icode(bytes_of(data, size), 0, {}) == 0;
    start();
    const bool read = is_opened_and_read(fmemopen(const_cast<uint8_t*>(data), size, "rb"));
    fflush(stderr);
    if (obeys && !read) found("the file obeys the rules, and is refused: %s\n", message);
    return 0;
}
