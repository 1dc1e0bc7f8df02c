// A place in a source file.
#pragma once

#include <cstdint>

namespace pelorus {

struct INLINED_CALL;

// All zero: no position. `file` null with a line: a position whose file is not known.
struct POSITION {
    const char* file; // interned by the reader's or writer's file-name table; null when unknown
    uint32_t line;    // from 1
    uint32_t column;  // from 1; 0 when unknown
    // The expanded call by which the place came into the current function; null for its own places. Function
    // zone; files do not hold it.
    const INLINED_CALL* call = nullptr;

    bool present() const { return file || line || column; }
    // The line of the current function at which the call stands; 0 for its own places.
    inline uint32_t call_line() const;
};

// A call that was replaced by a copy of the called function's body.
struct INLINED_CALL {
    const char* callee; //
    POSITION position;  // of the call; with a call of its own when it stood in an expanded body
};

uint32_t POSITION::call_line() const {
    const INLINED_CALL* outermost = call;
    while (outermost && outermost->position.call) outermost = outermost->position.call;
    return outermost ? outermost->position.line : 0;
}

// The file's name, "NO_FILE" for a position without one, "NO_PSN_FILE" for a missing position.
inline const char* position_file(const POSITION& position) {
    if (!position.present()) return "NO_PSN_FILE";
    return position.file ? position.file : "NO_FILE";
}

} // namespace pelorus
