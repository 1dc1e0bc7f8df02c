// The inside of the options object, for the files that fill and read it; everybody else uses options.h.
#pragma once

#include <string>
#include <vector>

#include "driver/options/options.h"

namespace pelorus {

// One argument. Numbers and enumerated values have both forms.
struct OPTION_ARGUMENT {
    long number = 0;
    std::string text; // as the user wrote it
};

struct OPTION_STATE {
    bool given = false;
    int state = 0;                          // 1: on; valid when given
    std::vector<OPTION_ARGUMENT> arguments; // at most one unless the option is a list
};

struct OPTIONS {
    bool option_debug = false;        // the parser traces its steps on the standard output
    std::string text;                 // the text that is being parsed
    std::string origin;               // where it stands, for messages; "" for the command line
    std::vector<std::string> unknown; // messages about what means nothing; see strict.h
    std::array<OPTION_STATE, OPTION_COUNT> states;
};

// The state of an option; ends the run for a code outside the table.
const OPTION_STATE& option_state(const OPTIONS& options, int code);
OPTION_STATE& option_state(OPTIONS& options, int code);

// Makes `argument` the option's argument, or adds it to a list. The kinds without arguments are an internal
// error.
void set_option_argument(OPTIONS& options, const OPTION_ROW& row, OPTION_ARGUMENT argument);

// The line behind a message that says where the text stands; "" for the command line.
std::string origin_line(const OPTIONS& options);

// Prints the message and where the text stands on the standard error stream.
void option_message(const OPTIONS& options, const char* format, ...) __attribute__((format(printf, 2, 3)));
// The same, and ends the run.
[[noreturn]] void option_error(const OPTIONS& options, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// Prints "option debug: " and the text on the standard output when the object's option-debug switch is on.
void option_trace(const OPTIONS& options, const char* format, ...) __attribute__((format(printf, 2, 3)));

} // namespace pelorus
