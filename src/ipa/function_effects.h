// What a call of a function can do, found bottom-up over the calls of the file.
//
// The flags of a defined function (ir/funinfo.h) say what no call of it ever does, itself or through others:
//
//   FUN_no_global_asg   assigns to no object of static storage by its name
//   FUN_no_global_use   reads none by its name
//   FUN_no_ind_asg      assigns to nothing through a pointer
//   FUN_no_ind_use      reads nothing through a pointer
//   FUN_no_byref_asg    changes nothing that an address among its arguments leads to, and keeps no such address
//                       beyond the call, in its result neither
//   FUN_is_pure_fun     the result is a function of the arguments' values; no effect of any kind, no endless loop
//   FUN_never_returns   never returns to its caller the usual way
//   FUN_has_1_BB        its body is straight-line code
//   FUN_no_RPT_loop     its body has no loop
//
// A function that other files may replace (weak), that is called through pointers or has assembly promises
// nothing beyond its own name.
#pragma once

#include "ir/funinfo.h"

namespace pelorus {

// Notes what the body by itself does. Needs: `function` (ir/stmt.h) holds it, as it was read.
void note_function_effects(FUNINFO& info);

// Sets the flags of all defined functions. Needs: every body of the file was noted, `callees` and
// `call_sites` of every FUNINFO are complete, and functions are classified by name.
void find_function_effects();

// Forgets the notes. At the start of a run.
void clear_function_effects();

} // namespace pelorus
