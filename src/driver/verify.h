// The run's checks on itself: the current function after each pass that changed it, and the output when it is
// complete.
//
// Both obey the rules of ir/rules.def. They are made when "debug:verify" asks for them, and in builds with
// assertions: of the function only while no trace is being written, which shall be the same in all builds. A
// function that broke rules when it was read may break them after every pass; only what a pass adds is said
// of it.
#pragma once

#include <string>

#include "cfg/facts.h"

namespace pelorus {

// The start of a run: nothing has been found.
void start_verification();

// A function is complete as read: forgets the one before, and checks this one. Nothing when no check is
// wanted.
void verify_function_as_read();

// Whether the current function is being checked.
bool verification_is_active();

// What a pass that has run says of itself.
struct PASS_CLAIM {
    std::string place; // "step 18.3", or the list that it belongs to; may be empty
    const char* name;
    bool changed; // it changed the function
    FACTS kept;   // facts that were valid before and that its row keeps
};

// A pass has run. When it changed the function, checks graph and statements; each rule that it broke is named
// on the standard error stream with the pass, the block and the statement. So is a claim that is not true: a
// function that changed although the pass says that it did not, a fact that it lost although its row keeps
// it, and one that is called valid and is not what it would be if it were built now. The graph is checked
// only while its blocks are numbered.
// Needs: verification_is_active().
void verify_after_pass(const PASS_CLAIM& claim);

// The function is being taken apart for the output: nothing more is checked of it.
void end_function_verification();

// Checks the output, which is closed. Rules that it breaks are named on the standard error stream; when the
// input broke none that is an internal error, which ends the run and removes the output, unless the user
// asked for the checks. Returns false when something was found here or after a pass, so that the run fails.
bool verify_output();

} // namespace pelorus
