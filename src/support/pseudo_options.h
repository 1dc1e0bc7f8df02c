// Pseudo-options: free-form keys with which a user switches traces and checks on, or passes off.
//
// A key is "debug:" or "disable:" and a name; its value is a 32-bit number, 0 when it was never given. The
// option parser fills the table; any pass may ask for a name. Like the settings the table has a saved state,
// to which every function returns after options of its own.
#pragma once

#include <cstdint>
#include <string_view>

namespace pelorus {

// Adds the items of `list`, which are separated by ",". An item "name" adds the key "<prefix>:name" with
// value 1, an item "name=number" the same key with that number (decimal, or hexadecimal after 0x), 0 when the
// text after "=" is no 32-bit number. A name with a value that begins with "debug:" or "disable:" is a whole
// key, whatever the prefix. Empty items are skipped, and a later item replaces an earlier one of the same
// key.
void add_pseudo_options(std::string_view prefix, std::string_view list);

// True when `text` is a value: a 32-bit number, signed or unsigned.
bool is_pseudo_value(std::string_view text);

// The value of the key `key` ("debug:zalloc"), 0 when absent.
int32_t pseudo_option(std::string_view key);

// The value of "debug:<name>" and of "disable:<name>", 0 when absent. Asking costs one test when no key was
// given, and a few comparisons of texts otherwise.
int32_t debug_switch(std::string_view name);
int32_t disable_switch(std::string_view name);
// Whether "debug:<name>" was given, with whatever value.
bool has_debug_switch(std::string_view name);

// Makes the table the saved one; puts the saved one back.
void save_pseudo_options();
void restore_pseudo_options();

// Forgets every key, the saved ones too; for a run that starts again (tests).
void clear_pseudo_options();

} // namespace pelorus
