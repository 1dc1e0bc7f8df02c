// The option table: what is fixed about the options.
//
// The facts stand in options.def. Here they become rows to look up by code. The names are stored scrambled,
// so that somebody who looks through the program's texts finds no list of its switches; they are turned back
// one at a time, when an option is matched or named.
//
// What was given in a run is the business of options.h.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace pelorus {

enum OPTION_CODE : int {
#define OPTION(code, id, name, kind, argument, minimum, maximum, radix, effect, status, help)                \
    OPT_##id = (code),
#include "driver/options/options.def"
};

constexpr int OPTION_COUNT = 46;

enum class OPTION_KIND : uint8_t { NONE, STRING, NUMBER, HEXNUM, ENUMERATED, STRING_LIST, NUMBER_LIST };

// What giving an option means for one that was given before it.
enum class CONFLICT : uint8_t { NONE = 0, CLEARS = 1, OVERRIDES = 2, FAILS = 3 };

constexpr size_t OPTION_NAME_MAX = 31;

struct OPTION_ROW {
    int code;
    OPTION_KIND kind;
    uint8_t name_length;
    std::array<unsigned char, OPTION_NAME_MAX> scrambled_name; // `name_length` bytes count
    const char* argument;                                      // its name; "" without one
    int64_t minimum;                                           // of numbers: both ends are allowed
    int64_t maximum;
    int radix;
    int argument_left_out; // what the argument is when it is left out; -1: it must not be
};

struct OPTION_VALUE {
    int code;         // of the option
    char mark;        // '+': named in messages
    const char* text; // what the user writes
    long value;       // what it stands for
};

// A name in plain text, for as long as it is needed.
struct OPTION_NAME {
    std::array<char, OPTION_NAME_MAX + 1> text; // ends with a 0 byte
    size_t length;

    const char* c_str() const { return text.data(); }
    std::string_view view() const { return {text.data(), length}; }
};

// All rows, by code.
std::span<const OPTION_ROW> option_rows();

// The allowed values of all enumerated options, those of one option in the order in which they are compared.
std::span<const OPTION_VALUE> option_values();

// True when the program has an option with this code.
inline bool is_option_code(int code) { return code >= 0 && code < OPTION_COUNT; }

// The row of `code`, which must be an option's.
const OPTION_ROW& option_row(int code);

// The name of an option as the user writes it behind the first "-".
OPTION_NAME option_name(const OPTION_ROW& row);

// What giving `code` means for `earlier`; both must be options.
CONFLICT option_conflict(int code, int earlier);

// True for the kinds that hold as many arguments as were given.
inline bool is_list_kind(OPTION_KIND kind) {
    return kind == OPTION_KIND::STRING_LIST || kind == OPTION_KIND::NUMBER_LIST;
}

// The code of the option whose name `text` begins with, letter case aside: of several the one with the
// longest name, so that "op1" is no "o" with the argument "p1". -1 when there is none.
int match_option_name(std::string_view text);

} // namespace pelorus
