// Pseudo-options: free-form keys with which a user switches traces and checks on, or passes off.
//
// A key is "debug:" or "disable:" and a name; its value is a 32-bit number, 0 when it was never given. The
// option parser fills the table; any pass may ask for a name. The table belongs to the run as a whole: what a
// per-function override adds stays.
#pragma once

#include <cstdint>
#include <string_view>

namespace pelorus {

// Adds the items of `list`, which are separated by ",". An item without "=" adds the key "<prefix>:<item>"
// with value 1; an item "key=number" adds the key as it stands, without the prefix, with that number
// (decimal, or hexadecimal after 0x), 0 when the text after "=" is no 32-bit number. So "debug:unroll=4"
// gives a debug key a value. Empty items are skipped, and a later item replaces an earlier one of the same
// key.
void add_pseudo_options(std::string_view prefix, std::string_view list);

// The value of the key `key` ("debug:zalloc"), 0 when absent.
int32_t pseudo_option(std::string_view key);

// The value of "debug:<name>" and of "disable:<name>", 0 when absent.
int32_t debug_switch(std::string_view name);
int32_t disable_switch(std::string_view name);

// Forgets every key; for a run that starts again (tests).
void clear_pseudo_options();

} // namespace pelorus
