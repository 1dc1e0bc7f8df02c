// The help listing and the banner; see options.h.
#include "driver/options/option_state.h"
#include "support/run.h"

namespace pelorus {

namespace {

// What the listing calls an argument kind; null for a kind that it does not know.
const char* kind_label(OPTION_KIND kind) {
    switch (kind) {
    case OPTION_KIND::NONE: return "NO ARGS";
    case OPTION_KIND::STRING: return "STRING ARG:";
    case OPTION_KIND::NUMBER: return "NUMBER ARG:";
    case OPTION_KIND::HEXNUM: return "HEXNUM ARG:";
    case OPTION_KIND::ENUMERATED: return "ENUMERATED ARG:";
    case OPTION_KIND::STRING_LIST: return "STRING LIST ARG:";
    case OPTION_KIND::NUMBER_LIST: return "NUMBER LIST ARG:";
    }
    return nullptr;
}

void print_argument(const OPTION_ROW& row, const OPTION_ARGUMENT& argument, FILE* stream) {
    switch (row.kind) {
    case OPTION_KIND::NUMBER:
    case OPTION_KIND::NUMBER_LIST: fprintf(stream, " %ld", argument.number); break;
    case OPTION_KIND::HEXNUM: fprintf(stream, " 0x%lX", static_cast<unsigned long>(argument.number)); break;
    default: fprintf(stream, " %s", argument.text.c_str()); break;
    }
}

void print_arguments(const OPTION_ROW& row, const OPTION_STATE& state, FILE* stream) {
    const char* label = kind_label(row.kind);
    fputs(label ? label : "<UNKNOWN TYPE!?!?>", stream);
    if (!label || row.kind == OPTION_KIND::NONE) return;
    if (state.arguments.empty()) fputs(" <arg not provided>", stream);
    for (const OPTION_ARGUMENT& argument : state.arguments) print_argument(row, argument, stream);
}

} // namespace

void print_banner(FILE* stream) { fprintf(stream, "%s %s\n", TOOL_NAME, PELORUS_VERSION); }

void print_help(const OPTIONS& options, FILE* stream) {
    print_banner(stream);
    fprintf(stream, "Usage: %s [-options] filename\n\n", run.program_name.c_str());
    fputs("This tool is designed to be invoked by the compiler.\n", stream);
    for (const OPTION_ROW& row : option_rows()) {
        const OPTION_STATE& state = option_state(options, row.code);
        fprintf(stream, "%-25s   %-10s%-10s", option_name(row).c_str(), state.given ? "SEEN" : "not seen",
                option_enabled(options, row.code) ? "ENABLED" : "disabled");
        print_arguments(row, state, stream);
        fputc('\n', stream);
    }
    fputs("docs/options.md tells what each option does.\n", stream);
}

} // namespace pelorus
