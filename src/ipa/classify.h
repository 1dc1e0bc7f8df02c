// What a function's name says about it.
#pragma once

#include <string_view>

#include "ir/funinfo.h"

namespace pelorus {

// The name is one of the C library's (system_functions.def). A table out of order ends the run.
bool is_system_function(std::string_view name);

// Sets the flags that follow from the function's name: `main`, the functions of the C library that the file
// only calls, static initializers and allocation operators of C++. With `forced` any function without a body
// counts as one of the library. docs/functions.md has the table.
void classify_function(FUNINFO& info, bool forced);

// The names that a C++ front end gives to special functions. False in C files, where they mean nothing.
bool is_constructor(const FUNINFO& info);
bool is_destructor(const FUNINFO& info);
bool is_static_initializer(const FUNINFO& info);
bool is_allocation_operator(const FUNINFO& info);

} // namespace pelorus
