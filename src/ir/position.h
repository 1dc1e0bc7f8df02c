// A place in a source file.
#pragma once

#include <cstdint>

namespace pelorus {

// All zero: no position. `file` null with a line: a position whose file is not known.
struct POSITION {
    const char* file; // interned by the reader's or writer's file-name table; null when unknown
    uint32_t line;    // from 1
    uint32_t column;  // from 1; 0 when unknown

    bool present() const { return file || line || column; }
};

// The file's name, "NO_FILE" for a position without one, "NO_PSN_FILE" for a missing position.
inline const char* position_file(const POSITION& position) {
    if (!position.present()) return "NO_PSN_FILE";
    return position.file ? position.file : "NO_FILE";
}

} // namespace pelorus
