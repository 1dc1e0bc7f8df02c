// The files with pictures of the graph, one for each function and each step that `--graph=BITS` asks for: bit
// 0 is step 1 of the pipeline. There is one after each step at which the function has blocks that are
// numbered, whether the step changed something, was left out or is not built: steps 1 and 2 come before there
// are blocks. The picture of the step that writes the output is made in it, when the layout is as it will be
// written; there is none of the step behind it.
//
// The file is called as the output, with the function and the step in the name: after step 5 of f() it is
// `in.f.step05.dot` beside `in.opt`. What stood under this name is overwritten.
//
// Drawing changes nothing: neither the function nor what is known of it.
#pragma once

#include <string>

namespace pelorus {

// The name of the picture. What of the function's name may not be portable in the name of a file is written
// as "=" and two hexadecimal digits a byte; what is too long is cut, and numbers that tell such names apart
// follow.
std::string graph_file_name(const std::string& function, int step);

// Writes the picture of the current function after the step, if it is asked for and the blocks are numbered.
void draw_graph_after(int step, const char* name);

} // namespace pelorus
