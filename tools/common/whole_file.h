// Whole files in memory, for programs that turn one file into another.
#pragma once

#include <string>
#include <string_view>

namespace pelorus {

// Reads a file, "-" for the standard input. False, and a message on the error stream, when it cannot be read.
bool read_file_bytes(const char* program, const std::string& name, std::string& bytes);

// Writes a file, "-" for the standard output. A regular file appears under its name only when it is complete:
// it is written beside it under another name first. False, and a message on the error stream, when it cannot
// be written.
bool write_file_bytes(const char* program, const std::string& name, std::string_view bytes);

} // namespace pelorus
