// What a call of a function can do, found bottom-up over the calls of the file.
//
// The flags of a defined function (ir/funinfo.h) say what no call of it ever does, from its entry until it
// returns or is left, itself or through the functions that it calls:
//
//   FUN_no_global_asg   stores to no object of static storage that the code names: by the name, or by an
//                       address that is made of it in the same function or passed by a caller that made it
//   FUN_no_global_use   loads from none, constants apart, which never change
//   FUN_no_ind_asg      stores to nothing by any other address, but to variables of the call itself and of
//                       those that it makes
//   FUN_no_ind_use      loads from nothing by any other address, but from such variables and constants
//   FUN_no_byref_asg    stores to nothing by an address that it was passed, as a pointer or in a structure,
//                       and nobody knows such an address from it afterwards: it is neither stored nor
//                       returned, nor passed to who does that. What else may be known of the object does not
//                       count, nor do addresses that are loaded by those that were passed.
//   FUN_is_pure_fun     all of the first four, no volatile access, and every call ends: the result is a
//                       function of the arguments, and a call whose result is not used can go
//   FUN_never_returns   never returns to its caller the usual way
//   FUN_has_1_BB        its statements are executed one after another, without test, switch or way back
//   FUN_no_RPT_loop     no way through its statements comes to one of them twice
//
// So memory as a whole stays as it is in a call with FUN_no_global_asg and FUN_no_ind_asg, and does not
// matter to it with FUN_no_global_use and FUN_no_ind_use.
//
// What was decided:
// - Every flag holds for each execution that has a meaning. A store or load through a number that was made an
//   address counts as one by any other address.
// - An address is kept where its bits go to, not where it is compared, and a distance between two addresses
//   is none.
// - A local variable whose address goes to a callee that stores by it is a variable of the call: that is no
//   effect of the caller. What callees do with addresses of static objects that the caller passes is done by
//   name, what they do with those that the caller was passed itself is done by an address that was passed.
// - Functions that are called through pointers, that the file does not define and nothing is known of by name
//   (ipa/file_level.h), and assembly may do everything. So may library functions that call functions of the
//   program: `exit` and `abort` those of `atexit` and `signal`, `raise` those of `signal`, `qsort`, `bsearch`
//   and whoever is passed the address of a function the one they are passed.
// - A handler that a signal starts at any time may touch only volatile objects, which no flag speaks of.
// - `setjmp` and `longjmp` may do everything. A function that leaves by `longjmp` does not return to its
//   caller; where that leads is `setjmp`'s business.
// - A loop may be endless, and so may a circle of calls: functions with either are not pure. That an end is
//   certain, as that of a loop that counts, is not worked out.
// - A function that is declared not to return never does. An endless loop does not return either.
// - Volatile variables of the call itself are accesses that happen: the function is not pure.
// - A function that others may replace (weak, common), an interrupt handler and a naked one promise nothing.
// - Unnamed arguments are nobody's parameters: a function that walks them may store by them.
// - What is passed is a parameter's only where the call has the function's own prototype.
#pragma once

#include "ir/funinfo.h"

namespace pelorus {

// Notes what the body by itself does. Needs: `function` (ir/stmt.h) holds it, as it was read. Linear.
void note_function_effects(FUNINFO& info);

// Sets the flags of all noted functions, and forgets the notes. Needs: every body of the file was noted, and
// functions are classified by name. Linear in the functions and their calls.
void find_function_effects();

// Forgets the notes. At the start of a run.
void clear_function_effects();

} // namespace pelorus
