// The command line; see command_line.h.
//
// The order of the steps is what users and scripts see when several things are wrong at once: a bad option is
// reported before a missing file, a missing file before surplus arguments. The input is opened early because
// it may carry option sets; nothing is opened for writing before everything that can be refused has been.
#include "driver/command_line.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "driver/files.h"
#include "driver/options/option_sets.h"
#include "driver/options/options.h"
#include "driver/options/strict.h"
#include "driver/output_stream.h"
#include "driver/phases.h"
#include "support/run.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

// A walk over argument texts, which options with a word of their own advance as well.
struct ARGUMENT_WALK {
    std::vector<const char*> texts;
    size_t next = 0;
};

using OPTIONS_OBJECT = std::unique_ptr<OPTIONS, void (*)(OPTIONS*)>;

struct COMMAND_LINE {
    ARGUMENT_WALK arguments; // those after argument 0
    int positional = 0;
    std::vector<OPTIONS_OBJECT> objects; // the first one is the active one
};
COMMAND_LINE command_line;

OPTIONS& add_object() {
    command_line.objects.emplace_back(new_options(), release_options);
    return *command_line.objects.back();
}

const char* next_argument(void* walk) {
    auto& arguments = *static_cast<ARGUMENT_WALK*>(walk);
    return arguments.next < arguments.texts.size() ? arguments.texts[arguments.next++] : nullptr;
}

void take_positional(const char* argument) {
    switch (++command_line.positional) {
    case 1: run.input_name = argument; break;
    case 2: run.output_name = argument; break;
    case 3: break; // refused later, without a line of its own
    default:
        fprintf(stderr, "\n>>>> OPTIMIZER ERROR: Unexpected options: %s %s %s\n", run.input_name.c_str(),
                run.output_name.c_str(), argument);
    }
}

bool is_command_line(const ARGUMENT_WALK& walk) { return &walk == &command_line.arguments; }

// Parses the options among the texts from the first one on; hands the other texts to `positional` unless it
// is null.
void parse_texts(ARGUMENT_WALK& walk, OPTIONS& options, void (*positional)(const char*)) {
    walk.next = 0;
    while (const char* text = next_argument(&walk)) {
        if (text[0] == '-' && text[1])
            parse_option(options, text + 1, {next_argument, &walk}); // what it cannot read is ignored
        else if (positional)
            positional(text);
        else if (!is_command_line(walk))
            note_stray_word(options, text);
    }
}

void open_input() {
    OWNED_STREAM stream(open_file("Input icode File", run.input_name, "rb"));
    run_files.reader = open_icode(stream.get(), run.input_name.c_str(), optimizer_client());
    if (run_files.reader) {
        [[maybe_unused]] FILE* readers = stream.release();
        return;
    }
    fprintf(stderr, "\n>> Error when opening input icode file : %s, Aborting\n", run.input_name.c_str());
    leave_run();
}

// Replaces the object that the command line filled by one for each option set of the file, with the command
// line's options on top. Without sets it stays.
void build_option_objects() {
    if (!run_files.reader || icode_string_lists(*run_files.reader).empty()) return;
    const bool ignore_sets = option_enabled(*command_line.objects.front(), OPT_IGNORE_FILE_SETS);
    release_command_line();
    int number = 0;
    for (const STRING_LIST& set : icode_string_lists(*run_files.reader)) {
        OPTIONS& object = add_object();
        ARGUMENT_WALK texts{set.strings};
        set_option_origin(object, "option set " + std::to_string(++number) + " of " + run.input_name);
        if (!ignore_sets) parse_texts(texts, object, nullptr);
        set_option_origin(object, "");
        parse_texts(command_line.arguments, object, nullptr);
    }
}

void answer_questions(const OPTIONS& options) {
    if (option_enabled(options, OPT_HELP) || option_enabled(options, OPT_HELP_SHORT)) {
        print_help(options, stdout);
    } else if (option_enabled(options, OPT_VERSION)) {
        print_banner(stdout);
    } else {
        return;
    }
    if (run_files.reader) close_icode(run_files.reader);
    run_files.reader = nullptr;
    release_command_line();
    if (fflush(stdout) == 0) {
        end_process(0);
        abort();
    }
    fprintf(stderr, "\n>> Cannot Write Standard Output, %s, Aborting\n", strerror(errno));
    leave_run();
}

void apply_settings(const OPTIONS& options) {
    reset_settings();
    apply_options(options, settings);
    refuse_unknown_texts(options);
}

void prepare_debugging(OPTIONS& options) {
    if (!option_given(options, OPT_DEBUG)) return;
    settings.no_uncalled_warning = 0;
    set_option(options, OPT_INFO, 1);
    if (settings.code_size_level >= 0) fputs("\n\t*** Optimizing code size, not speed ***\n\n", stderr);
}

void check_positional() {
    if (command_line.positional == 0) {
        fprintf(stderr, "Usage: %s [-options] filename\n", run.program_name.c_str());
        leave_run();
    }
    if (command_line.positional == 1)
        run.output_name = with_extension(without_extension(run.input_name), ".opt", false);
    if (command_line.positional >= 3) {
        fputs("\n>>>> OPTIMIZER ERROR: Garbage on command line\n\n", stderr);
        leave_run();
    }
}

// The information file is about the file-level analysis, which starts at level 3.
void name_text_files(OPTIONS& options) {
    if (settings.optimization_level < 3 && !option_given(options, OPT_DEBUG))
        set_option(options, OPT_INFO, 0);
    run_files.info_wanted = option_enabled(options, OPT_INFO);
    run_files.info_name_derived = !option_given(options, OPT_INFO_FILE);
    run_files.info_name = run_files.info_name_derived
                              ? with_extension(without_extension(run.input_name), ".nfo", false)
                              : option_text(options, OPT_INFO_FILE);
    if ((option_given(options, OPT_DEBUG) || wants_debug_stream()) && !settings.print_debug)
        run_files.debug_name = with_extension(run.input_name, ".odb", true);
}

void open_debug_output(const OPTIONS& options) {
    if (option_given(options, OPT_DEBUG)) {
        open_debug_file(true);
        trace_state.debug_output = static_cast<int>(option_value(options, OPT_DEBUG));
    }
    pass_settings_on();
}

void refuse_option_trace(const OPTIONS& options) {
    if (!option_given(options, OPT_OPTION_DEBUG) || !output_is_standard(run.output_name)) return;
    fprintf(stderr, "\n>> Standard Output Holds The Option Trace : %s, Aborting\n", run.output_name.c_str());
    leave_run();
}

void write_option_sets() {
    for (const STRING_LIST& set : icode_string_lists(*run_files.reader))
        write_string_list(*run_files.writer, set);
}

void warn_all_volatile() {
    if (!settings.all_volatile) return;
    constexpr const char* WARNING = "\n>>>> Warning: All non-auto lvalues are considered VOLATILE.\n\n";
    trace("%s", WARNING);
    if (!debug_on() || debug_file() != stderr) fputs(WARNING, stderr);
}

// The line is a note for people; one that is longer than a record can hold is cut.
void write_command_line() {
    constexpr size_t LONGEST_TEXT = ICODE_BUFFER_SIZE - 1;
    std::string text = ";\t";
    for (const char* argument : command_line.arguments.texts) text.append(argument).append(" ");
    if (text.size() > LONGEST_TEXT) text.resize(LONGEST_TEXT);
    write_comment(*run_files.writer, text.c_str());
}

} // namespace

void process_command_line(int argc, char** argv) {
    command_line = {};
    OPTIONS& given = add_object();
    run.program_name = argv[0];
    command_line.arguments.texts.assign(argv + 1, argv + argc);
    parse_texts(command_line.arguments, given, take_positional);
    if (command_line.positional) open_input();

    build_option_objects();
    OPTIONS& active = *command_line.objects.front();
    answer_questions(active);
    apply_settings(active);
    prepare_debugging(active);
    check_positional();

    name_text_files(active);
    refuse_shared_files();
    refuse_foreign_files(command_line.positional == 1);
    refuse_option_trace(active);
    if (run_files.info_wanted) open_info_file();
    open_debug_output(active);
    open_output_file();
    write_option_sets();
    warn_all_volatile();
    write_command_line();
}

void release_command_line() { command_line.objects.clear(); }

} // namespace pelorus
