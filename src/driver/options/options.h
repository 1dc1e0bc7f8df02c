// The options object: which options were given, and with what arguments.
//
// One object holds the options of the command line; each override of them is parsed into a fresh one. The
// parser fills an object (option_parser.cpp), `apply_options` turns it into settings (option_apply.cpp).
//
// How a text is read: it may hold several options one behind the other ("o2Z1"). Of the names that fit, the
// longest counts. An argument stands right behind the name or behind "=", or else is the next argument of the
// command line. A number ends where its digits end, and a further option may follow it; any other argument
// takes the rest.
//
// Every error is a message on the standard error stream and the end of the run (files.h). Warnings go to the
// same stream. Codes are those of option_table.h; a code that is none is an internal error and ends the run
// as well.
#pragma once

#include <cstdio>
#include <string_view>

#include "driver/options/option_table.h"
#include "support/settings.h"

namespace pelorus {

struct OPTIONS;

// An object in which no option is given. The caller releases it.
OPTIONS* new_options();
void release_options(OPTIONS* options);

// Says where the texts that are parsed from now on stand, such as "the options of function f()"; messages
// about them say so. "": on the command line.
void set_option_origin(OPTIONS& options, std::string_view origin);

// From where options whose argument is a word of its own take it: `next(state)` gives the next argument of
// the command line, null at the end. The text must live until the option is recorded. Without `next` there
// are no further words.
struct ARGUMENT_SOURCE {
    const char* (*next)(void* state) = nullptr;
    void* state = nullptr;
};

// Reads one option text, without its leading "-", into `options`. False when part of the text is no option;
// what stood before it is recorded all the same.
bool parse_option(OPTIONS& options, std::string_view text, const ARGUMENT_SOURCE& words = {});

// True when the option was given and no later one cleared it.
bool option_given(const OPTIONS& options, int code);

// True when the option is on: it was given, and not switched off since with `set_option`.
bool option_enabled(const OPTIONS& options, int code);

// The argument: the number, for list kinds element `index` as a number, for options without argument whether
// they are on. 0 when there is none. An index other than 0 of an option that is no list is an internal error.
long option_value(const OPTIONS& options, int code, int index = 0);

// The argument as it was written, for list kinds element `index`; null when there is none, and for options
// without argument. The text lives as long as the object does not change.
const char* option_text(const OPTIONS& options, int code, int index = 0);

// How many elements a list option has; any other option is an internal error.
int option_count(const OPTIONS& options, int code);

// Makes an option given and switches it on (`state` 1) or off (0), whatever the conflicts.
void set_option(OPTIONS& options, int code, int state);

// Makes an option not given, and forgets its arguments.
void clear_option(OPTIONS& options, int code);

// Sets what the given options stand for; the other settings keep their values. A further application adds to
// the first one: whoever wants the defaults sets them before. Pseudo-options are added to the run's.
void apply_options(const OPTIONS& options, SETTINGS& target);

// The tool's name and version, one line.
void print_banner(FILE* stream);

// The banner, the usage and one line for each option: whether it was given, whether it is on, its argument.
void print_help(const OPTIONS& options, FILE* stream);

} // namespace pelorus
