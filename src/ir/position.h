// A place in a source file.
#pragma once

#include <cstdint>

namespace pelorus {

struct INLINED_CALL;

// The blocks of a function's source are numbered in the order in which they begin, so that those inside
// another one have the numbers behind its own. They go with statements from pass to pass.
constexpr uint32_t UNKNOWN_SCOPE = 0;
constexpr uint32_t WHOLE_FUNCTION = 1; // the body's outermost block

// All zero: no position. `file` null with a line: a position whose file is not known.
struct POSITION {
    const char* file; // interned by the reader's or writer's file-name table; null when unknown
    uint32_t line;    // from 1
    uint32_t column;  // from 1; 0 when unknown
    // The expanded call by which the place came into the current function; null for its own places. Function
    // zone; files do not hold it.
    const INLINED_CALL* call = nullptr;
    // The innermost block, of the function that the place is in; UNKNOWN_SCOPE for a place that no file holds
    // and for those of files. Files do not hold it.
    uint32_t scope = UNKNOWN_SCOPE;

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
