// The run's checks on itself: the current function after each pass that changed it, and the output when it is
// complete.
//
// Both obey the rules of ir/rules.def. They are made when "debug:verify" asks for them, and in builds with
// assertions: of the function only while no trace is being written, which shall be the same in all builds. A
// function that broke rules when it was read may break them after every pass; only what a pass adds is said
// of it.
#pragma once

namespace pelorus {

// A function is complete as read: forgets the one before, and checks this one. Nothing when no check is
// wanted.
void verify_function_as_read();

// A pass has run. When it changed the function, checks graph and statements; each rule that it broke is named
// on the standard error stream with the pass, the block and the statement. `group` is the step that the pass
// belongs to; may be null.
// Needs: verify_function_as_read for this function.
void verify_after_pass(const char* group, const char* pass);

// The function is being taken apart for the output: nothing more is checked of it.
void end_function_verification();

// Checks the output, which is closed. Rules that it breaks are named on the standard error stream; when the
// input broke none that is an internal error, which ends the run and removes the output, unless the user
// asked for the checks. Returns false when something was found here or after a pass, so that the run fails.
bool verify_output();

} // namespace pelorus
