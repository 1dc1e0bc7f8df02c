// The options object: creation, questions, switching on and off; see options.h.
#include "driver/options/options.h"

#include <cstdarg>
#include <utility>

#include "driver/files.h"
#include "driver/options/option_state.h"

namespace pelorus {

namespace {

// Null when the option has no such argument. A question about an element of an option that holds only one
// argument is the caller's mistake, not the user's.
const OPTION_ARGUMENT* argument_at(const OPTIONS& options, int code, int index) {
    const OPTION_STATE& state = option_state(options, code);
    if (index != 0 && !is_list_kind(option_row(code).kind)) {
        option_error(options, "INTERNAL ERROR: list handler for non-list option [%d]\n", code);
    }
    if (index < 0 || static_cast<size_t>(index) >= state.arguments.size()) return nullptr;
    return &state.arguments[static_cast<size_t>(index)];
}

} // namespace

std::string origin_line(const OPTIONS& options) {
    return options.origin.empty() ? "" : ">>>>    in " + options.origin + "\n";
}

namespace {

void print_message(const OPTIONS& options, const char* format, va_list arguments) {
    vfprintf(stderr, format, arguments);
    fputs(origin_line(options).c_str(), stderr);
}

} // namespace

void option_message(const OPTIONS& options, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print_message(options, format, arguments);
    va_end(arguments);
}

void option_error(const OPTIONS& options, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    print_message(options, format, arguments);
    va_end(arguments);
    leave_run();
}

void option_trace(const OPTIONS& options, const char* format, ...) {
    if (!options.option_debug) return;
    va_list arguments;
    va_start(arguments, format);
    fputs("option debug: ", stdout);
    vprintf(format, arguments);
    va_end(arguments);
}

OPTIONS* new_options() { return new OPTIONS(); }

void release_options(OPTIONS* options) { delete options; }

void set_option_origin(OPTIONS& options, std::string_view origin) { options.origin = origin; }

const OPTION_STATE& option_state(const OPTIONS& options, int code) {
    if (!is_option_code(code)) option_error(options, "INTERNAL ERROR: option handler [%d]\n", code);
    return options.states[static_cast<size_t>(code)];
}

OPTION_STATE& option_state(OPTIONS& options, int code) {
    return const_cast<OPTION_STATE&>(option_state(static_cast<const OPTIONS&>(options), code));
}

bool option_given(const OPTIONS& options, int code) { return option_state(options, code).given; }

bool option_enabled(const OPTIONS& options, int code) {
    const OPTION_STATE& state = option_state(options, code);
    return state.given && state.state != 0;
}

long option_value(const OPTIONS& options, int code, int index) {
    const OPTION_ARGUMENT* argument = argument_at(options, code, index);
    if (option_row(code).kind == OPTION_KIND::NONE) return option_enabled(options, code) ? 1 : 0;
    return argument ? argument->number : 0;
}

const char* option_text(const OPTIONS& options, int code, int index) {
    const OPTION_ARGUMENT* argument = argument_at(options, code, index);
    return argument ? argument->text.c_str() : nullptr;
}

int option_count(const OPTIONS& options, int code) {
    const OPTION_STATE& state = option_state(options, code);
    if (!is_list_kind(option_row(code).kind)) {
        option_error(options, "INTERNAL ERROR: list handler for non-list option [%d]\n", code);
    }
    return static_cast<int>(state.arguments.size());
}

void set_option(OPTIONS& options, int code, int state) {
    OPTION_STATE& option = option_state(options, code);
    option.given = true;
    option.state = state;
    if (code == OPT_OPTION_DEBUG) options.option_debug = state != 0;
    option_trace(options, "Set    option id %s to state %d\n", option_name(option_row(code)).c_str(), state);
}

void clear_option(OPTIONS& options, int code) {
    option_state(options, code) = OPTION_STATE();
    option_trace(options, "Clear  option id %s to state 0\n", option_name(option_row(code)).c_str());
    if (code == OPT_OPTION_DEBUG) options.option_debug = false;
}

void set_option_argument(OPTIONS& options, const OPTION_ROW& row, OPTION_ARGUMENT argument) {
    const OPTION_NAME name = option_name(row);
    switch (row.kind) {
    case OPTION_KIND::NUMBER:
    case OPTION_KIND::HEXNUM:
    case OPTION_KIND::ENUMERATED:
    case OPTION_KIND::NUMBER_LIST:
        option_trace(options, "Set    option id %s arg to value '%ld' (%s)\n", name.c_str(), argument.number,
                     row.argument);
        break;
    case OPTION_KIND::STRING:
    case OPTION_KIND::STRING_LIST:
        option_trace(options, "Set    option id %s arg to value '%s' (%s)\n", name.c_str(),
                     argument.text.c_str(), row.argument);
        break;
    case OPTION_KIND::NONE:
    default: // a kind that the table does not know
        option_error(options, "INTERNAL ERROR: unhandled clause in setarg() [%d]\n",
                     static_cast<int>(row.kind));
    }
    std::vector<OPTION_ARGUMENT>& arguments = option_state(options, row.code).arguments;
    if (!is_list_kind(row.kind)) arguments.clear();
    arguments.push_back(std::move(argument));
}

} // namespace pelorus
