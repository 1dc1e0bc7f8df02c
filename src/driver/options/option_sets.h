// The baseline of the settings and pseudo-options, and the texts that override them.
//
// The saved set is what every function starts from. A function, or the file, may carry an option text that is
// laid over the settings: for the function alone, or as the new baseline.
#pragma once

#include <string_view>

namespace pelorus {

// Has everything that keeps a copy of a setting take the current one: the node factory, the function zone,
// which takes it as soon as it is empty, and the debug stream, which is opened when a switch prints on it.
void pass_settings_on();

// Makes the current settings and pseudo-options the saved set.
void save_options();

// Puts the saved set back, and traces what it gives.
void restore_options();

// Lays the option words of `text`, separated by blanks, over the settings until the next `restore_options`.
// Level, inline threshold, code size and code state start from their defaults, not from the command line; a
// word that does not begin with "-" is skipped, and no word takes an argument from another. Errors end the
// run (options.h).
void override_options(std::string_view text);

// `override_options`, and the result becomes the saved set.
void global_override(std::string_view text);

} // namespace pelorus
