// Formatted output and input, whatever the text's source and goal are.
#pragma once

#include <cstdint>
#include <string>

#include "library_call.h"
#include "streams.h"

namespace pelorus {

// Where the values of a format come from: the unnamed arguments of the call itself, or the block that a
// va_list points into, where they lie in slots of 4 bytes, those of 8 bytes aligned to 8.
struct UNNAMED {
    GUEST_CALL& call;
    uint32_t next = 0; // argument of the call
    bool is_in_memory = false;
    ADDRESS place = 0; // in the block
};

UNNAMED unnamed_arguments(GUEST_CALL& call, uint32_t first);
// The va_list is the call's argument `index`: a structure that holds one pointer.
UNNAMED unnamed_of_va_list(GUEST_CALL& call, uint32_t index);

// The next value. Each ends the run when it is missing or has another kind or size.
int32_t next_word(UNNAMED& values); // an int, a long or a pointer
int64_t next_wide(UNNAMED& values);
double next_real(UNNAMED& values);

// The text that printf makes of the values.
std::string format_text(ADDRESS format, UNNAMED& values);

// The characters that scanf reads: a stream's, or those of a text.
struct SCANNED {
    MACHINE& machine;
    STREAM* stream;     // null: a text
    ADDRESS place = 0;  // in the text
    uint32_t count = 0; // characters that were taken
};

// What scanf returns.
int32_t scan_values(SCANNED& input, ADDRESS format, UNNAMED& values);

} // namespace pelorus
