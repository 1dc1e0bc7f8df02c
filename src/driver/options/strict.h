// What was written in an option text and means nothing. By default it is passed over, so that an older
// optimizer runs with a newer compiler's options; under --debug=strict it ends the run.
//
// The parser notes each case where it meets it, since only there it is known where the text comes from.
#pragma once

#include <string_view>

#include "driver/options/option_table.h"

namespace pelorus {

struct OPTIONS;

// Notes that `rest`, the end of the text that is being parsed, begins with no option's name. `last` is the
// part of the text from the last option on; "" when there is none, or when `rest` stands behind its argument.
void note_unknown_text(OPTIONS& options, std::string_view rest, std::string_view last);

// Notes a word between options that is none.
void note_stray_word(OPTIONS& options, std::string_view word);

// Notes those items of a list of pseudo-options that nothing asks for, and values that are no numbers.
void note_unknown_names(OPTIONS& options, const OPTION_ROW& row, std::string_view list);

// Notes a number of `--skip_step` that is no step's, or one of a step that cannot be left out.
void note_fixed_step(OPTIONS& options, const OPTION_ROW& row, long number);

// Notes those options of a function's or the file's own that only the command line can give.
void note_options_of_run(OPTIONS& options);

// Ends the run, with a message for each, when something was noted and --debug=strict is on.
void refuse_unknown_texts(const OPTIONS& options);

} // namespace pelorus
