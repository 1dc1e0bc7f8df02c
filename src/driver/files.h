// The files of the run: their names, how they are opened, and how they end.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "icode/reader.h"
#include "icode/writer.h"

namespace pelorus {

struct RUN_FILES {
    ICODE_READER* reader = nullptr; // of the input; null before it was opened and after it was closed
    ICODE_WRITER* writer = nullptr; // of the output; the same
    bool info_wanted = false;
    bool info_name_derived = false; // from the input's name
    std::string info_name;          // of the information file; valid when it is wanted
    std::string debug_name;         // "" while no debug file is wanted
    bool side_file_failed = false;  // one could not be written
};
extern RUN_FILES run_files;

// A stream that is closed with its scope, however that ends.
struct STREAM_CLOSER {
    void operator()(FILE* stream) const { fclose(stream); }
};
using OWNED_STREAM = std::unique_ptr<FILE, STREAM_CLOSER>;

// The start of a run: closes what an earlier one left open, and knows no file.
void start_files();

// The name cut at its last ".", unless a "/" or "\" follows that ".".
std::string without_extension(std::string_view name);
// The name with `extension`, which begins with "."; a name that has one keeps it unless `replace`.
std::string with_extension(std::string_view name, std::string_view extension, bool replace);

// Ends the run with status 1 when two of the run's files are the same file: opening one for writing would
// destroy the other. Devices may be shared. Needs: all names set. To be called before anything is opened for
// writing; the openings of debug file and output ask again, since what exists by then tells links and names
// in another case that lead to the same new file.
void refuse_shared_files();

// Ends the run with status 1 when a name that was derived from the input's is that of a file which is plainly
// not ours: one with two extensions, such as "prog.c.if", gives "prog.c" for output and information file and
// would overwrite somebody's source. An output or information file under its own extension is taken for ours,
// a debug file when it is text.
void refuse_foreign_files(bool output_is_derived);

// Opens a file; on failure says "Cannot Open <what>" and ends the run with status 1.
FILE* open_file(const char* what, const std::string& name, const char* mode);

// Opens the information file of run_files.info_name and writes its head; information output is on afterwards.
void open_info_file();
// True when something other than the trace prints on the debug stream.
bool wants_debug_stream();

// Opens the debug stream unless it is open. When that fails the run ends with status 1, or the standard error
// stream takes its place.
void open_debug_file(bool abort_on_failure);

// Opens the output and writes the header. Needs: the reader, the current type package.
void open_output_file();

// Writes a file that stands beside the output. When that fails, or the file is one of those that the run
// reads or writes, a message says so, the run goes on and fails at its end, and no further one is written.
void write_side_file(const char* what, const std::string& name, const std::string& text);

// Closes input and output. False, after a message, when the output could not be written in full; it is
// removed then.
bool close_icode_files();
// Removes the output, which is closed, when it is a file.
void remove_output();
// Closes input and output and removes the output, which is not complete.
void abandon_icode_files();
// Ends the debug and information output with their last lines. False, after a message, when one of them, or a
// file beside the output, could not be written in full.
bool close_text_files();

// The end of the run after a message about the input, an option or a file: abandons input and output and ends
// the process with status 1. Only an impossible state has an end of its own, `fatal_exit`.
[[noreturn]] void leave_run();

// What ends the process at last. Whoever runs the optimizer more than once replaces it by one that throws.
extern void (*end_process)(int status);

} // namespace pelorus
