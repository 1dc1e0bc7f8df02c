// Streams of the program: the three standard ones, and files inside one folder of the host.
//
// Nothing that a program can name lies outside of the folder: a path with `..`, an absolute one and one with
// a symbolic link in it are refused, and so is what is no plain file.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "library_call.h"

namespace pelorus {

struct STREAM {
    FILE* host = nullptr; // of a file; null for the standard streams
    int descriptor = -1;  // 0 to 2 of the standard streams
    bool at_end = false;  // these two of the standard input only; the host has a file's
    bool has_failed = false;
    size_t position = 0;     // in the standard input
    std::string pushed_back; // characters of the standard input, the last one is read first
    ADDRESS address = 0;     // what the program calls it
    LIBRARY* library = nullptr;

    STREAM() = default;
    STREAM(const STREAM&) = delete;
    STREAM& operator=(const STREAM&) = delete;
    ~STREAM() {
        if (host) fclose(host);
    }
};

// The address of the standard stream 0, 1 or 2.
ADDRESS standard_stream(LIBRARY& library, int descriptor);
// The same stream itself. Ends the run when the program has closed it.
STREAM& standard_stream_of(GUEST_CALL& call, int descriptor);
// The stream of an argument. Ends the run when it is none that is open.
STREAM& stream_argument(GUEST_CALL& call, uint32_t index);

// A new stream of the host's stream, 0 when the program has too many or no memory.
ADDRESS add_stream(LIBRARY& library, FILE* host);
// False when writing out what was left failed.
bool close_stream(STREAM& stream);
void flush_stream(STREAM& stream);

int read_character(STREAM& stream); // EOF at the end
bool push_back(STREAM& stream, int c);
bool write_bytes(STREAM& stream, std::string_view bytes);

// The host's stream for a file inside the folder; null with the host's errno set. `mode` is as fopen wants
// it.
FILE* open_inside(const std::string& folder, std::string_view path, std::string_view mode);
// The errors of these two are the host's errno, 0 for none.
int remove_inside(const std::string& folder, std::string_view path);
int rename_inside(const std::string& folder, std::string_view from, std::string_view to);

} // namespace pelorus
