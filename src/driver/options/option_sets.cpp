// The option sets; see option_sets.h.
//
// Passes read the settings directly, so a change needs no more than the change itself. What keeps a copy, or
// needs something opened, is told by `pass_settings_on`.
#include "driver/options/option_sets.h"

#include <memory>
#include <string>

#include "driver/files.h"
#include "driver/options/option_state.h"
#include "driver/options/strict.h"
#include "ir/node.h"
#include "memory/zone.h"
#include "support/pseudo_options.h"
#include "support/run.h"
#include "support/settings.h"
#include "support/trace.h"

namespace pelorus {

namespace {

SETTINGS saved_settings;

void trace_code_size() {
    if (settings.code_size_level >= 0) trace(" -Z%d", settings.code_size_level);
}

void parse_words(OPTIONS& options, std::string_view text) {
    constexpr std::string_view BLANKS = " \t\n";
    for (;;) {
        const size_t start = text.find_first_not_of(BLANKS);
        if (start == std::string_view::npos) return;
        text.remove_prefix(start);
        const std::string_view word = text.substr(0, text.find_first_of(BLANKS));
        if (word.starts_with('-'))
            parse_option(options, word.substr(1));
        else
            note_stray_word(options, word);
        text.remove_prefix(word.size());
    }
}

std::string override_origin() {
    if (run.current_function_name)
        return std::string("the options of function ") + run.current_function_name + "()";
    return "the file-level options of " + run.input_name;
}

} // namespace

void pass_settings_on() {
    node_factory.char_pointer_operator = settings.char_pointers != 0;
    zone_start();
    if (wants_debug_stream()) open_debug_file(false);
}

void save_options() {
    saved_settings = settings;
    save_pseudo_options();
}

void restore_options() {
    settings = saved_settings;
    restore_pseudo_options();
    pass_settings_on();
    trace("[Restoring options");
    trace(" --> -o%d -i%d", settings.optimization_level, settings.inline_threshold);
    trace_code_size();
    trace("]\n");
}

void override_options(std::string_view text) {
    const std::unique_ptr<OPTIONS, void (*)(OPTIONS*)> options(new_options(), release_options);
    constexpr SETTINGS DEFAULTS;
    settings.code_size_level = DEFAULTS.code_size_level;
    settings.thumb_state = DEFAULTS.thumb_state;
    settings.optimization_level = DEFAULTS.optimization_level;
    settings.inline_threshold = DEFAULTS.inline_threshold;
    // What follows from a level goes with it.
    settings.level4_inlining = DEFAULTS.level4_inlining;
    settings.keep_unoptimized = DEFAULTS.keep_unoptimized;
    trace("[Overriding options to be \"%s\"", std::string(text).c_str());
    set_option_origin(*options, override_origin());
    parse_words(*options, text);
    note_options_of_run(*options);
    apply_options(*options, settings);
    refuse_unknown_texts(*options);
    pass_settings_on();
    if (settings.optimization_level < 1) settings.keep_unoptimized = 1;
    trace(" --> -o%d -i%d", settings.optimization_level, settings.inline_threshold);
    trace_code_size();
    if (settings.thumb_state) trace(" --code_state=16");
    trace("]\n");
}

void global_override(std::string_view text) {
    trace("[Global override:  %s]\n", std::string(text).c_str());
    override_options(text);
    save_options();
}

} // namespace pelorus
