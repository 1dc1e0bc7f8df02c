// The stream of the output: a file, or something that only takes bytes one behind the other.
//
// The writer goes back to the header when all sections are known. A pipe cannot go back, and the standard
// output must not, since something may stand before the output; for both the writer fills memory, and the
// bytes follow when they are complete.
#pragma once

#include <cstdio>
#include <string>

namespace pelorus {

// The name that stands for the standard output.
constexpr const char* STANDARD_OUTPUT_NAME = "-";

// Opens what a closed standard stream would have been: nothing. A file that is opened later never becomes the
// standard output by taking its place; writing to it fails as it did. To be called before all else.
void provide_standard_streams();

// The start of a run: there is no output, and the standard output is what it was.
void start_output_stream();

// The stream on which the output `name` is to be written, which can go back; null, with errno set, when it
// cannot be opened. What the run prints on the standard output goes to the standard error stream from then on
// when the output is the standard output, by that name or another.
FILE* open_output_stream(const std::string& name);

// Brings the output to its place when the writer has closed its stream. False, after a message, when it could
// not be written in full.
bool finish_output_stream(const std::string& name);

// Forgets the output. Needs: the writer has closed its stream.
void abandon_output_stream();

// True when the option parser's trace would stand in the output.
bool output_is_standard(const std::string& name);

} // namespace pelorus
