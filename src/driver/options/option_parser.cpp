// Reads option texts into an options object; see options.h.
//
// 1. Match the longest name that the text begins with.
// 2. Read its argument, check it, and store it.
// 3. Record the option and settle its conflicts with those given before.
// 4. Go on with what is left of the text.
#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "driver/options/option_state.h"
#include "driver/options/strict.h"

namespace pelorus {

namespace {

// The state of the conversion of a number.
struct NUMBER {
    long value;
    bool accepted; // it converted without overflow and lies within the option's range
};

bool same_text(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b,
                              [](unsigned char x, unsigned char y) { return tolower(x) == tolower(y); });
}

// -- Numbers --

bool is_digit(char c, int radix) {
    const int digit = c >= '0' && c <= '9'   ? c - '0'
                      : c >= 'a' && c <= 'z' ? c - 'a' + 10
                      : c >= 'A' && c <= 'Z' ? c - 'A' + 10
                                             : INT_MAX;
    return digit < radix;
}

// How much of `text` is a number: a sign, "0x" when the radix is 16, and digits. A text that has no digit is
// taken whole, for the message that says so.
size_t number_length(std::string_view text, int radix) {
    size_t at = text.starts_with('-') || text.starts_with('+') ? 1 : 0;
    const std::string_view prefix = text.substr(at, 2);
    if (radix == 16 && (prefix == "0x" || prefix == "0X")) at += 2;
    const size_t first_digit = at;
    while (at < text.size() && is_digit(text[at], radix)) ++at;
    return at == first_digit ? text.size() : at;
}

NUMBER signed_number(const OPTIONS& options, const OPTION_ROW& row, const std::string& text) {
    const long minimum = static_cast<long>(row.minimum);
    const long maximum = static_cast<long>(row.maximum);
    option_trace(options, "about to parse '%s' as signed, radix %ld\n", text.c_str(),
                 static_cast<long>(row.radix));
    char* end = nullptr;
    errno = 0;
    const long value = strtol(text.c_str(), &end, row.radix);
    const bool converted = end != text.c_str() && *end == '\0' && errno != ERANGE;
    option_trace(options, "check %ld <= %ld <= %ld\n", minimum, value, maximum);
    return {value, converted && minimum <= value && value <= maximum};
}

NUMBER unsigned_number(const OPTIONS& options, const OPTION_ROW& row, const std::string& text) {
    const unsigned long minimum = static_cast<unsigned long>(row.minimum);
    const unsigned long maximum = static_cast<unsigned long>(row.maximum);
    option_trace(options, "about to parse '%s' as unsigned, radix %ld\n", text.c_str(),
                 static_cast<long>(row.radix));
    char* end = nullptr;
    errno = 0;
    const unsigned long value = strtoul(text.c_str(), &end, row.radix);
    const bool converted = end != text.c_str() && *end == '\0' && errno != ERANGE;
    // The library takes a minus sign and wraps the number around.
    const bool negative = text.find('-') != std::string::npos;
    option_trace(options, "check 0x%lX <= 0x%lX <= 0x%lX\n", minimum, value, maximum);
    return {static_cast<long>(value), converted && !negative && minimum <= value && value <= maximum};
}

// The range of a hexadecimal option as the user writes it; the messages themselves have it in decimal.
std::string hexadecimal_range(const OPTION_ROW& row) {
    char text[100];
    snprintf(text, sizeof text, "         it is a hexadecimal number from 0x%llX to 0x%llX\n\n",
             static_cast<unsigned long long>(row.minimum), static_cast<unsigned long long>(row.maximum));
    return text;
}

[[noreturn]] void refuse_number(const OPTIONS& options, const OPTION_ROW& row, const std::string& text) {
    const OPTION_NAME name = option_name(row);
    const bool is_unsigned = row.kind == OPTION_KIND::HEXNUM;
    const std::string range = is_unsigned ? hexadecimal_range(row) : "";
    if (row.minimum == 0 && row.maximum == (is_unsigned ? int64_t{UINT32_MAX} : int64_t{INT32_MAX})) {
        const bool has_minus = text.find('-') != std::string::npos;
        option_error(options, "ERROR: argument to option %s (\"%s\") is out of range%s\n\n%s", name.c_str(),
                     text.c_str(), has_minus ? " (must be a non-negative number)" : "", range.c_str());
    }
    option_error(options,
                 "ERROR: argument to option %s (\"%s\") is out of range (must be %s%ld to %ld)\n\n%s",
                 name.c_str(), text.c_str(), is_unsigned ? "a number from " : "from ",
                 static_cast<long>(row.minimum), static_cast<long>(row.maximum), range.c_str());
}

void read_number(OPTIONS& options, const OPTION_ROW& row, std::string_view word) {
    // The library would skip blanks in front of a number.
    const std::string text(word);
    const bool is_blank = !text.empty() && isspace(static_cast<unsigned char>(text.front()));
    if (is_blank) refuse_number(options, row, text);
    const NUMBER number = row.kind == OPTION_KIND::HEXNUM ? unsigned_number(options, row, text)
                                                          : signed_number(options, row, text);
    if (!number.accepted) refuse_number(options, row, text);
    set_option_argument(options, row, {number.value, text});
}

void read_number_list(OPTIONS& options, const OPTION_ROW& row, std::string_view text) {
    for (;;) {
        const size_t comma = text.find(',');
        read_number(options, row, text.substr(0, comma));
        if (comma == std::string_view::npos) return;
        text.remove_prefix(comma + 1);
    }
}

void read_steps(OPTIONS& options, const OPTION_ROW& row, std::string_view text) {
    const int before = option_count(options, row.code);
    read_number_list(options, row, text);
    for (int i = before; i < option_count(options, row.code); ++i)
        note_fixed_step(options, row, option_value(options, row.code, i));
}

// -- The other kinds of arguments --

[[noreturn]] void refuse_value(const OPTIONS& options, const OPTION_ROW& row) {
    fprintf(stderr, "ERROR: bad argument to option %s: should be one of { ", option_name(row).c_str());
    for (const OPTION_VALUE& value : option_values()) {
        if (value.code == row.code && value.mark == '+') fprintf(stderr, "%s ", value.text);
    }
    option_error(options, "}\n");
}

void read_value(OPTIONS& options, const OPTION_ROW& row, std::string_view text) {
    for (const OPTION_VALUE& value : option_values()) {
        if (value.code == row.code && same_text(text, value.text)) {
            set_option_argument(options, row, {value.value, std::string(text)});
            return;
        }
    }
    refuse_value(options, row);
}

bool is_pseudo_list(int code) { return code == OPT_PSEUDO_DEBUG || code == OPT_PSEUDO_DISABLE; }

// Reads the argument that begins `text`, or is `text` when it is a word of its own; returns its length.
size_t read_argument_text(OPTIONS& options, const OPTION_ROW& row, std::string_view text, bool is_word) {
    switch (row.kind) {
    case OPTION_KIND::NUMBER:
    case OPTION_KIND::HEXNUM: {
        const size_t length = is_word ? text.size() : number_length(text, row.radix);
        read_number(options, row, text.substr(0, length));
        return length;
    }
    case OPTION_KIND::ENUMERATED: read_value(options, row, text); break;
    case OPTION_KIND::NUMBER_LIST: read_steps(options, row, text); break;
    default:
        set_option_argument(options, row, {0, std::string(text)});
        if (is_pseudo_list(row.code)) note_unknown_names(options, row, text);
    }
    return text.size();
}

[[noreturn]] void missing_argument(const OPTIONS& options, const OPTION_ROW& row) {
    option_error(options, "ERROR: option %s is missing its parameter '%s'\n\n", option_name(row).c_str(),
                 row.argument);
}

// For an option whose argument may be left out: what else stands behind it is another option.
bool begins_argument(std::string_view rest) {
    return rest.starts_with('=') || (!rest.empty() && is_digit(rest.front(), 10));
}

// Reads the argument of an option whose name stands before `rest`; returns how much of `rest` belongs to it.
size_t read_argument(OPTIONS& options, const OPTION_ROW& row, std::string_view rest,
                     const ARGUMENT_SOURCE& words) {
    if (row.kind == OPTION_KIND::NONE) return 0;
    if (row.argument_left_out >= 0 && !begins_argument(rest)) {
        set_option_argument(options, row, {row.argument_left_out, std::to_string(row.argument_left_out)});
        return 0;
    }
    const size_t equals = rest.starts_with('=') ? 1 : 0;
    const bool is_word = rest.empty();
    const char* word = is_word && words.next ? words.next(words.state) : nullptr;
    if (is_word && !word) missing_argument(options, row);
    const std::string_view text = is_word ? std::string_view(word) : rest.substr(equals);
    // Only a text may be empty.
    if (text.empty() && row.kind != OPTION_KIND::STRING) missing_argument(options, row);
    const size_t length = read_argument_text(options, row, text, is_word);
    return is_word ? 0 : equals + length;
}

// -- Recording --

void settle_conflict(OPTIONS& options, int code, int earlier) {
    const OPTION_NAME name = option_name(option_row(code));
    const OPTION_NAME earlier_name = option_name(option_row(earlier));
    switch (option_conflict(code, earlier)) {
    case CONFLICT::NONE: break;
    case CONFLICT::OVERRIDES:
        option_message(options, "WARNING: option %s overrides preceding option %s\n", name.c_str(),
                       earlier_name.c_str());
        [[fallthrough]];
    case CONFLICT::CLEARS: clear_option(options, earlier); break;
    case CONFLICT::FAILS:
        option_error(options, "ERROR: option %s conflicts with previous option %s\n", name.c_str(),
                     earlier_name.c_str());
    }
}

void record_option(OPTIONS& options, int code) {
    set_option(options, code, 1);
    option_trace(options, "Parsed option id %s/%d\n", option_name(option_row(code)).c_str(), code);
    for (int earlier = 0; earlier < OPTION_COUNT; ++earlier) {
        if (earlier != code && option_given(options, earlier)) settle_conflict(options, code, earlier);
    }
}

void warn_of_case(const OPTIONS& options, std::string_view typed, const OPTION_NAME& name) {
    if (typed == name.view()) return;
    const std::string text(typed);
    const int length = static_cast<int>(text.size());
    // Its last line is ended so that the next message has a line of its own.
    option_message(options,
                   "WARNING: Case insensitivity of options has been deprecated;\n         -%*.*s must be "
                   "written as\n         -%s in future \n",
                   length, length, text.c_str(), name.c_str());
}

// Reads the option that begins `text`; returns its length with its argument, 0 when there is none.
size_t parse_one_option(OPTIONS& options, std::string_view text, const ARGUMENT_SOURCE& words) {
    const int code = match_option_name(text);
    if (code < 0) return 0;
    const OPTION_ROW& row = option_row(code);
    const size_t name_length = row.name_length;
    warn_of_case(options, text.substr(0, name_length), option_name(row));
    const size_t argument_length = read_argument(options, row, text.substr(name_length), words);
    record_option(options, code);
    return name_length + argument_length;
}

} // namespace

bool parse_option(OPTIONS& options, std::string_view text, const ARGUMENT_SOURCE& words) {
    options.text = text;
    std::string_view rest = options.text;
    std::string_view last; // from the option before `rest` on, when its name may be a part of a longer one
    while (!rest.empty()) {
        const size_t length = parse_one_option(options, rest, words);
        if (length == 0) {
            option_trace(options, "no option begins with '%s'\n", std::string(rest).c_str());
            note_unknown_text(options, rest, last);
            return false;
        }
        const bool is_name_only = length == option_row(match_option_name(rest)).name_length;
        last = is_name_only ? rest : std::string_view();
        rest.remove_prefix(length);
    }
    return true;
}

} // namespace pelorus
